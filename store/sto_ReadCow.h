#pragma once

#include "platform/cow/cow_COW.h"
#include "store/sto_Shared.h"

/// Reads the copy-on-write object that a field holds. In one load all holders of one stored object share one
/// payload, as they did when they were written. Returns an empty holder if the field is absent or its object
/// is not stored.
///
///     Beam::Beam(cls_ReadVisitor const& visitor)
///         : m_Section(sto_ReadCow<Section, cow_Direct<Section>>(visitor, SectionField())) {}
///
///     void Beam::DBWrite(cls_WriteVisitor const& visitor) const {
///       if (!visitor.StartWrite(TypeId(), m_Uid)) return;
///       Section const& section = m_Section.ConstGet();
///       section.DBWrite(cls_WriteVisitor(visitor, SectionField(), nullptr, &section));
///     }
///
/// The payload is stored once because it has one identity. A clone of it must get an identity of its own.
/// The payload is built as by sto_ReadOwned; it must not lead back to itself (Misuse).
/// Errors: as sto_ReadShared. Thread rule: as the store.
template <class T, class Policy>
[[nodiscard]] cow_COW<T, Policy> sto_ReadCow(cls_ReadVisitor const& parent, cls_FieldHandle const& field) {
  using Cow = cow_COW<T, Policy>;
  if (parent.DataIsPresent(field) == 0) return Cow();
  cls_ReadVisitor const visitor(parent, field);
  if (std::shared_ptr<void> const found = sto_FindShared(visitor, typeid(Cow), sto_BuiltAs::Unchecked))
    return *std::static_pointer_cast<Cow>(found);
  sto_HoldUnfinished(visitor, typeid(Cow));
  try {
    auto const holder = std::make_shared<Cow>(sto_Construct<T>(visitor).release());
    sto_HoldShared(visitor, typeid(Cow), holder, sto_BuiltAs::Unchecked);
    return *holder;
  } catch (...) {
    sto_ForgetShared(visitor);
    throw;
  }
}
