#pragma once

#include "platform/kvl_Export.h"

/// Starts the persistence module: registers its types and declares its classes. Counted like nex_initialize,
/// which calls it; throws as it does. Thread rule: as nex_initialize.
KVL_EXPORT void cls_initialize(int& count);

/// Undoes cls_initialize, in the call that matches the first one: destroys the calling thread's shared
/// constants, its identity catalogue, its pool of trie branches and its extent quanta, in this order, and
/// deletes the metadata registrar with every declaration.
KVL_EXPORT void cls_finalize(int& count);
