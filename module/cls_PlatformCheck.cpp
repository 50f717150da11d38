#include "module/cls_PlatformCheck.h"

#include <stdexcept>

void cls_PlatformCheck::RequireFit() {
  std::string const fault = FirstFault();
  if (fault.empty()) return;
  throw std::runtime_error("KVLpersist cannot start with the platform libraries that are loaded: " + fault +
                           " Build KVLpersist with the headers of these libraries (platform/README.md).");
}
