// A class by hand that writes its fields with kvl::Write is stored as a described one, and reads what that has written.

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <complex>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "describe/dsc_Arrays.h"
#include "describe/dsc_Chrono.h"
#include "describe/dsc_Functions.h"
#include "describe/dsc_Path.h"
#include "describe/dsc_Wrappers.h"
#include "persist/identity/cls_OwnUid.h"
#include "tests/describe/DescribedContent.h"
#include "tests/describe/DescribedRoundTrip.h"

namespace {

enum class Level : std::uint8_t { Low = 1, High = 200 };

class Probe {
 public:
  KVL_PERSISTED(Probe, 0x7A0001, "Probe", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Depth)); }
  explicit Probe(int depth = 0) : m_Depth(depth) {}
  int m_Depth = 0;
};

namespace described {

class Station {
 public:
  KVL_PERSISTED(Station, 0x7A0002, "Station", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Bool));
    field(KVL_F(m_Char));
    field(KVL_F(m_Schar));
    field(KVL_F(m_Uchar));
    field(KVL_F(m_Short));
    field(KVL_F(m_Ushort));
    field(KVL_F(m_Int));
    field(KVL_F(m_Uint));
    field(KVL_F(m_Long));
    field(KVL_F(m_Ulong));
    field(KVL_F(m_Int64));
    field(KVL_F(m_Ulonglong));
    field(KVL_F(m_Float));
    field(KVL_F(m_Double));
    field(KVL_F(m_Char16));
    field(KVL_F(m_Level));
    field(KVL_F(m_String));
    field(KVL_F(m_Cow));
    field(KVL_F(m_Atr));
    field(KVL_F(m_Some));
    field(KVL_F(m_None));
    field(KVL_F(m_Delay));
    field(KVL_F(m_Path));
    field(KVL_F(m_Owned));
    field(KVL_F(m_Shared));
    field(KVL_F(m_Null));
    field(KVL_F(m_Weak));
    field(KVL_F(m_Held));
    field(KVL_F(m_Wrapper));
    field(KVL_F(m_Array));
    field(KVL_F(m_Doubles));
    field(KVL_F(m_Bools));
    field(KVL_F(m_Wide));
    field(KVL_F(m_Bytes));
    field(KVL_F(m_Levels));
    field(KVL_F(m_Names));
    field(KVL_F(m_Complex));
    field(KVL_F(m_Times));
    field(KVL_F(m_Paths));
  }

  bool m_Bool = true;
  char m_Char = '\x80';
  signed char m_Schar = -128;
  unsigned char m_Uchar = 255;
  short m_Short = -32768;
  unsigned short m_Ushort = 65535;
  int m_Int = std::numeric_limits<int>::min();
  unsigned int m_Uint = 0xFFFFFFFFU;
  long m_Long = std::numeric_limits<long>::min();
  unsigned long m_Ulong = ~0UL;
  std::int64_t m_Int64 = std::numeric_limits<std::int64_t>::max();
  unsigned long long m_Ulonglong = ~0ULL;
  float m_Float = std::numeric_limits<float>::lowest();
  double m_Double = std::numeric_limits<double>::denorm_min();
  char16_t m_Char16 = u'\uFFFF';
  Level m_Level = Level::High;
  std::string m_String = "text";
  cow_String m_Cow = "cow"_cow;
  atr_String m_Atr = atr_String("atr"_cow);
  std::optional<std::int64_t> m_Some = 0;
  std::optional<std::string> m_None;
  std::chrono::milliseconds m_Delay{-5};
  std::filesystem::path m_Path = "a/b";
  std::unique_ptr<Probe> m_Owned = std::make_unique<Probe>(1);
  std::shared_ptr<Probe> m_Shared = std::make_shared<Probe>(2);
  std::shared_ptr<Probe> m_Null;
  std::weak_ptr<Probe> m_Weak = m_Shared;
  Probe m_Held{3};
  cls_xp1DArrayListDouble m_Wrapper;
  cls_ArrayPrimInt m_Array;
  std::vector<double> m_Doubles{1, -2.5};
  std::vector<bool> m_Bools{true, false};
  std::vector<std::int64_t> m_Wide{std::numeric_limits<std::int64_t>::min(), 7};
  std::vector<unsigned char> m_Bytes{0, 255};
  std::vector<Level> m_Levels{Level::Low, Level::High};
  std::vector<std::string> m_Names{"", "b"};
  std::vector<std::complex<double>> m_Complex{{1, -2}};
  std::vector<std::chrono::seconds> m_Times{std::chrono::seconds(1LL << 40)};
  std::vector<std::filesystem::path> m_Paths{"x/y"};

  Station() = default;
  ~Station() {
    m_Array.Release();
    m_Array.DropBlocks();
  }
  template <class Self, class Act> static void ForEachValue(Self& self, Act act) {
    act("m_Bool"_cow, self.m_Bool);
    act("m_Char"_cow, self.m_Char);
    act("m_Schar"_cow, self.m_Schar);
    act("m_Uchar"_cow, self.m_Uchar);
    act("m_Short"_cow, self.m_Short);
    act("m_Ushort"_cow, self.m_Ushort);
    act("m_Int"_cow, self.m_Int);
    act("m_Uint"_cow, self.m_Uint);
    act("m_Long"_cow, self.m_Long);
    act("m_Ulong"_cow, self.m_Ulong);
    act("m_Int64"_cow, self.m_Int64);
    act("m_Ulonglong"_cow, self.m_Ulonglong);
    act("m_Float"_cow, self.m_Float);
    act("m_Double"_cow, self.m_Double);
    act("m_Char16"_cow, self.m_Char16);
    act("m_Level"_cow, self.m_Level);
    act("m_String"_cow, self.m_String);
    act("m_Cow"_cow, self.m_Cow);
    act("m_Atr"_cow, self.m_Atr);
    act("m_Some"_cow, self.m_Some);
    act("m_None"_cow, self.m_None);
    act("m_Delay"_cow, self.m_Delay);
    act("m_Path"_cow, self.m_Path);
    act("m_Owned"_cow, self.m_Owned);
    act("m_Shared"_cow, self.m_Shared);
    act("m_Null"_cow, self.m_Null);
    act("m_Weak"_cow, self.m_Weak);
    act("m_Held"_cow, self.m_Held);
    act("m_Wrapper"_cow, self.m_Wrapper);
    act("m_Array"_cow, self.m_Array);
  }
  template <class Self, class Act> static void ForEachList(Self& self, Act act) {
    act("m_Doubles"_cow, self.m_Doubles);
    act("m_Bools"_cow, self.m_Bools);
    act("m_Wide"_cow, self.m_Wide);
    act("m_Bytes"_cow, self.m_Bytes);
    act("m_Levels"_cow, self.m_Levels);
    act("m_Names"_cow, self.m_Names);
    act("m_Complex"_cow, self.m_Complex);
    act("m_Times"_cow, self.m_Times);
    act("m_Paths"_cow, self.m_Paths);
  }
};

} // namespace described

