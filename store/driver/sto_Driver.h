#pragma once

#include <compare>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "store/base/sto_Meter.h"
#include "store/base/sto_SaveEntry.h"
#include "store/base/sto_StoreInfo.h"
#include "store/format/sto_ChangeList.h"
#include "store/format/sto_Codec.h"
#include "store/format/sto_StoredRecord.h"

/// One attribute in the description of a class.
struct sto_AttributeRow {
  std::string m_Name;
  int m_FieldId;
  int m_Type; // cls_AttributeType
  unsigned int m_TypeArg;
  int m_CollectionType; // cls_CollectionType
  std::string m_Unit{}; // empty: nothing is known
  std::optional<std::string> m_Default{};

  /// Whether two rows declare an attribute alike; what may be added later is not compared.
  [[nodiscard]] bool IsDeclaredAs(sto_AttributeRow const& other) const {
    return m_Name == other.m_Name && m_FieldId == other.m_FieldId && m_Type == other.m_Type &&
           m_TypeArg == other.m_TypeArg && m_CollectionType == other.m_CollectionType;
  }
};

/// One version of a class that has written to a store.
struct sto_ClassRow {
  unsigned int m_ClassId;
  int m_Version;
  std::string m_Name;
  unsigned int m_BaseClassId;
  std::vector<sto_AttributeRow> m_Attributes; // ascending by the names' bytes
};

/// A class version, or an attribute of it, about which a program says something.
struct sto_OnAttribute {
  unsigned int m_ClassId;
  int m_Version;
  std::string m_Attribute; ///< empty: the class itself

  friend bool operator==(sto_OnAttribute const& a, sto_OnAttribute const& b) = default;
  friend bool operator<(sto_OnAttribute const& a, sto_OnAttribute const& b) noexcept {
    return std::tie(a.m_ClassId, a.m_Version, a.m_Attribute) <
           std::tie(b.m_ClassId, b.m_Version, b.m_Attribute);
  }
};

/// A name for a value of an attribute.
struct sto_EnumeratorRow {
  sto_OnAttribute m_On;
  std::string m_Name;
  std::int64_t m_Value;
};

/// A note on a class version or an attribute.
struct sto_NoteRow {
  sto_OnAttribute m_On;
  std::string m_Name;
  std::string m_Text;
};

/// One attribute name of a store's dictionary; records refer to it by number, from 1.
struct sto_NameRow {
  std::int64_t m_Id;
  std::string m_Text;
};

/// One shape of records; records refer to it by number, from 1.
struct sto_ShapeRow {
  std::int64_t m_Id;
  sto_Bytes m_Data; ///< the encoded sto_Shape
};

/// One root.
struct sto_RootRow {
  std::string m_Name;
  std::int64_t m_Id;          ///< of its object
  unsigned int m_ClassId = 0; ///< the object's class; 0 in a store of an older format
};

/// An index: which objects have which value of an attribute of a class. It has an entry for each object with a part of
/// this class that has the attribute: its key (sto_IndexKey.h) and the object's id.
struct sto_IndexRow {
  std::int64_t m_Number; ///< from 1
  unsigned int m_ClassId;
  /// The attribute's names: the one that it has today, then those that it had in earlier versions of the class, the
  /// latest first. Of an object the first of them counts that its part has.
  std::vector<std::string> m_Names;
};

/// An entry of an index.
struct sto_IndexEntry {
  std::string m_Key;
  std::int64_t m_Id;

  friend bool operator==(sto_IndexEntry const& a, sto_IndexEntry const& b) = default;
};

/// Entries of an index, in ascending order of their keys' bytes, and then of their ids.
struct sto_IndexRange {
  std::int64_t m_Index;                      ///< its number
  sto_IndexEntry m_After;                    ///< entries after this one, which need not be there
  std::optional<std::string> m_LastKey = {}; ///< with keys up to this one, which is included; empty: any
};

/// An object without its record.
struct sto_ObjectShape {
  std::int64_t m_Id;
  std::int64_t m_Shape;     ///< as in sto_StoredRecord
  unsigned int m_ClassId{}; ///< as in sto_StoredRecord
};

/// Keys from one to another, both included.
struct sto_KeyRange {
  std::int64_t m_First;
  std::int64_t m_Last;
};

/// Ids from one to before another.
struct sto_IdRange {
  std::int64_t m_First;
  std::int64_t m_End;
};

/// What a session asks for when it begins a transaction: all of it is one request to the storage.
struct sto_BeginRequest {
  bool m_ForWriting = false;
  std::optional<std::string_view> m_Root = {}; ///< a root to search
};

