#include "persist/visitors/cls_BlobReader.h"

#include "persist/backend/cls_AgentBlob.h"

cls_BlobReader::cls_BlobReader(cls_ReadVisitor const& visitor, cls_FieldHandle const& field, cls_Uid& uid)
    : m_Agent(nullptr), m_Memento(visitor.Memento()->MakeFieldReadObj(field)) {
  try {
    m_Agent = m_Memento->MakeAgentBlob();
    uid = m_Memento->GetUid();
  } catch (...) {
    if (m_Agent != nullptr && m_Agent->NeedsDeletion()) delete m_Agent;
    if (m_Memento->NeedsDeletion()) delete m_Memento;
    throw;
  }
}

cls_BlobReader::~cls_BlobReader() {
  if (m_Agent->NeedsDeletion()) delete m_Agent;
  if (m_Memento->NeedsDeletion()) delete m_Memento;
}
