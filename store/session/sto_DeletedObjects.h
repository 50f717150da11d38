#pragma once

#include <cstdint>

class sto_Session;

/// Deleting single objects. What remains of a deleted object is a record of a class of its own, without attributes,
/// until it is collected: other objects may still lead to it, and whoever follows them learns that it was deleted. A
/// program that does not know this class sees an object of an unknown class. Internal to the module. Thread rule: the
/// thread of the session.

/// The class of what remains.
inline constexpr unsigned int sto_DeletedClassId = 0x600002;

/// Deletes an object with its entries in indexes. What it leads to stays: other objects may lead to it, too, also to its
/// lists, maps and blobs. Errors: those of writing an object. REQUIRES: an open write transaction without a save; the object
/// is stored (sto_Session::IsThere).
void sto_DeleteObject(sto_Session& session, std::int64_t id);
