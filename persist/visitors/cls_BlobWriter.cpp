#include "persist/visitors/cls_BlobWriter.h"

#include "persist/backend/cls_AgentBlob.h"

cls_BlobWriter::cls_BlobWriter(cls_WriteVisitor const& visitor, cls_FieldHandle const& field,
                               cls_Uid const& uid) {
  cls_MementoWrite* const child = visitor.Memento()->MakeFieldWriteObjCow(field, TypeId(), uid, nullptr);
  try {
    m_Agent = child->MakeAgentBlob();
  } catch (...) {
    if (child->NeedsDeletion()) delete child;
    throw;
  }
  if (child->NeedsDeletion()) delete child; // the agent outlives it
}

cls_BlobWriter::~cls_BlobWriter() {
  if (m_Agent->NeedsDeletion()) delete m_Agent;
}
