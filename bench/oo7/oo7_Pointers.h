#pragma once

#include <memory>

// How the objects of a graph hold each other. Own: what an object has. Ref: what it uses; in a graph of shared
// pointers it holds that as well. Back: the way back.

struct oo7_PlainPointers {
  template <class T> using Own = std::unique_ptr<T>;
  template <class T> using Ref = T*;
  template <class T> using Back = T*;
  template <class T> static Own<T> Make() { return std::make_unique<T>(); }
};

struct oo7_SharedPointers {
  template <class T> using Own = std::shared_ptr<T>;
  template <class T> using Ref = std::shared_ptr<T>;
  template <class T> using Back = std::weak_ptr<T>;
  template <class T> static Own<T> Make() { return std::make_shared<T>(); }
};

/// A pointer to use, or to go back, from one that owns or uses.
template <class T> T* oo7_Share(std::unique_ptr<T> const& pointer) {
  return pointer.get();
}
template <class T> T* oo7_Share(T* pointer) {
  return pointer;
}
template <class T> std::shared_ptr<T> oo7_Share(std::shared_ptr<T> const& pointer) {
  return pointer;
}
template <class T> std::shared_ptr<T> oo7_Share(std::weak_ptr<T> const& pointer) {
  return pointer.lock();
}

/// The object that a pointer or a reference leads to, to change it.
template <class Pointer> auto& oo7_Change(Pointer const& pointer) {
  if constexpr (requires { pointer.Edit(); })
    return pointer.Edit();
  else
    return *pointer;
}

/// The object that a pointer leads to. That of a weak pointer has an owner in the graph.
template <class T> T* oo7_Get(T* pointer) {
  return pointer;
}
template <class T> T* oo7_Get(std::unique_ptr<T> const& pointer) {
  return pointer.get();
}
template <class T> T* oo7_Get(std::shared_ptr<T> const& pointer) {
  return pointer.get();
}
template <class T> T* oo7_Get(std::weak_ptr<T> const& pointer) {
  return pointer.lock().get();
}
