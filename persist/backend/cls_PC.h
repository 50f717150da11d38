#pragma once

#include "platform/kvl_Export.h"

/// Base of the persistent bulk containers: a node of a circular list in which a store keeps the containers
/// that hold one of its agents, so that it can flush and detach them.
///
/// Not to be confused with cls_HistoryEntry: here, Link inserts its argument before the called node and
/// unlinks it first if need be; there, Link inserts the called entry, which must be unlinked, after its
/// argument.
///
/// Invariant: a node is linked to itself or in exactly one ring, and leaves it when it is destroyed.
/// The order of the virtual operations is frozen. Thread rule: a ring belongs to one thread.
class KVL_EXPORT cls_PC {
 public:
  cls_PC() noexcept : m_Next(this), m_Previous(this) {}
  cls_PC(cls_PC const&) = delete;
  cls_PC& operator=(cls_PC const&) = delete;
  virtual ~cls_PC();

  /// Writes back what changed. Every container overrides it; the base implementation prints an error and
  /// aborts.
  virtual void Flush() const;

  /// Gives up the connection to the store. Every container overrides it; the base implementation prints an
  /// error and aborts.
  virtual void Detach();

  /// Takes `other` out of its ring, if it is in one, and inserts it right before this node, which is the tail
  /// of the ring that starts here.
  void Link(cls_PC* other) noexcept;

  /// The next node of the ring; the node itself when it is alone.
  [[nodiscard]] cls_PC* Next() const noexcept { return m_Next; }

 protected:
  /// Takes the node out of its ring; does nothing to one that is alone.
  void Unlink() noexcept;

  /// Links the node to itself without touching its neighbours.
  void Reset() noexcept { m_Next = m_Previous = this; }

 private:
  cls_PC* m_Next;
  cls_PC* m_Previous;
};
