#include <algorithm>
#include <iterator>
#include <map>
#include <random>
#include <set>

#include "tests/support/Seeds.h"
#include "tests/support/store/StoreGarbage.h"

namespace {

/// Removing a root with everything that only it leads to.
class StoreRemoveContent : public StoreGarbageTest {
 protected:
  static void ExpectSound(sto_Store& store) {
    sto_CheckReport const report = store.Check(sto_CheckDepth::Full);
    EXPECT_TRUE(report.IsSound()) << (report.m_Findings.empty() ? "" : report.m_Findings.front().m_Text);
  }
};

TEST_F(StoreRemoveContent, UnknownNameIsNoRoot) {
  sto_Store store = Create();
  store.Save("node", Node(1));
  std::size_t const saves = store.Saves().size();
  EXPECT_EQ(store.RemoveRootAndContent("none"), std::nullopt);
  EXPECT_EQ(store.ObjectCount(), 1);
  EXPECT_EQ(store.Saves().size(), saves);
}

TEST_F(StoreRemoveContent, DeletesWhatOnlyTheRootLeadsTo) {
  sto_Store store = Create();
  store.Save("chain", *Node::Chain(500));
  store.Save("other", Node(7));
  EXPECT_EQ(store.RemoveRootAndContent("chain"), 500);
  EXPECT_FALSE(store.HasRoot("chain"));
  EXPECT_EQ(store.ObjectCount(), 1);
  EXPECT_EQ(store.LoadShared<Node>("other")->m_Value, 7);
  ExpectSound(store);
  EXPECT_EQ(store.CountGarbage(), 0);
}

TEST_F(StoreRemoveContent, SharedObjectsStay) {
  sto_Store store = Create();
  auto const shared = Node::Chain(10);
  Node first(1);
  first.m_Left = shared;
  Node second(2);
  second.m_Right = shared;
  store.Save("first", first);
  store.Save("second", second);
  EXPECT_EQ(store.RemoveRootAndContent("first"), 1);
  EXPECT_EQ(store.LoadShared<Node>("second")->m_Right->m_Left->m_Value, 8);
  EXPECT_EQ(store.RemoveRootAndContent("second"), 11);
  EXPECT_EQ(Rows(), 0);
}

TEST_F(StoreRemoveContent, SecondNameKeepsTheObject) {
  sto_Store store = Create();
  Node const node(1);
  store.Save("a", node);
  store.Save("b", node);
  EXPECT_EQ(store.RemoveRootAndContent("a"), 0);
  EXPECT_EQ(store.Roots(), std::vector<std::string>{"b"});
  EXPECT_EQ(store.LoadShared<Node>("b")->m_Value, 1);
}

TEST_F(StoreRemoveContent, ReferencesLeadToObjects) {
  sto_Store store = Create();
  Node node(1);
  node.m_Left = std::make_shared<Node>(2);
  store.Save("node", node);
  SaveReference(store, node.m_Left->m_Uid, "reference");
  EXPECT_EQ(store.RemoveRootAndContent("node"), 1);
  EXPECT_EQ(store.RemoveRootAndContent("reference"), 2);
  EXPECT_EQ(Rows(), 0);
}

TEST_F(StoreRemoveContent, BlocksGoWithTheirObjects) {
  sto_Store store = Create();
  {
    Bulk bulk;
    bulk.Fill(100'000);
    store.Save("bulk", bulk);
    store.Save("picture", Picture(100'000));
  }
  EXPECT_EQ(store.RemoveRootAndContent("bulk"), 2);
  ExpectSound(store);
  EXPECT_EQ(store.RemoveRootAndContent("picture"), 2);
  EXPECT_EQ(Rows(), 0);
}

TEST_F(StoreRemoveContent, OpenCollectionsAndBlobsStay) {
  sto_Store store = Create();
  Bulk bulk;
  bulk.Fill(50'000);
  store.Save("bulk", bulk);
  store.Save("picture", Picture(50'000));
  std::unique_ptr<Picture> picture = store.Load<Picture>("picture");
  EXPECT_EQ(store.RemoveRootAndContent("bulk"), 1) << "the object, and not its array";
  EXPECT_EQ(store.RemoveRootAndContent("picture"), 1);
  bulk.ExpectFilled(50'000);
  EXPECT_EQ(picture->Bytes(), std::string(50'000, 'b'));
  bulk.Close();
  picture.reset();
  store.Close();
  sto_Store again = Open();
  ExpectAllCollected(again, 2);
}

TEST_F(StoreRemoveContent, EarlierGarbageStaysWithWhatItHolds) {
  sto_Store store = Create();
  auto const shared = std::make_shared<Node>(3);
  Node garbage(1);
  garbage.m_Left = shared;
  Node root(2);
  root.m_Left = shared;
  root.m_Right = std::make_shared<Node>(4);
  store.Save("garbage", garbage);
  store.Save("root", root);
  store.RemoveRoot("garbage");
  EXPECT_EQ(store.CountGarbage(), 1);
  EXPECT_EQ(store.RemoveRootAndContent("root"), 2) << "garbage still holds what they share";
  ExpectSound(store);
  EXPECT_EQ(store.CollectGarbage(), 2);
  EXPECT_EQ(Rows(), 0);
}

TEST_F(StoreRemoveContent, WorksInATransactionAndIsUndoneWithIt) {
  sto_Store store = Create();
  store.Save("chain", *Node::Chain(20));
  {
    sto_Transaction const transaction(store);
    store.Save("new", *Node::Chain(30));
    EXPECT_EQ(store.RemoveRootAndContent("chain"), 20);
    EXPECT_EQ(store.RemoveRootAndContent("new"), 30);
    EXPECT_EQ(store.ObjectCount(), 0);
    EXPECT_TRUE(store.Roots().empty());
  }
  EXPECT_EQ(store.ObjectCount(), 20);
  EXPECT_EQ(store.LoadShared<Node>("chain")->m_Value, 19);
  ExpectSound(store);
}

TEST_F(StoreRemoveContent, WhatWasDeletedCanBeSavedAgain) {
  sto_Store store = Create();
  auto const chain = Node::Chain(20);
  store.Save("chain", *chain);
  EXPECT_EQ(store.RemoveRootAndContent("chain"), 20);
  store.Save("again", *chain);
  EXPECT_EQ(store.ObjectCount(), 20);
  ExpectSound(store);
}

TEST_F(StoreRemoveContent, IsRefusedWhereNothingMayBeWritten) {
  Create().Save("node", Node(1));
  {
    sto_Store store = Open();
    sto_ReadTransaction const reading(store);
    MessageOf(sto_ErrorKind::Misuse, [&] { store.RemoveRootAndContent("node"); });
  }
  sto_Store store = Open(sto_Mode::ReadOnly);
  MessageOf(sto_ErrorKind::ReadOnly, [&] { store.RemoveRootAndContent("node"); });
}

TEST_F(StoreRemoveContent, DamageDeletesNothing) {
  {
    sto_Store store = Create();
    store.Save("damaged", *Node::Chain(3));
    store.Save("node", Node(1));
  }
  {
    SqlFile file(Path());
    file.Unpack();
    file.Run("DELETE FROM object WHERE id = 3");
  }
  sto_Store store = Open();
  MessageOf(sto_ErrorKind::Damaged, [&] { store.RemoveRootAndContent("damaged"); });
  MessageOf(sto_ErrorKind::Damaged, [&] { store.RemoveRootAndContent("node"); });
  EXPECT_EQ(store.ObjectCount(), 3);
  EXPECT_EQ(store.Roots(), (std::vector<std::string>{"damaged", "node"}));
}

/// Random graphs against a model of what leads to what.
class StoreRemoveContentModel : public StoreRemoveContent, public testing::WithParamInterface<unsigned int> {
 protected:
  /// An object in memory and in the model.
  struct Object {
    std::shared_ptr<Node> m_Node;     // null for one that only refers to another
    std::vector<std::size_t> m_Leads; // to other objects, also by reference
  };
  using Set = std::set<std::size_t>;

  [[nodiscard]] std::size_t Random(std::size_t end) { return m_Random() % end; }
  /// What some objects lead to in the store, with themselves.
  [[nodiscard]] Set Closure(Set const& from) const {
    Set met;
    std::vector<std::size_t> toVisit(from.begin(), from.end());
    while (!toVisit.empty()) {
      std::size_t const at = toVisit.back();
      toVisit.pop_back();
      if (!m_Stored.contains(at) || !met.insert(at).second) continue;
      toVisit.insert(toVisit.end(), m_Objects[at].m_Leads.begin(), m_Objects[at].m_Leads.end());
    }
    return met;
  }
  [[nodiscard]] Set Live(std::string const& without = {}) const {
    Set roots;
    for (auto const& [name, at] : m_Roots)
      if (name != without) roots.insert(at);
    return Closure(roots);
  }
  [[nodiscard]] static Set Minus(Set const& a, Set const& b) {
    Set rest;
    std::ranges::set_difference(a, b, std::inserter(rest, rest.end()));
    return rest;
  }
  [[nodiscard]] static std::string NameOf(std::size_t number) { return "root" + std::to_string(number); }

  /// An earlier node, which may have been deleted since, or null.
  std::shared_ptr<Node> Earlier(Object& holder) {
    if (m_Objects.empty() || Random(4) == 0) return nullptr;
    std::size_t const at = Random(m_Objects.size());
    if (m_Objects[at].m_Node != nullptr) holder.m_Leads.push_back(at);
    return m_Objects[at].m_Node;
  }
  void Store(std::size_t at) {
    if (!m_Stored.insert(at).second) return;
    if (m_Objects[at].m_Node != nullptr)
      for (std::size_t const held : m_Objects[at].m_Leads) Store(held);
  }
  void SaveNode(sto_Store& store, std::string const& root) {
    Object object{std::make_shared<Node>(static_cast<int>(m_Objects.size())), {}};
    object.m_Node->m_Left = Earlier(object);
    object.m_Node->m_Right = Earlier(object);
    std::size_t const at = m_Objects.size();
    m_Objects.push_back(object);
    if (Random(3) == 0) { // one that leads back
      auto const last = std::make_shared<Node>(static_cast<int>(at) + 1);
      last->m_Back = object.m_Node;
      last->m_Left = std::exchange(m_Objects[at].m_Node->m_Left, last);
      m_Objects.push_back({last, {at}});
      std::ranges::copy(m_Objects[at].m_Leads, std::back_inserter(m_Objects[at + 1].m_Leads));
      m_Objects[at].m_Leads.push_back(at + 1);
    }
    store.Save(root, *m_Objects[at].m_Node);
    Store(at);
    m_Roots[root] = at;
  }
  void SaveReferenceTo(sto_Store& store, std::string const& root) {
    std::size_t const at = m_Objects.size();
    Object object{nullptr, {}};
    cls_Uid const none;
    std::shared_ptr<Node> const target = Earlier(object);
    SaveReference(store, target == nullptr ? none : target->m_Uid, root);
    m_Objects.push_back(object);
    m_Stored.insert(at);
    m_Roots[root] = at;
  }
  void RemoveWithContent(sto_Store& store, std::string const& root) {
    if (!m_Roots.contains(root)) {
      EXPECT_EQ(store.RemoveRootAndContent(root), std::nullopt);
      return;
    }
    Set const garbage = Minus(m_Stored, Live());
    Set left = Live(root);
    left.merge(Closure(garbage));
    EXPECT_EQ(store.RemoveRootAndContent(root), static_cast<std::int64_t>(m_Stored.size() - left.size()));
    m_Roots.erase(root);
    m_Stored = left;
    ExpectSound(store);
    EXPECT_EQ(store.CountGarbage(), static_cast<std::int64_t>(Minus(left, Live()).size()));
    ExpectRoots(store);
  }
  void ExpectNode(Node const& loaded, Node const& saved, std::set<Node const*>& met) const {
    EXPECT_EQ(loaded.m_Value, saved.m_Value);
    if (!met.insert(&loaded).second) return;
    ASSERT_EQ(loaded.m_Left == nullptr, saved.m_Left == nullptr);
    ASSERT_EQ(loaded.m_Right == nullptr, saved.m_Right == nullptr);
    if (saved.m_Left != nullptr) ExpectNode(*loaded.m_Left, *saved.m_Left, met);
    if (saved.m_Right != nullptr) ExpectNode(*loaded.m_Right, *saved.m_Right, met);
  }
  void ExpectRoots(sto_Store& store) {
    std::vector<std::string> names;
    for (auto const& [name, at] : m_Roots) {
      names.push_back(name);
      if (m_Objects[at].m_Node == nullptr) continue;
      std::set<Node const*> met;
      ExpectNode(*store.LoadShared<Node>(name), *m_Objects[at].m_Node, met);
    }
    EXPECT_EQ(store.Roots(), names);
  }
  void Step(sto_Store& store) {
    std::string const root = NameOf(Random(6));
    std::size_t const what = Random(100);
    if (what < 45) {
      SaveNode(store, root);
    } else if (what < 55) {
      SaveReferenceTo(store, root);
    } else if (what < 70) {
      store.RemoveRoot(root);
      m_Roots.erase(root);
    } else if (what < 95) {
      RemoveWithContent(store, root);
    } else {
      Set const live = Live();
      EXPECT_EQ(store.CollectGarbage(), static_cast<std::int64_t>(m_Stored.size() - live.size()));
      m_Stored = live;
    }
    EXPECT_EQ(store.ObjectCount(), static_cast<std::int64_t>(m_Stored.size()));
  }

  std::mt19937 m_Random{GetParam()};
  std::vector<Object> m_Objects; // in the order in which they were made
  Set m_Stored;
  std::map<std::string, std::size_t> m_Roots;
};

TEST_P(StoreRemoveContentModel, LeavesWhatACollectionWouldLeaveAndTheEarlierGarbage) {
  sto_Store store = Create();
  for (int step = 0; step < 150 && !HasFailure(); ++step) {
    SCOPED_TRACE(step);
    if (Random(10) != 0) {
      Step(store);
      continue;
    }
    sto_Transaction transaction(store); // several steps in one
    for (int i = 0; i < 5; ++i) Step(store);
    transaction.Commit();
  }
  for (int i = 0; i < 6; ++i) RemoveWithContent(store, NameOf(static_cast<std::size_t>(i)));
  EXPECT_EQ(store.CollectGarbage(), static_cast<std::int64_t>(m_Stored.size()));
  EXPECT_EQ(Rows(), 0);
}

INSTANTIATE_TEST_SUITE_P(Seeds, StoreRemoveContentModel,
                         testing::ValuesIn(Seeds({1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U, 9U, 10U})));

} // namespace
