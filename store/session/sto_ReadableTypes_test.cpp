#include "store/session/sto_ReadableTypes.h"

#include <gtest/gtest.h>

namespace {

struct Declared {
  cls_AttributeType m_Type;
  cls_CollectionType m_Collection;
};

bool CanRead(Declared stored, Declared asked) {
  return sto_CanReadAs(stored.m_Type, stored.m_Collection, asked.m_Type, asked.m_Collection);
}

constexpr Declared Ints{ATTR_INT, COLLECTION_LIST_INT};
constexpr Declared LongLongs{ATTR_LONGLONG, COLLECTION_LIST};
constexpr Declared Bytes{ATTR_UCHAR, COLLECTION_LIST};
constexpr Declared Doubles{ATTR_DOUBLE, COLLECTION_LIST_DOUBLE};
constexpr Declared Complex{ATTR_COMPLEX_DOUBLE, COLLECTION_LIST};
constexpr Declared ComplexFloats{ATTR_COMPLEX_FLOAT, COLLECTION_LIST};

TEST(StoreReadableTypes, IntegersInListsAreReadAsEachOther) {
  for (Declared const& stored : {Ints, LongLongs, Bytes})
    for (Declared const& asked : {LongLongs, Bytes}) {
      EXPECT_TRUE(CanRead(stored, asked)) << stored.m_Type << ' ' << asked.m_Type;
      EXPECT_TRUE(CanRead(asked, stored)) << stored.m_Type << ' ' << asked.m_Type;
    }
}

TEST(StoreReadableTypes, OtherElementsAreNot) {
  EXPECT_FALSE(CanRead(LongLongs, Doubles));
  EXPECT_FALSE(CanRead(Doubles, LongLongs));
  EXPECT_FALSE(CanRead(Complex, Doubles));
  EXPECT_FALSE(CanRead(Complex, ComplexFloats));
  EXPECT_FALSE(CanRead(Ints, {ATTR_UINT, COLLECTION_LIST_UINT}));
  EXPECT_FALSE(CanRead(LongLongs, {ATTR_LONGLONG, COLLECTION_NONE}));
}

TEST(StoreReadableTypes, ListsOfObjectsHaveTwoCodes) {
  constexpr Declared List{ATTR_OBJECT, COLLECTION_LIST};
  constexpr Declared Objects{ATTR_OBJECT, COLLECTION_OBJ};
  EXPECT_TRUE(CanRead(List, Objects));
  EXPECT_TRUE(CanRead(Objects, List));
  EXPECT_FALSE(CanRead(LongLongs, Objects));
  EXPECT_FALSE(CanRead(List, {ATTR_OBJECT, COLLECTION_NONE}));
}

} // namespace
