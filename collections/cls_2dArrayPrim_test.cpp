#include "collections/cls_2dArrayPrim.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>

#include "tests/support/backend/ArrayCases.h"
#include "tests/support/backend/RecordingBackEnd.h"
#include "tests/support/backend/StoredList.h"

namespace {

template <class T> constexpr int TableCodeOf = 0;
template <> constexpr int TableCodeOf<double> = 82;
template <> constexpr int TableCodeOf<float> = 83;

template <class T> class Array2dPrim : public ::testing::Test {
 protected:
  using Array = cls_2dArrayPrim<T>;

  ~Array2dPrim() override {
    m_Array.Release();
    m_Array.DropBlocks();
  }

  static T Element(int number) { return NumberedElement<T>(number); }
  void Fill(int count) {
    while (m_Array.Size() < count) m_Array.Append(Element(m_Array.Size()));
  }
  static cls_ReadVisitor Reader(StoredList<T>& list) {
    return cls_ReadVisitor(new StoredListReader<T>(list));
  }

  StoredList<T> m_List;
  Array m_Array;
};

using TableElements = ::testing::Types<float, double>;
TYPED_TEST_SUITE(Array2dPrim, TableElements);

template <class T> class Array2dPrimDeathTest : public Array2dPrim<T> {
 protected:
  static void Use(cls_2dArrayPrim<T> const& array, int row, int column) {
    if (array.ConstGet(row, column) == T(-1)) s_Used = 1;
  }
  static inline int volatile s_Used = 0;
};
TYPED_TEST_SUITE(Array2dPrimDeathTest, TableElements);

} // namespace

TYPED_TEST(Array2dPrim, StartsEmptyWithOneColumn) {
  EXPECT_EQ(this->m_Array.Size(), 0);
  EXPECT_EQ(this->m_Array.Columns(), 1);
  EXPECT_FALSE(this->m_Array.IsAssociated());
  EXPECT_EQ(this->m_Array.DynTypeId(), 0x230001U);
  EXPECT_EQ(cls_2dArrayPrim<TypeParam>::TypeId(), 0x230001U);
}

TYPED_TEST(Array2dPrim, WithOneColumnRowAndColumnAddUp) {
  this->Fill(10);
  EXPECT_EQ(this->m_Array.ConstGet(2, 3), this->Element(5));
  EXPECT_EQ(&this->m_Array.Get(2, 3), &this->m_Array.ConstGet(5, 0));
}

TYPED_TEST(Array2dPrim, NegativeCoordinateIsFineIfTheFlatIndexIsInRange) {
  this->Fill(10);
  EXPECT_EQ(this->m_Array.ConstGet(1, -1), this->Element(0));
  EXPECT_EQ(&this->m_Array.Get(1, -1), &this->m_Array.ConstGet(0, 0));
  EXPECT_EQ(this->m_Array.ConstGet(-2, 9), this->Element(7));
}

TYPED_TEST(Array2dPrim, RowsAreContiguous) {
  this->Fill(5000);
  this->m_Array.SetColumns(100);
  EXPECT_EQ(this->m_Array.Columns(), 100);
  for (int row = 0; row < 50; ++row)
    for (int column = 0; column < 100; ++column)
      ASSERT_EQ(this->m_Array.ConstGet(row, column), this->Element(row * 100 + column));
  EXPECT_EQ(this->m_Array.ConstGet(3, 250), this->Element(550));
  EXPECT_EQ(this->m_Array.Size(), 5000);
}

TYPED_TEST(Array2dPrim, GetWritesThroughItsReference) {
  this->Fill(5000);
  this->m_Array.SetColumns(7);
  this->m_Array.Get(400, 3) = this->Element(-1);
  EXPECT_EQ(this->m_Array.ConstGet(400, 3), this->Element(-1));
  EXPECT_EQ(this->m_Array.ConstGet(400, 2), this->Element(2802));
  EXPECT_EQ(this->m_Array.ConstGet(400, 4), this->Element(2804));
}

TYPED_TEST(Array2dPrim, SlotAfterTheLastElementIsValid) {
  for (int const size : {0, 1, 2047, 2048}) {
    this->Fill(size);
    this->m_Array.Get(size, 0) = this->Element(-1);
    EXPECT_EQ(this->m_Array.ConstGet(0, size), this->Element(-1));
    EXPECT_EQ(this->m_Array.Size(), size);
  }
}

