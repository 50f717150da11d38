#include "collections/cls_ArrayPrim.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <numeric>

#include "tests/support/backend/ArrayCases.h"
#include "tests/support/backend/RecordingBackEnd.h"
#include "tests/support/backend/StoredList.h"

// The calls that associated arrays make on their agents, one by one.

namespace {

template <class T> class ArrayPrimAssociation : public ::testing::Test {
 protected:
  using Array = cls_ArrayPrim<T>;

  ArrayPrimAssociation() {
    m_Recorder.Name(m_Array.Uid(), "U");
    m_Recorder.Name(&m_Array, "A");
  }
  ~ArrayPrimAssociation() override {
    m_Array.Release();
    m_Array.DropBlocks();
  }

  void Fill(int count) {
    while (m_Array.Size() < count) m_Array.Append(NumberedElement<T>(m_Array.Size()));
  }
  /// Writes the array as a field. Returns the calls, including those of the visitor's destructor.
  Lines WriteField() {
    {
      cls_WriteVisitor const parent(m_Recorder.NewWriter());
      m_Array.DBWrite(cls_WriteVisitor(parent, cls_FieldHandle(4, "m_Values"_cow), nullptr, nullptr));
      m_Recorder.Keep("write1"); // so that its destructor makes one call
    }
    Lines lines = m_Recorder.TakeLines();
    lines.pop_back(); // the call of the parent's destructor
    return lines;
  }
  /// The calls of writing a field, with `body` as those after the association.
  static Lines FieldLines(Lines const& body) {
    Lines lines{R"(write1.MakeFieldWriteObj(field 4 "m_Values", uint 0x230001, uid U, null) = write2)",
                "write1.CheckCollectionType(type " + std::to_string(CodeOf<T>) + R"(, string "m_Values"))",
                "write2.MakeAgentListPrim(tag null, int 1) = listAgent1", "listAgent1.AddReference()",
                "listAgent1.RegisterHolder(A)"};
    lines.insert(lines.end(), body.begin(), body.end());
    lines.insert(lines.end(), {"write2.NeedsDeletion() = bool true", "~write2"});
    return lines;
  }

  Recorder m_Recorder;
  Array m_Array;
};

using AllElements = ::testing::Types<int, float, double, bool, cow_String>;
TYPED_TEST_SUITE(ArrayPrimAssociation, AllElements);

class ArrayPrimStored : public ::testing::Test {
 protected:
  using Array = OpenArray<int>;

  ~ArrayPrimStored() override {
    if (m_Array != nullptr) m_Array->Release();
  }

  static int Element(int number) { return NumberedElement<int>(number); }

  /// Opens the array of a stored list of `count` elements.
  Array& Open(int count) {
    for (int i = 0; i < count; ++i) m_List.m_Elements.push_back(Element(i));
    m_Array = std::make_unique<Array>(cls_ReadVisitor(new StoredListReader<int>(m_List)));
    m_List.TakeCalls();
    return *m_Array;
  }
  Lines Calls() { return m_List.TakeCalls(); }
  StoredList<int> m_List;
  std::unique_ptr<Array> m_Array;
};

} // namespace

// --- Association.

TYPED_TEST(ArrayPrimAssociation, WritesTheLastBlockWithTheFlush) {
  this->Fill(3);
  EXPECT_EQ(this->WriteField(),
            this->FieldLines({"listAgent1.Count() = int 0", "listAgent1.ReadOnly() = bool false",
                              "listAgent1.WriteRun(int 0, int 3)", "listAgent1.EndFlush()"}));
  EXPECT_TRUE(this->m_Array.IsAssociated());
  EXPECT_EQ(this->m_Array.Size(), 3);
}

