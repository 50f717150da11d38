#include "store/refs/sto_RefElements.h"

#include <algorithm>
#include <string>
#include <utility>

#include "persist/backend/cls_CollectionTypeIds.h"
#include "persist/backend/cls_DeleteWhenNeeded.h"
#include "store/base/sto_Exception.h"
#include "store/objects/sto_MementoRead.h"
#include "store/objects/sto_ObjectListReader.h"
#include "store/objects/sto_ObjectListWriter.h"
#include "store/session/sto_OwnTransaction.h"
#include "store/session/sto_Residents.h"

sto_RefElements::sto_RefElements(sto_RefElements const& other) {
  other.Need();
  m_Words.reserve(other.m_Words.size());
  for (std::size_t i = 0; i < other.m_Words.size(); ++i) m_Words.push_back(ToWord(other.At(i)));
}

sto_RefElements& sto_RefElements::operator=(sto_RefElements const& other) {
  if (this == &other) return *this;
  sto_RefElements copy(other);
  m_Words.swap(copy.m_Words);
  copy.m_IsRead = true;
  m_IsRead = m_IsChanged = true;
  return *this;
}

sto_RefElements::~sto_RefElements() {
  for (Word const word : m_Words) Drop(word);
  if (m_Home != nullptr) m_Home->LetGo();
}

void sto_RefElements::Swap(sto_RefElements& other) noexcept {
  std::swap(m_Home, other.m_Home);
  std::swap(m_Id, other.m_Id);
  m_Words.swap(other.m_Words);
  std::swap(m_Count, other.m_Count);
  std::swap(m_SeenInEpoch, other.m_SeenInEpoch);
  std::swap(m_IsRead, other.m_IsRead);
  std::swap(m_IsChanged, other.m_IsChanged);
  m_Uid.swap(other.m_Uid);
}

sto_Session& sto_RefElements::HomeSession() const {
  if (m_Home->Session() == nullptr)
    sto_Raise(sto_ErrorKind::Unavailable, m_Home->Location() + ": The list of object " +
                                              std::to_string(m_Id) +
                                              " cannot be reached any more: its store was closed.");
  return *m_Home->Session();
}

void sto_RefElements::CheckIndex(std::size_t index, std::size_t end) const {
  if (index < end) return;
  sto_Raise(
      sto_ErrorKind::Misuse,
      (m_Home == nullptr ? "The list" : m_Home->Location() + ": The list of object " + std::to_string(m_Id)) +
          " has " + std::to_string(m_Words.size()) + " elements; there is no place " + std::to_string(index) +
          ".");
}

void sto_RefElements::ReadElements(bool all) const {
  sto_Session& session = HomeSession();
  sto_OwnTransaction transaction(session, false);
  sto_RecordRef record = session.Records().Read(m_Id);
  if (record == nullptr)
    session.Raise(sto_ErrorKind::NotFound, "The list of object " + std::to_string(m_Id) +
                                               " is not in the store any more: it was collected.");
  if (!all && record->List() && record->List()->m_InBlocks) {
    m_Count = record->List()->m_Count;
    return transaction.Commit();
  }
  std::vector<Word> words;
  {
    std::unique_ptr<sto_MementoRead> const memento(new (session)
                                                       sto_MementoRead(session, std::move(record), 1));
    std::unique_ptr<cls_ReadListObj> const list(memento->MakeReadListObj());
    auto& ids = static_cast<sto_ObjectListReader&>(*list);
    words.reserve(static_cast<std::size_t>(ids.Count()));
    while (ids.More() != 0) words.push_back(ToWord(ids.NextHeld().m_Id));
  }
  m_Words.swap(words);       // from now on a failure loses nothing
  for (Word& word : m_Words) // what a rollback would undo has a resident, which knows that then
    if (word != 0 && session.IsNewInTransaction(NumberOf(word))) word = ToWord(&m_Home->At(NumberOf(word)));
  m_Count = -1;
  m_IsRead = true;
  m_SeenInEpoch = m_Home->Epoch();
  transaction.Commit();
}

std::size_t sto_RefElements::Size() const {
  if (m_IsRead) return m_Words.size();
  if (m_Count < 0) ReadElements(false);
  return m_IsRead ? m_Words.size() : static_cast<std::size_t>(m_Count);
}

