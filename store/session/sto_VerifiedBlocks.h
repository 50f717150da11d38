#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>

/// The blocks that a session has read and found sound: checking them again would find the same. Internal to the
/// module. Thread rule: one thread.
class sto_VerifiedBlocks {
 public:
  [[nodiscard]] bool Has(std::int64_t key) const noexcept {
    auto const found = m_Groups.find(key >> GroupBits);
    return found != m_Groups.end() && (found->second & BitOf(key)) != 0;
  }
  void Add(std::int64_t key) {
    if (m_Groups.size() >= MaxGroups) m_Groups.clear();
    m_Groups[key >> GroupBits] |= BitOf(key);
  }
  /// The block is written.
  void Forget(std::int64_t key) noexcept {
    if (auto const found = m_Groups.find(key >> GroupBits); found != m_Groups.end())
      found->second &= ~BitOf(key);
  }
  /// Another session has committed, or work was undone.
  void Clear() noexcept { m_Groups.clear(); }

 private:
  static constexpr int GroupBits = 6;
  static constexpr std::size_t MaxGroups = 1 << 16; // four million blocks

  [[nodiscard]] static std::uint64_t BitOf(std::int64_t key) noexcept {
    return std::uint64_t{1} << (static_cast<std::uint64_t>(key) & 63);
  }

  std::unordered_map<std::int64_t, std::uint64_t> m_Groups; // 64 keys each
};