TYPED_TEST(ArrayPrimAssociation, WritesFiveThousandElementsInThreeRunsAndOneFlush) {
  this->Fill(5000);
  EXPECT_EQ(this->WriteField(),
            this->FieldLines({"listAgent1.Count() = int 0", "listAgent1.WriteRun(int 0, int 2048)",
                              "listAgent1.WriteRun(int 2048, int 2048)", "listAgent1.ReadOnly() = bool false",
                              "listAgent1.WriteRun(int 4096, int 904)", "listAgent1.EndFlush()"}));
}

TYPED_TEST(ArrayPrimAssociation, OfWholeBlocksWritesAllOfThemBeforeTheFlush) {
  this->Fill(4096);
  EXPECT_EQ(this->WriteField(),
            this->FieldLines({"listAgent1.Count() = int 0", "listAgent1.WriteRun(int 0, int 2048)",
                              "listAgent1.WriteRun(int 2048, int 2048)", "listAgent1.ReadOnly() = bool false",
                              "listAgent1.EndFlush()"}));
}

TYPED_TEST(ArrayPrimAssociation, OfAnEmptyArrayTakesTheStoredLength) {
  this->m_Recorder.template StoreList<TypeParam>(std::vector<TypeParam>(7));
  EXPECT_EQ(this->WriteField(), this->FieldLines({"listAgent1.Count() = int 7"}));
  EXPECT_EQ(this->m_Array.Size(), 7);
}

TYPED_TEST(ArrayPrimAssociation, OfAnEmptyArrayWithAnEmptyListWritesNothing) {
  EXPECT_EQ(this->WriteField(), this->FieldLines({"listAgent1.Count() = int 0"}));
  EXPECT_EQ(this->m_Array.Size(), 0);
  EXPECT_TRUE(this->m_Array.IsAssociated());
}

TYPED_TEST(ArrayPrimAssociation, WithANonEmptyListPrintsAMessageAndWritesItsOwn) {
  this->m_Recorder.template StoreList<TypeParam>(std::vector<TypeParam>(10));
  this->Fill(3);
  ::testing::internal::CaptureStderr();
  Lines const lines = this->WriteField();
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "cls_ArrayPrim::DBWrite: Index conflicts(s) in list.");
  EXPECT_EQ(lines, this->FieldLines({"listAgent1.Count() = int 10", "listAgent1.ReadOnly() = bool false",
                                     "listAgent1.WriteRun(int 0, int 3)", "listAgent1.EndFlush()"}));
  EXPECT_EQ(this->m_Array.Size(), 3);
}

