#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "store/format/sto_Codec.h"
#include "store/sqlite/sto_SqliteConnection.h"

/// The objects of a store in SQLite.
///
/// SQLite's price is by the row, so records of at most MaxPackedBytes share rows: a row of table pack holds
/// those of the IdsInPack object ids with the same quotient. A longer record is a row of table object. The
/// packs in use are kept decoded; changed ones are written when others need their slot, at marks, and before
/// the commit.
///
/// Invariant: an object stands in one of the two tables only.
///
/// Every operation needs an open transaction. Thread rule: one thread.
class sto_SqliteObjects {
 public:
  static constexpr int IdsInPack = 64;
  static constexpr std::size_t MaxPackedBytes = 1024;

  explicit sto_SqliteObjects(sto_SqliteConnection& connection);

  /// A transaction begins. `hasPacks`: the store has table pack.
  void Begin(bool hasPacks) noexcept;
  /// Ids from this one on are new in the transaction.
  void SetFirstNewId(std::int64_t id) noexcept { m_FirstNewId = id; }
  /// Writes the changed packs.
  void Flush();
  /// Forgets what is not in the tables.
  void Drop() noexcept;

  [[nodiscard]] bool Read(std::int64_t id, unsigned int& classId, sto_Bytes& record);
  [[nodiscard]] bool Has(std::int64_t id);
  void Write(std::int64_t id, unsigned int classId, sto_ByteView record);
  void Delete(std::int64_t id);
  /// The ids from `first` to `last` that have objects, ascending. Changed packs are written first.
  [[nodiscard]] std::vector<std::int64_t> Ids(std::int64_t first, std::int64_t last);
  /// How many objects there are. Changed packs are written first.
  [[nodiscard]] std::int64_t Count();
  /// The greatest id of an object that is stored, 0 for none. Asked before anything is written.
  [[nodiscard]] std::int64_t GreatestId();

 private:
  struct Entry {
    std::uint32_t m_Offset = 0;
    std::uint32_t m_SizeBytes = 0; // 0: not here
    unsigned int m_ClassId = 0;
  };
  struct Pack {
    std::int64_t m_Key = -1; // -1: a free slot
    std::uint64_t m_LastUse = 0;
    bool m_IsChanged = false;
    bool m_IsNew = false; // made in this transaction and here ever since: it knows where its objects stand
    std::uint64_t m_InOwnRow = 0; // the ids whose objects are known to have a row of their own, one bit each
    sto_Bytes m_Content;          // the records, replaced ones included
    std::array<Entry, IdsInPack> m_Entries{};
  };

  /// The pack with a key, read when it is not in use; empty when it is not stored.
  [[nodiscard]] Pack& Find(std::int64_t key);
  /// Reads the row with a key to an empty pack; it stays empty when there is none. Damaged.
  void Load(Pack& pack, std::int64_t key);
  void Store(Pack& pack);
  void EncodeRow(Pack const& pack, std::uint64_t present);
  /// Lets go of replaced records.
  static void Compact(Pack& pack);
  /// The greatest key of table pack, those counted that this transaction makes.
  [[nodiscard]] std::int64_t LastStoredKey();
  [[noreturn]] void RaiseDamaged(std::int64_t key) const;
  [[nodiscard]] sto_SqliteStatement& Prepared(std::optional<sto_SqliteStatement>& statement, char const* sql);

  sto_SqliteConnection& m_Connection;
  sto_SqliteStatement m_ReadRow, m_HasRow, m_WriteRow, m_DeleteRow, m_GreatestRow;
  // These need table pack, which a store of an older format has not.
  std::optional<sto_SqliteStatement> m_ReadPack, m_WritePack, m_DeletePack, m_LastPack;

  bool m_HasPacks = false;
  std::int64_t m_FirstNewId = 0;
  std::int64_t m_LastStoredKey = -2; // of table pack when the transaction began; -2: nobody has asked
  std::uint64_t m_Clock = 0;
  Pack* m_Latest = nullptr;
  std::array<Pack, 8> m_Packs;
  sto_Bytes m_Row; // of a pack that is written
};
