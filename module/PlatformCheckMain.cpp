// Compiled, linked and run with a host's platform libraries when the build is configured
// (cmake/KvlExternalPlatform.cmake): its headers keep what the contract requires, and its libraries are those that
// belong to the headers. Prints what does not fit.

#include <cstdio>

#include "module/cls_PlatformCheck.h"
#include "module/cls_PlatformContract.h"

#if !defined(KVL_EXPORT) || !defined(KVL_LOCAL) || !defined(KVL_TLS_INITIAL_EXEC)
#error "a header of the platform changes the macros of platform/kvl_Export.h"
#endif

int main() {
  std::string fault = cls_PlatformCheck::FirstFault();
  if (fault.empty()) fault = cls_StartAndStopPlatform();
  std::puts(fault.c_str());
  return fault.empty() ? 0 : 1;
}
