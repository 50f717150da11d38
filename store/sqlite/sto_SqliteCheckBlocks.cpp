#include "store/sqlite/sto_SqliteCheckBlocks.h"

#include <string>

#include "store/format/sto_BlockRow.h"
#include "store/sqlite/sto_SqliteOldBlocks.h"

/// A block whose row is missing has no data.
class sto_SqliteCheckBlocks::Moved {
 public:
  Moved(sto_SqliteConnection& connection, bool hasPlaces)
      : m_Statement(connection, "SELECT block_place.key, moved_block.data FROM block_place "
                                "LEFT JOIN moved_block USING(place) ORDER BY block_place.key") {
    if (!hasPlaces) return;
    m_Use.emplace(m_Statement).AllowAllRows();
    Next();
  }

  [[nodiscard]] bool IsAtEnd() const noexcept { return !m_Use; }
  [[nodiscard]] std::int64_t Key() const noexcept { return m_Use->Integer(0); }
  [[nodiscard]] bool HasData() const noexcept { return m_Use->TypeOf(1) != sto_SqliteType::Other; }
  [[nodiscard]] sto_ByteView Data() const { return m_Use->Bytes(1); }
  void Next() {
    if (!m_Use->Step()) m_Use.reset();
  }

 private:
  sto_SqliteStatement m_Statement;
  std::optional<sto_SqliteStatement::Use> m_Use; // empty at the end
};

sto_SqliteCheckBlocks::sto_SqliteCheckBlocks(sto_SqliteConnection& connection, std::int64_t formatVersion,
                                             sto_SqliteFindings& findings, sto_StorageVisitor& visitor,
                                             sto_SqliteChanges& sum) noexcept
    : m_Connection(connection), m_FormatVersion(formatVersion), m_Findings(findings), m_Visitor(visitor),
      m_Sum(sum) {}

bool sto_SqliteCheckBlocks::Read() {
  return m_Findings.Try(sto_CheckKind::Structure, "block", [this] { ReadAll(); });
}

void sto_SqliteCheckBlocks::ReadAll() {
  Moved moved(m_Connection, m_FormatVersion > sto_Format::VersionWithoutPacks);
  sto_SqliteStatement statement(m_Connection, "SELECT key, data FROM block ORDER BY key");
  sto_SqliteStatement::Use use(statement);
  for (use.AllowAllRows(); use.Step();)
    if (m_FormatVersion > sto_Format::VersionWithoutShapes)
      TakeRow(use.Integer(0), use.Bytes(1), moved);
    else
      TakeSlot(use.Integer(0), use.Bytes(1), moved);
  for (; !moved.IsAtEnd(); moved.Next())
    if (moved.HasData()) Take(moved.Key(), moved.Data());
}

void sto_SqliteCheckBlocks::TakeRow(std::int64_t key, sto_ByteView row, Moved& moved) {
  std::int64_t const id = key >> sto_Format::BlockIndexBits;
  sto_BlockRow::Directory directory;
  directory.Read(row, row.size());
  std::size_t size = sto_BlockRow::DirectoryBytes;
  for (int slot = 0; slot < sto_BlockRow::Blocks; ++slot) {
    auto const [offset, bytes] = directory.Find(slot);
    size += bytes;
    TakeSlot(key + slot, bytes == 0 ? sto_ByteView() : row.subspan(offset, bytes), moved);
  }
  if (size == row.size() && sto_BlockRow::RowOf(key) == key) return;
  m_Findings.AddObject(sto_CheckKind::DamagedRow, "block", id,
                       "A row with blocks of object " + std::to_string(id) +
                           " has a wrong directory, or is under a wrong key.");
}

void sto_SqliteCheckBlocks::TakeSlot(std::int64_t key, sto_ByteView block, Moved& moved) {
  for (; !moved.IsAtEnd() && moved.Key() < key; moved.Next())
    if (moved.HasData()) Take(moved.Key(), moved.Data());
  if (!moved.IsAtEnd() && moved.Key() == key) {
    if (moved.HasData()) Take(key, moved.Data()); // that one counts
    moved.Next();
  } else if (!block.empty()) {
    Take(key, block);
  }
}

void sto_SqliteCheckBlocks::Take(std::int64_t key, sto_ByteView block) {
  if (m_Previous && key <= *m_Previous) {
    std::int64_t const id = key >> sto_Format::BlockIndexBits;
    m_Findings.AddObject(sto_CheckKind::OrphanRow, "block", id,
                         "A block of object " + std::to_string(id) +
                             " is stored twice, or its row is not in its place.");
  }
  m_Previous = key;
  m_Sum.ReplaceBlocks({}, sto_SqliteChanges::BlockTerm(key, block));
  if (m_FormatVersion > sto_Format::VersionWithoutShapes) return m_Visitor.TakeBlock(key, block);
  m_Converted.assign(block.begin(), block.end());
  sto_SqliteOldBlocks::Convert(m_Converted);
  m_Visitor.TakeBlock(key, m_Converted);
}
