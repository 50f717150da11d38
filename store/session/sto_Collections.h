#pragma once

#include <cstdint>
#include <unordered_map>
#include <vector>

#include "store/session/sto_OpenCollection.h"

/// The collections that a session has open: finds them by id, and walks over all of them. Owns none of them.
/// Internal to the module. Thread rule: the thread of the session.
///
/// A lost collection is no longer found by id, but a walk still visits it. A step of a walk may add
/// collections, remove any of them (the current one too), and start a nested walk. A walk may miss
/// collections that are added while it runs.
///
/// A program may have thousands of collections open and change few of them, so saves and commits visit only
/// those that the open transaction has touched.
class sto_Collections {
 public:
  sto_Collections() = default;
  sto_Collections(sto_Collections const&) = delete;
  sto_Collections& operator=(sto_Collections const&) = delete;

  /// The open collection with an id, null if there is none.
  [[nodiscard]] sto_OpenCollection* Find(std::int64_t id) const noexcept {
    if (m_ById.empty()) return nullptr;
    auto const found = m_ById.find(id);
    return found == m_ById.end() ? nullptr : found->second;
  }
  /// Whether no collection is open.
  [[nodiscard]] bool IsEmpty() const noexcept { return m_First == nullptr; }
  /// The lost collection that had an identity, null if there is none.
  [[nodiscard]] sto_OpenCollection* FindLost(cls_UidCatalogEntry const* entry) const noexcept;

  /// Adds a collection, which must stay alive until Remove. One with id 0 is not found by id. Throws
  /// std::bad_alloc; then nothing has changed.
  void Add(sto_OpenCollection& collection);
  void Remove(sto_OpenCollection& collection) noexcept;
  /// Forgets that a collection was touched. For one that was never added.
  void Untouch(sto_OpenCollection& collection) noexcept;
  /// The collection is no longer found by its id, but walks still visit it.
  void ForgetId(sto_OpenCollection const& collection) noexcept;

  /// Calls `act` with each collection.
  template <class Act> void ForEach(Act act);

  /// Notes that the open write transaction reads or changes a collection, or registers a container of it.
  /// Throws std::bad_alloc; then nothing has changed.
  void NoteTouched(sto_OpenCollection& collection);
  /// Calls `act` with each touched collection.
  template <class Act> void ForEachTouched(Act act);
  /// The transaction is over: no collection is touched.
  void ForgetTouched() noexcept;

  /// Lets every container write its unwritten changes. REQUIRES: an open write transaction.
  void FlushHolders();
  /// Whether a container has unwritten changes.
  [[nodiscard]] bool HasUnwrittenHolders();
  /// Writes the records that have changed. REQUIRES: an open write transaction.
  void WriteRecords();
  /// The ids of the collections that are not lost. Writes their pending records first.
  [[nodiscard]] std::vector<std::int64_t> StoredIds();

 private:
  /// A running walk, and the walk that it is nested in.
  struct Walk {
    sto_OpenCollection* m_Next;
    Walk* m_Outer;
  };

  std::unordered_map<std::int64_t, sto_OpenCollection*> m_ById;
  sto_OpenCollection* m_First = nullptr;      // of the chain of all collections, lost ones included
  Walk* m_Walk = nullptr;                     // the innermost running walk; ForEach sets it
  std::vector<sto_OpenCollection*> m_Touched; // null: it was removed
};

template <class Act> void sto_Collections::ForEachTouched(Act act) {
  for (std::size_t i = 0; i < m_Touched.size(); ++i) // a step may touch others
    if (m_Touched[i] != nullptr) act(*m_Touched[i]);
}

template <class Act> void sto_Collections::ForEach(Act act) {
  Walk walk{m_First, m_Walk};
  struct End { // runs even if a step raises
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
