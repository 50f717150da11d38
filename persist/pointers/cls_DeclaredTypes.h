#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <mutex>
#include <typeinfo>

/// The types of mementos that have declared where an interface lies in them, so that it is found by comparing
/// addresses and not with a dynamic_cast. Keeps eight; more have no effect.
///
/// Thread rule: any thread. Whoever calls Find has an object of the type, so its declaration lives.
class cls_DeclaredTypes {
 public:
  /// `offset` leads from the memento to the interface.
  void Add(std::type_info const& type, std::ptrdiff_t offset) noexcept {
    std::scoped_lock const lock(m_Mutex);
    for (Entry& each : m_Entries) {
      if (each.m_Type.load(std::memory_order_relaxed) != nullptr) continue;
      each.m_Offset = offset;
      each.m_Type.store(&type, std::memory_order_release);
      return;
    }
  }
  void Remove(std::type_info const& type) noexcept {
    std::scoped_lock const lock(m_Mutex);
    for (Entry& each : m_Entries)
      if (each.m_Type.load(std::memory_order_relaxed) == &type) {
        each.m_Type.store(nullptr, std::memory_order_release);
        return;
      }
  }

  /// The interface of an object; null if it has none.
  template <class Interface, class Memento> [[nodiscard]] Interface* Find(Memento* memento) const noexcept {
    if (memento == nullptr) return nullptr;
    std::type_info const* const type = &typeid(*memento);
    for (Entry const& each : m_Entries)
      if (each.m_Type.load(std::memory_order_acquire) == type)
        return reinterpret_cast<Interface*>(reinterpret_cast<std::byte*>(memento) + each.m_Offset);
    return dynamic_cast<Interface*>(memento);
  }

 private:
  struct Entry {
    std::atomic<std::type_info const*> m_Type = nullptr;
    std::ptrdiff_t m_Offset = 0; // changed only while no object of the type lives
  };

  std::array<Entry, 8> m_Entries;
  std::mutex m_Mutex; // held by those who change the entries
};

/// How far an interface that a class derives from lies behind its memento. Pointers to memory for an object may be
/// converted to pointers to its bases, if these are not virtual.
template <class Class, class Memento, class Interface>
[[nodiscard]] std::ptrdiff_t cls_InterfaceOffset() noexcept {
  alignas(Class) std::byte room[sizeof(Class)];
  auto* const object = reinterpret_cast<Class*>(room);
  static_assert(requires(Memento * one, Interface * other) {
    static_cast<Class*>(one);
    static_cast<Class*>(other);
  });
  return reinterpret_cast<std::byte*>(static_cast<Interface*>(object)) -
         reinterpret_cast<std::byte*>(static_cast<Memento*>(object));
}
