#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <unordered_map>
#include <vector>

#include "store/driver/sto_Driver.h"
#include "store/format/sto_ContentSum.h"
#include "store/format/sto_PackCodec.h"
#include "store/format/sto_StoredRecord.h"
#include "store/server/sto_PendingRows.h"
#include "store/server/sto_ServerLink.h"

/// The objects of a store on a server, as a transaction sees and changes them. Short records share a row:
///
///     pack row := own:4 checksum:4 [pack]       bit i of `own`: the i-th object has a row of its own; the checksum is
///                                               that of `own`, seeded with the pack's number; pack: sto_PackCodec.h
///     record row := draft:varint shape:varint values checksum:8
///
/// What is changed stays in memory until the commit.
///
/// REQUIRES, for every operation: a view. Errors: those of the link; Damaged. Thread rule: one thread.
class sto_ServerObjects {
 public:
  explicit sto_ServerObjects(sto_ServerLink& link) : m_Link(link) {}

  /// Call when a transaction begins. `view` lives as long as the transaction.
  void Begin(sto_ServerView const& view) noexcept;
  /// Forgets everything.
  void Drop() noexcept;
  /// No other session uses the ids of a range, and none is stored.
  void AddNewIds(sto_IdRange const& range) { m_NewIds.push_back(range); }
  [[nodiscard]] bool IsNew(std::int64_t id) const noexcept;

  void SetMark() noexcept;
  void ReleaseMark() noexcept;
  void GoBackToMark() noexcept;

  [[nodiscard]] bool Read(std::int64_t id, sto_StoredRecord& record);
  /// Reads the packs of many objects at once, so that reading these asks the server no more, except for records with
  /// rows of their own.
  void Fetch(std::span<std::int64_t const> ids);
  [[nodiscard]] bool Has(std::int64_t id);
  bool Write(std::int64_t id, std::int64_t shape, sto_ByteView values);
  void Delete(std::int64_t id);
  [[nodiscard]] std::vector<std::int64_t> Ids(std::int64_t first, std::int64_t last);
  [[nodiscard]] std::int64_t From(std::int64_t first, std::vector<sto_ObjectShape>& objects);
  [[nodiscard]] std::int64_t Count();
  /// Whether the transaction has changed or made an object.
  [[nodiscard]] bool HasChanged(std::int64_t id);

  /// What a commit sends.
  struct Changes {
    std::vector<std::int64_t> m_Packs;   ///< those that differ from what the server has
    std::vector<std::int64_t> m_Objects; ///< the objects that were changed or deleted, without new ones
    sto_ContentSum m_Added, m_Removed;
  };
  [[nodiscard]] Changes FindChanges();
  /// Calls `send` with the rows of the changes: packs, and records with rows of their own.
  void ForEachRow(std::vector<std::int64_t> const& packs, std::int64_t draft,
                  std::function<void(sto_NumberedChange const&)> const& send);
  /// Other transactions have changed packs since the view: takes over what they did to objects that this one has not
  /// changed. Returns the objects that both have changed.
  [[nodiscard]] std::vector<std::int64_t> Merge(std::span<std::int64_t const> packs,
                                                sto_ServerView const& newest);

 private:
  struct Pack {
    std::uint32_t m_OwnBase = 0, m_Own = 0; // objects with rows of their own: on the server, and now
    bool m_IsChanged = false;
    sto_PackEntries m_Base{}, m_Now{};
    sto_Bytes m_Content; // the records of both
  };
  /// A change since the mark.
  struct Noted {
    Pack* m_Pack;
    std::size_t m_Slot;
    sto_PackEntry m_Entry;
    std::uint32_t m_Own;
  };
  class Sink;

  /// So many packs that are not changed stay in memory, or as many as are changed.
  static constexpr std::size_t MaxPacks = 16384;

  [[nodiscard]] bool IsWhollyNew(std::int64_t key) const noexcept;
  [[nodiscard]] Pack& Find(std::int64_t key);
  /// Reads packs that are not in memory. `keys`: ascending.
  void Load(std::span<std::int64_t const> keys);
  void Take(Pack& pack, std::int64_t key, sto_ByteView row) const;
  void MakeRoom();
  void Note(Pack& pack, std::size_t slot);
  void Replace(Pack& pack, std::size_t slot, sto_PackEntry const& entry, bool isOwn);
  [[nodiscard]] bool ReadOwn(std::int64_t id, sto_StoredRecord& record);
  [[nodiscard]] static bool ReadServerRow(sto_ServerLink& link, sto_ServerView const& view, std::int64_t id,
                                          sto_StoredRecord& record);
  bool WriteOwn(Pack& pack, std::int64_t id, std::int64_t shape, sto_ByteView values);
  /// Of records with rows of their own: those that others have changed since the view.
  [[nodiscard]] std::vector<std::int64_t> ChangedOwn(std::span<std::int64_t const> ids,
                                                     sto_ServerView const& newest);
  /// Whether an object of a pack is another than on the server.
  [[nodiscard]] bool Differs(Pack const& pack, std::int64_t key, std::size_t slot) const;
  /// The term of an object, as the server has it, or now.
  [[nodiscard]] sto_ContentSum TermOf(Pack const& pack, std::int64_t key, std::size_t slot, bool isBase);
  [[nodiscard]] static sto_ByteView ValuesOf(Pack const& pack, sto_PackEntry const& entry) noexcept;
  [[noreturn]] void RaiseDamaged(std::int64_t key) const;

  sto_ServerLink& m_Link;
  // Of the transaction.
  sto_ServerView const* m_View = nullptr;
  std::vector<sto_IdRange> m_NewIds;
  std::unordered_map<std::int64_t, std::unique_ptr<Pack>> m_Packs;
  std::size_t m_RoomFor = MaxPacks;    // so many packs; MakeRoom then drops those that are not changed
  sto_PendingRows<std::int64_t> m_Own; // changed records with rows of their own: shape:varint values
  std::int64_t m_LatestKey = -1;
  Pack* m_Latest = nullptr;
  bool m_HasMark = false;
  std::vector<Noted> m_Changes; // since the mark
};
