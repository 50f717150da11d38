#include "persist/visitors/cls_WriteVisitor.h"

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <type_traits>
#include <typeinfo>

#include "tests/support/backend/MementoSlots.h"
#include "tests/support/backend/RecordingBackEnd.h"

namespace {

constexpr unsigned int ClassId = 0x1F0001;
constexpr unsigned int BaseClassId = 0x1F0002;

class WriteVisitor : public ::testing::Test {
 protected:
  WriteVisitor() {
    m_Recorder.Name(m_Uid, "U");
    m_Recorder.Name(&m_Object, "O");
    m_Recorder.Name(&m_Cow, "C");
  }

  Recorder m_Recorder;
  cls_Uid m_Uid;
  int m_Object = 0;
  cow_COW<int, cow_Direct<int>> m_Cow;
  cls_FieldHandle m_Field{3, "m_Part"_cow};
};

/// A memento that notes each call and its arguments, and returns null.
class NotingWrite : public MementoWriteSlots<NotingWrite> {
 public:
  explicit NotingWrite(Lines& lines) : m_Lines(lines) {}

  template <class Operation, class... Args>
  auto Handle(char const* name, Operation, Args const&... args) const {
    using Result = std::invoke_result_t<Operation, cls_MementoWrite*, Args const&...>;
    std::ostringstream line;
    line << name << ' ' << typeid(Operation).name();
    ((line << ' ', Show(line, args)), ...);
    m_Lines.push_back(line.str());
    if constexpr (!std::is_void_v<Result>) return Result();
  }
  void WriteBytes(cls_FieldHandle const&, void const*, int) override {}

 private:
  static void Show(std::ostream& line, cls_FieldHandle const& field) { line << &field; }
  static void Show(std::ostream& line, cls_Uid const& uid) { line << &uid; }
  static void Show(std::ostream& line, cow_String const& text) { line << text.View(); }
  static void Show(std::ostream& line, auto const& value) { line << value; }

  Lines& m_Lines;
};

/// Calls each collection operation of a memento, or of a visitor, for each type.
struct WriteCollectionCalls {
  template <class... Ts> struct Types {};

  template <class Target> void On(Target& target) const {
    Use(target.MakeWriteMapInt2Obj(), target.MakeWriteMapString2Obj(), target.MakeWriteListObj(),
        target.MakeWriteIntTableInt(), target.MakeFieldWriteListObj(m_Field, m_Uid),
        target.MakeFieldWriteMapInt2Obj(m_Field, m_Uid), target.MakeFieldWriteMapString2Obj(m_Field, m_Uid),
        target.MakeFieldWriteIntTableInt(m_Field, m_Uid), target.MakeAgentListObj(4), target.MakeAgentBlob());
    Lists(target, Types<bool, cow_String, float, double, unsigned int, int>());
    Maps(target, Types<cow_String, float, double, unsigned int, int>());
    MapAgents(target, Types<int, cow_String>());
  }

 private:
  static void Use(auto*... made) { EXPECT_TRUE(((made == nullptr) && ...)); }
  template <class Target, class... Ts> void Lists(Target& target, Types<Ts...>) const {
    (Use(target.MakeWriteListPrim(Tag<Ts>(), 7), target.MakeAgentListPrim(Tag<Ts>(), 8)), ...);
  }
  template <class Target, class... Ts> void Maps(Target& target, Types<Ts...>) const {
    (Use(target.MakeWriteMapInt2Prim(Tag<Ts>()), target.MakeWriteMapString2Prim(Tag<Ts>())), ...);
  }
  template <class Target, class... Ks> void MapAgents(Target& target, Types<Ks...>) const {
    (Use(target.MakeAgentMapKey2Obj(Tag<Ks>(), 9)), ...);
  }
  template <class T> [[nodiscard]] T const* Tag() const { return reinterpret_cast<T const*>(&m_Tag); }

  cls_FieldHandle m_Field{3, "m_Part"_cow};
  cls_Uid m_Uid;
  double m_Tag = 0;
};

} // namespace

TEST_F(WriteVisitor, CollectionOperationsReachTheMementosOfTheSameName) {
  WriteCollectionCalls const calls;
  Lines expected;
  NotingWrite memento(expected);
  calls.On(memento);
  EXPECT_EQ(expected.size(), 34U);
  Lines seen;
  NotingWrite started(seen);
  {
    cls_WriteVisitor const visitor(&started); // does not delete it: the memento says so
    calls.On(visitor);
  }
  ASSERT_FALSE(seen.empty());
  seen.pop_back(); // NeedsDeletion
  EXPECT_EQ(seen, expected);
}

