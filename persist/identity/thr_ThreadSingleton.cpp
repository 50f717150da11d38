#include "persist/identity/thr_ThreadSingleton.h"

#include <atomic>

#include "platform/thr/thr_GlobalLock.h"
#include "platform/thr/thr_ThrSingletonRegistry.h"
#include "platform/thr/thr_ThreadSlot.h"

namespace {

using Atomic = std::atomic_ref<int>;

} // namespace

void* thr_ThreadSingletonCount::Instance() noexcept {
  if (Atomic(m_UserCount).load(std::memory_order_relaxed) < 1) return nullptr;
  return thr_TlsGetValue(Atomic(m_Slot).load(std::memory_order_relaxed));
}

int thr_ThreadSingletonCount::UserCount() noexcept {
  return Atomic(m_UserCount).load();
}

int thr_ThreadSingletonCount::Slot() noexcept {
  return Atomic(m_Slot).load();
}

void thr_ThreadSingletonCount::Bind(void* instance) {
  {
    thr_GlobalLock::Guard const guard;
    if (UserCount() == 0) Atomic(m_Slot).store(thr_TlsAlloc());
    Atomic(m_UserCount).fetch_add(1);
  }
  thr_TlsSetValue(Slot(), instance);
}

void thr_ThreadSingletonCount::Unbind() noexcept {
  thr_TlsSetValue(Slot(), nullptr);
  thr_GlobalLock::Guard const guard;
  if (Atomic(m_UserCount).fetch_sub(1) == 1) thr_TlsFree(Atomic(m_Slot).exchange(-1));
}

void thr_ThreadSingletonCount::Register(bool (*finalizer)()) {
  thr_GlobalSingleton<thr_ThrSingletonRegistry>::Instance().Register(finalizer);
}

void thr_ThreadSingletonCount::SetDestructLevel(bool (*finalizer)(), int level) {
  thr_GlobalSingleton<thr_ThrSingletonRegistry>::Instance().SetDestructLevel(finalizer, level);
}
