#include <gtest/gtest.h>

#include <type_traits>

#include "collections/cls_PTrie.h"
#include "tests/slots/SlotList.h"

namespace {

/// The tables of these node kinds are not exported, so their lengths cannot be checked.
template <class AnyNode, class K, class V, int W> void ExpectNodeSlots() {
  using Trie = cls_PTrie<K, V, W>;
  SlotList<AnyNode> list;
  list.template Is<V const*(Trie const&, K const&) const>(1, &AnyNode::Locate);
  list.template Is<int(Trie&, K const&, V const&)>(2, &AnyNode::Insert);
  list.template Is<typename Trie::Node*(Trie&, K const&)>(3, &AnyNode::Remove);
  list.template Is<int(typename Trie::Iter&) const>(4, &AnyNode::Next);
  EXPECT_TRUE(std::has_virtual_destructor_v<AnyNode>);
}

} // namespace

TEST(TrieSlots, NodesHaveTheirSlotsInOrder) {
  ExpectNodeSlots<cls_PTrieNode<int, int, 1>, int, int, 1>();
  ExpectNodeSlots<cls_PTrieInternalNode<int, int, 1>, int, int, 1>();
  ExpectNodeSlots<cls_PTrieLeafNode<int, int, 1>, int, int, 1>();
}

TEST(TrieSlots, NodesOfTwoWordKeysHaveTheSameSlots) {
  ExpectNodeSlots<cls_PTrieNode<long long, int, 2>, long long, int, 2>();
  ExpectNodeSlots<cls_PTrieInternalNode<long long, int, 2>, long long, int, 2>();
  ExpectNodeSlots<cls_PTrieLeafNode<long long, int, 2>, long long, int, 2>();
}

TEST(TrieSlots, TrieOfIdentitiesIsExported) {
  EXPECT_EQ(ExportedSlots(typeid(cls_PTrieNode<int, cls_Uid, 1>)), 5);
  EXPECT_EQ(ExportedSlots(typeid(cls_PTrieInternalNode<int, cls_Uid, 1>)), 5);
  EXPECT_EQ(ExportedSlots(typeid(cls_PTrieLeafNode<int, cls_Uid, 1>)), 5);
}
