#include "persist/visitors/cls_ReadsByValue.h"

#include <gtest/gtest.h>

#include <concepts>
#include <cstddef>

namespace {

struct ByReference {
  explicit ByReference(cls_ReadVisitor const&) {}
};
struct Implicitly {
  Implicitly(cls_ReadVisitor const&) {} // NOLINT
  Implicitly(Implicitly const&) = default;
  Implicitly(Implicitly&&) = default;
};
struct WithMore {
  explicit WithMore(cls_ReadVisitor const&, int = 0) {}
  explicit WithMore(int*) {}
};
struct Derived : ByReference {
  using ByReference::ByReference;
};
struct Anything {
  template <class T> explicit Anything(T const&) {}
};
struct OnlyAVisitor {
  template <std::same_as<cls_ReadVisitor> T> explicit OnlyAVisitor(T const&) {}
};
struct Converted {
  Converted(cls_ReadVisitor const&) {} // NOLINT
};
struct FromConverted {
  explicit FromConverted(Converted) {}
};
struct Abstract {
  explicit Abstract(cls_ReadVisitor const&) {}
  virtual ~Abstract() = default;
  virtual void Draw() = 0;
};
struct OfAnOwner {
  OfAnOwner(cls_ReadVisitor const&, int*) {}
};

struct ByValue {
  explicit ByValue(cls_ReadVisitor) {}
};
struct ImplicitlyByValue {
  ImplicitlyByValue(cls_ReadVisitor) {} // NOLINT
};
struct ByConstValue {
  explicit ByConstValue(cls_ReadVisitor const) {} // NOLINT
};
struct ByValueWithMore {
  explicit ByValueWithMore(cls_ReadVisitor, int = 0) {}
  explicit ByValueWithMore(int*) {}
};
struct DerivedByValue : ByValue {
  using ByValue::ByValue;
};
struct OfAnOwnerByValue {
  OfAnOwnerByValue(cls_ReadVisitor, int*) {}
};

} // namespace

TEST(ReadsByValue, ConstructorsThatTakeAReferenceDoNot) {
  static_assert(!cls_ReadsByValue<ByReference>);
  static_assert(!cls_ReadsByValue<Implicitly>);
  static_assert(!cls_ReadsByValue<WithMore>);
  static_assert(!cls_ReadsByValue<Derived>);
  static_assert(!cls_ReadsByValue<Anything>);
  static_assert(!cls_ReadsByValue<OnlyAVisitor>);
  static_assert(!cls_ReadsByValue<Converted>);
  static_assert(!cls_ReadsByValue<FromConverted>);
  static_assert(!cls_ReadsByValue<Abstract>);
  static_assert(!cls_ReadsByValue<OfAnOwner, std::nullptr_t>);
}

TEST(ReadsByValue, ConstructorsThatTakeAValueDo) {
  static_assert(cls_ReadsByValue<ByValue>);
  static_assert(cls_ReadsByValue<ImplicitlyByValue>);
  static_assert(cls_ReadsByValue<ByConstValue>);
  static_assert(cls_ReadsByValue<ByValueWithMore>);
  static_assert(cls_ReadsByValue<DerivedByValue>);
  static_assert(cls_ReadsByValue<OfAnOwnerByValue, std::nullptr_t>);
}

TEST(ReadsByValue, ClassesWithoutReadingConstructorDoNot) {
  static_assert(!cls_ReadsByValue<int>);
  static_assert(!cls_ReadsByValue<ByValue, std::nullptr_t>);
  static_assert(!cls_ReadsByValue<OfAnOwnerByValue>);
}
