#include "examples/backend-jsonl/jsl_Session.h"
#include "tests/contract/ContractBackEnd.h"

// The contract suite over the back end of examples/backend-jsonl.

namespace {

class JsonlSession : public ContractSession {
 public:
  JsonlSession(std::string const& path, jsl_Mode mode, cls_ClassRegistrar const& registrar)
      : m_Session(path, mode, registrar) {}

  void Save(std::string const& root, Scripted const& object) override { m_Session.Save(root, object); }
  void Load(std::string const& root, Scripted::ReadFields const& read) override {
    struct Reset {
      Scripted::ReadFields m_Before;
      ~Reset() { Scripted::s_Read = std::move(m_Before); }
    } const reset{std::exchange(Scripted::s_Read, read)};
    static_cast<void>(m_Session.Load<Scripted>(root));
  }
  std::int64_t ObjectCount() override {
    return std::ranges::count_if(m_Session.Lines(),
                                 [](auto const& line) { return line.second.contains("parts"); });
  }

 private:
  jsl_Session m_Session;
};

class JsonlBackEnd : public ContractBackEnd {
 public:
  explicit JsonlBackEnd(std::string folder) : m_Folder(std::move(folder)) {}

  [[nodiscard]] ContractAbilities Abilities() const override {
    ContractAbilities abilities;
    abilities.m_Reopens = true;
    abilities.m_ReadsOnly = true;
    abilities.m_SharesChanges = true;
    abilities.m_CountsObjects = true;
    abilities.m_OffersStoredObjects = true;
    abilities.m_HasMoreLists = true;
    abilities.m_ConvertsIntegers = true;
    return abilities;
  }
  std::unique_ptr<ContractSession> Open(std::string const& storage, ContractMode mode,
                                        cls_ClassRegistrar const& registrar) override {
    jsl_Mode const own = mode == ContractMode::Create      ? jsl_Mode::Create
                         : mode == ContractMode::ReadWrite ? jsl_Mode::ReadWrite
                                                           : jsl_Mode::ReadOnly;
    return std::make_unique<JsonlSession>(m_Folder + "/" + storage + ".jsonl", own, registrar);
  }
  [[nodiscard]] ContractError Classify(nex_Exception const&) const override { return ContractError::Other; }

 private:
  std::string m_Folder;
};

std::unique_ptr<ContractBackEnd> Make(std::string const& folder) {
  return std::make_unique<JsonlBackEnd>(folder);
}

} // namespace

std::vector<ContractSetting> ContractSettings() {
  return {{.m_Name = "Jsonl", .m_Make = Make},
          {.m_Name = "JsonlReopened", .m_Make = Make, .m_IsReopened = true}};
}
