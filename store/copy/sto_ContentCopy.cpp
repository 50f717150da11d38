#include "store/copy/sto_ContentCopy.h"

#include <utility>

#include "store/base/sto_Exception.h"
#include "store/format/sto_BlockKey.h"

namespace {

/// About so many bytes are one portion: what is lost when a copy is interrupted, and what the target keeps in memory.
constexpr std::size_t PortionBytes = std::size_t{32} << 20;
/// A block has about so many: from it the number of blocks is guessed.
constexpr std::int64_t BlockBytes = 16384;
constexpr std::int64_t LastKey = sto_LastBlockKey(sto_Format::MaxObjectId);

/// Writes blocks to the target until a portion is full.
class BlockPortion final : public sto_BlockSink {
 public:
  BlockPortion(sto_Driver& target, sto_Meter* meter) : m_Target(target), m_Meter(meter) {}

  bool Take(std::int64_t key, sto_ByteView data) override {
    m_Target.WriteBlock(key, data);
    m_Size += data.size();
    m_Last = key;
    if (m_Meter != nullptr) m_Meter->Step();
    m_IsFull = m_Size >= PortionBytes;
    return !m_IsFull;
  }

  sto_Driver& m_Target;
  sto_Meter* m_Meter;
  std::size_t m_Size = 0;
  std::int64_t m_Last = 0;
  bool m_IsFull = false;
};

/// Writes objects to the target.
class ObjectPortion final : public sto_ObjectSink {
 public:
  explicit ObjectPortion(sto_Driver& target) : m_Target(target) {}

  void Take(std::int64_t id, sto_StoredRecord& record) override {
    if (!record.m_IsSound)
      sto_Raise(sto_ErrorKind::Damaged, "Object " + std::to_string(id) + " does not fit its checksum.");
    static_cast<void>(m_Target.WriteObject(id, record.m_Shape, record.m_Bytes));
    m_Size += record.m_Bytes.size();
  }

  sto_Driver& m_Target;
  std::size_t m_Size = 0;
};

} // namespace

sto_ContentCopy::sto_ContentCopy(sto_Driver& source, std::string shown, sto_Driver& target, sto_Meter* meter)
    : m_Source(source), m_Shown(std::move(shown)), m_Target(target), m_Meter(meter), m_Info(source.Info()) {
  if (m_Info.m_Uuid.empty())
    sto_Raise(
        sto_ErrorKind::Unavailable,
        "The store has an older format: open it with sto_Options::m_Upgrade before it is copied to or from a "
        "server.");
  m_Progress.m_Source = m_Info.m_Uuid + '/' + m_Info.m_Sum;
  m_Target.Begin({});
  FindPlace(m_Target.Saves(1));
  m_Target.Commit();
}

void sto_ContentCopy::FindPlace(std::vector<sto_SaveEntry> const& saves) {
  constexpr std::size_t Creation = 1; // each store has a first save, of its creation
  m_IsEmpty = saves.size() <= Creation;
  if (m_IsEmpty) return;
  std::optional<sto_CopyProgress> const progress =
      sto_CopyProgress::Of(saves.back().m_Note, m_Progress.m_Source);
  m_IsOfThis = progress.has_value();
  if (m_IsOfThis) m_Progress = *progress;
}

bool sto_ContentCopy::CanContinue() {
  return m_IsEmpty || m_IsOfThis;
}

void sto_ContentCopy::Run() {
  using Part = sto_CopyProgress::Part;
  std::int64_t const blocks = m_Info.m_SizeBytes / BlockBytes;
  if (m_Meter != nullptr) {
    std::int64_t const objects = m_Source.ObjectCount();
    m_Meter->Begin(objects + blocks);
    m_Meter->BeginPart(objects);
  }
  m_Target.Begin({.m_ForWriting = true});
  try {
    if (m_IsEmpty) CopyCatalogue();
    if (m_Progress.m_Part == Part::Objects) CopyObjects();
    if (m_Meter != nullptr) m_Meter->BeginPart(blocks);
    if (m_Progress.m_Part == Part::Blocks) CopyBlocks();
    if (m_Progress.m_Part == Part::Rest) CopyRest();
    m_Target.Rollback();
  } catch (...) {
    m_Target.Rollback();
    throw;
  }
  CompareSums();
}

