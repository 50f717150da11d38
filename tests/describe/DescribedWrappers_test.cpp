// Wrappers and bulk arrays as members are stored as a class by hand stores them, and keep their own rules.

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "describe/dsc_Arrays.h"
#include "describe/dsc_Wrappers.h"
#include "persist/identity/cls_OwnUid.h"
#include "tests/describe/DescribedContent.h"
#include "tests/describe/DescribedRoundTrip.h"

namespace {

using FloatLists = cls_xoMap<cow_String, cls_xp1DArrayListFloat>;

cls_2dArrayPrimDouble OfColumns(int columns) {
  cls_2dArrayPrimDouble table;
  table.SetColumns(columns);
  return table;
}

/// Frees the blocks of bulk arrays, which destroying them does not.
template <class... Arrays> void Free(Arrays&... arrays) {
  (arrays.Release(), ...);
  (arrays.DropBlocks(), ...);
}
template <class Object> void FreeArraysOf(Object& object) {
  Free(object.m_History, object.m_IntHistory, object.m_FloatHistory, object.m_BoolHistory,
       object.m_StringHistory, object.m_Field, object.m_FloatField);
}

namespace described {

class Wrapping {
 public:
  KVL_PERSISTED(Wrapping, 0x790001, "Wrapping", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Fixed));
    field(KVL_F(m_Connectivity));
    field(KVL_F(m_Doubles));
    field(KVL_F(m_Floats));
    field(KVL_F(m_Ints));
    field(KVL_F(m_Uints));
    field(KVL_F(m_Strings));
    field(KVL_F(m_FloatList));
    field(KVL_F(m_IntList));
    field(KVL_F(m_StringList));
    field(KVL_F(m_DoubleTable));
    field(KVL_F(m_FloatTable));
    field(KVL_F(m_IntTable));
    field(KVL_F(m_FloatMap));
    field(KVL_F(m_StringMap));
    field(KVL_F(m_UintTree));
    field(KVL_F(m_ListMap));
    field(KVL_F(m_Text));
    field(KVL_F(m_TrText));
    field(KVL_F(m_History), kvl::Unit("K"));
    field(KVL_F(m_IntHistory));
    field(KVL_F(m_FloatHistory));
    field(KVL_F(m_BoolHistory));
    field(KVL_F(m_StringHistory));
    field(KVL_F(m_Field));
    field(KVL_F(m_FloatField));
    field(KVL_F(m_Log));
    field(KVL_F(m_FloatLog));
  }
  Wrapping() = default;
  ~Wrapping() { FreeArraysOf(*this); }

  cls_xp1DArrayDouble m_Fixed;
  cls_xp1DArrayInt m_Connectivity;
  cls_xp1DArrayListDouble m_Doubles;
  cls_xp1DArrayListFloat m_Floats;
  cls_xp1DArrayListInt m_Ints;
  cls_xp1DArrayListUint m_Uints;
  cls_xp1DArrayListString m_Strings;
  cls_xpListFloat m_FloatList;
  cls_xpListInt m_IntList;
  cls_xpListString m_StringList;
  cls_xp2DArrayDouble m_DoubleTable{0, 0};
  cls_xp2DArrayFloat m_FloatTable{0, 0};
  cls_xp2DArrayInt m_IntTable{0, 0};
  cls_xpMapString2Float m_FloatMap;
  cls_xpMapString2String m_StringMap;
  cls_xpBtreeString2Uint m_UintTree;
  FloatLists m_ListMap;
  cls_xpString m_Text{""_cow};
  cls_xpTrString m_TrText{atr_String()};
  cls_ArrayPrimDouble m_History;
  cls_ArrayPrimInt m_IntHistory;
  cls_ArrayPrimFloat m_FloatHistory;
  cls_ArrayPrimBool m_BoolHistory;
  cls_ArrayPrimString m_StringHistory;
  cls_2dArrayPrimDouble m_Field = OfColumns(3);
  cls_2dArrayPrimFloat m_FloatField;
  cls_SimpleArrayPrimInt m_Log{8};
  cls_SimpleArrayPrimFloat m_FloatLog{8};
};

} // namespace described

