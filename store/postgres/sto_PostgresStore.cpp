#include "store/postgres/sto_PostgresStore.h"

#include "store/postgres/sto_PostgresLink.h"
#include "store/server/sto_ServerDriver.h"

std::unique_ptr<sto_Driver> sto_CreateInPostgres(std::string const& location, sto_Options const& options) {
  return std::make_unique<sto_ServerDriver>(sto_PostgresLink::Create(location, options), false, options);
}

std::unique_ptr<sto_Driver> sto_OpenInPostgres(std::string const& location, bool readOnly,
                                               sto_Options const& options) {
  return std::make_unique<sto_ServerDriver>(sto_PostgresLink::Open(location, options), readOnly, options);
}
