#pragma once

#include "store/format/sto_RecordBuilder.h"

class sto_Session;

/// Misuse if an object lacks a scalar or a collection that its class declares. Objects, references and
/// attributes of host types may be missing. `describe` names the object in the message. Called in strict
/// stores only (sto_Options::m_Strict). Internal to the module.
void sto_CheckWritten(sto_Session& session, sto_RecordBuilder const& record, std::string const& describe);
