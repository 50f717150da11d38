#include "tests/contract/StoreContract.h"

namespace {

template <int PageBytes> std::unique_ptr<ContractBackEnd> Make(std::string const& folder) {
  return std::make_unique<StoreContractBackEnd>(folder, PageBytes);
}

} // namespace

std::vector<ContractSetting> ContractSettings() {
  return {
      {.m_Name = "Sqlite", .m_Make = Make<16384>, .m_TakesHuge = true},
      {.m_Name = "SqliteReopened", .m_Make = Make<16384>, .m_IsReopened = true},
      {.m_Name = "SqlitePages4K", .m_Make = Make<4096>},
      {.m_Name = "SqlitePages32K", .m_Make = Make<32768>},
  };
}
