#include "store/session/sto_Session.h"

#include <algorithm>

#include "persist/backend/cls_AgentBlob.h"
#include "persist/backend/cls_WriteListPrim.h"
#include "persist/visitors/cls_BlobWriter.h"
#include "store/sqlite/sto_SqliteDriver.h"
#include "tests/support/AllocationProbe.h"
#include "tests/support/store/StoreFaultDriver.h"
#include "tests/support/store/StoreNewFault.h"
#include "tests/support/store/StoreRangesDriver.h"
#include "tests/support/store/StoreTest.h"
#include "wrappers/cls_xp1DArrayList.h"

namespace {

/// How the driver under a session hands out ids.
enum class HandedOut { FromTheNextOn, InSmallRanges };

/// A session on a driver that fails on request, in a store with object `m_Old` and a long list.
class StoreSession : public StoreFileTest, public testing::WithParamInterface<HandedOut> {
 protected:
  /// An object with a base part, fields, a list in a field, and a held object.
  struct Model : Bottom {
    static constexpr unsigned int TypeId() noexcept { return Middle::TypeId(); }
    Model() = default;
    explicit Model(cls_ReadVisitor const& visitor)
        : Bottom(cls_ReadVisitor(visitor)), m_Text(visitor.Read(cls_FieldHandle("m_Text"_cow), ""_cow)),
          m_List(cls_ReadVisitor(visitor, cls_FieldHandle("m_List"_cow)), nullptr),
          m_Node(sto_ReadShared<Node>(visitor, cls_FieldHandle("m_Node"_cow))), m_Uid(visitor.GetUid()) {}
    void DBWrite(cls_WriteVisitor const& visitor) const {
      if (!visitor.StartWrite(TypeId(), m_Uid)) return;
      Bottom::DBWrite(cls_WriteVisitor(visitor, Bottom::TypeId()));
      visitor.Write(cls_FieldHandle("m_Text"_cow), m_Text);
      m_List.DBWrite(cls_WriteVisitor(visitor, cls_FieldHandle("m_List"_cow), nullptr, &m_List));
      if (m_Node)
        m_Node->DBWrite(cls_WriteVisitor(visitor, cls_FieldHandle("m_Node"_cow), nullptr, m_Node.get()));
    }
    void Fill(int value, int count) {
      m_BottomValue = value;
      m_Text = cow_String("text number " + std::to_string(value));
      m_List = cls_xp1DArrayListInt();
      for (int i = 0; i < count; ++i) m_List.Append(value);
      m_Node = std::make_shared<Node>(value);
    }
    void ExpectFilled(int value, int count) const {
      EXPECT_EQ(m_BottomValue, value);
      EXPECT_EQ(m_Text.View(), "text number " + std::to_string(value));
      ASSERT_EQ(m_List.Count(), count);
      for (int i = 0; i < count; ++i) ASSERT_EQ(m_List.ConstGet(i), value);
      ASSERT_NE(m_Node, nullptr);
      EXPECT_EQ(m_Node->m_Value, value);
    }
    cow_String m_Text;
    cls_xp1DArrayListInt m_List;
    std::shared_ptr<Node> m_Node;
    cls_Uid m_Uid;
  };

  void SetUp() override {
    Connect(sto_SqliteDriver::Create(Path(), {}));
    m_Old.Fill(1, 5000);
    m_Store->Save("old", m_Old);
  }
  void TearDown() override { StoreNewFault::FailAt(0); }

  void Connect(std::unique_ptr<sto_Driver> driver) {
    if (GetParam() == HandedOut::InSmallRanges)
      driver = std::make_unique<StoreRangesDriver>(std::move(driver), m_Sequence);
    auto session = std::make_unique<sto_Session>(
        Path(), std::make_unique<StoreFaultDriver>(std::move(driver), m_Plan), TestClasses());
    m_Session = session.get();
    m_Store = std::make_unique<sto_Store>(std::move(session));
  }

  void Arm(int call, bool undoes = false) {
    m_Plan.m_CallsLeft = call;
    m_Plan.m_UndoesTransaction = undoes;
    m_Plan.m_FailedCall.clear();
  }

  /// The id to which an identity is tied; 0 if it is not.
  std::int64_t TiedId(cls_Uid const& uid) {
    cls_IdentityMap::Tie const* const tie = m_Session->Identities().Find(uid);
    return tie == nullptr ? 0 : tie->Id();
  }

