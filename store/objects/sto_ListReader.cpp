#include "store/objects/sto_ListReader.h"

#include <algorithm>
#include <utility>

#include "store/format/sto_BlockKey.h"
#include "store/format/sto_Checksum.h"
#include "store/objects/sto_ObjectListReader.h"

namespace {

constexpr int BlockSize = sto_Format::BlockElementCount;

/// The least bytes that so many elements take.
template <class T> std::size_t MinBytes(int count) noexcept {
  return static_cast<std::size_t>(count) * sto_ElementCodec<T>::MinBytes;
}

} // namespace

template <class T>
sto_ListReader<T>::sto_ListReader(sto_Session& session, std::int64_t id, sto_RecordRef record)
    : m_Session(session), m_Id(id), m_Record(std::move(record)), m_List(*m_Record->List()) {
  if (!sto_HasWholeRows(m_List.m_Count, m_List.m_Width))
    m_Session.Raise(sto_ErrorKind::Damaged,
                    "The list of " + Describe() + sto_UnevenRows(m_List.m_Count, m_List.m_Width));
  if (!m_List.m_InBlocks)
    StartInline();
  else if (!sto_HasBlocks(m_Session, m_Id, m_List.m_Count, sto_ElementCodec<T>::MinBytes))
    RaiseDamaged();
}

template <class T> int sto_ListReader<T>::NextRun(int count, T* destination) {
  int done = 0;
  for (; done < count && More(); ++done) destination[done] = Next();
  return done;
}

template <class T> T sto_ListReader<T>::Next() {
  if (!More())
    m_Session.Raise(sto_ErrorKind::Misuse, "Reading past the end of the list of " + Describe() + ".");
  if (m_List.m_InBlocks && m_Index % BlockSize == 0) LoadBlock(m_Index / BlockSize);
  T element = sto_ElementCodec<T>::Decode(m_Reader);
  ++m_Index;
  bool const atEnd = m_Index == m_List.m_Count || m_Index % BlockSize == 0;
  if (m_Reader.Failed() || (atEnd && m_Reader.Remaining() != 0)) RaiseDamaged();
  return element;
}

template <class T> void sto_ListReader<T>::LoadBlock(int block) {
  std::int64_t const key = sto_BlockKey(m_Id, block);
  if (!m_Session.Driver().ReadBlock(key, m_Block)) RaiseDamaged();
  sto_ByteView view(m_Block);
  if (!sto_Unseal(static_cast<std::uint64_t>(key), view)) RaiseDamaged();
  m_Reader = sto_ByteReader(view);
  if (view.size() < MinBytes<T>(std::min(m_List.m_Count - block * BlockSize, BlockSize))) RaiseDamaged();
}

template <class T> void sto_ListReader<T>::StartInline() {
  sto_ByteView const elements = m_List.m_Inline;
  m_Reader = sto_ByteReader(elements);
  if (elements.size() < MinBytes<T>(m_List.m_Count) || (m_List.m_Count == 0 && !elements.empty()))
    RaiseDamaged();
}

template <class T> void sto_ListReader<T>::RaiseDamaged() const {
  m_Session.Raise(sto_ErrorKind::Damaged, "The list of " + Describe() + " is damaged at element " +
                                              std::to_string(m_Index) + " of " +
                                              std::to_string(m_List.m_Count) + ".");
}

template class sto_ListReader<bool>;
template class sto_ListReader<cow_String>;
template class sto_ListReader<float>;
template class sto_ListReader<double>;
template class sto_ListReader<unsigned int>;
template class sto_ListReader<int>;