TEST_F(WriteVisitor, OfAMementoIsStartedAtOnce) {
  RecordingMementoWrite* const memento = m_Recorder.NewWriter();
  cls_WriteVisitor const visitor(memento);
  EXPECT_EQ(visitor.Memento(), memento);
  EXPECT_EQ(m_Recorder.Lines(), Lines());
}

TEST_F(WriteVisitor, OfANullMementoIsNotStarted) {
  cls_WriteVisitor const visitor(static_cast<cls_MementoWrite*>(nullptr));
  EXPECT_EQ(visitor.Memento(), nullptr);
  EXPECT_EQ(visitor.FieldIsPresent(m_Field), 0);
}

TEST_F(WriteVisitor, StartWriteOfAStartedVisitorCallsNothing) {
  cls_WriteVisitor const visitor(m_Recorder.NewWriter());
  EXPECT_EQ(visitor.StartWrite(ClassId, m_Uid), 1);
  EXPECT_EQ(visitor.StartWrite(BaseClassId, cls_Uid()), 1);
  EXPECT_EQ(m_Recorder.Lines(), Lines());
}

TEST_F(WriteVisitor, MakingDerivedVisitorsCallsNothing) {
  RecordingListObjWriter list(m_Recorder);
  cls_WriteRequestListObj const request(&list);
  cls_WriteVisitor const parent(m_Recorder.NewWriter());
  cls_WriteVisitor const field(parent, m_Field, nullptr, &m_Object);
  cls_WriteVisitor const base(parent, BaseClassId);
  cls_WriteVisitor const element(request, &m_Object);
  EXPECT_EQ(field.Memento(), nullptr);
  EXPECT_EQ(base.Memento(), nullptr);
  EXPECT_EQ(element.Memento(), nullptr);
  EXPECT_EQ(m_Recorder.Lines(), Lines());
}

TEST_F(WriteVisitor, StartWriteOfAFieldPassesTheObject) {
  cls_WriteVisitor const parent(m_Recorder.NewWriter());
  cls_WriteVisitor const visitor(parent, m_Field, nullptr, &m_Object);
  EXPECT_EQ(visitor.StartWrite(ClassId, m_Uid), 1);
  EXPECT_NE(visitor.Memento(), nullptr);
  EXPECT_EQ(m_Recorder.TakeLines(),
            Lines({R"(write1.MakeFieldWriteObj(field 3 "m_Part", uint 0x1f0001, uid U, O) = write2)"}));
}

TEST_F(WriteVisitor, StartWriteOfAFieldWithoutObjectPassesNull) {
  cls_WriteVisitor const parent(m_Recorder.NewWriter());
  cls_WriteVisitor const visitor(parent, m_Field, nullptr, nullptr);
  EXPECT_EQ(visitor.StartWrite(ClassId, m_Uid), 1);
  EXPECT_EQ(m_Recorder.TakeLines(),
            Lines({R"(write1.MakeFieldWriteObj(field 3 "m_Part", uint 0x1f0001, uid U, null) = write2)"}));
}

TEST_F(WriteVisitor, StartWriteOfACowFieldPassesTheHolderAndNotTheObject) {
  cls_WriteVisitor const parent(m_Recorder.NewWriter());
  cls_WriteVisitor const visitor(parent, m_Field, &m_Cow, &m_Object);
  EXPECT_EQ(visitor.StartWrite(ClassId, m_Uid), 1);
  EXPECT_EQ(m_Recorder.TakeLines(),
            Lines({R"(write1.MakeFieldWriteObjCow(field 3 "m_Part", uint 0x1f0001, uid U, C) = write2)"}));
}

TEST_F(WriteVisitor, StartWriteOfABasePartPassesTheClassItWasMadeWith) {
  cls_WriteVisitor const parent(m_Recorder.NewWriter());
  cls_WriteVisitor const visitor(parent, BaseClassId);
  EXPECT_EQ(visitor.StartWrite(ClassId, m_Uid), 1);
  EXPECT_EQ(m_Recorder.TakeLines(), Lines({"write1.MakeBaseWriteObj(uint 0x1f0002, uid U) = write2"}));
}

TEST_F(WriteVisitor, BaseClassIdOneMeansNoBasePart) {
  cls_WriteVisitor const parent(m_Recorder.NewWriter());
  cls_WriteVisitor const visitor(parent, 1U);
  EXPECT_EQ(visitor.StartWrite(ClassId, m_Uid), 1);
  EXPECT_EQ(m_Recorder.TakeLines(),
            Lines({"write1.MakeFieldWriteObj(field -1 no text, uint 0x1f0001, uid U, null) = write2"}));
}

