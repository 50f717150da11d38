#pragma once

#include "tests/support/store/StoreClasses.h"
#include "tests/support/store/StoreFile.h"

/// Fixture for tests that work on their own store.
class StoreTest : public StoreFileTest {
 protected:
  sto_Store Create(std::string_view name = "test.kvs") const {
    return sto_Store::Open(Path(name), sto_Mode::Create, TestClasses());
  }
  sto_Store Open(sto_Mode mode = sto_Mode::ReadWrite, std::string_view name = "test.kvs") const {
    return sto_Store::Open(Path(name), mode, TestClasses());
  }
  [[nodiscard]] std::int64_t Query(std::string const& sql, std::string_view name = "test.kvs") const {
    return SqlFile(Path(name)).Integer(sql);
  }
};
