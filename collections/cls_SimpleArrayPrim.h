#pragma once

#include "metadata/cls_CollectionType.h"
#include "persist/backend/cls_AgentListPrim.h"
#include "persist/backend/cls_PC.h"
#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"
#include "platform/kvl_Export.h"

/// Persistent list of primitives that is read and written in runs, directly through its list agent: a cursor
/// over the stored list that keeps no element in memory. To access single elements, use cls_ArrayPrim.
///
/// Its destructor can assign its identity back to a variable of its owner, so that an owner that keeps only
/// the identity knows which stored list the array became.
///
/// Misuse prints its message to the standard error stream, without line end, and continues, which without an
/// agent crashes the process. Errors of the store pass through. `T` is int or float. Counts and positions are
/// in elements. The order of the virtual operations is frozen. Thread rule: one thread.
template <class T> class cls_SimpleArrayPrim : public cls_PC {
 public:
  /// No stored list yet. When one is made, its agent is asked to expect `sizeHint` elements.
  explicit cls_SimpleArrayPrim(int sizeHint) noexcept : m_SizeHint(sizeHint) {}

  /// Shares the other's stored list, position and hint. Intentional: under a fresh identity.
  cls_SimpleArrayPrim(cls_SimpleArrayPrim const& other);

  /// No stored list yet, under a given identity. The destructor assigns the identity back to `uid`.
  /// REQUIRES: `uid` outlives the array and is not a const object.
  cls_SimpleArrayPrim(cls_Uid const& uid, int sizeHint);

  /// Shares the other's stored list, position and hint, under a given identity, which the destructor assigns
  /// back to `uid`.
  cls_SimpleArrayPrim(cls_Uid const& uid, cls_SimpleArrayPrim const& other);

  /// Opens the list that the visitor's object is. The destructor assigns its identity to `uidOut`, unless
  /// null.
  cls_SimpleArrayPrim(cls_ReadVisitor const& visitor, cls_Uid* uidOut);

  /// Drops the agent (the last holder flushes first) and hands back the identity.
  ~cls_SimpleArrayPrim() override;

  /// Drops the own agent, then takes the other's agent, position, hint and identity, and the variable that
  /// the identity is handed back to.
  cls_SimpleArrayPrim& operator=(cls_SimpleArrayPrim const& other);

  /// Reports the end of a flush to the agent; the array itself keeps nothing. Does nothing if the stored list
  /// is read-only.
  void Flush() const override;

  /// As cls_ArrayPrim::Detach.
  void Detach() override;

  /// Makes the stored list, unless there is one already; writes no element.
  virtual void DBWrite(cls_WriteVisitor const& visitor) const;

  virtual unsigned int DynTypeId() const;

  /// The number of elements in the stored list, 0 without one.
  [[nodiscard]] int Size() const;

  /// Goes to a position, clamped to 0 .. Size().
  void Seek(int position);

  /// Whether another session changed the stored list.
  [[nodiscard]] bool IsChanged() const;

  /// Writes a run at the position, over stored elements and beyond the end, and moves past it.
  void Write(T const* values, int count);

  /// Reads up to `count` elements at the position and moves past them. Returns how many were read.
  int Read(T* destination, int count);

  [[nodiscard]] int Position() const noexcept { return m_Position; }
  [[nodiscard]] int SizeHint() const noexcept { return m_SizeHint; }
  [[nodiscard]] cls_Uid const& Uid() const noexcept { return m_Uid; }

  static constexpr unsigned int TypeId() noexcept { return cls_InternalListTypeId; }

 private:
  void Hold(cls_AgentListPrim<T>* agent) const;
  bool LetGo() const;

  mutable cls_AgentListPrim<T>* m_Agent = nullptr; // set by Hold; null after Detach
  int m_Position = 0;                              // moved by Seek, Read and Write
  int m_SizeHint = 0;
  cls_Uid m_Uid;               // made fresh by Detach of the last holder
  cls_Uid* m_UidOut = nullptr; // not owned; assigned by the destructor
};

using cls_SimpleArrayPrimInt = cls_SimpleArrayPrim<int>;
using cls_SimpleArrayPrimFloat = cls_SimpleArrayPrim<float>;

extern template class KVL_EXPORT cls_SimpleArrayPrim<int>;
extern template class KVL_EXPORT cls_SimpleArrayPrim<float>;
