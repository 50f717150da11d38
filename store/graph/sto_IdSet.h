#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <unordered_map>

/// A set of object ids: one bit for each id, in pages that are made only where the set has ids. So a damaged
/// store that claims a huge number of ids costs no memory. Internal to the module. Thread rule: one thread.
class sto_IdSet {
 public:
  /// Adds an id; false if the set already has it. REQUIRES: id >= 0. Throws std::bad_alloc.
  bool Add(std::int64_t id) {
    std::uint64_t& word = PageFor(id).at(WordOf(id));
    std::uint64_t const before = word;
    word |= BitOf(id);
    return word != before;
  }

  [[nodiscard]] bool Has(std::int64_t id) const noexcept {
    auto const page = m_Pages.find(id / IdsInPage);
    return page != m_Pages.end() && (page->second[WordOf(id)] & BitOf(id)) != 0;
  }

 private:
  static constexpr std::int64_t IdsInPage = 4096;
  using Page = std::array<std::uint64_t, IdsInPage / 64>;

  static std::size_t WordOf(std::int64_t id) noexcept {
    return static_cast<std::size_t>(id % IdsInPage / 64);
  }
  static std::uint64_t BitOf(std::int64_t id) noexcept { return std::uint64_t{1} << (id % 64); }

  Page& PageFor(std::int64_t id) {
    if (m_Latest == nullptr || m_LatestNumber != id / IdsInPage) {
      m_LatestNumber = id / IdsInPage;
      m_Latest = &m_Pages[m_LatestNumber];
    }
    return *m_Latest;
  }

  std::unordered_map<std::int64_t, Page> m_Pages; // a map, so that pages keep their addresses
  Page* m_Latest = nullptr;                       // the page that Add used last
  std::int64_t m_LatestNumber = -1;
};
