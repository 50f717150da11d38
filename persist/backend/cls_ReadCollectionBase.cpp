#include "persist/backend/cls_ReadCollectionBase.h"

#include "persist/backend/cls_ReadListPrim.h"
#include "persist/backend/cls_ReadMapPrim.h"
#include "persist/backend/cls_ReadObjects.h"

cls_ReadCollectionBase::~cls_ReadCollectionBase() = default;
bool cls_ReadCollectionBase::NeedsDeletion() const {
  return true;
}

cls_ReadListObj::~cls_ReadListObj() = default;
cls_ReadMapInt2Obj::~cls_ReadMapInt2Obj() = default;
cls_ReadMapString2Obj::~cls_ReadMapString2Obj() = default;
cls_ReadIntTableInt::~cls_ReadIntTableInt() = default;

template class cls_ReadListPrim<bool>;
template class cls_ReadListPrim<cow_String>;
template class cls_ReadListPrim<float>;
template class cls_ReadListPrim<double>;
template class cls_ReadListPrim<unsigned int>;
template class cls_ReadListPrim<int>;
template class cls_ReadMapInt2Prim<cow_String>;
template class cls_ReadMapInt2Prim<float>;
template class cls_ReadMapInt2Prim<double>;
template class cls_ReadMapInt2Prim<unsigned int>;
template class cls_ReadMapInt2Prim<int>;
template class cls_ReadMapString2Prim<cow_String>;
template class cls_ReadMapString2Prim<float>;
template class cls_ReadMapString2Prim<double>;
template class cls_ReadMapString2Prim<unsigned int>;
template class cls_ReadMapString2Prim<int>;
