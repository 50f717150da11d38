#pragma once

#include "persist/identity/cls_Uid.h"
#include "platform/atr/atr_String.h"
#include "platform/cow/cow_COW.h"
#include "platform/kvl_Export.h"

class cls_ReadVisitor;
class cls_WriteVisitor;

/// Root of everything that the library and the applications on it throw.
///
/// To raise: compose the message as an atr_String (atr_translate), make the exception on the stack, and call
/// Throw with the source file's name (no folder, no extension) and the line:
///
///     nex_TextException(message).Throw("nex_TypeTable", 46);
///
/// Throw records file and line and throws a copy as the most-derived class; catch that class or
/// nex_Exception&.
/// An exception is also a persisted object: each class level has an identity and writes its fields.
///
/// The virtual operations that return texts are not const. A class that overrides one hides its const form
/// and declares it again: `using nex_Exception::AsString;`.
///
/// The order of the virtual operations is frozen. Thread rule: a plain value of one thread.
class KVL_EXPORT nex_Exception {
 public:
  /// Rebuilds the root part of a stored exception; absent fields are an empty file and line 0.
  explicit nex_Exception(cls_ReadVisitor const& visitor);

  /// Copies file, line, value and identities.
  nex_Exception(nex_Exception const&) = default;
  nex_Exception& operator=(nex_Exception const&) = default;

  virtual ~nex_Exception();

  /// "Exception: %s in file %s at line %d" of UserReport() and the place.
  virtual atr_String DeveloperReport();

  /// The text for users: AsString().
  virtual atr_String UserReport();

  /// The text of this class's value.
  virtual atr_String AsString() = 0;

  /// Throws a copy of the object as its most-derived class.
  [[noreturn]] virtual void Propagate() const = 0;

  /// A copy on the heap, of the most-derived class. The caller deletes it.
  virtual nex_Exception* Copy() const = 0;

  /// The most-derived class's TypeId().
  virtual unsigned int DynTypeId() const;

  /// Writes the root part: "m_FromFile" and "m_FromLine".
  virtual void DBWrite(cls_WriteVisitor const& visitor) const;

  // The same texts for a const exception; they call the virtual operations. REQUIRES: no override changes its
  // object, as those of this library do not.
  atr_String DeveloperReport() const { return const_cast<nex_Exception*>(this)->DeveloperReport(); }
  atr_String UserReport() const { return const_cast<nex_Exception*>(this)->UserReport(); }
  atr_String AsString() const { return const_cast<nex_Exception*>(this)->AsString(); }

  /// Records file and line and throws a copy. Never returns.
  [[noreturn]] void Throw(char const* file, int line);

  static constexpr unsigned int TypeId() noexcept { return 0x1F0001; }

  /// The source file's name where the exception was raised; empty until thrown.
  [[nodiscard]] cow_String const& FromFile() const noexcept { return m_FromFile; }
  /// The line in that file; 0 until thrown.
  [[nodiscard]] int FromLine() const noexcept { return m_FromLine; }
  /// The identity of the root part.
  [[nodiscard]] cls_Uid const& RootUid() const noexcept { return m_RootUid; }

 protected:
  nex_Exception() = default;

 private:
  cow_String m_FromFile;
  int m_FromLine = 0;
  cls_Uid m_RootUid;
};

/// Holds an exception by value, copy-on-write.
using nex_ExceptionHolder = cow_COW<nex_Exception, cow_Virtual<nex_Exception>>;
