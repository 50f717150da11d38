#pragma once

#include "platform/kvl_Export.h"

/// Node of the ring that every identity anchors. Derive from it to keep data about an object for as long as
/// its identity lives.
///
/// Invariants:
/// 1. An entry is linked to itself, or is in exactly one ring.
/// 2. A derived entry in an identity's ring unlinks itself in its destructor: when the identity ends, it
///    destroys ring members until none is left. Intentional: the base destructor does not unlink.
///
/// Thread rule: a ring belongs to the thread of its identity.
class KVL_EXPORT cls_HistoryEntry {
 public:
  cls_HistoryEntry() noexcept : m_Next(this), m_Previous(this) {}
  virtual ~cls_HistoryEntry(); // slot 0, the only one; intentional: does not unlink (invariant 2)

  cls_HistoryEntry(cls_HistoryEntry const&) = delete;
  cls_HistoryEntry& operator=(cls_HistoryEntry const&) = delete;

  /// The next entry of the ring; the entry itself when it is alone.
  [[nodiscard]] cls_HistoryEntry* Next() const noexcept { return m_Next; }

 protected:
  /// Inserts this entry right after `anchor`. REQUIRES: this entry is unlinked.
  void Link(cls_HistoryEntry* anchor) noexcept {
    m_Previous = anchor;
    m_Next = anchor->m_Next;
    m_Next->m_Previous = this;
    anchor->m_Next = this;
  }

  /// Takes this entry out of its ring; does nothing to an unlinked one.
  void UnLink() noexcept {
    m_Next->m_Previous = m_Previous;
    m_Previous->m_Next = m_Next;
    Reset();
  }

 private:
  friend class cls_UidCatalog; // resets the anchor of a record that it hands out

  /// Links the entry to itself without touching its neighbours.
  void Reset() noexcept { m_Next = m_Previous = this; }

  cls_HistoryEntry* m_Next;
  cls_HistoryEntry* m_Previous;
};