namespace byHand {

/// Has the members of the other one, and does with them what a class by hand does.
class Wrapping : public described::Wrapping {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x790001; }
  Wrapping() = default;
  explicit Wrapping(cls_ReadVisitor const& visitor) : m_Uid(visitor.GetUid()) {
    m_Doubles = cls_xp1DArrayListDouble(cls_ReadVisitor(visitor, Field(2)), nullptr);
    m_ListMap = FloatLists(cls_ReadVisitor(visitor, Field(16)));
    m_Text = cls_xpString(cls_ReadVisitor(visitor, Field(17)));
  }

  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    int number = 0;
    auto const write = [&](auto const& member) {
      member.DBWrite(cls_WriteVisitor(visitor, Field(number++), nullptr, &member));
    };
    auto const writeText = [&](auto const& text) {
      cls_WriteVisitor const started(visitor, Field(number++), nullptr, &text);
      if (started.StartWrite(text.TypeId(), text.Uid()) != 0) text.DBWrite(started);
    };
    write(m_Fixed);
    write(m_Connectivity);
    write(m_Doubles);
    write(m_Floats);
    write(m_Ints);
    write(m_Uints);
    write(m_Strings);
    write(m_FloatList);
    write(m_IntList);
    write(m_StringList);
    write(m_DoubleTable);
    write(m_FloatTable);
    write(m_IntTable);
    write(m_FloatMap);
    write(m_StringMap);
    write(m_UintTree);
    write(m_ListMap);
    writeText(m_Text);
    writeText(m_TrText);
    write(m_History);
    write(m_IntHistory);
    write(m_FloatHistory);
    write(m_BoolHistory);
    write(m_StringHistory);
    write(m_Field);
    write(m_FloatField);
    write(m_Log);
    write(m_FloatLog);
  }

  static void Declare(cls_ClassRegistrar& registrar) {
    cls_ClassMetadata& metadata = registrar.AddClassMD(new cls_TypeAdapter<Wrapping>("Wrapping"_cow, 1, 1));
    struct Attribute {
      cls_AttributeType m_Type;
      cls_CollectionType m_Collection;
    };
    constexpr Attribute Attributes[] = {{ATTR_DOUBLE, COLLECTION_LIST_DOUBLE},
                                        {ATTR_INT, COLLECTION_LIST_INT},
                                        {ATTR_DOUBLE, COLLECTION_LIST_DOUBLE},
                                        {ATTR_FLOAT, COLLECTION_LIST_FLOAT},
                                        {ATTR_INT, COLLECTION_LIST_INT},
                                        {ATTR_UINT, COLLECTION_LIST_UINT},
                                        {ATTR_STRING, COLLECTION_LIST_STRING},
                                        {ATTR_FLOAT, COLLECTION_LIST_FLOAT},
                                        {ATTR_INT, COLLECTION_LIST_INT},
                                        {ATTR_STRING, COLLECTION_LIST_STRING},
                                        {ATTR_DOUBLE, COLLECTION_TABLE_DOUBLE},
                                        {ATTR_FLOAT, COLLECTION_TABLE_FLOAT},
                                        {ATTR_INT, COLLECTION_TABLE_INT},
                                        {ATTR_FLOAT, COLLECTION_MAP_STRING_FLOAT},
                                        {ATTR_STRING, COLLECTION_MAP_STRING_STRING},
                                        {ATTR_UINT, COLLECTION_MAP_STRING_UINT},
                                        {ATTR_OBJECT, COLLECTION_MAP_STRING_OBJ},
                                        {ATTR_OBJECT, COLLECTION_NONE},
                                        {ATTR_OBJECT, COLLECTION_NONE},
                                        {ATTR_DOUBLE, COLLECTION_LIST_DOUBLE},
                                        {ATTR_INT, COLLECTION_LIST_INT},
                                        {ATTR_FLOAT, COLLECTION_LIST_FLOAT},
                                        {ATTR_BOOL, COLLECTION_LIST_BOOL},
                                        {ATTR_STRING, COLLECTION_LIST_STRING},
                                        {ATTR_DOUBLE, COLLECTION_TABLE_DOUBLE},
                                        {ATTR_FLOAT, COLLECTION_TABLE_FLOAT},
                                        {ATTR_INT, COLLECTION_LIST_INT},
                                        {ATTR_FLOAT, COLLECTION_LIST_FLOAT}};
    int number = 0;
    for (auto const& [type, collection] : Attributes)
      metadata.AddAttribute(Field(number++), type, 1, collection);
    registrar.NotesOf(TypeId(), 1).Unit("m_History", "K");
  }

 private:
  static cls_FieldHandle Field(int number) {
    static constexpr char const* Names[] = {
        "m_Fixed",    "m_Connectivity", "m_Doubles",    "m_Floats",       "m_Ints",        "m_Uints",
        "m_Strings",  "m_FloatList",    "m_IntList",    "m_StringList",   "m_DoubleTable", "m_FloatTable",
        "m_IntTable", "m_FloatMap",     "m_StringMap",  "m_UintTree",     "m_ListMap",     "m_Text",
        "m_TrText",   "m_History",      "m_IntHistory", "m_FloatHistory", "m_BoolHistory", "m_StringHistory",
        "m_Field",    "m_FloatField",   "m_Log",        "m_FloatLog"};
    return {number, cow_String(Names[number])};
  }
  cls_OwnUid m_Uid;
};

} // namespace byHand

