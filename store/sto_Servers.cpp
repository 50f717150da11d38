#include "store/sto_Servers.h"

#include "store/base/sto_Exception.h"
#include "store/postgres/sto_PostgresStore.h"

void sto_RemoveFromServer(std::string const& location) {
  if (!sto_IsOnServer(location))
    sto_Raise(sto_ErrorKind::Misuse, location + ": This is no store on a server; delete the file.");
  sto_RemoveFromPostgres(location, {});
}
