#pragma once

#include <memory>
#include <string>

#include "platform/kvl_Export.h"

class cls_MementoRead;
class cls_MementoWrite;
class sto_Session;

/// The store that a list of an array is in, and whether that was closed. Internal to store/arrays. Thread rule: the
/// thread of the store.
class KVL_EXPORT sto_ArrayHome {
 public:
  // The list is read or written through a memento of its store. Misuse if the memento is of another back end.
  void Take(cls_MementoRead& memento);
  void Take(cls_MementoWrite& memento);

  /// The list was given up: its store was closed, or undid the work that made it.
  void NoteDetached() noexcept;

  /// Unavailable if the store was closed.
  void CheckOpen() const {
    if (m_IsClosed) [[unlikely]]
      RaiseClosed();
  }

  /// Whether the list is in the store of a memento.
  [[nodiscard]] bool IsIn(cls_MementoWrite const& memento) const noexcept;

  /// Calls `act`, which writes to the store, in the open transaction of the store or in one of its own. If it raises, the
  /// transaction is undone; an open one can only be rolled back then, so that nobody commits half of the work.
  template <class Act> void InTransaction(Act act) const {
    Run(&act, [](void* untyped) { (*static_cast<Act*>(untyped))(); });
  }

  /// The store raises the exception that is being handled, because it cannot be raised here.
  void KeepFailure() const noexcept;

  /// For messages: "The array in plate.kvs", "The array".
  [[nodiscard]] std::string Describe() const;

 private:
  void Take(sto_Session& session);
  void Run(void* context, void (*act)(void* context)) const;
  [[noreturn]] void RaiseClosed() const;

  std::shared_ptr<sto_Session*>
      m_Session; // null: in memory; the pointer in it is null once the store is closed
  std::string m_Location;
  bool m_IsClosed = false;
};
