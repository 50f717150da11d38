#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "store/format/sto_Codec.h"
#include "store/format/sto_Record.h"

// Maps and int tables in chunks.
//
// The entries of a long map are cut into chunks, which are blocks of the map's object. The directory lists the
// chunks in the order of the entries. It is in the record if it is short; otherwise it is in blocks too, its
// pages, and the record lists the pages:
//
//     directory := depth listing          depth 1: the listing has the chunks; 2: it has the pages
//     page      := listing                the chunks of one page
//     listing   := count listed{count}
//     listed    := number entries checksum keyBytes key
//
// A chunk or page keeps the number of its block while it changes, so a changed entry writes its chunk, the page
// that lists the chunk, and the record. The checksum is that of the content, without an owner: chunks with the
// same checksum have the same entries, so what has not changed is recognised without being read, and a block
// that comes back as it was earlier is noticed.
//
// The key is that of the first entry, encoded. It is there only if all keys of the map ascend, each greater
// than the one before it; then one entry is found by reading one chunk. docs/store-format.md has the details.

/// One chunk of a map, or one page of its directory.
struct sto_Chunk {
  int m_Number = -1; ///< of its block; -1: it has none yet
  int m_Count = 0;   ///< how many entries it has; a page those of all its chunks
  std::uint64_t m_Checksum = 0;
  sto_Bytes m_FirstKey; ///< encoded; empty if the keys of the map do not ascend
  int m_Page = -1;      ///< of a chunk: the number of the page that lists it; not stored here
};

/// The checksum of the content of a chunk or page.
[[nodiscard]] std::uint64_t sto_ChunkChecksum(sto_ByteView content) noexcept;

/// The numbers of a map's blocks: gives out the least one that is free. Thread rule: one thread.
class sto_ChunkNumbers {
 public:
  /// Marks a number as used; false if it is already. REQUIRES: number >= 0.
  bool Use(int number);
  /// A number that was not used. It may be beyond those that blocks can have.
  [[nodiscard]] int Take();
  void Free(int number) noexcept;
  [[nodiscard]] bool Has(int number) const noexcept {
    auto const index = static_cast<std::size_t>(number);
    return index < m_IsUsed.size() && m_IsUsed[index];
  }
  /// The used numbers, ascending.
  [[nodiscard]] std::vector<int> Used() const;

 private:
  std::vector<bool> m_IsUsed;
  std::size_t m_FirstFree = 0; // no less number is free
};

/// The directory of a map in chunks. Thread rule: one thread.
struct sto_ChunkDirectory {
  std::vector<sto_Chunk> m_Chunks; ///< in the order of the entries
  std::vector<sto_Chunk> m_Pages;  ///< empty: the directory is in the record

  [[nodiscard]] bool HasKeys() const noexcept {
    return !m_Chunks.empty() && !m_Chunks.front().m_FirstKey.empty();
  }

  /// Appends the chunks that a page lists. False if the bytes are no such page.
  [[nodiscard]] bool AddPage(sto_Chunk const& page, sto_ByteView content);
  /// Whether the chunks have the entries that the map says, numbers of their own, and all of them a key or
  /// none. `numbers`: those that they use.
  [[nodiscard]] bool IsWhole(sto_MapHeader const& map, sto_ChunkNumbers& numbers) const;

  using WritePage = std::function<void(int number, sto_Bytes& content)>;
  /// Groups the chunks into pages if there are many, and returns the directory for the record. Chunks stay in
  /// the page that m_Page says as long as its size allows that. Calls `write` with each page that was not
  /// there like this before. Numbers that are no longer used are freed.
  [[nodiscard]] sto_Bytes Encode(sto_ChunkNumbers& numbers, WritePage const& write);

 private:
  std::vector<sto_Chunk> EncodePages(std::span<std::size_t const> sizes, sto_ChunkNumbers& numbers,
                                     WritePage const& write);
};

/// Decodes the directory in the record of a map in chunks, from bytes that are not trusted: its chunks, or its
/// pages. Empty if they are no directory, or do not have as many entries as the map says.
[[nodiscard]] std::optional<sto_ChunkDirectory> sto_DecodeDirectory(sto_MapHeader const& map);

/// A run of neighbours in a row.
struct sto_Run {
  std::size_t m_First = 0;
  std::size_t m_Count = 0;
};
/// Cuts a row of things of these sizes into runs of about `target` bytes. All are one run if they take at most
/// twice as many.
[[nodiscard]] std::vector<sto_Run> sto_CutRow(std::span<std::size_t const> sizes, std::size_t target);
