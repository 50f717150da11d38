#include "platform/mem/mem_Memory.h"

#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>

// Another allocator: small blocks come from free lists, one for each size class, and never go back to the system.
// Every block has a header, so that a block of another allocator is noticed when it is freed. What is freed is
// overwritten, so that its use is noticed.

namespace {

struct alignas(std::max_align_t) Header {
  std::size_t m_Mark;
  std::size_t m_Size; // of the content
};

struct FreeBlock {
  FreeBlock* m_Next;
};

constexpr std::size_t InUse = 0x6B766C2D626C6F63;
constexpr std::size_t Granule = 32;
constexpr std::size_t ClassCount = 32;
constexpr std::size_t ChunkSize = 0x10000;
constexpr int Freed = 0xDD;

std::atomic<mem_AllocationHook> s_Hook = nullptr;
std::mutex& Mutex() {
  static std::mutex& mutex = *new std::mutex; // memory is freed until the process has ended
  return mutex;
}
std::array<FreeBlock*, ClassCount> s_Free{};

/// The free list of a size with its header; ClassCount and more for large blocks.
std::size_t ClassOf(std::size_t size) {
  return (size + sizeof(Header) - 1) / Granule;
}

/// Cuts a new chunk into blocks of a class.
void Fill(std::size_t sizeClass) {
  auto* chunk = static_cast<std::byte*>(std::malloc(ChunkSize));
  if (chunk == nullptr) throw std::bad_alloc();
  std::size_t const blockSize = (sizeClass + 1) * Granule;
  for (std::size_t at = 0; at + blockSize <= ChunkSize; at += blockSize)
    s_Free[sizeClass] = new (chunk + at) FreeBlock{s_Free[sizeClass]};
}

void* Take(std::size_t size) {
  std::size_t const sizeClass = ClassOf(size);
  if (sizeClass >= ClassCount) {
    void* const block = size + sizeof(Header) < size ? nullptr : std::malloc(size + sizeof(Header));
    if (block == nullptr) throw std::bad_alloc();
    return block;
  }
  std::lock_guard<std::mutex> const guard(Mutex());
  if (s_Free[sizeClass] == nullptr) Fill(sizeClass);
  FreeBlock* const block = s_Free[sizeClass];
  s_Free[sizeClass] = block->m_Next;
  return block;
}

Header& HeaderOf(void* content) {
  Header& header = *(static_cast<Header*>(content) - 1);
  if (header.m_Mark == InUse) return header;
  std::fputs("platform2: this block is not of mem_Malloc, or was freed before\n", stderr);
  std::abort();
}

} // namespace

void* mem_Malloc(std::size_t size) {
  if (mem_AllocationHook hook = s_Hook.load(std::memory_order_relaxed); hook != nullptr && !hook(size))
    throw std::bad_alloc();
  return new (Take(size)) Header{InUse, size} + 1;
}

void* mem_Realloc(void* block, std::size_t size) {
  void* const larger = mem_Malloc(size);
  if (block == nullptr) return larger;
  std::size_t const before = HeaderOf(block).m_Size;
  std::memcpy(larger, block, before < size ? before : size);
  mem_Free(block);
  return larger;
}

void mem_Free(void* block) noexcept {
  if (block == nullptr) return;
  Header& header = HeaderOf(block);
  std::size_t const size = header.m_Size;
  header.m_Mark = 0;
  std::memset(block, Freed, size);
  std::size_t const sizeClass = ClassOf(size);
  if (sizeClass >= ClassCount) return std::free(&header);
  std::lock_guard<std::mutex> const guard(Mutex());
  s_Free[sizeClass] = new (&header) FreeBlock{s_Free[sizeClass]};
}

mem_AllocationHook mem_SetAllocationHook(mem_AllocationHook hook) noexcept {
  return s_Hook.exchange(hook);
}
