#include "store/agents/sto_ObjectAgents.h"

#include <algorithm>

#include "metadata/cls_CollectionType.h"
#include "store/format/sto_BlockLayout.h"
#include "store/objects/sto_ObjectListReader.h"

namespace {

constexpr std::size_t IdBytes = sto_ElementCodec<sto_ObjectId>::MinBytes;

template <class Agent> Agent* Find(sto_Session& session, std::int64_t id) {
  sto_CollectionAgent* const found = session.FindAgent(id);
  if (found == nullptr) return nullptr;
  auto* const agent = dynamic_cast<Agent*>(found);
  if (agent == nullptr)
    session.Raise(sto_ErrorKind::WrongClass, "The collection of object " + std::to_string(id) +
                                                 " is open as a " + found->What() + ", not as a " +
                                                 Agent(session, 0, 0).What() + ".");
  return agent;
}

} // namespace

template <class Agent>
Agent* sto_AgentOfStored(sto_Session& session, std::int64_t id, sto_RecordRef const& record, int depth) {
  if (Agent* const found = id == 0 ? nullptr : Find<Agent>(session, id)) {
    found->Synchronise();
    return found;
  }
  auto agent = std::make_unique<Agent>(session, id, depth);
  if (record != nullptr) agent->Open(record);
  agent->Register();
  return agent.release();
}

template <class Agent>
Agent* sto_AgentOfSaved(sto_Session& session, std::int64_t id, int sizeHint, int depth) {
  if (Agent* const found = Find<Agent>(session, id)) {
    found->Synchronise();
    return found;
  }
  auto agent = std::make_unique<Agent>(session, id, depth);
  if (sto_RecordRef const record = session.ReadRecord(id))
    agent->Open(record);
  else
    agent->StartNew(sizeHint);
  agent->Register();
  return agent.release();
}

// --- lists

unsigned int sto_ListAgentObj::StoredClassId() const {
  return cls_InternalListTypeId;
}

void sto_ListAgentObj::Empty() noexcept {
  m_Ids.clear();
  m_StoredBlocks = 0;
  m_FirstTouched = std::numeric_limits<int>::max();
  m_LastTouched = -1;
}

int sto_ListAgentObj::TakeContent(sto_RecordRef const& record) {
  if (!record->List())
    Session().Raise(sto_ErrorKind::WrongClass, Describe() + " is none: the object holds no list.");
  sto_ListHeader const& list = *record->List();
  if (list.m_ElementType != sto_Format::ElementObject)
    Session().Raise(sto_ErrorKind::WrongClass, Describe() + " is stored as a list of " +
                                                   sto_ElementTypeName(list.m_ElementType) +
                                                   " and cannot be opened as one of objects.");
  Empty();
  Read(list);
  return Size();
}

void sto_ListAgentObj::Read(sto_ListHeader const& list) {
  auto const damaged = [&] {
    Session().Raise(sto_ErrorKind::Damaged,
                    Describe() + " is damaged: it does not have the elements that it says.");
  };
  auto const take = [&](sto_ByteView content) {
    sto_ByteReader reader(content);
    for (std::size_t i = 0; i < content.size() / IdBytes; ++i) m_Ids.push_back(reader.Number<std::int64_t>());
  };
  if (!list.m_InBlocks) return take(list.m_Inline);
  if (list.m_Count == 0) return;
  if (static_cast<std::int64_t>(list.m_Count) * static_cast<std::int64_t>(IdBytes) >
      Session().Driver().SizeBytes())
    damaged();
  sto_ListLayout const layout(list.m_Count);
  m_Blocks.ReadRun(0, layout.BlockCount() - 1, [&](int block, sto_ByteView content) {
    if (!sto_AreObjectIds(Session(), content, layout.CountIn(block))) damaged();
    take(content);
  });
  m_StoredBlocks = layout.BlockCount();
}

