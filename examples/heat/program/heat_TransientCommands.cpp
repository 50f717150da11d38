#include "examples/heat/program/heat_Commands.h"

#include "examples/heat/mesh/heat_MshReader.h"
#include "examples/heat/model/heat_TransientModel.h"
#include "examples/heat/physics/heat_BuildCase.h"
#include "examples/heat/physics/heat_TransientSolver.h"
#include "examples/heat/plot/heat_HistoryPlot.h"
#include "examples/heat/program/heat_CommandTools.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>

namespace {

constexpr int plottedMoments = 1000; // limits the resolution of a plot, and its memory for long runs
constexpr int printedMoments = 6;

// The peak resident memory of the process, as the system reports it.
std::string PeakMemory() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (!line.starts_with("VmHWM:")) continue;
    auto const first = line.find_first_not_of(" \t", 6);
    return first == std::string::npos ? "unknown" : line.substr(first);
  }
  return "unknown";
}

void PrintMemory(std::int64_t elements) {
  heat_PrintRow("history", std::to_string(elements * static_cast<std::int64_t>(sizeof(double))) + " bytes");
  heat_PrintRow("peak memory", PeakMemory());
}

std::shared_ptr<heat_TransientModel> LoadRun(sto_Store& store) {
  if (!store.HasRoot(heat_TransientModel::Root))
    throw heat_CallError(store.Location() + ": there is no transient run in this store");
  auto run =
      heat_WithStoreProgress("loading " + heat_FileName(store.Location()), [&](sto_Progress const& progress) {
        return store.LoadShared<heat_TransientModel>(heat_TransientModel::Root, progress);
      });
  run->Check();
  return run;
}

// Advances to the end of the run. Each stretch up to a checkpoint is one transaction, which commits the
// history together with the step reached.
void Advance(sto_Store& store, heat_TransientModel& run, heat_TransientSolver const& solver) {
  heat_Stopwatch const watch;
  int const from = run.Step();
  std::vector<double> field = run.Field(from);
  while (run.Step() < run.StepCount()) {
    int const goal = run.StepCount() - run.Step() < run.Interval()
                         ? run.StepCount()
                         : run.Step() - run.Step() % run.Interval() + run.Interval();
    sto_Transaction transaction(store);
    while (run.Step() < goal) {
      solver.Step(field);
      run.AppendField(field);
    }
    run.SaveCheckpoint(store);
    transaction.Commit();
    std::printf("checkpoint at step %d of %d, %g s\n", goal, run.StepCount(), goal * run.TimeStep());
    std::fflush(stdout);
  }
  std::printf("%s: %d steps of %g s on %d nodes in %s\n", store.Location().c_str(), run.Step() - from,
              run.TimeStep(), run.NodeCount(), heat_Milliseconds(watch.Seconds()).c_str());
}

// The hottest node of a field, the one closest to the mean of the extremes, and the coldest.
std::vector<int> TellingNodes(std::vector<double> const& field) {
  auto const [coldest, hottest] = std::minmax_element(field.begin(), field.end());
  double const mean = (*coldest + *hottest) / 2;
  auto const middle = std::min_element(field.begin(), field.end(), [&](double a, double b) {
    return std::abs(a - mean) < std::abs(b - mean);
  });
  auto const index = [&](auto place) { return static_cast<int>(place - field.begin()); };
  return {index(std::find(field.begin(), field.end(), *hottest)), index(middle), index(coldest)};
}

std::vector<int> NodesWithTags(heat_MeshData const& mesh, std::vector<int> const& tags) {
  std::vector<int> nodes;
  if (tags.size() > heat_MostCurves)
    throw heat_CallError("--nodes: " + std::to_string(tags.size()) + " nodes are too many, at most " +
                         std::to_string(heat_MostCurves));
  for (int const tag : tags) {
    auto const place = std::find(mesh.nodeTags.begin(), mesh.nodeTags.end(), tag);
    if (place == mesh.nodeTags.end())
      throw heat_CallError("--nodes: there is no node " + std::to_string(tag) + " in the mesh");
    nodes.push_back(static_cast<int>(place - mesh.nodeTags.begin()));
  }
  return nodes;
}

