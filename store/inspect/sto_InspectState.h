#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "store/session/sto_Session.h"
#include "store/sto_Transaction.h"

/// What an inspection shares with its lists, maps, blobs and walks: the session and its read transaction. Internal to
/// store/inspect. Thread rule: the thread of the session.
class sto_InspectState {
 public:
  /// Begins the transaction. Misuse if one is open.
  explicit sto_InspectState(sto_Store& store);

  /// Ends the transaction.
  void End() noexcept { m_Transaction.reset(); }

  /// The session. Misuse if the inspection is over, the store is closed, or in another thread; Unavailable if the
  /// transaction has failed.
  [[nodiscard]] sto_Session& Session() const;
  /// The record of an object. NotFound, Damaged, NewerFormat.
  [[nodiscard]] sto_RecordRef Record(std::int64_t id) const;
  [[noreturn]] void RaiseDamaged(std::int64_t id, std::string const& what) const;
  [[noreturn]] void RaiseMisuse(std::string const& message) const;

  /// The store's description of a class version; null if it has none. Damaged.
  [[nodiscard]] sto_ClassDescription const* Class(unsigned int classId, int version);
  /// The name of a class version, or of its class; "class 0x650001" if neither is known.
  [[nodiscard]] std::string ClassName(unsigned int classId, int version) const;

 private:
  std::shared_ptr<sto_Session*> m_Session; // points to null when the store is closed
  std::optional<sto_ReadTransaction> m_Transaction;
  std::map<unsigned int, std::vector<sto_ClassDescription>> m_Classes; // those that were asked for
};
