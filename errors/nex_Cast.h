#pragma once

#include "platform/kvl_Export.h"

/// Whether an object of type `from` can be used as a `to`: they are the same type (even an unknown one), or
/// `to` is an ancestor of `from` in the type table. Never throws.
KVL_EXPORT bool nex_canDynamicCastPtr(unsigned int to, unsigned int from) noexcept;

/// Returns true in the same cases. Otherwise throws nex_BadCastException, which names both types, with `file`
/// and `line` as its place.
KVL_EXPORT bool nex_canDynamicCastRef(unsigned int to, unsigned int from, char const* file, int line);
