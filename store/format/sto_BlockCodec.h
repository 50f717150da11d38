#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "store/format/sto_Codec.h"
#include "store/format/sto_Compression.h"

/// Turns the content of a block of a list or blob into its stored form, and back.
///
///     stored := bytes end
///     end    := [content hash: 8 bytes, content size: 4 bytes, both only if compressed]
///               codec: 1 byte, checksum: 8 bytes
///
/// The lower half of the codec byte is the sto_Compression; the upper half is the binary logarithm of the
/// elements' width, which restoring shuffled bytes needs. The checksum covers what is before the codec byte, and
/// its seed depends on the block's key and the codec. So what is stored can be checked without restoring it, and
/// an uncompressed block can be read straight to where its elements belong.
///
/// The content hash is the checksum that the block would have without compression. The sum over the store is made
/// of it, so that it does not depend on how blocks are compressed.
///
/// Memory: as sto_Compressor. Thread rule: one thread at a time.
class sto_BlockCodec {
 public:
  /// Bytes of the end of a block that is not compressed.
  static constexpr std::size_t EndBytes = 9;
  /// Bytes of the end of a compressed block.
  static constexpr std::size_t MaxEndBytes = 21;

  /// Appends the end of a block to its content, which is not compressed.
  static void Seal(std::int64_t key, sto_Bytes& content);
  /// The same, but compresses the content first if that pays. `width`: of the elements, in bytes; 1 if they
  /// differ.
  void SealCompressed(std::int64_t key, sto_Bytes& content, std::size_t width);

  /// Whether what is stored under a key is a sound block. Does not restore its content.
  [[nodiscard]] static bool IsSound(std::int64_t key, sto_ByteView stored) noexcept;
  /// The same for an uncompressed block whose end (EndBytes) is somewhere else than its content.
  [[nodiscard]] static bool IsSound(std::int64_t key, sto_ByteView content, sto_ByteView end) noexcept;
  /// Whether an end is that of an uncompressed block.
  [[nodiscard]] static bool IsPlain(sto_ByteView end) noexcept;

  /// The hash of the content of a sound block. `end`: the last MaxEndBytes of what is stored, or more; all of it
  /// if it is shorter. Some number if the block is damaged.
  [[nodiscard]] static std::uint64_t ContentHash(sto_ByteView end) noexcept;
  /// Whether a block that was restored has the content that was compressed.
  [[nodiscard]] static bool IsContent(std::int64_t key, sto_ByteView stored, sto_ByteView content) noexcept;

  /// The content of a sound block, in `stored` or, restored, in `room`; empty if it cannot be restored.
  [[nodiscard]] std::optional<sto_ByteView> Open(sto_ByteView stored, sto_Bytes& room);
  /// The same to memory of the caller. False if the content has another size.
  [[nodiscard]] bool OpenInto(sto_ByteView stored, std::span<std::byte> content);

  /// The most content that blocks of so many stored bytes can have.
  [[nodiscard]] static constexpr std::size_t MaxContentBytes(std::size_t storedBytes) noexcept {
    return sto_Compressor::MaxContentBytes(sto_Compression::Lz4, storedBytes);
  }
  /// The bytes of content of a sound block; empty if its end cannot be right.
  [[nodiscard]] static std::optional<std::size_t> ContentBytes(sto_ByteView stored) noexcept;

 private:
  sto_Compressor m_Compressor;
  sto_Bytes m_Packed; // a compressed block
};
