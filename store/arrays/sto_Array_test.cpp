#include "store/arrays/sto_Array.h"

#include <gtest/gtest.h>
#include <malloc.h>

#if __has_include(<sanitizer/allocator_interface.h>)
#include <sanitizer/allocator_interface.h>
#endif

#include <complex>
#include <numeric>
#include <optional>

#include "describe/dsc_Arrays.h"
#include "describe/dsc_Described.h"
#include "store/sto_Proxy.h"
#include "store/sto_Store.h"
#include "tests/support/store/StoreFile.h"

namespace array_test {
namespace {

/// The value at an index, different for many indexes.
template <class T> T ValueAt(long long index) {
  if constexpr (std::is_same_v<T, bool>)
    return index % 3 == 0;
  else if constexpr (std::is_same_v<T, std::string>)
    return index % 7 == 0 ? "" : "element " + std::to_string(index);
  else if constexpr (dsc_IsComplex<T>)
    return T(static_cast<typename T::value_type>(index), -2);
  else
    return static_cast<T>(index * 3 - 5);
}
/// A std::vector<bool> has no elements that a span could show.
template <class T> class Values {
 public:
  explicit Values(std::size_t count) : m_Count(count), m_Values(std::make_unique<T[]>(count)) {}
  Values(long long first, std::size_t count) : Values(count) {
    for (std::size_t i = 0; i < count; ++i) m_Values[i] = ValueAt<T>(first + static_cast<long long>(i));
  }
  [[nodiscard]] std::span<T> All() const { return {m_Values.get(), m_Count}; }

 private:
  std::size_t m_Count;
  std::unique_ptr<T[]> m_Values;
};

template <class T> void ExpectValues(sto_Array<T> const& array, long long count) {
  ASSERT_EQ(array.Size(), count);
  Values<T> const read(static_cast<std::size_t>(count));
  array.Read(0, read.All());
  for (long long i = 0; i < count; ++i)
    ASSERT_EQ(read.All()[static_cast<std::size_t>(i)], ValueAt<T>(i)) << i;
}

template <class T> class Holder {
 public:
  KVL_PERSISTED(Holder, 0x7A0001, "Holder", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Name));
    field(KVL_F(m_Values));
  }
  Holder() = default;
  std::string m_Name = "holder";
  sto_Array<T> m_Values;
};

/// The text that a save of it refuses.
constexpr char const* Refused = "refused";

/// With a field that can make a save fail, after the array is written.
class Study {
 public:
  KVL_PERSISTED(Study, 0x7A0002, "Study", 1)
  static constexpr void Describe(auto& field) {
    using namespace kvl;
    field(KVL_F(m_Values), Unit("K"));
    field(KVL_F(m_Name), As<std::string>(&CheckedName, [](std::string const& stored) { return stored; }));
  }
  Study() = default;
  static std::string CheckedName(std::string const& name) {
    if (name == Refused) sto_Raise(sto_ErrorKind::Misuse, "The name is refused.");
    return name;
  }
  sto_Array<double> m_Values;
  std::string m_Name;
};

/// Restores the size of a list that tests make small.
class SmallLists {
 public:
  explicit SmallLists(int elements) { sto_SetArrayListSize(elements); }
  SmallLists(SmallLists const&) = delete;
  SmallLists& operator=(SmallLists const&) = delete;
  ~SmallLists() { sto_SetArrayListSize(m_Before); }

 private:
  int m_Before = sto_ArrayListSize();
};

template <class T> class ArrayOf : public StoreFileTest {
 protected:
  ArrayOf() { Holder<T>::Declare(m_Registrar); }
  sto_Store Open(sto_Mode mode, char const* name = "test.kvs") {
    sto_Options options;
    options.m_Strict = true;
    return sto_Store::Open(Path(name), mode, m_Registrar, options);
  }
  cls_ClassRegistrar m_Registrar;
};

using Elements = testing::Types<bool, int, unsigned, std::int64_t, long long, std::uint64_t, float, double,
                                std::complex<float>, std::complex<double>, std::string>;
TYPED_TEST_SUITE(ArrayOf, Elements);

TYPED_TEST(ArrayOf, HasItsElementsInMemory) {
  using T = TypeParam;
  sto_Array<T> array;
  EXPECT_TRUE(array.IsEmpty());
  array.Append(Values<T>(0, 5000).All());
  array.Append(ValueAt<T>(5000));
  array.Append(Values<T>(5001, 999).All());
  ExpectValues(array, 6000);
  array.Write(2040, Values<T>(0, 20).All());
  EXPECT_EQ(array.Get(2040), ValueAt<T>(0));
  EXPECT_EQ(array.Get(2059), ValueAt<T>(19));
  EXPECT_EQ(array.Get(2060), ValueAt<T>(2060));
  EXPECT_FALSE(array.IsStored());
}

