#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "store/driver/sto_Driver.h"
#include "store/format/sto_PackCodec.h"
#include "store/format/sto_StoredRecord.h"
#include "store/sqlite/sto_SqliteChanges.h"
#include "store/sqlite/sto_SqliteConnection.h"
#include "store/sqlite/sto_SqliteMark.h"

/// The objects of a store in SQLite.
///
/// SQLite's cost is by the row, so short records share rows: a row of table pack holds the records of
/// sto_Format::IdsInPack consecutive object ids. A longer record is a row of table object. The packs in use
/// are kept decoded; a changed one is written when another pack needs its slot, and before the commit.
///
/// While a mark is in memory (see sto_SqliteMark), each change of a pack is noted and can be undone there.
///
/// Invariant: an object is in one of the two tables only.
///
/// REQUIRES, for every operation: an open transaction. Thread rule: one thread.
class sto_SqliteObjects {
 public:
  /// REQUIRES: the arguments live as long as this object; `mark` may be constructed after it.
  sto_SqliteObjects(sto_SqliteConnection& connection, sto_SqliteMark& mark, sto_SqliteChanges& changes);

  /// Call when a transaction begins. What it writes gets the number `save`.
  void Begin(bool forWriting, std::int64_t save) noexcept;
  /// Call after Begin: ids from `id` on are new in the transaction.
  void SetFirstNewId(std::int64_t id) noexcept { m_FirstNewId = id; }
  /// Writes the changed packs.
  void Flush();
  /// Forgets all packs, and with them the changes that were not written.
  void Drop() noexcept;
  /// Call before a transaction that only reads ends: ends the walk over neighbouring packs.
  void EndScan() noexcept { m_Scan.reset(); }

  /// Sets the mark.
  void SetMark() noexcept;
  /// Undoes the changes since the mark. REQUIRES: the mark is in memory still. Allocates nothing.
  void GoBackToMark() noexcept;
  /// Writes the packs that were changed before the mark as they were then; the later changes stay in memory.
  /// REQUIRES: the mark is in memory still.
  void WriteStateAtMark();

  [[nodiscard]] bool Read(std::int64_t id, sto_StoredRecord& record);
  [[nodiscard]] bool Has(std::int64_t id);
  /// Returns false if the object is stored with this shape and these values already; then nothing changes.
  bool Write(std::int64_t id, std::int64_t shape, sto_ByteView values);
  void Delete(std::int64_t id);
  /// The ids of the objects from `first` to `last`, both included, ascending. Writes the changed packs first.
  [[nodiscard]] std::vector<std::int64_t> Ids(std::int64_t first, std::int64_t last);
  /// Appends the next objects from `first` on, ascending: those of as many packs as stay decoded for whoever reads the
  /// records next. Returns where to go on; 0 when there are no more. Writes the changed packs first. Damaged.
  [[nodiscard]] std::int64_t From(std::int64_t first, std::vector<sto_ObjectShape>& objects);
  /// How many objects there are. Writes the changed packs first.
  [[nodiscard]] std::int64_t Count();
  /// The greatest id of a stored object, 0 if there is none.
  /// REQUIRES: the transaction has not written anything yet.
  [[nodiscard]] std::int64_t GreatestId();

 private:
  using Entry = sto_PackEntry;
  struct Pack {
    std::int64_t m_Key = -1; // -1: not in use
    std::uint64_t m_LastUse = 0;
    bool m_IsChanged = false;
    bool m_IsNew = false; // made in this transaction and kept since: it knows in which table each object is
    std::uint32_t m_InOwnRow = 0;  // one bit for each object that is known to be in table object
    std::uint32_t m_Checked = 0;   // one bit for each record whose checksum is known to fit
    std::uint64_t m_ChangedAt = 0; // the number of the mark after which it was changed last
    bool m_WasChanged = false;     // m_IsChanged at that mark
    sto_Bytes m_Content;           // the records, including replaced ones until Compact
    sto_PackEntries m_Entries{};
  };

  /// A change since the mark.
  struct Noted {
    std::int64_t m_Key; // of the pack
    std::size_t m_Slot;
    Entry m_Before;
  };

