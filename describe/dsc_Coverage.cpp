#include "describe/dsc_Coverage.h"

#include <algorithm>
#include <string>

#include "describe/dsc_Stored.h"

void dsc_Coverage::Add(std::size_t offset, std::size_t bytes, std::size_t alignment) {
  m_Runs.push_back({offset, bytes, alignment});
}

dsc_Coverage::Gap dsc_Coverage::FirstGap(std::size_t bytes, std::size_t alignment) const {
  std::vector<Run> runs = m_Runs;
  std::ranges::sort(runs, {}, &Run::m_Offset);
  runs.push_back({bytes, 0, alignment}); // the end
  std::size_t end = 0;
  for (Run const& run : runs) {
    std::size_t const afterPadding = (end + run.m_Alignment - 1) / run.m_Alignment * run.m_Alignment;
    if (run.m_Offset > afterPadding) return {end, run.m_Offset - end};
    end = std::max(end, run.m_Offset + run.m_Bytes);
  }
  return {};
}

void dsc_CheckCoverage(char const* className, std::string_view field, dsc_Coverage const& coverage,
                       std::size_t bytes, std::size_t alignment) {
  dsc_Coverage::Gap const gap = coverage.FirstGap(bytes, alignment);
  if (gap.m_Bytes == 0) return;
  dsc_Raise(
      className, field,
      std::to_string(gap.m_Bytes) + " bytes at offset " + std::to_string(gap.m_Offset) +
          " belong to no field. Describe the member that lies there; with kvl::Transient if it is not to be "
          "stored. If it is a base class with data, a reference or a bit-field, it cannot be described.");
}
