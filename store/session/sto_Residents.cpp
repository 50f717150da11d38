#include "store/session/sto_Residents.h"

#include <utility>

#include "store/session/sto_DeletedObjects.h"
#include "store/session/sto_Session.h"

sto_Residents::Page* sto_Residents::PageOf(std::int64_t id) noexcept {
  std::int64_t const number = id / IdsInPage;
  if (number == m_LatestNumber) return m_Latest;
  auto const found = m_Pages.find(number);
  if (found == m_Pages.end()) return nullptr;
  m_LatestNumber = number;
  return m_Latest = &found->second;
}

sto_Resident* sto_Residents::Find(std::int64_t id) noexcept {
  Page* const page = PageOf(id);
  return page == nullptr ? nullptr : page->m_Residents[static_cast<std::size_t>(id % IdsInPage)];
}

void sto_Residents::Put(sto_Resident& resident, std::int64_t id) {
  Page& page = m_Pages[id / IdsInPage];
  page.m_Residents[static_cast<std::size_t>(id % IdsInPage)] = &resident;
  ++page.m_Count;
  ++m_Count;
  resident.m_Home = this;
  resident.m_Id = id;
  resident.m_State = sto_Resident::State::Stored;
}

sto_Resident& sto_Residents::At(std::int64_t id) {
  if (sto_Resident* const found = Find(id)) return *found;
  auto* const made = new sto_Resident();
  try {
    Put(*made, id);
  } catch (...) {
    delete made;
    throw;
  }
  return *made;
}

void sto_Residents::TakeOut(sto_Resident& resident) noexcept {
  if (resident.m_State == sto_Resident::State::Stored) {
    auto const found = m_Pages.find(resident.m_Id / IdsInPage);
    found->second.m_Residents[static_cast<std::size_t>(resident.m_Id % IdsInPage)] = nullptr;
    if (--found->second.m_Count == 0) {
      m_LatestNumber = -1;
      m_Pages.erase(found);
    }
  }
  resident.m_Home = nullptr;
  LetGo();
}

void sto_Residents::Keep(sto_Resident& resident, std::shared_ptr<void> object) noexcept {
  resident.m_Object = std::move(object);
  if (!std::exchange(resident.m_IsKept, true)) resident.Hold();
}

void sto_Residents::LetGoOf(sto_Resident& resident) noexcept {
  std::shared_ptr<void> const object = resident.TakeObject();
  if (std::exchange(resident.m_IsKept, false)) resident.LetGo();
}

template <class Act> void sto_Residents::ForEach(Act act) noexcept {
  sto_Resident::HoldRetired();
  ++m_Count; // what ends afterwards may be all that there is
  for (auto& [number, page] : m_Pages)
    for (sto_Resident* const each : page.m_Residents)
      if (each != nullptr) act(*each);
  sto_Resident::LetGoRetired();
  LetGo();
}

std::uint32_t sto_Residents::Transaction() const noexcept {
  return m_Session->IsWriting() ? static_cast<std::uint32_t>(m_Session->TransactionNumber()) : 0;
}

void sto_Residents::NoteLoaded(sto_Resident& resident, std::shared_ptr<void> object, unsigned int classId,
                               bool hasParts) noexcept {
  Keep(resident, std::move(object));
  resident.m_ClassId = classId;
  resident.m_IsStale = false;
  resident.m_HasParts = hasParts;
  resident.m_LoadedIn = Transaction();
  resident.m_SeenInEpoch = m_Epoch;
}

sto_Resident& sto_Residents::Join(sto_Resident& resident, std::int64_t id, unsigned int classId) {
  sto_Resident* const known = Find(id);
  if (known != nullptr) {
    CheckAddress(id, resident.m_Object.get());
    if (known->m_Object == nullptr) NoteLoaded(*known, resident.m_Object, classId, true);
    return *known;
  }
  bool const isNew = m_Session->IsNewInTransaction(id); // then a rollback brings the resident back
  if (isNew) m_Settled.push_back({&resident, 0, false});
  try {
    Put(resident, id);
  } catch (...) {
    if (isNew) m_Settled.pop_back();
    throw;
  }
  Keep(resident, std::move(resident.m_Object));
  resident.m_ClassId = classId;
  resident.m_IsUnsettled = isNew;
  if (isNew) resident.Hold();
  return resident;
}

