#include "store/graph/sto_Collector.h"

#include <algorithm>
#include <string>

#include "store/format/sto_BlockLayout.h"
#include "store/format/sto_MapWalk.h"
#include "store/format/sto_RecordIds.h"
#include "store/objects/sto_ObjectListReader.h"
#include "store/session/sto_MapChunks.h"
#include "store/session/sto_StoredBlocks.h"

namespace {

/// How many ids are requested at once. In ranges without objects the number doubles, up to MaxRangeIds.
constexpr std::int64_t RangeIds = 4096;
constexpr std::int64_t MaxRangeIds = RangeIds << 10;

/// A run of deleted objects without a kept one between them, so that their blocks are one range of keys.
class Run {
 public:
  explicit Run(sto_Session& session) noexcept : m_Session(session) {}

  void Add(std::int64_t id) {
    m_Session.DeleteObject(id);
    if (m_Last == 0) m_First = id;
    m_Last = id;
  }
  void End() {
    if (m_Last != 0) sto_StoredBlocks::DeleteOf(m_Session, m_First, m_Last);
    m_Last = 0;
  }

 private:
  sto_Session& m_Session;
  std::int64_t m_First = 0;
  std::int64_t m_Last = 0; // 0: the run is empty
};

} // namespace

void sto_Collector::Mark(std::optional<std::string_view> without) {
  sto_ReadAhead::Walk const walk(m_Session.Records().Ahead(), sto_ReadAhead::Follow::References);
  for (auto const& [root, id, classId] : m_Session.Driver().Roots()) {
    if (root == without) continue;
    if (!m_Session.IsGivenOut(id))
      m_Session.Raise(sto_ErrorKind::Damaged, "Root " + root + " names object " + std::to_string(id) +
                                                  ", which the store never had.");
    Hold(id, 0);
  }
  for (std::int64_t const id : m_Session.Collections().StoredIds()) Refer(id);
  for (sto_OpenBlob const* const blob : m_Session.OpenBlobs())
    if (!blob->IsLost()) Refer(blob->Id());
  VisitAll();
}

void sto_Collector::MarkFrom(std::int64_t id) {
  sto_ReadAhead::Walk const walk(m_Session.Records().Ahead(), sto_ReadAhead::Follow::References);
  Hold(id, 0);
  VisitAll();
}

void sto_Collector::MarkRest(sto_Collector const& other) {
  sto_ReadAhead::Walk const walk(m_Session.Records().Ahead(), sto_ReadAhead::Follow::References);
  ForEachObject([&](std::int64_t id) {
    if (m_Met.Has(id) || other.IsMarked(id)) return;
    Hold(id, 0);
    VisitAll();
  });
}

void sto_Collector::Hold(std::int64_t id, std::int64_t holder) {
  if (m_Known != nullptr && m_Known->IsMarked(id)) return;
  if (m_Met.Add(id)) m_ToVisit.emplace_back(id, holder);
}

void sto_Collector::Refer(std::int64_t id) {
  // Do not mark a missing object: if another object turns out to hold it, Hold must report it.
  if (!m_Met.Has(id) && m_Session.Records().Ahead().Has(id)) Hold(id, 0);
}

void sto_Collector::VisitAll() {
  while (!m_ToVisit.empty()) {
    auto const [id, holder] = m_ToVisit.back();
    m_ToVisit.pop_back();
    sto_RecordRef const record = m_Session.Records().ReadAny(id);
    if (record == nullptr) RaiseMissing(id, holder);
    Visit(*record);
  }
}

void sto_Collector::Visit(sto_Record const& record) {
  std::int64_t const id = record.Parts().front().m_Id;
  sto_ForEachId(record, [&](std::uint8_t tag, std::int64_t named) {
    if (tag == sto_Format::Object)
      Hold(named, id);
    else
      Refer(named);
  });
  if (record.List() && record.List()->m_ElementType == sto_Format::ElementObject)
    VisitList(id, *record.List());
  if (record.Map() && record.Map()->m_ElementType == sto_Format::ElementObject) VisitMap(id, *record.Map());
}

