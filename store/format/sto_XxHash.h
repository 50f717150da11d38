#pragma once

// XXH3, by the widest registers that the processor has. For sources; headers do not show xxHash.

#if defined(__x86_64__) && __has_include(<xxh_x86dispatch.h>)
#include <xxh_x86dispatch.h> // chooses the registers at run time
#else
#include <xxhash.h>
#endif
