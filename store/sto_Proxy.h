#pragma once

#include <string_view>

#include "persist/cls_AgentProxy.h"
#include "persist/cls_ReadVisitor.h"
#include "store/sto_Store.h"

// Proxies of stored objects: an object is carried from one store to another, or copied within one, without
// being built.
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
// What is read is the stored state at the time of the copy, as the source's session sees it: what a bulk
// array has not flushed yet is not in it. The source's objects stay as they are.
//
// The class versions in the branch stand in both stores then. The target's registrar must know each class, in
// the object's version or a newer one.
//
// Thread rule: both stores belong to the thread.

/// The kind of storage that the module's stores are.
[[nodiscard]] KVL_EXPORT cls_StorageTypeId const& sto_StorageType() noexcept;

/// The proxy of the object under a root name. NotFound, Damaged.
[[nodiscard]] KVL_EXPORT cow_CountedHld<cls_AgentProxy> sto_MakeProxy(sto_Store& store,
                                                                      std::string_view root);

/// The proxy of the object that a visitor reads; without object where that is none of a store. A proxy keeps
/// no transaction and may outlive the load; once its store is closed its transfers raise Unavailable.
[[nodiscard]] KVL_EXPORT cow_CountedHld<cls_AgentProxy> sto_MakeProxy(cls_ReadVisitor const& visitor);
