#include "store/inspect/sto_InspectedList.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "store/format/sto_BlockLayout.h"
#include "store/inspect/sto_ElementTypes.h"
#include "store/inspect/sto_InspectState.h"
#include "store/inspect/sto_Inspection.h"
#include "store/objects/sto_ObjectListReader.h"
#include "store/session/sto_StoredBlocks.h"

class sto_InspectedList::Reader {
 public:
  using Piece = sto_ListLayout::Piece;

  Reader(std::shared_ptr<sto_InspectState> state, std::int64_t id);

  [[nodiscard]] sto_ListHeader const& List() const noexcept { return m_List; }
  [[nodiscard]] std::string const& Unit() const noexcept { return m_Unit; }

  [[nodiscard]] sto_InspectedElements Read(std::int64_t first, std::int64_t count);
  void ReadNumbers(sto_InspectedType type, std::int64_t first, std::int64_t count, void* to);

 private:
  /// Misuse for a slice that is out of range.
  void CheckRange(std::int64_t first, std::int64_t count) const;
  void CheckHeader();
  [[noreturn]] void RaiseDamaged(int block) const;
  /// The content of a block, or what the record has.
  [[nodiscard]] sto_ByteView Content(int block);
  /// A reader of a block before its element `offset`.
  template <class Skip> [[nodiscard]] sto_ByteReader ReaderAt(Piece const& piece, Skip skip);
  /// Damaged if reading a piece has failed, or has not reached the end of its block although it should.
  void CheckEnd(Piece const& piece, sto_ByteReader const& reader) const;
  /// Calls `take(piece, done)` for the piece of each block; `done`: the elements before it.
  template <class Take> static void ForEachPiece(std::int64_t first, std::int64_t count, Take take);

  template <class T> void Numbers(std::int64_t first, std::int64_t count, T* to);
  template <class T> void Numbers(Piece const& piece, T* to);
  [[nodiscard]] std::vector<bool> Bools(std::int64_t first, std::int64_t count);
  [[nodiscard]] std::vector<sto_InspectedText> Texts(std::int64_t first, std::int64_t count);
  [[nodiscard]] std::vector<sto_InspectedId> Ids(std::int64_t first, std::int64_t count);

  std::shared_ptr<sto_InspectState> m_State;
  std::int64_t m_Id;
  sto_RecordRef m_Record; // m_List views it
  sto_ListHeader m_List;
  std::string m_Unit;
  sto_StoredBlocks m_Blocks;
  int m_Block = -1; // the one whose content is m_Content
  sto_ByteView m_Content;
};

sto_InspectedList::Reader::Reader(std::shared_ptr<sto_InspectState> state, std::int64_t id)
    : m_State(std::move(state)), m_Id(id), m_Record(m_State->Record(id)), m_Blocks(m_State->Session(), id) {
  if (!m_Record->List()) m_State->RaiseMisuse("Object " + std::to_string(id) + " has no list.");
  m_List = *m_Record->List();
  m_Unit = m_State->Session().Catalogue().NameOf(m_List.m_Extra.UnitId());
  CheckHeader();
}

void sto_InspectedList::Reader::CheckHeader() {
  if (!sto_HasWholeRows(m_List.m_Count, m_List.m_Width))
    m_State->RaiseDamaged(m_Id, "its list" + sto_UnevenRows(m_List.m_Count, m_List.m_Width));
  // A program may ask for room for all of them.
  if (m_List.m_InBlocks && !m_Blocks.HasList(m_List.m_Count, sto_ElementBytes(m_List.m_ElementType)))
    m_State->RaiseDamaged(m_Id, "its list says " + std::to_string(m_List.m_Count) +
                                    " elements, and blocks of them are missing");
}

void sto_InspectedList::Reader::CheckRange(std::int64_t first, std::int64_t count) const {
  static_cast<void>(m_State->Session());
  if (first >= 0 && count >= 0 && first <= m_List.m_Count && count <= m_List.m_Count - first) return;
  m_State->RaiseMisuse("The list of object " + std::to_string(m_Id) + " has " +
                       std::to_string(m_List.m_Count) + " elements, and not " + std::to_string(count) +
                       " from element " + std::to_string(first) + " on.");
}

