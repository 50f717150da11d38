#include "store/refs/sto_RefAccess.h"

#include <string>
#include <utility>

#include "store/base/sto_Exception.h"
#include "store/objects/sto_MapWriter.h"
#include "store/objects/sto_MementoRead.h"
#include "store/objects/sto_MementoWrite.h"
#include "store/objects/sto_ObjectListWriter.h"
#include "store/session/sto_DeletedObjects.h"
#include "store/session/sto_OwnTransaction.h"
#include "store/session/sto_Residents.h"

namespace {

std::string Describe(sto_Resident const& resident) {
  return (resident.Home() == nullptr ? "" : resident.Home()->Location() + ": ") + "Object " +
         std::to_string(resident.Id());
}

[[noreturn]] void RaiseGone(sto_Resident const& resident) {
  char const* const why = resident.InState() == sto_Resident::State::Closed
                              ? " cannot be reached any more: its store was closed."
                              : " cannot be reached any more: it was made in work that was undone.";
  sto_Raise(sto_ErrorKind::Unavailable, Describe(resident) + why);
}

/// REQUIRES: an open transaction.
[[noreturn]] void RaiseMissing(sto_Session& session, sto_Resident const& resident) {
  char const* const why =
      resident.IsDeleted() || session.IsStored(resident.Id())
          ? " was deleted."
          : " is not in the store any more: nothing that is stored leads to it, and it was collected.";
  session.Raise(sto_ErrorKind::NotFound,
                "Object " + std::to_string(resident.Id()) + ", which a reference names," + why);
}

/// An object in memory whose stored form was deleted: two references could lead to two states of it.
[[noreturn]] void RaiseDeleted(sto_Session& session, std::int64_t id) {
  session.Raise(
      sto_ErrorKind::NotFound,
      "Object " + std::to_string(id) +
          ", which is in memory and which a reference leads to, was deleted. References do not store it "
          "again; sto_Store::Save does, and a holder that leads to it by a pointer.");
}

[[noreturn]] void RaiseForeign() {
  sto_Raise(sto_ErrorKind::Misuse, "A sto_Ref can be saved and loaded only by a sto_Store.");
}

void Load(sto_Resident& resident, sto_RefClass const& asked) {
  sto_Residents& residents = *resident.Home();
  sto_Session& session = *residents.Session();
  sto_HeldResident const held(resident);
  sto_OwnTransaction transaction(session, false);
  session.RaiseKept();
  if (session.Loaded().HasScope())
    session.Raise(sto_ErrorKind::Misuse,
                  "Object " + std::to_string(resident.Id()) +
                      " is loaded through a reference while a sto_LoadScope is open, so "
                      "there could be two of it. References need no scope: end it first.");
  std::uint64_t const readBefore = session.Records().ReadCount();
  sto_RecordRef record = session.Records().Read(resident.Id());
  if (record == nullptr) RaiseMissing(session, resident);
  unsigned int const classId = record->Parts()[0].m_ClassId;
  cls_OneLoad load(session.Loaded());
  std::shared_ptr<void> object;
  {
    sto_Residents::Load const mode(residents, session.Loaded(), resident.Id());
    {
      cls_ReadVisitor const visitor(new (session) sto_MementoRead(session, std::move(record), 1));
      object = asked.m_Construct(visitor);
    }
    session.RaiseKept();
    load.FillPointers();
    session.RaiseKept();
    load.Complete();
  }
  // Its own constructor may have asked for it.
  if (resident.Object() == nullptr)
    residents.NoteLoaded(resident, std::move(object), classId,
                         session.Records().ReadCount() - readBefore > 1);
  transaction.Commit();
}

/// Whether the object of a resident is in the session's store, so that it can be held by its id. False: it has to be
/// written. Raises if neither can be.
bool IsThere(sto_Session& session, sto_Resident& resident) {
  if (resident.InState() == sto_Resident::State::InMemory) return false;
  if (resident.InState() != sto_Resident::State::Stored) RaiseGone(resident);
  sto_Residents& residents = session.Residents();
  if (resident.Home() != &residents)
    session.Raise(sto_ErrorKind::Misuse, "A reference to object " + std::to_string(resident.Id()) + " of " +
                                             resident.Home()->Location() +
                                             " cannot be saved in another store. Copy the object with "
                                             "sto_CopyRoot, or load it and save a copy of it.");
  if (residents.IsSeen(resident)) return true;
  if (session.IsThere(resident.Id())) {
    residents.NoteSeen(resident);
    return true;
  }
  bool const isDeleted = resident.IsDeleted() || session.IsStored(resident.Id());
  if (isDeleted || resident.Object() == nullptr) RaiseMissing(session, resident);
  return false; // it was collected, and is stored again
}

/// The resident of an object that the program has saved itself, before a reference to it was saved; null if it has not, or
/// if the store is closed.
sto_Resident* Joined(sto_Resident& resident, sto_RefClass const& asked) {
  std::optional<cls_LaterWrite> const described = asked.m_Describe(resident.Object());
  if (!described) return nullptr;
  cls_HistoryEntry* const anchor = &described->m_Uid.Entry()->m_History;
  for (cls_HistoryEntry* each = anchor->Next(); each != anchor; each = each->Next()) {
    auto const* const tie = dynamic_cast<cls_IdentityMap::Tie*>(each);
    auto* const session = tie == nullptr ? nullptr : dynamic_cast<sto_Session*>(tie->Map().Owner());
    if (session == nullptr) continue;
    sto_OwnTransaction const transaction(*session, false); // refuses other threads, too
    if (session->IsThere(tie->Id()))
      return &session->Residents().Join(resident, tie->Id(), described->m_ClassId);
    if (session->IsStored(tie->Id())) RaiseDeleted(*session, tie->Id());
  }
  return nullptr;
}

/// Makes the resident of an object in memory that of the id under which the running save writes it.
void Settle(sto_Session& session, sto_Resident& resident, cls_LaterWrite const& described,
            sto_RefClass const& asked) {
  std::int64_t const id = session.TieOf(described.m_Uid).Id();
  if (session.Catalogue().HasDeletedObjects() && !session.Save().IsNew(id) &&
      session.Records().ClassOf(id) == sto_DeletedClassId)
    RaiseDeleted(session, id);
  if (resident.InState() == sto_Resident::State::InMemory)
    session.Residents().Settle(resident, id, described.m_ClassId, asked.m_Write);
}

[[noreturn]] void RaiseCollection() {
  sto_Raise(sto_ErrorKind::Misuse, "A sto_Ref cannot refer to a collection.");
}

} // namespace

