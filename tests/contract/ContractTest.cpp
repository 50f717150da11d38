#include "tests/contract/ContractTest.h"

#include <iostream>

namespace {

template <int PageBytes>
sto_Store OpenSqlite(std::string const& folder, sto_Mode mode, cls_ClassRegistrar const& registrar) {
  return sto_Store::Open(folder + "/contract.kvs", mode, registrar, {.m_PageBytes = PageBytes});
}

} // namespace

std::vector<ContractSetting> ContractSettings() {
  return {
      {"Sqlite", OpenSqlite<16384>, false, true},
      {"SqliteReopened", OpenSqlite<16384>, true, false},
      {"SqlitePages4K", OpenSqlite<4096>, false, false},
      {"SqlitePages32K", OpenSqlite<32768>, false, false},
  };
}

std::vector<ContractSetting> HugeContractSettings() {
  std::vector<ContractSetting> settings = ContractSettings();
  std::erase_if(settings, [](ContractSetting const& setting) { return !setting.m_TakesHuge; });
  return settings;
}

sto_Store& ContractTest::Store() {
  if (!m_Store) {
    m_Store.emplace(GetParam().m_Open(Folder().string(), m_NextMode, ContractClasses()));
    m_NextMode = sto_Mode::ReadWrite;
  }
  return *m_Store;
}

void ContractTest::Step() {
  if (GetParam().m_IsReopened) Reopen();
}

void ContractTest::Reopen(sto_Mode mode) {
  static_cast<void>(Store());
  m_Store.reset();
  m_NextMode = mode;
}

sto_Store ContractTest::SecondSession() const {
  return GetParam().m_Open(Folder().string(), sto_Mode::ReadWrite, ContractClasses());
}

sto_Store ContractTest::OtherStore(ContractSetting const& setting, std::string const& name,
                                   sto_Mode mode) const {
  std::filesystem::path const folder = Folder() / name;
  std::filesystem::create_directory(folder);
  return setting.m_Open(folder.string(), mode, ContractClasses());
}

void ContractTest::TearDown() {
  if (HasFailure() && !m_LastRaised.empty()) std::cerr << "raised last: " << m_LastRaised << "\n";
}

template <class Act> void ContractTest::Noting(Act act) {
  try {
    act();
  } catch (nex_Exception& exception) {
    m_LastRaised = exception.AsString().Chars();
    throw;
  }
}

void ContractTest::Write(WriteFields write, std::string_view root) {
  Noting([&] {
    Store().Save(root, Scripted(std::move(write)));
    m_Kept.clear();
  });
  Step();
}

void ContractTest::Rewrite(WriteFields write, std::string_view root) {
  Noting([&] {
    std::unique_ptr<Scripted> const object = LoadFields(
        Store(), [](cls_ReadVisitor const&) {}, root);
    object->m_Write = std::move(write);
    Store().Save(root, *object);
  });
  Step();
}

void ContractTest::Read(ReadFields read, std::string_view root) {
  bool isRead = false;
  Noting([&] {
    static_cast<void>(LoadFields(
        Store(),
        [&](cls_ReadVisitor const& visitor) {
          isRead = true;
          read(visitor);
        },
        root));
  });
  EXPECT_TRUE(isRead);
}
