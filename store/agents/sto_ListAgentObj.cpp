#include "store/agents/sto_ListAgentObj.h"

#include <algorithm>

#include "metadata/cls_CollectionType.h"
#include "store/format/sto_BlockLayout.h"
#include "store/format/sto_ElementCodec.h"
#include "store/format/sto_IdCodec.h"
#include "store/objects/sto_ObjectListReader.h"

unsigned int sto_ListAgentObj::StoredClassId() const {
  return cls_InternalListTypeId;
}

void sto_ListAgentObj::Empty() noexcept {
  m_Ids.clear();
  m_Unwritten = {};
}

void sto_ListAgentObj::UndoInMemory() noexcept {
  for (; !m_Changes.empty(); m_Changes.pop_back()) switch (Noted& change = m_Changes.back(); change.m_Kind) {
    case Noted::Kind::Replaced:
      m_Ids[static_cast<std::size_t>(change.m_Index)] = change.m_Before;
      break;
    case Noted::Kind::Appended:
      m_Ids.pop_back();
      break;
    case Noted::Kind::Other:
      m_Ids.swap(change.m_Ids);
    }
  if (m_UnwrittenAtMark) m_Unwritten = std::move(*m_UnwrittenAtMark);
  m_UnwrittenAtMark.reset();
}

void sto_ListAgentObj::NoteOther() {
  if (IsInSave()) m_Changes.push_back({Noted::Kind::Other, 0, 0, m_Ids});
}

int sto_ListAgentObj::TakeContent(sto_RecordRef const& record) {
  if (!record->List())
    Session().Raise(sto_ErrorKind::WrongClass, Describe() + " is none: the object holds no list.");
  sto_ListHeader const& list = *record->List();
  if (list.m_ElementType != sto_Format::ElementObject)
    Session().Raise(sto_ErrorKind::WrongClass, Describe() + " is stored as a list of " +
                                                   sto_ElementTypeName(list.m_ElementType) +
                                                   " and cannot be opened as one of objects.");
  Empty();
  Read(list);
  return Size();
}

void sto_ListAgentObj::Read(sto_ListHeader const& list) {
  auto const damaged = [&] {
    Session().Raise(sto_ErrorKind::Damaged,
                    Describe() + " is damaged: it does not have the elements that it says.");
  };
  std::vector<std::int64_t> ids;
  auto const take = [&](sto_ByteView content, int count) {
    if (!sto_ReadIds(Session(), Id(), list, content, count, ids)) damaged();
    m_Ids.insert(m_Ids.end(), ids.begin(), ids.end());
  };
  if (!list.m_InBlocks) return take(list.m_Inline, list.m_Count);
  if (list.m_Count == 0) return;
  std::size_t const storeBytes = static_cast<std::size_t>(Session().Driver().SizeBytes());
  if (static_cast<std::size_t>(list.m_Count) > sto_BlockCodec::MaxContentBytes(storeBytes)) damaged();
  sto_ListLayout const layout(list.m_Count);
  m_Blocks.ReadRun(0, layout.BlockCount() - 1,
                   [&](int block, sto_ByteView content) { take(content, layout.CountIn(block)); });
  if (list.m_HasFixedIds) TouchFrom(0); // all blocks get the present form with the next change
  m_Unwritten.m_StoredBlocks = layout.BlockCount();
}

sto_Bytes sto_ListAgentObj::Encoded(int first, int count) const {
  sto_Bytes content;
  content.reserve(static_cast<std::size_t>(count) + sto_BlockCodec::EndBytes);
  sto_ByteWriter writer(content);
  sto_IdEncoder encoder(Id());
  for (int i = first; i < first + count; ++i) encoder.Put(writer, m_Ids[static_cast<std::size_t>(i)]);
  return content;
}

