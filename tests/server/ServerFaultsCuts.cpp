#include <algorithm>
#include <cstdlib>
#include <optional>
#include <thread>

#include "tests/server/ServerFaults.h"
#include "tests/support/server/TcpProxy.h"

// Connections that are cut after every byte of a save, slow ones, and those that swallow everything.

namespace ServerFaults {

class ServerCutsTest : public ServerFaultsTest {
 protected:
  ServerCutsTest() { m_Options.m_AnswerMilliseconds = 5000; }
  [[nodiscard]] std::string Through() const { return Location(ServerUriAt(m_Proxy->Port())); }
  /// A store at step 0, a writer of it through a new proxy, and a reader beside the proxy.
  void Renew() {
    m_Writer.reset();
    m_Reader.reset();
    m_Proxy.emplace(m_Place.SocketPath());
    std::string const location = NewStore();
    m_Reader.emplace(Open(location));
    m_Writer.emplace(Through(), m_Options);
    m_Step = 0;
  }

  sto_Options m_Options;
  std::optional<TcpProxy> m_Proxy;
  std::optional<sto_Store> m_Reader;
  std::optional<Writer> m_Writer;
  int m_Step = 0; // which the store is at
};

struct CutCounts {
  int m_Tried = 0;
  int m_Unnoticed = 0; // the save went on, over a new connection
  int m_Refused = 0;   // before the commit
  int m_InDoubt = 0;   // the commit raised Unavailable
  int m_Committed = 0, m_NotCommitted = 0;
  int m_Torn = 0, m_Lost = 0;
};

class CutCampaign : public ServerCutsTest {
 protected:
  /// A whole save: from the beginning of the transaction to its end. `commits` tells whether it came so far.
  void Save(bool& commits, std::optional<sto_Transaction>& transaction) {
    transaction.emplace(m_Writer->Store());
    m_Writer->SaveStep(m_Step + 1);
    commits = true;
    transaction->Commit();
  }
  void CutAt(TcpProxy::Direction direction, std::int64_t bytes, bool staysDown);
  /// After a commit that raised Unavailable.
  void Resolve(std::optional<sto_Transaction>& transaction, bool repeats, std::int64_t saves);
  /// What another session sees. `isThorough`: all rows, too.
  void Examine(int expected, bool isThorough = true);
  [[nodiscard]] std::int64_t Saves() { return m_Reader->Info().m_NewestSave->m_Number; }

