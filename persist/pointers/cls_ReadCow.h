#pragma once

#include <memory>

#include "persist/pointers/cls_Pointers.h"
#include "platform/cow/cow_COW.h"

/// Reads the copy-on-write object that a field holds. In one load all holders of one stored object share one
/// payload, as they did when they were written. Returns an empty holder if the field is absent or its object
/// is not stored.
///
///     Beam::Beam(cls_ReadVisitor const& visitor)
///         : m_Section(cls_ReadCow<Section, cow_Direct<Section>>(visitor, SectionField())) {}
///
///     void Beam::DBWrite(cls_WriteVisitor const& visitor) const {
///       if (!visitor.StartWrite(TypeId(), m_Uid)) return;
///       Section const& section = m_Section.ConstGet();
///       section.DBWrite(cls_WriteVisitor(visitor, SectionField(), nullptr, &section));
///     }
///
/// The payload is stored once because it has one identity. A clone of it must get an identity of its own.
/// The payload is built as by cls_ReadOwned; it must not lead back to itself (cls_BuildFault::IsUnfinished).
/// Errors: as cls_ReadShared. Thread rule: as the visitor.
template <class T, class Policy>
[[nodiscard]] cow_COW<T, Policy> cls_ReadCow(cls_ReadVisitor const& parent, cls_FieldHandle const& field) {
  using Cow = cow_COW<T, Policy>;
  if (parent.DataIsPresent(field) == 0) return Cow();
  cls_ReadVisitor const visitor(parent, field);
  cls_ObjectToBuild const stored(visitor);
  if (std::shared_ptr<void> const found = stored.FindShared(typeid(Cow), cls_BuiltAs::Unchecked))
    return *std::static_pointer_cast<Cow>(found);
  stored.HoldUnfinished(typeid(Cow));
  try {
    std::unique_ptr<T> payload = cls_Construct<T>(stored);
    auto const holder = std::make_shared<Cow>();
    *holder = Cow(payload.release()); // deletes the payload if it throws
    stored.HoldShared(typeid(Cow), holder, cls_BuiltAs::Unchecked);
    return *holder;
  } catch (...) {
    stored.Forget();
    throw;
  }
}
