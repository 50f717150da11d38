#include "store/inspect/sto_InspectedMap.h"

#include <optional>
#include <utility>

#include "store/format/sto_MapCodec.h"
#include "store/format/sto_MapWalk.h"
#include "store/inspect/sto_ElementTypes.h"
#include "store/inspect/sto_InspectState.h"
#include "store/inspect/sto_Inspection.h"
#include "store/session/sto_MapChunks.h"

namespace {

template <class T> T Decode(sto_ByteView bytes) {
  sto_ByteReader reader(bytes);
  return sto_ElementCodec<T>::Decode(reader);
}

sto_InspectedText TextOf(sto_ByteView bytes) {
  auto const text = Decode<cow_String>(bytes);
  return text.HasText() ? sto_InspectedText(text.View()) : sto_InspectedText();
}

/// The encoded value of an element type other than objects and texts.
sto_InspectedValue NumberOf(std::uint8_t type, sto_ByteView bytes) {
  sto_InspectedValue value;
  sto_WithNumberType(type, [&]<class T>(T const*) {
    T const number = sto_DecodeNumber<T>(bytes);
    if constexpr (sto_IsComplex<T>)
      value = std::complex<double>(number);
    else if constexpr (std::is_same_v<T, bool>)
      value = number;
    else if constexpr (std::is_floating_point_v<T>)
      value = static_cast<double>(number);
    else if constexpr (std::is_signed_v<T>)
      value = static_cast<std::int64_t>(number);
    else
      value = static_cast<std::uint64_t>(number);
  });
  return value;
}

} // namespace

class sto_InspectedMap::Reader {
 public:
  Reader(std::shared_ptr<sto_InspectState> state, std::int64_t id)
      : m_State(std::move(state)), m_Record(m_State->Record(id)), m_Chunks(m_State->Session(), id) {
    if (!m_Record->Map()) m_State->RaiseMisuse("Object " + std::to_string(id) + " has no map.");
    m_Map = *m_Record->Map();
    sto_ChunkNumbers numbers;
    if (m_Map.m_InChunks)
      m_Directory = m_Chunks.ReadDirectory(m_Map, numbers);
    else
      m_Walk.emplace(m_Map);
  }

  [[nodiscard]] sto_MapHeader const& Map() const noexcept { return m_Map; }

  bool Next() {
    static_cast<void>(m_State->Session());
    m_IsAtEntry = false;
    while (!m_Walk || !m_Walk->Next()) {
      if (m_NextChunk == m_Directory.m_Chunks.size()) return false;
      sto_Chunk const& chunk = m_Directory.m_Chunks[m_NextChunk];
      m_Walk.emplace(sto_MapOfChunk(m_Map, chunk.m_Count, m_Chunks.Read(m_Map, chunk)));
      ++m_NextChunk;
    }
    m_IsAtEntry = true;
    return true;
  }

  [[nodiscard]] sto_InspectedKey Key() const {
    CheckEntry();
    sto_ByteReader reader(m_Walk->Key());
    switch (m_Map.m_KeyType) {
    case sto_Format::KeyString:
      return TextOf(m_Walk->Key());
    case sto_Format::KeyUInt64:
      return sto_KeyCodec<std::uint64_t>::Decode(reader);
    default:
      return sto_KeyCodec<std::int64_t>::Decode(reader);
    }
  }
  [[nodiscard]] sto_InspectedValue Value() const {
    CheckEntry();
    sto_ByteView const value = m_Walk->Value();
    if (m_Map.m_IsTable) return sto_ByteReader(value).ZigZag();
    if (m_Map.m_ElementType == sto_Format::ElementString) return TextOf(value);
    if (m_Map.m_ElementType == sto_Format::ElementObject)
      return sto_InspectedId{static_cast<std::int64_t>(m_Walk->ObjectId())};
    return NumberOf(m_Map.m_ElementType, value);
  }

 private:
  void CheckEntry() const {
    static_cast<void>(m_State->Session());
    if (!m_IsAtEntry) m_State->RaiseMisuse("A map that is inspected is at no entry: call Next.");
  }

  std::shared_ptr<sto_InspectState> m_State;
  sto_RecordRef m_Record; // m_Map views it
  sto_MapChunks m_Chunks;
  sto_MapHeader m_Map;
  sto_ChunkDirectory m_Directory; // empty if the entries are in the record
  std::size_t m_NextChunk = 0;
  std::optional<sto_MapWalk> m_Walk; // of the chunk, or of the record
  bool m_IsAtEntry = false;
};

sto_InspectedMap::sto_InspectedMap(std::unique_ptr<Reader> reader) noexcept : m_Reader(std::move(reader)) {}
sto_InspectedMap::sto_InspectedMap(sto_InspectedMap&&) noexcept = default;
sto_InspectedMap& sto_InspectedMap::operator=(sto_InspectedMap&&) noexcept = default;
sto_InspectedMap::~sto_InspectedMap() = default;

std::string sto_InspectedMap::TypeName() const {
  return sto_CollectionShape::Of(m_Reader->Map()).Name();
}
sto_InspectedType sto_InspectedMap::ValueType() const noexcept {
  return m_Reader->Map().m_IsTable ? sto_InspectedType::Int32
                                   : static_cast<sto_InspectedType>(m_Reader->Map().m_ElementType);
}
std::int64_t sto_InspectedMap::Count() const noexcept {
  return m_Reader->Map().m_Count;
}
bool sto_InspectedMap::Next() {
  return m_Reader->Next();
}
sto_InspectedKey sto_InspectedMap::Key() const {
  return m_Reader->Key();
}
sto_InspectedValue sto_InspectedMap::Value() const {
  return m_Reader->Value();
}

sto_InspectedMap sto_Inspection::Map(std::int64_t id) const {
  return sto_InspectedMap(std::make_unique<sto_InspectedMap::Reader>(m_State, id));
}
