#include "store/sqlite/sto_SqliteBlob.h"

#include <sqlite3.h>

#include <cerrno>
#include <utility>

#include "store/base/sto_Exception.h"
#include "store/sqlite/sto_SqliteConnection.h"

namespace {

/// Blocks rarely have more bytes. For one that does, the size of the file is asked for.
constexpr int MaxUsualBytes = 1 << 20;

} // namespace

bool sto_SqliteBlob::Seek(std::int64_t key) {
  m_Connection.CountOwnWork();
  errno = 0; // see sto_SqliteConnection::Raise
  int const code = m_Handle == nullptr ? sqlite3_blob_open(m_Connection.Handle(), "main", m_Table, "data",
                                                           key, m_ForWriting ? 1 : 0, &m_Handle)
                                       : sqlite3_blob_reopen(m_Handle, key);
  if (code == SQLITE_OK) {
    if (sqlite3_blob_bytes(m_Handle) > MaxUsualBytes) CheckSize(key);
    return true;
  }
  Close();
  // SQLite has no code of its own for a row that is missing or holds no byte string.
  if ((code & 0xFF) != SQLITE_ERROR) m_Connection.Raise(code, !m_ForWriting);
  return false;
}

void sto_SqliteBlob::CheckSize(std::int64_t key) {
  std::size_t const size = SizeBytes();
  if (size <= static_cast<std::uint64_t>(m_Connection.SizeBytes())) return;
  Close();
  sto_Raise(sto_ErrorKind::Damaged, m_Connection.Path() + ": The store is damaged: row " +
                                        std::to_string(key) + " of table " + m_Table + " claims " +
                                        std::to_string(size) + " bytes, more than the store has.");
}

std::size_t sto_SqliteBlob::SizeBytes() const noexcept {
  return static_cast<std::size_t>(sqlite3_blob_bytes(m_Handle));
}

void sto_SqliteBlob::Read(sto_Bytes& data) {
  data.resize(SizeBytes());
  Read(0, data);
}

void sto_SqliteBlob::Read(std::size_t offset, std::span<std::byte> data) {
  int const code =
      sqlite3_blob_read(m_Handle, data.data(), static_cast<int>(data.size()), static_cast<int>(offset));
  if (code != SQLITE_OK) RaiseClosed(code);
}

void sto_SqliteBlob::Write(std::size_t offset, sto_ByteView data) {
  errno = 0;
  int const code =
      sqlite3_blob_write(m_Handle, data.data(), static_cast<int>(data.size()), static_cast<int>(offset));
  if (code != SQLITE_OK) RaiseClosed(code);
}

void sto_SqliteBlob::RaiseClosed(int code) {
  Close();
  m_Connection.Raise(code);
}

void sto_SqliteBlob::Close() noexcept {
  if (m_Handle != nullptr) sqlite3_blob_close(std::exchange(m_Handle, nullptr));
}
