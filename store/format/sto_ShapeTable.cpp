#include "store/format/sto_ShapeTable.h"

namespace {

/// No sound store has a greater number; a damaged row must not take much memory.
constexpr std::int64_t MaxShapeNumber = 10'000'000;

} // namespace

std::string sto_ShapeTable::Key(sto_Shape const& shape) {
  sto_Bytes bytes;
  shape.Encode(bytes);
  return std::string(sto_AsText(bytes));
}

sto_NumberedShape* sto_ShapeTable::Keep(std::int64_t number, sto_Shape shape, std::string key) {
  auto const index = static_cast<std::size_t>(number);
  if (m_Shapes.size() <= index) m_Shapes.resize(index + 1);
  m_Shapes[index] = std::make_shared<sto_NumberedShape>(sto_NumberedShape{number, std::move(shape)});
  sto_NumberedShape* const kept = m_Shapes[index].get();
  m_ByContent.emplace(std::move(key), kept);
  sto_ShapePart const& own = kept->m_Shape.m_Parts.front();
  ++m_CountOfClass[{own.m_ClassId, own.m_Version}];
  return kept;
}

bool sto_ShapeTable::Take(std::int64_t number, sto_ByteView stored) {
  if (number < 1 || number > MaxShapeNumber || Find(number) != nullptr) return false;
  std::string key(sto_AsText(stored));
  sto_ByteReader reader(stored);
  sto_Shape shape;
  if (!shape.Decode(reader) || reader.Remaining() != 0 || m_ByContent.contains(key)) return false;
  Keep(number, std::move(shape), std::move(key));
  return true;
}

sto_NumberedShape* sto_ShapeTable::Find(sto_RecordBuilder& builder) {
  auto const found = m_ByContent.find(Key(builder.Shape()));
  return found == m_ByContent.end() ? nullptr : found->second;
}

sto_NumberedShape* sto_ShapeTable::Add(sto_RecordBuilder& builder, sto_Bytes& stored) {
  sto_Shape shape = builder.Shape();
  sto_ShapePart const& own = shape.m_Parts.front();
  auto const count = m_CountOfClass.find({own.m_ClassId, own.m_Version});
  auto const number = static_cast<std::int64_t>(m_Shapes.empty() ? 1 : m_Shapes.size());
  bool const isFull = count != m_CountOfClass.end() && count->second >= sto_Format::MaxShapesOfClass;
  if (isFull || number > MaxShapeNumber) return nullptr;
  stored.clear();
  shape.Encode(stored);
  std::string key(sto_AsText(stored));
  return Keep(number, std::move(shape), std::move(key));
}

void sto_ShapeTable::Clear() noexcept {
  m_ByContent.clear();
  m_CountOfClass.clear();
  m_Shapes.clear();
}
