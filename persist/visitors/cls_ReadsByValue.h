#pragma once

#include <type_traits>

#include "persist/visitors/cls_ReadVisitor.h"

/// Becomes a visitor where one is bound to a reference, and where one is copied.
struct cls_VisitorByReferenceOrValue {
  operator cls_ReadVisitor const&() const; // NOLINT: implicit, never defined
};

/// Becomes a visitor where one is bound to a reference only: for a copy the deleted function is as good.
struct cls_VisitorByReference {
  operator cls_ReadVisitor const&() const; // NOLINT: implicit, never defined
  operator cls_ReadVisitor() const = delete;
};

/// Whether a class has a constructor that takes the visitor by value, and `More` after it: the object would
/// read its base-class part instead of itself (see cls_ReadVisitor). A constructor template is not seen.
template <class T, class... More>
concept cls_ReadsByValue = std::is_constructible_v<T, cls_VisitorByReferenceOrValue const&, More...> &&
    !std::is_constructible_v<T, cls_VisitorByReference const&, More...>;