// Steps at roughly equal distances from the start to the last one, at most the given number.
std::vector<int> SomeSteps(int last, int atMost) {
  std::vector<int> steps;
  int const count = std::min(last, atMost - 1);
  for (int i = 0; i < count; ++i)
    steps.push_back(static_cast<int>(static_cast<std::int64_t>(last) * i / count));
  steps.push_back(last);
  return steps;
}

// The temperatures of some nodes at some steps. The array is read in ascending order.
std::vector<heat_Curve> CurvesOf(heat_TransientModel const& run, heat_MeshData const& mesh,
                                 std::vector<int> const& nodes, std::vector<int> const& steps) {
  std::vector<heat_Curve> curves;
  for (int const node : nodes)
    curves.push_back({"node " + std::to_string(mesh.nodeTags[static_cast<std::size_t>(node)]), {}});
  std::vector<std::size_t> order(nodes.size());
  for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
  std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) { return nodes[a] < nodes[b]; });
  for (int const step : steps)
    for (std::size_t const i : order) curves[i].values.push_back(run.Temperature(step, nodes[i]));
  return curves;
}

void PrintTable(std::vector<int> const& steps, double timeStep, std::vector<heat_Curve> const& curves) {
  std::printf("\n  %12s", "time");
  for (auto const& curve : curves) std::printf("  %14s", curve.name.c_str());
  std::printf("\n");
  for (std::size_t i = 0; i < steps.size(); ++i) {
    std::printf("  %12s", heat_Text("%g s", steps[i] * timeStep).c_str());
    for (auto const& curve : curves) std::printf("  %11.2f \u00B0C", curve.values[i]);
    std::printf("\n");
  }
}

void Plot(std::string const& path, heat_TransientModel const& run, heat_MeshData const& mesh,
          std::vector<int> const& nodes) {
  std::vector<int> const steps = SomeSteps(run.Step(), plottedMoments);
  std::vector<double> seconds;
  for (int const step : steps) seconds.push_back(step * run.TimeStep());
  heat_HistoryOptions options;
  options.subtitle = run.Mesh().Name() + " \u00B7 " + std::to_string(run.NodeCount()) + " nodes \u00B7 " +
                     std::to_string(run.Step()) + " steps of " + heat_Text("%g s", run.TimeStep());
  heat_WritePlot(path, heat_DrawHistory(seconds, CurvesOf(run, mesh, nodes, steps), options));
}

// The first element in which two histories differ, or the number of elements in both.
long long FirstDifference(sto_Array<double> const& first, sto_Array<double> const& second) {
  long long const common = std::min(first.Size(), second.Size());
  long long same = common;
  std::vector<double> others;
  first.ForEachBlock(0, common, [&](long long at, std::span<double const> values) {
    if (same != common) return;
    others.resize(values.size());
    second.Read(at, others);
    for (std::size_t i = 0; i < values.size() && same == common; ++i)
      if (std::memcmp(&values[i], &others[i], sizeof(double)) != 0) same = at + static_cast<long long>(i);
  });
  return same;
}

} // namespace

void heat_Commands::Transient(std::string const& meshPath, std::string const& storePath,
                              heat_TransientPlan const& plan, bool showMemory) {
  heat_CheckPaths(meshPath, storePath);
  heat_LeftOut leftOut;
  heat_MeshData const mesh = heat_MshReader::ReadFile(meshPath, {}, &leftOut);
  heat_CaseOptions const options;
  heat_Problem const problem = heat_BuildCase(mesh, options);
  heat_TransientSolver const solver(mesh, problem, plan.timeStep);
  auto const run = [&] {
    auto const meshModel = std::make_shared<heat_MeshModel>(heat_FileName(meshPath), mesh);
    return std::make_shared<heat_TransientModel>("transient heat conduction", meshModel, problem, plan,
                                                 solver.StartField(options.airTemperature));
  }();
  heat_NewStore store(storePath);
  sto_Transaction transaction(store.Store());
  heat_WithStoreProgress("saving " + heat_FileName(storePath), [&](sto_Progress const& progress) {
    store.Store().Save(heat_TransientModel::Root, *run, progress);
  });
  run->SaveCheckpoint(store.Store());
  transaction.Commit();
  store.Keep();
  heat_PrintLeftOut(meshPath, leftOut);
  Advance(store.Store(), *run, solver);
  if (showMemory) PrintMemory(run->History().Size());
}

