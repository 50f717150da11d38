#pragma once

#include "platform/kvl_Layout.h"
#include "platform/thr/thr_GlobalLock.h"

/// What the stamp of this library lists: the classes with inline operations, or of which users make objects.
/// The registry is neither. Local: each library has its own, compiled with its own headers.
struct KVL_LOCAL thr_LayoutAccess {
  static constexpr kvl_LayoutEntry Entries[] = {
      KVL_LAYOUT_CLASS(thr_GlobalLock),
      KVL_LAYOUT_CLASS(thr_GlobalLock::Guard),
  };
  static constexpr kvl_Layout Layout = kvl_LayoutOf(Entries);
};

/// The stamp of the loaded library.
[[nodiscard]] KVL_EXPORT kvl_Layout const& thr_Layout() noexcept;
