#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "store/sto_Servers.h"
#include "store/sto_Store.h"
#include "tests/support/store/StoreTest.h"

/// Fixture for tests with stores on the server that the environment names; scripts/postgres.sh starts one.
class ServerTest : public StoreTest {
 protected:
  void SetUp() override {
    StoreTest::SetUp();
    ASSERT_NE(std::getenv("KVL_POSTGRES"), nullptr) << "start this program with scripts/postgres.sh";
  }
  /// The location of a store of this test.
  [[nodiscard]] std::string Place(std::string const& name) const {
    return std::getenv("KVL_POSTGRES") + ("#" + Path() + "/" + name);
  }
  [[nodiscard]] sto_Store Make(std::string const& name) const {
    return sto_Store::Open(Place(name), sto_Mode::Create, TestClasses());
  }
  [[nodiscard]] sto_Store Reopen(std::string const& name, sto_Options const& options = {}) const {
    return sto_Store::Open(Place(name), sto_Mode::ReadWrite, TestClasses(), options);
  }
};
