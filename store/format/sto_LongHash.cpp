#include "store/format/sto_LongHash.h"

#if defined(__x86_64__) && __has_include(<xxh_x86dispatch.h>)
#include <xxh_x86dispatch.h> // chooses the registers at run time
#else
#include <xxhash.h>
#endif

std::uint64_t sto_LongHash(std::uint64_t seed, sto_ByteView bytes) noexcept {
  return XXH3_64bits_withSeed(bytes.data(), bytes.size(), seed);
}
