#pragma once

#include <cstdint>

#include "platform/cow/cow_String.h"
#include "store/format/sto_RecordRef.h"

class cls_AgentBlob;
class cls_AgentListObj;
template <class T> class cls_AgentListPrim;
template <class K> class cls_AgentMapKey2Obj;
class sto_Session;

/// Makes the agents that mementos hand out. Implemented in store/agents/, the layer above, so that mementos
/// know agents by their interfaces only. T: bool, cow_String, float, double, unsigned int, int. K: int,
/// cow_String. Internal to the module.
namespace sto_AgentFactory {

// Of what is stored: `record` is null, and `id` 0, for an object that is not. A session has one agent of a
// collection, which all holders share; blobs have one for each call. `depth` is how many objects hold the
// collection. WrongClass when the collection is of another kind, Damaged.

template <class T>
cls_AgentListPrim<T>* StoredList(sto_Session& session, std::int64_t id, sto_RecordRef const& record);
cls_AgentListObj* StoredObjectList(sto_Session& session, std::int64_t id, sto_RecordRef const& record,
                                   int depth);
template <class K>
cls_AgentMapKey2Obj<K>* StoredObjectMap(sto_Session& session, std::int64_t id, sto_RecordRef const& record,
                                        int depth);
cls_AgentBlob* StoredBlob(sto_Session& session, std::int64_t id);

// Of what is being saved, in a save.

template <class T> cls_AgentListPrim<T>* SavedList(sto_Session& session, std::int64_t id, int sizeHint);
cls_AgentListObj* SavedObjectList(sto_Session& session, std::int64_t id, int sizeHint, int depth);
template <class K>
cls_AgentMapKey2Obj<K>* SavedObjectMap(sto_Session& session, std::int64_t id, int sizeHint, int depth);
cls_AgentBlob* SavedBlob(sto_Session& session, std::int64_t id);

} // namespace sto_AgentFactory
