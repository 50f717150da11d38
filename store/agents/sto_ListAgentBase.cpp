#include "store/agents/sto_ListAgentBase.h"

#include "metadata/cls_CollectionType.h"
#include "store/format/sto_ElementCodec.h"
#include "store/session/sto_OwnTransaction.h"

namespace {

cls_ListShape StoredShape(sto_Catalogue const& catalogue, sto_ListExtra const& extra) {
  cls_ListShape shape;
  std::vector<std::int64_t> const row = extra.Row();
  shape.m_Row.assign(row.begin(), row.end());
  if (extra.UnitId() != 0) shape.m_Unit = catalogue.NameOf(extra.UnitId());
  return shape;
}

} // namespace

unsigned int sto_ListAgentBase::StoredClassId() const {
  return cls_InternalListTypeId;
}

int sto_ListAgentBase::TakeContent(sto_RecordRef const& record) {
  if (!record->List())
    Session().Raise(sto_ErrorKind::WrongClass, Describe() + " is none: the object holds no list.");
  sto_ListHeader const& list = *record->List();
  if (list.m_ElementType != m_ElementType)
    Session().Raise(sto_ErrorKind::WrongClass,
                    Describe() + " is stored as a list of " + sto_ElementTypeName(list.m_ElementType) +
                        " and cannot be opened as one of " + sto_ElementTypeName(m_ElementType) + ".");
  if (!sto_HasWholeRows(list.m_Count, list.m_Width))
    Session().Raise(sto_ErrorKind::Damaged, Describe() + sto_UnevenRows(list.m_Count, list.m_Width));
  m_Count = list.m_Count;
  m_Width = list.m_Width;
  if (list.m_Extra.Rank() != 0 ||
      HasWholeRows(list.m_Count)) // otherwise only the shape of today's rows is missing
    m_Shape = StoredShape(Session().Catalogue(), list.m_Extra);
  m_Inline = list.m_InBlocks ? sto_ByteView() : list.m_Inline;
  m_InlineRecord = m_Inline.empty() ? nullptr : record;
  return m_Count;
}

void sto_ListAgentBase::PutContent(sto_RecordBuilder& builder) {
  if (!sto_HasWholeRows(m_Count, m_Width))
    Session().Raise(sto_ErrorKind::Misuse, Describe() + sto_UnevenRows(m_Count, m_Width));
  sto_ListHeader header;
  header.m_ElementType = m_ElementType;
  header.m_Width = m_Width;
  header.m_Count = m_Count;
  header.m_InBlocks = true;
  sto_Bytes extents;
  PutShape(header, extents);
  if (!m_Shape.m_Unit.empty())
    header.m_Extra.SetUnit(Session().Catalogue().AddName(Session().Driver(), m_Shape.m_Unit));
  builder.SetList(header, {});
}

std::int64_t sto_ListAgentBase::RowSize() const noexcept {
  std::int64_t size = 1;
  for (long long const extent : m_Shape.m_Row) size *= extent;
  return size;
}

bool sto_ListAgentBase::HasWholeRows(std::int64_t count) const noexcept {
  return count % RowSize() == 0;
}

void sto_ListAgentBase::PutShape(sto_ListHeader& header, sto_Bytes& bytes) const {
  if (m_Shape.m_Row.empty() || !HasWholeRows(header.m_Count)) return;
  std::vector<std::int64_t> extents{header.m_Count / RowSize()};
  extents.insert(extents.end(), m_Shape.m_Row.begin(), m_Shape.m_Row.end());
  if (!header.m_Extra.SetExtents(extents, header.m_Count, bytes))
    Session().Raise(sto_ErrorKind::Misuse, Describe() + " has too many dimensions.");
}

cls_ListShape sto_ListAgentBase::Shape() {
  if (IsOutdated()) {
    sto_OwnTransaction const transaction(Session(), false);
    Synchronise();
  }
  if (m_Shape.m_Row.empty() && m_Width > 1) return {{m_Width}, m_Shape.m_Unit};
  return m_Shape;
}

void sto_ListAgentBase::SetShape(cls_ListShape const& shape) {
  if (Shape() == shape) return;
  sto_OwnTransaction transaction(Session(), true);
  CheckWriting();
  NoteChanged();
  m_Shape = shape;
  transaction.Commit();
}

void sto_ListAgentBase::MoveOutOfRecord() {
  if (m_InlineRecord == nullptr) return;
  sto_Bytes content(m_Inline.begin(), m_Inline.end());
  m_Blocks.Write(0, content, false);
  m_Inline = {};
  m_InlineRecord = nullptr;
}
