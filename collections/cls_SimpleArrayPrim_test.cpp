#include "collections/cls_SimpleArrayPrim.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/backend/ArrayCases.h"
#include "tests/support/backend/RecordingBackEnd.h"
#include "tests/support/backend/StoredList.h"

namespace {

template <class T> class SimpleArrayPrim : public ::testing::Test {
 protected:
  using Array = cls_SimpleArrayPrim<T>;

  static T Element(int number) { return NumberedElement<T>(number); }
  static cls_ReadVisitor Reader(StoredList<T>& list) {
    return cls_ReadVisitor(new StoredListReader<T>(list));
  }
  Lines Calls() { return m_List.TakeCalls(); }

  StoredList<T> m_List{10};
};

using SimpleElements = ::testing::Types<int, float>;
TYPED_TEST_SUITE(SimpleArrayPrim, SimpleElements);

template <class T> class SimpleArrayPrimDeathTest : public SimpleArrayPrim<T> {};
TYPED_TEST_SUITE(SimpleArrayPrimDeathTest, SimpleElements);

/// Counts the flushes that go through the virtual table.
template <class T> class SimpleFlushCounted : public cls_SimpleArrayPrim<T> {
 public:
  using cls_SimpleArrayPrim<T>::cls_SimpleArrayPrim;
  void Flush() const override {
    ++m_Flushes;
    cls_SimpleArrayPrim<T>::Flush();
  }
  mutable int m_Flushes = 0;
};

char const WriteMessage[] =
    "cls_SimpleArrayPrim::AppendBlock: Collection must be associated with a database for this method.";
char const ReadMessage[] =
    "cls_SimpleArrayPrim::ReadBlock: Collection must be associated with a database for this method.";

/// Matches an output whose first line begins with a message.
std::string BeginsWith(std::string message) {
  return message.insert(0, 1, '^').append("([^\n](.|\n)*)?$");
}

} // namespace

// --- Construction.

TYPED_TEST(SimpleArrayPrim, StartsWithoutListUnderAFreshIdentity) {
  cls_SimpleArrayPrim<TypeParam> const array(50);
  cls_SimpleArrayPrim<TypeParam> const other(50);
  EXPECT_EQ(array.Size(), 0);
  EXPECT_EQ(array.Position(), 0);
  EXPECT_EQ(array.SizeHint(), 50);
  EXPECT_FALSE(array.IsChanged());
  EXPECT_NE(array.Uid().Entry(), other.Uid().Entry());
  EXPECT_EQ(array.DynTypeId(), 0x230001U);
  EXPECT_EQ(cls_SimpleArrayPrim<TypeParam>::TypeId(), 0x230001U);
}

TYPED_TEST(SimpleArrayPrim, TakesAGivenIdentity) {
  cls_Uid const uid;
  cls_SimpleArrayPrim<TypeParam> const array(uid, 50);
  EXPECT_EQ(array.Uid().Entry(), uid.Entry());
  EXPECT_EQ(array.SizeHint(), 50);
  EXPECT_EQ(array.Position(), 0);
  EXPECT_EQ(array.Size(), 0);
}

TYPED_TEST(SimpleArrayPrim, OpensAStoredListAndReadsNothing) {
  this->m_List.m_SizeHint = 77;
  cls_SimpleArrayPrim<TypeParam> array(this->Reader(this->m_List), nullptr);
  EXPECT_EQ(this->Calls(), Lines({"SizeHint", "AddReference", "RegisterHolder"}));
  EXPECT_EQ(this->m_List.m_Holders, std::vector<cls_PC*>({&array}));
  EXPECT_EQ(array.SizeHint(), 77);
  EXPECT_EQ(array.Position(), 0);
  EXPECT_EQ(array.Size(), 10);
  EXPECT_EQ(array.Uid().Entry(), this->m_List.m_Uid.Entry());
}

