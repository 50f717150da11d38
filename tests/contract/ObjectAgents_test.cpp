#include <algorithm>
#include <map>

#include "persist/backend/cls_AgentListObj.h"
#include "persist/backend/cls_AgentMapKey2Obj.h"
#include "persist/backend/cls_AgentRequest.h"
#include "persist/backend/cls_ReadObjects.h"
#include "tests/contract/ContractTest.h"

// Agents of lists and maps of objects.

namespace {

CONTRACT_SUITE(ContractObjectAgents);

using ListHolder = AgentHolder<cls_AgentListObj>;
using Kept = std::vector<std::unique_ptr<cls_PC>>;
template <class K> using MapHolder = AgentHolder<cls_AgentMapKey2Obj<K>>;

// --- Lists.

/// Writes a list of `count` elements with the numbers 0, 10, 20 ...; keeps the agent.
void WriteList(cls_WriteVisitor const& visitor, Kept& kept, int count, int sizeHint = 1) {
  WriteCollectionOf(visitor, ListObjKind, [&](cls_MementoWrite& memento) {
    auto holder = std::make_unique<ListHolder>(memento.MakeAgentListObj(sizeHint));
    ListHolder const& agent = *holder;
    agent->SetCount(count);
    for (int i = 0; i < count; ++i) WriteNumber(agent->MakeWriteObj(i, ElementId, cls_Uid()), i * 10);
    agent->EndFlush();
    kept.push_back(std::move(holder));
  });
}
std::unique_ptr<ListHolder> StoredList(cls_ReadVisitor const& visitor) {
  cls_ReadVisitor const child = ObjectIn(visitor, FieldOf(ListObjKind.m_Name));
  return std::make_unique<ListHolder>(child.Memento()->MakeAgentListObj());
}
std::vector<int> NumbersOf(ListHolder const& agent) {
  std::vector<int> numbers;
  for (int i = 0; i < std::min(agent->Count(), 10); ++i) numbers.push_back(NumberOf(agent->MakeReadObj(i)));
  return numbers;
}

TEST_P(ContractObjectAgents, AnAgentKeepsAListOfObjects) {
  COVERS(cls_MementoWrite, 44);
  COVERS(cls_MementoRead, 48);
  COVERS(cls_AgentListObj, 0, 1, 4, 5, 6, 7, 9, 10, 11, 13);
  Write([&](cls_WriteVisitor const& visitor) { WriteList(visitor, m_Kept, 4); });
  {
    auto const agent = Take(StoredList);
    EXPECT_EQ((*agent)->Count(), 4);
    EXPECT_EQ(NumbersOf(*agent), (std::vector<int>{0, 10, 20, 30}));
  }
}

TEST_P(ContractObjectAgents, AListAgentAndTheListCursorSeeTheSameList) {
  COVERS(cls_MementoRead, 37, 48);
  COVERS(cls_ReadListObj, 2, 6);
  COVERS(cls_AgentListObj, 1, 6);
  Write([&](cls_WriteVisitor const& visitor) { WriteList(visitor, m_Kept, 3); });
  Read([](cls_ReadVisitor const& visitor) {
    auto const cursor = Receive(visitor.Memento()->MakeFieldReadListObj(FieldOf(ListObjKind.m_Name)));
    ASSERT_EQ(cursor->Count(), 3);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(NumberOf(cursor->Next()), i * 10);
  });
  Rewrite([](cls_WriteVisitor const& visitor) {
    auto const builder =
        Receive(visitor.Memento()->MakeFieldWriteListObj(FieldOf(ListObjKind.m_Name), cls_Uid()));
    for (int const number : {7, 8}) WriteNumber(builder->MakeWriteObj(ElementId, cls_Uid()), number);
  });
  { EXPECT_EQ(NumbersOf(*Take(StoredList)), (std::vector<int>{7, 8})); }
}

TEST_P(ContractObjectAgents, NewElementsOfAListAreEmptyObjects) {
  COVERS(cls_AgentListObj, 1, 5, 6);
  Write([&](cls_WriteVisitor const& visitor) { WriteList(visitor, m_Kept, 2); });
  {
    auto const agent = Take(StoredList);
    (*agent)->SetCount(4);
    (*agent)->EndFlush();
    EXPECT_EQ((*agent)->Count(), 4);
  }
  Step();
  {
    auto const agent = Take(StoredList);
    EXPECT_EQ(NumbersOf(*agent), (std::vector<int>{0, 10, -1, -1}));
    auto const empty = Receive((*agent)->MakeReadObj(3));
    EXPECT_EQ(empty->ClassId(), 1U);
    EXPECT_EQ(empty->ClassVersion(), -1);
    EXPECT_EQ(Receive((*agent)->MakeReadObj(4))->ClassId(), 1U);
  }
}

TEST_P(ContractObjectAgents, AListIsCutToItsCount) {
  COVERS(cls_AgentListObj, 1, 5);
  Write([&](cls_WriteVisitor const& visitor) { WriteList(visitor, m_Kept, 4); });
  {
    auto const agent = Take(StoredList);
    (*agent)->SetCount(2);
    (*agent)->SetCount(3);
    (*agent)->EndFlush();
  }
  Step();
  {
    EXPECT_EQ(NumbersOf(*Take(StoredList)), (std::vector<int>{0, 10, -1}));
    (*Take(StoredList))->SetCount(0);
  }
  Step();
  EXPECT_EQ((*Take(StoredList))->Count(), 0);
}

TEST_P(ContractObjectAgents, AnExistingElementIsReplaced) {
  COVERS(cls_AgentListObj, 6, 7);
  Write([&](cls_WriteVisitor const& visitor) { WriteList(visitor, m_Kept, 3); });
  {
    auto const agent = Take(StoredList);
    WriteNumber((*agent)->MakeWriteObj(1, ElementId, cls_Uid()), 77);
    (*agent)->EndFlush();
    EXPECT_EQ(NumbersOf(*agent), (std::vector<int>{0, 77, 20}));
  }
  Step();
  { EXPECT_EQ(NumbersOf(*Take(StoredList)), (std::vector<int>{0, 77, 20})); }
}

TEST_P(ContractObjectAgents, ElementsBehindARemovedOneMoveDown) {
  COVERS(cls_AgentListObj, 1, 14);
  Write([&](cls_WriteVisitor const& visitor) { WriteList(visitor, m_Kept, 5); });
  {
    auto const agent = Take(StoredList);
    (*agent)->Remove(1);
    (*agent)->Remove(3);
    (*agent)->EndFlush();
    EXPECT_EQ(NumbersOf(*agent), (std::vector<int>{0, 20, 30}));
    (*agent)->Remove(0);
  }
  Step();
  { EXPECT_EQ(NumbersOf(*Take(StoredList)), (std::vector<int>{20, 30})); }
}

TEST_P(ContractObjectAgents, AListElementIsWrittenWithItsObjectOrByAVisitor) {
  COVERS(cls_AgentListObj, 7, 8);
  COVERS(cls_AgentRequestListObj, 0, 1, 2);
  Write([&](cls_WriteVisitor const& visitor) {
    WriteCollectionOf(visitor, ListObjKind, [&](cls_MementoWrite& memento) {
      auto holder = std::make_unique<ListHolder>(memento.MakeAgentListObj(3));
      ListHolder const& agent = *holder;
      m_Kept.push_back(std::move(holder));
      agent->SetCount(3);
      int const object = 0;
      WriteNumber(agent->MakeWriteObjWithPtr(0, ElementId, cls_Uid(), &object), 1);
      cls_AgentRequestListObj const request(agent.Get(), 1);
      cls_WriteVisitor const element(request, &object);
      ASSERT_EQ(element.StartWrite(ElementId, cls_Uid()), 1);
      element.Write(FieldFor<int>(), 2);
      WriteNumber(cls_AgentRequestListObj(agent.Get(), 2).MakeWriteObj(ElementId, cls_Uid()), 3);
    });
  });
  { EXPECT_EQ(NumbersOf(*Take(StoredList)), (std::vector<int>{1, 2, 3})); }
}

TEST_P(ContractObjectAgents, AListAgentReportsItsSizeHintAndWhetherItIsWritable) {
  COVERS(cls_AgentListObj, 2, 3, 12);
  Write([&](cls_WriteVisitor const& visitor) { WriteList(visitor, m_Kept, 2, 500); });
  {
    auto const agent = Take(StoredList);
    EXPECT_EQ((*agent)->SizeHint(), 500);
    EXPECT_FALSE((*agent)->ReadOnly());
    EXPECT_FALSE((*agent)->Changed());
    WriteNumber((*agent)->MakeWriteObj(0, ElementId, cls_Uid()), 5);
    (*agent)->EndFlush();
    EXPECT_FALSE((*agent)->Changed());
  }
  if (!Can().m_ReadsOnly) return;
  Reopen(ContractMode::ReadOnly);
  {
    auto const agent = Take(StoredList);
    EXPECT_TRUE((*agent)->ReadOnly());
    MessageOf(ContractError::ReadOnly, [&] { (*agent)->SetCount(0); });
    EXPECT_EQ(NumbersOf(*agent), (std::vector<int>{5, 10}));
  }
}

TEST_P(ContractObjectAgents, AListChangedByAnotherSessionSaysSoOnce) {
  COVERS(cls_AgentListObj, 3);
  CONTRACT_NEEDS(m_SharesChanges);
  Write([&](cls_WriteVisitor const& visitor) { WriteList(visitor, m_Kept, 2); });
  std::unique_ptr<ListHolder> agent;
  agent = Take(StoredList);
  {
    auto const second = SecondSession();
    std::unique_ptr<ListHolder> other;
    Load(*second, [&](cls_ReadVisitor const& visitor) { other = StoredList(visitor); });
    (*other)->SetCount(3);
    (*other)->EndFlush();
  }
  EXPECT_TRUE((*agent)->Changed());
  EXPECT_FALSE((*agent)->Changed());
  EXPECT_EQ((*agent)->Count(), 3);
}

// --- Maps.

template <class K> struct Keys;
template <> struct Keys<int> {
  static constexpr ContractKind const& Kind = MapIntObjKind;
  static int At(int i) { return (i * 7 + 3) % 10 - 4; } // unordered, some negative
};
template <> struct Keys<cow_String> {
  static constexpr ContractKind const& Kind = MapStringObjKind;
  static cow_String At(int i) { return cow_String(std::to_string((i * 7 + 3) % 10).insert(0, 1, 'k')); }
};

template <class Act> void ForKeyTypes(Act act) {
  ForTypes<int, cow_String>(act);
}

template <class K> std::unique_ptr<MapHolder<K>> NewMap(cls_MementoWrite& memento, int sizeHint) {
  K const tag{};
  return std::make_unique<MapHolder<K>>(memento.MakeAgentMapKey2Obj(&tag, sizeHint));
}
/// Writes maps with both key types and `count` elements, at most ten.
void WriteMaps(cls_WriteVisitor const& visitor, Kept& kept, int count, int sizeHint = 1) {
  ForKeyTypes([&]<class K>(std::type_identity<K>) {
    WriteCollectionOf(visitor, Keys<K>::Kind, [&](cls_MementoWrite& memento) {
      auto agent = NewMap<K>(memento, sizeHint);
      for (int i = 0; i < count; ++i)
        WriteNumber((*agent)->MakeWriteObj(Keys<K>::At(i), ElementId, cls_Uid()), i);
      (*agent)->EndFlush();
      kept.push_back(std::move(agent));
    });
  });
}
template <class K> std::unique_ptr<MapHolder<K>> StoredMap(cls_ReadVisitor const& visitor) {
  cls_ReadVisitor const child = ObjectIn(visitor, FieldOf(Keys<K>::Kind.m_Name));
  K tag{};
  return std::make_unique<MapHolder<K>>(child.Memento()->MakeAgentMapKey2Obj(&tag));
}
/// The entries, walking upwards.
template <class K> std::map<K, int> EntriesOf(MapHolder<K> const& agent) {
  std::map<K, int> entries;
  K key{};
  int steps = 0;
  for (bool isThere = agent->FirstKey(key); isThere; isThere = agent->NextKey(key)) {
    if (++steps > 10) throw std::runtime_error("the walk over the keys does not end");
    entries[key] = NumberOf(agent->MakeReadObj(key));
  }
  return entries;
}
template <class K> std::map<K, int> FirstEntries(int count) {
  std::map<K, int> entries;
  for (int i = 0; i < count; ++i) entries[Keys<K>::At(i)] = i;
  return entries;
}

TEST_P(ContractObjectAgents, AnAgentKeepsAMapOfObjects) {
  COVERS(cls_MementoWrite, 45, 46);
  COVERS(cls_MementoRead, 49, 50);
  COVERS(cls_AgentMapKey2Obj, 0, 1, 4, 6, 7, 8, 9, 11, 13, 15, 16);
  for (int const count : {0, 1, 8}) {
    Write([&](cls_WriteVisitor const& visitor) { WriteMaps(visitor, m_Kept, count); });
    ForKeyTypes([&]<class K>(std::type_identity<K>) {
      auto const agent = Take(StoredMap<K>);
      EXPECT_EQ((*agent)->Count(), count);
      EXPECT_EQ(EntriesOf(*agent), FirstEntries<K>(count));
    });
  }
}

TEST_P(ContractObjectAgents, AMapIsWalkedInBothDirections) {
  COVERS(cls_AgentMapKey2Obj, 15, 16, 17, 18);
  Write([&](cls_WriteVisitor const& visitor) { WriteMaps(visitor, m_Kept, 8); });
  ForKeyTypes([&]<class K>(std::type_identity<K>) {
    auto const agent = Take(StoredMap<K>);
    std::map<K, int> const expected = FirstEntries<K>(8);
    K key{};
    ASSERT_TRUE((*agent)->FirstKey(key));
    for (auto at = expected.begin(); at != expected.end(); ++at) {
      EXPECT_EQ(key, at->first);
      EXPECT_EQ((*agent)->NextKey(key), std::next(at) != expected.end());
    }
    EXPECT_EQ(key, expected.rbegin()->first) << "unchanged";
    ASSERT_TRUE((*agent)->LastKey(key));
    for (auto at = expected.rbegin(); at != expected.rend(); ++at) {
      EXPECT_EQ(key, at->first);
      EXPECT_EQ((*agent)->PreviousKey(key), std::next(at) != expected.rend());
    }
    EXPECT_EQ(key, expected.begin()->first) << "unchanged";
    key = Keys<K>::At(9); // not a key itself, but between two keys
    K below = key;
    EXPECT_EQ((*agent)->NextKey(key), expected.upper_bound(below) != expected.end());
    EXPECT_EQ((*agent)->PreviousKey(below), expected.lower_bound(Keys<K>::At(9)) != expected.begin());
  });
}

TEST_P(ContractObjectAgents, AnEmptyMapHasNoKeyToWalkTo) {
  COVERS(cls_AgentMapKey2Obj, 15, 16, 17, 18);
  Write([&](cls_WriteVisitor const& visitor) { WriteMaps(visitor, m_Kept, 0); });
  ForKeyTypes([&]<class K>(std::type_identity<K>) {
    auto const agent = Take(StoredMap<K>);
    K key = Keys<K>::At(2);
    EXPECT_FALSE((*agent)->FirstKey(key));
    EXPECT_FALSE((*agent)->LastKey(key));
    EXPECT_FALSE((*agent)->NextKey(key));
    EXPECT_FALSE((*agent)->PreviousKey(key));
    EXPECT_EQ(key, Keys<K>::At(2));
  });
}

TEST_P(ContractObjectAgents, AMapFindsItsKeysAndReadsOthersAsEmptyObjects) {
  COVERS(cls_AgentMapKey2Obj, 6, 14);
  Write([&](cls_WriteVisitor const& visitor) { WriteMaps(visitor, m_Kept, 3); });
  ForKeyTypes([&]<class K>(std::type_identity<K>) {
    auto const agent = Take(StoredMap<K>);
    for (int i = 0; i < 10; ++i) {
      EXPECT_EQ((*agent)->Contains(Keys<K>::At(i)), i < 3);
      EXPECT_EQ(NumberOf((*agent)->MakeReadObj(Keys<K>::At(i))), i < 3 ? i : -1);
    }
    EXPECT_EQ(Receive((*agent)->MakeReadObj(Keys<K>::At(5)))->ClassId(), 1U);
  });
}

TEST_P(ContractObjectAgents, EntriesOfAMapAreReplacedRemovedAndAdded) {
  COVERS(cls_AgentMapKey2Obj, 1, 5, 11);
  Write([&](cls_WriteVisitor const& visitor) { WriteMaps(visitor, m_Kept, 5); });
  ForKeyTypes([&]<class K>(std::type_identity<K>) {
    auto const agent = Take(StoredMap<K>);
    EXPECT_TRUE((*agent)->Remove(Keys<K>::At(1)));
    EXPECT_FALSE((*agent)->Remove(Keys<K>::At(1)));
    WriteNumber((*agent)->MakeWriteObj(Keys<K>::At(2), ElementId, cls_Uid()), 22);
    WriteNumber((*agent)->MakeWriteObj(Keys<K>::At(7), ElementId, cls_Uid()), 7);
    (*agent)->EndFlush();
    EXPECT_EQ((*agent)->Count(), 5);
  });
  Step();
  ForKeyTypes([&]<class K>(std::type_identity<K>) {
    std::map<K, int> expected = FirstEntries<K>(5);
    expected.erase(Keys<K>::At(1));
    expected[Keys<K>::At(2)] = 22;
    expected[Keys<K>::At(7)] = 7;
    EXPECT_EQ(EntriesOf(*Take(StoredMap<K>)), expected);
  });
}

TEST_P(ContractObjectAgents, AClearedMapIsEmpty) {
  COVERS(cls_AgentMapKey2Obj, 1, 19);
  Write([&](cls_WriteVisitor const& visitor) { WriteMaps(visitor, m_Kept, 5); });
  ForKeyTypes([&]<class K>(std::type_identity<K>) {
    auto const agent = Take(StoredMap<K>);
    (*agent)->Clear();
    EXPECT_EQ((*agent)->Count(), 0);
    WriteNumber((*agent)->MakeWriteObj(Keys<K>::At(9), ElementId, cls_Uid()), 9);
    (*agent)->EndFlush();
  });
  Step();
  ForKeyTypes([&]<class K>(std::type_identity<K>) {
    EXPECT_EQ(EntriesOf(*Take(StoredMap<K>)), (std::map<K, int>{{Keys<K>::At(9), 9}}));
  });
}

TEST_P(ContractObjectAgents, AMapElementIsWrittenWithItsObjectOrByAVisitor) {
  COVERS(cls_AgentMapKey2Obj, 11, 12);
  COVERS(cls_AgentRequestMapKey2Obj, 0, 1, 2);
  Write([&](cls_WriteVisitor const& visitor) {
    ForKeyTypes([&]<class K>(std::type_identity<K>) {
      WriteCollectionOf(visitor, Keys<K>::Kind, [&](cls_MementoWrite& memento) {
        auto holder = NewMap<K>(memento, 3);
        MapHolder<K>* const agent = holder.get();
        m_Kept.push_back(std::move(holder));
        int const object = 0;
        WriteNumber((*agent)->MakeWriteObjWithPtr(Keys<K>::At(0), ElementId, cls_Uid(), &object), 0);
        cls_AgentRequestMapKey2Obj<K> const request(agent->Get(), Keys<K>::At(1));
        cls_WriteVisitor const element(request, &object);
        ASSERT_EQ(element.StartWrite(ElementId, cls_Uid()), 1);
        element.Write(FieldFor<int>(), 1);
        cls_AgentRequestMapKey2Obj<K> const other(agent->Get(), Keys<K>::At(2));
        WriteNumber(other.MakeWriteObj(ElementId, cls_Uid()), 2);
      });
    });
  });
  ForKeyTypes(
      [&]<class K>(std::type_identity<K>) { EXPECT_EQ(EntriesOf(*Take(StoredMap<K>)), FirstEntries<K>(3)); });
}

TEST_P(ContractObjectAgents, AMapAgentReportsItsSizeHintAndWhetherItIsWritable) {
  COVERS(cls_AgentMapKey2Obj, 2, 3, 10);
  Write([&](cls_WriteVisitor const& visitor) { WriteMaps(visitor, m_Kept, 2, 500); });
  ForKeyTypes([&]<class K>(std::type_identity<K>) {
    auto const agent = Take(StoredMap<K>);
    EXPECT_EQ((*agent)->SizeHint(), 500);
    EXPECT_FALSE((*agent)->ReadOnly());
    EXPECT_FALSE((*agent)->Changed());
  });
  if (!Can().m_ReadsOnly) return;
  Reopen(ContractMode::ReadOnly);
  ForKeyTypes([&]<class K>(std::type_identity<K>) {
    auto const agent = Take(StoredMap<K>);
    EXPECT_TRUE((*agent)->ReadOnly());
    MessageOf(ContractError::ReadOnly, [&] { (*agent)->Clear(); });
    EXPECT_EQ(EntriesOf(*agent), FirstEntries<K>(2));
  });
}

TEST_P(ContractObjectAgents, AgentsCountTheirReferences) {
  COVERS(cls_AgentListObj, 0, 9, 10, 11);
  COVERS(cls_AgentMapKey2Obj, 0, 7, 8, 9);
  Write([&](cls_WriteVisitor const& visitor) {
    WriteList(visitor, m_Kept, 2);
    WriteMaps(visitor, m_Kept, 2);
  });
  auto const expect = [](auto* agent) { ExpectCountsReferences(*Receive(agent)); };
  Read([&](cls_ReadVisitor const& visitor) {
    expect(ObjectIn(visitor, FieldOf(ListObjKind.m_Name)).Memento()->MakeAgentListObj());
    ForKeyTypes([&]<class K>(std::type_identity<K>) {
      K tag{};
      expect(ObjectIn(visitor, FieldOf(Keys<K>::Kind.m_Name)).Memento()->MakeAgentMapKey2Obj(&tag));
    });
  });
}

TEST_P(ContractObjectAgents, AgentsMayBeDroppedWhileTheirObjectIsSaved) {
  COVERS(cls_AgentListObj, 0, 4, 9, 10, 11);
  COVERS(cls_AgentMapKey2Obj, 0, 4, 7, 8, 9);
  Write([&](cls_WriteVisitor const& visitor) {
    WriteList(visitor, m_Kept, 2);
    WriteMaps(visitor, m_Kept, 2);
    m_Kept.clear();
  });
  EXPECT_EQ(NumbersOf(*Take(StoredList)), (std::vector<int>{0, 10}));
  ForKeyTypes(
      [&]<class K>(std::type_identity<K>) { EXPECT_EQ(EntriesOf(*Take(StoredMap<K>)), FirstEntries<K>(2)); });
}

TEST_P(ContractObjectAgents, ASessionThatEndsDetachesTheHoldersOfAllAgents) {
  COVERS(cls_AgentListObj, 13);
  COVERS(cls_AgentMapKey2Obj, 13);
  Write([&](cls_WriteVisitor const& visitor) {
    WriteList(visitor, m_Kept, 2);
    WriteMaps(visitor, m_Kept, 2);
  });
  std::unique_ptr<ListHolder> list;
  std::unique_ptr<MapHolder<int>> ints;
  std::unique_ptr<MapHolder<cow_String>> strings;
  {
    list = Take(StoredList);
    ints = Take(StoredMap<int>);
    strings = Take(StoredMap<cow_String>);
  }
  EndSession();
  EXPECT_EQ(list->m_Detaches, 1);
  EXPECT_EQ(ints->m_Detaches, 1);
  EXPECT_EQ(strings->m_Detaches, 1);
  EXPECT_FALSE(list->IsAttached());
}

} // namespace
