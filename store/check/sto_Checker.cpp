#include "store/check/sto_Checker.h"

#include <algorithm>
#include <utility>

#include "store/base/sto_Exception.h"
#include "store/format/sto_BlockKey.h"
#include "store/format/sto_BlockLayout.h"
#include "store/format/sto_Checksum.h"
#include "store/format/sto_CollectionFields.h"
#include "store/format/sto_ElementCodec.h"
#include "store/format/sto_IdCodec.h"
#include "store/format/sto_MapWalk.h"

sto_Checker::sto_Checker(sto_Driver& driver, sto_CheckReport& report, std::size_t limit, sto_Meter* meter)
    : m_Driver(driver), m_Report(report), m_Results(report, limit), m_Catalogue(m_Results),
      m_Links(m_Results, m_Objects, m_Catalogue),
      m_Blocks(m_Results, {[this](std::int64_t id) { return m_Links.ClassOf(id); },
                           [this](std::int64_t id) {
                             return m_Objects.StateOf(id) == sto_CheckObjects::Unreadable ||
                                    (id >= 0 && m_Damaged.Has(id));
                           },
                           [this](std::int64_t list, std::int64_t element) { HoldElement(list, element); }}),
      m_Indexes(m_Results, m_Catalogue), m_Work(meter) {}

void sto_Checker::Check(sto_CheckDepth depth, std::int64_t nextId) {
  bool const isFull = depth == sto_CheckDepth::Full;
  std::unique_ptr<sto_StorageWalk> const walk = m_Driver.NewWalk(*this);
  BeginWork(*walk, isFull);
  walk->Structure(isFull, m_Work.Meter());
  m_Work.BeginPart(m_ObjectCount);
  walk->Tables();
  m_Catalogue.Finish();
  if (nextId == 0) nextId = m_NextId;
  if (nextId > 0) m_Links.SetNextId(nextId);
  walk->Objects();
  for (Root const& root : m_Roots) m_Links.Root(root.m_Name, root.m_Id, root.m_ClassId);
  if (isFull) CheckRecords(*walk);
}

void sto_Checker::BeginWork(sto_StorageWalk& walk, bool isFull) {
  if (m_Work.Meter() == nullptr) return;
  auto const count = [](auto act) -> std::int64_t {
    try {
      return act();
    } catch (sto_Exception const& failure) { // the check finds it
      if (failure.Kind() != sto_ErrorKind::Damaged) throw;
      return 0;
    }
  };
  m_ObjectCount = count([this] { return m_Driver.ObjectCount(); });
  m_BlockRows = count([&] { return walk.BlockRowCount(); });
  std::int64_t const structure = m_ObjectCount + m_BlockRows;
  // The objects pass once, their records once, and those that roots lead to twice more to count the others.
  m_Work.Meter()->Begin(structure + m_ObjectCount + (isFull ? 3 * m_ObjectCount + m_BlockRows : 0));
  m_Work.BeginPart(structure);
}

void sto_Checker::TakeBlock(std::int64_t key, sto_ByteView data) {
  m_Work.Block(key);
  m_Blocks.Take(key, data);
}

void sto_Checker::CheckRecords(sto_StorageWalk& walk) {
  m_Work.BeginPart(m_ObjectCount);
  walk.Records();
  m_Blocks.Begin();
  m_Work.BeginPart(m_BlockRows);
  walk.Blocks();
  m_Blocks.End();
  m_Links.End();
  CheckIndexes(walk);
  m_Report.m_IsSumRight = walk.IsSumRight();
  if (m_Report.m_IsSumRight != false) return;
  sto_CheckFinding finding;
  finding.m_Kind = sto_CheckKind::Sum;
  finding.m_Text =
      "The sum over all rows is not that of the newest save: rows are missing, there twice, or of "
      "an earlier state, or damage was overwritten.";
  m_Results.Add(std::move(finding));
}

void sto_Checker::CheckIndexes(sto_StorageWalk& walk) {
  // What a damaged catalogue says of the fields would make entries seem wrong.
  bool const isCatalogueDamaged =
      std::ranges::any_of(m_Report.m_Findings, [](sto_CheckFinding const& finding) {
        return finding.m_Kind == sto_CheckKind::Catalogue || finding.m_Kind == sto_CheckKind::Header;
      });
  if (isCatalogueDamaged) return;
  walk.IndexEntries();
  if (m_Indexes.AreAlike()) return;
  m_Indexes.Explain(m_Driver, [this](std::int64_t id) {
    return id >= 1 && id <= sto_Format::MaxObjectId && !m_Damaged.Has(id) &&
           m_Objects.StateOf(id) != sto_CheckObjects::Unreadable;
  });
}

