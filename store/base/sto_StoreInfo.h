#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "store/base/sto_SaveEntry.h"

/// What a store says about itself, without its content. A plain value. See sto_Store::Info.
struct sto_StoreInfo {
  int m_Format = 0; ///< the version of the format: docs/store-format.md
  /// "6f1c2a7e-...": of this store and of all of its copies. Empty in a store of an older format. The same for the sum.
  std::string m_Uuid;
  /// 32 hexadecimal digits: the sum over all that the newest save has left. Stores with equal sums have equal content,
  /// under the same object ids.
  std::string m_Sum;
  int m_PageBytes = 0;                ///< see sto_Options::m_PageBytes; 0 on a server
  bool m_ReadersBesideWriter = false; ///< see sto_Options::m_ReadersBesideWriter
  bool m_HasIndexes = false;
  std::int64_t m_SizeBytes = 0;              ///< on its medium
  std::int64_t m_EndOfIds = 1;               ///< every id that an object has, or had, is smaller
  std::optional<sto_SaveEntry> m_NewestSave; ///< empty in a store of an older format, which has no log
};