TYPED_TEST(ArrayPrimAssociation, PrintsNothingWithoutConflict) {
  this->Fill(3);
  ::testing::internal::CaptureStderr();
  this->WriteField();
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

TYPED_TEST(ArrayPrimAssociation, StopsIfTheBackEndDeclinesTheObject) {
  this->Fill(3);
  cls_WriteVisitor const parent(this->m_Recorder.NewWriter());
  this->m_Recorder.DeclineObjects();
  this->m_Array.DBWrite(cls_WriteVisitor(parent, cls_FieldHandle(4, "m_Values"_cow), nullptr, nullptr));
  EXPECT_EQ(this->m_Recorder.TakeLines(),
            Lines({R"(write1.MakeFieldWriteObj(field 4 "m_Values", uint 0x230001, uid U, null) = null)"}));
  EXPECT_FALSE(this->m_Array.IsAssociated());
}

TYPED_TEST(ArrayPrimAssociation, ThroughAStartedVisitorDeclaresNoCollection) {
  this->Fill(3);
  cls_WriteVisitor const visitor(this->m_Recorder.NewWriter());
  this->m_Array.DBWrite(visitor);
  EXPECT_EQ(this->m_Recorder.TakeLines(),
            Lines({"write1.MakeAgentListPrim(tag null, int 1) = listAgent1", "listAgent1.AddReference()",
                   "listAgent1.RegisterHolder(A)", "listAgent1.Count() = int 0",
                   "listAgent1.ReadOnly() = bool false", "listAgent1.WriteRun(int 0, int 3)",
                   "listAgent1.EndFlush()"}));
}

TYPED_TEST(ArrayPrimAssociation, DBWriteBodyOnlyAssociates) {
  this->Fill(3);
  cls_WriteVisitor const parent(this->m_Recorder.NewWriter());
  cls_WriteVisitor const visitor(parent, cls_FieldHandle(4, "m_Values"_cow), nullptr, nullptr);
  visitor.StartWrite(this->m_Array.TypeId(), this->m_Array.Uid());
  this->m_Recorder.TakeLines();
  this->m_Array.DBWriteBody(visitor);
  EXPECT_EQ(this->m_Recorder.TakeLines(),
            Lines({"write2.MakeAgentListPrim(tag null, int 1) = listAgent1", "listAgent1.AddReference()",
                   "listAgent1.RegisterHolder(A)", "listAgent1.Count() = int 0",
                   "listAgent1.ReadOnly() = bool false", "listAgent1.WriteRun(int 0, int 3)",
                   "listAgent1.EndFlush()"}));
}

TYPED_TEST(ArrayPrimAssociation, HappensOnce) {
  this->Fill(3);
  this->WriteField();
  this->m_Array.Get(1) = NumberedElement<TypeParam>(500);
  cls_WriteVisitor const parent(this->m_Recorder.NewWriter());
  this->m_Recorder.TakeLines();
  this->m_Array.DBWrite(cls_WriteVisitor(parent, cls_FieldHandle(4, "m_Values"_cow), nullptr, nullptr));
  EXPECT_EQ(this->m_Recorder.TakeLines(),
            Lines({R"(write3.MakeFieldWriteObj(field 4 "m_Values", uint 0x230001, uid U, null) = write4)",
                   "write3.CheckCollectionType(type " + std::to_string(CodeOf<TypeParam>) +
                       R"(, string "m_Values"))",
                   "write4.NeedsDeletion() = bool true", "~write4"}));
}

TYPED_TEST(ArrayPrimAssociation, ReadingOpensTheListAndReadsNoElement) {
  this->m_Recorder.template StoreList<TypeParam>(std::vector<TypeParam>(5000));
  this->m_Recorder.Name(this->m_Recorder.m_Uid, "stored");
  cls_ReadVisitor const visitor(this->m_Recorder.NewReader());
  cls_ArrayPrim<TypeParam> const array(visitor);
  EXPECT_EQ(
      this->m_Recorder.TakeLines(),
      Lines({"read1.MakeAgentListPrim(tag null) = listAgent1", "listAgent1.Count() = int 5000",
             "read1.GetUid() = uid stored", "listAgent1.AddReference()", "listAgent1.RegisterHolder(?)"}));
  EXPECT_EQ(array.Size(), 5000);
  EXPECT_TRUE(array.IsAssociated());
  EXPECT_EQ(array.Uid().Entry(), this->m_Recorder.m_Uid.Entry());
}

TYPED_TEST(ArrayPrimAssociation, WrittenElementsReadBack) {
  StoredList<TypeParam> list;
  this->Fill(5000);
  StoreAs(this->m_Array, list);
  cls_ArrayPrim<TypeParam> const again{cls_ReadVisitor(new StoredListReader<TypeParam>(list))};
  EXPECT_EQ(again.Size(), 5000);
  for (int i = 0; i < 5000; ++i) ASSERT_EQ(again.ConstGet(i), NumberedElement<TypeParam>(i)) << i;
  for (int i = 0; i < 5000; ++i) ASSERT_EQ(this->m_Array.ConstGet(i), NumberedElement<TypeParam>(i)) << i;
  EXPECT_EQ(list.m_Writes, 3);
  again.Release();
  this->m_Array.Release();
  this->m_Array.Detach();
}

TYPED_TEST(ArrayPrimAssociation, OfANegativeLengthTakesTheStoredLength) {
  this->m_Recorder.template StoreList<TypeParam>(std::vector<TypeParam>(7));
  this->m_Array.SetLength(-5);
  EXPECT_EQ(this->WriteField(), this->FieldLines({"listAgent1.Count() = int 7"}));
  EXPECT_EQ(this->m_Array.Size(), 7);
}

TEST_F(ArrayPrimStored, RegistersItselfAsHolder) {
  Array& array = Open(10);
  EXPECT_EQ(m_List.m_Holders, std::vector<cls_PC*>({&array}));
}

TEST_F(ArrayPrimStored, OverwrittenListKeepsElementsPastTheArraysEnd) {
  cls_ArrayPrim<int> array;
  for (int i = 0; i < 3; ++i) array.Append(100 + i);
  m_List.m_Elements = {1, 2, 3, 4, 5};
  ::testing::internal::CaptureStderr();
  StoreAs(array, m_List);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "cls_ArrayPrim::DBWrite: Index conflicts(s) in list.");
  EXPECT_EQ(m_List.m_Elements, std::vector<int>({100, 101, 102, 4, 5}));
  array.Release();
}

