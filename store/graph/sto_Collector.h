#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "store/graph/sto_IdSet.h"
#include "store/session/sto_Session.h"

/// Deletes the objects that no root leads to. Internal to the module; see sto_Store::CollectGarbage.
///
///     sto_Collector collector(session);
///     collector.Mark(); // only reads
///     std::int64_t const count = collector.Sweep();
///
/// Each in the same write transaction, with nothing written in between. Memory: one bit for each object that
/// is kept, two ids for each that is met and not yet read, one record, one block. Thread rule: the thread of
/// the session.
class sto_Collector {
 public:
  explicit sto_Collector(sto_Session& session) noexcept : m_Session(session) {}

  /// Walks from the roots, and from the collections and blobs that are open in the session, over all they
  /// lead to. Damaged for a record or a block of ids that cannot be read, and for an object that is held but
  /// not there; NewerFormat.
  void Mark();

  /// Deletes every object that was not met, with its blocks; returns how many. When it fails, the transaction
  /// is as it was before, or has been undone.
  std::int64_t Sweep();

  /// How many objects Sweep would delete. A transaction that only reads is enough for Mark and this.
  [[nodiscard]] std::int64_t Count();

 private:
  /// Notes an object that another, or a root (0), holds.
  void Hold(std::int64_t id, std::int64_t holder);
  /// Notes an object that need not be there.
  void Refer(std::int64_t id);
  void VisitAll();
  void Visit(sto_Record const& record);
  void VisitList(std::int64_t id, sto_ListHeader const& list);
  void VisitIds(std::int64_t holder, sto_ByteView ids);
  void VisitMap(std::int64_t id, sto_MapHeader const& map);
  std::int64_t DeleteUnmarked();
  /// Calls `take` with the id of each object, in ascending order.
  template <class Take> void ForEachObject(Take take);
  [[noreturn]] void RaiseMissing(std::int64_t id, std::int64_t holder) const;

  sto_Session& m_Session;
  sto_IdSet m_Met;
  std::vector<std::pair<std::int64_t, std::int64_t>> m_ToVisit; // met and not yet read, each with its holder
};
