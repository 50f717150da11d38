#pragma once

// What platform/README.md requires of the headers of a platform: the part that a compiler can check. A host's own
// headers must compile with this one; PlatformCheckMain.cpp includes it when the build is configured.

#include <concepts>
#include <initializer_list>
#include <string_view>
#include <type_traits>

#include "platform/atr/atr_KeyOrder.h"
#include "platform/atr/atr_Layout.h"
#include "platform/atr/atr_NaturalOrder.h"
#include "platform/atr/atr_String.h"
#include "platform/atr/atr_initialize.h"
#include "platform/atr/atr_translate.h"
#include "platform/cow/cow_1DArray.h"
#include "platform/cow/cow_1DArrayIter.h"
#include "platform/cow/cow_1DArrayList.h"
#include "platform/cow/cow_2DArray.h"
#include "platform/cow/cow_Btree.h"
#include "platform/cow/cow_BtreeIterator.h"
#include "platform/cow/cow_COW.h"
#include "platform/cow/cow_ConstMapIterator.h"
#include "platform/cow/cow_CountedHld.h"
#include "platform/cow/cow_Counter.h"
#include "platform/cow/cow_Layout.h"
#include "platform/cow/cow_List.h"
#include "platform/cow/cow_Map.h"
#include "platform/cow/cow_String.h"
#include "platform/cow/cow_SystemErrorCode.h"
#include "platform/cow/cow_initialize.h"
#include "platform/mem/mem_Memory.h"
#include "platform/mem/mem_UseCount.h"
#include "platform/mem/mem_initialize.h"
#include "platform/omni/omi_Btree.h"
#include "platform/omni/omi_BtreeIterator.h"
#include "platform/omni/omi_KeyOrder.h"
#include "platform/omni/omi_Singleton.h"
#include "platform/omni/omi_UintTable.h"
#include "platform/omni/omi_UintTableIterator.h"
#include "platform/omni/omni_Layout.h"
#include "platform/omni/omni_initialize.h"
#include "platform/thr/thr_GlobalLock.h"
#include "platform/thr/thr_GlobalSingleton.h"
#include "platform/thr/thr_Layout.h"
#include "platform/thr/thr_ThrSingletonRegistry.h"
#include "platform/thr/thr_ThreadSlot.h"
#include "platform/thr/thr_initialize.h"
#include "platform/typ/typ_ArchCompTable.h"
#include "platform/typ/typ_Layout.h"
#include "platform/typ/typ_initialize.h"

template <class Actual, class Wanted> constexpr bool cls_IsSame = std::is_same_v<Actual, Wanted>;

// Start-up and memory.
using cls_StartOrStop = void(int&);
static_assert(cls_IsSame<decltype(mem_initialize), cls_StartOrStop> &&
              cls_IsSame<decltype(mem_finalize), cls_StartOrStop>);
static_assert(cls_IsSame<decltype(typ_initialize), cls_StartOrStop> &&
              cls_IsSame<decltype(typ_finalize), cls_StartOrStop>);
static_assert(cls_IsSame<decltype(thr_initialize), cls_StartOrStop> &&
              cls_IsSame<decltype(thr_finalize), cls_StartOrStop>);
static_assert(cls_IsSame<decltype(omni_initialize), cls_StartOrStop> &&
              cls_IsSame<decltype(omni_finalize), cls_StartOrStop>);
static_assert(cls_IsSame<decltype(atr_initialize), cls_StartOrStop> &&
              cls_IsSame<decltype(atr_finalize), cls_StartOrStop>);
static_assert(cls_IsSame<decltype(cow_initialize), cls_StartOrStop> &&
              cls_IsSame<decltype(cow_finalize), cls_StartOrStop>);
static_assert(cls_IsSame<decltype(mem_Malloc), void*(std::size_t)>);
static_assert(cls_IsSame<decltype(mem_Realloc), void*(void*, std::size_t)>);
static_assert(cls_IsSame<decltype(mem_Free), void(void*) noexcept>);
static_assert(cls_IsSame<decltype(mem_SetAllocationHook), mem_AllocationHook(mem_AllocationHook) noexcept>);

// Strings: one pointer, values that never fail to copy, literals that exist at compile time.
static_assert(sizeof(cow_String) == sizeof(void*), "a cow_String is one pointer wide");
static_assert(std::is_nothrow_default_constructible_v<cow_String> &&
              std::is_nothrow_copy_constructible_v<cow_String>);
static_assert(std::is_nothrow_move_constructible_v<cow_String> &&
              std::is_nothrow_copy_assignable_v<cow_String>);
static_assert(!std::convertible_to<char const*, cow_String>, "no implicit conversion from a C string");
static_assert(noexcept("literal"_cow));
static_assert(
    requires {
      cow_StringBuffer{cow_StringBuffer::Immortal, 3, "own"};
    },
    "an immortal buffer is made of its count, its length and its characters");
static_assert(std::totally_ordered<cow_String>);
static_assert(std::derived_from<atr_String, atr_StringBase>);
static_assert(std::constructible_from<atr_StringBase, char const*> &&
              std::constructible_from<atr_StringBase, int>);
static_assert(cls_IsSame<decltype(atr_SubstituteFormat), void(atr_translate&, int, atr_StringBase const&)>);
static_assert(cls_IsSame<decltype(&atr_translate::Result), atr_String (atr_translate::*)() const>);

// Holders and containers.
static_assert(sizeof(cow_Counter) == 4, "a cow_Counter is a count of 32 bits");
static_assert(sizeof(cow_CountedHld<cow_String>) == 2 * sizeof(void*),
              "a cow_CountedHld is two pointers wide");
