#include "store/recover/sto_RecoverMender.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <utility>

#include "store/base/sto_Exception.h"
#include "store/base/sto_Meter.h"
#include "store/check/sto_Checker.h"
#include "store/format/sto_BlockKey.h"
#include "store/format/sto_NestedWalk.h"
#include "store/format/sto_TypeNames.h"

sto_RecoverMender::sto_RecoverMender(sto_Driver& driver, sto_RecoverResults& results)
    : m_Driver(driver), m_Results(results) {
  LoadCatalogue();
}

void sto_RecoverMender::LoadCatalogue() {
  for (sto_ShapeRow const& row : m_Driver.Shapes()) static_cast<void>(m_Shapes.Take(row.m_Id, row.m_Data));
  for (sto_ClassRow const& row : m_Driver.Classes()) m_Classes[row.m_ClassId] = row.m_Name;
  for (sto_NameRow& row : m_Driver.Names()) m_Names[row.m_Id] = std::move(row.m_Text);
}

std::string sto_RecoverMender::ClassOf(unsigned int classId) const {
  auto const found = m_Classes.find(classId);
  return found == m_Classes.end() ? std::string() : found->second;
}

std::string sto_RecoverMender::NameOf(sto_FieldKey const& key) const {
  auto const found = m_Names.find(key.m_NameId);
  return found == m_Names.end() ? std::to_string(key.m_FieldId) : found->second;
}

std::string sto_RecoverMender::Describe(std::int64_t id, std::string const& className) const {
  return "bject " + std::to_string(id) + (className.empty() ? "" : " (" + className + ")");
}

void sto_RecoverMender::Mend(std::size_t maxItems) {
  constexpr int MaxRounds = 40;
  std::string last;
  for (int round = 0; round < MaxRounds; ++round) {
    sto_CheckReport report;
    sto_Progress const progress = m_Results.InPhase(1);
    std::optional<sto_Meter> meter;
    if (progress) meter.emplace(progress, std::string(), sto_Meter::Counts::Parts);
    sto_Checker(m_Driver, report, maxItems, meter ? &*meter : nullptr).Check(sto_CheckDepth::Full, 0);
    if (!std::exchange(m_HasLooked, true)) NoticeEarlierStates(report);
    std::erase_if(report.m_Findings, [](sto_CheckFinding const& finding) {
      using enum sto_CheckKind;
      return finding.m_Kind == Sum || finding.m_Kind == Log || finding.m_Kind == Index;
    });
    m_Results.Report().m_Objects.m_Read = report.m_Counts.m_Objects;
    m_Results.Report().m_Blocks.m_Read = report.m_Counts.m_Blocks;
    m_Results.Report().m_Roots.m_Read = report.m_Counts.m_Roots;
    if (report.m_Findings.empty()) return;
    last = report.m_Findings.front().m_Text;
    std::set<std::int64_t> mended; // in this round
    for (sto_CheckFinding const& finding : report.m_Findings)
      if (finding.m_ObjectId <= 0 || finding.m_Kind == sto_CheckKind::DanglingRoot ||
          mended.insert(finding.m_ObjectId).second)
        Act(finding);
    FlushElements();
  }
  sto_Raise(sto_ErrorKind::Damaged, "What is left of the store contradicts itself: " + last);
}

// Pages of an earlier save fit their checksums. What has come back to them is known by the sum of the newest save, and by
// indexes that fit other values. If something is lost anyway, the sum says nothing more.
void sto_RecoverMender::NoticeEarlierStates(sto_CheckReport const& report) {
  bool hasOtherSum = false;
  bool hasOthers = false;
  for (sto_CheckFinding const& finding : report.m_Findings) {
    if (finding.m_Kind == sto_CheckKind::Index)
      m_Results.LoseIndexes();
    else if (finding.m_Kind == sto_CheckKind::Sum)
      hasOtherSum = true;
    else if (finding.m_Kind != sto_CheckKind::Log)
      hasOthers = true;
  }
  if (hasOtherSum && !hasOthers && m_Results.Report().IsComplete())
    m_Results.Add(
        sto_LostKind::Stale,
        "Some of what was read is not what the newest save has left: the sum over it is another. A part of the "
        "file may have the state of an earlier save.");
}

