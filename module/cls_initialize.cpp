#include "module/cls_initialize.h"

#include <iterator>

#include "collections/cls_ExtQuant.h"
#include "collections/cls_PTrieHeap.h"
#include "metadata/cls_MetadataRegistrar.h"
#include "module/cls_PlatformCheck.h"
#include "module/cls_StartUpLock.h"
#include "persist/adapters/cls_TypeAdapter.h"
#include "persist/identity/cls_Static.h"
#include "platform/mem/mem_UseCount.h"
#include "platform/typ/typ_ArchCompTable.h"
#include "wrappers/cls_xpString.h"
#include "wrappers/cls_xpTrString.h"

namespace {

mem_UseCount s_ClsUses;

constexpr unsigned int Component = 35;
constexpr unsigned int NoParent = typ_ArchCompTable::NoParent;
constexpr unsigned int ClassKind = 4;

constexpr typ_ArchCompEntry Entries[] = {
    {0, NoParent, nullptr},
    {ClassKind, NoParent, "cls_InternalList"},
    {ClassKind, NoParent, "cls_InternalMap"},
    {0, NoParent, nullptr},
    {0, NoParent, nullptr},
    {ClassKind, NoParent, "cls_Blob"},
};

constexpr int StringVersion = 800;
constexpr unsigned int RegistrarMask = 2;

void DeclareTrString(cls_ClassRegistrar& registrar) {
  registrar.AddClassMD(new cls_TypeAdapter<cls_xpTrString>("atr_String"_cow, StringVersion, NoParent));
}

void DeclareString(cls_ClassRegistrar& registrar) {
  registrar.AddClassMD(new cls_TypeAdapter<cls_xpString>("cow_String"_cow, StringVersion, NoParent));
}

void Declare() {
  typ_ArchCompTable::InsertEntry(Component, Entries, std::size(Entries));
  cls_MetadataRegistrar& registrar = omi_Singleton<cls_MetadataRegistrar>::Instance();
  registrar.initClassMetadata(&DeclareTrString, RegistrarMask);
  registrar.initClassMetadata(&DeclareString, RegistrarMask);
}

} // namespace

void cls_initialize(int& count) {
  cls_StartUpLock const lock;
  if (!s_ClsUses.IsActive()) cls_PlatformCheck::RequireFit(); // first: a refused start changes nothing
  if (!s_ClsUses.Enter(count)) return;
  try {
    Declare();
  } catch (...) { // otherwise the next start would only count, and find no declarations
    delete omi_Singleton<cls_MetadataRegistrar>::InstanceIfAny();
    s_ClsUses.Leave(count);
    throw;
  }
}

void cls_finalize(int& count) {
  cls_StartUpLock const lock;
  if (!s_ClsUses.Leave(count)) return;
  // The constants hold an identity, so they are destroyed before the catalogue.
  thr_ThreadSingletonBase<cls_Static>::Finalize();
  thr_ThreadSingletonBase<cls_UidCatalog>::Finalize();
  thr_ThreadSingletonBase<cls_PTrieHeap>::Finalize();
  thr_ThreadSingletonBase<cls_ExtQuant>::Finalize();
  delete omi_Singleton<cls_MetadataRegistrar>::InstanceIfAny();
}