TYPED_TEST(ArrayOf, IsAMemberInAStore) {
  using T = TypeParam;
  {
    sto_Store store = this->Open(sto_Mode::Create);
    Holder<T> holder;
    holder.m_Values.Append(Values<T>(0, 5000).All());
    store.Save("root", holder);
    EXPECT_TRUE(holder.m_Values.IsStored());
    ExpectValues(holder.m_Values, 5000);
    holder.m_Values.Append(Values<T>(5000, 3).All());
    ExpectValues(holder.m_Values, 5003);
    sto_Transaction transaction(store);
    holder.m_Values.Append(Values<T>(5003, 10'000).All());
    holder.m_Values.Append(ValueAt<T>(15'003));
    transaction.Commit();
    ExpectValues(holder.m_Values, 15'004);
    store.Close();
  }
  sto_Store store = this->Open(sto_Mode::ReadOnly);
  auto const holder = store.template Load<Holder<T>>("root");
  ExpectValues(holder->m_Values, 15'004);
  EXPECT_EQ(holder->m_Values.Get(15'003), ValueAt<T>(15'003));
  long long seen = 0;
  holder->m_Values.ForEachBlock(10, 10'000, [&](long long first, std::span<T const> values) {
    EXPECT_EQ(first, 10 + seen);
    for (std::size_t i = 0; i < values.size(); ++i)
      ASSERT_EQ(values[i], ValueAt<T>(first + static_cast<long long>(i)));
    seen += static_cast<long long>(values.size());
  });
  EXPECT_EQ(seen, 10'000);
  EXPECT_TRUE(store.Check(sto_CheckDepth::Full).IsSound());
}

TYPED_TEST(ArrayOf, IsARoot) {
  using T = TypeParam;
  SmallLists const small(4096);
  {
    sto_Store store = this->Open(sto_Mode::Create);
    auto array = sto_Array<T>::OfRows({2, 5}, "mm");
    array.Append(Values<T>(0, 10'000).All());
    store.Save("history", array);
    store.Save("history", array);
    EXPECT_EQ(store.CountGarbage(), 0);
    array.Append(Values<T>(10'000, 200).All());
    store.Close();
  }
  sto_Store store = this->Open(sto_Mode::ReadOnly);
  auto const array = store.template Load<sto_Array<T>>("history");
  ExpectValues(*array, 10'200);
  EXPECT_EQ(array->Extents(), (std::vector<long long>{1020, 2, 5}));
  EXPECT_EQ(array->Unit(), "mm");
  EXPECT_TRUE(store.Check(sto_CheckDepth::Full).IsSound());
}

class Arrays : public StoreFileTest {
 protected:
  Arrays() {
    Study::Declare(m_Registrar);
    Holder<int>::Declare(m_Ints);
  }
  sto_Store Open(sto_Mode mode, std::string_view name = "test.kvs") {
    sto_Options options;
    options.m_Strict = true;
    return sto_Store::Open(Path(name), mode, m_Registrar, options);
  }
  static std::string Misuse(std::function<void()> const& act) {
    return MessageOf(sto_ErrorKind::Misuse, act);
  }
  cls_ClassRegistrar m_Registrar;
  cls_ClassRegistrar m_Ints;
};

std::vector<double> Numbers(int first, int count) {
  std::vector<double> numbers(static_cast<std::size_t>(count));
  std::iota(numbers.begin(), numbers.end(), first);
  return numbers;
}

// --- what it is made for

TEST_F(Arrays, RowsAndSlices) {
  auto array = sto_Array<double>::OfRows({3, 4}, "mm");
  array.Append(Numbers(0, 120'000));
  EXPECT_EQ(array.Rows(), 10'000);
  EXPECT_EQ(array.RowSize(), 12);
  EXPECT_EQ(array.Row(9999), Numbers(119'988, 12));
  EXPECT_EQ(array.Slice({{1, 2}, {0, 3, 1}, {1, 2, 2}}),
            (std::vector<double>{13, 15, 17, 19, 21, 23, 25, 27, 29, 31, 33, 35}));
  EXPECT_EQ(array.Slice({{9998, 2}, {2, 1}, {0, 4}}),
            (std::vector<double>{119'984, 119'985, 119'986, 119'987, 119'996, 119'997, 119'998, 119'999}));
  EXPECT_EQ(array.Slice({{0, 0}, {0, 3}, {0, 4}}), std::vector<double>());
  EXPECT_EQ(array.Slice({{0, 3333, 3}, {0, 1}, {0, 1}}).back(), 12.0 * 3 * 3332);
}

TEST_F(Arrays, SlipsAreExceptions) {
  auto array = sto_Array<double>::OfRows({3});
  array.Append(Numbers(0, 9));
  EXPECT_EQ(Misuse([&] { static_cast<void>(array.Get(9)); }), "The array has 9 elements, and no element 9.");
  EXPECT_EQ(Misuse([&] { static_cast<void>(array.Get(-1)); }),
            "The array has 9 elements, and no element -1.");
  EXPECT_EQ(Misuse([&] { array.Set(9, 1); }), "The array has 9 elements, and no element 9.");
  std::vector<double> four(4);
  EXPECT_EQ(Misuse([&] { array.Read(6, four); }), "The array has 9 elements, and not 4 from 6 on.");
  EXPECT_EQ(Misuse([&] { array.Append(four); }),
            "The array has rows of 3 elements, and 4 are no whole number of rows.");
  EXPECT_EQ(Misuse([&] { array.Row(0, four); }),
            "The array has rows of 3 elements, and 4 are no whole number of rows.");
  EXPECT_EQ(Misuse([&] { static_cast<void>(array.Row(3)); }), "The array has 3 rows, and no row 3.");
  Misuse([&] { static_cast<void>(array.Slice({{0, 1}, {0, 1}, {0, 1LL << 62}})); });
  Misuse([&] { static_cast<void>(array.Row(-1)); });
  Misuse([&] { static_cast<void>(array.Slice({{0, 1}})); });
  Misuse([&] { static_cast<void>(array.Slice({{0, 4}, {0, 1}})); });
  Misuse([&] { static_cast<void>(array.Slice({{0, 1}, {0, 2, 0}})); });
  Misuse([&] { static_cast<void>(array.Slice({{0, -1}, {0, 1}})); });
  Misuse([&] { array.Slice(std::vector<sto_Range>{{0, 1}, {0, 3}}, four); });
  Misuse([&] { array.ForEachBlock(0, 10, [](long long, std::span<double const>) {}); });
  Misuse([] { static_cast<void>(sto_Array<int>::OfRows({0})); });
  Misuse([] { static_cast<void>(sto_Array<int>::OfRows({-1, 2})); });
  Misuse([] { static_cast<void>(sto_Array<int>::OfRows({1, 1, 1, 1})); });
  Misuse([] { static_cast<void>(sto_Array<int>::OfRows({1 << 20, 1 << 20})); });
  EXPECT_EQ(array.Slice({{0, 3}, {0, 3}}), Numbers(0, 9));
}

TEST_F(Arrays, IsRefusedAfterItsStoreWasClosed) {
  Study study;
  study.m_Values.Append(Numbers(0, 10)); // all in the block that remains in memory
  std::unique_ptr<Study> loaded;
  {
    sto_Store store = Open(sto_Mode::Create);
    store.Save("study", study);
    loaded = store.Load<Study>("study");
    EXPECT_EQ(loaded->m_Values.Get(3), 3);
    store.Close();
  }
  for (sto_Array<double>* const array : {&study.m_Values, &loaded->m_Values}) {
    std::string const text =
        Path("test.kvs") + ": the array cannot be reached any more: its store was closed.";
    auto const refused = [&](auto const& act) {
      EXPECT_EQ(MessageOf(sto_ErrorKind::Unavailable, act), text);
    };
    refused([&] { static_cast<void>(array->Get(3)); });
    refused([&] { static_cast<void>(array->Get(30)); });
    refused([&] { array->Set(3, 1); });
    refused([&] { array->Append(3.0); });
    refused([&] { array->Flush(); });
    refused([&] { array->Refresh(); });
  }
  sto_Store store = Open(sto_Mode::Create, "other.kvs");
  MessageOf(sto_ErrorKind::Unavailable, [&] { store.Save("study", study); });
  EXPECT_FALSE(store.HasRoot("study"));
}

TEST_F(Arrays, OtherElementsAreRefused) {
  sto_Store store = Open(sto_Mode::Create);
  sto_Array<double> array;
  array.Append(1.0);
  store.Save("history", array);
  EXPECT_EQ(
      MessageOf(sto_ErrorKind::WrongClass, [&] { static_cast<void>(store.Load<sto_Array<int>>("history")); }),
      Path() + ": The collection of object 2 is open as a list of double, not as a list of int.");
  store.Close();
  store = Open(sto_Mode::ReadWrite);
  EXPECT_EQ(
      MessageOf(sto_ErrorKind::WrongClass, [&] { static_cast<void>(store.Load<sto_Array<int>>("history")); }),
      Path() + ": The list of object 2 is stored as a list of double and cannot be opened as one of int.");
  store.Save("study", Study());
  MessageOf(sto_ErrorKind::WrongClass, [&] { static_cast<void>(store.Load<sto_Array<double>>("study")); });
}

/// With the extents of a row that the program expects.
template <int Columns, int Version> class Table {
 public:
  KVL_PERSISTED(Table, 0x7A0003, "Table", Version)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Values)); }
  Table() = default;
  sto_Array<double> m_Values = sto_Array<double>::OfRows({Columns});
};

template <class Object> cls_ClassRegistrar& RegistrarOf() {
  static cls_ClassRegistrar registrar;
  static bool const isDeclared = (Object::Declare(registrar), true);
  static_cast<void>(isDeclared);
  return registrar;
}

TEST_F(Arrays, OtherRowsAreRefused) {
  {
    sto_Store store = sto_Store::Open(Path("t.kvs"), sto_Mode::Create, RegistrarOf<Table<3, 1>>());
    Table<3, 1> table;
    table.m_Values.Append(Numbers(0, 12));
    store.Save("table", table);
    store.Save("empty", Table<3, 1>());
  }
  sto_Store store = sto_Store::Open(Path("t.kvs"), sto_Mode::ReadOnly, RegistrarOf<Table<4, 1>>());
  EXPECT_EQ(
      MessageOf(sto_ErrorKind::WrongClass, [&] { static_cast<void>(store.Load<Table<4, 1>>("table")); }),
      Path("t.kvs") + ": the array m_Values has rows of 3, and not of 4.");
  MessageOf(sto_ErrorKind::WrongClass, [&] { static_cast<void>(store.Load<Table<4, 1>>("empty")); });
}

// --- what other types have stored

template <class Member, int Version> class Series {
 public:
  KVL_PERSISTED(Series, 0x7A0004, "Series", Version)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Values)); }
  Series() = default;
  Member m_Values;
};

/// Saves 5000 numbers in a cls_ArrayPrim, as a member and as a root.
void SaveBulkArray(std::string const& path) {
  using Before = Series<cls_ArrayPrim<double>, 1>;
  sto_Store store = sto_Store::Open(path, sto_Mode::Create, RegistrarOf<Before>());
  Before before;
  for (int i = 0; i < 5000; ++i) before.m_Values.Append(i);
  store.Save("series", before);
  store.Save("alone", before.m_Values);
  before.m_Values.Release(); // a bulk array keeps its blocks when it is destroyed
  store.Close();
  before.m_Values.DropBlocks();
}

TEST_F(Arrays, OpensWhatABulkArrayHasStored) {
  using After = Series<sto_Array<double>, 2>;
  SaveBulkArray(Path("t.kvs"));
  sto_Store store = sto_Store::Open(Path("t.kvs"), sto_Mode::ReadWrite, RegistrarOf<After>());
  auto const after = store.Load<After>("series");
  EXPECT_EQ(after->m_Values.Slice({{0, 5000}}), Numbers(0, 5000));
  EXPECT_EQ(store.Load<sto_Array<double>>("alone")->Slice({{0, 5000}}), Numbers(0, 5000));
  std::int64_t const objects = store.ObjectCount();
  store.Save("series", *after);
  EXPECT_EQ(store.ObjectCount(), objects);
  EXPECT_EQ(store.CountGarbage(), 0);
  after->m_Values.Append(5000.0);
  after->m_Values.Flush();
  EXPECT_EQ(store.Load<After>("series")->m_Values.Slice({{0, 5001}}), Numbers(0, 5001));
}

TEST_F(Arrays, OpensWhatAVectorHasStored) {
  using Before = Series<std::vector<double>, 1>;
  using After = Series<sto_Array<double>, 2>;
  {
    sto_Store store = sto_Store::Open(Path("t.kvs"), sto_Mode::Create, RegistrarOf<Before>());
    Before before;
    before.m_Values = {1, 2, 3};
    store.Save("short", before);
    before.m_Values = Numbers(0, 100'000);
    store.Save("long", Before(before));
    store.Close();
  }
  sto_Store store = sto_Store::Open(Path("t.kvs"), sto_Mode::ReadWrite, RegistrarOf<After>());
  auto const shorter = store.Load<After>("short");
  EXPECT_EQ(shorter->m_Values.Slice({{0, 3}}), Numbers(1, 3));
  shorter->m_Values.Append(4.0);
  store.Save("short", *shorter);
  EXPECT_EQ(store.Load<After>("short")->m_Values.Slice({{0, 4}}), Numbers(1, 4));
  EXPECT_EQ(store.Load<After>("long")->m_Values.Slice({{0, 100'000}}), Numbers(0, 100'000));
}

TEST_F(Arrays, RowsOfAVectorOfArraysAreItsRows) {
  using Before = Series<std::vector<std::array<double, 3>>, 1>;
  using After = Series<sto_Array<double>, 2>;
  {
    sto_Store store = sto_Store::Open(Path("t.kvs"), sto_Mode::Create, RegistrarOf<Before>());
    Before before;
    before.m_Values = {{1, 2, 3}, {4, 5, 6}};
    store.Save("series", before);
  }
  sto_Store store = sto_Store::Open(Path("t.kvs"), sto_Mode::ReadOnly, RegistrarOf<After>());
  auto const after = store.Load<After>("series");
  EXPECT_EQ(after->m_Values.Extents(), (std::vector<long long>{2, 3}));
  EXPECT_EQ(after->m_Values.Row(1), Numbers(4, 3));
}

TEST_F(Arrays, GetsRowsThatItWasStoredWithout) {
  using After = Series<sto_Array<double>, 2>;
  SaveBulkArray(Path("t.kvs"));
  sto_Store store = sto_Store::Open(Path("t.kvs"), sto_Mode::ReadWrite, RegistrarOf<After>());
  auto const after = store.Load<After>("series");
  Misuse([&] { after->m_Values.SetRows({7}); });
  after->m_Values.SetRows({5, 10});
  after->m_Values.SetRows({5, 10});
  Misuse([&] { after->m_Values.SetRows({10, 5}); });
  EXPECT_EQ(after->m_Values.Row(99), Numbers(4950, 50));
  store.Save("series", *after);
  EXPECT_EQ(store.Load<After>("series")->m_Values.Extents(), (std::vector<long long>{100, 5, 10}));
}

// --- undoing

TEST_F(Arrays, SurvivesAFailedSave) {
  sto_Store store = Open(sto_Mode::Create);
  Study study;
  study.m_Values = sto_Array<double>::OfRows({2});
  study.m_Values.Append(Numbers(0, 10'000));
  study.m_Name = Refused;
  for (int i = 0; i < 3; ++i) {
    MessageOf(sto_ErrorKind::Misuse, [&] { store.Save("study", study); });
    EXPECT_FALSE(study.m_Values.IsStored());
    EXPECT_EQ(study.m_Values.Slice({{0, 5000}, {0, 2}}), Numbers(0, 10'000));
  }
  study.m_Values.Append(Numbers(10'000, 2));
  study.m_Name = "good";
  store.Save("study", study);
  EXPECT_EQ(store.Load<Study>("study")->m_Values.Slice({{0, 5001}, {0, 2}}), Numbers(0, 10'002));
  study.m_Values.Append(Numbers(10'002, 2));
  study.m_Name = Refused;
  MessageOf(sto_ErrorKind::Misuse, [&] { store.Save("study", study); });
  EXPECT_EQ(study.m_Values.Slice({{0, 5002}, {0, 2}}), Numbers(0, 10'004));
  store.Close();
  sto_Store again = Open(sto_Mode::ReadOnly);
  EXPECT_EQ(again.Load<Study>("study")->m_Values.Rows(), 5002); // closing has written the row
}

TEST_F(Arrays, IsAsBeforeAfterARollback) {
  sto_Store store = Open(sto_Mode::Create);
  Study study;
  study.m_Values.Append(Numbers(0, 3000));
  {
    sto_Transaction const transaction(store);
    store.Save("study", study);
    study.m_Values.Append(Numbers(3000, 5000));
    study.m_Values.Set(7, -1);
  }
  EXPECT_FALSE(study.m_Values.IsStored());
  EXPECT_EQ(study.m_Values.Slice({{0, 3000}}), Numbers(0, 3000));
  store.Save("study", study);
  {
    sto_Transaction const transaction(store);
    study.m_Values.Append(Numbers(3000, 5000));
    study.m_Values.Set(7, -1);
  }
  EXPECT_EQ(study.m_Values.Slice({{0, 3000}}), Numbers(0, 3000));
  EXPECT_EQ(store.Load<Study>("study")->m_Values.Slice({{0, 3000}}), Numbers(0, 3000));
  study.m_Values.Append(Numbers(3000, 10));
  EXPECT_EQ(study.m_Values.Slice({{0, 3010}}), Numbers(0, 3010));
}

TEST_F(Arrays, OutlivesTheStoreThatUndidItsSave) {
  Study study;
  study.m_Values.Append(Numbers(0, 3000));
  {
    sto_Store store = Open(sto_Mode::Create);
    {
      sto_Transaction const transaction(store);
      store.Save("study", study);
    }
    store.Close();
  }
  EXPECT_EQ(study.m_Values.Slice({{0, 3000}}), Numbers(0, 3000)); // it was in memory before
  sto_Store store = Open(sto_Mode::Create, "other.kvs");
  store.Save("study", study);
  EXPECT_EQ(store.Load<Study>("study")->m_Values.Size(), 3000);
}

TEST_F(Arrays, IsLostWithTheWorkThatMadeIt) {
  sto_Store store = Open(sto_Mode::Create);
  Study study;
  study.m_Values.Append(Numbers(0, 3000));
  std::unique_ptr<Study> loaded;
  {
    sto_Transaction const transaction(store);
    store.Save("study", study);
    loaded = store.Load<Study>("study");
  }
  MessageOf(sto_ErrorKind::Unavailable, [&] { static_cast<void>(loaded->m_Values.Get(0)); });
  MessageOf(sto_ErrorKind::Unavailable, [&] { loaded->m_Values.Append(1.0); });
  loaded.reset();
  store.Save("study", study); // no failure is left over
  EXPECT_EQ(store.Load<Study>("study")->m_Values.Size(), 3000);
}

// --- several lists

TEST_F(Arrays, ManyElementsTakeSeveralLists) {
  SmallLists const small(5000);
  Study study;
  study.m_Values = sto_Array<double>::OfRows({10});
  study.m_Values.Append(Numbers(0, 23'000));
  {
    sto_Store store = Open(sto_Mode::Create);
    store.Save("study", study);
    sto_Transaction transaction(store);
    study.m_Values.Append(Numbers(23'000, 7000)); // the list behind the last was made by the save
    transaction.Commit();
    EXPECT_NE(MessageOf(sto_ErrorKind::Full, [&] { study.m_Values.Append(Numbers(30'000, 10)); })
                  .find("save the object that has the array, and go on."),
              std::string::npos);
    EXPECT_EQ(study.m_Values.Size(), 30'000);
    store.Save("study", study);
    study.m_Values.Append(Numbers(30'000, 4000));
    study.m_Values.Write(14'990, Numbers(14'990, 20));
    EXPECT_EQ(store.CountGarbage(), 0);
    store.Close();
  }
  sto_Store store = Open(sto_Mode::ReadOnly);
  auto const loaded = store.Load<Study>("study");
  EXPECT_EQ(loaded->m_Values.Rows(), 3400);
  EXPECT_EQ(loaded->m_Values.Slice({{0, 3400}, {0, 10}}), Numbers(0, 34'000));
  EXPECT_EQ(loaded->m_Values.Row(499), Numbers(4990, 10));
  EXPECT_EQ(loaded->m_Values.Row(500), Numbers(5000, 10));
  EXPECT_TRUE(store.Check(sto_CheckDepth::Full).IsSound());
}

TEST_F(Arrays, ListOfAnUndoneSaveGetsNoElements) {
  SmallLists const small(4000);
  sto_Store store = Open(sto_Mode::Create);
  Study study;
  study.m_Values.Append(Numbers(0, 1000));
  store.Save("study", study);
  study.m_Values.Append(Numbers(1000, 2500));
  study.m_Values.Flush();
  {
    sto_Transaction const transaction(store);
    store.Save("study", study); // makes the second list
  }
  MessageOf(sto_ErrorKind::Full, [&] { study.m_Values.Append(Numbers(3500, 1000)); });
  EXPECT_EQ(study.m_Values.Size(), 3500);
  store.Save("study", study);
  study.m_Values.Append(Numbers(3500, 1000));
  store.Close();
  sto_Store again = Open(sto_Mode::ReadOnly);
  EXPECT_EQ(again.Load<Study>("study")->m_Values.Slice({{0, 4500}}), Numbers(0, 4500));
}

// --- other stores, other sessions

TEST_F(Arrays, IsCopiedToAnotherStoreWithItsShape) {
  sto_Store store = Open(sto_Mode::Create);
  auto array = sto_Array<double>::OfRows({5, 2}, "mm");
  array.Append(Numbers(0, 30'000));
  store.Save("history", array);
  sto_Store other = Open(sto_Mode::Create, "other.kvs");
  other.Save("saved", array);
  EXPECT_TRUE(array.IsStored());
  array.Append(Numbers(30'000, 10)); // in the first store
  sto_CopyRoot(store, "history", other, "copied");
  EXPECT_EQ(other.Load<sto_Array<double>>("saved")->Extents(), (std::vector<long long>{3000, 5, 2}));
  EXPECT_EQ(other.Load<sto_Array<double>>("saved")->Unit(), "mm");
  EXPECT_EQ(other.Load<sto_Array<double>>("copied")->Unit(), "mm");
  EXPECT_EQ(other.Load<sto_Array<double>>("copied")->Row(3000), Numbers(30'000, 10));
  EXPECT_EQ(store.Load<sto_Array<double>>("history")->Rows(), 3001);
}

TEST_F(Arrays, ShowsWhatAnotherSessionHasCommitted) {
  sto_Store store = Open(sto_Mode::Create);
  Study study;
  study.m_Values.Append(Numbers(0, 100));
  store.Save("study", study);
  sto_Store second = Open(sto_Mode::ReadWrite);
  auto const theirs = second.Load<Study>("study");
  theirs->m_Values.Append(Numbers(100, 5000));
  theirs->m_Values.Flush();
  EXPECT_EQ(study.m_Values.Size(), 100);
  EXPECT_TRUE(study.m_Values.Refresh());
  EXPECT_FALSE(study.m_Values.Refresh());
  EXPECT_EQ(study.m_Values.Slice({{0, 5100}}), Numbers(0, 5100));
  theirs->m_Values.Set(3, -3);
  theirs->m_Values.Flush();
  study.m_Values.Set(4, -4);
  MessageOf(sto_ErrorKind::Conflict, [&] { study.m_Values.Flush(); });
}

TEST_F(Arrays, FailedAppendLosesNothingThatWasAppendedBefore) {
  sto_Store store = Open(sto_Mode::Create);
  Study study;
  study.m_Values.Append(Numbers(0, 10));
  store.Save("study", study);
  for (int i = 10; i < 20; ++i) study.m_Values.Append(i); // not written yet
  sto_Options options;
  options.m_BusyMilliseconds = 0;
  store.Close();
  store = sto_Store::Open(Path(), sto_Mode::ReadWrite, m_Registrar, options);
  auto const mine = store.Load<Study>("study");
  for (int i = 20; i < 30; ++i) mine->m_Values.Append(i); // not written yet
  {
    sto_Store reader = Open(sto_Mode::ReadOnly);
    sto_ReadTransaction const reading(reader);
    static_cast<void>(reader.HasRoot("study"));
    for (int i = 0; i < 2; ++i) {
      MessageOf(sto_ErrorKind::Busy, [&] { mine->m_Values.Append(Numbers(30, 3000)); });
      EXPECT_EQ(mine->m_Values.Slice({{0, 30}}), Numbers(0, 30));
    }
  }
  mine->m_Values.Append(Numbers(30, 3000));
  mine->m_Values.Flush();
  EXPECT_EQ(store.Load<Study>("study")->m_Values.Slice({{0, 3030}}), Numbers(0, 3030));
}

TEST_F(Arrays, StoresWholeRowsOnly) {
  sto_Store store = Open(sto_Mode::Create);
  Study study;
  study.m_Values = sto_Array<double>::OfRows({3});
  store.Save("study", study);
  for (int i = 0; i < 2000; ++i) {
    study.m_Values.Append(Numbers(3 * i, 3));
    if (i % 97 != 0 && i % 683 > 1) continue; // a block ends within row 682
    sto_Store other = Open(sto_Mode::ReadOnly);
    auto const seen = other.Load<Study>("study");
    EXPECT_EQ(seen->m_Values.RowSize(), i < 682 ? seen->m_Values.RowSize() : 3);
    EXPECT_EQ(seen->m_Values.Size() % 3, 0);
  }
}

TEST_F(Arrays, FailedWriteUndoesItsTransaction) {
  SmallLists const small(5000);
  sto_Store store = Open(sto_Mode::Create);
  Study study;
  study.m_Values.Append(Numbers(0, 16'000));
  store.Save("study", study);
  sto_Store second = Open(sto_Mode::ReadWrite);
  auto const theirs = second.Load<Study>("study");
  theirs->m_Values.Set(12'000, -1);
  theirs->m_Values.Flush();
  {
    sto_Transaction transaction(store);
    MessageOf(sto_ErrorKind::Conflict,
              [&] { study.m_Values.Write(5000, std::vector<double>(11'000, -2.0)); });
    MessageOf(sto_ErrorKind::Unavailable, [&] { transaction.Commit(); });
  }
  auto expected = Numbers(0, 16'000);
  expected[12'000] = -1;
  EXPECT_EQ(store.Load<Study>("study")->m_Values.Slice({{0, 16'000}}), expected);
  EXPECT_TRUE(study.m_Values.Refresh());
  EXPECT_EQ(study.m_Values.Slice({{0, 16'000}}), expected);
}

TEST_F(Arrays, NextListIsMadeInItsOwnStoreOnly) {
  SmallLists const small(4000);
  sto_Store store = Open(sto_Mode::Create);
  sto_Store other = Open(sto_Mode::Create, "other.kvs");
  Study study;
  study.m_Values.Append(Numbers(0, 1000));
  store.Save("study", study);
  study.m_Values.Append(Numbers(1000, 2000));
  other.Save("copy", study); // a copy; the last list is more than half full
  MessageOf(sto_ErrorKind::Full, [&] { study.m_Values.Append(Numbers(3000, 2000)); });
  store.Save("study", study);
  study.m_Values.Append(Numbers(3000, 2000));
  study.m_Values.Flush();
  other.Close();
  EXPECT_EQ(study.m_Values.Slice({{0, 5000}}), Numbers(0, 5000));
  EXPECT_EQ(store.Load<Study>("study")->m_Values.Size(), 5000);
  other = Open(sto_Mode::ReadOnly, "other.kvs");
  EXPECT_EQ(other.Load<Study>("copy")->m_Values.Slice({{0, 3000}}), Numbers(0, 3000));
}

TEST_F(Arrays, ListsOfAnotherSessionAreNotOverwritten) {
  SmallLists const small(4000);
  sto_Store store = Open(sto_Mode::Create);
  Study study;
  study.m_Values.Append(Numbers(0, 1000));
  store.Save("study", study);
  {
    sto_Store second = Open(sto_Mode::ReadWrite);
    auto const theirs = second.Load<Study>("study");
    theirs->m_Values.Append(Numbers(1000, 2000));
    second.Save("study", *theirs);
    theirs->m_Values.Append(Numbers(3000, 2000));
    second.Close();
  }
  MessageOf(sto_ErrorKind::Conflict, [&] { store.Save("study", study); });
  MessageOf(sto_ErrorKind::Conflict, [&] { study.m_Values.Refresh(); });
  MessageOf(sto_ErrorKind::Conflict, [&] { store.Save("study", study); });
  MessageOf(sto_ErrorKind::Conflict, [&] { study.m_Values.Append(1.0); });
  EXPECT_EQ(store.Load<Study>("study")->m_Values.Slice({{0, 5000}}), Numbers(0, 5000));
}

TEST_F(Arrays, OfAReadOnlyStoreCannotBeChanged) {
  Study study;
  study.m_Values.Append(Numbers(0, 10));
  Open(sto_Mode::Create).Save("study", study);
  sto_Store store = Open(sto_Mode::ReadOnly);
  auto const loaded = store.Load<Study>("study");
  MessageOf(sto_ErrorKind::ReadOnly, [&] { loaded->m_Values.Set(3, -1); });
  MessageOf(sto_ErrorKind::ReadOnly, [&] { loaded->m_Values.Append(1.0); });
  EXPECT_EQ(loaded->m_Values.Slice({{0, 10}}), Numbers(0, 10));
}

TEST_F(Arrays, LeavesAnEmptyOneBehindWhenItMoves) {
  auto array = sto_Array<double>::OfRows({3}, "mm");
  array.Append(Numbers(0, 9));
  sto_Array<double> moved = std::move(array);
  EXPECT_EQ(array.RowSize(), 1); // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(array.Unit(), "");
  EXPECT_TRUE(array.IsEmpty());
  sto_Array<double>& same = moved;
  moved = std::move(same);
  EXPECT_EQ(moved.Slice({{0, 3}, {0, 3}}), Numbers(0, 9));
  array = std::move(moved);
  EXPECT_EQ(array.Row(2), Numbers(6, 3));
}

// --- memory

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KVL_ADDRESS_SANITIZER
#endif
#endif

/// The bytes that are allocated now. The sanitizer has an allocator of its own.
std::size_t UsedMemory() {
#if defined(KVL_ADDRESS_SANITIZER) || defined(__SANITIZE_ADDRESS__)
  return __sanitizer_get_current_allocated_bytes();
#else
  return mallinfo2().uordblks + mallinfo2().hblkhd;
#endif
}

TEST_F(Arrays, FreesItsBlocks) {
  constexpr std::size_t Slack = 1 << 20;
  constexpr int Count = 4'000'000; // 32 MB
  sto_Store store = Open(sto_Mode::Create);
  sto_Array<double> other; // so that the caches of SQLite are full
  other.Append(Numbers(0, Count));
  store.Save("other", other);
  std::size_t const before = UsedMemory();
  {
    sto_Array<double> array;
    for (int i = 0; i < Count; i += 50'000) array.Append(Numbers(i, 50'000));
    EXPECT_GT(UsedMemory(), before + Count * sizeof(double));
    store.Save("history", array);
    EXPECT_LT(UsedMemory(), before + Slack);
    array.ForEachBlock([](long long, std::span<double const>) {});
    EXPECT_LT(UsedMemory(), before + Slack);
  }
  EXPECT_LT(UsedMemory(), before + Slack);
  {
    sto_Array<double> array;
    array.Append(Numbers(0, Count));
    EXPECT_GT(UsedMemory(), before + Count * sizeof(double));
  }
  EXPECT_LT(UsedMemory(), before + Slack);
}

} // namespace
} // namespace array_test
