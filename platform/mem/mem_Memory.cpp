#include "platform/mem/mem_Memory.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<mem_AllocationHook> s_Hook = nullptr;

void AskHook(std::size_t size) {
  if (mem_AllocationHook hook = s_Hook.load(std::memory_order_relaxed); hook != nullptr && !hook(size))
    throw std::bad_alloc();
}

} // namespace

void* mem_Malloc(std::size_t size) {
  AskHook(size);
  void* const result = std::malloc(size == 0 ? 1 : size);
  if (result == nullptr) throw std::bad_alloc();
  return result;
}

void* mem_Realloc(void* block, std::size_t size) {
  AskHook(size);
  void* const result = std::realloc(block, size == 0 ? 1 : size);
  if (result == nullptr) throw std::bad_alloc();
  return result;
}

void mem_Free(void* block) noexcept {
  std::free(block);
}

mem_AllocationHook mem_SetAllocationHook(mem_AllocationHook hook) noexcept {
  return s_Hook.exchange(hook);
}
