#pragma once

#include "platform/kvl_Export.h"

/// Starts the omni module. Counted: only the first call acts and raises `count` by one.
/// Thread rule: single-threaded start-up.
KVL_EXPORT void omni_initialize(int& count);

/// Stops the omni module, in the call that matches the first omni_initialize, which lowers `count` by one.
KVL_EXPORT void omni_finalize(int& count);
