#pragma once

#include "platform/kvl_Export.h"

/// Whether names are kept in natural order ("part2" before "part10") instead of the order of their bytes.
KVL_EXPORT bool atr_getNaturalOrder() noexcept;

/// Chooses the order of names for the whole process; without a call it is the order of their bytes. A
/// container that already holds names would no longer find them. Thread rule: during single-threaded
/// start-up, before the first name is registered.
KVL_EXPORT void atr_setNaturalOrder(bool natural) noexcept;

/// Compares null-terminated texts in natural order: runs of digits by their value, all else byte by byte as
/// unsigned characters. Negative, 0 or positive, as strcmp. Texts that differ only in leading zeros are
/// ordered by their bytes, so only equal texts give 0.
KVL_EXPORT int strnatcmp(char const* a, char const* b) noexcept;
