#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "tests/support/store/StoreEverything.h"
#include "tests/support/store/StoreFaultVfs.h"
#include "tests/support/store/StoreSnapshot.h"

/// Fixture for recoveries of damaged stores.
class StoreRecoverTest : public StoreFileTest {
 protected:
  static constexpr int PageBytes = 1024;

  StoreFaultVfs const m_Vfs{true}; // nothing waits for the disk

  /// A store with everything that one can hold.
  void MakeEverything() const {
    sto_Options options;
    options.m_PageBytes = PageBytes;
    sto_Store store = sto_Store::Open(Path(), sto_Mode::Create, StoreEverything::Classes(), options);
    StoreEverything::Save(store);
  }
  [[nodiscard]] std::string Recovered() const { return Path("recovered.kvs"); }
  sto_RecoverReport Recover(sto_RecoverOptions const& options = {}) const {
    std::filesystem::remove(Recovered());
    return sto_Recover(Path(), Recovered(), options);
  }
  void Write(StoreBytes const& bytes) const {
    WriteFile(Path(), std::string_view(reinterpret_cast<char const*>(bytes.data()), bytes.size()));
  }

  /// Recovers the store in the file, which was sound before; expects a sound store that has all of it, but what the report
  /// says, and an unchanged file.
  sto_RecoverReport ExpectRecovery(StoreSnapshot const& before) const {
    StoreBytes const damaged = FileBytes(Path());
    sto_RecoverReport report = Recover();
    EXPECT_EQ(FileBytes(Path()), damaged);
    ExpectSound();
    before.ExpectIn(StoreSnapshot(Recovered()), report);
    ExpectNothingElse();
    return report;
  }
  void ExpectSound() const {
    cls_ClassRegistrar const none;
    sto_Store store = sto_Store::Open(Recovered(), sto_Mode::ReadWrite, none);
    for (sto_CheckFinding const& finding : store.Check(sto_CheckDepth::Full).m_Findings)
      ADD_FAILURE() << finding.m_Text;
    EXPECT_FALSE(store.Saves().empty());
  }
  /// No other files than the store, and the recovered one if there is any.
  void ExpectNothingElse() const {
    for (auto const& entry : std::filesystem::directory_iterator(Folder())) {
      std::string const name = entry.path().filename().string();
      EXPECT_TRUE(!name.starts_with("recovered.kvs") || name == "recovered.kvs") << name;
    }
  }
  static bool Has(sto_RecoverReport const& report, sto_LostKind kind) {
    return Find(report, kind) != nullptr;
  }
  static sto_LostItem const* Find(sto_RecoverReport const& report, sto_LostKind kind) {
    for (sto_LostItem const& item : report.m_Lost)
      if (item.m_Kind == kind) return &item;
    return nullptr;
  }
};
