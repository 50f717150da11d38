#include "tests/support/store/StoreAllocFault.h"

#include <sqlite3.h>

#include <cstdlib>
#include <new>
#include <stdexcept>

#include "platform/mem/mem_Memory.h"

namespace {

bool s_IsArmed = false;
long long s_StepsLeft = 0;
long long s_FailuresLeft = 0;
bool s_HasFailed = false;
sqlite3_mem_methods s_Sqlite{};

bool Fails() noexcept {
  if (!s_IsArmed || --s_StepsLeft > 0 || s_FailuresLeft == 0) return false;
  if (s_FailuresLeft > 0) --s_FailuresLeft;
  s_HasFailed = true;
  return true;
}

void* Allocate(std::size_t size, std::size_t alignment) {
  if (Fails()) throw std::bad_alloc();
  void* const memory = alignment == 0
                           ? std::malloc(size == 0 ? 1 : size)
                           : std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

void* SqliteMalloc(int size) {
  return Fails() ? nullptr : s_Sqlite.xMalloc(size);
}
void* SqliteRealloc(void* memory, int size) {
  return Fails() ? nullptr : s_Sqlite.xRealloc(memory, size);
}

} // namespace

void StoreAllocFault::Install() {
  sqlite3_config(SQLITE_CONFIG_GETMALLOC, &s_Sqlite);
  sqlite3_mem_methods methods = s_Sqlite;
  methods.xMalloc = SqliteMalloc;
  methods.xRealloc = SqliteRealloc;
  if (sqlite3_config(SQLITE_CONFIG_MALLOC, &methods) != SQLITE_OK) throw std::runtime_error("sqlite3_config");
  mem_SetAllocationHook([](std::size_t) { return !Fails(); });
}

void StoreAllocFault::FailFrom(long long step, long long count) noexcept {
  s_StepsLeft = step;
  s_FailuresLeft = count;
  s_HasFailed = false;
  s_IsArmed = true;
}

void StoreAllocFault::Stop() noexcept {
  s_IsArmed = false;
}

bool StoreAllocFault::HasFailed() noexcept {
  return s_HasFailed;
}

void* operator new(std::size_t size) {
  return Allocate(size, 0);
}
void* operator new[](std::size_t size) {
  return Allocate(size, 0);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
  return Allocate(size, static_cast<std::size_t>(alignment));
}
void* operator new(std::size_t size, std::nothrow_t const&) noexcept {
  return Fails() ? nullptr : std::malloc(size == 0 ? 1 : size);
}
void operator delete(void* memory, std::nothrow_t const&) noexcept {
  std::free(memory);
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
void operator delete(void* memory, std::align_val_t) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
  std::free(memory);
}
