#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "store/driver/sto_Driver.h"
#include "store/format/sto_Format.h"
#include "store/server/sto_ServerLink.h"

/// The ids that a session may give out: ranges that it has taken from the server. It keeps what a transaction does not
/// use, and gives the rest back in the end, so that a store which one session after the other writes has no gaps.
/// Thread rule: one thread.
class sto_ServerIds {
 public:
  explicit sto_ServerIds(sto_ServerLink& link) : m_Link(link) {}
  sto_ServerIds(sto_ServerIds const&) = delete;
  sto_ServerIds& operator=(sto_ServerIds const&) = delete;
  ~sto_ServerIds() { GiveBack(); }

  /// So many ids are taken at once.
  static constexpr std::int64_t AtOnce = 65536;

  /// Call when a transaction begins.
  void Begin() noexcept { m_Next = 0; }
  /// The next range for the transaction; empty if there are none left. `end`: of the ids that are in use.
  sto_IdRange Take(std::int64_t count, std::int64_t end) {
    if (m_Next == m_Ranges.size()) {
      std::int64_t const wanted = std::max(count, AtOnce);
      std::int64_t const first = m_Link.TakeIds(end, wanted);
      std::int64_t const last = std::min(first + wanted, sto_Format::MaxObjectId + 1);
      if (first >= last) return {1, 1};
      m_Ranges.push_back({first, last});
    }
    return m_Ranges[m_Next++];
  }
  /// The transaction has used the ids of its ranges before `end`.
  void SetUsed(std::int64_t end) noexcept { m_End = end; }
  [[nodiscard]] std::int64_t UsedEnd() const noexcept { return m_End; }
  /// The transaction is committed, or that is not known: its ids are not given out again.
  void Keep() noexcept {
    std::erase_if(m_Ranges, [this](sto_IdRange const& range) { return range.m_End <= m_End; });
    if (!m_Ranges.empty()) m_Ranges.front().m_First = std::max(m_Ranges.front().m_First, m_End);
    m_Next = 0;
  }

 private:
  void GiveBack() noexcept {
    if (!m_Ranges.empty()) m_Link.GiveBackIds(m_Ranges.back().m_First, m_Ranges.back().m_End);
  }

  sto_ServerLink& m_Link;
  std::vector<sto_IdRange> m_Ranges; // ascending
  std::size_t m_Next = 0;            // the first one that the transaction does not have
  std::int64_t m_End = 0;            // see SetUsed
};