constexpr int Long = 5000; // elements of an array of several blocks

template <class T> void Fill(T& object) {
  object.m_Fixed = cow_1DArray<double>(3);
  object.m_Fixed.Get(2) = 2.5;
  object.m_Connectivity = cow_1DArray<int>(2);
  object.m_Connectivity.Get(0) = -4;
  for (int i = 0; i < Long; ++i) object.m_Doubles.Append(i / 8.0);
  object.m_Floats.Append(0.5F);
  object.m_Ints.Append(-1);
  object.m_Uints.Append(0xFFFFFFFFU);
  object.m_Strings.Append("one"_cow);
  object.m_FloatList.Append(1.5F);
  object.m_IntList.Append(7);
  object.m_StringList.Append(""_cow);
  object.m_DoubleTable = cow_2DArray<double>(2, 3);
  object.m_DoubleTable.Get(1, 2) = 12;
  object.m_FloatTable = cow_2DArray<float>(1, 2);
  object.m_FloatTable.Get(0, 1) = 0.25F;
  object.m_IntTable = cow_2DArray<int>(3, 1);
  object.m_IntTable.Get(2, 0) = 9;
  object.m_FloatMap.Insert("a"_cow, 2.5F);
  object.m_StringMap.Insert("b"_cow, "text"_cow);
  object.m_UintTree.InsertUnlessMember("c"_cow, 3U);
  cls_xp1DArrayListFloat list;
  list.Append(4.5F);
  object.m_ListMap.Insert("d"_cow, list);
  object.m_Text = cls_xpString("words"_cow);
  object.m_TrText = cls_xpTrString(atr_String("more words"_cow));
  for (int i = 0; i < Long; ++i) object.m_History.Append(i / 4.0);
  object.m_IntHistory.Append(11);
  object.m_FloatHistory.Append(0.75F);
  object.m_BoolHistory.Append(true);
  object.m_StringHistory.Append("event"_cow);
  for (int i = 0; i < 6; ++i) object.m_Field.Append(i);
  object.m_FloatField.Append(1.25F);
}

