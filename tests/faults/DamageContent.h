#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "store/sto_Store.h"

// The store that is damaged, and its content in comparable form.

/// An object's content, part by part: its values, then its collections.
using DamageParts = std::vector<std::string>;

/// What can be loaded from a store.
struct DamageContent {
  std::map<std::string, DamageParts> m_Roots; ///< those that could be loaded
  int m_Refused = 0;                          ///< roots whose load raised a store error
};

/// Makes a small store with every kind of object and row. `older` gets a copy from before the last changes.
void DamageMake(std::string const& path, std::string const& older);

/// Loads all roots. Exceptions other than store errors are passed on.
DamageContent DamageLoad(sto_Store& store);

/// Rows of the root table: names with object ids. In a damaged table, several rows can have the same name.
using DamageRows = std::set<std::pair<std::string, std::int64_t>>;

/// The root table as SQLite reads it, bypassing the module. Empty if it cannot be read.
DamageRows DamageRootRows(std::string const& path);

/// The next object id in the file, as SQLite reads it, bypassing the module; 0 if it cannot be read.
std::int64_t DamageNextId(std::string const& path);

/// The content of every object that could be a root, by object id. It is read from a copy of the store with a
/// root for each object.
std::map<std::int64_t, DamageParts> DamageObjects(std::string const& path, std::string const& copy);
