#include "store/sto_Shared.h"

#include <string>

#include "store/sto_MementoRead.h"

namespace {

/// The memento of a visitor on a stored object, null for other back ends and for objects that are not there.
sto_MementoRead* StoredObject(cls_ReadVisitor const& visitor) noexcept {
  auto* const memento = dynamic_cast<sto_MementoRead*>(visitor.Memento());
  return memento == nullptr || memento->Id() == 0 ? nullptr : memento;
}

} // namespace

void sto_CheckTypeId(cls_ReadVisitor const& visitor, unsigned int typeId) {
  sto_MementoRead const* const memento = StoredObject(visitor);
  if (memento == nullptr || memento->ClassId() == typeId) return;
  sto_Catalogue const& catalogue = memento->Session().Catalogue();
  memento->Session().Raise(sto_ErrorKind::WrongClass, "Object " + std::to_string(memento->Id()) +
                                                          " is of class " +
                                                          catalogue.ClassName(memento->ClassId()) + ", not " +
                                                          catalogue.ClassName(typeId) + ".");
}

std::shared_ptr<void> sto_FindShared(cls_ReadVisitor const& visitor, std::type_index type) {
  sto_MementoRead* const memento = StoredObject(visitor);
  if (memento == nullptr) return nullptr;
  sto_LoadedObjects::Entry const* const entry = memento->Session().Loaded().Find(memento->Id());
  if (entry == nullptr) return nullptr;
  std::string const object = "Object " + std::to_string(memento->Id());
  if (entry->m_Object == nullptr)
    memento->Session().Raise(
        sto_ErrorKind::Misuse,
        object + " is loaded for one owner, and its own graph leads back to it: load it shared.");
  if (entry->m_Type != type)
    memento->Session().Raise(sto_ErrorKind::Misuse, object + " is loaded as two different types.");
  return entry->m_Object;
}

void sto_HoldShared(cls_ReadVisitor const& visitor, std::type_index type, std::shared_ptr<void> object) {
  if (sto_MementoRead* const memento = StoredObject(visitor))
    memento->Session().Loaded().Add(memento->Id(), type, std::move(object));
}

void sto_HoldUnshared(cls_ReadVisitor const& visitor, std::type_index type) {
  sto_MementoRead* const memento = StoredObject(visitor);
  if (memento == nullptr) return;
  sto_LoadedObjects& loaded = memento->Session().Loaded();
  // A load inside another may ask for one more object of what the outer one has shared already.
  if (loaded.Find(memento->Id()) == nullptr) loaded.Add(memento->Id(), type, nullptr);
}

void sto_ForgetShared(cls_ReadVisitor const& visitor) noexcept {
  if (sto_MementoRead* const memento = StoredObject(visitor))
    memento->Session().Loaded().RemoveFrom(memento->Id());
}