/// What the storage answers.
struct sto_Begun {
  /// Changes whenever another session commits.
  std::int64_t m_ChangeCounter = 0;
  /// Every id that a committed object has, or had, is smaller.
  std::int64_t m_EndOfIds = 1;
  /// The object under the requested root name; empty if none was requested or there is no such root.
  std::optional<std::int64_t> m_Root = {};
  /// Whether the store has any indexes.
  bool m_HasIndexes = false;
};

class sto_StorageVisitor;
class sto_StorageWalk;

/// Receives the records of objects while a driver reads them.
class sto_ObjectSink {
 public:
  virtual ~sto_ObjectSink() = default;
  /// `record` is the sink's to change, and valid during the call.
  virtual void Take(std::int64_t id, sto_StoredRecord& record) = 0;
};

/// Receives blocks while a driver reads them.
class sto_BlockSink {
 public:
  virtual ~sto_BlockSink() = default;
  /// `data` is valid during the call. Return false to end the reading.
  virtual bool Take(std::int64_t key, sto_ByteView data) = 0;
};

/// What a kind of storage implements: tables of opaque values under integer keys, and transactions. What the
/// values mean is decided above this interface, once for all kinds of storage.
///
/// Requests: a storage may be a file, or a server behind a network. There each operation that returns something
/// is a round trip, so a session asks for many things in one call where it can: Begin, ReadObjects, ReadBlocks.
/// Operations that only write need no answer; a driver may send them together with the commit, or before the next
/// operation that reads what they change.
///
/// REQUIRES, unless an operation says otherwise: an open transaction; for operations that write, an open
/// write transaction. Errors: a sto_Exception of the kind that fits. After one, the transaction can only be
/// rolled back. Thread rule: one thread.
class sto_Driver {
 public:
  sto_Driver() = default;
  sto_Driver(sto_Driver const&) = delete;
  sto_Driver& operator=(sto_Driver const&) = delete;
  virtual ~sto_Driver() = default;

  [[nodiscard]] virtual bool IsReadOnly() const noexcept = 0;

  /// How many records ReadObjects should get at once when a session knows which objects it will read: the
  /// window of a load that reads ahead. 0 if a single ReadObject costs no more than one record of many, as in a
  /// local file; then nothing is read ahead. Constant.
  [[nodiscard]] virtual std::size_t RecordsAhead() const noexcept { return 0; }
  /// The window for a storage behind a network. Records have about a hundred bytes, so this many take about as
  /// long to send as a round trip within one building takes at 1 Gbit/s: a larger window would hardly save time,
  /// and the first object would come later.
  static constexpr std::size_t NetworkRecords = 1024;

  /// Opens a transaction that sees a fixed state of the store. One that may also write waits for other
  /// writers; Busy when that takes too long. REQUIRES: no open transaction.
  virtual sto_Begun Begin(sto_BeginRequest const& request) = 0;
  /// Makes the transaction's writes durable. After Busy the transaction is still open, and Commit can be
  /// tried again. After another failure (Full, Unavailable, no memory) it is open, or the storage has undone
  /// it (see IsInTransaction); then a second Commit raises Unavailable. If the system fails in the very last
  /// step, the writes may be durable nevertheless; the next transaction shows whether they are.
  ///
  /// A driver whose sessions write beside each other raises Conflict if another session has committed a change of
  /// the same objects or roots since this transaction began, with their names (sto_Exception::Conflicts). Then the
  /// transaction can only be rolled back: a second Commit raises the same. If the write transaction excludes all
  /// others, as in SQLite, that does not happen: a session sees what it waited for when it begins.
  virtual void Commit() = 0;
  /// Undoes the transaction's writes; does nothing without a transaction. If memory is too short to undo them
  /// now, each later operation tries first, and raises Unavailable until that succeeds.
  virtual void Rollback() noexcept = 0;
  /// Whether a transaction is open. After some failures (no room, input or output error) the storage has
  /// undone it. A transaction that was rolled back is not open, even if its writes are not undone yet.
  [[nodiscard]] virtual bool IsInTransaction() const noexcept = 0;

  /// Sets a mark in the write transaction. RollbackToMark undoes what was written since and takes the mark
  /// away; ReleaseMark only takes it away. Marks do not nest. They are the client's affair: a driver for a server
  /// keeps what is written after a mark in memory and drops it when it goes back. It needs no savepoint there, and
  /// no answer.
  virtual void SetMark() = 0;
  virtual void ReleaseMark() = 0;
  virtual void RollbackToMark() = 0;

  /// Sets the note in the log's entry of the open write transaction, replacing an earlier one.
  virtual void SetNote(std::string_view note) = 0;
  /// The entries of the log from a number on, ascending; none in a store without a log.
  virtual std::vector<sto_SaveEntry> Saves(std::int64_t first) = 0;

