#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <stdexcept>
#include <vector>

#include "tests/faults/FaultsFrame.h"
#include "tests/faults/MemoryWorld.h"
#include "tests/support/store/StoreAllocFault.h"

// Failing allocations in every operation of a session: the n-th allocation, for each n until the operation
// needs no more; once, three times in a row, and permanently.
//
//     faults_memory [--short] [--only NAME] [--from N] [--stride N] [--written]
//     faults_memory --here --only NAME --from N --failures K     one step in this process, for a debugger
//
// Afterwards memory is available again. Then the session must be usable, nothing committed may be lost,
// nothing undone may be there, arrays must have their elements or report Unavailable, and the operation must
// be repeatable. With --written the arrays have no unwritten changes.

namespace {

constexpr unsigned int SecondsOfTry = 20;
constexpr int FirstPlace = 5; ///< after the list's existing elements

struct Operation {
  char const* m_Name;
  bool m_InTransaction;                        ///< runs in a transaction, which is rolled back if it fails
  std::function<void(MemoryWorld&)> m_Prepare; ///< runs without failures, in the transaction
  std::function<void(MemoryWorld&)> m_Act;
  std::function<void(MemoryWorld&)> m_Apply; ///< updates the model
  bool m_IsEnd = false;                      ///< ends the transaction or the session in any case
};

void Nothing(MemoryWorld&) {}

int Next(MemoryWorld const& world, int array) {
  return 200'000 + static_cast<int>(world.m_Model.m_Carrier[static_cast<std::size_t>(array)].size());
}

/// Appends to the carrier's ints, across the end of a block; the model follows element by element.
void AppendMany(MemoryWorld& world) {
  for (int i = 0; i < 2300; ++i) {
    int const value = Next(world, 1);
    world.m_Carrier->Append(1, value);
    world.m_Model.m_Carrier[1].push_back(value); // capacity was reserved
  }
}

void FlushAll(MemoryWorld& world) {
  for (int array = 0; array < Carrier::ArrayCount; ++array) world.m_Carrier->Flush(array);
}

void SavedCarrier(MemoryWorld& world) {
  world.m_Model.m_Number = world.m_Carrier->m_Number;
  if (!world.m_Transaction) world.m_Model.m_Stored = world.m_Model.m_Carrier;
}

std::string const& Run20000() {
  static std::string const run(20'000, 'r');
  return run;
}

void Reserve(MemoryWorld& world) {
  world.m_Model.m_Carrier[1].reserve(20'000);
}
void SaveFresh(MemoryWorld& world) {
  world.m_Store->Save("fresh", *world.m_Fresh);
}
void SavedFresh(MemoryWorld& world) {
  world.m_Model.m_Roots.insert("fresh");
}
void ChangeNumber(MemoryWorld& world) {
  world.m_Carrier->m_Number = 2;
}
void SaveAgain(MemoryWorld& world) {
  world.m_Store->Save("carrier", *world.m_Carrier);
}
void WriteBlob(MemoryWorld& world) {
  world.m_Picture->Blob().Write(25'000, 20'000, Run20000().data());
}
void WroteBlob(MemoryWorld& world) {
  world.m_Model.m_Bytes.resize(45'000);
  world.m_Model.m_Bytes.replace(25'000, 20'000, Run20000());
}
/// Raises a failure that the session kept when it occurred in the destructor of an element.
void RaiseKept(MemoryWorld& world) {
  static_cast<void>(world.m_Folder->Items().Count());
}
void Put(MemoryWorld& world) {
  world.m_Folder->Put(FirstPlace, *world.m_Leaf);
  RaiseKept(world);
}
void HasPut(MemoryWorld& world) {
  world.m_Model.m_Items.resize(std::max<std::size_t>(world.m_Model.m_Items.size(), FirstPlace + 1));
  world.m_Model.m_Items[FirstPlace] = 4711;
}

/// A bit of everything, in the open transaction.
void ChangeMuch(MemoryWorld& world) {
  ChangeNumber(world);
  SaveAgain(world);
  SavedCarrier(world);
  SaveFresh(world);
  SavedFresh(world);
  WriteBlob(world);
  WroteBlob(world);
  Put(world);
  HasPut(world);
  world.ChangeArrays();
}

void CheckAll(MemoryWorld& world) {
  sto_CheckReport const report = world.m_Store->Check(sto_CheckDepth::Full);
  if (!report.IsSound()) throw std::runtime_error("a check finds: " + report.m_Findings[0].m_Text);
}

std::vector<Operation> OperationsOnObjects() {
  return {
      {"save new", false, Nothing, SaveFresh, SavedFresh},
      {"save new in a transaction", true, Nothing, SaveFresh, SavedFresh},
      {"save again", false, ChangeNumber, SaveAgain, SavedCarrier},
      {"save again in a transaction", true, ChangeNumber, SaveAgain, SavedCarrier},
      {"load", false, Nothing,
       [](MemoryWorld& world) { world.m_Loaded = world.m_Store->Load<Carrier>("carrier"); },
       [](MemoryWorld& world) { world.m_Loaded.reset(); }},
      {"append", false, Reserve, AppendMany, Nothing},
      {"append in a transaction", true, Reserve, AppendMany, Nothing},
      {"flush", false, Nothing, FlushAll,
       [](MemoryWorld& world) { world.m_Model.m_Stored = world.m_Model.m_Carrier; }},
      {"check", false, Nothing, CheckAll, Nothing},
      {"check in a transaction", true, ChangeMuch, CheckAll, Nothing},
      {"stat", false, Nothing, [](MemoryWorld& world) { static_cast<void>(world.m_Store->Stat()); }, Nothing},
      {"compact", false, Nothing, [](MemoryWorld& world) { world.m_Store->Compact(); },
       [](MemoryWorld& world) { world.m_Model.m_Stored = world.m_Model.m_Carrier; }},
      {"evict", false, Nothing, [](MemoryWorld& world) { static_cast<void>(world.m_Carrier->Get(1, 3)); },
       Nothing},
  };
}

std::vector<Operation> OperationsOfAgents() {
  return {
      {"blob write", false, Nothing, WriteBlob, WroteBlob},
      {"blob write in a transaction", true, Nothing, WriteBlob, WroteBlob},
      {"blob read", false, Nothing,
       [](MemoryWorld& world) {
         static char bytes[40'000];
         world.m_Picture->Blob().Read(0, sizeof bytes, bytes);
       },
       Nothing},
      {"list put", false, Nothing, Put, HasPut},
      {"list put in a transaction", true, Nothing, Put, HasPut},
      {"list set count", false, Nothing, [](MemoryWorld& world) { world.m_Folder->Items().SetCount(700); },
       [](MemoryWorld& world) { world.m_Model.m_Items.resize(700, -1); }},
      {"list remove", false, Nothing, [](MemoryWorld& world) { world.m_Folder->Items().Remove(0); },
       [](MemoryWorld& world) { world.m_Model.m_Items.erase(world.m_Model.m_Items.begin()); }},
      {"list read", false, Nothing,
       [](MemoryWorld& world) {
         static_cast<void>(std::unique_ptr<cls_MementoRead>(world.m_Folder->Items().MakeReadObj(1)));
       },
       Nothing},
      {"map put", false, Nothing,
       [](MemoryWorld& world) {
         world.m_Folder->PutKey(77, *world.m_Leaf);
         RaiseKept(world);
       },
       [](MemoryWorld& world) { world.m_Model.m_Keyed[77] = 4711; }},
      {"map remove", false, Nothing,
       [](MemoryWorld& world) { static_cast<void>(world.m_Folder->Keyed().Remove(1)); },
       [](MemoryWorld& world) { world.m_Model.m_Keyed.erase(1); }},
  };
}

std::vector<Operation> OperationsOfSessions() {
  return {
      {"begin", false, Nothing, [](MemoryWorld& world) { sto_Transaction const transaction(*world.m_Store); },
       Nothing},
      {"commit", true, ChangeMuch, [](MemoryWorld& world) { world.m_Transaction->Commit(); },
       [](MemoryWorld& world) {
         world.m_Transaction.reset();
         world.m_Model.m_Stored = world.m_Model.m_Carrier;
       }},
      {"rollback", true, ChangeMuch, [](MemoryWorld& world) { world.m_Transaction->Rollback(); },
       [](MemoryWorld& world) { world.Rollback(); }, true},
      {"collect", false, Nothing, [](MemoryWorld& world) { world.m_Store->CollectGarbage(); }, Nothing},
      {"open", false, Nothing,
       [](MemoryWorld& world) {
         world.m_Second = std::make_unique<sto_Store>(
             sto_Store::Open(world.m_Path, sto_Mode::ReadWrite, FaultsRegistrar()));
       },
       [](MemoryWorld& world) { world.m_Second.reset(); }},
      {"close", false, Nothing, [](MemoryWorld& world) { world.m_Store.reset(); }, Nothing, true},
      {"close in a transaction", true, ChangeMuch, [](MemoryWorld& world) { world.m_Store.reset(); },
       [](MemoryWorld& world) { world.m_Model = world.m_AtBegin; }, true},
  };
}

std::vector<Operation> Operations() {
  std::vector<Operation> all = OperationsOnObjects();
  for (auto const& part : {OperationsOfAgents(), OperationsOfSessions()})
    all.insert(all.end(), part.begin(), part.end());
  return all;
}

/// The operation failed: checks what is left, and that it can be repeated.
void CheckAfterFailure(Operation const& operation, MemoryWorld& world, FaultsOutcome const& outcome) {
  if (outcome.m_Way == FaultsOutcome::Way::Other) throw std::runtime_error("it raised " + outcome.m_Text);
  // The query itself may have failed before it raised the kept failure. The failure is raised once.
  static_cast<void>(FaultsTry([&] { RaiseKept(world); }));
  if (operation.m_InTransaction) {
    // A failure may have undone the transaction. Then the state is that before the transaction, otherwise
    // that before the call.
    MemoryModel const before = world.m_Model;
    if (!FaultsTry([&] { world.CheckMemory(); }).IsDone()) {
      world.m_Model = world.m_AtBegin;
      world.CheckMemory();
      world.m_Model = before;
    }
    world.Rollback();
  }
  world.CheckMemory();
  world.CheckUse();
  if (operation.m_InTransaction) world.Begin();
  operation.m_Prepare(world);
  operation.m_Act(world);
  operation.m_Apply(world);
  if (world.m_Transaction) world.Commit();
}

/// Injects one failure; `hasFailed` is set if it occurred.
void Try(Operation const& operation, std::string const& base, std::string const& path, int step, int failures,
         bool& hasFailed) {
  MemoryWorld world(base, path);
  if (operation.m_InTransaction) world.Begin();
  operation.m_Prepare(world);
  StoreAllocFault::FailFrom(step, failures);
  FaultsOutcome const outcome = FaultsTry([&] {
    struct Stop {
      ~Stop() { StoreAllocFault::Stop(); }
    } const stop;
    operation.m_Act(world);
  });
  hasFailed = StoreAllocFault::HasFailed();
  if (operation.m_IsEnd) {
    operation.m_Apply(world);
    if (!outcome.IsDone()) throw std::runtime_error("it raised " + outcome.m_Text);
    bool const isClosed = world.m_Store == nullptr;
    if (isClosed) {
      world.m_Transaction.release(); // NOLINT: its session is gone, so its destructor must not run
    } else {
      world.CheckMemory();
      world.CheckUse();
    }
    return world.CheckStored(isClosed);
  }
  if (outcome.IsDone()) {
    operation.m_Apply(world);
    world.CheckMemory();
    if (world.m_Transaction) world.Commit();
    world.CheckUse();
  } else {
    CheckAfterFailure(operation, world, outcome);
  }
  world.CheckMemory();
  world.CheckStored(false);
}

/// Runs all steps of one operation, `stride` apart, in child processes. If a step ends its process, the next
/// one continues after it.
void RunOperation(FaultsFolder const& folder, FaultsRow& row, Operation const& operation, int failures,
                  int first, int stride) {
  std::string const name = std::string(operation.m_Name) +
                           (failures < 0 ? ", permanently" : ", " + std::to_string(failures) + " times");
  for (int step = first;;) {
    FaultsEnd const end = FaultsChild(
        [&](int pipe) {
          for (int at = step;; at += stride) {
            alarm(SecondsOfTry);
            bool hasFailed = true;
            FaultsOutcome const outcome = FaultsTry(
                [&] { Try(operation, folder.Path("base"), folder.Path("work"), at, failures, hasFailed); });
            // Each line: + correct, - wrong; followed by a dot if no allocation was left to fail.
            FaultsTell(pipe, outcome.IsDone() ? "+\n" : "-" + outcome.m_Text + '\n');
            if (!hasFailed) FaultsTell(pipe, ".\n");
            if (!outcome.IsDone()) return 1; // memory may be corrupt now
            if (!hasFailed) return 0;
          }
        },
        SecondsOfTry);
    bool isOver = false;
    bool isTold = false;
    for (std::size_t at = 0, line = 0; (line = end.m_Output.find('\n', at)) != std::string::npos;
         at = line + 1) {
      isOver = end.m_Output[at] == '.';
      if (isOver) break;
      isTold = end.m_Output[at] == '-';
      row.Count();
      if (isTold)
        row.Lost(name + ", step " + std::to_string(step) + ": " + end.m_Output.substr(at + 1, line - at - 1));
      step += stride;
    }
    if (isOver) return;
    if (!isTold) {
      row.Count();
      row.Lost(name + ", step " + std::to_string(step) + ": the process ended by " +
               FaultsEnd{end.m_ExitCode, end.m_Signal, ""}.AsText());
      step += stride;
    }
    if (step > 20'000) return row.Lost(name + ": it never ends");
  }
}

int Run(FaultsOptions const& options) {
  StoreAllocFault::Install();
  MemoryWorld::s_HasPending = !options.Has("written");
  FaultsFolder const folder;
  FaultsRow row("failing allocations in every operation of a session");
  if (FaultsEnd const end = FaultsChild(
          [&](int) {
            MemoryWorld::MakeBase(folder.Path("base"));
            return 0;
          },
          60);
      end.m_ExitCode != 0)
    throw std::runtime_error("the base store cannot be made: " + end.AsText());
  std::string const only = options.Text("only", "");
  if (options.Has("here")) {
    bool hasFailed = false;
    for (Operation const& operation : Operations())
      if (only == operation.m_Name)
        Try(operation, folder.Path("base"), folder.Path("work"), options.Number("from", 1),
            options.Number("failures", 1), hasFailed);
    std::printf(hasFailed ? "ok\n" : "no allocation failed\n");
    return 0;
  }
  int const stride = options.Number("stride", options.IsShort() ? 17 : 1);
  int place = 0;
  for (Operation const& operation : Operations())
    for (int const failures : {1, 3, -1})
      if (only.empty() || only == operation.m_Name)
        RunOperation(folder, row, operation, failures, options.Number("from", 1 + place++ % stride), stride);
  return row.Print();
}

} // namespace

int main(int argc, char** argv) {
  int code = 3;
  FaultsOutcome const outcome = FaultsTry([&] { code = Run(FaultsOptions(argc, argv)); });
  if (!outcome.IsDone()) std::fprintf(stderr, "%s\n", outcome.m_Text.c_str());
  return code;
}