TYPED_TEST(SimpleArrayPrim, AgentOfAnArrayThatCannotBeOpenedOrStoredIsDeleted) {
  for (char const* const call : {"SizeHint", "RegisterHolder"}) {
    this->m_List.m_FailingCall = call;
    EXPECT_THROW(cls_SimpleArrayPrim<TypeParam>(this->Reader(this->m_List), nullptr), BackEndFailure) << call;
    EXPECT_EQ(this->m_List.m_LiveAgents, 0) << call;
  }
  cls_SimpleArrayPrim<TypeParam> const array(50);
  this->m_List.m_FailingCall = "RegisterHolder";
  EXPECT_THROW(StoreAs(array, this->m_List), BackEndFailure);
  EXPECT_EQ(this->m_List.m_LiveAgents, 0);
  EXPECT_EQ(array.Size(), 0);
}

TYPED_TEST(SimpleArrayPrim, CopySharesTheListUnderAFreshIdentity) {
  cls_SimpleArrayPrim<TypeParam> array(this->Reader(this->m_List), nullptr);
  array.Seek(4);
  this->Calls();
  cls_SimpleArrayPrim<TypeParam> copy(array);
  EXPECT_EQ(this->Calls(), Lines({"AddReference", "RegisterHolder"}));
  EXPECT_EQ(this->m_List.m_Holders.back(), &copy);
  EXPECT_EQ(copy.Position(), 4);
  EXPECT_EQ(copy.SizeHint(), array.SizeHint());
  EXPECT_NE(copy.Uid().Entry(), array.Uid().Entry());
  EXPECT_EQ(copy.Size(), 10);
}

TYPED_TEST(SimpleArrayPrim, CopyHasItsOwnPosition) {
  cls_SimpleArrayPrim<TypeParam> array(this->Reader(this->m_List), nullptr);
  cls_SimpleArrayPrim<TypeParam> copy(array);
  copy.Seek(7);
  EXPECT_EQ(array.Position(), 0);
}

TYPED_TEST(SimpleArrayPrim, CopyUnderAGivenIdentityHasIt) {
  cls_SimpleArrayPrim<TypeParam> array(this->Reader(this->m_List), nullptr);
  array.Seek(4);
  this->Calls();
  cls_Uid const uid;
  cls_SimpleArrayPrim<TypeParam> copy(uid, array);
  EXPECT_EQ(this->Calls(), Lines({"AddReference", "RegisterHolder"}));
  EXPECT_EQ(this->m_List.m_Holders.back(), &copy);
  EXPECT_EQ(copy.Uid().Entry(), uid.Entry());
  EXPECT_EQ(copy.Position(), 4);
  EXPECT_EQ(copy.SizeHint(), array.SizeHint());
}

TYPED_TEST(SimpleArrayPrim, CopiesWithoutListMakeNoCall) {
  cls_SimpleArrayPrim<TypeParam> const array(50);
  cls_Uid const uid;
  cls_SimpleArrayPrim<TypeParam> const copy(array);
  cls_SimpleArrayPrim<TypeParam> const other(uid, array);
  EXPECT_EQ(copy.SizeHint(), 50);
  EXPECT_EQ(other.SizeHint(), 50);
  EXPECT_EQ(copy.Size(), 0);
}

// --- The identity that is handed back.

TYPED_TEST(SimpleArrayPrim, HandsTheGivenIdentityBackToItsVariable) {
  cls_Uid uid;
  cls_Uid const original(uid);
  {
    cls_SimpleArrayPrim<TypeParam> array(uid, 5);
    StoreAs(array, this->m_List);
    uid = cls_Uid(); // the destructor overwrites what the owner assigns meanwhile
  }
  EXPECT_EQ(uid.Entry(), original.Entry());
}

TYPED_TEST(SimpleArrayPrim, HandsAFreshIdentityBackAfterDetach) {
  cls_Uid uid;
  cls_Uid const original(uid);
  cls_UidCatalogEntry* fresh = nullptr;
  {
    cls_SimpleArrayPrim<TypeParam> array(uid, 5);
    StoreAs(array, this->m_List);
    array.Detach();
    fresh = array.Uid().Entry();
  }
  EXPECT_NE(uid.Entry(), original.Entry());
  EXPECT_EQ(uid.Entry(), fresh);
}

TYPED_TEST(SimpleArrayPrim, ReaderHandsTheStoredIdentityToTheVariable) {
  cls_Uid uid;
  { cls_SimpleArrayPrim<TypeParam> const array(this->Reader(this->m_List), &uid); }
  EXPECT_EQ(uid.Entry(), this->m_List.m_Uid.Entry());
}

