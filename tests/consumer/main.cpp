/// Uses the installed library as an application does, and fails when what comes back is wrong.

#include <cstdio>

#include <kvlpersist/errors/nex_TextException.h>
#include <kvlpersist/module/nex_initialize.h>
#include <kvlpersist/persist/identity/cls_Uid.h>

namespace {

bool ExceptionReports() {
  try {
    nex_TextException(atr_String("Node 17 of plate not found")).Throw("main", 13);
  } catch (nex_Exception const& exception) {
    atr_String const report = exception.DeveloperReport();
    std::printf("report: %s\n", report.CharsOrEmpty());
    return report == "Exception: Node 17 of plate not found in file main at line 13";
  }
}

bool IdentitiesDiffer() {
  cls_Uid const plate;
  cls_Uid const copy(plate);
  cls_Uid const bolt;
  bool const works = copy.Entry() == plate.Entry() && bolt.Entry() != plate.Entry();
  std::printf("identity: %s\n", works ? "a copy is the same object, a new one is another" : "WRONG");
  return works;
}

} // namespace

int main() {
  int modules = 0;
  nex_initialize(modules);
  bool const works = ExceptionReports() && IdentitiesDiffer();
  nex_finalize(modules);
  return works && modules == 0 ? 0 : 1;
}
