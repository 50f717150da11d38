#include "examples/truss/trs_Program.h"

#include "examples/shared/exa_OpenToRead.h"
#include "examples/shared/exa_Program.h"
#include "examples/truss/trs_Bridge.h"
#include "examples/truss/trs_System.h"
#include "module/nex_initialize.h"
#include "store/refs/sto_Find.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <limits>
#include <map>
#include <sstream>
#include <string_view>

namespace {

constexpr int StepsPerCommit = 2000;
constexpr double Damping = 0.5;

struct Program {
  trs_MakeBar m_MakeBar;
  cls_ClassRegistrar const& m_Classes;

  sto_Store Open(std::string const& path, sto_Mode mode) const {
    return sto_Store::Open(path, mode, m_Classes);
  }
};
using Arguments = std::vector<std::string>;

template <class Number>
Number NumberIn(std::string const& text, Number least, Number most, char const* what) {
  Number number{};
  auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || !(number >= least && number <= most)) {
    std::ostringstream message;
    message << "'" << text << "' is not a number of " << what << " from " << least << " to " << most;
    throw exa_CallError(message.str());
  }
  return number;
}

void Make(Program const& program, Arguments const& arguments) {
  int const bayCount = NumberIn(arguments[1], 2, 200, "bays");
  sto_Store store = program.Open(arguments[0], sto_Mode::Create);
  trs_Truss const bridge = trs_MakeBridge(bayCount, program.m_MakeBar);
  store.Save(trs_Truss::Root, bridge);
  std::printf("%s: %zu joints, %zu members\n", arguments[0].c_str(), bridge.m_Joints.size(),
              bridge.m_Members.size());
}

// " (variable, factor 1.45)"
std::string KindOf(trs_LoadCase const& loadCase) {
  char const* const natures[] = {"permanent", "variable", "accidental"}; // Among lets no other value in
  std::ostringstream text;
  text << " (" << natures[static_cast<int>(loadCase.m_Nature)];
  if (loadCase.m_Factor) text << ", factor " << *loadCase.m_Factor;
  text << ')';
  return text.str();
}

void PrintSolution(trs_Truss const& truss) {
  trs_Solution const& solution = *truss.m_Solution;
  for (int column = 0; std::string const& name : solution.m_Cases) {
    int lowest = 1;
    for (int row = 1; row < solution.m_Displacements.Rows(); row += 2)
      if (solution.m_Displacements.ConstGet(row, column) < solution.m_Displacements.ConstGet(lowest, column))
        lowest = row;
    std::printf("%s%s: %s sinks by %.2f mm\n", name.c_str(), KindOf(truss.m_Cases.at(name)).c_str(),
                truss.m_Joints[static_cast<std::size_t>(lowest / 2)]->m_Name.c_str(),
                -1000 * solution.m_Displacements.ConstGet(lowest, column));
    ++column;
  }
}

void Solve(Program const& program, Arguments const& arguments) {
  sto_Store store = program.Open(arguments[0], sto_Mode::ReadWrite);
  auto const truss = store.Load<trs_Truss>(trs_Truss::Root);
  truss->m_Solution = trs_Solve(*truss);
  store.Save(trs_Truss::Root, *truss);
  store.CollectGarbage(); // an earlier solution, which no root leads to any more
  PrintSolution(*truss);
}

// The run in the store, or a new one.
std::unique_ptr<trs_Run> RunOf(sto_Store& store, trs_System const& system, std::string const& loadCase) {
  if (store.HasRoot(trs_Run::Root)) {
    auto run = store.Load<trs_Run>(trs_Run::Root);
    if (run->m_Case != loadCase)
      throw exa_CallError(store.Location() + ": it has a run of load case " + run->m_Case);
    if (run->m_Width != system.Size())
      throw std::runtime_error(store.Location() + ": the run is of another truss");
    std::printf("goes on from step %d\n", run->LastStep());
    return run;
  }
  return std::make_unique<trs_Run>(loadCase, system.StableStep(), Damping, system.Size());
}

