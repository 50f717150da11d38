#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "store/format/sto_Codec.h"
#include "store/sqlite/sto_NewFile.h"
#include "store/sqlite/sto_SqliteConnection.h"

/// The bytes of a store's file, page by page, without SQLite's trees. A page is what the last transaction has left:
/// what a killed writer began is undone, or its log applied, in a copy. Nothing is written to the file. Thread rule:
/// one thread.
class sto_RecoverFile {
 public:
  using Page = std::uint32_t; // from 1

  /// `beside`: where a copy may be made. NotFound if there is no such file; Full, Unavailable.
  sto_RecoverFile(std::string const& path, std::string const& beside);

  [[nodiscard]] std::string const& Path() const noexcept { return m_Path; }
  [[nodiscard]] std::size_t PageBytes() const noexcept { return m_PageBytes; }
  /// The bytes of a page that trees use.
  [[nodiscard]] std::size_t UsableBytes() const noexcept { return m_PageBytes - m_Reserved; }
  /// How many pages the file has, the last one perhaps in part.
  [[nodiscard]] Page PageCount() const noexcept { return m_PageCount; }
  /// How many it had: more if it was cut short.
  [[nodiscard]] Page ExpectedPages() const noexcept { return m_ExpectedPages; }
  /// Whether the header of the file is one of SQLite; otherwise the size of the pages was guessed.
  [[nodiscard]] bool HasHeader() const noexcept { return m_HasHeader; }
  /// A number in the header.
  [[nodiscard]] std::uint32_t HeaderNumber(std::size_t offset) const noexcept;

  /// Reads a page; false if the file has no such page. What a last page lacks is zero.
  [[nodiscard]] bool Read(Page number, sto_Bytes& page) const;

 private:
  void Copy(std::string const& beside);
  void ReadHeader();
  void GuessPageBytes();
  [[nodiscard]] bool ReadAt(std::int64_t offset, std::span<std::byte> bytes) const;

  std::string m_Path;
  std::optional<sto_NewFile> m_Copy; // removed after m_Connection is closed
  std::unique_ptr<sto_SqliteConnection> m_Connection;
  std::int64_t m_SizeBytes = 0;
  std::size_t m_PageBytes = 0, m_Reserved = 0;
  Page m_PageCount = 0, m_ExpectedPages = 0;
  bool m_HasHeader = false;
  sto_Bytes m_Header;
};
