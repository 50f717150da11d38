#include "errors/nex_TypeTable.h"

#include "errors/nex_AssertException.h"
#include "errors/nex_BadCastException.h"
#include "errors/nex_CommandException.h"
#include "errors/nex_ExitException.h"
#include "errors/nex_InvalidObjException.h"
#include "errors/nex_OutOfMemoryException.h"
#include "errors/nex_SystemErrorException.h"
#include "errors/nex_TextException.h"
#include "platform/atr/atr_translate.h"
#include "platform/typ/typ_ArchCompTable.h"

namespace {

constexpr unsigned int Root = nex_Exception::TypeId();
constexpr unsigned int NoParent = typ_ArchCompTable::NoParent;
constexpr unsigned int ClassKind = 4;

constexpr typ_ArchCompEntry Entries[] = {
    {0, NoParent, nullptr},
    {ClassKind, NoParent, "nex_Exception"},
    {ClassKind, Root, "nex_TextException"},
    {ClassKind, Root, "nex_CommandException"},
    {ClassKind, Root, "nex_AssertException"},
    {ClassKind, Root, "nex_BadCastException"},
    {ClassKind, Root, "nex_ExitException"},
    {ClassKind, Root, "nex_InvalidObjException"},
    {ClassKind, Root, "nex_SystemErrorException"},
    {ClassKind, Root, "nex_OutOfMemoryException"},
};

// In the order of declaration, which is fixed.
constexpr cls_ClassDeclaration ClassDeclarations[] = {
    {"nex_AssertException", nex_AssertException::TypeId(), 800, Root},
    {"nex_BadCastException", nex_BadCastException::TypeId(), 800, Root},
    {"nex_CommandException", nex_CommandException::TypeId(), 800, Root},
    {"nex_Exception", nex_Exception::TypeId(), 800, NoParent},
    {"nex_ExitException", nex_ExitException::TypeId(), 800, Root},
    {"nex_OutOfMemoryException", nex_OutOfMemoryException::TypeId(), 871, Root},
    {"nex_InvalidObjException", nex_InvalidObjException::TypeId(), 800, Root},
    {"nex_SystemErrorException", nex_SystemErrorException::TypeId(), 800, Root},
    {"nex_TextException", nex_TextException::TypeId(), 800, Root},
};

// The lines that the checks report. They are part of the messages' contract and do not follow this file.
constexpr int ClassAbsentLine = 46;
constexpr int VersionAbsentLine = 60;
constexpr int NameAbsentLine = 74;

[[noreturn]] void Raise(atr_translate const& message, int line) {
  nex_TextException(message.Result()).Throw("nex_TypeTable", line);
}

void ClassAbsent(unsigned int classId) {
  atr_translate message("cls_ClassRegistrar::ConstGet failed: Class %s is not declared in metadata.");
  atr_SubstituteFormat(message, 1, atr_StringBase(typ_ArchCompTable::GetName(classId)));
  Raise(message, ClassAbsentLine);
}

void VersionAbsent(unsigned int classId, int version) {
  atr_translate message(
      "cls_ClassRegistrar::GetClassMetadata failed: Class %s/Version %d is not declared in metadata.");
  atr_SubstituteFormat(message, 1, atr_StringBase(typ_ArchCompTable::GetName(classId)));
  atr_SubstituteFormat(message, 2, atr_StringBase(version));
  Raise(message, VersionAbsentLine);
}

void NameAbsent(cow_String const& name) {
  atr_translate message(
      "cls_ClassRegistrar::GetClassID failed: Class ID can't be retrieved from class name %s.");
  atr_SubstituteFormat(message, 1, atr_StringBase(name));
  Raise(message, NameAbsentLine);
}

} // namespace

void nex_TypeTable::InsertEntries() {
  typ_ArchCompTable::InsertEntry(Component, Entries, std::size(Entries));
}

std::span<cls_ClassDeclaration const> nex_TypeTable::Declarations() noexcept {
  return ClassDeclarations;
}

cls_RegistrarChecks nex_TypeTable::Checks() noexcept {
  return {&ClassAbsent, &VersionAbsent, &NameAbsent};
}
