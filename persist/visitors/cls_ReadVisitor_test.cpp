#include "persist/visitors/cls_ReadVisitor.h"

#include <gtest/gtest.h>

#include <optional>
#include <sstream>
#include <tuple>
#include <type_traits>
#include <typeinfo>

#include "platform/atr/atr_translate.h"
#include "tests/support/backend/ForwardingMemento.h"
#include "tests/support/backend/MementoSlots.h"
#include "tests/support/backend/RecordingBackEnd.h"

namespace {

class ReadVisitor : public ::testing::Test {
 protected:
  ReadVisitor() { m_Recorder.Name(m_Recorder.m_Uid, "U"); }

  /// The translatable string that a stored text yields.
  atr_String ReadText(cow_String const& stored) {
    m_Recorder.Store("m_Text", stored);
    cls_ReadVisitor const visitor(m_Recorder.NewReader());
    return visitor.Read(m_Field, atr_String("default"));
  }

  Recorder m_Recorder;
  cls_FieldHandle m_Field{3, "m_Text"_cow};
};

using ReadVisitorWithoutMemento = ReadVisitor;

/// Has neither a base part nor objects in its fields.
struct LeafReader : ForwardingMementoRead {
  using ForwardingMementoRead::ForwardingMementoRead;
  cls_MementoRead* Clone() override { return nullptr; }
  cls_MementoRead* MakeFieldReadObj(cls_FieldHandle const&) override { return nullptr; }
};

/// A memento that notes each call and its arguments, and returns null.
class NotingRead : public MementoReadSlots<NotingRead> {
 public:
  explicit NotingRead(Lines& lines) : m_Lines(lines) {}

  template <class Operation, class... Args>
  auto Handle(char const* name, Operation, Args const&... args) const {
    using Result = std::invoke_result_t<Operation, cls_MementoRead*, Args const&...>;
    std::ostringstream line;
    line << name << ' ' << typeid(Operation).name();
    ((line << ' ', Show(line, args)), ...);
    m_Lines.push_back(line.str());
    if constexpr (!std::is_void_v<Result>) return Result();
  }
  [[nodiscard]] cls_Uid const& HandleGetUid() const { return m_Uid; }

 private:
  static void Show(std::ostream& line, cls_FieldHandle const& field) { line << &field; }
  static void Show(std::ostream& line, cow_String const& text) { line << text.View(); }
  static void Show(std::ostream& line, auto const& value) { line << value; }

  Lines& m_Lines;
  cls_Uid m_Uid;
};

/// Calls each collection operation of a memento, or of a visitor, for each type.
struct ReadCollectionCalls {
  template <class... Ts> struct Types {};

  template <class Target> void On(Target& target) {
    Use(target.MakeReadMapInt2Obj(), target.MakeReadMapString2Obj(), target.MakeReadListObj(),
        target.MakeReadIntTableInt(), target.MakeFieldReadListObj(m_Field),
        target.MakeFieldReadMapInt2Obj(m_Field), target.MakeFieldReadMapString2Obj(m_Field),
        target.MakeFieldReadIntTableInt(m_Field), target.MakeAgentListObj(), target.MakeAgentBlob());
    Lists(target, Types<bool, cow_String, float, double, unsigned int, int>());
    Maps(target, Types<cow_String, float, double, unsigned int, int>());
    MapAgents(target, Types<int, cow_String>());
  }

 private:
  static void Use(auto*... made) { EXPECT_TRUE(((made == nullptr) && ...)); }
  template <class Target, class... Ts> void Lists(Target& target, Types<Ts...>) {
    (Use(target.MakeReadListPrim(Tag<Ts>()), target.MakeAgentListPrim(Tag<Ts>())), ...);
  }
  template <class Target, class... Ts> void Maps(Target& target, Types<Ts...>) {
    (Use(target.MakeReadMapInt2Prim(Tag<Ts>()), target.MakeReadMapString2Prim(Tag<Ts>())), ...);
  }
  template <class Target, class... Ks> void MapAgents(Target& target, Types<Ks...>) {
    (Use(target.MakeAgentMapKey2Obj(Tag<Ks>())), ...);
  }
  template <class T> [[nodiscard]] T* Tag() { return reinterpret_cast<T*>(&m_Tag); }

  cls_FieldHandle m_Field{3, "m_Part"_cow};
  double m_Tag = 0;
};

} // namespace