TEST_F(ArrayPrimStored, BlocksOfAnArrayCutToEmptyAreEvictedAtTheFirstAccess) {
  cls_ArrayPrim<int> array;
  for (int i = 0; i < 5000; ++i) array.Append(Element(i)); // the last block is the one found last
  array.SetLength(0);
  m_List.m_Elements.assign(5000, 9);
  StoreAs(array, m_List);
  EXPECT_EQ(array.Size(), 5000);
  m_List.TakeCalls();
  EXPECT_EQ(array.ConstGet(4999), Element(4999));
  EXPECT_EQ(Calls(), Lines({"WriteRun(0, 2048)", "WriteRun(2048, 2048)"}));
  array.Release();
}

TEST_F(ArrayPrimStored, BlocksLeftByAFailedAssociationAreEvictedAtTheNextAccess) {
  cls_ArrayPrim<int> array;
  for (int i = 0; i < 5000; ++i) array.Append(Element(i));
  m_List.m_FailingWrites = 1;
  EXPECT_THROW(StoreAs(array, m_List), BackEndFailure);
  m_List.TakeCalls();
  EXPECT_EQ(array.ConstGet(4999), Element(4999));
  EXPECT_EQ(Calls(), Lines({"WriteRun(0, 2048)", "WriteRun(2048, 2048)"}));
  array.Release();
}

// --- Reading and eviction.

TEST_F(ArrayPrimStored, SequentialAccessReadsEachBlockOnceClippedAtTheSize) {
  Array& array = Open(5000);
  for (int i = 0; i < 5000; ++i) ASSERT_EQ(array.ConstGet(i), Element(i));
  EXPECT_EQ(Calls(), Lines({"ReadRun(0, 2048)", "ReadRun(2048, 2048)", "ReadRun(4096, 904)"}));
}

TEST_F(ArrayPrimStored, BlockIsInTheTrieBeforeItIsRead) {
  Array& array = Open(5000);
  unsigned int blocks = 0;
  m_List.m_AtRead = [&] {
    blocks = array.Blocks().Ptr()->Count();
    EXPECT_EQ(array.Blocks().Ptr()->Contains(2048), 1);
  };
  EXPECT_EQ(array.ConstGet(3000), Element(3000));
  EXPECT_EQ(blocks, 1U);
}

TEST_F(ArrayPrimStored, FailedReadPassesThroughAndLeavesNoBlock) {
  Array& array = Open(5000);
  m_List.m_AtRead = [&] {
    EXPECT_EQ(array.Blocks().Ptr()->Count(), 1U);
    throw BackEndFailure("ReadRun");
  };
  for (int const index : {0, 2500, 4999, 2500})
    EXPECT_THROW(static_cast<void>(array.ConstGet(index)), BackEndFailure);
  EXPECT_THROW(array.Append(1), BackEndFailure);
  EXPECT_EQ(array.Blocks().Ptr()->Count(), 0U);
  EXPECT_EQ(array.Size(), 5000);
  m_List.m_AtRead = nullptr;
  for (int const index : {2500, 0, 4999}) EXPECT_EQ(array.ConstGet(index), Element(index));
}

