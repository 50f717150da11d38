#pragma once

#include <cstdint>
#include <deque>
#include <unordered_set>
#include <vector>

#include "store/base/sto_Progress.h"
#include "store/inspect/sto_Inspection.h"
#include "tools/kvlstore/report/kvs_ContentJson.h"
#include "tools/kvlstore/report/kvs_Json.h"
#include "tools/kvlstore/report/kvs_PictureNotes.h"
#include "tools/kvlstore/report/kvs_Problems.h"
#include "tools/kvlstore/report/kvs_Report.h"
#include "tools/kvlstore/report/kvs_ShapeTable.h"

/// Writes the objects of a store: those that roots lead to, nearest first, then those that nothing leads to, until a limit of the
/// options is reached. Of long lists and maps of objects it writes the first part, and more in rounds, so that no list takes the
/// room of all other objects.
///
/// Rows: [id, shape, row of the holder, value ..., content]; the shape is -1 for an object that cannot be read, whose only value is
/// the problem. Pieces: {"l": id of the list, "e": [id ...]} and {"m": id of the map, "e": [[key, id] ...]}.
class kvs_ObjectWalk {
 public:
  static constexpr std::int64_t OfRoot = -1;    ///< the row of a holder that is a root name
  static constexpr std::int64_t OfNothing = -2; ///< no root leads to the object
  static constexpr std::int64_t OfLargest = -3; ///< not reached, but one of the largest arrays

  kvs_ObjectWalk(sto_Inspection const& inspection, kvs_Json& json, kvs_ReportOptions const& options,
                 kvs_Problems& problems, kvs_PictureNotes const& notes, sto_Progress const& progress);

  /// The next to be written.
  void AddRoot(std::int64_t id) { Enqueue(id, OfRoot); }
  /// Writes all that there is room for. `objects`: how many the store has.
  void Run(std::int64_t objects);
  /// Writes an object that Run has not, beyond the limits.
  void AddLargest(std::int64_t id);

  [[nodiscard]] std::int64_t Rows() const noexcept { return m_Rows; }
  /// Whether a limit was reached.
  [[nodiscard]] bool IsCut() const noexcept { return m_IsCut; }
  /// Rows of objects that are not there; only references lead to them.
  [[nodiscard]] std::int64_t Missing() const noexcept { return m_Missing; }
  /// Written objects that no root leads to.
  [[nodiscard]] std::int64_t OfNoRoot() const noexcept { return m_OfNoRoot; }
  [[nodiscard]] kvs_ShapeTable const& Shapes() const noexcept { return m_Shapes; }
  /// What may be drawn.
  [[nodiscard]] std::vector<kvs_PictureSource> const& Pictures() const noexcept { return m_Pictures; }

 private:
  struct Pending {
    std::int64_t m_Id;
    std::int64_t m_Holder; // its row
  };
  /// A list or map of objects of which only a part is written.
  struct Long {
    std::int64_t m_Id;
    std::int64_t m_Row;
    std::int64_t m_Next;
    std::int64_t m_Count;
    bool m_IsMap;
  };

  void Enqueue(std::int64_t id, std::int64_t holder);
  [[nodiscard]] bool IsFull() const noexcept {
    return m_Json.Bytes() + m_Shapes.Bytes() >= m_Options.m_MaxBytes;
  }
  void WriteQueued();
  void WriteRow(Pending const& pending);
  void WriteObject(sto_InspectedObject const& object, std::int64_t holder);
  void WriteProblem(Pending const& pending, std::string const& problem);
  void FollowField(sto_InspectedValue const& value, std::string const& kind, std::int64_t holder);
  void NoteLong(sto_InspectedObject const& object);
  bool ExtendLong();
  void ExtendLong(Long& part, std::int64_t most);
  bool FollowReferences();
  void AddUnreached(std::int64_t objects);
  void ShowProgress();

  sto_Inspection const& m_Inspection;
  kvs_Json& m_Json;
  kvs_ReportOptions const& m_Options;
  kvs_Problems& m_Problems;
  kvs_PictureNotes const& m_Notes;
  sto_Progress const& m_Progress;
  kvs_ContentJson m_Content;
  kvs_ValueJson m_Value;
  kvs_ShapeTable m_Shapes;
  std::unordered_set<std::int64_t> m_Known; // written or queued
  std::deque<Pending> m_Queue;
  std::vector<Pending> m_References; // followed when nothing holds their objects
  std::vector<Long> m_Long;
  std::vector<kvs_PictureSource> m_Pictures;
  std::int64_t m_Batch = kvs_ContentJson::FirstObjects;
  std::int64_t m_Rows = 0;
  std::int64_t m_Missing = 0;
  std::int64_t m_OfNoRoot = 0;
  std::int64_t m_Expected = 0;
  bool m_IsUnreached = false; // those of no root are being written
  bool m_IsCut = false;
};