TEST_F(ReadVisitor, CollectionOperationsReachTheMementosOfTheSameName) {
  ReadCollectionCalls calls;
  Lines expected;
  NotingRead memento(expected);
  calls.On(memento);
  EXPECT_EQ(expected.size(), 34U);
  Lines seen;
  NotingRead stored(seen);
  {
    cls_ReadVisitor const visitor(&stored); // does not delete it: the memento says so
    calls.On(visitor);
  }
  ASSERT_FALSE(seen.empty());
  seen.pop_back(); // NeedsDeletion
  EXPECT_EQ(seen, expected);
}

TEST_F(ReadVisitorWithoutMemento, CollectionOperationsReturnNull) {
  cls_ReadVisitor const visitor(nullptr);
  ReadCollectionCalls().On(visitor);
}

TEST_F(ReadVisitor, KeepsTheMementoWithoutACall) {
  RecordingMementoRead* const memento = m_Recorder.NewReader();
  cls_ReadVisitor const visitor(memento);
  EXPECT_EQ(visitor.Memento(), memento);
  EXPECT_EQ(m_Recorder.Lines(), Lines());
}

TEST_F(ReadVisitor, CopyReadsTheCloneAndDeletesIt) {
  cls_ReadVisitor const visitor(m_Recorder.NewReader());
  {
    cls_ReadVisitor const copy(visitor); // NOLINT(performance-unnecessary-copy-initialization)
    EXPECT_NE(copy.Memento(), visitor.Memento());
    EXPECT_EQ(copy.FieldIsPresent(m_Field), 0);
  }
  EXPECT_EQ(m_Recorder.TakeLines(),
            Lines({"read1.Clone() = read2", R"(read2.FieldIsPresent(field 3 "m_Text") = int 0)",
                   "read2.NeedsDeletion() = bool true", "~read2"}));
  EXPECT_EQ(m_Recorder.Live(), Lines({"read1"}));
}

TEST_F(ReadVisitor, ChildReadsTheObjectOfTheFieldAndDeletesIt) {
  cls_ReadVisitor const parent(m_Recorder.NewReader());
  {
    cls_ReadVisitor const child(parent, m_Field);
    EXPECT_NE(child.Memento(), nullptr);
  }
  EXPECT_EQ(m_Recorder.TakeLines(), Lines({R"(read1.MakeFieldReadObj(field 3 "m_Text") = read2)",
                                           "read2.NeedsDeletion() = bool true", "~read2"}));
  EXPECT_EQ(m_Recorder.Live(), Lines({"read1"}));
}

TEST_F(ReadVisitor, MissingCopyOrChildReadsNothing) {
  m_Recorder.KeepAll();
  RecordingMementoRead target(m_Recorder);
  LeafReader leaf(target);
  cls_ReadVisitor const visitor(&leaf);
  cls_ReadVisitor const copy(visitor);
  cls_ReadVisitor const child(visitor, m_Field);
  EXPECT_EQ(copy.Memento(), nullptr);
  EXPECT_EQ(child.Memento(), nullptr);
  EXPECT_EQ(child.DataIsPresent(m_Field), 0);
}

TEST_F(ReadVisitor, LeavesAMementoThatTheBackEndKeeps) {
  m_Recorder.Keep("read1");
  { cls_ReadVisitor const visitor(m_Recorder.NewReader()); }
  EXPECT_EQ(m_Recorder.TakeLines(), Lines({"read1.NeedsDeletion() = bool false"}));
  EXPECT_EQ(m_Recorder.Live(), Lines({"read1"}));
}

TEST_F(ReadVisitor, LeavesPartsAndFieldObjectsThatTheBackEndKeeps) {
  cls_ReadVisitor const visitor(m_Recorder.NewReader());
  m_Recorder.KeepAll();
  {
    cls_ReadVisitor const copy(visitor); // NOLINT(performance-unnecessary-copy-initialization)
    cls_ReadVisitor const child(visitor, m_Field);
    m_Recorder.TakeLines();
  }
  EXPECT_EQ(m_Recorder.TakeLines(),
            Lines({"read3.NeedsDeletion() = bool false", "read2.NeedsDeletion() = bool false"}));
  EXPECT_EQ(m_Recorder.Live(), Lines({"read1", "read2", "read3"}));
}

TEST_F(ReadVisitor, AsksForDeletionOnlyInTheDestructor) {
  m_Recorder.Keep("read1");
  {
    cls_ReadVisitor const visitor(m_Recorder.NewReader());
    m_Recorder.Give("read1");
    EXPECT_EQ(m_Recorder.Lines(), Lines());
  }
  EXPECT_EQ(m_Recorder.TakeLines(), Lines({"read1.NeedsDeletion() = bool true", "~read1"}));
}

