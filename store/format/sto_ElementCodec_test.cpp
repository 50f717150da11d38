#include "store/format/sto_ElementCodec.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <string>
#include <vector>

#include "store/format/sto_MapCodec.h"
#include "store/format/sto_TagFits.h"
#include "store/format/sto_TypeNames.h"

namespace {

/// What is encoded has the size of its type, and decodes to the same.
template <class T> void ComesBack(sto_Format::ElementType type, std::vector<T> const& elements) {
  EXPECT_EQ(sto_ElementCodec<T>::ElementType, type);
  EXPECT_EQ(sto_FixedElementBytes(type), sto_ElementCodec<T>::MinBytes);
  sto_Bytes bytes;
  sto_ByteWriter writer(bytes);
  for (T const& element : elements) sto_ElementCodec<T>::Encode(writer, element);
  EXPECT_EQ(bytes.size(), elements.size() * sto_ElementCodec<T>::MinBytes);
  sto_ByteReader reader(bytes);
  for (T const& element : elements) EXPECT_EQ(sto_ElementCodec<T>::Decode(reader), element);
  EXPECT_FALSE(reader.Failed());
  EXPECT_EQ(reader.Remaining(), 0U);
  sto_ElementCodec<T>::Decode(reader);
  EXPECT_TRUE(reader.Failed());
}

template <class T> void LimitsComeBack(sto_Format::ElementType type) {
  using Limits = std::numeric_limits<T>;
  ComesBack<T>(type, {Limits::min(), T(0), T(1), Limits::max()});
}

TEST(StoreElementCodec, EveryIntegerHasTheCodeOfItsSizeAndSign) {
  LimitsComeBack<signed char>(sto_Format::ElementInt8);
  LimitsComeBack<unsigned char>(sto_Format::ElementUInt8);
  LimitsComeBack<short>(sto_Format::ElementInt16);
  LimitsComeBack<unsigned short>(sto_Format::ElementUInt16);
  LimitsComeBack<int>(sto_Format::ElementInt);
  LimitsComeBack<unsigned int>(sto_Format::ElementUInt);
  LimitsComeBack<long long>(sto_Format::ElementInt64);
  LimitsComeBack<unsigned long long>(sto_Format::ElementUInt64);
  LimitsComeBack<std::int64_t>(sto_Format::ElementInt64); // long on some platforms
  LimitsComeBack<std::uint64_t>(sto_Format::ElementUInt64);
}

TEST(StoreElementCodec, FloatingAndComplexNumbersComeBack) {
  ComesBack<bool>(sto_Format::ElementBool, {false, true});
  ComesBack<float>(sto_Format::ElementFloat, {1.5F, -0.0F, INFINITY});
  ComesBack<double>(sto_Format::ElementDouble, {1.5, -0.0, -INFINITY});
  ComesBack<cls_Complex<float>>(sto_Format::ElementComplexFloat, {{1.5F, -2.5F}, {0.0F, INFINITY}});
  ComesBack<cls_Complex<double>>(sto_Format::ElementComplexDouble, {{1.5, -2.5}, {-INFINITY, 0.0}});
}

TEST(StoreElementCodec, BytesAreThoseOfTheFormat) {
  sto_Bytes bytes;
  sto_ByteWriter writer(bytes);
  sto_ElementCodec<short>::Encode(writer, -2);
  sto_ElementCodec<cls_Complex<float>>::Encode(writer, {1.0F, -2.0F});
  sto_KeyCodec<long long>::Encode(writer, -2);
  sto_KeyCodec<unsigned long long>::Encode(writer, 300);
  constexpr int Expected[] = {0xFE, 0xFF, 0, 0, 0x80, 0x3F, 0, 0, 0, 0xC0, 3, 0xAC, 2};
  ASSERT_EQ(bytes.size(), std::size(Expected));
  for (std::size_t i = 0; i < bytes.size(); ++i) EXPECT_EQ(std::to_integer<int>(bytes[i]), Expected[i]) << i;
}

TEST(StoreElementCodec, TypesWithoutAFixedSizeHaveNone) {
  for (int const type : {0, int{sto_Format::ElementString}, int{sto_Format::ElementObject}, 16, 255})
    EXPECT_EQ(sto_FixedElementBytes(static_cast<std::uint8_t>(type)), 0U) << type;
}

TEST(StoreElementCodec, EveryElementTypeHasANameOfItsOwn) {
  std::vector<std::string> names;
  for (std::uint8_t type = 1; type <= sto_Format::LastElementType; ++type)
    names.emplace_back(sto_ElementTypeName(type));
  std::ranges::sort(names);
  EXPECT_TRUE(std::ranges::adjacent_find(names) == names.end());
  EXPECT_FALSE(std::ranges::binary_search(names, "unknown"));
}

} // namespace
