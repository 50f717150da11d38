#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "store/driver/sto_Driver.h"
#include "store/format/sto_Format.h"
#include "store/format/sto_StoredRecord.h"
#include "store/sqlite/sto_SqliteConnection.h"

/// The tables of a store that hold its objects. An upgrade gives them other names while it reads them.
struct sto_SqliteObjectTables {
  std::string m_Object = "object";
  std::string m_Pack = "pack"; ///< empty in a store that has none
};

/// Reads the objects of a store of the formats 1 to 3, whose records describe themselves.
///
/// REQUIRES, for every operation: an open transaction. Thread rule: one thread.
class sto_SqliteOldObjects {
 public:
  sto_SqliteOldObjects(sto_SqliteConnection& connection, sto_SqliteObjectTables const& tables);

  /// Call when a transaction begins: forgets what was read.
  void Drop() noexcept { m_Key = -1; }

  /// False if there is no such object. Damaged.
  [[nodiscard]] bool Read(std::int64_t id, sto_StoredRecord& record);
  [[nodiscard]] bool Has(std::int64_t id);
  /// The ids of the objects from `first` to `last`, both included, ascending.
  [[nodiscard]] std::vector<std::int64_t> Ids(std::int64_t first, std::int64_t last);
  /// Appends all objects from `first` on, ascending, without their classes. Returns 0.
  [[nodiscard]] std::int64_t From(std::int64_t first, std::vector<sto_ObjectShape>& objects);
  [[nodiscard]] std::int64_t Count();

 private:
  struct Entry {
    std::size_t m_Offset = 0;
    std::size_t m_SizeBytes = 0; // 0: the pack does not have the object
    unsigned int m_ClassId = 0;
  };

  /// The entry of an object in its pack, null if it has none. Reads the pack. Damaged.
  [[nodiscard]] Entry const* FindEntry(std::int64_t id);
  void Load(std::int64_t key);
  [[noreturn]] void RaiseDamaged(std::int64_t key) const;

  sto_SqliteConnection& m_Connection;
  bool m_HasPacks;
  std::array<std::string, 5> m_Sql; // the texts of the statements
  sto_SqliteStatement m_ReadRow, m_HasRow, m_ReadPack;
  // The pack that was read last.
  std::int64_t m_Key = -1;
  std::array<Entry, sto_Format::IdsInOldPack> m_Entries{};
  sto_Bytes m_Content;
};
