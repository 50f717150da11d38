#pragma once

#include <optional>

#include "store/sqlite/sto_SqliteConnection.h"

/// The transactions of a connection: one at a time, each with at most one mark.
///
/// The statements that begin, end and undo them are prepared when the file is opened, so that undoing needs
/// no memory of ours and hardly any of SQLite's. If undoing fails nevertheless, for lack of memory, every
/// later operation tries it again first, and raises Unavailable until it succeeds.
///
/// Thread rule: one thread.
class sto_SqliteTransaction {
 public:
  explicit sto_SqliteTransaction(sto_SqliteConnection& connection);

  /// Busy, Unavailable.
  void Begin(bool forWriting);
  /// Unavailable if a failure has undone the transaction. Otherwise see sto_Driver::Commit.
  void Commit();
  void Rollback() noexcept;
  /// Whether a transaction is open and was not rolled back.
  [[nodiscard]] bool IsOpen() const noexcept { return !m_MustUndo && IsOpenInFile(); }

  /// False while the last transaction could not be undone.
  [[nodiscard]] bool IsUndone() const noexcept { return !m_MustUndo; }
  /// Unavailable while the last transaction could not be undone. Every operation calls this first.
  void CheckUndone() {
    if (m_MustUndo) RaiseNotUndone();
  }
  /// Unavailable without an open transaction. Every operation that writes calls this first: what it wrote
  /// outside of a transaction would be durable at once.
  void CheckOpen();

  void OpenMark();
  void ReleaseMark();
  /// Undoes what was written since the mark, and removes the mark.
  void RollbackToMark();

  /// Prepares the statements again at the next Begin. Call it when the creation of tables was undone: SQLite
  /// forgets statements then.
  void PrepareAgain() noexcept { m_Statements.reset(); }

 private:
  struct Statements {
    explicit Statements(sto_SqliteConnection& connection);
    sto_SqliteStatement m_BeginReading, m_BeginWriting, m_Commit, m_Rollback;
    sto_SqliteStatement m_OpenMark, m_ReleaseMark, m_RollbackToMark;
  };

  [[nodiscard]] bool IsOpenInFile() const noexcept;
  /// Undoes the open transaction; returns whether none is open now.
  bool Undo() noexcept;
  [[noreturn]] void RaiseNotUndone();
  [[noreturn]] void RaiseUndone() const;

  sto_SqliteConnection& m_Connection;
  std::optional<Statements> m_Statements;
  bool m_MustUndo = false;
};
