#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <unordered_map>
#include <vector>

/// A session's notes about changes to lists, maps and blobs. With them its own changes can be undone, and those of
/// other sessions are noticed. Internal to the module. Thread rule: the thread of the session.
///
/// Each collection has a count of changes, which is in memory only. It goes up whenever the collection is written
/// in the store, by this session or another one, and back when that is undone. So whoever remembers the count
/// notices that the collection is no longer what it was.
class sto_ChangeNotes {
 public:
  /// A collection's count of changes.
  [[nodiscard]] std::int64_t Count(std::int64_t id) const noexcept {
    auto const found = m_Counts.find(id);
    return m_Unknown + (found == m_Counts.end() ? 0 : found->second);
  }
  /// The session has written a collection. Throws std::bad_alloc; then nothing has changed.
  void SetCount(std::int64_t id, std::int64_t count) {
    std::int64_t& stored = m_Counts[id];
    m_Undo.push_back({id, stored});
    stored = count - m_Unknown;
  }
  /// A save begins: UndoSave goes back to here.
  void SetMark() noexcept { m_UndoAtMark = m_Undo.size(); }

  /// Other sessions have written a collection. REQUIRES: the open transaction has written nothing yet.
  void NoteForeign(std::int64_t id) { ++m_Counts[id]; }
  /// Other sessions may have written any collection.
  void NoteForeignUnknown() noexcept { ++m_Unknown; }
  /// Forgets the counts of collections of which `isInUse` says that nobody remembers them.
  template <class IsInUse> void ForgetCounts(IsInUse isInUse) {
    std::erase_if(m_Counts, [&](auto const& each) { return !isInUse(each.first); });
  }

  /// The state of a list when the open transaction began.
  struct ListAtBegin {
    int m_Count = 0;
    std::int64_t m_Change = 0;
    bool m_IsMade = false;         ///< made in this transaction: there was no list
    std::int64_t m_MadeInSave = 0; ///< the number of the save that made it
  };

  /// Null for a list that the transaction has neither made nor changed.
  [[nodiscard]] ListAtBegin const* FindAtBegin(std::int64_t id) const noexcept {
    auto const found = m_ListsAtBegin.find(id);
    return found == m_ListsAtBegin.end() ? nullptr : &found->second;
  }
  /// Notes how many elements and changes a list had. Call it before each change; the first call in a
  /// transaction counts.
  void NoteAtBegin(std::int64_t id, int count, std::int64_t change) {
    m_ListsAtBegin.try_emplace(id, ListAtBegin{count, change, false, 0});
  }
  /// Notes that a collection or a blob is made in the open transaction, in the latest save.
  void NoteMade(std::int64_t id, std::int64_t save) {
    m_ListsAtBegin.insert_or_assign(id, ListAtBegin{0, 0, true, save});
  }

  /// Notes the latest change of a blob that this session wrote, and in which transaction and save.
  void NoteBlobChange(std::int64_t id, std::int64_t change, std::int64_t transaction, std::int64_t save) {
    BlobChange& blob = m_BlobChanges[id];
    if (blob.m_Transaction != transaction) blob.m_BeforeTransaction = blob.m_Change;
    if (blob.m_Transaction != transaction || blob.m_Save != save) blob.m_BeforeSave = blob.m_Change;
    blob.m_Change = change;
    blob.m_Transaction = transaction;
    blob.m_Save = save;
  }
  [[nodiscard]] bool IsOwnBlobChange(std::int64_t id, std::int64_t change) const noexcept {
    auto const found = m_BlobChanges.find(id);
    return found != m_BlobChanges.end() && found->second.m_Change == change;
  }

  /// The transaction is over, committed or not.
  void EndTransaction() noexcept {
    m_ListsAtBegin.clear();
    m_Undo.clear();
    m_UndoAtMark = 0;
  }
  /// The work of a transaction, or of the latest save, has been undone: the changes before it are the latest
  /// again. REQUIRES: EndTransaction was not called yet.
  void UndoTransaction(std::int64_t number) noexcept {
    UndoCounts(0);
    UndoBlobs([number](BlobChange& blob) {
      if (blob.m_Transaction == number) blob = {blob.m_BeforeTransaction, 0, 0, 0, 0};
    });
  }
  void UndoSave(std::int64_t number) noexcept {
    UndoCounts(m_UndoAtMark);
    std::erase_if(m_ListsAtBegin, [number](auto const& list) { return list.second.m_MadeInSave == number; });
    UndoBlobs([number](BlobChange& blob) {
      if (blob.m_Save != number) return;
      blob.m_Change = blob.m_BeforeSave;
      blob.m_Save = 0;
    });
  }

 private:
  struct BlobChange {
    std::int64_t m_Change = 0; // 0: none
    std::int64_t m_Transaction = 0;
    std::int64_t m_Save = 0;
    std::int64_t m_BeforeTransaction = 0; // the change before the first one in m_Transaction
    std::int64_t m_BeforeSave = 0;        // and before the first one in m_Save
  };

  struct OldCount {
    std::int64_t m_Id;
    std::int64_t m_Count; // without m_Unknown
  };

  void UndoCounts(std::size_t first) noexcept {
    for (; m_Undo.size() > first; m_Undo.pop_back()) m_Counts[m_Undo.back().m_Id] = m_Undo.back().m_Count;
  }

  template <class Undo> void UndoBlobs(Undo undo) noexcept {
    for (auto blob = m_BlobChanges.begin(); blob != m_BlobChanges.end();) {
      undo(blob->second);
      blob = blob->second.m_Change == 0 ? m_BlobChanges.erase(blob) : std::next(blob);
    }
  }

  std::unordered_map<std::int64_t, std::int64_t> m_Counts; // without m_Unknown; 0 for a missing one
  std::int64_t m_Unknown = 0;                              // changes that may have been of any collection
  std::vector<OldCount> m_Undo;                            // of the open transaction
  std::size_t m_UndoAtMark = 0;
  std::unordered_map<std::int64_t, ListAtBegin> m_ListsAtBegin;
  std::unordered_map<std::int64_t, BlobChange> m_BlobChanges; // of all transactions of the session
};
