#pragma once

#include "describe/dsc_Options.h"
#include "metadata/cls_ClassMetadata.h"
#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"

namespace kvl {

/// The root of classes that derive from each other and are described, when they have no other: with it, an object
/// is saved, asked for its identity and deleted as what it is. It is not stored itself.
///
///     class Element : public kvl::Polymorphic {
///      public:
///       KVL_PERSISTED(Element, kvl::Polymorphic, 0x530001, "Element", 1)
///
/// Thread rule and errors: those of the derived classes.
class Polymorphic {
 public:
  Polymorphic() = default;
  explicit Polymorphic(cls_ReadVisitor const&) noexcept {}
  Polymorphic(Polymorphic const&) = default;
  Polymorphic(Polymorphic&&) = default;
  Polymorphic& operator=(Polymorphic const&) = default;
  Polymorphic& operator=(Polymorphic&&) = default;
  virtual ~Polymorphic() = default;

  virtual void DBWrite(cls_WriteVisitor const& visitor) const = 0;
  /// Who the object is; taken when it is asked for first.
  [[nodiscard]] virtual cls_Uid const& Uid() const = 0;
};

/// No base class at all: for kvl::Described.
struct NoBase {
  NoBase() = default;
  explicit NoBase(cls_ReadVisitor const&) noexcept {}
};

/// The class had this base class in earlier versions; see docs/described-classes.md.
template <class Base> struct BaseWas { static constexpr dsc_OptionKind Kind = dsc_OptionKind::BaseWas; };

/// The class had this name in earlier versions.
struct ClassWas {
  static constexpr dsc_OptionKind Kind = dsc_OptionKind::ClassWas;
  constexpr explicit ClassWas(char const* name) : m_Name(name) {}
  char const* m_Name;
};

} // namespace kvl

template <class Base> inline constexpr bool dsc_IsStoredBase = true;
template <> inline constexpr bool dsc_IsStoredBase<kvl::Polymorphic> = false;
template <> inline constexpr bool dsc_IsStoredBase<kvl::NoBase> = false;

template <class Base> [[nodiscard]] constexpr unsigned int dsc_BaseClassId() noexcept {
  if constexpr (dsc_IsStoredBase<Base>)
    return Base::TypeId();
  else
    return cls_ClassMetadata::RootClassId;
}
