#pragma once

#include <optional>

#include "store/sto_Store.h"
#include "tests/contract/ContractBackEnd.h"

// sto_Store over SQLite as a back end under test.

/// A session is an open store.
class StoreContractSession : public ContractSession {
 public:
  explicit StoreContractSession(sto_Store store) : m_Store(std::move(store)) {}

  [[nodiscard]] sto_Store& Store() { return m_Store; }

  void Save(std::string const& root, Scripted const& object) override { m_Store.Save(root, object); }
  void Load(std::string const& root, Scripted::ReadFields const& read) override;
  bool HasRoot(std::string const& root) override { return m_Store.HasRoot(root); }
  std::vector<std::string> Roots() override { return m_Store.Roots(); }
  bool RemoveRoot(std::string const& root) override { return m_Store.RemoveRoot(root); }
  std::int64_t ObjectCount() override { return m_Store.ObjectCount(); }
  std::int64_t CollectGarbage() override { return m_Store.CollectGarbage(); }
  std::int64_t SizeBytes() override { return m_Store.SizeBytes(); }
  void Begin() override { m_Transaction.emplace(m_Store); }
  void Commit() override;
  void Rollback() override { m_Transaction.reset(); }
  Proxy MakeProxy(std::string const& root) override;
  Proxy MakeProxy(cls_ReadVisitor const& visitor) override;

 private:
  sto_Store m_Store;
  std::optional<sto_Transaction> m_Transaction;
};

/// Storages are files of a folder, with pages of a given size.
class StoreContractBackEnd : public ContractBackEnd {
 public:
  StoreContractBackEnd(std::string folder, int pageBytes)
      : m_Folder(std::move(folder)), m_PageBytes(pageBytes) {}

  [[nodiscard]] ContractAbilities Abilities() const override;
  std::unique_ptr<ContractSession> Open(std::string const& storage, ContractMode mode,
                                        cls_ClassRegistrar const& registrar) override;
  [[nodiscard]] ContractError Classify(nex_Exception const& exception) const override;

 private:
  std::string m_Folder;
  int m_PageBytes;
};
