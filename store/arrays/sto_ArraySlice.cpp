#include "store/arrays/sto_ArraySlice.h"

#include <string>

#include "store/arrays/sto_ArrayErrors.h"

namespace {

bool IsInside(sto_Range const& range, long long extent) noexcept {
  if (range.m_First < 0 || range.m_Count < 0 || range.m_Step <= 0) return false;
  if (range.m_Count == 0) return true;
  return range.m_First < extent && range.m_Count - 1 <= (extent - 1 - range.m_First) / range.m_Step;
}

} // namespace

long long sto_SliceSize(std::span<sto_Range const> ranges, std::span<long long const> extents) {
  if (ranges.size() != extents.size())
    sto_RaiseArrayMisuse("A slice of an array needs one range for each of its dimensions.");
  long long count = 1;
  for (std::size_t i = 0; i < ranges.size(); ++i) {
    sto_Range const& range = ranges[i];
    if (!IsInside(range, extents[i]))
      sto_RaiseArrayMisuse("A range of a slice has " + std::to_string(range.m_Count) + " elements from " +
                           std::to_string(range.m_First) + " on in steps of " + std::to_string(range.m_Step) +
                           ", which an extent of " + std::to_string(extents[i]) + " does not have.");
    count *= range.m_Count;
  }
  return count;
}
