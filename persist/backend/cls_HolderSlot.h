#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <vector>

#include "persist/backend/cls_PC.h"

/// How a back end refers to one container that holds one of its agents: a ring of this node and the
/// container. The container leaves the ring by itself when it is destroyed or detached.
///
/// Each container needs a ring of its own. An array that is assigned to resets its own links without touching
/// its neighbours: in a common ring the other containers would be lost with it. In a ring of its own it
/// leaves a node that still points at it, and it no longer points back. It then drops its reference to the
/// agent. That is the only moment to notice: the array lives, but it will not leave the ring again when it is
/// destroyed. So every agent calls Prune in DropReference; a node that is not pruned there reads freed memory
/// later.
///
/// cls_Holders keeps the slots of an agent. Thread rule: the thread of the containers.
class cls_HolderSlot : public cls_PC {
 public:
  // This node holds no data. Intentional: not the base class's, which end the process.
  void Flush() const override {}
  void Detach() override {}

  [[nodiscard]] bool IsFree() const noexcept { return Next() == this; }

  /// The container; null if it has left the ring or forgotten it. REQUIRES: a container that has forgotten
  /// the ring is still alive.
  [[nodiscard]] cls_PC* Holder() const noexcept {
    return !IsFree() && Next()->Next() == this ? Next() : nullptr;
  }

  /// Removes a container that has forgotten the ring. REQUIRES: as Holder.
  void Prune() noexcept {
    if (!IsFree() && Holder() == nullptr) Reset();
  }
};

/// The containers that hold one agent. An agent of a list, or of a collection of objects, has one of these
/// and
///
/// - calls Hold in RegisterHolder, and Prune in DropReference, always;
/// - lets the session call Flush before a commit and before stored data is read by other means;
/// - lets the session call Flush and then Detach before the storage is closed.
///
/// A container never registers twice without dropping its reference between. `Slot` is cls_HolderSlot, or a
/// class derived from it that notes more about each container. Thread rule: the thread of the containers.
template <class Slot = cls_HolderSlot> class cls_Holders {
 public:
  cls_Holders() = default;
  cls_Holders(cls_Holders const&) = delete;
  cls_Holders& operator=(cls_Holders const&) = delete;

  /// A free slot, for `Hold`; valid as long as this object. Throws std::bad_alloc; then nothing has changed.
  [[nodiscard]] Slot& FreeSlot() {
    for (std::unique_ptr<Slot> const& slot : m_Slots)
      if (slot->IsFree()) return *slot;
    return *m_Slots.emplace_back(std::make_unique<Slot>());
  }
  /// Registers a container. Throws std::bad_alloc; then it is not registered.
  void Hold(cls_PC* holder) { FreeSlot().Link(holder); }

  /// Forgets the containers that have forgotten their rings. Call it in every DropReference.
  void Prune() noexcept {
    for (std::unique_ptr<Slot> const& slot : m_Slots) slot->Prune();
  }

  [[nodiscard]] int Count() const noexcept {
    return static_cast<int>(
        std::ranges::count_if(m_Slots, [](auto const& slot) { return slot->Holder() != nullptr; }));
  }
  /// Calls `act` with each container and its slot. `act` may detach or destroy the container, and no other.
  template <class Act> void ForEach(Act act) const {
    for (std::size_t i = 0; i < m_Slots.size(); ++i) // a flush may register containers
      if (cls_PC* const holder = m_Slots[i]->Holder()) act(*holder, *m_Slots[i]);
  }
  /// Lets each container write back what changed. Errors: whatever the agent raises; the containers after the
  /// one that failed are not flushed.
  void Flush() const {
    ForEach([](cls_PC const& holder, Slot const&) { holder.Flush(); });
  }
  /// Detaches each container; they go on in memory with the elements that they have there. The last one
  /// deletes the agent, if nothing else refers to it: take a reference before, and delete the agent
  /// afterwards.
  void Detach() const {
    ForEach([](cls_PC& holder, Slot const&) { holder.Detach(); });
  }

 private:
  std::vector<std::unique_ptr<Slot>> m_Slots; // each keeps its address, which its ring contains
};
