// Checks at compile time what platform/README.md requires of the platform libraries: a host's own libraries
// must compile with this file. The one test at the end links against them.

#include <gtest/gtest.h>

#include <concepts>
#include <type_traits>

#include "platform/atr/atr_String.h"
#include "platform/atr/atr_initialize.h"
#include "platform/atr/atr_translate.h"
#include "platform/cow/cow_1DArray.h"
#include "platform/cow/cow_1DArrayIter.h"
#include "platform/cow/cow_1DArrayList.h"
#include "platform/cow/cow_COW.h"
#include "platform/cow/cow_Counter.h"
#include "platform/cow/cow_List.h"
#include "platform/cow/cow_String.h"
#include "platform/cow/cow_SystemErrorCode.h"
#include "platform/cow/cow_initialize.h"
#include "platform/mem/mem_Memory.h"
#include "platform/mem/mem_initialize.h"
#include "platform/omni/omi_Singleton.h"
#include "platform/omni/omni_initialize.h"
#include "platform/thr/thr_GlobalLock.h"
#include "platform/thr/thr_ThrSingletonRegistry.h"
#include "platform/thr/thr_ThreadSlot.h"
#include "platform/thr/thr_initialize.h"
#include "platform/typ/typ_ArchCompTable.h"
#include "platform/typ/typ_initialize.h"

namespace {

template <class Actual, class Wanted> constexpr bool Same = std::is_same_v<Actual, Wanted>;

// Start-up and memory.
using Pair = void(int&);
static_assert(Same<decltype(mem_initialize), Pair> && Same<decltype(mem_finalize), Pair>);
static_assert(Same<decltype(typ_initialize), Pair> && Same<decltype(typ_finalize), Pair>);
static_assert(Same<decltype(thr_initialize), Pair> && Same<decltype(thr_finalize), Pair>);
static_assert(Same<decltype(omni_initialize), Pair> && Same<decltype(omni_finalize), Pair>);
static_assert(Same<decltype(atr_initialize), Pair> && Same<decltype(atr_finalize), Pair>);
static_assert(Same<decltype(cow_initialize), Pair> && Same<decltype(cow_finalize), Pair>);
static_assert(Same<decltype(mem_Malloc), void*(std::size_t)>);
static_assert(Same<decltype(mem_Realloc), void*(void*, std::size_t)>);
static_assert(Same<decltype(mem_Free), void(void*) noexcept>);
static_assert(Same<decltype(mem_SetAllocationHook), mem_AllocationHook(mem_AllocationHook) noexcept>);

// Strings: one pointer, values that never fail to copy, literals that exist at compile time.
static_assert(sizeof(cow_String) == sizeof(void*));
static_assert(std::is_nothrow_default_constructible_v<cow_String> &&
              std::is_nothrow_copy_constructible_v<cow_String>);
static_assert(std::is_nothrow_move_constructible_v<cow_String> &&
              std::is_nothrow_copy_assignable_v<cow_String>);
static_assert(!std::convertible_to<char const*, cow_String>, "no implicit conversion from a C string");
static_assert(noexcept("literal"_cow));
static_assert(std::totally_ordered<cow_String>);
static_assert(std::derived_from<atr_String, atr_StringBase>);
static_assert(std::constructible_from<atr_StringBase, char const*> &&
              std::constructible_from<atr_StringBase, int>);
static_assert(Same<decltype(atr_SubstituteFormat), void(atr_translate&, int, atr_StringBase const&)>);
static_assert(Same<decltype(&atr_translate::Result), atr_String (atr_translate::*)() const>);

// Holders and containers.
static_assert(sizeof(cow_Counter) == 4);
static_assert(sizeof(cow_CountedHld<cow_String>) == 2 * sizeof(void*));
static_assert(sizeof(cow_COW<double, cow_Direct<double>>) == sizeof(cow_COW<int, cow_Direct<int>>),
              "a holder of any type is passed as one of int");
static_assert(sizeof(cow_1DArray<double>) == sizeof(void*));
template <class Container>
constexpr bool IsSharedValue = std::is_nothrow_copy_constructible_v<Container>&&
    std::is_nothrow_move_constructible_v<Container>&& std::is_nothrow_default_constructible_v<Container>;
static_assert(IsSharedValue<cow_1DArray<int>> && IsSharedValue<cow_1DArray<cow_String>>);
static_assert(IsSharedValue<cow_1DArrayList<double>> && IsSharedValue<cow_List<float>>);
static_assert(Same<decltype(&cow_1DArray<int>::PartialArrayConstGet),
                   int const& (cow_1DArray<int>::*)(int) const noexcept>);
static_assert(Same<decltype(&cow_1DArray<int>::Grow), void (cow_1DArray<int>::*)(int)>);
static_assert(Same<decltype(&cow_List<int>::Append), void (cow_List<int>::*)(int const&)>);
static_assert(Same<decltype(&cow_SystemErrorCode::m_NativeErrorCode), unsigned int cow_SystemErrorCode::*>);
static_assert(Same<decltype(&cow_SystemErrorCode::m_CRTErrorCode), int cow_SystemErrorCode::*>);
static_assert(COW_ERRORCODE_NONE == 0);

// Types and threads.
static_assert(typ_ArchCompTable::NoParent == 1);
static_assert(Same<decltype(typ_ArchCompTable::InsertEntry),
                   void(unsigned int, typ_ArchCompEntry const*, unsigned int)>);
static_assert(Same<decltype(typ_ArchCompTable::GetName), cow_String(unsigned int)>);
static_assert(Same<decltype(typ_ArchCompTable::IsParent), bool(unsigned int, unsigned int)>);
static_assert(Same<thr_ThrSingletonRegistry::Finalizer, bool (*)()>);
static_assert(Same<decltype(omi_Singleton<thr_GlobalLock>::Instance()), thr_GlobalLock&>);
static_assert(
    Same<decltype(thr_GlobalSingleton<thr_ThrSingletonRegistry>::Instance()), thr_ThrSingletonRegistry&>);
static_assert(Same<decltype(thr_TlsGetValue), void*(int) noexcept>);

TEST(PlatformContract, StartsAndStopsEveryLibraryUnderOneCounter) {
  int count = 0;
  mem_initialize(count);
  typ_initialize(count);
  thr_initialize(count);
  omni_initialize(count);
  atr_initialize(count);
  cow_initialize(count);
  EXPECT_EQ(count, 6);
  cow_finalize(count);
  atr_finalize(count);
  omni_finalize(count);
  thr_finalize(count);
  typ_finalize(count);
  mem_finalize(count);
  EXPECT_EQ(count, 0);
}

} // namespace