TEST_F(ArrayPrimStored, FailedReadKeepsABlockThatTheBackEndPutBack) {
  Array& array = Open(5000);
  cls_ArrayPrimBuffer<int> const own = cls_ArrayPrimBuffer<int>::Make();
  std::fill_n(own.Values(), 2048, 7);
  m_List.m_AtRead = [&] { // undoes its work: puts back what the array had before
    array.Blocks().Ptr()->Clear();
    array.Blocks().Ptr()->Insert(2048, own);
    throw BackEndFailure("ReadRun");
  };
  EXPECT_THROW(static_cast<void>(array.ConstGet(2048)), BackEndFailure);
  m_List.m_AtRead = nullptr;
  EXPECT_EQ(array.ConstGet(2048), 7);
}

TEST_F(ArrayPrimStored, BackEndMayDropAllBlocksBeforeItReads) {
  Array& array = Open(5000);
  m_List.m_AtRead = [&] { array.Release(); };
  for (int const index : {0, 2500, 4999}) EXPECT_EQ(array.ConstGet(index), Element(index));
  EXPECT_EQ(array.Blocks().Ptr()->Count(), 1U);
}

TEST_F(ArrayPrimStored, UnchangedBlockIsDroppedWithoutWriting) {
  Array& array = Open(5000);
  EXPECT_EQ(array.ConstGet(0) + array.ConstGet(4999) + array.ConstGet(1),
            Element(0) + Element(4999) + Element(1));
  EXPECT_EQ(Calls(), Lines({"ReadRun(0, 2048)", "ReadRun(4096, 904)", "ReadRun(0, 2048)"}));
}

TEST_F(ArrayPrimStored, ChangedBlockIsWrittenBeforeTheOtherIsRead) {
  Array& array = Open(5000);
  array.Get(4999) = 1;
  EXPECT_EQ(array.ConstGet(2048), Element(2048));
  EXPECT_EQ(Calls(), Lines({"ReadRun(4096, 904)", "WriteRun(4096, 904)", "ReadRun(2048, 2048)"}));
  EXPECT_EQ(m_List.m_Elements[4999], 1);
  EXPECT_EQ(array.ConstGet(4999), 1);
}

TEST_F(ArrayPrimStored, OtherBlocksAreWrittenInAscendingOrderBeforeTheRead) {
  cls_ArrayPrim<int> array;
  for (int i = 0; i < 2048; ++i) array.Append(Element(i));
  cls_ArrayPrim<int> inMemory(array);
  StoreAs(array, m_List);
  for (int i = 2048; i < 7000; ++i) inMemory.Append(Element(i)); // blocks that the associated array sees
  m_List.m_Elements.resize(9000, 5);
  array.SetLength(9000);
  m_List.TakeCalls();
  EXPECT_EQ(array.ConstGet(8500), 5);
  EXPECT_EQ(Calls(), Lines({"WriteRun(2048, 2048)", "WriteRun(4096, 2048)", "WriteRun(6144, 2048)",
                            "ReadRun(8192, 808)"}));
  EXPECT_EQ(m_List.m_Elements[6999], Element(6999));
  array.Release();
}

TEST_F(ArrayPrimStored, TouchingAResidentBlockEvictsTheOthersToo) {
  cls_ArrayPrim<int> array;
  for (int i = 0; i < 2047; ++i) array.Append(Element(i));
  cls_ArrayPrim<int> inMemory(array);
  StoreAs(array, m_List);
  for (int i = 2047; i < 3000; ++i) inMemory.Append(Element(i));
  array.SetLength(3000);
  m_List.TakeCalls();
  EXPECT_EQ(array.ConstGet(2999), Element(2999));
  EXPECT_EQ(Calls(), Lines({"WriteRun(0, 2048)"}));
  EXPECT_EQ(array.ConstGet(0), Element(0));
  EXPECT_EQ(Calls(), Lines({"WriteRun(2048, 952)", "ReadRun(0, 2048)"}));
  array.Release();
}

