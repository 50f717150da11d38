#include <array>
#include <bit>
#include <limits>

#include "persist/backend/cls_ReadListPrim.h"
#include "tests/support/store/StoreTest.h"

namespace {

cls_FieldHandle const Field(0, "m_Field"_cow);

class StoreValues : public StoreTest {
 protected:
  /// Saves a value, reopens the file, and returns what is loaded.
  template <class T> T RoundTrip(T const& value, T const& defaultValue) {
    std::filesystem::remove(Path());
    {
      sto_Store store = Create();
      SaveFields(store, [&](cls_WriteVisitor const& visitor) { visitor.Write(Field, value); });
    }
    T result = defaultValue;
    sto_Store store = Open();
    static_cast<void>(LoadFields(
        store, [&](cls_ReadVisitor const& visitor) { result = visitor.Read(Field, defaultValue); }));
    return result;
  }

  template <class T> void ExpectIntegerExtremes() {
    using Limits = std::numeric_limits<T>;
    for (T const value : {Limits::min(), static_cast<T>(Limits::min() + 1), static_cast<T>(-1), T{0}, T{1},
                          static_cast<T>(Limits::max() - 1), Limits::max()})
      EXPECT_EQ(RoundTrip<T>(value, T{42}), value);
  }

  template <class T, class Bits> void ExpectBits(std::initializer_list<Bits> patterns) {
    for (Bits const bits : patterns)
      EXPECT_EQ(std::bit_cast<Bits>(RoundTrip<T>(std::bit_cast<T>(bits), T{42})), bits) << std::hex << bits;
  }
};

TEST_F(StoreValues, BoolComesBack) {
  EXPECT_TRUE(RoundTrip(true, false));
  EXPECT_FALSE(RoundTrip(false, true));
}

TEST_F(StoreValues, SignedCharExtremesComeBack) {
  ExpectIntegerExtremes<signed char>();
}
TEST_F(StoreValues, ShortExtremesComeBack) {
  ExpectIntegerExtremes<short>();
}
TEST_F(StoreValues, UnsignedShortExtremesComeBack) {
  ExpectIntegerExtremes<unsigned short>();
}
TEST_F(StoreValues, IntExtremesComeBack) {
  ExpectIntegerExtremes<int>();
}
TEST_F(StoreValues, UnsignedIntExtremesComeBack) {
  ExpectIntegerExtremes<unsigned int>();
}
TEST_F(StoreValues, LongLongExtremesComeBack) {
  ExpectIntegerExtremes<long long>();
}
TEST_F(StoreValues, UnsignedLongLongExtremesComeBack) {
  ExpectIntegerExtremes<unsigned long long>();
}

TEST_F(StoreValues, EveryKindOfFloatComesBackBitByBit) {
  ExpectBits<float, std::uint32_t>({
      0x00000000, // 0
      0x80000000, // -0
      0x00000001, // the least subnormal
      0x807FFFFF, // the greatest negative subnormal
      0x00800000, // the least normal
      0x7F7FFFFF, // the greatest
      0x7F800000, // infinity
      0xFF800000, // -infinity
      0x7FC00000, // quiet nan
      0xFFC12345, // quiet nan with payload and sign
      0x7F812345, // signalling nan with payload
      0x3DCCCCCD, // 0.1
  });
}

TEST_F(StoreValues, EveryKindOfDoubleComesBackBitByBit) {
  ExpectBits<double, std::uint64_t>({
      0x0000000000000000, // 0
      0x8000000000000000, // -0
      0x0000000000000001, // the least subnormal
      0x800FFFFFFFFFFFFF, // the greatest negative subnormal
      0x0010000000000000, // the least normal
      0x7FEFFFFFFFFFFFFF, // the greatest
      0x7FF0000000000000, // infinity
      0xFFF0000000000000, // -infinity
      0x7FF8000000000000, // quiet nan
      0xFFF8123456789ABC, // quiet nan with payload and sign
      0x7FF0123456789ABC, // signalling nan with payload
      0x3FB999999999999A, // 0.1
  });
}

TEST_F(StoreValues, NoTextIsNotEmptyText) {
  cow_String const none = RoundTrip(cow_String(), "default"_cow);
  EXPECT_FALSE(none.HasText());
  cow_String const empty = RoundTrip(""_cow, "default"_cow);
  EXPECT_TRUE(empty.HasText());
  EXPECT_EQ(empty.Length(), 0);
}

TEST_F(StoreValues, TextComesBackByteByByte) {
  std::string everyByte;
  for (int byte = 0; byte < 256; ++byte) everyByte.push_back(static_cast<char>(byte));
  for (std::string const& text :
       {std::string("plain"), std::string("a\0b\0", 4), std::string("\n\r\n"),
        std::string("\xC3\xA4 \xE2\x82\xAC \xF0\x9F\x94\xA9"), everyByte, std::string("\xFF\xFE\x80")})
    EXPECT_EQ(RoundTrip(cow_String(std::string_view(text)), "default"_cow).View(), text);
}

TEST_F(StoreValues, TextLengthsAroundTheLengthsOfTheirVarintComeBack) {
  for (std::size_t const length : {127U, 128U, 16383U, 16384U, 2097151U, 2097152U}) {
    std::string text(length, 'x');
    text.back() = 'y';
    EXPECT_EQ(RoundTrip(cow_String(std::string_view(text)), ""_cow).View(), text) << length;
  }
}

TEST_F(StoreValues, TextOf64MebibytesComesBack) {
  std::string text(std::size_t{64} << 20, '\0');
  for (std::size_t i = 0; i < text.size(); ++i) text[i] = static_cast<char>(i * 2654435761U >> 13);
  EXPECT_TRUE(RoundTrip(cow_String(std::string_view(text)), ""_cow).View() == text);
}

TEST_F(StoreValues, EnumerationComesBackAndIsZeroWhereAbsent) {
  sto_Store store = Create();
  SaveFields(store, [](cls_WriteVisitor const& visitor) {
    visitor.WriteEnum(cls_FieldHandle("m_Least"_cow), std::numeric_limits<int>::min());
    visitor.WriteEnum(cls_FieldHandle("m_Greatest"_cow), std::numeric_limits<int>::max());
  });
  static_cast<void>(LoadFields(store, [](cls_ReadVisitor const& visitor) {
    EXPECT_EQ(visitor.ReadEnum(cls_FieldHandle("m_Least"_cow)), std::numeric_limits<int>::min());
    EXPECT_EQ(visitor.ReadEnum(cls_FieldHandle("m_Greatest"_cow)), std::numeric_limits<int>::max());
    EXPECT_EQ(visitor.ReadEnum(cls_FieldHandle("m_Absent"_cow)), 0);
  }));
}

TEST_F(StoreValues, BytesComeBackAndSayTheirLengthWhereTheRoomIsShort) {
  sto_Store store = Create();
  std::array<unsigned char, 5> const bytes{0, 255, 10, 0, 128};
  SaveFields(store, [&](cls_WriteVisitor const& visitor) {
    visitor.Memento()->WriteBytes(cls_FieldHandle("m_Bytes"_cow), bytes.data(), 5);
    visitor.Memento()->WriteBytes(cls_FieldHandle("m_None"_cow), nullptr, 0);
  });
  static_cast<void>(LoadFields(store, [&](cls_ReadVisitor const& visitor) {
    std::array<unsigned char, 7> all{};
    EXPECT_EQ(visitor.Memento()->ReadBytes(cls_FieldHandle("m_Bytes"_cow), all.data(), 7), 5);
    EXPECT_EQ(all, (std::array<unsigned char, 7>{0, 255, 10, 0, 128, 0, 0}));
    std::array<unsigned char, 7> some{};
    EXPECT_EQ(visitor.Memento()->ReadBytes(cls_FieldHandle("m_Bytes"_cow), some.data(), 2), 5);
    EXPECT_EQ(some, (std::array<unsigned char, 7>{0, 255, 0, 0, 0, 0, 0}));
    EXPECT_EQ(visitor.Memento()->ReadBytes(cls_FieldHandle("m_Bytes"_cow), nullptr, 0), 5);
    EXPECT_EQ(visitor.Memento()->ReadBytes(cls_FieldHandle("m_None"_cow), all.data(), 7), 0);
    EXPECT_EQ(visitor.Memento()->ReadBytes(cls_FieldHandle("m_Absent"_cow), all.data(), 7), -1);
  }));
}

TEST_F(StoreValues, ReferenceNamesTheSameObjectWithoutHoldingIt) {
  sto_Store store = Create();
  Node const node(5);
  store.Save("node", node);
  cls_Uid const elsewhere;
  SaveFields(store, [&](cls_WriteVisitor const& visitor) {
    visitor.Memento()->WriteReference(cls_FieldHandle("m_Node"_cow), node.m_Uid);
    visitor.Memento()->WriteReference(cls_FieldHandle("m_Unsaved"_cow), elsewhere);
  });
  EXPECT_EQ(store.ObjectCount(), 2);
  static_cast<void>(LoadFields(store, [&](cls_ReadVisitor const& visitor) {
    cls_FieldHandle const known("m_Node"_cow);
    EXPECT_EQ(visitor.Memento()->ReadReference(known).Entry(), node.m_Uid.Entry());
    EXPECT_EQ(visitor.DataIsPresent(known), 1);
    EXPECT_EQ(cls_ReadVisitor(visitor, known).Read(cls_FieldHandle("m_Value"_cow), 0), 5);
    cls_FieldHandle const unsaved("m_Unsaved"_cow);
    EXPECT_EQ(visitor.Memento()->ReadReference(unsaved).Entry(), elsewhere.Entry());
    EXPECT_EQ(visitor.FieldIsPresent(unsaved), 1);
    EXPECT_EQ(visitor.DataIsPresent(unsaved), 0);
    cls_Uid const fresh = visitor.Memento()->ReadReference(cls_FieldHandle("m_Absent"_cow));
    EXPECT_EQ(fresh.Entry()->m_RefCount, 1U);
  }));
}

TEST_F(StoreValues, ObjectThatWasOnlyReferredToIsFoundOnceItIsSaved) {
  sto_Store store = Create();
  Node const node(6);
  SaveFields(store, [&](cls_WriteVisitor const& visitor) {
    visitor.Memento()->WriteReference(cls_FieldHandle("m_Node"_cow), node.m_Uid);
  });
  store.Save("node", node);
  static_cast<void>(LoadFields(store, [&](cls_ReadVisitor const& visitor) {
    cls_FieldHandle const field("m_Node"_cow);
    ASSERT_EQ(visitor.DataIsPresent(field), 1);
    EXPECT_EQ(sto_ReadShared<Node>(visitor, field)->m_Value, 6);
  }));
}

TEST_F(StoreValues, AbsentFieldsTakeTheirDefaults) {
  sto_Store store = Create();
  SaveFields(store,
             [](cls_WriteVisitor const& visitor) { visitor.Write(cls_FieldHandle("m_Other"_cow), 1); });
  static_cast<void>(LoadFields(store, [](cls_ReadVisitor const& visitor) {
    EXPECT_EQ(visitor.FieldIsPresent(Field), 0);
    EXPECT_EQ(visitor.DataIsPresent(Field), 0);
    EXPECT_EQ(visitor.Read(Field, true), true);
    EXPECT_EQ(visitor.Read(Field, "given"_cow).View(), "given");
    EXPECT_FALSE(visitor.Read(Field, cow_String()).HasText());
    EXPECT_EQ(visitor.Read(Field, 1.5F), 1.5F);
    EXPECT_EQ(visitor.Read(Field, 2.5), 2.5);
    EXPECT_EQ(visitor.Read(Field, 3U), 3U);
    EXPECT_EQ(visitor.Read(Field, -4), -4);
    EXPECT_EQ(visitor.Read(Field, static_cast<signed char>(-5)), -5);
    EXPECT_EQ(visitor.Read(Field, static_cast<short>(-6)), -6);
    EXPECT_EQ(visitor.Read(Field, static_cast<unsigned short>(7)), 7);
    EXPECT_EQ(visitor.Read(Field, -8LL), -8);
    EXPECT_EQ(visitor.Read(Field, 9ULL), 9U);
  }));
}

TEST_F(StoreValues, UnnamedFieldsAreFoundByTheirNumber) {
  sto_Store store = Create();
  SaveFields(store, [](cls_WriteVisitor const& visitor) {
    visitor.Write(cls_FieldHandle(0, cow_String()), 10);
    visitor.Write(cls_FieldHandle(7, ""_cow), 17);
    visitor.Write(cls_FieldHandle(), 99);
    visitor.Write(cls_FieldHandle(std::numeric_limits<int>::max(), cow_String()), 23);
    visitor.Write(cls_FieldHandle(0, "m_Named"_cow), 11);
  });
  static_cast<void>(LoadFields(store, [](cls_ReadVisitor const& visitor) {
    EXPECT_EQ(visitor.Read(cls_FieldHandle(7, cow_String()), 0), 17);
    EXPECT_EQ(visitor.Read(cls_FieldHandle(0, cow_String()), 0), 10);
    EXPECT_EQ(visitor.Read(cls_FieldHandle(), 0), 99);
    EXPECT_EQ(visitor.Read(cls_FieldHandle(std::numeric_limits<int>::max(), cow_String()), 0), 23);
    EXPECT_EQ(visitor.Read(cls_FieldHandle(0, "m_Named"_cow), 0), 11);
    EXPECT_EQ(visitor.Read(cls_FieldHandle(1, cow_String()), -1), -1);
  }));
}

TEST_F(StoreValues, NamedFieldIsFoundByItsNameWhateverItsNumber) {
  sto_Store store = Create();
  SaveFields(store, [](cls_WriteVisitor const& visitor) { visitor.Write(Field, 5); });
  static_cast<void>(LoadFields(store, [](cls_ReadVisitor const& visitor) {
    EXPECT_EQ(visitor.Read(cls_FieldHandle(3, "m_Field"_cow), 0), 5);
    EXPECT_EQ(visitor.Read(cls_FieldHandle("m_Field"_cow), 0), 5);
  }));
}

TEST_F(StoreValues, SecondWriteOfAFieldReplacesTheFirstAndLeavesItsNeighbours) {
  sto_Store store = Create();
  SaveFields(store, [](cls_WriteVisitor const& visitor) {
    visitor.Write(cls_FieldHandle("m_Before"_cow), 1);
    EXPECT_EQ(visitor.FieldIsPresent(Field), 0);
    visitor.Write(Field, "a long text that goes away"_cow);
    EXPECT_EQ(visitor.FieldIsPresent(Field), 1);
    visitor.Write(cls_FieldHandle("m_After"_cow), 2);
    visitor.Write(Field, 3.5);
    visitor.Write(cls_FieldHandle("m_After"_cow), 4);
  });
  static_cast<void>(LoadFields(store, [](cls_ReadVisitor const& visitor) {
    EXPECT_EQ(visitor.Read(cls_FieldHandle("m_Before"_cow), 0), 1);
    EXPECT_EQ(visitor.Read(Field, 0.0), 3.5);
    EXPECT_EQ(visitor.Read(cls_FieldHandle("m_After"_cow), 0), 4);
  }));
  EXPECT_FALSE(Contains(SqlFile(Path()).Text("SELECT data FROM pack"), "goes away"));
}

TEST_F(StoreValues, ManyFieldsAreReadInAnyOrder) {
  sto_Store store = Create();
  auto const name = [](int i) { return cow_String("m_" + std::to_string(i)); };
  SaveFields(store, [&](cls_WriteVisitor const& visitor) {
    for (int i = 0; i < 300; ++i) visitor.Write(cls_FieldHandle(name(i)), i);
  });
  static_cast<void>(LoadFields(store, [&](cls_ReadVisitor const& visitor) {
    for (int i = 299; i >= 0; --i) EXPECT_EQ(visitor.Read(cls_FieldHandle(name(i)), -1), i);
    for (int i = 0; i < 300; ++i) {
      int const shuffled = i * 71 % 300;
      EXPECT_EQ(visitor.Read(cls_FieldHandle(name(shuffled)), -1), shuffled);
    }
  }));
}

TEST_F(StoreValues, IntegerIsReadAsAnyTypeThatHoldsIt) {
  sto_Store store = Create();
  SaveFields(store, [](cls_WriteVisitor const& visitor) {
    visitor.Write(cls_FieldHandle("m_Char"_cow), static_cast<signed char>(-7));
    visitor.Write(cls_FieldHandle("m_Int"_cow), -1);
    visitor.Write(cls_FieldHandle("m_UInt"_cow), 0xFFFFFFFFU);
    visitor.Write(cls_FieldHandle("m_Float"_cow), 0.1F);
  });
  static_cast<void>(LoadFields(store, [](cls_ReadVisitor const& visitor) {
    EXPECT_EQ(visitor.Read(cls_FieldHandle("m_Char"_cow), static_cast<short>(0)), -7);
    EXPECT_EQ(visitor.Read(cls_FieldHandle("m_Char"_cow), 0LL), -7);
    EXPECT_EQ(visitor.Read(cls_FieldHandle("m_Int"_cow), 0LL), -1);
    EXPECT_EQ(visitor.Read(cls_FieldHandle("m_Int"_cow), 0U), 0xFFFFFFFFU); // the same 32 bits
    EXPECT_EQ(visitor.ReadEnum(cls_FieldHandle("m_UInt"_cow)), -1);
    EXPECT_EQ(visitor.Read(cls_FieldHandle("m_UInt"_cow), 0LL), 0xFFFFFFFFLL);
    EXPECT_EQ(visitor.Read(cls_FieldHandle("m_Float"_cow), 0.0), static_cast<double>(0.1F));
  }));
}

TEST_F(StoreValues, ValueThatDoesNotFitTheTypeAskedForIsRefusedWithItsName) {
  sto_Store store = Create();
  SaveFields(store, [](cls_WriteVisitor const& visitor) {
    visitor.Write(cls_FieldHandle("m_Long"_cow), 1LL << 40);
    visitor.Write(cls_FieldHandle("m_Minus"_cow), static_cast<short>(-1));
    visitor.Write(cls_FieldHandle("m_Double"_cow), 1.0);
    visitor.Write(cls_FieldHandle("m_Text"_cow), "1"_cow);
    visitor.Write(cls_FieldHandle(4, cow_String()), true);
  });
  static_cast<void>(LoadFields(store, [&](cls_ReadVisitor const& visitor) {
    auto const refuses = [&](auto asked, cls_FieldHandle const& field, char const* part) {
      std::string const message =
          MessageOf(sto_ErrorKind::WrongClass, [&] { static_cast<void>(visitor.Read(field, asked)); });
      EXPECT_TRUE(Contains(message, part)) << message;
      EXPECT_TRUE(Contains(message, "Scripted") && Contains(message, Path())) << message;
    };
    refuses(0, cls_FieldHandle("m_Long"_cow), "m_Long");
    refuses(static_cast<unsigned short>(0), cls_FieldHandle("m_Minus"_cow), "m_Minus");
    refuses(0ULL, cls_FieldHandle("m_Minus"_cow), "m_Minus");
    refuses(0.0F, cls_FieldHandle("m_Double"_cow), "double");
    refuses(0, cls_FieldHandle("m_Text"_cow), "string");
    refuses(0.0, cls_FieldHandle("m_Text"_cow), "m_Text");
    refuses(false, cls_FieldHandle("m_Text"_cow), "m_Text");
    refuses(cow_String(), cls_FieldHandle("m_Double"_cow), "m_Double");
    refuses(0, cls_FieldHandle(4, cow_String()), "number 4");
  }));
}

TEST_F(StoreValues, WrongTypesOfSpecialFieldsAreRefused) {
  sto_Store store = Create();
  SaveFields(store, [](cls_WriteVisitor const& visitor) { visitor.Write(Field, 1); });
  static_cast<void>(LoadFields(store, [](cls_ReadVisitor const& visitor) {
    cls_MementoRead& memento = *visitor.Memento();
    MessageOf(sto_ErrorKind::WrongClass, [&] { static_cast<void>(memento.ReadReference(Field)); });
    MessageOf(sto_ErrorKind::WrongClass, [&] { memento.ReadBytes(Field, nullptr, 0); });
    MessageOf(sto_ErrorKind::WrongClass, [&] { cls_ReadVisitor const child(visitor, Field); });
    int tag = 0;
    MessageOf(sto_ErrorKind::WrongClass, [&] { delete memento.MakeReadListPrim(&tag); });
  }));
}

TEST_F(StoreValues, TheObjectKnowsItsStoreItsClassAndItsVersion) {
  sto_Store store = Create();
  SaveFields(store, [](cls_WriteVisitor const&) {});
  static_cast<void>(LoadFields(store, [&](cls_ReadVisitor const& visitor) {
    EXPECT_EQ(visitor.DbId().View(), Path());
    EXPECT_EQ(visitor.Memento()->ClassId(), Scripted::TypeId());
    EXPECT_EQ(visitor.Memento()->ClassVersion(), 1);
  }));
}

} // namespace
