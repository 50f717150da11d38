#pragma once

#include <cstdint>

#include "persist/backend/cls_HolderSlot.h"

/// What an agent notes about one container that holds it. Internal to the module. Thread rule: the thread of
/// the session.
class sto_HolderSlot final : public cls_HolderSlot {
 public:
  /// The earlier state of an array, which undoing restores.
  struct Before {
    enum class Kind {
      Unknown,    ///< there was no array, or its elements were never committed: it becomes unusable
      InMemory,   ///< it was in memory, without an agent
      Associated, ///< it was associated with this list
    };
    Kind m_Kind = Kind::Unknown;
    int m_Size = 0;
  };
  Before m_AtBegin; ///< of the transaction
  Before m_AtMark;  ///< of the save
  /// The transaction and the save in which the container was registered, by their numbers; 0: in none.
  std::int64_t m_HeldInTransaction = 0;
  std::int64_t m_HeldInSave = 0;

  /// The container as the agent's own kind of bulk array, null if it is another kind of container.
  void* m_Array = nullptr;

  /// How many changes by other sessions the container has seen, by the agent's count.
  std::int64_t m_SeenForeign = 0;
};
