#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "store/base/sto_SourceLine.h"
#include "store/format/sto_Codec.h"
#include "store/sqlite/sto_SqliteForks.h"

struct sqlite3;
struct sqlite3_stmt;
class sto_SqliteStatement;

/// One open SQLite database file. Every failure raises a sto_Exception with the file's name, SQLite's own
/// message, advice, and the kind that fits SQLite's result code (see sto_SqliteErrors.h); or std::bad_alloc
/// when memory has run out.
///
/// The file is not trusted. Triggers, views and functions in its schema are switched off, sizes are limited,
/// and the work of each statement is counted in steps of SQLite's virtual machine. A statement that takes
/// many more steps than a sound file of that size needs raises Damaged.
///
/// Thread rule: one thread.
class sto_SqliteConnection {
 public:
  /// The count is checked once in this many steps: rarely enough to cost nothing.
  static constexpr int StepsInCall = 100'000;
  /// How many such checks a statement may take that reads or changes a few rows: some thousand times its
  /// need.
  static constexpr std::int64_t BaseCalls = 20;
  /// The most steps that a statement needs for each row it visits, with room to spare.
  static constexpr std::int64_t StepsInRow = 64;

  struct Opening {
    int m_Flags = 0; // SQLite's
    int m_BusyMilliseconds = 5000;
    /// Read the file without locks, ignoring a journal or a log. REQUIRES: nobody changes the file.
    bool m_IsImmutable = false;
    /// What messages call the file; empty for its path.
    std::string m_NameInMessages = {};
    /// It is a store that is being made (sto_SqliteSchema::UnfinishedId), and no store yet.
    bool m_IsUnfinished = false;
  };

  sto_SqliteConnection(std::string const& path, Opening const& opening);
  sto_SqliteConnection(sto_SqliteConnection const&) = delete;
  sto_SqliteConnection& operator=(sto_SqliteConnection const&) = delete;
  ~sto_SqliteConnection();

  /// The file's path as it was given, or its name in messages.
  [[nodiscard]] std::string const& Path() const noexcept { return m_Path; }
  /// The file's absolute path, with links resolved.
  [[nodiscard]] std::string FullPath() const;
  [[nodiscard]] sqlite3* Handle() const noexcept { return m_Handle; }
  [[nodiscard]] bool IsUnfinished() const noexcept { return m_IsUnfinished; }

  /// Runs SQL without results.
  void Execute(char const* sql);
  /// Runs SQL whose first result is an integer.
  [[nodiscard]] std::int64_t QueryInteger(char const* sql);
  /// Runs SQL whose first result is a text.
  [[nodiscard]] std::string QueryText(char const* sql);

  using Header = std::array<std::byte, 100>;
  /// The first bytes of the file as they are now, read without locks; zeros beyond its end.
  [[nodiscard]] Header ReadHeader() const;
  /// Whether the open file is no longer the one under its name.
  [[nodiscard]] bool HasMoved() const;
  /// Raises ReadOnly for such a file.
  [[noreturn]] void RaiseMoved(sto_SourceLine line = sto_SourceLine::Current()) const;
  /// Whether processes can share memory over the file, which a write-ahead log needs.
  [[nodiscard]] bool CanShareMemory() const;

  /// The database's size in bytes, as the open transaction sees it.
  [[nodiscard]] std::int64_t SizeBytes();
  /// No table has more rows than this. Asks SQLite once in a transaction.
  [[nodiscard]] std::int64_t MaxRows();
  /// Call when a transaction begins: the known size may be outdated.
  void ForgetSize() noexcept { m_RowsAtStart = -1; }

  /// Counts work on `callsLeft` from now on. REQUIRES: it lives until the next call of this or CountOwnWork.
  void CountWork(std::int64_t& callsLeft) noexcept { m_CallsLeft = &callsLeft; }
  /// The same for work outside of our statements that touches a few rows.
  void CountOwnWork() noexcept {
    m_OwnCallsLeft = BaseCalls;
    m_CallsLeft = &m_OwnCallsLeft;
  }