TYPED_TEST(Array2dPrim, CopyHasTheColumnsAndTheBlocks) {
  this->Fill(10);
  this->m_Array.SetColumns(5);
  cls_2dArrayPrim<TypeParam> const copy(this->m_Array);
  EXPECT_EQ(copy.Columns(), 5);
  EXPECT_EQ(copy.Size(), 10);
  EXPECT_EQ(copy.Uid().Entry(), this->m_Array.Uid().Entry());
  this->m_Array.Get(1, 2) = this->Element(-1);
  EXPECT_EQ(copy.ConstGet(1, 2), this->Element(-1));
}

// --- Storage.

TYPED_TEST(Array2dPrim, WritesItselfAsATable) {
  Recorder recorder;
  cls_2dArrayPrim<TypeParam> array;
  recorder.Name(array.Uid(), "U");
  recorder.Name(&array, "A");
  for (int i = 0; i < 5000; ++i) array.Append(this->Element(i));
  {
    cls_WriteVisitor const parent(recorder.NewWriter());
    array.DBWrite(cls_WriteVisitor(parent, cls_FieldHandle(4, "m_Values"_cow), nullptr, nullptr));
    EXPECT_EQ(recorder.TakeLines(),
              Lines({R"(write1.MakeFieldWriteObj(field 4 "m_Values", uint 0x230001, uid U, null) = write2)",
                     "write1.CheckCollectionType(type " + std::to_string(TableCodeOf<TypeParam>) +
                         R"(, string "m_Values"))",
                     "write2.MakeAgentListPrim(tag null, int 1) = listAgent1", "listAgent1.AddReference()",
                     "listAgent1.RegisterHolder(A)", "listAgent1.Count() = int 0",
                     "listAgent1.WriteRun(int 0, int 2048)", "listAgent1.WriteRun(int 2048, int 2048)",
                     "listAgent1.ReadOnly() = bool false", "listAgent1.WriteRun(int 4096, int 904)",
                     "listAgent1.EndFlush()", "write2.NeedsDeletion() = bool true", "~write2"}));
  }
  array.Release();
}

TYPED_TEST(Array2dPrim, WritesItselfAsATableThroughTheBase) {
  Recorder recorder;
  cls_2dArrayPrim<TypeParam> const array;
  cls_ArrayPrim<TypeParam> const& base = array;
  cls_WriteVisitor const parent(recorder.NewWriter());
  base.DBWrite(cls_WriteVisitor(parent, cls_FieldHandle(4, "m_Values"_cow), nullptr, nullptr));
  EXPECT_EQ(recorder.Lines()[1], "write1.CheckCollectionType(type " + std::to_string(TableCodeOf<TypeParam>) +
                                     R"(, string "m_Values"))");
}

TYPED_TEST(Array2dPrim, StopsIfTheBackEndDeclinesTheObject) {
  Recorder recorder;
  cls_WriteVisitor const parent(recorder.NewWriter());
  recorder.DeclineObjects();
  this->m_Array.DBWrite(cls_WriteVisitor(parent, cls_FieldHandle(4, "m_Values"_cow), nullptr, nullptr));
  EXPECT_EQ(recorder.TakeLines().size(), 1U);
  EXPECT_FALSE(this->m_Array.IsAssociated());
}

TYPED_TEST(Array2dPrim, IsReadBackWithOneColumn) {
  this->Fill(5000);
  this->m_Array.SetColumns(100);
  StoreAs(this->m_Array, this->m_List);
  EXPECT_EQ(this->m_Array.Columns(), 100);
  cls_2dArrayPrim<TypeParam> again(this->Reader(this->m_List));
  EXPECT_EQ(again.Columns(), 1);
  EXPECT_EQ(again.Size(), 5000);
  EXPECT_EQ(again.ConstGet(40, 2), this->Element(42));
  again.SetColumns(100);
  EXPECT_EQ(again.ConstGet(40, 2), this->Element(4002));
  EXPECT_EQ(this->m_Array.ConstGet(40, 2), this->Element(4002));
  again.Release();
  this->m_Array.Release();
  this->m_Array.Detach();
}

TYPED_TEST(Array2dPrim, ReportsAListWithElementsUnderTheBasesName) {
  this->Fill(3);
  StoredList<TypeParam> list(10);
  ::testing::internal::CaptureStderr();
  StoreAs(this->m_Array, list);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "cls_ArrayPrim::DBWrite: Index conflicts(s) in list.");
  EXPECT_EQ(list.Count(), 10);
  this->m_Array.Release();
  this->m_Array.Detach();
}