namespace byHand {

/// Has the members of the other one, and does with them what a class by hand does.
class Station : public described::Station {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x7A0002; }
  Station() = default;
  explicit Station(cls_ReadVisitor const& visitor) : m_Uid(visitor.GetUid()) {
    int number = 0;
    ForEachValue(*this, [&](cow_String const& name, auto& value) {
      kvl::Read(visitor, cls_FieldHandle(number++, name), value);
    });
    int list = 0;
    ForEachList(*this, [&](cow_String const& name, auto& values) {
      kvl::Read(visitor, cls_FieldHandle(number++, name), values, m_Lists[list++]);
    });
  }
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    int number = 0;
    ForEachValue(*this, [&](cow_String const& name, auto const& value) {
      kvl::Write(visitor, cls_FieldHandle(number++, name), value);
    });
    int list = 0;
    ForEachList(*this, [&](cow_String const& name, auto const& values) {
      kvl::Write(visitor, cls_FieldHandle(number++, name), values, m_Lists[list++]);
    });
  }
  static void Declare(cls_ClassRegistrar& registrar) {
    Probe::Declare(registrar);
    cls_ClassMetadata& metadata = registrar.AddClassMD(new cls_TypeAdapter<Station>("Station"_cow, 1, 1));
    int number = 0;
    auto const declare = [&](cow_String const& name, auto const& value) {
      using Value = std::remove_cvref_t<decltype(value)>;
      metadata.AddAttribute(cls_FieldHandle(number++, name), kvl::AttributeOf<Value>, 1,
                            kvl::CollectionOf<Value>);
    };
    described::Station const members;
    ForEachValue(members, declare);
    ForEachList(members, declare);
    registrar.NotesOf(TypeId(), 1)
        .MayBeAbsent("m_Some")
        .MayBeAbsent("m_None")
        .Unit("m_Delay", "ms")
        .Unit("m_Times", "s");
  }

 private:
  cls_OwnUid m_Lists[9];
  cls_OwnUid m_Uid;
};

} // namespace byHand

