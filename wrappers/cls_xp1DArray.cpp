#include "wrappers/cls_xp1DArray.h"

#include "wrappers/cls_xpListCode.h"

template <class T> cls_xp1DArray<T>::cls_xp1DArray(cls_ReadVisitor const& visitor) : m_Uid(visitor.GetUid()) {
  if (visitor.Memento() == nullptr) return; // there is no object to read from
  std::unique_ptr<cls_ReadListPrim<T>> const reader = cls_xpReadList<T>(visitor);
  this->Grow(reader->Count());
  for (int i = 0; reader->More(); ++i) {
    if (i >= this->Length()) this->Grow(i + 1); // the reader returns more than it counted
    this->Get(i) = reader->Next();
  }
}

template <class T> void cls_xp1DArray<T>::DBWrite(cls_WriteVisitor const& visitor) const {
  cls_xpWriteList<T>(visitor, m_Uid, [this](cls_WriteListPrim<T>& writer) {
    for (int i = 0; i < this->Length(); ++i) writer.Append(this->PartialArrayConstGet(i));
  });
}

template <class T> cls_xp1DArray<T>& cls_xp1DArray<T>::operator=(cow_1DArray<T> const& source) {
  if (&source == static_cast<cow_1DArray<T>*>(this)) return *this;
  cow_1DArray<T>::operator=(source);
  m_Uid.NewUid();
  return *this;
}

template class cls_xp1DArray<double>;
template class cls_xp1DArray<int>;

cls_xp1DArrayDouble cls_xp1DArrayDoubleFromCow(cow_1DArray<double> const& source) {
  return {source, cls_Uid::AllocateUid()};
}
cls_xp1DArrayInt cls_xp1DArrayIntFromCow(cow_1DArray<int> const& source) {
  return {source, cls_Uid::AllocateUid()};
}
