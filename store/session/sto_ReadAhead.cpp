#include "store/session/sto_ReadAhead.h"

#include <algorithm>
#include <string>
#include <utility>

#include "store/format/sto_IdCodec.h"
#include "store/format/sto_MapWalk.h"
#include "store/format/sto_RecordIds.h"
#include "store/session/sto_Session.h"

/// Keeps the records of a request, and notes what they lead to.
class sto_ReadAhead::Sink final : public sto_ObjectSink {
 public:
  explicit Sink(sto_ReadAhead& ahead) noexcept : m_Ahead(ahead) {}

  void Take(std::int64_t id, sto_StoredRecord& record) override {
    std::swap(m_Ahead.m_Record.Stored(), record);
    std::string problem; // whoever asks for the record finds it again
    m_Ahead.m_Session.Records().Decode(id, m_Ahead.m_Record, problem);
    if (problem.empty()) m_Ahead.AddHeld(id, m_Ahead.m_Record);
    Ahead& kept = m_Ahead.m_Records[id];
    kept.m_Record = m_Ahead.m_Record.Stored(); // a copy: exactly as long as it must be
    kept.m_IsThere = true;
  }

 private:
  sto_ReadAhead& m_Ahead;
};

bool sto_ReadAhead::ReadInWalk(std::int64_t id, sto_StoredRecord& record) {
  auto found = m_Records.find(id);
  if (found == m_Records.end()) {
    Fill(id);
    found = m_Records.find(id);
    if (found == m_Records.end()) return m_Driver.ReadObject(id, record); // raises what Fill has met
  }
  found->second.m_IsUsed = true;
  if (found->second.m_IsThere) record = found->second.m_Record;
  return found->second.m_IsThere;
}

bool sto_ReadAhead::Has(std::int64_t id) {
  auto const found = m_Records.find(id);
  return found == m_Records.end() ? m_Driver.HasObject(id) : found->second.m_IsThere;
}

void sto_ReadAhead::Fill(std::int64_t id) {
  try {
    if (m_Bytes >= MaxBytes) DropUsed();
    m_Seen.insert(id);
    m_Request.assign(1, id);
    AddWindow();
    Request();
    while (!m_Levels.empty() && m_Bytes < MaxBytes) {
      m_Request.clear();
      AddWindow();
      Request();
    }
  } catch (...) { // nobody has asked for these records yet
    ClearAll();
  }
}

void sto_ReadAhead::AddWindow() {
  if (m_Levels.empty()) return;
  Level& level = m_Levels.back();
  std::int64_t const asked = m_Request.empty() ? 0 : m_Request.front();
  for (; level.m_Next < level.m_Ids.size() && m_Request.size() < m_Window; ++level.m_Next)
    if (std::int64_t const id = level.m_Ids[level.m_Next]; id != asked && !m_Records.contains(id))
      m_Request.push_back(id);
  if (level.m_Next == level.m_Ids.size()) m_Levels.pop_back();
}

void sto_ReadAhead::Request() {
  if (m_Request.empty()) return;
  std::ranges::sort(m_Request);
  m_Request.erase(std::unique(m_Request.begin(), m_Request.end()), m_Request.end());
  Sink sink(*this);
  m_NextLevel.clear();
  m_Driver.ReadObjects(m_Request, sink);
  for (std::int64_t const id : m_Request) m_Bytes += BytesOf(m_Records[id]); // those that are missing as well
  EndLevel();
}

void sto_ReadAhead::AddHeld(std::int64_t id, sto_Record const& record) {
  if (m_Session.Loaded().Find(id) != nullptr) return;
  sto_ForEachId(record, [this](std::uint8_t tag, std::int64_t named) {
    if (tag == sto_Format::Object || m_Follow == Follow::References) Add(named);
  });
  if (record.List() && record.List()->m_ElementType == sto_Format::ElementObject) {
    sto_ListHeader const& list = *record.List();
    if (!list.m_InBlocks && sto_DecodeIds(list.m_Inline, list.m_Count, id, list.m_HasFixedIds, m_Ids))
      for (std::int64_t const element : m_Ids) Add(element);
  }
  if (record.Map() && record.Map()->m_ElementType == sto_Format::ElementObject && !record.Map()->m_InChunks)
    for (sto_MapWalk walk(*record.Map()); walk.Next();) Add(static_cast<std::int64_t>(walk.ObjectId()));
}

void sto_ReadAhead::Add(std::int64_t id) {
  if (m_Session.IsGivenOut(id) && m_Seen.insert(id).second) m_NextLevel.push_back(id);
}

void sto_ReadAhead::AddLevel(std::span<std::int64_t const> ids) {
  m_NextLevel.clear();
  for (std::int64_t const id : ids) Add(id);
  EndLevel();
}

void sto_ReadAhead::EndLevel() {
  if (m_NextLevel.empty()) return;
  m_Levels.push_back({std::move(m_NextLevel)});
  m_NextLevel = {};
}

void sto_ReadAhead::DropUsed() noexcept {
  std::erase_if(m_Records, [this](auto const& record) {
    if (record.second.m_IsUsed) m_Bytes -= BytesOf(record.second);
    return record.second.m_IsUsed;
  });
}

void sto_ReadAhead::Drop(std::int64_t id) noexcept {
  auto const found = m_Records.find(id);
  if (found == m_Records.end()) return;
  m_Bytes -= BytesOf(found->second);
  m_Records.erase(found);
}

void sto_ReadAhead::ClearAll() noexcept {
  m_Records.clear();
  m_Bytes = 0;
  m_Seen.clear();
  m_Levels.clear();
  m_NextLevel.clear();
}
