#pragma once

#include "store/format/sto_RowChecksum.h"
#include "store/sqlite/sto_SqliteConnection.h"

/// Adds a column of the present row to a checksum, by the type that the value has in the file.
inline void sto_AddColumn(sto_RowChecksum& checksum, sto_SqliteStatement::Use const& use, int column) {
  switch (use.TypeOf(column)) {
  case sto_SqliteType::Integer:
    checksum.Integer(use.Integer(column));
    break;
  case sto_SqliteType::Text:
    checksum.Text(sto_AsText(use.Bytes(column)));
    break;
  case sto_SqliteType::Bytes:
    checksum.Bytes(use.Bytes(column));
    break;
  default:
    checksum.Other();
  }
}
