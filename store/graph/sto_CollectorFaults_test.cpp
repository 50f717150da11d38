#include <algorithm>

#include "store/base/sto_Exception.h"
#include "store/graph/sto_IdSet.h"
#include "store/session/sto_Session.h"
#include "store/sqlite/sto_SqliteDriver.h"
#include "tests/support/store/StoreFaultDriver.h"
#include "tests/support/store/StoreTest.h"
#include "wrappers/cls_xp1DArrayList.h"

namespace {

/// Collecting with a driver that fails on request.
class StoreCollectorFaults : public StoreFileTest {
 protected:
  static constexpr std::int64_t Garbage = 21;

  void SetUp() override {
    auto driver = std::make_unique<StoreFaultDriver>(sto_SqliteDriver::Create(Path(), {}), m_Plan);
    m_Store =
        std::make_unique<sto_Store>(std::make_unique<sto_Session>(Path(), std::move(driver), TestClasses()));
    for (int i = 0; i < 40; ++i) m_Store->Save(std::to_string(i), Node(i));
    cls_xp1DArrayListInt list;
    for (int i = 0; i < 9000; ++i) list.Append(i);
    m_Store->Save("list", list);
    m_Store->RemoveRoot("list");
    for (int i = 0; i < 40; i += 2) m_Store->RemoveRoot(std::to_string(i));
  }
  void Arm(int call, bool undoes, bool rollbackFails) {
    m_Plan.m_CallsLeft = call;
    m_Plan.m_UndoesTransaction = undoes;
    m_Plan.m_RollbackToMarkFails = rollbackFails;
    m_Plan.m_FailedCall.clear();
  }
  void Disarm() {
    m_Plan.m_CallsLeft = 0;
    m_Plan.m_RollbackToMarkFails = false;
  }
  void ExpectKept() {
    for (int i = 1; i < 40; i += 2)
      ASSERT_EQ(m_Store->Load<Node>(std::to_string(i))->m_Value, i) << m_Plan.m_FailedCall;
  }

  StoreFaultDriver::Plan m_Plan;
  std::unique_ptr<sto_Store> m_Store;
};

TEST_F(StoreCollectorFaults, FailureOfEachCallLeavesTheStoreAsItWas) {
  std::int64_t const before = m_Store->ObjectCount();
  for (auto const& [undoes, rollbackFails] :
       {std::pair{false, false}, std::pair{true, false}, std::pair{false, true}}) {
    std::vector<std::string> failed;
    for (int call = 1;; ++call) {
      SCOPED_TRACE("call " + std::to_string(call));
      sto_Transaction transaction(*m_Store); // rolled back once all calls have succeeded
      Arm(call, undoes, rollbackFails);
      try {
        EXPECT_EQ(m_Store->CollectGarbage(), Garbage);
      } catch (sto_Exception const& exception) {
        EXPECT_EQ(exception.AsString().View(), StoreFaultDriver::Message);
      }
      Disarm();
      if (m_Plan.m_FailedCall.empty()) break;
      failed.push_back(m_Plan.m_FailedCall);
      // Remaining objects must be intact, whether the transaction continues or was rolled back as a whole.
      if (!undoes && !rollbackFails) {
        ASSERT_EQ(m_Store->ObjectCount(), before) << m_Plan.m_FailedCall;
        transaction.Commit();
      }
      transaction.Rollback();
      ASSERT_EQ(m_Store->ObjectCount(), before) << m_Plan.m_FailedCall;
      ExpectKept();
    }
    for (char const* const call :
         {"SetMark", "ReleaseMark", "DeleteObject", "DeleteBlocks", "ObjectIds", "ReadObject"})
      EXPECT_NE(std::ranges::find(failed, call), failed.end()) << call;
  }
}

TEST_F(StoreCollectorFaults, FailureOfEachCallWithoutTransactionLeavesTheStoreAsItWas) {
  std::int64_t const before = m_Store->ObjectCount();
  bool hasFailed = true;
  for (int call = 1; hasFailed; ++call) {
    SCOPED_TRACE("call " + std::to_string(call));
    Arm(call, call % 2 == 0, false);
    try {
      EXPECT_EQ(m_Store->CollectGarbage(), Garbage);
    } catch (sto_Exception const& exception) {
      EXPECT_EQ(exception.AsString().View(), StoreFaultDriver::Message) << m_Plan.m_FailedCall;
    }
    hasFailed = !m_Plan.m_FailedCall.empty();
    Disarm();
    ASSERT_EQ(m_Store->ObjectCount(), hasFailed ? before : before - Garbage) << m_Plan.m_FailedCall;
    ExpectKept();
  }
}

TEST(StoreIdSet, HasWhatWasAdded) {
  sto_IdSet set;
  std::vector<std::int64_t> const ids{0,    1,    63,        64,        4095,
                                      4096, 4097, 1'000'000, 1LL << 42, sto_Format::MaxObjectId};
  for (std::int64_t const id : ids) {
    EXPECT_FALSE(set.Has(id)) << id;
    EXPECT_TRUE(set.Add(id)) << id;
    EXPECT_FALSE(set.Add(id)) << id;
  }
  for (std::int64_t const id : ids) EXPECT_TRUE(set.Has(id)) << id;
  for (std::int64_t const id : {2, 62, 65, 4094, 4098, 999'999}) EXPECT_FALSE(set.Has(id)) << id;
}

TEST_F(StoreCollectorFaults, FailureOfEachCallRemovesARootWithAllOfItsContentOrNothing) {
  m_Store->CollectGarbage();
  m_Store->Save("chain", *Node::Chain(50));
  std::int64_t const before = m_Store->ObjectCount();
  for (auto const& [undoes, rollbackFails] :
       {std::pair{false, false}, std::pair{true, false}, std::pair{false, true}}) {
    int call = 1;
    for (bool isRemoved = false; !isRemoved; ++call) {
      SCOPED_TRACE("call " + std::to_string(call));
      Arm(call, undoes, rollbackFails);
      try {
        EXPECT_EQ(m_Store->RemoveRootAndContent("chain"), 50);
      } catch (sto_Exception const& exception) {
        EXPECT_EQ(exception.AsString().View(), StoreFaultDriver::Message);
      }
      isRemoved = m_Plan.m_FailedCall.empty();
      Disarm();
      ASSERT_EQ(m_Store->ObjectCount(), isRemoved ? before - 50 : before) << m_Plan.m_FailedCall;
      ASSERT_EQ(m_Store->HasRoot("chain"), !isRemoved);
      ASSERT_EQ(m_Store->CountGarbage(), 0);
    }
    EXPECT_GT(call, 60);
    ExpectKept();
    m_Store->Save("chain", *Node::Chain(50));
  }
}

} // namespace
