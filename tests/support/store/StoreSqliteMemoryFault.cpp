#include "tests/support/store/StoreSqliteMemoryFault.h"

#include <sqlite3.h>

#include <cstdlib>

namespace {

long long s_StepsLeft = 0; // 0: no fault
bool s_GoesOn = false;
bool s_HasFailed = false;
sqlite3_mem_methods s_Real;

bool Fails() noexcept {
  if (s_StepsLeft == 0) return false;
  if (s_StepsLeft > 1) {
    --s_StepsLeft;
    return false;
  }
  if (!s_GoesOn) s_StepsLeft = 0;
  s_HasFailed = true;
  return true;
}

void* Allocate(int size) {
  return Fails() ? nullptr : s_Real.xMalloc(size);
}
void* Reallocate(void* memory, int size) {
  return Fails() ? nullptr : s_Real.xRealloc(memory, size);
}

/// SQLite accepts another allocator only before its first use.
bool Install() {
  sqlite3_mem_methods methods;
  if (sqlite3_config(SQLITE_CONFIG_GETMALLOC, &s_Real) != SQLITE_OK) std::abort();
  methods = s_Real;
  methods.xMalloc = Allocate;
  methods.xRealloc = Reallocate;
  if (sqlite3_config(SQLITE_CONFIG_MALLOC, &methods) != SQLITE_OK) std::abort();
  return true;
}

[[maybe_unused]] bool const s_IsInstalled = Install();

void Set(long long step, bool goesOn) noexcept {
  s_StepsLeft = step;
  s_GoesOn = goesOn;
  s_HasFailed = false;
}

} // namespace

void StoreSqliteMemoryFault::FailAt(long long step) noexcept {
  Set(step, false);
}
void StoreSqliteMemoryFault::FailFrom(long long step) noexcept {
  Set(step, true);
}
void StoreSqliteMemoryFault::Disarm() noexcept {
  s_StepsLeft = 0;
}
bool StoreSqliteMemoryFault::HasFailed() noexcept {
  return s_HasFailed;
}
