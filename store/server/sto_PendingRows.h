#pragma once

#include <functional>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "store/format/sto_Codec.h"

/// The rows that a transaction has changed, by their keys, until they are sent: their bytes, or that they are removed.
/// A mark can be set; going back to it allocates nothing. Thread rule: one thread.
template <class Key> class sto_PendingRows {
 public:
  using Row = std::optional<sto_Bytes>; ///< empty: removed
  using Rows = std::map<Key, Row, std::less<>>;

  /// What the transaction has made of a row; null if it has not changed it.
  template <class Any> [[nodiscard]] Row const* Find(Any const& key) const {
    auto const found = m_Rows.find(key);
    return found == m_Rows.end() ? nullptr : &found->second;
  }
  [[nodiscard]] Rows const& All() const noexcept { return m_Rows; }

  void Put(Key const& key, Row row) {
    auto const [at, isNew] = m_Rows.try_emplace(key);
    if (m_HasMark) NoteBefore(at, isNew);
    at->second.swap(row);
  }
  /// The row is as the server has it, or not there at all.
  void Forget(Key const& key) {
    auto const at = m_Rows.find(key);
    if (at == m_Rows.end()) return;
    if (m_HasMark) {
      NoteBefore(at, false);
      at->second = std::nullopt;
    } else {
      m_Rows.erase(at);
    }
  }

  void Clear() noexcept {
    m_Rows.clear();
    ReleaseMark();
  }
  void SetMark() noexcept {
    m_Before.clear();
    m_HasMark = true;
  }
  void ReleaseMark() noexcept {
    m_Before.clear();
    m_HasMark = false;
  }
  void GoBackToMark() noexcept {
    for (; !m_Before.empty(); m_Before.pop_back())
      if (Before& before = m_Before.back(); before.m_IsNew)
        m_Rows.erase(before.m_At);
      else
        before.m_At->second = std::move(before.m_Row);
    m_HasMark = false;
  }

 private:
  struct Before {
    typename Rows::iterator m_At;
    bool m_IsNew;
    Row m_Row;
  };
  void NoteBefore(typename Rows::iterator at, bool isNew) {
    try {
      m_Before.push_back({at, isNew, std::nullopt});
    } catch (...) {
      if (isNew) m_Rows.erase(at);
      throw;
    }
    m_Before.back().m_Row.swap(at->second);
  }

  Rows m_Rows;
  bool m_HasMark = false;
  std::vector<Before> m_Before; // since the mark
};
