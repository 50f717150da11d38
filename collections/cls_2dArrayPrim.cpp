#include "collections/cls_2dArrayPrim.h"

template <class T> cls_2dArrayPrim<T>& cls_2dArrayPrim<T>::operator=(cls_2dArrayPrim const& other) {
  if (this == &other) return *this;
  this->ShareUnregistered(other);
  m_Columns = other.m_Columns;
  return *this;
}

template <class T> void cls_2dArrayPrim<T>::DBWrite(cls_WriteVisitor const& visitor) const {
  if (visitor.StartWrite(this->TypeId(), this->Uid()) == 0) return;
  T* const selector = nullptr;
  visitor.CheckCollectionType(cls_CollectionTypeFix(COLLECTION_TABLE, selector));
  this->DBWriteBody(visitor);
}

template <class T> void cls_2dArrayPrim<T>::AppendBlock(T const* values, int count) {
  this->AppendBlockAs(values, count, Name);
}

template class cls_2dArrayPrim<float>;
template class cls_2dArrayPrim<double>;
