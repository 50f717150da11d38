#pragma once

#include <utility>

#include "persist/backend/cls_AgentRequest.h"
#include "persist/identity/cls_Uid.h"

/// Begins the save of a root object. A back end cannot make the root's memento beforehand: it learns the
/// class and the identity when the object starts its visitor. `Make` is called then, with (class ID,
/// identity, address of the object), and returns the memento, or null if the object is written already.
///
///     cls_RootRequest const request([&](unsigned int classId, cls_Uid const& uid, void const* object) {
///       root = &ObjectOf(uid);
///       return NewMemento(*root, classId, uid, object);
///     });
///     {
///       cls_WriteVisitor const visitor(request, &model);
///       model.DBWrite(visitor);
///     }
///     if (!request.IsStarted()) Raise("The object wrote nothing.");
///     // only now give the root its name
///
/// The address is the one that was given to the visitor; null if none was. Ownership: the memento belongs to
/// the visitor that asks. Errors: whatever `Make` raises reaches the caller of DBWrite; the request then
/// counts as not started. Thread rule: one thread; on the stack of the back end's save.
template <class Make> class cls_RootRequest final : public cls_AgentRequest {
 public:
  explicit cls_RootRequest(Make make) : m_Make(std::move(make)) {}

  cls_MementoWrite* MakeWriteObj(unsigned int classId, cls_Uid const& uid) const override {
    return MakeWriteObjWithPtr(classId, uid, nullptr);
  }
  cls_MementoWrite* MakeWriteObjWithPtr(unsigned int classId, cls_Uid const& uid,
                                        void const* object) const override {
    cls_MementoWrite* const memento = m_Make(classId, uid, object);
    m_IsStarted = true;
    return memento;
  }

  /// Whether an object has started. False for one that wrote nothing: its DBWrite did not call StartWrite.
  [[nodiscard]] bool IsStarted() const noexcept { return m_IsStarted; }

 private:
  // The interface's operations are const, for the visitor.
  mutable Make m_Make;
  mutable bool m_IsStarted = false;
};
