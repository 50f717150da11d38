#pragma once

#include "store/format/sto_Record.h"

class sto_Catalogue;
class sto_Session;

// A reading constructor goes through the parts of a stored object in the order of its own base classes. When
// a base class was inserted, removed or exchanged since the object was written, it would take one part for
// another, or find none: the object would be empty without any other sign. So each part's stored base class
// is compared with the one that its reader derives from. Internal to the module. Thread rule: as the session.

/// Whether the metadata that builds an object by itself reads the right parts of it. It does when it was made
/// for exactly the stored version of the object's class, with a constructor function or as the adapter of an
/// older C++ class, and so knows the base classes of then; or when the bases have not changed for it.
[[nodiscard]] bool sto_MetadataKnowsBases(sto_Catalogue& catalogue, sto_Record const& record);

/// Misuse for an object with a part over another base class than its reader derives from; the message says
/// what to register.
[[noreturn]] void sto_RaiseChangedBase(sto_Session& session, sto_Record const& record);
