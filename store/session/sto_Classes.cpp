#include "store/session/sto_Classes.h"

#include <algorithm>
#include <utility>

#include "errors/nex_ClassMetadata.h"
#include "persist/adapters/cls_TypeAdapter.h"
#include "persist/pointers/cls_RegistrarSource.h"
#include "platform/omni/omi_BtreeIterator.h"
#include "store/base/sto_Exception.h"
#include "store/session/sto_DeletedObjects.h"
#include "wrappers/cls_xpString.h"
#include "wrappers/cls_xpTrString.h"

namespace {

constexpr unsigned int NoBase = cls_ClassMetadata::RootClassId;
constexpr int LibraryVersion = 800;

/// Classes that appear in records but in no registrar: the value wrappers are stored as these.
void DeclareCollections(cls_ClassRegistrar& registrar) {
  registrar.CreateClassMD("cls_InternalList"_cow, cls_InternalListTypeId, LibraryVersion, nullptr, NoBase);
  registrar.CreateClassMD("cls_InternalMap"_cow, cls_InternalMapTypeId, LibraryVersion, nullptr, NoBase);
  registrar.CreateClassMD("cls_Blob"_cow, cls_BlobTypeId, LibraryVersion, nullptr, NoBase);
  registrar.CreateClassMD("sto_DeletedObject"_cow, sto_DeletedClassId, 1, nullptr, NoBase);
}

/// The library registers the string wrappers without attributes, but a store describes what it writes.
void DeclareStrings(cls_ClassRegistrar& registrar) {
  registrar.AddClassMD(new cls_TypeAdapter<cls_xpString>("cow_String"_cow, LibraryVersion, NoBase))
      .AddAttribute(cls_FieldHandle("STRING"_cow), ATTR_STRING, 1, COLLECTION_NONE);
  registrar.AddClassMD(new cls_TypeAdapter<cls_xpTrString>("atr_String"_cow, LibraryVersion, NoBase))
      .AddAttribute(cls_FieldHandle("TRSTRING"_cow), ATTR_TRSTRING, 1, COLLECTION_NONE);
}

void DeclareOwnException(cls_ClassRegistrar& registrar) {
  for (int const version : {1, 2}) {
    cls_ClassMetadata& metadata = registrar.AddClassMD(
        new cls_TypeAdapter<sto_Exception>("sto_Exception"_cow, version, nex_Exception::TypeId()));
    metadata.AddAttribute(cls_FieldHandle(0, "m_Kind"_cow), ATTR_INT, 1, COLLECTION_NONE)
        .AddAttribute(cls_FieldHandle(1, "m_Value"_cow), ATTR_TRSTRING, 1, COLLECTION_NONE);
    if (version == 2)
      metadata.AddAttribute(cls_FieldHandle(2, "m_Objects"_cow), ATTR_STRING, 1, COLLECTION_NONE)
          .AddAttribute(cls_FieldHandle(3, "m_Roots"_cow), ATTR_STRING, 1, COLLECTION_NONE);
  }
}

} // namespace

sto_Classes::sto_Classes(cls_ClassRegistrar const& program) : m_Program(program) {
  DeclareLibrary(m_Library);
}

void sto_Classes::DeclareLibrary(cls_ClassRegistrar& registrar) {
  DeclareCollections(registrar);
  DeclareStrings(registrar);
  DeclareOwnException(registrar);
  for (cls_MetadataRegistrar::InitFn const declare : nex_ClassMetadata::InOrder()) declare(registrar);
}

cls_ClassRegistrar const& sto_Classes::RegistrarOf(unsigned int classId) const {
  return m_Library.ClassIsPresent(classId) ? m_Library : m_Program;
}

cls_ClassMetadata const* sto_Classes::Newest(unsigned int classId) const {
  cls_ClassRegistrar const& registrar = RegistrarOf(classId);
  return registrar.ClassIsPresent(classId) ? &registrar.ConstGet(classId) : nullptr;
}

cls_ClassMetadata const* sto_Classes::ForVersion(unsigned int classId, int version) const {
  CheckAnswers();
  auto const number = static_cast<unsigned int>(version);
  if (cls_ClassMetadata const* const* const known = m_ByVersion.Find(classId, number)) return *known;
  cls_ClassMetadata const* const found = FindVersion(classId, version); // may walk the whole registry
  m_ByVersion.Keep(classId, number, found);
  return found;
}

void sto_Classes::ForgetAnswers(unsigned int count) const noexcept {
  m_KnownVersions = count;
  m_InOrder.clear();
  m_ByVersion.Forget();
  m_Bases.Forget();
}

std::vector<cls_ClassMetadata const*> const& sto_Classes::InOrder() const {
  if (m_InOrder.empty()) {
    std::vector<cls_ClassMetadata const*> all;
    for (omi_BtreeIterator i(m_Program.GetVersions()); !i.IsDone(); i.Next()) all.push_back(i.Value().Ptr());
    std::ranges::reverse(all); // they descend
    m_InOrder = std::move(all);
  }
  return m_InOrder;
}

cls_ClassMetadata const* sto_Classes::FindVersion(unsigned int classId, int version) const {
  cls_ClassRegistrar const& registrar = RegistrarOf(classId);
  if (&registrar == &m_Library) return cls_RegistrarSource::FindVersion(registrar, classId, version);
  auto const key = [](cls_ClassMetadata const* metadata) {
    return std::pair(metadata->ClassId(), metadata->Version());
  };
  auto const found = std::ranges::lower_bound(InOrder(), std::pair(classId, version), {}, key);
  if (found == m_InOrder.end() || (*found)->ClassId() != classId) return nullptr;
  bool const isNone = (*found)->Version() == -1 && version != -1; // so the registrar says, too
  return isNone ? nullptr : *found;
}

std::vector<int> sto_Classes::Versions(unsigned int classId) const {
  std::vector<int> versions;
  cls_ClassRegistrar const& registrar = RegistrarOf(classId);
  if (!registrar.ClassIsPresent(classId)) return versions;
  for (int version = registrar.GetLastClassVersionNumber(classId); version != -1;
       version = registrar.GetPreviousClassVersionNumber(classId, version))
    versions.insert(versions.begin(), version);
  return versions;
}

cls_ClassMetadata const* sto_Classes::DeclaringBase(cls_ClassMetadata const& metadata) const {
  cls_ClassMetadata const* above = Newest(metadata.BaseClassId());
  while (above != nullptr && above->GetAttributes().Count() == 0) above = Newest(above->BaseClassId());
  return above;
}

bool sto_Classes::DerivesFrom(unsigned int derived, unsigned int base) const {
  if (derived == base) return true;
  CheckAnswers();
  if (bool const* const known = m_Bases.Find(derived, base)) return *known;
  bool const derives = FindBase(derived, base);
  m_Bases.Keep(derived, base, derives);
  return derives;
}

bool sto_Classes::FindBase(unsigned int derived, unsigned int base) const {
  if (m_Program.InheritanceCheck(derived, base)) return true;
  for (cls_ClassMetadata const* metadata = Newest(derived); metadata != nullptr;
       metadata = Newest(metadata->BaseClassId()))
    if (metadata->BaseClassId() == base) return true;
  return false;
}