TEST_F(ArrayPrimStored, AppendingAtTheEndOfABlockReadsNothing) {
  Array& array = Open(2048);
  array.Append(1);
  EXPECT_EQ(Calls(), Lines());
  array.Flush();
  EXPECT_EQ(Calls(), Lines({"ReadOnly", "WriteRun(2048, 1)", "EndFlush"}));
  EXPECT_EQ(m_List.Count(), 2049);
}

TEST_F(ArrayPrimStored, AppendingPastTheEndOfABlockWritesItAndReadsNothing) {
  Array& array = Open(2047);
  array.Append(1);
  EXPECT_EQ(Calls(), Lines({"ReadRun(0, 2047)"}));
  array.Append(2);
  EXPECT_EQ(Calls(), Lines({"WriteRun(0, 2048)"}));
  array.Release();
  EXPECT_EQ(Calls(), Lines({"WriteRun(2048, 1)"}));
  EXPECT_EQ(m_List.m_Elements[2047], 1);
  EXPECT_EQ(m_List.m_Elements[2048], 2);
}

TEST_F(ArrayPrimStored, AppendingWithinABlockReadsItFirst) {
  Array& array = Open(2050);
  array.Append(1);
  EXPECT_EQ(Calls(), Lines({"ReadRun(2048, 2)"}));
  EXPECT_EQ(array.ConstGet(2049), Element(2049));
  EXPECT_EQ(array.ConstGet(2050), 1);
}

TEST_F(ArrayPrimStored, SlotAfterTheLastElementIsValid) {
  Array& array = Open(10);
  array.Get(10) = 4;
  EXPECT_EQ(array.Size(), 10);
  EXPECT_EQ(array.ConstGet(10), 4);
  array.Flush();
  EXPECT_EQ(Calls(), Lines({"ReadRun(0, 10)", "ReadOnly", "WriteRun(0, 10)", "EndFlush"}));
  EXPECT_EQ(m_List.Count(), 10);
}

TEST_F(ArrayPrimStored, ArrayShortenedToTheEndOfABlockDoesNotReadPastIt) {
  Array& array = Open(3000);
  array.SetLength(2048);
  array.Append(1);
  EXPECT_EQ(Calls(), Lines());
}

TEST_F(ArrayPrimStored, RunReadsItsBlock) {
  Array& array = Open(5000);
  auto const run = array.ConstGetRun(4100);
  EXPECT_EQ(run.m_Count, 900);
  for (int i = 0; i < run.m_Count; ++i) ASSERT_EQ(run.m_Values[i], Element(4100 + i));
  EXPECT_EQ(Calls(), Lines({"ReadRun(4096, 904)"}));
  EXPECT_EQ(array.ConstGetRun(5000).m_Count, 0);
  EXPECT_EQ(Calls(), Lines());
}

TEST_F(ArrayPrimStored, LastRunOfTheLongestArrayEndsAtItsSize) {
  Array& array = Open(1);
  array.SetLength(2147483647);
  EXPECT_EQ(array.ConstGetRun(2147483000).m_Count, 647);
  EXPECT_EQ(Calls(), Lines({"ReadRun(2147481600, 2047)"}));
}

TEST_F(ArrayPrimStored, ReleaseWritesAndDropsAndTheNextAccessReads) {
  Array& array = Open(3000);
  array.Get(5) = 6;
  array.Release();
  EXPECT_EQ(Calls(), Lines({"ReadRun(0, 2048)", "WriteRun(0, 2048)"}));
  array.Release();
  EXPECT_EQ(Calls(), Lines());
  EXPECT_EQ(array.ConstGet(5), 6);
  EXPECT_EQ(Calls(), Lines({"ReadRun(0, 2048)"}));
}