void sto_ContentCopy::EndPortion() {
  m_Target.SetNote(m_Progress.Note());
  m_Target.Commit();
  m_Target.Begin({.m_ForWriting = true});
}

void sto_ContentCopy::CopyCatalogue() {
  for (sto_NameRow const& row : m_Source.Names()) m_Target.AddName(row);
  for (sto_ShapeRow const& row : m_Source.Shapes()) m_Target.AddShape(row);
  for (sto_ClassRow const& row : m_Source.Classes()) m_Target.WriteClass(row);
  for (sto_EnumeratorRow const& row : m_Source.Enumerators()) m_Target.AddEnumerator(row);
  for (sto_NoteRow const& row : m_Source.Notes()) m_Target.WriteNote(row);
  while (m_Target.TakeIds(m_Info.m_EndOfIds).m_End < m_Info.m_EndOfIds) {
  }
  m_Target.SetIdsUsed(m_Info.m_EndOfIds);
}

void sto_ContentCopy::CopyObjects() {
  std::vector<sto_ObjectShape> shapes;
  std::vector<std::int64_t> ids;
  ObjectPortion portion(m_Target);
  for (std::int64_t next = m_Progress.m_Next;
       (next = m_Source.ObjectsFrom(next, shapes)) != 0 || !shapes.empty();) {
    ids.clear();
    for (sto_ObjectShape const& object : shapes) ids.push_back(object.m_Id);
    shapes.clear();
    m_Source.ReadObjects(ids, portion);
    for (std::size_t i = 0; i < ids.size(); ++i) Step();
    if (next == 0) break;
    m_Progress.m_Next = next;
    if (portion.m_Size < PortionBytes) continue;
    EndPortion();
    portion.m_Size = 0;
  }
  m_Progress.m_Part = sto_CopyProgress::Part::Blocks;
  m_Progress.m_Next = 0;
  EndPortion();
}

void sto_ContentCopy::CopyBlocks() {
  while (true) {
    BlockPortion portion(m_Target, m_Meter);
    sto_KeyRange const rest{m_Progress.m_Next, LastKey};
    m_Source.ReadBlocks({&rest, 1}, portion);
    if (!portion.m_IsFull || portion.m_Last == LastKey) break;
    m_Progress.m_Next = portion.m_Last + 1;
    EndPortion();
  }
  m_Progress.m_Part = sto_CopyProgress::Part::Rest;
  m_Progress.m_Next = 0;
  EndPortion();
}

void sto_ContentCopy::CopyIndex(sto_IndexRow const& index) {
  constexpr std::size_t AtOnce = 4096;
  m_Target.AddIndex(index);
  sto_IndexRange range{index.m_Number, {"", -1}};
  std::vector<sto_IndexEntry> entries;
  bool hasMore = true;
  while (hasMore) {
    entries.clear();
    hasMore = m_Source.FindInIndex(range, AtOnce, entries);
    for (sto_IndexEntry const& entry : entries) m_Target.AddToIndex(index.m_Number, entry);
    if (entries.empty()) break;
    range.m_After = entries.back();
  }
}

void sto_ContentCopy::CopyRest() {
  for (sto_IndexRow const& index : m_Source.Indexes()) CopyIndex(index);
  for (sto_RootRow const& root : m_Source.Roots()) m_Target.SetRoot(root.m_Name, root.m_Id, root.m_ClassId);
  m_Progress.m_Part = sto_CopyProgress::Part::Done;
  m_Target.SetNote(m_Progress.Note() + " of " + m_Shown +
                   (m_Info.m_NewestSave ? ", save " + std::to_string(m_Info.m_NewestSave->m_Number) : ""));
  m_Target.Commit();
  m_Target.Begin({});
}

void sto_ContentCopy::CompareSums() {
  m_Target.Begin({});
  std::string const sum = m_Target.Info().m_Sum;
  m_Target.Rollback();
  if (sum != m_Info.m_Sum)
    sto_Raise(sto_ErrorKind::Damaged, "The copy has sum " + sum + ", and the store " + m_Info.m_Sum +
                                          ": check the store (kvlstore check --full).");
}
