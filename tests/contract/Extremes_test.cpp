#include <algorithm>
#include <array>
#include <map>

#include "persist/backend/cls_AgentListPrim.h"
#include "persist/backend/cls_AgentMapKey2Obj.h"
#include "persist/backend/cls_ReadListPrim.h"
#include "persist/backend/cls_ReadMapPrim.h"
#include "persist/backend/cls_ReadObjects.h"
#include "persist/backend/cls_WriteListPrim.h"
#include "persist/backend/cls_WriteMapPrim.h"
#include "persist/backend/cls_WriteObjects.h"
#include "tests/contract/ContractExtremes.h"
#include "tests/contract/ContractTest.h"

// Extreme values of each type, bit by bit, wherever a value of the type can be stored.

namespace {

CONTRACT_SUITE(ContractExtremes);

/// A value different from all of them.
template <class T> T Other() {
  if constexpr (std::is_same_v<T, cow_String>)
    return "absent"_cow;
  else
    return static_cast<T>(42);
}

std::string Root(std::size_t i) {
  return "value " + std::to_string(i);
}

TEST_P(ContractExtremes, ScalarsComeBackBitByBit) {
  COVERS(cls_MementoWrite, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16);
  COVERS(cls_MementoRead, 6, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18);
  InTransaction(Session(), [&] {
    for (std::size_t i = 0; i < MostExtremes; ++i)
      Save(Session(), Scripted([i](cls_WriteVisitor const& visitor) {
             ForScalarTypes([&]<class T>(std::type_identity<T>) {
               std::deque<T> const values = Extremes<T>();
               if (i < values.size()) visitor.Memento()->Write(FieldFor<T>(), values[i]);
             });
           }),
           Root(i));
  });
  Step();
  for (std::size_t i = 0; i < MostExtremes; ++i)
    Read(
        [i](cls_ReadVisitor const& visitor) {
          ForScalarTypes([&]<class T>(std::type_identity<T>) {
            std::deque<T> const values = Extremes<T>();
            if (i >= values.size()) return;
            T const read = visitor.Memento()->Read(FieldFor<T>(), Other<T>());
            EXPECT_TRUE(IsSameValue(read, values[i])) << ContractTypeName<T> << " " << i;
          });
        },
        Root(i));
}

TEST_P(ContractExtremes, DefaultsComeBackBitByBit) {
  COVERS(cls_MementoRead, 6, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18);
  Write([](cls_WriteVisitor const&) {});
  Read([](cls_ReadVisitor const& visitor) {
    ForScalarTypes([&]<class T>(std::type_identity<T>) {
      for (T const& value : Extremes<T>())
        EXPECT_TRUE(IsSameValue(visitor.Memento()->Read(FieldFor<T>(), value), value)) << ContractTypeName<T>;
    });
  });
}

TEST_P(ContractExtremes, ElementsOfListsComeBackBitByBit) {
  COVERS(cls_MementoWrite, 22, 23, 24, 25, 26, 27);
  COVERS(cls_MementoRead, 26, 27, 28, 29, 30, 31);
  Write([](cls_WriteVisitor const& visitor) {
    ForListTypes([&]<class T>(std::type_identity<T>) {
      WriteCollectionOf<T>(visitor, ListKind, [](cls_MementoWrite& memento) {
        T const tag{};
        auto const builder = Receive(memento.MakeWriteListPrim(&tag, 1));
        for (T const& value : Extremes<T>()) builder->Append(value);
      });
    });
  });
  Read([](cls_ReadVisitor const& visitor) {
    ForListTypes([&]<class T>(std::type_identity<T>) {
      cls_ReadVisitor const child = ObjectIn(visitor, FieldFor<T>("List"));
      T tag{};
      auto const cursor = Receive(child.Memento()->MakeReadListPrim(&tag));
      for (T const& value : Extremes<T>())
        EXPECT_TRUE(IsSameValue(cursor->Next(), value)) << ContractTypeName<T>;
    });
  });
}

TEST_P(ContractExtremes, ElementsBehindAgentsComeBackBitByBit) {
  COVERS(cls_MementoWrite, 47, 48, 49, 50, 51, 52);
  COVERS(cls_MementoRead, 51, 52, 53, 54, 55, 56);
  COVERS(cls_AgentListPrim, 5, 6);
  Write([&](cls_WriteVisitor const& visitor) {
    ForListTypes([&]<class T>(std::type_identity<T>) {
      WriteCollectionOf<T>(visitor, ListKind, [&](cls_MementoWrite& memento) {
        T const tag{};
        auto agent = std::make_unique<AgentHolder<cls_AgentListPrim<T>>>(memento.MakeAgentListPrim(&tag, 1));
        int index = 0;
        for (T const& value : Extremes<T>()) (*agent)->WriteRun(index++, 1, &value);
        m_Kept.push_back(std::move(agent));
      });
    });
  });
  ForListTypes([&]<class T>(std::type_identity<T>) {
    auto const agent = Take([](cls_ReadVisitor const& visitor) {
      cls_ReadVisitor const child = ObjectIn(visitor, FieldFor<T>("List"));
      T tag{};
      return std::make_unique<AgentHolder<cls_AgentListPrim<T>>>(child.Memento()->MakeAgentListPrim(&tag));
    });
    int index = 0;
    for (T const& value : Extremes<T>()) {
      T read{};
      ASSERT_EQ((*agent)->ReadRun(index++, 1, &read), 1);
      EXPECT_TRUE(IsSameValue(read, value)) << ContractTypeName<T>;
    }
  });
}

TEST_P(ContractExtremes, ValuesOfMapsComeBackBitByBit) {
  COVERS(cls_MementoWrite, 28, 29, 30, 31, 32, 39, 40, 41, 42, 43);
  COVERS(cls_MementoRead, 32, 33, 34, 35, 36, 43, 44, 45, 46, 47);
  COVERS(cls_WriteMapInt2Prim, 2);
  COVERS(cls_WriteMapString2Prim, 2);
  COVERS(cls_ReadMapInt2Prim, 4, 5);
  COVERS(cls_ReadMapString2Prim, 4, 5);
  Write([](cls_WriteVisitor const& visitor) {
    ForMapTypes([&]<class T>(std::type_identity<T>) {
      WriteCollectionOf<T>(visitor, MapIntKind, [](cls_MementoWrite& memento) {
        T const tag{};
        auto const builder = Receive(memento.MakeWriteMapInt2Prim(&tag));
        int key = std::numeric_limits<int>::min();
        for (T const& value : Extremes<T>()) builder->Insert(key++, value);
      });
      WriteCollectionOf<T>(visitor, MapStringKind, [](cls_MementoWrite& memento) {
        T const tag{};
        auto const builder = Receive(memento.MakeWriteMapString2Prim(&tag));
        std::string key;
        for (T const& value : Extremes<T>()) builder->Insert(cow_String(key += '\0'), value);
      });
    });
  });
  Read([](cls_ReadVisitor const& visitor) {
    ForMapTypes([&]<class T>(std::type_identity<T>) {
      T tag{};
      cls_ReadVisitor const ints = ObjectIn(visitor, FieldFor<T>(MapIntKind.m_Name));
      cls_ReadVisitor const strings = ObjectIn(visitor, FieldFor<T>(MapStringKind.m_Name));
      auto const byInt = Receive(ints.Memento()->MakeReadMapInt2Prim(&tag));
      auto const byString = Receive(strings.Memento()->MakeReadMapString2Prim(&tag));
      int number = std::numeric_limits<int>::min();
      std::string text;
      for (T const& value : Extremes<T>()) {
        EXPECT_TRUE(IsSameValue(byInt->Next(), value)) << ContractTypeName<T>;
        EXPECT_TRUE(IsSameValue(byString->Next(), value)) << ContractTypeName<T>;
        int intKey = 0;
        cow_String stringKey;
        byInt->Key(intKey);
        byString->Key(stringKey);
        EXPECT_EQ(intKey, number++);
        EXPECT_TRUE(stringKey == std::string_view(text += '\0'));
      }
    });
  });
}

TEST_P(ContractExtremes, RunsOfElementsComeBackBitByBit) {
  COVERS(cls_WriteListPrim, 2);
  COVERS(cls_ReadListPrim, 5);
  COVERS(cls_AgentListPrim, 5, 6);
  // Runs need adjacent bools; a vector packs them.
  auto const run = []<class T>(std::type_identity<T>) {
    std::deque<T> const values = Extremes<T>();
    auto copy = std::make_unique<T[]>(values.size());
    std::ranges::copy(values, copy.get());
    return std::pair(std::move(copy), static_cast<int>(values.size()));
  };
  Write([&](cls_WriteVisitor const& visitor) {
    ForListTypes([&]<class T>(std::type_identity<T> type) {
      WriteCollectionOf<T>(visitor, ListKind, [&](cls_MementoWrite& memento) {
        T const tag{};
        auto const [values, count] = run(type);
        Receive(memento.MakeWriteListPrim(&tag, 1))->AppendRun(count, values.get());
      });
    });
  });
  ForListTypes([&]<class T>(std::type_identity<T> type) {
    SCOPED_TRACE(ContractTypeName<T>);
    auto const [values, count] = run(type);
    auto const read = std::make_unique<T[]>(static_cast<std::size_t>(count));
    auto const expectRead = [&, expected = values.get(), length = count] {
      for (std::size_t i = 0; i < static_cast<std::size_t>(length); ++i) {
        EXPECT_TRUE(IsSameValue(read[i], expected[i])) << i;
        read[i] = T();
      }
    };
    Read([&, length = count](cls_ReadVisitor const& visitor) {
      cls_ReadVisitor const child = ObjectIn(visitor, FieldFor<T>("List"));
      T tag{};
      ASSERT_EQ(Receive(child.Memento()->MakeReadListPrim(&tag))->NextRun(length, read.get()), length);
    });
    expectRead();
    auto const agent = Take([](cls_ReadVisitor const& visitor) {
      cls_ReadVisitor const child = ObjectIn(visitor, FieldFor<T>("List"));
      T tag{};
      return std::make_unique<AgentHolder<cls_AgentListPrim<T>>>(child.Memento()->MakeAgentListPrim(&tag));
    });
    ASSERT_EQ((*agent)->ReadRun(0, count, read.get()), count);
    expectRead();
    (*agent)->WriteRun(count, count, values.get());
    ASSERT_EQ((*agent)->ReadRun(count, count, read.get()), count);
    expectRead();
  });
}

TEST_P(ContractExtremes, KeysOfMapsComeBackBitByBit) {
  COVERS(cls_MementoWrite, 20, 21, 28, 29, 30, 31, 32, 39, 40, 41, 42, 43);
  COVERS(cls_MementoRead, 24, 25, 32, 33, 34, 35, 36, 43, 44, 45, 46, 47);
  COVERS(cls_ReadMapInt2Prim, 5);
  COVERS(cls_ReadMapString2Prim, 5);
  COVERS(cls_ReadMapInt2Obj, 5);
  COVERS(cls_ReadMapString2Obj, 5);
  std::deque<int> const ints = Extremes<int>();
  std::deque<cow_String> const texts = Extremes<cow_String>();
  Write([&](cls_WriteVisitor const& visitor) {
    ForMapTypes([&]<class T>(std::type_identity<T>) {
      T const tag{};
      WriteCollectionOf<T>(visitor, MapIntKind, [&](cls_MementoWrite& memento) {
        auto const builder = Receive(memento.MakeWriteMapInt2Prim(&tag));
        for (int const key : ints) builder->Insert(key, tag);
      });
      WriteCollectionOf<T>(visitor, MapStringKind, [&](cls_MementoWrite& memento) {
        auto const builder = Receive(memento.MakeWriteMapString2Prim(&tag));
        for (cow_String const& key : texts) builder->Insert(key, tag);
      });
    });
    WriteCollectionOf(visitor, MapIntObjKind, [&](cls_MementoWrite& memento) {
      auto const builder = Receive(memento.MakeWriteMapInt2Obj());
      for (int const key : ints) WriteNumber(builder->MakeWriteObj(key, Scripted::TypeId(), cls_Uid()), key);
    });
    WriteCollectionOf(visitor, MapStringObjKind, [&](cls_MementoWrite& memento) {
      auto const builder = Receive(memento.MakeWriteMapString2Obj());
      for (cow_String const& key : texts)
        WriteNumber(builder->MakeWriteObj(key, Scripted::TypeId(), cls_Uid()), key.Length());
    });
  });
  Read([&](cls_ReadVisitor const& visitor) {
    ForMapTypes([&]<class T>(std::type_identity<T>) {
      SCOPED_TRACE(ContractTypeName<T>);
      T tag{};
      cls_ReadVisitor const intMap = ObjectIn(visitor, FieldFor<T>(MapIntKind.m_Name));
      auto const byInt = Receive(intMap.Memento()->MakeReadMapInt2Prim(&tag));
      for (int const expected : ints) {
        EXPECT_TRUE(IsSameValue(byInt->Next(), tag));
        int key = 42;
        byInt->Key(key);
        EXPECT_EQ(key, expected);
      }
      cls_ReadVisitor const textMap = ObjectIn(visitor, FieldFor<T>(MapStringKind.m_Name));
      auto const byText = Receive(textMap.Memento()->MakeReadMapString2Prim(&tag));
      for (cow_String const& expected : texts) {
        EXPECT_TRUE(IsSameValue(byText->Next(), tag));
        cow_String key("other");
        byText->Key(key);
        EXPECT_TRUE(IsSameValue(key, expected)) << expected.Chars();
      }
    });
    auto const byInt = Receive(visitor.Memento()->MakeFieldReadMapInt2Obj(FieldOf(MapIntObjKind.m_Name)));
    for (int const expected : ints) {
      byInt->Next();
      int key = 42;
      EXPECT_EQ(NumberOf(byInt->Fetch(key)), expected);
      EXPECT_EQ(key, expected);
      ASSERT_TRUE(byInt->Find(expected));
    }
    auto const byText =
        Receive(visitor.Memento()->MakeFieldReadMapString2Obj(FieldOf(MapStringObjKind.m_Name)));
    for (cow_String const& expected : texts) {
      byText->Next();
      cow_String key("other");
      EXPECT_EQ(NumberOf(byText->Fetch(key)), expected.Length());
      EXPECT_TRUE(IsSameValue(key, expected)) << expected.Chars();
    }
  });
}

/// Writes a map of objects with these keys through an agent, and walks it both ways. Keys are in the order of
/// their values.
template <class K> struct AgentKeys {
  static std::unique_ptr<AgentHolder<cls_AgentMapKey2Obj<K>>> Stored(cls_ReadVisitor const& visitor) {
    cls_ReadVisitor const child = ObjectIn(visitor, FieldOf(Kind().m_Name));
    K tag{};
    return std::make_unique<AgentHolder<cls_AgentMapKey2Obj<K>>>(child.Memento()->MakeAgentMapKey2Obj(&tag));
  }
  static ContractKind const& Kind() {
    if constexpr (std::is_same_v<K, int>)
      return MapIntObjKind;
    else
      return MapStringObjKind;
  }
  /// No text and empty text are the same key; the first of the two stays.
  static std::map<K, int> All() {
    std::map<K, int> keys;
    for (K const& key : Extremes<K>()) keys.emplace(key, static_cast<int>(keys.size()));
    return keys;
  }
};

TEST_P(ContractExtremes, KeysBehindAgentsComeBackInTheirOrder) {
  COVERS(cls_AgentMapKey2Obj, 5, 6, 11, 14, 15, 16, 17, 18);
  ForTypes<int, cow_String>([&]<class K>(std::type_identity<K>) {
    using Keys = AgentKeys<K>;
    std::map<K, int> const expected = Keys::All();
    Write([&](cls_WriteVisitor const& visitor) {
      WriteCollectionOf(visitor, Keys::Kind(), [&](cls_MementoWrite& memento) {
        K const tag{};
        AgentHolder<cls_AgentMapKey2Obj<K>> const agent(memento.MakeAgentMapKey2Obj(&tag, 1));
        for (auto const& [key, number] : expected)
          WriteNumber(agent->MakeWriteObj(key, Scripted::TypeId(), cls_Uid()), number);
      });
    });
    {
      auto const agent = Take(Keys::Stored);
      ASSERT_EQ((*agent)->Count(), static_cast<int>(expected.size()));
      K key{};
      bool isThere = (*agent)->FirstKey(key);
      for (auto const& [wanted, number] : expected) {
        ASSERT_TRUE(isThere);
        EXPECT_TRUE(IsSameValue(key, wanted));
        EXPECT_TRUE((*agent)->Contains(wanted));
        EXPECT_EQ(NumberOf((*agent)->MakeReadObj(wanted)), number);
        isThere = (*agent)->NextKey(key);
      }
      EXPECT_FALSE(isThere);
      isThere = (*agent)->LastKey(key);
      for (auto at = expected.rbegin(); at != expected.rend(); ++at) {
        ASSERT_TRUE(isThere);
        EXPECT_TRUE(IsSameValue(key, at->first));
        isThere = (*agent)->PreviousKey(key);
      }
      EXPECT_FALSE(isThere);
      for (auto const& [wanted, number] : expected) EXPECT_TRUE((*agent)->Remove(wanted));
      (*agent)->EndFlush();
    }
    Step();
    EXPECT_EQ((*Take(Keys::Stored))->Count(), 0);
  });
}

TEST_P(ContractExtremes, EntriesOfIntTablesComeBackBitByBit) {
  COVERS(cls_MementoWrite, 34, 38);
  COVERS(cls_MementoRead, 38, 42);
  COVERS(cls_WriteIntTableInt, 1);
  COVERS(cls_ReadIntTableInt, 3, 4);
  std::deque<int> const values = Extremes<int>();
  std::map<int, int> expected;
  for (std::size_t i = 0; i < values.size(); ++i) expected[values[i]] = values[(i * 3 + 1) % values.size()];
  Write([&](cls_WriteVisitor const& visitor) {
    auto const table =
        Receive(visitor.Memento()->MakeFieldWriteIntTableInt(FieldOf(IntTableKind.m_Name), cls_Uid()));
    for (auto const& [key, value] : expected) table->Insert(key, value);
  });
  Read([&](cls_ReadVisitor const& visitor) {
    auto const table = Receive(visitor.Memento()->MakeFieldReadIntTableInt(FieldOf(IntTableKind.m_Name)));
    std::map<int, int> read;
    for (std::size_t i = 0; table->More() != 0; ++i) {
      ASSERT_LT(i, expected.size());
      int const value = table->Next();
      int key = 42;
      table->Key(key);
      read[key] = value;
    }
    EXPECT_EQ(read, expected);
  });
}

TEST_P(ContractExtremes, EnumerationsAndTranslatableTextsComeBackAsTheyAre) {
  COVERS(cls_MementoWrite, 7, 17);
  COVERS(cls_MementoRead, 9, 19);
  std::deque<int> const numbers = Extremes<int>();
  std::deque<cow_String> const texts = Extremes<cow_String>();
  for (std::size_t i = 0; i < std::max(numbers.size(), texts.size()); ++i) {
    int const number = numbers[i % numbers.size()];
    cow_String const text = texts[i % texts.size()];
    Write([&](cls_WriteVisitor const& visitor) {
      visitor.WriteEnum(FieldOf("Enum"), number);
      visitor.Memento()->Write(FieldOf("TrString"), text);
    });
    Read([&](cls_ReadVisitor const& visitor) {
      EXPECT_EQ(visitor.ReadEnum(FieldOf("Enum")), number);
      EXPECT_TRUE(IsSameValue(visitor.Memento()->Read(FieldOf("TrString"), "other"_cow), text));
    });
  }
}

} // namespace
