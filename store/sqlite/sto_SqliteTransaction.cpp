#include "store/sqlite/sto_SqliteTransaction.h"

#include <sqlite3.h>

#include "store/base/sto_Exception.h"

sto_SqliteTransaction::Statements::Statements(sto_SqliteConnection& connection)
    : m_BeginReading(connection, "BEGIN"), m_BeginWriting(connection, "BEGIN IMMEDIATE"),
      m_Commit(connection, "COMMIT"), m_Rollback(connection, "ROLLBACK"),
      m_OpenMark(connection, "SAVEPOINT mark"), m_ReleaseMark(connection, "RELEASE mark"),
      m_RollbackToMark(connection, "ROLLBACK TO mark") {
  for (sto_SqliteStatement* const statement : {&m_BeginReading, &m_BeginWriting, &m_Commit, &m_Rollback,
                                               &m_OpenMark, &m_ReleaseMark, &m_RollbackToMark})
    statement->Prepare();
}

sto_SqliteTransaction::sto_SqliteTransaction(sto_SqliteConnection& connection) : m_Connection(connection) {
  m_Statements.emplace(connection);
}

bool sto_SqliteTransaction::IsOpenInFile() const noexcept {
  return sqlite3_get_autocommit(m_Connection.Handle()) == 0;
}

void sto_SqliteTransaction::Begin(bool forWriting) {
  if (m_MustUndo && !Undo()) RaiseNotUndone();
  if (!m_Statements) m_Statements.emplace(m_Connection);
  m_Connection.ForgetSize();
  sto_SqliteStatement::Use(forWriting ? m_Statements->m_BeginWriting : m_Statements->m_BeginReading).Step();
}

void sto_SqliteTransaction::Commit() {
  CheckOpen();
  sto_SqliteStatement::Use(m_Statements->m_Commit).Step();
}

void sto_SqliteTransaction::Rollback() noexcept {
  m_MustUndo = !Undo();
}

bool sto_SqliteTransaction::Undo() noexcept {
  // The result says little: SQLite may have undone the transaction by itself, and then ROLLBACK fails.
  if (IsOpenInFile() && m_Statements)
    static_cast<void>(sto_SqliteStatement::Use(m_Statements->m_Rollback).TryStep());
  m_MustUndo = IsOpenInFile();
  return !m_MustUndo;
}

void sto_SqliteTransaction::CheckOpen() {
  CheckUndone();
  if (!IsOpenInFile()) RaiseUndone();
}

void sto_SqliteTransaction::RaiseNotUndone() {
  if (Undo()) RaiseUndone();
  sto_Raise(sto_ErrorKind::Unavailable,
            m_Connection.Path() +
                ": The last transaction could not be undone yet, for lack of memory; nothing "
                "else can be done before. The next operation tries again.");
}

void sto_SqliteTransaction::RaiseUndone() const {
  sto_Raise(sto_ErrorKind::Unavailable,
            m_Connection.Path() + ": A failure has undone the transaction; roll it back.");
}

void sto_SqliteTransaction::OpenMark() {
  sto_SqliteStatement::Use(m_Statements->m_OpenMark).Step();
}

void sto_SqliteTransaction::ReleaseMark() {
  CheckUndone();
  sto_SqliteStatement::Use(m_Statements->m_ReleaseMark).Step();
}

void sto_SqliteTransaction::RollbackToMark() {
  sto_SqliteStatement::Use(m_Statements->m_RollbackToMark).Step();
  sto_SqliteStatement::Use(m_Statements->m_ReleaseMark).Step();
}
