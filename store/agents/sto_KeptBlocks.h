#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "collections/cls_ArrayPrim.h"

/// An image of what the bulk arrays of one stored list held in memory at some moment. It is restored if the
/// work since then is undone. Internal to the module.
///
/// Blocks are kept by handle. Each trie of the arrays has a second trie here, so that restoring only swaps
/// the two: it allocates nothing and cannot fail. If the elements of a block may change while it is kept, a
/// copy of them is kept too, and is copied back into the block.
///
/// Thread rule: the thread of the session.
template <class T> class sto_KeptBlocks {
 public:
  using Array = cls_ArrayPrim<T>;
  using Buffer = cls_ArrayPrimBuffer<T>;
  using Trie = typename Array::Trie;

  /// Which blocks of an array are kept.
  enum class Which {
    All,     ///< for an array in memory, which has nothing in the store
    Changed, ///< for an associated array: its other blocks are in the store
  };

  [[nodiscard]] bool IsEmpty() const noexcept { return m_Images.empty(); }
  [[nodiscard]] bool Has(Array const& array) const noexcept { return Find(array) != nullptr; }

  /// Keeps an array's blocks. `isCopied(start)` says for which block the elements are copied too. If it
  /// raises, nothing has changed. REQUIRES: there is no image of the array's trie yet.
  template <class IsCopied> void Keep(Array const& array, Which which, IsCopied isCopied) {
    auto image = std::make_unique<Image>(array.Blocks());
    cls_PTrieIter<int, Buffer, 1> iter(*array.Blocks().Ptr());
    for (iter.First(); iter.IsDone() == 0; iter.Next()) {
      Buffer const& block = iter.CurrentValue();
      if (which == Which::Changed && !block.IsDirty()) continue;
      image->m_Kept.Insert(iter.CurrentKey(), block);
      if (isCopied(iter.CurrentKey())) image->m_Copies.emplace_back(block, block.Clone());
    }
    m_Images.push_back(std::move(image));
  }

  /// Gives an array back the blocks that its trie had, marked as changed, because their writing was undone.
  /// An array without an image had no unwritten blocks: all are in the store. `isPaged`: the array stays
  /// associated. Of several arrays that share a trie, the first call does the work.
  void PutBack(Array const& array, bool isPaged) noexcept {
    Trie& trie = *array.Blocks().Ptr();
    Image* const image = Find(array);
    if (image == nullptr)
      trie.Clear();
    else if (!std::exchange(image->m_IsBack, true))
      PutBack(*image, trie);
    trie.m_IsPaged = isPaged;
    trie.ForgetLastFound();
  }

  void Forget() noexcept { m_Images.clear(); }
  /// Forgets the images that were restored.
  void ForgetUsed() noexcept {
    std::erase_if(m_Images, [](std::unique_ptr<Image> const& image) { return image->m_IsBack; });
  }

 private:
  struct Image {
    explicit Image(cow_CountedHld<Trie> const& blocks) noexcept : m_Blocks(blocks) {}
    Image(Image const&) = delete;
    Image& operator=(Image const&) = delete;
    ~Image() { m_Kept.Clear(); }

    cow_CountedHld<Trie> m_Blocks; // the trie that this is an image of
    cls_PTrie<int, Buffer, 1> m_Kept;
    std::vector<std::pair<Buffer, Buffer>> m_Copies; // a kept block, and the elements that it had
    bool m_IsBack = false;
  };

  static void PutBack(Image& image, Trie& trie) noexcept {
    for (auto const& [block, elements] : image.m_Copies) block.TakeValues(elements);
    trie.Swap(image.m_Kept);
    image.m_Kept.Clear(); // the blocks of the undone work
    cls_PTrieIter<int, Buffer, 1> iter(trie);
    for (iter.First(); iter.IsDone() == 0; iter.Next()) iter.CurrentValue().SetDirty(true);
  }

  [[nodiscard]] Image* Find(Array const& array) const noexcept {
    for (std::unique_ptr<Image> const& image : m_Images)
      if (image->m_Blocks.Ptr() == array.Blocks().Ptr()) return image.get();
    return nullptr;
  }

  std::vector<std::unique_ptr<Image>> m_Images;
};
