#include "store/graph/sto_BranchCopy.h"

#include <algorithm>

#include "metadata/cls_CollectionType.h"
#include "store/agents/sto_BlobAgent.h"
#include "store/format/sto_BlockLayout.h"
#include "store/format/sto_CollectionFields.h"
#include "store/format/sto_ElementCodec.h"
#include "store/format/sto_IdCodec.h"
#include "store/format/sto_MapWalk.h"
#include "store/format/sto_RecordIds.h"
#include "store/objects/sto_ObjectListReader.h"
#include "store/session/sto_MapChunks.h"
#include "store/session/sto_StoredBlocks.h"

sto_BranchCopy::sto_BranchCopy(sto_Session& source, sto_Session& target)
    : m_Source(source), m_Target(target) {
  for (sto_NameRow& row : source.Driver().Names()) m_SourceNames.emplace(row.m_Id, std::move(row.m_Text));
}

std::int64_t sto_BranchCopy::Copy(std::int64_t id, unsigned int& classId) {
  sto_ReadAhead::Walk const walk(m_Source.Records().Ahead(), sto_ReadAhead::Follow::References);
  std::int64_t const copy = MapId(id);
  bool isFirst = true;
  while (!m_ToCopy.empty()) {
    std::int64_t const next = m_ToCopy.back();
    m_ToCopy.pop_back();
    sto_RecordRef const record = m_Source.Records().ReadAny(next);
    // A base-class part has no record of its own, and a reference may name an object that is not stored.
    // MapHeldId has checked that held objects exist.
    if (record != nullptr) CopyObject(next, *record);
    if (!std::exchange(isFirst, false)) continue;
    if (record == nullptr)
      m_Source.Raise(sto_ErrorKind::NotFound,
                     "Object " + std::to_string(id) + ", which is to be copied, is not in the store.");
    classId = record->Parts().front().m_ClassId;
  }
  return copy;
}

std::int64_t sto_BranchCopy::MapId(std::int64_t id) {
  if (!m_Ids.contains(id)) m_ToCopy.push_back(id);
  return MapPartId(id);
}

std::int64_t sto_BranchCopy::MapHeldId(std::int64_t id) {
  if (!m_Source.IsStored(id))
    m_Source.Raise(sto_ErrorKind::Damaged,
                   "Object " + std::to_string(id) + ", which a copied object holds, is missing.");
  return MapId(id);
}

std::int64_t sto_BranchCopy::MapPartId(std::int64_t id) {
  auto const [copied, isNew] = m_Ids.emplace(id, 0);
  if (isNew) copied->second = m_Target.TakeId();
  return copied->second;
}

void sto_BranchCopy::CopyObject(std::int64_t id, sto_Record const& record) {
  m_Types.clear();
  sto_RecordBuilder builder;
  for (sto_Part const& part : record.Parts()) {
    RequireClass(part);
    std::size_t const index = builder.AddPart(part.m_ClassId, part.m_Version, MapPartId(part.m_Id));
    for (sto_Field const& field : part.m_Fields)
      if (sto_IsOldChange(part, field))
        continue;
      else if (field.m_Tag == sto_Format::Nested)
        CopyNested(id, field, builder, index);
      else
        CopyField(field, builder, index);
    RequireFields(part);
  }
  sto_Part const& first = record.Parts().front();
  if (record.List()) CopyList(id, *record.List(), builder);
  if (record.Map()) CopyMap(id, *record.Map(), builder);
  if (first.m_ClassId == cls_BlobTypeId) CopyBlob(id, first);
  std::int64_t const copy = MapId(id);
  auto const [shape, values] = m_Target.ToWrite(builder, nullptr);
  m_Target.WriteObject(copy, {shape, values});
}

void sto_BranchCopy::CopyField(sto_Field const& field, sto_RecordBuilder& builder, std::size_t part) {
  std::int64_t id = 0;
  if (field.m_Tag == sto_Format::Object) id = MapHeldId(field.m_ObjectId);
  if (field.m_Tag == sto_Format::Reference) id = MapId(field.m_ObjectId);
  builder.AddDecoded(part, MapKey(field.m_Key), field, id);
}

