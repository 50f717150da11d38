#include "store/objects/sto_MapReader.h"

#include <algorithm>

#include "store/objects/sto_MementoRead.h"

template <class K>
sto_MapCursor<K>::sto_MapCursor(sto_Session& session, sto_RecordRef record)
    : m_Session(session), m_Record(std::move(record)) {
  if (m_Record == nullptr) return;
  sto_MapHeader const& map = *m_Record->Map();
  m_Count = map.m_Count;
  if (map.m_InChunks) {
    sto_ChunkNumbers numbers;
    m_Directory = sto_MapChunks(session, ObjectId()).ReadDirectory(map, numbers);
  } else {
    m_Position.m_Reader = sto_ByteReader(map.m_Entries);
    m_Position.m_LeftInChunk = m_Count;
  }
}

template <class K> void sto_MapCursor<K>::EnterChunk(Position& position) {
  sto_Chunk const& chunk = m_Directory.m_Chunks[position.m_NextChunk];
  sto_MapChunks chunks(m_Session, ObjectId());
  sto_ByteView const content = chunks.Read(*m_Record->Map(), chunk);
  position.m_Content = std::make_shared<sto_Bytes const>(content.begin(), content.end());
  position.m_Reader = sto_ByteReader(*position.m_Content);
  position.m_LeftInChunk = chunk.m_Count;
  ++position.m_NextChunk;
}

template <class K> typename sto_MapCursor<K>::Position sto_MapCursor<K>::StartOfChunkWith(K const& key) {
  if (m_FirstKeys.empty())
    for (sto_Chunk const& chunk : m_Directory.m_Chunks) {
      sto_ByteReader reader(chunk.m_FirstKey);
      m_FirstKeys.push_back(sto_KeyCodec<K>::Decode(reader));
    }
  auto const after = std::upper_bound(m_FirstKeys.begin(), m_FirstKeys.end(), key);
  Position start;
  start.m_NextChunk = static_cast<std::size_t>(std::max<std::ptrdiff_t>(0, after - m_FirstKeys.begin() - 1));
  for (std::size_t i = 0; i < start.m_NextChunk; ++i) start.m_Next += m_Directory.m_Chunks[i].m_Count;
  EnterChunk(start);
  return start;
}

template <class K> sto_ByteReader& sto_MapCursor<K>::Next() {
  if (!HasMore())
    m_Session.Raise(sto_ErrorKind::Misuse, "Reading past the end of the map of " + Describe() + ".");
  if (m_Position.m_LeftInChunk == 0) EnterChunk(m_Position);
  m_Position.m_Key = sto_KeyCodec<K>::Decode(m_Position.m_Reader);
  --m_Position.m_LeftInChunk;
  ++m_Position.m_Next;
  return m_Position.m_Reader;
}

template <class K> K const& sto_MapCursor<K>::Key() const {
  if (m_Position.m_Next == 0)
    m_Session.Raise(sto_ErrorKind::Misuse,
                    "The cursor over the map of " + Describe() + " is before the first entry.");
  return m_Position.m_Key;
}

template <class K, class T> T sto_MapReader<K, T>::Next() {
  return sto_ElementCodec<T>::Decode(m_Cursor.Next());
}

int sto_IntTableReader::Next() {
  return static_cast<int>(m_Cursor.Next().ZigZag());
}

template <class K> void sto_ObjectMapCursor<K>::Next() {
  m_Id = static_cast<std::int64_t>(m_Cursor.Next().Varint());
  if (m_Cursor.Session().Records().Ahead().IsOn()) WantChunk();
}

template <class K> void sto_ObjectMapCursor<K>::WantChunk() {
  Position const& current = m_Cursor.Current();
  if (std::exchange(m_WantedChunk, current.m_NextChunk) == current.m_NextChunk) return; // 0: no chunks
  std::vector<std::int64_t> ids{m_Id};
  sto_ByteReader reader = current.m_Reader;
  for (int left = current.m_LeftInChunk; left > 0; --left) {
    static_cast<void>(sto_KeyCodec<K>::Decode(reader));
    ids.push_back(static_cast<std::int64_t>(reader.Varint()));
  }
  m_Cursor.Session().Records().Ahead().Want(ids);
}

template <class K> cls_MementoRead* sto_ObjectMapCursor<K>::Fetch(K& key) const {
  key = m_Cursor.Key();
  return sto_MementoRead::OfElement(m_Cursor.Session(), m_Id, m_Depth + 1, {"map", m_Cursor.ObjectId()});
}

template <class K> bool sto_ObjectMapCursor<K>::FindInChunk(K const& key) {
  Position const before = m_Cursor.Current();
  m_Cursor.MoveTo(m_Cursor.StartOfChunkWith(key));
  do {
    auto const id = static_cast<std::int64_t>(m_Cursor.Next().Varint());
    if (m_Cursor.Key() < key) continue;
    if (key < m_Cursor.Key()) break;
    m_Id = id;
    return true;
  } while (m_Cursor.Current().m_LeftInChunk > 0);
  m_Cursor.MoveTo(before);
  return false;
}

template <class K> bool sto_ObjectMapCursor<K>::Find(K const& key) {
  if (m_Found.empty() && m_Cursor.HasKeys() && m_Searches++ < m_Cursor.Chunks().size())
    return FindInChunk(key);
  if (m_Found.empty()) {
    sto_MapCursor<K> all(m_Cursor);
    all.MoveTo(m_Start);
    while (all.HasMore()) {
      auto const id = static_cast<std::int64_t>(all.Next().Varint());
      m_Found.emplace(all.Key(), std::pair(all.Current(), id));
    }
  }
  auto const found = m_Found.find(key);
  if (found == m_Found.end()) return false;
  m_Cursor.MoveTo(found->second.first);
  m_Id = found->second.second;
  return true;
}

template class sto_MapCursor<int>;
template class sto_ObjectMapCursor<int>;
template class sto_MapReader<int, cow_String>;
template class sto_MapReader<int, float>;
template class sto_MapReader<int, double>;
template class sto_MapReader<int, unsigned int>;
template class sto_MapReader<int, int>;
template class sto_MapCursor<cow_String>;
template class sto_ObjectMapCursor<cow_String>;
template class sto_MapReader<cow_String, cow_String>;
template class sto_MapReader<cow_String, float>;
template class sto_MapReader<cow_String, double>;
template class sto_MapReader<cow_String, unsigned int>;
template class sto_MapReader<cow_String, int>;
