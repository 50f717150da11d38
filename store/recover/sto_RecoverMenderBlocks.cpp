// Elements of lists, entries of maps and bytes of blobs.

#include <algorithm>
#include <limits>
#include <utility>

#include "metadata/cls_CollectionType.h"
#include "store/check/sto_CheckBlocks.h"
#include "store/format/sto_BlockKey.h"
#include "store/format/sto_BlockLayout.h"
#include "store/format/sto_CollectionFields.h"
#include "store/format/sto_IdCodec.h"
#include "store/format/sto_MapWalk.h"
#include "store/recover/sto_RecoverMender.h"

namespace {

/// What lost elements are: not a number, 0, no text, no object.
void AppendDefaults(sto_Bytes& content, sto_ListHeader const& list, int count) {
  sto_ByteWriter writer(content);
  for (int i = 0; i < count; ++i) switch (list.m_ElementType) {
    case sto_Format::ElementFloat:
      writer.Number(std::numeric_limits<float>::quiet_NaN());
      break;
    case sto_Format::ElementDouble:
      writer.Number(std::numeric_limits<double>::quiet_NaN());
      break;
    case sto_Format::ElementComplexFloat:
      writer.Number(std::numeric_limits<float>::quiet_NaN());
      writer.Number(std::numeric_limits<float>::quiet_NaN());
      break;
    case sto_Format::ElementComplexDouble:
      writer.Number(std::numeric_limits<double>::quiet_NaN());
      writer.Number(std::numeric_limits<double>::quiet_NaN());
      break;
    default: {
      bool const isFixedId = list.m_ElementType == sto_Format::ElementObject && list.m_HasFixedIds;
      std::size_t const fixed = isFixedId ? sizeof(std::int64_t) : sto_FixedBytes(list.m_ElementType);
      content.resize(content.size() +
                     std::max<std::size_t>(fixed, 1)); // a text or an id of one byte: 0, none
    }
    }
}

void EncodeIds(std::int64_t list, bool isFixed, std::vector<std::int64_t> const& ids, sto_Bytes& content) {
  content.clear();
  sto_ByteWriter writer(content);
  sto_IdEncoder encoder(list);
  for (std::int64_t const id : ids)
    if (isFixed)
      writer.Number(id);
    else
      encoder.Put(writer, id);
}

} // namespace

bool sto_RecoverMender::BuildList(std::int64_t id, sto_ListHeader const& list) {
  bool const holdsObjects = list.m_ElementType == sto_Format::ElementObject;
  sto_Bytes elements(list.m_Inline.begin(), list.m_Inline.end());
  bool isChanged = false;
  if (list.m_InBlocks) {
    MendBlocks(id, list);
  } else if (holdsObjects && sto_DecodeIds(list.m_Inline, list.m_Count, id, list.m_HasFixedIds, m_Ids)) {
    for (std::size_t i = 0; i < m_Ids.size(); ++i) {
      if (m_Ids[i] == 0 || IsThere(m_Ids[i])) continue;
      LoseElements(id, sto_LostKind::Elements, -1, static_cast<std::int64_t>(i), 1);
      Lose(std::exchange(m_Ids[i], 0));
      isChanged = true;
    }
    EncodeIds(id, list.m_HasFixedIds, m_Ids, elements);
  }
  m_Builder.SetList(list, std::move(elements));
  return isChanged;
}

void sto_RecoverMender::MendBlocks(std::int64_t id, sto_ListHeader const& list) {
  sto_ListLayout const layout(list.m_Count);
  sto_Bytes content;
  for (int block = 0; block < layout.BlockCount(); ++block) {
    std::int64_t const key = sto_BlockKey(id, block);
    int const count = layout.CountIn(block);
    std::int64_t const first = std::int64_t{block} * sto_ListLayout::BlockSize;
    bool isSound = ReadContent(key, content);
    bool const holdsObjects = list.m_ElementType == sto_Format::ElementObject;
    if (isSound)
      isSound = holdsObjects ? sto_DecodeIds(content, count, id, list.m_HasFixedIds, m_Ids)
                             : sto_AreElements(content, list.m_ElementType, count);
    if (!isSound) {
      content.clear();
      AppendDefaults(content, list, count);
      LoseElements(id, sto_LostKind::Elements, block, first, count);
      WriteContent(key, content);
      continue;
    }
    if (!holdsObjects) continue;
    bool isChanged = false;
    for (std::size_t i = 0; i < m_Ids.size(); ++i) {
      if (m_Ids[i] == 0 || IsThere(m_Ids[i])) continue;
      LoseElements(id, sto_LostKind::Elements, block, first + static_cast<std::int64_t>(i), 1);
      Lose(std::exchange(m_Ids[i], 0));
      isChanged = true;
    }
    if (!isChanged) continue;
    EncodeIds(id, list.m_HasFixedIds, m_Ids, content);
    WriteContent(key, content);
  }
  DeleteBlocksFrom(id, layout.BlockCount());
}

