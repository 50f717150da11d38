#include "store/check/sto_CheckBlocks.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "store/format/sto_BlockKey.h"
#include "store/format/sto_BlockLayout.h"
#include "store/format/sto_ElementCodec.h"
#include "store/format/sto_IdCodec.h"
#include "store/format/sto_MapWalk.h"
#include "store/session/sto_MapChunks.h"

namespace {

std::string RunText(std::int64_t first, std::int64_t count) {
  if (count == 1) return "Block " + std::to_string(first);
  return "Blocks " + std::to_string(first) + " to " + std::to_string(first + count - 1);
}

} // namespace

std::size_t sto_FixedBytes(std::uint8_t elementType) noexcept {
  bool const differ = elementType == sto_Format::ElementString || elementType == sto_Format::ElementObject;
  return differ ? 0 : sto_ElementBytes(elementType);
}

bool sto_AreElements(sto_ByteView content, std::uint8_t elementType, int count) {
  if (std::size_t const size = sto_FixedBytes(elementType); size != 0)
    return content.size() == static_cast<std::size_t>(count) * size;
  sto_ByteReader reader(content);
  for (int i = 0; i < count && !reader.Failed(); ++i)
    if (std::uint64_t const length = reader.Varint(); length > 0) reader.Raw(length - 1);
  return !reader.Failed() && reader.Remaining() == 0;
}

std::int64_t sto_CheckBlocks::Owner::BlockCount() const noexcept {
  if (m_ElementType == BytesOfBlob) return sto_BlobLayout(m_Count).BlockCount();
  return sto_ListLayout(static_cast<int>(m_Count)).BlockCount();
}

int sto_CheckBlocks::Owner::CountIn(int block) const noexcept {
  if (m_ElementType == BytesOfBlob) return static_cast<int>(sto_BlobLayout(m_Count).CountIn(block));
  return sto_ListLayout(static_cast<int>(m_Count)).CountIn(block);
}

sto_CheckBlocks::sto_CheckBlocks(sto_CheckResults& results, Objects objects)
    : m_Results(results), m_Objects(std::move(objects)) {}

void sto_CheckBlocks::AddList(std::int64_t id, sto_ListHeader const& list) {
  m_Owners.push_back({id, list.m_Count, list.m_ElementType, list.m_HasFixedIds});
}

void sto_CheckBlocks::AddBlob(std::int64_t id, std::int64_t sizeBytes) {
  m_Owners.push_back({id, sizeBytes, BytesOfBlob, false});
}

void sto_CheckBlocks::AddMap(std::int64_t id, sto_MapHeader const& map, sto_ChunkDirectory const& directory) {
  m_Owners.push_back({id, static_cast<std::int64_t>(m_Maps.size()), ChunksOfMap, false});
  Map& added = m_Maps.emplace_back(Map{map, directory.m_Chunks});
  added.m_Header.m_Entries = {}; // a view of the record
  for (sto_Chunk const& page : directory.m_Pages) {
    added.m_Blocks.push_back(page);
    added.m_Blocks.back().m_Count = 0;
  }
  std::ranges::sort(added.m_Blocks, {}, &sto_Chunk::m_Number);
}

void sto_CheckBlocks::Begin() {
  std::ranges::sort(m_Owners, {}, &Owner::m_Id);
}

void sto_CheckBlocks::Take(std::int64_t key, sto_ByteView data) {
  ++m_Results.Counts().m_Blocks;
  m_Results.Counts().m_BytesRead += static_cast<std::int64_t>(data.size());
  std::int64_t const id = key >> sto_Format::BlockIndexBits;
  auto const block = static_cast<int>(key & ((std::int64_t{1} << sto_Format::BlockIndexBits) - 1));
  FinishBefore(id);
  bool const isOwned = m_At < m_Owners.size() && m_Owners[m_At].m_Id == id;
  bool const isSound = sto_BlockCodec::IsSound(key, data);
  if (!isSound)
    Report(sto_CheckKind::DamagedRow, id, block,
           "Block " + std::to_string(block) + " of " + Describe(id) + " does not fit its checksum.");
  if (isOwned && m_Owners[m_At].m_ElementType == ChunksOfMap)
    return TakeOfMap(m_Owners[m_At], block, data, isSound);
  if (!isOwned || block >= m_Owners[m_At].BlockCount()) return TakeOrphan(id, block);
  if (block > m_Next) ReportMissing(m_Owners[m_At], m_Next, block);
  m_Next = std::max<std::int64_t>(m_Next, block + 1);
  if (!isSound) return;
  std::optional<sto_ByteView> content = m_Codec.Open(data, m_Restored);
  if (content && !sto_BlockCodec::IsPlain(data) && !sto_BlockCodec::IsContent(key, data, *content))
    content.reset();
  CheckContent(m_Owners[m_At], block, content);
}

void sto_CheckBlocks::FinishBefore(std::int64_t id) {
  if (m_Orphans.m_Count > 0 && m_Orphans.m_Id != id) ReportOrphans();
  for (; m_At < m_Owners.size() && m_Owners[m_At].m_Id < id; ++m_At, m_Next = 0)
    if (Owner const& owner = m_Owners[m_At]; owner.m_ElementType == ChunksOfMap)
      ReportMissing(owner, m_Maps[static_cast<std::size_t>(owner.m_Count)],
                    std::numeric_limits<std::int64_t>::max());
    else
      ReportMissing(owner, m_Next, owner.BlockCount());
}