// Each transaction is a checkpoint: a run that is killed goes on from the last one.
void Run(Program const& program, Arguments const& arguments) {
  double const seconds = NumberIn(arguments[2], 0.001, 1e6, "seconds");
  sto_Store store = program.Open(arguments[0], sto_Mode::ReadWrite);
  auto const truss = store.Load<trs_Truss>(trs_Truss::Root);
  auto const found = truss->m_Cases.find(arguments[1]);
  if (found == truss->m_Cases.end())
    throw exa_CallError(arguments[0] + ": there is no load case " + arguments[1]);
  trs_System const system(*truss);
  auto const run = RunOf(store, system, arguments[1]);
  double const steps = std::ceil(seconds / run->m_Step);
  int const most = std::numeric_limits<int>::max() / run->m_Width - 1;
  if (steps > most) throw exa_CallError("a history of " + arguments[2] + " s is too long");
  auto const last = static_cast<int>(steps);
  store.Save(trs_Run::Root, *run); // from now on, the history is in the store
  trs_Stepper stepper(system, system.Loads(found->second), *run);
  while (run->LastStep() < last) {
    sto_Transaction transaction(store);
    for (int i = 0; i < StepsPerCommit && run->LastStep() < last; ++i) stepper.Step(*run);
    transaction.Commit();
    std::printf("step %d of %d\n", run->LastStep(), last);
    std::fflush(stdout);
  }
  std::printf("%s: %d steps of %.3g ms, %.1f MB\n", arguments[0].c_str(), run->LastStep(), 1000 * run->m_Step,
              8e-6 * static_cast<double>(run->m_History.Size()));
}

void PrintRun(trs_Truss const& truss, trs_Run const& run) {
  double lowest = 0;
  int step = 0, unknown = 1;
  for (int i = 0; i <= run.LastStep(); ++i) {
    for (int y = 1; y < run.m_Width; y += 2) {
      double const value = run.At(i, y);
      if (value >= lowest) continue;
      lowest = value;
      step = i;
      unknown = y;
    }
  }
  std::printf("run of %s, %.3f s: %s is lowest after %.3f s, %.2f mm\n", run.m_Case.c_str(),
              run.LastStep() * run.m_Step,
              truss.m_Joints.at(static_cast<std::size_t>(unknown / 2))->m_Name.c_str(), step * run.m_Step,
              -1000 * lowest);
}

void Print(Program const& program, Arguments const& arguments) {
  sto_Store store = exa_OpenToRead(arguments[0], program.m_Classes);
  auto const truss = store.Load<trs_Truss>(trs_Truss::Root);
  std::printf("%-10s %7s", "member", "length");
  if (truss->m_Solution)
    for (std::string const& name : truss->m_Solution->m_Cases) std::printf(" %9s", name.c_str());
  std::printf("\n");
  for (int row = 0; auto const& member : truss->m_Members) {
    std::printf("%-10s %5.2f m", member->Name().c_str(), member->Length());
    if (truss->m_Solution)
      for (int column = 0; column < truss->m_Solution->m_Forces.Cols(); ++column)
        std::printf(" %6.1f kN", truss->m_Solution->m_Forces.ConstGet(row, column) / 1000);
    std::printf("  %s\n", member->Text().c_str());
    ++row;
  }
  if (truss->m_Solution) PrintSolution(*truss);
  if (store.HasRoot(trs_Run::Root)) PrintRun(*truss, *store.Load<trs_Run>(trs_Run::Root));
}

