#include "platform/typ/typ_initialize.h"

#include "platform/mem/mem_UseCount.h"
#include "platform/typ/typ_ArchCompTable.h"

namespace {
mem_UseCount s_Uses;
}

void typ_initialize(int& count) {
  s_Uses.Enter(count);
}

void typ_finalize(int& count) {
  if (s_Uses.Leave(count)) typ_ArchCompTable::Clear();
}