void sto_BranchCopy::CopyNested(std::int64_t id, sto_Field const& field, sto_RecordBuilder& builder,
                                std::size_t part) {
  sto_Bytes const value =
      sto_MapNestedIds(field, id, MapId(id), [this](std::uint8_t tag, std::int64_t named) {
        return tag == sto_Format::Object ? MapHeldId(named) : MapId(named);
      });
  m_Types.push_back(field.m_Type->WithKeys([this](sto_FieldKey const& key) { return MapKey(key); }));
  builder.AddNested(part, MapKey(field.m_Key), m_Types.back(), value);
}

bool sto_BranchCopy::MapIds(std::int64_t list, sto_ListHeader const& header, sto_ByteView content, int count,
                            sto_Bytes& mapped) {
  std::vector<std::int64_t> ids;
  if (!sto_ReadIds(m_Source, list, header, content, count, ids)) return false;
  m_Source.Records().Ahead().Want(ids);
  sto_IdEncoder encoder(MapId(list));
  sto_ByteWriter writer(mapped);
  for (std::int64_t const id : ids) encoder.Put(writer, id == 0 ? id : MapHeldId(id));
  return true;
}

void sto_BranchCopy::RaiseDamagedBlock(std::int64_t list, int block) const {
  m_Source.Raise(sto_ErrorKind::Damaged, "The list of object " + std::to_string(list) +
                                             " is damaged in block " + std::to_string(block) + ".");
}

void sto_BranchCopy::CopyList(std::int64_t id, sto_ListHeader list, sto_RecordBuilder& builder) {
  if (!sto_HasWholeRows(list.m_Count, list.m_Width))
    m_Source.Raise(sto_ErrorKind::Damaged,
                   "The list of object " + std::to_string(id) + sto_UnevenRows(list.m_Count, list.m_Width));
  bool const holdsObjects = list.m_ElementType == sto_Format::ElementObject;
  sto_Bytes elements;
  if (list.m_InBlocks)
    CopyBlocks(id, sto_ListLayout(list.m_Count).BlockCount(), &list);
  else if (!holdsObjects)
    elements.assign(list.m_Inline.begin(), list.m_Inline.end());
  else if (!MapIds(id, list, list.m_Inline, list.m_Count, elements))
    RaiseDamagedBlock(id, 0);
  list.m_Inline = {};
  list.m_HasFixedIds = false;
  list.m_Extra.SetUnit(MapKey({list.m_Extra.UnitId(), -1}).m_NameId);
  builder.SetList(list, std::move(elements));
}

void sto_BranchCopy::CopyBlocks(std::int64_t id, int blockCount, sto_ListHeader const* list) {
  sto_StoredBlocks from(m_Source, id);
  sto_StoredBlocks to(m_Target, MapId(id), list == nullptr ? 1 : sto_ElementBytes(list->m_ElementType));
  bool const holdsObjects = list != nullptr && list->m_ElementType == sto_Format::ElementObject;
  for (int block = 0; block < blockCount; ++block) {
    sto_ByteView const stored = from.ReadAhead(block, blockCount);
    sto_Bytes content;
    if (!holdsObjects)
      content.assign(stored.begin(), stored.end());
    else if (!MapIds(id, *list, stored, sto_ListLayout(list->m_Count).CountIn(block), content))
      RaiseDamagedBlock(id, block);
    to.Write(block, content, false);
  }
}

void sto_BranchCopy::CopyMap(std::int64_t id, sto_MapHeader const& map, sto_RecordBuilder& builder) {
  if (map.m_InChunks)
    CopyChunks(id, map, builder);
  else
    builder.SetMap(map, MapEntries(map));
}

sto_Bytes sto_BranchCopy::MapEntries(sto_MapHeader const& map) {
  if (map.m_ElementType != sto_Format::ElementObject)
    return sto_Bytes(map.m_Entries.begin(), map.m_Entries.end());
  sto_Bytes entries;
  sto_ByteWriter writer(entries);
  for (sto_MapWalk walk(map); walk.Next();) {
    writer.Raw(walk.Key().data(), walk.Key().size());
    writer.Varint(static_cast<std::uint64_t>(MapHeldId(static_cast<std::int64_t>(walk.ObjectId()))));
  }
  return entries;
}

