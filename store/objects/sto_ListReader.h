#pragma once

#include <memory>
#include <string>

#include "persist/backend/cls_ReadListPrim.h"
#include "store/format/sto_BlockKey.h"
#include "store/format/sto_Checksum.h"
#include "store/format/sto_ElementCodec.h"
#include "store/objects/sto_ObjectListReader.h"
#include "store/session/sto_Session.h"

/// Cursor over an object's list; holds one block at a time. Damaged when the stored bytes do not fit what the
/// list says of itself, or are no whole number of rows.
template <class T> class sto_ListReader : public cls_ReadListPrim<T> {
 public:
  /// An empty list, of an object that is not there.
  explicit sto_ListReader(sto_Session& session) : m_Session(session) {}

  /// The list of object `id`, which `record` has.
  sto_ListReader(sto_Session& session, std::int64_t id, sto_RecordRef record)
      : m_Session(session), m_Id(id), m_Record(std::move(record)), m_List(*m_Record->List()) {
    if (!sto_HasWholeRows(m_List.m_Count, m_List.m_Width))
      m_Session.Raise(sto_ErrorKind::Damaged,
                      "The list of " + Describe() + sto_UnevenRows(m_List.m_Count, m_List.m_Width));
    if (m_List.m_InBlocks) {
      if (!sto_HasBlocks(m_Session, m_Id, m_List.m_Count, sto_ElementCodec<T>::MinBytes)) RaiseDamaged();
    } else {
      Open(m_List.m_Inline);
    }
  }

  int Count() override { return m_List.m_Count; }
  int RowWidth() override { return m_List.m_Width; }
  int More() override { return m_Index < m_List.m_Count ? 1 : 0; }

  int NextRun(int count, T* destination) override {
    int done = 0;
    for (; done < count && More(); ++done) destination[done] = Next();
    return done;
  }

  T Next() override {
    if (!More())
      m_Session.Raise(sto_ErrorKind::Misuse, "Reading past the end of the list of " + Describe() + ".");
    if (m_List.m_InBlocks && m_Index % sto_Format::BlockElementCount == 0) LoadBlock(BlockOf(m_Index));
    T element = sto_ElementCodec<T>::Decode(m_Reader);
    ++m_Index;
    bool const atEnd = m_Index == m_List.m_Count || m_Index % sto_Format::BlockElementCount == 0;
    if (m_Reader.Failed() || (atEnd && m_Reader.Remaining() != 0)) RaiseDamaged();
    return element;
  }

 private:
  static int BlockOf(int index) noexcept { return index / sto_Format::BlockElementCount; }
  [[nodiscard]] std::int64_t Key(int block) const noexcept { return sto_BlockKey(m_Id, block); }

  void LoadBlock(int block) {
    if (!m_Session.Driver().ReadBlock(Key(block), m_Block)) RaiseDamaged();
    sto_ByteView view(m_Block);
    if (!sto_Unseal(static_cast<std::uint64_t>(Key(block)), view)) RaiseDamaged();
    int const first = block * sto_Format::BlockElementCount;
    m_Reader = sto_ByteReader(view);
    int const left = m_List.m_Count - first;
    if (view.size() < MinBytes(left < sto_Format::BlockElementCount ? left : sto_Format::BlockElementCount))
      RaiseDamaged();
  }

  void Open(sto_ByteView elements) {
    m_Reader = sto_ByteReader(elements);
    if (elements.size() < MinBytes(m_List.m_Count) || (m_List.m_Count == 0 && !elements.empty()))
      RaiseDamaged();
  }

  static std::size_t MinBytes(int count) noexcept {
    return static_cast<std::size_t>(count) * sto_ElementCodec<T>::MinBytes;
  }

  [[nodiscard]] std::string Describe() const { return "object " + std::to_string(m_Id); }

  [[noreturn]] void RaiseDamaged() const {
    m_Session.Raise(sto_ErrorKind::Damaged, "The list of " + Describe() + " is damaged at element " +
                                                std::to_string(m_Index) + " of " +
                                                std::to_string(m_List.m_Count) + ".");
  }

  sto_Session& m_Session;
  std::int64_t m_Id = 0;
  sto_RecordRef m_Record;
  sto_ListHeader m_List;
  int m_Index = 0;
  sto_Bytes m_Block;
  sto_ByteReader m_Reader{{}};
};
