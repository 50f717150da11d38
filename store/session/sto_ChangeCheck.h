#pragma once

#include <string>

#include "metadata/cls_ClassChanges.h"
#include "metadata/cls_ClassMetadata.h"
#include "store/driver/sto_Driver.h"

/// What a program does not say about an earlier version of a class, although it says something about the class's
/// changes: a sentence for a message, "Class Bolt: ..."; empty if all is said. `newest` is the program's class,
/// `stored` the description of an earlier version in a store. Internal to the module. Thread rule: any thread.
[[nodiscard]] std::string sto_ChangeProblem(cls_ClassChanges const& changes, cls_ClassMetadata const& newest,
                                            sto_ClassRow const& stored);