void sto_ListAgentObj::PutContent(sto_RecordBuilder& builder) {
  sto_ListHeader header;
  header.m_ElementType = sto_Format::ElementObject;
  header.m_Count = Size();
  sto_Bytes elements;
  if (Size() <= sto_ListLayout::BlockSize) elements = Encoded(0, Size());
  header.m_InBlocks = Size() > sto_ListLayout::BlockSize || elements.size() > sto_Format::InlineListBytes;
  if (header.m_InBlocks) elements.clear();
  sto_ListLayout const layout(header.m_InBlocks ? Size() : 0);
  int const blockCount = layout.BlockCount();
  for (int block = 0; block < blockCount; ++block) {
    if (block < m_Unwritten.m_StoredBlocks && !IsTouched(block)) continue;
    sto_Bytes content = Encoded(sto_ListLayout::FirstOf(block), layout.CountIn(block));
    m_Blocks.Write(block, content, false); // a removal shifts all later ids, so an overwrite saves little
  }
  if (m_Unwritten.m_StoredBlocks > blockCount) m_Blocks.DeleteFrom(blockCount);
  builder.SetList(header, std::move(elements));
  if (IsInSave() && !m_UnwrittenAtMark) m_UnwrittenAtMark = std::move(m_Unwritten);
  m_Unwritten = {};
  m_Unwritten.m_StoredBlocks = blockCount;
}

void sto_ListAgentObj::Touch(int index) {
  auto const block = static_cast<std::size_t>(sto_ListLayout::BlockOf(index));
  if (block >= m_Unwritten.m_Touched.size()) m_Unwritten.m_Touched.resize(block + 1);
  m_Unwritten.m_Touched[block] = true;
}

void sto_ListAgentObj::TouchFrom(int first) noexcept {
  m_Unwritten.m_TouchedFrom = std::min(m_Unwritten.m_TouchedFrom, sto_ListLayout::BlockOf(first));
}

bool sto_ListAgentObj::IsTouched(int block) const noexcept {
  auto const index = static_cast<std::size_t>(block);
  return block >= m_Unwritten.m_TouchedFrom ||
         (index < m_Unwritten.m_Touched.size() && m_Unwritten.m_Touched[index]);
}

void sto_ListAgentObj::RaiseIndex(int index) const {
  Session().Raise(sto_ErrorKind::Misuse, Describe() + " has " + std::to_string(Size()) +
                                             " elements; there is no place " + std::to_string(index) + ".");
}

int sto_ListAgentObj::Count() {
  return Look([&] { return Size(); });
}

void sto_ListAgentObj::SetCount(int count) {
  Change({}, [&] {
    if (count < 0) RaiseIndex(count);
    if (count == Size()) return false;
    // The blocks with the old and the new end change their length.
    NoteOther();
    TouchFrom(std::max(0, std::min(count, Size()) - 1));
    m_Ids.resize(static_cast<std::size_t>(count));
    return true;
  });
}

cls_MementoRead* sto_ListAgentObj::MakeReadObj(int index) {
  return ReadElement([&] { return Has(index) ? m_Ids[static_cast<std::size_t>(index)] : 0; });
}

cls_MementoWrite* sto_ListAgentObj::MakeWriteObj(int index, unsigned int classId, cls_Uid const& uid) {
  return WriteElement(
      classId, uid, {},
      [&] {
        if (index != Size() && !Has(index)) RaiseIndex(index);
      },
      [&] { return Has(index) ? m_Ids[static_cast<std::size_t>(index)] : 0; },
      [&](std::int64_t id) { Put(index, id); });
}

void sto_ListAgentObj::Put(int index, std::int64_t id) {
  bool const isNew = index == Size();
  Touch(index);
  if (isNew && m_Ids.size() == m_Ids.capacity()) m_Ids.reserve(2 * m_Ids.size() + 8); // first: it may fail
  if (IsInSave() && isNew) m_Changes.push_back({Noted::Kind::Appended, 0, 0, {}});
  if (IsInSave() && !isNew)
    m_Changes.push_back({Noted::Kind::Replaced, index, m_Ids[static_cast<std::size_t>(index)], {}});
  if (isNew)
    m_Ids.push_back(id);
  else
    m_Ids[static_cast<std::size_t>(index)] = id;
}

void sto_ListAgentObj::Remove(int index) {
  Change({}, [&] {
    if (!Has(index)) RaiseIndex(index);
    NoteOther();
    TouchFrom(std::max(0, index - 1));
    m_Ids.erase(m_Ids.begin() + index);
    return true;
  });
}
