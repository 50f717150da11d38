#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <typeindex>
#include <typeinfo>
#include <utility>

#include "persist/pointers/cls_BuildFailure.h"
#include "persist/pointers/cls_LaterReads.h"
#include "persist/pointers/cls_LoadedTable.h"
#include "persist/pointers/cls_ResidentObjects.h"

/// What is known about the C++ class as which an object is built or requested.
enum class cls_BuiltAs : std::uint8_t {
  Unchecked, ///< nothing: the class has no TypeId
  Itself,    ///< it is exactly the object's class
  ByMetadata ///< it is the class that the object's metadata builds, or a base of that class
};

/// The shared objects of one load, or of all loads in a scope: each stored object becomes one object in memory,
/// however many fields hold it. An entry is made before its object is constructed, so that a cycle finds the
/// object it leads back to.
///
/// Every cls_ObjectSource has one. A back end calls three things: it brackets each load with a cls_OneLoad, it
/// may offer scopes (EnterScope), and it calls Undo when it takes back numbers. The functions that read
/// pointers do the rest.
///
/// Invariants:
/// 1. A number has at most one entry that can be found.
/// 2. Outside of loads and scopes there are no entries.
///
/// Ownership: the table keeps its objects alive. Errors: adding throws std::bad_alloc, and then nothing has
/// changed. Thread rule: one thread.
class cls_LoadedObjects {
 public:
  struct Entry {
    std::type_index m_Type;
    std::shared_ptr<void> m_Object; ///< null for an object that cannot be shared
    std::uint32_t m_Load;           ///< the load that has added it
    cls_BuildFault m_WhyNot;        ///< why it cannot be shared
    cls_BuiltAs m_BuiltAs;
    bool m_IsUndone = false; ///< its number was given out in undone work; another object may now have it
  };

  cls_LoadedObjects() = default;
  cls_LoadedObjects(cls_LoadedObjects const&) = delete;
  cls_LoadedObjects& operator=(cls_LoadedObjects const&) = delete;

  [[nodiscard]] Entry const* Find(std::int64_t id) const noexcept {
    Entry const* const found = m_Entries.Find(id);
    return found == nullptr || found->m_IsUndone ? nullptr : found;
  }
  void Add(std::int64_t id, std::type_index type, std::shared_ptr<void> object, cls_BuiltAs builtAs) {
    Put(id, Entry{type, std::move(object), m_Load, cls_BuildFault::HasOneOwner, builtAs});
  }
  void AddUnshared(std::int64_t id, std::type_index type, cls_BuildFault whyNot) {
    Put(id, Entry{type, nullptr, m_Load, whyNot, cls_BuiltAs::Unchecked});
  }
  /// Forgets an object whose construction failed, and those begun after it, which may lead back to it.
  void RemoveFrom(std::int64_t id) noexcept {
    if (Find(id) != nullptr) m_Entries.RemoveFrom(m_Entries.PositionOf(id));
  }
  /// Whether an earlier load of the scope, not the running one, loaded an object.
  [[nodiscard]] bool IsOfEarlierLoad(Entry const& entry) const noexcept { return entry.m_Load != m_Load; }

  /// Whether the running load has built an object behind a shared pointer to a class, so that it was compared with that.
  [[nodiscard]] bool IsOfThisLoad(Entry const& entry, std::type_info const& type) const noexcept {
    return entry.m_Object != nullptr && entry.m_Type == type && !IsOfEarlierLoad(entry);
  }

  /// Where the running load looks for objects that are in memory already; null if it does not.
  [[nodiscard]] cls_ResidentObjects* Residents() const noexcept { return m_Residents; }
  /// Sets them; returns what was set before.
  [[nodiscard]] cls_ResidentObjects* UseResidents(cls_ResidentObjects* residents) noexcept {
    return std::exchange(m_Residents, residents);
  }

  /// The pointers that the running load has still to fill.
  [[nodiscard]] cls_LaterReads& Later() noexcept { return m_Later; }

  [[nodiscard]] bool InLoad() const noexcept { return m_Loads > 0; }
  /// Begins a load; a nested load is part of the outer one. Returns how many objects were added before.
  std::size_t Enter() noexcept {
    if (m_Loads++ == 0) ++m_Load;
    return m_Entries.Count();
  }
  /// Ends a load; the end of the outermost one forgets the objects, unless a scope keeps them.
  void Leave() noexcept {
    --m_Loads;
    ForgetUnlessKept();
  }
  /// Call before Leave if a load failed: forgets the objects that were added since so many were there, even in a scope or
  /// in an outer load. Pointers of theirs may never be filled.
  void Abandon(std::size_t before) noexcept { m_Entries.RemoveFrom(before); }

  [[nodiscard]] bool HasScope() const noexcept { return m_Scopes > 0; }
  /// Begins a scope; a nested scope is part of the outer one.
  void EnterScope() noexcept { ++m_Scopes; }
  /// Ends a scope; the end of the outermost one forgets the objects, unless a load is running.
  void LeaveScope() noexcept {
    --m_Scopes;
    ForgetUnlessKept();
  }
  /// The numbers from `firstId` on, up to the one before `endId`, were given out in work that is now undone. The
  /// scope keeps their objects alive, but Find no longer returns them. That holds also when another object gets
  /// the number.
  void Undo(std::int64_t firstId, std::int64_t endId = std::numeric_limits<std::int64_t>::max()) noexcept {
    m_Entries.ForEach([=](std::int64_t id, Entry& entry) {
      if (id >= firstId && id < endId) entry.m_IsUndone = true;
    });
  }

 private:
  void ForgetUnlessKept() noexcept {
    if (m_Loads > 0 || m_Scopes > 0) return;
    m_Entries.Clear();
  }
  /// The entry that the number had stays in the table: an undone object is kept alive, another one is let go.
  void Put(std::int64_t id, Entry entry) {
    Entry* const before = m_Entries.Find(id);
    m_Entries.Add(id, std::move(entry));
    if (before != nullptr && !before->m_IsUndone) before->m_Object.reset();
  }

  cls_LaterReads m_Later;
  cls_ResidentObjects* m_Residents = nullptr;
  int m_Loads = 0;
  int m_Scopes = 0;
  std::uint32_t m_Load = 0; // counts the outermost loads
  cls_LoadedTable<Entry> m_Entries;
};

/// One load, from its constructor to its destructor. Call Complete when it has succeeded; otherwise its
/// objects are forgotten, even in a scope. REQUIRES: the table outlives it.
class cls_OneLoad {
 public:
  explicit cls_OneLoad(cls_LoadedObjects& loaded) noexcept
      : m_Loaded(loaded), m_Mark(loaded.Later().Begin()), m_First(loaded.Enter()) {}
  cls_OneLoad(cls_OneLoad const&) = delete;
  cls_OneLoad& operator=(cls_OneLoad const&) = delete;
  ~cls_OneLoad() {
    m_Loaded.Later().End(m_Mark);
    if (!m_IsComplete) m_Loaded.Abandon(m_First);
    m_Loaded.Leave();
  }
  /// Fills the pointers that were left for later, and makes the calls that wait for the whole graph. What building
  /// their objects raises passes through. Complete does it too.
  void FillPointers() { m_Loaded.Later().Finish(m_Mark); }
  void Complete() {
    FillPointers();
    m_IsComplete = true;
  }

 private:
  cls_LoadedObjects& m_Loaded;
  cls_LaterReads::Mark m_Mark;
  std::size_t m_First;
  bool m_IsComplete = false;
};
