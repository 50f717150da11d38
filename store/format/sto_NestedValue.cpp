#include "store/format/sto_NestedValue.h"

#include "store/format/sto_NestedWalk.h"

namespace {

/// Takes any id: the values were checked when the record was decoded.
struct TakeAny {
  bool operator()(std::uint8_t, std::int64_t, sto_ByteView) const noexcept { return true; }
};

struct TakePossible {
  bool operator()(std::uint8_t, std::int64_t id, sto_ByteView) const noexcept {
    return id > 0 && id <= sto_Format::MaxObjectId;
  }
};

} // namespace

std::optional<std::string_view> sto_NestedValue::Text() const noexcept {
  sto_ByteReader reader(m_Bytes);
  std::uint64_t const size = reader.Varint();
  if (size == 0) return std::nullopt;
  return sto_AsText(reader.Raw(size - 1));
}

sto_ByteView sto_NestedValue::Bytes() const noexcept {
  sto_ByteReader reader(m_Bytes);
  return reader.Raw(reader.Varint());
}

std::int64_t sto_NestedValue::ObjectId() const noexcept {
  return sto_FromDistance(m_Object, sto_ByteReader(m_Bytes).ZigZag());
}

std::size_t sto_NestedValue::Alternative() const noexcept {
  return static_cast<std::size_t>(sto_ByteReader(m_Bytes).Varint());
}

std::size_t sto_NestedValue::Count() const noexcept {
  return static_cast<std::size_t>(sto_NestedItems(*this).m_Left);
}

sto_NestedItems sto_NestedValue::Items() const noexcept {
  return sto_NestedItems(*this);
}

std::optional<sto_NestedValue> sto_NestedValue::Member(sto_FieldKey const& key) const noexcept {
  for (sto_NestedItems members(*this); members.Next();)
    if (members.Key() == key) return members.Value();
  return std::nullopt;
}

sto_ByteView sto_NestedValue::Elements() const noexcept {
  sto_NestedItems elements(*this);
  return elements.m_Reader.Raw(elements.m_Left * m_Nodes[m_Index + 1].m_MinBytes);
}

sto_NestedItems::sto_NestedItems(sto_NestedValue const& value) noexcept
    : m_Nodes(value.m_Nodes), m_Parent(value.m_Index), m_Child(value.m_Index + 1), m_Left(1),
      m_Reader(value.m_Bytes), m_Object(value.m_Object) {
  switch (value.Kind()) {
  case sto_Format::NestedVariant:
    for (std::uint64_t index = m_Reader.Varint(); index > 0; --index) m_Child = m_Nodes[m_Child].m_End;
    break;
  case sto_Format::NestedOptional:
    m_Left = m_Reader.U8();
    break;
  case sto_Format::NestedSequence:
    m_Left = m_Reader.Varint();
    break;
  case sto_Format::NestedMap:
    m_Left = 2 * m_Reader.Varint();
    break;
  case sto_Format::NestedArray:
    m_Left = value.Node().m_Count;
    break;
  default:
    m_Left = value.Node().m_Children;
  }
}

void sto_NestedItems::Pass() noexcept {
  sto_NestedWalk<TakeAny> walk(m_Nodes, m_Object, {});
  static_cast<void>(walk.Pass(m_Reader, m_Child)); // decoding has checked it
  switch (m_Nodes[m_Parent].m_Kind) {
  case sto_Format::NestedStruct:
  case sto_Format::NestedTuple:
    m_Child = m_Nodes[m_Child].m_End;
    break;
  case sto_Format::NestedMap: // keys and values in turn
    m_Child = m_Child == m_Parent + 1 ? m_Nodes[m_Child].m_End : m_Parent + 1;
    break;
  default:
    break;
  }
}

bool sto_NestedItems::Next() noexcept {
  if (m_IsAtItem) Pass();
  m_IsAtItem = m_Left > 0;
  if (m_IsAtItem) --m_Left;
  return m_IsAtItem;
}

sto_NestedValue sto_NestedItems::Value() const noexcept {
  return {m_Nodes, m_Child, sto_ByteView(m_Reader.Position(), m_Reader.Remaining()), m_Object};
}

void sto_NestedWriter::Text(std::optional<std::string_view> text) {
  m_Writer.Varint(text ? text->size() + 1 : 0);
  if (text) m_Writer.Raw(text->data(), text->size());
}

void sto_NestedWriter::Bytes(sto_ByteView bytes) {
  m_Writer.Varint(bytes.size());
  m_Writer.Raw(bytes.data(), bytes.size());
}

bool sto_IsNestedValue(sto_NestedType const& type, sto_ByteView bytes, std::int64_t object) {
  sto_ByteReader reader(bytes);
  return sto_NestedWalk<TakePossible>(type, object, {}).Pass(reader) && reader.Remaining() == 0;
}
