#include "store/agents/sto_ListAgentBase.h"

#include "metadata/cls_CollectionType.h"
#include "store/format/sto_ElementCodec.h"

unsigned int sto_ListAgentBase::StoredClassId() const {
  return cls_InternalListTypeId;
}

int sto_ListAgentBase::TakeContent(sto_RecordRef const& record) {
  if (!record->List())
    Session().Raise(sto_ErrorKind::WrongClass, Describe() + " is none: the object holds no list.");
  sto_ListHeader const& list = *record->List();
  if (list.m_ElementType != m_ElementType)
    Session().Raise(sto_ErrorKind::WrongClass,
                    Describe() + " is stored as a list of " + sto_ElementTypeName(list.m_ElementType) +
                        " and cannot be opened as one of " + sto_ElementTypeName(m_ElementType) + ".");
  if (!sto_HasWholeRows(list.m_Count, list.m_Width))
    Session().Raise(sto_ErrorKind::Damaged, Describe() + sto_UnevenRows(list.m_Count, list.m_Width));
  m_Count = list.m_Count;
  m_Width = list.m_Width;
  m_Inline = list.m_InBlocks ? sto_ByteView() : list.m_Inline;
  m_InlineRecord = m_Inline.empty() ? nullptr : record;
  return m_Count;
}

void sto_ListAgentBase::PutContent(sto_RecordBuilder& builder) {
  if (!sto_HasWholeRows(m_Count, m_Width))
    Session().Raise(sto_ErrorKind::Misuse, Describe() + sto_UnevenRows(m_Count, m_Width));
  sto_ListHeader header;
  header.m_ElementType = m_ElementType;
  header.m_Width = m_Width;
  header.m_Count = m_Count;
  header.m_InBlocks = true;
  builder.SetList(header, {});
}

void sto_ListAgentBase::MoveOutOfRecord() {
  if (m_InlineRecord == nullptr) return;
  sto_Bytes content(m_Inline.begin(), m_Inline.end());
  m_Blocks.Write(0, content, false);
  m_Inline = {};
  m_InlineRecord = nullptr;
}
