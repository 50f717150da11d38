#pragma once

#include <optional>

#include "store/sqlite/sto_SqliteConnection.h"

/// The transactions of a connection, one at a time, with one mark in it at most.
///
/// What begins, ends and undoes them was prepared when the file was opened, so that undoing needs no memory
/// of ours and next to none of SQLite's. When it fails all the same, for want of memory, it is repeated
/// before the next operation; until it succeeds every operation raises Unavailable.
///
/// Thread rule: one thread.
class sto_SqliteTransaction {
 public:
  explicit sto_SqliteTransaction(sto_SqliteConnection& connection);

  /// Busy, Unavailable.
  void Begin(bool forWriting);
  /// Unavailable when the transaction is no more, because a failure undid it. Otherwise see
  /// sto_Driver::Commit.
  void Commit();
  void Rollback() noexcept;
  /// Whether a transaction is open that was not meant to be undone.
  [[nodiscard]] bool IsOpen() const noexcept { return !m_MustUndo && IsOpenInFile(); }

  /// Every operation asks first whether the last transaction is undone. Unavailable when it was not till now.
  void CheckUndone() {
    if (m_MustUndo) RaiseNotUndone();
  }
  /// So does every operation that writes, which outside a transaction would be durable at once. Unavailable.
  void CheckOpen();

  void OpenMark();
  void ReleaseMark();
  /// Goes back to the mark and takes it away.
  void RollbackToMark();

  /// The statements are prepared again at the next Begin: SQLite forgets them when tables that were made in
  /// a transaction are undone.
  void PrepareAgain() noexcept { m_Statements.reset(); }

 private:
  struct Statements {
    explicit Statements(sto_SqliteConnection& connection);
    sto_SqliteStatement m_BeginReading, m_BeginWriting, m_Commit, m_Rollback;
    sto_SqliteStatement m_OpenMark, m_ReleaseMark, m_RollbackToMark;
  };

  [[nodiscard]] bool IsOpenInFile() const noexcept;
  /// Undoes what is open; whether nothing is open now.
  bool Undo() noexcept;
  [[noreturn]] void RaiseNotUndone();
  [[noreturn]] void RaiseUndone() const;

  sto_SqliteConnection& m_Connection;
  std::optional<Statements> m_Statements;
  bool m_MustUndo = false;
};
