#include "store/session/sto_RecordCache.h"

#include <algorithm>
#include <string>
#include <vector>

#include "store/session/sto_DeletedObjects.h"
#include "store/session/sto_Session.h"

namespace {

/// A record that has grown larger than this is not kept.
constexpr std::size_t MaxSpareRecordBytes = 65536;

/// The number of a name that nested values of a part use and the store does not have; 0 if there is none.
std::int64_t UnknownName(sto_Catalogue const& catalogue, sto_Part const& part) {
  for (sto_Field const& field : part.m_Fields) {
    if (field.m_Tag != sto_Format::Nested) continue;
    for (sto_NestedType::Node const& node : field.m_Type->Nodes())
      if (node.m_Key.m_NameId != 0 && catalogue.NameOf(node.m_Key.m_NameId).empty())
        return node.m_Key.m_NameId;
  }
  return 0;
}

} // namespace

sto_RecordRef& sto_RecordCache::SpareRecord() {
  for (std::size_t i = 0; i < m_Records.size(); ++i) {
    sto_RecordRef& record = m_Records[m_NextRecord];
    if (record == nullptr) record = sto_RecordRef::New();
    if (record.IsOnlyOne()) return record;
    m_NextRecord = (m_NextRecord + 1) % m_Records.size();
  }
  // All are in use: a new one replaces one of them in the cache.
  sto_RecordRef& kept = m_Records[m_NextRecord];
  kept = sto_RecordRef::New();
  return kept;
}

bool sto_RecordCache::Fetch(std::int64_t id, sto_Record& record, std::string& problem) {
  if (!m_Ahead.Read(id, record.Stored())) return false;
  Decode(id, record, problem);
  return true;
}

void sto_RecordCache::Decode(std::int64_t id, sto_Record& record, std::string& problem) const {
  sto_StoredRecord const& stored = record.Stored();
  sto_Catalogue const& catalogue = m_Session.Catalogue();
  bool const isNumbered = stored.m_Shape > sto_Format::OwnShape;
  if (isNumbered && m_Session.Catalogue().FindShape(stored.m_Shape) != nullptr)
    static_cast<void>(record.DecodeAs(id, catalogue.ShareShape(stored.m_Shape), problem));
  else if (isNumbered && stored.m_IsSound)
    problem = "table shape does not have shape " + std::to_string(stored.m_Shape) + ", which it uses";
  else
    static_cast<void>(record.Decode(id, nullptr, problem));
}

unsigned int sto_RecordCache::ClassOf(std::int64_t id) {
  m_Session.Catalogue().Load(m_Session.Driver());
  if (!m_Ahead.Read(id, m_Scratch.Stored())) return 0;
  std::int64_t const number = m_Scratch.Stored().m_Shape;
  if (sto_NumberedShape const* const shape = m_Session.Catalogue().FindShape(number))
    return shape->m_Shape.m_Parts.front().m_ClassId;
  std::string problem;
  Decode(id, m_Scratch, problem);
  return problem.empty() ? m_Scratch.ClassId() : 0;
}

sto_RecordRef sto_RecordCache::Read(std::int64_t id, bool isDeletedRead) {
  m_Session.RaiseKept();
  m_Session.RequireTransaction();
  if (sto_OpenCollection* const open = m_Session.Collections().Find(id)) open->WriteRecord();
  sto_Catalogue& catalogue = m_Session.Catalogue();
  catalogue.Load(m_Session.Driver()); // so that messages can name a class that the program does not know
  sto_RecordRef& kept = SpareRecord();
  sto_RecordRef record = kept;
  std::string problem;
  if (!Fetch(id, record.Fill(), problem)) return nullptr;
  ++m_ReadCount;
  if (record->Stored().m_Bytes.capacity() > MaxSpareRecordBytes) kept = nullptr; // freed with its last user
  if (!problem.empty()) RaiseDamaged(id, *record, "is damaged: " + problem);
  if (record->GreatestId() >= m_Session.EndOfIds())
    RaiseDamaged(id, *record,
                 "names object " + std::to_string(record->GreatestId()) + ", which the store never had");
  if (record->List() && record->List()->m_Extra.UnitId() != 0 &&
      catalogue.NameOf(record->List()->m_Extra.UnitId()).empty())
    RaiseDamaged(id, *record,
                 "or the store's catalogue is damaged: table name does not have name " +
                     std::to_string(record->List()->m_Extra.UnitId()) + ", its unit");
  if (sto_NumberedShape const* const shape = record->Shape(); shape == nullptr || !shape->m_IsChecked) {
    CheckParts(id, record.Fill());
    if (record->ClassId() == sto_DeletedClassId && !isDeletedRead)
      m_Session.Raise(sto_ErrorKind::NotFound, "Object " + std::to_string(id) + " was deleted.");
  }
  if (sto_Meter* const meter = m_Session.Meter()) Count(*meter, *record);
  return record;
}

