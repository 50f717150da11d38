#pragma once

#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "describe/dsc_Described.h"
#include "store/sto_Store.h"
#include "store/sto_Transaction.h"
#include "tests/support/store/StoreFile.h"

/// Fixture for tests that save objects of described classes in one session and load them in another.
class DescribedTest : public StoreFileTest {
 protected:
  template <class T> void SaveNew(T const& object, std::string_view name = "test.kvs") const {
    cls_ClassRegistrar registrar;
    T::Declare(registrar);
    sto_Store store = sto_Store::Open(Path(name), sto_Mode::Create, registrar, StrictOptions());
    store.Save("root", object);
    store.Close();
  }
  template <class T> [[nodiscard]] std::unique_ptr<T> Load(std::string_view name = "test.kvs") const {
    cls_ClassRegistrar registrar;
    T::Declare(registrar);
    sto_Store store = sto_Store::Open(Path(name), sto_Mode::ReadOnly, registrar, StrictOptions());
    return store.Load<T>("root");
  }
  /// Loads the object and saves it under the same name, in one session.
  template <class T> void SaveAgain(std::string_view name = "test.kvs") const {
    cls_ClassRegistrar registrar;
    T::Declare(registrar);
    sto_Store store = sto_Store::Open(Path(name), sto_Mode::ReadWrite, registrar, StrictOptions());
    store.Save("root", *store.Load<T>("root"));
    store.Close();
  }
  [[nodiscard]] std::size_t ObjectCount(std::string_view name = "test.kvs") const {
    return SqlFile(Path(name)).Objects().size();
  }

  /// What raises when `act` runs says this; empty if nothing does.
  template <class Act> [[nodiscard]] static std::string RefusalOf(Act act) {
    try {
      act();
    } catch (nex_Exception const& failure) {
      return failure.UserReport().CharsOrEmpty();
    }
    return {};
  }

  /// Those of the setting that the program runs with: see CMakeLists.txt.
  [[nodiscard]] static sto_Options StrictOptions() {
    static char const* const named = std::getenv("KVL_DESCRIBED_SETTING");
    std::string_view const setting = named == nullptr ? "" : named;
    sto_Options options;
    options.m_Strict = true;
    options.m_PageBytes = setting == "pages4k" ? 4096 : setting == "pages32k" ? 32768 : options.m_PageBytes;
    options.m_ReadersBesideWriter = setting == "pages4k";
    options.m_Compress = setting == "pages32k";
    return options;
  }
};
