#pragma once

#include <optional>
#include <vector>

#include "store/driver/sto_Driver.h"
#include "store/format/sto_RowChecksum.h"
#include "store/sqlite/sto_SqliteChanges.h"
#include "store/sqlite/sto_SqliteConnection.h"
#include "store/sqlite/sto_SqliteStoredClass.h"

/// The catalogue of a store in SQLite: the tables class, attribute, name and shape. From format 4 on each row
/// of class, with the rows of its attributes, has a checksum, and so has each row of name and shape.
///
/// REQUIRES, for every operation: an open transaction, and Use. Thread rule: one thread.
class sto_SqliteCatalogue {
 public:
  /// REQUIRES: the arguments live as long as this object.
  sto_SqliteCatalogue(sto_SqliteConnection& connection, sto_SqliteChanges& changes);

  /// Call when the version of the store's format was read. `uuid`: the store's, from format 4 on.
  void Use(std::int64_t formatVersion, sto_ByteView uuid);

  // Reading. Damaged, naming table and row, if a row does not fit its checksum.
  [[nodiscard]] std::vector<sto_ClassRow> Classes();
  [[nodiscard]] std::vector<sto_NameRow> Names();
  [[nodiscard]] std::vector<sto_ShapeRow> Shapes();

  // Writing. REQUIRES: the store has the present format.
  void WriteClass(sto_ClassRow const& row);
  void AddName(sto_NameRow const& row);
  void AddShape(sto_ShapeRow const& row);

 private:
  struct Checksums {
    explicit Checksums(sto_ByteView uuid)
        : m_Class(uuid, "class"), m_Name(uuid, "name"), m_Shape(uuid, "shape") {}
    sto_RowChecksum m_Class, m_Name, m_Shape;
  };

  /// The classes as they are in the file. Damaged.
  [[nodiscard]] std::vector<sto_SqliteStoredClass> StoredClasses();
  /// Takes a class version that is about to be replaced out of the sum, if it is there.
  void RemoveFromSum(sto_SqliteStoredClass const& replacement);
  void ReadAttributes(std::vector<sto_SqliteStoredClass>& classes);
  [[nodiscard]] std::int64_t ChecksumOf(sto_SqliteStoredClass const& row);
  [[noreturn]] void RaiseUnfit(std::string const& row) const;

  sto_SqliteConnection& m_Connection;
  sto_SqliteChanges& m_Noted;
  sto_SqliteStatement m_HasClass, m_WriteClass, m_WriteAttribute, m_AddName, m_AddShape;
  std::int64_t m_FormatVersion = 0;
  std::optional<Checksums> m_Checksums; // from format 4 on
};