void sto_ListAgentObj::PutContent(sto_RecordBuilder& builder) {
  std::size_t const bytes = m_Ids.size() * IdBytes;
  auto const encode = [&](int first, int count) {
    sto_Bytes content;
    content.reserve(static_cast<std::size_t>(count) * IdBytes + sto_Format::ChecksumBytes);
    sto_ByteWriter writer(content);
    for (int i = first; i < first + count; ++i) writer.Number(m_Ids[static_cast<std::size_t>(i)]);
    return content;
  };
  sto_ListHeader header;
  header.m_ElementType = sto_Format::ElementObject;
  header.m_Count = Size();
  header.m_InBlocks = bytes > sto_Format::InlineListBytes;
  sto_ListLayout const layout(header.m_InBlocks ? Size() : 0);
  int const blockCount = layout.BlockCount();
  for (int block = 0; block < blockCount; ++block) {
    bool const isThere = block < m_StoredBlocks;
    bool const isTouched =
        block >= sto_ListLayout::BlockOf(m_FirstTouched) && block <= sto_ListLayout::BlockOf(m_LastTouched);
    if (isThere && !(isTouched && m_LastTouched >= 0)) continue;
    sto_Bytes content = encode(sto_ListLayout::FirstOf(block), layout.CountIn(block));
    m_Blocks.Write(block, content, false); // a removal moves all that follows, so that little stays as it is
  }
  if (m_StoredBlocks > blockCount) m_Blocks.DeleteFrom(blockCount);
  m_StoredBlocks = blockCount;
  m_FirstTouched = std::numeric_limits<int>::max();
  m_LastTouched = -1;
  builder.SetList(header, header.m_InBlocks ? sto_Bytes() : encode(0, Size()));
}

void sto_ListAgentObj::Touch(int first, int last) noexcept {
  m_FirstTouched = std::min(m_FirstTouched, first);
  m_LastTouched = std::max(m_LastTouched, last);
}

void sto_ListAgentObj::RaiseIndex(int index) const {
  Session().Raise(sto_ErrorKind::Misuse, Describe() + " has " + std::to_string(Size()) +
                                             " elements; there is no place " + std::to_string(index) + ".");
}

int sto_ListAgentObj::Count() {
  return Look([&] { return Size(); });
}

void sto_ListAgentObj::SetCount(int count) {
  Change({}, [&] {
    if (count < 0) RaiseIndex(count);
    if (count == Size()) return false;
    // The block that the end moves out of, or into, changes its length.
    Touch(std::max(0, std::min(count, Size()) - 1), std::max(count, Size()));
    m_Ids.resize(static_cast<std::size_t>(count));
    return true;
  });
}

cls_MementoRead* sto_ListAgentObj::MakeReadObj(int index) {
  return ReadElement([&] { return Has(index) ? m_Ids[static_cast<std::size_t>(index)] : 0; });
}

cls_MementoWrite* sto_ListAgentObj::MakeWriteObj(int index, unsigned int classId, cls_Uid const& uid) {
  return WriteElement(
      classId, uid, {},
      [&] {
        if (index != Size() && !Has(index)) RaiseIndex(index);
      },
      [&](std::int64_t id) {
        if (index == Size()) m_Ids.push_back(0);
        m_Ids[static_cast<std::size_t>(index)] = id;
        Touch(index, index);
      });
}

void sto_ListAgentObj::Remove(int index) {
  Change({}, [&] {
    if (!Has(index)) RaiseIndex(index);
    Touch(std::max(0, index - 1), Size());
    m_Ids.erase(m_Ids.begin() + index);
    return true;
  });
}

// --- maps

template <class K> unsigned int sto_MapAgentObj<K>::StoredClassId() const {
  return cls_InternalMapTypeId;
}

template <class K> int sto_MapAgentObj<K>::TakeContent(sto_RecordRef const& record) {
  if (!record->Map())
    Session().Raise(sto_ErrorKind::WrongClass, Describe() + " is none: the object holds no map.");
  sto_CollectionShape const stored = sto_CollectionShape::Of(*record->Map());
  if (stored != sto_MapShape<K, sto_ObjectId>())
    Session().Raise(sto_ErrorKind::WrongClass, Describe() + " is stored as a " + stored.Name() +
                                                   " and cannot be opened as a " + What() + ".");
  std::map<K, std::int64_t> const before = m_IsTakingForeign ? std::move(m_Ids) : std::map<K, std::int64_t>();
  m_Ids.clear();
  sto_ByteReader reader(record->Map()->m_Entries); // seen to fit when the record was decoded
  for (int i = 0; i < record->Map()->m_Count; ++i) {
    K key = sto_KeyCodec<K>::Decode(reader);
    auto const id = static_cast<std::int64_t>(reader.Varint());
    m_Ids.try_emplace(m_Ids.end(), std::move(key), id);
  }
  if (m_IsTakingForeign) NoteUnseen(before);
  return static_cast<int>(m_Ids.size());
}

