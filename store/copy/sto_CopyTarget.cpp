#include "store/copy/sto_CopyTarget.h"

#include <cstdio>
#include <filesystem>

#include "store/base/sto_Exception.h"
#include "store/postgres/sto_PostgresStore.h"
#include "store/sqlite/sto_SqliteDriver.h"
#include "store/sto_Servers.h"

namespace {

sto_Options CopyOptions() {
  sto_Options options;
  options.m_Program = "kvlpersist";
  return options;
}

} // namespace

sto_CopyTarget::sto_CopyTarget(std::string const& location)
    : m_Location(location), m_Partial(location + ".partial"), m_IsOnServer(sto_IsOnServer(location)) {
  if (m_IsOnServer)
    sto_RequireFreeInPostgres(location, CopyOptions());
  else
    m_File.emplace(location, sto_NewFile::Words{"the copy", "copying"});
  Open();
}

sto_CopyTarget::~sto_CopyTarget() = default;

void sto_CopyTarget::Open() {
  auto const open = [&] {
    return m_IsOnServer ? sto_OpenInPostgres(m_Partial, false, CopyOptions())
                        : sto_SqliteDriver::Open(m_Partial, false, CopyOptions());
  };
  auto const create = [&] {
    return m_IsOnServer ? sto_CreateInPostgres(m_Partial, CopyOptions())
                        : sto_SqliteDriver::Create(m_Partial, CopyOptions());
  };
  try {
    m_Driver = open();
  } catch (sto_Exception const& failure) {
    if (failure.Kind() != sto_ErrorKind::NotFound) throw;
    m_Driver = create();
  }
}

void sto_CopyTarget::Remove() {
  m_Driver.reset();
  if (m_IsOnServer) return sto_RemoveFromPostgres(m_Partial, CopyOptions());
  for (char const* const ending : {"", "-journal", "-wal", "-shm"}) {
    std::error_code ignored;
    std::filesystem::remove(m_Partial + ending, ignored);
  }
}

void sto_CopyTarget::StartAgain() {
  Remove();
  Open();
}

void sto_CopyTarget::Publish() {
  m_Driver.reset(); // closes the file
  if (m_IsOnServer) return sto_RenameInPostgres(m_Partial, m_Location, CopyOptions());
  std::error_code error;
  std::filesystem::rename(m_Partial, m_File->Temporary(), error);
  if (error)
    sto_Raise(sto_ErrorKind::Unavailable,
              m_Location + ": The copy could not be given its name: " + error.message() + ".");
  m_File->Publish();
}