  CutCounts m_Counts;
  ServerSql m_Sql{m_Place.Uri()};
};

void CutCampaign::Examine(int expected, bool isThorough) {
  try {
    m_Step = StepOf(*m_Reader);
    if (m_Step < expected) ++m_Counts.m_Lost;
    EXPECT_EQ(m_Step, expected);
    std::string const damage = isThorough ? DamageOf(*m_Reader) : std::string();
    if (!damage.empty()) ++m_Counts.m_Torn;
    EXPECT_EQ(damage, "");
  } catch (std::exception const& failure) {
    ++m_Counts.m_Torn;
    ADD_FAILURE() << failure.what();
  }
}

void CutCampaign::Resolve(std::optional<sto_Transaction>& transaction, bool repeats, std::int64_t saves) {
  ++m_Counts.m_InDoubt;
  m_Proxy->Heal();
  std::string const drafts =
      "SELECT last_draft FROM kvl.head h JOIN kvl.store s USING(store_id) WHERE s.name = '" + NameOfStore() +
      "'";
  std::int64_t const before = m_Sql.Number(drafts);
  bool wasCommitted = false;
  if (repeats) {
    // It asks what became of the first attempt, and commits only if nothing did: then with a new draft.
    FaultsOutcome const again = FaultsTry([&] { transaction->Commit(); });
    EXPECT_TRUE(again.IsDone()) << again.m_Text;
    wasCommitted = m_Sql.Number(drafts) == before;
    Examine(m_Step + 1);
  } else {
    transaction.reset();
    // The next transaction knows, and so it sees what everybody else sees from then on.
    int const seen = StepOf(m_Writer->Store());
    wasCommitted = seen == m_Step + 1;
    Examine(seen);
  }
  ++(wasCommitted ? m_Counts.m_Committed : m_Counts.m_NotCommitted);
  EXPECT_EQ(Saves(), saves + (repeats || wasCommitted ? 1 : 0)); // never twice
}

void CutCampaign::CutAt(TcpProxy::Direction direction, std::int64_t bytes, bool staysDown) {
  SCOPED_TRACE((direction == TcpProxy::ToServer ? "to the server, byte " : "to the client, byte ") +
               std::to_string(bytes) + (staysDown ? ", and stays down" : ""));
  if (m_Step + 3 > Writer::LastStep) Renew();
  ++m_Counts.m_Tried;
  std::int64_t const saves = Saves();
  std::optional<sto_Transaction> transaction;
  bool commits = false;
  m_Proxy->Arm(direction, bytes, staysDown);
  FaultsOutcome const outcome = FaultsTry([&] { Save(commits, transaction); });
  if (outcome.IsDone()) {
    ++m_Counts.m_Unnoticed;
    m_Proxy->Heal();
    Examine(m_Step + 1);
    EXPECT_EQ(Saves(), saves + 1);
  } else if (!outcome.Is(sto_ErrorKind::Unavailable)) {
    ADD_FAILURE() << outcome.m_Text;
  } else if (commits) {
    Resolve(transaction, bytes % 4 < 2, saves);
  } else {
    ++m_Counts.m_Refused;
    m_Proxy->Heal();
    transaction.reset();
    Examine(m_Step);
    EXPECT_EQ(Saves(), saves);
  }
  transaction.reset();
  // The session goes on.
  FaultsOutcome const next = FaultsTry([&] {
    m_Writer->Reload();
    m_Writer->CommitStep(m_Step + 1);
  });
  EXPECT_TRUE(next.IsDone()) << next.m_Text;
  Examine(m_Step + 1, false);
}

TEST_F(CutCampaign, ASaveIsWholeOrNotThereWhereverItsConnectionIsCut) {
  Renew();
  m_Writer->CommitStep(++m_Step); // statements are prepared from now on
  m_Proxy->ResetCounts();
  m_Writer->CommitStep(++m_Step);
  std::int64_t const sizes[] = {m_Proxy->Count(TcpProxy::ToServer), m_Proxy->Count(TcpProxy::ToClient)};
  ASSERT_GT(sizes[0], 1000);
  ASSERT_GT(sizes[1], 1000);
  bool const all = std::getenv("KVL_ALL_CUTS") != nullptr; // NOLINT(concurrency-mt-unsafe): one thread
  for (TcpProxy::Direction const direction : {TcpProxy::ToServer, TcpProxy::ToClient})
    for (std::int64_t at = 0; at <= sizes[direction]; ++at) {
      if (!all && at % 97 != 0 && at + 40 < sizes[direction]) continue;
      CutAt(direction, at, at % 2 == 1);
    }
  std::printf("cuts of a save of %lld + %lld bytes: %d tried, %d unnoticed, %d refused before the commit, %d "
              "in doubt, resolved: %d committed, %d not committed; torn %d, lost %d\n",
              static_cast<long long>(sizes[0]), static_cast<long long>(sizes[1]), m_Counts.m_Tried,
              m_Counts.m_Unnoticed, m_Counts.m_Refused, m_Counts.m_InDoubt, m_Counts.m_Committed,
              m_Counts.m_NotCommitted, m_Counts.m_Torn, m_Counts.m_Lost);
  EXPECT_GT(m_Counts.m_Committed, 0);
  EXPECT_GT(m_Counts.m_NotCommitted, 0);
  EXPECT_EQ(m_Counts.m_Torn, 0);
  EXPECT_EQ(m_Counts.m_Lost, 0);
}

TEST_F(ServerCutsTest, ASlowConnectionOnlyTakesLonger) {
  Renew();
  m_Proxy->Delay(5);
  for (int step = 1; step <= 3; ++step) m_Writer->CommitStep(step);
  EXPECT_EQ(StepOf(m_Writer->Store()), 3);
  ExpectStep(3);
}

class ServerSilenceTest : public ServerCutsTest, public testing::WithParamInterface<int> {};

TEST_P(ServerSilenceTest, AConnectionThatSwallowsEverythingIsGivenUp) {
  m_Options.m_AnswerMilliseconds = 300;
  Renew();
  m_Writer->CommitStep(1);
  sto_Transaction transaction(m_Writer->Store());
  m_Writer->SaveStep(2);
  for (TcpProxy::Direction const direction : {TcpProxy::ToServer, TcpProxy::ToClient})
    if ((GetParam() & 1 << direction) != 0) m_Proxy->Swallow(direction);
  auto const begin = std::chrono::steady_clock::now();
  FaultsOutcome const outcome = FaultsTry([&] { transaction.Commit(); });
  std::chrono::duration<double> const took = std::chrono::steady_clock::now() - begin;
  EXPECT_TRUE(outcome.Is(sto_ErrorKind::Unavailable)) << outcome.m_Text;
  EXPECT_LT(took.count(), 6); // it also tries once to connect again, which takes two seconds at least
  m_Proxy->Heal();
  FaultsOutcome const again = FaultsTry([&] { transaction.Commit(); });
  EXPECT_TRUE(again.IsDone()) << again.m_Text;
  ExpectStep(2);
  m_Writer->CommitStep(3);
  ExpectStep(3);
}

INSTANTIATE_TEST_SUITE_P(Directions, ServerSilenceTest, testing::Values(1, 2, 3));

} // namespace ServerFaults
