#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "store/driver/sto_Driver.h"
#include "store/format/sto_RowChecksum.h"
#include "store/sqlite/sto_SqliteConnection.h"

/// A class version as it is in the tables class and attribute: the numbers may be longer than a program's, and the
/// columns of the wrong types. Thread rule: a plain value.
struct sto_SqliteStoredClass {
  struct Attribute {
    std::string m_Name;
    std::array<std::int64_t, 4> m_Numbers{}; // field id, type, type argument, collection type
    std::string m_Unit;
    std::optional<std::string> m_Default;
    bool m_HasRightTypes = true; // of its columns

    /// The present row of ReadAttributes, without the class and version in its columns 0 and 1.
    [[nodiscard]] static Attribute Of(sto_SqliteStatement::Use const& use);
  };

  std::int64_t m_ClassId = 0, m_Version = 0;
  std::string m_Name;
  std::int64_t m_BaseClassId = 0, m_Checksum = 0;
  bool m_HasRightTypes = true; // of its columns, and of those of its attributes
  std::vector<Attribute> m_Attributes;

  /// Statements that read all rows; in a store of an older format without the columns that it does not have.
  [[nodiscard]] static char const* ReadClasses(bool hasChecksums) noexcept;
  [[nodiscard]] static char const* ReadAttributes(bool hasChecksums) noexcept;

  /// The present row of ReadClasses.
  [[nodiscard]] static sto_SqliteStoredClass Of(sto_SqliteStatement::Use const& use);
  [[nodiscard]] static sto_SqliteStoredClass Of(sto_ClassRow const& row);
  [[nodiscard]] sto_ClassRow Row() const;

  void Add(Attribute attribute);
  /// Puts the attributes into the order in which the checksum covers them.
  void SortAttributes();
  /// Begins the checksum with the row and its attributes. REQUIRES: they are sorted.
  void Encode(sto_RowChecksum& checksum) const;
};
