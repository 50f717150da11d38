#pragma once

#include "module/nex_initialize.h"

/// Starts the whole library for a scope. Objects that hold identities must be destroyed before it ends.
class InitialisedModule {
 public:
  InitialisedModule() { nex_initialize(m_Callers); }
  ~InitialisedModule() { nex_finalize(m_Callers); }
  InitialisedModule(InitialisedModule const&) = delete;
  InitialisedModule& operator=(InitialisedModule const&) = delete;

 private:
  int m_Callers = 0;
};
