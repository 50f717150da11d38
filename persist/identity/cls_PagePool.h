#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>
#include <vector>

/// Memory in pages of `PageBytes`, each aligned to its size. A page that is given back is reused, the latest
/// first. The memory is freed only with the pool, so that objects that die one by one cause no heap work.
/// Used by cls_IdentityMap. Thread rule: one thread.
template <std::size_t PageBytes> class cls_PagePool {
  static_assert(std::has_single_bit(PageBytes) && PageBytes >= sizeof(void*));

 public:
  cls_PagePool() = default;
  cls_PagePool(cls_PagePool const&) = delete;
  cls_PagePool& operator=(cls_PagePool const&) = delete;

  /// A page with unspecified content; valid until GiveBack or the end of the pool. Throws std::bad_alloc;
  /// then the pool is unchanged.
  [[nodiscard]] void* Take() {
    if (m_Free == nullptr) AddChunk();
    return std::exchange(m_Free, m_Free->m_Next);
  }
  /// REQUIRES: `page` is from Take, and nothing in it lives.
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

  /// Each chunk is twice as large as the one before, up to MaxPages.
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
