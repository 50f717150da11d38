#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "persist/backend/cls_TypedMementoRead.h"
#include "store/format/sto_MapCodec.h"
#include "store/session/sto_MapChunks.h"
#include "store/session/sto_Session.h"

/// A walk over the entries of an object's map or int table, which are in its record or in chunks. Of those one
/// is in memory. Entries have been checked before the walk comes to them. Internal to the module.
template <class K> class sto_MapCursor {
 public:
  /// A null record has no entries. Damaged.
  sto_MapCursor(sto_Session& session, sto_RecordRef record);

  [[nodiscard]] sto_Session& Session() const noexcept { return m_Session; }
  /// The id of the map's object, 0 if there is none.
  [[nodiscard]] std::int64_t ObjectId() const noexcept {
    return m_Record == nullptr ? 0 : m_Record->Parts().front().m_Id;
  }
  [[nodiscard]] int Count() const noexcept { return m_Count; }
  [[nodiscard]] bool HasMore() const noexcept { return m_Position.m_Next < m_Count; }

  /// Moves to the next entry and reads its key. The caller reads the value from the result. Misuse after the
  /// last entry. Damaged.
  sto_ByteReader& Next();

  /// A position of the walk, between two entries.
  struct Position {
    int m_Next = 0;
    K m_Key{};
    sto_ByteReader m_Reader{{}};
    int m_LeftInChunk = 0;
    std::size_t m_NextChunk = 0;
    std::shared_ptr<sto_Bytes const> m_Content; // of the chunk
  };
  [[nodiscard]] Position const& Current() const noexcept { return m_Position; }
  void MoveTo(Position const& position) { m_Position = position; }

  /// The key of the current entry. Misuse before the first Next.
  [[nodiscard]] K const& Key() const;

  [[nodiscard]] std::vector<sto_Chunk> const& Chunks() const noexcept { return m_Directory.m_Chunks; }
  /// Whether the chunks have keys, so that one entry can be found in one of them.
  [[nodiscard]] bool HasKeys() const noexcept { return m_Directory.HasKeys(); }
  /// The position before the first entry of the only chunk that can have a key. REQUIRES: HasKeys. Damaged.
  [[nodiscard]] Position StartOfChunkWith(K const& key);

 private:
  [[nodiscard]] std::string Describe() const {
    return m_Record == nullptr ? "an object that is not stored"
                               : "object " + std::to_string(m_Record->Parts().front().m_Id);
  }
  /// Reads the next chunk.
  void EnterChunk(Position& position);

  sto_Session& m_Session;
  sto_RecordRef m_Record;
  int m_Count = 0;
  sto_ChunkDirectory m_Directory;
  std::vector<K> m_FirstKeys; // of the chunks; filled by StartOfChunkWith
  Position m_Position;
};

/// Cursor over an object's map from K (int or cow_String) to values of T. Internal to the module, as all
/// classes here.
template <class K, class T> class sto_MapReader final : public cls_ReadMapOf<K, T> {
 public:
  sto_MapReader(sto_Session& session, sto_RecordRef record) : m_Cursor(session, std::move(record)) {}

  int Count() override { return m_Cursor.Count(); }
  int More() override { return m_Cursor.HasMore() ? 1 : 0; }
  T Next() override;
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
  int Next() override;
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
  void Next();
  [[nodiscard]] cls_MementoRead* Fetch(K& key) const;
  /// The current entry, without its object.
  [[nodiscard]] K const& Key() const { return m_Cursor.Key(); }
  [[nodiscard]] std::int64_t HeldId() const noexcept { return m_Id; }
  /// Moves to the first entry with a key; false if there is none. The first search walks the whole map. In a map
  /// in chunks with ascending keys a search reads one chunk, until there have been as many as chunks.
  bool Find(K const& key);

 private:
  using Position = typename sto_MapCursor<K>::Position;

  [[nodiscard]] bool FindInChunk(K const& key);
  /// Says which objects are next in the chunk, so that the session can read them ahead.
  void WantChunk();

  sto_MapCursor<K> m_Cursor;
  Position m_Start = m_Cursor.Current();
  int m_Depth;
  std::int64_t m_Id = 0;
  std::size_t m_WantedChunk = 0;                                    // the number after that of WantChunk
  std::size_t m_Searches = 0;                                       // in single chunks
  std::unordered_map<K, std::pair<Position, std::int64_t>> m_Found; // positions and ids; filled by Find
};

/// Cursor over an object's map from int to objects. `depth` is the number of objects that hold the map, one
/// inside another.
class sto_ObjectMapReaderInt final : public cls_ReadMapInt2Obj {
 public:
  sto_ObjectMapReaderInt(sto_Session& session, sto_RecordRef record, int depth)
      : m_Cursor(session, std::move(record), depth) {}

  int More() override { return m_Cursor.More(); }
  void Next() override { m_Cursor.Next(); }
  int Count() override { return m_Cursor.Count(); }
  cls_MementoRead* Fetch(int& key) override { return m_Cursor.Fetch(key); }
  bool Find(int const& key) override { return m_Cursor.Find(key); }
  [[nodiscard]] sto_ObjectMapCursor<int>& Cursor() noexcept { return m_Cursor; }

 private:
  sto_ObjectMapCursor<int> m_Cursor;
};

/// The same for a map from cow_String.
class sto_ObjectMapReaderString final : public cls_ReadMapString2Obj {
 public:
  sto_ObjectMapReaderString(sto_Session& session, sto_RecordRef record, int depth)
      : m_Cursor(session, std::move(record), depth) {}

  int More() override { return m_Cursor.More(); }
  void Next() override { m_Cursor.Next(); }
  int Count() override { return m_Cursor.Count(); }
  cls_MementoRead* Fetch(cow_String& key) override { return m_Cursor.Fetch(key); }
  [[nodiscard]] sto_ObjectMapCursor<cow_String>& Cursor() noexcept { return m_Cursor; }

 private:
  sto_ObjectMapCursor<cow_String> m_Cursor;
};

extern template class sto_MapCursor<int>;
extern template class sto_ObjectMapCursor<int>;
extern template class sto_MapReader<int, cow_String>;
extern template class sto_MapReader<int, float>;
extern template class sto_MapReader<int, double>;
extern template class sto_MapReader<int, unsigned int>;
extern template class sto_MapReader<int, int>;
extern template class sto_MapCursor<cow_String>;
extern template class sto_ObjectMapCursor<cow_String>;
extern template class sto_MapReader<cow_String, cow_String>;
extern template class sto_MapReader<cow_String, float>;
extern template class sto_MapReader<cow_String, double>;
extern template class sto_MapReader<cow_String, unsigned int>;
extern template class sto_MapReader<cow_String, int>;
