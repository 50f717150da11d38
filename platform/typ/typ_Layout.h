#pragma once

#include "platform/kvl_Layout.h"
#include "platform/typ/typ_ArchCompTable.h"

/// What the stamp of this library lists. Local: each library has its own, compiled with its own headers.
struct KVL_LOCAL typ_LayoutAccess {
  static constexpr kvl_LayoutEntry Entries[] = {
      KVL_LAYOUT_CLASS(typ_ArchCompEntry),
      KVL_LAYOUT_MEMBER(typ_ArchCompEntry, m_Kind),
      KVL_LAYOUT_MEMBER(typ_ArchCompEntry, m_Parent),
      KVL_LAYOUT_MEMBER(typ_ArchCompEntry, m_Name),
  };
  static constexpr kvl_Layout Layout = kvl_LayoutOf(Entries);
};

/// The stamp of the loaded library.
[[nodiscard]] KVL_EXPORT kvl_Layout const& typ_Layout() noexcept;
