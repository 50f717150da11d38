#include <algorithm>
#include <cstdio>
#include <random>
#include <set>
#include <stdexcept>
#include <utility>

#include "tests/faults/FaultsFrame.h"
#include "tests/faults/FaultsLoop.h"
#include "tests/support/store/StorePowerVfs.h"

// Power failures at any operation of a loop of commits.
//
//     faults_power [--short] [--cuts 6000] [--seed 1]
//
// All file operations of the loop on the database, its journal and its log are recorded. Then, many times,
// the files are reconstructed as a power cut may leave them, and the store is opened. It must have the state
// of the last commit that returned before the cut, or of the one in progress, and nothing in between. A
// self-check ensures that losses are noticed: if nothing counts as synchronised, cuts must lose something.
// losses are noticed: cuts where nothing counts as synchronised must lose something.

namespace {

/// A recorded loop of commits.
struct Loop {
  std::map<std::string, std::string> m_Before;
  std::vector<StorePowerVfs::Operation> m_Operations;
  std::vector<std::size_t> m_Commits; ///< number of operations when each commit returned
};

Loop RecordLoop(FaultsFolder const& folder, bool withLog, int commits) {
  folder.Clear();
  Loop loop;
  std::string const path = folder.Path();
  FaultsMakeLoop(path, withLog);
  FaultsRunLoop(path, 8, [](int) {}); // so that there is something to overwrite
  loop.m_Before[path] = FaultsBytesOf(path);
  StorePowerVfs const vfs;
  StorePowerVfs::Record();
  FaultsRunLoop(path, commits, [&](int) { loop.m_Commits.push_back(StorePowerVfs::Recorded().size()); });
  loop.m_Operations = StorePowerVfs::Recorded();
  return loop;
}

void CheckCut(FaultsRow& row, FaultsFolder const& folder, Loop const& loop, std::size_t at,
              std::string const& where, std::map<std::string, std::string> const& files) {
  folder.Clear();
  for (auto const& [path, content] : files) FaultsPutBytes(path, content);
  row.Count();
  std::string const path = folder.Path();
  auto const committed = 8 + static_cast<int>(std::count_if(loop.m_Commits.begin(), loop.m_Commits.end(),
                                                            [&](std::size_t end) { return end <= at; }));
  int found = -1;
  FaultsOutcome const outcome = FaultsTry([&] { found = FaultsStateOf(path); });
  if (!outcome.IsDone()) return row.Lost(where + outcome.m_Text);
  if (found < committed)
    row.Lost(where + "commit " + std::to_string(committed) + " is gone; " + std::to_string(found) +
             " is there");
  if (found > committed + 1)
    row.Wrong(where + "commit " + std::to_string(found) + " exists before it was made");
  row.Besides(found == committed ? "old" : "new");
  if (std::string const integrity = FaultsIntegrityOf(path); integrity != "ok") row.Wrong(where + integrity);
}

/// Whether cuts lose data if nothing counts as synchronised. If not, the checks could not find anything.
bool SeesLosses(FaultsFolder const& folder, Loop const& loop, std::mt19937& random) {
  int const shown = std::exchange(FaultsRow::s_Shown, 0);
  FaultsRow row("self-check");
  StorePowerCut cut(loop.m_Before);
  std::size_t const end = loop.m_Commits.back();
  for (std::size_t i = 0; i < end; ++i)
    if (loop.m_Operations[i].m_Kind != StorePowerVfs::Operation::Kind::Sync) cut.Apply(loop.m_Operations[i]);
  for (int state = 0; state < 12; ++state) CheckCut(row, folder, loop, end, "", cut.Cut(random, 512));
  FaultsRow::s_Shown = shown;
  return row.Findings() > 0;
}

void RunMode(FaultsRow& row, FaultsFolder const& folder, bool withLog, int cuts, std::mt19937& random) {
  Loop const loop = RecordLoop(folder, withLog, withLog ? (cuts < 1000 ? 30 : 90) : 12);
  if (!SeesLosses(folder, loop, random)) throw std::runtime_error("the self-check lost nothing");
  std::set<std::size_t> places;
  // Mistakes would show at operations that synchronise, and at the next one.
  int const stride = std::max(1, static_cast<int>(loop.m_Operations.size()) * 3 / cuts);
  for (std::size_t i = random() % static_cast<unsigned int>(stride); i <= loop.m_Operations.size();
       i += static_cast<std::size_t>(stride))
    places.insert(i);
  int const states = (cuts + static_cast<int>(places.size()) - 1) / static_cast<int>(places.size());
  StorePowerCut cut(loop.m_Before);
  for (std::size_t i = 0; i <= loop.m_Operations.size(); ++i) {
    if (places.count(i) != 0)
      for (int state = 0; state < states; ++state) {
        int const sector = random() % 2 == 0 ? 512 : 4096;
        std::string const where = std::string(withLog ? "log" : "journal") + ", cut before operation " +
                                  std::to_string(i) + " of " + std::to_string(loop.m_Operations.size()) +
                                  ": ";
        CheckCut(row, folder, loop, i, where, cut.Cut(random, sector));
      }
    if (i < loop.m_Operations.size()) cut.Apply(loop.m_Operations[i]);
  }
}

/// Cuts while the store is made. Until its first commit has returned, there may be no store, or one without
/// content; afterwards the store must exist with its content.
void RunCreation(FaultsRow& row, FaultsFolder const& folder, bool withLog, int cuts, std::mt19937& random) {
  folder.Clear();
  std::vector<StorePowerVfs::Operation> operations;
  {
    StorePowerVfs const vfs;
    StorePowerVfs::Record();
    FaultsMakeLoop(folder.Path(), withLog);
    operations = StorePowerVfs::Recorded();
  }
  bool const isSeen = std::any_of(operations.begin(), operations.end(), [&](auto const& operation) {
    return operation.m_Kind == StorePowerVfs::Operation::Kind::Create && operation.m_Path == folder.Path();
  });
  if (!isSeen) return row.Besides("creations not tried"); // it got its name without SQLite
  StorePowerCut cut({});
  int const states = cuts / static_cast<int>(operations.size()) + 1;
  for (std::size_t i = 0; i <= operations.size(); ++i) {
    for (int state = 0; state < states; ++state) {
      folder.Clear();
      for (auto const& [path, content] : cut.Cut(random, 512)) FaultsPutBytes(path, content);
      row.Count();
      std::string const where = std::string(withLog ? "log" : "journal") + ", cut before operation " +
                                std::to_string(i) + " of " + std::to_string(operations.size()) +
                                " of the creation: ";
      FaultsOutcome const outcome = FaultsTry([&] { FaultsStateOf(folder.Path()); });
      if (!outcome.IsDone() && (i == operations.size() || outcome.m_Way != FaultsOutcome::Way::Store))
        row.Lost(where + outcome.m_Text);
      row.Besides(outcome.IsDone() ? "created" : "no store");
    }
    if (i < operations.size()) cut.Apply(operations[i]);
  }
}

int Run(FaultsOptions const& options) {
  int const cuts = options.Number("cuts", options.IsShort() ? 400 : 6000);
  std::mt19937 random(static_cast<unsigned int>(options.Number("seed", 1)));
  FaultsFolder const folder;
  FaultsRow row("losses of power within a loop of commits, both journal modes");
  for (bool const withLog : {false, true}) {
    RunMode(row, folder, withLog, cuts / 2, random);
    RunCreation(row, folder, withLog, cuts / 10, random);
  }
  return row.Print();
}

} // namespace

int main(int argc, char** argv) {
  int code = 3;
  FaultsOutcome const outcome = FaultsTry([&] { code = Run(FaultsOptions(argc, argv)); });
  if (!outcome.IsDone()) std::fprintf(stderr, "%s\n", outcome.m_Text.c_str());
  return code;
}