TYPED_TEST(Array2dPrim, EvictsAndReadsLikeTheBase) {
  StoredList<TypeParam> list(5000);
  cls_2dArrayPrim<TypeParam> array(this->Reader(list));
  array.SetColumns(100);
  list.TakeCalls();
  array.Get(0, 5) = this->Element(-1);
  EXPECT_EQ(array.ConstGet(49, 99), this->Element(4999));
  array.Append(this->Element(5000));
  EXPECT_EQ(list.TakeCalls(), Lines({"ReadRun(0, 2048)", "WriteRun(0, 2048)", "ReadRun(4096, 904)"}));
  array.Release();
  EXPECT_EQ(list.TakeCalls(), Lines({"WriteRun(4096, 905)"}));
  EXPECT_EQ(array.ConstGet(0, 5), this->Element(-1));
  array.Release();
}

TYPED_TEST(Array2dPrim, AppendBlockWritesDirectlyToStorage) {
  StoredList<TypeParam> list(10);
  cls_2dArrayPrim<TypeParam> array(this->Reader(list));
  array.Get(0, 5) = this->Element(-1);
  list.TakeCalls();
  TypeParam const values[] = {1, 2, 3};
  array.AppendBlock(values, 3);
  EXPECT_EQ(list.TakeCalls(),
            Lines({"ReadOnly", "WriteRun(0, 10)", "EndFlush", "WriteRun(10, 3)", "ReadOnly", "EndFlush"}));
  EXPECT_EQ(array.Size(), 13);
  array.Release();
  EXPECT_EQ(array.ConstGet(12, 0), TypeParam(3));
  array.Release();
}

TYPED_TEST(Array2dPrim, CopyOfAnAssociatedArrayHoldsTheAgentToo) {
  StoredList<TypeParam> list(10);
  cls_2dArrayPrim<TypeParam> array(this->Reader(list));
  array.SetColumns(5);
  list.TakeCalls();
  cls_2dArrayPrim<TypeParam> copy(array);
  EXPECT_EQ(list.TakeCalls(), Lines({"AddReference", "RegisterHolder"}));
  EXPECT_EQ(list.m_Holders.back(), &copy);
  EXPECT_EQ(copy.Columns(), 5);
  EXPECT_EQ(copy.ConstGet(1, 2), this->Element(7));
  copy.Release();
}

// --- Assignment, which differs from the base's.

TYPED_TEST(Array2dPrim, AssignmentSharesWhatIsInMemory) {
  this->Fill(10);
  this->m_Array.SetColumns(5);
  cls_2dArrayPrim<TypeParam> target;
  EXPECT_EQ(&(target = this->m_Array), &target);
  EXPECT_EQ(target.Columns(), 5);
  EXPECT_EQ(target.Size(), 10);
  EXPECT_EQ(target.Uid().Entry(), this->m_Array.Uid().Entry());
  target.Get(1, 2) = this->Element(-1);
  EXPECT_EQ(this->m_Array.ConstGet(1, 2), this->Element(-1));
}

TYPED_TEST(Array2dPrim, AssignmentLeavesTheOldAgentAliveAndUnflushed) {
  StoredList<TypeParam> first(10);
  StoredList<TypeParam> second(20);
  auto target = std::make_unique<cls_2dArrayPrim<TypeParam>>(this->Reader(first));
  cls_2dArrayPrim<TypeParam> const source(this->Reader(second));
  cls_PC* const targetHolder = first.m_Holders.front();
  first.TakeCalls();
  second.TakeCalls();
  // The agent needs a holder that deletes it: another array, not tested here.
  cls_2dArrayPrim<TypeParam> const other(*target);
  first.TakeCalls();
  *target = source;
  EXPECT_EQ(first.TakeCalls(), Lines({"DropReference"}));
  EXPECT_EQ(first.m_LiveAgents, 1);
  EXPECT_EQ(second.TakeCalls(), Lines({"AddReference"}));
  EXPECT_EQ(second.m_References, 2);
  EXPECT_EQ(std::ranges::count(second.m_Holders, targetHolder), 0);
  EXPECT_EQ(target->Size(), 20);
  EXPECT_EQ(target->Uid().Entry(), second.m_Uid.Entry());
  EXPECT_EQ(target->ConstGet(19, 0), this->Element(19));
  target->Release();
}