static_assert(sizeof(cow_COW<double, cow_Direct<double>>) == sizeof(cow_COW<int, cow_Direct<int>>),
              "a holder of any type is passed as one of int");
static_assert(sizeof(cow_1DArray<double>) == sizeof(void*), "a cow_1DArray is one pointer wide");
template <class Container>
constexpr bool cls_IsSharedValue = std::is_nothrow_copy_constructible_v<Container>&&
    std::is_nothrow_move_constructible_v<Container>&& std::is_nothrow_default_constructible_v<Container>;
static_assert(cls_IsSharedValue<cow_1DArray<int>> && cls_IsSharedValue<cow_1DArray<cow_String>>);
static_assert(cls_IsSharedValue<cow_1DArrayList<double>> && cls_IsSharedValue<cow_List<float>>);
static_assert(cls_IsSame<decltype(&cow_1DArray<int>::PartialArrayConstGet),
                         int const& (cow_1DArray<int>::*)(int) const noexcept>);
static_assert(cls_IsSame<decltype(&cow_1DArray<int>::Grow), void (cow_1DArray<int>::*)(int)>);
static_assert(cls_IsSame<decltype(&cow_List<int>::Append), void (cow_List<int>::*)(int const&)>);
static_assert(
    cls_IsSame<decltype(&cow_SystemErrorCode::m_NativeErrorCode), unsigned int cow_SystemErrorCode::*>);
static_assert(cls_IsSame<decltype(&cow_SystemErrorCode::m_CRTErrorCode), int cow_SystemErrorCode::*>);
static_assert(COW_ERRORCODE_NONE == 0);

// Types and threads.
static_assert(typ_ArchCompTable::NoParent == 1);
static_assert(cls_IsSame<decltype(typ_ArchCompTable::InsertEntry),
                         void(unsigned int, typ_ArchCompEntry const*, unsigned int)>);
static_assert(cls_IsSame<decltype(typ_ArchCompTable::GetName), cow_String(unsigned int)>);
static_assert(cls_IsSame<decltype(typ_ArchCompTable::IsParent), bool(unsigned int, unsigned int)>);
static_assert(cls_IsSame<thr_ThrSingletonRegistry::Finalizer, bool (*)()>);
static_assert(cls_IsSame<decltype(omi_Singleton<thr_GlobalLock>::Instance()), thr_GlobalLock&>);
static_assert(cls_IsSame<decltype(thr_GlobalSingleton<thr_ThrSingletonRegistry>::Instance()),
                         thr_ThrSingletonRegistry&>);
static_assert(cls_IsSame<decltype(thr_TlsGetValue), void*(int) noexcept>);

// Stamps: what every edition lists, whatever its private parts are called.
template <class Access> constexpr bool cls_Lists(std::initializer_list<std::string_view> names) {
  for (std::string_view const name : names) {
    bool found = false;
    for (kvl_LayoutEntry const& entry : Access::Entries) found = found || entry.m_Name == name;
    if (!found) return false;
  }
  return true;
}
static_assert(cls_Lists<cow_LayoutAccess>(
                  {"cow_String", "cow_StringBuffer", "cow_Counter", "cow_CountedHld<int>",
                   "cow_COW<int, cow_Direct<int>>", "cow_1DArray<double>", "cow_1DArrayIter<double>",
                   "cow_1DArrayList<double>", "cow_List<double>", "cow_2DArray<double>",
                   "cow_Map<cow_String, double>", "cow_ConstMapIterator<cow_String, double>",
                   "cow_Btree<cow_String, double>", "cow_BtreeIterator<cow_String, double>",
                   "cow_SystemErrorCode", "cow_SystemErrorCode::m_NativeErrorCode"}),
              "platform/cow/cow_Layout.h does not list all classes");
static_assert(cls_Lists<omni_LayoutAccess>({"omi_Btree<unsigned int, double>",
                                            "omi_Btree<unsigned int, double>::Node",
                                            "omi_BtreeIterator<unsigned int, double>",
                                            "omi_UintTable<double>", "omi_UintTableIterator<double>"}),
              "platform/omni/omni_Layout.h does not list all classes");
static_assert(cls_Lists<thr_LayoutAccess>({"thr_GlobalLock", "thr_GlobalLock::Guard"}),
              "platform/thr/thr_Layout.h does not list all classes");
static_assert(cls_Lists<typ_LayoutAccess>({"typ_ArchCompEntry", "typ_ArchCompEntry::m_Name"}),
              "platform/typ/typ_Layout.h does not list all classes");
static_assert(cls_Lists<atr_LayoutAccess>({"atr_StringBase", "atr_String", "atr_translate"}),
              "platform/atr/atr_Layout.h does not list all classes");

/// Starts and stops the libraries under one counter, which must count them. Returns what is wrong; "" if nothing is.
inline char const* cls_StartAndStopPlatform() {
  int count = 0;
  mem_initialize(count);
  typ_initialize(count);
  thr_initialize(count);
  omni_initialize(count);
  atr_initialize(count);
  cow_initialize(count);
  if (count != 6) return "the start of the six libraries does not raise the caller's counter to 6.";
  cow_finalize(count);
  atr_finalize(count);
  omni_finalize(count);
  thr_finalize(count);
  typ_finalize(count);
  mem_finalize(count);
  return count == 0 ? "" : "the end of the six libraries does not lower the caller's counter to 0.";
}
