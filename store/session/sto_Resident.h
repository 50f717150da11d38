#pragma once

#include <cstdint>
#include <memory>
#include <typeinfo>
#include <utility>

#include "platform/kvl_Export.h"

class cls_WriteVisitor;
class sto_Residents;

/// What all references to one object share: the object's place in its store, and the object once it is in memory.
/// Programs use sto_Ref. Internal to the module.
///
/// Ownership: whoever counts itself (Hold) keeps the resident alive, and the resident keeps its object alive. The store
/// counts itself for each object that is in memory. A resident that nobody counts is destroyed, with an object that nothing
/// else owns; however long a chain of such objects is, that takes the same stack. Thread rule: the thread of the store; before there is one, the thread that
/// made it.
class KVL_EXPORT sto_Resident {
 public:
  enum class State : unsigned char {
    InMemory, ///< the object is in no store, and always here
    Stored,   ///< it has an id in an open store
    Undone,   ///< the work that made it was undone while it was not in memory
    Closed    ///< its store was closed
  };

  /// The resident of an object that no store has given: the same one for the same object. `type`: of the whole object.
  /// Any thread may call it. Throws std::bad_alloc.
  [[nodiscard]] static sto_Resident& InMemory(std::shared_ptr<void> object, std::type_info const& type,
                                              unsigned int classId);

  sto_Resident(sto_Resident const&) = delete;
  sto_Resident& operator=(sto_Resident const&) = delete;

  void Hold() noexcept { ++m_References; }
  void LetGo() noexcept {
    if (--m_References == 0) Retire();
  }

  /// The object, if it is in memory and known to be of this class or one derived from it; otherwise null.
  [[nodiscard]] void* ObjectAs(unsigned int classId) const noexcept {
    return m_KnownAs == classId ? m_Object.get() : nullptr;
  }
  [[nodiscard]] std::shared_ptr<void> const& Object() const noexcept { return m_Object; }
  [[nodiscard]] State InState() const noexcept { return m_State; }
  /// The store that the object is or was in; null if it is in none.
  [[nodiscard]] sto_Residents* Home() const noexcept { return m_Home; }
  [[nodiscard]] std::int64_t Id() const noexcept { return m_Id; }
  /// The object's class; 0 before it is known.
  [[nodiscard]] unsigned int ClassId() const noexcept { return m_ClassId; }
  [[nodiscard]] bool IsChanged() const noexcept { return m_IsChanged; }
  /// Whether the open transaction has deleted the object, and has not stored it again. Then it is in memory only if a
  /// rollback needs it.
  [[nodiscard]] bool IsDeleted() const noexcept { return m_IsDeleted; }

  /// Notes that the program changes an object that is in no store.
  void NoteEditedInMemory() noexcept { m_IsEditedInMemory = true; }

  /// Notes that the object is of this class, or one derived from it. REQUIRES: it is in memory.
  void NoteKnownAs(unsigned int classId) noexcept { m_KnownAs = classId; }

 private:
  friend class sto_Residents;
  class Retired;

  sto_Resident() = default;
  ~sto_Resident();
  void Retire() noexcept;
  // Between these, residents that nobody counts do not end yet.
  static void HoldRetired() noexcept;
  static void LetGoRetired() noexcept;
  /// Takes the object out; ObjectAs is null then.
  [[nodiscard]] std::shared_ptr<void> TakeObject() noexcept;

  std::shared_ptr<void> m_Object;
  std::type_info const* m_Type = nullptr; // of an object that the program made; null: the store has loaded it
  sto_Residents* m_Home = nullptr;
  std::int64_t m_Id = 0;
  std::uint32_t m_References = 0;
  unsigned int m_KnownAs = 0; // 0 without an object
  unsigned int m_ClassId = 0;
  std::uint32_t m_SeenInEpoch = 0; // of its home: the store had the object then
  std::uint32_t m_LoadedIn = 0;    // the write transaction in which it was loaded; 0: none
  State m_State = State::InMemory;
  bool m_IsChanged = false; // is in the home's list of changed ones
  bool m_IsToWrite = false; // and in that of those to write
  bool m_IsEditedInMemory = false;
  bool m_HasParts = true;     // the store has more of the object than its own record
  bool m_IsStale = false;     // another session has changed the object since it was loaded
  bool m_IsUnsettled = false; // the open transaction has made it the resident of its id
  bool m_IsDeleted = false;   // see IsDeleted
  bool m_IsKept = false;      // its home counts itself, because the object is here
  bool m_IsRetired = false;   // waits for its end
  sto_Resident* m_NextRetired = nullptr;
  void (*m_Write)(void const* object, cls_WriteVisitor const& visitor) = nullptr; // if it is changed
};

/// Keeps a resident while it lives. Internal to the module.
class sto_HeldResident {
 public:
  explicit sto_HeldResident(sto_Resident& resident) noexcept : m_Resident(resident) { m_Resident.Hold(); }
  sto_HeldResident(sto_HeldResident const&) = delete;
  sto_HeldResident& operator=(sto_HeldResident const&) = delete;
  ~sto_HeldResident() { m_Resident.LetGo(); }

 private:
  sto_Resident& m_Resident;
};
