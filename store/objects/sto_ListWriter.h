#pragma once

#include <limits>
#include <memory>
#include <string>

#include "persist/backend/cls_WriteListPrim.h"
#include "store/format/sto_Checksum.h"
#include "store/format/sto_ElementCodec.h"
#include "store/objects/sto_RecordInProgress.h"

/// Builder of an object's list: full blocks go to the store as they fill, so a long list is never held in
/// memory; a list of one short block stands in the object's record. Complete when it is deleted; Misuse for
/// elements that are no whole number of rows.
template <class T> class sto_ListWriter : public cls_WriteListPrim<T> {
 public:
  sto_ListWriter(std::shared_ptr<sto_RecordInProgress> object, int width)
      : m_Object(std::move(object)), m_Width(width) {
    m_Object->RestartList();
  }

  ~sto_ListWriter() override {
    if (m_Object->IsUnwinding()) return;
    try {
      Complete();
    } catch (...) {
      m_Object->Session().Keep(std::current_exception());
    }
  }

  [[nodiscard]] int Count() const noexcept { return m_Count; }

  void AppendRun(int count, T const* elements) override {
    for (int i = 0; i < count; ++i) Append(elements[i]);
  }

  void Append(T const& element) override {
    m_Object->PutWhole([&] {
      if (m_InBlock == sto_Format::BlockElementCount) FlushBlock();
      if (m_Count == std::numeric_limits<int>::max()) RaiseFull("more elements than a list can count");
      sto_ByteWriter writer(m_Elements);
      sto_ElementCodec<T>::Encode(writer, element);
      if (m_Elements.size() > sto_Format::MaxValueBytes) RaiseFull("too many bytes in one block of elements");
      ++m_InBlock;
      ++m_Count;
    });
  }

 private:
  [[noreturn]] void RaiseFull(char const* what) {
    m_Object->Session().Raise(sto_ErrorKind::Full,
                              std::string("The list of ") + m_Object->Describe() + " has " + what + ".");
  }

  void FlushBlock() {
    m_Hash = sto_Checksum(m_Hash, m_Elements);
    m_Object->WriteBlock(m_Elements);
    m_Elements.clear();
    m_InBlock = 0;
  }

  void Complete() {
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

  std::shared_ptr<sto_RecordInProgress> m_Object;
  int m_Width;
  int m_Count = 0;
  int m_InBlock = 0;
  std::uint64_t m_Hash = sto_ElementCodec<T>::ElementType;
  sto_Bytes m_Elements;
};
