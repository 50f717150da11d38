#include <csignal>
#include <optional>
#include <thread>

#include "tests/server/ServerFaults.h"
#include "tests/support/server/PostgresServer.h"
#include "tests/support/server/TcpProxy.h"

// Servers that stop, connections that they end, and processes that pause, on both sides.

namespace ServerFaults {

class ServerStopsTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { s_Server.emplace(); }
  static void TearDownTestSuite() { s_Server.reset(); }
  ServerStopsTest() : m_Location(s_Server->Place().Uri() + "#stops " + std::to_string(++s_Stores)) {
    Writer::Make(m_Location);
  }
  /// Expects a store that is whole and at one of two steps; returns which.
  [[nodiscard]] int Expect(int first, int last) const {
    sto_Store store = sto_Store::Open(m_Location, sto_Mode::ReadOnly, Registrar());
    int const step = StepOf(store);
    EXPECT_TRUE(step == first || step == last) << step;
    EXPECT_EQ(DamageOf(store), "");
    return step;
  }
  static void Restart() {
    s_Server->Crash();
    s_Server->Start();
  }

  static inline std::optional<PostgresServer> s_Server;
  static inline int s_Stores = 0;
  std::string m_Location;
};

TEST_F(ServerStopsTest, ASaveThatBeganBeforeTheServerStopped) {
  Writer writer(m_Location);
  writer.CommitStep(1);
  for (int const step : {2, 3}) {
    std::optional<sto_Transaction> transaction(std::in_place, writer.Store());
    if (step == 2) Restart();
    FaultsOutcome outcome = FaultsTry([&] { writer.SaveStep(step); });
    if (step == 3) Restart();
    if (outcome.IsDone()) outcome = FaultsTry([&] { transaction->Commit(); });
    EXPECT_TRUE(outcome.IsDone() || outcome.Is(sto_ErrorKind::Unavailable)) << outcome.m_Text;
    EXPECT_EQ(Expect(step - 1, step), outcome.IsDone() ? step : step - 1);
    transaction.reset();
    writer.Reload();
    if (!outcome.IsDone()) writer.CommitStep(step);
  }
  static_cast<void>(Expect(3, 3));
}

TEST_F(ServerStopsTest, ACommitWithoutAServerCanBeRepeated) {
  Writer writer(m_Location);
  sto_Transaction transaction(writer.Store());
  writer.SaveStep(1);
  s_Server->Crash();
  for (int attempt = 0; attempt < 2; ++attempt) {
    FaultsOutcome const outcome = FaultsTry([&] { transaction.Commit(); });
    EXPECT_TRUE(outcome.Is(sto_ErrorKind::Unavailable)) << outcome.m_Text;
  }
  FaultsOutcome const opened = FaultsTry([&] { Writer const other(m_Location); });
  EXPECT_TRUE(opened.Is(sto_ErrorKind::Unavailable)) << opened.m_Text;
  s_Server->Start();
  transaction.Commit();
  static_cast<void>(Expect(1, 1));
}

TEST_F(ServerStopsTest, ACommitInWhoseMiddleTheServerStops) {
  SlowCommits const slow(s_Server->Place(), 0.5);
  sto_Options options;
  options.m_Program = "slow";
  Writer writer(m_Location, options);
  sto_Transaction transaction(writer.Store());
  writer.SaveStep(1);
  std::thread crash([] {
    {
      ServerSql sql(s_Server->Place().Uri());
      static_cast<void>(sql.Await("SELECT count(*) FROM pg_stat_activity WHERE wait_event = 'PgSleep'"));
    }
    Restart();
  });
  FaultsOutcome const outcome = FaultsTry([&] { transaction.Commit(); });
  crash.join();
  EXPECT_TRUE(outcome.Is(sto_ErrorKind::Unavailable)) << outcome.m_Text;
  static_cast<void>(Expect(0, 0));
  transaction.Commit();
  static_cast<void>(Expect(1, 1));
}

TEST_F(ServerStopsTest, WhoReadsAcrossAStopSeesItsStateOrAnError) {
  Writer writer(m_Location);
  sto_Store reader = sto_Store::Open(m_Location, sto_Mode::ReadOnly, Registrar());
  sto_ReadTransaction const transaction(reader);
  EXPECT_EQ(reader.Load<Piece>("piece 0")->m_Value, 0);
  Restart(); // which forgets who reads what
  for (int step = 1; step <= 2; ++step) {
    static_cast<void>(FaultsTry([&] { writer.Reload(); }));
    writer.CommitStep(step);
  }
  FaultsOutcome const outcome = FaultsTry([&] {
    for (int i = 0; i < Writer::Pieces; ++i)
      EXPECT_EQ(reader.Load<Piece>("piece " + std::to_string(i))->m_Value, 0);
    EXPECT_EQ(reader.Load<Plate>("plate")->m_Number, 0);
  });
  EXPECT_TRUE(outcome.IsDone() || outcome.Is(sto_ErrorKind::Unavailable)) << outcome.m_Text;
  static_cast<void>(Expect(2, 2));
}

// --- connections that the server ends

class ServerEndsTest : public ServerFaultsTest {
 protected:
  static constexpr char Victim[] = "application_name=victim";
  void Terminate() {
    m_Sql.Run(
        "SELECT pg_terminate_backend(pid, 5000) FROM pg_stat_activity WHERE application_name = 'victim'");
  }
  ServerSql m_Sql{m_Place.Uri()};
};

