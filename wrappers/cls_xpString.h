#pragma once

#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"
#include "platform/cow/cow_String.h"
#include "platform/kvl_Export.h"

/// A plain string as a persisted object: a text with an identity, stored as the one field "STRING".
///
/// Intentional: writing neither starts the visitor nor checks whether the object was written before, so
/// writing twice in one pass writes the field twice. REQUIRES for DBWrite: the visitor is started.
///
/// Not polymorphic: copy it as a value; copies share text and identity. Thread rule: one thread. Errors:
/// those of the visitor's back end, std::bad_alloc.
class KVL_EXPORT cls_xpString {
 public:
  /// A text under a fresh identity.
  explicit cls_xpString(cow_String const& text) noexcept : m_Text(text) {}

  /// The stored text (empty if the field is absent) and its identity.
  explicit cls_xpString(cls_ReadVisitor const& visitor);

  /// Writes the text; "no text" as empty text.
  void DBWrite(cls_WriteVisitor const& visitor) const;

  [[nodiscard]] unsigned int DynTypeId() const noexcept { return TypeId(); }
  static constexpr unsigned int TypeId() noexcept { return 0x1A0001; }

  [[nodiscard]] cow_String const& Text() const noexcept { return m_Text; }
  [[nodiscard]] cls_Uid const& Uid() const noexcept { return m_Uid; }

 private:
  cow_String m_Text;
  cls_Uid m_Uid;
};
