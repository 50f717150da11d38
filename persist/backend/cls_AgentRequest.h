#pragma once

#include "persist/backend/cls_AgentListObj.h"
#include "persist/backend/cls_AgentMapKey2Obj.h"
#include "persist/backend/cls_WriteObjects.h"

class cls_MementoWrite;

/// Starts the writing of one element of an object collection, through a cls_WriteVisitor: the element's class
/// and identity are known only when the element begins to write itself. A save begins in the same way, with
/// a cls_RootRequest.
/// The comment before each operation is its virtual slot. Thread rule: one thread; on the stack of the
/// writer.
class KVL_EXPORT cls_AgentRequest {
 public:
  cls_AgentRequest() = default;
  cls_AgentRequest(cls_AgentRequest const&) = delete;
  cls_AgentRequest& operator=(cls_AgentRequest const&) = delete;

  /* 0 */ virtual ~cls_AgentRequest();

  /// The element's memento; null when it is not to be written.
  /* 1 */ virtual cls_MementoWrite* MakeWriteObj(unsigned int classId, cls_Uid const& uid) const = 0;

  /// The same, with the element itself. The default ignores it and calls MakeWriteObj.
  /* 2 */ virtual cls_MementoWrite* MakeWriteObjWithPtr(unsigned int classId, cls_Uid const& uid,
                                                        void const* object) const;
};

/// The element at one index of a list agent. The agent is not owned.
class KVL_EXPORT cls_AgentRequestListObj : public cls_AgentRequest {
 public:
  cls_AgentRequestListObj(cls_AgentListObj* list, int index) noexcept : m_List(list), m_Index(index) {}
  cls_MementoWrite* MakeWriteObj(unsigned int classId, cls_Uid const& uid) const override;
  cls_MementoWrite* MakeWriteObjWithPtr(unsigned int classId, cls_Uid const& uid,
                                        void const* object) const override;

 private:
  cls_AgentListObj* m_List;
  int m_Index;
};

/// The element under one key of a map agent; the key is held by value, the agent is not owned.
template <class K> class cls_AgentRequestMapKey2Obj : public cls_AgentRequest {
 public:
  cls_AgentRequestMapKey2Obj(cls_AgentMapKey2Obj<K>* map, K const& key) : m_Map(map), m_Key(key) {}
  cls_MementoWrite* MakeWriteObj(unsigned int classId, cls_Uid const& uid) const override {
    return m_Map->MakeWriteObj(m_Key, classId, uid);
  }
  cls_MementoWrite* MakeWriteObjWithPtr(unsigned int classId, cls_Uid const& uid,
                                        void const* object) const override {
    return m_Map->MakeWriteObjWithPtr(m_Key, classId, uid, object);
  }

 private:
  cls_AgentMapKey2Obj<K>* m_Map;
  K m_Key;
};

extern template class KVL_EXPORT cls_AgentRequestMapKey2Obj<int>;
extern template class KVL_EXPORT cls_AgentRequestMapKey2Obj<cow_String>;

/// The next element of a list builder, which is not owned.
class KVL_EXPORT cls_WriteRequestListObj : public cls_AgentRequest {
 public:
  explicit cls_WriteRequestListObj(cls_WriteListObj* list) noexcept : m_List(list) {}
  cls_MementoWrite* MakeWriteObj(unsigned int classId, cls_Uid const& uid) const override;
  cls_MementoWrite* MakeWriteObjWithPtr(unsigned int classId, cls_Uid const& uid,
                                        void const* object) const override;

 private:
  cls_WriteListObj* m_List;
};

/// The element under one key of an int-keyed map builder, which is not owned.
class KVL_EXPORT cls_WriteRequestMapInt2Obj : public cls_AgentRequest {
 public:
  cls_WriteRequestMapInt2Obj(cls_WriteMapInt2Obj* map, int key) noexcept : m_Map(map), m_Key(key) {}
  cls_MementoWrite* MakeWriteObj(unsigned int classId, cls_Uid const& uid) const override;
  cls_MementoWrite* MakeWriteObjWithPtr(unsigned int classId, cls_Uid const& uid,
                                        void const* object) const override;

 private:
  cls_WriteMapInt2Obj* m_Map;
  int m_Key;
};

/// The element under one key of a string-keyed map builder. The request refers to the caller's key, which
/// must outlive it; the builder is not owned.
class KVL_EXPORT cls_WriteRequestMapString2Obj : public cls_AgentRequest {
 public:
  cls_WriteRequestMapString2Obj(cls_WriteMapString2Obj* map, cow_String const& key) noexcept
      : m_Map(map), m_Key(key) {}
  cls_WriteRequestMapString2Obj(cls_WriteMapString2Obj* map, cow_String&& key) = delete;
  cls_MementoWrite* MakeWriteObj(unsigned int classId, cls_Uid const& uid) const override;
  cls_MementoWrite* MakeWriteObjWithPtr(unsigned int classId, cls_Uid const& uid,
                                        void const* object) const override;

 private:
  cls_WriteMapString2Obj* m_Map;
  cow_String const& m_Key;
};
