#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iterator>
#include <memory>
#include <new>
#include <utility>
#include <vector>

/// Memory in pages of `PageBytes`, each aligned to its size. A page that is given back is reused, the latest
/// first. Pages come from the heap in large chunks, so objects that die one by one cause no heap work. When
/// many pages are free, chunks without a used page are freed; the search for them costs as much as giving the
/// pages back did. Used by cls_IdentityMap. Thread rule: one thread.
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
    --m_FreeCount;
    return std::exchange(m_Free, m_Free->m_Next);
  }
  /// REQUIRES: `page` is from Take, and nothing in it lives.
  void GiveBack(void* page) noexcept {
    AddFree(page);
    if (m_FreeCount >= m_TrimAt) Trim();
  }
  /// How many pages the pool has, used and free.
  [[nodiscard]] std::size_t PageCount() const noexcept {
    std::size_t count = 0;
    for (Chunk const& chunk : m_Chunks) count += chunk.m_Pages;
    return count;
  }

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
  struct Chunk {
    std::unique_ptr<std::byte, Release> m_Memory;
    std::size_t m_Pages = 0;
    std::size_t m_FreePages = 0; // only Trim counts them
  };

  static constexpr std::size_t FewFree = 2048; // pages that are not worth a search

  void AddFree(void* page) noexcept {
    m_Free = new (page) Free{m_Free};
    ++m_FreeCount;
  }

  /// Each chunk is twice as large as the one before, up to MaxPages.
  void AddChunk() {
    constexpr std::size_t MinPages = 4;
    constexpr std::size_t MaxPages = 1024;
    std::size_t const pages = MinPages << (m_Chunks.size() < 8 ? m_Chunks.size() : 8);
    static_assert(MinPages << 8 == MaxPages);
    m_Chunks.reserve(m_Chunks.size() + 1);
    auto* const chunk =
        static_cast<std::byte*>(::operator new (pages* PageBytes, std::align_val_t{PageBytes}));
    m_Chunks.push_back({std::unique_ptr<std::byte, Release>(chunk), pages, 0});
    for (std::size_t i = pages; i > 0; --i) AddFree(chunk + (i - 1) * PageBytes);
  }

  /// REQUIRES: the chunks are sorted by address.
  [[nodiscard]] Chunk& ChunkOf(Free const* page) noexcept {
    auto const* const address = reinterpret_cast<std::byte const*>(page);
    auto const after = std::ranges::upper_bound(m_Chunks, address, std::less<>(),
                                                [](Chunk const& chunk) { return chunk.m_Memory.get(); });
    return *std::prev(after);
  }

  /// Frees the chunks that have no used page. The other free pages keep their order.
  void Trim() noexcept {
    std::ranges::sort(m_Chunks, std::less<>(), [](Chunk const& chunk) { return chunk.m_Memory.get(); });
    for (Chunk& chunk : m_Chunks) chunk.m_FreePages = 0;
    for (Free const* page = m_Free; page != nullptr; page = page->m_Next) ++ChunkOf(page).m_FreePages;
    m_FreeCount = 0;
    Free** last = &m_Free;
    for (Free* page = m_Free; page != nullptr; page = page->m_Next) {
      Chunk const& chunk = ChunkOf(page);
      if (chunk.m_FreePages == chunk.m_Pages) continue;
      *last = page;
      last = &page->m_Next;
      ++m_FreeCount;
    }
    *last = nullptr;
    std::erase_if(m_Chunks, [](Chunk const& chunk) { return chunk.m_FreePages == chunk.m_Pages; });
    m_TrimAt = std::max(FewFree, 2 * m_FreeCount);
  }

  Free* m_Free = nullptr;
  std::size_t m_FreeCount = 0;
  std::size_t m_TrimAt = FewFree; // when so many pages are free, Trim looks for free chunks
  std::vector<Chunk> m_Chunks;
};
