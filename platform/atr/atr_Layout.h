#pragma once

#include "platform/atr/atr_translate.h"
#include "platform/kvl_Layout.h"

/// What the stamp of this library lists. Local: each library has its own, compiled with its own headers.
struct KVL_LOCAL atr_LayoutAccess {
  static constexpr kvl_LayoutEntry Entries[] = {
      KVL_LAYOUT_CLASS(atr_StringBase),
      KVL_LAYOUT_CLASS(atr_String),
      KVL_LAYOUT_CLASS(atr_translate),
      KVL_LAYOUT_MEMBER(atr_translate, m_Format),
      KVL_LAYOUT_MEMBER(atr_translate, m_Arguments),
  };
  static constexpr kvl_Layout Layout = kvl_LayoutOf(Entries);
};

/// The stamp of the loaded library.
[[nodiscard]] KVL_EXPORT kvl_Layout const& atr_Layout() noexcept;