void sto_RecoverMender::Act(sto_CheckFinding const& finding) {
  std::int64_t const id = finding.m_ObjectId;
  if (finding.m_Kind == sto_CheckKind::DanglingRoot) return LoseRoot(finding);
  if (id < 1 || id > sto_Format::MaxObjectId)
    sto_Raise(sto_ErrorKind::Damaged, "What is left of the store contradicts itself: " + finding.m_Text);
  m_Results.Changes().m_Objects.push_back(id);
  m_Results.Changes().m_Lists.push_back(id);
  if (!IsThere(id)) return DeleteBlocksFrom(id, 0);
  bool const isUnreadable = finding.m_Kind == sto_CheckKind::DamagedObject ||
                            (finding.m_Kind == sto_CheckKind::DamagedRow && finding.m_Block < 0);
  if (!Read(id) || isUnreadable || ++m_Tries[id] > 2)
    return LoseObject(id, m_Shapes.Find(m_Record.Stored().m_Shape) == nullptr &&
                                  m_Record.Stored().m_Shape > sto_Format::OwnShape
                              ? "the shape that describes its record is"
                              : "it contradicts the rest of the store");
  MendObject(id);
}

void sto_RecoverMender::LoseRoot(sto_CheckFinding const& finding) {
  m_Driver.RemoveRoot(finding.m_Root);
  m_Results.Changes().m_Roots.push_back(finding.m_Root);
  ++m_Results.Report().m_Roots.m_Lost;
  sto_LostItem item;
  item.m_Kind = sto_LostKind::Root;
  item.m_ObjectId = finding.m_ObjectId;
  item.m_Root = finding.m_Root;
  item.m_Text = "Root " + finding.m_Root + " is lost, because its object " +
                std::to_string(finding.m_ObjectId) + " is.";
  m_Results.Add(std::move(item));
  Lose(finding.m_ObjectId);
}

void sto_RecoverMender::LoseObject(std::int64_t id, std::string const& why) {
  sto_LostItem item;
  item.m_Kind = sto_LostKind::Object;
  item.m_ObjectId = id;
  if (Read(id)) item.m_Class = ClassOf(m_Record.ClassId());
  item.m_Text = "O" + Describe(id, item.m_Class) + " is lost: " + why + ".";
  if (m_Results.LoseObject(id)) m_Results.Add(std::move(item));
  m_Driver.DeleteObject(id);
  DeleteBlocksFrom(id, 0);
}

void sto_RecoverMender::DeleteBlocksFrom(std::int64_t id, int block) {
  m_Driver.DeleteBlocks(sto_BlockKey(id, block), sto_LastBlockKey(id));
}

bool sto_RecoverMender::Read(std::int64_t id) {
  if (!m_Driver.ReadObject(id, m_Record.Stored())) return false;
  sto_NumberedShape const* const shape = m_Shapes.Find(m_Record.Stored().m_Shape);
  std::string problem;
  return m_Record.Decode(id, shape == nullptr ? nullptr : &shape->m_Shape, problem);
}

bool sto_RecoverMender::IsFieldWhole(std::int64_t id, sto_Field const& field) {
  if (field.m_Tag == sto_Format::Object) return IsThere(field.m_ObjectId);
  if (field.m_Tag != sto_Format::Nested) return true;
  bool isWhole = true;
  auto const take = [&](std::uint8_t tag, std::int64_t object, sto_ByteView) {
    isWhole = isWhole && (tag != sto_Format::Object || IsThere(object));
    return true;
  };
  sto_ByteReader reader(field.m_Payload);
  return sto_NestedWalk(*field.m_Type, id, take).Pass(reader) && isWhole;
}

bool sto_RecoverMender::BuildFields(std::int64_t id) {
  bool isChanged = false;
  m_Builder.Reset();
  std::string const holder = ClassOf(m_Record.ClassId());
  for (sto_Part const& part : m_Record.Parts()) {
    std::size_t const index = m_Builder.AddPart(part.m_ClassId, part.m_Version, part.m_Id);
    for (sto_Field const& field : part.m_Fields) {
      if (IsFieldWhole(id, field)) {
        m_Builder.AddDecoded(index, field.m_Key, field, field.m_ObjectId);
        continue;
      }
      isChanged = true;
      sto_LostItem item;
      item.m_Kind = sto_LostKind::Field;
      if (field.m_Tag == sto_Format::Object) item.m_ObjectId = field.m_ObjectId;
      item.m_HolderId = id;
      item.m_Holder = holder;
      item.m_Attribute = NameOf(field.m_Key);
      item.m_Text = "O" + Describe(id, holder) + " is without attribute " + item.m_Attribute +
                    ", which held " +
                    (item.m_ObjectId == 0 ? std::string("a lost object")
                                          : "the lost object " + std::to_string(item.m_ObjectId)) +
                    ".";
      m_Results.Add(std::move(item));
      if (field.m_Tag == sto_Format::Object) Lose(field.m_ObjectId);
    }
  }
  return isChanged;
}

