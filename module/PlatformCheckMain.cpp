// Compiled, linked and run with a host's platform libraries when the build is configured
// (cmake/KvlExternalPlatform.cmake): its headers keep what the contract requires, and its libraries are those that
// belong to the headers. Prints what does not fit.

#include <cstdio>

#include "module/cls_PlatformCheck.h"
#include "module/cls_PlatformContract.h"

#if !defined(KVL_EXPORT) || !defined(KVL_LOCAL) || !defined(KVL_TLS_INITIAL_EXEC)
#error "a header of the platform changes the macros of platform/kvl_Export.h"
#endif

namespace {

/// Starts and stops the libraries under one counter, which must count them. Returns what is wrong.
char const* StartAndStop() {
  int count = 0;
  mem_initialize(count);
  typ_initialize(count);
  thr_initialize(count);
  omni_initialize(count);
  atr_initialize(count);
  cow_initialize(count);
  if (count != 6) return "the start of the six libraries does not raise the caller's counter to 6.";
  cow_finalize(count);
  atr_finalize(count);
  omni_finalize(count);
  thr_finalize(count);
  typ_finalize(count);
  mem_finalize(count);
  return count == 0 ? "" : "the end of the six libraries does not lower the caller's counter to 0.";
}

} // namespace

int main() {
  std::string fault = cls_PlatformCheck::FirstFault();
  if (fault.empty()) fault = StartAndStop();
  std::puts(fault.c_str());
  return fault.empty() ? 0 : 1;
}
