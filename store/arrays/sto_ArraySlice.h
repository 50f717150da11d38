#pragma once

#include <span>
#include <vector>

#include "platform/kvl_Export.h"

/// The elements of one dimension that sto_Array::Slice copies: `m_Count` of them, each `m_Step` behind the one before.
struct sto_Range {
  long long m_First = 0;
  long long m_Count = 0;
  long long m_Step = 1;
};

/// How many elements a slice of an array has. Misuse if there is not one range for each extent, or a range has elements
/// that its extent does not have. Internal to store/arrays.
[[nodiscard]] KVL_EXPORT long long sto_SliceSize(std::span<sto_Range const> ranges,
                                                 std::span<long long const> extents);

/// Calls `act(first, count)` with the runs of elements that a slice has, in its order. Internal to store/arrays.
template <class Act>
void sto_ForEachRun(std::span<sto_Range const> ranges, std::span<long long const> extents, long long at,
                    Act act) {
  sto_Range const& range = ranges.front();
  bool const isLast = ranges.size() == 1;
  if (isLast && range.m_Step == 1) return act(at + range.m_First, range.m_Count);
  for (long long i = 0; i < range.m_Count; ++i) {
    long long const index = at + range.m_First + i * range.m_Step;
    if (isLast)
      act(index, 1LL);
    else
      sto_ForEachRun(ranges.subspan(1), extents.subspan(1), index * extents[1], act);
  }
}
