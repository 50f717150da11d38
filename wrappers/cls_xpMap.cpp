#include "wrappers/cls_xpMap.h"

#include "wrappers/cls_xpMapCode.h"

template <class T> cls_xpMap<T>::cls_xpMap(cls_ReadVisitor const& visitor) : m_Uid(visitor.GetUid()) {
  cls_xpReadMap<T>(visitor, [this](cow_String const& key, T const& value) { this->Insert(key, value); });
}

template <class T> void cls_xpMap<T>::DBWrite(cls_WriteVisitor const& visitor) const {
  cls_xpWriteMap<T, cow_ConstMapIterator<cow_String, T>>(visitor, m_Uid, *this);
}

template <class T> cls_xpMap<T>& cls_xpMap<T>::operator=(cow_Map<cow_String, T> const& source) {
  if (&source == static_cast<cow_Map<cow_String, T>*>(this)) return *this;
  cow_Map<cow_String, T>::operator=(source);
  m_Uid.NewUid();
  return *this;
}

template class cls_xpMap<float>;
template class cls_xpMap<cow_String>;
