#include "examples/heat/program/heat_Commands.h"

#include "examples/heat/mesh/heat_MshReader.h"
#include "examples/heat/model/heat_AnalysisModel.h"
#include "examples/heat/model/heat_TransientModel.h"
#include "examples/heat/physics/heat_BuildCase.h"
#include "examples/heat/plot/heat_SvgPlot.h"
#include "examples/heat/program/heat_CommandTools.h"
#include "examples/heat/program/heat_Progress.h"
#include "store/sto_Store.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace {

// A larger residual is more than rounding: the stored field does not solve the stored problem.
constexpr double ResidualLimit = 1e-10;

// Runs a step and shows its progress.
template <class Step> auto WithProgress(std::string const& label, Step step) {
  heat_Progress progress(label);
  return step(progress.Call());
}

std::shared_ptr<heat_AnalysisModel> Solve(std::string const& meshPath, heat_LeftOut& leftOut) {
  std::string const name = heat_FileName(meshPath);
  heat_MeshData const mesh = WithProgress("reading " + name, [&](heat_ProgressCall const& progress) {
    return heat_MshReader::ReadFile(meshPath, progress, &leftOut);
  });
  heat_Problem const problem = heat_BuildCase(mesh);
  heat_Stopwatch const watch;
  heat_Solution const solution = WithProgress("solving", [&](heat_ProgressCall const& progress) {
    return heat_Solver(mesh, problem).Solve(progress);
  });
  double const seconds = watch.Seconds();
  auto const meshModel = std::make_shared<heat_MeshModel>(name, mesh);
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

} // namespace

void heat_Commands::Analyse(std::string const& meshPath, std::string const& storePath) {
  heat_CheckPaths(meshPath, storePath);
  heat_LeftOut leftOut;
  std::shared_ptr<heat_AnalysisModel> const analysis = Solve(meshPath, leftOut);
  heat_NewStore store(storePath);
  heat_Stopwatch const watch;
  heat_WithStoreProgress("saving " + heat_FileName(storePath), [&](sto_Progress const& progress) {
    store.Store().Save(heat_AnalysisModel::Root, *analysis, progress);
  });
  store.Keep();
  heat_PrintLeftOut(meshPath, leftOut);
  std::printf("%s: solved in %s, saved to %s in %s\n", heat_FileName(meshPath).c_str(),
              heat_Milliseconds(analysis->Solution().SolveSeconds()).c_str(), storePath.c_str(),
              heat_Milliseconds(watch.Seconds()).c_str());
}

void heat_Commands::Backup(std::string const& storePath, std::string const& copyPath) {
  sto_Options options;
  options.m_Program = "heat backup";
  sto_Store store = sto_Store::Open(storePath, sto_Mode::ReadWrite, heat_Classes(), options);
  std::string const name = heat_FileName(storePath);
  sto_CheckReport const report =
      heat_WithStoreProgress("checking " + name, [&](sto_Progress const& progress) {
        return store.Check(sto_CheckDepth::Full, 1, progress);
      });
  if (!report.IsSound())
    throw heat_ModelError(storePath + " is damaged: " + report.m_Findings.front().m_Text);
  std::int64_t const deleted = heat_WithStoreProgress(
      "collecting in " + name, [&](sto_Progress const& progress) { return store.CollectGarbage(progress); });
  if (deleted > 0)
    heat_WithStoreProgress("compacting " + name,
                           [&](sto_Progress const& progress) { store.Compact(progress); });
  heat_WithStoreProgress("copying " + name,
                         [&](sto_Progress const& progress) { store.CopyTo(copyPath, progress); });
  std::printf("%s: sound, %lld objects; %lld unused ones deleted; copied to %s\n", storePath.c_str(),
              static_cast<long long>(store.ObjectCount()), static_cast<long long>(deleted), copyPath.c_str());
}

void heat_Commands::Report(std::string const& storePath, std::string const& plotPath) {
  heat_CheckPlotPath(plotPath, storePath);
  heat_Stopwatch const loading;
  sto_Store store = heat_OpenToRead(storePath);
  if (!store.HasRoot(heat_AnalysisModel::Root) && store.HasRoot(heat_TransientModel::Root))
    throw heat_CallError(storePath + ": this is a transient run; show it with heat history " + storePath);
  auto const analysis =
      heat_WithStoreProgress("loading " + heat_FileName(storePath), [&](sto_Progress const& progress) {
        return store.LoadShared<heat_AnalysisModel>(heat_AnalysisModel::Root, progress);
      });
  heat_MeshData const mesh = analysis->Mesh().ToData();
  heat_Problem const problem = analysis->ToProblem();
  std::vector<double> const& temperature = analysis->Solution().Temperature();
  double const loadSeconds = loading.Seconds();

  heat_Stopwatch const verifying;
  Verification const verification = Verify(mesh, problem, temperature);
  double const verifySeconds = verifying.Seconds();

  auto const [lowest, highest] = std::minmax_element(temperature.begin(), temperature.end());
  std::printf("%s\n", storePath.c_str());
  heat_PrintRow("mesh", analysis->Mesh().Name());
  heat_PrintRow("nodes", std::to_string(mesh.nodes.size()));
  heat_PrintRow("elements", std::to_string(mesh.triangles.size()));
  heat_PrintRow("objects in the store", std::to_string(store.ObjectCount()));
  heat_PrintRow("bytes in the store", std::to_string(store.SizeBytes()));
  heat_PrintRow("minimum temperature", heat_Text("%.2f \u00B0C", *lowest));
  heat_PrintRow("maximum temperature", heat_Text("%.2f \u00B0C", *highest));
  heat_PrintRow("solved in", heat_Milliseconds(analysis->Solution().SolveSeconds()) + " (when it was saved)");
  heat_PrintRow("loaded in", heat_Milliseconds(loadSeconds));
  heat_PrintRow("verified in", heat_Milliseconds(verifySeconds));
  heat_PrintRow("largest difference", heat_Text("%.1e K from a new computation", verification.difference));
  heat_PrintRow("residual", heat_Text("%.1e", verification.residual));
  if (plotPath.empty()) return;
  heat_PlotOptions options;
  options.meshName = analysis->Mesh().Name();
  heat_SvgPlot::WriteFile(plotPath, mesh, temperature, options);
  heat_PrintRow("plot", plotPath);
}