  /// The entry of the newest save that changed a root: its name, or the record or the blocks of its object `id`, or
  /// made the object. Empty if the open transaction has changed it, and in a store without a log.
  virtual std::optional<sto_SaveEntry> LastChange(std::string_view root, std::int64_t id) = 0;

  /// The number of the newest save that the latest transaction has seen or made; 0 in a store without a log.
  /// Needs no transaction.
  [[nodiscard]] virtual std::int64_t NewestSave() const noexcept = 0;
  /// What the saves after number `save` have changed of what was there before them. Empty if that is not known,
  /// because the log does not have all these saves: then anything may have changed.
  virtual std::optional<sto_ChangeList> ChangedSince(std::int64_t save) = 0;

  /// What Begin answers as sto_Begun::m_ChangeCounter. Needs no transaction.
  virtual std::int64_t ChangeCounter() = 0;

  /// Hands out ids for new objects in the open write transaction: a range that no other session gets, of about
  /// `count` ids; empty if there are none left. The ranges of one transaction ascend.
  ///
  /// If sessions write beside each other, the driver hands out whole packs (sto_Format::IdsInPack), so that no two
  /// sessions share one, and ids of other sessions may lie between its ranges. If the write transaction excludes
  /// all others, it hands out everything from the next free id on, and `count` does not matter.
  virtual sto_IdRange TakeIds(std::int64_t count) = 0;
  /// The transaction has given out the ids of its ranges before `end`. What it does not use, or a rollback undoes,
  /// the driver may hand out again; after a commit whose outcome is not known, it may not. Call before Commit if
  /// ids were used.
  virtual void SetIdsUsed(std::int64_t end) = 0;

  virtual std::vector<sto_ClassRow> Classes() = 0;
  /// Writes the description of a class version, replacing an existing one.
  virtual void WriteClass(sto_ClassRow const& row) = 0;
  virtual std::vector<sto_EnumeratorRow> Enumerators() = 0;
  /// REQUIRES: the attribute has no enumerator of this name.
  virtual void AddEnumerator(sto_EnumeratorRow const& row) = 0;
  virtual std::vector<sto_NoteRow> Notes() = 0;
  /// Writes a note, replacing one of the same name.
  virtual void WriteNote(sto_NoteRow const& row) = 0;

  virtual std::vector<sto_NameRow> Names() = 0;
  virtual void AddName(sto_NameRow const& row) = 0;

  virtual std::vector<sto_ShapeRow> Shapes() = 0;
  virtual void AddShape(sto_ShapeRow const& row) = 0;

  /// Reads an object's record; false when there is none. `record` is replaced.
  virtual bool ReadObject(std::int64_t id, sto_StoredRecord& record) = 0;
  /// Reads the records of many objects in one request and passes them to `sink`, in any order. Objects that do
  /// not exist are not passed. `ids`: ascending, each once.
  virtual void ReadObjects(std::span<std::int64_t const> ids, sto_ObjectSink& sink) = 0;
  virtual bool HasObject(std::int64_t id) = 0;
  /// Writes an object, replacing an existing one. `shape`: the number of its shape, sto_Format::OwnShape if
  /// the values begin with it. Returns false, and need not write anything, if the object was stored with the
  /// same shape and values before.
  virtual bool WriteObject(std::int64_t id, std::int64_t shape, sto_ByteView values) = 0;
  /// Deletes an object. REQUIRES: the object exists.
  virtual void DeleteObject(std::int64_t id) = 0;
  /// The ids of the objects from `first` to `last`, both included, in ascending order.
  [[nodiscard]] virtual std::vector<std::int64_t> ObjectIds(std::int64_t first, std::int64_t last) = 0;
  [[nodiscard]] virtual std::int64_t ObjectCount() = 0;
  /// Appends the next objects from id `first` on in ascending order: as many as the storage hands out at once. Returns
  /// where to go on; 0 when there are no more. Whoever then reads the records of these objects, before it asks for the
  /// next ones, gets them without reading anything of the storage twice.
  virtual std::int64_t ObjectsFrom(std::int64_t first, std::vector<sto_ObjectShape>& objects) = 0;

  // --- indexes. The session keeps them: each write of an object is followed by the changes of its entries. A driver
  // only stores the entries, in the order of their keys' bytes.

