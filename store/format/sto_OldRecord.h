#pragma once

#include <string>

#include "store/format/sto_Shape.h"
#include "store/format/sto_StoredRecord.h"

// Records of the formats 1 to 3, which describe themselves:
//
//     record := form  part+  content  checksum
//     part   := class version id  field*
//     field  := key  tag  value
//
// docs/store-format-3.md has the whole grammar. They are read and never written: each is converted to a shape
// and values as today's records have, so that the rest of the module knows one form only.

/// Converts the record of object `id`. The bytes are not trusted. On failure, returns false and says in
/// `problem` what is wrong; `shape` and `values` must not be used then. Thread rule: any thread.
[[nodiscard]] bool sto_ConvertOldRecord(std::int64_t id, sto_StoredRecord const& stored, sto_Shape& shape,
                                        sto_Bytes& values, std::string& problem);