TYPED_TEST(SimpleArrayPrim, CopyUnderAGivenIdentityHandsItBack) {
  cls_Uid uid;
  cls_Uid const original(uid);
  cls_SimpleArrayPrim<TypeParam> const array(this->Reader(this->m_List), nullptr);
  {
    cls_SimpleArrayPrim<TypeParam> const copy(uid, array);
    uid = cls_Uid();
  }
  EXPECT_EQ(uid.Entry(), original.Entry());
}

TYPED_TEST(SimpleArrayPrim, CopyHandsNothingBack) {
  cls_Uid uid;
  cls_Uid const original(uid);
  cls_SimpleArrayPrim<TypeParam> const array(uid, 5);
  { cls_SimpleArrayPrim<TypeParam> const copy(array); }
  EXPECT_EQ(uid.Entry(), original.Entry());
}

// --- Association.

TYPED_TEST(SimpleArrayPrim, DBWriteMakesTheListWithTheHintAndWritesNoElement) {
  Recorder recorder;
  cls_SimpleArrayPrim<TypeParam> const array(50);
  recorder.Name(array.Uid(), "U");
  recorder.Name(&array, "A");
  cls_WriteVisitor const parent(recorder.NewWriter());
  array.DBWrite(cls_WriteVisitor(parent, cls_FieldHandle(4, "m_Values"_cow), nullptr, nullptr));
  std::string const declared =
      ".CheckCollectionType(type " + std::to_string(CodeOf<TypeParam>) + R"(, string "m_Values"))";
  EXPECT_EQ(recorder.TakeLines(),
            Lines({R"(write1.MakeFieldWriteObj(field 4 "m_Values", uint 0x230001, uid U, null) = write2)",
                   "write1" + declared, "write2.MakeAgentListPrim(tag null, int 50) = listAgent1",
                   "listAgent1.AddReference()", "listAgent1.RegisterHolder(A)",
                   "listAgent1.ReadOnly() = bool false", "listAgent1.EndFlush()",
                   "write2.NeedsDeletion() = bool true", "~write2"}));
  array.DBWrite(cls_WriteVisitor(parent, cls_FieldHandle(4, "m_Values"_cow), nullptr, nullptr));
  EXPECT_EQ(recorder.TakeLines(),
            Lines({R"(write1.MakeFieldWriteObj(field 4 "m_Values", uint 0x230001, uid U, null) = write3)",
                   "write1" + declared, "write3.NeedsDeletion() = bool true", "~write3"}));
}

TYPED_TEST(SimpleArrayPrim, StopsIfTheBackEndDeclinesTheObject) {
  Recorder recorder;
  cls_SimpleArrayPrim<TypeParam> const array(50);
  recorder.Name(array.Uid(), "U");
  cls_WriteVisitor const parent(recorder.NewWriter());
  recorder.DeclineObjects();
  array.DBWrite(cls_WriteVisitor(parent, cls_FieldHandle(4, "m_Values"_cow), nullptr, nullptr));
  EXPECT_EQ(recorder.TakeLines(),
            Lines({R"(write1.MakeFieldWriteObj(field 4 "m_Values", uint 0x230001, uid U, null) = null)"}));
  EXPECT_EQ(array.Size(), 0);
}

TYPED_TEST(SimpleArrayPrim, DBWriteFlushesThroughTheVirtualTable) {
  SimpleFlushCounted<TypeParam> array(5);
  StoreAs(array, this->m_List);
  EXPECT_EQ(array.m_Flushes, 1);
  array.Detach();
  EXPECT_EQ(array.m_Flushes, 2);
}

// --- The cursor.

TYPED_TEST(SimpleArrayPrim, WritesRunsOneAfterTheOther) {
  StoredList<TypeParam> list;
  cls_SimpleArrayPrim<TypeParam> array(7);
  StoreAs(array, list);
  EXPECT_EQ(list.m_SizeHint, 7);
  list.TakeCalls();
  TypeParam const values[] = {1, 2, 3, 4, 5, 6, 7};
  array.Write(values, 3);
  array.Write(values + 3, 4);
  EXPECT_EQ(list.TakeCalls(), Lines({"WriteRun(0, 3)", "WriteRun(3, 4)"}));
  EXPECT_EQ(array.Size(), 7);
  EXPECT_EQ(array.Position(), 7);
  EXPECT_EQ(list.m_Elements, std::vector<TypeParam>({1, 2, 3, 4, 5, 6, 7}));
}