TEST_F(WriteVisitor, BaseClassIdZeroIsABasePart) {
  cls_WriteVisitor const parent(m_Recorder.NewWriter());
  cls_WriteVisitor const visitor(parent, 0U);
  EXPECT_EQ(visitor.StartWrite(ClassId, m_Uid), 1);
  EXPECT_EQ(m_Recorder.TakeLines(), Lines({"write1.MakeBaseWriteObj(uint 0, uid U) = write2"}));
}

TEST_F(WriteVisitor, StartWriteOfAnElementPassesTheObjectToTheRequest) {
  RecordingListObjWriter list(m_Recorder);
  cls_WriteRequestListObj const request(&list);
  cls_WriteVisitor const visitor(request, &m_Object);
  EXPECT_EQ(visitor.StartWrite(ClassId, m_Uid), 1);
  EXPECT_EQ(m_Recorder.TakeLines(),
            Lines({"listObjWriter1.MakeWriteObjWithPtr(uint 0x1f0001, uid U, O) = write1"}));
}

TEST_F(WriteVisitor, CopiesTheFieldHandle) {
  cls_WriteVisitor const parent(m_Recorder.NewWriter());
  auto handle = std::make_unique<cls_FieldHandle>(5, cow_String("m_Gone"));
  cls_WriteVisitor const visitor(parent, *handle, nullptr, nullptr);
  handle.reset();
  visitor.StartWrite(ClassId, m_Uid);
  EXPECT_EQ(m_Recorder.TakeLines(),
            Lines({R"(write1.MakeFieldWriteObj(field 5 "m_Gone", uint 0x1f0001, uid U, null) = write2)"}));
}

TEST_F(WriteVisitor, StartWriteTwiceAsksTheBackEndOnce) {
  cls_WriteVisitor const parent(m_Recorder.NewWriter());
  cls_WriteVisitor const visitor(parent, m_Field, nullptr, &m_Object);
  visitor.StartWrite(ClassId, m_Uid);
  cls_MementoWrite* const memento = visitor.Memento();
  m_Recorder.TakeLines();
  EXPECT_EQ(visitor.StartWrite(BaseClassId, cls_Uid()), 1);
  EXPECT_EQ(visitor.Memento(), memento);
  EXPECT_EQ(m_Recorder.Lines(), Lines());
}

TEST_F(WriteVisitor, StartWriteReturnsZeroWhenTheBackEndDeclines) {
  m_Recorder.DeclineObjects();
  RecordingListObjWriter list(m_Recorder);
  cls_WriteRequestListObj const request(&list);
  cls_WriteVisitor const parent(m_Recorder.NewWriter());
  cls_WriteVisitor const field(parent, m_Field, nullptr, &m_Object);
  cls_WriteVisitor const cow(parent, m_Field, &m_Cow, &m_Object);
  cls_WriteVisitor const base(parent, BaseClassId);
  cls_WriteVisitor const element(request, &m_Object);
  for (cls_WriteVisitor const* visitor : {&field, &cow, &base, &element}) {
    EXPECT_EQ(visitor->StartWrite(ClassId, m_Uid), 0);
    EXPECT_EQ(visitor->Memento(), nullptr);
  }
}

TEST_F(WriteVisitor, DeclinedVisitorIsUnstartedAndAsksAgain) {
  m_Recorder.DeclineObjects();
  cls_WriteVisitor const parent(m_Recorder.NewWriter());
  cls_WriteVisitor const visitor(parent, BaseClassId);
  EXPECT_EQ(visitor.StartWrite(ClassId, m_Uid), 0);
  EXPECT_EQ(visitor.StartWrite(ClassId, m_Uid), 0);
  EXPECT_EQ(visitor.FieldIsPresent(m_Field), 0);
  EXPECT_EQ(m_Recorder.TakeLines(), Lines({"write1.MakeBaseWriteObj(uint 0x1f0002, uid U) = null",
                                           "write1.MakeBaseWriteObj(uint 0x1f0002, uid U) = null"}));
}

TEST_F(WriteVisitor, FailingStartLeavesTheVisitorUnstarted) {
  m_Recorder.FailAt("MakeFieldWriteObj");
  cls_WriteVisitor const parent(m_Recorder.NewWriter());
  {
    cls_WriteVisitor visitor(parent, m_Field, nullptr, &m_Object);
    visitor.SetSharedPtrOutput(true);
    EXPECT_THROW(visitor.StartWrite(ClassId, m_Uid), BackEndFailure);
    EXPECT_EQ(visitor.Memento(), nullptr);
    m_Recorder.TakeLines();
  }
  EXPECT_EQ(m_Recorder.Lines(), Lines());
}

