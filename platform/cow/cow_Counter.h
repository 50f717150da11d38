#pragma once

#include <cstddef>

#include "platform/kvl_Export.h"

/// The shared 32-bit count of counted holders. Plain, not atomic: a holder and its copies belong to one
/// thread.
class KVL_EXPORT cow_Counter {
 public:
  explicit cow_Counter(int count) noexcept : m_Count(count) {}

  /// Counters have their own allocation operators, so that a host can pool them.
  static void* operator new(std::size_t size);
  static void operator delete(void* counter) noexcept;

  int m_Count;
};

static_assert(sizeof(cow_Counter) == 4);
