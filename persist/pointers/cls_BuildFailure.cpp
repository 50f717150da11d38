#include "persist/pointers/cls_BuildFailure.h"

char const* cls_BuildFaultText(cls_BuildFault fault) noexcept {
  switch (fault) {
  case cls_BuildFault::TwoTypes:
    return " is loaded as two different types.";
  case cls_BuildFault::HasOneOwner:
    return " is loaded for one owner, and its own graph leads back to it: load it shared.";
  case cls_BuildFault::IsUnfinished:
    return " leads back to itself while it is built through its metadata: in a cycle an object is asked for "
           "as its very class, registered with a type adapter.";
  case cls_BuildFault::OwnedInScope:
    return " was loaded for one owner in this scope, and is there still: load it shared each time.";
  case cls_BuildFault::IsInScope:
    return " is in the scope already, and loading it for one owner would make a second object of it: load it "
           "shared.";
  default:
    return " cannot be built.";
  }
}
