#include "store/objects/sto_MapWriter.h"

#include <limits>
#include <numeric>
#include <string>
#include <utility>

#include "store/base/sto_Exception.h"
#include "store/format/sto_Checksum.h"
#include "store/format/sto_CollectionFields.h"
#include "store/format/sto_MapWalk.h"
#include "store/objects/sto_MementoWrite.h"

sto_MapOutput::sto_MapOutput(sto_RecordInProgressRef object, sto_CollectionShape const& shape)
    : m_Object(std::move(object)), m_Shape(shape),
      m_Hash(std::uint64_t{shape.m_KeyType} << 8 | shape.m_ElementType |
             (shape.m_IsTable ? std::uint64_t{1} << 16 : 0)) {
  m_Object->RestartList();
}

sto_MapHeader sto_MapOutput::Header(int count) const noexcept {
  sto_MapHeader header;
  header.m_IsTable = m_Shape.m_IsTable;
  header.m_KeyType = m_Shape.m_KeyType;
  header.m_ElementType = m_Shape.m_ElementType;
  header.m_Count = count;
  return header;
}

void sto_MapOutput::RaiseFull(char const* what) {
  m_Object->Session().Raise(sto_ErrorKind::Full,
                            "The " + m_Shape.Name() + " of " + m_Object->Describe() + " has " + what + ".");
}

void sto_MapOutput::TakeEntry(std::size_t first) {
  if (m_Count == std::numeric_limits<int>::max()) RaiseFull("more entries than it can count");
  if (m_Entries.size() > sto_Format::MaxValueBytes) RaiseFull("too many bytes in one record or block");
  m_Hash = sto_Checksum(m_Hash, sto_ByteView(m_Entries).subspan(first));
  ++m_InChunk;
  ++m_Count;
}

sto_Bytes sto_MapOutput::StartChunks() {
  ReadStored();
  m_InChunk = 0;
  if (m_MayStartChunks) m_InChunks = true;
  return m_InChunks ? std::exchange(m_Entries, {}) : sto_Bytes();
}

void sto_MapOutput::ReadStored() {
  sto_Session& session = m_Object->Session();
  if (session.Save().IsNew(m_Object->Id()) && !m_Object->IsCompared()) return;
  sto_Record const* const stored = m_Object->ReadStored();
  if (stored == nullptr || !stored->Map()) return;
  if (!stored->Map()->m_InChunks) {
    // An older form may have a long map in the record. To be compared, the new one must be there too.
    m_MayStartChunks = !m_Object->IsCompared();
    return;
  }
  if (sto_CollectionShape::Of(*stored->Map()) != m_Shape) return;
  try {
    sto_ChunkNumbers numbers;
    sto_ChunkDirectory directory =
        sto_MapChunks(session, m_Object->Id()).ReadDirectory(*stored->Map(), numbers);
    m_Follow = directory.HasKeys() ? Follow::Keys : Follow::Counts;
    m_Numbers = std::move(numbers);
    m_Stored = std::move(directory.m_Chunks);
    m_Directory.m_Pages = std::move(directory.m_Pages);
  } catch (sto_Exception const& failure) {
    if (failure.Kind() != sto_ErrorKind::Damaged) throw; // a damaged map is replaced
  }
}

bool sto_MapOutput::AreStored(std::size_t chunk) const {
  return chunk < m_Stored.size() && m_InChunk == m_Stored[chunk].m_Count &&
         sto_ChunkChecksum(m_Entries) == m_Stored[chunk].m_Checksum;
}

void sto_MapOutput::Reach(std::size_t next) {
  m_At = next;
  if (m_Entries.size() >= sto_Format::ChunkBytes / 4 || AreStored(m_Replaced)) Flush();
  if (m_Entries.empty()) m_Replaced = next;
}

void sto_MapOutput::EndEntry() {
  constexpr std::size_t MostPending = 8 * sto_Format::ChunkBytes;
  if (m_Entries.size() < (m_Follow == Follow::Nothing ? sto_Format::ChunkBytes : MostPending)) return;
  Flush();
  m_Replaced = NoChunk;
}

