#pragma once

#include "platform/kvl_Export.h"

/// Starts the mem module. Counted: only the first call acts and raises `count` by one.
/// Thread rule: single-threaded start-up.
KVL_EXPORT void mem_initialize(int& count);

/// Stops the mem module, in the call that matches the first mem_initialize, which lowers `count` by one.
KVL_EXPORT void mem_finalize(int& count);