  StoreFaultDriver::Plan m_Plan;
  StoreRangesDriver::Sequence m_Sequence;
  sto_Session* m_Session = nullptr;
  std::unique_ptr<sto_Store> m_Store;
  Model m_Old;
};

TEST_P(StoreSession, FailureOfEachCallWithinASaveLeavesTheStoreAndTheTiesAsTheyWere) {
  for (bool const undoes : {false, true}) {
    std::vector<std::string> failed;
    for (int call = 1;; ++call) {
      SCOPED_TRACE("call " + std::to_string(call) + (undoes ? ", undoing" : ""));
      std::size_t const ties = m_Session->Identities().Count();
      std::int64_t const oldId = TiedId(m_Old.m_Uid);
      Model model;
      model.Fill(7, 2500);
      Arm(call, undoes);
      bool hasRaised = false;
      try {
        m_Store->Save("new " + std::to_string(undoes), model);
      } catch (sto_Exception const& exception) {
        hasRaised = true;
        EXPECT_EQ(exception.AsString().View(), StoreFaultDriver::Message) << m_Plan.m_FailedCall;
      }
      ASSERT_EQ(hasRaised, !m_Plan.m_FailedCall.empty()) << m_Plan.m_FailedCall;
      failed.push_back(m_Plan.m_FailedCall);
      Arm(0);
      ASSERT_FALSE(m_Session->InTransaction());
      ASSERT_EQ(TiedId(m_Old.m_Uid), oldId) << failed.back();
      if (!hasRaised) break;
      ASSERT_EQ(m_Session->Identities().Count(), ties) << failed.back();
      ASSERT_EQ(TiedId(model.m_Uid), 0);
      ASSERT_EQ(m_Store->Roots().size(), undoes ? 2U : 1U);
      m_Store->Load<Model>("old")->ExpectFilled(1, 5000);
      m_Store->Save("old", m_Old); // replaces itself
      ASSERT_EQ(m_Store->ObjectCount(), undoes ? 6 : 3);
    }
    m_Store->Load<Model>("new " + std::to_string(undoes))->ExpectFilled(7, 2500);
    for (char const* const call : {"Begin", "SetMark", "WriteBlock", "WriteObject", "SetRoot", "ReleaseMark",
                                   "TakeIds", "SetIdsUsed", "Commit"})
      EXPECT_NE(std::find(failed.begin(), failed.end(), call), failed.end()) << call << " was never reached";
  }
  EXPECT_EQ(IntegrityOf(Path()), "ok");
}

TEST_P(StoreSession, FailureOfEachCallWithinAReplacingSaveKeepsTheOldObject) {
  for (int call = 1;; ++call) {
    SCOPED_TRACE("call " + std::to_string(call));
    Model changed = m_Old;
    changed.m_BottomValue = 2;
    changed.m_List.Truncate(10);
    Arm(call);
    try {
      m_Store->Save("old", changed);
    } catch (sto_Exception const&) {
    }
    bool const failed = !m_Plan.m_FailedCall.empty();
    Arm(0);
    if (!failed) break;
    m_Store->Load<Model>("old")->ExpectFilled(1, 5000);
    ASSERT_EQ(SqlFile(Path()).Integer("SELECT count(*) FROM stored_block"), 3);
  }
  EXPECT_EQ(m_Store->Load<Model>("old")->m_List.Count(), 10);
  EXPECT_EQ(SqlFile(Path()).Integer("SELECT count(*) FROM stored_block"), 0);
}

TEST_P(StoreSession, FailureOfEachCallWithinALoadLeavesTheStoreUsable) {
  m_Store.reset();
  for (int call = 1;; ++call) {
    SCOPED_TRACE("call " + std::to_string(call));
    Connect(sto_SqliteDriver::Open(Path(), false));
    Arm(call);
    bool hasRaised = false;
    try {
      m_Store->Load<Model>("old")->ExpectFilled(1, 5000);
    } catch (sto_Exception const& exception) {
      hasRaised = true;
      EXPECT_EQ(exception.AsString().View(), StoreFaultDriver::Message);
    }
    ASSERT_EQ(hasRaised, !m_Plan.m_FailedCall.empty()) << m_Plan.m_FailedCall;
    Arm(0);
    ASSERT_FALSE(m_Session->InTransaction());
    ASSERT_EQ(m_Session->Identities().Count(), 0U);
    m_Store->Load<Model>("old")->ExpectFilled(1, 5000);
    m_Store->Save("more", Node(1));
    if (!hasRaised) break;
  }
}

TEST_P(StoreSession, FailureOfEachCallWithinATransactionLeavesItsEarlierSavesOrNothing) {
  for (bool const undoes : {false, true})
    for (int call = 1;; ++call) {
      SCOPED_TRACE("call " + std::to_string(call) + (undoes ? ", undoing" : ""));
      Node const first(10);
      Model second;
      second.Fill(11, 2500);
      Node const third(12);
      std::vector<std::string> saved;
      bool isCommitted = false;
      Arm(call, undoes);
      try {
        sto_Transaction transaction(*m_Store);
        auto const save = [&](char const* root, auto const& object) {
          try {
            m_Store->Save(root, object);
            saved.emplace_back(root);
          } catch (sto_Exception const&) {
          }
        };
        save("1 first", first);
        save("2 second", second);
        save("3 third", third);
        transaction.Commit();
        isCommitted = true;
      } catch (sto_Exception const&) {
      }
      bool const failed = !m_Plan.m_FailedCall.empty();
      Arm(0);
      std::vector<std::string> expected = isCommitted ? saved : std::vector<std::string>();
      expected.emplace_back("old");
      ASSERT_EQ(m_Store->Roots(), expected) << m_Plan.m_FailedCall;
      ASSERT_FALSE(failed && undoes && isCommitted);
      ASSERT_TRUE(isCommitted || TiedId(first.m_Uid) + TiedId(second.m_Uid) + TiedId(third.m_Uid) == 0);
      m_Store->Save("1 first", first);
      m_Store->Save("2 second", second);
      m_Store->Save("3 third", third);
      m_Store->Load<Model>("2 second")->ExpectFilled(11, 2500);
      ASSERT_EQ(m_Store->Load<Node>("1 first")->m_Uid.Entry(), first.m_Uid.Entry());
      for (char const* const root : {"1 first", "2 second", "3 third"}) m_Store->RemoveRoot(root);
      if (!failed) break;
    }
}

TEST_P(StoreSession, SaveThatCannotBeUndoneRollsBackItsTransaction) {
  Node const first(1);
  sto_Transaction transaction(*m_Store);
  m_Store->Save("first", first);
  Arm(4);
  m_Plan.m_RollbackToMarkFails = true;
  Model model;
  model.Fill(3, 3000);
  MessageOf(sto_ErrorKind::Unavailable, [&] { m_Store->Save("second", model); });
  m_Plan.m_RollbackToMarkFails = false;
  for (std::function<void()> const& act : std::initializer_list<std::function<void()>>{
           [&] { m_Store->Save("third", Node(3)); }, [&] { m_Store->RemoveRoot("old"); },
           [&] { static_cast<void>(m_Store->Load<Model>("old")); }, [&] { transaction.Commit(); },
           [&] { static_cast<void>(m_Store->Roots()); }}) {
    std::string const message = MessageOf(sto_ErrorKind::Unavailable, act);
    EXPECT_TRUE(Contains(message, "roll it back") && Contains(message, Path())) << message;
  }
  transaction.Rollback();
  EXPECT_EQ(m_Store->Roots(), std::vector<std::string>{"old"});
  EXPECT_EQ(TiedId(first.m_Uid), 0);
  m_Store->Save("first", first);
  EXPECT_EQ(m_Store->Roots(), (std::vector<std::string>{"first", "old"}));
}

TEST_P(StoreSession, TransactionThatCannotBeginKeepsTheTiesOfThePreviousOne) {
  for (int call = 1;; ++call) {
    SCOPED_TRACE("call " + std::to_string(call));
    Node const fresh(call);
    m_Store->Save("fresh", fresh);
    std::int64_t const id = TiedId(fresh.m_Uid);
    ASSERT_GT(id, 0);
    Arm(call);
    bool hasBegun = false;
    try {
      sto_Transaction const transaction(*m_Store);
      hasBegun = true;
    } catch (sto_Exception const&) {
    }
    Arm(0);
    ASSERT_EQ(TiedId(fresh.m_Uid), id) << m_Plan.m_FailedCall;
    if (hasBegun) break;
  }
}

TEST_P(StoreSession, CommitThatFailsCanBeTriedAgain) {
  sto_Transaction transaction(*m_Store);
  m_Store->Save("node", Node(1));
  Arm(2); // call 1 sets the next object id, call 2 commits
  MessageOf(sto_ErrorKind::Unavailable, [&] { transaction.Commit(); });
  EXPECT_EQ(m_Plan.m_FailedCall, "Commit");
  m_Store->Save("more", Node(2));
  transaction.Commit();
  EXPECT_EQ(m_Store->Roots(), (std::vector<std::string>{"more", "node", "old"}));
}

TEST_P(StoreSession, FailureInADestructorStopsTheSaveAtTheNextObject) {
  struct Chain {
    static constexpr unsigned int TypeId() noexcept { return Scripted::TypeId(); }
    void DBWrite(cls_WriteVisitor const& visitor) const {
      if (!visitor.StartWrite(TypeId(), m_Uid)) return;
      Node const first(1);
      first.DBWrite(cls_WriteVisitor(visitor, cls_FieldHandle(0, cow_String()), nullptr, &first));
      m_ReachedSecond = true;
      Node const second(2);
      second.DBWrite(cls_WriteVisitor(visitor, cls_FieldHandle(1, cow_String()), nullptr, &second));
      m_PassedSecond = true;
    }
    mutable bool m_ReachedSecond = false;
    mutable bool m_PassedSecond = false;
    cls_Uid m_Uid;
  };
  Chain chain;
  sto_Transaction transaction(*m_Store);
  m_Store->Save("warm", chain);
  chain.m_Uid.NewUid();
  chain.m_PassedSecond = false;
  Arm(2); // call 1 is SetMark, call 2 writes the first node's record, in a destructor
  MessageOf(sto_ErrorKind::Unavailable, [&] { m_Store->Save("chain", chain); });
  EXPECT_EQ(m_Plan.m_FailedCall, "WriteObject");
  EXPECT_TRUE(chain.m_ReachedSecond);
  EXPECT_FALSE(chain.m_PassedSecond);
  transaction.Commit();
  EXPECT_EQ(m_Store->Roots(), (std::vector<std::string>{"old", "warm"}));
}

TEST_P(StoreSession, EveryFailureToAllocateWithinASaveLeavesTheStoreAndTheTiesAsTheyWere) {
  int failures = 0;
  int unneeded = 0;
  for (long long step = 1;; ++step) {
    SCOPED_TRACE("allocation " + std::to_string(step));
    m_Store.reset(); // a session that has no memory in reserve yet
    Connect(sto_SqliteDriver::Open(Path(), false));
    m_Store->Load<Model>("old")->ExpectFilled(1, 5000);
    Model model;
    model.Fill(7, 2500);
    std::size_t const ties = m_Session->Identities().Count();
    StoreNewFault::FailAt(step);
    bool hasRaised = false;
    try {
      m_Store->Save("new", model);
    } catch (std::bad_alloc const&) {
      hasRaised = true;
    }
    bool const failed = StoreNewFault::HasFailed();
    StoreNewFault::FailAt(0);
    ASSERT_FALSE(m_Session->InTransaction());
    if (!failed) {
      ASSERT_FALSE(hasRaised);
      break;
    }
    if (!hasRaised) { // what failed was not needed, such as room for memory to reuse
      ++unneeded;
      m_Store->Load<Model>("new")->ExpectFilled(7, 2500);
      m_Store->RemoveRoot("new");
      ASSERT_EQ(m_Store->CollectGarbage(), 3);
      continue;
    }
    ++failures;
    ASSERT_EQ(m_Session->Identities().Count(), ties);
    ASSERT_EQ(m_Store->Roots().size(), 1U);
    m_Store->Load<Model>("old")->ExpectFilled(1, 5000);
    ASSERT_EQ(m_Store->ObjectCount(), 3);
  }
  EXPECT_GT(failures, 20);
  EXPECT_LT(unneeded, 5);
  m_Store->Load<Model>("new")->ExpectFilled(7, 2500);
}

TEST_P(StoreSession, SwallowedAllocationFailureLeavesNothingHalfWritten) {
  std::vector<char> const bytes(100'000, 'b');
  cow_String const text(std::string(5000, 't'));
  bool isHiding = false;
  bool hasHidden = false;
  auto const hide = [&](auto write) {
    try {
      write();
    } catch (std::bad_alloc const&) {
      if (!isHiding) throw;
      hasHidden = true;
    }
  };
  Scripted const object([&](cls_WriteVisitor const& visitor) {
    cls_MementoWrite& memento = *visitor.Memento();
    hide([&] { memento.Write(cls_FieldHandle("m_Text"_cow), text); });
    hide([&] { memento.WriteBytes(cls_FieldHandle("m_Bytes"_cow), bytes.data(), 100'000); });
    std::unique_ptr<cls_MementoWrite> list;
    hide([&] {
      list.reset(memento.MakeFieldWriteObj(cls_FieldHandle("m_List"_cow), cls_InternalListTypeId, cls_Uid(),
                                           nullptr));
    });
    std::unique_ptr<cls_WriteListPrim<int>> elements;
    if (list != nullptr)
      hide([&] { elements.reset(list->MakeWriteListPrim(static_cast<int*>(nullptr), 1)); });
    for (int i = 0; elements != nullptr && i < 5000; ++i) hide([&] { elements->Append(i); });
    hide([&] { memento.Write(cls_FieldHandle("m_Int"_cow), 7); });
  });
  m_Store->Save("first", object); // all names are known from now on
  isHiding = true;
  int hidden = 0;
  for (long long step = 1;; ++step) {
    SCOPED_TRACE(step);
    std::string const root = "root " + std::to_string(step);
    hasHidden = false;
    bool hasRaised = false;
    m_Store.reset(); // a session that has no memory in reserve yet
    Connect(sto_SqliteDriver::Open(Path(), false));
    m_Store->Load<Model>("old")->ExpectFilled(1, 5000);
    StoreNewFault::FailAt(step);
    try {
      m_Store->Save(root, object);
    } catch (sto_Exception const&) {
      hasRaised = true;
    } catch (std::bad_alloc const&) {
      hasRaised = true;
    }
    bool const hasFailed = StoreNewFault::HasFailed();
    StoreNewFault::FailAt(0);
    ASSERT_EQ(m_Store->HasRoot(root), !hasRaised);
    if (hasHidden) {
      ++hidden;
      ASSERT_TRUE(hasRaised);
    }
    if (!hasFailed) break;
  }
  EXPECT_GT(hidden, 20);
  static_cast<void>(LoadFields(
      *m_Store,
      [&](cls_ReadVisitor const& visitor) {
        std::vector<char> read(bytes.size());
        EXPECT_EQ(visitor.Memento()->ReadBytes(cls_FieldHandle("m_Bytes"_cow), read.data(), 100'000),
                  100'000);
        EXPECT_EQ(read, bytes);
        EXPECT_EQ(visitor.Read(cls_FieldHandle("m_Text"_cow), ""_cow), text);
        EXPECT_EQ(visitor.Read(cls_FieldHandle("m_Int"_cow), 0), 7);
      },
      "first"));
}

TEST_P(StoreSession, BlobIsWholeAfterEveryFailureToAllocateInATransactionThatGoesOn) {
  std::string const old = "old content";
  std::string const added(60'000, 'a');
  for (bool const truncates : {false, true}) {
    bool hasFailed = true;
    for (long long step = 1; hasFailed; ++step) {
      SCOPED_TRACE((truncates ? "truncating, step " : "writing, step ") + std::to_string(step));
      std::string const before = truncates ? old + added : old;
      std::string const after = truncates ? old : old + added;
      std::unique_ptr<cls_BlobWriter> writer;
      cls_Uid const image;
      m_Store->Save("blob", Scripted([&](cls_WriteVisitor const& visitor) {
                      writer =
                          std::make_unique<cls_BlobWriter>(visitor, cls_FieldHandle("m_Bytes"_cow), image);
                      writer->Agent().Write(0, static_cast<long long>(before.size()), before.data());
                    }));
      cls_AgentBlob& blob = writer->Agent();
      sto_Transaction transaction(*m_Store);
      StoreNewFault::FailAt(step);
      bool hasRaised = false;
      try {
        if (truncates)
          blob.Truncate(static_cast<long long>(old.size()));
        else
          blob.Write(static_cast<long long>(old.size()), static_cast<long long>(added.size()), added.data());
      } catch (std::bad_alloc const&) {
        hasRaised = true;
      }
      hasFailed = StoreNewFault::HasFailed();
      StoreNewFault::FailAt(0);
      transaction.Commit();
      std::string read(old.size() + added.size(), ' ');
      read.resize(static_cast<std::size_t>(blob.Read(0, static_cast<long long>(read.size()), read.data())));
      ASSERT_EQ(static_cast<long long>(read.size()), blob.Size());
      ASSERT_GE(read.size(), old.size());
      ASSERT_EQ(read, (old + added).substr(0, read.size()));
      ASSERT_TRUE(hasRaised || read == after);
    }
  }
}

TEST_P(StoreSession, EveryFailureToAllocateWithinALoadLeavesTheStoreUsable) {
  m_Store.reset();
  int failures = 0;
  for (long long step = 1;; ++step) {
    SCOPED_TRACE("allocation " + std::to_string(step));
    Connect(sto_SqliteDriver::Open(Path(), false));
    StoreNewFault::FailAt(step);
    try {
      std::unique_ptr<Model> const model = m_Store->Load<Model>("old");
      StoreNewFault::FailAt(0);
      model->ExpectFilled(1, 5000);
    } catch (std::bad_alloc const&) {
    }
    bool const failed = StoreNewFault::HasFailed();
    StoreNewFault::FailAt(0);
    ASSERT_EQ(m_Session->Identities().Count(), 0U);
    m_Store->Load<Model>("old")->ExpectFilled(1, 5000);
    if (!failed) break;
    ++failures;
  }
  EXPECT_GT(failures, 20);
}

TEST_P(StoreSession, EveryFailureOfTheLibrarysOwnBuffersIsSurvived) {
  m_Store.reset();
  Model model;
  model.Fill(7, 2500);
  int failures = 0;
  for (long long step = 1;; ++step) {
    SCOPED_TRACE("buffer " + std::to_string(step));
    Connect(sto_SqliteDriver::Open(Path(), false));
    AllocationProbe probe;
    probe.FailAt(step);
    bool hasRaised = false;
    try {
      m_Store->Save("new", model);
      static_cast<void>(m_Store->Load<Model>("new"));
    } catch (std::bad_alloc const&) {
      hasRaised = true;
      ++failures;
    }
    probe.FailAt(0);
    m_Store->Load<Model>("old")->ExpectFilled(1, 5000);
    if (m_Store->HasRoot("new")) m_Store->Load<Model>("new")->ExpectFilled(7, 2500);
    if (!hasRaised) break;
  }
  EXPECT_GE(failures, 2);
}

TEST_P(StoreSession, ConflictAtTheCommitLeavesATransactionThatCanBeRolledBack) {
  Node node(1);
  m_Store->Save("node", node);
  std::int64_t const id = TiedId(node.m_Uid);
  Model added;
  added.Fill(7, 2500);
  m_Plan.m_Conflicts = {{id, id + 1}, {"node"}};
  {
    sto_Transaction transaction(*m_Store);
    node.m_Value = 2;
    m_Store->Save("node", node);
    m_Store->Save("added", added);
    for (int attempt = 0; attempt < 2; ++attempt) try {
        transaction.Commit();
        FAIL() << "no conflict";
      } catch (sto_Exception const& conflict) {
        EXPECT_EQ(conflict.Kind(), sto_ErrorKind::Conflict);
        EXPECT_EQ(conflict.Conflicts(), m_Plan.m_Conflicts);
        EXPECT_TRUE(m_Session->InTransaction());
        EXPECT_EQ(m_Store->Load<Node>("node")->m_Value, 2);
      }
    transaction.Rollback();
  }
  EXPECT_EQ(m_Store->Load<Node>("node")->m_Value, 1);
  EXPECT_EQ(TiedId(node.m_Uid), id);
  EXPECT_EQ(TiedId(added.m_Uid), 0);
  EXPECT_EQ(m_Store->Roots(), (std::vector<std::string>{"node", "old"}));
  m_Plan.m_Conflicts = {};
  m_Store->Save("node", node); // nothing is lost in memory
  m_Store->Save("added", added);
  EXPECT_EQ(m_Store->Load<Node>("node")->m_Value, 2);
  m_Store->Load<Model>("added")->ExpectFilled(7, 2500);
}

TEST_P(StoreSession, ConflictOfASaveInItsOwnTransactionUndoesTheSave) {
  Model added;
  added.Fill(7, 2500);
  m_Plan.m_Conflicts = {{}, {"added"}};
  try {
    m_Store->Save("added", added);
    FAIL() << "no conflict";
  } catch (sto_Exception const& conflict) {
    EXPECT_EQ(conflict.Conflicts().m_Roots, std::vector<std::string>{"added"});
  }
  EXPECT_FALSE(m_Session->InTransaction());
  EXPECT_EQ(TiedId(added.m_Uid), 0);
  m_Plan.m_Conflicts = {};
  m_Store->Save("added", added);
  m_Store->Load<Model>("added")->ExpectFilled(7, 2500);
}

INSTANTIATE_TEST_SUITE_P(Drivers, StoreSession,
                         testing::Values(HandedOut::FromTheNextOn, HandedOut::InSmallRanges),
                         [](testing::TestParamInfo<HandedOut> const& each) {
                           return each.param == HandedOut::FromTheNextOn ? "IdsFromTheNextOn"
                                                                         : "IdsInSmallRanges";
                         });

} // namespace
