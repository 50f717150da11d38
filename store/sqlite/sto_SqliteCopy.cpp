#include "store/sqlite/sto_SqliteCopy.h"

#include <sqlite3.h>

#include <cerrno>
#include <utility>

#include "store/sqlite/sto_SqliteOpening.h"

namespace {

/// SQLite's copy of a database to another one.
class Backup {
 public:
  Backup(sto_SqliteConnection& target, sto_SqliteConnection& source)
      : m_Handle(sqlite3_backup_init(target.Handle(), "main", source.Handle(), "main")) {
    if (m_Handle == nullptr) target.Raise(sqlite3_extended_errcode(target.Handle()));
  }
  Backup(Backup const&) = delete;
  Backup& operator=(Backup const&) = delete;
  ~Backup() { static_cast<void>(Finish()); }

  /// Copies so many pages, all if -1; false at the end, and after a failure, which Finish returns.
  bool Step(int pages) noexcept { return sqlite3_backup_step(m_Handle, pages) == SQLITE_OK; }
  /// Copies all pages, and counts them.
  void StepAll(sto_Meter& meter) {
    bool goesOn = Step(0); // finds out how many there are
    int const total = sqlite3_backup_pagecount(m_Handle);
    meter.Begin(total);
    meter.BeginPart(total);
    for (int done = 0; goesOn;) {
      goesOn = Step(PagesAtOnce);
      int const now = total - sqlite3_backup_remaining(m_Handle);
      int const error = errno;
      for (; done < now; ++done) meter.Step();
      errno = error;
    }
  }
  /// Ends the copy; returns SQLite's result code.
  int Finish() noexcept {
    sqlite3_backup* const handle = std::exchange(m_Handle, nullptr);
    return handle == nullptr ? SQLITE_OK : sqlite3_backup_finish(handle);
  }

 private:
  static constexpr int PagesAtOnce = 64;

  sqlite3_backup* m_Handle;
};

} // namespace

sto_SqliteCopy::sto_SqliteCopy(sto_SqliteConnection& source, std::string const& location, sto_Meter* meter)
    : m_Location(location), m_File(location, {"the copy", "copying"}) {
  Make(source, meter);
}

void sto_SqliteCopy::Make(sto_SqliteConnection& source, sto_Meter* meter) {
  sto_SqliteConnection::Opening opening{SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, 0, false};
  opening.m_NameInMessages = m_Location;
  m_Target = std::make_unique<sto_SqliteConnection>(m_File.Temporary(), opening);
  sto_RestrictAs(source.FullPath(), m_File.Temporary());
  sto_BeginSqlite(*m_Target);
  Backup backup(*m_Target, source);
  errno = 0;
  if (meter == nullptr)
    backup.Step(-1);
  else
    backup.StepAll(*meter);
  int const error = errno; // before ending the backup, which may change it
  int const code = backup.Finish();
  errno = error;
  if (code != SQLITE_OK) m_Target->Raise(code);
}

void sto_SqliteCopy::Publish() {
  m_Target.reset();
  m_File.Publish();
}
