#pragma once

#include <memory>

#include "platform/kvl_Export.h"

class sto_LoadedObjects;
class sto_Store;

/// While it lives, each stored object is one object in memory, over all loads of a store. Without it each
/// call of LoadShared builds anew: two roots that share an object give two objects with one identity, and
/// what is changed in one of them is lost when the other is saved after it.
///
///     sto_LoadScope const scope(store);
///     std::shared_ptr<Model> const model = store.LoadShared<Model>("model");
///     std::shared_ptr<Results> const results = store.LoadShared<Results>("results");
///     // results->m_Mesh and model->m_Mesh are one object
///
/// It holds for LoadShared, for what objects read with sto_ReadShared, and for elements that agents hand out.
/// What is read for one owner (Load, sto_ReadOwned, a member's own constructor) is an object of that owner's:
/// Load raises Misuse for an object that the scope has already, and LoadShared for one that Load has given
/// away and that still lives.
///
/// The scope keeps its objects alive, also after the store is closed. It hands out what it has: what another
/// session has changed since is seen by a load in a new scope. An object that was first saved in work that is
/// undone is no longer in it. Scopes of one store nest; the outermost one counts.
/// Thread rule: as the store.
class KVL_EXPORT sto_LoadScope {
 public:
  explicit sto_LoadScope(sto_Store& store);
  ~sto_LoadScope();
  sto_LoadScope(sto_LoadScope const&) = delete;
  sto_LoadScope& operator=(sto_LoadScope const&) = delete;

 private:
  std::shared_ptr<sto_LoadedObjects> m_Loaded;
};