TEST_F(ReadVisitor, ForwardsThePresenceQueries) {
  m_Recorder.SetFieldPresent("m_Text", 5);
  m_Recorder.SetDataPresent("m_Text", -2);
  cls_ReadVisitor const visitor(m_Recorder.NewReader());
  EXPECT_EQ(visitor.FieldIsPresent(m_Field), 5);
  EXPECT_EQ(visitor.DataIsPresent(m_Field), -2);
  EXPECT_EQ(m_Recorder.TakeLines(), Lines({R"(read1.FieldIsPresent(field 3 "m_Text") = int 5)",
                                           R"(read1.DataIsPresent(field 3 "m_Text") = int -2)"}));
}

TEST_F(ReadVisitor, ForwardsTheDatabaseName) {
  m_Recorder.m_DbId = "plate.db"_cow;
  cls_ReadVisitor const visitor(m_Recorder.NewReader());
  EXPECT_EQ(visitor.DbId(), "plate.db");
}

TEST_F(ReadVisitor, YieldsTheStoredIdentity) {
  cls_ReadVisitor const visitor(m_Recorder.NewReader());
  EXPECT_EQ(visitor.GetUid().Entry(), m_Recorder.m_Uid.Entry());
  EXPECT_EQ(visitor.GetUid().Entry(), m_Recorder.m_Uid.Entry());
  EXPECT_EQ(m_Recorder.TakeLines(), Lines({"read1.GetUid() = uid U", "read1.GetUid() = uid U"}));
}

TEST_F(ReadVisitor, YieldsTheStoredText) {
  m_Recorder.Store("m_Text", "stored");
  cls_ReadVisitor const visitor(m_Recorder.NewReader());
  EXPECT_EQ(visitor.Read(m_Field, "default"_cow), "stored");
  EXPECT_EQ(m_Recorder.TakeLines(),
            Lines({R"(read1.Read(field 3 "m_Text", string "default") = string "stored")"}));
}

TEST_F(ReadVisitor, YieldsTheDefaultTextOfAnAbsentFieldAsItIs) {
  cls_ReadVisitor const visitor(m_Recorder.NewReader());
  EXPECT_EQ(visitor.Read(m_Field, "default"_cow), "default");
  EXPECT_FALSE(visitor.Read(m_Field, cow_String()).HasText());
  EXPECT_TRUE(visitor.Read(m_Field, ""_cow).HasText());
}

TEST_F(ReadVisitor, ReadsATranslatableStringThroughThePlainOne) {
  m_Recorder.Store("m_Text", "stored");
  cls_ReadVisitor const visitor(m_Recorder.NewReader());
  EXPECT_EQ(visitor.Read(m_Field, atr_String("default")), "stored");
  EXPECT_EQ(m_Recorder.TakeLines(),
            Lines({R"(read1.Read(field 3 "m_Text", string "default") = string "stored")"}));
}

TEST_F(ReadVisitor, PassesATranslatableDefaultAsItIs) {
  cls_ReadVisitor const visitor(m_Recorder.NewReader());
  EXPECT_EQ(visitor.Read(m_Field, atr_String("50 %s")), "50 %s");
  EXPECT_EQ(m_Recorder.TakeLines(),
            Lines({R"(read1.Read(field 3 "m_Text", string "50 %s") = string "50 %s")"}));
  EXPECT_EQ(visitor.Read(m_Field, atr_String()), "");
  EXPECT_EQ(m_Recorder.TakeLines(),
            Lines({R"(read1.Read(field 3 "m_Text", string no text) = string no text)"}));
}

TEST_F(ReadVisitor, TakesStoredTextWithPerCentSignsVerbatim) {
  for (char const* text : {"%s", "100%", "%d of %s", "%2$s %1$s", "%%", "%n%p"})
    EXPECT_EQ(ReadText(cow_String(text)), text);
}

TEST_F(ReadVisitor, TakesStoredTextWithANulVerbatim) {
  std::string_view const text("a\0b", 3);
  EXPECT_EQ(ReadText(cow_String(text)), text);
}

TEST_F(ReadVisitor, YieldsEmptyTextForStoredNoText) {
  EXPECT_TRUE(ReadText(cow_String()).HasText());
  EXPECT_EQ(ReadText(cow_String()), "");
  EXPECT_TRUE(ReadText(""_cow).HasText());
}

