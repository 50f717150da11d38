#pragma once

#include "tests/contract/ContractBackEnd.h"
#include "tests/contract/memory/MemorySave.h"

// The back end in memory under test: one session, no file.

class MemorySession : public ContractSession {
 public:
  explicit MemorySession(cls_ClassRegistrar const& registrar) : m_Storage(registrar) {}
  void Save(std::string const& root, Scripted const& object) override { m_Storage.Save(root, object); }
  void Load(std::string const& root, Scripted::ReadFields const& read) override {
    struct Reset {
      Scripted::ReadFields m_Before;
      ~Reset() { Scripted::s_Read = std::move(m_Before); }
    } const reset{std::exchange(Scripted::s_Read, read)};
    static_cast<void>(m_Storage.Load<Scripted>(root));
  }

 private:
  MemoryStorage m_Storage;
};

class MemoryBackEnd : public ContractBackEnd {
 public:
  [[nodiscard]] ContractAbilities Abilities() const override { return {}; }
  std::unique_ptr<ContractSession> Open(std::string const&, ContractMode,
                                        cls_ClassRegistrar const& registrar) override {
    return std::make_unique<MemorySession>(registrar);
  }
  [[nodiscard]] ContractError Classify(nex_Exception const&) const override { return ContractError::Other; }
};
