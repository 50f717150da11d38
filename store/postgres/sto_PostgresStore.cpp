#include "store/postgres/sto_PostgresStore.h"

#include "store/base/sto_Exception.h"
#include "store/postgres/sto_PostgresLink.h"
#include "store/server/sto_ServerDriver.h"
#include "store/sto_Servers.h"

std::unique_ptr<sto_Driver> sto_CreateInPostgres(std::string const& location, sto_Options const& options) {
  return std::make_unique<sto_ServerDriver>(sto_PostgresLink::Create(location, options), false, options);
}

std::unique_ptr<sto_Driver> sto_OpenInPostgres(std::string const& location, bool readOnly,
                                               sto_Options const& options) {
  return std::make_unique<sto_ServerDriver>(
      sto_PostgresLink::Open(location, readOnly || options.m_AtSave != 0, options), readOnly, options);
}

void sto_RemoveFromPostgres(std::string const& location, sto_Options const& options) {
  sto_PostgresLink::Remove(location, options);
}

void sto_RequireFreeInPostgres(std::string const& location, sto_Options const& options) {
  try {
    static_cast<void>(sto_PostgresLink::Open(location, true, options));
  } catch (sto_Exception const& failure) {
    if (failure.Kind() == sto_ErrorKind::NotFound) return;
    throw;
  }
  sto_Raise(sto_ErrorKind::Conflict,
            sto_ShownLocation(location) + ": There is a store of this name already.");
}

void sto_RenameInPostgres(std::string const& from, std::string const& to, sto_Options const& options) {
  sto_PostgresLink::Open(from, false, options)->Rename(sto_PostgresPlace::Of(to).m_Store);
}