TEST_F(ReadVisitor, NeverTranslatesTheStoredText) {
  atr_Translator const before = atr_SetTranslator([](char const* format) -> char const* {
    return std::string_view(format) == "Good day" ? "Guten Tag" : nullptr;
  });
  atr_String const text = ReadText("Good day"_cow);
  atr_SetTranslator(before);
  EXPECT_EQ(text, "Good day");
}

TEST_F(ReadVisitor, NeverCallsTheTranslator) {
  atr_Translator const before =
      atr_SetTranslator([](char const*) -> char const* { return "translated <%s>"; });
  atr_String const text = ReadText("Good day"_cow);
  atr_String const none = ReadText(cow_String());
  atr_SetTranslator(before);
  EXPECT_EQ(text, "Good day");
  EXPECT_EQ(none, "");
}

TEST_F(ReadVisitor, PassesTheBackEndsFailureThrough) {
  m_Recorder.FailAt("Clone");
  cls_ReadVisitor const visitor(m_Recorder.NewReader());
  EXPECT_THROW(cls_ReadVisitor{visitor}, BackEndFailure);
  m_Recorder.FailAt("MakeFieldReadObj");
  EXPECT_THROW(cls_ReadVisitor(visitor, m_Field), BackEndFailure);
  m_Recorder.FailAt("Read");
  EXPECT_THROW(std::ignore = visitor.Read(m_Field, 1), BackEndFailure);
  EXPECT_EQ(m_Recorder.Live(), Lines({"read1"}));
}

TEST_F(ReadVisitorWithoutMemento, ReportsNothingPresent) {
  cls_ReadVisitor const visitor(nullptr);
  EXPECT_EQ(visitor.Memento(), nullptr);
  EXPECT_EQ(visitor.FieldIsPresent(m_Field), 0);
  EXPECT_EQ(visitor.DataIsPresent(m_Field), 0);
  EXPECT_TRUE(visitor.DbId().IsEmpty());
}

TEST_F(ReadVisitorWithoutMemento, YieldsANewIdentityAtEachCall) {
  cls_ReadVisitor const visitor(nullptr);
  cls_Uid const first = visitor.GetUid();
  cls_Uid const second = visitor.GetUid();
  EXPECT_NE(first.Entry(), second.Entry());
}

TEST_F(ReadVisitorWithoutMemento, YieldsTheDefaults) {
  cls_ReadVisitor const visitor(nullptr);
  EXPECT_EQ(visitor.Read(m_Field, "default"_cow), "default");
  EXPECT_EQ(visitor.Read(m_Field, atr_String("%s")), "%s");
  EXPECT_EQ(visitor.Read(m_Field, 17), 17);
  EXPECT_EQ(visitor.Read(m_Field, true), true);
  EXPECT_EQ(visitor.ReadEnum(m_Field), 0);
}

TEST_F(ReadVisitorWithoutMemento, HasNoMementoInItsCopiesAndChildren) {
  cls_ReadVisitor const visitor(nullptr);
  EXPECT_EQ(cls_ReadVisitor(visitor, m_Field).Memento(), nullptr);
  cls_ReadVisitor const copy(visitor); // NOLINT(performance-unnecessary-copy-initialization)
  EXPECT_EQ(copy.Memento(), nullptr);
}

namespace {

struct StoredBase {
  explicit StoredBase(cls_ReadVisitor const& visitor)
      : m_Mass(visitor.Read(cls_FieldHandle(0, "m_Value"_cow), 0.0)) {}
  double m_Mass;
};

struct StoredDerived : StoredBase {
  explicit StoredDerived(cls_ReadVisitor const& visitor)
      : StoredBase(cls_ReadVisitor(visitor)), m_Length(visitor.Read(cls_FieldHandle(0, "m_Value"_cow), 0.0)) {
  }
  double m_Length;
};

} // namespace

TEST_F(ReadVisitor, DerivedClassReadsItsBasePartThroughACopy) {
  m_Recorder.Store("read1.m_Value", 40.0);
  m_Recorder.Store("read2.m_Value", 2.5);
  std::optional<StoredDerived> object;
  { object.emplace(cls_ReadVisitor(m_Recorder.NewReader())); }
  EXPECT_EQ(object->m_Mass, 2.5);
  EXPECT_EQ(object->m_Length, 40.0);
  EXPECT_EQ(m_Recorder.TakeLines(),
            Lines({"read1.Clone() = read2", R"(read2.Read(field 0 "m_Value", double 0) = double 2.5)",
                   "read2.NeedsDeletion() = bool true", "~read2",
                   R"(read1.Read(field 0 "m_Value", double 0) = double 40)",
                   "read1.NeedsDeletion() = bool true", "~read1"}));
}
