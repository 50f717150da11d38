#include "examples/heat/heat_Commands.h"

#include "examples/heat/heat_AnalysisModel.h"
#include "examples/heat/heat_BuildCase.h"
#include "examples/heat/heat_ModelError.h"
#include "examples/heat/heat_MshReader.h"
#include "examples/heat/heat_Progress.h"
#include "examples/heat/heat_SvgPlot.h"
#include "metadata/cls_MetadataRegistrar.h"
#include "store/sto_Store.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>

namespace {

// The program's classes, as heat_main.cpp declared them.
cls_ClassRegistrar const& Classes() {
  return omi_Singleton<cls_MetadataRegistrar>::Instance().Registrar1();
}

// A residual above this is not rounding: the stored field does not solve the stored problem.
constexpr double ResidualLimit = 1e-10;

class Stopwatch {
 public:
  double Seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - m_Start).count();
  }

 private:
  std::chrono::steady_clock::time_point m_Start = std::chrono::steady_clock::now();
};

std::string FileName(std::string const& path) {
  return std::filesystem::path(path).filename().string();
}

// Runs a step under a progress line.
template <class Step> auto WithProgress(std::string const& label, Step step) {
  heat_Progress progress(label);
  return step(progress.Call());
}

// Takes a new store away again unless everything has worked.
class NewStore {
 public:
  explicit NewStore(std::string path)
      : m_Path(std::move(path)), m_Store(sto_Store::Open(m_Path, sto_Mode::Create, Classes())) {}
  NewStore(NewStore const&) = delete;
  NewStore& operator=(NewStore const&) = delete;
  ~NewStore() {
    std::error_code ignored;
    if (!m_IsKept) std::filesystem::remove(m_Path, ignored);
  }

  sto_Store& Store() { return m_Store; }
  void Keep() { m_IsKept = true; }

 private:
  std::string m_Path;
  sto_Store m_Store;
  bool m_IsKept = false;
};

std::shared_ptr<heat_AnalysisModel> Solve(std::string const& meshPath) {
  std::string const name = FileName(meshPath);
  heat_MeshData const mesh = WithProgress("reading " + name, [&](heat_ProgressCall const& progress) {
    return heat_MshReader::ReadFile(meshPath, progress);
  });
  heat_Problem const problem = heat_BuildCase(mesh);
  Stopwatch const watch;
  heat_Solution const solution = WithProgress("solving", [&](heat_ProgressCall const& progress) {
    return heat_Solver(mesh, problem).Solve(progress);
  });
  double const seconds = watch.Seconds();
  auto const meshModel = std::make_shared<heat_MeshModel>(cow_String(name), mesh);
  auto analysis = std::make_shared<heat_AnalysisModel>("steady heat conduction", meshModel, problem);
  analysis->SetSolution(std::make_shared<heat_SolutionModel>(analysis, meshModel, solution, seconds));
  return analysis;
}

// The largest difference between the stored field and a new solution of the stored problem.
struct Verification {
  double difference = 0;
  double residual = 0;
};

Verification Verify(heat_MeshData const& mesh, heat_Problem const& problem,
                    std::vector<double> const& stored) {
  if (stored.size() != mesh.nodes.size())
    throw heat_ModelError("the solution has " + std::to_string(stored.size()) + " temperatures for " +
                          std::to_string(mesh.nodes.size()) + " nodes");
  heat_Solver const solver(mesh, problem);
  heat_Solution const again =
      WithProgress("verifying", [&](heat_ProgressCall const& progress) { return solver.Solve(progress); });
  Verification verification;
  verification.residual = solver.Residual(stored);
  for (std::size_t i = 0; i < stored.size(); ++i)
    verification.difference = std::max(verification.difference, std::abs(stored[i] - again.temperature[i]));
  if (!(verification.residual <= ResidualLimit))
    throw heat_ModelError("the stored temperatures do not solve the stored problem");
  return verification;
}

void PrintRow(char const* label, std::string const& value) {
  std::printf("  %-22s %s\n", label, value.c_str());
}

std::string Text(char const* format, double value) {
  char text[64];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

std::string Milliseconds(double seconds) {
  return Text("%.1f ms", 1000 * seconds);
}

} // namespace

void heat_Commands::Analyse(std::string const& meshPath, std::string const& storePath) {
  if (!std::filesystem::exists(meshPath)) throw heat_CallError(meshPath + ": there is no such file");
  // Refused before the work is done; opening the new store looks again.
  if (std::filesystem::exists(storePath)) throw heat_CallError(storePath + ": the file exists already");
  std::shared_ptr<heat_AnalysisModel> const analysis = Solve(meshPath);
  NewStore store(storePath);
  Stopwatch const watch;
  WithProgress("saving " + FileName(storePath), [&](heat_ProgressCall const& progress) {
    progress(0);
    store.Store().Save(heat_AnalysisModel::Root, *analysis);
  });
  store.Keep();
  std::printf("%s: solved in %s, saved to %s in %s\n", FileName(meshPath).c_str(),
              Milliseconds(analysis->Solution().SolveSeconds()).c_str(), storePath.c_str(),
              Milliseconds(watch.Seconds()).c_str());
}

void heat_Commands::Report(std::string const& storePath, std::string const& plotPath) {
  Stopwatch const loading;
  sto_Store store = sto_Store::Open(storePath, sto_Mode::ReadOnly, Classes());
  std::shared_ptr<heat_AnalysisModel> const analysis =
      store.LoadShared<heat_AnalysisModel>(heat_AnalysisModel::Root);
  heat_MeshData const mesh = analysis->Mesh().ToData();
  heat_Problem const problem = analysis->ToProblem();
  std::vector<double> const temperature = analysis->Solution().Temperature();
  double const loadSeconds = loading.Seconds();

  Stopwatch const verifying;
  Verification const verification = Verify(mesh, problem, temperature);
  double const verifySeconds = verifying.Seconds();

  auto const [lowest, highest] = std::minmax_element(temperature.begin(), temperature.end());
  std::printf("%s\n", storePath.c_str());
  PrintRow("mesh", std::string(analysis->Mesh().Name().View()));
  PrintRow("nodes", std::to_string(mesh.nodes.size()));
  PrintRow("elements", std::to_string(mesh.triangles.size()));
  PrintRow("objects in the store", std::to_string(store.ObjectCount()));
  PrintRow("bytes in the store", std::to_string(store.SizeBytes()));
  PrintRow("minimum temperature", Text("%.2f \u00B0C", *lowest));
  PrintRow("maximum temperature", Text("%.2f \u00B0C", *highest));
  PrintRow("solved in", Milliseconds(analysis->Solution().SolveSeconds()) + " (when it was saved)");
  PrintRow("loaded in", Milliseconds(loadSeconds));
  PrintRow("verified in", Milliseconds(verifySeconds));
  PrintRow("largest difference", Text("%.1e K to a new computation", verification.difference));
  PrintRow("residual", Text("%.1e", verification.residual));
  if (plotPath.empty()) return;
  heat_PlotOptions options;
  options.meshName = std::string(analysis->Mesh().Name().View());
  heat_SvgPlot::WriteFile(plotPath, mesh, temperature, options);
  PrintRow("plot", plotPath);
}
