#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <typeindex>

#include "metadata/cls_ClassMetadata.h"
#include "persist/pointers/cls_LoadedObjects.h"
#include "persist/pointers/cls_ObjectSource.h"
#include "persist/pointers/cls_StoredObject.h"
#include "persist/visitors/cls_ReadVisitor.h"

/// What a visitor reads, as the functions of cls_Pointers.h see it; programs do not use it. The stored object
/// and its source are looked up once, by the constructor. Without a stored object the operations find nothing
/// and do nothing.
/// REQUIRES: the visitor outlives it. Thread rule: as the visitor.
class KVL_EXPORT cls_ObjectToBuild {
 public:
  explicit cls_ObjectToBuild(cls_ReadVisitor const& visitor) noexcept;

  [[nodiscard]] cls_ReadVisitor const& Visitor() const noexcept { return m_Visitor; }

  /// The metadata that builds the object when class `typeId` is requested; null if there is no stored object.
  /// Raises OtherClass; NotDeclared; NoVirtualDestructor if its class is a derived one and `takesDerived` is
  /// false.
  [[nodiscard]] cls_ClassMetadata const* FindMetadata(unsigned int typeId, bool takesDerived) const;
  /// Builds the object with `metadata`; the caller owns it. Raises NoConstructor. REQUIRES: a stored object.
  [[nodiscard]] void* Build(cls_ClassMetadata const& metadata) const {
    void* const object = metadata.Ctor(m_Visitor);
    if (object == nullptr) RaiseNoConstructor(metadata);
    return object;
  }
  /// Whether `metadata` leaves the building of the object to the requested C++ class. False for a derived
  /// class. Raises OtherCppClass if `metadata` is the adapter of another C++ class. REQUIRES: a stored object,
  /// and `metadata` is not the adapter of the requested class.
  [[nodiscard]] bool LeavesBuilding(cls_ClassMetadata const& metadata, unsigned int typeId) const;

  /// The object that this load has already made; null if it has not. Raises one of the faults from TwoTypes on
  /// if that object cannot be shared, or was requested as another C++ class and cannot be both: one of the
  /// classes has no TypeId, or each was taken for the object's exact class.
  [[nodiscard]] std::shared_ptr<void> FindShared(std::type_index type, cls_BuiltAs askedAs) const;
  /// Registers the object for the rest of the load, so that later fields find it.
  void HoldShared(std::type_index type, std::shared_ptr<void> object, cls_BuiltAs builtAs) const;
  /// Registers the object as having one owner. A pointer that leads back to it is then an error instead of an
  /// endless load. Raises IsInScope.
  void HoldUnshared(std::type_index type) const;
  /// Registers the object as being built by its metadata: its address is not known until it is finished.
  void HoldUnfinished(std::type_index type) const;
  /// Forgets the object, because its construction failed, and all whose construction began after it.
  void Forget() const noexcept;

 private:
  KVL_LOCAL cls_ObjectToBuild(cls_ReadVisitor const& visitor, cls_StoredObject* object) noexcept;
  KVL_LOCAL cls_ObjectToBuild(cls_ReadVisitor const& visitor, cls_StoredObject* object,
                              cls_StoredObject::Place const& place) noexcept;
  [[nodiscard]] KVL_LOCAL bool IsGone(cls_LoadedObjects::Entry const& entry) const noexcept;
  // Functions of their own, so that the others need no room for texts.
  [[noreturn]] void RaiseNoConstructor(cls_ClassMetadata const& metadata) const;
  [[noreturn]] KVL_LOCAL void RaiseOtherClass(unsigned int typeId) const;
  [[noreturn]] KVL_LOCAL void RaiseNoVirtualDestructor(unsigned int typeId) const;
  [[noreturn]] KVL_LOCAL void RaiseNotDeclared() const;
  [[noreturn]] KVL_LOCAL void Raise(cls_BuildFault fault, std::string const& text) const;
  [[noreturn]] KVL_LOCAL void Raise(cls_BuildFault fault) const;
  [[nodiscard]] KVL_LOCAL std::string IsOfClass() const;

  cls_ReadVisitor const& m_Visitor;
  cls_StoredObject* m_Object; // null if the memento says nothing about its stored object
  cls_ObjectSource* m_Source; // null if there is no stored object
  std::int64_t m_Id;
  cls_LaterReads::InPlace m_InPlace;
};