void sto_Checker::Find(sto_CheckFinding&& finding) {
  if (finding.m_ObjectId > 0 && finding.m_Class.empty())
    finding.m_Class = m_Links.ClassOf(finding.m_ObjectId);
  m_Results.Add(std::move(finding));
}

void sto_Checker::TakeSave(sto_SaveEntry const& save) {
  ++m_Results.Counts().m_Saves;
  m_NextId = save.m_NextObjectId;
}

void sto_Checker::TakeRoot(std::string_view name, std::int64_t id, unsigned int classId) {
  ++m_Results.Counts().m_Roots;
  m_Roots.push_back({std::string(name), id, classId});
}

void sto_Checker::TakeObject(sto_ObjectRow const& object) {
  m_Work.Object();
  ++m_Results.Counts().m_Objects;
  if (object.m_Id < 1 || object.m_Id >= m_Links.NextId())
    ReportObject(object.m_Id, 0, "has an id that the store has not given out", sto_CheckKind::OrphanRow);
  if (object.m_Id < 0 || object.m_Id > sto_Format::MaxObjectId) return;
  if (!m_Objects.Add(object.m_Id, object.m_Shape))
    ReportObject(object.m_Id, 0, "is in table pack and in table object, or twice in one of them",
                 sto_CheckKind::OrphanRow);
}

void sto_Checker::TakeUnreadable(std::int64_t first, std::int64_t last) {
  last = std::min(last, sto_Format::MaxObjectId);
  for (std::int64_t id = std::max(first, std::int64_t{0}); id <= last; ++id) m_Objects.AddUnreadable(id);
}

void sto_Checker::TakeRecord(std::int64_t id, sto_StoredRecord& record) {
  m_Work.Object();
  m_Results.Counts().m_BytesRead += static_cast<std::int64_t>(record.m_Bytes.size());
  if (id < 1 || id > sto_Format::MaxObjectId) return; // reported with the objects
  std::swap(m_Record.Stored(), record);
  if (!Decode(id)) {
    m_Damaged.Add(id);
    return;
  }
  if (m_Record.GreatestId() >= m_Links.NextId())
    ReportObject(id, m_Record.ClassId(),
                 "names object " + std::to_string(m_Record.GreatestId()) + ", which the store never had");
  m_Indexes.TakeRecord(id, m_Record.Stored());
  CheckParts(id);
  CheckFields(id);
  CheckContent(id);
}

bool sto_Checker::Decode(std::int64_t id) {
  sto_StoredRecord const& stored = m_Record.Stored();
  bool const isNumbered = stored.m_Shape > sto_Format::OwnShape;
  sto_Shape const* const shape = isNumbered ? m_Catalogue.FindShape(stored.m_Shape) : nullptr;
  if (isNumbered && shape == nullptr && stored.m_IsSound) {
    if (!m_Catalogue.IsShapeDamaged(stored.m_Shape))
      ReportObject(id, 0,
                   "has shape " + std::to_string(stored.m_Shape) + ", which table shape does not have");
    return false;
  }
  std::string problem;
  if (m_Record.Decode(id, shape, problem)) return true;
  sto_ByteView bytes(stored.m_Bytes); // a record that describes itself has its checksum still
  bool const isSound = stored.m_Shape == sto_StoredRecord::SelfDescribed
                           ? sto_Unseal(static_cast<std::uint64_t>(id), bytes)
                           : stored.m_IsSound;
  ReportObject(id, m_Record.ClassId(), "is damaged: " + problem,
               isSound ? sto_CheckKind::DamagedObject : sto_CheckKind::DamagedRow);
  return false;
}

void sto_Checker::CheckParts(std::int64_t id) {
  bool const hasNumberedShape =
      m_Record.Stored().m_Shape > sto_Format::OwnShape; // then it was checked once for all
  for (std::size_t i = 0; i < m_Record.Parts().size(); ++i) {
    sto_Part const& part = m_Record.Parts()[i];
    if (i > 0 && m_Objects.StateOf(part.m_Id) >= sto_CheckObjects::UnknownShape)
      ReportObject(id, m_Record.ClassId(),
                   "has a base-class part with the id of object " + std::to_string(part.m_Id));
    if (i > 0) m_Links.AddPart(part.m_Id);
    if (hasNumberedShape) continue;
    if (std::string const problem = m_Catalogue.Problem(part); !problem.empty())
      ReportObject(id, m_Record.ClassId(), "does not fit the catalogue: " + problem);
  }
}

