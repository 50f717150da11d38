#include "module/nex_initialize.h"

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

void DeclareClasses() {
  cls_MetadataRegistrar& registrar = omi_Singleton<cls_MetadataRegistrar>::Instance();
  for (cls_MetadataRegistrar::InitFn const declare : nex_ClassMetadata::InOrder())
    registrar.initClassMetadata(declare, nex_ClassMetadata::RegistrarMask);
}

} // namespace

void nex_initialize(int& count) {
  cls_StartUpLock const lock;
  if (!s_Uses.IsActive()) cls_PlatformCheck::RequireFit(); // first: a refused start changes nothing
  if (!s_Uses.Enter(count)) return;
  mem_initialize(count);
  typ_initialize(count);
  thr_initialize(count);
  omni_initialize(count);
  atr_initialize(count);
  cow_initialize(count);
  cls_initialize(count);
  nex_TypeTable::InsertEntries();
  DeclareClasses();
  nex_OutOfMemoryMessages::Build();
}

void nex_finalize(int& count) {
  cls_StartUpLock const lock;
  if (!s_Uses.Leave(count)) return;
  nex_OutOfMemoryMessages::Destroy();
  cls_finalize(count);
  cow_finalize(count);
  atr_finalize(count);
  omni_finalize(count);
  thr_finalize(count);
  typ_finalize(count);
  mem_finalize(count);
}

void nex_formalize() {}

bool nex_assertFormalize() {
  return false;
}