template <class K> void sto_MapAgentObj<K>::NoteUnseen(std::map<K, std::int64_t> const& before) {
  for (auto const& [key, id] : before)
    if (IdOf(key) != id) m_Unseen.insert(key);
  for (auto const& [key, id] : m_Ids)
    if (!before.contains(key)) m_Unseen.insert(key);
}

template <class K> void sto_MapAgentObj<K>::PutContent(sto_RecordBuilder& builder) {
  sto_Bytes entries;
  sto_ByteWriter writer(entries);
  for (auto const& [key, id] : m_Ids) {
    sto_KeyCodec<K>::Encode(writer, key);
    writer.Varint(static_cast<std::uint64_t>(id));
  }
  sto_MapHeader header;
  header.m_KeyType = sto_KeyCodec<K>::KeyType;
  header.m_ElementType = sto_Format::ElementObject;
  header.m_Count = static_cast<int>(m_Ids.size());
  builder.SetMap(header, std::move(entries));
}

template <class K> int sto_MapAgentObj<K>::Count() {
  return Look([&] { return static_cast<int>(m_Ids.size()); });
}

template <class K> bool sto_MapAgentObj<K>::Remove(K const& key) {
  return Change([&] { return m_Unseen.contains(key); }, [&] { return m_Ids.erase(key) > 0; });
}

template <class K> void sto_MapAgentObj<K>::Clear() {
  Change({}, [&] {
    bool const hadEntries = !m_Ids.empty();
    m_Ids.clear();
    return hadEntries;
  });
}

template <class K> cls_MementoRead* sto_MapAgentObj<K>::MakeReadObj(K const& key) {
  return ReadElement([&] { return IdOf(key); });
}

template <class K>
cls_MementoWrite* sto_MapAgentObj<K>::MakeWriteObj(K const& key, unsigned int classId, cls_Uid const& uid) {
  return WriteElement(
      classId, uid, [&] { return m_Unseen.contains(key); }, [] {},
      [&](std::int64_t id) { m_Ids.insert_or_assign(key, id); });
}

template <class K> bool sto_MapAgentObj<K>::Contains(K const& key) {
  return Look([&] { return m_Ids.contains(key); });
}

template <class K> bool sto_MapAgentObj<K>::FirstKey(K& key) {
  return Look([&] {
    if (m_Ids.empty()) return false;
    key = m_Ids.begin()->first;
    return true;
  });
}

template <class K> bool sto_MapAgentObj<K>::NextKey(K& key) {
  return Look([&] {
    auto const next = m_Ids.upper_bound(key);
    if (next == m_Ids.end()) return false;
    key = next->first;
    return true;
  });
}

template <class K> bool sto_MapAgentObj<K>::LastKey(K& key) {
  return Look([&] {
    if (m_Ids.empty()) return false;
    key = m_Ids.rbegin()->first;
    return true;
  });
}

template <class K> bool sto_MapAgentObj<K>::PreviousKey(K& key) {
  return Look([&] {
    auto const next = m_Ids.lower_bound(key);
    if (next == m_Ids.begin()) return false;
    key = std::prev(next)->first;
    return true;
  });
}

template class sto_MapAgentObj<int>;
template class sto_MapAgentObj<cow_String>;

template sto_ListAgentObj* sto_AgentOfStored<sto_ListAgentObj>(sto_Session&, std::int64_t,
                                                               sto_RecordRef const&, int);
template sto_ListAgentObj* sto_AgentOfSaved<sto_ListAgentObj>(sto_Session&, std::int64_t, int, int);
template sto_MapAgentObj<int>* sto_AgentOfStored<sto_MapAgentObj<int>>(sto_Session&, std::int64_t,
                                                                       sto_RecordRef const&, int);
template sto_MapAgentObj<int>* sto_AgentOfSaved<sto_MapAgentObj<int>>(sto_Session&, std::int64_t, int, int);
template sto_MapAgentObj<cow_String>*
sto_AgentOfStored<sto_MapAgentObj<cow_String>>(sto_Session&, std::int64_t, sto_RecordRef const&, int);
template sto_MapAgentObj<cow_String>* sto_AgentOfSaved<sto_MapAgentObj<cow_String>>(sto_Session&,
                                                                                    std::int64_t, int, int);