TYPED_TEST(Array2dPrim, AssignmentToTheLastHolderDoesNotDeleteTheAgentEither) {
  StoredList<TypeParam> list(10);
  cls_AgentListPrim<TypeParam>* agent = nullptr;
  /// Remembers the agent that it returns, so that the test can delete it.
  struct Writer : StoredListWriter<TypeParam> {
    Writer(StoredList<TypeParam>& stored, cls_AgentListPrim<TypeParam>*& made)
        : StoredListWriter<TypeParam>(stored), m_Made(made) {}
    using StoredListWriter<TypeParam>::MakeAgentListPrim;
    cls_AgentListPrim<TypeParam>* MakeAgentListPrim(TypeParam const* tag, int sizeHint) override {
      return m_Made = StoredListWriter<TypeParam>::MakeAgentListPrim(tag, sizeHint);
    }
    cls_AgentListPrim<TypeParam>*& m_Made;
  };
  cls_2dArrayPrim<TypeParam> target;
  target.DBWrite(cls_WriteVisitor(new Writer(list, agent)));
  target.Get(3, 0) = this->Element(-1);
  cls_2dArrayPrim<TypeParam> const keepsBlocks(target);
  agent->DropReference(); // the copy's: the target is now the last holder counted
  list.TakeCalls();
  cls_2dArrayPrim<TypeParam> const source;
  target = source;
  EXPECT_EQ(list.TakeCalls(), Lines({"DropReference"}));
  EXPECT_EQ(list.m_LiveAgents, 1);
  EXPECT_EQ(list.m_Elements[3], this->Element(3));
  EXPECT_FALSE(target.IsAssociated());
  agent->AddReference();
  keepsBlocks.Release();
}

TYPED_TEST(Array2dPrim, AssignmentKeepsTheTargetInItsRing) {
  StoredList<TypeParam> list(10);
  cls_2dArrayPrim<TypeParam> const source(this->Reader(list));
  RingNode ring;
  ring.Link(&this->m_Array);
  this->m_Array = source;
  EXPECT_EQ(ring.Next(), &this->m_Array);
  EXPECT_EQ(this->m_Array.Next(), &ring);
  this->m_Array.Detach();
}

TYPED_TEST(Array2dPrim, AssignmentToItselfMakesNoCall) {
  StoredList<TypeParam> list(10);
  cls_2dArrayPrim<TypeParam> array(this->Reader(list));
  array.SetColumns(5);
  list.TakeCalls();
  auto const& same = array;
  array = same;
  EXPECT_EQ(list.TakeCalls(), Lines());
  EXPECT_EQ(array.Columns(), 5);
  EXPECT_TRUE(array.IsAssociated());
}

TYPED_TEST(Array2dPrim, AssignmentThroughTheBaseBehavesLikeTheBase) {
  StoredList<TypeParam> list(10);
  cls_2dArrayPrim<TypeParam> array(this->Reader(list));
  cls_ArrayPrim<TypeParam> const source;
  list.TakeCalls();
  static_cast<cls_ArrayPrim<TypeParam>&>(array) = source;
  EXPECT_EQ(list.TakeCalls(), Lines({"DropReference", "StillReferenced", "ReadOnly", "EndFlush", "deleted"}));
}

// --- Misuse.

TYPED_TEST(Array2dPrimDeathTest, IndexOutOfRange) {
  this->Fill(10);
  std::string const read = Only("In cls_2dArrayPrim::ConstGet() Index out of range.");
  std::string const write = Only("In cls_2dArrayPrim::Get() Index out of range.");
  EXPECT_DEATH(this->Use(this->m_Array, 10, 1), read);
  EXPECT_DEATH(this->Use(this->m_Array, 1, -2), read);
  EXPECT_DEATH(this->m_Array.Get(10, 1) = TypeParam(), write);
  EXPECT_DEATH(this->m_Array.Get(0, -1) = TypeParam(), write);
}

TYPED_TEST(Array2dPrimDeathTest, MissingAgent) {
  this->m_Array.SetLength(10);
  std::string const message = Only("In cls_2dArrayPrim::GetBuffer() Missing agent.");
  EXPECT_DEATH(this->Use(this->m_Array, 2, 1), message);
  EXPECT_DEATH(this->m_Array.Get(2, 1) = TypeParam(), message);
  EXPECT_DEATH(this->m_Array.Append(TypeParam()), message);
}

TYPED_TEST(Array2dPrimDeathTest, AppendBlockInMemory) {
  TypeParam const values[2] = {};
  EXPECT_DEATH(
      this->m_Array.AppendBlock(values, 2),
      Only("cls_2dArrayPrim::AppendBlock: Collection must be associated with a database for this method."));
}