void sto_BranchCopy::CopyChunks(std::int64_t id, sto_MapHeader map, sto_RecordBuilder& builder) {
  sto_MapChunks from(m_Source, id);
  sto_MapChunks to(m_Target, MapId(id));
  sto_ChunkNumbers numbers;
  sto_ChunkDirectory directory = from.ReadDirectory(map, numbers);
  for (sto_Chunk& chunk : directory.m_Chunks) {
    sto_Bytes content = MapEntries(sto_MapOfChunk(map, chunk.m_Count, from.Read(map, chunk)));
    chunk.m_Checksum = sto_ChunkChecksum(content);
    to.Write(chunk.m_Number, content, false);
  }
  directory.m_Pages.clear(); // so that each is written
  sto_Bytes listed =
      directory.Encode(numbers, [&](int number, sto_Bytes& content) { to.Write(number, content, false); });
  map.m_Entries = {};
  builder.SetMap(map, std::move(listed));
}

void sto_BranchCopy::CopyBlob(std::int64_t id, sto_Part const& part) {
  std::int64_t const size = sto_CollectionFields::BlobBytes.Read(part).value_or(0);
  if (size < 0 || size > sto_BlobLayout::MaxCount)
    m_Source.Raise(sto_ErrorKind::Damaged,
                   "The blob of object " + std::to_string(id) + " has an impossible size.");
  CopyBlocks(id, sto_BlobLayout(size).BlockCount(), nullptr);
}

sto_FieldKey sto_BranchCopy::MapKey(sto_FieldKey const& key) {
  if (key.m_NameId == 0) return key;
  auto const known = m_TargetNames.find(key.m_NameId);
  if (known != m_TargetNames.end()) return {known->second, key.m_FieldId};
  auto const name = m_SourceNames.find(key.m_NameId);
  if (name == m_SourceNames.end())
    m_Source.Raise(sto_ErrorKind::Damaged, "A copied object has an attribute of name " +
                                               std::to_string(key.m_NameId) + ", which the store never had.");
  std::int64_t const id = m_Target.Catalogue().AddName(m_Target.Driver(), name->second);
  m_TargetNames.emplace(key.m_NameId, id);
  return {id, key.m_FieldId};
}

void sto_BranchCopy::RequireFields(sto_Part const& part) {
  std::vector<sto_Field> fields(part.m_Fields.begin(), part.m_Fields.end());
  for (sto_Field& field : fields) field.m_Key = MapKey(field.m_Key);
  sto_Part const copy{part.m_ClassId, part.m_Version, part.m_Id, fields};
  if (m_Target.Catalogue().IsKnown(copy)) return;
  // A store of format 1 has attributes without a description, so the fields are checked here.
  if (std::string const problem = m_Target.Catalogue().Problem(copy, true); !problem.empty())
    m_Target.Raise(sto_ErrorKind::Conflict, "Object " + std::to_string(part.m_Id) + " of " +
                                                m_Source.Location() + " cannot be copied: " + problem + ".");
}

void sto_BranchCopy::RequireClass(sto_Part const& part) {
  if (!m_KnownClasses.emplace(part.m_ClassId, part.m_Version).second) return;
  sto_Classes const& classes = m_Target.Catalogue().Classes();
  std::string const name = m_Source.Catalogue().ClassName(part.m_ClassId);
  std::string const version = name + " version " + std::to_string(part.m_Version);
  cls_ClassMetadata const* const newest = classes.Newest(part.m_ClassId);
  if (newest == nullptr)
    m_Target.Raise(sto_ErrorKind::Misuse, "An object of class " + name + " of " + m_Source.Location() +
                                              " cannot be copied: the class is not declared in the registrar "
                                              "that the store was opened with.");
  if (classes.ForVersion(part.m_ClassId, part.m_Version) == nullptr)
    m_Target.Raise(sto_ErrorKind::NewerFormat, "An object of class " + version + " of " +
                                                   m_Source.Location() +
                                                   " cannot be copied: this program knows version " +
                                                   std::to_string(newest->Version()) + ".");
  sto_ClassRow const* const described = m_Source.Catalogue().FindStored(part.m_ClassId, part.m_Version);
  if (described == nullptr)
    m_Source.Raise(sto_ErrorKind::Damaged, "The store does not describe class " + version + ".");
  if (part.m_Version == newest->Version()) static_cast<void>(m_Target.ClassToWrite(part.m_ClassId));
  if (!m_Target.Catalogue().Adopt(m_Target.Driver(), *described, m_Source.Catalogue(), m_Source.Driver()))
    m_Target.Raise(sto_ErrorKind::Conflict,
                   "Class " + version + " is described differently in " + m_Source.Location() + ".");
}
