#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
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
/// Removing a root with its content takes two: what stays is marked, and the rest of what the root leads to is swept.
///
///     sto_Collector staying(session);
///     staying.Mark(root); // what anything but the root leads to
///     sto_Collector content(session, &staying);
///     content.MarkFrom(id); // what else the root's object leads to
///     staying.MarkRest(content); // earlier garbage, and what it leads to
///     std::int64_t const count = staying.Sweep(root);
///
/// REQUIRES: all calls are in one write transaction, with nothing written between them (Mark and Count need
/// only a read transaction), and no object is being saved or loaded. Memory: one bit for each object that is
/// kept, two ids for each that is found and not yet read, one record, one block, and what is read ahead
/// (sto_ReadAhead), if anything is. Thread rule: the thread of
/// the session.
class sto_Collector {
 public:
  /// `known`: a collector whose marked objects this one passes over; null: none. It outlives this one.
  explicit sto_Collector(sto_Session& session, sto_Collector const* known = nullptr) noexcept
      : m_Session(session), m_Known(known) {}

  /// Marks everything that the roots, except one of the name `without`, and the session's open collections and
  /// blobs, lead to. Damaged if a record or a block of ids cannot be read, or a held object is missing; NewerFormat.
  void Mark(std::optional<std::string_view> without = {});
  /// Marks an object that a root names, and everything that it leads to. Errors: as Mark.
  void MarkFrom(std::int64_t id);
  /// Marks every object that is marked neither here nor in `other`, and everything that it leads to. Errors: as Mark.
  void MarkRest(sto_Collector const& other);
  [[nodiscard]] bool IsMarked(std::int64_t id) const noexcept { return m_Met.Has(id); }

  /// Deletes every unmarked object with its blocks, and the root name `root` if there is one; returns how many
  /// objects. Ends the work of the session's meter. After a failure the transaction is as it was before, or has been
  /// rolled back. REQUIRES: Mark has succeeded.
  std::int64_t Sweep(std::optional<std::string_view> root = {});

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
  /// Counts an object for a progress function.
  void Step();
  /// Calls `take` with the id of each object, in ascending order.
  template <class Take> void ForEachObject(Take take);
  [[noreturn]] void RaiseMissing(std::int64_t id, std::int64_t holder) const;

  sto_Session& m_Session;
  sto_Collector const* m_Known;
  std::vector<std::int64_t> m_Ids;                              // scratch
  sto_IdSet m_Met;                                              // the marked objects
  std::vector<std::pair<std::int64_t, std::int64_t>> m_ToVisit; // marked, not yet read; each with its holder
};
