#include "bench/oo7/oo7_Checks.h"

#include <cstdio>

namespace {

struct Expected {
  std::string_view m_Operation;
  long long m_Small3;
  long long m_Medium3;
};

constexpr Expected ExpectedCounts[] = {
    {"T1", 43'740, 437'400},
    {"T2a", 2187, 2187},
    {"T2b", 43'740, 437'400},
    {"T2c", 174'960, 1'749'600},
    {"T3a", 2187, 2187},
    {"T3b", 43'740, 437'400},
    {"T3c", 174'960, 1'749'600},
    {"T4", 83'106, 826'686},
    {"T5do", 495, 495},
    {"T5undo", 495, 495},
    {"T6", 2187, 2187},
    {"T7", 24, 27},
    {"T8", 2632, 26'316},
    {"T9", 0, 0},
    {"CU", 2187, 2187},
    {"Q1", 10, 10},
    {"Q2", 103, 1059},
    {"Q3", 1012, 10'112},
    {"Q4", 44, 44},
    {"Q5", 179, 179},
    {"Q6", 430, 430},
    {"Q7", 10'000, 100'000},
    {"Q8", 10'000, 100'000},
    {"SM1", 200, 2000},
    {"SM2", 200, 2000},
};

void RequireCount(std::string_view operation, oo7_Run const& run, long long expected) {
  if (run.m_Tally.m_Count == expected) return;
  std::fprintf(stderr, "%s counts %lld, expected %lld\n", std::string(operation).c_str(), run.m_Tally.m_Count,
               expected);
  bench_Require(false, "a count is wrong");
}

void RequireEqualRuns(std::string const& what, oo7_Run const& one, oo7_Run const& other) {
  if (one.m_Tally == other.m_Tally) return;
  std::fprintf(stderr, "%s: count %lld, sum %lld, state %lld; expected %lld, %lld, %lld\n", what.c_str(),
               other.m_Tally.m_Count, other.m_Tally.m_Sum, other.m_Tally.m_State, one.m_Tally.m_Count,
               one.m_Tally.m_Sum, one.m_Tally.m_State);
  bench_Require(false, "two systems have not met the same objects");
}

} // namespace

void oo7_RequireCounts(oo7_Measured const& measured, oo7_Parameters const& parameters) {
  bool const isSmall = parameters.m_Name == "small3";
  if (!isSmall && parameters.m_Name != "medium3") return;
  for (Expected const& expected : ExpectedCounts) {
    auto const found = measured.m_Results.find(expected.m_Operation);
    if (found == measured.m_Results.end()) continue;
    oo7_Result const& result = found->second;
    long long const count = isSmall ? expected.m_Small3 : expected.m_Medium3;
    RequireCount(expected.m_Operation, result.m_Cold, count);
    for (oo7_Run const& run : result.m_Hot) RequireCount(expected.m_Operation, run, count);
  }
}

void oo7_RequireEqual(oo7_Measured const& one, oo7_Measured const& other) {
  for (auto const& [operation, result] : one.m_Results) {
    std::string const what = operation + " with " + std::string(other.m_System->m_Name);
    oo7_Result const& otherResult = other.m_Results.at(operation);
    RequireEqualRuns(what + ", cold", result.m_Cold, otherResult.m_Cold);
    for (std::size_t run = 0; run < result.m_Hot.size(); ++run)
      RequireEqualRuns(what + ", hot", result.m_Hot[run], otherResult.m_Hot[run]);
  }
}