/// A station whose wrapper and array have elements, with pointers or without.
template <class Station> std::unique_ptr<Station> MakeStation(bool hasPointers = true) {
  auto station = std::make_unique<Station>();
  station->m_Wrapper.Append(0.5);
  station->m_Array.Append(4);
  if (hasPointers) return station;
  station->m_Owned = nullptr;
  station->m_Shared = nullptr;
  return station;
}

template <class Station> void ExpectStation(Station const& station) {
  described::Station const expected;
  EXPECT_TRUE(station.m_Bool);
  EXPECT_EQ(station.m_Char, expected.m_Char);
  EXPECT_EQ(station.m_Schar, expected.m_Schar);
  EXPECT_EQ(station.m_Uchar, expected.m_Uchar);
  EXPECT_EQ(station.m_Short, expected.m_Short);
  EXPECT_EQ(station.m_Ushort, expected.m_Ushort);
  EXPECT_EQ(station.m_Int, expected.m_Int);
  EXPECT_EQ(station.m_Uint, expected.m_Uint);
  EXPECT_EQ(station.m_Long, expected.m_Long);
  EXPECT_EQ(station.m_Ulong, expected.m_Ulong);
  EXPECT_EQ(station.m_Int64, expected.m_Int64);
  EXPECT_EQ(station.m_Ulonglong, expected.m_Ulonglong);
  EXPECT_EQ(station.m_Float, expected.m_Float);
  EXPECT_EQ(station.m_Double, expected.m_Double);
  EXPECT_EQ(station.m_Char16, expected.m_Char16);
  EXPECT_EQ(station.m_Level, expected.m_Level);
  EXPECT_EQ(station.m_String, expected.m_String);
  EXPECT_EQ(station.m_Cow, expected.m_Cow);
  EXPECT_EQ(station.m_Atr.AsCow(), expected.m_Atr.AsCow());
  EXPECT_EQ(station.m_Some, expected.m_Some);
  EXPECT_EQ(station.m_None, expected.m_None);
  EXPECT_EQ(station.m_Delay, expected.m_Delay);
  EXPECT_EQ(station.m_Path, expected.m_Path);
  EXPECT_EQ(station.m_Owned->m_Depth, 1);
  EXPECT_EQ(station.m_Shared->m_Depth, 2);
  EXPECT_EQ(station.m_Null, nullptr);
  EXPECT_EQ(station.m_Weak.lock(), station.m_Shared);
  EXPECT_EQ(station.m_Held.m_Depth, 3);
  EXPECT_EQ(station.m_Wrapper.ConstGet(0), 0.5);
  EXPECT_EQ(station.m_Array.ConstGet(0), 4);
  EXPECT_EQ(station.m_Doubles, expected.m_Doubles);
  EXPECT_EQ(station.m_Bools, expected.m_Bools);
  EXPECT_EQ(station.m_Wide, expected.m_Wide);
  EXPECT_EQ(station.m_Bytes, expected.m_Bytes);
  EXPECT_EQ(station.m_Levels, expected.m_Levels);
  EXPECT_EQ(station.m_Names, expected.m_Names);
  EXPECT_EQ(station.m_Complex, expected.m_Complex);
  EXPECT_EQ(station.m_Times, expected.m_Times);
  EXPECT_EQ(station.m_Paths, expected.m_Paths);
}

