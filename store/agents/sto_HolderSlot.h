#pragma once

#include <cstdint>

#include "persist/backend/cls_PC.h"

/// How an agent refers to one container that holds it: a ring of this node and the container. The container
/// leaves the ring by itself when it is destroyed or detached. Internal to the module. Thread rule: the
/// thread of the session.
///
/// Each container has a ring of its own, because an array that is assigned to resets its own links without
/// touching its neighbours: in a common ring the other containers would be lost with it.
class sto_HolderSlot final : public cls_PC {
 public:
  void Flush() const override {}
  void Detach() override {}

  [[nodiscard]] bool IsFree() const noexcept { return Next() == this; }

  /// The container; null if it has left the ring or forgotten it. REQUIRES: a container that has forgotten
  /// the ring is still alive.
  [[nodiscard]] cls_PC* Holder() const noexcept {
    return !IsFree() && Next()->Next() == this ? Next() : nullptr;
  }

  /// Removes a container that has forgotten the ring.
  void Prune() noexcept {
    if (!IsFree() && Holder() == nullptr) Reset();
  }

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

  /// How many changes by other sessions the container has seen, by the agent's count.
  std::int64_t m_SeenForeign = 0;
};
