#include "store/agents/sto_MapAgentObj.h"

#include <algorithm>
#include <iterator>

#include "metadata/cls_CollectionType.h"

template <class K> unsigned int sto_MapAgentObj<K>::StoredClassId() const {
  return cls_InternalMapTypeId;
}

template <class K> int sto_MapAgentObj<K>::TakeContent(sto_RecordRef const& record) {
  if (!record->Map())
    Session().Raise(sto_ErrorKind::WrongClass, Describe() + " is none: the object holds no map.");
  sto_CollectionShape const stored = sto_CollectionShape::Of(*record->Map());
  if (stored != sto_MapShape<K, sto_ObjectId>())
    Session().Raise(sto_ErrorKind::WrongClass, Describe() + " is stored as a " + stored.Name() +
                                                   " and cannot be opened as a " + What() + ".");
  bool const isKnown = sto_StoredMap<K>::IsOf(m_Content.m_State, *record->Map());
  Content content;
  content.m_State = isKnown ? std::move(m_Content.m_State) : m_Stored.Read(*record->Map());
  content.m_Count = content.m_State.m_Count;
  if (m_IsTakingForeign && !isKnown && m_BeforeForeign == nullptr)
    m_BeforeForeign = std::make_unique<State>(std::move(m_Content.m_State));
  m_Content = std::move(content);
  ForgetEnds();
  return m_Content.m_Count;
}

template <class K> bool sto_MapAgentObj<K>::IsUnseen(K const& key) {
  if (m_BeforeForeign != nullptr) {
    typename sto_StoredMap<K>::Differences unseen = m_Unseen;
    m_Stored.AddDifferences(*m_BeforeForeign, m_Content.m_State, unseen);
    m_Unseen = std::move(unseen);
    m_BeforeForeign.reset();
  }
  return m_Unseen.m_Keys.contains(key) || std::ranges::any_of(m_Unseen.m_Unknown, [&](auto const& range) {
           return (!range.m_First || !(key < *range.m_First)) && (!range.m_End || key < *range.m_End);
         });
}

template <class K> void sto_MapAgentObj<K>::PutContent(sto_RecordBuilder& builder) {
  std::unique_ptr<AtMark> atMark = IsInSave() && m_AtMark == nullptr ? std::make_unique<AtMark>() : nullptr;
  Content content;
  content.m_State = m_Stored.Write(m_Content.m_State, m_Content.m_Changes, m_Content.m_IsCleared);
  content.m_Count = content.m_State.m_Count;
  auto [header, bytes] = sto_StoredMap<K>::Content(content.m_State);
  builder.SetMap(header, std::move(bytes));
  if (atMark != nullptr) {
    atMark->m_Content = std::move(m_Content);
    atMark->m_Undo = std::move(m_Undo);
    m_AtMark = std::move(atMark);
  }
  m_Undo.clear();
  m_Content = std::move(content);
}

template <class K> int sto_MapAgentObj<K>::Count() {
  return Look([&] { return m_Content.m_Count; });
}

template <class K> std::int64_t sto_MapAgentObj<K>::IdOf(K const& key) {
  if (auto const changed = m_Content.m_Changes.find(key); changed != m_Content.m_Changes.end())
    return changed->second;
  return m_Content.m_IsCleared ? 0 : m_Stored.IdOf(m_Content.m_State, key);
}

template <class K> void sto_MapAgentObj<K>::Put(K const& key, std::int64_t id) {
  bool const wasThere = IdOf(key) != 0;
  auto const changed = m_Content.m_Changes.find(key);
  bool const wasChanged = changed != m_Content.m_Changes.end();
  if (IsInSave())
    m_Undo.push_back({key, wasChanged, wasChanged ? changed->second : 0, m_Content.m_Count, nullptr});
  try {
    m_Content.m_Changes.insert_or_assign(key, id);
  } catch (...) {
    if (IsInSave()) m_Undo.pop_back();
    throw;
  }
  m_Content.m_Count += (id != 0 ? 1 : 0) - (wasThere ? 1 : 0);
  if (id == 0) return;
  if (m_First && key < *m_First) m_First = key;
  if (m_Last && *m_Last < key) m_Last = key;
}

template <class K> void sto_MapAgentObj<K>::UndoInMemory() noexcept {
  if (m_AtMark != nullptr) {
    m_Content = std::move(m_AtMark->m_Content);
    m_Undo = std::move(m_AtMark->m_Undo);
    m_AtMark.reset();
  }
  for (; !m_Undo.empty(); m_Undo.pop_back()) {
    Noted& change = m_Undo.back();
    if (change.m_Cleared != nullptr) {
      m_Content.m_Changes.swap(change.m_Cleared->m_Changes);
      m_Content.m_IsCleared = change.m_Cleared->m_IsCleared;
    } else if (change.m_WasChanged) {
      m_Content.m_Changes.find(change.m_Key)->second = change.m_Before;
    } else {
      m_Content.m_Changes.erase(change.m_Key);
    }
    m_Content.m_Count = change.m_Count;
  }
  ForgetEnds();
}

