#pragma once

#include <type_traits>

#include "persist/visitors/cls_ReadVisitor.h"

/// Converts to a visitor parameter taken by reference, and to one taken by value.
struct cls_VisitorByReferenceOrValue {
  operator cls_ReadVisitor const&() const; // NOLINT: implicit, never defined
};

/// Converts only to a visitor parameter taken by reference: for one taken by value, the deleted conversion is
/// an equally good match, so the call does not compile.
struct cls_VisitorByReference {
  operator cls_ReadVisitor const&() const; // NOLINT: implicit, never defined
  operator cls_ReadVisitor() const = delete;
};

/// Whether a class has a constructor that takes the visitor by value, and `More` after it: such an object
/// would read its base-class part instead of itself (see cls_ReadVisitor). A constructor template is not
/// detected.
template <class T, class... More>
concept cls_ReadsByValue = std::is_constructible_v<T, cls_VisitorByReferenceOrValue const&, More...> &&
    !std::is_constructible_v<T, cls_VisitorByReference const&, More...>;
