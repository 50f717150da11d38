#pragma once

#include <string_view>

#include "persist/backend/cls_AgentProxy.h"
#include "persist/visitors/cls_ReadVisitor.h"
#include "store/base/sto_StorageType.h"
#include "store/sto_Store.h"

// Copies stored objects from one store to another, or within one, without building them in memory.
// sto_CopyRoot copies a root; a proxy copies an object into a field of another object. To copy a whole store
// see sto_Store::CopyTo.
//
//     sto_CopyRoot(library, "plate/mesh", store, "mesh");
//
//     cow_CountedHld<cls_AgentProxy> const mesh = sto_MakeProxy(library, "plate/mesh");
//     ...
//     void Model::DBWrite(cls_WriteVisitor const& visitor) const {
//       if (!visitor.StartWrite(TypeId(), m_Uid)) return;
//       visitor.Memento()->CopyBranch(mesh.Ptr(), cls_FieldHandle(0, "m_Mesh"_cow));
//     }
//
// What is copied: the object and everything it leads to, that is what its fields hold, the elements of its
// collections, and the objects it refers to. One copy copies each object once, so cycles and sharing are
// kept; a second copy makes new objects. The copies are new objects: nothing in memory is tied to them. A
// reference to an object that is not stored remains a reference to an object that is not stored.
//
// Which state: the stored state at the time of the copy, as the source's session sees it. A proxy does not
// copy what bulk arrays have not flushed; sto_CopyRoot flushes them first. The source's objects do not
// change.
//
// Afterwards both stores describe the class versions that were copied.
//
// REQUIRES, for all copies: the target's registrar declares each class, in the object's version or a newer
// one (Misuse, NewerFormat). Thread rule: the calling thread opened both stores.

/// Makes a proxy of the object under a root name. The caller owns it. Errors: NotFound, Damaged.
[[nodiscard]] KVL_EXPORT cow_CountedHld<cls_AgentProxy> sto_MakeProxy(sto_Store& store,
                                                                      std::string_view root);

/// Makes a proxy of the object that a visitor reads; empty if that object is absent, or the visitor has no
/// memento. The visitor may read through mementos that pass on to the store's (cls_ForwardedObject). The
/// caller owns the proxy. It keeps no transaction open and may outlive the load; after its store is closed
/// its transfers raise Unavailable. Errors: Misuse if the visitor reads from another back end than a store.
[[nodiscard]] KVL_EXPORT cow_CountedHld<cls_AgentProxy> sto_MakeProxy(cls_ReadVisitor const& visitor);

/// Copies the object under root `name`, with everything it leads to, and names the copy `newName` in another
/// store, or in the same one. Works in the target's open transaction, or in one of its own if none is open;
/// reads in the source's open transaction, or in one of its own.
///
/// Unwritten changes of the source's bulk arrays are written first and so are in the copy, unless the source
/// is read-only or its open transaction only reads. They stay written even if the copy then fails. After a
/// failure the target is as it was.
///
/// Errors:
/// - NotFound: there is no root `name`; the message names root and store;
/// - Conflict: the target already has a root `newName` (remove or rename it first: sto_Store::RemoveRoot,
///   RenameRoot), or describes a class version differently;
/// - Misuse: the target's open transaction only reads, either store is saving, the target is loading, or the
///   target's registrar does not declare a class;
/// - NewerFormat: the target's registrar knows only older versions of a class;
/// - Damaged, ReadOnly, Full, Busy, Unavailable.
KVL_EXPORT void sto_CopyRoot(sto_Store& from, std::string_view name, sto_Store& to, std::string_view newName);
