#pragma once

#include "platform/kvl_Export.h"

/// Starts the whole library: the platform modules, the persistence module, the error classes and the
/// out-of-memory messages. Counted: the module-wide count rises at every call; `count` (the caller's counter)
/// and everything else change only at the first. After the first start from 0, `count` is 8: one for each
/// module started.
///
/// Throws std::runtime_error if the platform libraries that are loaded have other layouts than those that this
/// library was compiled with; the text names the library, the class and both sizes. Nothing is counted or
/// started then. Thread rule: start-up and shut-down run on one thread, before and after all other use.
KVL_EXPORT void nex_initialize(int& count);

/// Undoes nex_initialize, in the call that matches the first one, in reverse order. It destroys the calling
/// thread's identities. REQUIRES: objects that hold any are destroyed.
KVL_EXPORT void nex_finalize(int& count);

/// Does nothing; part of the module's interface.
KVL_EXPORT void nex_formalize();

/// Returns false; part of the module's interface.
KVL_EXPORT bool nex_assertFormalize();
