/// A host's program. It passes the host's strings to the library and gets them back; fails when they differ.

#include <cstdio>
#include <stdexcept>

#include <host/host_Text.h>
#include <kvlpersist/errors/nex_TextException.h>
#include <kvlpersist/metadata/cls_ClassRegistrar.h>
#include <kvlpersist/module/nex_initialize.h>
#include <kvlpersist/persist/identity/cls_Uid.h>
#include <kvlpersist/platform/cow/cow_String.h>

namespace {

bool StringsComeBack() {
  try {
    nex_TextException(atr_String("Node 17 of plate not found")).Throw("main", 21);
  } catch (nex_Exception const& exception) {
    atr_String report = exception.DeveloperReport();
    report.Append(atr_StringBase("!"));
    std::printf("host: %s\n", report.CharsOrEmpty());
    return report == "Exception: Node 17 of plate not found in file main at line 21!";
  }
}

/// Literals have the host's layout on both sides.
bool NamesAreFound() {
  cls_ClassRegistrar registrar;
  registrar.CreateClassMD("Plate"_cow, 0x400001, 1, nullptr, 1);
  return registrar.GetClassID("Plate"_cow) == 0x400001 && host_HasRoom(cow_String(), cow_ImmortalBuffer<"x">);
}

} // namespace

int main() {
  int modules = 0;
  try {
    nex_initialize(modules);
  } catch (std::runtime_error const& refusal) {
    std::printf("host: refused: %s\n", refusal.what());
    return modules == 0 ? 3 : 1;
  }
  bool const works = StringsComeBack() && NamesAreFound();
  nex_finalize(modules);
  std::puts(works ? "host: the library works on the host's platform" : "host: WRONG");
  return works && modules == 0 ? 0 : 1;
}
