#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <random>

#include "tests/faults/FaultsFrame.h"
#include "tests/faults/FaultsLoop.h"
#include "tests/support/store/StorePowerVfs.h"

// Processes that are killed while they commit, at a file operation or at any moment.
//
//     faults_kills [--short] [--kills 2000] [--seed 1]
//
// Each child continues after the previous kill. All commits it reported through its pipe must be there, and
// nothing else except the commit in progress.

namespace {

constexpr int CommitsOfChild = 12;
constexpr int CommitsOfStore = 150; // then start a new store, to keep the checks short

struct Kills {
  explicit Kills(unsigned int seed) : m_Random(seed) {}
  int Below(int end) { return static_cast<int>(m_Random() % static_cast<unsigned int>(end)); }

  FaultsEnd RunChild(std::string const& path, bool atOperation) {
    int const step = Below(250) + 1;
    int const microseconds = Below(25'000);
    auto const work = [&](int pipe) {
      StorePowerVfs const vfs;
      if (atOperation) StorePowerVfs::StrikeAt(step, StorePowerVfs::Fault::Kill);
      FaultsRunLoop(path, CommitsOfChild, [&](int number) {
        FaultsTell(pipe, std::string_view(reinterpret_cast<char const*>(&number), sizeof number));
      });
      return 0;
    };
    return FaultsChild(work, 60, [&](int child) {
      if (atOperation) return;
      usleep(static_cast<useconds_t>(microseconds));
      kill(child, SIGKILL);
    });
  }

  /// The last commit reported by the child, or `before`.
  static int LastOf(FaultsEnd const& end, int before) {
    std::size_t const count = end.m_Output.size() / sizeof before;
    if (count > 0) std::memcpy(&before, end.m_Output.data() + (count - 1) * sizeof before, sizeof before);
    return before;
  }

  std::mt19937 m_Random;
};

/// Kills the given number of children on stores of one journal mode.
void RunMode(FaultsFolder const& folder, FaultsRow& row, Kills& kills, bool withLog, int count) {
  int committed = 0;
  bool isNew = true;
  for (int i = 0; i < count; ++i) {
    std::string const path = folder.Path();
    if (isNew || committed > CommitsOfStore) {
      folder.Clear();
      FaultsMakeLoop(path, withLog);
      committed = 0;
      isNew = false;
    }
    FaultsEnd const end = kills.RunChild(path, i % 3 != 0);
    row.Count();
    if (end.m_Signal != SIGKILL && end.m_ExitCode != 0)
      row.Lost("the child ended by itself: " + end.AsText());
    int const reported = Kills::LastOf(end, committed);
    std::string const where = (withLog ? "log, kill " : "journal, kill ") + std::to_string(i) + ": ";
    int found = -1;
    FaultsOutcome const outcome = FaultsTry([&] { found = FaultsStateOf(path); });
    if (!outcome.IsDone()) {
      row.Wrong(where + outcome.m_Text);
      isNew = true;
      continue;
    }
    if (found < reported)
      row.Lost(where + "commit " + std::to_string(reported) + " is gone; the store has " +
               std::to_string(found));
    if (found > reported + 1)
      row.Wrong(where + "commit " + std::to_string(found) + " exists before it was made");
    if (std::string const integrity = FaultsIntegrityOf(path); integrity != "ok")
      row.Wrong(where + integrity);
    row.Besides(end.m_Signal == SIGKILL ? "killed" : "finished");
    row.Besides("commits", found - committed);
    committed = found;
  }
}

int Run(FaultsOptions const& options) {
  int const count = options.Number("kills", options.IsShort() ? 120 : 2000);
  Kills kills(static_cast<unsigned int>(options.Number("seed", 1)));
  FaultsFolder const folder;
  FaultsRow row("processes killed while they commit, both journal modes");
  for (bool const withLog : {false, true}) RunMode(folder, row, kills, withLog, count / 2);
  return row.Print();
}

} // namespace

int main(int argc, char** argv) {
  int code = 3;
  FaultsOutcome const outcome = FaultsTry([&] { code = Run(FaultsOptions(argc, argv)); });
  if (!outcome.IsDone()) std::fprintf(stderr, "%s\n", outcome.m_Text.c_str());
  return code;
}
