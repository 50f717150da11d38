#pragma once

#include <string_view>

#include "persist/backend/cls_AgentProxy.h"
#include "persist/visitors/cls_ReadVisitor.h"
#include "store/base/sto_StorageType.h"
#include "store/sto_Store.h"

// Copies of stored objects: an object is carried from one store to another, or copied within one, without
// being built. sto_CopyRoot does that with a root; a proxy is for an object that another one is to hold.
// To copy a whole store see sto_Store::CopyTo.
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
// What is copied. The object and all it leads to: what its fields hold, the elements of its collections, and
// the objects that it refers to. Within one copy each is copied once, so cycles and shared objects stay what
// they are; a second copy is another copy. The copies are new objects: nothing in memory is tied to them. A
// reference to an object that is not stored stays one.
//
// What is read is the stored state at the time of the copy, as the source's session sees it. What a bulk
// array has not flushed yet is not in what a proxy copies; sto_CopyRoot flushes first. The source's objects
// stay as they are.
//
// Afterwards both stores describe the class versions in the branch. The target's registrar must know each
// class, in the object's version or a newer one.
//
// Thread rule: both stores belong to the thread.

/// The proxy of the object under a root name. NotFound, Damaged.
[[nodiscard]] KVL_EXPORT cow_CountedHld<cls_AgentProxy> sto_MakeProxy(sto_Store& store,
                                                                      std::string_view root);

/// The proxy of the object that a visitor reads; empty if the visitor is not reading an object of a store. A
/// proxy keeps no transaction and may outlive the load; once its store is closed its transfers raise
/// Unavailable.
[[nodiscard]] KVL_EXPORT cow_CountedHld<cls_AgentProxy> sto_MakeProxy(cls_ReadVisitor const& visitor);

/// Copies what is under root `name` of a store, with all that it leads to, and gives the copy root name
/// `newName` in another store, or in the same. In the target's open transaction, or else in one of its own;
/// the source's open transaction is read in as it is. When it raises, both stores are as they were.
///
/// What the source's bulk arrays have changed and not written is written first, in the source's open
/// transaction or one of its own, and so is in the copy; not so in a store, or a transaction, that only
/// reads.
///
/// Conflict when the target has a root `newName`, because what it names would lose its name: remove or rename
/// that root first (sto_Store::RemoveRoot, RenameRoot). NotFound, naming root and store, when there is no
/// root `name`. Misuse in a transaction of the target that only reads, while something is saved in either
/// store or loaded from the target, and for a class that the target's registrar does not know; NewerFormat
/// for a version that it does not know. Conflict also for a class version that the target describes
/// differently. Damaged; ReadOnly, Full, Busy, Unavailable.
KVL_EXPORT void sto_CopyRoot(sto_Store& from, std::string_view name, sto_Store& to, std::string_view newName);
