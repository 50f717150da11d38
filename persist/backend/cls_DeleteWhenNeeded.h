#pragma once

#include <memory>

/// Deletes what a back end returned. Everything that a memento, builder, cursor or agent makes belongs to the
/// caller, and this is the rule for all kinds:
///
/// - Mementos, builders, cursors and blob agents are deleted if their NeedsDeletion() answers true, the
///   default. A back end that keeps one, to use it again, answers false. Intentional exception: the value
///   wrappers (cls_xp*, cls_xoMap) delete builders and cursors without asking, so these are never kept.
/// - Int tables have no such operation and are always deleted.
/// - Agents of lists and of collections of objects are counted: each holder calls AddReference, later
///   DropReference, and the one after which StillReferenced answers false deletes the agent. An agent that
///   nobody referred to is deleted by whoever asked for it. This class is not for them.
///
///     cls_Received<cls_MementoRead> const child(memento.MakeFieldReadObj(field));
struct cls_DeleteWhenNeeded {
  template <class T> void operator()(T* object) const {
    static_assert(
        requires { sizeof(T); }, "include the header of the interface");
    if constexpr (requires { object->NeedsDeletion(); })
      if (!object->NeedsDeletion()) return;
    delete object;
  }
};

/// Owner of what a back end returned; null for a null pointer.
template <class T> using cls_Received = std::unique_ptr<T, cls_DeleteWhenNeeded>;
