#pragma once

#include "errors/nex_Exception.h"

/// How a program ends: a message (may be empty) and the exit code.
struct nex_ExitStatus {
  atr_String m_Msg;
  int m_Err = 0;
};

/// A request to end the program; its text is its message or, without one, its code.
class KVL_EXPORT nex_ExitException : public nex_Exception {
 public:
  explicit nex_ExitException(nex_ExitStatus const& status) : m_Value(status) {}

  /// Rebuilds a stored exception; absent fields are an empty message and code 0.
  explicit nex_ExitException(cls_ReadVisitor const& visitor);

  /// The message alone; "Exit code: " and the code where the message is empty.
  atr_String AsString() override;
  using nex_Exception::AsString;
  [[noreturn]] void Propagate() const override;
  nex_Exception* Copy() const override;
  unsigned int DynTypeId() const override;

  /// Writes the root part, then "m_Value.m_Msg" and "m_Value.m_Err".
  void DBWrite(cls_WriteVisitor const& visitor) const override;

  static constexpr unsigned int TypeId() noexcept { return 0x1F0006; }

  [[nodiscard]] nex_ExitStatus const& Value() const noexcept { return m_Value; }
  /// The identity of this class's part.
  [[nodiscard]] cls_Uid const& Uid() const noexcept { return m_Uid; }

 private:
  nex_ExitStatus m_Value;
  cls_Uid m_Uid;
};