// The truss with the forces of the first load case: blue in tension, red in compression.
void Plot(Program const& program, Arguments const& arguments) {
  sto_Store store = exa_OpenToRead(arguments[0], program.m_Classes);
  auto const truss = store.Load<trs_Truss>(trs_Truss::Root);
  if (!truss->m_Solution) throw exa_CallError(arguments[0] + ": it is not solved yet");
  std::ofstream svg(arguments[1]);
  double width = 0;
  for (auto const& joint : truss->m_Joints) width = std::max(width, joint->m_At.x);
  svg << "<svg xmlns='http://www.w3.org/2000/svg' viewBox='-1 -5 " << width + 2
      << " 6' stroke-width='0.1'>\n";
  for (int row = 0; auto const& member : truss->m_Members) {
    double const force = truss->m_Solution->m_Forces.ConstGet(row++, 0);
    auto const& [start, end] = member->m_Ends;
    svg << "<path stroke='"
        << (force == 0  ? "#ccc"
            : force > 0 ? "#06c"
                        : "#c00")
        << "' d='M" << start->m_At.x << ' ' << -start->m_At.y << 'L' << end->m_At.x << ' ' << -end->m_At.y
        << "'/>\n";
  }
  svg << "</svg>\n";
  if (!svg.flush()) throw std::runtime_error(arguments[1] + ": cannot be written");
}

// The mass of the members, class by class. It meets them one by one, and never has the truss in memory.
void Weigh(Program const& program, Arguments const& arguments) {
  sto_Store store = exa_OpenToRead(arguments[0], program.m_Classes);
  std::map<std::string, double> masses;
  store.ForEach<trs_Member>([&masses](sto_Ref<trs_Member> const& member) {
    std::string const text = member->Text();
    masses[text.substr(0, text.find(','))] += member->Mass();
  });
  for (auto const& [kind, mass] : masses) std::printf("%-10s %8.1f kg\n", kind.c_str(), mass);
}

// Finds one joint by its name and stores it again: the truss stays in the store.
void Rename(Program const& program, Arguments const& arguments) {
  sto_Store store = program.Open(arguments[0], sto_Mode::ReadWrite);
  sto_Transaction transaction(store);
  auto const joint = store.FindOne<trs_Joint>(&trs_Joint::m_Name, arguments[1]);
  if (!joint) throw exa_CallError(arguments[0] + ": there is no joint " + arguments[1]);
  if (store.FindOne<trs_Joint>(&trs_Joint::m_Name, arguments[2]))
    throw exa_CallError(arguments[0] + ": there is a joint " + arguments[2]);
  joint.Edit().m_Name = arguments[2];
  transaction.Commit();
}

struct Command {
  std::string_view m_Name;
  std::size_t m_ArgumentCount;
  void (*m_Action)(Program const&, Arguments const&);
};
constexpr Command Commands[] = {{"make", 2, &Make},    {"solve", 1, &Solve}, {"run", 3, &Run},
                                {"print", 1, &Print},  {"plot", 2, &Plot},   {"weigh", 1, &Weigh},
                                {"rename", 3, &Rename}};

void Call(Program const& program, Arguments arguments) {
  for (Command const& command : Commands) {
    if (arguments.empty() || arguments[0] != command.m_Name ||
        arguments.size() != command.m_ArgumentCount + 1)
      continue;
    arguments.erase(arguments.begin());
    return command.m_Action(program, arguments);
  }
  throw exa_CallError(
      "usage: make STORE BAYS | solve STORE | run STORE CASE SECONDS | print STORE | plot STORE SVG | "
      "weigh STORE | rename STORE JOINT NAME");
}

} // namespace

int trs_Main(int argc, char** argv, trs_MakeBar makeBar, void (*declareBar)(cls_ClassRegistrar&)) {
  int modules = 0;
  nex_initialize(modules);
  int const status = exa_Run(std::filesystem::path(argv[0]).filename().string(), [&] {
    cls_ClassRegistrar classes;
    trs_Declare(classes);
    declareBar(classes);
    Call({makeBar, classes}, Arguments(argv + 1, argv + argc));
  });
  nex_finalize(modules);
  return status;
}