TEST_F(WriteVisitor, DestroyingANeverStartedVisitorCallsNothing) {
  RecordingListObjWriter list(m_Recorder);
  cls_WriteRequestListObj const request(&list);
  cls_WriteVisitor const parent(m_Recorder.NewWriter());
  {
    cls_WriteVisitor field(parent, m_Field, nullptr, &m_Object);
    cls_WriteVisitor base(parent, BaseClassId);
    cls_WriteVisitor element(request, &m_Object);
    for (cls_WriteVisitor* visitor : {&field, &base, &element}) visitor->SetSharedPtrOutput(true);
  }
  EXPECT_EQ(m_Recorder.Lines(), Lines());
}

TEST_F(WriteVisitor, DeletesAMementoThatNeedsIt) {
  { cls_WriteVisitor const visitor(m_Recorder.NewWriter()); }
  EXPECT_EQ(m_Recorder.TakeLines(), Lines({"write1.NeedsDeletion() = bool true", "~write1"}));
  EXPECT_EQ(m_Recorder.Live(), Lines());
}

TEST_F(WriteVisitor, LeavesAMementoThatTheBackEndKeeps) {
  m_Recorder.Keep("write1");
  { cls_WriteVisitor const visitor(m_Recorder.NewWriter()); }
  EXPECT_EQ(m_Recorder.TakeLines(), Lines({"write1.NeedsDeletion() = bool false"}));
  EXPECT_EQ(m_Recorder.Live(), Lines({"write1"}));
}

TEST_F(WriteVisitor, LeavesKeptMementosWithEveryConstructor) {
  RecordingListObjWriter list(m_Recorder);
  cls_WriteRequestListObj const request(&list);
  cls_WriteVisitor const parent(m_Recorder.NewWriter());
  m_Recorder.KeepAll();
  {
    cls_WriteVisitor const field(parent, m_Field, nullptr, &m_Object);
    cls_WriteVisitor const cow(parent, m_Field, &m_Cow, nullptr);
    cls_WriteVisitor const base(parent, BaseClassId);
    cls_WriteVisitor const element(request, &m_Object);
    for (cls_WriteVisitor const* visitor : {&field, &cow, &base, &element})
      EXPECT_EQ(visitor->StartWrite(ClassId, m_Uid), 1);
    m_Recorder.TakeLines();
  }
  EXPECT_EQ(m_Recorder.TakeLines(),
            Lines({"write5.NeedsDeletion() = bool false", "write4.NeedsDeletion() = bool false",
                   "write3.NeedsDeletion() = bool false", "write2.NeedsDeletion() = bool false"}));
}

TEST_F(WriteVisitor, AsksForDeletionOnlyInTheDestructor) {
  m_Recorder.Keep("write2");
  cls_WriteVisitor const parent(m_Recorder.NewWriter());
  {
    cls_WriteVisitor const visitor(parent, BaseClassId);
    visitor.StartWrite(ClassId, m_Uid);
    m_Recorder.Give("write2");
    m_Recorder.TakeLines();
  }
  EXPECT_EQ(m_Recorder.TakeLines(), Lines({"write2.NeedsDeletion() = bool true", "~write2"}));
}

TEST_F(WriteVisitor, DestructorNeverTouchesTheParentsMemento) {
  cls_WriteVisitor const parent(m_Recorder.NewWriter());
  {
    cls_WriteVisitor const visitor(parent, m_Field, nullptr, nullptr);
    visitor.StartWrite(ClassId, m_Uid);
  }
  EXPECT_EQ(m_Recorder.Live(), Lines({"write1"}));
}

TEST_F(WriteVisitor, SharedPtrBracketSpansTheVisitorFromItsStart) {
  cls_WriteVisitor const parent(m_Recorder.NewWriter());
  {
    cls_WriteVisitor visitor(parent, BaseClassId);
    visitor.SetSharedPtrOutput(true);
    EXPECT_EQ(m_Recorder.Lines(), Lines());
    visitor.StartWrite(ClassId, m_Uid);
    visitor.StartWrite(ClassId, m_Uid);
    visitor.Write(m_Field, 1);
  }
  EXPECT_EQ(m_Recorder.TakeLines(),
            Lines({"write1.MakeBaseWriteObj(uint 0x1f0002, uid U) = write2", "write2.StartSharedPtrOutput()",
                   R"(write2.Write(field 3 "m_Part", int 1))", "write2.EndSharedPtrOutput()",
                   "write2.NeedsDeletion() = bool true", "~write2"}));
}

