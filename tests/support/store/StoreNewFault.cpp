#include "tests/support/store/StoreNewFault.h"

#include <cstdlib>
#include <new>

namespace {

long long s_StepsLeft = 0;
bool s_HasFailed = false;
long long s_AskedBytes = 0;

void* Allocate(std::size_t size, std::size_t alignment) {
  s_AskedBytes += static_cast<long long>(size);
  if (s_StepsLeft != 0 && --s_StepsLeft == 0) {
    s_HasFailed = true;
    throw std::bad_alloc();
  }
  void* const memory = alignment == 0
                           ? std::malloc(size == 0 ? 1 : size)
                           : std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

} // namespace

void StoreNewFault::FailAt(long long step) noexcept {
  s_StepsLeft = step;
  s_HasFailed = false;
}

bool StoreNewFault::HasFailed() noexcept {
  return s_HasFailed;
}

long long StoreNewFault::AskedBytes() noexcept {
  return s_AskedBytes;
}

void* operator new(std::size_t size) {
  return Allocate(size, 0);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
  return Allocate(size, static_cast<std::size_t>(alignment));
}
void* operator new(std::size_t size, std::nothrow_t const&) noexcept {
  try {
    return Allocate(size, 0);
  } catch (std::bad_alloc const&) {
    return nullptr;
  }
}
void operator delete(void* memory, std::nothrow_t const&) noexcept {
  std::free(memory);
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::align_val_t) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
  std::free(memory);
}
