#pragma once

#include "module/nex_initialize.h"

/// The whole library, started for a scope. Objects that hold identities must be gone at its end.
class InitialisedModule {
 public:
  InitialisedModule() { nex_initialize(m_Callers); }
  ~InitialisedModule() { nex_finalize(m_Callers); }
  InitialisedModule(InitialisedModule const&) = delete;
  InitialisedModule& operator=(InitialisedModule const&) = delete;

 private:
  int m_Callers = 0;
};
