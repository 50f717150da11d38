#include "wrappers/cls_xp2DArray.h"

#include <gtest/gtest.h>

#include <limits>
#include <new>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "tests/support/AllocationProbe.h"
#include "tests/support/backend/RecordingBackEnd.h"

// How the tables are written and read, and how they behave as values.

namespace {

template <class T> struct TableCase {
  using Element = T;
  using Wrapper = std::conditional_t<std::is_same_v<T, double>, cls_xp2DArrayDouble, cls_xp2DArray<T>>;
  static constexpr char const* Code =
      std::is_same_v<T, double> ? "82" : (std::is_same_v<T, float> ? "83" : "84");
  static Wrapper Read(cls_ReadVisitor const& visitor) {
    if constexpr (std::is_same_v<T, double>)
      return Wrapper(visitor, nullptr);
    else
      return Wrapper(visitor);
  }
};

// The conversions, under one name.
auto FromCow(cow_2DArray<double> const& source) {
  return cls_xp2DArrayDoubleFromCow(source);
}
auto FromCow(cow_2DArray<float> const& source) {
  return cls_xp2DArrayFloatFromCow(source);
}
auto FromCow(cow_2DArray<int> const& source) {
  return cls_xp2DArrayIntFromCow(source);
}

template <class Case> class Table2D : public testing::Test {
 protected:
  using T = typename Case::Element;
  using Wrapper = typename Case::Wrapper;

  Table2D() {
    m_Recorder.Name(m_Table.Uid(), "W");
    m_Recorder.Name(m_Recorder.m_Uid, "stored");
  }

  /// 1, 2, 3 and so on, row after row.
  static cow_2DArray<T> Numbered(int rows, int columns) {
    cow_2DArray<T> table(rows, columns);
    for (int i = 0; i < rows * columns; ++i) table.Get(i / columns, i % columns) = static_cast<T>(i + 1);
    return table;
  }
  static std::vector<T> UpTo(int last) {
    std::vector<T> values;
    for (int i = 1; i <= last; ++i) values.push_back(static_cast<T>(i));
    return values;
  }
  static std::vector<T> Elements(cow_2DArray<T> const& table) {
    return {table.ConstData(), table.ConstData() + table.Rows() * table.Cols()};
  }
  static void ExpectShape(cow_2DArray<T> const& table, int rows, int columns) {
    EXPECT_EQ(table.Rows(), rows);
    EXPECT_EQ(table.Cols(), columns);
  }

  Wrapper Read() {
    cls_ReadVisitor const visitor(m_Recorder.NewReader());
    return Case::Read(visitor);
  }

  static Lines WriteLines(std::string const& write, std::string const& writer, int columns,
                          std::vector<T> const& values) {
    Lines lines{write + ".MakeWriteListPrim(tag " + ShownScalar(T()) + ", int " + std::to_string(columns) +
                ") = " + writer};
    for (T const& value : values) lines.push_back(writer + ".Append(" + ShownScalar(value) + ")");
    lines.insert(lines.end(), {writer + ".NeedsDeletion() = bool true", "~" + writer});
    return lines;
  }
  /// The lines of a read, up to the shape.
  static Lines ShapeLines(int columns, int count) {
    return {"read1.GetUid() = uid stored",
            "read1.MakeReadListPrim(tag " + ShownScalar(T()) + ") = listReader1",
            "listReader1.RowWidth() = int " + std::to_string(columns),
            "listReader1.Count() = int " + std::to_string(count)};
  }
  static void AddElementLines(Lines& lines, std::vector<T> const& values) {
    for (T const& value : values)
      lines.insert(lines.end(), {"listReader1.More() = int 1", "listReader1.Next() = " + ShownScalar(value)});
  }

  Recorder m_Recorder;
  Wrapper m_Table = FromCow(Numbered(2, 3));
  cls_FieldHandle m_Field{4, "m_Stiffness"_cow};
};
using TableCases = testing::Types<TableCase<double>, TableCase<float>, TableCase<int>>;
TYPED_TEST_SUITE(Table2D, TableCases);

} // namespace

