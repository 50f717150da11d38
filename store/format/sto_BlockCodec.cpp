#include "store/format/sto_BlockCodec.h"

#include <bit>

#include "store/format/sto_Checksum.h"
#include "store/format/sto_Format.h"

namespace {

constexpr std::size_t SizeBytes = 4;                                   // of the content's size
constexpr std::size_t PrefixBytes = sizeof(std::uint64_t) + SizeBytes; // of the content's hash and size

constexpr std::size_t CodecAt = sto_BlockCodec::EndBytes; // counted from the end
static_assert(sto_BlockCodec::MaxEndBytes == PrefixBytes + CodecAt);

std::uint8_t CodecOf(sto_ByteView stored) noexcept {
  return std::to_integer<std::uint8_t>(stored[stored.size() - CodecAt]);
}

sto_Compression CompressionOf(std::uint8_t codec) noexcept {
  return static_cast<sto_Compression>(codec & 0x0F);
}

std::size_t WidthOf(std::uint8_t codec) noexcept {
  return std::size_t{1} << (codec >> 4);
}

/// An odd number without a pattern: the seeds of a key with different codecs are those of no keys in use.
constexpr std::uint64_t SeedStep = 0x9E3779B97F4A7C15;

std::uint64_t Checksum(std::int64_t key, std::uint8_t codec, sto_ByteView covered) noexcept {
  return sto_Checksum(static_cast<std::uint64_t>(key) + codec * SeedStep, covered);
}

void PutEnd(std::int64_t key, std::uint8_t codec, sto_Bytes& bytes) {
  std::uint64_t const checksum = Checksum(key, codec, bytes);
  sto_ByteWriter writer(bytes);
  writer.U8(codec);
  writer.Number(checksum);
}

} // namespace

void sto_BlockCodec::Seal(std::int64_t key, sto_Bytes& content) {
  PutEnd(key, 0, content);
}

void sto_BlockCodec::SealCompressed(std::int64_t key, sto_Bytes& content, std::size_t width) {
  m_Packed.clear();
  sto_Compression const compression = m_Compressor.Compress(content, width, m_Packed);
  if (compression == sto_Compression::None) return Seal(key, content);
  sto_ByteWriter writer(m_Packed);
  writer.Number(Checksum(key, 0, content));
  writer.Number(static_cast<std::uint32_t>(content.size()));
  int const logarithm = compression == sto_Compression::ShuffledLz4 ? std::countr_zero(width) : 0;
  PutEnd(key, static_cast<std::uint8_t>(static_cast<int>(compression) | logarithm << 4), m_Packed);
  content.assign(m_Packed.begin(), m_Packed.end());
}

bool sto_BlockCodec::IsSound(std::int64_t key, sto_ByteView stored) noexcept {
  if (stored.size() < EndBytes) return false;
  sto_ByteReader checksum(stored.last(sto_Format::ChecksumBytes));
  return checksum.Number<std::uint64_t>() ==
         Checksum(key, CodecOf(stored), stored.first(stored.size() - CodecAt));
}

bool sto_BlockCodec::IsSound(std::int64_t key, sto_ByteView content, sto_ByteView end) noexcept {
  sto_ByteReader checksum(end.last(sto_Format::ChecksumBytes));
  return checksum.Number<std::uint64_t>() == Checksum(key, CodecOf(end), content);
}

bool sto_BlockCodec::IsPlain(sto_ByteView end) noexcept {
  return CodecOf(end) == 0;
}

std::uint64_t sto_BlockCodec::ContentHash(sto_ByteView end) noexcept {
  if (end.size() < EndBytes) return 0;
  std::size_t const at = IsPlain(end) ? sto_Format::ChecksumBytes : MaxEndBytes;
  return end.size() < at ? 0 : sto_ByteReader(end.last(at)).Number<std::uint64_t>();
}

bool sto_BlockCodec::IsContent(std::int64_t key, sto_ByteView stored, sto_ByteView content) noexcept {
  return ContentHash(stored) == Checksum(key, 0, content);
}

std::optional<std::size_t> sto_BlockCodec::ContentBytes(sto_ByteView stored) noexcept {
  if (stored.size() < EndBytes) return std::nullopt;
  sto_Compression const compression = CompressionOf(CodecOf(stored));
  std::size_t const before = stored.size() - CodecAt;
  if (compression == sto_Compression::None)
    return CodecOf(stored) == 0 ? std::optional(before) : std::nullopt;
  if (before < PrefixBytes) return std::nullopt;
  std::size_t const size = sto_ByteReader(stored.subspan(before - SizeBytes)).Number<std::uint32_t>();
  bool const isPossible = size <= sto_Format::MaxValueBytes &&
                          size <= sto_Compressor::MaxContentBytes(compression, before - PrefixBytes);
  return isPossible ? std::optional(size) : std::nullopt;
}

bool sto_BlockCodec::OpenInto(sto_ByteView stored, std::span<std::byte> content) {
  if (ContentBytes(stored) != content.size()) return false;
  std::uint8_t const codec = CodecOf(stored);
  std::size_t const before = stored.size() - CodecAt;
  sto_ByteView const bytes = stored.first(codec == 0 ? before : before - PrefixBytes);
  return m_Compressor.Decompress(CompressionOf(codec), bytes, WidthOf(codec), content);
}

std::optional<sto_ByteView> sto_BlockCodec::Open(sto_ByteView stored, sto_Bytes& room) {
  std::optional<std::size_t> const size = ContentBytes(stored);
  if (!size) return std::nullopt;
  if (CodecOf(stored) == 0) return stored.first(*size);
  room.resize(*size);
  if (!OpenInto(stored, room)) return std::nullopt;
  return room;
}