void sto_Residents::Settle(sto_Resident& resident, std::int64_t id, unsigned int classId,
                           void (*write)(void const* object, cls_WriteVisitor const& visitor)) {
  sto_Resident* const known = Find(id);
  if (known != nullptr && known->m_Object != nullptr) return CheckAddress(id, resident.m_Object.get());
  m_Settled.push_back({known != nullptr ? known : &resident, m_Session->Save().Number(), known != nullptr});
  if (known == nullptr) {
    try {
      Put(resident, id);
    } catch (...) {
      m_Settled.pop_back();
      throw;
    }
    Keep(resident, std::move(resident.m_Object));
  } else {
    Keep(*known, resident.m_Object);
    known->m_LoadedIn = Transaction();
    known->m_IsStale = false;
    known->m_HasParts = true;
  }
  NoteSeen(*m_Settled.back().m_Resident);
  m_Settled.back().m_Resident->m_ClassId = classId;
  m_Settled.back().m_Resident->m_IsUnsettled = true;
  m_Settled.back().m_Resident->Hold();
  bool const isProgram =
      m_Session->Keeping() == sto_Keeping::Copies; // otherwise nobody can change it before the commit
  if (resident.m_IsEditedInMemory && isProgram) AddChanged(*m_Settled.back().m_Resident, write);
}

void sto_Residents::Unsettle(Settled const& settled) noexcept {
  sto_Resident& resident = *settled.m_Resident;
  resident.m_IsUnsettled = false;
  if (settled.m_IsAdopted) {
    LetGoOf(resident);
  } else if (resident.m_State == sto_Resident::State::Stored) {
    TakeOut(resident);
    resident.m_Id = 0;
    resident.m_State = sto_Resident::State::InMemory;
    if (std::exchange(resident.m_IsKept, false)) resident.LetGo();
  }
  resident.LetGo();
}

void sto_Residents::NoteForeign(sto_ChangeList const& changes) noexcept {
  NoteDeletions();
  if (changes.m_Objects.empty() && changes.m_Lists.empty()) return;
  for (std::int64_t const id : changes.m_Objects)
    if (sto_Resident* const changed = Find(id)) changed->m_IsStale = changed->m_Object != nullptr;
  // Any of them may be a part of an object that is here, also one that has a resident of its own.
  m_Shared.clear();
  ForEach([](sto_Resident& each) { each.m_IsStale |= each.m_Object != nullptr && each.m_HasParts; });
}

void sto_Residents::NoteForeignUnknown() noexcept {
  NoteDeletions();
  m_Shared.clear();
  ForEach([](sto_Resident& each) { each.m_IsStale = each.m_Object != nullptr; });
}

void sto_Residents::CheckAddress(std::int64_t id, void const* object) {
  sto_Resident const* const resident = Find(id);
  if (resident == nullptr || resident->m_Object == nullptr || resident->m_Object.get() == object) return;
  m_Session->Raise(sto_ErrorKind::Conflict,
                   "Object " + std::to_string(id) +
                       " is in memory twice: as the object that references to it lead to, and as the one "
                       "that is saved now. Change it through a reference (sto_Ref::Edit), or let go of the "
                       "other one first.");
}

void sto_Residents::CheckChange(sto_Resident const& resident, char const* how) const {
  auto const raise = [&](sto_ErrorKind kind, std::string const& problem) {
    m_Session->Raise(kind, "Object " + std::to_string(resident.m_Id) + problem);
  };
  m_Session->CheckTransaction();
  if (!m_Session->IsWriting())
    raise(sto_ErrorKind::Misuse,
          std::string(" is ") + how +
              (m_Session->InTransaction()
                   ? " in a transaction that only reads. Open a sto_Transaction instead."
                   : " outside of a sto_Transaction, so the change would be lost."));
  if (m_Session->Save().IsGoingOn() || m_Session->Loaded().InLoad())
    raise(sto_ErrorKind::Misuse, std::string(" is ") + how + " while an object is being saved or loaded.");
  if (resident.m_IsStale && resident.m_Object != nullptr)
    raise(sto_ErrorKind::Conflict, " has been changed by another session since it was loaded. Let go of it "
                                   "(sto_Store::ReleaseObjects), and change what is loaded then.");
}

