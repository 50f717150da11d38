#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "store/inspect/sto_Inspection.h"

class sto_Store;

/// What an address leads to.
struct kvs_Found {
  std::string m_Name; ///< the address
  std::string m_Kind; ///< as that of a field
  std::string m_Unit;
  sto_InspectedValue m_Value;
  std::optional<sto_InspectedObject> m_Object; ///< if it is an object
};

/// Follows an address from a root, or from an object's id: `plate.m_Nodes[3].m_X`, `#17.m_Name`. Attributes come after
/// points, elements of lists and entries of maps in brackets; a text as a key with or without quotation marks. Names and
/// keys may have points and brackets themselves: the longest one that fits is taken. A root whose name looks like an
/// object's id is found by its id only. Errors: kvs_Error, naming how far it leads; those of the inspection.
/// `store`: the one of the inspection.
[[nodiscard]] kvs_Found kvs_Find(sto_Store& store, sto_Inspection const& inspection,
                                 std::string const& address);

/// The list or array that was found. kvs_Error if it is something else.
[[nodiscard]] sto_InspectedList kvs_ListOf(sto_Inspection const& inspection, kvs_Found const& found);

/// The address of the object with an id, if nothing better is known: "#17".
[[nodiscard]] std::string kvs_NameOf(std::int64_t id);
/// The address of a field: "plate.m_Name".
[[nodiscard]] std::string kvs_Join(std::string const& object, std::string const& field);
/// The name of a field; "5" of one that has a number only.
[[nodiscard]] std::string kvs_NameOf(sto_InspectedField const& field);