// --- Writing.

TYPED_TEST(Table2D, WritesAFieldAsOneListRowAfterRow) {
  cls_WriteVisitor const parent(this->m_Recorder.NewWriter());
  this->m_Recorder.Name(&this->m_Table, "O");
  this->m_Table.DBWrite(cls_WriteVisitor(parent, this->m_Field, nullptr, &this->m_Table));
  Lines expected{R"(write1.MakeFieldWriteObj(field 4 "m_Stiffness", uint 0x230001, uid W, O) = write2)",
                 std::string("write1.CheckCollectionType(type ") + TypeParam::Code +
                     R"(, string "m_Stiffness"))"};
  for (std::string const& line : this->WriteLines("write2", "listWriter1", 3, this->UpTo(6)))
    expected.push_back(line);
  expected.insert(expected.end(), {"write2.NeedsDeletion() = bool true", "~write2"});
  EXPECT_EQ(this->m_Recorder.TakeLines(), expected);
}

TYPED_TEST(Table2D, WritesThroughAStartedVisitorWithoutStartingIt) {
  cls_WriteVisitor const visitor(this->m_Recorder.NewWriter());
  this->m_Table.DBWrite(visitor);
  EXPECT_EQ(this->m_Recorder.TakeLines(), this->WriteLines("write1", "listWriter1", 3, this->UpTo(6)));
}

TYPED_TEST(Table2D, WritesItsElementsTwiceWhenWrittenTwiceInOnePass) {
  cls_WriteVisitor const parent(this->m_Recorder.NewWriter());
  for (char const* made : {"write2", "write3"}) {
    this->m_Table.DBWrite(cls_WriteVisitor(parent, this->m_Field, nullptr, nullptr));
    Lines const lines = this->m_Recorder.TakeLines();
    EXPECT_EQ(
        lines.front(),
        std::string(R"(write1.MakeFieldWriteObj(field 4 "m_Stiffness", uint 0x230001, uid W, null) = )") +
            made);
    EXPECT_EQ(lines.size(), 13U);
  }
}

TYPED_TEST(Table2D, WritesATableWithoutElementsAsAnEmptyListOfItsColumnCount) {
  struct Shape {
    int m_Rows, m_Columns;
  };
  for (Shape const shape : {Shape{0, 4}, Shape{4, 0}, Shape{0, 0}}) {
    Recorder recorder;
    cls_WriteVisitor const visitor(recorder.NewWriter());
    typename TypeParam::Wrapper(shape.m_Rows, shape.m_Columns).DBWrite(visitor);
    EXPECT_EQ(recorder.TakeLines(), this->WriteLines("write1", "listWriter1", shape.m_Columns, {}));
  }
}

TYPED_TEST(Table2D, LeavesAListWriterThatTheBackEndKeeps) {
  this->m_Recorder.Keep("listWriter1");
  {
    cls_WriteVisitor const visitor(this->m_Recorder.NewWriter());
    this->m_Table.DBWrite(visitor);
    EXPECT_EQ(this->m_Recorder.Lines().back(), "listWriter1.NeedsDeletion() = bool false");
  }
  EXPECT_EQ(this->m_Recorder.Live(), Lines({"listWriter1"}));
}

TYPED_TEST(Table2D, WritesNothingIfTheBackEndDeclinesTheObject) {
  this->m_Recorder.DeclineObjects();
  cls_WriteVisitor const parent(this->m_Recorder.NewWriter());
  this->m_Table.DBWrite(cls_WriteVisitor(parent, this->m_Field, nullptr, nullptr));
  EXPECT_EQ(this->m_Recorder.TakeLines().size(), 2U); // the start and the check of the collection type
}

