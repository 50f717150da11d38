#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "persist/pointers/cls_LoadedObjects.h"
#include "store/format/sto_ChangeList.h"
#include "store/session/sto_Resident.h"

class cls_Uid;
class cls_WriteVisitor;
class sto_Session;

/// The objects of a session that are referred to by id (sto_Ref): finds the resident of an id, writes the objects that
/// were changed, and brings all residents back when work is undone. Outlives the session as long as it has residents.
///
/// Invariants:
/// 1. An id has at most one resident, so all references to an object are equal.
/// 2. A changed object is in memory and in the list of changed ones until the transaction ends.
/// 3. Undoing allocates nothing and cannot fail.
///
/// Internal to the module. Thread rule: the thread of the session.
class KVL_EXPORT sto_Residents final : public cls_ResidentObjects {
 public:
  explicit sto_Residents(sto_Session& session, std::string location)
      : m_Session(&session), m_Location(std::move(location)) {}
  sto_Residents(sto_Residents const&) = delete;
  sto_Residents& operator=(sto_Residents const&) = delete;

  /// Null once the session has ended.
  [[nodiscard]] sto_Session* Session() const noexcept { return m_Session; }
  [[nodiscard]] std::string const& Location() const noexcept { return m_Location; }
  /// Whether anything in memory refers to the store: a resident, a list or a map.
  [[nodiscard]] bool IsUsed() const noexcept { return m_Count > 1; }
  /// Keeps this object alive after the session has ended.
  void Hold() noexcept { ++m_Count; }
  void LetGo() noexcept {
    if (--m_Count == 0) delete this;
  }
  [[nodiscard]] bool IsEmpty() const noexcept { return m_Pages.empty(); }

  /// The resident of an object's id, a new one if there is none. It is not said that the object is there: see NoteSeen.
  /// Throws std::bad_alloc.
  [[nodiscard]] sto_Resident& At(std::int64_t id);
  /// Null if there is none.
  [[nodiscard]] sto_Resident* Find(std::int64_t id) noexcept;

  /// The object of a resident has been loaded. REQUIRES: it has none.
  /// `hasParts`: what is stored of it is more than its own record.
  void NoteLoaded(sto_Resident& resident, std::shared_ptr<void> object, unsigned int classId,
                  bool hasParts) noexcept;

  /// The running save writes an object in memory under an id, so the resident is that of the id. If there is another one
  /// for the id, that one gets the object, and `resident` stays as it is. Conflict if that one has another object.
  /// Throws std::bad_alloc.
  /// `write`: for an object that the program has edited; it may go on until its transaction ends.
  void Settle(sto_Resident& resident, std::int64_t id, unsigned int classId,
              void (*write)(void const* object, cls_WriteVisitor const& visitor));

  /// Whether the store had the object of a resident the last time that anything could be deleted.
  [[nodiscard]] bool IsSeen(sto_Resident const& resident) const noexcept {
    return resident.m_SeenInEpoch == m_Epoch;
  }
  void NoteSeen(sto_Resident& resident) const noexcept { resident.m_SeenInEpoch = m_Epoch; }
  /// Changes when objects may have been deleted.
  [[nodiscard]] std::uint32_t Epoch() const noexcept { return m_Epoch; }
  void NoteDeletions() noexcept { ++m_Epoch; }

  /// Another session has committed changes; known ones, or any.
  void NoteForeign(sto_ChangeList const& changes) noexcept;
  void NoteForeignUnknown() noexcept;

  /// Conflict if an object that is about to be saved is not the one that the resident of its id has.
  void CheckSaved(std::int64_t id, void const* object) {
    if (!m_Pages.empty() && object != nullptr) CheckAddress(id, object);
    if (!m_Deleted.empty()) NoteStoredAgain(id);
  }

  /// The program changes the object: it is written before the commit, with `write`. Misuse outside of a transaction that
  /// writes, and while an object is saved or loaded; Conflict if another session has changed the object since it was loaded.
  /// REQUIRES: the object is in memory, and stored.
  void NoteChanged(sto_Resident& resident,
                   void (*write)(void const* object, cls_WriteVisitor const& visitor));
  /// The object is deleted in the open transaction: see sto_DeleteObject. Errors as NoteChanged, NotFound, and
  /// WrongClass if it is not of class `classId`; if it raises, nothing has changed. REQUIRES: it has an id.
  void Delete(sto_Resident& resident, unsigned int classId);
  /// Writes the objects that were edited since this was called last, in one save. They stay changed until the transaction
  /// ends. REQUIRES: an open write transaction. Errors of a save; Misuse for an object that has been assigned the identity
  /// of another one.
  void WriteChanged() {
    if (!m_ToWrite.empty()) Write(m_ToWrite);
  }
  /// The same for all objects that were edited in the transaction: the program may have changed them since.
  void WriteAllChanged() {
    if (!m_Changed.empty()) Write(m_Changed);
  }

