#pragma once

#include "persist/identity/cls_Uid.h"
#include "platform/cow/cow_String.h"
#include "platform/kvl_Export.h"

class cls_MementoRead;
class cls_MementoWrite;
class cls_PC;

/// Open line to a stored map of objects, keyed by int or cow_String: elements are written, read and removed
/// one by one. The first ten slots follow the list agent, with removal and reading in the place of the runs.
/// The comment before each operation is its virtual slot. Thread rule: one thread.
template <class K> class cls_AgentMapKey2Obj {
 public:
  cls_AgentMapKey2Obj() = default;
  cls_AgentMapKey2Obj(cls_AgentMapKey2Obj const&) = delete;
  cls_AgentMapKey2Obj& operator=(cls_AgentMapKey2Obj const&) = delete;

  /* 0 */ virtual ~cls_AgentMapKey2Obj() = default;
  /* 1 */ virtual int Count() = 0;
  /* 2 */ virtual int SizeHint() = 0;
  /* 3 */ virtual bool Changed() = 0;
  /* 4 */ virtual void EndFlush() = 0;

  /// Removes the entry of a key; false when there is none.
  /* 5 */ virtual bool Remove(K const& key) = 0;

  /// The memento of the element under a key; of an empty object where there is none.
  /* 6 */ virtual cls_MementoRead* MakeReadObj(K const& key) = 0;

  /* 7 */ virtual void AddReference() = 0;
  /* 8 */ virtual void DropReference() = 0;
  /* 9 */ virtual bool StillReferenced() = 0;
  /* 10 */ virtual bool ReadOnly() = 0;

  /// The memento of the element to write under a key, in the place of one that is there.
  /* 11 */ virtual cls_MementoWrite* MakeWriteObj(K const& key, unsigned int classId, cls_Uid const& uid) = 0;

  /// The same with the element itself, which the library ignores.
  /* 12 */ virtual cls_MementoWrite* MakeWriteObjWithPtr(K const& key, unsigned int classId,
                                                         cls_Uid const& uid, void const*) {
    return MakeWriteObj(key, classId, uid);
  }

  /* 13 */ virtual void RegisterHolder(cls_PC* holder) = 0;
  /* 14 */ virtual bool Contains(K const& key) = 0;

  // Walks in ascending key order; each answers false, and leaves the key, where there is no such entry.
  /* 15 */ virtual bool FirstKey(K& key) = 0;
  /* 16 */ virtual bool NextKey(K& key) = 0;
  /* 17 */ virtual bool LastKey(K& key) = 0;
  /* 18 */ virtual bool PreviousKey(K& key) = 0;

  /// Removes every entry.
  /* 19 */ virtual void Clear() = 0;
};

extern template class KVL_EXPORT cls_AgentMapKey2Obj<int>;
extern template class KVL_EXPORT cls_AgentMapKey2Obj<cow_String>;
