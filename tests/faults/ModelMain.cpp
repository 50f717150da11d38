#include <cstdio>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "tests/faults/FaultsFrame.h"
#include "tests/faults/ModelExecutor.h"
#include "tests/faults/ModelShrink.h"

// Random scripts run on a store and on a model in plain containers.
//
//     faults_model [--short] [--seeds 1..400] [--steps 2500]
//     faults_model --replay FILE        runs one script, as a failure prints it
//     faults_model --script SEED        prints the script of a seed
//
// `--without Reopen,Collect` leaves such steps out of scripts; `--no-faults` leaves out failing file
// operations. Each script runs in a separate process, so that a crash is just another failure. Failing
// scripts are shrunk.

namespace {

constexpr unsigned int SecondsOfScript = 60;

/// How a script ended in a separate process: its failure, or empty.
std::string Fails(FaultsFolder const& folder, ModelScript const& script) {
  folder.Clear();
  FaultsEnd const end = FaultsChild(
      [&](int pipe) {
        ModelExecutor executor(folder.Path());
        try {
          executor.Run(script);
        } catch (ModelFailure const& failure) {
          FaultsTell(pipe, failure.what());
          _exit(1); // do not destroy objects in a broken state
        }
        return 0;
      },
      SecondsOfScript);
  return end.m_ExitCode == 0 ? "" : end.AsText();
}

/// The failure as the shrinker compares it: a difference stays a difference, a crash a crash.
bool FailsAlike(FaultsFolder const& folder, ModelScript const& script, std::string const& failure) {
  std::string const now = Fails(folder, script);
  if (now.empty()) return false;
  bool const wasDifference = failure.starts_with("exit 1");
  if (!wasDifference) return !now.starts_with("exit 1");
  auto const kindOf = [](std::string const& text) {
    std::size_t const at = text.find("): ");
    return at == std::string::npos ? text : text.substr(at, 12);
  };
  return kindOf(now) == kindOf(failure);
}

int Replay(std::string const& path) {
  std::ifstream file(path);
  if (!file) throw std::runtime_error("cannot read " + path);
  ModelScript const script = ModelParse({std::istreambuf_iterator<char>(file), {}});
  FaultsFolder const folder;
  std::string const failure = Fails(folder, script);
  std::printf("%s\n", failure.empty() ? "ok" : failure.c_str());
  return failure.empty() ? 0 : 1;
}

/// The script of a seed, changed by the options.
ModelScript ScriptOf(FaultsOptions const& options, unsigned int seed, int steps) {
  ModelScript script = ModelGenerate(seed, steps);
  std::string const without = "," + options.Text("without", "") + ",";
  std::erase_if(script.m_Steps, [&](ModelStep const& step) {
    std::string const text = ModelText(step);
    return without.find("," + text.substr(0, text.find(' ')) + ",") != std::string::npos;
  });
  for (ModelStep& step : script.m_Steps)
    if (options.Has("no-faults")) step.m_Fault = 0;
  return script;
}

void RunSeed(FaultsFolder const& folder, FaultsRow& row, ModelScript const& script, unsigned int seed,
             bool shrinks) {
  std::string const failure = Fails(folder, script);
  row.Count(failure.empty() ? static_cast<std::int64_t>(script.m_Steps.size()) : 1);
  if (failure.empty()) return;
  std::string text = "seed " + std::to_string(seed) + ": " + failure;
  if (shrinks) {
    ModelScript const least =
        ModelShrink(script, [&](ModelScript const& tried) { return FailsAlike(folder, tried, failure); });
    text += "\n  least script: " + Fails(folder, least) + "\n" + ModelText(least);
  }
  row.Wrong(text);
}

int Run(FaultsOptions const& options) {
  if (options.Has("replay")) return Replay(options.Text("replay", ""));
  int const steps = options.Number("steps", options.IsShort() ? 600 : 2500);
  if (options.Has("script")) {
    auto const seed = static_cast<unsigned int>(options.Number("script", 1));
    std::printf("%s", ModelText(ScriptOf(options, seed, steps)).c_str());
    return 0;
  }
  std::string const seeds = options.Text("seeds", options.IsShort() ? "1..250" : "1..400");
  std::size_t const dots = seeds.find("..");
  if (dots == std::string::npos) throw std::runtime_error("seeds are two numbers with two dots between them");
  auto const first = static_cast<unsigned int>(std::stoul(seeds));
  auto const last = static_cast<unsigned int>(std::stoul(seeds.substr(dots + 2)));
  FaultsFolder const folder;
  FaultsRow row("random steps beside a model, both journal modes");
  for (unsigned int seed = first; seed <= last; ++seed)
    RunSeed(folder, row, ScriptOf(options, seed, steps), seed, row.Findings() < options.Number("shrink", 3));
  return row.Print();
}

} // namespace

int main(int argc, char** argv) {
  int code = 3;
  FaultsOutcome const outcome = FaultsTry([&] { code = Run(FaultsOptions(argc, argv)); });
  if (!outcome.IsDone()) std::fprintf(stderr, "%s\n", outcome.m_Text.c_str());
  return code;
}
