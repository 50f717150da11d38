#pragma once

#include "store/format/sto_Record.h"

class sto_Catalogue;
class sto_Session;

// A reading constructor reads the parts of a stored object in the order of its own base classes. If a base
// class was inserted, removed or replaced since the object was written, it would read the wrong part or none,
// and the object would be silently empty. So each part's stored base class is compared with the one that its
// reader derives from. Internal to the module. Thread rule: as the session.

/// Whether the metadata that builds an object reads the right parts of it. That is so if
/// - the metadata was made for exactly the stored version of the object's class, with a constructor function
///   or as the adapter of an older C++ class, and so knows the base classes of that version; or
/// - its base classes have not changed.
/// REQUIRES: there is metadata for the stored version or a later one.
[[nodiscard]] bool sto_MetadataKnowsBases(sto_Catalogue& catalogue, sto_Record const& record);

/// Raises Misuse for an object with a part whose base class has changed; the message says what to register.
/// REQUIRES: the object has such a part.
[[noreturn]] void sto_RaiseChangedBase(sto_Session& session, sto_Record const& record);
