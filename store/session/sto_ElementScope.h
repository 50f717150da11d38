#pragma once

#include <exception>
#include <memory>

#include "store/session/sto_OwnTransaction.h"

// The save or load that runs while an element of a collection is written or read through an agent. The
// mementos of the elements own it together; elements that are begun while it runs join it. Internal to the
// module. Thread rule: as the session.

/// A save of single elements, in the open transaction or in one of its own. Its destructor, after the last
/// element is written, ends it; if an exception is passing through, the destructor undoes it instead. The
/// session keeps a failure of the destructor (sto_Session::Keep).
class sto_ElementSave {
 public:
  /// The save that an element belongs to: the running one or a new one. Null if an object is being saved; the
  /// element then belongs to that save.
  static std::shared_ptr<sto_ElementSave> Join(sto_Session& session);

  /// Begins a save. Misuse in a transaction that only reads; errors of sto_Save::Begin.
  explicit sto_ElementSave(sto_Session& session);
  sto_ElementSave(sto_ElementSave const&) = delete;
  sto_ElementSave& operator=(sto_ElementSave const&) = delete;
  ~sto_ElementSave();

 private:
  sto_Session& m_Session;
  int m_Exceptions = std::uncaught_exceptions();
  sto_OwnTransaction m_Transaction;
};

/// A load of single elements, in the open transaction or in one of its own. Its destructor ends it.
class sto_ElementRead {
 public:
  /// The load that an element belongs to: the running one or a new one.
  static std::shared_ptr<sto_ElementRead> Join(sto_Session& session);

  explicit sto_ElementRead(sto_Session& session);
  sto_ElementRead(sto_ElementRead const&) = delete;
  sto_ElementRead& operator=(sto_ElementRead const&) = delete;
  ~sto_ElementRead();

 private:
  sto_Session& m_Session;
  sto_OwnTransaction m_Transaction;
  sto_ReadAhead::Walk m_Walk;
};
