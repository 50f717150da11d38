#pragma once

#include "platform/kvl_Export.h"

/// Starts the whole library: the platform modules, the persistence module, the error classes and the
/// out-of-memory messages. Counted: the module-wide count rises at every call; `count` (the caller's counter)
/// and everything else change only at the first. After the first start from 0, `count` is 8: one for each
/// module started.
///
/// Throws std::runtime_error if the platform libraries that are loaded have other layouts than those that this
/// library was compiled with; the text names the library, the class and both sizes. Throws std::bad_alloc, and
/// whatever the start of a platform library throws. After any of them nothing is counted or started, and
/// another start may be tried; what was declared to the metadata registrar before is forgotten, as after the
/// last stop.
///
/// Thread rule: whoever starts the library uses it between its own start and its own stop. Starts and stops
/// may run on any thread, also at the same time: they wait for each other. What is declared to the library's
/// registries is not guarded; see there.
KVL_EXPORT void nex_initialize(int& count);

/// Undoes nex_initialize, in the last matching call, in reverse order. That call destroys the calling
/// thread's identities; those of other threads end with their threads. REQUIRES: objects that hold identities
/// of the calling thread are destroyed. Thread rule: as nex_initialize; it need not be the thread of the
/// start.
KVL_EXPORT void nex_finalize(int& count);

/// Does nothing; part of the module's interface.
KVL_EXPORT void nex_formalize();

/// Returns false; part of the module's interface.
KVL_EXPORT bool nex_assertFormalize();
