#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "collections/cls_ArrayPrim.h"

/// What the bulk arrays on one stored list held in memory at some moment, so that it can be put back when
/// the work since then is undone. Internal to the module.
///
/// Blocks are kept by handle, in a trie of its own for each trie that the arrays have, so that putting back
/// is an exchange of two tries: it allocates nothing and cannot fail. A block whose elements may change while
/// it is kept is kept as a copy as well, and gets its old elements back where it was.
///
/// Thread rule: the thread of the session.
template <class T> class sto_KeptBlocks {
 public:
  using Array = cls_ArrayPrim<T>;
  using Buffer = cls_ArrayPrimBuffer<T>;
  using Trie = typename Array::Trie;

  /// Which blocks an image of an array's memory has.
  enum class Which {
    All,     ///< of an array that is in memory: it has nothing else
    Changed, ///< of one that is associated: its other blocks are in the store
  };

  [[nodiscard]] bool IsEmpty() const noexcept { return m_Images.empty(); }
  [[nodiscard]] bool Has(Array const& array) const noexcept { return Find(array) != nullptr; }

  /// Keeps an array's blocks, of a trie that has no image yet. `isCopied(start)` says which are kept as
  /// copies too. When it raises, nothing has changed.
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

  /// Gives an array the blocks that its trie had, marked as changed, because what was written of them is
  /// undone. An array without image was clean: its blocks are in the store. `isPaged`: the array stays
  /// associated. Once for each trie; of arrays that share one the first call does it.
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
  /// Forgets the images that were put back.
  void ForgetUsed() noexcept {
    std::erase_if(m_Images, [](std::unique_ptr<Image> const& image) { return image->m_IsBack; });
  }

 private:
  struct Image {
    explicit Image(cow_CountedHld<Trie> const& blocks) noexcept : m_Blocks(blocks) {}
    Image(Image const&) = delete;
    Image& operator=(Image const&) = delete;
    ~Image() { m_Kept.Clear(); }

    cow_CountedHld<Trie> m_Blocks; // whose memory it is
    cls_PTrie<int, Buffer, 1> m_Kept;
    std::vector<std::pair<Buffer, Buffer>> m_Copies; // a kept block, and the elements that it had
    bool m_IsBack = false;
  };

  static void PutBack(Image& image, Trie& trie) noexcept {
    for (auto const& [block, elements] : image.m_Copies) block.TakeValues(elements);
    trie.Swap(image.m_Kept);
    image.m_Kept.Clear(); // what the undone work left
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
