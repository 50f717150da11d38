#pragma once

#include "errors/nex_Exception.h"

/// Which limit was met. Carried, stored and restored unchanged; nothing in the library depends on it.
/// The values stand in stores: never renumber them.
enum nex_OutOfMemoryErrEnm : int {
  NEX_OUTOFMEMORY_SYSTEM = 0, ///< the system had no more memory
  NEX_OUTOFMEMORY_LIMIT = 1,  ///< the application's own limit was reached
};

/// Memory ran out.
///
/// The module owns two process-wide messages, made by nex_initialize and destroyed by the last nex_finalize:
/// a detailed one, which is the text of every such exception, and a short generic one for callers to show.
/// Every construction with a message adds that message to the end of both, for good. Meant.
///
/// Thread rule: constructing one with a message, reading or writing one touches the process-wide messages
/// without a lock: one thread at a time.
class KVL_EXPORT nex_OutOfMemoryException : public nex_Exception {
 public:
  /// Without message; the process-wide messages stay as they are.
  explicit nex_OutOfMemoryException(nex_OutOfMemoryErrEnm error) : m_Err(error) {}

  /// Keeps the message and adds it to both process-wide messages (which exist while the module is
  /// initialised).
  nex_OutOfMemoryException(atr_String const& message, nex_OutOfMemoryErrEnm error);

  /// Rebuilds a stored exception and replaces the process-wide detailed message by the stored one. Meant.
  explicit nex_OutOfMemoryException(cls_ReadVisitor const& visitor);

  nex_OutOfMemoryException(nex_OutOfMemoryException const&) = default;

  /// JournalMessage().
  atr_String AsString() override;
  using nex_Exception::AsString;
  [[noreturn]] void Propagate() const override;
  nex_Exception* Copy() const override;
  unsigned int DynTypeId() const override;

  /// Makes the detailed message this exception's own, although const, then writes the root part, "m_Msg" and
  /// "m_Err": what is stored is always the detailed message of the writing process. Meant.
  void DBWrite(cls_WriteVisitor const& visitor) const override;

  /// The detailed message as it stands now.
  virtual atr_String JournalMessage();
  /// "OutOfMemory".
  virtual atr_String ErrorName();

  // The same of a constant exception; see nex_Exception.
  atr_String JournalMessage() const { return const_cast<nex_OutOfMemoryException*>(this)->JournalMessage(); }
  atr_String ErrorName() const { return const_cast<nex_OutOfMemoryException*>(this)->ErrorName(); }

  static constexpr unsigned int TypeId() noexcept { return 0x1F0009; }

  /// The process-wide generic message, the module's; null while the module is not initialised.
  static atr_String* GetOutOfMemoryMsgGeneric() noexcept;

  [[nodiscard]] atr_String const& Message() const noexcept { return m_Msg; }
  [[nodiscard]] nex_OutOfMemoryErrEnm Error() const noexcept { return m_Err; }
  /// The identity of this class's part.
  [[nodiscard]] cls_Uid const& Uid() const noexcept { return m_Uid; }

 private:
  /// The process-wide detailed message, the module's; null while the module is not initialised. Others ask
  /// JournalMessage.
  KVL_LOCAL static atr_String* GetOutOfMemoryMsgDetailed() noexcept;

  mutable atr_String m_Msg; // written by DBWrite
  nex_OutOfMemoryErrEnm m_Err;
  cls_Uid m_Uid;
};

/// How out-of-memory exceptions are kept by value.
using nex_OutOfMemoryHolder = cow_COW<nex_OutOfMemoryException, cow_Virtual<nex_OutOfMemoryException>>;