TEST_F(ArrayPrimStored, EvictionDoesNotAskWhetherTheListIsReadOnly) {
  Array& array = Open(10);
  m_List.m_ReadOnly = true;
  array.Get(5) = 6;
  array.Release();
  EXPECT_EQ(Calls(), Lines({"ReadRun(0, 10)", "WriteRun(0, 10)"}));
}

TEST_F(ArrayPrimStored, EvictionOfAChangedBlockPastTheSizeWritesItsRemainder) {
  Array& array = Open(2048);
  array.Append(1);
  array.SetLength(2048);
  static_cast<void>(array.ConstGet(0));
  EXPECT_EQ(Calls(), Lines({"WriteRun(2048, 0)", "ReadRun(0, 2048)"}));
  EXPECT_EQ(m_List.Count(), 2048);
}

TEST_F(ArrayPrimStored, DropBlocksDoesNothing) {
  Array& array = Open(10);
  array.Get(0) = 6;
  Calls();
  array.DropBlocks();
  EXPECT_EQ(array.Size(), 10);
  EXPECT_EQ(array.ConstGet(0), 6);
  EXPECT_EQ(Calls(), Lines());
}

// --- Flush.

TEST_F(ArrayPrimStored, FlushWritesAChangedBlockOnceAndSignalsEachTime) {
  Array& array = Open(3000);
  array.Get(2500) = 6;
  Calls();
  array.Flush();
  EXPECT_EQ(Calls(), Lines({"ReadOnly", "WriteRun(2048, 952)", "EndFlush"}));
  EXPECT_FALSE(array.GetBuffer(2500)->IsDirty());
  array.Flush();
  EXPECT_EQ(Calls(), Lines({"ReadOnly", "EndFlush"}));
  EXPECT_EQ(array.ConstGet(2500), 6);
  EXPECT_EQ(Calls(), Lines());
}

TEST_F(ArrayPrimStored, FlushWritesAllChangedBlocksInAscendingOrderAndSignalsOnce) {
  cls_ArrayPrim<int> array;
  StoreAs(array, m_List);
  cls_ArrayPrim<int> const holder(array); // keeps the agent alive
  array.Detach();                         // the blocks that it makes stay in memory, and the holder sees them
  for (int i = 0; i < 7000; ++i) array.Append(Element(i));
  static_cast<void>(array.ConstGet(100));
  cls_ArrayPrim<int> associated(holder);
  associated.SetLength(7000);
  Calls();
  associated.Flush();
  EXPECT_EQ(Calls(), Lines({"ReadOnly", "WriteRun(0, 2048)", "WriteRun(2048, 2048)", "WriteRun(4096, 2048)",
                            "WriteRun(6144, 856)", "EndFlush"}));
  EXPECT_EQ(m_List.Count(), 7000);
  associated.Flush();
  EXPECT_EQ(Calls(), Lines({"ReadOnly", "EndFlush"}));
  array.DropBlocks();
}

TEST_F(ArrayPrimStored, FlushWithoutBlocksSignalsOnly) {
  Open(3000).Flush();
  EXPECT_EQ(Calls(), Lines({"ReadOnly", "EndFlush"}));
}

TEST_F(ArrayPrimStored, FlushOfAReadOnlyListDoesNothing) {
  Array& array = Open(10);
  m_List.m_ReadOnly = true;
  array.Get(5) = 6;
  Calls();
  array.Flush();
  EXPECT_EQ(Calls(), Lines({"ReadOnly"}));
  EXPECT_TRUE(array.GetBuffer(0)->IsDirty());
  EXPECT_EQ(m_List.m_Elements[5], Element(5));
}

TEST_F(ArrayPrimStored, FlushKeepsTheMarkOfABlockBeyondTheSize) {
  Array& array = Open(2048);
  array.Append(1);
  for (int const size : {2048, 100}) {
    array.SetLength(size);
    array.Flush();
    EXPECT_EQ(Calls(), Lines({"ReadOnly", "EndFlush"})) << size;
  }
  array.SetLength(2049);
  array.Flush();
  EXPECT_EQ(Calls(), Lines({"ReadOnly", "WriteRun(2048, 1)", "EndFlush"}));
}

