#include "store/session/sto_ProcessMark.h"

#include <pthread.h>

#include <new>

sto_ProcessMark::sto_ProcessMark() {
  static bool const isCounting = [] {
    if (pthread_atfork(nullptr, nullptr, [] { CountFork(); }) != 0) throw std::bad_alloc();
    return true;
  }();
  static_cast<void>(isCounting);
  m_Forks = s_Forks.load(std::memory_order_relaxed);
}
