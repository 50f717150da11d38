#pragma once

#include <cstdint>
#include <cstring>
#include <new>

#include "describe/dsc_IdentityPool.h"
#include "persist/identity/cls_Uid.h"

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
  dsc_Identity(dsc_Identity const&) noexcept {}
  dsc_Identity(dsc_Identity&& other) noexcept { Swap(other); }
  dsc_Identity& operator=(dsc_Identity const&) noexcept { return *this; }
  dsc_Identity& operator=(dsc_Identity&& other) noexcept {
    if (this == &other) return *this;
    Drop();
    m_Word = 0;
    Swap(other);
    return *this;
  }
  ~dsc_Identity() { Drop(); }

  /// The identity of the object or part.
  [[nodiscard]] cls_Uid const& Own() const {
    if (Word() == 0) new (&m_Word) cls_Uid();
    return IsBlock() ? *Uids() : Single();
  }

  /// The identity of collection `index` of `count`, which is the same number each time.
  [[nodiscard]] cls_Uid const& OfCollection(int index, int count) const {
    if (!IsBlock()) MakeBlock(count);
    return Uids()[1 + index];
  }

  /// Takes the identity of a stored object or part. REQUIRES: there is none yet.
  void TakeOwn(cls_Uid const& uid) noexcept { new (&m_Word) cls_Uid(uid); }

  /// Takes the identity of a stored collection.
  void TakeCollection(int index, int count, cls_Uid const& uid) {
    if (!IsBlock()) MakeBlock(count);
    Uids()[1 + index] = uid;
  }

 private:
  static constexpr std::uintptr_t BlockBit = 1;

  // m_Word is storage for a cls_Uid, which is one pointer and never null, and is looked at through these only.
  [[nodiscard]] cls_Uid& Single() const noexcept {
    return *std::launder(reinterpret_cast<cls_Uid*>(&m_Word));
  }
  [[nodiscard]] bool IsBlock() const noexcept { return (Word() & BlockBit) != 0; }
  [[nodiscard]] std::uintptr_t Word() const noexcept {
    std::uintptr_t word = 0;
    std::memcpy(&word, &m_Word, sizeof(word));
    return word;
  }
  /// A block begins with the number of its identities.
  [[nodiscard]] std::size_t* Block() const noexcept {
    return reinterpret_cast<std::size_t*>(Word() - BlockBit);
  }
  [[nodiscard]] cls_Uid* Uids() const noexcept { return reinterpret_cast<cls_Uid*>(Block() + 1); }

  void Swap(dsc_Identity& other) noexcept {
    std::uintptr_t const mine = Word();
    std::uintptr_t const theirs = other.Word();
    std::memcpy(&m_Word, &theirs, sizeof(theirs));
    std::memcpy(&other.m_Word, &mine, sizeof(mine));
  }
  void Drop() noexcept {
    if (Word() == 0) return;
    if (IsBlock()) return DropBlock();
    Single().~cls_Uid();
  }
  KVL_EXPORT void MakeBlock(int collections) const;
  KVL_EXPORT void DropBlock() noexcept;

  alignas(cls_Uid) mutable std::uintptr_t m_Word = 0;
};

static_assert(sizeof(dsc_Identity) == sizeof(void*) && sizeof(cls_Uid) == sizeof(std::uintptr_t));