TYPED_TEST(Table2D, FailingWriteStepPassesThroughAndLeaksNothing) {
  struct Step {
    char const* m_Operation;
    int m_Nth;
  };
  for (Step const step : {Step{"MakeFieldWriteObj", 1}, Step{"CheckCollectionType", 1},
                          Step{"MakeWriteListPrim", 1}, Step{"Append", 1}, Step{"Append", 6}}) {
    Recorder recorder;
    recorder.FailAt(step.m_Operation, step.m_Nth);
    {
      cls_WriteVisitor const parent(recorder.NewWriter());
      EXPECT_THROW(this->m_Table.DBWrite(cls_WriteVisitor(parent, this->m_Field, nullptr, nullptr)),
                   BackEndFailure)
          << step.m_Operation;
    }
    EXPECT_EQ(recorder.Live(), Lines()) << step.m_Operation;
  }
}

namespace {

/// Assigns another table to the one being written, at the third element.
struct ChangingWriter : RecordingListWriter<int> {
  ChangingWriter(Recorder& recorder, cls_xp2DArrayInt& table, cow_2DArray<int> const& replacement)
      : RecordingListWriter(recorder), m_Table(table), m_Replacement(replacement) {}
  void Append(int const& element) override {
    m_Appended.push_back(element);
    if (m_Appended.size() == 3) m_Table = m_Replacement;
  }
  cls_xp2DArrayInt& m_Table;
  cow_2DArray<int> const& m_Replacement;
  std::vector<int> m_Appended;
};
struct ChangingMemento : RecordingMementoWrite {
  using RecordingMementoWrite::MakeWriteListPrim;
  ChangingMemento(Recorder& recorder, ChangingWriter& writer)
      : RecordingMementoWrite(recorder), m_Writer(writer) {}
  cls_WriteListPrim<int>* MakeWriteListPrim(int const*, int) override { return &m_Writer; }
  ChangingWriter& m_Writer;
};

/// What is written for a 3 x 2 table of 1 to 6 that becomes `replacement` after the third element.
std::vector<int> WrittenWhileChanging(cow_2DArray<int> const& replacement) {
  Recorder recorder;
  recorder.KeepAll();
  cls_xp2DArrayInt table(3, 2);
  for (int i = 0; i < 6; ++i) table.Get(i / 2, i % 2) = i + 1;
  ChangingWriter writer(recorder, table, replacement);
  ChangingMemento memento(recorder, writer);
  table.DBWrite(cls_WriteVisitor(&memento));
  return writer.m_Appended;
}

} // namespace

TEST(Table2DWrite, ReadsTheShapeAgainForEachElement) {
  cow_2DArray<int> wider(2, 4); // row 1 continues at column 1 and is two columns longer
  for (int column = 0; column < 4; ++column) wider.Get(1, column) = 100 + column;
  EXPECT_EQ(WrittenWhileChanging(wider), (std::vector<int>{1, 2, 3, 101, 102, 103}));
  EXPECT_EQ(WrittenWhileChanging(cow_2DArray<int>(1, 2)), (std::vector<int>{1, 2, 3}));
  EXPECT_EQ(WrittenWhileChanging(cow_2DArray<int>(3, 1)), (std::vector<int>{1, 2, 3, 0}));
  EXPECT_EQ(WrittenWhileChanging(cow_2DArray<int>()), (std::vector<int>{1, 2, 3}));
}

// --- Reading.

TYPED_TEST(Table2D, ReadsIdentityThenWidthThenCountThenElements) {
  this->m_Recorder.StoreList(this->UpTo(6));
  this->m_Recorder.SetRowWidth(3);
  cls_ReadVisitor const visitor(this->m_Recorder.NewReader());
  auto const table = TypeParam::Read(visitor);
  Lines expected = this->ShapeLines(3, 6);
  this->AddElementLines(expected, this->UpTo(6));
  expected.insert(expected.end(), {"listReader1.More() = int 0", "~listReader1"});
  EXPECT_EQ(this->m_Recorder.TakeLines(), expected);
  EXPECT_EQ(table.Uid().Entry(), this->m_Recorder.m_Uid.Entry());
}

