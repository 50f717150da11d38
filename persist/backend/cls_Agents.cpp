#include "persist/backend/cls_AgentBlob.h"
#include "persist/backend/cls_AgentListObj.h"
#include "persist/backend/cls_AgentListPrim.h"
#include "persist/backend/cls_AgentMapKey2Obj.h"
#include "persist/backend/cls_AgentProxy.h"

cls_AgentListObj::~cls_AgentListObj() = default;
cls_MementoWrite* cls_AgentListObj::MakeWriteObjWithPtr(int index, unsigned int classId, cls_Uid const& uid,
                                                        void const*) {
  return MakeWriteObj(index, classId, uid);
}

cls_AgentBlob::~cls_AgentBlob() = default;
bool cls_AgentBlob::NeedsDeletion() const {
  return true;
}

cls_AgentProxy::~cls_AgentProxy() = default;
bool cls_AgentProxy::Transfer(cls_StorageTypeId const&, cls_MementoWrite*, cls_FieldHandle const&) {
  return false;
}

template class cow_CountedHld<cls_AgentProxy>;

namespace {
int s_LastStorageTypeId = 0;
}

int cls_StorageTypeId::AllocateId() noexcept {
  return ++s_LastStorageTypeId;
}

template class cls_AgentListPrim<bool>;
template class cls_AgentListPrim<cow_String>;
template class cls_AgentListPrim<float>;
template class cls_AgentListPrim<double>;
template class cls_AgentListPrim<unsigned int>;
template class cls_AgentListPrim<int>;
template class cls_AgentListPrim<long long>;
template class cls_AgentListPrim<unsigned long long>;
template class cls_AgentListPrim<cls_Complex<float>>;
template class cls_AgentListPrim<cls_Complex<double>>;
template class cls_AgentMapKey2Obj<int>;
template class cls_AgentMapKey2Obj<cow_String>;
