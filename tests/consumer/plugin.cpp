/// A plug-in as an application has it: it starts the library, uses it, and stops it. With static libraries it
/// has a copy of them to itself, and exports its own functions only.

#include <vector>

#include <kvlpersist/errors/nex_TextException.h>
#include <kvlpersist/module/nex_initialize.h>
#include <kvlpersist/persist/identity/cls_Uid.h>
#include <kvlpersist/platform/typ/typ_ArchCompTable.h>

namespace {
int s_Modules = 0;
}

extern "C" {

__attribute__((visibility("default"))) void plugin_Start() {
  nex_initialize(s_Modules);
}

__attribute__((visibility("default"))) bool plugin_Use() {
  std::vector<cls_Uid> const bolts(5000);
  try {
    nex_TextException(atr_String("no such bolt")).Throw("plugin", 1);
  } catch (nex_Exception const& exception) {
    return bolts.front().Entry() != bolts.back().Entry() && exception.AsString() == "no such bolt" &&
           typ_ArchCompTable::GetName(exception.DynTypeId()) == "nex_TextException";
  }
  return false;
}

__attribute__((visibility("default"))) void plugin_Stop() {
  nex_finalize(s_Modules);
}
}
