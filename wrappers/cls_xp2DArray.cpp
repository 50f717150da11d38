#include "wrappers/cls_xp2DArray.h"

#include "wrappers/cls_xpListCode.h"
#include "wrappers/cls_xpWriter.h"

namespace {

template <class T> constexpr cls_CollectionType TableCode = COLLECTION_NONE;
template <> constexpr cls_CollectionType TableCode<double> = COLLECTION_TABLE_DOUBLE;
template <> constexpr cls_CollectionType TableCode<float> = COLLECTION_TABLE_FLOAT;
template <> constexpr cls_CollectionType TableCode<int> = COLLECTION_TABLE_INT;

/// How many rows a stored list of this width fills; the remainder is dropped. The division is in 64 bits,
/// because the smallest int divided by -1 does not fit in 32. Cut to 32 bits it is negative, and the
/// container refuses it.
template <class T> int FullRows(cls_ReadListPrim<T>& reader, int columns) {
  return columns == 0 ? 0 : static_cast<int>(static_cast<long long>(reader.Count()) / columns);
}

} // namespace

template <class T> cls_xp2DArray<T>::cls_xp2DArray(cls_ReadVisitor const& visitor) : m_Uid(visitor.GetUid()) {
  if (visitor.Memento() == nullptr) return;
  std::unique_ptr<cls_ReadListPrim<T>> const reader = cls_xpReadList<T>(visitor);
  int const columns = reader->RowWidth();
  int const rows = FullRows(*reader, columns);
  if (rows == 0 || columns == 0) return;
  cow_2DArray<T>::operator=(cow_2DArray<T>(rows, columns));
  int row = 0;
  int column = 0;
  // A list that is not a whole number of rows returns more elements than there is room for.
  while (reader->More() && row < rows) {
    this->Get(row, column) = reader->Next();
    if (++column < columns) continue;
    column = 0;
    ++row;
  }
}

template <class T> void cls_xp2DArray<T>::DBWrite(cls_WriteVisitor const& visitor) const {
  // Intentional: the result is ignored. Unlike other persisted classes, a value wrapper always writes.
  visitor.StartWrite(cls_InternalListTypeId, m_Uid);
  visitor.CheckCollectionType(TableCode<T>);
  if (visitor.Memento() == nullptr) return; // the back end declined the object: there is nothing to write to
  T const tag{};
  cls_xpWriter<cls_WriteListPrim<T>> const writer(visitor.Memento()->MakeWriteListPrim(&tag, this->Cols()));
  for (int row = 0; row < this->Rows(); ++row)
    for (int column = 0; row < this->Rows() && column < this->Cols(); ++column)
      writer->Append(this->ConstGet(row, column));
}

template <class T> cls_xp2DArray<T>& cls_xp2DArray<T>::operator=(cow_2DArray<T> const& source) {
  if (&source == static_cast<cow_2DArray<T>*>(this)) return *this;
  cow_2DArray<T>::operator=(source);
  m_Uid.NewUid();
  return *this;
}

template class cls_xp2DArray<double>;
template class cls_xp2DArray<float>;
template class cls_xp2DArray<int>;

cls_xp2DArrayDouble cls_xp2DArrayDoubleFromCow(cow_2DArray<double> const& source) {
  return {source, cls_Uid::AllocateUid()};
}
cls_xp2DArrayFloat cls_xp2DArrayFloatFromCow(cow_2DArray<float> const& source) {
  return {source, cls_Uid::AllocateUid()};
}
cls_xp2DArrayInt cls_xp2DArrayIntFromCow(cow_2DArray<int> const& source) {
  return {source, cls_Uid::AllocateUid()};
}
