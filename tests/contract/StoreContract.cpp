#include "tests/contract/StoreContract.h"

#include <utility>

#include "store/sto_Proxy.h"

namespace {

ContractError KindOf(sto_ErrorKind kind) {
  switch (kind) {
  case sto_ErrorKind::NotFound:
    return ContractError::NotFound;
  case sto_ErrorKind::WrongClass:
    return ContractError::WrongClass;
  case sto_ErrorKind::ReadOnly:
    return ContractError::ReadOnly;
  case sto_ErrorKind::Full:
    return ContractError::Full;
  case sto_ErrorKind::Unavailable:
    return ContractError::Unavailable;
  case sto_ErrorKind::Misuse:
    return ContractError::Misuse;
  default:
    return ContractError::Other;
  }
}

} // namespace

ContractAbilities StoreContractBackEnd::Abilities() const {
  ContractAbilities can;
  can.m_Reopens = true;
  can.m_ReadsOnly = true;
  can.m_SharesChanges = true;
  can.m_NamesRoots = true;
  can.m_CountsObjects = true;
  can.m_CollectsGarbage = true;
  can.m_ReusesRoom = true;
  can.m_HasTransactions = true;
  can.m_MakesProxies = true;
  can.m_OffersStoredObjects = true;
  can.m_HasMoreLists = true;
  can.m_AsksProxies = true;
  can.m_ChecksDeclarations = true;
  can.m_RefusesPartialRows = true;
  can.m_ConvertsIntegers = true;
  can.m_NestingLimit = 1000;
  can.m_TellsApart = {ContractError::NotFound, ContractError::WrongClass, ContractError::Misuse,
                      ContractError::ReadOnly, ContractError::Full,       ContractError::Unavailable};
  return can;
}

std::unique_ptr<ContractSession> StoreContractBackEnd::Open(std::string const& storage, ContractMode mode,
                                                            cls_ClassRegistrar const& registrar) {
  sto_Mode const how = mode == ContractMode::Create     ? sto_Mode::Create
                       : mode == ContractMode::ReadOnly ? sto_Mode::ReadOnly
                                                        : sto_Mode::ReadWrite;
  return std::make_unique<StoreContractSession>(
      sto_Store::Open(m_Folder + "/" + storage + ".kvs", how, registrar, {.m_PageBytes = m_PageBytes}));
}

ContractError StoreContractBackEnd::Classify(nex_Exception const& exception) const {
  auto const* const raised = dynamic_cast<sto_Exception const*>(&exception);
  return raised == nullptr ? ContractError::Other : KindOf(raised->Kind());
}

void StoreContractSession::Load(std::string const& root, Scripted::ReadFields const& read) {
  struct Reset {
    Scripted::ReadFields m_Before;
    ~Reset() { Scripted::s_Read = std::move(m_Before); }
  } const reset{std::exchange(Scripted::s_Read, read)};
  static_cast<void>(m_Store.Load<Scripted>(root));
}

void StoreContractSession::Commit() {
  if (!m_Transaction) throw std::logic_error("there is no transaction");
  m_Transaction->Commit();
  m_Transaction.reset();
}

ContractSession::Proxy StoreContractSession::MakeProxy(std::string const& root) {
  return sto_MakeProxy(m_Store, root);
}

ContractSession::Proxy StoreContractSession::MakeProxy(cls_ReadVisitor const& visitor) {
  return sto_MakeProxy(visitor);
}
