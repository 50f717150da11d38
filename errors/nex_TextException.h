#pragma once

#include "errors/nex_Exception.h"

/// A general failure; its text is its message.
class KVL_EXPORT nex_TextException : public nex_Exception {
 public:
  explicit nex_TextException(atr_String const& message) : m_Value(message) {}

  /// Rebuilds a stored exception; an absent value is empty.
  explicit nex_TextException(cls_ReadVisitor const& visitor);

  atr_String AsString() override;
  using nex_Exception::AsString;
  [[noreturn]] void Propagate() const override;
  nex_Exception* Copy() const override;
  unsigned int DynTypeId() const override;

  /// Writes the root part, then "m_Value".
  void DBWrite(cls_WriteVisitor const& visitor) const override;

  static constexpr unsigned int TypeId() noexcept { return 0x1F0002; }

  [[nodiscard]] atr_String const& Value() const noexcept { return m_Value; }
  /// The identity of this class's part.
  [[nodiscard]] cls_Uid const& Uid() const noexcept { return m_Uid; }

 private:
  atr_String m_Value;
  cls_Uid m_Uid;
};
