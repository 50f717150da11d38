#include "store/sto_Catalogue.h"

#include <algorithm>
#include <limits>

#include "errors/nex_TypeTable.h"
#include "metadata/cls_CollectionType.h"
#include "store/sto_Exception.h"

namespace {

constexpr cls_ClassDeclaration LibraryClasses[] = {
    {"cls_InternalList", cls_InternalListTypeId, 800, 1},
    {"cls_InternalMap", cls_InternalMapTypeId, 800, 1},
    {"cls_Blob", cls_BlobTypeId, 800, 1},
    {"sto_Exception", sto_Exception::TypeId(), 1, nex_Exception::TypeId()},
};

} // namespace

sto_Catalogue::sto_Catalogue(std::span<cls_ClassDeclaration const> classes) {
  auto const declare = [this](cls_ClassDeclaration const& declaration) {
    auto const [place, isNew] = m_Declared.emplace(declaration.m_ClassId, declaration);
    if (isNew) return;
    if (place->second.m_Version == declaration.m_Version &&
        std::string_view(place->second.m_Name) != declaration.m_Name)
      sto_Raise(sto_ErrorKind::Misuse, std::string("Classes ") + place->second.m_Name + " and " +
                                           declaration.m_Name + " are declared under one class ID.");
    if (declaration.m_Version > place->second.m_Version) place->second = declaration;
  };
  for (cls_ClassDeclaration const& declaration : LibraryClasses) declare(declaration);
  for (cls_ClassDeclaration const& declaration : nex_TypeTable::Declarations()) declare(declaration);
  for (cls_ClassDeclaration const& declaration : classes) declare(declaration);
}

void sto_Catalogue::Forget() {
  m_IsLoaded = false;
  m_StoredClasses.clear();
  m_NameIds.clear();
  m_NextNameId = 1;
}

cls_ClassDeclaration const* sto_Catalogue::Declared(unsigned int classId) const {
  auto const found = m_Declared.find(classId);
  return found == m_Declared.end() ? nullptr : &found->second;
}

std::string sto_Catalogue::ClassName(unsigned int classId) const {
  if (cls_ClassDeclaration const* const declared = Declared(classId)) return declared->m_Name;
  auto const stored = m_StoredClasses.lower_bound({classId, std::numeric_limits<int>::min()});
  if (stored != m_StoredClasses.end() && stored->first.first == classId) return stored->second;
  return "class " + std::to_string(classId);
}

void sto_Catalogue::RecordClass(sto_Driver& driver, cls_ClassDeclaration const& declaration) {
  Load(driver);
  std::pair const key(declaration.m_ClassId, declaration.m_Version);
  auto const [place, isNew] = m_StoredClasses.emplace(key, declaration.m_Name);
  if (isNew) {
    driver.AddClass(
        {declaration.m_ClassId, declaration.m_Version, declaration.m_Name, declaration.m_BaseClassId});
    return;
  }
  if (place->second != declaration.m_Name)
    sto_Raise(sto_ErrorKind::Conflict, std::string("Class ") + declaration.m_Name + " version " +
                                           std::to_string(declaration.m_Version) +
                                           " has the class ID of a class that the store knows as " +
                                           place->second + ".");
}

std::int64_t sto_Catalogue::AddName(sto_Driver& driver, std::string_view name) {
  if (std::int64_t const id = FindName(driver, name)) return id;
  driver.AddName({m_NextNameId, std::string(name)});
  m_NameIds.emplace(name, m_NextNameId);
  return m_NextNameId++;
}

std::int64_t sto_Catalogue::FindName(sto_Driver& driver, std::string_view name) {
  Load(driver);
  auto const found = m_NameIds.find(name);
  return found == m_NameIds.end() ? 0 : found->second;
}

void sto_Catalogue::Load(sto_Driver& driver) {
  if (m_IsLoaded) return;
  Forget();
  for (sto_ClassRow const& row : driver.Classes())
    m_StoredClasses.emplace(std::pair(row.m_ClassId, row.m_Version), row.m_Name);
  for (sto_NameRow const& row : driver.Names()) {
    m_NameIds.emplace(row.m_Text, row.m_Id);
    m_NextNameId = std::max(m_NextNameId, row.m_Id + 1);
  }
  m_IsLoaded = true;
}