void sto_RaiseNullRef(sto_RefClass const& asked) {
  char text[80];
  std::snprintf(text, sizeof text, "A sto_Ref that refers to no object is followed (class 0x%X).",
                asked.m_ClassId);
  sto_Raise(sto_ErrorKind::Misuse, text);
}

void* sto_ReachObject(sto_Resident& resident, sto_RefClass const& asked) {
  if (resident.InState() == sto_Resident::State::Undone || resident.InState() == sto_Resident::State::Closed)
    RaiseGone(resident);
  if (resident.IsDeleted()) RaiseMissing(*resident.Home()->Session(), resident);
  if (resident.Object() == nullptr) Load(resident, asked);
  if (!sto_IsOfClass(resident, asked.m_ClassId)) {
    sto_Session& session = *resident.Home()->Session();
    session.Raise(sto_ErrorKind::WrongClass, "Object " + std::to_string(resident.Id()) + " is of class " +
                                                 session.NameOf(resident.ClassId()) + ", not " +
                                                 session.Describe(asked.m_ClassId) + ".");
  }
  resident.NoteKnownAs(asked.m_ClassId);
  return resident.Object().get();
}

bool sto_IsOfClass(sto_Resident const& resident, unsigned int classId) {
  // References to an object in memory are converted by the compiler's rules only.
  if (resident.InState() != sto_Resident::State::Stored || resident.ClassId() == classId) return true;
  return resident.Home()->Session()->IsDerived(resident.ClassId(), classId);
}

void sto_NoteEdit(sto_Resident& resident, sto_RefClass const& asked) {
  sto_Resident* stored = &resident;
  if (resident.InState() == sto_Resident::State::InMemory) stored = Joined(resident, asked);
  if (stored == nullptr) return resident.NoteEditedInMemory();
  stored->Home()->NoteChanged(*stored, asked.m_Write);
}

void sto_Delete(sto_Resident& resident, sto_RefClass const& asked) {
  sto_Resident* stored = &resident;
  if (resident.InState() == sto_Resident::State::InMemory) stored = Joined(resident, asked);
  if (stored == nullptr) sto_Raise(sto_ErrorKind::Misuse, "An object that is in no store cannot be deleted.");
  if (stored->InState() != sto_Resident::State::Stored) RaiseGone(*stored);
  stored->Home()->Delete(*stored, asked.m_ClassId);
}

