#include "persist/cls_BlobReader.h"

#include "persist/cls_AgentBlob.h"

cls_BlobReader::cls_BlobReader(cls_ReadVisitor const& visitor, cls_FieldHandle const& field, cls_Uid& uid) {
  m_Memento = visitor.Memento()->MakeFieldReadObj(field);
  m_Agent = m_Memento->MakeAgentBlob();
  uid = m_Memento->GetUid();
}

cls_BlobReader::~cls_BlobReader() {
  if (m_Agent->NeedsDeletion()) delete m_Agent;
  if (m_Memento->NeedsDeletion()) delete m_Memento;
}
