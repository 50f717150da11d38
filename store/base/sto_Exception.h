#pragma once

#include <exception>
#include <string>

#include "errors/nex_Exception.h"
#include "store/base/sto_ErrorKind.h"
#include "store/base/sto_SourceLine.h"

/// Every failure of the database module. The message names the store and, if known, the object and the
/// attribute. Catch it, or nex_Exception&; Kind() says what can be done. A program that catches only
/// std::exception gets the message from what(). An exception has identities, so it must be destroyed before
/// nex_finalize and before its thread ends: catch it within the scope that initialises the library. Thread
/// rule: as nex_Exception.
class KVL_EXPORT sto_Exception : public nex_Exception, public std::exception {
 public:
  sto_Exception(sto_ErrorKind kind, atr_String const& message) : m_Kind(kind), m_Value(message) {}

  /// Rebuilds a stored exception.
  explicit sto_Exception(cls_ReadVisitor const& visitor);

  atr_String AsString() override;
  using nex_Exception::AsString;
  [[noreturn]] void Propagate() const override;
  nex_Exception* Copy() const override;
  unsigned int DynTypeId() const override;

  /// Writes the root part, then "m_Kind" and "m_Value".
  void DBWrite(cls_WriteVisitor const& visitor) const override;

  static constexpr unsigned int TypeId() noexcept { return 0x600001; }

  /// The message in UTF-8, as UserReport() returns it; a fixed sentence if there is no message. Allocates
  /// nothing: it is the exception's own text, valid as long as the exception. A message that contains a NUL
  /// character ends there.
  [[nodiscard]] char const* what() const noexcept override;

  [[nodiscard]] sto_ErrorKind Kind() const noexcept { return m_Kind; }
  [[nodiscard]] cls_Uid const& Uid() const noexcept { return m_Uid; }

 private:
  sto_ErrorKind m_Kind;
  atr_String m_Value;
  cls_Uid m_Uid;
};

/// Throws a sto_Exception that carries the calling line.
[[noreturn]] KVL_EXPORT void sto_Raise(sto_ErrorKind kind, std::string const& message,
                                       sto_SourceLine line = sto_SourceLine::Current());
