#include "store/sto_Shared.h"

#include <string>
#include <typeinfo>

#include "store/objects/sto_MementoRead.h"

namespace {

/// The memento of a visitor that reads a stored object; null for other back ends and absent objects.
sto_MementoRead* StoredObject(cls_ReadVisitor const& visitor) noexcept {
  cls_MementoRead* const any = visitor.Memento();
  if (any == nullptr) return nullptr;
  // Nearly all are exactly of this class; elements read through an agent have a derived one.
  auto* const memento = typeid(*any) == typeid(sto_MementoRead) ? static_cast<sto_MementoRead*>(any)
                                                                : dynamic_cast<sto_MementoRead*>(any);
  return memento == nullptr || memento->Id() == 0 ? nullptr : memento;
}

/// Whether an earlier load of the scope returned the object to one owner and it has been destroyed since.
bool IsGone(sto_MementoRead const& memento, sto_LoadedObjects::Entry const& entry) noexcept {
  sto_Session& session = memento.Session();
  return entry.m_Object == nullptr && session.Loaded().IsOfEarlierLoad(entry) &&
         session.Identities().EntryOf(memento.Id()) == nullptr;
}

/// Whether an object can be both what it was built as and what it is requested as.
bool MayBeBoth(sto_BuiltAs one, sto_BuiltAs other) noexcept {
  return one != sto_BuiltAs::Unchecked && other != sto_BuiltAs::Unchecked &&
         (one == sto_BuiltAs::ByMetadata || other == sto_BuiltAs::ByMetadata);
}

} // namespace

cls_ClassMetadata const* sto_FindMetadata(cls_ReadVisitor const& visitor, unsigned int typeId,
                                          bool takesDerived) {
  sto_MementoRead* const memento = StoredObject(visitor);
  if (memento == nullptr) return nullptr;
  sto_Session const& session = memento->Session();
  sto_Catalogue const& catalogue = memento->Session().Catalogue();
  unsigned int const classId = memento->ClassId();
  auto const object = [&] {
    return "Object " + std::to_string(memento->Id()) + " is of class " + catalogue.ClassName(classId);
  };
  if (!catalogue.Classes().DerivesFrom(classId, typeId))
    session.Raise(sto_ErrorKind::WrongClass, object() + ", not " + catalogue.DescribeClass(typeId) + ".");
  if (classId != typeId && !takesDerived)
    session.Raise(sto_ErrorKind::Misuse, object() + ", but " + catalogue.DescribeClass(typeId) +
                                             ", which is asked for, has no virtual destructor.");
  cls_ClassMetadata const* const metadata = catalogue.Classes().ForVersion(classId, memento->ClassVersion());
  if (metadata == nullptr)
    session.Raise(sto_ErrorKind::Misuse,
                  object() + ", which is not declared in the registrar that the store was opened with.");
  memento->NoteBuiltByMetadata();
  return metadata;
}

void* sto_Build(cls_ClassMetadata const& metadata, cls_ReadVisitor const& visitor) {
  void* const object = metadata.Ctor(visitor);
  if (object != nullptr) return object;
  sto_MementoRead const& memento = *StoredObject(visitor);
  memento.Session().Raise(sto_ErrorKind::Misuse, "Object " + std::to_string(memento.Id()) +
                                                     " cannot be built: class " +
                                                     std::string(metadata.Name().View()) + " version " +
                                                     std::to_string(metadata.Version()) +
                                                     " is registered without a constructor function.");
}

bool sto_LeavesBuilding(cls_ClassMetadata const& metadata, cls_ReadVisitor const& visitor,
                        unsigned int typeId) {
  if (metadata.ClassId() != typeId) return false; // a derived class, which only its metadata can build
  if (typeid(metadata) == typeid(cls_ClassMetadata)) return !metadata.HasCtor();
  sto_MementoRead const& memento = *StoredObject(visitor);
  memento.Session().Raise(sto_ErrorKind::Misuse, "Object " + std::to_string(memento.Id()) + ": class " +
                                                     std::string(metadata.Name().View()) + " version " +
                                                     std::to_string(metadata.Version()) +
                                                     " is registered for another C++ class than the one that "
                                                     "is asked for.");
}

std::shared_ptr<void> sto_FindShared(cls_ReadVisitor const& visitor, std::type_index type,
                                     sto_BuiltAs askedAs) {
  sto_MementoRead* const memento = StoredObject(visitor);
  if (memento == nullptr) return nullptr;
  sto_LoadedObjects::Entry const* const entry = memento->Session().Loaded().Find(memento->Id());
  if (entry == nullptr || IsGone(*memento, *entry)) return nullptr;
  auto const object = [&] { return "Object " + std::to_string(memento->Id()); };
  if (entry->m_Object == nullptr)
    memento->Session().Raise(sto_ErrorKind::Misuse,
                             object() + (memento->Session().Loaded().IsOfEarlierLoad(*entry)
                                             ? " was loaded for one owner in this load scope, and is there "
                                               "still: load it with LoadShared each time."
                                             : entry->m_WhyNot));
  if (entry->m_Type != type && !MayBeBoth(entry->m_BuiltAs, askedAs))
    memento->Session().Raise(sto_ErrorKind::Misuse, object() + " is loaded as two different types.");
  return entry->m_Object;
}

void sto_HoldShared(cls_ReadVisitor const& visitor, std::type_index type, std::shared_ptr<void> object,
                    sto_BuiltAs builtAs) {
  if (sto_MementoRead* const memento = StoredObject(visitor))
    memento->Session().Loaded().Add(memento->Id(), type, std::move(object), builtAs);
}

void sto_HoldUnshared(cls_ReadVisitor const& visitor, std::type_index type) {
  sto_MementoRead* const memento = StoredObject(visitor);
  if (memento == nullptr) return;
  sto_LoadedObjects& loaded = memento->Session().Loaded();
  sto_LoadedObjects::Entry const* const entry = loaded.Find(memento->Id());
  if (entry != nullptr && loaded.IsOfEarlierLoad(*entry) && !IsGone(*memento, *entry))
    memento->Session().Raise(sto_ErrorKind::Misuse,
                             "Object " + std::to_string(memento->Id()) +
                                 " is in the load scope already, and Load would make a second object of it: "
                                 "load it with LoadShared.");
  // A nested load may build a second object from one that the outer load has already shared.
  if (entry == nullptr || loaded.IsOfEarlierLoad(*entry))
    loaded.AddUnshared(memento->Id(), type,
                       " is loaded for one owner, and its own graph leads back to it: load it shared.");
}

void sto_HoldUnfinished(cls_ReadVisitor const& visitor, std::type_index type) {
  if (sto_MementoRead* const memento = StoredObject(visitor))
    memento->Session().Loaded().AddUnshared(
        memento->Id(), type,
        " leads back to itself while it is built through its metadata: in a cycle an object is asked for as "
        "its very class, registered with a type adapter.");
}

void sto_ForgetShared(cls_ReadVisitor const& visitor) noexcept {
  if (sto_MementoRead* const memento = StoredObject(visitor))
    memento->Session().Loaded().RemoveFrom(memento->Id());
}
