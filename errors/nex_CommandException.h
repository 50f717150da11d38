#pragma once

#include "errors/nex_Exception.h"

/// A failed command of the application; its text is "name: message". Abstract: applications derive their own
/// classes and throw only those.
class KVL_EXPORT nex_CommandException : public nex_Exception {
 public:
  /// Rebuilds the command part of a stored exception.
  explicit nex_CommandException(cls_ReadVisitor const& visitor);

  /// CommandName() and CommandMessage() as "%s: " and the message.
  atr_String AsString() override;
  using nex_Exception::AsString;
  unsigned int DynTypeId() const override;

  /// Writes the root part; this class has no fields.
  void DBWrite(cls_WriteVisitor const& visitor) const override;

  /// The body of the text.
  virtual atr_String CommandMessage() = 0;
  /// The prefix of the text.
  virtual atr_String CommandName() = 0;

  // The same texts for a const exception; see nex_Exception.
  atr_String CommandMessage() const { return const_cast<nex_CommandException*>(this)->CommandMessage(); }
  atr_String CommandName() const { return const_cast<nex_CommandException*>(this)->CommandName(); }

  static constexpr unsigned int TypeId() noexcept { return 0x1F0003; }

  /// The identity of this class's part.
  [[nodiscard]] cls_Uid const& Uid() const noexcept { return m_Uid; }

 protected:
  nex_CommandException() = default;

 private:
  cls_Uid m_Uid;
};
