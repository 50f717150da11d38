#pragma once

#include "platform/kvl_Export.h"

/// Starts the atr module. Counted: only the first call acts and raises `count` by one.
/// Thread rule: single-threaded start-up.
KVL_EXPORT void atr_initialize(int& count);

/// Stops the atr module, in the call that matches the first atr_initialize, which lowers `count` by one.
KVL_EXPORT void atr_finalize(int& count);
