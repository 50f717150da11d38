#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "errors/nex_Exception.h"
#include "store/base/sto_ErrorKind.h"
#include "store/base/sto_SourceLine.h"

/// What two sessions have changed at the same time: see sto_Exception::Conflicts.
struct sto_Conflicts {
  std::vector<std::int64_t> m_Objects; ///< ids, as in sto_SaveEntry, ascending
  std::vector<std::string> m_Roots;    ///< names

  friend bool operator==(sto_Conflicts const& a, sto_Conflicts const& b) = default;
};

/// Every failure of the database module. The message names the store and, if known, the object and the
/// attribute. Catch it, or nex_Exception&; Kind() says what can be done. A program that catches only
/// std::exception gets the message from what(). An exception has identities, so it must be destroyed before
/// nex_finalize and before its thread ends: catch it within the scope that initialises the library. Thread
/// rule: as nex_Exception.
class KVL_EXPORT sto_Exception : public nex_Exception, public std::exception {
 public:
  sto_Exception(sto_ErrorKind kind, atr_String const& message) : m_Kind(kind), m_Value(message) {}
  /// A Conflict at a commit. Throws std::bad_alloc.
  sto_Exception(atr_String const& message, sto_Conflicts conflicts);

  /// Rebuilds a stored exception.
  explicit sto_Exception(cls_ReadVisitor const& visitor);

  atr_String AsString() override;
  using nex_Exception::AsString;
  [[noreturn]] void Propagate() const override;
  nex_Exception* Copy() const override;
  unsigned int DynTypeId() const override;

  /// Writes the root part, then "m_Kind", "m_Value", and what Conflicts returns as "m_Objects" and "m_Roots".
  void DBWrite(cls_WriteVisitor const& visitor) const override;

  static constexpr unsigned int TypeId() noexcept { return 0x600001; }

  /// The message in UTF-8, as UserReport() returns it; a fixed sentence if there is no message. Allocates
  /// nothing: it is the exception's own text, valid as long as the exception. A message that contains a NUL
  /// character ends there.
  [[nodiscard]] char const* what() const noexcept override;

  [[nodiscard]] sto_ErrorKind Kind() const noexcept { return m_Kind; }
  [[nodiscard]] cls_Uid const& Uid() const noexcept { return m_Uid; }

  /// Of a Conflict that a commit raises: the objects and roots that another session has changed since the
  /// transaction began, and that this transaction changes too. Empty for every other failure, and always in a
  /// store in an SQLite file: there a transaction that writes waits until no other one does. Copies of the
  /// exception have it too, and so has one that was stored and loaded. Valid as long as the exception.
  [[nodiscard]] sto_Conflicts const& Conflicts() const noexcept;

 private:
  sto_ErrorKind m_Kind;
  atr_String m_Value;
  std::shared_ptr<sto_Conflicts const> m_Conflicts; // null: none; shared, so that a copy allocates nothing
  cls_Uid m_Uid;
};

/// Throws a sto_Exception that carries the calling line.
[[noreturn]] KVL_EXPORT void sto_Raise(sto_ErrorKind kind, std::string const& message,
                                       sto_SourceLine line = sto_SourceLine::Current());

/// Throws a Conflict at a commit.
[[noreturn]] KVL_EXPORT void sto_RaiseConflict(std::string const& message, sto_Conflicts conflicts,
                                               sto_SourceLine line = sto_SourceLine::Current());
