#pragma once

#include <map>
#include <utility>

#include "persist/backend/cls_AgentRequest.h"
#include "persist/backend/cls_PC.h"
#include "tests/support/store/StoreCollections.h"

/// A container of objects like an application's: it holds an agent, and releases it correctly.
template <class Agent> class ObjectHolder : public cls_PC {
 public:
  explicit ObjectHolder(Agent* agent) : m_Agent(agent) {
    m_Agent->AddReference();
    m_Agent->RegisterHolder(this);
  }
  ~ObjectHolder() override { LetGo(); }
  void Flush() const override { ++m_Flushes; }
  void Detach() override {
    ++m_Detaches;
    Unlink();
    LetGo();
  }
  Agent* operator->() const { return m_Agent; }
  Agent& operator*() const { return *m_Agent; }

  Agent* m_Agent;
  mutable int m_Flushes = 0;
  int m_Detaches = 0;

 private:
  void LetGo() {
    if (m_Agent == nullptr) return;
    Agent* const agent = std::exchange(m_Agent, nullptr);
    agent->DropReference();
    if (agent->StillReferenced()) return;
    agent->EndFlush();
    delete agent;
  }
};

using ObjectList = ObjectHolder<cls_AgentListObj>;
using ObjectIntMap = ObjectHolder<cls_AgentMapKey2Obj<int>>;
using ObjectStringMap = ObjectHolder<cls_AgentMapKey2Obj<cow_String>>;

inline void Put(ObjectList& list, int index, int value) {
  Node const node(value);
  cls_AgentRequestListObj const request(&*list, index);
  node.DBWrite(cls_WriteVisitor(request, &node));
}

template <class K> void Put(ObjectHolder<cls_AgentMapKey2Obj<K>>& map, K const& key, int value) {
  Node const node(value);
  cls_AgentRequestMapKey2Obj<K> const request(&*map, key);
  node.DBWrite(cls_WriteVisitor(request, &node));
}

inline std::vector<int> ValuesOf(ObjectList& list) {
  std::vector<int> values;
  for (int i = 0, count = list->Count(); i < count; ++i) values.push_back(NodeValue(list->MakeReadObj(i)));
  return values;
}

template <class K> std::map<K, int> ValuesOf(ObjectHolder<cls_AgentMapKey2Obj<K>>& map) {
  std::map<K, int> values;
  K key{};
  for (bool isThere = map->FirstKey(key); isThere; isThere = map->NextKey(key))
    values.emplace(key, NodeValue(map->MakeReadObj(key)));
  EXPECT_EQ(static_cast<int>(values.size()), map->Count());
  return values;
}

/// Fixture with lists and maps of objects that are used through their agents.
class StoreObjectAgentsTest : public StoreCollectionTest {
 protected:
  using List = ObjectList;
  using IntMap = ObjectIntMap;
  using StringMap = ObjectStringMap;

  /// A store with an empty list, an empty map by int and one by string, made by agents.
  sto_Store MakeEmpty() {
    sto_Store store = Create();
    SaveFields(store, [](cls_WriteVisitor const& visitor) {
      List const list(WriteIn(visitor, "m_Objects", ListClass)->MakeAgentListObj(8));
      IntMap const byInt(
          WriteIn(visitor, "m_ByInt", MapClass)->MakeAgentMapKey2Obj(static_cast<int const*>(nullptr), 8));
      StringMap const byString(WriteIn(visitor, "m_ByString", MapClass)
                                   ->MakeAgentMapKey2Obj(static_cast<cow_String const*>(nullptr), 8));
    });
    return store;
  }
  /// The agent of the collection in a field of the root.
  template <class H> static std::unique_ptr<H> OpenAgent(sto_Store& store, std::string const& field) {
    std::unique_ptr<H> holder;
    static_cast<void>(LoadFields(store, [&](cls_ReadVisitor const& visitor) {
      auto const memento = ReadIn(visitor, field);
      if constexpr (std::is_same_v<H, List>)
        holder = std::make_unique<H>(memento->MakeAgentListObj());
      else if constexpr (std::is_same_v<H, IntMap>)
        holder = std::make_unique<H>(memento->MakeAgentMapKey2Obj(static_cast<int*>(nullptr)));
      else
        holder = std::make_unique<H>(memento->MakeAgentMapKey2Obj(static_cast<cow_String*>(nullptr)));
    }));
    return holder;
  }
  static std::unique_ptr<List> OpenList(sto_Store& store) { return OpenAgent<List>(store, "m_Objects"); }
  static std::unique_ptr<IntMap> OpenMap(sto_Store& store) { return OpenAgent<IntMap>(store, "m_ByInt"); }
  static std::unique_ptr<StringMap> OpenTexts(sto_Store& store) {
    return OpenAgent<StringMap>(store, "m_ByString");
  }
  /// The content as another session sees it.
  std::vector<int> StoredList() {
    sto_Store store = Open(sto_Mode::ReadOnly);
    return ValuesOf(*OpenList(store));
  }
  std::map<int, int> StoredMap() {
    sto_Store store = Open(sto_Mode::ReadOnly);
    return ValuesOf(*OpenMap(store));
  }
};