void sto_MapOutput::Flush() {
  if (m_Entries.empty()) return;
  bool const doesReplace = m_Replaced < m_Stored.size();
  int number = doesReplace ? m_Stored[m_Replaced].m_Number : -1;
  int const page = doesReplace                    ? m_Stored[m_Replaced].m_Page
                   : m_Directory.m_Chunks.empty() ? -1
                                                  : m_Directory.m_Chunks.back().m_Page;
  std::vector<std::size_t> sizes;
  if (AreStored(m_Replaced) || m_Entries.size() <= 2 * sto_Format::ChunkBytes) {
    sizes.push_back(m_Entries.size());
    WriteChunk(m_Entries, m_InChunk, number, page);
  } else {
    for (sto_MapWalk walk(sto_MapOfChunk(Header(0), m_InChunk, m_Entries)); walk.Next();)
      sizes.push_back(walk.Key().size() + walk.Value().size());
    std::size_t done = 0;
    for (sto_Run const& run : sto_CutRow(sizes, sto_Format::ChunkBytes)) {
      auto const first = sizes.begin() + static_cast<std::ptrdiff_t>(run.m_First);
      std::size_t const bytes =
          std::accumulate(first, first + static_cast<std::ptrdiff_t>(run.m_Count), std::size_t{0});
      WriteChunk(sto_ByteView(m_Entries).subspan(done, bytes), static_cast<int>(run.m_Count),
                 std::exchange(number, -1), page);
      done += bytes;
    }
  }
  m_Entries.clear();
  m_InChunk = 0;
}

void sto_MapOutput::WriteChunk(sto_ByteView entries, int count, int number, int page) {
  sto_Chunk chunk;
  chunk.m_Number = number >= 0 ? number : m_Numbers.Take();
  chunk.m_Count = count;
  chunk.m_Checksum = sto_ChunkChecksum(entries);
  chunk.m_Page = page;
  sto_MapWalk walk(sto_MapOfChunk(Header(0), count, entries));
  if (walk.Next()) chunk.m_FirstKey.assign(walk.Key().begin(), walk.Key().end());
  sto_Bytes content(entries.begin(), entries.end());
  m_Object->WriteChunk(chunk.m_Number, content);
  m_Directory.m_Chunks.push_back(std::move(chunk));
}

void sto_MapOutput::CompleteChunks(sto_MapHeader& header) {
  Flush();
  header.m_InChunks = true;
  for (sto_Chunk& chunk : m_Directory.m_Chunks)
    if (!m_Ascends) chunk.m_FirstKey.clear();
  m_Entries = m_Directory.Encode(
      m_Numbers, [&](int number, sto_Bytes& content) { m_Object->WriteChunk(number, content); });
  sto_ChunkNumbers used;
  for (sto_Chunk const& chunk : m_Directory.m_Chunks) used.Use(chunk.m_Number);
  for (sto_Chunk const& page : m_Directory.m_Pages) used.Use(page.m_Number);
  m_Object->SetChunks(used.Used());
}

void sto_MapOutput::Complete() {
  m_Object->Session().Save().CheckSameCollection(m_Object->Id(), m_Hash,
                                                 m_Shape.m_IsTable ? "int tables" : "maps");
  sto_MapHeader header = Header(m_Count);
  if (m_InChunks) CompleteChunks(header);
  m_Object->Record().SetMap(header, std::move(m_Entries));
}

template <class K> sto_MapEntries<K>::~sto_MapEntries() {
  if (m_Object->IsUnwinding()) return;
  try {
    Complete();
  } catch (...) {
    m_Object->Session().Keep(std::current_exception());
  }
}

template <class K> void sto_MapEntries<K>::BeforeEntry(K const& key) {
  std::size_t next = m_At;
  if (m_Follow == Follow::Counts && m_InChunk == m_Stored[m_At].m_Count && m_At + 1 < m_Stored.size()) ++next;
  if (m_Follow == Follow::Keys)
    while (next + 1 < m_FirstKeys.size() && !(key < m_FirstKeys[next + 1])) ++next;
  if (next != m_At) Reach(next);
}