TEST_F(ArrayPrimStored, FailedFlushPassesThroughAndKeepsTheMark) {
  Array& array = Open(10);
  array.Get(5) = 6;
  m_List.m_FailingWrites = 1;
  EXPECT_THROW(array.Flush(), BackEndFailure);
  EXPECT_EQ(m_List.m_Flushes, 0);
  array.Flush();
  EXPECT_EQ(m_List.m_Elements[5], 6);
}

TEST_F(ArrayPrimStored, FailedEvictionPassesThroughAndKeepsTheBlock) {
  Array& array = Open(3000);
  array.Get(5) = 6;
  m_List.m_FailingWrites = 1;
  EXPECT_THROW(static_cast<void>(array.ConstGet(2999)), BackEndFailure);
  EXPECT_EQ(array.ConstGet(5), 6);
  EXPECT_EQ(array.ConstGet(2999), Element(2999));
  EXPECT_EQ(m_List.m_Elements[5], 6);
}

// --- AppendBlock and Refresh.

TEST_F(ArrayPrimStored, AppendBlockFlushesBeforeAndAfterItsRun) {
  Array& array = Open(10);
  array.Get(5) = 6;
  Calls();
  std::vector<int> values(3000);
  std::iota(values.begin(), values.end(), 1);
  array.AppendBlock(values.data(), 3000);
  EXPECT_EQ(Calls(),
            Lines({"ReadOnly", "WriteRun(0, 10)", "EndFlush", "WriteRun(10, 3000)", "ReadOnly", "EndFlush"}));
  EXPECT_EQ(array.Size(), 3010);
  EXPECT_EQ(array.ConstGet(3009), 3000);
}

TEST_F(ArrayPrimStored, AppendBlockBypassesTheResidentBlock) {
  Array& array = Open(10);
  array.Get(10) = -1;
  int const values[] = {21, 22};
  array.AppendBlock(values, 2);
  EXPECT_EQ(m_List.m_Elements[10], 21);
  EXPECT_EQ(array.ConstGet(10), -1);
  array.Release();
  EXPECT_EQ(array.ConstGet(10), 21);
  EXPECT_EQ(array.ConstGet(11), 22);
}

TEST_F(ArrayPrimStored, RefreshOfAnUnchangedListOnlyAsksTheAgent) {
  Array& array = Open(10);
  array.Get(5) = 6;
  Calls();
  EXPECT_EQ(array.Refresh(), 0);
  EXPECT_EQ(Calls(), Lines({"Changed"}));
  EXPECT_EQ(array.ConstGet(5), 6);
  EXPECT_EQ(Calls(), Lines());
}

TEST_F(ArrayPrimStored, RefreshTakesTheLengthAndThenEvicts) {
  Array& array = Open(10);
  array.Get(5) = 6;
  Calls();
  m_List.m_Changed = true;
  m_List.m_Elements.resize(8);
  m_List.m_Elements[7] = 70;
  EXPECT_EQ(array.Refresh(), 1);
  EXPECT_EQ(Calls(), Lines({"Changed", "Count", "WriteRun(0, 8)"}));
  EXPECT_EQ(array.Size(), 8);
  EXPECT_EQ(array.ConstGet(5), 6);
  EXPECT_EQ(Calls(), Lines({"ReadRun(0, 8)"}));
}

TEST_F(ArrayPrimStored, RefreshSeesWhatAnotherSessionWrote) {
  Array& array = Open(10);
  EXPECT_EQ(array.ConstGet(3), Element(3));
  m_List.m_Elements.assign(3000, 9);
  EXPECT_EQ(array.ConstGet(3), Element(3));
  m_List.m_Changed = true;
  EXPECT_EQ(array.Refresh(), 1);
  EXPECT_EQ(array.Size(), 3000);
  EXPECT_EQ(array.ConstGet(3), 9);
}
