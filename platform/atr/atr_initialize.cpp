#include "platform/atr/atr_initialize.h"

#include "platform/mem/mem_UseCount.h"

namespace {
mem_UseCount s_Uses;
}

void atr_initialize(int& count) {
  s_Uses.Enter(count);
}

void atr_finalize(int& count) {
  s_Uses.Leave(count);
}
