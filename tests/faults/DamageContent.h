#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "store/sto_Store.h"

// The store that is damaged, and its content in a form that can be compared.

/// An object's content, part by part: its values, then each collection.
using DamageParts = std::vector<std::string>;

/// What can be loaded of a store.
struct DamageContent {
  std::map<std::string, DamageParts> m_Roots; ///< those that were loaded
  int m_Refused = 0;                          ///< roots whose load raised an error of the store
};

/// Makes a small store of every kind of object and row. `older` gets a copy from before the last changes.
void DamageMake(std::string const& path, std::string const& older);

/// All roots. What raises anything else than an error of the store passes.
DamageContent DamageLoad(sto_Store& store);

/// Rows of the root table: names with object ids. Of a damaged table several may have one name.
using DamageRows = std::set<std::pair<std::string, std::int64_t>>;

/// The root table as SQLite reads it, past the module: names with object ids. Empty when it cannot.
DamageRows DamageRootRows(std::string const& path);

/// The next object id that the file says, as SQLite reads it, past the module; 0 when it cannot.
std::int64_t DamageNextId(std::string const& path);

/// The content of every object that could be a root, by object id: a copy of the store is given a root for
/// each.
std::map<std::int64_t, DamageParts> DamageObjects(std::string const& path, std::string const& copy);