  /// The object of a resident that is in no store has got an id, or had one, when it was saved in another way. The resident
  /// is that of the id then. If there is another one for the id, that one gets the object and is returned. Conflict if it has
  /// another object. Throws std::bad_alloc.
  [[nodiscard]] sto_Resident& Join(sto_Resident& resident, std::int64_t id, unsigned int classId);

  /// Undoes what the running save has done to residents. Called before the session takes back ids.
  void UndoSave(std::int64_t save) noexcept;
  /// The ids from one to before another are given back.
  void Undo(std::int64_t firstId, std::int64_t endId) noexcept;
  /// The write transaction is over. After a rollback, objects that were changed or loaded in it are let go.
  void EndTransaction(bool isCommitted) noexcept;
  /// The session ends: no object can be reached any more.
  void Close() noexcept;
  /// Lets go of all objects that are not changed, and that nothing else owns.
  void Release() noexcept;
  /// The same for one.
  void Release(sto_Resident& resident) noexcept;

  /// For a load of a resident: other objects of the load may have residents, too.
  class Load {
   public:
    Load(sto_Residents& residents, cls_LoadedObjects& loaded, std::int64_t id) noexcept
        : m_Residents(residents), m_Loaded(loaded), m_OuterId(std::exchange(residents.m_LoadingId, id)),
          m_Outer(loaded.UseResidents(&residents)) {}
    Load(Load const&) = delete;
    Load& operator=(Load const&) = delete;
    ~Load() {
      static_cast<void>(m_Loaded.UseResidents(m_Outer));
      m_Residents.m_LoadingId = m_OuterId;
    }

   private:
    sto_Residents& m_Residents;
    cls_LoadedObjects& m_Loaded;
    std::int64_t m_OuterId;
    cls_ResidentObjects* m_Outer;
  };

  // What the functions that read pointers ask for during such a load.
  [[nodiscard]] std::shared_ptr<void> FindObject(std::int64_t id) noexcept override;
  void NoteShared(std::int64_t id, std::shared_ptr<void> const& object) override;

 private:
  friend class sto_Resident;
  static constexpr std::int64_t IdsInPage = 64;

  struct Page {
    std::array<sto_Resident*, IdsInPage> m_Residents{};
    int m_Count = 0;
  };
  /// A resident that a save has settled.
  struct Settled {
    sto_Resident* m_Resident; // held
    std::int64_t m_Save;
    bool m_IsAdopted; // it had an id before, and got the object
  };

  /// The open write transaction; 0 if there is none.
  [[nodiscard]] std::uint32_t Transaction() const noexcept;
  [[nodiscard]] Page* PageOf(std::int64_t id) noexcept;
  void Put(sto_Resident& resident, std::int64_t id);
  void TakeOut(sto_Resident& resident) noexcept;
  /// The resident is in no store again.
  void Unsettle(Settled const& settled) noexcept;
  /// Keeps an object, and its resident, until LetGoOf.
  static void Keep(sto_Resident& resident, std::shared_ptr<void> object) noexcept;
  static void LetGoOf(sto_Resident& resident) noexcept;
  void CheckAddress(std::int64_t id, void const* object);
  void Write(std::vector<sto_Resident*> const& residents);
  /// Raises unless the program may change the object now; `how`: "changed".
  void CheckChange(sto_Resident const& resident, char const* how) const;
  void NoteStoredAgain(std::int64_t id) noexcept;
  void EndDeletions(bool isCommitted) noexcept;
  void AddChanged(sto_Resident& resident, void (*write)(void const* object, cls_WriteVisitor const& visitor));
  /// Calls `act` with each resident; those that end meanwhile do so afterwards.
  template <class Act> void ForEach(Act act) noexcept;
  ~sto_Residents() = default;

  sto_Session* m_Session;
  std::string m_Location;
  std::unordered_map<std::int64_t, Page> m_Pages; // by number; a map, so that pages keep their addresses
  std::int64_t m_LatestNumber = -1;
  Page* m_Latest = nullptr;
  std::vector<sto_Resident*> m_Changed; // each held
  std::vector<sto_Resident*> m_ToWrite; // those of them that were edited since they were written
  std::vector<Settled> m_Settled;       // in the open transaction
  std::vector<sto_Resident*> m_Deleted; // in the open transaction; each held
  std::uint32_t m_Epoch = 1;
  std::int64_t m_LoadingId = 0;
  std::int64_t m_Count = 1; // the session, each resident that has this home, and each list that has
  // Objects that loads of residents have built behind shared pointers, and that have no resident. Swept when it doubles.
  struct Shared {
    std::weak_ptr<void> m_Object;
    std::uint32_t m_LoadedIn = 0; // as that of a resident
  };
  std::unordered_map<std::int64_t, Shared> m_Shared;
  std::size_t m_SweepAt = 64;
};
