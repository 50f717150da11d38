#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "store/format/sto_Codec.h"

/// One attribute in the description of a class.
struct sto_AttributeRow {
  std::string m_Name;
  int m_FieldId;
  int m_Type; // cls_AttributeType
  unsigned int m_TypeArg;
  int m_CollectionType; // cls_CollectionType

  friend bool operator==(sto_AttributeRow const& a, sto_AttributeRow const& b) = default;
};

/// One version of a class that has written to a store.
struct sto_ClassRow {
  unsigned int m_ClassId;
  int m_Version;
  std::string m_Name;
  unsigned int m_BaseClassId;
  std::vector<sto_AttributeRow> m_Attributes; // ascending by the names' bytes
};

/// One attribute name of a store's dictionary; records refer to it by number, from 1.
struct sto_NameRow {
  std::int64_t m_Id;
  std::string m_Text;
};

/// Takes blocks as a driver reads them.
class sto_BlockSink {
 public:
  virtual ~sto_BlockSink() = default;
  /// `data` is valid during the call. False: no more blocks are wanted.
  virtual bool Take(std::int64_t key, sto_ByteView data) = 0;
};

/// What a kind of storage implements: tables of opaque values under integer keys, and transactions.
/// Everything that gives the values a meaning is written once, above this interface.
///
/// Every operation but Begin needs an open transaction, and every writing one an open write transaction.
/// Errors: sto_Exception of the kind that fits; after one, the transaction can only be rolled back.
/// Thread rule: one thread.
class sto_Driver {
 public:
  sto_Driver() = default;
  sto_Driver(sto_Driver const&) = delete;
  sto_Driver& operator=(sto_Driver const&) = delete;
  virtual ~sto_Driver() = default;

  [[nodiscard]] virtual bool IsReadOnly() const noexcept = 0;

  /// Opens a transaction: one that sees a fixed state of the store, or one that may also write (and then
  /// waits for other writers; Busy when that takes too long).
  virtual void Begin(bool forWriting) = 0;
  /// Makes the transaction's writes durable. After Busy the transaction is still open, and Commit can be
  /// tried again. After another failure (Full, Unavailable, no memory) it may be open or the storage may have
  /// undone it by itself (see IsInTransaction): then a second Commit raises Unavailable. When the system
  /// reports an error of the last step only, the writes may be durable all the same; the next transaction
  /// shows it.
  virtual void Commit() = 0;
  /// Undoes the transaction's writes. Does nothing without transaction. What cannot be undone at once, for
  /// want of memory, is undone before the next operation; until that succeeds, each raises Unavailable.
  virtual void Rollback() noexcept = 0;
  /// Whether a transaction is open. After some failures (no room, input or output error) the storage has
  /// undone it by itself; and one that is rolled back is open no more, even if it is not undone yet.
  [[nodiscard]] virtual bool IsInTransaction() const noexcept = 0;

  /// Sets a mark in the write transaction, to which RollbackToMark goes back; marks do not nest.
  virtual void SetMark() = 0;
  virtual void ReleaseMark() = 0;
  virtual void RollbackToMark() = 0;

  /// A number that differs when another session has committed since.
  virtual std::int64_t ChangeCounter() = 0;

  /// The next free object id.
  virtual std::int64_t NextObjectId() = 0;
  virtual void SetNextObjectId(std::int64_t id) = 0;

  virtual std::vector<sto_ClassRow> Classes() = 0;
  /// Writes the description of a class, replacing one that is there.
  virtual void WriteClass(sto_ClassRow const& row) = 0;
  virtual std::vector<sto_NameRow> Names() = 0;
  virtual void AddName(sto_NameRow const& row) = 0;

  /// Reads an object's class and record; false when there is none. `record` is replaced.
  virtual bool ReadObject(std::int64_t id, unsigned int& classId, sto_Bytes& record) = 0;
  virtual bool HasObject(std::int64_t id) = 0;
  /// Writes an object, replacing one that is there.
  virtual void WriteObject(std::int64_t id, unsigned int classId, sto_ByteView record) = 0;
  /// Deletes an object that is there.
  virtual void DeleteObject(std::int64_t id) = 0;
  /// The ids from `first` to `last`, both included, that have objects; in ascending order.
  [[nodiscard]] virtual std::vector<std::int64_t> ObjectIds(std::int64_t first, std::int64_t last) = 0;
  [[nodiscard]] virtual std::int64_t ObjectCount() = 0;

  /// Reads a block; false when there is none. `data` is replaced.
  virtual bool ReadBlock(std::int64_t key, sto_Bytes& data) = 0;
  /// Reads a block of a known size, its last bytes to `end` and those before to `data`. False when there is
  /// none, or one of another size.
  virtual bool ReadBlockInto(std::int64_t key, std::span<std::byte> data, std::span<std::byte> end) = 0;
  /// Hands the blocks with keys from `first` to `last`, both included, to `sink`, in ascending order, in one
  /// pass.
  virtual void ReadBlocks(std::int64_t first, std::int64_t last, sto_BlockSink& sink) = 0;
  virtual bool HasBlock(std::int64_t key) = 0;
  virtual void WriteBlock(std::int64_t key, sto_ByteView data) = 0;
  /// Writes blocks with keys from `first` on, in one pass.
  virtual void WriteBlocks(std::int64_t first, std::span<sto_Bytes const> blocks) = 0;
  /// The same for one block that is there: only what changes is written where the storage can.
  virtual void OverwriteBlock(std::int64_t key, sto_ByteView data) = 0;
  /// Deletes the blocks with keys from `first` to `last`, both included.
  virtual void DeleteBlocks(std::int64_t first, std::int64_t last) = 0;

  /// The object under a root name.
  virtual std::optional<std::int64_t> FindRoot(std::string_view name) = 0;
  /// Names an object, replacing one that had the name.
  virtual void SetRoot(std::string_view name, std::int64_t id) = 0;
  /// Takes a name away; false when there is none.
  virtual bool RemoveRoot(std::string_view name) = 0;
  /// Gives what has name `from` the name `to`, which nothing has; false when nothing has `from`.
  virtual bool RenameRoot(std::string_view from, std::string_view to) = 0;
  /// All root names in ascending order of their bytes.
  virtual std::vector<std::string> Roots() = 0;

  /// The store's size on its medium, in bytes.
  [[nodiscard]] virtual std::int64_t SizeBytes() = 0;

  /// Makes a store of the same kind elsewhere, with the state that the open transaction, which only reads,
  /// sees. All or nothing, durable when it returns. Conflict when something is there.
  virtual void CopyTo(std::string const& location) = 0;
};
