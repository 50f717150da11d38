#include "persist/pointers/cls_ObjectToBuild.h"

#include <exception>
#include <typeinfo>
#include <utility>

namespace {

/// Whether an object can be both what it was built as and what it is requested as.
bool MayBeBoth(cls_BuiltAs one, cls_BuiltAs other) noexcept {
  return one != cls_BuiltAs::Unchecked && other != cls_BuiltAs::Unchecked &&
         (one == cls_BuiltAs::ByMetadata || other == cls_BuiltAs::ByMetadata);
}

std::string VersionText(cls_ClassMetadata const& metadata) {
  return std::string(metadata.Name().View()) + " version " + std::to_string(metadata.Version());
}

} // namespace

cls_ObjectToBuild::cls_ObjectToBuild(cls_ReadVisitor const& visitor) noexcept
    : cls_ObjectToBuild(visitor, cls_StoredObject::Of(visitor.Memento())) {}

cls_ObjectToBuild::cls_ObjectToBuild(cls_ReadVisitor const& visitor, cls_StoredObject* object) noexcept
    : cls_ObjectToBuild(visitor, object, object == nullptr ? cls_StoredObject::Place() : object->StoredAt()) {
}

cls_ObjectToBuild::cls_ObjectToBuild(cls_ReadVisitor const& visitor, cls_StoredObject* object,
                                     cls_StoredObject::Place const& place) noexcept
    : m_Visitor(visitor), m_Object(object), m_Source(place.m_Id == 0 ? nullptr : place.m_Source),
      m_Id(m_Source == nullptr ? 0 : place.m_Id),
      m_InPlace(m_Source == nullptr ? nullptr : &m_Source->Loaded().Later()) {}

void cls_ObjectToBuild::Raise(cls_BuildFault fault, std::string const& text) const {
  m_Source->RaiseNotBuilt(
      {fault, m_Id, m_Visitor.Memento()->ClassId(), "Object " + std::to_string(m_Id) + text});
  std::terminate(); // the source must not return
}

void cls_ObjectToBuild::Raise(cls_BuildFault fault) const {
  Raise(fault, cls_BuildFaultText(fault));
}

std::string cls_ObjectToBuild::IsOfClass() const {
  return " is of class " + m_Source->NameOf(m_Visitor.Memento()->ClassId());
}

void cls_ObjectToBuild::RaiseOtherClass(unsigned int typeId) const {
  unsigned int const classId = m_Visitor.Memento()->ClassId();
  std::string const asked = m_Source->Describe(typeId);
  std::string text = IsOfClass() + ", not " + asked + ".";
  if (m_Source->MetadataOf(classId, 0) == nullptr) // of any version: so it is not known what it derives from
    text += " Class " + m_Source->NameOf(classId) +
            " is not declared in the class registrar: declare it, if it derives from " + asked + ".";
  Raise(cls_BuildFault::OtherClass, text);
}

void cls_ObjectToBuild::RaiseNoVirtualDestructor(unsigned int typeId) const {
  Raise(cls_BuildFault::NoVirtualDestructor, IsOfClass() + ", but " + m_Source->Describe(typeId) +
                                                 ", which is asked for, has no virtual destructor.");
}

void cls_ObjectToBuild::RaiseNotDeclared() const {
  Raise(cls_BuildFault::NotDeclared, IsOfClass() + ", which is not declared in the class registrar.");
}

void cls_ObjectToBuild::RaiseNoConstructor(cls_ClassMetadata const& metadata) const {
  Raise(cls_BuildFault::NoConstructor, " cannot be built: class " + VersionText(metadata) +
                                           " is registered without a constructor function.");
}

cls_ClassMetadata const* cls_ObjectToBuild::FindMetadata(unsigned int typeId, bool takesDerived) const {
  if (m_Source == nullptr) return nullptr;
  cls_MementoRead const& memento = *m_Visitor.Memento();
  unsigned int const classId = memento.ClassId();
  if (classId != typeId) {
    if (!m_Source->IsDerived(classId, typeId)) RaiseOtherClass(typeId);
    if (!takesDerived) RaiseNoVirtualDestructor(typeId);
  }
  cls_ClassMetadata const* const metadata = m_Source->MetadataOf(classId, memento.ClassVersion());
  if (metadata == nullptr) RaiseNotDeclared();
  m_Object->NoteBuiltByMetadata();
  return metadata;
}

bool cls_ObjectToBuild::LeavesBuilding(cls_ClassMetadata const& metadata, unsigned int typeId) const {
  if (metadata.ClassId() != typeId) return false; // a derived class, which only its metadata can build
  if (typeid(metadata) == typeid(cls_ClassMetadata)) return !metadata.HasCtor();
  Raise(cls_BuildFault::OtherCppClass,
        ": class " + VersionText(metadata) +
            " is registered for another C++ class than the one that is asked for.");
}

bool cls_ObjectToBuild::IsGone(cls_LoadedObjects::Entry const& entry) const noexcept {
  return entry.m_Object == nullptr && m_Source->Loaded().IsOfEarlierLoad(entry) &&
         !m_Source->HasIdentity(m_Id);
}

std::shared_ptr<void> cls_ObjectToBuild::FindShared(std::type_index type, cls_BuiltAs askedAs) const {
  if (m_Source == nullptr) return nullptr;
  cls_LoadedObjects::Entry const* const entry = m_Source->Loaded().Find(m_Id);
  if (entry == nullptr || IsGone(*entry)) {
    cls_ResidentObjects* const residents = m_Source->Loaded().Residents();
    return residents == nullptr ? nullptr : residents->FindObject(m_Id);
  }
  if (entry->m_Object == nullptr)
    Raise(m_Source->Loaded().IsOfEarlierLoad(*entry) ? cls_BuildFault::OwnedInScope : entry->m_WhyNot);
  if (entry->m_Type != type && !MayBeBoth(entry->m_BuiltAs, askedAs)) Raise(cls_BuildFault::TwoTypes);
  return entry->m_Object;
}

void cls_ObjectToBuild::HoldShared(std::type_index type, std::shared_ptr<void> object,
                                   cls_BuiltAs builtAs) const {
  if (m_Source == nullptr) return;
  cls_LoadedObjects& loaded = m_Source->Loaded();
  if (cls_ResidentObjects* const residents = loaded.Residents()) residents->NoteShared(m_Id, object);
  loaded.Add(m_Id, type, std::move(object), builtAs);
}

void cls_ObjectToBuild::HoldUnshared(std::type_index type) const {
  if (m_Source == nullptr) return;
  cls_LoadedObjects& loaded = m_Source->Loaded();
  cls_LoadedObjects::Entry const* const entry = loaded.Find(m_Id);
  if (entry != nullptr && loaded.IsOfEarlierLoad(*entry) && !IsGone(*entry)) Raise(cls_BuildFault::IsInScope);
  // A nested load may build a second object from one that the outer load has already shared.
  if (entry == nullptr || loaded.IsOfEarlierLoad(*entry))
    loaded.AddUnshared(m_Id, type, cls_BuildFault::HasOneOwner);
}

void cls_ObjectToBuild::HoldUnfinished(std::type_index type) const {
  if (m_Source != nullptr) m_Source->Loaded().AddUnshared(m_Id, type, cls_BuildFault::IsUnfinished);
}

void cls_ObjectToBuild::Forget() const noexcept {
  if (m_Source != nullptr) m_Source->Loaded().RemoveFrom(m_Id);
}
