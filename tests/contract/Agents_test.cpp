#include "persist/backend/cls_AgentListPrim.h"
#include "persist/backend/cls_ReadListPrim.h"
#include "persist/backend/cls_WriteListPrim.h"
#include "tests/contract/ContractTest.h"

// Agents of lists of primitives.

namespace {

CONTRACT_SUITE(ContractAgents);

template <class T> using Holder = AgentHolder<cls_AgentListPrim<T>>;
using Kept = std::vector<std::unique_ptr<cls_PC>>;

template <class T> std::unique_ptr<Holder<T>> NewAgent(cls_MementoWrite& memento, int sizeHint = 1) {
  T const tag{};
  return std::make_unique<Holder<T>>(memento.MakeAgentListPrim(&tag, sizeHint));
}
template <class T> std::unique_ptr<Holder<T>> StoredAgent(cls_ReadVisitor const& visitor) {
  cls_ReadVisitor const child = ObjectIn(visitor, FieldFor<T>("List"));
  T tag{};
  return std::make_unique<Holder<T>>(child.Memento()->MakeAgentListPrim(&tag));
}

template <class T> std::unique_ptr<T[]> Samples(int first, int count) {
  auto values = std::make_unique<T[]>(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) values[static_cast<std::size_t>(i)] = SampleOf<T>(first + i);
  return values;
}

/// Writes a list of `count` elements through an agent and keeps the agent.
template <class T>
void WriteThroughAgent(cls_WriteVisitor const& visitor, Kept& kept, int count, int sizeHint = 1) {
  WriteCollectionOf<T>(visitor, ListKind, [&](cls_MementoWrite& memento) {
    auto agent = NewAgent<T>(memento, sizeHint);
    (*agent)->WriteRun(0, count, Samples<T>(0, count).get());
    (*agent)->EndFlush();
    kept.push_back(std::move(agent));
  });
}

template <class T> void ExpectRun(Holder<T> const& agent, int first, int count, int sampleShift = 0) {
  auto const values = std::make_unique<T[]>(static_cast<std::size_t>(count) + 1);
  ASSERT_EQ(agent->ReadRun(first, count, values.get()), count);
  for (int i = 0; i < count; ++i)
    ASSERT_TRUE(IsSameValue(values[static_cast<std::size_t>(i)], SampleOf<T>(first + i + sampleShift)))
        << first + i;
}

#define EXPECT_AGENT_KEEPS_A_LIST(Type)                                                                      \
  COVERS(cls_AgentListPrim, 0, 1, 5, 6, 7, 8, 9, 11);                                                        \
  Write([&](cls_WriteVisitor const& visitor) { WriteThroughAgent<Type>(visitor, m_Kept, 5000); });           \
  auto const agent = Take(StoredAgent<Type>);                                                                \
  EXPECT_EQ((*agent)->Count(), 5000);                                                                        \
  ExpectRun(*agent, 0, 5000);                                                                                \
  ExpectRun(*agent, 2040, 20);                                                                               \
  ExpectRun(*agent, 4999, 1)

TEST_P(ContractAgents, AnAgentKeepsAListOfBool) {
  COVERS(cls_MementoWrite, 47);
  COVERS(cls_MementoRead, 51);
  EXPECT_AGENT_KEEPS_A_LIST(bool);
}
TEST_P(ContractAgents, AnAgentKeepsAListOfDouble) {
  COVERS(cls_MementoWrite, 48);
  COVERS(cls_MementoRead, 52);
  EXPECT_AGENT_KEEPS_A_LIST(double);
}
TEST_P(ContractAgents, AnAgentKeepsAListOfFloat) {
  COVERS(cls_MementoWrite, 49);
  COVERS(cls_MementoRead, 53);
  EXPECT_AGENT_KEEPS_A_LIST(float);
}
TEST_P(ContractAgents, AnAgentKeepsAListOfInt) {
  COVERS(cls_MementoWrite, 50);
  COVERS(cls_MementoRead, 54);
  EXPECT_AGENT_KEEPS_A_LIST(int);
}
TEST_P(ContractAgents, AnAgentKeepsAListOfString) {
  COVERS(cls_MementoWrite, 51);
  COVERS(cls_MementoRead, 55);
  EXPECT_AGENT_KEEPS_A_LIST(cow_String);
}
TEST_P(ContractAgents, AnAgentKeepsAListOfUnsignedInt) {
  COVERS(cls_MementoWrite, 52);
  COVERS(cls_MementoRead, 56);
  EXPECT_AGENT_KEEPS_A_LIST(unsigned int);
}

TEST_P(ContractAgents, RunsGoOverTheStoredElementsAndBeyondTheEnd) {
  COVERS(cls_AgentListPrim, 1, 5, 6);
  Write([&](cls_WriteVisitor const& visitor) {
    ForListTypes([&]<class T>(std::type_identity<T>) { WriteThroughAgent<T>(visitor, m_Kept, 3000); });
  });
  ForListTypes([&]<class T>(std::type_identity<T>) {
    auto const agent = Take(StoredAgent<T>);
    (*agent)->WriteRun(2000, 3000, Samples<T>(2007, 3000).get());
    EXPECT_EQ((*agent)->Count(), 5000);
    (*agent)->WriteRun(5, 1, Samples<T>(12, 1).get());
    (*agent)->WriteRun(7, 0, nullptr);
    (*agent)->EndFlush();
  });
  Step();
  ForListTypes([&]<class T>(std::type_identity<T>) {
    SCOPED_TRACE(ContractTypeName<T>);
    auto const agent = Take(StoredAgent<T>);
    EXPECT_EQ((*agent)->Count(), 5000);
    ExpectRun(*agent, 0, 5);
    ExpectRun(*agent, 5, 1, 7);
    ExpectRun(*agent, 6, 1994);
    ExpectRun(*agent, 2000, 3000, 7);
  });
}

TEST_P(ContractAgents, AReadBeyondTheEndReturnsHowManyThereWere) {
  COVERS(cls_AgentListPrim, 6);
  Write([&](cls_WriteVisitor const& visitor) { WriteThroughAgent<int>(visitor, m_Kept, 3000); });
  {
    auto const agent = Take(StoredAgent<int>);
    std::vector<int> values(100, 1);
    EXPECT_EQ((*agent)->ReadRun(2990, 100, values.data()), 10);
    EXPECT_EQ(values[9], SampleOf<int>(2999));
    EXPECT_EQ(values[10], 1);
    EXPECT_EQ((*agent)->ReadRun(3000, 5, values.data()), 0);
    EXPECT_EQ((*agent)->ReadRun(1'000'000, 5, values.data()), 0);
    EXPECT_EQ((*agent)->ReadRun(0, 0, values.data()), 0);
  }
}

TEST_P(ContractAgents, AnAgentAndTheListCursorSeeTheSameList) {
  COVERS(cls_MementoRead, 31, 54);
  COVERS(cls_MementoWrite, 27);
  COVERS(cls_ReadListPrim, 2, 6);
  COVERS(cls_AgentListPrim, 1, 6);
  Write([&](cls_WriteVisitor const& visitor) {
    WriteThroughAgent<int>(visitor, m_Kept, 2500);
    WriteCollectionOf<float>(visitor, ListKind, [](cls_MementoWrite& memento) {
      float const tag = 0;
      auto const builder = Receive(memento.MakeWriteListPrim(&tag, 1));
      for (int i = 0; i < 2500; ++i) builder->Append(SampleOf<float>(i));
    });
  });
  Read([](cls_ReadVisitor const& visitor) {
    cls_ReadVisitor const child = ObjectIn(visitor, FieldFor<int>("List"));
    int tag = 0;
    auto const cursor = Receive(child.Memento()->MakeReadListPrim(&tag));
    EXPECT_EQ(cursor->Count(), 2500);
    for (int i = 0; i < 2500; ++i) ASSERT_EQ(cursor->Next(), SampleOf<int>(i));
  });
  auto const agent = Take(StoredAgent<float>);
  EXPECT_EQ((*agent)->Count(), 2500);
  ExpectRun(*agent, 0, 2500);
}

TEST_P(ContractAgents, TheExpectedNumberOfElementsComesBack) {
  COVERS(cls_AgentListPrim, 2);
  for (int const sizeHint : {1, 1000, 5'000'000}) {
    Write([&](cls_WriteVisitor const& visitor) {
      WriteCollectionOf<double>(visitor, ListKind, [&](cls_MementoWrite& memento) {
        auto agent = NewAgent<double>(memento, sizeHint);
        EXPECT_EQ((*agent)->SizeHint(), sizeHint);
        m_Kept.push_back(std::move(agent));
      });
    });
    EXPECT_EQ((*Take(StoredAgent<double>))->SizeHint(), sizeHint);
  }
}

TEST_P(ContractAgents, OwnWritesAreNoChangeByAnotherSession) {
  COVERS(cls_AgentListPrim, 3);
  Write([&](cls_WriteVisitor const& visitor) { WriteThroughAgent<int>(visitor, m_Kept, 10); });
  {
    auto const agent = Take(StoredAgent<int>);
    EXPECT_FALSE((*agent)->Changed());
    (*agent)->WriteRun(0, 1, Samples<int>(5, 1).get());
    (*agent)->EndFlush();
    EXPECT_FALSE((*agent)->Changed());
  }
}

TEST_P(ContractAgents, AWriteOfAnotherSessionIsAChangeOnce) {
  COVERS(cls_AgentListPrim, 3);
  CONTRACT_NEEDS(m_SharesChanges);
  Write([&](cls_WriteVisitor const& visitor) {
    WriteThroughAgent<int>(visitor, m_Kept, 10);
    WriteThroughAgent<double>(visitor, m_Kept, 10);
  });
  std::unique_ptr<Holder<int>> agent;
  std::unique_ptr<Holder<double>> other;
  {
    agent = Take(StoredAgent<int>);
    other = Take(StoredAgent<double>);
  }
  EXPECT_FALSE((*agent)->Changed());
  {
    auto const second = SecondSession();
    std::unique_ptr<Holder<int>> writer;
    Load(*second, [&](cls_ReadVisitor const& visitor) { writer = StoredAgent<int>(visitor); });
    (*writer)->WriteRun(3, 1, Samples<int>(8, 1).get());
    (*writer)->EndFlush();
  }
  EXPECT_TRUE((*agent)->Changed());
  EXPECT_FALSE((*agent)->Changed());
  EXPECT_FALSE((*other)->Changed());
  ExpectRun(*agent, 3, 1, 5);
}

TEST_P(ContractAgents, AnAgentCountsItsReferences) {
  COVERS(cls_AgentListPrim, 0, 7, 8, 9);
  Write([&](cls_WriteVisitor const& visitor) { WriteThroughAgent<int>(visitor, m_Kept, 10); });
  Read([](cls_ReadVisitor const& visitor) {
    cls_ReadVisitor const child = ObjectIn(visitor, FieldFor<int>("List"));
    int tag = 0;
    ExpectCountsReferences(*Receive(child.Memento()->MakeAgentListPrim(&tag)));
  });
}

TEST_P(ContractAgents, AnAgentOfASessionThatOnlyReadsSaysSoAndRefusesWrites) {
  COVERS(cls_AgentListPrim, 5, 10);
  CONTRACT_NEEDS(m_ReadsOnly);
  Write([&](cls_WriteVisitor const& visitor) { WriteThroughAgent<int>(visitor, m_Kept, 10); });
  EXPECT_FALSE((*Take(StoredAgent<int>))->ReadOnly());
  Reopen(ContractMode::ReadOnly);
  {
    auto const agent = Take(StoredAgent<int>);
    EXPECT_TRUE((*agent)->ReadOnly());
    ExpectRun(*agent, 0, 10);
    MessageOf(ContractError::ReadOnly, [&] { (*agent)->WriteRun(0, 1, Samples<int>(0, 1).get()); });
    ExpectRun(*agent, 0, 10);
  }
}

TEST_P(ContractAgents, AnAgentMayBeDroppedWhileItsObjectIsSaved) {
  COVERS(cls_MementoWrite, 50);
  COVERS(cls_AgentListPrim, 0, 4, 5, 8, 9);
  Write([&](cls_WriteVisitor const& visitor) {
    WriteThroughAgent<int>(visitor, m_Kept, 3000);
    m_Kept.clear();
    visitor.Write(FieldFor<int>(), 1);
  });
  auto const agent = Take(StoredAgent<int>);
  EXPECT_EQ((*agent)->Count(), 3000);
  ExpectRun(*agent, 0, 3000);
}

TEST_P(ContractAgents, AnAgentMayBeDroppedBeforeItsMemento) {
  COVERS(cls_MementoWrite, 50);
  COVERS(cls_AgentListPrim, 0, 4, 5, 8, 9);
  Write([](cls_WriteVisitor const& visitor) {
    WriteCollectionOf<int>(visitor, ListKind, [](cls_MementoWrite& memento) {
      auto const agent = NewAgent<int>(memento);
      (*agent)->WriteRun(0, 3000, Samples<int>(0, 3000).get());
      (*agent)->EndFlush();
    });
  });
  auto const agent = Take(StoredAgent<int>);
  EXPECT_EQ((*agent)->Count(), 3000);
  ExpectRun(*agent, 0, 3000);
}

TEST_P(ContractAgents, SmallRunsOfOneSaveFollowEachOther) {
  COVERS(cls_MementoWrite, 50);
  COVERS(cls_AgentListPrim, 5, 6);
  Write([&](cls_WriteVisitor const& visitor) {
    WriteCollectionOf<int>(visitor, ListKind, [&](cls_MementoWrite& memento) {
      auto agent = NewAgent<int>(memento);
      for (int i = 0; i < 5; ++i) (*agent)->WriteRun(i, 1, Samples<int>(i, 1).get());
      m_Kept.push_back(std::move(agent));
    });
  });
  ExpectRun(*Take(StoredAgent<int>), 0, 5);
}

TEST_P(ContractAgents, AnAgentMayBeDroppedWhileItsObjectIsLoaded) {
  COVERS(cls_MementoRead, 54);
  COVERS(cls_AgentListPrim, 1, 4, 6);
  Write([&](cls_WriteVisitor const& visitor) { WriteThroughAgent<int>(visitor, m_Kept, 3000); });
  {
    auto const agent = Take(StoredAgent<int>);
    EXPECT_EQ((*agent)->Count(), 3000);
    ExpectRun(*agent, 0, 3000);
  }
  Write([](cls_WriteVisitor const& visitor) { visitor.Write(FieldFor<int>(), 1); }, "other");
}

TEST_P(ContractAgents, AnAgentOutlivesItsMementoAndTheLoad) {
  COVERS(cls_MementoRead, 54);
  COVERS(cls_AgentListPrim, 4, 5, 6);
  Write([&](cls_WriteVisitor const& visitor) { WriteThroughAgent<int>(visitor, m_Kept, 3000); });
  std::unique_ptr<Holder<int>> agent;
  agent = Take(StoredAgent<int>);
  ExpectRun(*agent, 0, 3000);
  (*agent)->WriteRun(3000, 10, Samples<int>(3000, 10).get());
  (*agent)->EndFlush();
  ExpectRun(*agent, 2999, 11);
  agent.reset();
  ReopenIfPossible();
  ExpectRun(*Take(StoredAgent<int>), 0, 3010);
}

TEST_P(ContractAgents, AnAgentOfASaveOutlivesTheSave) {
  COVERS(cls_MementoWrite, 50);
  COVERS(cls_AgentListPrim, 5, 6);
  std::unique_ptr<Holder<int>> agent;
  Save(Session(), Scripted([&](cls_WriteVisitor const& visitor) {
         WriteCollectionOf<int>(visitor, ListKind,
                                [&](cls_MementoWrite& memento) { agent = NewAgent<int>(memento); });
       }));
  (*agent)->WriteRun(0, 2100, Samples<int>(0, 2100).get());
  (*agent)->EndFlush();
  agent.reset();
  Step();
  {
    auto const stored = Take(StoredAgent<int>);
    EXPECT_EQ((*stored)->Count(), 2100);
    ExpectRun(*stored, 0, 2100);
  }
}

TEST_P(ContractAgents, ATransactionFlushesTheHoldersBeforeItCommits) {
  COVERS(cls_AgentListPrim, 4, 11);
  CONTRACT_NEEDS(m_HasTransactions);
  Write([&](cls_WriteVisitor const& visitor) { WriteThroughAgent<int>(visitor, m_Kept, 10); });
  std::unique_ptr<Holder<int>> agent;
  agent = Take(StoredAgent<int>);
  Session().Begin();
  (*agent)->WriteRun(0, 1, Samples<int>(4, 1).get());
  int const before = agent->m_Flushes;
  Session().Commit();
  EXPECT_GT(agent->m_Flushes, before);
  EXPECT_TRUE(agent->IsAttached());
}

TEST_P(ContractAgents, WhatIsWrittenInATransactionThatIsRolledBackIsNotThere) {
  COVERS(cls_AgentListPrim, 1, 5, 6);
  CONTRACT_NEEDS(m_HasTransactions);
  Write([&](cls_WriteVisitor const& visitor) { WriteThroughAgent<int>(visitor, m_Kept, 2100); });
  std::unique_ptr<Holder<int>> agent;
  agent = Take(StoredAgent<int>);
  Session().Begin();
  (*agent)->WriteRun(2000, 1000, Samples<int>(0, 1000).get());
  EXPECT_EQ((*agent)->Count(), 3000);
  Session().Rollback();
  ASSERT_TRUE(agent->IsAttached());
  EXPECT_EQ((*agent)->Count(), 2100);
  ExpectRun(*agent, 0, 2100);
}

TEST_P(ContractAgents, ASessionThatEndsFlushesAndDetachesTheHolders) {
  COVERS(cls_AgentListPrim, 11);
  Write([&](cls_WriteVisitor const& visitor) { WriteThroughAgent<int>(visitor, m_Kept, 10); });
  std::unique_ptr<Holder<int>> agent;
  agent = Take(StoredAgent<int>);
  EndSession();
  if (Can().m_Reopens) {
    EXPECT_GE(agent->m_Flushes, 1); // else what it writes is gone anyway
  }
  EXPECT_EQ(agent->m_Detaches, 1);
  EXPECT_FALSE(agent->IsAttached());
}

TEST_P(ContractAgents, AHolderThatIsGoneIsNotDetached) {
  COVERS(cls_AgentListPrim, 8, 9, 11);
  Write([&](cls_WriteVisitor const& visitor) { WriteThroughAgent<int>(visitor, m_Kept, 10); });
  std::unique_ptr<Holder<int>> first;
  std::unique_ptr<Holder<int>> second;
  {
    first = Take(StoredAgent<int>);
    second = std::make_unique<Holder<int>>(first->Get());
  }
  first.reset();
  ExpectRun(*second, 0, 10);
  EndSession();
  EXPECT_EQ(second->m_Detaches, 1);
}

} // namespace
