#include "store/server/sto_ServerWalk.h"

#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "store/base/sto_Exception.h"
#include "store/format/sto_BlockCodec.h"
#include "store/format/sto_Checksum.h"

namespace {

constexpr std::int64_t Greatest = std::numeric_limits<std::int64_t>::max();

class BlockSink final : public sto_BlockSink {
 public:
  explicit BlockSink(std::function<void(std::int64_t, sto_ByteView)> take) : m_Take(std::move(take)) {}
  bool Take(std::int64_t key, sto_ByteView data) override {
    m_Take(key, data);
    return true;
  }

 private:
  std::function<void(std::int64_t, sto_ByteView)> m_Take;
};

} // namespace

sto_ServerWalk::sto_ServerWalk(sto_Driver& driver, sto_ServerLink& link, sto_ServerObjects& objects,
                               sto_ServerBlocks& blocks, sto_ServerNamed& named, sto_ServerRows& rows,
                               sto_ContentSum const& sum, sto_StorageVisitor& visitor)
    : m_Driver(driver), m_Link(link), m_Objects(objects), m_Blocks(blocks), m_Named(named), m_Rows(rows),
      m_Expected(sum), m_Visitor(visitor) {}

void sto_ServerWalk::Report(sto_CheckKind kind, char const* table, std::int64_t row, std::string text) {
  sto_CheckFinding finding;
  finding.m_Kind = kind;
  finding.m_Table = table;
  finding.m_Key = row;
  finding.m_Text = m_Link.Name() + ": " + std::move(text);
  m_IsWhole = false;
  m_Visitor.Find(std::move(finding));
}

void sto_ServerWalk::Structure(bool /*isFull*/, sto_Meter* /*meter*/) {}

template <class Row, class Take> void sto_ServerWalk::TakeAll(sto_NamedKind kind, Take take) {
  for (sto_NamedRow const& stored : m_Named.Scan(sto_NamesOf(kind))) {
    Row row{};
    bool const isSound = m_Rows.Decode(stored.m_Data, row);
    if (!isSound)
      Report(sto_CheckKind::Catalogue, "named", 0,
             "A row of kind '" + std::string(1, static_cast<char>(kind)) + "' does not fit its checksum.");
    m_Sum += m_Rows.TermOf(stored.m_Name, stored.m_Data);
    take(row, isSound);
  }
}

void sto_ServerWalk::Tables() {
  for (sto_SaveEntry const& save : m_Driver.Saves(1)) m_Visitor.TakeSave(save);
  TakeAll<sto_ClassRow>(sto_NamedKind::Class,
                        [this](auto const& row, bool isSound) { m_Visitor.TakeClass(row, isSound); });
  TakeAll<sto_NameRow>(sto_NamedKind::Name,
                       [this](auto const& row, bool isSound) { m_Visitor.TakeName(row, isSound); });
  TakeAll<sto_ShapeRow>(sto_NamedKind::Shape,
                        [this](auto const& row, bool isSound) { m_Visitor.TakeShape(row, isSound); });
  TakeAll<sto_EnumeratorRow>(sto_NamedKind::Enumerator, [](auto const&, bool) {});
  TakeAll<sto_NoteRow>(sto_NamedKind::Note, [](auto const&, bool) {});
  TakeAll<sto_IndexRow>(sto_NamedKind::Index,
                        [this](auto const& row, bool isSound) { m_Visitor.TakeIndex(row, isSound); });
  TakeAll<sto_ServerRoot>(sto_NamedKind::Root, [this](auto const& row, bool isSound) {
    if (isSound) m_Visitor.TakeRoot(row.m_Name, row.m_Id, row.m_ClassId);
  });
}

template <class Take> void sto_ServerWalk::ForEachObject(bool mayReport, Take take) {
  std::vector<sto_ObjectShape> objects;
  for (std::int64_t next = 1; next != 0;) {
    objects.clear();
    try {
      next = m_Objects.From(next, objects);
    } catch (sto_Exception const& failure) {
      if (failure.Kind() != sto_ErrorKind::Damaged) throw;
      if (mayReport) Report(sto_CheckKind::DamagedRow, "pack", sto_PackOf(next), failure.what());
      m_IsWhole = false;
      return;
    }
    for (sto_ObjectShape const& object : objects) take(object.m_Id);
  }
}

void sto_ServerWalk::Objects() {
  sto_StoredRecord record;
  ForEachObject(true, [&](std::int64_t id) {
    if (m_Objects.Read(id, record))
      m_Visitor.TakeObject({id, record.m_Shape, 0, static_cast<std::int64_t>(record.m_Bytes.size())});
  });
}

void sto_ServerWalk::Records() {
  sto_StoredRecord record;
  ForEachObject(false, [&](std::int64_t id) {
    if (!m_Objects.Read(id, record)) return;
    m_Sum += sto_ContentSum::OfHash(sto_ContentKind::Record, static_cast<std::uint64_t>(record.m_Shape),
                                    sto_Checksum(static_cast<std::uint64_t>(id), record.m_Bytes));
    m_Visitor.TakeRecord(id, record);
  });
}

void sto_ServerWalk::Blocks() {
  BlockSink sink([this](std::int64_t key, sto_ByteView data) {
    m_Sum += sto_ContentSum::OfHash(sto_ContentKind::Block, static_cast<std::uint64_t>(key),
                                    sto_BlockCodec::ContentHash(data));
    m_Visitor.TakeBlock(key, data);
  });
  m_Blocks.ReadRange(0, Greatest - 1, sink);
}

void sto_ServerWalk::BlockRows() {
  BlockSink sink([this](std::int64_t key, sto_ByteView data) {
    m_Visitor.TakeBlockRow(key, static_cast<std::int64_t>(data.size()));
  });
  m_Blocks.ReadRange(0, Greatest - 1, sink);
}

void sto_ServerWalk::IndexEntries() {
  TakeAll<sto_ServerEntry>(sto_NamedKind::IndexEntry, [this](sto_ServerEntry const& row, bool isSound) {
    m_Visitor.TakeIndexEntry(row.m_Number, row.m_Entry, isSound);
  });
}

std::int64_t sto_ServerWalk::BlockRowCount() {
  std::int64_t count = 0;
  BlockSink sink([&count](std::int64_t /*key*/, sto_ByteView /*data*/) { ++count; });
  m_Blocks.ReadRange(0, Greatest - 1, sink);
  return count;
}

std::optional<bool> sto_ServerWalk::IsSumRight() {
  if (!m_IsWhole) return std::nullopt;
  return m_Sum == m_Expected;
}

sto_StorageSizes sto_ServerWalk::Sizes() {
  sto_StorageSizes sizes;
  auto const bytesOf = [this](sto_NamedKind kind) {
    std::int64_t bytes = 0;
    for (sto_NamedRow const& row : m_Named.Scan(sto_NamesOf(kind)))
      bytes += static_cast<std::int64_t>(row.m_Name.size() + row.m_Data.size());
    return bytes;
  };
  sizes.m_Roots = static_cast<std::int64_t>(m_Named.Scan(sto_NamesOf(sto_NamedKind::Root)).size());
  sizes.m_Saves = static_cast<std::int64_t>(m_Driver.Saves(1).size());
  for (sto_NamedKind const kind : {sto_NamedKind::Class, sto_NamedKind::Name, sto_NamedKind::Shape})
    sizes.m_CatalogueBytes += bytesOf(kind);
  sizes.m_IndexBytes = bytesOf(sto_NamedKind::IndexEntry);
  sizes.m_FileBytes = m_Link.SizeBytes();
  return sizes;
}