void sto_RecoverMender::MendBlob(std::int64_t id) {
  std::int64_t size = 0;
  if (m_Record.ClassId() == cls_BlobTypeId)
    size = sto_CollectionFields::BlobBytes.Read(m_Record.Parts().front()).value_or(0);
  if (size < 0 || size > sto_BlobLayout::MaxCount) return;
  sto_BlobLayout const layout(size);
  sto_Bytes content;
  for (int block = 0; block < layout.BlockCount(); ++block) {
    std::int64_t const key = sto_BlockKey(id, block);
    std::int64_t const count = layout.CountIn(block);
    if (ReadContent(key, content) && content.size() == static_cast<std::size_t>(count)) continue;
    LoseElements(id, sto_LostKind::Bytes, block, std::int64_t{block} * sto_BlobLayout::BlockSize, count);
    WriteContent(key, sto_Bytes(static_cast<std::size_t>(count)));
  }
  if (layout.BlockCount() < 1 << sto_Format::BlockIndexBits) DeleteBlocksFrom(id, layout.BlockCount());
}

namespace {

/// Appends the entries of a map whose objects are there; returns how many there are.
template <class IsThere> int CopyEntries(sto_MapHeader const& map, sto_Bytes& entries, IsThere isThere) {
  int count = 0;
  for (sto_MapWalk walk(map); walk.Next();) {
    bool const holdsObjects = !map.m_IsTable && map.m_ElementType == sto_Format::ElementObject;
    if (holdsObjects && !isThere(static_cast<std::int64_t>(walk.ObjectId()))) continue;
    entries.insert(entries.end(), walk.Key().begin(), walk.Key().end());
    entries.insert(entries.end(), walk.Value().begin(), walk.Value().end());
    ++count;
  }
  return count;
}

} // namespace

bool sto_RecoverMender::BuildMap(std::int64_t id, sto_MapHeader const& map) {
  if (map.m_InChunks) return BuildChunks(id, map);
  sto_Bytes entries;
  sto_MapHeader kept = map;
  kept.m_Count = CopyEntries(map, entries, [this](std::int64_t object) { return IsThereOrLost(object); });
  if (kept.m_Count < map.m_Count) LoseElements(id, sto_LostKind::Entries, -1, 0, map.m_Count - kept.m_Count);
  m_Builder.SetMap(kept, std::move(entries));
  return kept.m_Count < map.m_Count;
}

bool sto_RecoverMender::BuildChunks(std::int64_t id, sto_MapHeader const& map) {
  sto_ChunkDirectory directory = sto_DecodeDirectory(map).value_or(sto_ChunkDirectory());
  sto_Bytes content;
  std::vector<sto_Chunk> const pages = std::exchange(directory.m_Pages, {});
  for (sto_Chunk const& page : pages)
    if (ReadContent(sto_BlockKey(id, page.m_Number), content) &&
        sto_ChunkChecksum(content) == page.m_Checksum)
      static_cast<void>(directory.AddPage(page, content));
  bool const hasKeys = directory.HasKeys();
  sto_ChunkNumbers numbers;
  std::vector<sto_Chunk> kept;
  int count = 0;
  for (sto_Chunk& chunk : directory.m_Chunks) {
    bool const isRead = ReadContent(sto_BlockKey(id, chunk.m_Number), content) &&
                        sto_ChunkChecksum(content) == chunk.m_Checksum && !numbers.Has(chunk.m_Number);
    if (!isRead) continue;
    sto_MapHeader entries = map;
    entries.m_InChunks = false;
    entries.m_Count = chunk.m_Count;
    entries.m_Entries = content;
    sto_Bytes left;
    int const leftCount =
        CopyEntries(entries, left, [this](std::int64_t object) { return IsThereOrLost(object); });
    if (leftCount == 0) continue;
    if (leftCount != chunk.m_Count) {
      sto_MapHeader first = entries;
      first.m_Count = 1;
      first.m_Entries = left;
      sto_MapWalk walk(first);
      if (hasKeys && walk.Next()) chunk.m_FirstKey.assign(walk.Key().begin(), walk.Key().end());
      chunk.m_Checksum = sto_ChunkChecksum(left);
      chunk.m_Count = leftCount;
      WriteContent(sto_BlockKey(id, chunk.m_Number), left);
    }
    static_cast<void>(numbers.Use(chunk.m_Number));
    chunk.m_Page = -1; // the pages are made anew
    count += leftCount;
    kept.push_back(std::move(chunk));
  }
  if (count < map.m_Count) LoseElements(id, sto_LostKind::Entries, -1, 0, map.m_Count - count);
  directory.m_Chunks = std::move(kept);
  sto_MapHeader header = map;
  header.m_Count = count;
  header.m_InChunks = count > 0;
  sto_Bytes encoded;
  if (count > 0)
    encoded = directory.Encode(
        numbers, [&](int number, sto_Bytes& page) { WriteContent(sto_BlockKey(id, number), page); });
  std::vector<int> const used = numbers.Used();
  int next = 0; // blocks that are not used any more go
  for (int const number : used) {
    if (number > next) m_Driver.DeleteBlocks(sto_BlockKey(id, next), sto_BlockKey(id, number) - 1);
    next = number + 1;
  }
  DeleteBlocksFrom(id, next);
  m_Builder.SetMap(header, std::move(encoded));
  return true;
}
