#include "store/objects/sto_ListReader.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <utility>

#include "store/format/sto_BlockLayout.h"

namespace {

/// The least number of bytes that `count` elements take.
template <class T> std::size_t MinBytes(int count) noexcept {
  return static_cast<std::size_t>(count) * sto_ElementCodec<T>::MinBytes;
}

} // namespace

template <class T>
sto_ListReader<T>::sto_ListReader(sto_Session& session, std::int64_t id, sto_RecordRef record)
    : m_Session(session), m_Id(id), m_Record(std::move(record)), m_List(*m_Record->List()),
      m_Blocks(session, id) {
  if (!sto_HasWholeRows(m_List.m_Count, m_List.m_Width))
    m_Session.Raise(sto_ErrorKind::Damaged,
                    "The list of " + Describe() + sto_UnevenRows(m_List.m_Count, m_List.m_Width));
  if (!m_List.m_InBlocks)
    StartInline();
  else if (!m_Blocks.HasList(m_List.m_Count, sto_ElementCodec<T>::MinBytes))
    RaiseDamaged();
}

template <class T> int sto_ListReader<T>::NextRun(int count, T* destination) {
  int done = 0;
  if constexpr (sto_IsStoredAsItIs<T>)
    while (done < count && More()) done += NextInBlock(count - done, destination + done);
  else
    for (; done < count && More(); ++done) destination[done] = Next();
  return done;
}

/// As many elements as the block has, REQUIRES: More(); returns how many.
template <class T> int sto_ListReader<T>::NextInBlock(int count, T* destination) {
  int const offset = m_List.m_InBlocks ? sto_ListLayout::OffsetOf(m_Index) : m_Index;
  if (m_List.m_InBlocks && offset == 0) LoadBlock(sto_ListLayout::BlockOf(m_Index));
  int const inBlock = m_List.m_InBlocks ? sto_ListLayout::BlockSize - offset : m_List.m_Count;
  int const copied = std::min({count, inBlock, m_List.m_Count - m_Index});
  sto_ByteView const elements = m_Reader.Raw(static_cast<std::size_t>(copied) * sizeof(T));
  if (m_Reader.Failed()) RaiseDamaged();
  if constexpr (sto_IsStoredAsItIs<T>) std::memcpy(destination, elements.data(), elements.size());
  m_Index += copied;
  CheckEnd();
  return copied;
}

/// Damaged if the reading failed, or if the last element of a block, or of the list, is not the end of the bytes.
template <class T> void sto_ListReader<T>::CheckEnd() const {
  bool const atEnd = m_Index == m_List.m_Count || sto_ListLayout::OffsetOf(m_Index) == 0;
  if (m_Reader.Failed() || (atEnd && m_Reader.Remaining() != 0)) RaiseDamaged();
}

template <class T> T sto_ListReader<T>::Next() {
  if (!More())
    m_Session.Raise(sto_ErrorKind::Misuse, "Reading past the end of the list of " + Describe() + ".");
  if (m_List.m_InBlocks && sto_ListLayout::OffsetOf(m_Index) == 0)
    LoadBlock(sto_ListLayout::BlockOf(m_Index));
  T element = sto_ElementCodec<T>::Decode(m_Reader);
  ++m_Index;
  CheckEnd();
  return element;
}

template <class T> void sto_ListReader<T>::LoadBlock(int block) {
  std::optional<sto_ByteView> const content = m_Blocks.TryRead(block);
  if (!content || content->size() < MinBytes<T>(sto_ListLayout(m_List.m_Count).CountIn(block)))
    RaiseDamaged();
  m_Reader = sto_ByteReader(*content);
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
template class sto_ListReader<signed char>;
template class sto_ListReader<unsigned char>;
template class sto_ListReader<short>;
template class sto_ListReader<unsigned short>;
template class sto_ListReader<long long>;
template class sto_ListReader<unsigned long long>;
template class sto_ListReader<cls_Complex<float>>;
template class sto_ListReader<cls_Complex<double>>;
