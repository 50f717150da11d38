#pragma once

#include <cstdint>
#include <string_view>

#include "store/driver/sto_Driver.h"
#include "store/sto_CheckReport.h"

/// The number of an object's row, and what is known of the object without its record.
struct sto_ObjectRow {
  std::int64_t m_Id = 0;
  std::int64_t m_Shape = 0;     ///< as in sto_StoredRecord
  unsigned int m_ClassId = 0;   ///< as in sto_StoredRecord
  std::int64_t m_SizeBytes = 0; ///< of the record as it is stored
};

/// The sizes of a storage's parts.
struct sto_StorageSizes {
  std::int64_t m_Roots = 0;
  std::int64_t m_Saves = 0;
  std::int64_t m_LogBytes = 0;
  std::int64_t m_CatalogueBytes = 0;
  std::int64_t m_IndexBytes = 0;
  std::int64_t m_FileBytes = 0;
  std::int64_t m_FreeBytes = 0;
};

/// Receives what a walk over a storage reads. Views are valid during the call.
class sto_StorageVisitor {
 public:
  virtual ~sto_StorageVisitor() = default;

  /// Something in the storage is wrong.
  virtual void Find(sto_CheckFinding&& finding) = 0;

  // Of Tables. `isSound`: the row fits its checksum; always true in a store whose rows have none.
  virtual void TakeSave(sto_SaveEntry const& /*save*/) {}
  virtual void TakeClass(sto_ClassRow const& /*row*/, bool /*isSound*/) {}
  virtual void TakeName(sto_NameRow const& /*row*/, bool /*isSound*/) {}
  virtual void TakeShape(sto_ShapeRow const& /*row*/, bool /*isSound*/) {}
  virtual void TakeIndex(sto_IndexRow const& /*row*/, bool /*isSound*/) {}
  /// `classId`: of the object when it got the name; 0 if that is not known. Only of sound rows.
  virtual void TakeRoot(std::string_view /*name*/, std::int64_t /*id*/, unsigned int /*classId*/) {}

  /// Of Objects: an object.
  virtual void TakeObject(sto_ObjectRow const& /*object*/) {}
  /// Of Objects: whether there are objects with ids from `first` to `last` cannot be read.
  virtual void TakeUnreadable(std::int64_t /*first*/, std::int64_t /*last*/) {}
  /// Of Records.
  virtual void TakeRecord(std::int64_t /*id*/, sto_StoredRecord& /*record*/) {}
  /// Of IndexEntries.
  virtual void TakeIndexEntry(std::int64_t /*number*/, sto_IndexEntry const& /*entry*/, bool /*isSound*/) {}
  /// Of Blocks: a block as the driver returns it.
  virtual void TakeBlock(std::int64_t /*key*/, sto_ByteView /*data*/) {}
  /// Of BlockRows: a row with blocks, the first of which has the key.
  virtual void TakeBlockRow(std::int64_t /*key*/, std::int64_t /*bytes*/) {}
};

/// A walk over all that a storage holds, as its open transaction sees it, also if it is damaged: damage is
/// reported to the visitor, and the walk goes on with the rest where it can. Each operation is a walk of its own.
///
/// REQUIRES, for every operation: the transaction in which the walk was made is open, and nothing was written
/// since. Errors: those of the driver, except Damaged. Memory: one row, and for Structure some bytes for each
/// moved row. Thread rule: one thread.
class sto_StorageWalk {
 public:
  sto_StorageWalk() = default;
  sto_StorageWalk(sto_StorageWalk const&) = delete;
  sto_StorageWalk& operator=(sto_StorageWalk const&) = delete;
  virtual ~sto_StorageWalk() = default;

  /// Verifies the storage's own structure. `isFull`: all of it, which reads everything. `meter`: counts the work in its
  /// present part, as well as the storage can; null: nobody asks.
  virtual void Structure(bool isFull, sto_Meter* meter) = 0;
  /// The header, the log, the catalogue and the roots.
  virtual void Tables() = 0;
  /// Where each object is; does not verify records.
  virtual void Objects() = 0;
  virtual void Records() = 0;
  /// All blocks, ascending by key.
  virtual void Blocks() = 0;
  virtual void BlockRows() = 0;
  /// The entries of all indexes, ascending.
  virtual void IndexEntries() = 0;
  /// How many rows with blocks there are. Damaged.
  [[nodiscard]] virtual std::int64_t BlockRowCount() = 0;
  /// Compares the sum over the store with what Tables, Records and Blocks have passed. Empty if the store has no
  /// sum, or not everything could be read. REQUIRES: each of the three was called once.
  virtual std::optional<bool> IsSumRight() = 0;
  [[nodiscard]] virtual sto_StorageSizes Sizes() = 0;
};
