#pragma once

#include "platform/kvl_Export.h"

/// Thread-local slots: each thread has its own value under an index, null until it sets one.
/// Thread rule: every operation may be called from any thread; a slot is freed only after its last use.

/// Reserves a slot whose value is null in every thread, and returns its index.
/// Throws std::system_error if there are no more slots.
[[nodiscard]] KVL_EXPORT int thr_TlsAlloc();

/// The calling thread's value of a slot; null for index -1 and for a slot that is not in use.
[[nodiscard]] KVL_EXPORT void* thr_TlsGetValue(int slot) noexcept;

/// Sets the calling thread's value of a slot.
KVL_EXPORT void thr_TlsSetValue(int slot, void* value) noexcept;

/// Frees a slot. REQUIRES: no thread uses its index afterwards.
KVL_EXPORT void thr_TlsFree(int slot) noexcept;
