#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <unordered_map>

#include "store/session/sto_Reach.h"
#include "store/session/sto_SpareBuilders.h"

class sto_ElementSave;
class sto_Session;

/// The saves of a session, of which at most one is going on: what belongs to it is written once, and is undone
/// as a whole when it fails. Internal to the module. Thread rule: the thread of the session.
class sto_Save {
 public:
  explicit sto_Save(sto_Session& session) noexcept : m_Session(session) {}
  sto_Save(sto_Save const&) = delete;
  sto_Save& operator=(sto_Save const&) = delete;

  /// Starts a save under a root name, or of an element (null), in a write transaction. Misuse during a save.
  void Begin(std::string_view const* root = nullptr);
  /// Ends it. When it raises, the save is still going on: undo it.
  void End();
  void Undo() noexcept;
  /// The transaction is over, and what its saves have met does not matter any more.
  void EndTransaction() noexcept;

  [[nodiscard]] bool IsGoingOn() const noexcept { return m_IsGoingOn; }
  /// Misuse when no save is going on.
  void Check() const;
  /// The number of the latest save.
  [[nodiscard]] std::int64_t Number() const noexcept { return m_Number; }
  /// Whether an object's id was given out in this save, so that nothing of it can be in the store yet.
  [[nodiscard]] bool IsNew(std::int64_t id) const noexcept { return id >= m_FirstId; }

  /// An object of the save failed: the save can only be undone, even when nobody passes the failure on.
  void MarkIncomplete() noexcept { m_IsIncomplete = true; }

  /// What the saves of the transaction have met.
  [[nodiscard]] sto_Reach& Reach() noexcept { return m_Reach; }

  /// Compares a collection that is written with the one that was written under the same id earlier in this
  /// save, if any: one identity cannot have two values. Conflict; `what` says what they are.
  void CheckSameCollection(std::int64_t id, std::uint64_t hash, char const* what = "lists");

  [[nodiscard]] sto_SpareBuilders& Builders() noexcept { return m_Builders; }

  /// The save of single elements that is going on; the mementos of its elements keep it.
  [[nodiscard]] std::weak_ptr<sto_ElementSave>& ElementSave() noexcept { return m_ElementSave; }

 private:
  sto_Session& m_Session;
  sto_Reach m_Reach;
  sto_SpareBuilders m_Builders;
  std::weak_ptr<sto_ElementSave> m_ElementSave;
  bool m_IsGoingOn = false;
  bool m_IsIncomplete = false;
  std::int64_t m_Number = 0;
  std::int64_t m_FirstId = 1;
  std::unordered_map<std::int64_t, std::uint64_t> m_Collections; // the hashes of those that were written
};
