#include "store/session/sto_ReadableTypes.h"

#include <gtest/gtest.h>

namespace {

struct ListAs {
  cls_AttributeType m_Type;
  cls_CollectionType m_Collection;
};

bool CanRead(ListAs stored, ListAs asked) {
  return sto_CanReadAs(stored.m_Type, stored.m_Collection, asked.m_Type, asked.m_Collection);
}

constexpr ListAs IntList{ATTR_INT, COLLECTION_LIST_INT};
constexpr ListAs LongLongList{ATTR_LONGLONG, COLLECTION_LIST};
constexpr ListAs ByteList{ATTR_UCHAR, COLLECTION_LIST};
constexpr ListAs DoubleList{ATTR_DOUBLE, COLLECTION_LIST_DOUBLE};
constexpr ListAs ComplexList{ATTR_COMPLEX_DOUBLE, COLLECTION_LIST};
constexpr ListAs ComplexFloatList{ATTR_COMPLEX_FLOAT, COLLECTION_LIST};

TEST(StoreReadableTypes, IntegersInListsAreReadAsEachOther) {
  for (ListAs const& stored : {IntList, LongLongList, ByteList})
    for (ListAs const& asked : {LongLongList, ByteList}) {
      EXPECT_TRUE(CanRead(stored, asked)) << stored.m_Type << ' ' << asked.m_Type;
      EXPECT_TRUE(CanRead(asked, stored)) << stored.m_Type << ' ' << asked.m_Type;
    }
}

TEST(StoreReadableTypes, OtherElementsAreNot) {
  EXPECT_FALSE(CanRead(LongLongList, DoubleList));
  EXPECT_FALSE(CanRead(DoubleList, LongLongList));
  EXPECT_FALSE(CanRead(ComplexList, DoubleList));
  EXPECT_FALSE(CanRead(ComplexList, ComplexFloatList));
  EXPECT_FALSE(CanRead(IntList, {ATTR_UINT, COLLECTION_LIST_UINT}));
  EXPECT_FALSE(CanRead(LongLongList, {ATTR_LONGLONG, COLLECTION_NONE}));
}

TEST(StoreReadableTypes, ListsOfObjectsHaveTwoCodes) {
  constexpr ListAs List{ATTR_OBJECT, COLLECTION_LIST};
  constexpr ListAs Objects{ATTR_OBJECT, COLLECTION_OBJ};
  EXPECT_TRUE(CanRead(List, Objects));
  EXPECT_TRUE(CanRead(Objects, List));
  EXPECT_FALSE(CanRead(LongLongList, Objects));
  EXPECT_FALSE(CanRead(List, {ATTR_OBJECT, COLLECTION_NONE}));
}

} // namespace