TYPED_TEST(Table2D, ElementsAreReadRowAfterRow) {
  this->m_Recorder.StoreList(this->UpTo(6));
  this->m_Recorder.SetRowWidth(3);
  auto const table = this->Read();
  this->ExpectShape(table, 2, 3);
  EXPECT_EQ(table.ConstGet(1, 0), 4);
  EXPECT_EQ(this->Elements(table), this->UpTo(6));
}

TYPED_TEST(Table2D, ReadsAWidthOfZeroAsNoRowsAndNoColumnsWithoutCounting) {
  this->m_Recorder.StoreList(this->UpTo(6));
  this->m_Recorder.SetRowWidth(0);
  cls_ReadVisitor const visitor(this->m_Recorder.NewReader());
  auto const table = TypeParam::Read(visitor);
  Lines expected = this->ShapeLines(0, 0);
  expected.back() = "~listReader1";
  EXPECT_EQ(this->m_Recorder.TakeLines(), expected);
  this->ExpectShape(table, 0, 0);
}

TYPED_TEST(Table2D, ReadsAnEmptyListAsNoRowsAndNoColumnsWithoutAskingForElements) {
  this->m_Recorder.SetRowWidth(5);
  cls_ReadVisitor const visitor(this->m_Recorder.NewReader());
  auto const table = TypeParam::Read(visitor);
  Lines expected = this->ShapeLines(5, 0);
  expected.push_back("~listReader1");
  EXPECT_EQ(this->m_Recorder.TakeLines(), expected);
  this->ExpectShape(table, 0, 0);
  EXPECT_EQ(table.Uid().Entry(), this->m_Recorder.m_Uid.Entry());
}

TYPED_TEST(Table2D, DropsTheElementsOfAPartialRow) {
  this->m_Recorder.StoreList(this->UpTo(7));
  this->m_Recorder.SetRowWidth(3);
  cls_ReadVisitor const visitor(this->m_Recorder.NewReader());
  auto const table = TypeParam::Read(visitor);
  this->ExpectShape(table, 2, 3);
  EXPECT_EQ(this->Elements(table), this->UpTo(6));
  Lines expected = this->ShapeLines(3, 7);
  this->AddElementLines(expected, this->UpTo(6));
  expected.insert(expected.end(), {"listReader1.More() = int 1", "~listReader1"}); // the seventh is not read
  EXPECT_EQ(this->m_Recorder.TakeLines(), expected);
}

TYPED_TEST(Table2D, ReadsAListShorterThanOneRowAsNoRowsAndNoColumns) {
  this->m_Recorder.StoreList(this->UpTo(2));
  this->m_Recorder.SetRowWidth(3);
  this->ExpectShape(this->Read(), 0, 0);
}

TYPED_TEST(Table2D, IgnoresElementsOfAReaderThatReturnsMoreThanItCounted) {
  this->m_Recorder.StoreList(this->UpTo(30));
  this->m_Recorder.SetRowWidth(2);
  this->m_Recorder.SetCount(4);
  auto const table = this->Read();
  this->ExpectShape(table, 2, 2);
  EXPECT_EQ(this->Elements(table), this->UpTo(4));
}

TYPED_TEST(Table2D, ReaderThatReturnsLessThanItCountedLeavesZeros) {
  this->m_Recorder.StoreList(this->UpTo(4));
  this->m_Recorder.SetRowWidth(3);
  this->m_Recorder.SetCount(6);
  auto const table = this->Read();
  this->ExpectShape(table, 2, 3);
  EXPECT_EQ(this->Elements(table), (std::vector<typename TypeParam::Element>{1, 2, 3, 4, 0, 0}));
}

TYPED_TEST(Table2D, ReadsAWidthThatGivesNoRowsAsNoRowsAndNoColumns) {
  struct Shape {
    int m_Count, m_Width;
  };
  constexpr int Min = std::numeric_limits<int>::min();
  for (Shape const shape : {Shape{2, 3}, Shape{2, -3}, Shape{-2, 3}, Shape{0, -1}, Shape{0, Min}}) {
    Recorder recorder;
    recorder.SetCount(shape.m_Count);
    recorder.SetRowWidth(shape.m_Width);
    cls_ReadVisitor const visitor(recorder.NewReader());
    this->ExpectShape(TypeParam::Read(visitor), 0, 0);
    EXPECT_EQ(recorder.Live(), Lines({"read1"}));
  }
}

