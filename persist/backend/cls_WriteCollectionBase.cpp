#include "persist/backend/cls_WriteCollectionBase.h"

#include "persist/backend/cls_WriteListPrim.h"
#include "persist/backend/cls_WriteMapPrim.h"
#include "persist/backend/cls_WriteObjects.h"

cls_WriteCollectionBase::~cls_WriteCollectionBase() = default;
bool cls_WriteCollectionBase::NeedsDeletion() const {
  return true;
}

cls_WriteListObj::~cls_WriteListObj() = default;
cls_WriteMapInt2Obj::~cls_WriteMapInt2Obj() = default;
cls_WriteMapString2Obj::~cls_WriteMapString2Obj() = default;
cls_WriteIntTableInt::~cls_WriteIntTableInt() = default;

cls_MementoWrite* cls_WriteListObj::MakeWriteObjWithPtr(unsigned int classId, cls_Uid const& uid,
                                                        void const*) {
  return MakeWriteObj(classId, uid);
}

cls_MementoWrite* cls_WriteMapInt2Obj::MakeWriteObjWithPtr(int const& key, unsigned int classId,
                                                           cls_Uid const& uid, void const*) {
  return MakeWriteObj(key, classId, uid);
}

cls_MementoWrite* cls_WriteMapString2Obj::MakeWriteObjWithPtr(cow_String const& key, unsigned int classId,
                                                              cls_Uid const& uid, void const*) {
  return MakeWriteObj(key, classId, uid);
}

template class cls_WriteListPrim<bool>;
template class cls_WriteListPrim<cow_String>;
template class cls_WriteListPrim<float>;
template class cls_WriteListPrim<double>;
template class cls_WriteListPrim<unsigned int>;
template class cls_WriteListPrim<int>;
template class cls_WriteMapInt2Prim<cow_String>;
template class cls_WriteMapInt2Prim<float>;
template class cls_WriteMapInt2Prim<double>;
template class cls_WriteMapInt2Prim<unsigned int>;
template class cls_WriteMapInt2Prim<int>;
template class cls_WriteMapString2Prim<cow_String>;
template class cls_WriteMapString2Prim<float>;
template class cls_WriteMapString2Prim<double>;
template class cls_WriteMapString2Prim<unsigned int>;
template class cls_WriteMapString2Prim<int>;
