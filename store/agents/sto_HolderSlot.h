#pragma once

#include <cstdint>

#include "persist/backend/cls_PC.h"

/// Where a list agent keeps one container that holds it: a ring of this node and the container. The container
/// leaves the ring by itself when it is destroyed or detached.
///
/// A ring for each container, because an array that is assigned to resets its own links without touching its
/// neighbours: in a common ring the others would be lost with it.
class sto_HolderSlot final : public cls_PC {
 public:
  void Flush() const override {}
  void Detach() override {}

  [[nodiscard]] bool IsFree() const noexcept { return Next() == this; }

  /// The container, null when it has left or has forgotten the ring. In the latter case the container must
  /// still live.
  [[nodiscard]] cls_PC* Holder() const noexcept {
    return !IsFree() && Next()->Next() == this ? Next() : nullptr;
  }

  /// Forgets a container that has forgotten the ring.
  void Prune() noexcept {
    if (!IsFree() && Holder() == nullptr) Reset();
  }

  /// How an array goes back when work is undone.
  struct Before {
    enum class Kind {
      Unknown,    ///< the array was not there, or what it showed was never committed: it has nothing to show
      InMemory,   ///< it had no agent
      Associated, ///< it was on this list
    };
    Kind m_Kind = Kind::Unknown;
    int m_Size = 0;
  };
  Before m_AtBegin; ///< of the transaction
  Before m_AtMark;  ///< of the save

  /// The changes by other sessions that the container has seen, in the agent's count.
  std::int64_t m_SeenForeign = 0;
};
