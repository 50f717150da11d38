#include "metadata/cls_CollectionType.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <map>
#include <set>

namespace {

/// Far enough to reach past the last element of the last kind.
constexpr int LastValue = 120;

/// What each generic kind becomes for an element type, in the order of the kinds below.
constexpr std::array Kinds = {5, 50, 60, 70, 80, 90, 100};
using FixedKinds = std::array<int, Kinds.size()>;

template <class Element> constexpr FixedKinds Fixed{};
template <> constexpr FixedKinds Fixed<bool> = {5, 51, 61, 71, 81, 91, 101};
template <> constexpr FixedKinds Fixed<double> = {5, 52, 62, 72, 82, 92, 102};
template <> constexpr FixedKinds Fixed<float> = {5, 53, 63, 73, 83, 93, 103};
template <> constexpr FixedKinds Fixed<int> = {3, 54, 64, 74, 84, 94, 104};
template <> constexpr FixedKinds Fixed<cow_String> = {2, 55, 65, 75, 85, 95, 105};
template <> constexpr FixedKinds Fixed<unsigned int> = {5, 57, 66, 76, 87, 96, 106};

template <class Element> int Fix(int value) {
  return cls_CollectionTypeFix(static_cast<cls_CollectionType>(value), static_cast<Element*>(nullptr));
}

bool Match(int stored, int declared) {
  return cls_CollectionsMatch(static_cast<cls_CollectionType>(stored),
                              static_cast<cls_CollectionType>(declared));
}

template <class Element> class CollectionTypeFix : public ::testing::Test {};
using Elements = ::testing::Types<bool, double, float, int, cow_String, unsigned int>;
TYPED_TEST_SUITE(CollectionTypeFix, Elements);

} // namespace

TYPED_TEST(CollectionTypeFix, MapsEachGenericKindToTheElement) {
  for (std::size_t i = 0; i < Kinds.size(); ++i)
    EXPECT_EQ(Fix<TypeParam>(Kinds[i]), Fixed<TypeParam>[i]) << "kind " << Kinds[i];
}

TYPED_TEST(CollectionTypeFix, LeavesEveryOtherValueUnchanged) {
  std::set<int> const kinds(Kinds.begin(), Kinds.end());
  for (int value = 0; value <= LastValue; ++value) {
    if (kinds.contains(value)) continue;
    EXPECT_EQ(Fix<TypeParam>(value), value);
  }
}

TYPED_TEST(CollectionTypeFix, LeavesAFixedValueUnchanged) {
  for (int const fixed : Fixed<TypeParam>) {
    if (fixed == COLLECTION_MAP_OBJ) continue; // still generic: for this element type it is never changed
    EXPECT_EQ(Fix<TypeParam>(fixed), fixed);
  }
}

TYPED_TEST(CollectionTypeFix, LeavesNegativeAndHugeValuesUnchanged) {
  for (int const value : {-1, -5, -50, 150, 500, 0x7FFFFFFF}) EXPECT_EQ(Fix<TypeParam>(value), value);
}

TYPED_TEST(CollectionTypeFix, NeverReadsThePointer) {
  // There is no object at this address.
  auto* const nowhere = reinterpret_cast<TypeParam*>(alignof(std::max_align_t));
  EXPECT_EQ(cls_CollectionTypeFix(COLLECTION_LIST, nowhere), Fixed<TypeParam>[1]);
}

TEST(CollectionType, UnsignedIntHasAnotherDigitInListsAndTables) {
  EXPECT_EQ(cls_CollectionTypeFix(COLLECTION_TABLE, static_cast<unsigned int*>(nullptr)), 87);
  EXPECT_EQ(cls_CollectionTypeFix(COLLECTION_MAP_STRING, static_cast<unsigned int*>(nullptr)), 66);
  EXPECT_EQ(cls_CollectionTypeFix(COLLECTION_MAP_OBJ, static_cast<double*>(nullptr)), 5);
}

TEST(CollectionType, ElementsThatThisLibraryDeclaresHaveEnumerators) {
  EXPECT_EQ(Fix<bool>(COLLECTION_LIST), COLLECTION_LIST_BOOL);
  EXPECT_EQ(Fix<double>(COLLECTION_LIST), COLLECTION_LIST_DOUBLE);
  EXPECT_EQ(Fix<float>(COLLECTION_LIST), COLLECTION_LIST_FLOAT);
  EXPECT_EQ(Fix<int>(COLLECTION_LIST), COLLECTION_LIST_INT);
  EXPECT_EQ(Fix<cow_String>(COLLECTION_LIST), COLLECTION_LIST_STRING);
  EXPECT_EQ(Fix<unsigned int>(COLLECTION_LIST), COLLECTION_LIST_UINT);
  EXPECT_EQ(Fix<float>(COLLECTION_MAP_STRING), COLLECTION_MAP_STRING_FLOAT);
  EXPECT_EQ(Fix<cow_String>(COLLECTION_MAP_STRING), COLLECTION_MAP_STRING_STRING);
  EXPECT_EQ(Fix<unsigned int>(COLLECTION_MAP_STRING), COLLECTION_MAP_STRING_UINT);
  EXPECT_EQ(Fix<double>(COLLECTION_TABLE), COLLECTION_TABLE_DOUBLE);
  EXPECT_EQ(Fix<float>(COLLECTION_TABLE), COLLECTION_TABLE_FLOAT);
  EXPECT_EQ(Fix<int>(COLLECTION_TABLE), COLLECTION_TABLE_INT);
  EXPECT_EQ(Fix<cow_String>(COLLECTION_MAP_OBJ), COLLECTION_MAP_STRING_OBJ);
  EXPECT_EQ(Fix<int>(COLLECTION_MAP_OBJ), COLLECTION_MAP_INT_OBJ);
}

TEST(CollectionsMatch, AgreesWithItsDefinitionForEveryPair) {
  std::map<int, std::set<int>> const accepted = {{2, {4, 90, 91, 92, 93, 94, 95, 96}},
                                                 {3, {100, 101, 102, 103, 104, 105, 106}}};
  for (int declared = 0; declared <= LastValue; ++declared)
    for (int stored = 0; stored <= LastValue; ++stored) {
      auto const others = accepted.find(declared);
      bool const expected =
          stored == declared || (others != accepted.end() && others->second.contains(stored));
      ASSERT_EQ(Match(stored, declared), expected) << "stored " << stored << ", declared " << declared;
    }
}

TEST(CollectionsMatch, AcceptsTheKindsThatMatchObjectMaps) {
  EXPECT_TRUE(Match(95, 2));
  EXPECT_TRUE(Match(4, 2));
  EXPECT_TRUE(Match(3, 3));
  EXPECT_FALSE(Match(54, 2));
}

TEST(CollectionsMatch, IsOneSided) {
  EXPECT_TRUE(Match(90, 2));
  EXPECT_FALSE(Match(2, 90));
  EXPECT_TRUE(Match(106, 3));
  EXPECT_FALSE(Match(3, 106));
}

TEST(CollectionsMatch, StopsAtTheEndsOfTheAcceptedRanges) {
  EXPECT_FALSE(Match(89, 2));
  EXPECT_FALSE(Match(97, 2));
  EXPECT_FALSE(Match(99, 3));
  EXPECT_FALSE(Match(107, 3));
}
