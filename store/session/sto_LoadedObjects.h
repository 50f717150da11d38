#pragma once

#include <cstdint>
#include <memory>
#include <typeindex>
#include <unordered_map>

#include "store/base/sto_BuiltAs.h"

class sto_ElementRead;

/// The shared objects of one load, or of all loads in a load scope: each stored object becomes one object in
/// memory, however many fields hold it. An entry is made before its object is constructed, so that a cycle
/// finds the object it leads back to. Internal to the module. Thread rule: the thread of the session.
class sto_LoadedObjects {
 public:
  struct Entry {
    std::type_index m_Type;
    std::shared_ptr<void> m_Object; // null for an object that cannot be shared; m_WhyNot says why
    char const* m_WhyNot;
    std::int64_t m_Number; // in the order of adding
    sto_BuiltAs m_BuiltAs;
    bool m_IsUndone = false; // its id was given out in undone work, and may now belong to another object
  };

  [[nodiscard]] Entry const* Find(std::int64_t id) const noexcept {
    auto const found = m_Entries.find(id);
    return found == m_Entries.end() || found->second.m_IsUndone ? nullptr : &found->second;
  }
  void Add(std::int64_t id, std::type_index type, std::shared_ptr<void> object, sto_BuiltAs builtAs) {
    m_Entries.insert_or_assign(id, Entry{type, std::move(object), nullptr, ++m_LastNumber, builtAs});
  }
  void AddUnshared(std::int64_t id, std::type_index type, char const* whyNot) {
    m_Entries.insert_or_assign(id, Entry{type, nullptr, whyNot, ++m_LastNumber, sto_BuiltAs::Unchecked});
  }
  /// Forgets an object whose construction failed, and those begun after it, which may lead back to it.
  void RemoveFrom(std::int64_t id) noexcept {
    if (Entry const* const failed = Find(id)) RemoveNumbersFrom(failed->m_Number);
  }
  /// Whether an earlier load of the scope, not the running one, loaded an object.
  [[nodiscard]] bool IsOfEarlierLoad(Entry const& entry) const noexcept {
    return entry.m_Number < m_FirstOfLoad;
  }

  /// The running load of single elements; the mementos of its elements own it.
  [[nodiscard]] std::weak_ptr<sto_ElementRead>& ElementRead() noexcept { return m_ElementRead; }

  [[nodiscard]] bool InLoad() const noexcept { return m_Loads > 0; }
  /// Begins a load; a nested load is part of the outer one.
  void Enter() noexcept {
    if (m_Loads++ == 0) m_FirstOfLoad = m_LastNumber + 1;
  }
  /// Ends a load; the end of the outermost one forgets the objects, unless a scope keeps them.
  void Leave() noexcept {
    --m_Loads;
    ForgetUnlessKept();
  }
  /// Call before Leave if a load failed: if it is the outermost one, forgets its objects even in a scope.
  void Abandon() noexcept {
    if (m_Loads == 1) RemoveNumbersFrom(m_FirstOfLoad);
  }

  /// Begins a load scope; a nested scope is part of the outer one.
  void EnterScope() noexcept { ++m_Scopes; }
  /// Ends a load scope; the end of the outermost one forgets the objects, unless a load is running.
  void LeaveScope() noexcept {
    --m_Scopes;
    ForgetUnlessKept();
  }
  /// The ids from `firstId` on were given out in work that is now undone. The scope keeps their objects
  /// alive, but Find no longer returns them.
  void Undo(std::int64_t firstId) noexcept {
    for (auto& [id, entry] : m_Entries)
      if (id >= firstId) entry.m_IsUndone = true;
  }

 private:
  void RemoveNumbersFrom(std::int64_t first) noexcept {
    std::erase_if(m_Entries, [first](auto const& entry) { return entry.second.m_Number >= first; });
  }
  void ForgetUnlessKept() noexcept {
    if (m_Loads == 0 && m_Scopes == 0) m_Entries.clear();
  }

  int m_Loads = 0;
  int m_Scopes = 0;
  std::int64_t m_LastNumber = 0;
  std::int64_t m_FirstOfLoad = 1; // the number of the first object of the outermost load
  std::unordered_map<std::int64_t, Entry> m_Entries;
  std::weak_ptr<sto_ElementRead> m_ElementRead;
};
