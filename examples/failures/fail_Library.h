#pragma once

#include "examples/failures/fail_TypeTable.h"
#include "module/nex_initialize.h"

// Starts the library, with the example's types, for a scope. Objects that hold identities, including caught
// exceptions, must be destroyed before it ends.
class fail_Library {
 public:
  fail_Library() {
    nex_initialize(m_Count);
    fail_TypeTable::InsertEntries();
  }
  ~fail_Library() { nex_finalize(m_Count); }
  fail_Library(fail_Library const&) = delete;
  fail_Library& operator=(fail_Library const&) = delete;

 private:
  int m_Count = 0;
};
