#include "tools/kvlstore/report/kvs_Facts.h"

#include <algorithm>
#include <filesystem>

#include "tools/kvlstore/report/kvs_AttributeWords.h"

namespace {

constexpr std::size_t LargestArrays = 20;
constexpr std::size_t RootsOfSave = 10;

void WriteNotes(kvs_Json& json, std::vector<sto_NoteDescription> const& notes) {
  if (notes.empty()) return;
  json.Key("notes").Begin('[');
  for (sto_NoteDescription const& note : notes) json.Begin('[').Text(note.m_Name).Text(note.m_Text).End(']');
  json.End(']');
}

void WriteAttribute(kvs_Json& json, sto_AttributeDescription const& attribute) {
  json.Begin('{').Key("n").Text(attribute.m_Name).Key("i").Int(attribute.m_FieldId);
  json.Key("k").Text(kvs_AttributeWords(attribute.m_Type, attribute.m_CollectionType));
  if (!attribute.m_Unit.empty()) json.Key("u").Text(attribute.m_Unit);
  if (attribute.m_Default) json.Key("d").Text(*attribute.m_Default);
  if (!attribute.m_Enumerators.empty()) {
    json.Key("e").Begin('[');
    for (sto_EnumeratorDescription const& enumerator : attribute.m_Enumerators)
      json.Begin('[').Text(enumerator.m_Name).Int(enumerator.m_Value).End(']');
    json.End(']');
  }
  WriteNotes(json, attribute.m_Notes);
  json.End('}');
}

void WriteCounts(kvs_Json& json, sto_ClassStat const& counted) {
  json.Key("objects").Int(counted.m_Objects).Key("bytes").Int(counted.m_RecordBytes);
}

void WriteClass(kvs_Json& json, sto_ClassDescription const& described, sto_Stat const* stat) {
  json.Begin('{').Key("i").UInt(described.m_ClassId).Key("v").Int(described.m_Version);
  json.Key("n").Text(described.m_Name).Key("base").UInt(described.m_BaseClassId);
  if (stat != nullptr) {
    auto const counted = std::ranges::find_if(stat->m_Classes, [&](sto_ClassStat const& each) {
      return each.m_ClassId == described.m_ClassId && each.m_Version == described.m_Version;
    });
    if (counted != stat->m_Classes.end()) WriteCounts(json, *counted);
  }
  WriteNotes(json, described.m_Notes);
  json.Key("f").Begin('[');
  for (sto_AttributeDescription const& attribute : described.m_Attributes) WriteAttribute(json, attribute);
  json.End(']').End('}');
}

void WriteClasses(kvs_Json& json, kvs_Facts const& facts, kvs_ReportOptions const& options) {
  sto_Stat const* const stat = facts.m_Stat ? &*facts.m_Stat : nullptr;
  json.Key("classCount").UInt(facts.m_Classes.size()).Key("classes").Begin('[');
  for (sto_ClassDescription const& described : facts.m_Classes)
    if (json.Bytes() < options.m_MaxBytes / 2) WriteClass(json, described, stat);
  json.End(']').Key("byClass").Begin('[');
  if (stat != nullptr)
    for (sto_ClassStat const& counted : stat->m_Classes) {
      if (json.Bytes() >= options.m_MaxBytes) break;
      json.Begin('{').Key("i").UInt(counted.m_ClassId).Key("v").Int(counted.m_Version);
      json.Key("n").Text(counted.m_Name);
      WriteCounts(json, counted);
      json.End('}');
    }
  json.End(']');
}

void WriteSave(kvs_Json& json, sto_SaveEntry const& save) {
  json.Begin('{').Key("n").Int(save.m_Number).Key("ms").Int(save.m_Milliseconds);
  json.Key("program").Text(save.m_Program);
  json.Key("note").Text(save.m_Note);
  json.Key("next").Int(save.m_NextObjectId).Key("objects").UInt(save.m_Objects.size());
  json.Key("lists").UInt(save.m_Lists.size()).Key("rootCount").UInt(save.m_Roots.size());
  json.Key("roots").Begin('[');
  for (std::size_t i = 0; i < std::min(save.m_Roots.size(), RootsOfSave); ++i) json.Text(save.m_Roots[i]);
  json.End(']').End('}');
}

void WriteSaves(kvs_Json& json, kvs_Facts const& facts) {
  json.Key("saves").Begin('[');
  for (sto_SaveEntry const& save : facts.m_Saves) WriteSave(json, save);
  json.End(']');
}

void WriteRoots(kvs_Json& json, kvs_Facts const& facts, kvs_ReportOptions const& options) {
  auto const shown = std::min(facts.m_Roots.size(), static_cast<std::size_t>(options.m_MaxObjects));
  json.Key("rootCount").UInt(facts.m_Roots.size()).Key("roots").Begin('[');
  for (std::size_t i = 0; i < shown && json.Bytes() < options.m_MaxBytes; ++i) {
    sto_InspectedRoot const& root = facts.m_Roots[i];
    json.Begin('[').Text(root.m_Name).Int(root.m_Id).Text(root.m_ClassName).End(']');
  }
  json.End(']');
}

void WriteStat(kvs_Json& json, sto_Stat const& stat) {
  json.Key("space").Begin('{');
  json.Key("file").Int(stat.m_FileBytes).Key("free").Int(stat.m_FreeBytes).Key("log").Int(stat.m_LogBytes);
  json.Key("catalogue").Int(stat.m_CatalogueBytes).Key("indexes").Int(stat.m_IndexBytes);
  json.Key("arrays").Int(stat.m_ArrayBytes).Key("arrayCount").Int(stat.m_ArrayCount);
  json.Key("blobs").Int(stat.m_BlobBytes).Key("blobCount").Int(stat.m_BlobCount);
  json.Key("saveCount").Int(stat.m_Saves).End('}');
  json.Key("largest").Begin('[');
  for (sto_ArrayStat const& array : stat.m_Arrays) {
    json.Begin('{').Key("id").Int(array.m_ObjectId).Key("name").Text(array.m_Name);
    json.Key("type").Text(array.m_ElementType).Key("n").Int(array.m_Count);
    json.Key("stored").Int(array.m_StoredBytes).Key("content").Int(array.m_ContentBytes).End('}');
  }
  json.End(']');
}

void WriteInfo(kvs_Json& json, sto_StoreInfo const& info) {
  json.Key("format").Int(info.m_Format).Key("uuid").Text(info.m_Uuid).Key("sum").Text(info.m_Sum);
  json.Key("page").Int(info.m_PageBytes).Key("log").Bool(info.m_ReadersBesideWriter);
  json.Key("bytes").Int(info.m_SizeBytes);
}

} // namespace

