#include <csignal>
#include <cstdlib>
#include <cstring>
#include <random>
#include <thread>
#include <utility>

#include "tests/server/ServerFaults.h"

// Programs that are killed while they save, beside one that reads all the time.

namespace ServerFaults {

class ServerKillsTest : public ServerFaultsTest {
 protected:
  /// Saves the same number in two objects, again and again, and says each number that is saved.
  int Save(int pipe) const {
    sto_Store store = Open(Location(m_Place.Uri()), sto_Mode::ReadWrite);
    while (true) {
      FaultsOutcome const outcome = FaultsTry([&] {
        auto const first = store.Load<Piece>("piece 0"), second = store.Load<Piece>("piece 4");
        for (int number = first->m_Value + 1;; ++number) {
          sto_Transaction transaction(store);
          for (auto const& [root, piece] : {std::pair("piece 0", &first), std::pair("piece 4", &second)}) {
            (*piece)->m_Value = number;
            store.Save(root, **piece);
          }
          transaction.Commit();
          FaultsTell(pipe, std::string_view(reinterpret_cast<char const*>(&number), sizeof number));
        }
      });
      // The server may still commit what a killed program has sent; then this one begins anew.
      if (!outcome.Is(sto_ErrorKind::Conflict)) throw std::runtime_error(outcome.m_Text);
    }
  }
  /// The number that both objects have.
  int Read() {
    sto_ReadTransaction const transaction(m_Reader);
    int const first = m_Reader.Load<Piece>("piece 0")->m_Value;
    int const second = m_Reader.Load<Piece>("piece 4")->m_Value;
    if (first != second) ++m_Torn;
    return first;
  }

  sto_Store m_Reader = Open(NewStore());
  int m_Torn = 0;
};

TEST_F(ServerKillsTest, ProgramsThatAreKilledWhileTheySave) {
  using namespace std::chrono;
  using namespace std::chrono_literals;
  int const kills =
      std::getenv("KVL_ALL_KILLS") != nullptr ? 1000 : 60; // NOLINT(concurrency-mt-unsafe): one thread
  std::mt19937 random(1);
  int lost = 0, invented = 0, saves = 0, idle = 0, found = Read();
  auto const look = [&] {
    int const now = Read();
    if (now < found) ++lost;
    return std::exchange(found, now) < now;
  };
  for (int i = 0; i < kills; ++i) {
    microseconds const patience(random() % 40'000);
    FaultsEnd const end = FaultsChild(
        [&](int pipe) { return Save(pipe); }, 60,
        [&](int child) {
          bool hasSaved = false;
          for (auto const until = steady_clock::now() + 20s; !hasSaved && steady_clock::now() < until;)
            hasSaved = look();
          for (auto const until = steady_clock::now() + patience; steady_clock::now() < until;) look();
          kill(child, SIGKILL);
          if (!hasSaved) ++idle;
        });
    ASSERT_EQ(end.m_Signal, SIGKILL) << end.AsText();
    int said = 0; // the last number that was said
    int const count = static_cast<int>(end.m_Output.size() / sizeof said);
    if (count > 0)
      std::memcpy(&said, end.m_Output.data() + (static_cast<std::size_t>(count) - 1) * sizeof said,
                  sizeof said);
    saves += count;
    found = Read();
    if (found < said) ++lost;
    if (count > 0 && found > said + 1) ++invented;
  }
  std::printf("kills: %d programs, %d saves said; torn %d, lost %d, invented %d\n", kills, saves, m_Torn,
              lost, invented);
  EXPECT_EQ(idle, 0); // each was killed after its first save
  EXPECT_EQ(m_Torn, 0);
  EXPECT_EQ(lost, 0);
  EXPECT_EQ(invented, 0);
  EXPECT_EQ(DamageOf(m_Reader), "");
}

} // namespace ServerFaults