void sto_Checker::CheckFields(std::int64_t id) {
  auto const& collections = m_Catalogue.CollectionsOf(m_Record.Stored().m_Shape);
  std::size_t index = 0; // of the field in the record
  for (sto_Part const& part : m_Record.Parts())
    for (sto_Field const& field : part.m_Fields) {
      sto_AttributeRow const* const declared = index < collections.size() ? collections[index] : nullptr;
      ++index;
      sto_CheckLink const link{id, m_Record.ClassId(), &field.m_Key, field.m_ObjectId};
      if (field.m_Tag == sto_Format::Reference)
        m_Links.Refer(link);
      else if (field.m_Tag == sto_Format::Object && declared != nullptr)
        m_Links.HoldCollection(link, *declared);
      else if (field.m_Tag == sto_Format::Object)
        m_Links.Hold(link);
    }
}

void sto_Checker::HoldElement(std::int64_t holder, std::int64_t element) {
  m_Links.Hold({holder, 0, nullptr, element});
}

void sto_Checker::CheckContent(std::int64_t id) {
  if (m_Record.List()) CheckList(id, *m_Record.List());
  if (m_Record.Map()) CheckMap(id, *m_Record.Map());
  if (m_Record.ClassId() == cls_BlobTypeId) CheckBlob(id);
}

void sto_Checker::CheckMap(std::int64_t id, sto_MapHeader const& map) {
  if (!map.m_InChunks) {
    if (map.m_ElementType != sto_Format::ElementObject) return;
    for (sto_MapWalk walk(map); walk.Next();) HoldElement(id, static_cast<std::int64_t>(walk.ObjectId()));
    return;
  }
  sto_ChunkDirectory directory = sto_DecodeDirectory(map).value_or(sto_ChunkDirectory());
  bool isRead = true;
  for (sto_Chunk const& page : directory.m_Pages) isRead = ReadPage(id, page, directory) && isRead;
  sto_ChunkNumbers numbers;
  if (!isRead)
    m_Damaged.Add(id); // reported with the pages' blocks; those of the chunks have no owner that is known
  else if (!directory.IsWhole(map, numbers))
    ReportObject(id, m_Record.ClassId(), "is damaged: the directory of its map does not fit its entries");
  m_Blocks.AddMap(id, map, directory);
}

bool sto_Checker::ReadPage(std::int64_t id, sto_Chunk const& page, sto_ChunkDirectory& directory) {
  std::int64_t const key = sto_BlockKey(id, page.m_Number);
  try {
    if (!m_Driver.ReadBlock(key, m_Page)) return false;
  } catch (sto_Exception const& failure) { // found with the blocks
    if (failure.Kind() != sto_ErrorKind::Damaged) throw;
    return false;
  }
  if (!sto_BlockCodec::IsSound(key, m_Page)) return false;
  std::optional<sto_ByteView> const content = m_Codec.Open(m_Page, m_Restored);
  return content && sto_ChunkChecksum(*content) == page.m_Checksum && directory.AddPage(page, *content);
}

void sto_Checker::CheckList(std::int64_t id, sto_ListHeader const& list) {
  if (!sto_HasWholeRows(list.m_Count, list.m_Width))
    ReportObject(id, m_Record.ClassId(), "is damaged: its list" + sto_UnevenRows(list.m_Count, list.m_Width));
  if (list.m_InBlocks) return m_Blocks.AddList(id, list);
  if (list.m_ElementType != sto_Format::ElementObject) {
    if (!sto_AreElements(list.m_Inline, list.m_ElementType, list.m_Count))
      ReportObject(id, m_Record.ClassId(), "is damaged: the elements of its list cannot be read");
  } else if (sto_DecodeIds(list.m_Inline, list.m_Count, id, list.m_HasFixedIds, m_Ids)) {
    for (std::int64_t const element : m_Ids)
      if (element != 0) HoldElement(id, element);
  }
}

void sto_Checker::CheckBlob(std::int64_t id) {
  std::int64_t const size = sto_CollectionFields::BlobBytes.Read(m_Record.Parts().front()).value_or(0);
  if (size >= 0 && size <= sto_BlobLayout::MaxCount) return m_Blocks.AddBlob(id, size);
  ReportObject(id, m_Record.ClassId(), "is damaged: a blob has not " + std::to_string(size) + " bytes");
  m_Damaged.Add(id);
}

void sto_Checker::ReportObject(std::int64_t id, unsigned int classId, std::string const& problem,
                               sto_CheckKind kind) {
  sto_CheckFinding finding;
  finding.m_Kind = kind;
  finding.m_ObjectId = finding.m_Key = id;
  finding.m_Class = classId != 0 ? m_Catalogue.ClassName(classId) : m_Links.ClassOf(id);
  std::string const text = "Object " + std::to_string(id) +
                           (finding.m_Class.empty() ? "" : " (" + finding.m_Class + ")") + " " + problem;
  finding.m_Text = text.ends_with('.') ? text : text + ".";
  m_Results.Add(std::move(finding));
}
