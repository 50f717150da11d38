#pragma once

#include "platform/cow/cow_1DArray.h"
#include "platform/cow/cow_1DArrayIter.h"
#include "platform/cow/cow_1DArrayList.h"
#include "platform/cow/cow_2DArray.h"
#include "platform/cow/cow_BtreeIterator.h"
#include "platform/cow/cow_COW.h"
#include "platform/cow/cow_ConstMapIterator.h"
#include "platform/cow/cow_List.h"
#include "platform/cow/cow_String.h"
#include "platform/cow/cow_SystemErrorCode.h"
#include "platform/kvl_Layout.h"

/// What the stamp of this library lists: its classes, and its templates, each for one type, with what is
/// inside. Local: each library has its own, compiled with its own headers.
struct KVL_LOCAL cow_LayoutAccess {
  using cow_BufferOfDouble = cow_1DArray<double>::Buffer;
  using cow_BlockOfDouble = cow_2DArray<double>::Block;

  static constexpr kvl_LayoutEntry Entries[] = {
      KVL_LAYOUT_CLASS(cow_String),
      KVL_LAYOUT_CLASS(cow_StringBuffer),
      KVL_LAYOUT_MEMBER(cow_StringBuffer, m_Count),
      KVL_LAYOUT_MEMBER(cow_StringBuffer, m_Length),
      KVL_LAYOUT_MEMBER(cow_StringBuffer, m_Chars),
      KVL_LAYOUT_CLASS(cow_SystemErrorCode),
      KVL_LAYOUT_MEMBER(cow_SystemErrorCode, m_NativeErrorCode),
      KVL_LAYOUT_MEMBER(cow_SystemErrorCode, m_CRTErrorCode),
      KVL_LAYOUT_CLASS(cow_Counter),
      KVL_LAYOUT_MEMBER(cow_Counter, m_Count),
      KVL_LAYOUT_CLASS(cow_CountedHld<int>),
      KVL_LAYOUT_MEMBER(cow_CountedHld<int>, m_Counter),
      KVL_LAYOUT_MEMBER(cow_CountedHld<int>, m_Object),
      KVL_LAYOUT_CLASS(cow_COW<int, cow_Direct<int>>),
      KVL_LAYOUT_CLASS(cow_1DArray<double>),
      KVL_LAYOUT_CLASS(cow_1DArray<double>::Buffer),
      KVL_LAYOUT_MEMBER(cow_BufferOfDouble, m_Count),
      KVL_LAYOUT_MEMBER(cow_BufferOfDouble, m_Length),
      KVL_LAYOUT_CLASS(cow_1DArrayIter<double>),
      KVL_LAYOUT_CLASS(cow_1DArrayList<double>),
      KVL_LAYOUT_MEMBER(cow_1DArrayList<double>, m_Used),
      KVL_LAYOUT_MEMBER(cow_1DArrayList<double>, m_Storage),
      KVL_LAYOUT_CLASS(cow_List<double>),
      KVL_LAYOUT_CLASS(cow_2DArray<double>),
      KVL_LAYOUT_CLASS(cow_2DArray<double>::Block),
      KVL_LAYOUT_MEMBER(cow_BlockOfDouble, m_Rows),
      KVL_LAYOUT_MEMBER(cow_BlockOfDouble, m_Columns),
      KVL_LAYOUT_CLASS(cow_Map<cow_String, double>),
      KVL_LAYOUT_CLASS(cow_Map<cow_String, double>::Shared),
      KVL_LAYOUT_CLASS(cow_ConstMapIterator<cow_String, double>),
      KVL_LAYOUT_CLASS(cow_Btree<cow_String, double>),
      KVL_LAYOUT_CLASS(cow_Btree<cow_String, double>::Shared),
      KVL_LAYOUT_CLASS(cow_BtreeIterator<cow_String, double>),
  };
  static constexpr kvl_Layout Layout = kvl_LayoutOf(Entries);
};

/// The stamp of the loaded library.
[[nodiscard]] KVL_EXPORT kvl_Layout const& cow_Layout() noexcept;
