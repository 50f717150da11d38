#include "store/format/sto_ChunkDirectory.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <set>
#include <utility>

#include "store/format/sto_Checksum.h"

namespace {

constexpr std::uint8_t InRecord = 1;
constexpr std::uint8_t InPages = 2;

/// The fewest bytes that a listed chunk takes. A count that the rest of the bytes cannot hold is refused
/// before memory is taken for it.
constexpr std::size_t MinListedBytes = 11;

constexpr int MaxNumber = (1 << sto_Format::BlockIndexBits) - 1;

void EncodeListed(sto_ByteWriter& writer, sto_Chunk const& chunk) {
  writer.Varint(static_cast<std::uint64_t>(chunk.m_Number));
  writer.Varint(static_cast<std::uint64_t>(chunk.m_Count));
  writer.Number(chunk.m_Checksum);
  writer.Varint(chunk.m_FirstKey.size());
  writer.Raw(chunk.m_FirstKey.data(), chunk.m_FirstKey.size());
}

void EncodeListing(sto_Bytes& bytes, std::span<sto_Chunk const> chunks) {
  sto_ByteWriter writer(bytes);
  writer.Varint(chunks.size());
  for (sto_Chunk const& chunk : chunks) EncodeListed(writer, chunk);
}

/// Appends what is listed to `chunks`. Returns the number of entries, or -1 if the bytes are no listing.
std::int64_t DecodeListing(sto_ByteReader& reader, std::vector<sto_Chunk>& chunks) {
  std::uint64_t const count = reader.Varint();
  if (count > reader.Remaining() / MinListedBytes) return -1;
  std::int64_t entries = 0;
  for (std::uint64_t i = 0; i < count; ++i) {
    sto_Chunk chunk;
    std::uint64_t const number = reader.Varint();
    std::uint64_t const held = reader.Varint();
    if (number > static_cast<std::uint64_t>(MaxNumber) || held == 0 ||
        held > static_cast<std::uint64_t>(std::numeric_limits<int>::max()))
      return -1;
    chunk.m_Number = static_cast<int>(number);
    chunk.m_Count = static_cast<int>(held);
    chunk.m_Checksum = reader.Number<std::uint64_t>();
    sto_ByteView const key = reader.Raw(reader.Varint());
    chunk.m_FirstKey.assign(key.begin(), key.end());
    entries += chunk.m_Count;
    chunks.push_back(std::move(chunk));
  }
  return reader.Failed() || reader.Remaining() != 0 ? -1 : entries;
}

/// The runs of chunks that are on one page. A run that is too short joins the one before it.
std::vector<sto_Run> RunsOfPages(std::vector<sto_Chunk> const& chunks, std::span<std::size_t const> sizes) {
  constexpr std::size_t Least = sto_Format::DirectoryBytes / 4;
  std::vector<sto_Run> runs;
  std::size_t inRun = 0;
  for (std::size_t i = 0; i < chunks.size(); ++i) {
    bool const isNew = i == 0 || chunks[i].m_Page != chunks[i - 1].m_Page;
    if (i == 0 || (isNew && inRun >= Least)) {
      runs.push_back({i, 0});
      inRun = 0;
    }
    inRun += sizes[i];
    ++runs.back().m_Count;
  }
  if (runs.size() > 1 && inRun < Least) {
    std::size_t const count = runs.back().m_Count;
    runs.pop_back();
    runs.back().m_Count += count;
  }
  return runs;
}

} // namespace

std::uint64_t sto_ChunkChecksum(sto_ByteView content) noexcept {
  return sto_Checksum(0, content);
}

bool sto_ChunkNumbers::Use(int number) {
  auto const index = static_cast<std::size_t>(number);
  if (index >= m_IsUsed.size()) m_IsUsed.resize(index + 1);
  if (m_IsUsed[index]) return false;
  m_IsUsed[index] = true;
  return true;
}

int sto_ChunkNumbers::Take() {
  while (m_FirstFree < m_IsUsed.size() && m_IsUsed[m_FirstFree]) ++m_FirstFree;
  auto const number = static_cast<int>(m_FirstFree);
  Use(number);
  return number;
}

void sto_ChunkNumbers::Free(int number) noexcept {
  auto const index = static_cast<std::size_t>(number);
  m_IsUsed[index] = false;
  m_FirstFree = std::min(m_FirstFree, index);
}

std::vector<int> sto_ChunkNumbers::Used() const {
  std::vector<int> used;
  for (std::size_t i = 0; i < m_IsUsed.size(); ++i)
    if (m_IsUsed[i]) used.push_back(static_cast<int>(i));
  return used;
}

