#pragma once

#include <memory>

#include "platform/kvl_Export.h"

class cls_LoadedObjects;
class sto_Store;

/// While a scope is open, each stored object is one object in memory across all loads of a store. Without a
/// scope each call of LoadShared builds new objects: two roots that share an object then give two objects
/// with one identity, and changes to one are lost when the other is saved later.
///
///     sto_LoadScope const scope(store);
///     std::shared_ptr<Model> const model = store.LoadShared<Model>("model");
///     std::shared_ptr<Results> const results = store.LoadShared<Results>("results");
///     // results->m_Mesh and model->m_Mesh are one object
///
/// It covers LoadShared, objects read with sto_ReadShared, and elements read through agents. An object read
/// for one owner (Load, sto_ReadOwned, a member's own constructor) belongs to that owner. So Load raises
/// Misuse for an object that the scope already has, and LoadShared raises Misuse for an object that Load
/// returned and that is still alive.
///
/// Lifetime: the scope keeps its objects alive, even after the store is closed. It returns the objects it
/// has: to see what another session changed, load in a new scope. An object first saved in work that is
/// undone leaves the scope. Scopes of one store nest; the outermost one counts.
/// Errors: the constructor raises Misuse for a closed store. Thread rule: as the store.
class KVL_EXPORT sto_LoadScope {
 public:
  explicit sto_LoadScope(sto_Store& store);
  ~sto_LoadScope();
  sto_LoadScope(sto_LoadScope const&) = delete;
  sto_LoadScope& operator=(sto_LoadScope const&) = delete;

 private:
  std::shared_ptr<cls_LoadedObjects> m_Loaded;
};