TYPED_TEST(SimpleArrayPrim, WritingInTheMiddleOverwritesAndAtTheEndExtends) {
  cls_SimpleArrayPrim<TypeParam> array(this->Reader(this->m_List), nullptr);
  TypeParam const values[] = {1, 2, 3};
  array.Seek(2);
  array.Write(values, 3);
  EXPECT_EQ(array.Size(), 10);
  array.Seek(9);
  array.Write(values, 3);
  EXPECT_EQ(array.Size(), 12);
  EXPECT_EQ(array.Position(), 12);
  std::vector<TypeParam> expected;
  for (int i = 0; i < 9; ++i) expected.push_back(this->Element(i));
  std::copy_n(values, 3, expected.begin() + 2);
  expected.insert(expected.end(), values, values + 3);
  EXPECT_EQ(this->m_List.m_Elements, expected);
}

TYPED_TEST(SimpleArrayPrim, WritingNoElementDoesNothing) {
  cls_SimpleArrayPrim<TypeParam> array(this->Reader(this->m_List), nullptr);
  array.Seek(3);
  this->Calls();
  array.Write(nullptr, 0);
  array.Write(nullptr, -5);
  EXPECT_EQ(this->Calls(), Lines());
  EXPECT_EQ(array.Position(), 3);
}

TYPED_TEST(SimpleArrayPrim, ReadsFromItsPosition) {
  cls_SimpleArrayPrim<TypeParam> array(this->Reader(this->m_List), nullptr);
  this->Calls();
  TypeParam values[7] = {};
  EXPECT_EQ(array.Read(values, 3), 3);
  EXPECT_EQ(array.Position(), 3);
  EXPECT_EQ(values[2], this->Element(2));
  EXPECT_EQ(array.Read(values, 4), 4);
  EXPECT_EQ(array.Position(), 7);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(values[i], this->Element(3 + i));
  EXPECT_EQ(this->Calls(), Lines({"ReadRun(0, 3)", "ReadRun(3, 4)"}));
}

TYPED_TEST(SimpleArrayPrim, ReadsNoMoreThanThereIs) {
  cls_SimpleArrayPrim<TypeParam> array(this->Reader(this->m_List), nullptr);
  array.Seek(8);
  TypeParam values[5] = {};
  EXPECT_EQ(array.Read(values, 5), 2);
  EXPECT_EQ(array.Position(), 10);
  EXPECT_EQ(values[1], this->Element(9));
  EXPECT_EQ(values[2], TypeParam());
  EXPECT_EQ(array.Read(values, 5), 0);
  EXPECT_EQ(array.Position(), 10);
}

TYPED_TEST(SimpleArrayPrim, ReadingNoElementDoesNothing) {
  cls_SimpleArrayPrim<TypeParam> array(this->Reader(this->m_List), nullptr);
  array.Seek(3);
  this->Calls();
  EXPECT_EQ(array.Read(nullptr, 0), 0);
  EXPECT_EQ(array.Read(nullptr, -5), 0);
  EXPECT_EQ(this->Calls(), Lines());
  EXPECT_EQ(array.Position(), 3);
}

TYPED_TEST(SimpleArrayPrim, SeekStaysWithinTheList) {
  cls_SimpleArrayPrim<TypeParam> array(this->Reader(this->m_List), nullptr);
  for (auto const& [position, expected] : {std::pair(5, 5),
                                           {-3, 0},
                                           {9, 9},
                                           {10, 10},
                                           {20, 10},
                                           {-2147483647 - 1, 0},
                                           {2147483647, 10},
                                           {0, 0}}) {
    array.Seek(position);
    EXPECT_EQ(array.Position(), expected) << position;
  }
}

TYPED_TEST(SimpleArrayPrim, SeekWithoutListGoesToTheBeginning) {
  cls_SimpleArrayPrim<TypeParam> array(50);
  array.Seek(5);
  EXPECT_EQ(array.Position(), 0);
}

