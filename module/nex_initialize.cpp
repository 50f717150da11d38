#include "module/nex_initialize.h"

#include <cstddef>
#include <iterator>

#include "errors/nex_ClassMetadata.h"
#include "errors/nex_OutOfMemoryMessages.h"
#include "errors/nex_TypeTable.h"
#include "module/cls_PlatformCheck.h"
#include "module/cls_StartUpLock.h"
#include "module/cls_initialize.h"
#include "platform/atr/atr_initialize.h"
#include "platform/cow/cow_initialize.h"
#include "platform/mem/mem_UseCount.h"
#include "platform/mem/mem_initialize.h"
#include "platform/omni/omni_initialize.h"
#include "platform/thr/thr_initialize.h"
#include "platform/typ/typ_initialize.h"

namespace {

mem_UseCount s_Uses;

/// A module that is started before the error classes.
struct Module {
  void (*m_Start)(int& count);
  void (*m_Stop)(int& count);
};

constexpr Module Modules[] = {
    {&mem_initialize, &mem_finalize},   {&typ_initialize, &typ_finalize}, {&thr_initialize, &thr_finalize},
    {&omni_initialize, &omni_finalize}, {&atr_initialize, &atr_finalize}, {&cow_initialize, &cow_finalize},
    {&cls_initialize, &cls_finalize},
};

/// Starts the modules and the error classes; `started` counts the modules.
void Start(int& count, std::size_t& started) {
  for (Module const& module : Modules) {
    module.m_Start(count);
    ++started;
  }
  nex_TypeTable::InsertEntries();
  cls_MetadataRegistrar& registrar = omi_Singleton<cls_MetadataRegistrar>::Instance();
  for (cls_MetadataRegistrar::InitFn const declare : nex_ClassMetadata::InOrder())
    registrar.initClassMetadata(declare, nex_ClassMetadata::RegistrarMask);
  nex_OutOfMemoryMessages::Build();
}

/// Stops the first modules, in reverse order.
void Stop(int& count, std::size_t started) {
  nex_OutOfMemoryMessages::Destroy();
  while (started > 0) Modules[--started].m_Stop(count);
}

} // namespace

void nex_initialize(int& count) {
  cls_StartUpLock const lock;
  if (!s_Uses.IsActive()) cls_PlatformCheck::RequireFit(); // first: a refused start changes nothing
  if (!s_Uses.Enter(count)) return;
  std::size_t started = 0;
  try {
    Start(count, started);
  } catch (...) { // otherwise the next start would only count, and find half a library
    Stop(count, started);
    s_Uses.Leave(count);
    throw;
  }
}

void nex_finalize(int& count) {
  cls_StartUpLock const lock;
  if (s_Uses.Leave(count)) Stop(count, std::size(Modules));
}

void nex_formalize() {}

bool nex_assertFormalize() {
  return false;
}
