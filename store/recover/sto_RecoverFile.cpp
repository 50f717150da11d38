#include "store/recover/sto_RecoverFile.h"

#include <sqlite3.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <limits>
#include <string_view>
#include <system_error>
#include <vector>

#include "store/base/sto_Exception.h"
#include "store/recover/sto_RecoverPage.h"
#include "store/sqlite/sto_SqliteErrors.h"
#include "store/sqlite/sto_SqliteFile.h"
#include "store/sqlite/sto_SqliteForks.h"
#include "store/sqlite/sto_SqliteOpening.h"
#include "store/sto_Servers.h"

namespace {

namespace fs = std::filesystem;

constexpr std::size_t HeaderBytes = 100;
constexpr std::string_view Magic("SQLite format 3\0", 16);

void CopyFile(std::string const& from, std::string const& to) {
  std::error_code error;
  if (fs::copy_file(from, to, error)) return;
  bool const isFull = error == std::errc::no_space_on_device;
  sto_Raise(isFull ? sto_ErrorKind::Full : sto_ErrorKind::Unavailable,
            to + ": " + from + " cannot be copied here: " + error.message() + ".");
}

/// Lets SQLite undo what a killed writer began, or apply its log. If the file is too damaged for that, it is read as
/// it is.
void Settle(std::string const& path) {
  try {
    sto_SqliteConnection connection(path, {SQLITE_OPEN_READWRITE, 0, false});
    sto_BeginSqlite(connection);
    static_cast<void>(connection.QueryInteger("SELECT count(*) FROM sqlite_schema"));
  } catch (sto_Exception const& failure) {
    if (failure.Kind() != sto_ErrorKind::Damaged && failure.Kind() != sto_ErrorKind::NotFound) throw;
  }
}

bool IsPageSize(std::size_t bytes) {
  return bytes >= 512 && bytes <= 65536 && (bytes & (bytes - 1)) == 0;
}

} // namespace

sto_RecoverFile::sto_RecoverFile(std::string const& path, std::string const& beside) : m_Path(path) {
  sto_SqliteFile::CheckLocation(path);
  if (sto_IsOnServer(path))
    sto_Raise(sto_ErrorKind::Misuse, sto_ShownLocation(path) +
                                         ": Only stores in files can be recovered. Copy this one "
                                         "to a file, or restore a backup of the server.");
  if (!sto_SqliteFile::IsThere(path)) sto_Raise(sto_ErrorKind::NotFound, path + ": There is no such file.");
  if (!sto_SqliteFile::IsRegular(path)) sto_RaiseNoStore(path);
  std::string file = path;
  if (sto_SqliteFile::HasJournal(path) || sto_SqliteFile::HasLog(path)) {
    m_Copy.emplace(beside, sto_NewFile::Words{"the copy", "reading"});
    Copy(path);
    file = m_Copy->Temporary();
  }
  // SQLite opens the file, because this process may have it open: closing it otherwise would release all locks on it.
  m_Connection = std::make_unique<sto_SqliteConnection>(
      file, sto_SqliteConnection::Opening{SQLITE_OPEN_READONLY, 0, true, path});
  m_SizeBytes = static_cast<std::int64_t>(sto_SqliteFile::SizeOf(file));
  ReadHeader();
}

void sto_RecoverFile::Copy(std::string const& path) {
  std::string const& copy = m_Copy->Temporary();
  // The journal first: without it, the copy of the file would look like a store.
  for (char const* const suffix : {"-journal", "-wal", ""})
    if (sto_SqliteFile::IsThere(path + suffix)) CopyFile(path + suffix, copy + suffix);
  std::error_code ignored; // the file may be one that nobody may write
  fs::permissions(copy, fs::perms::owner_read | fs::perms::owner_write, ignored);
  Settle(copy);
}

bool sto_RecoverFile::ReadAt(std::int64_t offset, std::span<std::byte> bytes) const {
  sqlite3_file* const file = sto_FileOfSqlite(m_Connection->Handle());
  if (file == nullptr || file->pMethods == nullptr) return false;
  errno = 0;
  int const code = file->pMethods->xRead(file, bytes.data(), static_cast<int>(bytes.size()), offset);
  if (code != SQLITE_OK && code != SQLITE_IOERR_SHORT_READ) m_Connection->Raise(code, true);
  return true;
}

std::uint32_t sto_RecoverFile::HeaderNumber(std::size_t offset) const noexcept {
  return sto_BigEndian32(sto_ByteView(m_Header).subspan(offset));
}

void sto_RecoverFile::ReadHeader() {
  m_Header.assign(HeaderBytes, std::byte{0});
  if (!ReadAt(0, m_Header)) sto_RaiseNoStore(m_Path);
  std::size_t const pageBytes = sto_BigEndian16(sto_ByteView(m_Header).subspan(16));
  m_PageBytes = pageBytes == 1 ? 65536 : pageBytes;
  m_Reserved = std::to_integer<std::size_t>(m_Header[20]);
  m_HasHeader = sto_AsText(sto_ByteView(m_Header).first(Magic.size())) == Magic && IsPageSize(m_PageBytes);
  if (!IsPageSize(m_PageBytes)) GuessPageBytes();
  if (m_PageBytes - m_Reserved < 480 || m_Reserved != 0) m_Reserved = 0; // stores reserve nothing
  std::int64_t const pages =
      (m_SizeBytes + static_cast<std::int64_t>(m_PageBytes) - 1) / static_cast<std::int64_t>(m_PageBytes);
  m_PageCount =
      static_cast<Page>(std::min<std::int64_t>(pages, std::numeric_limits<std::int32_t>::max() - 1));
  m_ExpectedPages = m_HasHeader ? std::max(m_PageCount, HeaderNumber(28)) : m_PageCount;
}

void sto_RecoverFile::GuessPageBytes() {
  constexpr std::int64_t MaxLooks = 2000;
  std::int64_t best = -1;
  for (std::size_t const bytes : {16384, 4096, 65536, 32768, 8192, 2048, 1024, 512}) {
    auto const step = static_cast<std::int64_t>(bytes);
    std::int64_t const pages = m_SizeBytes / step;
    std::int64_t const stride = std::max<std::int64_t>(1, pages / MaxLooks);
    std::int64_t trees = 0;
    sto_Bytes page(bytes);
    for (std::int64_t i = 1; i < pages; i += stride)
      if (ReadAt(i * step, page) && sto_RecoverPage(page, false).LooksFull()) ++trees;
    // Of pages of another size, few begin like pages that are used to the end.
    if (trees * step > best) {
      best = trees * step;
      m_PageBytes = bytes;
    }
  }
}

bool sto_RecoverFile::Read(Page number, sto_Bytes& page) const {
  if (number == 0 || number > m_PageCount) return false;
  page.assign(m_PageBytes, std::byte{0});
  std::int64_t const offset = (std::int64_t{number} - 1) * static_cast<std::int64_t>(m_PageBytes);
  auto const bytes = std::min<std::int64_t>(static_cast<std::int64_t>(m_PageBytes), m_SizeBytes - offset);
  return ReadAt(offset, std::span(page).first(static_cast<std::size_t>(bytes)));
}
