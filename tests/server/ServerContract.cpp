#include <cstdlib>
#include <map>

#include "store/server/sto_ServerDriver.h"
#include "store/session/sto_Session.h"
#include "tests/contract/StoreContract.h"
#include "tests/support/server/MemoryServer.h"

namespace {

/// Stores on servers in memory, which live as long as the back end.
class ServerBackEnd final : public StoreContractBackEnd {
 public:
  explicit ServerBackEnd(std::string const& folder) : StoreContractBackEnd(folder, 0) {}

  std::unique_ptr<ContractSession> Open(std::string const& storage, ContractMode mode,
                                        cls_ClassRegistrar const& registrar) override {
    std::shared_ptr<MemoryServer>& server = m_Servers[storage];
    if (server == nullptr) server = std::make_shared<MemoryServer>();
    auto driver = std::make_unique<sto_ServerDriver>(std::make_unique<MemoryLink>(server, storage),
                                                     mode == ContractMode::ReadOnly, sto_Options());
    auto session = std::make_unique<sto_Session>(storage, std::move(driver), registrar, sto_Options());
    return std::make_unique<StoreContractSession>(sto_Store(std::move(session)));
  }

 private:
  std::map<std::string, std::shared_ptr<MemoryServer>> m_Servers;
};

std::unique_ptr<ContractBackEnd> Make(std::string const& folder) {
  return std::make_unique<ServerBackEnd>(folder);
}

/// Stores in the PostgreSQL database that the environment names.
std::unique_ptr<ContractBackEnd> MakePostgres(std::string const& folder) {
  constexpr int PageBytes = 16384; // which a server does not ask for
  return std::make_unique<StoreContractBackEnd>(std::getenv("KVL_POSTGRES") + ("#" + folder), PageBytes);
}

} // namespace

std::vector<ContractSetting> ContractSettings() {
  std::vector<ContractSetting> settings{
      {.m_Name = "Server", .m_Make = Make},
      {.m_Name = "ServerReopened", .m_Make = Make, .m_IsReopened = true},
  };
  if (std::getenv("KVL_POSTGRES") != nullptr) {
    settings.push_back({.m_Name = "Postgres", .m_Make = MakePostgres});
    settings.push_back({.m_Name = "PostgresReopened", .m_Make = MakePostgres, .m_IsReopened = true});
  }
  return settings;
}
