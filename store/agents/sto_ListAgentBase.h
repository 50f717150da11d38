#pragma once

#include <vector>

#include "persist/backend/cls_ShapedList.h"
#include "store/agents/sto_CollectionAgent.h"
#include "store/format/sto_ElementCodec.h"
#include "store/session/sto_StoredBlocks.h"

/// What the list agents of all element types have in common: the stored list's header. Elements are written
/// to the store at once; only the header is written later. Internal to the module; see sto_CollectionAgent.
class sto_ListAgentBase : public sto_CollectionAgent, public cls_ShapedList {
 public:
  sto_ListAgentBase(sto_Session& session, std::int64_t id, std::uint8_t elementType)
      : sto_CollectionAgent(session, id), m_ElementType(elementType),
        m_Blocks(session, id, sto_ElementBytes(elementType)) {}

  [[nodiscard]] cls_ListShape Shape() override;
  void SetShape(cls_ListShape const& shape) override;

 protected:
  [[nodiscard]] std::string Describe() const override { return "The list of object " + std::to_string(Id()); }
  [[nodiscard]] unsigned int StoredClassId() const override;
  int TakeContent(sto_RecordRef const& record) override;
  void PutContent(sto_RecordBuilder& builder) override;
  void ForgetBlocks() noexcept override { m_Blocks.Forget(); }
  [[nodiscard]] int KnownCount() const noexcept override { return m_Count; }

  /// Moves the elements of an inline list to a block. REQUIRES: an open write transaction.
  void MoveOutOfRecord();

  sto_StoredBlocks& Blocks() noexcept { return m_Blocks; }
  [[nodiscard]] int Width() const noexcept { return m_Width; }
  /// Puts the extents into a header with its count; `bytes` must outlive it. None while the last row is not whole: in a
  /// transaction a list may have the blocks of an array, and not yet what is in memory.
  void PutShape(sto_ListHeader& header, sto_Bytes& bytes) const;
  [[nodiscard]] std::string const& Unit() const noexcept { return m_Shape.m_Unit; }

  int m_Count = 0;
  sto_RecordRef m_InlineRecord; // holds the elements of an inline list
  sto_ByteView m_Inline;

 private:
  [[nodiscard]] std::int64_t RowSize() const noexcept;
  [[nodiscard]] bool HasWholeRows(std::int64_t count) const noexcept;

  std::uint8_t m_ElementType;
  int m_Width = 1;
  cls_ListShape m_Shape;
  sto_StoredBlocks m_Blocks;
};
