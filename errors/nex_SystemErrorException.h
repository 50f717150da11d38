#pragma once

#include "errors/nex_Exception.h"
#include "platform/cow/cow_SystemErrorCode.h"

/// A failure of the operating system or the run-time library; its text is the system's text for its codes.
class KVL_EXPORT nex_SystemErrorException : public nex_Exception {
 public:
  explicit nex_SystemErrorException(cow_SystemErrorCode const& code) : m_Value(code) {}

  /// Rebuilds a stored exception; absent codes are 0.
  explicit nex_SystemErrorException(cls_ReadVisitor const& visitor);

  atr_String AsString() override;
  using nex_Exception::AsString;
  [[noreturn]] void Propagate() const override;
  nex_Exception* Copy() const override;
  unsigned int DynTypeId() const override;

  /// Writes the root part, then "m_Value.m_NativeErrorCode" and "m_Value.m_CRTErrorCode".
  void DBWrite(cls_WriteVisitor const& visitor) const override;

  static constexpr unsigned int TypeId() noexcept { return 0x1F0008; }

  [[nodiscard]] cow_SystemErrorCode const& Value() const noexcept { return m_Value; }
  /// The identity of this class's part.
  [[nodiscard]] cls_Uid const& Uid() const noexcept { return m_Uid; }

 private:
  cow_SystemErrorCode m_Value;
  cls_Uid m_Uid;
};