  /// The store's indexes, ascending by number. Damaged.
  virtual std::vector<sto_IndexRow> Indexes() = 0;
  /// Adds an index without entries. The first one makes programs that know no indexes read the store only. REQUIRES: no
  /// index has the number; no mark is set.
  virtual void AddIndex(sto_IndexRow const& row) = 0;
  /// Removes an index with its entries. REQUIRES: there is one; no mark is set.
  virtual void DropIndex(std::int64_t number) = 0;
  /// Adds an entry; does nothing if it is there already.
  virtual void AddToIndex(std::int64_t number, sto_IndexEntry const& entry) = 0;
  /// Removes an entry; does nothing if it is not there.
  virtual void RemoveFromIndex(std::int64_t number, sto_IndexEntry const& entry) = 0;
  /// Removes all entries of an object, whatever their keys are. May read all entries: for objects whose record cannot
  /// be read.
  virtual void RemoveFromIndexes(std::int64_t id) = 0;
  /// Appends the first entries of a range, at most `limit`, to `found`. Returns whether there may be more. Damaged if
  /// the entries in the range, or those that bound it, are damaged.
  virtual bool FindInIndex(sto_IndexRange const& range, std::size_t limit,
                           std::vector<sto_IndexEntry>& found) = 0;

  /// Reads a block; false when there is none. `data` is replaced.
  virtual bool ReadBlock(std::int64_t key, sto_Bytes& data) = 0;
  /// Reads a block of a known size: its last bytes to `end`, those before to `data`. False when there is
  /// none, or it has another size.
  virtual bool ReadBlockInto(std::int64_t key, std::span<std::byte> data, std::span<std::byte> end) = 0;
  /// Reads the blocks with keys in many ranges in one request and passes them to `sink`, in ascending order.
  /// `ranges`: ascending, without common keys.
  virtual void ReadBlocks(std::span<sto_KeyRange const> ranges, sto_BlockSink& sink) = 0;
  /// Whether all blocks with keys from `first` to `last`, both included, exist.
  virtual bool HasBlocks(std::int64_t first, std::int64_t last) = 0;
  /// Writes a block, replacing an existing one.
  virtual void WriteBlock(std::int64_t key, sto_ByteView data) = 0;
  /// Writes blocks with the keys `first`, `first` + 1 and so on, in one pass.
  virtual void WriteBlocks(std::int64_t first, std::span<sto_Bytes const> blocks) = 0;
  /// Replaces an existing block. Where the storage can, it writes only what changes. REQUIRES: the block
  /// exists.
  virtual void OverwriteBlock(std::int64_t key, sto_ByteView data) = 0;
  /// Deletes the blocks with keys from `first` to `last`, both included.
  virtual void DeleteBlocks(std::int64_t first, std::int64_t last) = 0;

  /// The object under a root name.
  virtual std::optional<std::int64_t> FindRoot(std::string_view name) = 0;
  /// Gives an object a root name, replacing the object that had it. `classId`: the object's class.
  virtual void SetRoot(std::string_view name, std::int64_t id, unsigned int classId) = 0;
  /// Removes a root name; false when there is none.
  virtual bool RemoveRoot(std::string_view name) = 0;
  /// Renames a root; false when there is no root `from`. REQUIRES: there is no root `to`.
  virtual bool RenameRoot(std::string_view from, std::string_view to) = 0;
  /// All roots in ascending order of their names' bytes.
  virtual std::vector<sto_RootRow> Roots() = 0;
  /// Those whose names begin with `prefix`, in the same order. Reads no others, except neighbours.
  virtual std::vector<sto_RootRow> RootsFrom(std::string_view prefix) = 0;

  /// The store's size on its medium, in bytes.
  [[nodiscard]] virtual std::int64_t SizeBytes() = 0;
  /// What the store says about itself. Reads no object and no block.
  [[nodiscard]] virtual sto_StoreInfo Info() = 0;

  /// Copies the store, as the open transaction sees it, to a new store, in a file or on a server. All or nothing, and
  /// durable when it returns. Conflict when something exists at `location`. `meter`: counts all of the work; null: nobody asks. REQUIRES: a transaction that only
  /// reads.
  virtual void CopyTo(std::string const& location, sto_Meter* meter) = 0;

  /// As Begin for reading, but also if the log of saves is damaged. Only a walk may then be made.
  virtual void BeginWalk() = 0;
  /// A walk over everything that the storage holds; see sto_StorageWalk.h. In a write transaction it first
  /// writes what is in memory. `visitor` must outlive the walk. REQUIRES: no mark is set.
  virtual std::unique_ptr<sto_StorageWalk> NewWalk(sto_StorageVisitor& visitor) = 0;

  /// Gives unused room back and puts the rows in order; see sto_Store::Compact. `meter`: as in CopyTo. REQUIRES: no
  /// open transaction.
  virtual void Compact(sto_Meter* meter) = 0;
};
