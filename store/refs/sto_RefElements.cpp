#include "store/refs/sto_RefElements.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "persist/backend/cls_CollectionTypeIds.h"
#include "persist/backend/cls_DeleteWhenNeeded.h"
#include "store/objects/sto_MementoRead.h"
#include "store/objects/sto_MementoWrite.h"
#include "store/objects/sto_ObjectListReader.h"
#include "store/objects/sto_ObjectListWriter.h"
#include "store/session/sto_OwnTransaction.h"
#include "store/session/sto_Residents.h"

sto_RefElements::sto_RefElements(sto_RefElements const& other) : sto_RefElements() {
  other.Need();
  m_Words.reserve(other.m_Words.size());
  for (std::size_t i = 0; i < other.m_Words.size(); ++i) m_Words.push_back(ToWord(other.ResidentAt(i)));
}

sto_RefElements& sto_RefElements::operator=(sto_RefElements const& other) {
  if (this == &other) return *this;
  sto_RefElements copy(other);
  std::vector<Word> before = TakeAll();
  m_Words.swap(copy.m_Words);
  copy.m_Words.swap(before);
  return *this;
}

bool sto_RefElements::ReadFromRecord(sto_Session& session, sto_Record const& record,
                                     std::vector<Word>& words) const {
  bool const isShort = record.List() && record.List()->m_ElementType == sto_Format::ElementObject &&
                       !record.List()->m_InBlocks && record.List()->m_Width == 1;
  std::vector<std::int64_t> ids;
  if (!isShort ||
      !sto_ReadIds(session, m_Id, *record.List(), record.List()->m_Inline, record.List()->m_Count, ids))
    return false;
  words.reserve(ids.size());
  for (std::int64_t const id : ids) words.push_back(ToWord(id));
  return true;
}

void sto_RefElements::ReadElements(bool all) const {
  sto_Session& session = HomeSession();
  sto_OwnTransaction transaction(session, false);
  sto_RecordRef record = session.Records().Read(m_Id);
  if (record == nullptr) RaiseMissing();
  if (!all && record->List() && record->List()->m_InBlocks) {
    m_Count = record->List()->m_Count;
    return transaction.Commit();
  }
  std::vector<Word> words;
  if (!ReadFromRecord(session, *record, words)) {
    std::unique_ptr<sto_MementoRead> const memento(new (session)
                                                       sto_MementoRead(session, std::move(record), 1));
    std::unique_ptr<cls_ReadListObj> const list(memento->MakeReadListObj());
    auto& ids = static_cast<sto_ObjectListReader&>(*list);
    words.reserve(static_cast<std::size_t>(ids.Count()));
    while (ids.More() != 0) words.push_back(ToWord(ids.NextHeld().m_Id));
  }
  NoteRead(session, words);
  transaction.Commit();
}

std::size_t sto_RefElements::Size() const {
  if (m_IsRead) return m_Words.size();
  if (m_Count < 0) ReadElements(false);
  return m_IsRead ? m_Words.size() : static_cast<std::size_t>(m_Count);
}

void sto_RefElements::Set(std::size_t index, sto_Resident* resident) {
  Need();
  CheckIndex(index, m_Words.size());
  Replace(index, resident);
}

void sto_RefElements::Insert(std::size_t index, sto_Resident* resident) {
  Need();
  CheckIndex(index, m_Words.size() + 1);
  m_Words.insert(m_Words.begin() + static_cast<std::ptrdiff_t>(index), Word());
  Replace(index, resident);
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

std::size_t sto_RefElements::EraseAll(sto_Resident const* resident) {
  Need();
  std::vector<Word> kept;
  std::vector<Word> erased; // an object that ends may lead back here
  kept.reserve(m_Words.size());
  for (std::size_t i = 0; i < m_Words.size(); ++i) (IsAt(i, resident) ? erased : kept).push_back(m_Words[i]);
  if (erased.empty()) return 0;
  m_Words.swap(kept);
  m_IsChanged = true;
  for (Word const word : erased) Drop(word);
  return erased.size();
}

void sto_RefElements::Clear() noexcept {
  for (Word const word : TakeAll()) Drop(word);
}

void sto_RefElements::Reserve(std::size_t count) {
  Need();
  m_Words.reserve(count);
}

std::size_t sto_RefElements::Find(sto_Resident const* resident, std::size_t first) const {
  Need();
  while (first < m_Words.size() && !IsAt(first, resident)) ++first;
  return std::min(first, m_Words.size());
}

void sto_RefElements::Write(cls_WriteVisitor const& visitor, cls_FieldHandle const& field,
                            sto_RefClass const& asked) const {
  if (visitor.Memento() == nullptr) return;
  sto_MementoWrite& memento = sto_StoreMemento(visitor);
  sto_Session& session = memento.Session();
  sto_WriteWhole(session, [&] {
    if (IsHeldAsItIs(memento, field, cls_InternalListTypeId)) return;
    Need();
    NoteHolder(memento.ObjectId());
    cls_Received<cls_WriteListObj> const builder(memento.MakeFieldWriteListObj(field, IdentityIn(session)));
    auto& list = dynamic_cast<sto_ObjectListWriter&>(*builder);
    for (std::size_t i = 0; i < m_Words.size(); ++i) {
      if (m_Words[i] == 0)
        list.AppendNull();
      else if (IsThere(m_Words[i], session))
        list.AppendId(NumberOf(m_Words[i]));
      else
        sto_AppendResident(list, session, *ResidentAt(i), asked); // raises what is wrong with a number
    }
    NoteWritten(session);
  });
}

void sto_RefElements::Read(cls_ReadVisitor const& visitor, cls_FieldHandle const& field) {
  sto_RefElements read;
  if (read.TakeHeld(visitor, field)) {
    read.ReadElements(true);
    read.NoteReadNow();
  }
  *this = std::move(read);
}