void sto_Residents::NoteChanged(sto_Resident& resident,
                                void (*write)(void const* object, cls_WriteVisitor const& visitor)) {
  CheckChange(resident, "changed");
  AddChanged(resident, write);
}

void sto_Residents::Delete(sto_Resident& resident, unsigned int classId) {
  CheckChange(resident, "deleted");
  if (!m_Session->IsThere(resident.m_Id))
    m_Session->Raise(sto_ErrorKind::NotFound, "Object " + std::to_string(resident.m_Id) +
                                                  " cannot be deleted: it is not in the store any more.");
  // 0: its record is damaged, or of a class that the store does not know.
  unsigned int const own = m_Session->Records().ClassOf(resident.m_Id);
  if (own != 0 && own != classId && !m_Session->IsDerived(own, classId))
    m_Session->Raise(sto_ErrorKind::WrongClass,
                     "Object " + std::to_string(resident.m_Id) + " cannot be deleted: it is of class " +
                         m_Session->NameOf(own) + ", not " + m_Session->Describe(classId) + ".");
  m_Deleted.reserve(m_Deleted.size() + 1 > m_Deleted.capacity() ? 2 * m_Deleted.size() + 8 : 0);
  sto_DeleteObject(*m_Session, resident.m_Id);
  NoteDeletions();
  m_Shared.erase(resident.m_Id);
  m_Deleted.push_back(&resident); // there is room
  resident.Hold();
  resident.m_IsDeleted = true;
  resident.m_KnownAs = 0;
  if (!resident.m_IsUnsettled) LetGoOf(resident); // otherwise a rollback needs it
}

void sto_Residents::NoteStoredAgain(std::int64_t id) noexcept {
  if (sto_Resident* const resident = Find(id)) resident->m_IsDeleted = false;
}

void sto_Residents::EndDeletions(bool isCommitted) noexcept {
  for (sto_Resident* const each : m_Deleted) {
    if (std::exchange(each->m_IsDeleted, false) && isCommitted) LetGoOf(*each);
    each->LetGo();
  }
  m_Deleted.clear();
}

void sto_Residents::AddChanged(sto_Resident& resident,
                               void (*write)(void const* object, cls_WriteVisitor const& visitor)) {
  m_Changed.reserve(m_Changed.size() + 1 > m_Changed.capacity() ? 2 * m_Changed.size() + 8 : 0);
  if (!resident.m_IsToWrite) m_ToWrite.push_back(&resident);
  resident.m_IsToWrite = true;
  if (resident.m_IsChanged) return;
  m_Changed.push_back(&resident); // there is room
  resident.Hold();
  resident.m_IsChanged = true;
  resident.m_Write = write;
}

void sto_Residents::Write(std::vector<sto_Resident*> const& residents) {
  m_Session->Save().Begin();
  try {
    for (std::size_t i = 0; i < residents.size(); ++i) { // writing new objects may add some
      sto_Resident const& each = *residents[i];
      // It may have been removed after it was changed.
      if (each.m_IsDeleted || (!IsSeen(each) && !m_Session->IsThere(each.m_Id))) continue;
      sto_WriteObjectAgain(*m_Session, each.m_Id, each.m_Object.get(), each.m_Write);
    }
    m_Session->Save().End();
  } catch (...) {
    m_Session->Save().Undo();
    throw;
  }
  for (sto_Resident* const each : m_ToWrite) each->m_IsToWrite = false;
  m_ToWrite.clear();
}

void sto_Residents::UndoSave(std::int64_t save) noexcept {
  NoteDeletions(); // what the save has written is not there any more
  sto_Resident::HoldRetired();
  for (; !m_Settled.empty() && m_Settled.back().m_Save == save; m_Settled.pop_back())
    Unsettle(m_Settled.back());
  sto_Resident::LetGoRetired();
}

