#include "store/objects/sto_AgentFactory.h"

#include "store/agents/sto_AgentOf.h"
#include "store/agents/sto_BlobAgent.h"
#include "store/agents/sto_ListAgent.h"
#include "store/agents/sto_ListAgentObj.h"
#include "store/agents/sto_MapAgentObj.h"

namespace sto_AgentFactory {

template <class T>
cls_AgentListPrim<T>* StoredList(sto_Session& session, std::int64_t id, sto_RecordRef const& record) {
  return sto_ListAgent<T>::OfStored(session, id, record);
}

cls_AgentListObj* StoredObjectList(sto_Session& session, std::int64_t id, sto_RecordRef const& record,
                                   int depth) {
  return sto_AgentOfStored<sto_ListAgentObj>(session, id, record, depth);
}

template <class K>
cls_AgentMapKey2Obj<K>* StoredObjectMap(sto_Session& session, std::int64_t id, sto_RecordRef const& record,
                                        int depth) {
  return sto_AgentOfStored<sto_MapAgentObj<K>>(session, id, record, depth);
}

cls_AgentBlob* StoredBlob(sto_Session& session, std::int64_t id) {
  return new sto_BlobAgent(session, id);
}

template <class T> cls_AgentListPrim<T>* SavedList(sto_Session& session, std::int64_t id, int sizeHint) {
  return sto_ListAgent<T>::OfSaved(session, id, sizeHint);
}

cls_AgentListObj* SavedObjectList(sto_Session& session, std::int64_t id, int sizeHint, int depth) {
  return sto_AgentOfSaved<sto_ListAgentObj>(session, id, sizeHint, depth);
}

template <class K>
cls_AgentMapKey2Obj<K>* SavedObjectMap(sto_Session& session, std::int64_t id, int sizeHint, int depth) {
  return sto_AgentOfSaved<sto_MapAgentObj<K>>(session, id, sizeHint, depth);
}

cls_AgentBlob* SavedBlob(sto_Session& session, std::int64_t id) {
  bool const isStored = session.Driver().HasObject(id);
  return new sto_BlobAgent(session, id, !isStored);
}

template cls_AgentListPrim<bool>* StoredList(sto_Session&, std::int64_t, sto_RecordRef const&);
template cls_AgentListPrim<cow_String>* StoredList(sto_Session&, std::int64_t, sto_RecordRef const&);
template cls_AgentListPrim<float>* StoredList(sto_Session&, std::int64_t, sto_RecordRef const&);
template cls_AgentListPrim<double>* StoredList(sto_Session&, std::int64_t, sto_RecordRef const&);
template cls_AgentListPrim<unsigned int>* StoredList(sto_Session&, std::int64_t, sto_RecordRef const&);
template cls_AgentListPrim<int>* StoredList(sto_Session&, std::int64_t, sto_RecordRef const&);
template cls_AgentListPrim<long long>* StoredList(sto_Session&, std::int64_t, sto_RecordRef const&);
template cls_AgentListPrim<unsigned long long>* StoredList(sto_Session&, std::int64_t, sto_RecordRef const&);
template cls_AgentListPrim<cls_Complex<float>>* StoredList(sto_Session&, std::int64_t, sto_RecordRef const&);
template cls_AgentListPrim<cls_Complex<double>>* StoredList(sto_Session&, std::int64_t, sto_RecordRef const&);
template cls_AgentListPrim<bool>* SavedList(sto_Session&, std::int64_t, int);
template cls_AgentListPrim<cow_String>* SavedList(sto_Session&, std::int64_t, int);
template cls_AgentListPrim<float>* SavedList(sto_Session&, std::int64_t, int);
template cls_AgentListPrim<double>* SavedList(sto_Session&, std::int64_t, int);
template cls_AgentListPrim<unsigned int>* SavedList(sto_Session&, std::int64_t, int);
template cls_AgentListPrim<int>* SavedList(sto_Session&, std::int64_t, int);
template cls_AgentListPrim<long long>* SavedList(sto_Session&, std::int64_t, int);
template cls_AgentListPrim<unsigned long long>* SavedList(sto_Session&, std::int64_t, int);
template cls_AgentListPrim<cls_Complex<float>>* SavedList(sto_Session&, std::int64_t, int);
template cls_AgentListPrim<cls_Complex<double>>* SavedList(sto_Session&, std::int64_t, int);
template cls_AgentMapKey2Obj<int>* StoredObjectMap(sto_Session&, std::int64_t, sto_RecordRef const&, int);
template cls_AgentMapKey2Obj<int>* SavedObjectMap(sto_Session&, std::int64_t, int, int);
template cls_AgentMapKey2Obj<cow_String>* StoredObjectMap(sto_Session&, std::int64_t, sto_RecordRef const&,
                                                          int);
template cls_AgentMapKey2Obj<cow_String>* SavedObjectMap(sto_Session&, std::int64_t, int, int);

} // namespace sto_AgentFactory