void sto_InspectedList::Reader::RaiseDamaged(int block) const {
  m_State->RaiseDamaged(m_Id, m_List.m_InBlocks ? "its list, in block " + std::to_string(block)
                                                : "the elements of its list");
}

sto_ByteView sto_InspectedList::Reader::Content(int block) {
  if (!m_List.m_InBlocks) return m_List.m_Inline;
  if (block != m_Block) {
    m_Block = -1;
    m_Content = m_Blocks.Read(block);
    m_Block = block;
  }
  return m_Content;
}

template <class Skip> sto_ByteReader sto_InspectedList::Reader::ReaderAt(Piece const& piece, Skip skip) {
  sto_ByteReader reader(Content(piece.m_Block));
  for (int i = 0; i < piece.m_Offset; ++i) skip(reader);
  return reader;
}

void sto_InspectedList::Reader::CheckEnd(Piece const& piece, sto_ByteReader const& reader) const {
  bool const isAtEnd =
      piece.m_Offset + piece.m_Count == sto_ListLayout(m_List.m_Count).CountIn(piece.m_Block);
  if (reader.Failed() || (isAtEnd && reader.Remaining() != 0)) RaiseDamaged(piece.m_Block);
}

template <class Take>
void sto_InspectedList::Reader::ForEachPiece(std::int64_t first, std::int64_t count, Take take) {
  auto next = static_cast<int>(first);
  for (auto left = static_cast<int>(count); left > 0;) {
    Piece const piece = sto_ListLayout::FirstPiece(next, left);
    take(piece, static_cast<std::size_t>(next) - static_cast<std::size_t>(first));
    next += piece.m_Count;
    left -= piece.m_Count;
  }
}

template <class T> void sto_InspectedList::Reader::Numbers(Piece const& piece, T* to) {
  auto const inBlock = static_cast<std::size_t>(sto_ListLayout(m_List.m_Count).CountIn(piece.m_Block));
  std::span<T> const wanted(to, static_cast<std::size_t>(piece.m_Count));
  constexpr bool IsPlain = sto_IsStoredAsItIs<typename sto_CodedAs<T>::Type>;
  if (IsPlain && m_List.m_InBlocks && wanted.size() == inBlock) {
    m_Block = -1;
    return m_Blocks.ReadInto(piece.m_Block, std::as_writable_bytes(wanted));
  }
  sto_ByteView const content = Content(piece.m_Block);
  if (content.size() != inBlock * sizeof(T)) RaiseDamaged(piece.m_Block);
  sto_ByteView const bytes =
      content.subspan(static_cast<std::size_t>(piece.m_Offset) * sizeof(T), wanted.size_bytes());
  if constexpr (IsPlain) {
    std::ranges::copy(bytes, std::as_writable_bytes(wanted).begin());
  } else {
    sto_ByteReader reader(bytes);
    for (T& number : wanted) number = sto_DecodeNumber<T>(reader);
  }
}

template <class T> void sto_InspectedList::Reader::Numbers(std::int64_t first, std::int64_t count, T* to) {
  ForEachPiece(first, count, [&](Piece const& piece, std::size_t done) { Numbers(piece, to + done); });
}

std::vector<bool> sto_InspectedList::Reader::Bools(std::int64_t first, std::int64_t count) {
  std::vector<bool> bools;
  bools.reserve(static_cast<std::size_t>(count));
  auto const decode = [](sto_ByteReader& reader) { return sto_DecodeNumber<bool>(reader); };
  ForEachPiece(first, count, [&](Piece const& piece, std::size_t) {
    sto_ByteReader reader = ReaderAt(piece, decode);
    for (int i = 0; i < piece.m_Count; ++i) bools.push_back(decode(reader));
    CheckEnd(piece, reader);
  });
  return bools;
}

std::vector<sto_InspectedText> sto_InspectedList::Reader::Texts(std::int64_t first, std::int64_t count) {
  std::vector<sto_InspectedText> texts;
  texts.reserve(static_cast<std::size_t>(count));
  auto const decode = [](sto_ByteReader& reader) { return sto_ElementCodec<cow_String>::Decode(reader); };
  ForEachPiece(first, count, [&](Piece const& piece, std::size_t) {
    sto_ByteReader reader = ReaderAt(piece, decode);
    for (int i = 0; i < piece.m_Count; ++i) {
      cow_String const text = decode(reader);
      texts.push_back(text.HasText() ? sto_InspectedText(text.View()) : sto_InspectedText());
    }
    CheckEnd(piece, reader);
  });
  return texts;
}