void sto_Residents::Undo(std::int64_t firstId, std::int64_t endId) noexcept {
  std::erase_if(m_Shared, [&](auto const& each) { return each.first >= firstId && each.first < endId; });
  if (m_Pages.empty()) return;
  ForEach([&](sto_Resident& each) {
    if (each.m_Id < firstId || each.m_Id >= endId) return;
    // It still has its home, whose name is in messages.
    Page& page = m_Pages.find(each.m_Id / IdsInPage)->second;
    page.m_Residents[static_cast<std::size_t>(each.m_Id % IdsInPage)] = nullptr;
    --page.m_Count;
    each.m_State = sto_Resident::State::Undone;
    LetGoOf(each);
  });
  std::erase_if(m_Pages, [](auto const& page) { return page.second.m_Count == 0; });
  m_LatestNumber = -1;
}

void sto_Residents::EndTransaction(bool isCommitted) noexcept {
  sto_Resident::HoldRetired();
  if (!isCommitted) NoteDeletions();
  if (!isCommitted && !m_Pages.empty()) {
    for (; !m_Settled.empty(); m_Settled.pop_back()) Unsettle(m_Settled.back());
    // An object that was changed may be a part of any other one.
    bool const isAnyChanged = !m_Changed.empty();
    auto const undone = static_cast<std::uint32_t>(m_Session->TransactionNumber());
    ForEach([&](sto_Resident& each) {
      if (isAnyChanged || each.m_LoadedIn == undone) LetGoOf(each);
    });
    std::erase_if(m_Shared,
                  [&](auto const& each) { return isAnyChanged || each.second.m_LoadedIn == undone; });
  }
  for (sto_Resident* const each : m_ToWrite) each->m_IsToWrite = false;
  m_ToWrite.clear();
  for (sto_Resident* const changed : m_Changed) {
    changed->m_IsChanged = false;
    changed->m_HasParts = true;
    changed->LetGo();
  }
  m_Changed.clear();
  for (Settled const& settled : m_Settled) {
    settled.m_Resident->m_IsUnsettled = false;
    settled.m_Resident->LetGo();
  }
  m_Settled.clear();
  EndDeletions(isCommitted);
  sto_Resident::LetGoRetired();
}

void sto_Residents::Close() noexcept {
  sto_Resident::HoldRetired();
  EndTransaction(true);
  m_Session = nullptr;
  ForEach([](sto_Resident& each) {
    each.m_State = sto_Resident::State::Closed;
    LetGoOf(each);
  });
  m_LatestNumber = -1;
  m_Pages.clear();
  m_Shared.clear();
  sto_Resident::LetGoRetired();
}

void sto_Residents::Release(sto_Resident& resident) noexcept {
  // An object that a rollback would take out of the store again is the only one that there is.
  bool const isNeeded = resident.m_IsChanged || resident.m_IsUnsettled;
  if (!isNeeded && resident.m_Object.use_count() == 1) LetGoOf(resident);
}

void sto_Residents::Release() noexcept {
  ForEach([this](sto_Resident& each) { Release(each); });
}

std::shared_ptr<void> sto_Residents::FindObject(std::int64_t id) noexcept {
  if (sto_Resident const* const resident = Find(id); resident != nullptr && resident->m_Object != nullptr)
    return resident->m_IsDeleted ? nullptr : resident->m_Object;
  auto const shared = m_Shared.find(id);
  return shared == m_Shared.end() ? nullptr : shared->second.m_Object.lock();
}

void sto_Residents::NoteShared(std::int64_t id, std::shared_ptr<void> const& object) {
  if (id == m_LoadingId) return;
  if (m_Shared.size() >= m_SweepAt) {
    std::erase_if(m_Shared, [](auto const& each) { return each.second.m_Object.expired(); });
    m_SweepAt = 2 * m_Shared.size() + 64;
  }
  m_Shared.insert_or_assign(id, Shared{object, Transaction()});
}
