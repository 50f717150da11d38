#include "store/format/sto_Shuffle.h"

#include <algorithm>
#include <bit>
#include <utility>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace {

/// The elements from `first` on, one byte after the other.
void ShuffleBytes(sto_ByteView elements, std::size_t width, std::size_t first, std::byte* planes) noexcept {
  std::size_t const count = elements.size() / width;
  for (std::size_t byte = 0; byte < width; ++byte)
    for (std::size_t i = first; i < count; ++i) planes[byte * count + i] = elements[i * width + byte];
  std::copy(elements.begin() + static_cast<std::ptrdiff_t>(count * width), elements.end(),
            planes + count * width);
}

void UnshuffleBytes(sto_ByteView planes, std::size_t width, std::size_t first, std::byte* elements) noexcept {
  std::size_t const count = planes.size() / width;
  for (std::size_t byte = 0; byte < width; ++byte)
    for (std::size_t i = first; i < count; ++i) elements[i * width + byte] = planes[byte * count + i];
  std::copy(planes.begin() + static_cast<std::ptrdiff_t>(count * width), planes.end(),
            elements + count * width);
}

#if defined(__SSE2__)

/// Elements that are shuffled at once: one byte of each fills a register.
constexpr std::size_t ShuffleStep = sizeof(__m128i);

__m128i LoadLane(std::byte const* bytes) noexcept {
  return _mm_loadu_si128(static_cast<__m128i const*>(static_cast<void const*>(bytes)));
}
void StoreLane(std::byte* bytes, __m128i lane) noexcept {
  _mm_storeu_si128(static_cast<__m128i*>(static_cast<void*>(bytes)), lane);
}

/// Interleaves the first half of the registers' bytes with the second. In a byte's place, written in binary,
/// the top digit becomes the lowest.
template <std::size_t Width, std::size_t... Half>
void Interleave(__m128i (&lanes)[Width], std::index_sequence<Half...>) noexcept {
  __m128i next[Width];
  ((next[2 * Half] = _mm_unpacklo_epi8(lanes[Half], lanes[Half + Width / 2]),
    next[2 * Half + 1] = _mm_unpackhi_epi8(lanes[Half], lanes[Half + Width / 2])),
   ...);
  ((lanes[2 * Half] = next[2 * Half], lanes[2 * Half + 1] = next[2 * Half + 1]), ...);
}

/// Applies that `Rounds` times.
template <std::size_t Width, std::size_t... Round>
void Rotate(__m128i (&lanes)[Width], std::index_sequence<Round...>) noexcept {
  ((static_cast<void>(Round), Interleave(lanes, std::make_index_sequence<Width / 2>{})), ...);
}

/// An element's number has four binary digits in one step. Its bytes begin at element * Width + byte; after
/// four rotations they are at byte * 16 + element.
template <std::size_t Width, std::size_t... Lane>
std::size_t ShuffleSteps(sto_ByteView elements, std::byte* planes, std::index_sequence<Lane...>) noexcept {
  std::size_t const count = elements.size() / Width;
  std::size_t first = 0;
  for (; first + ShuffleStep <= count; first += ShuffleStep) {
    std::byte const* const from = elements.data() + first * Width;
    __m128i lanes[Width] = {LoadLane(from + Lane * ShuffleStep)...};
    Rotate(lanes, std::make_index_sequence<std::countr_zero(ShuffleStep)>{});
    (StoreLane(planes + Lane * count + first, lanes[Lane]), ...);
  }
  return first;
}

/// Rotates the digits of the byte's number back to the end.
template <std::size_t Width, std::size_t... Lane>
std::size_t UnshuffleSteps(sto_ByteView planes, std::byte* elements, std::index_sequence<Lane...>) noexcept {
  std::size_t const count = planes.size() / Width;
  std::size_t first = 0;
  for (; first + ShuffleStep <= count; first += ShuffleStep) {
    __m128i lanes[Width] = {LoadLane(planes.data() + Lane * count + first)...};
    Rotate(lanes, std::make_index_sequence<std::countr_zero(Width)>{});
    std::byte* const to = elements + first * Width;
    (StoreLane(to + Lane * ShuffleStep, lanes[Lane]), ...);
  }
  return first;
}

template <std::size_t Width> std::size_t ShuffleFast(sto_ByteView elements, std::byte* planes) noexcept {
  return ShuffleSteps<Width>(elements, planes, std::make_index_sequence<Width>{});
}
template <std::size_t Width> std::size_t UnshuffleFast(sto_ByteView planes, std::byte* elements) noexcept {
  return UnshuffleSteps<Width>(planes, elements, std::make_index_sequence<Width>{});
}

/// Each shuffles whole steps from the first element on, and returns how many elements these have.
std::size_t ShuffleWholeSteps(sto_ByteView elements, std::size_t width, std::byte* planes) noexcept {
  switch (width) {
  case 2:
    return ShuffleFast<2>(elements, planes);
  case 4:
    return ShuffleFast<4>(elements, planes);
  case 8:
    return ShuffleFast<8>(elements, planes);
  case 16:
    return ShuffleFast<16>(elements, planes);
  default:
    return 0;
  }
}
std::size_t UnshuffleWholeSteps(sto_ByteView planes, std::size_t width, std::byte* elements) noexcept {
  switch (width) {
  case 2:
    return UnshuffleFast<2>(planes, elements);
  case 4:
    return UnshuffleFast<4>(planes, elements);
  case 8:
    return UnshuffleFast<8>(planes, elements);
  case 16:
    return UnshuffleFast<16>(planes, elements);
  default:
    return 0;
  }
}

#else

std::size_t ShuffleWholeSteps(sto_ByteView, std::size_t, std::byte*) noexcept {
  return 0;
}
std::size_t UnshuffleWholeSteps(sto_ByteView, std::size_t, std::byte*) noexcept {
  return 0;
}

#endif

} // namespace

void sto_Shuffle(sto_ByteView elements, std::size_t width, std::byte* planes) noexcept {
  ShuffleBytes(elements, width, ShuffleWholeSteps(elements, width, planes), planes);
}

void sto_Unshuffle(sto_ByteView planes, std::size_t width, std::byte* elements) noexcept {
  UnshuffleBytes(planes, width, UnshuffleWholeSteps(planes, width, elements), elements);
}

void sto_ShufflePlain(sto_ByteView elements, std::size_t width, std::byte* planes) noexcept {
  ShuffleBytes(elements, width, 0, planes);
}

void sto_UnshufflePlain(sto_ByteView planes, std::size_t width, std::byte* elements) noexcept {
  UnshuffleBytes(planes, width, 0, elements);
}
