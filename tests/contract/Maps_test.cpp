#include <array>
#include <limits>
#include <map>

#include "persist/backend/cls_ReadMapPrim.h"
#include "persist/backend/cls_ReadObjects.h"
#include "persist/backend/cls_WriteMapPrim.h"
#include "persist/backend/cls_WriteObjects.h"
#include "tests/contract/ContractTest.h"

// Maps from int and from text to primitives, and int tables.

namespace {

/// The two key types, with the builder and cursor of their maps.
struct IntKeys {
  using Key = int;
  static constexpr ContractKind const& Kind = MapIntKind;
  static Key At(int i) {
    constexpr std::array Extremes{0, -1, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()};
    return i < 4 ? Extremes[static_cast<std::size_t>(i)] : (i * 7919) % 100'003 + 10;
  }
  template <class T> static auto Builder(cls_MementoWrite& memento) {
    T const tag{};
    return Receive(memento.MakeWriteMapInt2Prim(&tag));
  }
  template <class T> static auto Cursor(cls_MementoRead& memento) {
    T tag{};
    return Receive(memento.MakeReadMapInt2Prim(&tag));
  }
};
struct StringKeys {
  using Key = cow_String;
  static constexpr ContractKind const& Kind = MapStringKind;
  static Key At(int i) {
    if (i == 0) return ""_cow;
    return cow_String((i % 2 == 0 ? "key " : "\xC3\xA4 key\n") + std::to_string((i * 7919) % 100'003));
  }
  template <class T> static auto Builder(cls_MementoWrite& memento) {
    T const tag{};
    return Receive(memento.MakeWriteMapString2Prim(&tag));
  }
  template <class T> static auto Cursor(cls_MementoRead& memento) {
    T tag{};
    return Receive(memento.MakeReadMapString2Prim(&tag));
  }
};

template <class Keys, class T> void WriteEntries(cls_WriteVisitor const& visitor, int count) {
  WriteCollectionOf<T>(visitor, Keys::Kind, [=](cls_MementoWrite& memento) {
    auto const builder = Keys::template Builder<T>(memento);
    ExpectNotKept(*builder);
    for (int i = 0; i < count; ++i) builder->Insert(Keys::At(i), SampleOf<T>(i));
  });
}

template <class Keys, class T> void ExpectEntries(cls_ReadVisitor const& visitor, int count) {
  cls_ReadVisitor const child = ObjectIn(visitor, FieldFor<T>(Keys::Kind.m_Name));
  auto const cursor = Keys::template Cursor<T>(*child.Memento());
  ExpectNotKept(*cursor);
  ASSERT_EQ(cursor->Count(), count);
  for (int i = 0; i < count; ++i) {
    ASSERT_NE(cursor->More(), 0) << i;
    ASSERT_TRUE(IsSameValue(cursor->Next(), SampleOf<T>(i))) << i;
    typename Keys::Key key{};
    cursor->Key(key);
    ASSERT_TRUE(IsSameValue(key, Keys::At(i))) << i;
  }
  EXPECT_EQ(cursor->More(), 0);
  EXPECT_EQ(cursor->Count(), count);
}

class ContractMaps : public ContractTest {
 protected:
  /// Maps of several sizes, each in a separate object.
  template <class Keys, class T> void ExpectMaps() {
    constexpr std::array Counts{0, 1, 2, 50, 3000};
    InTransaction(Session(), [&] {
      for (int const count : Counts)
        Save(Session(),
             Scripted([=](cls_WriteVisitor const& visitor) { WriteEntries<Keys, T>(visitor, count); }),
             std::to_string(count));
    });
    Step();
    for (int const count : Counts)
      Read([=](cls_ReadVisitor const& visitor) { ExpectEntries<Keys, T>(visitor, count); },
           std::to_string(count));
  }
};
CONTRACT_FIXTURE(ContractMaps);

#define EXPECT_INT_MAPS_COME_BACK(Type)                                                                      \
  COVERS(cls_WriteMapInt2Prim, 0, 1, 2);                                                                     \
  COVERS(cls_ReadMapInt2Prim, 0, 1, 2, 3, 4, 5);                                                             \
  ExpectMaps<IntKeys, Type>()

#define EXPECT_STRING_MAPS_COME_BACK(Type)                                                                   \
  COVERS(cls_WriteMapString2Prim, 0, 1, 2);                                                                  \
  COVERS(cls_ReadMapString2Prim, 0, 1, 2, 3, 4, 5);                                                          \
  ExpectMaps<StringKeys, Type>()

TEST_P(ContractMaps, MapsFromIntToStringComeBackInOrder) {
  COVERS(cls_MementoWrite, 28);
  COVERS(cls_MementoRead, 32);
  EXPECT_INT_MAPS_COME_BACK(cow_String);
}
TEST_P(ContractMaps, MapsFromIntToFloatComeBackInOrder) {
  COVERS(cls_MementoWrite, 29);
  COVERS(cls_MementoRead, 33);
  EXPECT_INT_MAPS_COME_BACK(float);
}
TEST_P(ContractMaps, MapsFromIntToDoubleComeBackInOrder) {
  COVERS(cls_MementoWrite, 30);
  COVERS(cls_MementoRead, 34);
  EXPECT_INT_MAPS_COME_BACK(double);
}
TEST_P(ContractMaps, MapsFromIntToUnsignedIntComeBackInOrder) {
  COVERS(cls_MementoWrite, 31);
  COVERS(cls_MementoRead, 35);
  EXPECT_INT_MAPS_COME_BACK(unsigned int);
}
TEST_P(ContractMaps, MapsFromIntToIntComeBackInOrder) {
  COVERS(cls_MementoWrite, 32);
  COVERS(cls_MementoRead, 36);
  EXPECT_INT_MAPS_COME_BACK(int);
}
TEST_P(ContractMaps, MapsFromStringToUnsignedIntComeBackInOrder) {
  COVERS(cls_MementoWrite, 39);
  COVERS(cls_MementoRead, 43);
  EXPECT_STRING_MAPS_COME_BACK(unsigned int);
}
TEST_P(ContractMaps, MapsFromStringToStringComeBackInOrder) {
  COVERS(cls_MementoWrite, 40);
  COVERS(cls_MementoRead, 44);
  EXPECT_STRING_MAPS_COME_BACK(cow_String);
}
TEST_P(ContractMaps, MapsFromStringToIntComeBackInOrder) {
  COVERS(cls_MementoWrite, 41);
  COVERS(cls_MementoRead, 45);
  EXPECT_STRING_MAPS_COME_BACK(int);
}
TEST_P(ContractMaps, MapsFromStringToFloatComeBackInOrder) {
  COVERS(cls_MementoWrite, 42);
  COVERS(cls_MementoRead, 46);
  EXPECT_STRING_MAPS_COME_BACK(float);
}
TEST_P(ContractMaps, MapsFromStringToDoubleComeBackInOrder) {
  COVERS(cls_MementoWrite, 43);
  COVERS(cls_MementoRead, 47);
  EXPECT_STRING_MAPS_COME_BACK(double);
}

TEST_P(ContractMaps, KeyStaysWithTheValueThatNextReturnedLast) {
  COVERS(cls_ReadMapInt2Prim, 3, 5);
  COVERS(cls_ReadMapString2Prim, 3, 5);
  Write([](cls_WriteVisitor const& visitor) {
    WriteEntries<IntKeys, int>(visitor, 2);
    WriteEntries<StringKeys, int>(visitor, 2);
  });
  Read([](cls_ReadVisitor const& visitor) {
    auto const expect = [&]<class Keys>(std::type_identity<Keys>) {
      cls_ReadVisitor const child = ObjectIn(visitor, FieldFor<int>(Keys::Kind.m_Name));
      auto const cursor = Keys::template Cursor<int>(*child.Memento());
      static_cast<void>(cursor->Next());
      EXPECT_NE(cursor->More(), 0);
      for (int i = 0; i < 2; ++i) {
        typename Keys::Key key = Keys::At(9);
        cursor->Key(key);
        EXPECT_TRUE(IsSameValue(key, Keys::At(0)));
      }
      static_cast<void>(cursor->Next());
      EXPECT_EQ(cursor->More(), 0);
      typename Keys::Key key = Keys::At(9);
      cursor->Key(key);
      EXPECT_TRUE(IsSameValue(key, Keys::At(1)));
    };
    ForTypes<IntKeys, StringKeys>(expect);
  });
}

TEST_P(ContractMaps, KeysMayHoldNullsAndLineFeeds) {
  COVERS(cls_WriteMapString2Prim, 2);
  COVERS(cls_ReadMapString2Prim, 5);
  std::vector<cow_String> const keys{cow_String(std::string_view("a\0b", 3)), cow_String("a"),
                                     cow_String(std::string_view("a\0", 2)), cow_String("a\nb"),
                                     cow_String(std::string(5000, 'k'))};
  Write([&](cls_WriteVisitor const& visitor) {
    WriteCollectionOf<int>(visitor, MapStringKind, [&](cls_MementoWrite& memento) {
      auto const builder = StringKeys::Builder<int>(memento);
      for (cow_String const& key : keys) builder->Insert(key, key.Length());
    });
  });
  Read([&](cls_ReadVisitor const& visitor) {
    cls_ReadVisitor const child = ObjectIn(visitor, FieldFor<int>(MapStringKind.m_Name));
    auto const cursor = StringKeys::Cursor<int>(*child.Memento());
    ASSERT_EQ(cursor->Count(), static_cast<int>(keys.size()));
    for (cow_String const& expected : keys) {
      EXPECT_EQ(cursor->Next(), expected.Length());
      cow_String key;
      cursor->Key(key);
      EXPECT_TRUE(key == expected);
    }
  });
}

void InsertTable(cls_WriteIntTableInt* table, int count) {
  auto const builder = Receive(table);
  for (int i = 0; i < count; ++i) builder->Insert(IntKeys::At(i), SampleOf<int>(i));
}

/// An int table is not ordered.
void ExpectTable(cls_ReadIntTableInt* table, int count) {
  auto const cursor = Receive(table);
  ASSERT_EQ(cursor->Count(), count);
  std::map<int, int> expected;
  for (int i = 0; i < count; ++i) expected[IntKeys::At(i)] = SampleOf<int>(i);
  std::map<int, int> read;
  for (int i = 0; cursor->More() != 0; ++i) {
    ASSERT_LT(i, count);
    int const value = cursor->Next();
    int key = 0;
    cursor->Key(key);
    read[key] = value;
  }
  EXPECT_EQ(read, expected);
  EXPECT_EQ(cursor->Count(), count);
}

TEST_P(ContractMaps, IntTablesComeBack) {
  COVERS(cls_MementoWrite, 34);
  COVERS(cls_MementoRead, 38);
  COVERS(cls_WriteIntTableInt, 0, 1);
  COVERS(cls_ReadIntTableInt, 0, 1, 2, 3, 4);
  for (int const count : {0, 1, 5, 3000}) {
    Write([=](cls_WriteVisitor const& visitor) {
      WriteCollectionOf(visitor, IntTableKind, [=](cls_MementoWrite& memento) {
        InsertTable(memento.MakeWriteIntTableInt(), count);
      });
    });
    Read([=](cls_ReadVisitor const& visitor) {
      cls_ReadVisitor const child = ObjectIn(visitor, FieldOf(IntTableKind.m_Name));
      ExpectTable(child.Memento()->MakeReadIntTableInt(), count);
    });
  }
}

TEST_P(ContractMaps, IntTablesOfAFieldComeBackInOneStep) {
  COVERS(cls_MementoWrite, 38);
  COVERS(cls_MementoRead, 3, 42);
  COVERS(cls_WriteIntTableInt, 0, 1);
  COVERS(cls_ReadIntTableInt, 0, 1, 2, 3, 4);
  cls_Uid const uid;
  Write([&](cls_WriteVisitor const& visitor) {
    InsertTable(visitor.Memento()->MakeFieldWriteIntTableInt(FieldOf(IntTableKind.m_Name), uid), 100);
    visitor.Memento()->WriteReference(FieldOf("Reference"), uid);
  });
  Read([](cls_ReadVisitor const& visitor) {
    EXPECT_NE(visitor.DataIsPresent(FieldOf(IntTableKind.m_Name)), 0);
    ExpectTable(visitor.Memento()->MakeFieldReadIntTableInt(FieldOf(IntTableKind.m_Name)), 100);
    cls_ReadVisitor const child = ObjectIn(visitor, FieldOf(IntTableKind.m_Name));
    ExpectTable(child.Memento()->MakeReadIntTableInt(), 100);
    EXPECT_EQ(child.GetUid().Entry(), visitor.Memento()->ReadReference(FieldOf("Reference")).Entry());
  });
}

} // namespace
