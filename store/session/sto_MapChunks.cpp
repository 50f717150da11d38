#include "store/session/sto_MapChunks.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "store/format/sto_MapWalk.h"
#include "store/session/sto_Session.h"

namespace {

/// Whether bytes are the entries that a directory says.
bool AreEntriesOf(sto_Session const& session, sto_MapHeader const& map, sto_Chunk const& chunk,
                  sto_ByteView content) {
  if (sto_ChunkChecksum(content) != chunk.m_Checksum) return false;
  bool const holdsObjects = map.m_ElementType == sto_Format::ElementObject;
  bool isFirst = true;
  sto_MapWalk walk(sto_MapOfChunk(map, chunk.m_Count, content));
  while (walk.Next()) {
    bool const hasKey = std::exchange(isFirst, false) && !chunk.m_FirstKey.empty();
    if (hasKey && !std::ranges::equal(walk.Key(), chunk.m_FirstKey)) return false;
    if (holdsObjects && !session.IsGivenOut(static_cast<std::int64_t>(walk.ObjectId()))) return false;
  }
  return walk.IsComplete();
}

} // namespace

sto_ChunkDirectory sto_MapChunks::ReadDirectory(sto_MapHeader const& map, sto_ChunkNumbers& numbers) {
  sto_ChunkDirectory directory = sto_DecodeDirectory(map).value_or(sto_ChunkDirectory());
  std::vector<int> numbersOfPages;
  for (sto_Chunk const& page : directory.m_Pages) numbersOfPages.push_back(page.m_Number);
  std::vector<sto_Bytes> const pages = m_Blocks.ReadMany(numbersOfPages);
  for (std::size_t i = 0; i < pages.size(); ++i) {
    sto_Chunk const& page = directory.m_Pages[i];
    sto_ByteView const content = pages[i].empty() ? m_Blocks.Read(page.m_Number) : sto_ByteView(pages[i]);
    if (sto_ChunkChecksum(content) != page.m_Checksum || !directory.AddPage(page, content))
      RaiseDamaged(page.m_Number);
  }
  if (!directory.IsWhole(map, numbers)) RaiseDamagedDirectory();
  return directory;
}

void sto_MapChunks::RaiseDamagedDirectory() const {
  m_Session.Raise(sto_ErrorKind::Damaged, "The map of object " + std::to_string(m_Id) +
                                              " is damaged: its directory does not fit its entries.");
}

sto_ByteView sto_MapChunks::Read(sto_MapHeader const& map, sto_Chunk const& chunk) {
  sto_ByteView const content = m_Blocks.Read(chunk.m_Number);
  if (!AreEntriesOf(m_Session, map, chunk, content)) RaiseDamaged(chunk.m_Number);
  return content;
}

void sto_MapChunks::Write(int number, sto_Bytes& content, bool isThere) {
  CheckNumber(m_Session, m_Id, number);
  m_Blocks.Write(number, content, isThere);
}

void sto_MapChunks::CheckNumber(sto_Session const& session, std::int64_t id, int number) {
  if (number < 1 << sto_Format::BlockIndexBits) return;
  session.Raise(sto_ErrorKind::Full, "The map of object " + std::to_string(id) + " takes more than " +
                                         std::to_string(1 << sto_Format::BlockIndexBits) +
                                         " blocks, which is the limit of one map.");
}

void sto_MapChunks::RaiseDamaged(int number) const {
  m_Session.Raise(sto_ErrorKind::Damaged, "The map of object " + std::to_string(m_Id) +
                                              " is damaged in chunk " + std::to_string(number) + ".");
}
