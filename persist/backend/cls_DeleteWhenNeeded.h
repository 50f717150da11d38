#pragma once

#include <memory>

/// Deletes what a back end returned: always where its interface has no NeedsDeletion() (int tables), else when
/// that answers true. Not for agents that are counted: their holders delete those.
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
