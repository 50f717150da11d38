#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "store/base/sto_SourceLine.h"
#include "store/format/sto_Codec.h"

struct sqlite3;
struct sqlite3_stmt;
class sto_SqliteStatement;

/// One open SQLite database file. Every failure raises sto_Exception with the file's name, SQLite's own
/// message, what to do about it, and the kind that fits SQLite's result code (see sto_SqliteErrors.h);
/// std::bad_alloc when memory has run out.
///
/// What stands in the file cannot act: triggers, views and functions in the schema are off, sizes have
/// limits, and the work of each statement is counted in steps of SQLite's machine. A statement that takes
/// many more steps than a sound file of that size could ask for raises Damaged.
///
/// Thread rule: one thread.
class sto_SqliteConnection {
 public:
  /// Steps between two looks at the count: rare enough to cost nothing.
  static constexpr int StepsInCall = 100'000;
  /// What a statement may take, in calls, that looks up or changes a few rows: some thousand times its need.
  static constexpr std::int64_t BaseCalls = 20;
  /// What each row costs at most that a statement visits, with room to spare.
  static constexpr std::int64_t StepsInRow = 64;

  struct Opening {
    int m_Flags = 0; // SQLite's
    int m_BusyMilliseconds = 5000;
    /// The file is read without locks and without a look at a journal or a log: nobody may change it.
    bool m_IsImmutable = false;
    /// What messages call the file; empty for its path.
    std::string m_NameInMessages = {};
  };

  sto_SqliteConnection(std::string const& path, Opening const& opening);
  sto_SqliteConnection(sto_SqliteConnection const&) = delete;
  sto_SqliteConnection& operator=(sto_SqliteConnection const&) = delete;
  ~sto_SqliteConnection();

  /// The file's path as it was given, or what messages call it instead.
  [[nodiscard]] std::string const& Path() const noexcept { return m_Path; }
  /// The file's full name, whatever links lead to it and whatever folder the program works in now.
  [[nodiscard]] std::string FullPath() const;
  [[nodiscard]] sqlite3* Handle() const noexcept { return m_Handle; }

  /// Runs SQL without results.
  void Execute(char const* sql);
  /// Runs SQL whose first result is an integer.
  [[nodiscard]] std::int64_t QueryInteger(char const* sql);
  /// Runs SQL whose first result is a text.
  [[nodiscard]] std::string QueryText(char const* sql);

  using Header = std::array<std::byte, 100>;
  /// The first bytes of the file as they stand there now, without locks; zeros where there are none.
  [[nodiscard]] Header ReadHeader() const;
  /// Whether the file that is open is no more the one under its name.
  [[nodiscard]] bool HasMoved() const;
  /// Whether processes can share memory over the file, which a write-ahead log needs.
  [[nodiscard]] bool CanShareMemory() const;

  /// The database's size in bytes, as the open transaction sees it.
  [[nodiscard]] std::int64_t SizeBytes();
  /// No table has more rows than this. Asks SQLite once in a transaction.
  [[nodiscard]] std::int64_t MaxRows();
  /// A transaction begins: what is known of the size is of before.
  void ForgetSize() noexcept { m_RowsAtStart = -1; }

  /// From now on work is counted on `callsLeft`, which lives until the next call.
  void CountWork(std::int64_t& callsLeft) noexcept { m_CallsLeft = &callsLeft; }
  /// The same for work that is no statement of ours and touches a few rows.
  void CountOwnWork() noexcept {
    m_OwnCallsLeft = BaseCalls;
    m_CallsLeft = &m_OwnCallsLeft;
  }

  /// Raises the failure that a result code stands for. `isReading`: nothing was to be written. The number of
  /// the system's error (errno), cleared before the operation, tells a full disk from other failures.
  [[noreturn]] void Raise(int code, bool isReading = false,
                          sto_SourceLine line = sto_SourceLine::Current()) const;

 private:
  void Harden(int busyMilliseconds);

  std::string m_Path;
  sqlite3* m_Handle = nullptr;
  std::int64_t m_OwnCallsLeft = BaseCalls;
  std::int64_t* m_CallsLeft = &m_OwnCallsLeft;
  std::unique_ptr<sto_SqliteStatement> m_PageCount; // once somebody has asked
  std::int64_t m_PageBytes = 0;
  std::int64_t m_RowsAtStart = -1; // -1: nobody has asked
  std::int64_t m_ChangesAtStart = 0;
};

/// One prepared statement, run again and again. Bind, then step; Reset (or the destructor of a Use) ends a
/// run.
class sto_SqliteStatement {
 public:
  sto_SqliteStatement(sto_SqliteConnection& connection, char const* sql);
  sto_SqliteStatement(sto_SqliteStatement const&) = delete;
  sto_SqliteStatement& operator=(sto_SqliteStatement const&) = delete;
  ~sto_SqliteStatement();

  /// One run of the statement. Bound bytes and texts must stay until the run ends.
  class Use {
   public:
    explicit Use(sto_SqliteStatement& statement) noexcept : m_Statement(statement) {
      m_Statement.m_CallsLeft = sto_SqliteConnection::BaseCalls;
    }
    Use(Use const&) = delete;
    Use& operator=(Use const&) = delete;
    ~Use();

    Use& Bind(int parameter, std::int64_t value);
    Use& Bind(int parameter, std::string_view text);
    Use& Bind(int parameter, sto_ByteView bytes);

    /// The run may visit every row of a table.
    Use& AllowAllRows();
    /// The run may visit the rows with keys from `first` to `last`, both included.
    Use& AllowRange(std::int64_t first, std::int64_t last);

    /// Moves to the next row; false at the end.
    bool Step();
    /// Runs to the end without allocating anything of ours; the result code.
    [[nodiscard]] int TryStep() noexcept;

    [[nodiscard]] std::int64_t Integer(int column) const noexcept;
    [[nodiscard]] std::string Text(int column) const;
    /// Valid until the next step.
    [[nodiscard]] sto_ByteView Bytes(int column) const;

   private:
    void AllowRows(std::int64_t rows) noexcept;

    sto_SqliteStatement& m_Statement;
  };

 private:
  void Check(int code) const;

  sto_SqliteConnection& m_Connection;
  sqlite3_stmt* m_Handle = nullptr;
  std::int64_t m_CallsLeft = 0; // in the present run
};
