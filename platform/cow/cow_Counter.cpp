#include "platform/cow/cow_Counter.h"

#include "platform/mem/mem_Memory.h"

void* cow_Counter::operator new(std::size_t size) {
  return mem_Malloc(size);
}
void cow_Counter::operator delete(void* counter) noexcept {
  mem_Free(counter);
}
