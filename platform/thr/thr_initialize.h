#pragma once

#include "platform/kvl_Export.h"

/// Starts the thr module. Counted: only the first call acts and raises `count` by one.
/// Thread rule: single-threaded start-up.
KVL_EXPORT void thr_initialize(int& count);

/// Stops the thr module, in the call that matches the first thr_initialize, which lowers `count` by one.
KVL_EXPORT void thr_finalize(int& count);
