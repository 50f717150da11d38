#include "store/check/sto_StatMaker.h"

#include <algorithm>

#include "store/check/sto_CheckBlocks.h"
#include "store/format/sto_BlockLayout.h"
#include "store/format/sto_CollectionFields.h"
#include "store/format/sto_CollectionShape.h"
#include "store/format/sto_ElementCodec.h"
#include "store/session/sto_StoredBlocks.h"

namespace {

/// Orders a heap so that its first is the smallest.
bool IsLarger(sto_ArrayStat const& a, sto_ArrayStat const& b) noexcept {
  return a.m_StoredBytes != b.m_StoredBytes ? a.m_StoredBytes > b.m_StoredBytes : a.m_ObjectId < b.m_ObjectId;
}

constexpr char BytesOfBlob[] = "bytes";

} // namespace

sto_Stat sto_StatMaker::Make() {
  m_Session.Catalogue().Load(m_Session.Driver());
  std::unique_ptr<sto_StorageWalk> const walk = m_Session.Driver().NewWalk(*this);
  sto_StorageSizes const sizes = walk->Sizes();
  m_Stat.m_Roots = sizes.m_Roots;
  m_Stat.m_Saves = sizes.m_Saves;
  m_Stat.m_LogBytes = sizes.m_LogBytes;
  m_Stat.m_CatalogueBytes = sizes.m_CatalogueBytes;
  m_Stat.m_IndexBytes = sizes.m_IndexBytes;
  m_Stat.m_FileBytes = sizes.m_FileBytes;
  m_Stat.m_FreeBytes = sizes.m_FreeBytes;
  walk->Objects();
  for (auto& [key, stat] : m_Classes) m_Stat.m_Classes.push_back(std::move(stat));
  walk->BlockRows();
  EndArray();
  std::ranges::sort(m_Stat.m_Arrays, IsLarger);
  for (sto_ArrayStat& array : m_Stat.m_Arrays) CountContent(array);
  NameArrays();
  return std::move(m_Stat);
}

void sto_StatMaker::Find(sto_CheckFinding&& finding) {
  m_Session.Raise(sto_ErrorKind::Damaged, finding.m_Text);
}

bool sto_StatMaker::Read(std::int64_t id) {
  std::string problem;
  if (!m_Session.Records().Fetch(id, m_Record, problem)) return false;
  if (!problem.empty())
    m_Session.Raise(sto_ErrorKind::Damaged, "Object " + std::to_string(id) + " is damaged: " + problem + ".");
  return true;
}

std::pair<unsigned int, int> sto_StatMaker::ClassOf(sto_ObjectRow const& object) {
  if (sto_NumberedShape const* const shape = m_Session.Catalogue().FindShape(object.m_Shape)) {
    sto_ShapePart const& own = shape->m_Shape.m_Parts.front();
    return {own.m_ClassId, own.m_Version};
  }
  if (!Read(object.m_Id)) return {};
  sto_Part const& own = m_Record.Parts().front();
  return {own.m_ClassId, own.m_Version};
}

void sto_StatMaker::TakeObject(sto_ObjectRow const& object) {
  auto const key = ClassOf(object);
  auto const [place, isNew] = m_Classes.try_emplace(key);
  sto_ClassStat& stat = place->second;
  if (isNew) {
    stat.m_ClassId = key.first;
    stat.m_Version = key.second;
    if (sto_ClassRow const* const row = m_Session.Catalogue().FindStored(key.first, key.second))
      stat.m_Name = row->m_Name;
  }
  ++stat.m_Objects;
  stat.m_RecordBytes += object.m_SizeBytes;
}

void sto_StatMaker::TakeBlockRow(std::int64_t key, std::int64_t bytes) {
  if (std::int64_t const id = key >> sto_Format::BlockIndexBits; id != m_Array.m_ObjectId) {
    EndArray();
    m_Array.m_ObjectId = id;
  }
  ++m_Array.m_Rows;
  m_Array.m_StoredBytes += bytes;
}

void sto_StatMaker::EndArray() {
  if (m_Array.m_ObjectId > 0 && Read(m_Array.m_ObjectId)) {
    if (m_Record.ClassId() == cls_BlobTypeId) {
      m_Array.m_ElementType = BytesOfBlob;
      m_Array.m_Count = m_Array.m_ContentBytes =
          sto_CollectionFields::BlobBytes.Read(m_Record.Parts().front()).value_or(0);
      ++m_Stat.m_BlobCount;
      m_Stat.m_BlobBytes += m_Array.m_StoredBytes;
    } else if (m_Record.List()) {
      m_Array.m_ElementType = sto_ElementTypeName(m_Record.List()->m_ElementType);
      m_Array.m_Count = m_Record.List()->m_Count;
      m_Array.m_ContentBytes =
          m_Array.m_Count * static_cast<std::int64_t>(sto_FixedBytes(m_Record.List()->m_ElementType));
      ++m_Stat.m_ArrayCount;
      m_Stat.m_ArrayBytes += m_Array.m_StoredBytes;
    }
    if (m_Record.Map() && m_Record.Map()->m_InChunks) {
      m_Array.m_ElementType = sto_CollectionShape::Of(*m_Record.Map()).Name();
      m_Array.m_Count = m_Record.Map()->m_Count;
      ++m_Stat.m_ArrayCount;
      m_Stat.m_ArrayBytes += m_Array.m_StoredBytes;
    }
    List();
  }
  m_Array = {};
}

void sto_StatMaker::List() {
  std::vector<sto_ArrayStat>& arrays = m_Stat.m_Arrays;
  if (m_MaxArrays == 0) return;
  if (arrays.size() == m_MaxArrays) {
    if (!IsLarger(m_Array, arrays.front())) return;
    std::ranges::pop_heap(arrays, IsLarger);
    arrays.pop_back();
  }
  arrays.push_back(m_Array);
  std::ranges::push_heap(arrays, IsLarger);
}

void sto_StatMaker::CountContent(sto_ArrayStat& array) {
  bool const isList = array.m_ElementType == sto_ElementTypeName(sto_Format::ElementString) ||
                      array.m_ElementType == sto_ElementTypeName(sto_Format::ElementObject);
  if (!isList || array.m_Count == 0) return;
  // Elements of different lengths must be read.
  int const blocks = sto_ListLayout(static_cast<int>(array.m_Count)).BlockCount();
  sto_StoredBlocks(m_Session, array.m_ObjectId)
      .ReadRun(0, blocks - 1, [&](int /*index*/, sto_ByteView content) {
        array.m_ContentBytes += static_cast<std::int64_t>(content.size());
      });
}

void sto_StatMaker::NameArrays() {
  if (m_Stat.m_Arrays.empty()) return;
  std::map<std::int64_t, sto_ArrayStat*> byId;
  for (sto_ArrayStat& array : m_Stat.m_Arrays) byId[array.m_ObjectId] = &array;
  auto const name = [&](std::int64_t id, std::string const& text) {
    if (auto const found = byId.find(id); found != byId.end() && found->second->m_Name.empty())
      found->second->m_Name = text;
  };
  for (auto const& [root, id, classId] : m_Session.Driver().Roots()) {
    name(id, root);
    if (!Read(id)) continue;
    for (sto_Part const& part : m_Record.Parts())
      for (sto_Field const& field : part.m_Fields)
        if (field.m_Tag == sto_Format::Object)
          name(field.m_ObjectId, root + "." +
                                     (field.m_Key.m_NameId != 0
                                          ? std::string(m_Session.Catalogue().NameOf(field.m_Key.m_NameId))
                                          : std::to_string(field.m_Key.m_FieldId)));
  }
}
