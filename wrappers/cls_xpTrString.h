#pragma once

#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"
#include "platform/atr/atr_String.h"
#include "platform/kvl_Export.h"

/// A translatable string as a persisted object: as cls_xpString, stored as the one field "TRSTRING".
class KVL_EXPORT cls_xpTrString {
 public:
  /// A text under a fresh identity; kept unchanged.
  explicit cls_xpTrString(atr_String const& text) noexcept : m_Text(text.AsCow()) {}

  /// The stored text (empty if the field is absent) and its identity.
  explicit cls_xpTrString(cls_ReadVisitor const& visitor);

  /// Writes the text; "no text" as empty text.
  void DBWrite(cls_WriteVisitor const& visitor) const;

  [[nodiscard]] unsigned int DynTypeId() const noexcept { return TypeId(); }
  static constexpr unsigned int TypeId() noexcept { return 0x1A0007; }

  [[nodiscard]] cow_String const& Text() const noexcept { return m_Text; }
  [[nodiscard]] cls_Uid const& Uid() const noexcept { return m_Uid; }

 private:
  cow_String m_Text;
  cls_Uid m_Uid;
};
