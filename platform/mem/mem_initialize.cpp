#include "platform/mem/mem_initialize.h"

#include "platform/mem/mem_UseCount.h"

namespace {
mem_UseCount s_Uses;
}

void mem_initialize(int& count) {
  s_Uses.Enter(count);
}

void mem_finalize(int& count) {
  s_Uses.Leave(count);
}
