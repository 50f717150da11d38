#pragma once

#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "persist/backend/cls_TypedMementoWrite.h"
#include "persist/backend/cls_WriteObjects.h"
#include "store/format/sto_MapCodec.h"
#include "store/objects/sto_RecordInProgress.h"
#include "store/session/sto_MapChunks.h"

/// The entries of a map or an int table on their way to the store. A short map is collected for the object's
/// record. Of a longer one each chunk is written when it is full, so the map is never held in memory.
///
/// A map in chunks that replaces another follows it: its chunks end where those of the stored map do, and have
/// their numbers, so that unchanged ones are not written again. If the keys of the stored map ascend, a chunk
/// ends before the first key of the stored map's next one; if not, after as many entries.
///
/// The map is complete when this is deleted. Internal to the module, as all classes here.
class sto_MapOutput {
 public:
  sto_MapOutput(sto_RecordInProgressRef object, sto_CollectionShape const& shape);
  sto_MapOutput(sto_MapOutput const&) = delete;
  sto_MapOutput& operator=(sto_MapOutput const&) = delete;

  [[nodiscard]] int Count() const noexcept { return m_Count; }
  [[nodiscard]] sto_RecordInProgress& Object() noexcept { return *m_Object; }

 protected:
  ~sto_MapOutput() = default;

  /// Which chunks of the stored map the new ones follow.
  enum class Follow { Nothing, Keys, Counts };

  /// Takes the entry that was appended to m_Entries at `first`. Full.
  void TakeEntry(std::size_t first);
  /// Whether the entries have become too many for the record.
  [[nodiscard]] bool MustStartChunks() const noexcept {
    return !m_InChunks && m_MayStartChunks && m_Entries.size() > sto_Format::InlineMapBytes;
  }
  /// From now on there are chunks. Returns the entries so far, which must be taken again.
  [[nodiscard]] sto_Bytes StartChunks();
  /// The next entry belongs to the stored chunk `next`, a later one than the entries before.
  void Reach(std::size_t next);
  /// Call after an entry in a chunk: writes the chunk if it is full.
  void EndEntry();
  void Complete();
  [[nodiscard]] sto_MapHeader Header(int count) const noexcept;
  [[noreturn]] void RaiseFull(char const* what);

  sto_RecordInProgressRef m_Object;
  bool m_InChunks = false;
  bool m_Ascends = true; // each key was greater than the one before it
  Follow m_Follow = Follow::Nothing;
  std::size_t m_At = 0;            // the chunk of m_Stored that the current entries follow
  int m_InChunk = 0;               // how many entries m_Entries has
  std::vector<sto_Chunk> m_Stored; // the chunks of the stored map
  sto_Bytes m_Entries;             // that are not written yet

 private:
  static constexpr std::size_t NoChunk = static_cast<std::size_t>(-1);

  void ReadStored();
  /// Whether the pending entries are those of a stored chunk.
  [[nodiscard]] bool AreStored(std::size_t chunk) const;
  /// Writes the pending entries.
  void Flush();
  void WriteChunk(sto_ByteView entries, int count, int number, int page);
  void CompleteChunks(sto_MapHeader& header);

  sto_CollectionShape m_Shape;
  bool m_MayStartChunks = true;
  int m_Count = 0;
  std::uint64_t m_Hash;           // of all entries
  std::size_t m_Replaced = 0;     // the chunk of m_Stored whose number the pending entries get, or NoChunk
  sto_ChunkNumbers m_Numbers;     // of the stored map and of this one
  sto_ChunkDirectory m_Directory; // of the chunks that are written
};

/// The same for keys of a type.
template <class K> class sto_MapEntries final : public sto_MapOutput {
 public:
  using sto_MapOutput::sto_MapOutput;
  ~sto_MapEntries();

  /// Adds an entry; `write` writes its value. Full if the map cannot be stored.
  template <class Write> void Add(K const& key, Write write);

 private:
  void StartChunksHere();
  /// Call before an entry in a chunk.
  void BeforeEntry(K const& key);

  K m_LastKey{};
  std::vector<K> m_FirstKeys; // of the chunks of the stored map
};
extern template class sto_MapEntries<int>;
extern template class sto_MapEntries<cow_String>;

/// Builder of an object's map from K (int or cow_String) to values of T.
template <class K, class T> class sto_MapWriter final : public cls_WriteMapOf<K, T> {
 public:
  explicit sto_MapWriter(sto_RecordInProgressRef object)
      : m_Entries(std::move(object), sto_MapShape<K, T>()) {}

  void Insert(K const& key, T const& value) override;

 private:
  sto_MapEntries<K> m_Entries;
};

/// Builder of an object's map from K to objects.
template <class K> class sto_ObjectMapWriter final : public cls_WriteObjectMapOf<K> {
 public:
  explicit sto_ObjectMapWriter(sto_RecordInProgressRef object)
      : m_Entries(std::move(object), sto_MapShape<K, sto_ObjectId>()) {}

  cls_MementoWrite* MakeWriteObj(K const& key, unsigned int classId, cls_Uid const& uid) override {
    return MakeWriteObjWithPtr(key, classId, uid, nullptr);
  }
  cls_MementoWrite* MakeWriteObjWithPtr(K const& key, unsigned int classId, cls_Uid const& uid,
                                        void const* object) override;
  int Count() const override { return m_Entries.Count(); }

  /// Inserts an object that is stored already.
  void InsertId(K const& key, std::int64_t id);
  /// Inserts an object that is written later. False, and nothing is inserted, for a collection.
  [[nodiscard]] bool InsertLater(K const& key, cls_LaterWrite object);

 private:
  sto_MapEntries<K> m_Entries;
};

/// Builder of an object's int table.
class sto_IntTableWriter final : public cls_WriteIntTableInt {
 public:
  explicit sto_IntTableWriter(sto_RecordInProgressRef object)
      : m_Entries(std::move(object), sto_IntTableShape()) {}

  void Insert(int key, int value) override;

 private:
  sto_MapEntries<int> m_Entries;
};

extern template class sto_ObjectMapWriter<int>;
extern template class sto_MapWriter<int, cow_String>;
extern template class sto_MapWriter<int, float>;
extern template class sto_MapWriter<int, double>;
extern template class sto_MapWriter<int, unsigned int>;
extern template class sto_MapWriter<int, int>;
extern template class sto_ObjectMapWriter<cow_String>;
extern template class sto_MapWriter<cow_String, cow_String>;
extern template class sto_MapWriter<cow_String, float>;
extern template class sto_MapWriter<cow_String, double>;
extern template class sto_MapWriter<cow_String, unsigned int>;
extern template class sto_MapWriter<cow_String, int>;
