#pragma once

#include "store/format/sto_RecordBuilder.h"

class sto_Session;

/// Misuse, in a strict store, when an object does not have a scalar or a collection that its class declares.
/// Objects and references may be left out, and so may attributes of types that only the host knows.
/// `describe` names the object. Internal to the module.
void sto_CheckWritten(sto_Session& session, sto_RecordBuilder const& record, std::string const& describe);
