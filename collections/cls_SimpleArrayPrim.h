#pragma once

#include "metadata/cls_CollectionType.h"
#include "persist/backend/cls_AgentListPrim.h"
#include "persist/backend/cls_PC.h"
#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"
#include "platform/kvl_Export.h"

/// Persistent list of primitives that is read and written in runs, straight through its list agent: a cursor
/// over the stored list that keeps no element in memory. Use cls_ArrayPrim to touch elements one by one.
///
/// It can hand its identity back to a variable of its owner when it is destroyed, so that an owner that keeps
/// only the identity learns which stored list the array became.
///
/// Misuse prints its message to the standard error stream, without line end, and goes on, which without agent
/// ends the process. Errors of the store pass. `T` is int or float. Counts and positions are in elements. The
/// order of the virtual operations is frozen. Thread rule: one thread.
template <class T> class cls_SimpleArrayPrim : public cls_PC {
 public:
  /// No stored list yet; one that is made will be told to expect `sizeHint` elements.
  explicit cls_SimpleArrayPrim(int sizeHint) noexcept : m_SizeHint(sizeHint) {}

  /// Shares the other's stored list, position and hint, under a fresh identity. Meant.
  cls_SimpleArrayPrim(cls_SimpleArrayPrim const& other);

  /// No stored list yet, under a given identity, which the destructor assigns back to `uid`: it must outlive
  /// the array and not be a const object.
  cls_SimpleArrayPrim(cls_Uid const& uid, int sizeHint);

  /// Shares the other's stored list, position and hint, under a given identity, which is handed back to
  /// `uid`.
  cls_SimpleArrayPrim(cls_Uid const& uid, cls_SimpleArrayPrim const& other);

  /// Opens the list that the visitor's object is; hands its identity back to `uidOut` unless that is null.
  cls_SimpleArrayPrim(cls_ReadVisitor const& visitor, cls_Uid* uidOut);

  /// Lets go of the agent, the last holder after a flush, and hands back the identity.
  ~cls_SimpleArrayPrim() override;

  /// Lets go of the own agent, then takes the other's agent, position, hint, identity and place to hand it
  /// to.
  cls_SimpleArrayPrim& operator=(cls_SimpleArrayPrim const& other);

  /// Tells the agent that a flush ends; nothing is kept here. Not when the stored list is read-only.
  void Flush() const override;

  /// As cls_ArrayPrim::Detach.
  void Detach() override;

  /// Makes the stored list, unless there is one; writes no element.
  virtual void DBWrite(cls_WriteVisitor const& visitor) const;

  virtual unsigned int DynTypeId() const;

  /// The number of elements in the stored list, 0 without one.
  [[nodiscard]] int Size() const;

  /// Goes to a position, clamped to 0 .. Size().
  void Seek(int position);

  /// Whether another session has changed the stored list.
  [[nodiscard]] bool IsChanged() const;

  /// Writes a run at the position, over stored elements and beyond the end, and goes behind it.
  void Write(T const* values, int count);

  /// Reads up to `count` elements from the position on, goes behind them, and returns how many there were.
  int Read(T* destination, int count);

  [[nodiscard]] int Position() const noexcept { return m_Position; }
  [[nodiscard]] int SizeHint() const noexcept { return m_SizeHint; }
  [[nodiscard]] cls_Uid const& Uid() const noexcept { return m_Uid; }

  static constexpr unsigned int TypeId() noexcept { return cls_InternalListTypeId; }

 private:
  void Hold(cls_AgentListPrim<T>* agent) const;
  bool LetGo() const;

  mutable cls_AgentListPrim<T>* m_Agent = nullptr; // set by DBWrite
  int m_Position = 0;
  int m_SizeHint = 0;
  cls_Uid m_Uid;
  cls_Uid* m_UidOut = nullptr;
};

using cls_SimpleArrayPrimInt = cls_SimpleArrayPrim<int>;
using cls_SimpleArrayPrimFloat = cls_SimpleArrayPrim<float>;

extern template class KVL_EXPORT cls_SimpleArrayPrim<int>;
extern template class KVL_EXPORT cls_SimpleArrayPrim<float>;
