#include "metadata/containers/cls_CIDVersion.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <limits>
#include <utility>
#include <vector>

#include "platform/omni/omi_Btree.h"
#include "platform/omni/omi_BtreeIterator.h"

namespace {

constexpr int Lowest = std::numeric_limits<int>::min();
constexpr int Highest = std::numeric_limits<int>::max();

using IdVersions = std::vector<std::pair<unsigned int, int>>;
using Ids = std::vector<unsigned int>;

IdVersions WalkVersions(std::initializer_list<cls_CIDVersion> keys) {
  omi_Btree<cls_CIDVersion, int> tree;
  for (cls_CIDVersion const& key : keys) EXPECT_TRUE(tree.Insert(key, 0));
  EXPECT_TRUE(tree.Verify());
  IdVersions versions;
  for (omi_BtreeIterator<cls_CIDVersion, int> i(tree); !i.IsDone(); i.Next())
    versions.emplace_back(i.Key().m_ClassId, i.Key().m_Version);
  return versions;
}

omi_Btree<unsigned int, int> TreeOfIds(std::initializer_list<unsigned int> keys) {
  omi_Btree<unsigned int, int> tree;
  for (unsigned int const key : keys) EXPECT_TRUE(tree.Insert(key, 0));
  return tree;
}
Ids WalkIds(omi_Btree<unsigned int, int> const& tree) {
  Ids ids;
  for (omi_BtreeIterator<unsigned int, int> i(tree); !i.IsDone(); i.Next()) ids.push_back(i.Key());
  return ids;
}

TEST(cls_CIDVersionTest, SmallerClassIdIsLessForAnyVersions) {
  EXPECT_EQ(cls_Compare({5, 9}, {9, 1}), -1);
  EXPECT_EQ(cls_Compare({9, 1}, {5, 9}), 1);
  EXPECT_EQ(cls_Compare({0, Highest}, {1, Lowest}), -1);
}

TEST(cls_CIDVersionTest, ClassIdsCompareAsUnsignedNumbers) {
  EXPECT_EQ(cls_Compare({0x7FFFFFFFU, 0}, {0x80000000U, 0}), -1);
  EXPECT_EQ(cls_Compare({0xFFFFFFFFU, 0}, {0, 0}), 1);
  EXPECT_EQ(cls_Compare({0, 0}, {0xFFFFFFFFU, 0}), -1);
  EXPECT_EQ(cls_Compare({0xFFFFFFFFU, 0}, {0x64000001U, 0}), 1);
}

TEST(cls_CIDVersionTest, VersionsOfAClassCompareAsSignedNumbers) {
  EXPECT_EQ(cls_Compare({5, 1}, {5, 2}), -1);
  EXPECT_EQ(cls_Compare({5, 2}, {5, 1}), 1);
  EXPECT_EQ(cls_Compare({5, -1}, {5, 0}), -1);
  EXPECT_EQ(cls_Compare({5, Lowest}, {5, Highest}), -1);
  EXPECT_EQ(cls_Compare({5, Highest}, {5, Lowest}), 1);
  EXPECT_EQ(cls_Compare({5, Lowest}, {5, 0}), -1);
}

TEST(cls_CIDVersionTest, SameClassAndVersionAreEqual) {
  for (cls_CIDVersion const key :
       {cls_CIDVersion{0, 0}, {5, 1}, {0xFFFFFFFFU, Lowest}, {0x80000000U, Highest}})
    EXPECT_EQ(cls_Compare(key, key), 0);
}

TEST(cls_CIDVersionTest, VersionIndexDescendsByClassIdThenByVersion) {
  EXPECT_EQ(WalkVersions({{5, 1}, {5, 2}, {9, 1}}), (IdVersions{{9, 1}, {5, 2}, {5, 1}}));
  EXPECT_EQ(WalkVersions({{9, 1}, {5, 2}, {5, 1}}), (IdVersions{{9, 1}, {5, 2}, {5, 1}}));
}

TEST(cls_CIDVersionTest, VersionIndexDescendsOverTheWholeRange) {
  EXPECT_EQ(WalkVersions({{0, 0}, {5, Lowest}, {0xFFFFFFFFU, 1}, {0x80000000U, 1}, {5, Highest}, {5, -1}}),
            (IdVersions{{0xFFFFFFFFU, 1}, {0x80000000U, 1}, {5, Highest}, {5, -1}, {5, Lowest}, {0, 0}}));
}

TEST(cls_CIDVersionTest, GreaterKeyGoesLeftOfANode) {
  omi_Btree<cls_CIDVersion, int> tree;
  tree.Insert({5, 1}, 0);
  tree.Insert({5, 2}, 0);
  tree.Insert({4, 7}, 0);
  EXPECT_EQ(tree.Root()->Left()->Key().m_Version, 2);
  EXPECT_EQ(tree.Root()->Right()->Key().m_ClassId, 4U);
}

TEST(cls_CIDVersionTest, VersionIndexDistinguishesVersions) {
  omi_Btree<cls_CIDVersion, int> tree;
  EXPECT_TRUE(tree.Insert({5, 1}, 10));
  EXPECT_TRUE(tree.Insert({5, 2}, 20));
  EXPECT_FALSE(tree.Insert({5, 1}, 30));
  EXPECT_EQ(tree.ConstGet({5, 1}), 10);
  EXPECT_EQ(tree.ConstGet({5, 2}), 20);
  EXPECT_EQ(tree.ConstFind({5, 3}), nullptr);
  EXPECT_EQ(tree.ConstFind({6, 1}), nullptr);
  EXPECT_TRUE(tree.Remove({5, 1}));
  EXPECT_FALSE(tree.IsMember({5, 1}));
  EXPECT_TRUE(tree.IsMember({5, 2}));
}

TEST(cls_CIDVersionTest, ClassIdIndexAscends) {
  EXPECT_EQ(WalkIds(TreeOfIds({9, 5, 7})), (Ids{5, 7, 9}));
  EXPECT_EQ(WalkIds(TreeOfIds({0x64000002U, 0x230002U, 0x64000001U})),
            (Ids{0x230002U, 0x64000001U, 0x64000002U}));
}

TEST(cls_CIDVersionTest, ClassIdIndexReversesForIdsFurtherApart) {
  // Less than 2^31 apart: ascending. More: the signed difference reverses the order.
  EXPECT_EQ(WalkIds(TreeOfIds({0, 0x7FFFFFFFU})), (Ids{0, 0x7FFFFFFFU}));
  EXPECT_EQ(WalkIds(TreeOfIds({0, 0x80000001U})), (Ids{0x80000001U, 0}));
  EXPECT_EQ(WalkIds(TreeOfIds({0x80000001U, 0})), (Ids{0x80000001U, 0}));
  EXPECT_EQ(WalkIds(TreeOfIds({1, 0xFFFFFFFFU})), (Ids{0xFFFFFFFFU, 1}));
  EXPECT_EQ(WalkIds(TreeOfIds({0x7FFFFFFFU, 0x80000000U})), (Ids{0x7FFFFFFFU, 0x80000000U}));
}

TEST(cls_CIDVersionTest, ClassIdsHalfTheRangeApartHaveTheLaterOneFirst) {
  omi_Btree<unsigned int, int> const tree = TreeOfIds({0, 0x80000000U});
  EXPECT_EQ(WalkIds(tree), (Ids{0x80000000U, 0}));
  EXPECT_EQ(WalkIds(TreeOfIds({0x80000000U, 0})), (Ids{0, 0x80000000U}));
  EXPECT_TRUE(tree.IsMember(0));
  EXPECT_TRUE(tree.IsMember(0x80000000U));
}

} // namespace
