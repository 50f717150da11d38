#pragma once

#include "platform/kvl_Export.h"

/// Whether an object of type `from` can be used as one of type `to`: the same type (even an unknown one), or
/// an ancestor of `from` in the type table. Never throws.
KVL_EXPORT bool nex_canDynamicCastPtr(unsigned int to, unsigned int from) noexcept;

/// True in the same cases; otherwise raises nex_BadCastException, which names both types, at `file` and
/// `line`.
KVL_EXPORT bool nex_canDynamicCastRef(unsigned int to, unsigned int from, char const* file, int line);
