#pragma once

#include <cstddef>

#include "platform/kvl_Export.h"

/// Raw memory of the libraries' own buffers (strings, arrays, counters, identity blocks).
///
/// The language's operators `new` and `delete` stay what the program made them; this edition replaces
/// neither. Thread rule: every operation may be called from any thread; the hook is set while no other thread
/// allocates.

/// Returns `size` bytes aligned for any object; never null. A size of 0 gives a unique pointer.
/// Throws std::bad_alloc when there is no memory or the hook refuses.
[[nodiscard]] KVL_EXPORT void* mem_Malloc(std::size_t size);

/// Changes the size of a block from mem_Malloc, moving it when needed; null acts as mem_Malloc.
/// Throws std::bad_alloc and leaves the block untouched when there is no memory or the hook refuses.
[[nodiscard]] KVL_EXPORT void* mem_Realloc(void* block, std::size_t size);

/// Releases a block from mem_Malloc or mem_Realloc; null does nothing.
KVL_EXPORT void mem_Free(void* block) noexcept;

/// Asked before each allocation with its size; answering false makes the allocation fail.
using mem_AllocationHook = bool (*)(std::size_t size);

/// Installs the hook of allocation-failure tests, null for none. Returns the hook that was there before.
KVL_EXPORT mem_AllocationHook mem_SetAllocationHook(mem_AllocationHook hook) noexcept;
