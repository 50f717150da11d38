#pragma once

#include <exception>
#include <memory>

#include "store/session/sto_OwnTransaction.h"

// What goes on while one element of a collection is written or read through an agent. The element's memento
// keeps it; what is begun meanwhile is part of it. Internal to the module. Thread rule: as the session.

/// A save of single elements, in the open transaction or in one of its own. It ends when the last element is
/// written; when an exception passes through at that moment, it is undone. What fails then is kept.
class sto_ElementSave {
 public:
  /// The save that elements belong to: null when an object is being saved that they are part of.
  static std::shared_ptr<sto_ElementSave> Join(sto_Session& session);

  explicit sto_ElementSave(sto_Session& session);
  sto_ElementSave(sto_ElementSave const&) = delete;
  sto_ElementSave& operator=(sto_ElementSave const&) = delete;
  ~sto_ElementSave();

 private:
  sto_Session& m_Session;
  int m_Exceptions = std::uncaught_exceptions();
  sto_OwnTransaction m_Transaction;
};

/// A load of single elements, in the open transaction or in one of its own.
class sto_ElementRead {
 public:
  static std::shared_ptr<sto_ElementRead> Join(sto_Session& session);

  explicit sto_ElementRead(sto_Session& session);
  sto_ElementRead(sto_ElementRead const&) = delete;
  sto_ElementRead& operator=(sto_ElementRead const&) = delete;
  ~sto_ElementRead();

 private:
  sto_Session& m_Session;
  sto_OwnTransaction m_Transaction;
};
