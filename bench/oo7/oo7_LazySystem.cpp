#include "bench/oo7/oo7_LazySystem.h"

#include "bench/oo7/oo7_LazySession.h"

std::unique_ptr<oo7_System> oo7_MakeLazySystem() {
  return std::make_unique<oo7_SystemOf<oo7_LazySession>>();
}
