#pragma once

#include "persist/backend/cls_Complex.h"
#include "platform/cow/cow_String.h"
#include "platform/kvl_Export.h"

class cls_PC;

/// Open connection to a stored list of primitives. A bulk array that is tied to the list reads and writes
/// through it, also after the object itself is written or read. Counted by its holders: the last one flushes
/// and deletes it.
/// `T` is bool, cow_String, float, double, unsigned int or int; of some back ends also an integer of 64 bits or
/// cls_Complex (cls_MoreLists.h). Counts and indexes are in elements.
/// The comment before each operation is its virtual slot. Thread rule: one thread.
template <class T> class cls_AgentListPrim {
 public:
  cls_AgentListPrim() = default;
  cls_AgentListPrim(cls_AgentListPrim const&) = delete;
  cls_AgentListPrim& operator=(cls_AgentListPrim const&) = delete;

  /* 0 */ virtual ~cls_AgentListPrim() = default;

  /// The number of elements in the stored list.
  /* 1 */ virtual int Count() = 0;

  /// The number of elements expected when the list was made.
  /* 2 */ virtual int SizeHint() = 0;

  /// Whether another session changed the stored list since this agent was opened or last asked.
  /* 3 */ virtual bool Changed() = 0;

  /// Called once, after all runs of a flush are written.
  /* 4 */ virtual void EndFlush() = 0;

  /// Writes `count` elements starting at `firstIndex`, over the stored ones and beyond the end.
  /* 5 */ virtual void WriteRun(int firstIndex, int count, T const* values) = 0;

  /// Reads up to `count` elements starting at `firstIndex`; returns how many were read.
  /* 6 */ virtual int ReadRun(int firstIndex, int count, T* destination) = 0;

  /* 7 */ virtual void AddReference() = 0;

  /// Drops a holder's reference; the agent itself is not deleted here. Every agent forgets in it the
  /// containers that have left in silence (cls_Holders::Prune): a container that is assigned to drops its
  /// reference while it lives, and is never heard of again.
  /* 8 */ virtual void DropReference() = 0;

  /// Whether a holder still refers to the agent.
  /* 9 */ virtual bool StillReferenced() = 0;

  /// Whether writing is refused.
  /* 10 */ virtual bool ReadOnly() = 0;

  /// Registers a container that holds this agent. The session keeps it until the container is destroyed,
  /// detached or assigned to:
  /// - before a commit, and before stored data is read by other means, it calls Flush of every container;
  /// - before the storage is closed it calls Flush and then Detach of every container.
  /// cls_Holders keeps containers safely: an array that is assigned to leaves its ring in silence.
  /* 11 */ virtual void RegisterHolder(cls_PC* holder) = 0;
};

extern template class KVL_EXPORT cls_AgentListPrim<bool>;
extern template class KVL_EXPORT cls_AgentListPrim<cow_String>;
extern template class KVL_EXPORT cls_AgentListPrim<float>;
extern template class KVL_EXPORT cls_AgentListPrim<double>;
extern template class KVL_EXPORT cls_AgentListPrim<unsigned int>;
extern template class KVL_EXPORT cls_AgentListPrim<int>;
extern template class KVL_EXPORT cls_AgentListPrim<long long>;
extern template class KVL_EXPORT cls_AgentListPrim<unsigned long long>;
extern template class KVL_EXPORT cls_AgentListPrim<cls_Complex<float>>;
extern template class KVL_EXPORT cls_AgentListPrim<cls_Complex<double>>;
