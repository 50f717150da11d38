#include "store/format/sto_Checksum.h"

#include "store/format/sto_Format.h"
#include "store/format/sto_LongHash.h"
#include "store/format/sto_XxHash.h"

namespace {

constexpr std::size_t MaxShortBytes = 240; // XXH3 has a way of its own for them, without wide registers

} // namespace

std::uint64_t sto_Checksum(std::uint64_t owner, sto_ByteView bytes) noexcept {
  if (bytes.size() > MaxShortBytes) return sto_LongHash(owner, bytes);
  return XXH3_64bits_withSeed(bytes.data(), bytes.size(), owner);
}

void sto_Seal(std::uint64_t owner, sto_Bytes& bytes) {
  sto_ByteWriter(bytes).Number(sto_Checksum(owner, bytes));
}

bool sto_Unseal(std::uint64_t owner, sto_ByteView& bytes) noexcept {
  if (bytes.size() < sto_Format::ChecksumBytes) return false;
  sto_ByteView const content = bytes.first(bytes.size() - sto_Format::ChecksumBytes);
  if (sto_ByteReader(bytes.subspan(content.size())).Number<std::uint64_t>() != sto_Checksum(owner, content))
    return false;
  bytes = content;
  return true;
}
