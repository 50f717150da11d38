#include "store/base/sto_Exception.h"
#include "store/session/sto_Session.h"
#include "store/sqlite/sto_SqliteDriver.h"
#include "tests/support/store/StoreFaultDriver.h"
#include "tests/support/store/StoreTest.h"

namespace {

/// Checking and compacting with a driver that fails on request.
class StoreCheckFaults : public StoreFileTest {
 protected:
  void SetUp() override {
    auto driver = std::make_unique<StoreFaultDriver>(sto_SqliteDriver::Create(Path(), {}), m_Plan);
    m_Store =
        std::make_unique<sto_Store>(std::make_unique<sto_Session>(Path(), std::move(driver), TestClasses()));
    for (int i = 0; i < 3; ++i) m_Store->Save(std::to_string(i), Node(i));
  }
  /// Lets each call of `act` fail in turn; returns the calls.
  template <class Act> std::vector<std::string> FailEach(Act act) {
    std::vector<std::string> failed;
    for (int call = 1;; ++call) {
      m_Plan.m_CallsLeft = call;
      m_Plan.m_FailedCall.clear();
      try {
        act();
      } catch (sto_Exception const& exception) {
        EXPECT_EQ(exception.AsString().View(), StoreFaultDriver::Message);
      }
      m_Plan.m_CallsLeft = 0;
      EXPECT_EQ(m_Store->Load<Node>("2")->m_Value, 2) << m_Plan.m_FailedCall;
      m_Store->Save("3", Node(call)); // no transaction was left open
      if (m_Plan.m_FailedCall.empty()) return failed;
      failed.push_back(m_Plan.m_FailedCall);
    }
  }

  StoreFaultDriver::Plan m_Plan;
  std::unique_ptr<sto_Store> m_Store;
};

TEST_F(StoreCheckFaults, FailureOfEachCallLeavesTheSessionUsable) {
  auto const check = [&] { EXPECT_TRUE(m_Store->Check(sto_CheckDepth::Full).IsSound()); };
  EXPECT_GT(FailEach(check).size(), 3U);
  EXPECT_EQ(FailEach([&] { static_cast<void>(m_Store->Stat()); }),
            (std::vector<std::string>{"Begin", "NewWalk"}));
  EXPECT_EQ(FailEach([&] { m_Store->Compact(); }), (std::vector<std::string>{"Compact"}));
}

TEST_F(StoreCheckFaults, FailureThatUndoesTheTransactionIsRaised) {
  sto_Transaction transaction(*m_Store);
  m_Store->Save("new", Node(7));
  m_Plan.m_UndoesTransaction = true;
  m_Plan.m_CallsLeft = 1;
  EXPECT_THROW(static_cast<void>(m_Store->Check(sto_CheckDepth::Full)), sto_Exception);
  EXPECT_EQ(m_Plan.m_FailedCall, "NewWalk");
  EXPECT_THROW(static_cast<void>(m_Store->Check(sto_CheckDepth::Full)), sto_Exception);
  transaction.Rollback();
  EXPECT_TRUE(m_Store->Check(sto_CheckDepth::Full).IsSound());
  EXPECT_FALSE(m_Store->HasRoot("new"));
}

} // namespace
