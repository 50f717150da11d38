#pragma once

#include <cstdint>
#include <memory>
#include <typeindex>
#include <unordered_map>

#include "store/sto_Shared.h"

/// The shared objects of one load: each stored object becomes one object in memory, however many fields hold
/// it. Entries exist from before the object's construction on, so that a cycle finds the object it leads back
/// to. Thread rule: the thread of the session.
class sto_LoadedObjects {
 public:
  struct Entry {
    std::type_index m_Type;
    std::shared_ptr<void> m_Object; // null for an object that cannot be shared, for the reason m_WhyNot
    char const* m_WhyNot;
    std::int64_t m_Number; // in the order of adding
    sto_BuiltAs m_BuiltAs;
  };

  [[nodiscard]] Entry const* Find(std::int64_t id) const noexcept {
    auto const found = m_Entries.find(id);
    return found == m_Entries.end() ? nullptr : &found->second;
  }
  void Add(std::int64_t id, std::type_index type, std::shared_ptr<void> object, sto_BuiltAs builtAs) {
    m_Entries.insert_or_assign(id, Entry{type, std::move(object), nullptr, ++m_LastNumber, builtAs});
  }
  void AddUnshared(std::int64_t id, std::type_index type, char const* whyNot) {
    m_Entries.insert_or_assign(id, Entry{type, nullptr, whyNot, ++m_LastNumber, sto_BuiltAs::Unchecked});
  }
  /// Forgets an object whose construction failed, and those that were begun after it: they may lead back to
  /// it.
  void RemoveFrom(std::int64_t id) noexcept {
    if (Entry const* const failed = Find(id))
      std::erase_if(m_Entries,
                    [first = failed->m_Number](auto const& entry) { return entry.second.m_Number >= first; });
  }

  [[nodiscard]] bool InLoad() const noexcept { return m_Depth > 0; }
  /// A load begins; one inside another is part of it.
  void Enter() noexcept { ++m_Depth; }
  /// A load ends; the outermost one forgets the objects.
  void Leave() noexcept {
    if (--m_Depth == 0) m_Entries.clear();
  }

 private:
  int m_Depth = 0;
  std::int64_t m_LastNumber = 0;
  std::unordered_map<std::int64_t, Entry> m_Entries;
};
