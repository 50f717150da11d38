#include "store/check/sto_CheckIndexes.h"

#include <algorithm>
#include <utility>

#include "store/base/sto_Exception.h"
#include "store/format/sto_Checksum.h"

void sto_CheckIndexes::TakeIndex(sto_IndexRow const& row, bool isSound) {
  if (isSound) m_Rows.push_back(row);
}

sto_IndexRow const* sto_CheckIndexes::Find(std::int64_t number) const noexcept {
  auto const found = std::ranges::find(m_Rows, number, &sto_IndexRow::m_Number);
  return found == m_Rows.end() ? nullptr : &*found;
}

std::uint64_t sto_CheckIndexes::HashOf(std::int64_t number, sto_IndexEntry const& entry) {
  auto const owner = static_cast<std::uint64_t>(entry.m_Id) ^ static_cast<std::uint64_t>(number) << 48;
  return sto_Checksum(owner, sto_AsBytes(entry.m_Key));
}

sto_IndexPlan sto_CheckIndexes::PlanOf(sto_Shape const& shape) const {
  return {shape, m_Rows, [this](sto_ShapePart const& part, sto_FieldKey const& key) {
            return m_Catalogue.FieldName(part, key);
          }};
}

sto_CheckIndexes::Keys const& sto_CheckIndexes::KeysOf(std::int64_t id, sto_StoredRecord const& record) {
  m_Keys.clear();
  auto const take = [this](std::size_t index, std::string key) {
    m_Keys.emplace_back(index, std::move(key));
  };
  bool isRead = true;
  if (sto_Shape const* const shape = m_Catalogue.FindShape(record.m_Shape)) {
    auto found = m_Plans.find(record.m_Shape);
    if (found == m_Plans.end()) found = m_Plans.emplace(record.m_Shape, PlanOf(*shape)).first;
    isRead = found->second.IsEmpty() || found->second.ForEachKey(*shape, id, record.m_Bytes, take);
  } else {
    sto_ByteReader reader(record.m_Bytes);
    isRead = m_OwnShape.Decode(reader) &&
             PlanOf(m_OwnShape).ForEachKey(m_OwnShape, id, reader.Raw(reader.Remaining()), take);
  }
  if (!isRead) m_Keys.clear();
  return m_Keys;
}

void sto_CheckIndexes::TakeRecord(std::int64_t id, sto_StoredRecord const& record) {
  if (IsEmpty()) return;
  for (auto const& [index, key] : KeysOf(id, record)) m_Expected += HashOf(m_Rows[index].m_Number, {key, id});
}

void sto_CheckIndexes::TakeEntry(std::int64_t number, sto_IndexEntry const& entry, bool isSound) {
  if (!isSound)
    return Add(sto_CheckKind::DamagedRow, number, entry.m_Id,
               "The entry of object " + std::to_string(entry.m_Id) + " in index " + std::to_string(number) +
                   ", in table index_entry, does not fit its checksum.");
  if (Find(number) == nullptr)
    return Add(sto_CheckKind::OrphanRow, number, entry.m_Id,
               "Table index_entry has an entry of object " + std::to_string(entry.m_Id) + " in index " +
                   std::to_string(number) + ", which is not in table index_name, or damaged there.");
  m_Found += HashOf(number, entry);
}

void sto_CheckIndexes::ExplainEntry(sto_Driver& driver, std::int64_t number, sto_IndexEntry const& entry) {
  if (Find(number) == nullptr) return;
  if (!driver.ReadObject(entry.m_Id, m_Stored))
    return Add(sto_CheckKind::Index, number, entry.m_Id,
               Describe(number) + " has an entry of object " + std::to_string(entry.m_Id) +
                   ", which is not stored.");
  bool const fits = std::ranges::any_of(KeysOf(entry.m_Id, m_Stored), [&](auto const& key) {
    return m_Rows[key.first].m_Number == number && key.second == entry.m_Key;
  });
  if (!fits)
    Add(sto_CheckKind::Index, number, entry.m_Id,
        Describe(number) + " has an entry of object " + std::to_string(entry.m_Id) +
            " for a value that the object does not have.");
}

void sto_CheckIndexes::ExplainRecord(sto_Driver& driver, std::int64_t id, sto_StoredRecord const& record) {
  for (auto const& [index, key] : KeysOf(id, record)) {
    std::int64_t const number = m_Rows[index].m_Number;
    std::vector<sto_IndexEntry> found;
    try {
      driver.FindInIndex({number, {key, id - 1}, key}, 1, found);
    } catch (sto_Exception const& failure) { // found with the entries
      if (failure.Kind() != sto_ErrorKind::Damaged) throw;
      continue;
    }
    if (found.empty() || found.front().m_Id != id)
      Add(sto_CheckKind::Index, number, id,
          Describe(number) + " has no entry of object " + std::to_string(id) + ".");
  }
}

std::string sto_CheckIndexes::Describe(std::int64_t number) const {
  sto_IndexRow const& row = *Find(number);
  return "Index " + std::to_string(number) + ", of attribute " + row.m_Names.front() + " of class " +
         m_Catalogue.ClassName(row.m_ClassId) + ",";
}

void sto_CheckIndexes::Add(sto_CheckKind kind, std::int64_t number, std::int64_t id,
                           std::string const& problem) {
  sto_CheckFinding finding;
  finding.m_Kind = kind;
  finding.m_Table = "index_entry";
  finding.m_Key = number;
  finding.m_ObjectId = id;
  if (sto_IndexRow const* const row = Find(number)) finding.m_Attribute = row->m_Names.front();
  finding.m_Text = problem;
  m_Results.Add(std::move(finding));
}
