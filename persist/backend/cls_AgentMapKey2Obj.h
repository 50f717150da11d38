#pragma once

#include "persist/identity/cls_Uid.h"
#include "platform/cow/cow_String.h"
#include "platform/kvl_Export.h"

class cls_MementoRead;
class cls_MementoWrite;
class cls_PC;

/// Open connection to a stored map of objects, keyed by int or cow_String: elements are written, read and
/// removed one by one. Slots 0 to 10 are those of cls_AgentListPrim, with Remove and MakeReadObj replacing
/// the two runs. The comment before each operation is its virtual slot. Thread rule: one thread.
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

  /// Removes the entry of a key. Returns false if there is none.
  /* 5 */ virtual bool Remove(K const& key) = 0;

  /// A memento of the element under a key; of an empty object if there is none.
  /* 6 */ virtual cls_MementoRead* MakeReadObj(K const& key) = 0;

  // As in cls_AgentListPrim, with all the duties of a back end that are said there.
  /* 7 */ virtual void AddReference() = 0;
  /* 8 */ virtual void DropReference() = 0;
  /* 9 */ virtual bool StillReferenced() = 0;
  /* 10 */ virtual bool ReadOnly() = 0;

  /// A memento that writes the element under a key, replacing any stored one.
  /* 11 */ virtual cls_MementoWrite* MakeWriteObj(K const& key, unsigned int classId, cls_Uid const& uid) = 0;

  /// The same, with the element itself. The default ignores it and calls MakeWriteObj.
  /* 12 */ virtual cls_MementoWrite* MakeWriteObjWithPtr(K const& key, unsigned int classId,
                                                         cls_Uid const& uid, void const*) {
    return MakeWriteObj(key, classId, uid);
  }

  /// As in cls_AgentListPrim.
  /* 13 */ virtual void RegisterHolder(cls_PC* holder) = 0;
  /* 14 */ virtual bool Contains(K const& key) = 0;

  // Walk in ascending key order. Each returns false, and leaves `key` unchanged, if there is no such entry.
  /* 15 */ virtual bool FirstKey(K& key) = 0;
  /* 16 */ virtual bool NextKey(K& key) = 0;
  /* 17 */ virtual bool LastKey(K& key) = 0;
  /* 18 */ virtual bool PreviousKey(K& key) = 0;

  /// Removes every entry.
  /* 19 */ virtual void Clear() = 0;
};

extern template class KVL_EXPORT cls_AgentMapKey2Obj<int>;
extern template class KVL_EXPORT cls_AgentMapKey2Obj<cow_String>;
