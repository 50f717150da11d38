#pragma once

#include <cstdint>
#include <cstring>
#include <new>

#include "describe/dsc_IdentityPool.h"
#include "persist/identity/cls_Uid.h"
#include "persist/pointers/cls_LaterReads.h"

/// The identities of one object, or of the part that one class contributes to it: its own, and one for each
/// collection that it writes. One pointer wide.
///
/// - They are taken when they are needed first: when the object is saved, read, or asked for its identity. An
///   object that is never saved has none, so it costs nothing and may be made on another thread.
/// - A copy is another object and has no identities yet. Assigning a copy keeps those of the target. A move
///   takes all along, also into an object that is assigned to, and leaves an object without.
///
/// How: null, the identity itself, or, with the lowest bit set, the address of a block of this thread's
/// dsc_IdentityPool that has them all. Without collections there is never a block.
///
/// Thread rule: const operations take identities, so one thread from the first save or read on; as cls_Uid.
/// Errors: std::bad_alloc, after which nothing has changed.
class dsc_Identity {
 public:
  dsc_Identity() noexcept = default;
  dsc_Identity(dsc_Identity const& other) { CopyLater(other); }
  dsc_Identity(dsc_Identity&& other) noexcept { MoveFrom(other); }
  dsc_Identity& operator=(dsc_Identity const& other) {
    if (this != &other) {
      ForgetLater();
      CopyLater(other);
    }
    return *this;
  }
  dsc_Identity& operator=(dsc_Identity&& other) noexcept {
    if (this == &other) return *this;
    Drop();
    m_Word = 0;
    MoveFrom(other);
    return *this;
  }
  ~dsc_Identity() { Drop(); }

  /// The identity of the object or part, which has this many collections.
  [[nodiscard]] cls_Uid const& Own(int collections = 0) const {
    if (Word() == 0) {
      if (collections != 0) MakeBlock(collections);
    }
    return Take(IsBlock() ? Block() + 1 : &m_Word);
  }

  /// The identity of collection `index` of `count`, which is the same number each time.
  [[nodiscard]] cls_Uid const& OfCollection(int index, int count) const {
    if (!IsBlock()) MakeBlock(count);
    return Take(Block() + 2 + index);
  }

  /// Takes the identity of a stored object or part. REQUIRES: there is none yet.
  void TakeOwn(cls_Uid const& uid, int collections) {
    if (collections != 0) MakeBlock(collections);
    new (collections != 0 ? Block() + 1 : &m_Word) cls_Uid(uid);
  }

  /// Takes the identity of a stored collection.
  void TakeCollection(int index, int count, cls_Uid const& uid) {
    if (!IsBlock()) MakeBlock(count);
    std::uintptr_t* const place = Block() + 2 + index;
    if (WordAt(place) == 0)
      new (place) cls_Uid(uid);
    else
      At(place) = uid;
  }

 private:
  static constexpr std::uintptr_t BlockBit = 1;

  // A word is 0, or storage with a cls_Uid in it, which is one pointer and never null. They are looked at through
  // these functions only.
  [[nodiscard]] static cls_Uid& At(std::uintptr_t* place) noexcept {
    return *std::launder(reinterpret_cast<cls_Uid*>(place));
  }
  [[nodiscard]] static std::uintptr_t WordAt(std::uintptr_t const* place) noexcept {
    std::uintptr_t word = 0;
    std::memcpy(&word, place, sizeof(word));
    return word;
  }
  /// The identity in a word; a new one if there is none yet.
  [[nodiscard]] static cls_Uid const& Take(std::uintptr_t* place) {
    if (WordAt(place) == 0) new (place) cls_Uid();
    return At(place);
  }

  [[nodiscard]] std::uintptr_t Word() const noexcept { return WordAt(&m_Word); }
  [[nodiscard]] bool IsBlock() const noexcept { return (Word() & BlockBit) != 0; }
  /// A block has the number of its identities, the object's own, and those of the collections.
  [[nodiscard]] std::uintptr_t* Block() const noexcept {
    return reinterpret_cast<std::uintptr_t*>(Word() - BlockBit);
  }

  // Pointers that a load has still to fill follow the object, also one without an identity yet; see cls_LaterReads.
  void MoveFrom(dsc_Identity& other) noexcept {
    Swap(other);
    cls_LaterReads::OwnerMoved(&other, this);
  }
  void CopyLater(dsc_Identity const& other) { cls_LaterReads::OwnerCopied(&other, this); }
  void ForgetLater() const noexcept { cls_LaterReads::OwnerGone(this); }

  void Swap(dsc_Identity& other) noexcept {
    std::uintptr_t const mine = Word();
    std::uintptr_t const theirs = other.Word();
    std::memcpy(&m_Word, &theirs, sizeof(theirs));
    std::memcpy(&other.m_Word, &mine, sizeof(mine));
  }
  void Drop() noexcept {
    ForgetLater();
    if (Word() == 0) return;
    if (IsBlock()) return DropBlock();
    At(&m_Word).~cls_Uid();
  }
  /// REQUIRES: there is no block yet.
  KVL_EXPORT void MakeBlock(int collections) const;
  KVL_EXPORT void DropBlock() noexcept;

  alignas(cls_Uid) mutable std::uintptr_t m_Word = 0;
};

static_assert(sizeof(dsc_Identity) == sizeof(void*) && sizeof(cls_Uid) == sizeof(std::uintptr_t));