void sto_RecordCache::Count(sto_Meter& meter, sto_Record const& record) {
  if (meter.What() == sto_Meter::Counts::Writes) return meter.Tick();
  if (meter.What() == sto_Meter::Counts::Reads) {
    for (sto_Part const& part : record.Parts())
      meter.Found(std::ranges::count(part.m_Fields, sto_Format::Object, &sto_Field::m_Tag));
    if (record.List() && record.List()->m_ElementType == sto_Format::ElementObject)
      meter.Found(record.List()->m_Count);
    if (record.Map() && record.Map()->m_ElementType == sto_Format::ElementObject)
      meter.Found(record.Map()->m_Count);
  }
  meter.Step();
}

void sto_RecordCache::RaiseDamaged(std::int64_t id, sto_Record const& record, std::string const& what) const {
  m_Session.Raise(sto_ErrorKind::Damaged, "Object " + std::to_string(id) + " (" +
                                              m_Session.Catalogue().DescribeClass(record.ClassId()) + ") " +
                                              what + ".");
}

void sto_RecordCache::CheckParts(std::int64_t id, sto_Record& record) {
  sto_Catalogue& catalogue = m_Session.Catalogue();
  sto_NumberedShape* const shape = catalogue.FindShape(record.Stored().m_Shape);
  bool isKnown = true;
  for (sto_Part const& part : record.Parts()) {
    if (std::int64_t const name = UnknownName(catalogue, part); name != 0)
      m_Session.Raise(sto_ErrorKind::Damaged,
                      "Object " + std::to_string(id) + " (" + catalogue.DescribeClass(record.ClassId()) +
                          ") or the store's catalogue is damaged: table name does not "
                          "have name " +
                          std::to_string(name) + ", which it uses.");
    if (catalogue.IsKnown(part)) continue;
    CheckPart(id, record.ClassId(), part);
    if (!catalogue.HasNewestBase(part)) record.NoteChangedBase();
    isKnown = isKnown && catalogue.IsKnown(part);
  }
  if (shape != nullptr) shape->m_IsChecked = isKnown && record.ClassId() != sto_DeletedClassId;
}

void sto_RecordCache::CheckPart(std::int64_t id, unsigned int classId, sto_Part const& part) {
  sto_Catalogue& catalogue = m_Session.Catalogue();
  sto_Classes const& classes = catalogue.Classes();
  std::vector<int> known; // empty for a class that the program does not declare; its record can still be read
  bool const isReadable = classes.ForVersion(part.m_ClassId, part.m_Version) != nullptr ||
                          (known = classes.Versions(part.m_ClassId)).empty();
  bool const isRemembered = isReadable && catalogue.HasNewestBase(part); // then it is not checked again
  if (std::string const problem = catalogue.Problem(part, isRemembered); !problem.empty())
    m_Session.Raise(sto_ErrorKind::Damaged, "Object " + std::to_string(id) + " (" +
                                                catalogue.DescribeClass(classId) +
                                                ") or the store's catalogue is damaged: " + problem + ".");
  if (isReadable) return;
  std::string list = known.size() == 1 ? "version " : "versions ";
  for (std::size_t i = 0; i < known.size(); ++i)
    list += (i == 0 ? "" : i + 1 == known.size() ? " and " : ", ") + std::to_string(known[i]);
  m_Session.Raise(sto_ErrorKind::NewerFormat, "Object " + std::to_string(id) + " was written by version " +
                                                  std::to_string(part.m_Version) + " of class " +
                                                  catalogue.ClassName(part.m_ClassId) +
                                                  "; this program knows " + list + ".");
}
