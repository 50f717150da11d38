#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// Rewrites a store of the present format as one of format 1, 2 or 3, in place, with the same objects, ids and
/// blocks. So tests can have old stores with any content; what old programs really wrote is in tests/golden.
/// Independent of the store's code. REQUIRES: no session has the store open. Throws std::runtime_error.
void MakeStoreOfOldFormat(std::string const& path, int format);

/// The record of an object in the form of the formats 1 to 3, made of its shape and its values.
std::vector<std::byte> OldRecordOf(std::int64_t id, std::vector<std::byte> const& shape,
                                   std::vector<std::byte> const& values);