  /// A pack in use is in the set of its key, so that a few comparisons find it. A graph leads to and fro between packs,
  /// and decoding one costs as much as loading a dozen objects.
  static constexpr std::size_t PackSets = 16;
  static constexpr std::size_t PacksInSet = 4;
  [[nodiscard]] std::span<Pack, PacksInSet> SetOf(std::int64_t key) noexcept {
    std::size_t const set = static_cast<std::size_t>(key) % PackSets;
    return std::span<Pack, PacksInSet>(m_Packs.data() + set * PacksInSet, PacksInSet);
  }
  /// The pack with a key, read if it is not in use; empty if it is not stored. Valid until the next Find.
  [[nodiscard]] Pack& Find(std::int64_t key);
  /// Reads a row to an empty pack; the pack stays empty when there is no row. Damaged.
  void Load(Pack& pack, std::int64_t key);
  void Take(Pack& pack, std::int64_t key, sto_ByteView row) const;
  /// Tries to get a row from the walk over neighbouring packs; starts one if the previous pack was read last.
  [[nodiscard]] bool TakeFromScan(Pack& pack, std::int64_t key);
  /// Whether the pack was changed since the mark, which is in memory.
  [[nodiscard]] bool IsChangedSinceMark(Pack const& pack) const noexcept;
  /// Replaces an entry, so that going back to the mark can undo it. `hash`: of the new values.
  void Replace(Pack& pack, std::size_t slot, Entry const& entry, std::uint64_t hash);
  /// The values of a record, without its checksum.
  [[nodiscard]] static sto_ByteView ValuesOf(Pack const& pack, Entry const& entry) noexcept;
  /// Removes an object's row in table object from the sum over the store; false if there is none.
  bool RemoveRowFromSum(std::int64_t id);
  /// Exchanges each noted entry with that of its pack: `reverse` goes back to the mark, the other way comes
  /// forward again.
  void Exchange(bool reverse) noexcept;
  /// Appends the first objects from `first` on, and before `end`, that have rows in table object. Returns the end of the
  /// ids that it has looked at.
  [[nodiscard]] std::int64_t RowsFrom(std::int64_t first, std::int64_t end,
                                      std::vector<sto_ObjectShape>& objects);
  /// Whether table object has any rows.
  [[nodiscard]] bool AnyRows();
  /// Deletes the object's row in table object, if there is one.
  void DropRow(std::int64_t id);
  /// Writes a pack. A savepoint is opened first if the pack has changes that the mark would undo.
  void Store(Pack& pack);
  void WritePack(Pack& pack);
  /// Reads an object's row in table object; false if it has none.
  [[nodiscard]] bool ReadRow(std::int64_t id, sto_StoredRecord& record);
  /// Writes it; false if it is the same already.
  bool WriteRow(std::int64_t id, std::int64_t shape, sto_ByteView values);
  /// Drops replaced records.
  void Compact(Pack& pack);
  /// The greatest key of table pack, including the packs that this transaction makes.
  [[nodiscard]] std::int64_t LastStoredKey();
  [[noreturn]] void RaiseDamaged(std::int64_t key) const;

  sto_SqliteConnection& m_Connection;
  sto_SqliteMark& m_Mark;
  sto_SqliteChanges& m_Noted;
  sto_SqliteStatement m_ReadRow, m_HasRow, m_WriteRow, m_DeleteRow, m_GreatestRow, m_AnyRow;
  sto_SqliteStatement m_ReadPack, m_WritePack, m_DeletePack, m_LastPack, m_ScanPacks, m_NextPacks, m_NextRows;

  // Of the open transaction; Begin and SetFirstNewId set them.
  bool m_MayScan = false; // it only reads
  std::int64_t m_Save = 0;
  std::int64_t m_FirstNewId = 0;
  std::int64_t m_LastStoredKey = -2;              // see LastStoredKey; -2: not asked yet
  std::optional<bool> m_AnyRows;                  // see AnyRows; empty: not asked yet
  std::optional<sto_SqliteStatement::Use> m_Scan; // a walk over neighbouring packs; Load starts and ends it
  std::int64_t m_LastLoaded = -2;                 // the key of the pack that was read last
  // The packs in use; Find chooses and changes them.
  std::uint64_t m_Clock = 0;
  Pack* m_Latest = nullptr;                        // the one that Find returned last
  std::array<Pack, PackSets * PacksInSet> m_Packs; // a set lies together
  sto_Bytes m_Row;                                 // scratch: a row that is being written
  sto_StoredRecord m_Stored;                       // scratch: a row that is being replaced
  std::uint64_t m_MarkNumber = 1;                  // counted up by SetMark
  std::vector<Noted> m_Changes; // since the mark, while it is in memory; Replace adds, SetMark clears
};
