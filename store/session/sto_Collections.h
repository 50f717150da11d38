#pragma once

#include <cstdint>
#include <unordered_map>
#include <vector>

#include "store/session/sto_OpenCollection.h"

/// The collections that a session has open: finds one by its id, and walks over all of them. Internal to the
/// module. Thread rule: the thread of the session.
///
/// A lost collection has no id any more, but is still walked over. A step of a walk may add and remove
/// collections, the present one too, and may begin a walk of its own; one that is added during a walk may be
/// left out of it.
class sto_Collections {
 public:
  sto_Collections() = default;
  sto_Collections(sto_Collections const&) = delete;
  sto_Collections& operator=(sto_Collections const&) = delete;

  /// The open collection with an id, null when there is none.
  [[nodiscard]] sto_OpenCollection* Find(std::int64_t id) const noexcept {
    if (m_ById.empty()) return nullptr;
    auto const found = m_ById.find(id);
    return found == m_ById.end() ? nullptr : found->second;
  }
  /// The collection that was lost with an identity, null when there is none.
  [[nodiscard]] sto_OpenCollection* FindLost(cls_UidCatalogEntry const* entry) const noexcept;

  /// Takes a collection up. It is not found by id when its id is 0. Throws std::bad_alloc.
  void Add(sto_OpenCollection& collection);
  void Remove(sto_OpenCollection& collection) noexcept;
  /// The id is not this collection's any more; it stays in the walk.
  void ForgetId(sto_OpenCollection const& collection) noexcept;

  /// Calls `act` with each collection.
  template <class Act> void ForEach(Act act);

  /// Lets every container write back what it has. In a write transaction.
  void FlushHolders();
  /// Whether a container has elements that it has changed and not written.
  [[nodiscard]] bool HasUnwrittenHolders();
  /// Writes the records that have changed. In a write transaction.
  void WriteRecords();
  /// The ids of those that are not lost, with their records written.
  [[nodiscard]] std::vector<std::int64_t> StoredIds();

 private:
  /// A walk that is going on, and the one that it is part of.
  struct Walk {
    sto_OpenCollection* m_Next;
    Walk* m_Outer;
  };

  std::unordered_map<std::int64_t, sto_OpenCollection*> m_ById;
  sto_OpenCollection* m_First = nullptr; // of the chain of all, with the lost ones
  Walk* m_Walk = nullptr;                // the innermost one
};

template <class Act> void sto_Collections::ForEach(Act act) {
  Walk walk{m_First, m_Walk};
  struct End { // also when a step raises
    ~End() { m_Innermost = m_Outer; }
    Walk*& m_Innermost;
    Walk* m_Outer;
  } const end{m_Walk, m_Walk};
  m_Walk = &walk;
  while (sto_OpenCollection* const collection = walk.m_Next) {
    walk.m_Next = collection->m_Next;
    act(*collection);
  }
}
