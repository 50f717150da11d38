#include "platform/cow/cow_initialize.h"

#include "platform/mem/mem_UseCount.h"

namespace {
mem_UseCount s_Uses;
}

void cow_initialize(int& count) {
  s_Uses.Enter(count);
}

void cow_finalize(int& count) {
  s_Uses.Leave(count);
}
