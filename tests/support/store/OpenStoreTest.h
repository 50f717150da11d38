#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "metadata/cls_ClassRegistrar.h"
#include "store/sto_Store.h"
#include "tests/support/store/StoreFile.h"

/// Test fixture with a new store, which can be closed and opened again.
class OpenStoreTest : public StoreFileTest {
 protected:
  /// `declare` is called with the registrar of the store.
  explicit OpenStoreTest(void (*declare)(cls_ClassRegistrar& registrar)) {
    declare(m_Registrar);
    Create();
  }

  void Create() { m_Store.emplace(sto_Store::Open(Path(), sto_Mode::Create, m_Registrar)); }
  void Reopen(sto_Mode mode = sto_Mode::ReadWrite) {
    m_Store.reset();
    m_Store.emplace(sto_Store::Open(Path(), mode, m_Registrar));
  }
  /// An empty store again.
  void StartAgain() {
    m_Store.reset();
    std::filesystem::remove(Path());
    Create();
  }
  /// A second session on the store.
  [[nodiscard]] sto_Store OtherSession() { return sto_Store::Open(Path(), sto_Mode::ReadWrite, m_Registrar); }

  /// Expects `act` to raise sto_Exception of the given kind, with a part of its message.
  template <class Act> static void ExpectError(sto_ErrorKind kind, std::string_view part, Act act) {
    std::string const message = MessageOf(kind, act);
    EXPECT_TRUE(Contains(message, part)) << message;
  }

  cls_ClassRegistrar m_Registrar;
  std::optional<sto_Store> m_Store;
};