class DescribedFunctions : public DescribedRoundTrip {
 protected:
  /// Looks at the object while its store is open, which its bulk array needs.
  template <class Station> void ExpectStored(std::string_view name = "test.kvs") const {
    cls_ClassRegistrar registrar;
    Station::Declare(registrar);
    sto_Store store = sto_Store::Open(Path(name), sto_Mode::ReadOnly, registrar, StrictOptions());
    ExpectStation(*store.Load<Station>("root"));
  }
};

TEST_F(DescribedFunctions, ClassByHandReadsItsOwnObjects) {
  SaveNew(*MakeStation<byHand::Station>());
  std::size_t const count = ObjectCount();
  SaveAgain<byHand::Station>();
  EXPECT_EQ(ObjectCount(), count);
  ExpectStored<byHand::Station>();
}

/// Objects behind pointers come in another order, so both are without them here.
TEST_F(DescribedFunctions, BytesAreThoseOfTheDescribedClass) {
  SaveNew(*MakeStation<byHand::Station>(false), "hand.kvs");
  SaveNew(*MakeStation<described::Station>(false), "described.kvs");
  auto const expected = DescribedContent(Path("described.kvs"));
  EXPECT_GT(expected.size(), 80U);
  EXPECT_EQ(DescribedContent(Path("hand.kvs")), expected);
}

TEST_F(DescribedFunctions, BothKindsReadEachOther) {
  SaveNew(*MakeStation<byHand::Station>(), "hand.kvs");
  SaveNew(*MakeStation<described::Station>(), "described.kvs");
  ExpectStored<described::Station>("hand.kvs");
  ExpectStored<byHand::Station>("described.kvs");
}

/// A class by hand that takes a list of arrays for one of numbers.
class Flattened {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x780001; }
  explicit Flattened(cls_ReadVisitor const& visitor) : m_Uid(visitor.GetUid()) {
    kvl::Read(visitor, cls_FieldHandle(0, "m_Value"_cow), m_Value, m_ValueUid);
  }
  void DBWrite(cls_WriteVisitor const&) const {}
  static void Declare(cls_ClassRegistrar& registrar) {
    registrar.AddClassMD(new cls_TypeAdapter<Flattened>("Kept"_cow, 1, 1))
        .AddAttribute(cls_FieldHandle(0, "m_Value"_cow), kvl::AttributeOf<std::vector<double>>, 1,
                      kvl::CollectionOf<std::vector<double>>);
  }

 private:
  std::vector<double> m_Value;
  cls_OwnUid m_ValueUid;
  cls_OwnUid m_Uid;
};

TEST_F(DescribedFunctions, ListOfArraysIsNotReadAsOneOfNumbers) {
  SaveNew(Kept<std::vector<std::array<double, 3>>>({{1, 2, 3}}));
  EXPECT_EQ(RefusalOf([this] { static_cast<void>(Load<Flattened>()); }),
            "Field m_Value: the stored list has 3 numbers or texts for each element, and not 1.");
}

