#pragma once

#include "persist/identity/cls_Uid.h"
#include "platform/kvl_Export.h"

class cls_MementoRead;
class cls_MementoWrite;
class cls_PC;

/// Open connection to a stored list of objects: elements are written and read one by one.
/// The comment before each operation is its virtual slot. Thread rule: one thread.
class KVL_EXPORT cls_AgentListObj {
 public:
  cls_AgentListObj() = default;
  cls_AgentListObj(cls_AgentListObj const&) = delete;
  cls_AgentListObj& operator=(cls_AgentListObj const&) = delete;

  /* 0 */ virtual ~cls_AgentListObj();
  /* 1 */ virtual int Count() = 0;
  /* 2 */ virtual int SizeHint() = 0;
  /* 3 */ virtual bool Changed() = 0;
  /* 4 */ virtual void EndFlush() = 0;

  /// Makes the list `count` elements long; new elements are empty objects.
  /* 5 */ virtual void SetCount(int count) = 0;

  /// A memento of the element at `index`; of an empty object if there is none.
  /* 6 */ virtual cls_MementoRead* MakeReadObj(int index) = 0;

  /// A memento that writes the element at `index`, replacing any stored one, or adding one right behind the
  /// end. An exception for other indexes: an element that nobody wrote would be an empty object.
  /* 7 */ virtual cls_MementoWrite* MakeWriteObj(int index, unsigned int classId, cls_Uid const& uid) = 0;

  /// The same, with the element itself. The default ignores it and calls MakeWriteObj.
  /* 8 */ virtual cls_MementoWrite* MakeWriteObjWithPtr(int index, unsigned int classId, cls_Uid const& uid,
                                                        void const* object);

  // As in cls_AgentListPrim, with all the duties of a back end that are said there.
  /* 9 */ virtual void AddReference() = 0;
  /* 10 */ virtual void DropReference() = 0;
  /* 11 */ virtual bool StillReferenced() = 0;
  /* 12 */ virtual bool ReadOnly() = 0;
  /* 13 */ virtual void RegisterHolder(cls_PC* holder) = 0;

  /// Removes the element at `index`; later elements move down. An exception if there is none.
  /* 14 */ virtual void Remove(int index) = 0;
};