std::string kvs_NameOf(sto_Store const& store, kvs_ReportOptions const& options) {
  if (!options.m_Name.empty()) return options.m_Name;
  std::string const name = std::filesystem::path(store.Location()).filename().string();
  return name.empty() ? store.Location() : name;
}

kvs_Facts kvs_ReadFacts(sto_Store& store, sto_Inspection const& inspection, kvs_ReportOptions const& options,
                        kvs_Problems& problems) {
  kvs_Facts facts;
  facts.m_Name = kvs_NameOf(store, options);
  problems.Try("the head of the store", [&] { facts.m_Info = store.Info(); });
  problems.Try("the number of objects", [&] { facts.m_Objects = store.ObjectCount(); });
  problems.Try("what takes room", [&] { facts.m_Stat = store.Stat(LargestArrays); });
  problems.Try("the descriptions of classes", [&] { facts.m_Classes = inspection.Classes(); });
  problems.Try("the roots", [&] { facts.m_Roots = inspection.Roots(); });
  std::int64_t const newest =
      facts.m_Info && facts.m_Info->m_NewestSave ? facts.m_Info->m_NewestSave->m_Number : 0;
  if (newest > 0 && options.m_MaxSaves > 0)
    problems.Try("the log of saves", [&] {
      facts.m_Saves = store.Saves(std::max<std::int64_t>(1, newest - options.m_MaxSaves + 1));
    });
  return facts;
}

void kvs_WriteFacts(kvs_Json& json, kvs_Facts const& facts, kvs_ReportOptions const& options) {
  json.Key("facts").Begin('{').Key("name").Text(facts.m_Name);
  if (facts.m_Objects) json.Key("objects").Int(*facts.m_Objects);
  if (facts.m_Info) WriteInfo(json, *facts.m_Info);
  json.End('}');
  WriteClasses(json, facts, options);
  WriteRoots(json, facts, options);
  WriteSaves(json, facts);
  if (facts.m_Stat) WriteStat(json, *facts.m_Stat);
}