/// A class whose objects are stored without their fields.
class Sparse {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x7A0003; }
  Sparse() = default;
  explicit Sparse(cls_ReadVisitor const& visitor) : m_Uid(visitor.GetUid()) {
    kvl::Read(visitor, cls_FieldHandle(0, "m_Number"_cow), m_Number);
    kvl::Read(visitor, cls_FieldHandle(1, "m_Text"_cow), m_Text);
    kvl::Read(visitor, cls_FieldHandle(2, "m_List"_cow), m_List, m_ListUid);
    kvl::Read(visitor, cls_FieldHandle(3, "m_Pointer"_cow), m_Pointer);
    kvl::Read(visitor, cls_FieldHandle(4, "m_Maybe"_cow), m_Maybe);
  }
  void DBWrite(cls_WriteVisitor const& visitor) const { visitor.StartWrite(TypeId(), m_Uid); }
  static void Declare(cls_ClassRegistrar& registrar) {
    Probe::Declare(registrar);
    registrar.AddClassMD(new cls_TypeAdapter<Sparse>("Sparse"_cow, 1, 1))
        .AddAttribute(cls_FieldHandle(0, "m_Number"_cow), kvl::AttributeOf<long>, 1, COLLECTION_NONE)
        .AddAttribute(cls_FieldHandle(1, "m_Text"_cow), ATTR_STRING, 1, COLLECTION_NONE)
        .AddAttribute(cls_FieldHandle(2, "m_List"_cow), ATTR_INT, 1, COLLECTION_LIST_INT)
        .AddAttribute(cls_FieldHandle(3, "m_Pointer"_cow), ATTR_OBJECT, 1, COLLECTION_NONE)
        .AddAttribute(cls_FieldHandle(4, "m_Maybe"_cow), ATTR_DOUBLE, 1, COLLECTION_NONE);
    registrar.NotesOf(TypeId(), 1)
        .MayBeAbsent("m_Number")
        .MayBeAbsent("m_Text")
        .MayBeAbsent("m_List")
        .MayBeAbsent("m_Pointer")
        .MayBeAbsent("m_Maybe");
  }
  long m_Number = 5;
  std::string m_Text = "initial";
  std::vector<int> m_List{1, 2};
  std::shared_ptr<Probe> m_Pointer = std::make_shared<Probe>();
  std::optional<double> m_Maybe = 1;

 private:
  cls_OwnUid m_ListUid;
  cls_OwnUid m_Uid;
};

TEST_F(DescribedFunctions, WhatIsAbsentStaysAsItIsInitialised) {
  SaveNew(Sparse());
  auto const sparse = Load<Sparse>();
  EXPECT_EQ(sparse->m_Number, 5);
  EXPECT_EQ(sparse->m_Text, "initial");
  EXPECT_EQ(sparse->m_List, (std::vector<int>{1, 2}));
  EXPECT_EQ(sparse->m_Pointer, nullptr);
  EXPECT_EQ(sparse->m_Maybe, std::nullopt);
}

/// Texts and sequences of other types, written only.
class Sources {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x7A0004; }
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    char const* const missing = nullptr;
    kvl::Write(visitor, cls_FieldHandle(0, "m_View"_cow), std::string_view("a\0b", 3));
    kvl::Write(visitor, cls_FieldHandle(1, "m_Literal"_cow), "literal");
    kvl::Write(visitor, cls_FieldHandle(2, "m_Missing"_cow), missing);
    kvl::Write(visitor, cls_FieldHandle(3, "m_Span"_cow), std::span<double const>(m_Doubles).subspan(1),
               m_SpanUid);
    kvl::Write(visitor, cls_FieldHandle(4, "m_Array"_cow), std::array<int, 2>{-1, 1}, m_ArrayUid);
  }
  static void Declare(cls_ClassRegistrar& registrar) {
    registrar.AddClassMD(new cls_AbsTypeAdapter<Sources>("Sources"_cow, 1, 1))
        .AddAttribute(cls_FieldHandle(0, "m_View"_cow), ATTR_STRING, 1, COLLECTION_NONE)
        .AddAttribute(cls_FieldHandle(1, "m_Literal"_cow), ATTR_STRING, 1, COLLECTION_NONE)
        .AddAttribute(cls_FieldHandle(2, "m_Missing"_cow), ATTR_STRING, 1, COLLECTION_NONE)
        .AddAttribute(cls_FieldHandle(3, "m_Span"_cow), kvl::AttributeOf<std::span<double const>>, 1,
                      kvl::CollectionOf<std::span<double const>>)
        .AddAttribute(cls_FieldHandle(4, "m_Array"_cow), ATTR_INT, 1, COLLECTION_LIST_INT);
  }

 private:
  double m_Doubles[3] = {1, 2, 3};
  cls_OwnUid m_SpanUid;
  cls_OwnUid m_ArrayUid;
  cls_OwnUid m_Uid;
};
class Readers {
 public:
  KVL_PERSISTED(Readers, 0x7A0004, "Sources", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_View));
    field(KVL_F(m_Literal));
    field(KVL_F(m_Missing));
    field(KVL_F(m_Span));
    field(KVL_F(m_Array));
  }
  Readers() = default;
  std::string m_View;
  std::string m_Literal;
  cow_String m_Missing = "here"_cow;
  std::vector<double> m_Span;
  std::vector<int> m_Array;
};

