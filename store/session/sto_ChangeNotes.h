#pragma once

#include <cstdint>
#include <iterator>
#include <unordered_map>

/// A session's notes about its own changes to lists and blobs. With them the changes can be undone, and are
/// not mistaken for another session's. Internal to the module. Thread rule: the thread of the session.
class sto_ChangeNotes {
 public:
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
  void EndTransaction() noexcept { m_ListsAtBegin.clear(); }
  /// The work of a transaction, or of a save, has been undone: the changes before it are the latest again.
  void UndoTransaction(std::int64_t number) noexcept {
    UndoBlobs([number](BlobChange& blob) {
      if (blob.m_Transaction == number) blob = {blob.m_BeforeTransaction, 0, 0, 0, 0};
    });
  }
  void UndoSave(std::int64_t number) noexcept {
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

  template <class Undo> void UndoBlobs(Undo undo) noexcept {
    for (auto blob = m_BlobChanges.begin(); blob != m_BlobChanges.end();) {
      undo(blob->second);
      blob = blob->second.m_Change == 0 ? m_BlobChanges.erase(blob) : std::next(blob);
    }
  }

  std::unordered_map<std::int64_t, ListAtBegin> m_ListsAtBegin;
  std::unordered_map<std::int64_t, BlobChange> m_BlobChanges; // of all transactions of the session
};
