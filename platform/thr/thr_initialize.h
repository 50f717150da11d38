#pragma once

#include "platform/kvl_Export.h"

/// Starts the thr module: counted, so only the first call acts and raises `count` by one.
/// Thread rule: single-threaded start-up.
KVL_EXPORT void thr_initialize(int& count);

/// Stops the thr module with the call that matches the first thr_initialize, lowering `count` by one.
KVL_EXPORT void thr_finalize(int& count);
