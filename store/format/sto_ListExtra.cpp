#include "store/format/sto_ListExtra.h"

#include <algorithm>
#include <limits>

namespace {

constexpr std::uint64_t MaxExtent = std::numeric_limits<int>::max();

/// Multiplies extents; a product that exceeds every count stays so, unless an extent is 0.
class Product {
 public:
  void Add(std::uint64_t extent) noexcept {
    m_HasZero = m_HasZero || extent == 0;
    if (!m_HasZero) m_Value = m_Value > MaxExtent ? m_Value : m_Value * extent;
  }
  [[nodiscard]] bool Is(std::int64_t count) const noexcept {
    return m_HasZero ? count == 0 : m_Value == static_cast<std::uint64_t>(count);
  }

 private:
  std::uint64_t m_Value = 1;
  bool m_HasZero = false;
};

} // namespace

std::vector<std::int64_t> sto_ListExtra::Extents() const {
  std::vector<std::int64_t> extents;
  extents.reserve(static_cast<std::size_t>(m_Rank));
  sto_ByteReader reader(m_Extents);
  for (int i = 0; i < m_Rank; ++i) extents.push_back(static_cast<std::int64_t>(reader.Varint()));
  return extents;
}

std::vector<std::int64_t> sto_ListExtra::Row() const {
  std::vector<std::int64_t> row = Extents();
  if (row.empty()) return row;
  row.erase(row.begin());
  std::int64_t size = 1; // no extent exceeds MaxExtent, so no product here exceeds 64 bits
  for (std::int64_t const extent : row) {
    size *= extent;
    if (size == 0 || size > static_cast<std::int64_t>(MaxExtent)) return {};
  }
  return row;
}

bool sto_ListExtra::SetExtents(std::span<std::int64_t const> extents, std::int64_t count, sto_Bytes& bytes) {
  Product product;
  for (std::int64_t const extent : extents) {
    if (extent < 0 || static_cast<std::uint64_t>(extent) > MaxExtent) return false;
    product.Add(static_cast<std::uint64_t>(extent));
  }
  if (extents.size() > MaxRank || (!extents.empty() && !product.Is(count))) return false;
  bytes.clear();
  sto_ByteWriter writer(bytes);
  for (std::int64_t const extent : extents) writer.Varint(static_cast<std::uint64_t>(extent));
  m_Rank = static_cast<int>(extents.size());
  m_Extents = bytes;
  return true;
}

bool sto_ListExtra::TakeExtents(sto_ByteReader& reader, std::int64_t count) {
  std::uint64_t const rank = reader.Varint();
  if (rank == 0 || rank > MaxRank) return false;
  std::byte const* const start = reader.Position();
  Product product;
  for (std::uint64_t i = 0; i < rank; ++i) {
    std::uint64_t const extent = reader.Varint();
    if (reader.Failed() || extent > MaxExtent) return false;
    product.Add(extent);
  }
  m_Rank = static_cast<int>(rank);
  m_Extents = {start, reader.Position()};
  return product.Is(count);
}

bool sto_ListExtra::Take(sto_ByteReader& reader, std::uint64_t flags, std::int64_t count) {
  *this = {};
  if ((flags & HasExtents) != 0 && !TakeExtents(reader, count)) return false;
  if ((flags & HasUnit) == 0) return true;
  std::uint64_t const nameId = reader.Varint();
  if (nameId == 0 || nameId > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()))
    return false;
  m_UnitId = static_cast<std::int64_t>(nameId);
  return true;
}

bool operator==(sto_ListExtra const& a, sto_ListExtra const& b) noexcept {
  return a.m_Rank == b.m_Rank && a.m_UnitId == b.m_UnitId && std::ranges::equal(a.m_Extents, b.m_Extents);
}
