#pragma once

#include <cstdint>
#include <string_view>

#include "store/format/sto_ChangeList.h"
#include "store/format/sto_ContentSum.h"

/// The sum over the store as the open transaction leaves it, and what the transaction has changed of what was
/// there before it, for the log of saves. It never names less than has changed. An undone save that changed many
/// objects may stay in it.
///
/// A change costs no more than a number in memory, and none for an object that is new in the transaction.
/// Thread rule: one thread.
class sto_SqliteChanges {
 public:
  /// Call when a transaction begins. Ids from `firstNewId` on are new in it. `sum`: the sum over the store.
  void Begin(std::int64_t firstNewId, sto_ContentSum const& sum) noexcept;

  /// Sets the mark, to which the sum and the list go back.
  void SetMark() noexcept;
  void GoBackToMark() noexcept;

  // The sum. What is replaced is removed, what replaces it is added.
  [[nodiscard]] sto_ContentSum const& Sum() const noexcept { return m_Sum; }
  /// `hash`: of the values, seeded with the object's id; see sto_Checksum.
  void AddRecord(std::int64_t shape, std::uint64_t hash) noexcept { m_Sum += RecordTerm(shape, hash); }
  void RemoveRecord(std::int64_t shape, std::uint64_t hash) noexcept { m_Sum -= RecordTerm(shape, hash); }
  /// The term of a block. `end`: the last sto_BlockCodec::MaxEndBytes of what is stored, or more; all of it if
  /// it is shorter.
  [[nodiscard]] static sto_ContentSum BlockTerm(std::int64_t key, sto_ByteView end) noexcept;
  /// Blocks are replaced: takes out terms, and adds others.
  void ReplaceBlocks(sto_ContentSum const& removed, sto_ContentSum const& added) noexcept {
    m_Sum -= removed;
    m_Sum += added;
  }
  void AddRoot(std::string_view name, std::int64_t id, unsigned int classId) noexcept {
    m_Sum += RootTerm(name, id, classId);
  }
  void RemoveRoot(std::string_view name, std::int64_t id, unsigned int classId) noexcept {
    m_Sum -= RootTerm(name, id, classId);
  }
  /// `row`: the encoded row of a table of the catalogue; see sto_RowChecksum.
  void AddRow(std::string_view table, sto_ByteView row) noexcept {
    m_Sum.Add(sto_ContentKind::Catalogue, sto_AsBytes(table), row);
  }
  void RemoveRow(std::string_view table, sto_ByteView row) noexcept {
    m_Sum.Remove(sto_ContentKind::Catalogue, sto_AsBytes(table), row);
  }

  /// An object's record changes.
  void Object(std::int64_t id) {
    if (id < m_FirstNewId) Note(m_List.m_Objects, m_Objects, id);
  }
  /// Blocks of a list or blob change.
  void List(std::int64_t id) {
    if (id < m_FirstNewId) Note(m_List.m_Lists, m_Lists, id);
  }
  /// Whether the record or the blocks of an object have changed, or the object is new.
  [[nodiscard]] bool Has(std::int64_t id) const noexcept;
  /// Whether a root that was written has changed.
  [[nodiscard]] bool HasRoot(std::string_view name) const noexcept;
  /// Whether an id is new in the transaction.
  [[nodiscard]] bool IsNew(std::int64_t id) const noexcept { return id >= m_FirstNewId; }
  /// The block with a key changes.
  void Block(std::int64_t key);
  /// A root changes. REQUIRES: no mark is set.
  void Root(std::string_view name) { m_List.m_Roots.emplace_back(name); }
  /// Something changes that is in no list.
  void Other() noexcept { m_HasOther = true; }

  [[nodiscard]] bool HasOther() const noexcept { return m_HasOther; }
  /// The list. Valid until the next change.
  [[nodiscard]] sto_ChangeList const& List();

 private:
  static constexpr std::size_t FirstLimit = 1024;

  /// What is known about a section of the list.
  struct Section {
    std::size_t m_Limit = FirstLimit; // when to drop repetitions
    std::size_t m_AtMark = 0;         // its size then
    bool m_IsTidied = false;          // since the mark: it cannot go back
  };

  static void Note(std::vector<std::int64_t>& ids, Section& section, std::int64_t id) {
    if (!ids.empty() && ids.back() == id) return;
    if (ids.size() >= section.m_Limit) Tidy(ids, section);
    ids.push_back(id);
  }
  /// Sorts the ids and drops repetitions.
  static void Tidy(std::vector<std::int64_t>& ids, Section& section);
  static void GoBack(std::vector<std::int64_t>& ids, Section const& section) noexcept {
    if (!section.m_IsTidied) ids.resize(section.m_AtMark);
  }

  [[nodiscard]] static sto_ContentSum RecordTerm(std::int64_t shape, std::uint64_t hash) noexcept {
    return sto_ContentSum::OfHash(sto_ContentKind::Record, static_cast<std::uint64_t>(shape), hash);
  }
  [[nodiscard]] static sto_ContentSum RootTerm(std::string_view name, std::int64_t id,
                                               unsigned int classId) noexcept;

  sto_ContentSum m_Sum, m_SumAtMark;
  std::int64_t m_FirstNewId = 0;
  sto_ChangeList m_List;
  Section m_Objects, m_Lists;
  bool m_HasOther = false;
};
