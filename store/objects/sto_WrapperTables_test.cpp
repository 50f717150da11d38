#include <initializer_list>

#include "tests/support/store/StoreNumbers.h"
#include "tests/support/store/StoreWrappers.h"

namespace {

/// Tables of numbers: their shape is stored as the row width of a list.
template <class Case> class StoreTables : public StoreWrapperTest {
 protected:
  using T = typename Case::Element;

  /// Element (row, column) is 100 * row + column.
  static typename Case::Wrapper Make(int rows, int columns) {
    typename Case::Wrapper table(rows, columns);
    for (int row = 0; row < rows; ++row)
      for (int column = 0; column < columns; ++column)
        table.Get(row, column) = static_cast<T>(100 * row + column);
    return table;
  }
  static void ExpectShape(typename Case::Wrapper const& table, int rows, int columns) {
    ASSERT_EQ(table.Rows(), rows);
    ASSERT_EQ(table.Cols(), columns);
    for (int row = 0; row < rows; ++row)
      for (int column = 0; column < columns; ++column)
        ASSERT_EQ(table.ConstGet(row, column), static_cast<T>(100 * row + column)) << row << ", " << column;
  }

  /// A list of the numbers from 0, written without the wrapper and with the given width.
  struct Flat {
    Flat(int count, int width) : m_Count(count), m_Width(width) {}
    void DBWrite(cls_WriteVisitor const& visitor) const {
      visitor.StartWrite(cls_InternalListTypeId, m_Uid);
      T const tag{};
      auto const writer = Own(visitor.Memento()->MakeWriteListPrim(&tag, m_Width));
      for (int i = 0; i < m_Count; ++i) writer->Append(static_cast<T>(i));
    }
    int m_Count;
    int m_Width;
    cls_Uid m_Uid;
  };

  /// The shape of a list object with the class of tables: class, version, no fields, a list.
  static StoreBytes Shape(bool inBlocks) {
    constexpr int Type = std::is_same_v<T, double> ? 4 : std::is_same_v<T, float> ? 3 : 6;
    StoreBytes shape;
    for (int const number : {1, 1, 0x230001, 2 * 800, 0, inBlocks ? 2 : 1, Type})
      StorePutVarint(shape, number);
    return shape;
  }
  /// The values of such an object: elements are 0, or omitted if they would be in blocks.
  static StoreBytes Values(int width, int count, bool inBlocks) {
    StoreBytes values;
    StorePutZigZag(values, width);
    StorePutVarint(values, count);
    if (!inBlocks) values.resize(values.size() + static_cast<std::size_t>(count) * sizeof(T));
    return values;
  }
  /// Replaces the record of the table.
  static void Put(SqlFile& file, int width, int count, bool inBlocks) {
    constexpr int Number = 70; // not that of a shape in the store
    StoreBytes const shape = Shape(inBlocks);
    std::int64_t number = file.Row(Id).m_Shape;
    if (number == Number || file.Shape(number) != shape) file.PutShape(number = Number, shape);
    file.PutRow(Id, {0, number, Values(width, count, inBlocks)});
  }
  static constexpr int Id = 1;

  /// Expects loading the table to be refused after its record is replaced by a list of this width.
  void ExpectUneven(SqlFile& file, int width, int count, bool inBlocks) const {
    Put(file, width, count, inBlocks);
    sto_Store store = Open(sto_Mode::ReadOnly);
    std::string const message = MessageOf(
        sto_ErrorKind::Damaged, [&] { static_cast<void>(store.Load<typename Case::Wrapper>("table")); });
    EXPECT_TRUE(Contains(message, std::to_string(count) +
                                      " elements, which is not a whole number of rows of " +
                                      std::to_string(width)))
        << message;
  }
};
using Tables = testing::Types<StoredTable<double, cls_xp2DArrayDouble>,
                              StoredTable<float, cls_xp2DArrayFloat>, StoredTable<int, cls_xp2DArrayInt>>;
TYPED_TEST_SUITE(StoreTables, Tables);

TYPED_TEST(StoreTables, EachShapeComesBackRowAfterRow) {
  std::vector<std::pair<int, int>> const shapes{{1, 1},    {2, 3},    {3, 2},      {1, 2048}, {2048, 1},
                                                {1, 2049}, {2049, 1}, {7, 100},    {64, 33},  {1000, 100},
                                                {1, 9000}, {9000, 1}, {100, 1000}, {5, 2047}};
  auto const name = [](auto const& shape) {
    return std::to_string(shape.first) + " x " + std::to_string(shape.second);
  };
  this->InEachStore(
      [&](sto_Store& store) {
        for (auto const& shape : shapes) store.Save(name(shape), this->Make(shape.first, shape.second));
      },
      [&](sto_Store& store) {
        for (auto const& shape : shapes) {
          SCOPED_TRACE(name(shape));
          this->ExpectShape(*store.Load<typename TypeParam::Wrapper>(name(shape)), shape.first, shape.second);
        }
      });
}

TYPED_TEST(StoreTables, WithoutRowsOrColumnsComesBackWithNeither) {
  std::vector<std::pair<int, int>> const shapes{{0, 0}, {0, 1}, {0, 5}, {1, 0}, {5, 0}, {0, 3000}, {3000, 0}};
  this->InEachStore(
      [&](sto_Store& store) {
        for (std::size_t i = 0; i < shapes.size(); ++i)
          store.Save(std::to_string(i), this->Make(shapes[i].first, shapes[i].second));
      },
      [&](sto_Store& store) {
        for (std::size_t i = 0; i < shapes.size(); ++i)
          this->ExpectShape(*store.Load<typename TypeParam::Wrapper>(std::to_string(i)), 0, 0);
      });
}

TYPED_TEST(StoreTables, ShapeChangesUnderOneIdentity) {
  sto_Store store = this->Create();
  auto table = this->Make(100, 90);
  for (auto const& [rows, columns] :
       {std::pair(90, 100), std::pair(2, 3), std::pair(0, 7), std::pair(3, 3000), std::pair(3000, 3)}) {
    Refill<TypeParam>(table, this->Make(rows, columns));
    store.Save("table", table);
    int const count = rows * columns;
    EXPECT_EQ(this->Blocks(store), count < 10 ? 0 : (count + 2047) / 2048);
    this->ExpectShape(*store.Load<typename TypeParam::Wrapper>("table"), rows, count == 0 ? 0 : columns);
    EXPECT_EQ(store.ObjectCount(), 1);
  }
}

TYPED_TEST(StoreTables, SameElementsInAnotherShapeAreAnotherTable) {
  sto_Store store = this->Create();
  auto const table = this->Make(1, 6); // with the same elements
  typename TypeParam::Wrapper other(2, 3);
  for (int i = 0; i < 6; ++i) other.Get(i / 3, i % 3) = table.ConstGet(0, i);
  auto reshaped(table);
  Refill<TypeParam>(reshaped, other);
  MessageOf(sto_ErrorKind::Conflict, [&] { store.Save("desk", Desk<TypeParam>(table, reshaped)); });
  EXPECT_EQ(store.ObjectCount(), 0);
}

TYPED_TEST(StoreTables, ListOfTheSameElementsIsATableOfOneColumn) {
  sto_Store store = this->Create();
  for (int const count : {0, 6, 5000}) {
    store.Save("list", typename TestFixture::Flat(count, 1));
    auto const table = store.Load<typename TypeParam::Wrapper>("list");
    ASSERT_EQ(table->Rows(), count);
    ASSERT_EQ(table->Cols(), count == 0 ? 0 : 1);
    for (int i = 0; i < count; ++i) ASSERT_EQ(table->ConstGet(i, 0), static_cast<float>(i));
  }
}

TYPED_TEST(StoreTables, TableOfOtherElementsIsRefused) {
  using Other = std::conditional_t<std::is_same_v<typename TypeParam::Element, int>, cls_xp2DArrayDouble,
                                   cls_xp2DArrayInt>;
  sto_Store store = this->Create();
  store.Save("table", this->Make(2, 3));
  MessageOf(sto_ErrorKind::WrongClass, [&] { static_cast<void>(store.Load<Other>("table")); });
}

TYPED_TEST(StoreTables, ElementsThatAreNoWholeRowsAreRefusedWhenWritten) {
  sto_Store store = this->Create();
  store.Save("table", this->Make(2, 3));
  for (auto const& [count, width] : {std::pair(6, 4), std::pair(3, 4), std::pair(5, 2), std::pair(5000, 3)}) {
    std::string const message = MessageOf(sto_ErrorKind::Misuse, [&, n = count, w = width] {
      store.Save("table", typename TestFixture::Flat(n, w));
    });
    EXPECT_TRUE(Contains(message, std::to_string(count) +
                                      " elements, which is not a whole number of rows of " +
                                      std::to_string(width)))
        << message;
    this->ExpectShape(*store.Load<typename TypeParam::Wrapper>("table"), 2, 3);
    EXPECT_EQ(store.ObjectCount(), 1);
    EXPECT_EQ(this->Blocks(store), 0);
  }
}

TYPED_TEST(StoreTables, ElementsThatAreNoWholeRowsAreRefusedWhenRead) {
  { this->Create().Save("table", typename TypeParam::Wrapper(2, 3)); }
  SqlFile file(this->Path());
  file.Unpack();
  ASSERT_EQ(file.Shape(file.Row(1).m_Shape), this->Shape(false));
  ASSERT_EQ(file.Row(1).m_Values, this->Values(3, 6, false));
  for (int const width : {4, 5, 7, 500}) this->ExpectUneven(file, width, 6, false);
  for (int const width : {1, 2, 3, 6}) { // whole rows of another shape are not damage
    this->Put(file, width, 6, false);
    sto_Store store = this->Open(sto_Mode::ReadOnly);
    auto const table = store.Load<typename TypeParam::Wrapper>("table");
    EXPECT_EQ(table->Rows(), 6 / width);
    EXPECT_EQ(table->Cols(), width);
  }
}

TYPED_TEST(StoreTables, ElementsInBlocksThatAreNoWholeRowsAreRefusedWhenRead) {
  { this->Create().Save("table", this->Make(250, 400)); }
  SqlFile file(this->Path());
  file.Unpack();
  ASSERT_EQ(file.Shape(file.Row(1).m_Shape), this->Shape(true));
  ASSERT_EQ(file.Row(1).m_Values, this->Values(400, 100'000, true));
  for (int const width : {300, 399, 401, 70'000}) this->ExpectUneven(file, width, 100'000, true);
  this->Put(file, 400, 100'000, true);
  this->ExpectShape(*this->Open().template Load<typename TypeParam::Wrapper>("table"), 250, 400);
}

TYPED_TEST(StoreTables, NegativeRowWidthIsRefusedWhenWrittenAndWhenRead) {
  sto_Store store = this->Create();
  store.Save("table", this->Make(2, 3));
  MessageOf(sto_ErrorKind::Misuse, [&] { store.Save("table", typename TestFixture::Flat(6, -3)); });
  this->ExpectShape(*store.Load<typename TypeParam::Wrapper>("table"), 2, 3);
  SqlFile file(this->Path());
  file.Unpack();
  for (int const width : {-1, -3, -100, -70'000}) this->ExpectUneven(file, width, 6, false);
  for (int const width : {-100, -70'000}) this->ExpectUneven(file, width, 100'000, true);
  store.Save("other", this->Make(2, 3)); // the store remains usable
  this->ExpectShape(*store.Load<typename TypeParam::Wrapper>("other"), 2, 3);
}

TYPED_TEST(StoreTables, ConvertedContainerComesBack) {
  auto const made = this->Make(40, 60);
  auto const table = [&] {
    if constexpr (std::is_same_v<typename TypeParam::Element, double>)
      return cls_xp2DArrayDoubleFromCow(made);
    else if constexpr (std::is_same_v<typename TypeParam::Element, float>)
      return cls_xp2DArrayFloatFromCow(made);
    else
      return cls_xp2DArrayIntFromCow(made);
  }();
  sto_Store store = this->Create();
  store.Save("made", made);
  store.Save("converted", table);
  EXPECT_EQ(store.ObjectCount(), 2);
  EXPECT_TRUE(TypeParam::Share(made, table));
  auto const loaded = store.Load<typename TypeParam::Wrapper>("converted");
  this->ExpectShape(*loaded, 40, 60);
  EXPECT_EQ(loaded->Uid().Entry(), table.Uid().Entry());
}

} // namespace
