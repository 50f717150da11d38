#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "store/graph/sto_IdSet.h"
#include "store/session/sto_Session.h"

/// The garbage collector: deletes the objects that no root leads to. Internal to the module; see
/// sto_Store::CollectGarbage.
///
///     sto_Collector collector(session);
///     collector.Mark(); // only reads
///     std::int64_t const count = collector.Sweep();
///
/// REQUIRES: both calls are in one write transaction, with nothing written between them (Mark and Count need
/// only a read transaction), and no object is being saved or loaded. Memory: one bit for each object that is
/// kept, two ids for each that is found and not yet read, one record, one block, and what is read ahead
/// (sto_ReadAhead), if anything is. Thread rule: the thread of
/// the session.
class sto_Collector {
 public:
  explicit sto_Collector(sto_Session& session) noexcept : m_Session(session) {}

  /// Marks everything that the roots, and the session's open collections and blobs, lead to. Damaged if a
  /// record or a block of ids cannot be read, or a held object is missing; NewerFormat.
  void Mark();

  /// Deletes every unmarked object with its blocks; returns how many. After a failure the transaction is as
  /// it was before, or has been rolled back. REQUIRES: Mark has succeeded.
  std::int64_t Sweep();

  /// How many objects Sweep would delete. REQUIRES: Mark has succeeded.
  [[nodiscard]] std::int64_t Count();

 private:
  /// Marks an object that object `holder`, or a root (0), holds.
  void Hold(std::int64_t id, std::int64_t holder);
  /// Marks an object that may be missing.
  void Refer(std::int64_t id);
  void VisitAll();
  void Visit(sto_Record const& record);
  void VisitList(std::int64_t id, sto_ListHeader const& list);
  /// Holds the objects of a list, or of one of its blocks; false if the bytes are no ids.
  [[nodiscard]] bool VisitIds(std::int64_t holder, sto_ListHeader const& list, sto_ByteView content,
                              int count);
  void VisitMap(std::int64_t id, sto_MapHeader const& map);
  std::int64_t DeleteUnmarked();
  /// Calls `take` with the id of each object, in ascending order.
  template <class Take> void ForEachObject(Take take);
  [[noreturn]] void RaiseMissing(std::int64_t id, std::int64_t holder) const;

  sto_Session& m_Session;
  std::vector<std::int64_t> m_Ids;                              // scratch
  sto_IdSet m_Met;                                              // the marked objects
  std::vector<std::pair<std::int64_t, std::int64_t>> m_ToVisit; // marked, not yet read; each with its holder
};
