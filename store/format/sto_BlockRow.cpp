#include "store/format/sto_BlockRow.h"

#include <algorithm>

void sto_BlockRow::Directory::Read(sto_ByteView start, std::size_t rowBytes) noexcept {
  m_Places = {};
  if (start.size() < DirectoryBytes || rowBytes < DirectoryBytes) return;
  sto_ByteReader reader(start);
  std::size_t before = 0;
  for (Place& place : m_Places) {
    std::size_t const end = reader.Number<std::uint32_t>();
    if (end < before || end > rowBytes - DirectoryBytes) continue;
    place = {DirectoryBytes + before, end - before};
    before = end;
  }
}

sto_BlockRow::sto_BlockRow(sto_ByteView stored) : sto_BlockRow() {
  Directory directory;
  directory.Read(stored, stored.size());
  m_Bytes.reserve(stored.size());
  for (int slot = 0; slot < Blocks; ++slot) {
    auto const [offset, size] = directory.Find(slot);
    Put(slot, size == 0 ? sto_ByteView() : stored.subspan(offset, size));
  }
}

sto_ByteView sto_BlockRow::Find(int slot) const noexcept {
  std::size_t const start = StartOf(slot);
  return sto_ByteView(m_Bytes).subspan(start,
                                       DirectoryBytes + m_Ends[static_cast<std::size_t>(slot)] - start);
}

void sto_BlockRow::Put(int slot, sto_ByteView block) {
  std::size_t const start = StartOf(slot);
  std::size_t const before = Find(slot).size();
  auto const at = m_Bytes.begin() + static_cast<std::ptrdiff_t>(start);
  std::size_t const common = std::min(before, block.size());
  if (block.size() > before) {
    m_Bytes.insert(at + static_cast<std::ptrdiff_t>(before),
                   block.begin() + static_cast<std::ptrdiff_t>(common), block.end());
  } else {
    m_Bytes.erase(at + static_cast<std::ptrdiff_t>(common), at + static_cast<std::ptrdiff_t>(before));
  }
  std::copy_n(block.begin(), common, m_Bytes.begin() + static_cast<std::ptrdiff_t>(start));
  for (int each = slot; each < Blocks; ++each) {
    std::uint32_t& end = m_Ends[static_cast<std::size_t>(each)];
    end = static_cast<std::uint32_t>(end - before + block.size());
  }
}

sto_ByteView sto_BlockRow::Stored() noexcept {
  for (std::size_t slot = 0; slot < m_Ends.size(); ++slot) {
    std::uint32_t const end = sto_ToLittleEndian(m_Ends[slot]);
    std::memcpy(m_Bytes.data() + slot * sizeof end, &end, sizeof end);
  }
  return m_Bytes;
}
