#include "platform/thr/thr_initialize.h"

#include "platform/mem/mem_UseCount.h"

namespace {
mem_UseCount s_Uses;
}

void thr_initialize(int& count) {
  s_Uses.Enter(count);
}

void thr_finalize(int& count) {
  s_Uses.Leave(count);
}