TEST_F(DescribedFunctions, TextsAndSpansThatAreWrittenOnly) {
  SaveNew(Sources());
  auto const read = Load<Readers>();
  EXPECT_EQ(read->m_View, std::string("a\0b", 3));
  EXPECT_EQ(read->m_Literal, "literal");
  EXPECT_FALSE(read->m_Missing.HasText());
  EXPECT_EQ(read->m_Span, (std::vector<double>{2, 3}));
  EXPECT_EQ(read->m_Array, (std::vector<int>{-1, 1}));
}

/// Reads an int as something smaller.
class Narrow {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x780001; }
  explicit Narrow(cls_ReadVisitor const& visitor) {
    kvl::Read(visitor, cls_FieldHandle(0, "m_Value"_cow), m_Value);
  }
  void DBWrite(cls_WriteVisitor const&) const {}
  static void Declare(cls_ClassRegistrar& registrar) {
    registrar.AddClassMD(new cls_TypeAdapter<Narrow>("Kept"_cow, 1, 1))
        .AddAttribute(cls_FieldHandle(0, "m_Value"_cow), ATTR_INT, 1, COLLECTION_NONE);
  }
  Level m_Value = Level::Low;
};

TEST_F(DescribedFunctions, NumberWithoutRoomIsRefusedByName) {
  SaveNew(Kept<int>(300));
  EXPECT_EQ(RefusalOf([this] { static_cast<void>(Load<Narrow>()); }),
            "Field m_Value: the stored value 300 is none that it may have.");
}

/// Reads a field as another type than it was stored.
template <class T> class ReadsAs {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x780001; }
  explicit ReadsAs(cls_ReadVisitor const& visitor) : m_Uid(visitor.GetUid()) {
    kvl::Read(visitor, cls_FieldHandle(0, "m_Value"_cow), m_Value);
  }
  void DBWrite(cls_WriteVisitor const&) const {}
  static void Declare(cls_ClassRegistrar& registrar) {
    if constexpr (requires { T::Declare(registrar); }) T::Declare(registrar);
    registrar.AddClassMD(new cls_TypeAdapter<ReadsAs>("Kept"_cow, 1, 1))
        .AddAttribute(cls_FieldHandle(0, "m_Value"_cow), kvl::AttributeOf<T>, 1, COLLECTION_NONE);
  }
  T m_Value{};
  cls_OwnUid m_Uid;
};
class Peg {
 public:
  KVL_PERSISTED(Peg, 0x780031, "Peg", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Length)); }
  Peg() = default;
  int m_Length = 3;
};
class Plug {
 public:
  KVL_PERSISTED(Plug, 0x780032, "Plug", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Length)); }
  Plug() = default;
  int m_Length = 4;
};

TEST_F(DescribedFunctions, IntegerOfAnotherSignIsRefused) {
  SaveNew(Kept<int>(-7));
  EXPECT_EQ(RefusalOf([this] { static_cast<void>(Load<ReadsAs<unsigned>>()); }),
            "Field m_Value: the stored value -7 is none that it may have.");
  EXPECT_EQ(Load<ReadsAs<int>>()->m_Value, -7);
}

TEST_F(DescribedFunctions, ObjectOfAnotherClassIsRefused) {
  SaveNew(Kept<Peg>());
  EXPECT_EQ(RefusalOf([this] { static_cast<void>(Load<ReadsAs<Plug>>()); }),
            "Field m_Value: what is stored is an object of class 0x780031, and not of class 0x780032.");
  EXPECT_EQ(Load<ReadsAs<Peg>>()->m_Value.m_Length, 3);
}

} // namespace
