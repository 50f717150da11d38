#include "bench/bench_Figures.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace {

std::FILE* s_Output = nullptr; // the original standard output, once enabled

} // namespace

void bench_Figures::Enable() {
  std::fflush(stdout);
  int const original = ::dup(STDOUT_FILENO);
  s_Output = original < 0 ? nullptr : ::fdopen(original, "w");
  if (s_Output != nullptr && ::dup2(STDERR_FILENO, STDOUT_FILENO) >= 0) return;
  std::perror("standard output");
  std::exit(1);
}

bool bench_Figures::IsEnabled() {
  return s_Output != nullptr;
}

void bench_Figures::Print(std::string_view name, double value, char const* unit) {
  if (s_Output == nullptr) return;
  std::fprintf(s_Output, "%.*s %.9g %s\n", static_cast<int>(name.size()), name.data(), value, unit);
  std::fflush(s_Output);
}
