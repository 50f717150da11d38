#pragma once

#include "errors/nex_Exception.h"

/// Which limit was reached. Stored and restored unchanged; nothing in the library depends on it.
/// The values are stored: never renumber them.
enum nex_OutOfMemoryErrEnm : int {
  NEX_OUTOFMEMORY_SYSTEM = 0, ///< the system had no more memory
  NEX_OUTOFMEMORY_LIMIT = 1,  ///< the application's own limit was reached
};

/// Memory ran out.
///
/// The module owns two process-wide messages, made by nex_initialize and destroyed by the last nex_finalize:
/// a detailed one, which is the text of every such exception, and a short generic one for callers to show.
/// Intentional: every construction with a message appends that message to both, permanently.
///
/// Thread rule: only one thread at a time may construct one with a message, read one or write one: these use
/// the process-wide messages without a lock.
class KVL_EXPORT nex_OutOfMemoryException : public nex_Exception {
 public:
  /// Without message; does not change the process-wide messages.
  explicit nex_OutOfMemoryException(nex_OutOfMemoryErrEnm error) : m_Err(error) {}

  /// Keeps the message and appends it to both process-wide messages (which exist while the module is
  /// initialised).
  nex_OutOfMemoryException(atr_String const& message, nex_OutOfMemoryErrEnm error);

  /// Rebuilds a stored exception. Intentional: the stored message replaces the process-wide detailed one.
  explicit nex_OutOfMemoryException(cls_ReadVisitor const& visitor);

  nex_OutOfMemoryException(nex_OutOfMemoryException const&) = default;

  /// JournalMessage().
  atr_String AsString() override;
  using nex_Exception::AsString;
  [[noreturn]] void Propagate() const override;
  nex_Exception* Copy() const override;
  unsigned int DynTypeId() const override;

  /// Takes the process-wide detailed message as its own, although const, then writes the root part, "m_Msg"
  /// and "m_Err". Intentional: the stored message is always the detailed message of the writing process.
  void DBWrite(cls_WriteVisitor const& visitor) const override;

  /// The current detailed message.
  virtual atr_String JournalMessage();
  /// "OutOfMemory".
  virtual atr_String ErrorName();

  // The same texts for a const exception; see nex_Exception.
  atr_String JournalMessage() const { return const_cast<nex_OutOfMemoryException*>(this)->JournalMessage(); }
  atr_String ErrorName() const { return const_cast<nex_OutOfMemoryException*>(this)->ErrorName(); }

  static constexpr unsigned int TypeId() noexcept { return 0x1F0009; }

  /// The process-wide generic message, owned by the module; null while the module is not initialised.
  static atr_String* GetOutOfMemoryMsgGeneric() noexcept;

  [[nodiscard]] atr_String const& Message() const noexcept { return m_Msg; }
  [[nodiscard]] nex_OutOfMemoryErrEnm Error() const noexcept { return m_Err; }
  /// The identity of this class's part.
  [[nodiscard]] cls_Uid const& Uid() const noexcept { return m_Uid; }

 private:
  /// The process-wide detailed message, owned by the module; null while the module is not initialised.
  /// Callers outside the library use JournalMessage.
  KVL_LOCAL static atr_String* GetOutOfMemoryMsgDetailed() noexcept;

  mutable atr_String m_Msg; // written by DBWrite
  nex_OutOfMemoryErrEnm m_Err;
  cls_Uid m_Uid;
};

/// Holds an out-of-memory exception by value, copy-on-write.
using nex_OutOfMemoryHolder = cow_COW<nex_OutOfMemoryException, cow_Virtual<nex_OutOfMemoryException>>;