void sto_CheckBlocks::ReportMissing(Owner const& owner, Map const& map, std::int64_t before) {
  for (; m_Next < static_cast<std::int64_t>(map.m_Blocks.size()); ++m_Next) {
    std::int64_t const number = map.m_Blocks[static_cast<std::size_t>(m_Next)].m_Number;
    if (number >= before) return;
    ReportMissing(owner, number, number + 1);
  }
}

void sto_CheckBlocks::TakeOfMap(Owner const& owner, int block, sto_ByteView data, bool isSound) {
  Map const& map = m_Maps[static_cast<std::size_t>(owner.m_Count)];
  ReportMissing(owner, map, block);
  auto const next = static_cast<std::size_t>(m_Next);
  if (next == map.m_Blocks.size() || map.m_Blocks[next].m_Number != block)
    return TakeOrphan(owner.m_Id, block);
  ++m_Next;
  if (!isSound) return;
  std::optional<sto_ByteView> const content = m_Codec.Open(data, m_Restored);
  if (content && IsChunk(owner.m_Id, map, map.m_Blocks[next], *content)) return;
  Report(sto_CheckKind::WrongBlock, owner.m_Id, block,
         "Block " + std::to_string(block) + " of " + Describe(owner.m_Id) +
             " does not have the entries that the directory of its map says.");
}

bool sto_CheckBlocks::IsChunk(std::int64_t id, Map const& map, sto_Chunk const& chunk, sto_ByteView content) {
  if (sto_ChunkChecksum(content) != chunk.m_Checksum) return false;
  if (chunk.m_Count == 0) return true; // a page, which was decoded with the record
  bool const holdsObjects = map.m_Header.m_ElementType == sto_Format::ElementObject;
  bool isFirst = true;
  sto_MapWalk walk(sto_MapOfChunk(map.m_Header, chunk.m_Count, content));
  while (walk.Next()) {
    bool const hasKey = std::exchange(isFirst, false) && !chunk.m_FirstKey.empty();
    if (hasKey && !std::ranges::equal(walk.Key(), chunk.m_FirstKey)) return false;
    if (holdsObjects) m_Objects.m_Hold(id, static_cast<std::int64_t>(walk.ObjectId()));
  }
  return walk.IsComplete();
}

void sto_CheckBlocks::End() {
  FinishBefore(std::numeric_limits<std::int64_t>::max());
  if (m_Orphans.m_Count > 0) ReportOrphans();
}

void sto_CheckBlocks::ReportMissing(Owner const& owner, std::int64_t first, std::int64_t end) {
  if (first >= end) return;
  Report(sto_CheckKind::MissingBlock, owner.m_Id, first,
         RunText(first, end - first) + " of " + Describe(owner.m_Id) + (end - first == 1 ? " is" : " are") +
             " missing.");
}

void sto_CheckBlocks::TakeOrphan(std::int64_t id, std::int64_t block) {
  if (m_Objects.m_IsUnknown(id)) return;
  if (m_Orphans.m_Count > 0 && block != m_Orphans.m_First + m_Orphans.m_Count) ReportOrphans();
  if (m_Orphans.m_Count == 0) m_Orphans = {id, block, 0};
  ++m_Orphans.m_Count;
}

void sto_CheckBlocks::ReportOrphans() {
  auto const [id, first, count] = std::exchange(m_Orphans, {});
  Report(sto_CheckKind::OrphanBlock, id, first,
         RunText(first, count) + " of " + Describe(id) + (count == 1 ? " belongs" : " belong") +
             " to no list or blob.");
}

void sto_CheckBlocks::CheckContent(Owner const& owner, int block, std::optional<sto_ByteView> content) {
  int const count = owner.CountIn(block);
  if (content && HasElements(owner, *content, count)) return;
  Report(sto_CheckKind::WrongBlock, owner.m_Id, block,
         "Block " + std::to_string(block) + " of " + Describe(owner.m_Id) + " does not have the " +
             std::to_string(count) + (owner.m_ElementType == BytesOfBlob ? " bytes" : " elements") +
             " that it should have.");
}

bool sto_CheckBlocks::HasElements(Owner const& owner, sto_ByteView content, int count) {
  if (owner.m_ElementType == BytesOfBlob) return content.size() == static_cast<std::size_t>(count);
  if (owner.m_ElementType != sto_Format::ElementObject)
    return sto_AreElements(content, owner.m_ElementType, count);
  if (!sto_DecodeIds(content, count, owner.m_Id, owner.m_HasFixedIds, m_Ids)) return false;
  for (std::int64_t const id : m_Ids)
    if (id != 0) m_Objects.m_Hold(owner.m_Id, id);
  return true;
}

void sto_CheckBlocks::Report(sto_CheckKind kind, std::int64_t id, std::int64_t block,
                             std::string const& text) {
  sto_CheckFinding finding;
  finding.m_Kind = kind;
  finding.m_Table = "block";
  finding.m_ObjectId = id;
  finding.m_Block = static_cast<int>(block);
  finding.m_Key = (id << sto_Format::BlockIndexBits) + block;
  finding.m_Class = m_Objects.m_ClassOf(id);
  finding.m_Text = text;
  m_Results.Add(std::move(finding));
}

std::string sto_CheckBlocks::Describe(std::int64_t id) const {
  std::string const name = m_Objects.m_ClassOf(id);
  return "object " + std::to_string(id) + (name.empty() ? "" : " (" + name + ")");
}
