#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "store/format/sto_Codec.h"

// Compression of one block of an array or a blob. The content is the encoded elements, one after the other.
// All have the same width; where they do not (strings), the width is 1.
//
// LZ4 is the block format of the LZ4 project, without a frame: any LZ4 decoder reads it. The compressed bytes
// contain neither the codec nor the size of the content; the caller stores these.

/// How a block is compressed. Stored as one byte; a number never changes its meaning.
enum class sto_Compression : std::uint8_t {
  None = 0,        ///< as it is
  Lz4 = 1,         ///< LZ4 of the content
  ShuffledLz4 = 2, ///< LZ4 of the shuffled content (sto_Shuffle.h)
};

/// Compresses and restores blocks. Keeps its memory from one block to the next (16 KiB, and twice the largest
/// block of numbers), so that no block needs an allocation of its own.
///
/// Errors: std::bad_alloc; the operation has no effect then. Thread rule: one thread at a time.
class sto_Compressor {
 public:
  /// Shorter content is not compressed.
  static constexpr std::size_t MinContentBytes = 64;
  /// Compression must save at least one in so many bytes.
  static constexpr std::size_t LeastSaving = 16;

  /// Appends the stored form of `content` to `bytes` and returns how it is compressed: by LZ4 or shuffled
  /// LZ4, whichever is smaller, or not at all if neither pays. (LZ4 is not tried on a long block whose first
  /// quarter is much better shuffled.) The result depends only on the content, the width and the version of
  /// LZ4.
  /// REQUIRES: 1 <= width; `bytes` does not overlap `content`.
  [[nodiscard]] sto_Compression Compress(sto_ByteView content, std::size_t width, sto_Bytes& bytes);

  /// The same with a given codec, even if it does not pay. False, with `bytes` unchanged, if there is no such
  /// codec or the content is longer than LZ4 can take (2 GB). For tests and measurements.
  [[nodiscard]] bool CompressAs(sto_Compression codec, sto_ByteView content, std::size_t width,
                                sto_Bytes& bytes);

  /// Restores content of a known size and width. The stored bytes and the codec are not trusted. False if
  /// there is no such codec, or if the bytes are not the stored form of content of this size; `content` may
  /// have been overwritten then.
  /// REQUIRES: 1 <= width; `stored` does not overlap `content`.
  [[nodiscard]] bool Decompress(sto_Compression codec, sto_ByteView stored, std::size_t width,
                                std::span<std::byte> content);

  /// The most content that so many stored bytes can hold. Check a size that a file gives with it before you
  /// allocate memory for the content.
  [[nodiscard]] static constexpr std::size_t MaxContentBytes(sto_Compression codec,
                                                             std::size_t storedBytes) noexcept {
    // A byte of a length stands for at most 255 bytes, and all other bytes for fewer.
    return codec == sto_Compression::None ? storedBytes : storedBytes * 255;
  }

 private:
  struct Encoded {
    sto_Compression m_Codec;
    std::size_t m_Size;
  };
  void MakeRoom(std::size_t contentBytes, std::size_t width);
  [[nodiscard]] sto_ByteView Shuffle(sto_ByteView content, std::size_t width) noexcept;
  /// To `stored`; None and 0 if it does not fit. REQUIRES: MakeRoom was called.
  [[nodiscard]] Encoded EncodeSmaller(sto_ByteView content, std::size_t width,
                                      std::span<std::byte> stored) noexcept;
  [[nodiscard]] bool MayBeatShuffled(sto_ByteView content, std::size_t shuffled) noexcept;
  [[nodiscard]] std::size_t Encode(sto_ByteView content, std::span<std::byte> stored) noexcept;

  // Memory that is used again. It only grows.
  sto_Bytes m_State;    // LZ4's table
  sto_Bytes m_Shuffled; // shuffled content
  sto_Bytes m_Second;   // the result of the second attempt
};
