#include "errors/nex_TypeTable.h"

#include <iterator>

#include "errors/nex_AssertException.h"
#include "errors/nex_BadCastException.h"
#include "errors/nex_CommandException.h"
#include "errors/nex_ExitException.h"
#include "errors/nex_InvalidObjException.h"
#include "errors/nex_OutOfMemoryException.h"
#include "errors/nex_SystemErrorException.h"
#include "errors/nex_TextException.h"
#include "metadata/cls_ClassRegistrar.h"
#include "platform/atr/atr_translate.h"
#include "platform/typ/typ_ArchCompTable.h"

namespace {

constexpr unsigned int RootClass = nex_Exception::TypeId();
constexpr unsigned int NoParent = typ_ArchCompTable::NoParent;
constexpr unsigned int ClassKind = 4;

constexpr typ_ArchCompEntry Entries[] = {
    {0, NoParent, nullptr},
    {ClassKind, NoParent, "nex_Exception"},
    {ClassKind, RootClass, "nex_TextException"},
    {ClassKind, RootClass, "nex_CommandException"},
    {ClassKind, RootClass, "nex_AssertException"},
    {ClassKind, RootClass, "nex_BadCastException"},
    {ClassKind, RootClass, "nex_ExitException"},
    {ClassKind, RootClass, "nex_InvalidObjException"},
    {ClassKind, RootClass, "nex_SystemErrorException"},
    {ClassKind, RootClass, "nex_OutOfMemoryException"},
};

// The lines that the checks report. Intentional: they are part of the messages, not lines of this file.
constexpr int ClassAbsentLine = 46;
constexpr int VersionAbsentLine = 60;
constexpr int NameAbsentLine = 74;

[[noreturn]] void Raise(atr_translate const& message, int line) {
  nex_TextException(message.Result()).Throw("nex_TypeTable", line);
}

void CheckClass(cls_ClassRegistrar const& registrar, unsigned int const& classId) {
  if (registrar.ClassIsPresent(classId)) return;
  atr_translate message("cls_ClassRegistrar::ConstGet failed: Class %s is not declared in metadata.");
  atr_SubstituteFormat(message, 1, atr_StringBase(typ_ArchCompTable::GetName(classId)));
  Raise(message, ClassAbsentLine);
}

void CheckVersion(cls_ClassRegistrar const& registrar, unsigned int const& classId, int version) {
  if (registrar.ClassVersionIsPresent(classId, version)) return;
  atr_translate message(
      "cls_ClassRegistrar::GetClassMetadata failed: Class %s/Version %d is not declared in metadata.");
  atr_SubstituteFormat(message, 1, atr_StringBase(typ_ArchCompTable::GetName(classId)));
  atr_SubstituteFormat(message, 2, atr_StringBase(version));
  Raise(message, VersionAbsentLine);
}

void CheckName(cls_ClassRegistrar const& registrar, cow_String const& name) {
  if (registrar.ClassNameIsPresent(name)) return;
  atr_translate message(
      "cls_ClassRegistrar::GetClassID failed: Class ID can't be retrieved from class name %s.");
  atr_SubstituteFormat(message, 1, atr_StringBase(name));
  Raise(message, NameAbsentLine);
}

} // namespace

void nex_TypeTable::InsertEntries() {
  cls_ClassRegistrar::SetConstGetCheck(&CheckClass);
  cls_ClassRegistrar::SetGetClassMetadataCheck(&CheckVersion);
  cls_ClassRegistrar::SetGetClassIDCheck(&CheckName);
  typ_ArchCompTable::InsertEntry(Component, Entries, std::size(Entries));
}
