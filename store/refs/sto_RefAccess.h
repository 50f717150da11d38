#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "persist/pointers/cls_LaterWrites.h"
#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"
#include "store/session/sto_Resident.h"

class sto_MementoRead;
class sto_MementoWrite;
class sto_ObjectListWriter;
template <class K> class sto_ObjectMapWriter;
class sto_Session;

// What sto_Ref does that does not depend on the class of its object. Internal to store/refs. Thread rule: as sto_Ref.

/// What depends on it.
struct sto_RefClass {
  unsigned int m_ClassId;
  std::shared_ptr<void> (*m_Construct)(cls_ReadVisitor const& visitor);
  void (*m_Write)(void const* object, cls_WriteVisitor const& visitor);
  std::optional<cls_LaterWrite> (*m_Describe)(std::shared_ptr<void> const& object);
};

/// The object of a resident, which is loaded if it is not in memory. Errors: see sto_Ref.
[[nodiscard]] KVL_EXPORT void* sto_ReachObject(sto_Resident& resident, sto_RefClass const& asked);
/// Misuse: a null reference is followed.
[[noreturn]] KVL_EXPORT void sto_RaiseNullRef(sto_RefClass const& asked);
/// The object in memory changes: it is saved before the commit.
KVL_EXPORT void sto_NoteEdit(sto_Resident& resident, sto_RefClass const& asked);
/// Deletes the object. Errors: see sto_Ref.
KVL_EXPORT void sto_Delete(sto_Resident& resident, sto_RefClass const& asked);
/// Whether the object, which is in memory, is of a class or one derived from it.
[[nodiscard]] KVL_EXPORT bool sto_IsOfClass(sto_Resident const& resident, unsigned int classId);
/// Lets go of the object.
KVL_EXPORT void sto_ReleaseObject(sto_Resident& resident) noexcept;

/// Writes a field that holds the object. An object that is not stored yet is stored, too.
KVL_EXPORT void sto_WriteResident(cls_WriteVisitor const& visitor, cls_FieldHandle const& field,
                                  sto_Resident& resident, sto_RefClass const& asked);
/// Appends the object to a list, or puts it under a key into a map (for `int` and `cow_String`). An object that is not
/// stored yet is stored, too.
void sto_AppendResident(sto_ObjectListWriter& list, sto_Session& session, sto_Resident& resident,
                        sto_RefClass const& asked);
template <class K>
void sto_InsertResident(sto_ObjectMapWriter<K>& map, K const& key, sto_Session& session,
                        sto_Resident& resident, sto_RefClass const& asked);

/// The running save can only be undone, even if the failure is swallowed.
void sto_MarkIncomplete(sto_Session& session) noexcept;
/// Calls `act`, which writes; the same if it raises.
template <class Act> void sto_WriteWhole(sto_Session& session, Act act) {
  try {
    act();
  } catch (...) {
    sto_MarkIncomplete(session);
    throw;
  }
}

/// The memento of a visitor. Misuse if it is not a store's.
[[nodiscard]] sto_MementoWrite& sto_StoreMemento(cls_WriteVisitor const& visitor);
/// The memento of a visitor; null if there is none. Misuse if it has the field and is not a store's.
[[nodiscard]] sto_MementoRead* sto_MementoWith(cls_ReadVisitor const& visitor, cls_FieldHandle const& field);

/// The resident of what a field holds or refers to; null if there is nothing.
[[nodiscard]] KVL_EXPORT sto_Resident* sto_ReadResident(cls_ReadVisitor const& visitor,
                                                        cls_FieldHandle const& field);