sto_Resident* sto_RefElements::At(std::size_t index) const {
  Need();
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

void sto_RefElements::Set(std::size_t index, sto_Resident* resident) {
  Need();
  CheckIndex(index, m_Words.size());
  Drop(std::exchange(m_Words[index], ToWord(resident)));
  m_IsChanged = true;
}

void sto_RefElements::Insert(std::size_t index, sto_Resident* resident) {
  Need();
  CheckIndex(index, m_Words.size() + 1);
  m_Words.insert(m_Words.begin() + static_cast<std::ptrdiff_t>(index), Word());
  m_Words[index] = ToWord(resident);
  m_IsChanged = true;
}

void sto_RefElements::Erase(std::size_t first, std::size_t count) {
  if (count == 0) return;
  Need();
  CheckIndex(first, m_Words.size());
  CheckIndex(count - 1, m_Words.size() - first);
  auto const begin = m_Words.begin() + static_cast<std::ptrdiff_t>(first);
  auto const end = begin + static_cast<std::ptrdiff_t>(count);
  std::vector<Word> const erased(begin, end); // an object that ends may lead back here
  m_Words.erase(begin, end);
  m_IsChanged = true;
  for (Word const word : erased) Drop(word);
}

void sto_RefElements::Clear() noexcept {
  std::vector<Word> const cleared = std::exchange(m_Words, {});
  m_Count = -1;
  m_IsRead = m_IsChanged = true;
  for (Word const word : cleared) Drop(word);
}

void sto_RefElements::Reserve(std::size_t count) {
  Need();
  m_Words.reserve(count);
}

std::size_t sto_RefElements::Find(sto_Resident const* resident, std::size_t first) const {
  Need();
  auto const isIt = [&](Word word) {
    if (word == 0 || !IsNumber(word)) return ResidentOf(word) == resident;
    return resident != nullptr && resident->InState() == sto_Resident::State::Stored &&
           resident->Home() == m_Home && resident->Id() == NumberOf(word);
  };
  if (first >= m_Words.size()) return m_Words.size();
  auto const found = std::find_if(m_Words.begin() + static_cast<std::ptrdiff_t>(first), m_Words.end(), isIt);
  return static_cast<std::size_t>(found - m_Words.begin());
}

bool sto_RefElements::IsIn(sto_Session& session) const noexcept {
  return m_Home == &session.Residents();
}

bool sto_RefElements::IsStoredIn(sto_Session& session) const {
  if (m_IsChanged || !IsIn(session)) return false;
  if (m_SeenInEpoch == m_Home->Epoch()) return true;
  if (!session.IsStored(m_Id)) {
    Need(); // raises if it is nowhere any more
    return false;
  }
  m_SeenInEpoch = m_Home->Epoch();
  return true;
}

cls_Uid const& sto_RefElements::IdentityIn(sto_Session& session) const {
  if (!m_Uid) m_Uid = m_Id != 0 && IsIn(session) ? session.Identities().IdentityOf(m_Id) : cls_Uid();
  return *m_Uid;
}

void sto_RefElements::Append(sto_ObjectListWriter& list, std::size_t index, sto_Session& session,
                             sto_RefClass const& asked) const {
  Word const word = m_Words[index];
  if (word == 0) return list.AppendNull();
  bool const isThere = IsNumber(word) && IsIn(session) &&
                       (m_SeenInEpoch == m_Home->Epoch() || session.IsStored(NumberOf(word)));
  if (isThere) return list.AppendId(NumberOf(word));
  sto_AppendResident(list, session, *At(index), asked); // raises what is wrong with a number
}

void sto_RefElements::Write(cls_WriteVisitor const& visitor, cls_FieldHandle const& field,
                            sto_RefClass const& asked) const {
  if (visitor.Memento() == nullptr) return;
  sto_MementoWrite& memento = sto_StoreMemento(visitor);
  sto_Session& session = memento.Session();
  try {
    if (IsStoredIn(session)) return memento.HoldObject(field, cls_InternalListTypeId, m_Id);
    Need();
    cls_Received<cls_WriteListObj> const builder(memento.MakeFieldWriteListObj(field, IdentityIn(session)));
    auto& list = dynamic_cast<sto_ObjectListWriter&>(*builder);
    for (std::size_t i = 0; i < m_Words.size(); ++i) Append(list, i, session, asked);
    if (IsIn(session)) m_SeenInEpoch = m_Home->Epoch();
  } catch (...) {
    session.Save().MarkIncomplete();
    throw;
  }
}

void sto_RefElements::Read(cls_ReadVisitor const& visitor, cls_FieldHandle const& field) {
  sto_RefElements read;
  if (visitor.DataIsPresent(field) != 0) {
    sto_MementoRead& memento = sto_StoreMemento(visitor);
    sto_Session& session = memento.Session();
    cls_HeldObject const held = memento.HeldIn(field);
    read.m_Home = &session.Residents();
    read.m_Home->Hold();
    read.m_Id = held.m_Id;
    read.m_IsRead = false;
    read.m_SeenInEpoch = read.m_Home->Epoch();
    session.Records().NotePart();
    if (session.IsNewInTransaction(held.m_Id)) { // a rollback would take the number back
      read.ReadElements(true);
      read.m_Id = 0;
      read.m_Uid = session.Identities().IdentityOf(held.m_Id);
    } else {
      read.m_IsChanged = false;
    }
  }
  *this = std::move(read);
}
