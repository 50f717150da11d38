#include "tests/support/HeapCount.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<long long> s_Count = 0;

void* Allocate(std::size_t size) {
  s_Count.fetch_add(1, std::memory_order_relaxed);
  void* const memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

} // namespace

long long HeapCount() {
  return s_Count;
}

void* operator new(std::size_t size) {
  return Allocate(size);
}
void* operator new[](std::size_t size) {
  return Allocate(size);
}
// The sanitizers' own nothrow form would bypass the throwing one, and free could not release its memory.
void* operator new(std::size_t size, std::nothrow_t const&) noexcept {
  try {
    return Allocate(size);
  } catch (std::bad_alloc const&) {
    return nullptr;
  }
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete[](void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
  std::free(memory);
}