void sto_Collector::VisitList(std::int64_t id, sto_ListHeader const& list) {
  if (!list.m_InBlocks) {
    static_cast<void>(VisitIds(id, list, list.m_Inline, list.m_Count)); // decoding has checked them
    return;
  }
  sto_StoredBlocks blocks(m_Session, id);
  sto_ListLayout const layout(list.m_Count);
  if (layout.BlockCount() == 0) return;
  blocks.ReadRun(0, layout.BlockCount() - 1, [&](int block, sto_ByteView content) {
    if (VisitIds(id, list, content, layout.CountIn(block))) return;
    m_Session.Raise(sto_ErrorKind::Damaged, "The list of object " + std::to_string(id) +
                                                " is damaged in block " + std::to_string(block) + ".");
  });
}

bool sto_Collector::VisitIds(std::int64_t holder, sto_ListHeader const& list, sto_ByteView content,
                             int count) {
  if (!sto_ReadIds(m_Session, holder, list, content, count, m_Ids)) return false;
  m_Session.Records().Ahead().Want(m_Ids);
  for (std::int64_t const id : m_Ids)
    if (id != 0) Hold(id, holder);
  return true;
}

void sto_Collector::VisitMap(std::int64_t id, sto_MapHeader const& map) {
  auto const visit = [&](sto_MapHeader const& entries) {
    for (sto_MapWalk walk(entries); walk.Next();) Hold(static_cast<std::int64_t>(walk.ObjectId()), id);
  };
  if (!map.m_InChunks) return visit(map);
  sto_MapChunks chunks(m_Session, id);
  sto_ChunkNumbers numbers;
  for (sto_Chunk const& chunk : chunks.ReadDirectory(map, numbers).m_Chunks)
    visit(sto_MapOfChunk(map, chunk.m_Count, chunks.Read(map, chunk)));
}

std::int64_t sto_Collector::Sweep(std::optional<std::string_view> root) {
  m_Session.Residents().NoteDeletions();
  sto_Driver& driver = m_Session.Driver();
  driver.SetMark();
  try {
    std::int64_t const count = DeleteUnmarked();
    if (root) driver.RemoveRoot(*root);
    if (sto_Meter* const meter = m_Session.Meter()) meter->End();
    driver.ReleaseMark();
    return count;
  } catch (...) {
    try {
      driver.RollbackToMark();
    } catch (...) {
      driver.Rollback(); // a transaction that can still commit must not contain half a collection
    }
    throw;
  }
}

template <class Take> void sto_Collector::ForEachObject(Take take) {
  sto_Driver& driver = m_Session.Driver();
  std::int64_t range = RangeIds;
  std::int64_t left = driver.ObjectCount();
  for (std::int64_t first = 1; left > 0 && m_Session.IsGivenOut(first);) {
    std::int64_t const last = std::min(first + range - 1, sto_Format::MaxObjectId);
    std::vector<std::int64_t> const ids = driver.ObjectIds(first, last);
    for (std::int64_t const id : ids) take(id);
    left -= static_cast<std::int64_t>(ids.size());
    range = ids.empty() ? std::min(2 * range, MaxRangeIds) : RangeIds;
    first = last + 1;
  }
}

void sto_Collector::Step() {
  if (sto_Meter* const meter = m_Session.Meter()) meter->Step();
}

std::int64_t sto_Collector::Count() {
  std::int64_t count = 0;
  ForEachObject([&](std::int64_t id) {
    count += m_Met.Has(id) ? 0 : 1;
    Step();
  });
  return count;
}

std::int64_t sto_Collector::DeleteUnmarked() {
  std::int64_t count = 0;
  Run run(m_Session);
  ForEachObject([&](std::int64_t id) {
    Step();
    if (m_Met.Has(id)) return run.End();
    run.Add(id);
    ++count;
  });
  run.End();
  return count;
}

void sto_Collector::RaiseMissing(std::int64_t id, std::int64_t holder) const {
  std::string const who =
      holder == 0 ? "which a root names" : "which object " + std::to_string(holder) + " holds";
  m_Session.Raise(sto_ErrorKind::Damaged, "Object " + std::to_string(id) + ", " + who + ", is missing.");
}
