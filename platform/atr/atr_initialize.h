#pragma once

#include "platform/kvl_Export.h"

/// Starts the atr module: counted, so only the first call acts and raises `count` by one.
/// Thread rule: single-threaded start-up.
KVL_EXPORT void atr_initialize(int& count);

/// Stops the atr module with the call that matches the first atr_initialize, lowering `count` by one.
KVL_EXPORT void atr_finalize(int& count);
