#include "persist/visitors/cls_WriteVisitor.h"

cls_WriteVisitor::~cls_WriteVisitor() {
  if (m_Memento == nullptr) return;
  if (m_SharedPtrOutput) m_Memento->EndSharedPtrOutput();
  if (m_Memento->NeedsDeletion()) delete m_Memento;
}

int cls_WriteVisitor::StartWrite(unsigned int classId, cls_Uid const& uid) const {
  if (m_Memento != nullptr) return 1;
  m_Memento = MakeMemento(classId, uid);
  if (m_Memento == nullptr) return 0;
  if (m_SharedPtrOutput) m_Memento->StartSharedPtrOutput();
  return 1;
}

cls_MementoWrite* cls_WriteVisitor::MakeMemento(unsigned int classId, cls_Uid const& uid) const {
  if (m_Request != nullptr) return m_Request->MakeWriteObjWithPtr(classId, uid, m_Object);
  cls_MementoWrite* const parent = &m_Parent->Started();
  if (m_BaseClassId != NoBase) return parent->MakeBaseWriteObj(m_BaseClassId, uid);
  if (m_Cow != nullptr) return parent->MakeFieldWriteObjCow(m_Field, classId, uid, m_Cow);
  return parent->MakeFieldWriteObj(m_Field, classId, uid, m_Object);
}

int cls_WriteVisitor::FieldIsPresent(cls_FieldHandle const& field) const {
  return m_Memento == nullptr ? 0 : m_Memento->FieldIsPresent(field);
}

void cls_WriteVisitor::CheckCollectionType(cls_CollectionType type) const {
  if (m_Parent == nullptr || m_Parent->m_Memento == nullptr || m_Field.Name().IsEmpty()) return;
  m_Parent->m_Memento->CheckCollectionType(type, m_Field.Name());
}

void cls_WriteVisitor::Write(cls_FieldHandle const& field, atr_String const& value) const {
  Started().Write(field, value.HasText() ? value.AsCow() : ""_cow);
}
