#include <array>
#include <bit>
#include <cstdint>
#include <deque>
#include <limits>

#include "persist/cls_AgentListPrim.h"
#include "persist/cls_ReadListPrim.h"
#include "persist/cls_ReadMapPrim.h"
#include "persist/cls_WriteListPrim.h"
#include "persist/cls_WriteMapPrim.h"
#include "tests/contract/ContractTest.h"

// Values at the ends of their types, bit by bit, wherever values of the type can stand.

namespace {

CONTRACT_SUITE(ContractExtremes);

/// A deque, so that bools can be referred to.
template <class T> std::deque<T> Extremes() {
  std::deque<T> values;
  if constexpr (std::is_same_v<T, bool>) {
    values = {false, true};
  } else if constexpr (std::is_same_v<T, float>) {
    for (std::uint32_t const bits :
         {0x00000000U, 0x80000000U,              // 0, -0
          0x00000001U, 0x80000001U, 0x007FFFFFU, // the ends of the subnormals
          0x00800000U, 0x7F7FFFFFU, 0xFF7FFFFFU, // the least normal, the greatest, and its negative
          0x7F800000U, 0xFF800000U,              // infinities
          0x7FC00000U, 0xFFC12345U, 0x7FFFFFFFU, // quiet nans with payloads
          0x7F812345U, 0xFF800001U})             // signalling nans with payloads
      values.push_back(std::bit_cast<float>(bits));
  } else if constexpr (std::is_same_v<T, double>) {
    for (std::uint64_t const bits :
         {0x0000000000000000ULL, 0x8000000000000000ULL, 0x0000000000000001ULL, 0x8000000000000001ULL,
          0x000FFFFFFFFFFFFFULL, 0x0010000000000000ULL, 0x7FEFFFFFFFFFFFFFULL, 0xFFEFFFFFFFFFFFFFULL,
          0x7FF0000000000000ULL, 0xFFF0000000000000ULL, 0x7FF8000000000000ULL, 0xFFF8123456789ABCULL,
          0x7FFFFFFFFFFFFFFFULL, 0x7FF0123456789ABCULL, 0xFFF0000000000001ULL})
      values.push_back(std::bit_cast<double>(bits));
  } else if constexpr (std::is_same_v<T, cow_String>) {
    values = {cow_String(),
              ""_cow,
              cow_String(std::string(1, '\0')),
              cow_String(std::string("\0\0a\0", 4)),
              "\n"_cow,
              "a\r\nb\n"_cow,
              "\x01\x7F"_cow,
              "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x94\xA7"_cow, // two, three and four bytes a character
              "\xEF\xBB\xBF"_cow,                         // a byte order mark
              "\xFF\xFE\x80"_cow,                         // no UTF-8 at all
              "100% %s %d"_cow,
              "'; DROP TABLE object; --"_cow,
              cow_String(std::string(100'000, 'x'))};
  } else {
    using Limits = std::numeric_limits<T>;
    values = {Limits::min(),
              static_cast<T>(Limits::min() + 1),
              static_cast<T>(-1),
              T(0),
              T(1),
              static_cast<T>(Limits::max() - 1),
              Limits::max(),
              static_cast<T>(Limits::max() / 2 + 1)};
  }
  return values;
}

/// A value that differs from all of them.
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
  constexpr std::size_t Most = 15;
  {
    sto_Transaction transaction(Store());
    for (std::size_t i = 0; i < Most; ++i)
      SaveFields(
          Store(),
          [i](cls_WriteVisitor const& visitor) {
            ForScalarTypes([&]<class T>(std::type_identity<T>) {
              std::deque<T> const values = Extremes<T>();
              if (i < values.size()) visitor.Memento()->Write(FieldFor<T>(), values[i]);
            });
          },
          Root(i));
    transaction.Commit();
  }
  Step();
  for (std::size_t i = 0; i < Most; ++i)
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
      cls_ReadVisitor const child(visitor, FieldFor<T>("List"));
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
      cls_ReadVisitor const child(visitor, FieldFor<T>("List"));
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
      cls_ReadVisitor const ints(visitor, FieldFor<T>(MapIntKind.m_Name));
      cls_ReadVisitor const strings(visitor, FieldFor<T>(MapStringKind.m_Name));
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

} // namespace
