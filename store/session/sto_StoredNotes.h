#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>

#include "store/driver/sto_Driver.h"

/// The enumerators and notes of a store, read when they are asked for first. Internal to the module. Thread rule:
/// the thread of the session.
class sto_StoredNotes {
 public:
  using Key = std::pair<sto_OnAttribute, std::string>; ///< the class or attribute, and the name
  template <class Value> using Table = std::map<Key, Value>;

  /// Reads them, unless they are still known.
  void Load(sto_Driver& driver);
  void Forget() noexcept;

  // REQUIRES, for the others: Load has succeeded since Forget.
  [[nodiscard]] Table<std::int64_t> const& Enumerators() const noexcept { return m_Enumerators; }
  [[nodiscard]] Table<std::string> const& Notes() const noexcept { return m_Notes; }
  /// The value of an enumerator; empty if the store does not have it.
  [[nodiscard]] std::optional<std::int64_t> ValueOf(sto_OnAttribute const& on, std::string const& name) const;
  [[nodiscard]] bool HasNote(sto_OnAttribute const& on, std::string const& name) const;

  /// Writes what the store does not have yet, or has with another text. Returns whether it wrote. REQUIRES: the
  /// store does not have the enumerator with another value.
  bool Add(sto_Driver& driver, sto_EnumeratorRow const& row);
  bool Write(sto_Driver& driver, sto_NoteRow const& row);

 private:
  bool m_IsLoaded = false;
  Table<std::int64_t> m_Enumerators;
  Table<std::string> m_Notes;
};

/// Calls `take(name, value)` for each entry of a class version or attribute, ascending by name.
template <class Value, class Take>
void sto_ForEachNote(sto_StoredNotes::Table<Value> const& table, sto_OnAttribute const& on, Take take) {
  for (auto entry = table.lower_bound({on, ""}); entry != table.end() && entry->first.first == on; ++entry)
    take(entry->first.second, entry->second);
}
