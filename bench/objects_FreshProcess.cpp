#include "bench/objects_FreshProcess.h"

#include <chrono>
#include <cstdio>

#include "bench/bench_FreshProcess.h"

double objects_LoadInFreshProcess(std::string const& contender, std::string const& path,
                                  objects_Tally const& expected) {
  std::string const output = bench_OutputOfFreshProcess({objects_LoadOption, contender, path});
  double seconds = 0;
  long long count = 0;
  unsigned long long sum = 0;
  objects_Require(std::sscanf(output.c_str(), "%lf %lld %llu", &seconds, &count, &sum) == 3 &&
                      count == expected.m_Count && sum == expected.m_Sum,
                  contender + ": other objects were loaded in a fresh process");
  return seconds;
}

void objects_ReportLoad(objects_Contender& contender, std::string const& path) {
  auto const start = std::chrono::steady_clock::now();
  contender.Load(path);
  double const seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  objects_Tally const loaded = contender.Loaded();
  std::printf("%.9f %lld %llu\n", seconds, static_cast<long long>(loaded.m_Count),
              static_cast<unsigned long long>(loaded.m_Sum));
  contender.Release();
  contender.Close();
}