void heat_Commands::Resume(std::string const& storePath, int stepCount, bool showMemory) {
  sto_Options options = heat_WriteOptions();
  options.m_Upgrade = true; // earlier programs could not read the models that are saved from here on anyway
  sto_Store store = sto_Store::Open(storePath, sto_Mode::ReadWrite, heat_Classes(), options);
  auto const run = LoadRun(store);
  if (stepCount != 0 && stepCount < run->Step())
    throw heat_CallError(storePath + ": the run is already at step " + std::to_string(run->Step()) +
                         ", past step " + std::to_string(stepCount));
  if (stepCount != 0) run->SetStepCount(stepCount);
  if (run->Step() == run->StepCount())
    throw heat_CallError(storePath + ": the run is finished: all " + std::to_string(run->Step()) +
                         " steps are computed; --steps sets a new end");
  heat_MeshData const mesh = run->Mesh().ToData();
  heat_TransientSolver const solver(mesh, run->ToProblem(), run->TimeStep());
  std::printf("%s: continues from step %d of %d\n", storePath.c_str(), run->Step(), run->StepCount());
  Advance(store, *run, solver);
  if (showMemory) PrintMemory(run->History().Size());
}

bool heat_Commands::Compare(std::string const& firstPath, std::string const& secondPath, bool showMemory) {
  sto_Store firstStore = heat_OpenToRead(firstPath);
  sto_Store secondStore = heat_OpenToRead(secondPath);
  auto const first = LoadRun(firstStore);
  auto const second = LoadRun(secondStore);
  auto const& a = first->History();
  auto const& b = second->History();
  long long const same = FirstDifference(a, b);
  bool const isEqual = same == a.Size() && same == b.Size();
  if (isEqual) {
    std::printf("%lld elements, equal in every bit\n", same);
  } else if (a.Size() != b.Size()) {
    std::printf("the histories differ: %lld elements and %lld\n", a.Size(), b.Size());
  } else {
    std::printf("the histories differ: %lld elements each\n", a.Size());
  }
  if (!isEqual && same < std::min(a.Size(), b.Size())) {
    int const nodes = first->NodeCount();
    std::printf("first difference at element %lld (step %lld, node %lld of %d): %.17g and %.17g\n", same,
                same / nodes, same % nodes + 1, nodes, a.Get(same), b.Get(same));
  } else if (!isEqual) {
    std::printf("no difference in the first %lld elements, which both have\n", same);
  }
  if (showMemory) PrintMemory(a.Size() + b.Size());
  return isEqual;
}

void heat_Commands::History(std::string const& storePath, std::vector<int> const& nodeTags,
                            std::string const& plotPath, bool showMemory) {
  heat_CheckPlotPath(plotPath, storePath);
  sto_Store store = heat_OpenToRead(storePath);
  auto const run = LoadRun(store);
  heat_MeshData const mesh = run->Mesh().ToData();
  std::vector<int> const nodes =
      nodeTags.empty() ? TellingNodes(run->Field(run->Step())) : NodesWithTags(mesh, nodeTags);
  std::printf("%s\n", storePath.c_str());
  heat_PrintRow("mesh", run->Mesh().Name());
  heat_PrintRow("nodes", std::to_string(run->NodeCount()));
  heat_PrintRow("time step", heat_Text("%g s", run->TimeStep()));
  heat_PrintRow("steps", std::to_string(run->Step()) + " of " + std::to_string(run->StepCount()));
  heat_PrintRow("bytes in the store", std::to_string(store.SizeBytes()));
  if (!plotPath.empty()) {
    Plot(plotPath, *run, mesh, nodes);
    heat_PrintRow("plot", plotPath);
  }
  if (showMemory) PrintMemory(run->History().Size());
  std::vector<int> const steps = SomeSteps(run->Step(), printedMoments);
  PrintTable(steps, run->TimeStep(), CurvesOf(*run, mesh, nodes, steps));
}
