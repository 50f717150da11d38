#pragma once

#include "platform/kvl_Layout.h"
#include "platform/mem/mem_UseCount.h"

/// What the stamp of this library lists. Local: each library has its own, compiled with its own headers.
struct KVL_LOCAL mem_LayoutAccess {
  static constexpr kvl_LayoutEntry Entries[] = {
      KVL_LAYOUT_CLASS(mem_UseCount),
  };
  static constexpr kvl_Layout Layout = kvl_LayoutOf(Entries);
};

/// The stamp of the loaded library.
[[nodiscard]] KVL_EXPORT kvl_Layout const& mem_Layout() noexcept;
