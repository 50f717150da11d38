#pragma once

#include <optional>
#include <string>

#include "bench/objects_SqliteFile.h"

/// A statement that is prepared when it is first used.
class oo7_SqliteQuery {
 public:
  oo7_SqliteQuery(objects_SqliteFile& file, char const* sql) : m_File(file), m_Sql(sql) {}

  /// Binds the values and calls `row` with the statement for each row.
  template <class Row, class... Values> void Each(Row row, Values const&... values) {
    objects_SqliteStatement& statement = Bound(values...);
    while (statement.Step()) row(statement);
    statement.Reset();
  }
  template <class... Values> void Run(Values const&... values) { Bound(values...).Run(); }

 private:
  template <class... Values> objects_SqliteStatement& Bound(Values const&... values) {
    if (!m_Statement) m_Statement.emplace(m_File, m_Sql);
    int parameter = 0;
    (Bind(++parameter, values), ...);
    return *m_Statement;
  }
  void Bind(int parameter, int value) { m_Statement->Bind(parameter, value); }
  void Bind(int parameter, std::string const& value) { m_Statement->BindText(parameter, value); }

  objects_SqliteFile& m_File;
  char const* m_Sql;
  std::optional<objects_SqliteStatement> m_Statement;
};

/// An integer column of a row.
inline int oo7_Column(objects_SqliteStatement& row, int column) {
  return static_cast<int>(row.Integer(column));
}

/// A text column of a row.
inline std::string oo7_TextColumn(objects_SqliteStatement& row, int column) {
  return std::string(row.Bytes(column));
}
