#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <unordered_map>

#include "store/format/sto_Format.h"

/// The objects of a store that is checked, and the shape of each: four bytes an object, in pages that are made only
/// where there are objects. Thread rule: one thread.
class sto_CheckObjects {
 public:
  /// What is known of an object id.
  enum State : std::uint32_t {
    Absent = 0,
    Unreadable = 1,   ///< it cannot be read whether there is an object
    UnknownShape = 2, ///< an object without a shape that has a number
    FirstShape = 3,   ///< an object whose shape has number 1; the others follow
  };

  /// Notes an object; false if it is there already. REQUIRES: id >= 0.
  bool Add(std::int64_t id, std::int64_t shape) {
    constexpr std::int64_t MaxShape = std::numeric_limits<std::uint32_t>::max() - FirstShape;
    std::uint32_t& state = At(id);
    bool const isNew = state < UnknownShape;
    bool const isNumbered = shape > sto_Format::OwnShape && shape < MaxShape;
    state = isNumbered ? static_cast<std::uint32_t>(shape - 1) + FirstShape : UnknownShape;
    return isNew;
  }
  /// Notes that it cannot be read whether there is an object. REQUIRES: id >= 0.
  void AddUnreadable(std::int64_t id) {
    if (std::uint32_t& state = At(id); state == Absent) state = Unreadable;
  }

  [[nodiscard]] std::uint32_t StateOf(std::int64_t id) const noexcept {
    if (id < 0) return Absent;
    auto const page = m_Pages.find(id / IdsInPage);
    return page == m_Pages.end() ? std::uint32_t{Absent} : page->second[IndexOf(id)];
  }
  /// The number of an object's shape, 0 if that is not known.
  [[nodiscard]] std::int64_t ShapeOf(std::int64_t id) const noexcept {
    std::uint32_t const state = StateOf(id);
    return state < FirstShape ? 0 : std::int64_t{state} - FirstShape + 1;
  }

 private:
  static constexpr std::int64_t IdsInPage = 1024;
  using Page = std::array<std::uint32_t, IdsInPage>;

  static std::size_t IndexOf(std::int64_t id) noexcept { return static_cast<std::size_t>(id % IdsInPage); }
  std::uint32_t& At(std::int64_t id) { return m_Pages[id / IdsInPage][IndexOf(id)]; }

  std::unordered_map<std::int64_t, Page> m_Pages;
};