void ExpectFilled(described::Wrapping& object) {
  EXPECT_EQ(object.m_Fixed.Length(), 3);
  EXPECT_EQ(object.m_Fixed.ConstGet(2), 2.5);
  EXPECT_EQ(object.m_Connectivity.ConstGet(0), -4);
  ASSERT_EQ(object.m_Doubles.Count(), Long);
  EXPECT_EQ(object.m_Doubles.ConstGet(Long - 1), (Long - 1) / 8.0);
  EXPECT_EQ(object.m_Floats.ConstGet(0), 0.5F);
  EXPECT_EQ(object.m_Ints.ConstGet(0), -1);
  EXPECT_EQ(object.m_Uints.ConstGet(0), 0xFFFFFFFFU);
  EXPECT_EQ(object.m_Strings.ConstGet(0), "one"_cow);
  EXPECT_EQ(object.m_FloatList.Count(), 1);
  EXPECT_EQ(object.m_IntList.Count(), 1);
  EXPECT_EQ(object.m_StringList.Count(), 1);
  ASSERT_EQ(object.m_DoubleTable.Cols(), 3);
  EXPECT_EQ(object.m_DoubleTable.ConstGet(1, 2), 12);
  EXPECT_EQ(object.m_FloatTable.ConstGet(0, 1), 0.25F);
  EXPECT_EQ(object.m_IntTable.ConstGet(2, 0), 9);
  EXPECT_EQ(object.m_FloatMap.ConstGet("a"_cow), 2.5F);
  EXPECT_EQ(object.m_StringMap.ConstGet("b"_cow), "text"_cow);
  EXPECT_EQ(object.m_UintTree.Count(), 1);
  EXPECT_EQ(object.m_ListMap.ConstGet("d"_cow).ConstGet(0), 4.5F);
  EXPECT_EQ(object.m_Text.Text(), "words"_cow);
  EXPECT_EQ(object.m_TrText.Text(), "more words"_cow);
  ASSERT_EQ(object.m_History.Size(), Long);
  EXPECT_EQ(object.m_History.ConstGet(Long - 1), (Long - 1) / 4.0);
  EXPECT_EQ(object.m_IntHistory.ConstGet(0), 11);
  EXPECT_EQ(object.m_FloatHistory.ConstGet(0), 0.75F);
  EXPECT_TRUE(object.m_BoolHistory.ConstGet(0));
  EXPECT_EQ(object.m_StringHistory.ConstGet(0), "event"_cow);
  ASSERT_EQ(object.m_Field.Size(), 6);
  EXPECT_EQ(object.m_Field.Columns(), 3);
  EXPECT_EQ(object.m_Field.ConstGet(1, 2), 5);
  EXPECT_EQ(object.m_FloatField.ConstGet(0, 0), 1.25F);
  EXPECT_EQ(object.m_Log.Size(), 0);
  EXPECT_EQ(object.m_Log.SizeHint(), 8);
}

class DescribedWrappers : public DescribedRoundTrip {
 protected:
  /// Calls `act` with the object while its store is open: bulk arrays need it.
  template <class T, class Act> void Inspect(Act act, std::string_view name = "test.kvs") const {
    cls_ClassRegistrar registrar;
    T::Declare(registrar);
    sto_Store store = sto_Store::Open(Path(name), sto_Mode::ReadOnly, registrar, StrictOptions());
    act(*store.Load<T>("root"));
  }
};

TEST_F(DescribedWrappers, BytesAreThoseOfTheClassByHand) {
  byHand::Wrapping byHand;
  Fill(byHand);
  SaveNew(byHand, "hand.kvs");
  described::Wrapping described;
  Fill(described);
  SaveNew(described, "described.kvs");
  auto const expected = DescribedContent(Path("hand.kvs"));
  auto const content = DescribedContent(Path("described.kvs"));
  EXPECT_GT(expected.size(), 80U);
  EXPECT_EQ(content, expected);
  Inspect<described::Wrapping>(ExpectFilled, "hand.kvs");
  auto const read = Load<byHand::Wrapping>("described.kvs");
  EXPECT_EQ(read->m_Doubles.Count(), Long);
  EXPECT_EQ(read->m_Text.Text(), "words"_cow);
}

TEST_F(DescribedWrappers, SavingAgainAddsNothing) {
  described::Wrapping described;
  Fill(described);
  SaveNew(described);
  std::size_t const count = ObjectCount();
  SaveAgain<described::Wrapping>();
  SaveAgain<described::Wrapping>();
  EXPECT_EQ(ObjectCount(), count);
  Inspect<described::Wrapping>(ExpectFilled);
}

