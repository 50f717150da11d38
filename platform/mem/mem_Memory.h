#pragma once

#include <cstddef>

#include "platform/kvl_Export.h"

/// Raw memory of the libraries' own buffers (strings, arrays, counters, identity blocks).
///
/// These libraries do not replace the language's operators `new` and `delete`. Thread rule: every operation
/// may be called from any thread, but the hook is only set while no other thread allocates.

/// Returns `size` bytes aligned for any object; never null. A size of 0 gives a unique pointer.
/// Throws std::bad_alloc if there is no memory or the hook refuses.
[[nodiscard]] KVL_EXPORT void* mem_Malloc(std::size_t size);

/// Changes the size of a block from mem_Malloc, moving it if needed; null acts as mem_Malloc.
/// Throws std::bad_alloc if there is no memory or the hook refuses; the block is then unchanged.
[[nodiscard]] KVL_EXPORT void* mem_Realloc(void* block, std::size_t size);

/// Frees a block from mem_Malloc or mem_Realloc; does nothing for null.
KVL_EXPORT void mem_Free(void* block) noexcept;

/// Called before each allocation with its size; if it returns false, the allocation fails.
using mem_AllocationHook = bool (*)(std::size_t size);

/// Installs the hook, for tests of failed allocations; null removes it. Returns the previous hook.
KVL_EXPORT mem_AllocationHook mem_SetAllocationHook(mem_AllocationHook hook) noexcept;