void sto_RecoverMender::Lose(std::int64_t id) {
  if (!m_Results.LoseObject(id)) return;
  sto_LostItem item;
  item.m_Kind = sto_LostKind::Object;
  item.m_ObjectId = id;
  item.m_Text = "Object " + std::to_string(id) + " is lost.";
  m_Results.Add(std::move(item));
}

void sto_RecoverMender::MendObject(std::int64_t id) {
  bool isChanged = BuildFields(id);
  if (m_Record.List()) isChanged = BuildList(id, *m_Record.List()) || isChanged;
  if (m_Record.Map()) isChanged = BuildMap(id, *m_Record.Map()) || isChanged;
  if (!m_Record.List() && !m_Record.Map()) MendBlob(id);
  if (isChanged) Write(id);
}

void sto_RecoverMender::Write(std::int64_t id) {
  sto_NumberedShape const* shape = m_Shapes.Find(m_Builder);
  if (shape == nullptr) {
    sto_Bytes stored;
    shape = m_Shapes.Add(m_Builder, stored);
    if (shape != nullptr) m_Driver.AddShape({shape->m_Number, std::move(stored)});
  }
  if (shape == nullptr)
    m_Driver.WriteObject(id, sto_Format::OwnShape, m_Builder.ValuesWithShape());
  else
    m_Driver.WriteObject(id, shape->m_Number, m_Builder.Values());
}

bool sto_RecoverMender::ReadContent(std::int64_t key, sto_Bytes& content) {
  try {
    if (!m_Driver.ReadBlock(key, m_Stored) || !sto_BlockCodec::IsSound(key, m_Stored)) return false;
  } catch (sto_Exception const& failure) {
    if (failure.Kind() != sto_ErrorKind::Damaged) throw;
    return false;
  }
  std::optional<sto_ByteView> const opened = m_Codec.Open(m_Stored, m_Restored);
  if (!opened) return false;
  if (!sto_BlockCodec::IsPlain(m_Stored) && !sto_BlockCodec::IsContent(key, m_Stored, *opened)) return false;
  content.assign(opened->begin(), opened->end());
  return true;
}

void sto_RecoverMender::WriteContent(std::int64_t key, sto_Bytes content) {
  sto_BlockCodec::Seal(key, content);
  m_Driver.WriteBlock(key, content);
}

void sto_RecoverMender::LoseElements(std::int64_t id, sto_LostKind kind, int block, std::int64_t first,
                                     std::int64_t count) {
  ++m_Results.Report().m_Blocks.m_Lost;
  sto_LostItem& item = m_Elements;
  if (item.m_ObjectId == id && item.m_Kind == kind && item.m_First + item.m_Count == first) {
    item.m_Count += count;
    return;
  }
  FlushElements();
  item = {};
  item.m_Kind = kind;
  item.m_ObjectId = id;
  item.m_Class = ClassOf(m_Record.ClassId());
  item.m_Block = block;
  item.m_First = first;
  item.m_Count = count;
}

void sto_RecoverMender::FlushElements() {
  sto_LostItem item = std::exchange(m_Elements, {});
  if (item.m_ObjectId == 0) return;
  std::string const what = item.m_Kind == sto_LostKind::Bytes     ? "bytes "
                           : item.m_Kind == sto_LostKind::Entries ? "entries "
                                                                  : "elements ";
  item.m_Text = "O" + Describe(item.m_ObjectId, item.m_Class) + " has lost " +
                (item.m_Kind == sto_LostKind::Entries ? std::to_string(item.m_Count) + " entries"
                                                      : what + std::to_string(item.m_First) + " to " +
                                                            std::to_string(item.m_First + item.m_Count - 1)) +
                ".";
  m_Results.Add(std::move(item));
}
