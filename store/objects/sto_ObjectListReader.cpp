#include "store/objects/sto_ObjectListReader.h"

#include <algorithm>
#include <string>
#include <utility>

#include "store/format/sto_BlockLayout.h"
#include "store/format/sto_ElementCodec.h"
#include "store/format/sto_IdCodec.h"
#include "store/objects/sto_MementoRead.h"

bool sto_ReadIds(sto_Session const& session, std::int64_t list, sto_ListHeader const& header,
                 sto_ByteView content, int count, std::vector<std::int64_t>& ids) {
  return sto_DecodeIds(content, count, list, header.m_HasFixedIds, ids) &&
         std::ranges::all_of(ids, [&](std::int64_t id) { return id == 0 || session.IsGivenOut(id); });
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
  if (m_List.m_Count == 0) return;
  if (!m_List.m_InBlocks) {
    if (!sto_ReadIds(m_Session, m_Id, m_List, m_List.m_Inline, m_List.m_Count, m_Ids)) RaiseDamaged(0);
    return;
  }
  if (!m_Blocks.HasList(m_List.m_Count, 1)) RaiseDamaged(0);
  LoadBlock(sto_ListLayout::BlockOf(m_List.m_Count - 1));
}

void sto_ObjectListReader::LoadBlock(int block) {
  if (block == m_Block) return;
  m_Block = -1;
  sto_ByteView const content = m_Blocks.Read(block);
  if (!sto_ReadIds(m_Session, m_Id, m_List, content, sto_ListLayout(m_List.m_Count).CountIn(block), m_Ids))
    RaiseDamaged(sto_ListLayout::FirstOf(block));
  m_Block = block;
}

std::int64_t sto_ObjectListReader::IdAt(int index) {
  if (index < 0 || index >= m_List.m_Count)
    m_Session.Raise(sto_ErrorKind::Misuse, "Reading element " + std::to_string(index) +
                                               " of the list of object " + std::to_string(m_Id) +
                                               ", which has " + std::to_string(m_List.m_Count) + ".");
  if (m_List.m_InBlocks) LoadBlock(sto_ListLayout::BlockOf(index));
  return m_Ids[static_cast<std::size_t>(sto_ListLayout::OffsetOf(index))];
}

cls_MementoRead* sto_ObjectListReader::At(int index) {
  std::int64_t const id = IdAt(index);
  return sto_MementoRead::OfElement(m_Session, id, m_Depth + 1, {"list", m_Id});
}

void sto_ObjectListReader::WantNext() {
  sto_ReadAhead& ahead = m_Session.Records().Ahead();
  if (!ahead.IsOn() || !m_List.m_InBlocks || m_Next >= m_List.m_Count) return;
  int const block = sto_ListLayout::BlockOf(m_Next);
  if (std::exchange(m_WantedBlock, block) == block) return;
  LoadBlock(block);
  ahead.Want(std::span(m_Ids).subspan(static_cast<std::size_t>(sto_ListLayout::OffsetOf(m_Next))));
}

cls_MementoRead* sto_ObjectListReader::Next() {
  WantNext();
  cls_MementoRead* const element = At(m_Next);
  ++m_Next;
  return element;
}

cls_HeldObject sto_ObjectListReader::NextHeld() {
  WantNext();
  std::int64_t const id = IdAt(m_Next);
  ++m_Next;
  return {&m_Session, id, m_Id, {}, m_Depth};
}

void sto_ObjectListReader::Skip(int count) {
  m_Next += std::clamp(count, 0, m_List.m_Count - m_Next);
}

void sto_ObjectListReader::RaiseDamaged(int index) const {
  m_Session.Raise(sto_ErrorKind::Damaged, "The list of object " + std::to_string(m_Id) +
                                              " is damaged at element " + std::to_string(index) + " of " +
                                              std::to_string(m_List.m_Count) + ".");
}
