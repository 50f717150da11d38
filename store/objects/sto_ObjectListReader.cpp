#include "store/objects/sto_ObjectListReader.h"

#include <algorithm>
#include <string>

#include "store/format/sto_BlockLayout.h"
#include "store/format/sto_ElementCodec.h"
#include "store/objects/sto_MementoRead.h"

namespace {

constexpr std::size_t IdBytes = sto_ElementCodec<sto_ObjectId>::MinBytes;

} // namespace

bool sto_AreObjectIds(sto_Session const& session, sto_ByteView content, int count) noexcept {
  if (content.size() != static_cast<std::size_t>(count) * IdBytes) return false;
  sto_ByteReader reader(content);
  for (int i = 0; i < count; ++i)
    if (std::int64_t const id = reader.Number<std::int64_t>(); id != 0 && !session.IsGivenOut(id))
      return false;
  return true;
}

sto_ObjectListReader::sto_ObjectListReader(sto_Session& session, sto_RecordRef record, int depth)
    : m_Session(session), m_Record(std::move(record)),
      m_Id(m_Record == nullptr ? 0 : m_Record->Parts().front().m_Id), m_Depth(depth),
      m_Blocks(session, m_Id) {
  if (m_Record == nullptr) return;
  m_List = *m_Record->List();
  if (!sto_HasWholeRows(m_List.m_Count, m_List.m_Width))
    m_Session.Raise(sto_ErrorKind::Damaged, "The list of object " + std::to_string(m_Id) +
                                                sto_UnevenRows(m_List.m_Count, m_List.m_Width));
  if (!m_List.m_InBlocks || m_List.m_Count == 0) return;
  if (!m_Blocks.HasList(m_List.m_Count, IdBytes)) RaiseDamaged(0);
  LoadBlock(sto_ListLayout::BlockOf(m_List.m_Count - 1));
}

void sto_ObjectListReader::LoadBlock(int block) {
  if (block == m_Block) return;
  m_Block = -1;
  sto_ByteView const content = m_Blocks.Read(block);
  if (!sto_AreObjectIds(m_Session, content, sto_ListLayout(m_List.m_Count).CountIn(block)))
    RaiseDamaged(sto_ListLayout::FirstOf(block));
  m_Ids.assign(content.begin(), content.end());
  m_Block = block;
}

std::int64_t sto_ObjectListReader::IdAt(int index) {
  if (index < 0 || index >= m_List.m_Count)
    m_Session.Raise(sto_ErrorKind::Misuse, "Reading element " + std::to_string(index) +
                                               " of the list of object " + std::to_string(m_Id) +
                                               ", which has " + std::to_string(m_List.m_Count) + ".");
  if (m_List.m_InBlocks) LoadBlock(sto_ListLayout::BlockOf(index));
  sto_ByteView const ids = m_List.m_InBlocks ? sto_ByteView(m_Ids) : m_List.m_Inline;
  return sto_ByteReader(ids.subspan(static_cast<std::size_t>(sto_ListLayout::OffsetOf(index)) * IdBytes))
      .Number<std::int64_t>();
}

cls_MementoRead* sto_ObjectListReader::At(int index) {
  std::int64_t const id = IdAt(index);
  return sto_MementoRead::OfElement(m_Session, id, m_Depth + 1, {"list", m_Id});
}

cls_MementoRead* sto_ObjectListReader::Next() {
  cls_MementoRead* const element = At(m_Next);
  ++m_Next;
  return element;
}

void sto_ObjectListReader::Skip(int count) {
  m_Next += std::clamp(count, 0, m_List.m_Count - m_Next);
}

void sto_ObjectListReader::RaiseDamaged(int index) const {
  m_Session.Raise(sto_ErrorKind::Damaged, "The list of object " + std::to_string(m_Id) +
                                              " is damaged at element " + std::to_string(index) + " of " +
                                              std::to_string(m_List.m_Count) + ".");
}
