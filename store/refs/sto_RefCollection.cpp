#include "store/refs/sto_RefCollection.h"

#include <utility>

#include "store/base/sto_Exception.h"
#include "store/objects/sto_MementoRead.h"
#include "store/objects/sto_MementoWrite.h"
#include "store/session/sto_Residents.h"
#include "store/session/sto_Session.h"

sto_RefCollection::~sto_RefCollection() {
  for (Word const word : m_Words) Drop(word);
  if (m_Home != nullptr) m_Home->LetGo();
}

void sto_RefCollection::Swap(sto_RefCollection& other) noexcept {
  std::swap(m_Home, other.m_Home);
  std::swap(m_Id, other.m_Id);
  std::swap(m_Holder, other.m_Holder);
  m_Words.swap(other.m_Words);
  std::swap(m_Count, other.m_Count);
  std::swap(m_SeenInEpoch, other.m_SeenInEpoch);
  std::swap(m_IsRead, other.m_IsRead);
  std::swap(m_IsChanged, other.m_IsChanged);
  m_Uid.swap(other.m_Uid);
}

std::string sto_RefCollection::Describe() const {
  if (m_Home == nullptr || m_Id == 0) return std::string("The ") + m_What;
  return m_Home->Location() + ": The " + m_What + " of object " + std::to_string(m_Id);
}

sto_Session& sto_RefCollection::HomeSession() const {
  if (m_Home->Session() == nullptr)
    sto_Raise(sto_ErrorKind::Unavailable, Describe() + " cannot be reached any more: its store was closed.");
  return *m_Home->Session();
}

void sto_RefCollection::CheckIndex(std::size_t index, std::size_t end) const {
  if (index < end) return;
  sto_Raise(sto_ErrorKind::Misuse, Describe() + " has " + std::to_string(m_Words.size()) +
                                       " elements; there is no place " + std::to_string(index) + ".");
}

void sto_RefCollection::RaiseMissing() const {
  sto_Raise(sto_ErrorKind::NotFound, Describe() + " is not in the store any more: it was collected.");
}

void sto_RefCollection::NoteRead(sto_Session& session, std::vector<Word>& words) const {
  m_Words.swap(words);       // from now on a failure loses nothing
  for (Word& word : m_Words) // what a rollback would undo has a resident, which knows that then
    if (word != 0 && session.IsNewInTransaction(NumberOf(word))) word = ToWord(&m_Home->At(NumberOf(word)));
  m_Count = -1;
  m_IsRead = true;
  m_SeenInEpoch = m_Home->Epoch();
}

sto_Resident* sto_RefCollection::ResidentAt(std::size_t index) const {
  CheckIndex(index, m_Words.size());
  Word& word = m_Words[index];
  if (IsNumber(word)) {
    static_cast<void>(HomeSession());
    sto_Resident& resident = m_Home->At(NumberOf(word));
    if (m_SeenInEpoch == m_Home->Epoch()) m_Home->NoteSeen(resident);
    word = ToWord(&resident);
  }
  return ResidentOf(word);
}

bool sto_RefCollection::IsAt(std::size_t index, sto_Resident const* resident) const noexcept {
  Word const word = m_Words[index];
  if (word == 0 || !IsNumber(word)) return ResidentOf(word) == resident;
  return resident != nullptr && resident->InState() == sto_Resident::State::Stored &&
         resident->Home() == m_Home && resident->Id() == NumberOf(word);
}

void sto_RefCollection::Replace(std::size_t index, sto_Resident* resident) {
  Word const before = std::exchange(m_Words[index], ToWord(resident));
  m_IsChanged = true;
  Drop(before);
}

std::vector<sto_RefCollection::Word> sto_RefCollection::TakeAll() noexcept {
  m_Count = -1;
  m_IsRead = m_IsChanged = true;
  return std::exchange(m_Words, {});
}

bool sto_RefCollection::IsIn(sto_Session& session) const noexcept {
  return m_Home == &session.Residents();
}

bool sto_RefCollection::IsStoredIn(sto_Session& session) const {
  if (m_IsChanged || !IsIn(session)) return false;
  if (m_SeenInEpoch == m_Home->Epoch()) return true;
  if (!session.IsThere(m_Id)) {
    if (!m_IsRead) RaiseMissing();
    return false;
  }
  if (!m_IsRead) m_SeenInEpoch = m_Home->Epoch(); // otherwise it would count for the elements, too
  return true;
}

bool sto_RefCollection::IsHeldAsItIs(sto_MementoWrite& memento, cls_FieldHandle const& field,
                                     unsigned int classId) const {
  if (m_Holder != memento.ObjectId() || !IsStoredIn(memento.Session())) return false;
  memento.HoldObject(field, classId, m_Id);
  return true;
}

void sto_RefCollection::NoteHolder(std::int64_t holder) const {
  if (std::exchange(m_Holder, holder) == holder || (m_Id == 0 && !m_Uid)) return;
  m_Id = 0;
  m_Uid.reset();
  m_IsChanged = true;
}

bool sto_RefCollection::IsThere(Word word, sto_Session& session) const {
  return IsNumber(word) && IsIn(session) &&
         (m_SeenInEpoch == m_Home->Epoch() || session.IsThere(NumberOf(word)));
}

cls_Uid const& sto_RefCollection::IdentityIn(sto_Session& session) const {
  if (!m_Uid) m_Uid = m_Id != 0 && IsIn(session) ? session.Identities().IdentityOf(m_Id) : cls_Uid();
  return *m_Uid;
}

void sto_RefCollection::NoteWritten(sto_Session& session) const noexcept {
  if (IsIn(session)) m_SeenInEpoch = m_Home->Epoch();
}

bool sto_RefCollection::TakeHeld(cls_ReadVisitor const& visitor, cls_FieldHandle const& field) {
  sto_MementoRead* const memento = sto_MementoWith(visitor, field);
  std::int64_t const id = memento == nullptr ? 0 : memento->ObjectIn(field);
  if (id == 0) return false;
  sto_Session& session = memento->Session();
  m_Id = id;
  m_Holder = memento->Id();
  m_Home = &session.Residents();
  m_Home->Hold();
  m_IsRead = m_IsChanged = false;
  m_SeenInEpoch = m_Home->Epoch();
  session.Records().NotePart();
  return session.IsNewInTransaction(m_Id); // a rollback would take the number back
}

void sto_RefCollection::NoteReadNow() {
  m_Uid = HomeSession().Identities().IdentityOf(m_Id);
  m_Id = 0;
  m_IsChanged = true;
}