TYPED_TEST(SimpleArrayPrim, IsChangedAsksTheAgent) {
  cls_SimpleArrayPrim<TypeParam> const array(this->Reader(this->m_List), nullptr);
  EXPECT_FALSE(array.IsChanged());
  this->m_List.m_Changed = true;
  EXPECT_TRUE(array.IsChanged());
}

TYPED_TEST(SimpleArrayPrim, FlushSignalsUnlessTheListIsReadOnly) {
  cls_SimpleArrayPrim<TypeParam> const array(this->Reader(this->m_List), nullptr);
  this->Calls();
  array.Flush();
  EXPECT_EQ(this->Calls(), Lines({"ReadOnly", "EndFlush"}));
  this->m_List.m_ReadOnly = true;
  array.Flush();
  EXPECT_EQ(this->Calls(), Lines({"ReadOnly"}));
  cls_SimpleArrayPrim<TypeParam> const without(5);
  without.Flush();
}

// --- Dropping the agent.

TYPED_TEST(SimpleArrayPrim, LastHolderFlushesAndDeletesTheAgent) {
  auto array = std::make_unique<cls_SimpleArrayPrim<TypeParam>>(this->Reader(this->m_List), nullptr);
  auto copy = std::make_unique<cls_SimpleArrayPrim<TypeParam>>(*array);
  this->Calls();
  array.reset();
  EXPECT_EQ(this->Calls(), LetGoOfAnother);
  copy.reset();
  EXPECT_EQ(this->Calls(), LetGoOfTheLast);
}

TYPED_TEST(SimpleArrayPrim, DestructionLeavesTheRing) {
  RingNode ring;
  {
    cls_SimpleArrayPrim<TypeParam> array(5);
    ring.Link(&array);
  }
  EXPECT_EQ(ring.Next(), &ring);
}

TYPED_TEST(SimpleArrayPrim, DetachOfTheLastHolderGivesAFreshIdentity) {
  SimpleFlushCounted<TypeParam> array(this->Reader(this->m_List), nullptr);
  RingNode ring;
  ring.Link(&array);
  this->Calls();
  array.Detach();
  EXPECT_EQ(this->Calls(), LetGoOfTheLast);
  EXPECT_EQ(array.m_Flushes, 1);
  EXPECT_NE(array.Uid().Entry(), this->m_List.m_Uid.Entry());
  EXPECT_EQ(array.Size(), 0);
  EXPECT_EQ(ring.Next(), &ring);
}

TYPED_TEST(SimpleArrayPrim, DetachOfAnotherHolderKeepsTheIdentity) {
  cls_SimpleArrayPrim<TypeParam> array(this->Reader(this->m_List), nullptr);
  cls_SimpleArrayPrim<TypeParam> const copy(array);
  this->Calls();
  array.Detach();
  EXPECT_EQ(this->Calls(), LetGoOfAnother);
  EXPECT_EQ(array.Uid().Entry(), this->m_List.m_Uid.Entry());
  EXPECT_EQ(array.Size(), 0);
  EXPECT_EQ(copy.Size(), 10);
}

TYPED_TEST(SimpleArrayPrim, DetachWithoutListOnlyLeavesTheRing) {
  cls_SimpleArrayPrim<TypeParam> array(5);
  RingNode ring;
  ring.Link(&array);
  auto* const entry = array.Uid().Entry();
  array.Detach();
  EXPECT_EQ(array.Uid().Entry(), entry);
  EXPECT_EQ(ring.Next(), &ring);
}

// --- Assignment.

