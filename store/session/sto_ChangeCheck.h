#pragma once

#include <string>

#include "metadata/cls_ClassChanges.h"
#include "metadata/cls_ClassMetadata.h"
#include "metadata/cls_ClassNotes.h"
#include "store/driver/sto_Driver.h"

/// What a program does not say about an earlier version of a class, although it says something about the class's
/// changes: a sentence for a message, "Class Bolt: ..."; empty if all is said. `newest` is the program's class,
/// `stored` the description of an earlier version in a store. Internal to the module. Thread rule: any thread.
[[nodiscard]] std::string sto_ChangeProblem(cls_ClassChanges const& changes, cls_ClassMetadata const& newest,
                                            sto_ClassRow const& stored);

/// The same for an attribute that the store has in another unit, in any version, also today's. `notes` are those on the
/// program's class.
[[nodiscard]] std::string sto_UnitProblem(cls_ClassChanges const& changes, cls_ClassMetadata const& newest,
                                          cls_ClassNotes const& notes, sto_ClassRow const& stored);
