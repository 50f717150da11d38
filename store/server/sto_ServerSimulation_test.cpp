#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "store/base/sto_Exception.h"
#include "store/server/sto_ServerDriver.h"
#include "tests/support/InitialisedModule.h"
#include "tests/support/Seeds.h"
#include "tests/support/server/MemoryServer.h"

// Clients move money between accounts, each an object, while the scheduler lets others act in the middle of their
// requests, loses requests and answers, and lets leases end. Whatever happens, a transaction sees one state, in which no
// money is lost, and each account has what the committed transfers have made of it.

namespace ServerSimulation {

constexpr int Accounts = 40; // in two packs
constexpr int Clients = 3;
constexpr std::int64_t Initial = 1000;

/// What goes wrong, and who acts meanwhile. One for all clients.
class Scheduler {
 public:
  explicit Scheduler(unsigned seed) : m_Random(seed) {}

  [[nodiscard]] int Below(int end) { return static_cast<int>(m_Random() % static_cast<unsigned>(end)); }
  std::function<void()> m_Meanwhile; ///< lets another client act
  bool m_IsQuiet = true;             ///< nothing goes wrong

 private:
  std::mt19937 m_Random;
};

/// A connection that the scheduler disturbs.
class DisturbedLink final : public MemoryLink {
  template <class Request> std::invoke_result_t<Request> Disturb(Request request) {
    if (m_Scheduler.m_IsQuiet) return request();
    if (m_Scheduler.Below(20) == 0) m_Scheduler.m_Meanwhile();
    if (m_Scheduler.Below(16) == 0) Cut();
    auto answer = request();
    if (m_Scheduler.Below(20) == 0) m_Scheduler.m_Meanwhile();
    if (m_Scheduler.Below(16) == 0) Cut();
    return answer;
  }

 public:
  DisturbedLink(std::shared_ptr<MemoryServer> server, Scheduler& scheduler)
      : MemoryLink(std::move(server), "server"), m_Scheduler(scheduler) {}

  sto_ServerState ReadState(std::optional<std::string_view> named) override {
    return Disturb([&] { return MemoryLink::ReadState(named); });
  }
  void ReadRows(sto_RowTable table, std::span<std::int64_t const> keys, sto_ServerView const& view,
                sto_RowSink& sink) override {
    Disturb([&] { return MemoryLink::ReadRows(table, keys, view, sink), 0; });
  }
  std::int64_t TakeIds(std::int64_t first, std::int64_t count) override {
    return Disturb([&] { return MemoryLink::TakeIds(first, count); });
  }
  sto_ServerDraft OpenDraft() override {
    return Disturb([&] { return MemoryLink::OpenDraft(); });
  }
  void Send(sto_ServerDraft const& draft, std::span<sto_NumberedChange const> rows) override {
    Disturb([&] { return MemoryLink::Send(draft, rows), 0; });
  }
  sto_ServerOutcome Commit(sto_ServerSave const& save) override {
    return Disturb([&] {
      if (!m_Scheduler.m_IsQuiet && m_Scheduler.Below(8) == 0) // the client was paused, and its lease is over
        static_cast<void>(MemoryLink::GiveUp(save.m_Draft));
      return MemoryLink::Commit(save);
    });
  }
  std::int64_t GiveUp(sto_ServerDraft const& draft) override {
    return Disturb([&] { return MemoryLink::GiveUp(draft); });
  }

 private:
  [[noreturn]] static void Cut() { sto_Raise(sto_ErrorKind::Unavailable, "server: The connection was cut."); }

  Scheduler& m_Scheduler;
};

class World {
 public:
  World(unsigned seed, MemoryServer::Trap trap) : m_Scheduler(seed) {
    m_Server->m_Trap = trap;
    for (int i = 0; i < Clients; ++i)
      m_Clients.emplace_back().m_Driver = std::make_unique<sto_ServerDriver>(
          std::make_unique<DisturbedLink>(m_Server, m_Scheduler), false, sto_Options());
    sto_Driver& first = *m_Clients[0].m_Driver;
    first.Begin({.m_ForWriting = true});
    m_FirstId = first.TakeIds(Accounts).m_First;
    for (int i = 0; i < Accounts; ++i) Write(first, i, Initial);
    first.SetIdsUsed(m_FirstId + Accounts);
    first.Commit();
    m_Expected.assign(Accounts, Initial);
    m_Scheduler.m_Meanwhile = [this] { Act(); };
    m_Scheduler.m_IsQuiet = false;
  }

  /// Lets a client that is not in the middle of a request begin a transaction, or end the one that it has begun.
  void Act() {
    Client& client = m_Clients[static_cast<std::size_t>(m_Scheduler.Below(Clients))];
    if (std::exchange(client.m_IsActing, true)) return;
    try {
      if (client.m_Amount == 0)
        Begin(client);
      else
        End(client);
    } catch (sto_Exception const&) {
      client.m_Driver->Rollback();
      client.m_Amount = 0;
    }
    client.m_IsActing = false;
  }

