#pragma once

#include <string>

#include "store/base/sto_Meter.h"
#include "store/driver/sto_Driver.h"

/// Copies what the open transaction of a storage sees to a new store at `location`, in a file or on a server. All or
/// nothing: until it is complete, it is at `location`.partial, where the next call goes on if the source has not changed.
/// Both have the same sum in the end, which is checked. `shown`: the source's name.
/// Errors: Conflict if something exists at `location`; Damaged; Full; Busy; Unavailable.
void sto_CopyStore(sto_Driver& source, std::string const& shown, std::string const& location,
                   sto_Meter* meter);
