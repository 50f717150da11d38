#include "platform/thr/thr_ThreadSlot.h"

#include <array>
#include <atomic>
#include <system_error>

namespace {

constexpr int SlotCount = 128;

/// Odd while the slot is in use. A value of another generation belongs to a former owner of the index.
std::array<std::atomic<unsigned int>, SlotCount> s_Generations{};

struct Value {
  void* m_Value;
  unsigned int m_Generation;
};

// Not system keys: at a thread's end the system clears its keys one by one, before the last of their
// destructors has run. These values stay readable until the thread is gone.
constinit thread_local std::array<Value, SlotCount> t_Values{};

} // namespace

int thr_TlsAlloc() {
  for (int slot = 0; slot < SlotCount; ++slot) {
    std::atomic<unsigned int>& generation = s_Generations[static_cast<std::size_t>(slot)];
    unsigned int current = generation.load();
    if (current % 2 == 0 && generation.compare_exchange_strong(current, current + 1)) return slot;
  }
  throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again),
                          "thr_TlsAlloc: no free thread-local slot");
}

void* thr_TlsGetValue(int slot) noexcept {
  if (slot < 0) return nullptr;
  auto const index = static_cast<std::size_t>(slot);
  Value const& value = t_Values[index];
  return value.m_Generation == s_Generations[index].load(std::memory_order_relaxed) ? value.m_Value : nullptr;
}

void thr_TlsSetValue(int slot, void* value) noexcept {
  auto const index = static_cast<std::size_t>(slot);
  t_Values[index] = {value, s_Generations[index].load(std::memory_order_relaxed)};
}

void thr_TlsFree(int slot) noexcept {
  s_Generations[static_cast<std::size_t>(slot)].fetch_add(1);
}
