#pragma once

#include <atomic>
#include <cstddef>

#include "platform/mem/mem_Memory.h"

/// While it lives, counts the libraries' buffer allocations and fails one of them on request. Only one probe
/// may exist at a time. Create and destroy it while no other thread allocates.
class AllocationProbe {
 public:
  AllocationProbe() {
    s_Count = 0;
    s_Bytes = 0;
    s_FailAt = 0;
    m_Before = mem_SetAllocationHook(&Ask);
  }
  ~AllocationProbe() { mem_SetAllocationHook(m_Before); }
  AllocationProbe(AllocationProbe const&) = delete;
  AllocationProbe& operator=(AllocationProbe const&) = delete;

  /// The number of allocations requested, including the failed one.
  [[nodiscard]] long long Count() const { return s_Count; }

  /// The number of bytes requested.
  [[nodiscard]] std::size_t Bytes() const { return s_Bytes; }

  /// Fails the `step`-th allocation from the probe's start (1 is the first), and no other.
  void FailAt(long long step) { s_FailAt = step; }

 private:
  static bool Ask(std::size_t size) {
    s_Bytes += size;
    return ++s_Count != s_FailAt;
  }

  static inline std::atomic<long long> s_Count = 0;
  static inline std::atomic<long long> s_FailAt = 0;
  static inline std::atomic<std::size_t> s_Bytes = 0;
  mem_AllocationHook m_Before;
};