template <class K> void sto_MapEntries<K>::StartChunksHere() {
  int const count = m_InChunk;
  sto_Bytes const before = StartChunks();
  if (m_Follow == Follow::Keys)
    for (sto_Chunk const& chunk : m_Stored) {
      sto_ByteReader reader(chunk.m_FirstKey);
      m_FirstKeys.push_back(sto_KeyCodec<K>::Decode(reader));
    }
  if (m_Follow == Follow::Keys && !m_Ascends) m_Follow = Follow::Nothing;
  for (sto_MapWalk walk(sto_MapOfChunk(Header(0), count, before)); walk.Next();) {
    sto_ByteReader reader(walk.Key());
    BeforeEntry(sto_KeyCodec<K>::Decode(reader));
    m_Entries.insert(m_Entries.end(), walk.Key().begin(), walk.Key().end());
    m_Entries.insert(m_Entries.end(), walk.Value().begin(), walk.Value().end());
    ++m_InChunk;
    EndEntry();
  }
}

template <class K> template <class Write> void sto_MapEntries<K>::Add(K const& key, Write write) {
  m_Object->PutWhole([&] {
    m_Ascends = m_Ascends && (Count() == 0 || m_LastKey < key);
    m_LastKey = key;
    if (m_Follow == Follow::Keys && !m_Ascends) m_Follow = Follow::Nothing;
    if (m_InChunks) BeforeEntry(key);
    std::size_t const first = m_Entries.size();
    sto_ByteWriter writer(m_Entries);
    sto_KeyCodec<K>::Encode(writer, key);
    write(writer);
    TakeEntry(first);
    if (m_InChunks)
      EndEntry();
    else if (MustStartChunks())
      StartChunksHere();
  });
}

template <class K, class T> void sto_MapWriter<K, T>::Insert(K const& key, T const& value) {
  m_Entries.Add(key, [&](sto_ByteWriter& writer) { sto_ElementCodec<T>::Encode(writer, value); });
}

template <class K>
cls_MementoWrite* sto_ObjectMapWriter<K>::MakeWriteObjWithPtr(K const& key, unsigned int classId,
                                                              cls_Uid const& uid, void const* object) {
  std::int64_t id = 0;
  std::unique_ptr<sto_MementoWrite> element =
      sto_MementoWrite::ForElement(m_Entries.Object(), classId, uid, object, id);
  InsertId(key, id);
  return element.release();
}

template <class K> void sto_ObjectMapWriter<K>::InsertId(K const& key, std::int64_t id) {
  m_Entries.Add(key, [&](sto_ByteWriter& writer) { writer.Varint(static_cast<std::uint64_t>(id)); });
}

template <class K> bool sto_ObjectMapWriter<K>::InsertLater(K const& key, cls_LaterWrite object) {
  if (sto_IsCollectionClass(object.m_ClassId)) return false;
  sto_RecordInProgress& map = m_Entries.Object();
  sto_Session& session = map.Session();
  cls_IdentityMap::Tie const& tie = session.TieOf(object.m_Uid);
  InsertId(key, tie.Id());
  map.PutWhole([&] { session.Save().AddLater({std::move(object), map.Id()}, tie); });
  return true;
}

void sto_IntTableWriter::Insert(int key, int value) {
  m_Entries.Add(key, [&](sto_ByteWriter& writer) { writer.ZigZag(value); });
}

template class sto_MapEntries<int>;
template class sto_ObjectMapWriter<int>;
template class sto_MapWriter<int, cow_String>;
template class sto_MapWriter<int, float>;
template class sto_MapWriter<int, double>;
template class sto_MapWriter<int, unsigned int>;
template class sto_MapWriter<int, int>;
template class sto_MapEntries<cow_String>;
template class sto_ObjectMapWriter<cow_String>;
template class sto_MapWriter<cow_String, cow_String>;
template class sto_MapWriter<cow_String, float>;
template class sto_MapWriter<cow_String, double>;
template class sto_MapWriter<cow_String, unsigned int>;
template class sto_MapWriter<cow_String, int>;
