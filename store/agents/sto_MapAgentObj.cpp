#include "store/agents/sto_MapAgentObj.h"

#include <iterator>

#include "metadata/cls_CollectionType.h"

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
  sto_ByteReader reader(record->Map()->m_Entries); // checked when the record was decoded
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

template <class K> void sto_MapAgentObj<K>::Put(K const& key, std::int64_t id) {
  if (IsInSave()) m_Changes.push_back({key, IdOf(key), {}}); // first: it may fail
  m_Ids.insert_or_assign(key, id);
}

template <class K> void sto_MapAgentObj<K>::Take(typename Ids::iterator entry) {
  if (!IsInSave()) return static_cast<void>(m_Ids.erase(entry));
  m_Changes.push_back({entry->first, 0, {}}); // first: it may fail
  m_Changes.back().m_Removed = m_Ids.extract(entry);
}

template <class K> void sto_MapAgentObj<K>::UndoInMemory() noexcept {
  for (; !m_Changes.empty(); m_Changes.pop_back()) {
    Noted& change = m_Changes.back();
    if (!change.m_Removed.empty())
      m_Ids.insert(std::move(change.m_Removed));
    else if (change.m_Before == 0)
      m_Ids.erase(change.m_Key);
    else
      m_Ids.find(change.m_Key)->second = change.m_Before;
  }
}

template <class K> bool sto_MapAgentObj<K>::Remove(K const& key) {
  return Change([&] { return m_Unseen.contains(key); },
                [&] {
                  auto const found = m_Ids.find(key);
                  bool const isThere = found != m_Ids.end();
                  if (isThere) Take(found);
                  return isThere;
                });
}

template <class K> void sto_MapAgentObj<K>::Clear() {
  Change({}, [&] {
    bool const hadEntries = !m_Ids.empty();
    while (!m_Ids.empty()) Take(m_Ids.begin());
    return hadEntries;
  });
}

template <class K> cls_MementoRead* sto_MapAgentObj<K>::MakeReadObj(K const& key) {
  return ReadElement([&] { return IdOf(key); });
}

template <class K>
cls_MementoWrite* sto_MapAgentObj<K>::MakeWriteObj(K const& key, unsigned int classId, cls_Uid const& uid) {
  return WriteElement(
      classId, uid, [&] { return m_Unseen.contains(key); }, [] {}, [&] { return IdOf(key); },
      [&](std::int64_t id) { Put(key, id); });
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
