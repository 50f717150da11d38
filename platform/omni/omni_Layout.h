#pragma once

#include "platform/kvl_Layout.h"
#include "platform/omni/omi_Btree.h"
#include "platform/omni/omi_BtreeIterator.h"
#include "platform/omni/omi_UintTable.h"
#include "platform/omni/omi_UintTableIterator.h"

/// What the stamp of this library lists: its templates, each for one type, with what is inside. Local: each
/// library has its own, compiled with its own headers.
struct KVL_LOCAL omni_LayoutAccess {
  using omi_BtreeOfInt = omi_Btree<unsigned int, int>;
  using omi_BtreeNodeOfInt = omi_BtreeOfInt::Node;

  static constexpr kvl_LayoutEntry Entries[] = {
      KVL_LAYOUT_CLASS(omi_Btree<unsigned int, double>),
      KVL_LAYOUT_CLASS(omi_Btree<unsigned int, double>::Node),
      KVL_LAYOUT_MEMBER(omi_BtreeOfInt, m_Root),
      KVL_LAYOUT_MEMBER(omi_BtreeOfInt, m_Count),
      KVL_LAYOUT_MEMBER(omi_BtreeOfInt, m_Default),
      KVL_LAYOUT_MEMBER(omi_BtreeNodeOfInt, m_Value),
      KVL_LAYOUT_MEMBER(omi_BtreeNodeOfInt, m_Key),
      KVL_LAYOUT_MEMBER(omi_BtreeNodeOfInt, m_Child),
      KVL_LAYOUT_MEMBER(omi_BtreeNodeOfInt, m_Height),
      KVL_LAYOUT_CLASS(omi_BtreeIterator<unsigned int, double>),
      KVL_LAYOUT_CLASS(omi_UintTable<double>),
      KVL_LAYOUT_CLASS(omi_UintTableIterator<double>),
      KVL_LAYOUT_CLASS(omi_BlockedArray<double>),
      KVL_LAYOUT_CLASS(omi_BlockedArray<double>::Block),
  };
  static constexpr kvl_Layout Layout = kvl_LayoutOf(Entries);
};

/// The stamp of the loaded library.
[[nodiscard]] KVL_EXPORT kvl_Layout const& omni_Layout() noexcept;