std::vector<sto_InspectedId> sto_InspectedList::Reader::Ids(std::int64_t first, std::int64_t count) {
  std::vector<sto_InspectedId> ids;
  ids.reserve(static_cast<std::size_t>(count));
  std::vector<std::int64_t> inBlock;
  ForEachPiece(first, count, [&](Piece const& piece, std::size_t) {
    if (!sto_ReadIds(m_State->Session(), m_Id, m_List, Content(piece.m_Block),
                     sto_ListLayout(m_List.m_Count).CountIn(piece.m_Block), inBlock))
      RaiseDamaged(piece.m_Block);
    for (std::int64_t const id : std::span(inBlock).subspan(static_cast<std::size_t>(piece.m_Offset),
                                                            static_cast<std::size_t>(piece.m_Count)))
      ids.push_back({id});
  });
  return ids;
}

sto_InspectedElements sto_InspectedList::Reader::Read(std::int64_t first, std::int64_t count) {
  CheckRange(first, count);
  if (m_List.m_ElementType == sto_Format::ElementBool) return Bools(first, count);
  if (m_List.m_ElementType == sto_Format::ElementString) return Texts(first, count);
  if (m_List.m_ElementType == sto_Format::ElementObject) return Ids(first, count);
  sto_InspectedElements elements;
  sto_WithNumberType(m_List.m_ElementType, [&]<class T>(T const*) {
    if constexpr (!std::is_same_v<T, bool>) {
      std::vector<T> numbers(static_cast<std::size_t>(count));
      Numbers(first, count, numbers.data());
      elements = std::move(numbers);
    }
  });
  return elements;
}

void sto_InspectedList::Reader::ReadNumbers(sto_InspectedType type, std::int64_t first, std::int64_t count,
                                            void* to) {
  CheckRange(first, count);
  if (static_cast<std::uint8_t>(type) != m_List.m_ElementType)
    m_State->RaiseMisuse("The list of object " + std::to_string(m_Id) + " is read as one of " +
                         sto_ElementTypeName(static_cast<std::uint8_t>(type)) + ", but its elements are " +
                         sto_ElementTypeName(m_List.m_ElementType) + ".");
  sto_WithNumberType(m_List.m_ElementType,
                     [&]<class T>(T const*) { Numbers(first, count, static_cast<T*>(to)); });
}

sto_InspectedList::sto_InspectedList(std::unique_ptr<Reader> reader) noexcept : m_Reader(std::move(reader)) {}
sto_InspectedList::sto_InspectedList(sto_InspectedList&&) noexcept = default;
sto_InspectedList& sto_InspectedList::operator=(sto_InspectedList&&) noexcept = default;
sto_InspectedList::~sto_InspectedList() = default;

sto_InspectedType sto_InspectedList::Type() const noexcept {
  return static_cast<sto_InspectedType>(m_Reader->List().m_ElementType);
}
std::string sto_InspectedList::TypeName() const {
  return sto_ElementTypeName(m_Reader->List().m_ElementType);
}
std::int64_t sto_InspectedList::Count() const noexcept {
  return m_Reader->List().m_Count;
}
std::vector<std::int64_t> sto_InspectedList::Row() const {
  sto_ListHeader const& list = m_Reader->List();
  if (list.m_Extra.Rank() != 0) return list.m_Extra.Row();
  return list.m_Width > 1 ? std::vector<std::int64_t>{list.m_Width} : std::vector<std::int64_t>();
}
std::string const& sto_InspectedList::Unit() const noexcept {
  return m_Reader->Unit();
}
sto_InspectedElements sto_InspectedList::Read(std::int64_t first, std::int64_t count) {
  return m_Reader->Read(first, count);
}
void sto_InspectedList::ReadNumbers(sto_InspectedType type, std::int64_t first, std::int64_t count,
                                    void* to) {
  m_Reader->ReadNumbers(type, first, count, to);
}

sto_InspectedList sto_Inspection::List(std::int64_t id) const {
  return sto_InspectedList(std::make_unique<sto_InspectedList::Reader>(m_State, id));
}
