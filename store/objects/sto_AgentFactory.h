#pragma once

#include <cstdint>

#include "platform/cow/cow_String.h"
#include "store/format/sto_RecordRef.h"

class cls_AgentBlob;
class cls_AgentListObj;
template <class T> class cls_AgentListPrim;
template <class K> class cls_AgentMapKey2Obj;
class sto_Session;

/// Makes the agents that mementos return. Implemented in store/agents/, the layer above, so that mementos
/// know only the interfaces of agents. T: bool, cow_String, float, double, unsigned int, int. K: int,
/// cow_String. sto_Session.h says who deletes an agent. Internal to the module. Thread rule: as the session.
namespace sto_AgentFactory {

// For a stored object. For an object that is not stored, `record` is null and `id` is 0. A session has one
// agent for a collection, which all holders share; for a blob each call makes a new one. `depth` is the
// number of objects that hold the collection, one inside another. Errors: WrongClass if the collection is of
// another kind; Damaged.

template <class T>
cls_AgentListPrim<T>* StoredList(sto_Session& session, std::int64_t id, sto_RecordRef const& record);
cls_AgentListObj* StoredObjectList(sto_Session& session, std::int64_t id, sto_RecordRef const& record,
                                   int depth);
template <class K>
cls_AgentMapKey2Obj<K>* StoredObjectMap(sto_Session& session, std::int64_t id, sto_RecordRef const& record,
                                        int depth);
cls_AgentBlob* StoredBlob(sto_Session& session, std::int64_t id);

// For an object that is being saved. REQUIRES: a running save.

template <class T> cls_AgentListPrim<T>* SavedList(sto_Session& session, std::int64_t id, int sizeHint);
cls_AgentListObj* SavedObjectList(sto_Session& session, std::int64_t id, int sizeHint, int depth);
template <class K>
cls_AgentMapKey2Obj<K>* SavedObjectMap(sto_Session& session, std::int64_t id, int sizeHint, int depth);
cls_AgentBlob* SavedBlob(sto_Session& session, std::int64_t id);

} // namespace sto_AgentFactory
