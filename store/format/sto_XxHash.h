#pragma once

// XXH3, compiled into the source that includes this: a call costs more than the hash of a short record. For
// sources; headers do not show xxHash.

#ifndef XXH_INLINE_ALL
#define XXH_INLINE_ALL
#endif
#include <xxhash.h>
