#include "persist/visitors/cls_ReadVisitor.h"

int cls_ReadVisitor::FieldIsPresent(cls_FieldHandle const& field) const {
  return m_Memento == nullptr ? 0 : m_Memento->FieldIsPresent(field);
}

int cls_ReadVisitor::DataIsPresent(cls_FieldHandle const& field) const {
  return m_Memento == nullptr ? 0 : m_Memento->DataIsPresent(field);
}

cow_String cls_ReadVisitor::DbId() const {
  return m_Memento == nullptr ? cow_String() : m_Memento->DbId();
}

cls_Uid const cls_ReadVisitor::GetUid() const {
  return m_Memento == nullptr ? cls_Uid::AllocateUid() : m_Memento->GetUid();
}

cow_String cls_ReadVisitor::Read(cls_FieldHandle const& field, cow_String const& defaultValue) const {
  return m_Memento == nullptr ? defaultValue : m_Memento->Read(field, defaultValue);
}

atr_String cls_ReadVisitor::Read(cls_FieldHandle const& field, atr_String const& defaultValue) const {
  cow_String const text = Read(field, defaultValue.AsCow());
  return atr_String(text.HasText() ? text : ""_cow);
}
