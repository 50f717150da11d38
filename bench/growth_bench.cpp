/// Measures whether the cost of a unit of work grows with the size of a program's model: objects, roots, class
/// versions, fields, open arrays, map entries, elements, stores.
///
///     growth_bench [CASE]...            all cases, or those whose names contain one of the words
///     growth_bench --large [CASE]...    objects up to ten million (some 10 GB of memory)
///     growth_bench --smoke              everything once, small; the figures mean nothing
///
/// Each line has the cost of one unit at each size, and how often the cost at the largest size is that at the
/// smallest, divided by the ratio of their logarithms: about 1 means that nothing grows faster than n log n.
/// Files go to the system's temporary folder.

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string_view>

#include "bench/growth_Case.h"
#include "module/nex_initialize.h"

void growth_Require(bool works, char const* what) {
  if (works) return;
  std::fprintf(stderr, "growth_bench: failed: %s\n", what);
  std::exit(1);
}

namespace {

namespace fs = std::filesystem;

struct Folder {
  Folder() : m_Path(fs::temp_directory_path() / "kvl-growth-XXXXXX") {
    std::string path = m_Path.string();
    growth_Require(mkdtemp(path.data()) != nullptr, "making a folder");
    m_Path = path;
  }
  ~Folder() {
    std::error_code ignored;
    fs::remove_all(m_Path, ignored);
  }
  Folder(Folder const&) = delete;
  Folder& operator=(Folder const&) = delete;
  fs::path m_Path;
};

std::vector<growth_Figure> MeasureIn(growth_Case const& measured, int size) {
  Folder const folder;
  return measured.m_Measure(size, folder.m_Path.string());
}

double CostOf(growth_Figure const& figure) {
  return figure.m_Seconds / figure.m_Units;
}

std::string TextOf(double seconds) {
  char text[32];
  if (seconds < 1e-6)
    std::snprintf(text, sizeof text, "%.0f ns", seconds * 1e9);
  else if (seconds < 1e-3)
    std::snprintf(text, sizeof text, "%.2f us", seconds * 1e6);
  else
    std::snprintf(text, sizeof text, "%.2f ms", seconds * 1e3);
  return text;
}

void Measure(growth_Case const& measured) {
  std::printf("\n%-44s", measured.m_Name.c_str());
  for (int const size : measured.m_Sizes) std::printf("%12d", size);
  std::printf("%10s\n", "growth");
  std::vector<std::vector<growth_Figure>> bySize;
  for (int const size : measured.m_Sizes) bySize.push_back(MeasureIn(measured, size));
  for (std::size_t i = 0; i < bySize.front().size(); ++i) {
    std::printf("  %-42s", bySize.front()[i].m_What.c_str());
    for (std::vector<growth_Figure> const& figures : bySize)
      std::printf("%12s", TextOf(CostOf(figures[i])).c_str());
    double const logarithms =
        std::log(measured.m_Sizes.back() + 1.0) / std::log(measured.m_Sizes.front() + 1.0);
    std::printf("%10.2f\n", CostOf(bySize.back()[i]) / CostOf(bySize.front()[i]) / logarithms);
  }
  std::fflush(stdout);
}

bool IsWanted(growth_Case const& measured, std::vector<std::string> const& words) {
  if (words.empty()) return true;
  for (std::string const& word : words)
    if (measured.m_Name.find(word) != std::string::npos) return true;
  return false;
}

} // namespace

int main(int argc, char** argv) {
  int initialized = 0;
  nex_initialize(initialized);
  bool isSmoke = false;
  bool isLarge = false;
  std::vector<std::string> words;
  for (std::string_view const argument : std::vector<std::string_view>(argv + 1, argv + argc))
    if (argument == "--smoke")
      isSmoke = true;
    else if (argument == "--large")
      isLarge = true;
    else
      words.emplace_back(argument);
  for (growth_Case measured :
       {growth_Objects(), growth_Roots(), growth_Memory(), growth_Classes(), growth_Fields(), growth_Arrays(),
        growth_MapEntries(), growth_Elements(), growth_Stores()}) {
    if (!IsWanted(measured, words)) continue;
    if (isSmoke) measured.m_Sizes = {3, 30};
    if (isLarge && measured.m_Name == "objects in one list") measured.m_Sizes.push_back(10'000'000);
    Measure(measured);
  }
  nex_finalize(initialized);
}
