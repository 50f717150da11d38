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

sto_Compressor::Encoded sto_Compressor::EncodeSmaller(sto_ByteView content, std::size_t width,
                                                      std::span<std::byte> stored) noexcept {
  std::size_t const shuffled = width == 1 ? 0 : Encode(Shuffle(content, width), stored);
  // The second attempt ends when it gets larger than the first. Shuffled numbers compress faster, and usually
  // better, so they are first.
  std::span<std::byte> const second = width == 1 ? stored : std::span(m_Second).first(stored.size());
  std::size_t const plain = Encode(content, shuffled == 0 ? second : second.first(shuffled));
  if (plain == 0) return {shuffled == 0 ? sto_Compression::None : sto_Compression::ShuffledLz4, shuffled};
  if (width != 1) std::copy_n(second.begin(), plain, stored.begin());
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
