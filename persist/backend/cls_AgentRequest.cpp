#include "persist/backend/cls_AgentRequest.h"

cls_AgentRequest::~cls_AgentRequest() = default;

cls_MementoWrite* cls_AgentRequest::MakeWriteObjWithPtr(unsigned int classId, cls_Uid const& uid,
                                                        void const*) const {
  return MakeWriteObj(classId, uid);
}

cls_MementoWrite* cls_AgentRequestListObj::MakeWriteObj(unsigned int classId, cls_Uid const& uid) const {
  return m_List->MakeWriteObj(m_Index, classId, uid);
}
cls_MementoWrite* cls_AgentRequestListObj::MakeWriteObjWithPtr(unsigned int classId, cls_Uid const& uid,
                                                               void const* object) const {
  return m_List->MakeWriteObjWithPtr(m_Index, classId, uid, object);
}

cls_MementoWrite* cls_WriteRequestListObj::MakeWriteObj(unsigned int classId, cls_Uid const& uid) const {
  return m_List->MakeWriteObj(classId, uid);
}
cls_MementoWrite* cls_WriteRequestListObj::MakeWriteObjWithPtr(unsigned int classId, cls_Uid const& uid,
                                                               void const* object) const {
  return m_List->MakeWriteObjWithPtr(classId, uid, object);
}

cls_MementoWrite* cls_WriteRequestMapInt2Obj::MakeWriteObj(unsigned int classId, cls_Uid const& uid) const {
  return m_Map->MakeWriteObj(m_Key, classId, uid);
}
cls_MementoWrite* cls_WriteRequestMapInt2Obj::MakeWriteObjWithPtr(unsigned int classId, cls_Uid const& uid,
                                                                  void const* object) const {
  return m_Map->MakeWriteObjWithPtr(m_Key, classId, uid, object);
}

cls_MementoWrite* cls_WriteRequestMapString2Obj::MakeWriteObj(unsigned int classId,
                                                              cls_Uid const& uid) const {
  return m_Map->MakeWriteObj(m_Key, classId, uid);
}
cls_MementoWrite* cls_WriteRequestMapString2Obj::MakeWriteObjWithPtr(unsigned int classId, cls_Uid const& uid,
                                                                     void const* object) const {
  return m_Map->MakeWriteObjWithPtr(m_Key, classId, uid, object);
}

template class cls_AgentRequestMapKey2Obj<int>;
template class cls_AgentRequestMapKey2Obj<cow_String>;
