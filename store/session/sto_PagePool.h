#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>
#include <vector>

/// Memory in pages of `PageBytes`, each at a multiple of its size. Pages that are given back are given out
/// again, the last one first; the pool's memory goes with the pool, so that objects which die one after the
/// other cost the heap nothing. Internal to the module. Thread rule: one thread.
template <std::size_t PageBytes> class sto_PagePool {
  static_assert(std::has_single_bit(PageBytes) && PageBytes >= sizeof(void*));

 public:
  sto_PagePool() = default;
  sto_PagePool(sto_PagePool const&) = delete;
  sto_PagePool& operator=(sto_PagePool const&) = delete;

  /// A page of unspecified content. Throws std::bad_alloc; the pool is unchanged then.
  [[nodiscard]] void* Take() {
    if (m_Free == nullptr) AddChunk();
    return std::exchange(m_Free, m_Free->m_Next);
  }
  void GiveBack(void* page) noexcept { m_Free = new (page) Free{m_Free}; }

  /// The page that an address lies in.
  [[nodiscard]] static void* PageOf(void* address) noexcept {
    auto const offset = reinterpret_cast<std::uintptr_t>(address) % PageBytes;
    return static_cast<std::byte*>(address) - offset;
  }

 private:
  struct Free {
    Free* m_Next;
  };
  struct Release {
    void operator()(std::byte* chunk) const noexcept {
      ::operator delete (chunk, std::align_val_t{PageBytes});
    }
  };

  /// Chunks double up to a size at which they are few.
  void AddChunk() {
    constexpr std::size_t MinPages = 4;
    constexpr std::size_t MaxPages = 1024;
    std::size_t const pages = MinPages << (m_Chunks.size() < 8 ? m_Chunks.size() : 8);
    static_assert(MinPages << 8 == MaxPages);
    m_Chunks.reserve(m_Chunks.size() + 1);
    auto* const chunk =
        static_cast<std::byte*>(::operator new (pages* PageBytes, std::align_val_t{PageBytes}));
    m_Chunks.emplace_back(chunk);
    for (std::size_t i = pages; i > 0; --i) GiveBack(chunk + (i - 1) * PageBytes);
  }

  Free* m_Free = nullptr;
  std::vector<std::unique_ptr<std::byte, Release>> m_Chunks;
};
