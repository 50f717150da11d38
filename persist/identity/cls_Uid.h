#pragma once

#include "persist/identity/cls_UidCatalog.h"

/// Identity of a persistent object: a counted handle on one record of the thread's identity pool.
///
/// Two identities denote the same object exactly when their Entry() is the same; there is no number inside.
/// A default-constructed identity is new and differs from every live one.
/// Do not store it: it means nothing outside this process. A store keeps its own ids.
///
/// Cost: one pointer; copying is a pointer copy and a plain increment. Nothing allocates except a new block
/// of 2048 records, and that may throw std::bad_alloc.
///
/// Invariants:
/// 1. The entry is never null.
/// 2. The record's count is the number of cls_Uid objects on it, plus the references that callers of the
///    entry constructor keep themselves.
///
/// Thread rule: identities belong to the thread that made them and never cross to another.
class cls_Uid {
 public:
  /// A fresh identity.
  cls_Uid() : m_Entry(cls_UidCatalog::Take()) {}

  /// The same identity as `other`.
  cls_Uid(cls_Uid const& other) noexcept : m_Entry(other.m_Entry) { ++m_Entry->m_RefCount; }

  /// The identity of a live record, with a reference of its own; the caller keeps its reference.
  explicit cls_Uid(cls_UidCatalogEntry* entry) noexcept : m_Entry(entry) { ++m_Entry->m_RefCount; }

  ~cls_Uid() { cls_UidCatalog::Drop(m_Entry); }

  /// Becomes the same identity as `other`. Assigning an object to itself changes nothing.
  cls_Uid& operator=(cls_Uid const& other) noexcept {
    if (this == &other) return *this;
    // Count the source first: releasing the old entry can destroy the source if its history owns it.
    cls_UidCatalogEntry* const old = m_Entry;
    m_Entry = other.m_Entry;
    ++m_Entry->m_RefCount;
    cls_UidCatalog::Drop(old);
    return *this;
  }

  /// A fresh identity.
  static cls_Uid AllocateUid() { return cls_Uid(); }

  /// Becomes a fresh identity in place. The old record is released first, so when this was its last reference
  /// the new identity may get the same record. When it throws std::bad_alloc (another identity still holds
  /// the record, and a block is needed), nothing has changed.
  void NewUid() {
    if (m_Entry->m_RefCount > 1) {
      cls_UidCatalogEntry* const fresh = cls_UidCatalog::Take();
      cls_UidCatalog::Drop(m_Entry);
      m_Entry = fresh;
      return;
    }
    cls_UidCatalog::Drop(m_Entry);
    m_Entry = cls_UidCatalog::Take(); // cannot fail: a record was just freed
  }

  /// The record, which also anchors the history ring: derive from cls_HistoryEntry to keep data about the
  /// object. Valid while a reference is held.
  [[nodiscard]] cls_UidCatalogEntry* Entry() const noexcept { return m_Entry; }

 private:
  cls_UidCatalogEntry* m_Entry;
};

static_assert(sizeof(cls_Uid) == sizeof(void*));
