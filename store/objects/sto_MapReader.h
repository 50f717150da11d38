#pragma once

#include <memory>
#include <string>
#include <unordered_map>

#include "persist/backend/cls_ReadMapPrim.h"
#include "persist/backend/cls_ReadObjects.h"
#include "store/format/sto_MapCodec.h"
#include "store/objects/sto_MementoRead.h"

/// A walk over the entries of an object's map or int table, which stand in its record. Internal to the
/// module.
///
/// That the entries can be read was seen when the record was decoded.
template <class K> class sto_MapCursor {
 public:
  /// Without record, no entries.
  sto_MapCursor(sto_Session& session, sto_RecordRef record)
      : m_Session(session), m_Record(std::move(record)) {
    if (m_Record == nullptr) return;
    m_Count = m_Record->Map()->m_Count;
    m_Place.m_Reader = sto_ByteReader(m_Record->Map()->m_Entries);
  }

  [[nodiscard]] sto_Session& Session() const noexcept { return m_Session; }
  [[nodiscard]] std::string Describe() const {
    return m_Record == nullptr ? "an object that is not stored"
                               : "object " + std::to_string(m_Record->Parts().front().m_Id);
  }
  /// The id of the map's object, 0 for none.
  [[nodiscard]] std::int64_t ObjectId() const noexcept {
    return m_Record == nullptr ? 0 : m_Record->Parts().front().m_Id;
  }
  [[nodiscard]] int Count() const noexcept { return m_Count; }
  [[nodiscard]] bool HasMore() const noexcept { return m_Place.m_Next < m_Count; }

  /// Moves to the next entry and takes its key; the value is to be read next.
  sto_ByteReader& Next() {
    if (!HasMore())
      m_Session.Raise(sto_ErrorKind::Misuse, "Reading past the end of the map of " + Describe() + ".");
    m_Place.m_Key = sto_KeyCodec<K>::Decode(m_Place.m_Reader);
    ++m_Place.m_Next;
    return m_Place.m_Reader;
  }

  /// Where it stands, when everything of the entry has been read.
  struct Place {
    int m_Next = 0;
    K m_Key{};
    sto_ByteReader m_Reader{{}};
  };
  [[nodiscard]] Place const& Standing() const noexcept { return m_Place; }
  void MoveTo(Place const& place) { m_Place = place; }

  /// The key of the entry that the cursor stands on.
  [[nodiscard]] K const& Key() const {
    if (m_Place.m_Next == 0)
      m_Session.Raise(sto_ErrorKind::Misuse,
                      "The cursor over the map of " + Describe() + " stands before the first entry.");
    return m_Place.m_Key;
  }

 private:
  sto_Session& m_Session;
  sto_RecordRef m_Record;
  int m_Count = 0;
  Place m_Place;
};

/// Cursor over an object's map from K (int or cow_String) to values of T.
template <class K, class T> class sto_MapReader final : public cls_ReadMapOf<K, T> {
 public:
  sto_MapReader(sto_Session& session, sto_RecordRef record) : m_Cursor(session, std::move(record)) {}

  int Count() override { return m_Cursor.Count(); }
  int More() override { return m_Cursor.HasMore() ? 1 : 0; }
  T Next() override { return sto_ElementCodec<T>::Decode(m_Cursor.Next()); }
  void Key(K& key) override { key = m_Cursor.Key(); }

 private:
  sto_MapCursor<K> m_Cursor;
};

/// Cursor over an object's int table.
class sto_IntTableReader final : public cls_ReadIntTableInt {
 public:
  sto_IntTableReader(sto_Session& session, sto_RecordRef record) : m_Cursor(session, std::move(record)) {}

  int Count() override { return m_Cursor.Count(); }
  int More() override { return m_Cursor.HasMore() ? 1 : 0; }
  int Next() override { return static_cast<int>(m_Cursor.Next().ZigZag()); }
  void Key(int& key) override { key = m_Cursor.Key(); }

 private:
  sto_MapCursor<int> m_Cursor;
};

/// Walk over an object's map from K to objects.
template <class K> class sto_ObjectMapCursor {
 public:
  sto_ObjectMapCursor(sto_Session& session, sto_RecordRef record, int depth)
      : m_Cursor(session, std::move(record)), m_Depth(depth) {}

  [[nodiscard]] int Count() const noexcept { return m_Cursor.Count(); }
  [[nodiscard]] int More() const noexcept { return m_Cursor.HasMore() ? 1 : 0; }
  void Next() { m_Id = static_cast<std::int64_t>(m_Cursor.Next().Varint()); }
  [[nodiscard]] cls_MementoRead* Fetch(K& key) const {
    key = m_Cursor.Key();
    return sto_MementoRead::OfElement(m_Cursor.Session(), m_Id, m_Depth + 1, {"map", m_Cursor.ObjectId()});
  }

  /// Moves to the first entry of a key; false when there is none. The first search passes over the whole map.
  bool Find(K const& key) {
    if (m_Places.empty()) {
      sto_MapCursor<K> all(m_Cursor);
      all.MoveTo(m_Start);
      while (all.HasMore()) {
        auto const id = static_cast<std::int64_t>(all.Next().Varint());
        m_Places.emplace(all.Key(), std::pair(all.Standing(), id));
      }
    }
    auto const found = m_Places.find(key);
    if (found == m_Places.end()) return false;
    m_Cursor.MoveTo(found->second.first);
    m_Id = found->second.second;
    return true;
  }

 private:
  using Place = typename sto_MapCursor<K>::Place;

  sto_MapCursor<K> m_Cursor;
  Place m_Start = m_Cursor.Standing();
  int m_Depth;
  std::int64_t m_Id = 0;
  std::unordered_map<K, std::pair<Place, std::int64_t>> m_Places;
};

/// Cursor over an object's map from int to objects. `depth` is how many objects hold the map.
class sto_ObjectMapReaderInt final : public cls_ReadMapInt2Obj {
 public:
  sto_ObjectMapReaderInt(sto_Session& session, sto_RecordRef record, int depth)
      : m_Cursor(session, std::move(record), depth) {}

  int More() override { return m_Cursor.More(); }
  void Next() override { m_Cursor.Next(); }
  int Count() override { return m_Cursor.Count(); }
  cls_MementoRead* Fetch(int& key) override { return m_Cursor.Fetch(key); }
  bool Find(int const& key) override { return m_Cursor.Find(key); }

 private:
  sto_ObjectMapCursor<int> m_Cursor;
};

/// The same from cow_String.
class sto_ObjectMapReaderString final : public cls_ReadMapString2Obj {
 public:
  sto_ObjectMapReaderString(sto_Session& session, sto_RecordRef record, int depth)
      : m_Cursor(session, std::move(record), depth) {}

  int More() override { return m_Cursor.More(); }
  void Next() override { m_Cursor.Next(); }
  int Count() override { return m_Cursor.Count(); }
  cls_MementoRead* Fetch(cow_String& key) override { return m_Cursor.Fetch(key); }

 private:
  sto_ObjectMapCursor<cow_String> m_Cursor;
};
