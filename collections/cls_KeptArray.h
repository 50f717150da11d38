#pragma once

#include <memory>
#include <string>
#include <type_traits>

#include "collections/cls_ArrayPrim.h"
#include "persist/backend/cls_IndexedCollections.h"

/// What a bulk array had in memory before it was saved, for putting that back when the save is undone. For back
/// ends that use cls_AgentRegistry; see cls_KeepArray. Thread rule: the thread of the array.
template <class T> class cls_KeptArray {
 public:
  using Buffer = cls_ArrayPrimBuffer<T>;
  using Trie = typename cls_ArrayPrim<T>::Trie;

  /// Keeps the blocks by handle. Throws std::bad_alloc.
  explicit cls_KeptArray(cls_ArrayPrim<T> const& array) : m_Blocks(array.Blocks()), m_Size(array.Size()) {
    cls_PTrieIter<int, Buffer, 1> iter(*m_Blocks.Ptr());
    for (iter.First(); iter.IsDone() == 0; iter.Next()) m_Kept.Insert(iter.CurrentKey(), iter.CurrentValue());
  }

  cls_KeptArray(cls_KeptArray const&) = delete;
  cls_KeptArray& operator=(cls_KeptArray const&) = delete;
  ~cls_KeptArray() { m_Kept.Clear(); }

  /// Puts the array, and copies of it, into memory with the elements that it had; they are tied to no list. One
  /// that has ended is left alone.
  void PutBack(cls_AgentRegistry& agents) noexcept {
    agents.DetachUnwritten([this](cls_PC& holder) {
      auto* const array = dynamic_cast<cls_ArrayPrim<T>*>(&holder);
      if (array == nullptr || array->Blocks().Ptr() != m_Blocks.Ptr()) return false;
      array->SetLength(m_Size);
      return true;
    });
    Trie& trie = *m_Blocks.Ptr();
    trie.Swap(m_Kept);
    trie.m_IsPaged = false;
    trie.ForgetLastFound();
  }

 private:
  cow_CountedHld<Trie> m_Blocks; // the array's own; kept, so that no other array gets its address
  cls_PTrie<int, Buffer, 1> m_Kept;
  int m_Size;
};

/// For the member Keep of cls_IndexedCollections' Elements: `holder` is the first container of a list that is
/// being saved, which has `stored` elements already. If it is an array that lacks elements (it was detached), and
/// the list has not got them either, calls `raise` with a text. Otherwise it is put back into memory when
/// `session`, a cls_BackEndSession, undoes what it writes; and if the list is empty, all blocks of the array are
/// marked as changed, so that the list gets them. Errors: whatever `raise` raises; std::bad_alloc. In both cases
/// nothing has changed.
template <class T, class Session, class Raise>
void cls_KeepArray(Session& session, cls_PC& holder, int stored, Raise raise) {
  using Element = std::conditional_t<std::is_same_v<T, unsigned int>, int, T>; // there is no such array
  auto* const array = dynamic_cast<cls_ArrayPrim<Element>*>(&holder);
  if (array == nullptr) { // has nothing in memory
    session.OnUndo(&holder, [&session, &holder] {
      session.Agents().DetachUnwritten([&holder](cls_PC& other) { return &other == &holder; });
    });
    return;
  }
  if (int const missing = array->FirstMissing(); missing < array->Size() && stored < array->Size())
    raise("an array of " + std::to_string(array->Size()) + " elements cannot be saved: those from " +
          std::to_string(missing) + " on are not in memory");
  auto const kept = std::make_shared<cls_KeptArray<Element>>(*array);
  session.OnUndo(array->Blocks().Ptr(), [&session, kept] { kept->PutBack(session.Agents()); });
  if (stored == 0) array->MarkBlocks(); // unchanged ones of a detached array are in its former list only
}
