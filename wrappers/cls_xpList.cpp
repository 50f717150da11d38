#include "wrappers/cls_xpList.h"

#include "wrappers/cls_xpListCode.h"

template <class T> cls_xpList<T>::cls_xpList(cls_ReadVisitor const& visitor) : m_Uid(visitor.GetUid()) {
  if (visitor.Memento() == nullptr) return; // there is no object to read from
  std::unique_ptr<cls_ReadListPrim<T>> const reader = cls_xpReadList<T>(visitor);
  while (reader->More()) this->Append(reader->Next());
}

template <class T> void cls_xpList<T>::DBWrite(cls_WriteVisitor const& visitor) const {
  cls_xpWriteList<T>(visitor, m_Uid, [this](cls_WriteListPrim<T>& writer) {
    for (cow_1DArrayIter<T> iterator = this->Iterator(); !iterator.AtEnd(); iterator.Next())
      writer.Append(iterator.ConstGet());
  });
}

template <class T> cls_xpList<T>& cls_xpList<T>::operator=(cow_List<T> const& source) {
  if (&source == static_cast<cow_List<T>*>(this)) return *this;
  cow_List<T>::operator=(source);
  m_Uid.NewUid();
  return *this;
}

template class cls_xpList<float>;
template class cls_xpList<int>;
template class cls_xpList<cow_String>;

cls_xpListFloat cls_xpListFloatFromCow(cow_List<float> const& source) {
  return {source, cls_Uid::AllocateUid()};
}
cls_xpListInt cls_xpListIntFromCow(cow_List<int> const& source) {
  return {source, cls_Uid::AllocateUid()};
}
cls_xpListString cls_xpListStringFromCow(cow_List<cow_String> const& source) {
  return {source, cls_Uid::AllocateUid()};
}
