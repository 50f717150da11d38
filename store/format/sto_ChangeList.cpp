#include "store/format/sto_ChangeList.h"

#include <algorithm>
#include <limits>

namespace {

void EncodeIds(std::vector<std::int64_t> const& ids, sto_ByteWriter& writer) {
  writer.Varint(ids.size());
  std::int64_t last = 0;
  for (std::int64_t const id : ids) {
    writer.Varint(static_cast<std::uint64_t>(id - last));
    last = id;
  }
}

bool DecodeIds(sto_ByteReader& reader, std::vector<std::int64_t>& ids) {
  ids.clear();
  std::uint64_t const count = reader.Varint();
  if (count > reader.Remaining()) return false; // each takes a byte at least
  std::int64_t last = 0;
  for (std::uint64_t i = 0; i < count; ++i) {
    std::uint64_t const step = reader.Varint();
    if (step == 0 || step > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max() - last))
      return false;
    last += static_cast<std::int64_t>(step);
    ids.push_back(last);
  }
  return !reader.Failed();
}

} // namespace

void sto_SortChanges(sto_ChangeList& list) {
  auto const sort = [](auto& section) {
    std::ranges::sort(section);
    section.erase(std::unique(section.begin(), section.end()), section.end());
  };
  sort(list.m_Objects);
  sort(list.m_Lists);
  sort(list.m_Roots);
}

void sto_EncodeChanges(sto_ChangeList const& list, sto_Bytes& bytes) {
  sto_ByteWriter writer(bytes);
  EncodeIds(list.m_Objects, writer);
  EncodeIds(list.m_Lists, writer);
  writer.Varint(list.m_Roots.size());
  for (std::string const& name : list.m_Roots) {
    writer.Varint(name.size());
    writer.Raw(name.data(), name.size());
  }
}

bool sto_DecodeChanges(sto_ByteView bytes, sto_ChangeList& list) {
  sto_ByteReader reader(bytes);
  if (!DecodeIds(reader, list.m_Objects) || !DecodeIds(reader, list.m_Lists)) return false;
  list.m_Roots.clear();
  std::uint64_t const count = reader.Varint();
  if (count > reader.Remaining()) return false;
  for (std::uint64_t i = 0; i < count; ++i) {
    std::string name(sto_AsText(reader.Raw(reader.Varint())));
    if (reader.Failed() || (i > 0 && name <= list.m_Roots.back())) return false;
    list.m_Roots.push_back(std::move(name));
  }
  return !reader.Failed() && reader.Remaining() == 0;
}
