#include "store/refs/sto_RefEntries.h"

#include <algorithm>
#include <memory>
#include <type_traits>
#include <utility>

#include "persist/backend/cls_CollectionTypeIds.h"
#include "persist/backend/cls_DeleteWhenNeeded.h"
#include "store/base/sto_Exception.h"
#include "store/objects/sto_MapReader.h"
#include "store/objects/sto_MapWriter.h"
#include "store/objects/sto_MementoRead.h"
#include "store/objects/sto_MementoWrite.h"
#include "store/session/sto_OwnTransaction.h"
#include "store/session/sto_Residents.h"

namespace {

int ToStored(int key) noexcept {
  return key;
}
cow_String ToStored(std::string const& key) {
  return cow_String(key);
}
int FromStored(int key) noexcept {
  return key;
}
std::string FromStored(cow_String const& key) {
  return std::string(key.View());
}

/// The cursor over the entries of a stored map.
template <class K> auto MakeReader(cls_MementoRead& memento) {
  if constexpr (std::is_same_v<K, int>)
    return cls_Received<cls_ReadMapInt2Obj>(memento.MakeReadMapInt2Obj());
  else
    return cls_Received<cls_ReadMapString2Obj>(memento.MakeReadMapString2Obj());
}
template <class K> auto& CursorOf(auto& reader) {
  using Reader =
      std::conditional_t<std::is_same_v<K, int>, sto_ObjectMapReaderInt, sto_ObjectMapReaderString>;
  return static_cast<Reader&>(reader).Cursor();
}

template <class K>
auto MakeWriter(cls_MementoWrite& memento, cls_FieldHandle const& field, cls_Uid const& uid) {
  if constexpr (std::is_same_v<K, int>)
    return cls_Received<cls_WriteMapInt2Obj>(memento.MakeFieldWriteMapInt2Obj(field, uid));
  else
    return cls_Received<cls_WriteMapString2Obj>(memento.MakeFieldWriteMapString2Obj(field, uid));
}

} // namespace

template <class K> sto_RefEntries<K>::sto_RefEntries(sto_RefEntries const& other) : sto_RefEntries() {
  other.Need();
  m_Keys = other.m_Keys;
  m_Words.reserve(other.m_Words.size());
  for (std::size_t i = 0; i < other.m_Words.size(); ++i) m_Words.push_back(ToWord(other.ResidentAt(i)));
}

template <class K> sto_RefEntries<K>& sto_RefEntries<K>::operator=(sto_RefEntries const& other) {
  if (this == &other) return *this;
  sto_RefEntries copy(other);
  std::vector<Word> before = TakeAll();
  m_Words.swap(copy.m_Words);
  m_Keys.swap(copy.m_Keys);
  copy.m_Words.swap(before);
  return *this;
}

template <class K> void sto_RefEntries<K>::ReadEntries() const {
  sto_Session& session = HomeSession();
  sto_OwnTransaction transaction(session, false);
  sto_RecordRef record = session.Records().Read(m_Id);
  if (record == nullptr) RaiseMissing();
  std::vector<Word> words;
  std::vector<K> keys;
  {
    std::unique_ptr<sto_MementoRead> const memento(new (session)
                                                       sto_MementoRead(session, std::move(record), 1));
    auto const reader = MakeReader<K>(*memento);
    auto& cursor = CursorOf<K>(*reader);
    words.reserve(static_cast<std::size_t>(cursor.Count()));
    keys.reserve(static_cast<std::size_t>(cursor.Count()));
    while (cursor.More() != 0) {
      cursor.Next();
      K key = FromStored(cursor.Key());
      if (!session.IsGivenOut(cursor.HeldId()))
        session.Raise(sto_ErrorKind::Damaged, "The map of object " + std::to_string(m_Id) + " names object " +
                                                  std::to_string(cursor.HeldId()) +
                                                  ", which the store never had.");
      // A map that was written in another order is sorted here; of several entries with one key the first counts.
      auto const place =
          keys.empty() || keys.back() < key ? keys.end() : std::lower_bound(keys.begin(), keys.end(), key);
      if (place != keys.end() && *place == key) continue;
      words.insert(words.begin() + (place - keys.begin()), ToWord(cursor.HeldId()));
      keys.insert(place, std::move(key));
    }
  }
  m_Keys.swap(keys);
  NoteRead(session, words);
  transaction.Commit();
}

