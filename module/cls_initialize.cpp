#include "module/cls_initialize.h"

#include "metadata/cls_RegistrarHook.h"
#include "persist/cls_Static.h"
#include "platform/mem/mem_UseCount.h"
#include "platform/typ/typ_ArchCompTable.h"

#include <iterator>

namespace {

mem_UseCount s_Uses;

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

constexpr cls_ClassDeclaration StringClasses[] = {
    {"atr_String", 0x1A0007, 800, NoParent},
    {"cow_String", 0x1A0001, 800, NoParent},
};
constexpr unsigned int RegistrarMask = 2;

} // namespace

void cls_initialize(int& count) {
  if (!s_Uses.Enter(count)) return;
  typ_ArchCompTable::InsertEntry(Component, Entries, std::size(Entries));
  if (cls_RegistrarHook* const hook = cls_RegistrarHook::Installed())
    for (cls_ClassDeclaration const& declaration : StringClasses) hook->Declare(declaration, RegistrarMask);
}

void cls_finalize(int& count) {
  if (!s_Uses.Leave(count)) return;
  // The constants hold an identity, so they go before the catalogue.
  thr_ThreadSingletonBase<cls_Static>::Finalize();
  thr_ThreadSingletonBase<cls_UidCatalog>::Finalize();
}
