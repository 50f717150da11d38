#include "bench/oo7/oo7_Session.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>

#include "bench/bench_FreshProcess.h"
#include "bench/oo7/oo7_DurableFile.h"

namespace {

using Clock = std::chrono::steady_clock;

double SecondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

oo7_Run Timed(oo7_System& system, std::string_view operation) {
  auto const start = Clock::now();
  oo7_Tally const tally = system.Run(operation);
  return {SecondsSince(start), tally};
}

/// Whether a list with commas names an operation of a group. An empty list names all.
bool HasOneOf(std::string const& operations, std::vector<std::string_view> const& group) {
  std::string const list = "," + operations + ",";
  return operations.empty() || std::ranges::any_of(group, [&list](std::string_view operation) {
           return list.find("," + std::string(operation) + ",") != std::string::npos;
         });
}

class Measurement {
 public:
  Measurement(oo7_NamedSystem const& system, oo7_Rows const& rows, oo7_Plan const& plan)
      : m_Rows(rows), m_HotRuns(plan.m_HotRuns),
        m_Path(plan.m_Folder + "/oo7_bench." + std::string(system.m_Name)), m_System(system.m_Make()) {
    m_Measured.m_System = &system;
    std::filesystem::remove(m_Path);
    auto const start = Clock::now();
    m_System->Build(m_Rows, m_Path);
    m_Measured.m_BuildSeconds = SecondsSince(start);
    if (system.m_HasFile) m_Measured.m_FileBytes = static_cast<long long>(std::filesystem::file_size(m_Path));
  }
  ~Measurement() { std::filesystem::remove(m_Path); }
  Measurement(Measurement const&) = delete;
  Measurement& operator=(Measurement const&) = delete;

  void Run(std::vector<std::string_view> const& group) {
    for (std::string_view const operation : group) RunCold(operation);
    RunHot(group);
  }
  [[nodiscard]] oo7_Measured const& Measured() const { return m_Measured; }

 private:
  oo7_Result& ResultOf(std::string_view operation) { return m_Measured.m_Results[std::string(operation)]; }

  void RunCold(std::string_view operation) {
    oo7_Result& result = ResultOf(operation);
    if (!m_Measured.m_System->m_HasFile) {
      m_System->Open(m_Path, m_Rows.m_Parameters);
      result.m_Cold = Timed(*m_System, operation);
      m_System->Close();
      return;
    }
    oo7_DurableFile::Evict(m_Path);
    std::string const output =
        bench_OutputOfFreshProcess({oo7_OnceOption, std::string(m_Measured.m_System->m_Name),
                                    std::string(operation), m_Rows.m_Parameters.m_Name, m_Path});
    oo7_Run& cold = result.m_Cold;
    bench_Require(std::sscanf(output.c_str(), "%lf %lld %lld %lld %d", &cold.m_Seconds, &cold.m_Tally.m_Count,
                              &cold.m_Tally.m_Sum, &cold.m_Tally.m_State, &result.m_ColdKilobytes) == 5,
                  "the report of a fresh process");
  }

  void RunHot(std::vector<std::string_view> const& group) {
    m_System->Open(m_Path, m_Rows.m_Parameters);
    for (int run = 0; run < m_HotRuns; ++run)
      for (std::string_view const operation : group)
        ResultOf(operation).m_Hot.push_back(Timed(*m_System, operation));
    m_System->Close();
  }

  oo7_Rows const& m_Rows;
  int m_HotRuns = 0;
  std::string m_Path;
  std::unique_ptr<oo7_System> m_System;
  oo7_Measured m_Measured;
};

} // namespace

double oo7_Result::HotSeconds() const {
  std::size_t const left = m_Hot.size() > 2 ? 1 : 0; // out, at each end
  double sum = 0;
  for (std::size_t run = left; run < m_Hot.size() - left; ++run) sum += m_Hot[run].m_Seconds;
  return sum / static_cast<double>(m_Hot.size() - 2 * left);
}

std::vector<oo7_Measured> oo7_Measure(oo7_Plan const& plan, oo7_Rows const& rows) {
  std::vector<std::unique_ptr<Measurement>> measurements;
  measurements.reserve(plan.m_Systems.size());
  for (oo7_NamedSystem const* const system : plan.m_Systems)
    measurements.push_back(std::make_unique<Measurement>(*system, rows, plan));
  for (auto const& group : oo7_OperationGroups())
    if (HasOneOf(plan.m_Operations, group))
      for (auto const& measurement : measurements) measurement->Run(group);
  std::vector<oo7_Measured> all;
  all.reserve(measurements.size());
  for (auto const& measurement : measurements) all.push_back(measurement->Measured());
  return all;
}

void oo7_RunOnce(std::vector<std::string> const& arguments) {
  bench_Require(arguments.size() == 5, "system, operation, database and file are expected");
  std::unique_ptr<oo7_System> const system = oo7_SystemNamed(arguments[1]).m_Make();
  oo7_Parameters const parameters = oo7_Parameters::Named(arguments[3]);
  auto const start = Clock::now();
  system->Open(arguments[4], parameters);
  oo7_Tally const tally = system->Run(arguments[2]);
  double const seconds = SecondsSince(start);
  std::printf("%.9f %lld %lld %lld %d\n", seconds, tally.m_Count, tally.m_Sum, tally.m_State,
              bench_PeakKilobytes());
  system->Close();
}

std::vector<std::vector<std::string_view>> const& oo7_OperationGroups() {
  // Two that undo each other take turns. An update that undoes itself runs an even number of times.
  static std::vector<std::vector<std::string_view>> const groups = {
      {"T1"}, {"T2a"}, {"T2b"}, {"T2c"}, {"T3a"},       {"T3b"}, {"T3c"}, {"T4"}, {"T5do", "T5undo"},
      {"T6"}, {"T7"},  {"T8"},  {"T9"},  {"CU"},        {"Q1"},  {"Q2"},  {"Q3"}, {"Q4"},
      {"Q5"}, {"Q6"},  {"Q7"},  {"Q8"},  {"SM1", "SM2"}};
  return groups;
}
