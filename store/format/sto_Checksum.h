#pragma once

#include "store/format/sto_Codec.h"

// Checksums of stored bytes.
//
// Every record and every block ends with a checksum of the bytes before it. It protects against accidents (a
// bad medium, a copy that was cut, a file that another program changed), not against forgery.
//
// The checksum is bound to its owner: an object's id for a record, the key for a block. Sound bytes in the
// wrong row therefore fail too. Without that, a damaged table could hand out one object's record for
// another's.
//
// To seal is to append the checksum; to unseal is to check it and take it off. The functions write nothing
// else, and need no knowledge of what the bytes mean. Thread rule: any thread.

/// The checksum of bytes: XXH3 (64 bits) seeded with `owner`. (XXH3: the xxHash project's specification,
/// version 0.8.)
[[nodiscard]] std::uint64_t sto_Checksum(std::uint64_t owner, sto_ByteView bytes) noexcept;

/// Appends the checksum of `bytes`. REQUIRES: they are not sealed yet.
void sto_Seal(std::uint64_t owner, sto_Bytes& bytes);

/// Checks the checksum at the end of `bytes` and takes it off. False when it is wrong or missing; `bytes` is
/// unchanged then.
[[nodiscard]] bool sto_Unseal(std::uint64_t owner, sto_ByteView& bytes) noexcept;
