#include "wrappers/cls_xp1DArrayList.h"

#include "wrappers/cls_xpListCode.h"

template <class T>
cls_xp1DArrayList<T>::cls_xp1DArrayList(cls_ReadVisitor const& visitor, cls_Uid* ownerUid)
    : m_Uid(visitor.GetUid()), m_OwnerUid(ownerUid) {
  if (visitor.Memento() == nullptr) return; // there is no object to read from
  std::unique_ptr<cls_ReadListPrim<T>> const reader = cls_xpReadList<T>(visitor);
  int const count = reader->Count();
  this->Truncate(count);
  this->GrowStorage(count);
  while (reader->More()) this->Append(reader->Next());
}

template <class T> void cls_xp1DArrayList<T>::DBWrite(cls_WriteVisitor const& visitor) const {
  cls_xpWriteList<T>(visitor, m_Uid, [this](cls_WriteListPrim<T>& writer) {
    for (int i = 0; i < this->Count(); ++i) writer.Append(this->Storage().PartialArrayConstGet(i));
  });
}

template <class T> cls_xp1DArrayList<T>& cls_xp1DArrayList<T>::operator=(cow_1DArrayList<T> const& source) {
  if (&source == static_cast<cow_1DArrayList<T>*>(this)) return *this;
  cow_1DArrayList<T>::operator=(source);
  m_Uid.NewUid();
  return *this;
}

template class cls_xp1DArrayList<double>;
template class cls_xp1DArrayList<float>;
template class cls_xp1DArrayList<int>;
template class cls_xp1DArrayList<cow_String>;
template class cls_xp1DArrayList<unsigned int>;

namespace {

template <class T> cls_xp1DArrayList<T> FromCow(cow_1DArrayList<T> const& source) {
  cls_xp1DArrayList<T> wrapper;
  wrapper = source;
  return wrapper;
}

} // namespace

cls_xp1DArrayListDouble cls_xp1DArrayListDoubleFromCow(cow_1DArrayList<double> const& source) {
  return FromCow(source);
}
cls_xp1DArrayListFloat cls_xp1DArrayListFloatFromCow(cow_1DArrayList<float> const& source) {
  return FromCow(source);
}
cls_xp1DArrayListInt cls_xp1DArrayListIntFromCow(cow_1DArrayList<int> const& source) {
  return FromCow(source);
}
cls_xp1DArrayListString cls_xp1DArrayListStringFromCow(cow_1DArrayList<cow_String> const& source) {
  return FromCow(source);
}
cls_xp1DArrayListUint cls_xp1DArrayListUintFromCow(cow_1DArrayList<unsigned int> const& source) {
  return FromCow(source);
}