  /// What is wrong; empty if nothing is.
  [[nodiscard]] std::string Problem() {
    if (!m_Problem.empty()) return m_Problem;
    m_Scheduler.m_IsQuiet = true;
    for (Client& client : m_Clients)
      if (client.m_Amount != 0) End(client);
    sto_Driver& reader = *m_Clients[0].m_Driver;
    reader.Begin({});
    for (int i = 0; i < Accounts && m_Problem.empty(); ++i)
      if (std::int64_t const money = Read(reader, i); money != m_Expected[static_cast<std::size_t>(i)])
        m_Problem = "account " + std::to_string(i) + " has " + std::to_string(money) + " instead of " +
                    std::to_string(m_Expected[static_cast<std::size_t>(i)]);
    reader.Rollback();
    return m_Problem;
  }
  [[nodiscard]] int Committed() const { return m_Committed; }
  [[nodiscard]] int Conflicts() const { return m_Conflicts; }

 private:
  struct Client {
    std::unique_ptr<sto_ServerDriver> m_Driver;
    bool m_IsActing = false;
    int m_From = 0, m_To = 0;
    std::int64_t m_Amount = 0; // 0: it has no transaction
  };

  void Write(sto_Driver& driver, int account, std::int64_t money) {
    sto_Bytes bytes;
    sto_ByteWriter(bytes).Number(money);
    driver.WriteObject(m_FirstId + account, 1, bytes);
  }
  std::int64_t Read(sto_Driver& driver, int account) {
    sto_StoredRecord record;
    if (!driver.ReadObject(m_FirstId + account, record) || !record.m_IsSound) {
      m_Problem = "account " + std::to_string(account) + " is not there";
      return 0;
    }
    return sto_ByteReader(record.m_Bytes).Number<std::int64_t>();
  }

  void Begin(Client& client) {
    sto_Driver& driver = *client.m_Driver;
    driver.Begin({.m_ForWriting = true});
    if (m_Scheduler.Below(3) == 0) CheckState(driver);
    client.m_From = m_Scheduler.Below(Accounts);
    client.m_To = (client.m_From + 1 + m_Scheduler.Below(Accounts - 1)) % Accounts;
    std::int64_t const amount = 1 + m_Scheduler.Below(5);
    std::int64_t const from = Read(driver, client.m_From), to = Read(driver, client.m_To);
    Write(driver, client.m_From, from - amount);
    Write(driver, client.m_To, to + amount);
    client.m_Amount = amount;
  }
  void End(Client& client) {
    if (Commit(*client.m_Driver)) {
      m_Expected[static_cast<std::size_t>(client.m_From)] -= client.m_Amount;
      m_Expected[static_cast<std::size_t>(client.m_To)] += client.m_Amount;
      ++m_Committed;
    }
    client.m_Amount = 0;
  }

  /// Until it is certain: true if it is committed.
  bool Commit(sto_ServerDriver& driver) {
    for (;;) try {
        driver.Commit();
        return true;
      } catch (sto_Exception const& failure) {
        if (failure.Kind() == sto_ErrorKind::Unavailable) continue;
        ++m_Conflicts;
        driver.Rollback();
        return false;
      }
  }

  void CheckState(sto_Driver& driver) {
    std::int64_t sum = 0;
    for (int i = 0; i < Accounts; ++i) sum += Read(driver, i);
    if (sum != Accounts * Initial) m_Problem = "a transaction has seen " + std::to_string(sum);
  }

  Scheduler m_Scheduler;
  std::shared_ptr<MemoryServer> m_Server = std::make_shared<MemoryServer>();
  std::vector<Client> m_Clients;
  std::int64_t m_FirstId = 0;
  std::vector<std::int64_t> m_Expected;
  std::string m_Problem;
  int m_Committed = 0, m_Conflicts = 0;
};

struct Result {
  std::string m_Problem;
  int m_Committed = 0, m_Conflicts = 0;
};
Result Simulate(unsigned seed, MemoryServer::Trap trap) {
  InitialisedModule const module; // for exceptions
  World world(seed, trap);
  for (int i = 0; i < 50; ++i) world.Act();
  std::string problem = world.Problem();
  return {std::move(problem), world.Committed(), world.Conflicts()};
}

TEST(ServerSimulation, NoTransferIsLostAndNoStateIsTorn) {
  unsigned const seeds = TestsAllSeeds() ? 1'000'000U : 10'000U / SweepStride;
  int committed = 0, conflicts = 0;
  char const* const one = std::getenv("KVL_SIMULATION_SEED"); // to replay a failure
  unsigned const first = one == nullptr ? 1 : static_cast<unsigned>(std::stoul(one));
  unsigned const last = one == nullptr ? seeds : first;
  for (unsigned seed = first; seed <= last; ++seed) {
    Result const result = Simulate(seed, MemoryServer::Trap::None);
    ASSERT_EQ(result.m_Problem, "") << "replay it with KVL_SIMULATION_SEED=" << seed;
    committed += result.m_Committed;
    conflicts += result.m_Conflicts;
  }
  if (one != nullptr) return;
  EXPECT_GT(committed, static_cast<int>(seeds) * 10);
  EXPECT_GT(conflicts, 0);
}

class ServerTraps : public testing::TestWithParam<MemoryServer::Trap> {};
TEST_P(ServerTraps, AreFound) {
  unsigned seed = 1;
  while (seed <= 2000 && Simulate(seed, GetParam()).m_Problem.empty()) ++seed;
  EXPECT_LE(seed, 2000U);
}
INSTANTIATE_TEST_SUITE_P(ServerSimulation, ServerTraps,
                         testing::Values(MemoryServer::Trap::CommitsWhatWasGivenUp,
                                         MemoryServer::Trap::ForgetsOpenDrafts,
                                         MemoryServer::Trap::ReadsOpenDrafts));

} // namespace ServerSimulation
