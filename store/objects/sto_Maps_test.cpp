#include <limits>

#include "tests/support/store/StoreCollections.h"

namespace {

/// Maps of primitives and int tables.
class StoreMaps : public StoreCollectionTest {};

template <class K, class T> auto MakeWriter(cls_MementoWrite& memento, T const* tag) {
  if constexpr (std::is_same_v<K, int>)
    return Own(memento.MakeWriteMapInt2Prim(tag));
  else
    return Own(memento.MakeWriteMapString2Prim(tag));
}

template <class K, class T> auto MakeReader(cls_MementoRead& memento, T* tag) {
  if constexpr (std::is_same_v<K, int>)
    return Own(memento.MakeReadMapInt2Prim(tag));
  else
    return Own(memento.MakeReadMapString2Prim(tag));
}

template <class K, class T> using Entries = std::vector<std::pair<K, T>>;

template <class K, class T>
void SaveMap(sto_Store& store, Entries<K, T> const& entries, std::string const& field = "m_Any") {
  SaveFields(store, [&](cls_WriteVisitor const& visitor) {
    auto const map = WriteIn(visitor, field, MapClass);
    auto const writer = MakeWriter<K, T>(*map, static_cast<T const*>(nullptr));
    for (auto const& [key, value] : entries) writer->Insert(key, value);
  });
}

template <class K, class T> Entries<K, T> LoadMap(sto_Store& store, std::string const& field = "m_Any") {
  Entries<K, T> entries;
  static_cast<void>(LoadFields(store, [&](cls_ReadVisitor const& visitor) {
    auto const map = ReadIn(visitor, field);
    auto const reader = MakeReader<K, T>(*map, static_cast<T*>(nullptr));
    int const count = reader->Count();
    while (reader->More() != 0) {
      T value = reader->Next();
      K key{};
      reader->Key(key);
      entries.emplace_back(std::move(key), std::move(value));
    }
    EXPECT_EQ(static_cast<int>(entries.size()), count);
  }));
  return entries;
}

template <class K> K KeyOf(int number) {
  if constexpr (std::is_same_v<K, int>)
    return number * 3 - 1000;
  else
    return cow_String("key " + std::to_string(number));
}

template <class T> T ValueOf(int number) {
  if constexpr (std::is_same_v<T, cow_String>)
    return cow_String("value " + std::to_string(number));
  else
    return static_cast<T>(number) / 2;
}

template <class K, class T> struct Kind {
  using Key = K;
  using Value = T;
};

template <class T> class StoreMapKind : public StoreCollectionTest {};
// Both keys, with values of fixed and of varying length. The contract suite sweeps all types.
using Kinds = testing::Types<Kind<int, cow_String>, Kind<int, double>, Kind<cow_String, unsigned int>,
                             Kind<cow_String, cow_String>>;
TYPED_TEST_SUITE(StoreMapKind, Kinds);

TYPED_TEST(StoreMapKind, ComesBackInAnotherSession) {
  using K = typename TypeParam::Key;
  using T = typename TypeParam::Value;
  for (int const count : {0, 1, 2, 1000}) {
    SCOPED_TRACE(count);
    std::string const name = std::to_string(count);
    Entries<K, T> entries;
    for (int i = 0; i < count; ++i) entries.emplace_back(KeyOf<K>(count - i), ValueOf<T>(i));
    sto_Store created = this->Create(name);
    SaveMap(created, entries);
    sto_Store store = this->Open(sto_Mode::ReadOnly, name);
    EXPECT_EQ((LoadMap<K, T>(store)), entries);
  }
}

TEST_F(StoreMaps, EntriesKeepTheirOrderAndTheirDuplicates) {
  Entries<int, int> const entries{{5, 1}, {-7, 2}, {5, 3}, {0, 4}, {5, 1}};
  sto_Store store = Create();
  SaveMap(store, entries);
  EXPECT_EQ((LoadMap<int, int>(store)), entries);
}

TEST_F(StoreMaps, ExtremeNumbersComeBack) {
  constexpr int Least = std::numeric_limits<int>::min();
  constexpr int Greatest = std::numeric_limits<int>::max();
  Entries<int, int> const entries{{Least, Greatest}, {Greatest, Least}, {0, 0}, {-1, -1}};
  sto_Store store = Create();
  SaveMap(store, entries);
  EXPECT_EQ((LoadMap<int, int>(store)), entries);
}

TEST_F(StoreMaps, NoTextAndEmptyTextStayApartAsKeysAndValues) {
  Entries<cow_String, cow_String> const entries{{cow_String(), ""_cow}, {""_cow, cow_String()}};
  sto_Store store = Create();
  SaveMap(store, entries);
  Entries<cow_String, cow_String> const loaded = LoadMap<cow_String, cow_String>(store);
  ASSERT_EQ(loaded.size(), 2U);
  EXPECT_FALSE(loaded[0].first.HasText());
  EXPECT_TRUE(loaded[0].second.HasText());
  EXPECT_TRUE(loaded[1].first.HasText());
  EXPECT_FALSE(loaded[1].second.HasText());
}

TEST_F(StoreMaps, TextWithAnyByteComesBack) {
  std::string text;
  for (int i = 1; i < 300; ++i) text.push_back(static_cast<char>(i % 256));
  text.push_back('\0');
  Entries<cow_String, cow_String> const entries{{cow_String(std::string_view(text)), "x"_cow}};
  sto_Store store = Create();
  SaveMap(store, entries);
  EXPECT_EQ((LoadMap<cow_String, cow_String>(store)[0].first.View()), text);
}

TEST_F(StoreMaps, HundredThousandEntriesComeBack) {
  Entries<cow_String, double> entries;
  for (int i = 0; i < 100'000; ++i)
    entries.emplace_back(cow_String("node " + std::to_string(i * 7 % 100'000)), i / 8.0);
  sto_Store store = Create();
  SaveMap(store, entries);
  EXPECT_EQ((LoadMap<cow_String, double>(store)), entries);
}

TEST_F(StoreMaps, MapOfAnAbsentObjectIsEmpty) {
  sto_Store store = Create();
  SaveFields(store, [](cls_WriteVisitor const&) {});
  EXPECT_TRUE((LoadMap<int, double>(store).empty()));
  EXPECT_TRUE((LoadMap<cow_String, cow_String>(store).empty()));
}

TEST_F(StoreMaps, ReadingPastTheEndIsRefused) {
  sto_Store store = Create();
  SaveMap(store, Entries<int, int>{{1, 2}});
  static_cast<void>(LoadFields(store, [&](cls_ReadVisitor const& visitor) {
    auto const map = ReadIn(visitor, "m_Any");
    auto const reader = MakeReader<int, int>(*map, static_cast<int*>(nullptr));
    int key = 77;
    EXPECT_TRUE(
        Contains(MessageOf(sto_ErrorKind::Misuse, [&] { reader->Key(key); }), "before the first entry"));
    EXPECT_EQ(key, 77);
    EXPECT_EQ(reader->Next(), 2);
    EXPECT_TRUE(Contains(MessageOf(sto_ErrorKind::Misuse, [&] { reader->Next(); }), "past the end"));
    reader->Key(key);
    EXPECT_EQ(key, 1);
  }));
}

TEST_F(StoreMaps, CursorOfAnotherKindSaysWhatIsStored) {
  sto_Store store = Create();
  SaveMap(store, Entries<int, double>{{1, 2}});
  auto const message = [&](auto make) {
    std::string text;
    static_cast<void>(LoadFields(store, [&](cls_ReadVisitor const& visitor) {
      text = MessageOf(sto_ErrorKind::WrongClass, [&] { make(*ReadIn(visitor, "m_Any")); });
    }));
    return text;
  };
  std::string const stored = "(cls_InternalMap version 800) is stored as a map from int to double";
  std::string const byString =
      message([](cls_MementoRead& map) { map.MakeReadMapString2Prim(static_cast<double*>(nullptr)); });
  EXPECT_TRUE(Contains(byString, stored + " and cannot be read as a map from string to double.")) << byString;
  std::string const ofFloat =
      message([](cls_MementoRead& map) { map.MakeReadMapInt2Prim(static_cast<float*>(nullptr)); });
  EXPECT_TRUE(Contains(ofFloat, stored + " and cannot be read as a map from int to float.")) << ofFloat;
  std::string const ofObjects = message([](cls_MementoRead& map) { map.MakeReadMapInt2Obj(); });
  EXPECT_TRUE(Contains(ofObjects, stored + " and cannot be read as a map from int to objects.")) << ofObjects;
  std::string const table = message([](cls_MementoRead& map) { map.MakeReadIntTableInt(); });
  EXPECT_TRUE(Contains(table, stored + " and cannot be read as a table from int to int.")) << table;
  std::string const list =
      message([](cls_MementoRead& map) { map.MakeReadListPrim(static_cast<double*>(nullptr)); });
  EXPECT_TRUE(Contains(list, "There is no list of double in")) << list;
}

TEST_F(StoreMaps, CursorOverAnObjectWithoutCollectionSaysSo) {
  sto_Store store = Create();
  SaveFields(store, [](cls_WriteVisitor const&) {});
  static_cast<void>(LoadFields(store, [&](cls_ReadVisitor const& visitor) {
    std::string const message =
        MessageOf(sto_ErrorKind::WrongClass, [&] { visitor.Memento()->MakeReadIntTableInt(); });
    EXPECT_TRUE(Contains(message, "There is no table from int to int in object 1 (Scripted version 1)."))
        << message;
  }));
}

TEST_F(StoreMaps, AttributeThatIsDeclaredForSomethingElseIsRefused) {
  struct Case {
    std::string m_Field;
    std::string m_Declared;
  };
  for (Case const& bad :
       {Case{"m_Floats", "ATTR_FLOAT, COLLECTION_MAP_STRING_FLOAT"},
        Case{"m_Ints", "ATTR_INT, COLLECTION_LIST_INT"},
        Case{"m_ByString", "ATTR_OBJECT, COLLECTION_MAP_STRING_OBJ"},
        Case{"m_Doubles", "ATTR_DOUBLE, COLLECTION_KIND_70"},
        Case{"m_Objects", "ATTR_OBJECT, COLLECTION_OBJ"}, Case{"m_List", "9000, COLLECTION_LIST"},
        Case{"m_Text", "ATTR_STRING, COLLECTION_NONE"}}) {
    sto_Store store = Create(bad.m_Field);
    std::string const message =
        MessageOf(sto_ErrorKind::Misuse, [&] { SaveMap(store, Entries<cow_String, int>{}, bad.m_Field); });
    EXPECT_EQ(message, Path(bad.m_Field) + ": Attribute " + bad.m_Field +
                           " of class Scripted version 1 is declared as " + bad.m_Declared +
                           ", but a map from string to int is written: declare it as ATTR_INT, "
                           "COLLECTION_MAP_STRING (writing object 2 (cls_InternalMap)).");
    EXPECT_EQ(store.ObjectCount(), 0);
  }
}

TEST_F(StoreMaps, IntKeyedMapIsRefusedWhereStringKeysAreDeclared) {
  sto_Store store = Create();
  MessageOf(sto_ErrorKind::Misuse, [&] { SaveMap(store, Entries<int, float>{}, "m_Strings"); });
  SaveMap(store, Entries<cow_String, float>{{"a"_cow, 1}}, "m_Strings");
  EXPECT_EQ((LoadMap<cow_String, float>(store, "m_Strings").size()), 1U);
}

TEST_F(StoreMaps, SavingAgainReplacesTheMap) {
  sto_Store store = Create();
  Scripted object;
  cls_Uid const uid;
  for (int const count : {3, 1}) {
    object.m_Write = [&](cls_WriteVisitor const& visitor) {
      auto const map = WriteIn(visitor, "m_Any", MapClass, uid);
      auto const writer = MakeWriter<int, int>(*map, static_cast<int const*>(nullptr));
      for (int i = 0; i < count; ++i) writer->Insert(i, count);
    };
    store.Save("root", object);
  }
  EXPECT_EQ((LoadMap<int, int>(store)), (Entries<int, int>{{0, 1}}));
  EXPECT_EQ(store.ObjectCount(), 2);
}

TEST_F(StoreMaps, OneIdentityCannotHoldTwoMaps) {
  sto_Store store = Create();
  auto const save = [&](int second) {
    SaveFields(store, [&](cls_WriteVisitor const& visitor) {
      cls_Uid const uid;
      for (int const value : {1, second}) {
        auto const map = WriteIn(visitor, value == 1 ? "m_Any" : "m_Second", MapClass, uid);
        MakeWriter<int, int>(*map, static_cast<int const*>(nullptr))->Insert(1, value);
      }
    });
  };
  std::string const message = MessageOf(sto_ErrorKind::Conflict, [&] { save(2); });
  EXPECT_TRUE(Contains(message, "is saved as two maps that differ")) << message;
  EXPECT_EQ(store.ObjectCount(), 0);
  save(1);
  EXPECT_EQ(store.ObjectCount(), 2);
}

TEST_F(StoreMaps, FailureWhileAMapIsWrittenUndoesTheSave) {
  sto_Store store = Create();
  EXPECT_THROW(SaveFields(store,
                          [](cls_WriteVisitor const& visitor) {
                            auto const map = WriteIn(visitor, "m_Any", MapClass);
                            auto const writer = MakeWriter<int, int>(*map, static_cast<int const*>(nullptr));
                            writer->Insert(1, 1);
                            throw std::runtime_error("the class itself fails");
                          }),
               std::runtime_error);
  EXPECT_EQ(store.ObjectCount(), 0);
}

// --- int tables

using Pairs = std::vector<std::pair<int, int>>;

Pairs LoadTable(sto_Store& store) {
  Pairs pairs;
  static_cast<void>(LoadFields(store, [&](cls_ReadVisitor const& visitor) {
    auto const table = Own(visitor.Memento()->MakeFieldReadIntTableInt(Field("m_Any")));
    int const count = table->Count();
    while (table->More() != 0) {
      int const value = table->Next();
      int key = 0;
      table->Key(key);
      pairs.emplace_back(key, value);
    }
    EXPECT_EQ(static_cast<int>(pairs.size()), count);
  }));
  return pairs;
}

TEST_F(StoreMaps, IntTableComesBackInItsOrder) {
  constexpr int Least = std::numeric_limits<int>::min();
  constexpr int Greatest = std::numeric_limits<int>::max();
  Pairs const pairs{{3, 4}, {Least, Greatest}, {3, 5}, {Greatest, Least}, {0, -1}};
  {
    sto_Store store = Create();
    SaveFields(store, [&](cls_WriteVisitor const& visitor) {
      auto const memento = WriteIn(visitor, "m_Any", MapClass);
      auto const table = Own(memento->MakeWriteIntTableInt());
      for (auto const& [key, value] : pairs) table->Insert(key, value);
    });
  }
  sto_Store store = Open();
  EXPECT_EQ(LoadTable(store), pairs);
}

TEST_F(StoreMaps, IntTableOfAnAbsentFieldIsEmpty) {
  sto_Store store = Create();
  SaveFields(store, [](cls_WriteVisitor const&) {});
  EXPECT_TRUE(LoadTable(store).empty());
}

TEST_F(StoreMaps, IntTableInAFieldIsTheSameInOneStepAndInTwo) {
  cls_Uid const uid;
  std::vector<std::string> records[2];
  for (int const way : {0, 1}) {
    std::string const name = "way " + std::to_string(way);
    sto_Store store = Create(name);
    SaveFields(store, [&](cls_WriteVisitor const& visitor) {
      std::unique_ptr<cls_MementoWrite> const memento =
          way == 0 ? WriteIn(visitor, "m_Any", MapClass, uid) : nullptr;
      auto const table = Own(way == 0 ? memento->MakeWriteIntTableInt()
                                      : visitor.Memento()->MakeFieldWriteIntTableInt(Field("m_Any"), uid));
      table->Insert(-1, 1000);
    });
    SqlFile file(Path(name));
    file.Unpack();
    records[way] = file.Texts("SELECT hex(record) FROM object UNION ALL SELECT hex(data) FROM shape");
    EXPECT_EQ(records[way].size(), 4U); // two objects, two shapes
  }
  EXPECT_EQ(records[0], records[1]);
}

} // namespace
