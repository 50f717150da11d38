#pragma once

#include "platform/kvl_Export.h"

/// Starts the whole library: the platform modules, the persistence module, the error classes and the
/// out-of-memory messages. Counted: the module-wide count moves at every call, `count` (the caller's counter)
/// and all the rest only at the first. After the first start from 0, `count` is 8: one for each module
/// started. Thread rule: start-up and shut-down run on one thread, before and after all other use.
KVL_EXPORT void nex_initialize(int& count);

/// Undoes nex_initialize with the call that matches the first one, in reverse order. It destroys the calling
/// thread's identities: objects that hold any must be gone.
KVL_EXPORT void nex_finalize(int& count);

/// Does nothing; part of the module's interface.
KVL_EXPORT void nex_formalize();

/// Answers false; part of the module's interface.
KVL_EXPORT bool nex_assertFormalize();
