#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <vector>

#include <sys/mman.h>
#include <sys/wait.h>

#include "tests/faults/FaultsClasses.h"
#include "tests/faults/FaultsFrame.h"

// Processes that create the same store at the same time.
//
//     faults_creators [--short] [--rounds 150] [--processes 5]
//
// One of them succeeds and saves an object; the others get Conflict. The resulting store is intact.

namespace {

/// Shared by the processes of a round.
struct Shared {
  static constexpr int MaxProcesses = 16;
  std::atomic<int> m_Ready{0};
  std::atomic<bool> m_Start{false};
  /// 0 nothing yet, 1 created and saved, 100 + the kind of a store error, 99 anything else
  std::atomic<int> m_Results[MaxProcesses];
};

[[noreturn]] void Create(Shared& shared, int process, std::string const& path, bool withLog) {
  alarm(60);
  shared.m_Ready.fetch_add(1);
  while (!shared.m_Start.load()) {
  }
  FaultsOutcome const outcome = FaultsTry([&] {
    sto_Options options;
    options.m_ReadersBesideWriter = withLog;
    sto_Store store = sto_Store::Open(path, sto_Mode::Create, FaultsRegistrar(), options);
    Carrier carrier;
    carrier.m_Number = process;
    for (int i = 0; i < 3000; ++i) carrier.Append(0, i + process);
    store.Save("winner", carrier);
  });
  shared.m_Results[process] = outcome.IsDone() ? 1
                              : outcome.m_Way == FaultsOutcome::Way::Store
                                  ? 100 + static_cast<int>(outcome.m_Kind)
                                  : 99;
  _exit(0);
}

void CheckWinner(FaultsRow& row, std::string const& where, std::string const& path, int winner) {
  FaultsOutcome const outcome = FaultsTry([&] {
    sto_Store store = sto_Store::Open(path, sto_Mode::ReadWrite, FaultsRegistrar());
    auto const carrier = store.Load<Carrier>("winner");
    if (carrier->m_Number != winner) throw std::runtime_error("it has the object of another process");
    std::vector<int> const numbers = carrier->All(0);
    if (numbers.size() != 3000 || numbers[2999] != 2999 + winner)
      throw std::runtime_error("its array is different");
    if (store.ObjectCount() < 2 || store.Roots().size() != 1)
      throw std::runtime_error("the store is incomplete");
  });
  if (!outcome.IsDone()) row.Lost(where + "the winner's store: " + outcome.m_Text);
  if (std::string const integrity = FaultsIntegrityOf(path); integrity != "ok") row.Lost(where + integrity);
}

void Round(FaultsRow& row, FaultsFolder const& folder, Shared& shared, int round, int processes) {
  folder.Clear();
  new (&shared) Shared{};
  std::string const path = folder.Path();
  std::vector<pid_t> children;
  for (int process = 0; process < processes; ++process) {
    pid_t const child = fork();
    if (child == 0) Create(shared, process, path, round % 2 == 1);
    children.push_back(child);
  }
  while (shared.m_Ready.load() < processes) usleep(100);
  shared.m_Start = true;
  std::string const where = "round " + std::to_string(round) + ": ";
  for (pid_t const child : children) {
    int status = 0;
    waitpid(child, &status, 0);
    if (!WIFEXITED(status)) row.Lost(where + "a process ended by signal " + std::to_string(WTERMSIG(status)));
  }
  row.Count();
  int winner = -1;
  int winners = 0;
  for (int process = 0; process < processes; ++process) {
    int const result = shared.m_Results[process];
    if (result == 1) {
      ++winners;
      winner = process;
    } else if (result != 100 + static_cast<int>(sto_ErrorKind::Conflict)) {
      row.Lost(where + "a loser got " +
               (result > 100 ? "error " + std::to_string(result - 100) : "no error of the store") +
               ", not Conflict");
    }
  }
  if (winners != 1) return row.Lost(where + std::to_string(winners) + " processes have created the store");
  CheckWinner(row, where, path, winner);
}

int Run(FaultsOptions const& options) {
  int const rounds = options.Number("rounds", options.IsShort() ? 30 : 150);
  int const processes = std::min(options.Number("processes", 5), Shared::MaxProcesses);
  void* const memory =
      mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) throw std::runtime_error("mmap");
  FaultsFolder const folder;
  FaultsRow row("rounds of processes that create one store at once");
  for (int round = 0; round < rounds; ++round)
    Round(row, folder, *static_cast<Shared*>(memory), round, processes);
  munmap(memory, sizeof(Shared));
  return row.Print();
}

} // namespace

int main(int argc, char** argv) {
  int code = 3;
  FaultsOutcome const outcome = FaultsTry([&] { code = Run(FaultsOptions(argc, argv)); });
  if (!outcome.IsDone()) std::fprintf(stderr, "%s\n", outcome.m_Text.c_str());
  return code;
}
