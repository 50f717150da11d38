#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "platform/kvl_Export.h"

/// The bytes of a class that its described members cover, to find a member that nobody described. A gap that may
/// be padding is none: a forgotten member that is smaller than the padding before the next one is not noticed.
class KVL_EXPORT dsc_Coverage {
 public:
  struct Gap {
    std::size_t m_Offset = 0;
    std::size_t m_Bytes = 0; ///< 0: there is no gap
  };

  /// Bytes that are known, which begin at a multiple of `alignment`.
  void Add(std::size_t offset, std::size_t bytes, std::size_t alignment);
  /// The first gap of an object of `bytes` bytes.
  [[nodiscard]] Gap FirstGap(std::size_t bytes, std::size_t alignment) const;

 private:
  struct Run {
    std::size_t m_Offset;
    std::size_t m_Bytes;
    std::size_t m_Alignment;
  };
  std::vector<Run> m_Runs;
};

/// Raises nex_TextException if bytes of an object belong to no field. `field`: the one that has the object as a value;
/// empty for an object of the class itself.
KVL_EXPORT void dsc_CheckCoverage(char const* className, std::string_view field, dsc_Coverage const& coverage,
                                  std::size_t bytes, std::size_t alignment);

/// Where something lies in an object of class T: `addressOf` gets the object, and returns the address. There is no
/// object: only addresses are computed, in room for one.
template <class T, class AddressOf> [[nodiscard]] std::size_t dsc_OffsetIn(AddressOf addressOf) noexcept {
  alignas(T) static unsigned char s_Room[sizeof(T)];
  void const* const address = addressOf(*reinterpret_cast<T const*>(s_Room));
  return static_cast<std::size_t>(static_cast<unsigned char const*>(address) - s_Room);
}

/// Where a base class begins. REQUIRES: it is no virtual base class.
template <class T, class Base> [[nodiscard]] std::size_t dsc_BaseOffset() noexcept {
  return dsc_OffsetIn<T>([](T const& object) { return static_cast<Base const*>(&object); });
}
