#pragma once

#include "platform/cow/cow_CountedHld.h"

/// Copy policy for plain values: the copy constructor.
template <class T> struct cow_Direct {
  static T* Copy(T const& object) { return new T(object); }
};

/// Copy policy of class hierarchies: the virtual clone `Copy()`, so the most-derived class survives.
template <class T> struct cow_Virtual {
  // The clone is a T, but its class may declare Copy() as returning the root class.
  static T* Copy(T const& object) { return static_cast<T*>(object.Copy()); }
};

/// Copy-on-write holder: copies share one object until one of them asks to change it.
/// Thread rule: as cow_CountedHld.
template <class T, class Policy> class cow_COW {
 public:
  /// Holds nothing.
  cow_COW() = default;

  /// Takes ownership of `object`, which may be null.
  explicit cow_COW(T* object) : m_Holder(object) {}

  [[nodiscard]] bool IsNull() const noexcept { return m_Holder.Ptr() == nullptr; }
  [[nodiscard]] int UseCount() const noexcept { return m_Holder.UseCount(); }

  /// The held object for reading; null if there is none.
  [[nodiscard]] T const* ConstPtr() const noexcept { return m_Holder.Ptr(); }

  /// The held object for reading. REQUIRES: there is one.
  [[nodiscard]] T const& ConstGet() const noexcept { return *m_Holder.Ptr(); }

  /// The held object for writing, cloned first if it is shared. If the clone throws, the holder keeps its
  /// share. REQUIRES: there is one.
  [[nodiscard]] T& Get() {
    if (m_Holder.UseCount() != 1) m_Holder = cow_CountedHld<T>(Policy::Copy(*m_Holder.Ptr()));
    return *m_Holder.Ptr();
  }

 private:
  cow_CountedHld<T> m_Holder;
};