TYPED_TEST(Table2D, NegativeShapeIsRefusedByTheContainerAndLeaksNothing) {
  struct Shape {
    int m_Count, m_Width;
  };
  constexpr int Min = std::numeric_limits<int>::min();
  for (Shape const shape : {Shape{6, -3}, Shape{-6, 3}, Shape{-6, -3}, Shape{Min, -1}}) {
    Recorder recorder;
    recorder.SetCount(shape.m_Count);
    recorder.SetRowWidth(shape.m_Width);
    cls_ReadVisitor const visitor(recorder.NewReader());
    EXPECT_THROW(TypeParam::Read(visitor), std::length_error) << shape.m_Count << " by " << shape.m_Width;
    EXPECT_EQ(recorder.Live(), Lines({"read1"}));
  }
}

TYPED_TEST(Table2D, DeletesTheReaderWithoutAskingEvenWhenItIsKept) {
  this->m_Recorder.StoreList(this->UpTo(6));
  this->m_Recorder.SetRowWidth(3);
  this->m_Recorder.Keep("listReader1");
  this->Read();
  EXPECT_EQ(this->m_Recorder.Live(), Lines());
}

TYPED_TEST(Table2D, ReadsNothingWithoutAMemento) {
  cls_ReadVisitor const visitor(nullptr);
  auto const first = TypeParam::Read(visitor);
  auto const second = TypeParam::Read(visitor);
  this->ExpectShape(first, 0, 0);
  EXPECT_NE(first.Uid().Entry(), second.Uid().Entry());
}

TYPED_TEST(Table2D, FailingReadStepPassesThroughAndLeaksNothing) {
  for (char const* operation : {"GetUid", "MakeReadListPrim", "RowWidth", "Count", "More", "Next"}) {
    Recorder recorder;
    recorder.StoreList(this->UpTo(6));
    recorder.SetRowWidth(3);
    recorder.FailAt(operation);
    {
      cls_ReadVisitor const visitor(recorder.NewReader());
      EXPECT_THROW(TypeParam::Read(visitor), BackEndFailure) << operation;
      EXPECT_EQ(recorder.Live(), Lines({"read1"})) << operation;
    }
  }
}

TYPED_TEST(Table2D, RunningOutOfMemoryAnywhereInAReadLeaksNothing) {
  this->m_Recorder.StoreList(this->UpTo(6));
  this->m_Recorder.SetRowWidth(3);
  cls_ReadVisitor const visitor(this->m_Recorder.NewReader());
  for (int step = 1; step <= 4; ++step) { // the empty block and its count, then those of the table
    AllocationProbe probe;
    probe.FailAt(step);
    EXPECT_THROW(TypeParam::Read(visitor), std::bad_alloc) << step;
    EXPECT_EQ(this->m_Recorder.Live(), Lines({"read1"}));
  }
  AllocationProbe const probe;
  TypeParam::Read(visitor);
  EXPECT_EQ(probe.Count(), 4);
}

