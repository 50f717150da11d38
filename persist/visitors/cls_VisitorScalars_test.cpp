#include <gtest/gtest.h>

#include <limits>

#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"
#include "tests/support/backend/RecordingBackEnd.h"

// Each plain value reaches the memento's operation for exactly its own type.

namespace {

template <class T>
concept Writable = requires(cls_WriteVisitor const& visitor, cls_FieldHandle const& field, T value) {
  visitor.Write(field, value);
};
template <class T>
concept Readable = requires(cls_ReadVisitor const& visitor, cls_FieldHandle const& field, T value) {
  visitor.Read(field, value);
};

template <class... Ts> inline constexpr bool AllPass = ((Writable<Ts> && Readable<Ts>)&&...);
template <class... Ts> inline constexpr bool NonePasses = (!(Writable<Ts> || Readable<Ts>)&&...);

enum PlainEnum : int { PlainEnumValue };
enum class ScopedEnum : int { Value };
struct ConvertsToInt {
  operator int() const { return 0; }
};

static_assert(AllPass<bool, float, double, unsigned int, int, signed char, short, unsigned short, long long,
                      unsigned long long, cow_String, atr_String>);
// A pointer would become a bool; a long differs in size between systems.
static_assert(NonePasses<void*, void const*, char*, char const*, char const (&)[5], int*, std::nullptr_t>);
static_assert(NonePasses<long, unsigned long, long double, char, unsigned char, wchar_t, char8_t>);
static_assert(NonePasses<PlainEnum, ScopedEnum, ConvertsToInt>);

template <class T> T Extreme() {
  if constexpr (std::is_same_v<T, bool>)
    return true;
  else
    return std::is_signed_v<T> ? std::numeric_limits<T>::lowest() : std::numeric_limits<T>::max();
}

template <class T> class VisitorScalars : public ::testing::Test {
 protected:
  Recorder m_Recorder;
  cls_FieldHandle m_Field{2, "m_Value"_cow};
};
using Scalars = ::testing::Types<bool, float, double, unsigned int, int, signed char, short, unsigned short,
                                 long long, unsigned long long>;
TYPED_TEST_SUITE(VisitorScalars, Scalars);

} // namespace

TYPED_TEST(VisitorScalars, WriteReachesTheOperationOfItsType) {
  TypeParam const value = Extreme<TypeParam>();
  cls_WriteVisitor const visitor(this->m_Recorder.NewWriter());
  visitor.Write(this->m_Field, value);
  EXPECT_EQ(this->m_Recorder.TakeLines(),
            Lines({R"(write1.Write(field 2 "m_Value", )" + ShownScalar(value) + ")"}));
}

TYPED_TEST(VisitorScalars, ReadYieldsTheStoredValue) {
  TypeParam const value = Extreme<TypeParam>();
  TypeParam const other{};
  this->m_Recorder.Store("m_Value", value);
  cls_ReadVisitor const visitor(this->m_Recorder.NewReader());
  EXPECT_EQ(visitor.Read(this->m_Field, other), value);
  EXPECT_EQ(this->m_Recorder.TakeLines(),
            Lines({R"(read1.Read(field 2 "m_Value", )" + ShownScalar(other) + ") = " + ShownScalar(value)}));
}

TYPED_TEST(VisitorScalars, ReadOfAnAbsentFieldYieldsTheDefault) {
  TypeParam const value = Extreme<TypeParam>();
  cls_ReadVisitor const visitor(this->m_Recorder.NewReader());
  EXPECT_EQ(visitor.Read(this->m_Field, value), value);
}

TYPED_TEST(VisitorScalars, ReadWithoutMementoYieldsTheDefault) {
  TypeParam const value = Extreme<TypeParam>();
  EXPECT_EQ(cls_ReadVisitor(nullptr).Read(this->m_Field, value), value);
}

TEST(VisitorEnums, WriteEnumReachesItsOwnOperation) {
  Recorder recorder;
  cls_WriteVisitor const visitor(recorder.NewWriter());
  visitor.WriteEnum(cls_FieldHandle(2, "m_Kind"_cow), -4);
  EXPECT_EQ(recorder.TakeLines(), Lines({R"(write1.WriteEnum(field 2 "m_Kind", int -4))"}));
}

TEST(VisitorEnums, ReadEnumReachesItsOwnOperation) {
  Recorder recorder;
  recorder.Store("m_Kind", -4);
  cls_ReadVisitor const visitor(recorder.NewReader());
  EXPECT_EQ(visitor.ReadEnum(cls_FieldHandle(2, "m_Kind"_cow)), -4);
  EXPECT_EQ(recorder.TakeLines(), Lines({R"(read1.ReadEnum(field 2 "m_Kind") = int -4)"}));
}
