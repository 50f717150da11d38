// What a library that is built without PostgreSQL says of stores there.
#include "store/base/sto_Exception.h"
#include "store/postgres/sto_PostgresStore.h"
#include "store/sto_Servers.h"

namespace {

[[noreturn]] void RaiseMissing(std::string const& location) {
  sto_Raise(
      sto_ErrorKind::Unavailable,
      sto_ShownLocation(location) +
          ": This library was built without stores on PostgreSQL servers: build it with KVL_BUILD_POSTGRES=ON.");
}

} // namespace

std::unique_ptr<sto_Driver> sto_CreateInPostgres(std::string const& location,
                                                 sto_Options const& /*options*/) {
  RaiseMissing(location);
}

std::unique_ptr<sto_Driver> sto_OpenInPostgres(std::string const& location, bool /*readOnly*/,
                                               sto_Options const& /*options*/) {
  RaiseMissing(location);
}

void sto_RemoveFromPostgres(std::string const& location, sto_Options const& /*options*/) {
  RaiseMissing(location);
}

void sto_RequireFreeInPostgres(std::string const& location, sto_Options const& /*options*/) {
  RaiseMissing(location);
}

void sto_RenameInPostgres(std::string const& from, std::string const& /*to*/,
                          sto_Options const& /*options*/) {
  RaiseMissing(from);
}
