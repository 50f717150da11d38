#include "platform/omni/omni_initialize.h"

#include "platform/mem/mem_UseCount.h"

namespace {
mem_UseCount s_Uses;
}

void omni_initialize(int& count) {
  s_Uses.Enter(count);
}

void omni_finalize(int& count) {
  s_Uses.Leave(count);
}
