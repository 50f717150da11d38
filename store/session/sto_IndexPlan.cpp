#include "store/session/sto_IndexPlan.h"

#include <algorithm>
#include <optional>

#include "store/format/sto_FixedValueBytes.h"
#include "store/format/sto_NestedWalk.h"

sto_IndexPlan::sto_IndexPlan(sto_Shape const& shape, std::span<sto_IndexRow const> indexes,
                             NameOf const& nameOf) {
  std::size_t first = 0; // field of the part
  for (sto_ShapePart const& part : shape.m_Parts) {
    std::span<sto_ShapeField const> const fields(shape.m_Fields.data() + first, part.m_FieldCount);
    for (std::size_t i = 0; i < indexes.size(); ++i) {
      if (indexes[i].m_ClassId != part.m_ClassId) continue;
      std::optional<std::size_t> field;
      for (std::string const& name : indexes[i].m_Names)
        for (std::size_t j = 0; j < fields.size() && !field; ++j)
          if (nameOf(part, fields[j].m_Key) == name) field = j;
      if (field && sto_IndexKey::HasKey(fields[*field].m_Tag)) m_Wanted.push_back({i, first + *field});
    }
    first += part.m_FieldCount;
  }
  std::ranges::sort(m_Wanted, {}, &Wanted::m_Field);
}

bool sto_IndexPlan::Reader::GoTo(std::size_t field) {
  while (m_Next <= field)
    if (!Pass()) return false;
  return true;
}

void sto_IndexPlan::Reader::PassPartIds() {
  if (!m_IsInPart) { // the first part's id is the object's
    m_IsInPart = true;
    m_EndOfPart = m_Shape.m_Parts.front().m_FieldCount;
  }
  while (m_Next >= m_EndOfPart) {
    ++m_Part;
    m_EndOfPart += m_Shape.m_Parts[m_Part].m_FieldCount;
    if (!m_Shape.m_PartsFollow) m_Reader.ZigZag();
  }
}

bool sto_IndexPlan::Reader::Pass() {
  PassPartIds();
  m_Tag = m_Shape.m_Fields[m_Next++].m_Tag;
  m_Payload = {};
  if (std::size_t const size = sto_FixedValueBytes(m_Tag); size != 0) {
    m_Payload = m_Reader.Raw(size);
  } else if (m_Tag == sto_Format::Nested) {
    auto const ignore = [](std::uint8_t, std::int64_t, sto_ByteView) { return true; };
    if (!sto_NestedWalk(m_Shape.m_Types[m_Nested++], m_Id, ignore).Pass(m_Reader)) return false;
  } else {
    std::uint64_t const number = m_Reader.Varint();
    if (m_Tag == sto_Format::Text)
      m_Payload = m_Reader.Raw(number == 0 ? 0 : number - 1);
    else if (m_Tag == sto_Format::Bytes)
      m_Payload = m_Reader.Raw(number);
  }
  return !m_Reader.Failed();
}
