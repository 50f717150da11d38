#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <unordered_map>
#include <vector>

/// A session's notes about changes to lists, maps and blobs. With them its own changes can be undone, and those of
/// other sessions are noticed. Internal to the module. Thread rule: the thread of the session.
///
/// Each collection has a version, a number in memory only. It gets a new one whenever the collection is written in
/// the store, by this session or another one, and the old one back when that is undone. No number is used twice in
/// a session. So whoever remembers the version notices that the collection is no longer what it was.
class sto_ChangeNotes {
 public:
  /// The version of a collection.
  [[nodiscard]] std::int64_t Version(std::int64_t id) const noexcept {
    auto const found = m_Versions.find(id);
    return found == m_Versions.end() ? m_LeastVersion : std::max(m_LeastVersion, found->second);
  }
  /// A number that is no version yet.
  [[nodiscard]] std::int64_t NewVersion() noexcept { return ++m_LastVersion; }
  /// The session has written a collection. `version`: from NewVersion. Throws std::bad_alloc; then nothing has
  /// changed.
  void SetVersion(std::int64_t id, std::int64_t version) {
    std::int64_t& stored = m_Versions[id];
    m_Undo.push_back({id, stored});
    stored = version;
  }
  /// A save begins: UndoSave goes back to here.
  void SetMark() noexcept { m_UndoAtMark = m_Undo.size(); }

  /// Other sessions have written a collection. REQUIRES: the open transaction has written nothing yet.
  void NoteForeign(std::int64_t id) { m_Versions[id] = NewVersion(); }
  /// Other sessions may have written any collection.
  void NoteForeignUnknown() noexcept { m_LeastVersion = NewVersion(); }
  /// Forgets the versions of collections of which `isInUse` says that nobody remembers them.
  template <class IsInUse> void ForgetVersions(IsInUse isInUse) {
    std::erase_if(m_Versions, [&](auto const& each) { return !isInUse(each.first); });
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
    UndoVersions(0);
    UndoBlobs([number](BlobChange& blob) {
      if (blob.m_Transaction == number) blob = {blob.m_BeforeTransaction, 0, 0, 0, 0};
    });
  }
  void UndoSave(std::int64_t number) noexcept {
    UndoVersions(m_UndoAtMark);
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

  struct OldVersion {
    std::int64_t m_Id;
    std::int64_t m_Version;
  };

  void UndoVersions(std::size_t first) noexcept {
    for (; m_Undo.size() > first; m_Undo.pop_back())
      m_Versions[m_Undo.back().m_Id] = m_Undo.back().m_Version; // it is there: nothing is allocated
  }

  template <class Undo> void UndoBlobs(Undo undo) noexcept {
    for (auto blob = m_BlobChanges.begin(); blob != m_BlobChanges.end();) {
      undo(blob->second);
      blob = blob->second.m_Change == 0 ? m_BlobChanges.erase(blob) : std::next(blob);
    }
  }

  std::unordered_map<std::int64_t, std::int64_t> m_Versions;
  std::int64_t m_LeastVersion = 0; // that any collection has
  std::int64_t m_LastVersion = 0;  // that was given out
  std::vector<OldVersion> m_Undo;  // of the open transaction
  std::size_t m_UndoAtMark = 0;
  std::unordered_map<std::int64_t, ListAtBegin> m_ListsAtBegin;
  std::unordered_map<std::int64_t, BlobChange> m_BlobChanges; // of all transactions of the session
};
