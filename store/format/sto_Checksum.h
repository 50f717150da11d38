#pragma once

#include "store/format/sto_Codec.h"

/// The checksum of stored bytes, bound to the place where they stand: XXH3 (64 bits) seeded with `owner`, so
/// that bytes moved to another object or block do not pass. (XXH3: the xxHash project's specification,
/// version 0.8.)
[[nodiscard]] std::uint64_t sto_Checksum(std::uint64_t owner, sto_ByteView bytes) noexcept;

/// Appends the checksum of `bytes` to them.
void sto_Seal(std::uint64_t owner, sto_Bytes& bytes);

/// Checks the checksum at the end of `bytes` and takes it off. False when it does not fit or is missing.
[[nodiscard]] bool sto_Unseal(std::uint64_t owner, sto_ByteView& bytes) noexcept;
