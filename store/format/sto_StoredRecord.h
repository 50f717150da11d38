#pragma once

#include <cstdint>

#include "store/format/sto_Codec.h"

/// The record of one object as a storage returns it. Internal to the module.
struct sto_StoredRecord {
  /// The shape of a record that formats 1 to 3 have written: it describes itself.
  static constexpr std::int64_t SelfDescribed = -1;

  std::int64_t m_Shape = 0;   ///< its number, sto_Format::OwnShape, or SelfDescribed
  unsigned int m_ClassId = 0; ///< if it is SelfDescribed; otherwise its shape has it
  bool m_IsSound = true;      ///< it fits its checksum; not set if it is SelfDescribed
  sto_Bytes m_Bytes;          ///< without the checksum, unless it is SelfDescribed
};
