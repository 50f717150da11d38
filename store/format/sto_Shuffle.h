#pragma once

#include <cstddef>

#include "store/format/sto_Codec.h"

// Byte shuffle: all first bytes of the elements, then all second bytes, and so on. Bytes at the end that are
// no whole element come last, unchanged. Neighbouring numbers often agree in their high bytes, so the result
// has long runs, which compress well.
//
// The result is the same on every processor. Widths 2, 4, 8 and 16 are fast where SSE2 is there.
// Thread rule: any thread. Nothing is allocated.

/// Shuffles `elements`, which are `width` bytes each, to `planes`.
/// REQUIRES: 1 <= width; room for elements.size() bytes at `planes`, which does not overlap `elements`.
void sto_Shuffle(sto_ByteView elements, std::size_t width, std::byte* planes) noexcept;

/// The inverse: shuffles `planes` back to `elements`. REQUIRES: as above.
void sto_Unshuffle(sto_ByteView planes, std::size_t width, std::byte* elements) noexcept;

/// The same without instructions of a particular processor: what the functions above use for other widths,
/// and where there is no SSE2. To be called by tests and measurements.
void sto_ShufflePlain(sto_ByteView elements, std::size_t width, std::byte* planes) noexcept;
void sto_UnshufflePlain(sto_ByteView planes, std::size_t width, std::byte* elements) noexcept;
