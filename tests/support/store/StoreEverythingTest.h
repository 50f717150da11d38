#pragma once

#include <map>

#include "tests/support/store/StoreEverything.h"
#include "tests/support/store/StoreRows.h"

/// Fixture with a store that has every kind of object and row.
class StoreEverythingTest : public StoreFileTest {
 protected:
  /// Puts the store under the usual name. It is made once for each size of pages, because that takes long.
  void PutStore(int pageBytes) const {
    static std::map<int, StoreBytes> stores;
    StoreBytes& bytes = stores[pageBytes];
    if (bytes.empty()) {
      sto_Options options;
      options.m_PageBytes = pageBytes;
      sto_Store store = sto_Store::Open(Path(), sto_Mode::Create, StoreEverything::Classes(), options);
      StoreEverything::Save(store);
      store.Close();
      bytes = FileBytes(Path());
    }
    WriteFile(Path(), std::string_view(reinterpret_cast<char const*>(bytes.data()), bytes.size()));
  }
  sto_Store Open(sto_Mode mode = sto_Mode::ReadOnly, std::string_view name = "test.kvs") const {
    return sto_Store::Open(Path(name), mode, StoreEverything::Classes());
  }
  [[nodiscard]] std::int64_t Number(std::string const& sql) const { return SqlFile(Path()).Integer(sql); }
};
