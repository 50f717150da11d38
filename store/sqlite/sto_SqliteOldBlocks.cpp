#include "store/sqlite/sto_SqliteOldBlocks.h"

#include "store/format/sto_BlockCodec.h"
#include "store/format/sto_Format.h"

namespace {

constexpr std::byte NotCompressed{0};

} // namespace

sto_SqliteOldBlocks::sto_SqliteOldBlocks(sto_SqliteConnection& connection, bool hasPlaces)
    : m_HasPlaces(hasPlaces), m_ReadBlock(connection, "block", false),
      m_ReadMoved(connection, "moved_block", false),
      m_FindPlace(connection, "SELECT place FROM block_place WHERE key = ?") {}

void sto_SqliteOldBlocks::Close() noexcept {
  m_ReadBlock.Close();
  m_ReadMoved.Close();
}

sto_SqliteBlob* sto_SqliteOldBlocks::Seek(std::int64_t key) {
  if (m_ReadBlock.Seek(key)) return &m_ReadBlock;
  if (!m_HasPlaces) return nullptr;
  sto_SqliteStatement::Use use(m_FindPlace);
  return use.Bind(1, key).Step() && m_ReadMoved.Seek(use.Integer(0)) ? &m_ReadMoved : nullptr;
}

void sto_SqliteOldBlocks::Convert(sto_Bytes& data) {
  if (data.size() >= sto_Format::ChecksumBytes)
    data.insert(data.end() - sto_Format::ChecksumBytes, NotCompressed);
}

bool sto_SqliteOldBlocks::Read(std::int64_t key, sto_Bytes& data) {
  sto_SqliteBlob* const blob = Seek(key);
  if (blob == nullptr) return false;
  blob->Read(data);
  Convert(data);
  return true;
}

bool sto_SqliteOldBlocks::ReadInto(std::int64_t key, std::span<std::byte> data, std::span<std::byte> end) {
  sto_SqliteBlob* const blob = Seek(key);
  if (blob == nullptr || end.size() != sto_BlockCodec::EndBytes ||
      blob->SizeBytes() != data.size() + sto_Format::ChecksumBytes)
    return false;
  blob->Read(0, data);
  end[0] = NotCompressed;
  blob->Read(data.size(), end.subspan(1));
  return true;
}

bool sto_SqliteOldBlocks::ReadRange(std::int64_t first, std::int64_t last, sto_BlockSink& sink) {
  sto_Bytes data;
  for (std::int64_t key = first; key <= last; ++key)
    if (Read(key, data) && !sink.Take(key, data)) return false;
  return true;
}
