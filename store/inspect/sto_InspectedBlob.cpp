#include "store/inspect/sto_InspectedBlob.h"

#include <algorithm>
#include <string>
#include <utility>

#include "persist/backend/cls_CollectionTypeIds.h"
#include "store/format/sto_BlockLayout.h"
#include "store/format/sto_CollectionFields.h"
#include "store/inspect/sto_InspectState.h"
#include "store/inspect/sto_Inspection.h"
#include "store/session/sto_StoredBlocks.h"

class sto_InspectedBlob::Reader {
 public:
  Reader(std::shared_ptr<sto_InspectState> state, std::int64_t id)
      : m_State(std::move(state)), m_Id(id), m_Blocks(m_State->Session(), id) {
    sto_RecordRef const record = m_State->Record(id);
    if (record->ClassId() != cls_BlobTypeId)
      m_State->RaiseMisuse("Object " + std::to_string(id) + " is no blob.");
    m_Size = sto_CollectionFields::BlobBytes.Read(record->Parts().front()).value_or(0);
    if (m_Size < 0 || m_Size > sto_BlobLayout::MaxCount)
      m_State->RaiseDamaged(id, "a blob cannot have " + std::to_string(m_Size) + " bytes");
  }

  [[nodiscard]] std::int64_t Size() const noexcept { return m_Size; }

  void Read(std::int64_t first, std::span<std::byte> to) {
    static_cast<void>(m_State->Session());
    auto count = static_cast<std::int64_t>(to.size());
    if (first < 0 || first > m_Size || count > m_Size - first)
      m_State->RaiseMisuse("The blob of object " + std::to_string(m_Id) + " has " + std::to_string(m_Size) +
                           " bytes, and not " + std::to_string(count) + " from byte " +
                           std::to_string(first) + " on.");
    while (!to.empty()) {
      sto_BlobLayout::Piece const piece =
          sto_BlobLayout::FirstPiece(first, static_cast<std::int64_t>(to.size()));
      ReadPiece(piece, to.first(static_cast<std::size_t>(piece.m_Count)));
      to = to.subspan(static_cast<std::size_t>(piece.m_Count));
      first += piece.m_Count;
    }
  }

 private:
  void ReadPiece(sto_BlobLayout::Piece const& piece, std::span<std::byte> to) {
    std::int64_t const inBlock = sto_BlobLayout(m_Size).CountIn(piece.m_Block);
    if (piece.m_Count == inBlock) return m_Blocks.ReadInto(piece.m_Block, to);
    sto_ByteView const content = m_Blocks.Read(piece.m_Block);
    if (content.size() != static_cast<std::size_t>(inBlock))
      m_State->RaiseDamaged(m_Id, "block " + std::to_string(piece.m_Block) + " has another size");
    std::ranges::copy(content.subspan(static_cast<std::size_t>(piece.m_Offset), to.size()), to.begin());
  }

  std::shared_ptr<sto_InspectState> m_State;
  std::int64_t m_Id;
  std::int64_t m_Size = 0;
  sto_StoredBlocks m_Blocks;
};

sto_InspectedBlob::sto_InspectedBlob(std::unique_ptr<Reader> reader) noexcept : m_Reader(std::move(reader)) {}
sto_InspectedBlob::sto_InspectedBlob(sto_InspectedBlob&&) noexcept = default;
sto_InspectedBlob& sto_InspectedBlob::operator=(sto_InspectedBlob&&) noexcept = default;
sto_InspectedBlob::~sto_InspectedBlob() = default;

std::int64_t sto_InspectedBlob::Size() const noexcept {
  return m_Reader->Size();
}
void sto_InspectedBlob::Read(std::int64_t first, std::span<std::byte> to) {
  m_Reader->Read(first, to);
}

sto_InspectedBlob sto_Inspection::Blob(std::int64_t id) const {
  return sto_InspectedBlob(std::make_unique<sto_InspectedBlob::Reader>(m_State, id));
}