/// Fixture with one open store of described::Wrapping.
class DescribedOpenArrays : public DescribedWrappers {
 protected:
  void SetUp() override {
    described::Wrapping::Declare(m_Registrar);
    described::Wrapping object;
    Fill(object);
    SaveNew(object);
  }
  [[nodiscard]] sto_Store Open() {
    return sto_Store::Open(Path(), sto_Mode::ReadWrite, m_Registrar, StrictOptions());
  }
  cls_ClassRegistrar m_Registrar;
};

TEST_F(DescribedOpenArrays, LoadingOpensThemAndReadsNoElement) {
  sto_Store store = Open();
  auto const object = store.Load<described::Wrapping>("root");
  EXPECT_TRUE(object->m_History.IsAssociated());
  EXPECT_TRUE(object->m_Field.IsAssociated());
  EXPECT_EQ(object->m_History.Blocks().Ptr()->Count(), 0);
  EXPECT_EQ(object->m_History.ConstGet(3000), 750);
  EXPECT_EQ(object->m_History.Blocks().Ptr()->Count(), 1);
}

TEST_F(DescribedOpenArrays, WhatIsChangedInThemIsCommitted) {
  {
    sto_Store store = Open();
    sto_Transaction transaction(store);
    auto const object = store.Load<described::Wrapping>("root");
    object->m_History.Get(4000) = -1;
    object->m_History.Append(77);
    object->m_Field.Get(1, 1) = -2;
    object->m_Field.Append(6);
    int const entries[] = {3, 4, 5};
    object->m_Log.Write(entries, 3);
    transaction.Commit();
    store.Close();
  }
  sto_Store store = Open();
  auto const object = store.Load<described::Wrapping>("root");
  ASSERT_EQ(object->m_History.Size(), Long + 1);
  EXPECT_EQ(object->m_History.ConstGet(4000), -1);
  EXPECT_EQ(object->m_History.ConstGet(Long), 77);
  ASSERT_EQ(object->m_Field.Size(), 7);
  EXPECT_EQ(object->m_Field.ConstGet(1, 1), -2);
  EXPECT_EQ(object->m_Field.ConstGet(2, 0), 6);
  int entries[3] = {};
  ASSERT_EQ(object->m_Log.Read(entries, 3), 3);
  EXPECT_EQ(entries[2], 5);
}

TEST_F(DescribedOpenArrays, CopyOfTheHolderHasTheSameArray) {
  sto_Store store = Open();
  sto_Transaction transaction(store);
  auto const object = store.Load<described::Wrapping>("root");
  described::Wrapping copy = *object;
  EXPECT_NE(copy.Uid().Entry(), object->Uid().Entry());
  EXPECT_EQ(copy.m_History.Uid().Entry(), object->m_History.Uid().Entry());
  copy.m_History.Get(10) = 99;
  EXPECT_EQ(object->m_History.ConstGet(10), 99);
  copy.m_History = cls_ArrayPrimDouble(); // one of its own
  copy.m_History.Append(1);
  EXPECT_EQ(object->m_History.ConstGet(0), 0);
  EXPECT_EQ(object->m_History.Size(), Long);
  transaction.Commit();
}

class ShortRun {
 public:
  KVL_PERSISTED(ShortRun, 0x790002, "Run", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Values)); }
  ShortRun() = default;
  std::vector<double> m_Values;
};
class LongRun {
 public:
  KVL_PERSISTED(LongRun, 0x790002, "Run", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Values)); }
  LongRun() = default;
  ~LongRun() { Free(m_Values); }
  cls_ArrayPrimDouble m_Values;
};
class RunOfWrapper {
 public:
  KVL_PERSISTED(RunOfWrapper, 0x790002, "Run", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Values)); }
  RunOfWrapper() = default;
  cls_xp1DArrayListDouble m_Values;
};