std::vector<sto_Run> sto_CutRow(std::span<std::size_t const> sizes, std::size_t target) {
  std::size_t const total = std::accumulate(sizes.begin(), sizes.end(), std::size_t{0});
  if (total <= 2 * target) return {{0, sizes.size()}};
  std::size_t const parts = total / target;
  std::vector<sto_Run> runs;
  std::size_t before = 0;
  std::size_t part = 0; // in which of the equal parts of the row the run begins
  for (std::size_t i = 0; i < sizes.size(); ++i) {
    if (std::size_t const here = before * parts / total; runs.empty() || here != part) {
      runs.push_back({i, 0});
      part = here;
    }
    before += sizes[i];
    ++runs.back().m_Count;
  }
  return runs;
}

std::optional<sto_ChunkDirectory> sto_DecodeDirectory(sto_MapHeader const& map) {
  sto_ByteReader reader(map.m_Entries);
  std::uint8_t const depth = reader.U8();
  if (depth != InRecord && depth != InPages) return std::nullopt;
  sto_ChunkDirectory directory;
  if (DecodeListing(reader, depth == InRecord ? directory.m_Chunks : directory.m_Pages) != map.m_Count)
    return std::nullopt;
  return directory;
}

bool sto_ChunkDirectory::AddPage(sto_Chunk const& page, sto_ByteView content) {
  std::size_t const first = m_Chunks.size();
  sto_ByteReader reader(content);
  if (DecodeListing(reader, m_Chunks) != page.m_Count || m_Chunks.size() == first ||
      m_Chunks[first].m_FirstKey != page.m_FirstKey)
    return false;
  for (std::size_t i = first; i < m_Chunks.size(); ++i) m_Chunks[i].m_Page = page.m_Number;
  return true;
}

bool sto_ChunkDirectory::IsWhole(sto_MapHeader const& map, sto_ChunkNumbers& numbers) const {
  std::int64_t entries = 0;
  for (sto_Chunk const& page : m_Pages)
    if (!numbers.Use(page.m_Number)) return false;
  for (sto_Chunk const& chunk : m_Chunks) {
    if (!numbers.Use(chunk.m_Number) || chunk.m_FirstKey.empty() == HasKeys()) return false;
    entries += chunk.m_Count;
  }
  return entries == map.m_Count;
}

sto_Bytes sto_ChunkDirectory::Encode(sto_ChunkNumbers& numbers, WritePage const& write) {
  std::vector<std::size_t> sizes;
  sto_Bytes listed;
  for (sto_Chunk const& chunk : m_Chunks) {
    std::size_t const before = listed.size();
    sto_ByteWriter writer(listed);
    EncodeListed(writer, chunk);
    sizes.push_back(listed.size() - before);
  }
  bool const inRecord = listed.size() <= sto_Format::DirectoryBytes;
  std::vector<sto_Chunk> pages = inRecord ? std::vector<sto_Chunk>() : EncodePages(sizes, numbers, write);
  for (sto_Chunk const& page : m_Pages)
    if (std::ranges::none_of(pages, [&](sto_Chunk const& kept) { return kept.m_Number == page.m_Number; }))
      numbers.Free(page.m_Number);
  m_Pages = std::move(pages);
  if (inRecord)
    for (sto_Chunk& chunk : m_Chunks) chunk.m_Page = -1;
  sto_Bytes bytes;
  sto_ByteWriter(bytes).U8(inRecord ? InRecord : InPages);
  EncodeListing(bytes, inRecord ? m_Chunks : m_Pages);
  return bytes;
}

std::vector<sto_Chunk> sto_ChunkDirectory::EncodePages(std::span<std::size_t const> sizes,
                                                       sto_ChunkNumbers& numbers, WritePage const& write) {
  std::vector<sto_Chunk> pages;
  std::set<int> given;
  for (sto_Run const& onPage : RunsOfPages(m_Chunks, sizes)) {
    int const number = m_Chunks[onPage.m_First].m_Page;
    for (sto_Run const& part :
         sto_CutRow(sizes.subspan(onPage.m_First, onPage.m_Count), sto_Format::DirectoryBytes)) {
      std::span const chunks = std::span(m_Chunks).subspan(onPage.m_First + part.m_First, part.m_Count);
      sto_Chunk page;
      page.m_Number = number >= 0 && given.insert(number).second ? number : numbers.Take();
      page.m_FirstKey = chunks.front().m_FirstKey;
      for (sto_Chunk& chunk : chunks) {
        page.m_Count += chunk.m_Count;
        chunk.m_Page = page.m_Number;
      }
      sto_Bytes content;
      EncodeListing(content, chunks);
      page.m_Checksum = sto_ChunkChecksum(content);
      bool const isThere = std::ranges::any_of(m_Pages, [&](sto_Chunk const& before) {
        return before.m_Number == page.m_Number && before.m_Checksum == page.m_Checksum;
      });
      if (!isThere) write(page.m_Number, content);
      pages.push_back(std::move(page));
    }
  }
  return pages;
}