template <class K> std::size_t sto_RefEntries<K>::Size() const {
  if (m_IsRead) return m_Words.size();
  if (m_Count < 0) {
    sto_Session& session = HomeSession();
    sto_OwnTransaction transaction(session, false);
    sto_RecordRef const record = session.Records().Read(m_Id);
    if (record == nullptr) RaiseMissing();
    if (!record->Map()) return NeedSize(); // raises what it is
    m_Count = record->Map()->m_Count;
    transaction.Commit();
  }
  return static_cast<std::size_t>(m_Count);
}

template <class K> std::size_t sto_RefEntries<K>::NeedSize() const {
  Need();
  return m_Words.size();
}

template <class K> std::size_t sto_RefEntries<K>::LowerBound(K const& key) const {
  Need();
  return static_cast<std::size_t>(std::lower_bound(m_Keys.begin(), m_Keys.end(), key) - m_Keys.begin());
}

template <class K> std::size_t sto_RefEntries<K>::Find(K const& key) const {
  std::size_t const place = LowerBound(key);
  return place < m_Keys.size() && m_Keys[place] == key ? place : m_Keys.size();
}

template <class K> K const& sto_RefEntries<K>::KeyAt(std::size_t index) const {
  Need();
  CheckIndex(index, m_Keys.size());
  return m_Keys[index];
}

template <class K> bool sto_RefEntries<K>::Put(K const& key, sto_Resident* resident) {
  if (resident == nullptr) sto_Raise(sto_ErrorKind::Misuse, Describe() + " can have no null references.");
  std::size_t const place = LowerBound(key);
  bool const isNew = place == m_Keys.size() || !(m_Keys[place] == key);
  if (isNew) {
    m_Words.reserve(m_Words.size() + 1 > m_Words.capacity() ? 2 * m_Words.size() + 8 : m_Words.size());
    m_Keys.insert(m_Keys.begin() + static_cast<std::ptrdiff_t>(place), key);
    m_Words.insert(m_Words.begin() + static_cast<std::ptrdiff_t>(place), Word()); // there is room
  }
  Replace(place, resident);
  return isNew;
}

template <class K> void sto_RefEntries<K>::Erase(std::size_t index) {
  Need();
  CheckIndex(index, m_Words.size());
  Word const word = m_Words[index];
  m_Words.erase(m_Words.begin() + static_cast<std::ptrdiff_t>(index));
  m_Keys.erase(m_Keys.begin() + static_cast<std::ptrdiff_t>(index));
  m_IsChanged = true;
  Drop(word);
}

template <class K> void sto_RefEntries<K>::Clear() noexcept {
  std::vector<Word> const words = TakeAll();
  m_Keys.clear();
  for (Word const word : words) Drop(word);
}

template <class K> void sto_RefEntries<K>::RaiseNoKey(K const& key) const {
  std::string text;
  if constexpr (std::is_same_v<K, int>)
    text = std::to_string(key);
  else
    text = key;
  sto_Raise(sto_ErrorKind::Misuse, Describe() + " has no key " + text + ".");
}

template <class K>
void sto_RefEntries<K>::Write(cls_WriteVisitor const& visitor, cls_FieldHandle const& field,
                              sto_RefClass const& asked) const {
  if (visitor.Memento() == nullptr) return;
  sto_MementoWrite& memento = sto_StoreMemento(visitor);
  sto_Session& session = memento.Session();
  sto_WriteWhole(session, [&] {
    if (IsHeldAsItIs(memento, field, cls_InternalMapTypeId)) return;
    Need();
    NoteHolder(memento.ObjectId());
    auto const builder = MakeWriter<K>(memento, field, IdentityIn(session));
    auto& map = dynamic_cast<sto_ObjectMapWriter<decltype(ToStored(K()))>&>(*builder);
    for (std::size_t i = 0; i < m_Words.size(); ++i) {
      auto const key = ToStored(m_Keys[i]);
      if (IsThere(m_Words[i], session))
        map.InsertId(key, NumberOf(m_Words[i]));
      else
        sto_InsertResident(map, key, session, *ResidentAt(i), asked); // raises what is wrong with a number
    }
    NoteWritten(session);
  });
}

template <class K>
void sto_RefEntries<K>::Read(cls_ReadVisitor const& visitor, cls_FieldHandle const& field) {
  sto_RefEntries read;
  if (read.TakeHeld(visitor, field)) {
    read.ReadEntries();
    read.NoteReadNow();
  }
  *this = std::move(read);
}

template class sto_RefEntries<int>;
template class sto_RefEntries<std::string>;
