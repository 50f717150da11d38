#include "store/format/sto_Compression.h"

#include <lz4.h>

#include <algorithm>
#include <utility>

#include "store/format/sto_Shuffle.h"

namespace {

void GrowTo(sto_Bytes& bytes, std::size_t size) {
  if (bytes.size() < size) bytes.resize(size);
}

/// False if the bytes are no LZ4 block of exactly that much content.
bool DecodeLz4(sto_ByteView stored, std::span<std::byte> content) noexcept {
  if (!std::in_range<int>(content.size()) || !std::in_range<int>(stored.size())) return false;
  int const size = LZ4_decompress_safe(reinterpret_cast<char const*>(stored.data()),
                                       reinterpret_cast<char*>(content.data()),
                                       static_cast<int>(stored.size()), static_cast<int>(content.size()));
  return size >= 0 && static_cast<std::size_t>(size) == content.size();
}

} // namespace

/// Makes room for LZ4 and for intermediate results, so that nothing needs memory later.
void sto_Compressor::MakeRoom(std::size_t contentBytes, std::size_t width) {
  GrowTo(m_State, static_cast<std::size_t>(LZ4_sizeofState()));
  if (width == 1) return;
  GrowTo(m_Shuffled, contentBytes);
  GrowTo(m_Second, contentBytes);
}

sto_ByteView sto_Compressor::Shuffle(sto_ByteView content, std::size_t width) noexcept {
  if (width == 1) return content; // shuffling changes nothing
  sto_Shuffle(content, width, m_Shuffled.data());
  return sto_ByteView(m_Shuffled).first(content.size());
}

/// The number of bytes written to `stored`, 0 if it is too short. LZ4 gives up as soon as it is full, so
/// content that does not compress costs little.
std::size_t sto_Compressor::Encode(sto_ByteView content, std::span<std::byte> stored) noexcept {
  if (content.size() > LZ4_MAX_INPUT_SIZE) return 0;
  constexpr int MostThorough = 1;
  int const capacity = static_cast<int>(std::min<std::size_t>(stored.size(), LZ4_MAX_INPUT_SIZE));
  int const size = LZ4_compress_fast_extState(m_State.data(), reinterpret_cast<char const*>(content.data()),
                                              reinterpret_cast<char*>(stored.data()),
                                              static_cast<int>(content.size()), capacity, MostThorough);
  return static_cast<std::size_t>(size);
}

/// Whether plain LZ4 may need fewer than `shuffled` bytes for content, by its first quarter. LZ4 would notice
/// a failure by itself, but late, and slowly: unshuffled numbers have many short matches.
bool sto_Compressor::MayBeatShuffled(sto_ByteView content, std::size_t shuffled) noexcept {
  constexpr std::size_t ShortBytes = 4096; // a first quarter of less says little
  constexpr std::size_t StartBytes = 32;   // for the first elements, which nothing precedes
  if (content.size() < ShortBytes) return true;
  std::size_t const share = shuffled / 4 + shuffled / 16; // a quarter more: later parts may do better
  std::size_t const room = std::min(share + StartBytes, m_Second.size());
  return Encode(content.first(content.size() / 4), std::span(m_Second).first(room)) != 0;
}

sto_Compressor::Encoded sto_Compressor::EncodeSmaller(sto_ByteView content, std::size_t width,
                                                      std::span<std::byte> stored) noexcept {
  if (width == 1) {
    std::size_t const size = Encode(content, stored);
    return {size == 0 ? sto_Compression::None : sto_Compression::Lz4, size};
  }
  // Shuffled numbers compress faster, and usually better. The second attempt ends when it gets larger.
  std::size_t const shuffled = Encode(Shuffle(content, width), stored);
  std::size_t plain = 0;
  if (shuffled == 0)
    plain = Encode(content, stored);
  else if (MayBeatShuffled(content, shuffled))
    plain = Encode(content, std::span(m_Second).first(shuffled));
  if (plain == 0) return {shuffled == 0 ? sto_Compression::None : sto_Compression::ShuffledLz4, shuffled};
  if (shuffled != 0) std::copy_n(m_Second.begin(), plain, stored.begin());
  return {sto_Compression::Lz4, plain};
}

sto_Compression sto_Compressor::Compress(sto_ByteView content, std::size_t width, sto_Bytes& bytes) {
  std::size_t const before = bytes.size();
  Encoded encoded{sto_Compression::None, 0};
  if (content.size() >= MinContentBytes) {
    MakeRoom(content.size(), width);
    bytes.resize(before + content.size());
    std::size_t const saving = (content.size() + LeastSaving - 1) / LeastSaving;
    encoded = EncodeSmaller(content, width, std::span(bytes).subspan(before, content.size() - saving));
    bytes.resize(before + encoded.m_Size);
  }
  if (encoded.m_Codec == sto_Compression::None) bytes.insert(bytes.end(), content.begin(), content.end());
  return encoded.m_Codec;
}

bool sto_Compressor::CompressAs(sto_Compression codec, sto_ByteView content, std::size_t width,
                                sto_Bytes& bytes) {
  std::size_t const before = bytes.size();
  if (codec == sto_Compression::None) {
    bytes.insert(bytes.end(), content.begin(), content.end());
    return true;
  }
  bool const isShuffled = codec == sto_Compression::ShuffledLz4;
  if ((codec != sto_Compression::Lz4 && !isShuffled) || content.size() > LZ4_MAX_INPUT_SIZE) return false;
  MakeRoom(content.size(), isShuffled ? width : 1);
  bytes.resize(before + static_cast<std::size_t>(LZ4_compressBound(static_cast<int>(content.size()))));
  std::size_t const size =
      Encode(isShuffled ? Shuffle(content, width) : content, std::span(bytes).subspan(before));
  bytes.resize(before + size);
  return true;
}

bool sto_Compressor::Decompress(sto_Compression codec, sto_ByteView stored, std::size_t width,
                                std::span<std::byte> content) {
  switch (codec) {
  case sto_Compression::None:
    if (stored.size() != content.size()) return false;
    std::ranges::copy(stored, content.begin());
    return true;
  case sto_Compression::Lz4:
    return DecodeLz4(stored, content);
  case sto_Compression::ShuffledLz4:
    GrowTo(m_Shuffled, content.size());
    if (!DecodeLz4(stored, std::span(m_Shuffled).first(content.size()))) return false;
    sto_Unshuffle(std::span(m_Shuffled).first(content.size()), width, content.data());
    return true;
  }
  return false;
}