template <class K> bool sto_MapAgentObj<K>::Remove(K const& key) {
  return Change([&] { return IsUnseen(key); },
                [&] {
                  bool const isThere = IdOf(key) != 0;
                  if (isThere) Put(key, 0);
                  return isThere;
                });
}

template <class K> void sto_MapAgentObj<K>::Clear() {
  Change({}, [&] {
    if (m_Content.m_Count == 0) return false;
    if (IsInSave()) {
      auto before = std::make_unique<Content>();
      before->m_IsCleared = m_Content.m_IsCleared;
      m_Undo.push_back({K(), false, 0, m_Content.m_Count, std::move(before)}); // first: it may fail
      m_Undo.back().m_Cleared->m_Changes.swap(m_Content.m_Changes);
    }
    m_Content.m_Changes.clear();
    m_Content.m_IsCleared = true;
    m_Content.m_Count = 0;
    ForgetEnds();
    return true;
  });
}

template <class K> cls_MementoRead* sto_MapAgentObj<K>::MakeReadObj(K const& key) {
  return ReadElement([&] { return IdOf(key); });
}

template <class K>
cls_MementoWrite* sto_MapAgentObj<K>::MakeWriteObj(K const& key, unsigned int classId, cls_Uid const& uid) {
  return WriteElement(
      classId, uid, [&] { return IsUnseen(key); }, [] {}, [&] { return IdOf(key); },
      [&](std::int64_t id) { Put(key, id); });
}

template <class K> std::optional<K> sto_MapAgentObj<K>::After(K const* key) {
  auto const stored = [&](K const* before) {
    return m_Content.m_IsCleared ? std::nullopt : m_Stored.After(m_Content.m_State, before);
  };
  Changes const& changes = m_Content.m_Changes;
  auto changed = key == nullptr ? changes.begin() : changes.upper_bound(*key);
  for (std::optional<K> next = stored(key);; ++changed) {
    if (changed == changes.end() || (next && *next < changed->first)) return next;
    if (next && !(changed->first < *next)) next = stored(&*next);
    if (changed->second != 0) return changed->first;
  }
}

template <class K> std::optional<K> sto_MapAgentObj<K>::Before(K const* key) {
  auto const stored = [&](K const* after) {
    return m_Content.m_IsCleared ? std::nullopt : m_Stored.Before(m_Content.m_State, after);
  };
  Changes const& changes = m_Content.m_Changes;
  auto changed = key == nullptr ? changes.end() : changes.lower_bound(*key);
  for (std::optional<K> next = stored(key);;) {
    if (changed == changes.begin() || (next && std::prev(changed)->first < *next)) return next;
    --changed;
    if (next && !(*next < changed->first)) next = stored(&*next);
    if (changed->second != 0) return changed->first;
  }
}

template <class K> bool sto_MapAgentObj<K>::Contains(K const& key) {
  return Look([&] { return IdOf(key) != 0; });
}

template <class K> bool sto_MapAgentObj<K>::FirstKey(K& key) {
  return Look([&] {
    if (m_Content.m_Count > 0 && (!m_First || IdOf(*m_First) == 0))
      m_First = After(m_First ? &*m_First : nullptr);
    if (m_Content.m_Count == 0 || !m_First) return false;
    key = *m_First;
    return true;
  });
}

template <class K> bool sto_MapAgentObj<K>::NextKey(K& key) {
  return Look([&] {
    std::optional<K> const next = After(&key);
    if (next) key = *next;
    return next.has_value();
  });
}

template <class K> bool sto_MapAgentObj<K>::LastKey(K& key) {
  return Look([&] {
    if (m_Content.m_Count > 0 && (!m_Last || IdOf(*m_Last) == 0))
      m_Last = Before(m_Last ? &*m_Last : nullptr);
    if (m_Content.m_Count == 0 || !m_Last) return false;
    key = *m_Last;
    return true;
  });
}

template <class K> bool sto_MapAgentObj<K>::PreviousKey(K& key) {
  return Look([&] {
    std::optional<K> const previous = Before(&key);
    if (previous) key = *previous;
    return previous.has_value();
  });
}

template class sto_MapAgentObj<int>;
template class sto_MapAgentObj<cow_String>;
