#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "store/format/sto_Codec.h"

/// The entries of the log of saves that were found. Memory: the log. Thread rule: one thread.
class sto_RecoverLog {
 public:
  struct Entry {
    std::int64_t m_At = 0;
    std::optional<std::string> m_Program, m_Note;
    std::int64_t m_NextId = 1;
    sto_Bytes m_Changed, m_Sum;
  };

  void Add(std::int64_t number, Entry&& entry) {
    m_Entries.try_emplace(number, std::move(entry));
    m_IsRead = false;
  }
  [[nodiscard]] std::map<std::int64_t, Entry> const& Entries() const noexcept { return m_Entries; }
  [[nodiscard]] std::int64_t Newest() const noexcept {
    return m_Entries.empty() ? 0 : m_Entries.rbegin()->first;
  }
  /// Whether no entry is missing before the newest one.
  [[nodiscard]] bool IsWhole() const noexcept {
    return Newest() == static_cast<std::int64_t>(m_Entries.size());
  }

  // What is found outside of the trees may be of an earlier state. These say whether it is of the newest one.
  /// Whether no save after `save` has changed an object's record.
  [[nodiscard]] bool IsNewest(std::int64_t id, std::int64_t save);
  /// Whether no save has changed the blocks of a list after it was made.
  [[nodiscard]] bool IsListUnchanged(std::int64_t id);
  /// Whether a root was named once only.
  [[nodiscard]] bool IsRootUnchanged(std::string_view name);

 private:
  void ReadChanges();

  std::map<std::int64_t, Entry> m_Entries;
  bool m_IsRead = false;                                    // the following have what the entries say
  std::unordered_map<std::int64_t, std::int64_t> m_Objects; // the last save that changed it
  std::unordered_map<std::int64_t, std::int64_t> m_Lists;
  std::unordered_map<std::string, int> m_Roots; // how often
};