TYPED_TEST(Table2D, ReadsBackWhatItWrote) {
  struct StoringList : RecordingListWriter<typename TypeParam::Element> {
    using RecordingListWriter<typename TypeParam::Element>::RecordingListWriter;
    void Append(typename TypeParam::Element const& element) override { m_Stored.push_back(element); }
    std::vector<typename TypeParam::Element> m_Stored;
  };
  struct StoringMemento : RecordingMementoWrite {
    using RecordingMementoWrite::MakeWriteListPrim;
    StoringMemento(Recorder& recorder, StoringList& list) : RecordingMementoWrite(recorder), m_List(list) {}
    cls_WriteListPrim<typename TypeParam::Element>* MakeWriteListPrim(typename TypeParam::Element const*,
                                                                      int width) override {
      m_Width = width;
      return &m_List;
    }
    StoringList& m_List;
    int m_Width = -1;
  };
  struct Shape {
    int m_Rows, m_Columns;
  };
  for (Shape const shape :
       {Shape{1, 1}, Shape{3, 2}, Shape{1, 7}, Shape{7, 1}, Shape{0, 3}, Shape{3, 0}, Shape{0, 0}}) {
    Recorder recorder;
    recorder.KeepAll();
    StoringList stored(recorder);
    StoringMemento memento(recorder, stored);
    auto const written = FromCow(this->Numbered(shape.m_Rows, shape.m_Columns));
    written.DBWrite(cls_WriteVisitor(&memento));
    recorder.StoreList(stored.m_Stored);
    recorder.SetRowWidth(memento.m_Width);
    cls_ReadVisitor const visitor(recorder.NewReader());
    auto const read = TypeParam::Read(visitor);
    bool const isEmpty = shape.m_Rows == 0 || shape.m_Columns == 0;
    this->ExpectShape(read, isEmpty ? 0 : shape.m_Rows, isEmpty ? 0 : shape.m_Columns);
    EXPECT_EQ(this->Elements(read), this->Elements(written));
  }
}

// --- As a value. A wrapper that is the only holder of its identity can get the same record again for a new
// identity, so the tests hold the old one while they compare.

TYPED_TEST(Table2D, NewTablesAreZeroAndHaveTheirOwnIdentities) {
  typename TypeParam::Wrapper const first(2, 3);
  typename TypeParam::Wrapper const second(2, 3);
  this->ExpectShape(first, 2, 3);
  EXPECT_EQ(this->Elements(first), std::vector<typename TypeParam::Element>(6));
  EXPECT_NE(first.Uid().Entry(), second.Uid().Entry());
  EXPECT_THROW(typename TypeParam::Wrapper(-1, 3), std::length_error);
}

TYPED_TEST(Table2D, CopyKeepsTheIdentityAndSharesTheElements) {
  AllocationProbe const probe;
  auto const copy(this->m_Table);
  EXPECT_EQ(copy.Uid().Entry(), this->m_Table.Uid().Entry());
  EXPECT_TRUE(copy.SharesStorageWith(this->m_Table));
  EXPECT_EQ(probe.Count(), 0);
}

TYPED_TEST(Table2D, AssigningAWrapperTakesItsIdentityAndSharesItsElements) {
  typename TypeParam::Wrapper target(1, 1);
  target = this->m_Table;
  EXPECT_EQ(target.Uid().Entry(), this->m_Table.Uid().Entry());
  EXPECT_TRUE(target.SharesStorageWith(this->m_Table));
}

TYPED_TEST(Table2D, AssigningAContainerGivesANewIdentityAndSharesTheElements) {
  cls_Uid const before = this->m_Table.Uid();
  auto const source = this->Numbered(4, 1);
  AllocationProbe const probe;
  EXPECT_EQ(&(this->m_Table = source), &this->m_Table);
  EXPECT_NE(this->m_Table.Uid().Entry(), before.Entry());
  EXPECT_TRUE(this->m_Table.SharesStorageWith(source));
  this->ExpectShape(this->m_Table, 4, 1);
  EXPECT_EQ(probe.Count(), 0);
}

TYPED_TEST(Table2D, AssigningItsOwnContainerOrItselfChangesNothing) {
  auto const copy(this->m_Table);
  auto const& self = this->m_Table;
  this->m_Table = static_cast<cow_2DArray<typename TypeParam::Element> const&>(self);
  EXPECT_EQ(this->m_Table.Uid().Entry(), copy.Uid().Entry());
  this->m_Table = self;
  EXPECT_EQ(this->m_Table.Uid().Entry(), copy.Uid().Entry());
  EXPECT_TRUE(this->m_Table.SharesStorageWith(copy));
}

