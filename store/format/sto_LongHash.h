#pragma once

#include "store/format/sto_Codec.h"

/// XXH3 (64 bits) of many bytes, by the widest registers that the processor has. Internal to sto_Checksum. Thread
/// rule: any thread.
[[nodiscard]] std::uint64_t sto_LongHash(std::uint64_t seed, sto_ByteView bytes) noexcept;
