#include "store/format/sto_TagFits.h"

#include <gtest/gtest.h>

#include <set>

namespace {

std::set<int> TagsOf(cls_AttributeType type) {
  std::set<int> tags;
  for (int tag = sto_Format::NoText; tag <= sto_Format::LastTag; ++tag)
    if (sto_TagFits(static_cast<sto_Format::ValueTag>(tag), type)) tags.insert(tag);
  return tags;
}

TEST(StoreTagFits, EachTypeTakesItsOwnValues) {
  using namespace sto_Format;
  EXPECT_EQ(TagsOf(ATTR_BOOL), std::set<int>{Bool});
  EXPECT_EQ(TagsOf(ATTR_SCHAR), std::set<int>{Int8});
  EXPECT_EQ(TagsOf(ATTR_SHORT), std::set<int>{Int16});
  EXPECT_EQ(TagsOf(ATTR_USHORT), std::set<int>{UInt16});
  EXPECT_EQ(TagsOf(ATTR_LONGLONG), std::set<int>{Int64});
  EXPECT_EQ(TagsOf(ATTR_ULONGLONG), std::set<int>{UInt64});
  EXPECT_EQ(TagsOf(ATTR_FLOAT), std::set<int>{Float});
  EXPECT_EQ(TagsOf(ATTR_DOUBLE), std::set<int>{Double});
  EXPECT_EQ(TagsOf(ATTR_OBJECT), std::set<int>{Object});
  EXPECT_EQ(TagsOf(ATTR_REFERENCE), std::set<int>{Reference});
  EXPECT_EQ(TagsOf(ATTR_BYTES), std::set<int>{sto_Format::Bytes});
  EXPECT_EQ(TagsOf(ATTR_UCHAR), std::set<int>{UInt8});
  EXPECT_EQ(TagsOf(ATTR_COMPLEX_FLOAT), std::set<int>{ComplexFloat});
  EXPECT_EQ(TagsOf(ATTR_COMPLEX_DOUBLE), std::set<int>{ComplexDouble});
  EXPECT_EQ(TagsOf(ATTR_NESTED), std::set<int>{Nested});
}

TEST(StoreTagFits, StringsTakeTextAndNoText) {
  EXPECT_EQ(TagsOf(ATTR_STRING), (std::set<int>{sto_Format::NoText, sto_Format::Text}));
  EXPECT_EQ(TagsOf(ATTR_TRSTRING), (std::set<int>{sto_Format::NoText, sto_Format::Text}));
}

TEST(StoreTagFits, IntsTakeSignedUnsignedAndEnumerators) {
  std::set<int> const ints{sto_Format::Int32, sto_Format::UInt32, sto_Format::Enum};
  EXPECT_EQ(TagsOf(ATTR_INT), ints);
  EXPECT_EQ(TagsOf(ATTR_UINT), ints);
}

TEST(StoreTagFits, TypeOfTheHostTakesAnyValue) {
  EXPECT_EQ(TagsOf(static_cast<cls_AttributeType>(9000)).size(), 20U);
}

} // namespace