TEST_F(ServerEndsTest, WhileATransactionReadsAndBeforeItCommits) {
  static_cast<void>(NewStore());
  Writer writer(Location(m_Place.Uri(Victim)));
  int step = 0;
  for (int const when : {0, 1, 2}) { // after the beginning, after reading, before the commit
    {
      sto_Transaction transaction(writer.Store());
      if (when == 0) Terminate();
      EXPECT_EQ(writer.Store().Load<Piece>("piece 1")->m_Value, step);
      if (when == 1) Terminate();
      EXPECT_EQ(writer.Store().Load<Piece>("piece 2")->m_Value, step);
      writer.SaveStep(step + 1);
      if (when == 2) Terminate();
      FaultsOutcome const outcome = FaultsTry([&] { transaction.Commit(); });
      EXPECT_TRUE(outcome.IsDone() || outcome.Is(sto_ErrorKind::Unavailable)) << outcome.m_Text;
      ExpectStep(outcome.IsDone() ? step + 1 : step);
      if (!outcome.IsDone()) transaction.Commit();
    }
    ExpectStep(++step);
  }
}

TEST_F(ServerEndsTest, InTheMiddleOfACommit) {
  static_cast<void>(NewStore());
  SlowCommits const slow(m_Place, 0.3);
  sto_Options options;
  options.m_Program = "slow";
  Writer writer(Location(m_Place.Uri(Victim)), options);
  sto_Transaction transaction(writer.Store());
  writer.SaveStep(1);
  std::thread end([&] {
    static_cast<void>(m_Sql.Await("SELECT count(*) FROM pg_stat_activity WHERE wait_event = 'PgSleep'"));
    Terminate();
  });
  FaultsOutcome const outcome = FaultsTry([&] { transaction.Commit(); });
  end.join();
  EXPECT_TRUE(outcome.Is(sto_ErrorKind::Unavailable)) << outcome.m_Text;
  ExpectStep(0);
  transaction.Commit();
  ExpectStep(1);
}

// --- processes that pause

TEST_F(ServerEndsTest, AServerProcessThatPausesInACommitHoldsOthersUpForAsLongAsTheyWait) {
  static_cast<void>(NewStore());
  SlowCommits const slow(m_Place, 0.3);
  auto const work = [&](int pipe) {
    sto_Options options;
    options.m_Program = "slow";
    Writer(Location(m_Place.Uri(Victim)), options).CommitStep(1);
    FaultsTell(pipe, "saved");
    return 0;
  };
  FaultsEnd const end = FaultsChild(work, 30, [&](int /*child*/) {
    sto_Options options;
    options.m_BusyMilliseconds = 300;
    Writer other(Location(m_Place.Uri()), options);
    auto const process = static_cast<pid_t>(m_Sql.Await(
        "SELECT pid FROM pg_stat_activity WHERE application_name = 'victim' AND wait_event = 'PgSleep'"));
    kill(process, SIGSTOP);
    auto const begin = std::chrono::steady_clock::now();
    FaultsOutcome const outcome = FaultsTry([&] { other.CommitStep(1); });
    std::chrono::duration<double> const took = std::chrono::steady_clock::now() - begin;
    kill(process, SIGCONT);
    EXPECT_TRUE(outcome.Is(sto_ErrorKind::Busy) || outcome.Is(sto_ErrorKind::Unavailable)) << outcome.m_Text;
    EXPECT_LT(took.count(), 3) << outcome.m_Text;
  });
  EXPECT_EQ(end.m_Output, "saved") << end.AsText();
  ExpectStep(1);
  Writer(Location(m_Place.Uri())).CommitStep(2);
  ExpectStep(2);
}

TEST_F(ServerEndsTest, AProgramThatPausesWhileItsDraftIsGivenUpCommitsNothing) {
  static_cast<void>(NewStore());
  TcpProxy proxy(m_Place.SocketPath());
  std::string const location = Location(ServerUriAt(proxy.Port()));
  auto const work = [&](int pipe) {
    Writer writer(location);
    FaultsTell(pipe, "opened ");
    FaultsOutcome const outcome = FaultsTry([&] { writer.CommitStep(1); });
    FaultsTell(pipe, outcome.IsDone()                         ? "saved"
                     : outcome.Is(sto_ErrorKind::Unavailable) ? "refused"
                                                              : outcome.m_Text);
    return 0;
  };
  proxy.Delay(20); // so that it has not sent its rows when its draft is seen
  FaultsEnd const end = FaultsChild(work, 30, [&](int child) {
    std::string const mine =
        "FROM kvl.draft d USING kvl.store s WHERE d.store_id = s.store_id AND s.name = '" + NameOfStore() +
        "'";
    static_cast<void>(
        m_Sql.Await("SELECT count(*) FROM kvl.draft d JOIN kvl.store s USING(store_id) WHERE s.name = '" +
                    NameOfStore() + "'"));
    kill(child, SIGSTOP);
    m_Sql.Run("DELETE " + mine); // as who opens another draft does once it is a minute old
    ExpectStep(0);
    proxy.Delay(0);
    kill(child, SIGCONT);
  });
  EXPECT_EQ(end.m_Output, "opened refused") << end.AsText();
  ExpectStep(0);
}

} // namespace ServerFaults
