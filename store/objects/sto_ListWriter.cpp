#include "store/objects/sto_ListWriter.h"

#include <algorithm>
#include <limits>
#include <string>
#include <utility>

#include "store/format/sto_BlockLayout.h"
#include "store/format/sto_Checksum.h"

template <class T>
sto_ListWriter<T>::sto_ListWriter(sto_RecordInProgressRef object, int width)
    : m_Object(std::move(object)), m_Width(width), m_Ids(m_Object->Id()) {
  m_Object->RestartList();
}

template <class T> sto_ListWriter<T>::~sto_ListWriter() {
  if (m_Object->IsUnwinding()) return;
  try {
    Complete();
  } catch (...) {
    m_Object->Session().Keep(std::current_exception());
  }
}

template <class T> void sto_ListWriter<T>::AppendRun(int count, T const* elements) {
  if constexpr (sto_IsStoredAsItIs<T>) {
    while (count > 0) {
      int const appended = AppendToBlock(count, elements);
      elements += appended;
      count -= appended;
    }
  } else {
    for (int i = 0; i < count; ++i) Append(elements[i]);
  }
}

/// As many elements as there is room for in the block; returns how many.
template <class T> int sto_ListWriter<T>::AppendToBlock(int count, T const* elements) {
  int appended = 0;
  m_Object->PutWhole([&] {
    if (m_InBlock == sto_ListLayout::BlockSize) FlushBlock();
    appended =
        std::min({count, sto_ListLayout::BlockSize - m_InBlock, std::numeric_limits<int>::max() - m_Count});
    if (appended == 0) RaiseFull("more elements than a list can count");
    sto_ByteWriter(m_Elements).Raw(elements, static_cast<std::size_t>(appended) * sizeof(T));
    m_InBlock += appended;
    m_Count += appended;
  });
  return appended;
}

template <class T> void sto_ListWriter<T>::Append(T const& element) {
  m_Object->PutWhole([&] {
    if (m_InBlock == sto_ListLayout::BlockSize) FlushBlock();
    if (m_Count == std::numeric_limits<int>::max()) RaiseFull("more elements than a list can count");
    sto_ByteWriter writer(m_Elements);
    if constexpr (std::is_same_v<T, sto_ObjectId>)
      m_Ids.Put(writer, element.m_Id);
    else
      sto_ElementCodec<T>::Encode(writer, element);
    if (m_Elements.size() > sto_Format::MaxValueBytes) RaiseFull("too many bytes in one block of elements");
    ++m_InBlock;
    ++m_Count;
  });
}

template <class T> void sto_ListWriter<T>::RaiseFull(char const* what) {
  m_Object->Session().Raise(sto_ErrorKind::Full,
                            std::string("The list of ") + m_Object->Describe() + " has " + what + ".");
}

template <class T> void sto_ListWriter<T>::FlushBlock() {
  m_Hash = sto_Checksum(m_Hash, m_Elements);
  m_Object->WriteBlock(m_Elements, sto_ElementCodec<T>::ElementType);
  m_Elements.clear();
  m_Ids.Restart();
  m_InBlock = 0;
}

template <class T> void sto_ListWriter<T>::Complete() {
  if (!sto_HasWholeRows(m_Count, m_Width))
    m_Object->Session().Raise(sto_ErrorKind::Misuse,
                              "The list of " + m_Object->Describe() + sto_UnevenRows(m_Count, m_Width));
  bool const isInline = m_Object->BlockCount() == 0 && m_Elements.size() <= sto_Format::InlineListBytes;
  if (isInline)
    m_Hash = sto_Checksum(m_Hash, m_Elements);
  else if (m_InBlock > 0)
    FlushBlock();
  sto_Bytes shape;
  sto_ByteWriter(shape).Number(m_Width);
  sto_ByteWriter(shape).Number(m_Count);
  m_Object->Session().Save().CheckSameCollection(m_Object->Id(), sto_Checksum(m_Hash, shape));
  sto_ListHeader header;
  header.m_ElementType = sto_ElementCodec<T>::ElementType;
  header.m_Width = m_Width;
  header.m_Count = m_Count;
  header.m_InBlocks = !isInline;
  m_Object->Record().SetList(header, isInline ? std::move(m_Elements) : sto_Bytes());
}

template class sto_ListWriter<bool>;
template class sto_ListWriter<cow_String>;
template class sto_ListWriter<float>;
template class sto_ListWriter<double>;
template class sto_ListWriter<unsigned int>;
template class sto_ListWriter<int>;
template class sto_ListWriter<signed char>;
template class sto_ListWriter<unsigned char>;
template class sto_ListWriter<short>;
template class sto_ListWriter<unsigned short>;
template class sto_ListWriter<long long>;
template class sto_ListWriter<unsigned long long>;
template class sto_ListWriter<cls_Complex<float>>;
template class sto_ListWriter<cls_Complex<double>>;
template class sto_ListWriter<sto_ObjectId>;
