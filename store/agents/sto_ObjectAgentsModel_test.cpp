#include <random>
#include <stdexcept>

#include "tests/support/Seeds.h"
#include "tests/support/store/StoreObjectAgents.h"

namespace {

/// A seeded random walk of a list and a map of objects that are used through their agents, beside a vector
/// and a map: elements written one by one, saves of several elements that fail, transactions that are
/// committed or rolled back, agents that are let go and opened again, reads in between.
class ObjectAgentsModel : public StoreObjectAgentsTest, public testing::WithParamInterface<unsigned int> {
 protected:
  struct Model {
    std::vector<int> m_List;
    std::map<int, int> m_Map;
  };

  int Below(int limit) { return static_cast<int>(m_Random() % static_cast<unsigned int>(limit)); }

  void ChangeList() {
    int const size = static_cast<int>(m_Model.m_List.size());
    int const chance = Below(10);
    if (size > 0 && chance < 2) {
      int const index = Below(size);
      (*m_List)->Remove(index);
      m_Model.m_List.erase(m_Model.m_List.begin() + index);
    } else if (size > 0 && chance == 2) {
      int const count = Below(size);
      (*m_List)->SetCount(count);
      m_Model.m_List.resize(static_cast<std::size_t>(count));
    } else {
      int const index = Below(3) == 0 || size == 0 ? size : Below(size);
      int const value = Below(1000);
      Put(*m_List, index, value);
      if (index == size) m_Model.m_List.push_back(0);
      m_Model.m_List[static_cast<std::size_t>(index)] = value;
    }
  }
  void ChangeMap() {
    int const key = Below(40);
    int const chance = Below(20);
    if (chance == 0) {
      (*m_Map)->Clear();
      m_Model.m_Map.clear();
    } else if (chance < 5) {
      ASSERT_EQ((*m_Map)->Remove(key), m_Model.m_Map.erase(key) == 1);
    } else {
      int const value = Below(1000);
      Put(*m_Map, key, value);
      m_Model.m_Map[key] = value;
    }
  }
  void Change() {
    if (Below(2) == 0)
      ChangeList();
    else
      ChangeMap();
  }
  /// A save whose object changes both collections while it is written. It fails, or it does not.
  void Save() {
    Model const before = m_Model;
    bool const fails = Below(2) == 0;
    auto const write = [&](cls_WriteVisitor const&) {
      for (int i = Below(6); i >= 0; --i) Change();
      if (Below(4) == 0) Look(); // reads what is not written yet
      if (fails) throw std::runtime_error("the save fails");
    };
    if (!fails) return SaveFields(*m_Store, write, "acting");
    EXPECT_THROW(SaveFields(*m_Store, write, "acting"), std::runtime_error);
    m_Model = before;
  }
  /// Removed elements are null objects with value -1.
  void Look() {
    ASSERT_EQ(ValuesOf(*m_List), m_Model.m_List);
    ASSERT_EQ(ValuesOf(*m_Map), m_Model.m_Map);
  }
  void OpenAgents() {
    m_List = OpenList(*m_Store);
    m_Map = OpenMap(*m_Store);
  }
  void Transaction() {
    Model const before = m_Model;
    auto transaction = std::make_unique<sto_Transaction>(*m_Store);
    for (int i = Below(30); i >= 0 && !HasFatalFailure(); --i) {
      int const chance = Below(20);
      if (chance == 0) Look();
      if (chance == 1) OpenAgents(); // the first ones are let go and write what is pending
      if (chance < 5)
        Save();
      else
        Change();
    }
    bool const commits = Below(3) != 0;
    if (commits) transaction->Commit();
    transaction.reset();
    if (!commits) m_Model = before;
  }

  std::mt19937 m_Random;
  std::unique_ptr<sto_Store> m_Store;
  std::unique_ptr<List> m_List;
  std::unique_ptr<IntMap> m_Map;
  Model m_Model;
};

TEST_P(ObjectAgentsModel, AgreeWithAVectorAndAMap) {
  m_Random.seed(GetParam());
  m_Store = std::make_unique<sto_Store>(MakeEmpty());
  OpenAgents();
  for (int i = 0; i < 150 && !HasFatalFailure(); ++i) {
    SCOPED_TRACE(i);
    int const chance = Below(10);
    if (chance < 5)
      Transaction();
    else if (chance < 7)
      Save();
    else
      Change();
    Look();
    if (Below(20) == 0) {
      ASSERT_EQ(StoredList(), m_Model.m_List);
      ASSERT_EQ(StoredMap(), m_Model.m_Map);
      m_Store->CollectGarbage();
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, ObjectAgentsModel,
                         testing::ValuesIn(Seeds<unsigned int>({1, 2, 3, 4, 5, 6, 7, 8})));

} // namespace
