#include "store/objects/sto_MapReader.h"

#include "store/objects/sto_MementoRead.h"

template <class K>
sto_MapCursor<K>::sto_MapCursor(sto_Session& session, sto_RecordRef record)
    : m_Session(session), m_Record(std::move(record)) {
  if (m_Record == nullptr) return;
  m_Count = m_Record->Map()->m_Count;
  m_Position.m_Reader = sto_ByteReader(m_Record->Map()->m_Entries);
}

template <class K> sto_ByteReader& sto_MapCursor<K>::Next() {
  if (!HasMore())
    m_Session.Raise(sto_ErrorKind::Misuse, "Reading past the end of the map of " + Describe() + ".");
  m_Position.m_Key = sto_KeyCodec<K>::Decode(m_Position.m_Reader);
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
}

template <class K> cls_MementoRead* sto_ObjectMapCursor<K>::Fetch(K& key) const {
  key = m_Cursor.Key();
  return sto_MementoRead::OfElement(m_Cursor.Session(), m_Id, m_Depth + 1, {"map", m_Cursor.ObjectId()});
}

template <class K> bool sto_ObjectMapCursor<K>::Find(K const& key) {
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