  /// Makes SQLite's steps be counted, as they are from the beginning: ends another watch over them.
  void CountSteps() noexcept;
  /// For such a watch: StepsInCall steps have been taken. False if they were too many.
  [[nodiscard]] bool CountStepsInCall() noexcept { return --*m_CallsLeft >= 0; }

  /// Raises the failure that a result code means. `isReading`: the operation only read. REQUIRES, to tell a
  /// full disk from other failures: errno was cleared before the operation.
  [[noreturn]] void Raise(int code, bool isReading = false,
                          sto_SourceLine line = sto_SourceLine::Current()) const;

 private:
  void Harden(int busyMilliseconds);

  std::string m_Path;
  bool m_IsUnfinished;
  sqlite3* m_Handle = nullptr;
  sto_SqliteForks::Entry m_Entry; // of m_Handle
  std::int64_t m_OwnCallsLeft = BaseCalls;
  std::int64_t* m_CallsLeft = &m_OwnCallsLeft;
  std::unique_ptr<sto_SqliteStatement> m_PageCount; // null until SizeBytes is called first
  std::int64_t m_PageBytes = 0;
  std::int64_t m_RowsAtStart = -1; // set by MaxRows; -1: not asked yet in this transaction
  std::int64_t m_ChangesAtStart = 0;
};

/// The type of a value in the file; every row has its own.
enum class sto_SqliteType { Integer, Text, Bytes, Other };

/// One statement, which can be run any number of times: make a Use, bind, step. The end of the Use ends the
/// run. SQLite compiles it when it is used first, because that takes time and memory and most sessions use
/// few of their statements. REQUIRES: one run at a time.
class sto_SqliteStatement {
 public:
  /// REQUIRES: `sql` lives as long as the statement.
  sto_SqliteStatement(sto_SqliteConnection& connection, char const* sql) noexcept
      : m_Connection(connection), m_Sql(sql) {}
  sto_SqliteStatement(sto_SqliteStatement const&) = delete;
  sto_SqliteStatement& operator=(sto_SqliteStatement const&) = delete;
  ~sto_SqliteStatement();

  /// Compiles the statement now.
  void Prepare() {
    if (m_Handle == nullptr) Compile();
  }

  /// One run of the statement. REQUIRES: bound bytes and texts live until the run ends.
  class Use {
   public:
    explicit Use(sto_SqliteStatement& statement) : m_Statement(statement) {
      m_Statement.Prepare();
      m_Statement.m_CallsLeft = sto_SqliteConnection::BaseCalls;
    }
    Use(Use const&) = delete;
    Use& operator=(Use const&) = delete;
    ~Use();

    Use& Bind(int parameter, std::int64_t value);
    Use& Bind(int parameter, std::string_view text);
    Use& Bind(int parameter, sto_ByteView bytes);

    /// Lets the run visit every row of a table.
    Use& AllowAllRows();
    /// Lets the run visit the rows with keys from `first` to `last`, both included.
    Use& AllowRange(std::int64_t first, std::int64_t last);

    /// Moves to the next row; false at the end.
    bool Step();
    /// Runs to the end; returns SQLite's result code. Allocates nothing of ours.
    [[nodiscard]] int TryStep() noexcept;

    /// Call it before the value is read, which may convert it.
    [[nodiscard]] sto_SqliteType TypeOf(int column) const noexcept;
    [[nodiscard]] std::int64_t Integer(int column) const noexcept;
    [[nodiscard]] std::string Text(int column) const;
    /// Valid until the next step.
    [[nodiscard]] sto_ByteView Bytes(int column) const;

   private:
    void AllowRows(std::int64_t rows) noexcept;

    sto_SqliteStatement& m_Statement;
  };

 private:
  void Compile();
  void Check(int code) const;

  sto_SqliteConnection& m_Connection;
  char const* m_Sql;
  sqlite3_stmt* m_Handle = nullptr;
  std::int64_t m_CallsLeft = 0; // in the current run
};