TEST_F(WriteVisitor, SharedPtrBracketClosesForAKeptMemento) {
  m_Recorder.KeepAll();
  cls_WriteVisitor const parent(m_Recorder.NewWriter());
  {
    cls_WriteVisitor visitor(parent, BaseClassId);
    visitor.SetSharedPtrOutput(true);
    visitor.StartWrite(ClassId, m_Uid);
    m_Recorder.TakeLines();
  }
  EXPECT_EQ(m_Recorder.TakeLines(),
            Lines({"write2.EndSharedPtrOutput()", "write2.NeedsDeletion() = bool false"}));
}

TEST_F(WriteVisitor, DeclinedObjectHasNoSharedPtrBracket) {
  m_Recorder.DeclineObjects();
  cls_WriteVisitor const parent(m_Recorder.NewWriter());
  {
    cls_WriteVisitor visitor(parent, BaseClassId);
    visitor.SetSharedPtrOutput(true);
    visitor.StartWrite(ClassId, m_Uid);
  }
  EXPECT_EQ(m_Recorder.TakeLines(), Lines({"write1.MakeBaseWriteObj(uint 0x1f0002, uid U) = null"}));
}

// A visitor made from a memento is started without StartWrite, so nothing opens its bracket.
TEST_F(WriteVisitor, SharedPtrOutputOfAVisitorOfAMementoOnlyCloses) {
  {
    cls_WriteVisitor visitor(m_Recorder.NewWriter());
    visitor.SetSharedPtrOutput(true);
    visitor.StartWrite(ClassId, m_Uid);
  }
  EXPECT_EQ(m_Recorder.TakeLines(),
            Lines({"write1.EndSharedPtrOutput()", "write1.NeedsDeletion() = bool true", "~write1"}));
}

TEST_F(WriteVisitor, FieldIsPresentOfAStartedVisitorAsksTheMemento) {
  m_Recorder.SetFieldPresent("m_Part", 7);
  cls_WriteVisitor const parent(m_Recorder.NewWriter());
  EXPECT_EQ(parent.FieldIsPresent(m_Field), 7);
  EXPECT_EQ(m_Recorder.TakeLines(), Lines({R"(write1.FieldIsPresent(field 3 "m_Part") = int 7)"}));
}

TEST_F(WriteVisitor, FieldIsPresentOfAnUnstartedVisitorIsZeroWithoutACall) {
  m_Recorder.SetFieldPresent("m_Part", 7);
  cls_WriteVisitor const parent(m_Recorder.NewWriter());
  cls_WriteVisitor const visitor(parent, m_Field, nullptr, nullptr);
  EXPECT_EQ(visitor.FieldIsPresent(m_Field), 0);
  EXPECT_EQ(m_Recorder.Lines(), Lines());
}

TEST_F(WriteVisitor, TranslatableTextIsWrittenAsPlainText) {
  cls_WriteVisitor const visitor(m_Recorder.NewWriter());
  visitor.Write(m_Field, atr_String("Node %s: 100%d"));
  EXPECT_EQ(m_Recorder.TakeLines(), Lines({R"(write1.Write(field 3 "m_Part", string "Node %s: 100%d"))"}));
}

TEST_F(WriteVisitor, TranslatableStringWithoutTextIsWrittenAsEmptyText) {
  cls_WriteVisitor const visitor(m_Recorder.NewWriter());
  visitor.Write(m_Field, atr_String());
  visitor.Write(m_Field, atr_String(""));
  EXPECT_EQ(m_Recorder.TakeLines(), Lines({R"(write1.Write(field 3 "m_Part", string ""))",
                                           R"(write1.Write(field 3 "m_Part", string ""))"}));
}

TEST_F(WriteVisitor, PlainStringIsWrittenAsItIs) {
  cls_WriteVisitor const visitor(m_Recorder.NewWriter());
  visitor.Write(m_Field, "text"_cow);
  visitor.Write(m_Field, cow_String());
  visitor.Write(m_Field, ""_cow);
  EXPECT_EQ(m_Recorder.TakeLines(), Lines({R"(write1.Write(field 3 "m_Part", string "text"))",
                                           R"(write1.Write(field 3 "m_Part", string no text))",
                                           R"(write1.Write(field 3 "m_Part", string ""))"}));
}

TEST_F(WriteVisitor, FailingWriteDeletesTheMementoOnce) {
  m_Recorder.FailAt("Write");
  EXPECT_THROW(
      {
        cls_WriteVisitor const visitor(m_Recorder.NewWriter());
        visitor.Write(m_Field, 1.0);
      },
      BackEndFailure);
  EXPECT_EQ(m_Recorder.Live(), Lines());
}
