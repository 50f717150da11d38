#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "store/driver/sto_Driver.h"
#include "store/format/sto_IndexKey.h"
#include "store/session/sto_ClassScan.h"

class sto_Session;

/// A search for the objects of a class, and of those derived from it, by the value of an attribute of the class or of
/// a base class of it. Finds them in the order of their keys (sto_IndexKey.h), and those with one key in the order of
/// their ids:
///
///     sto_IndexSearch search(session, Bolt::TypeId(), "m_Id", sto_IndexSearch::Equal(sto_IndexKey::Of(17)));
///     while (search.Next()) Use(search.Id());
///
/// If the store has an index of the attribute, it is used, and only what is found is read. Otherwise all objects of
/// the class are looked at: the result is the same, but takes as long as a scan, and what is found is kept in memory.
///
/// What the open transaction has saved counts. If objects are saved or deleted while the search goes on, those may be
/// found at their old place, at the new one, at both or at none. REQUIRES: the transaction in which the search was
/// made is open. Errors: Misuse if neither the program nor the store knows the attribute; Damaged. Internal to the
/// module. Thread rule: the thread of the session.
class sto_IndexSearch {
 public:
  /// Keys from one to another, both included. Empty: from the first, to the last.
  struct Range {
    std::optional<std::string> m_First = {};
    std::optional<std::string> m_Last = {};
  };
  [[nodiscard]] static Range Equal(std::string const& key) { return {key, key}; }

  sto_IndexSearch(sto_Session& session, unsigned int classId, std::string_view attribute, Range range);

  /// Goes on to the next object; false at the end.
  bool Next();
  /// Both REQUIRE: Next was true.
  [[nodiscard]] std::int64_t Id() const noexcept { return m_Found[m_At].m_Id; }
  [[nodiscard]] std::string const& Key() const noexcept { return m_Found[m_At].m_Key; }

  /// Whether an index is used.
  [[nodiscard]] bool UsesIndex() const noexcept { return m_Index != 0; }

 private:
  /// The class of `classId` or above it that declares the attribute. Misuse.
  [[nodiscard]] unsigned int DeclaringClass(std::string_view attribute) const;
  [[nodiscard]] bool IsInRange(std::string const& key) const;
  /// Looks at all objects of the class.
  void Scan(sto_IndexRow const& row);
  [[nodiscard]] bool ReadMore();
  /// Whether an object that the index names is of the class. Damaged if it is not there.
  [[nodiscard]] bool IsOfClass(std::int64_t id);

  sto_Session& m_Session;
  unsigned int m_ClassId;
  Range m_Range;
  std::int64_t m_Index = 0; // the number of the index; 0: none is used
  bool m_IsOfBase = false;  // the index is about a base class
  sto_ClassScan m_Class;    // of the objects that are found
  std::vector<sto_IndexEntry> m_Found;
  std::size_t m_At = 0;
  bool m_IsBegun = false; // m_At is that of the present object
  bool m_HasMore = false; // the index may have entries after those in m_Found
  std::size_t m_Limit = FirstLimit;
  sto_StoredRecord m_Stored; // scratch

  static constexpr std::size_t FirstLimit = 16, MaxLimit = 1024; // entries that are read at once
};
