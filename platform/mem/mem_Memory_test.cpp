#include "platform/mem/mem_Memory.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <new>

#include "tests/support/AllocationProbe.h"

namespace {

bool Refuse(std::size_t) {
  return false;
}
bool Allow(std::size_t) {
  return true;
}

TEST(mem_Memory, ReturnsWritableMemoryAlignedForAnyObject) {
  for (std::size_t size = 1; size <= 4096; size += 13) {
    void* const block = mem_Malloc(size);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % alignof(std::max_align_t), 0U);
    std::memset(block, 0x5A, size);
    mem_Free(block);
  }
}

TEST(mem_Memory, ReturnsAUniquePointerForSizeZero) {
  void* const first = mem_Malloc(0);
  void* const second = mem_Malloc(0);
  EXPECT_NE(first, nullptr);
  EXPECT_NE(second, nullptr);
  EXPECT_NE(first, second);
  mem_Free(first);
  mem_Free(second);
}

TEST(mem_Memory, KeepsTheContentWhenABlockGrowsOrShrinks) {
  auto* block = static_cast<unsigned char*>(mem_Malloc(100));
  for (int i = 0; i < 100; ++i) block[i] = static_cast<unsigned char>(i);
  block = static_cast<unsigned char*>(mem_Realloc(block, 100000));
  for (int i = 0; i < 100; ++i) ASSERT_EQ(block[i], i);
  block = static_cast<unsigned char*>(mem_Realloc(block, 10));
  for (int i = 0; i < 10; ++i) ASSERT_EQ(block[i], i);
  mem_Free(block);
}

TEST(mem_Memory, ReallocOfNullAllocates) {
  auto* const block = static_cast<char*>(mem_Realloc(nullptr, 8));
  ASSERT_NE(block, nullptr);
  std::memcpy(block, "1234567", 8);
  EXPECT_STREQ(block, "1234567");
  mem_Free(block);
}

TEST(mem_Memory, ReallocToSizeZeroKeepsABlock) {
  void* block = mem_Malloc(10);
  block = mem_Realloc(block, 0);
  EXPECT_NE(block, nullptr);
  mem_Free(block);
}

TEST(mem_Memory, FreeOfNullDoesNothing) {
  AllocationProbe const probe;
  mem_Free(nullptr);
  EXPECT_EQ(probe.Count(), 0);
}

TEST(mem_Memory, CallsTheHookBeforeEachAllocationWithItsSize) {
  AllocationProbe const probe;
  void* block = mem_Malloc(10);
  EXPECT_EQ(probe.Count(), 1);
  EXPECT_EQ(probe.Bytes(), 10U);
  block = mem_Realloc(block, 32);
  EXPECT_EQ(probe.Count(), 2);
  EXPECT_EQ(probe.Bytes(), 42U);
  mem_Free(block);
  EXPECT_EQ(probe.Count(), 2);
}

TEST(mem_Memory, FailsWhenTheHookRefuses) {
  mem_AllocationHook const before = mem_SetAllocationHook(&Refuse);
  EXPECT_THROW((void)mem_Malloc(1), std::bad_alloc);
  mem_SetAllocationHook(before);
  mem_Free(mem_Malloc(1));
}

TEST(mem_Memory, KeepsTheBlockWhenTheHookRefusesToGrowIt) {
  auto* const block = static_cast<char*>(mem_Malloc(8));
  std::memcpy(block, "abcdefg", 8);
  mem_AllocationHook const before = mem_SetAllocationHook(&Refuse);
  EXPECT_THROW((void)mem_Realloc(block, 1000), std::bad_alloc);
  mem_SetAllocationHook(before);
  EXPECT_STREQ(block, "abcdefg");
  mem_Free(block);
}

TEST(mem_Memory, ReturnsThePreviousHook) {
  mem_AllocationHook const before = mem_SetAllocationHook(&Allow);
  EXPECT_EQ(mem_SetAllocationHook(&Refuse), &Allow);
  EXPECT_EQ(mem_SetAllocationHook(nullptr), &Refuse);
  EXPECT_EQ(mem_SetAllocationHook(before), nullptr);
}

// The sanitizers' allocators end the process instead of returning null for an absurd size.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
/// Larger than any address space; volatile so that the compiler cannot know it.
std::size_t const volatile Impossible = SIZE_MAX / 4;

TEST(mem_Memory, FailsWhenTheSystemHasNoMemory) {
  EXPECT_THROW((void)mem_Malloc(Impossible), std::bad_alloc);
}

TEST(mem_Memory, KeepsTheBlockWhenTheSystemHasNoMemory) {
  auto* const block = static_cast<char*>(mem_Malloc(8));
  std::memcpy(block, "abcdefg", 8);
  EXPECT_THROW((void)mem_Realloc(block, Impossible), std::bad_alloc);
  EXPECT_STREQ(block, "abcdefg");
  mem_Free(block);
}
#endif

} // namespace