TYPED_TEST(SimpleArrayPrim, AssignmentTakesEverything) {
  StoredList<TypeParam> otherList(20);
  otherList.m_SizeHint = 33;
  cls_Uid targetUid;
  cls_Uid const targetOriginal(targetUid);
  cls_Uid sourceUid;
  {
    cls_SimpleArrayPrim<TypeParam> target(targetUid, 5);
    StoreAs(target, this->m_List);
    auto source = std::make_unique<cls_SimpleArrayPrim<TypeParam>>(this->Reader(otherList), &sourceUid);
    source->Seek(15);
    this->Calls();
    otherList.TakeCalls();
    EXPECT_EQ(&(target = *source), &target);
    EXPECT_EQ(this->Calls(), LetGoOfTheLast);
    EXPECT_EQ(otherList.TakeCalls(), Lines({"AddReference", "RegisterHolder"}));
    EXPECT_EQ(otherList.m_Holders.back(), &target);
    EXPECT_EQ(target.Position(), 15);
    EXPECT_EQ(target.SizeHint(), 33);
    EXPECT_EQ(target.Uid().Entry(), otherList.m_Uid.Entry());
    source.reset();
    sourceUid = cls_Uid();
  }
  EXPECT_EQ(sourceUid.Entry(), otherList.m_Uid.Entry()); // also in the variable that it is handed back to
  EXPECT_EQ(targetUid.Entry(), targetOriginal.Entry());
}

TYPED_TEST(SimpleArrayPrim, AssignmentBetweenHoldersOfOneAgentKeepsIt) {
  cls_SimpleArrayPrim<TypeParam> array(this->Reader(this->m_List), nullptr);
  cls_SimpleArrayPrim<TypeParam> copy(array);
  this->Calls();
  copy = array;
  EXPECT_EQ(this->Calls(), Lines({"DropReference", "StillReferenced", "AddReference", "RegisterHolder"}));
  EXPECT_EQ(copy.Uid().Entry(), array.Uid().Entry());
}

TYPED_TEST(SimpleArrayPrim, AssignmentToItselfMakesNoCall) {
  cls_SimpleArrayPrim<TypeParam> array(this->Reader(this->m_List), nullptr);
  RingNode ring;
  ring.Link(&array);
  this->Calls();
  auto const& same = array;
  array = same;
  EXPECT_EQ(this->Calls(), Lines());
  EXPECT_EQ(array.Next(), &ring);
  array.Detach();
}

TYPED_TEST(SimpleArrayPrim, AssignmentResetsOnlyTheTargetsLinks) {
  cls_SimpleArrayPrim<TypeParam> array(5);
  cls_SimpleArrayPrim<TypeParam> const other(6);
  RingNode ring;
  ring.Link(&array);
  array = other;
  EXPECT_EQ(array.Next(), &array);
  EXPECT_EQ(ring.Next(), &array);
}

TYPED_TEST(SimpleArrayPrim, AssignmentFlushesThroughTheVirtualTable) {
  SimpleFlushCounted<TypeParam> array(this->Reader(this->m_List), nullptr);
  cls_SimpleArrayPrim<TypeParam> const other(5);
  static_cast<cls_SimpleArrayPrim<TypeParam>&>(array) = other;
  EXPECT_EQ(array.m_Flushes, 1);
  EXPECT_EQ(array.Size(), 0);
}

// --- Misuse.

TYPED_TEST(SimpleArrayPrim, WithoutListAndElementsOnlyTheMessagesArePrinted) {
  cls_SimpleArrayPrim<TypeParam> array(5);
  ::testing::internal::CaptureStderr();
  array.Write(nullptr, 0);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), WriteMessage);
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(array.Read(nullptr, 0), 0);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), ReadMessage);
  EXPECT_EQ(array.Position(), 0);
}

TYPED_TEST(SimpleArrayPrimDeathTest, WriteWithoutListPrintsAMessageBeforeItFails) {
  cls_SimpleArrayPrim<TypeParam> array(5);
  TypeParam values[2] = {};
  EXPECT_DEATH(array.Write(values, 2), BeginsWith(WriteMessage));
}

TYPED_TEST(SimpleArrayPrimDeathTest, ReadWithoutListPrintsAMessageBeforeItFails) {
  cls_SimpleArrayPrim<TypeParam> array(5);
  TypeParam values[2] = {};
  EXPECT_DEATH(array.Read(values, 2), BeginsWith(ReadMessage));
}

TYPED_TEST(SimpleArrayPrimDeathTest, AfterDetachTheMessageIsPrintedToo) {
  cls_SimpleArrayPrim<TypeParam> array(this->Reader(this->m_List), nullptr);
  array.Detach();
  TypeParam values[2] = {};
  EXPECT_DEATH(array.Write(values, 2), BeginsWith(WriteMessage));
}
