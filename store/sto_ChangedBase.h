#pragma once

#include "store/sto_Record.h"

class sto_Catalogue;
class sto_Classes;
class sto_Session;
class cls_ClassMetadata;

// A reading constructor goes through the parts of a stored object in the order of its own base classes. When
// a base class was inserted, removed or exchanged since the object was written, it would take one part for
// another, or find none: the object would be empty without any other sign. So each part's stored base class
// is compared with the one that its reader derives from. Internal to the module. Thread rule: as the session.

/// What reads a class version that a stored object has as its own: the metadata that builds it, or, where
/// that leaves the reading to today's C++ class, the newest metadata. Null for an undeclared class.
[[nodiscard]] cls_ClassMetadata const* sto_ReaderOf(sto_Classes const& classes, unsigned int classId,
                                                    int version);

/// Whether a stored part was written over the base class that its reader derives from, as an object's own
/// part
/// (`isOwn`) or as one of its base-class parts, which today's C++ class reads. True for what nobody declares.
[[nodiscard]] bool sto_HasReadersBase(sto_Catalogue const& catalogue, sto_Part const& part, bool isOwn);

/// Whether an object's own metadata was made for exactly this stored version: it has a constructor function,
/// or is the adapter of an older C++ class. Then it knows which base classes the version had.
[[nodiscard]] bool sto_KnowsOldBases(sto_Classes const& classes, sto_Part const& own);

/// Misuse for an object with a part over another base class than its reader derives from; the message says
/// what to register.
[[noreturn]] void sto_RaiseChangedBase(sto_Session& session, sto_Record const& record);