/// The list is the same in the store, so the version of the class need not change.
TEST_F(DescribedWrappers, MemberMayChangeBetweenListsOfOneElementType) {
  ShortRun run;
  run.m_Values.assign(3000, 0.5);
  run.m_Values[2999] = 7;
  SaveNew(run);
  std::size_t const count = ObjectCount();
  SaveAgain<LongRun>();
  SaveAgain<RunOfWrapper>();
  EXPECT_EQ(ObjectCount(), count);
  Inspect<LongRun>([](LongRun const& loaded) { EXPECT_EQ(loaded.m_Values.ConstGet(2999), 7); });
  EXPECT_EQ(Load<RunOfWrapper>()->m_Values.ConstGet(2999), 7);
  EXPECT_EQ(Load<ShortRun>()->m_Values, run.m_Values);
}

cow_1DArrayList<cow_String> OneName() {
  cow_1DArrayList<cow_String> names;
  names.Append("initial"_cow);
  return names;
}
class NewRun {
 public:
  KVL_PERSISTED(NewRun, 0x790002, "Run", 2)
  static constexpr void Describe(auto& field) {
    using namespace kvl;
    field(KVL_F(m_History), Was<"m_Values">());
    field(KVL_F(m_Table), Since(2));
    field(KVL_F(m_Names), Since(2));
    field(KVL_F(m_Title), Since(2));
    field(KVL_F(m_Log), Since(2));
  }
  NewRun() = default;
  ~NewRun() { Free(m_History); }
  cls_ArrayPrimDouble m_History;
  cls_xp2DArrayDouble m_Table{1, 2};
  cls_xp1DArrayListString m_Names = cls_xp1DArrayListStringFromCow(OneName());
  cls_xpString m_Title{"untitled"_cow};
  cls_SimpleArrayPrimInt m_Log{4};
};

TEST_F(DescribedWrappers, VersionThatHasMore) {
  LongRun run;
  for (int i = 0; i < Long; ++i) run.m_Values.Append(i);
  SaveNew(run);
  for (int i = 0; i < 2; ++i) {
    Inspect<NewRun>([](NewRun const& loaded) {
      ASSERT_EQ(loaded.m_History.Size(), Long);
      EXPECT_EQ(loaded.m_History.ConstGet(4999), 4999);
      EXPECT_EQ(loaded.m_Table.Cols(), 2);
      EXPECT_EQ(loaded.m_Names.Count(), 1);
      EXPECT_EQ(loaded.m_Title.Text(), "untitled"_cow);
    });
    if (i == 0) SaveAgain<NewRun>();
  }
  EXPECT_EQ(ObjectCount(), 6U);
}

/// A table that says itself how many columns it has.
class Sheet {
 public:
  KVL_PERSISTED(Sheet, 0x790003, "Sheet", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Columns));
    field(KVL_F(m_Cells));
  }
  explicit Sheet(int columns) : m_Columns(columns) { m_Cells.SetColumns(columns); }
  ~Sheet() { Free(m_Cells); }
  void AfterRead(int) { m_Cells.SetColumns(m_Columns); }
  int m_Columns = 1;
  cls_2dArrayPrimFloat m_Cells;
};

TEST_F(DescribedWrappers, ColumnsOfATableInAMemberOfItsOwn) {
  Sheet sheet(4);
  for (int i = 0; i < 12; ++i) sheet.m_Cells.Append(static_cast<float>(i));
  SaveNew(sheet);
  Inspect<Sheet>([](Sheet const& loaded) { EXPECT_EQ(loaded.m_Cells.ConstGet(2, 1), 9); });
}

/// A part of a struct.
struct Series {
  KVL_VALUE(Series)
  static constexpr void Describe(auto& field) {
    field(KVL_F(values));
    field(KVL_F(names));
  }
  ~Series() { Free(values); }
  cls_ArrayPrimDouble values;
  cls_xp1DArrayListString names;
};

TEST_F(DescribedWrappers, InStructs) {
  Kept<Series> kept;
  kept.m_Value.values.Append(2.5);
  kept.m_Value.names.Append("a"_cow);
  SaveNew(kept);
  Inspect<Kept<Series>>([](Kept<Series> const& loaded) {
    EXPECT_EQ(loaded.m_Value.values.ConstGet(0), 2.5);
    EXPECT_EQ(loaded.m_Value.names.ConstGet(0), "a"_cow);
  });
}

} // namespace
