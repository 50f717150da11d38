#include "tests/contract/memory/MemoryContract.h"

// The contract suite over the back end in memory.

namespace {

std::unique_ptr<ContractBackEnd> Make(std::string const&) {
  return std::make_unique<MemoryBackEnd>();
}

} // namespace

std::vector<ContractSetting> ContractSettings() {
  return {{.m_Name = "Memory", .m_Make = Make}};
}