TYPED_TEST(Table2D, ConversionSharesTheElementsUnderAFreshIdentity) {
  auto const source = this->Numbered(2, 3);
  AllocationProbe const probe;
  auto const first = FromCow(source);
  auto const second = FromCow(source);
  auto const third = FromCow(first);
  EXPECT_TRUE(first.SharesStorageWith(source) && second.SharesStorageWith(source));
  EXPECT_TRUE(third.SharesStorageWith(source));
  EXPECT_NE(first.Uid().Entry(), second.Uid().Entry());
  EXPECT_NE(first.Uid().Entry(), third.Uid().Entry());
  EXPECT_EQ(probe.Count(), 0);
}

TYPED_TEST(Table2D, ChangingAnElementKeepsTheIdentityAndTheCopies) {
  auto copy(this->m_Table);
  copy.Get(1, 2) = 60;
  EXPECT_EQ(copy.Uid().Entry(), this->m_Table.Uid().Entry());
  EXPECT_EQ(this->Elements(this->m_Table), this->UpTo(6));
  EXPECT_EQ(copy.ConstGet(1, 2), 60);
}

TYPED_TEST(Table2D, DestroyingAWrapperReleasesItsIdentity) {
  cls_Uid uid;
  {
    typename TypeParam::Wrapper const table(1, 1);
    uid = table.Uid();
    EXPECT_EQ(uid.Entry()->m_RefCount, 2U);
  }
  EXPECT_EQ(uid.Entry()->m_RefCount, 1U);
}

// --- The owner of a table of double.

TEST(Table2DOwner, IsKeptCopiedAndUnchangedByAssigningAContainer) {
  Recorder recorder;
  cls_Uid owner;
  cls_xp2DArrayDouble const table(cls_ReadVisitor(recorder.NewReader()), &owner);
  EXPECT_EQ(table.OwnerUid(), &owner);
  EXPECT_NE(table.Uid().Entry(), owner.Entry());
  cls_xp2DArrayDouble copy(table);
  EXPECT_EQ(copy.OwnerUid(), &owner);
  cls_xp2DArrayDouble assigned(1, 1);
  assigned = table;
  EXPECT_EQ(assigned.OwnerUid(), &owner);
  copy = cow_2DArray<double>(2, 2);
  EXPECT_EQ(copy.OwnerUid(), &owner);
}

TEST(Table2DOwner, IsOnlyInTablesOfDouble) {
  static_assert(std::is_constructible_v<cls_xp2DArrayDouble, cls_ReadVisitor const&, cls_Uid*>);
  static_assert(!std::is_constructible_v<cls_xp2DArrayDouble, cls_ReadVisitor const&>);
  static_assert(std::is_constructible_v<cls_xp2DArrayFloat, cls_ReadVisitor const&>);
  static_assert(!std::is_constructible_v<cls_xp2DArrayFloat, cls_ReadVisitor const&, cls_Uid*>);
  static_assert(std::is_constructible_v<cls_xp2DArrayInt, cls_ReadVisitor const&>);
  static_assert(!std::is_constructible_v<cls_xp2DArrayInt, cls_ReadVisitor const&, cls_Uid*>);
}

TEST(Table2DOwner, IsNullByDefault) {
  EXPECT_EQ(cls_xp2DArrayDouble(1, 1).OwnerUid(), nullptr);
  EXPECT_EQ(cls_xp2DArrayDoubleFromCow(cow_2DArray<double>()).OwnerUid(), nullptr);
}

TEST(Table2DOwner, IsNeitherCountedNorWritten) {
  Recorder recorder;
  cls_Uid owner;
  cls_xp2DArrayDouble const table(cls_ReadVisitor(recorder.NewReader()), &owner);
  EXPECT_EQ(owner.Entry()->m_RefCount, 1U);
  recorder.Name(table.Uid(), "W");
  recorder.Name(owner, "owner");
  cls_WriteVisitor const parent(recorder.NewWriter());
  table.DBWrite(cls_WriteVisitor(parent, cls_FieldHandle(0, "m_A"_cow), nullptr, nullptr));
  for (std::string const& line : recorder.Lines()) EXPECT_EQ(line.find("owner"), std::string::npos) << line;
}
