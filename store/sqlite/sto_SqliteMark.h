#pragma once

class sto_SqliteBlocks;
class sto_SqliteChanges;
class sto_SqliteIndexes;
class sto_SqliteObjects;
class sto_SqliteRoots;
class sto_SqliteTransaction;

/// The mark in a transaction, to which a failed save goes back.
///
/// Every save sets a mark, and a small one changes only packs, root names and index entries that are in memory. Those are
/// undone in memory, so such a mark costs nothing. A savepoint of SQLite is opened only when something must
/// be written to the file while the mark is set: with one, SQLite copies each page that is changed next, and
/// packs would have to be written before it.
///
/// Invariant: while there is no savepoint, nothing of what the mark would undo is in the file.
///
/// REQUIRES, for every operation: an open write transaction. Thread rule: one thread.
class sto_SqliteMark {
 public:
  /// REQUIRES: the arguments live as long as the mark. They may be constructed after it.
  sto_SqliteMark(sto_SqliteTransaction& transaction, sto_SqliteObjects& objects, sto_SqliteRoots& roots,
                 sto_SqliteBlocks& blocks, sto_SqliteIndexes& indexes, sto_SqliteChanges& changes) noexcept
      : m_Transaction(transaction), m_Objects(objects), m_Roots(roots), m_Blocks(blocks), m_Indexes(indexes),
        m_Changes(changes) {}
  sto_SqliteMark(sto_SqliteMark const&) = delete;
  sto_SqliteMark& operator=(sto_SqliteMark const&) = delete;

  void Set();
  void Release();
  /// Undoes what was changed since the mark, and removes the mark.
  void GoBack();
  /// The transaction is over, and the mark with it.
  void Forget() noexcept { m_State = State::None; }

  /// Call before each write to the file, except for one that brings it to the state of the mark.
  void BeforeWriting() {
    if (m_State == State::InMemory) OpenSavepoint();
  }
  /// Whether changes in memory must be noted, so that going back can undo them there.
  [[nodiscard]] bool IsInMemory() const noexcept { return m_State == State::InMemory; }

 private:
  enum class State { None, InMemory, InFile };

  void OpenSavepoint();

  sto_SqliteTransaction& m_Transaction;
  sto_SqliteObjects& m_Objects;
  sto_SqliteRoots& m_Roots;
  sto_SqliteBlocks& m_Blocks;
  sto_SqliteIndexes& m_Indexes;
  sto_SqliteChanges& m_Changes;
  State m_State = State::None;
};
