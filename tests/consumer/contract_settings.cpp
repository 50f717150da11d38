/// Runs the contract suite over a store, as a program outside of the tree does over its own back end.

#include "tests/contract/ContractBackEnd.h"

#include <memory>
#include <string>
#include <utility>

#include <kvlpersist/store/sto_Store.h>

namespace {

class Session : public ContractSession {
 public:
  explicit Session(sto_Store store) : m_Store(std::move(store)) {}
  void Save(std::string const& root, Scripted const& object) override { m_Store.Save(root, object); }
  void Load(std::string const& root, Scripted::ReadFields const& read) override {
    Scripted::ReadFields const before = std::exchange(Scripted::s_Read, read);
    try {
      static_cast<void>(m_Store.Load<Scripted>(root));
    } catch (...) {
      Scripted::s_Read = before;
      throw;
    }
    Scripted::s_Read = before;
  }

 private:
  sto_Store m_Store;
};

class BackEnd : public ContractBackEnd {
 public:
  explicit BackEnd(std::string folder) : m_Folder(std::move(folder)) {}
  [[nodiscard]] ContractAbilities Abilities() const override {
    ContractAbilities can;
    can.m_OffersStoredObjects = true;
    can.m_ConvertsIntegers = true;
    can.m_RefusesPartialRows = true;
    can.m_NestingLimit = 1000;
    return can;
  }
  std::unique_ptr<ContractSession> Open(std::string const& storage, ContractMode,
                                        cls_ClassRegistrar const& registrar) override {
    return std::make_unique<Session>(
        sto_Store::Open(m_Folder + "/" + storage + ".kvs", sto_Mode::Create, registrar));
  }
  [[nodiscard]] ContractError Classify(nex_Exception const&) const override { return ContractError::Other; }

 private:
  std::string m_Folder;
};

std::unique_ptr<ContractBackEnd> Make(std::string const& folder) {
  return std::make_unique<BackEnd>(folder);
}

} // namespace

std::vector<ContractSetting> ContractSettings() {
  return {{.m_Name = "Store", .m_Make = Make}};
}