void sto_ReleaseObject(sto_Resident& resident) noexcept {
  if (resident.InState() == sto_Resident::State::Stored) resident.Home()->Release(resident);
}

void sto_MarkIncomplete(sto_Session& session) noexcept {
  session.Save().MarkIncomplete();
}

sto_MementoWrite& sto_StoreMemento(cls_WriteVisitor const& visitor) {
  auto* const memento = dynamic_cast<sto_MementoWrite*>(visitor.Memento());
  if (memento == nullptr) RaiseForeign();
  return *memento;
}

sto_MementoRead* sto_MementoWith(cls_ReadVisitor const& visitor, cls_FieldHandle const& field) {
  cls_MementoRead* const any = visitor.Memento();
  if (any == nullptr) return nullptr;
  if (typeid(*any) == typeid(sto_MementoRead)) return static_cast<sto_MementoRead*>(any);
  if (any->DataIsPresent(field) == 0) return nullptr;
  auto* const memento = dynamic_cast<sto_MementoRead*>(any);
  if (memento == nullptr) RaiseForeign();
  return memento;
}

void sto_WriteResident(cls_WriteVisitor const& visitor, cls_FieldHandle const& field, sto_Resident& resident,
                       sto_RefClass const& asked) {
  if (visitor.Memento() == nullptr) return; // the object is not written now
  sto_MementoWrite& memento = sto_StoreMemento(visitor);
  sto_Session& session = memento.Session();
  sto_WriteWhole(session, [&] {
    if (IsThere(session, resident)) {
      unsigned int const classId = resident.ClassId() != 0 ? resident.ClassId() : asked.m_ClassId;
      return memento.HoldObject(field, classId, resident.Id());
    }
    std::optional<cls_LaterWrite> described = asked.m_Describe(resident.Object());
    if (!described) return; // its DBWrite writes nothing
    Settle(session, resident, *described, asked);
    if (!memento.HoldLater(field, *std::move(described))) RaiseCollection();
  });
}

void sto_AppendResident(sto_ObjectListWriter& list, sto_Session& session, sto_Resident& resident,
                        sto_RefClass const& asked) {
  sto_WriteWhole(session, [&] {
    if (IsThere(session, resident)) return list.AppendId(resident.Id());
    std::optional<cls_LaterWrite> described = asked.m_Describe(resident.Object());
    if (!described) return list.AppendNull();
    Settle(session, resident, *described, asked);
    if (!list.AppendLater(*std::move(described))) RaiseCollection();
  });
}

template <class K>
void sto_InsertResident(sto_ObjectMapWriter<K>& map, K const& key, sto_Session& session,
                        sto_Resident& resident, sto_RefClass const& asked) {
  sto_WriteWhole(session, [&] {
    if (IsThere(session, resident)) return map.InsertId(key, resident.Id());
    std::optional<cls_LaterWrite> described = asked.m_Describe(resident.Object());
    if (!described) sto_Raise(sto_ErrorKind::Misuse, "An object in a sto_Map writes nothing.");
    Settle(session, resident, *described, asked);
    if (!map.InsertLater(key, *std::move(described))) RaiseCollection();
  });
}

template void sto_InsertResident(sto_ObjectMapWriter<int>& map, int const& key, sto_Session& session,
                                 sto_Resident& resident, sto_RefClass const& asked);
template void sto_InsertResident(sto_ObjectMapWriter<cow_String>& map, cow_String const& key,
                                 sto_Session& session, sto_Resident& resident, sto_RefClass const& asked);

sto_Resident* sto_ReadResident(cls_ReadVisitor const& visitor, cls_FieldHandle const& field) {
  sto_MementoRead* const memento = sto_MementoWith(visitor, field);
  std::int64_t const id = memento == nullptr ? 0 : memento->ObjectIn(field);
  if (id == 0) return nullptr;
  sto_Session& session = memento->Session();
  sto_Residents& residents = session.Residents();
  sto_Resident& resident = residents.At(id);
  // An object that is held is there, unless some have been deleted: then a save looks.
  if (!session.Catalogue().HasDeletedObjects()) residents.NoteSeen(resident);
  return &resident;
}
