#include "tests/fuzz/fuzz_Forms.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "store/format/sto_BlockCodec.h"
#include "store/format/sto_BlockRow.h"
#include "store/format/sto_ChangeList.h"
#include "store/format/sto_Checksum.h"
#include "store/format/sto_ChunkDirectory.h"
#include "store/format/sto_Compression.h"
#include "store/format/sto_IdCodec.h"
#include "store/format/sto_MapWalk.h"
#include "store/format/sto_NestedValue.h"
#include "store/format/sto_OldRecord.h"
#include "store/format/sto_PackCodec.h"
#include "store/format/sto_Record.h"
#include "store/format/sto_RecordBuilder.h"
#include "store/format/sto_RecordIds.h"
#include "store/format/sto_ShapeTable.h"

namespace {

constexpr std::int64_t Id = 1000;

void Expect(bool holds, char const* what) {
  if (holds) return;
  std::fprintf(stderr, "fuzz: %s\n", what);
  std::abort();
}

sto_Bytes Copy(sto_ByteView bytes) {
  return {bytes.begin(), bytes.end()};
}

bool IsSame(sto_Field const& a, sto_Field const& b) {
  bool const holdsObject = a.m_Tag == sto_Format::Object || a.m_Tag == sto_Format::Reference;
  return a.m_Key == b.m_Key && a.m_Tag == b.m_Tag && std::ranges::equal(a.m_Payload, b.m_Payload) &&
         (a.m_Tag != sto_Format::Nested || *a.m_Type == *b.m_Type) &&
         (!holdsObject || (a.m_ObjectId == b.m_ObjectId && a.m_Code == b.m_Code));
}

bool IsSame(sto_Part const& a, sto_Part const& b) {
  return a.m_ClassId == b.m_ClassId && a.m_Version == b.m_Version && a.m_Id == b.m_Id &&
         std::ranges::equal(a.m_Fields, b.m_Fields,
                            [](sto_Field const& x, sto_Field const& y) { return IsSame(x, y); });
}

bool IsSame(sto_ListHeader const& a, sto_ListHeader const& b) {
  return a.m_ElementType == b.m_ElementType && a.m_Width == b.m_Width && a.m_Count == b.m_Count &&
         a.m_InBlocks == b.m_InBlocks && a.m_HasFixedIds == b.m_HasFixedIds && a.m_Extra == b.m_Extra &&
         std::ranges::equal(a.m_Inline, b.m_Inline);
}

bool IsSame(sto_MapHeader const& a, sto_MapHeader const& b) {
  return a.m_IsTable == b.m_IsTable && a.m_KeyType == b.m_KeyType && a.m_ElementType == b.m_ElementType &&
         a.m_InChunks == b.m_InChunks && a.m_Count == b.m_Count &&
         std::ranges::equal(a.m_Entries, b.m_Entries);
}

template <class Header> bool IsSame(std::optional<Header> const& a, std::optional<Header> const& b) {
  return a.has_value() == b.has_value() && (!a || IsSame(*a, *b));
}

bool IsSame(sto_Record const& a, sto_Record const& b) {
  return IsSame(a.List(), b.List()) && IsSame(a.Map(), b.Map()) &&
         std::ranges::equal(a.Parts(), b.Parts(),
                            [](sto_Part const& x, sto_Part const& y) { return IsSame(x, y); });
}

/// Whether a part has a key twice, which no builder makes.
bool HasKeyTwice(sto_Record const& record) {
  for (sto_Part const& part : record.Parts())
    for (auto field = part.m_Fields.begin(); field != part.m_Fields.end(); ++field)
      if (std::find_if(std::next(field), part.m_Fields.end(), [&](sto_Field const& later) {
            return later.m_Key == field->m_Key;
          }) != part.m_Fields.end())
        return true;
  return false;
}

void Build(sto_Record const& record, sto_RecordBuilder& builder) {
  for (sto_Part const& part : record.Parts()) {
    std::size_t const index = builder.AddPart(part.m_ClassId, part.m_Version, part.m_Id);
    for (sto_Field const& field : part.m_Fields)
      builder.AddDecoded(index, field.m_Key, field, field.m_ObjectId);
  }
  if (record.List()) builder.SetList(*record.List(), Copy(record.List()->m_Inline));
  if (record.Map()) builder.SetMap(*record.Map(), Copy(record.Map()->m_Entries));
}

/// Reads a nested value to its end, or as many items as there are left to read.
void ReadNested(sto_NestedValue const& value, std::size_t& left) {
  if (value.Kind() < sto_Format::NestedStruct) return;
  std::size_t items = 0;
  sto_NestedItems i = value.Items();
  for (; left > 0 && i.Next(); ++items) {
    --left;
    ReadNested(i.Value(), left);
  }
  Expect(left == 0 || items == value.Count(), "a nested value has another number of items");
}

/// Nested values are read, their ids named, and replaced by themselves.
void TryNested(sto_Record const& record) {
  for (sto_Part const& part : record.Parts())
    for (sto_Field const& field : part.m_Fields) {
      if (field.m_Tag != sto_Format::Nested) continue;
      std::size_t left = 100'000; // elements without bytes may be more
      ReadNested({*field.m_Type, field.m_Payload, Id}, left);
      sto_ForEachId(field, Id, [&](std::uint8_t, std::int64_t id) {
        Expect(id > 0 && id <= record.GreatestId(), "a nested value has an impossible id");
      });
      sto_Bytes const same =
          sto_MapNestedIds(field, Id, Id, [](std::uint8_t, std::int64_t id) { return id; });
      Expect(sto_IsNestedValue(*field.m_Type, same, Id), "a nested value with other ids is damaged");
    }
}

/// A record that decodes is built again, and what was built decodes to the same.
void TryAgain(sto_Record const& record) {
  TryNested(record);
  if (HasKeyTwice(record)) return;
  sto_RecordBuilder builder;
  Build(record, builder);
  sto_Record again;
  again.Stored() = {sto_Format::OwnShape, 0, true, builder.ValuesWithShape()};
  std::string problem;
  Expect(again.Decode(Id, nullptr, problem), "what was decoded and built again does not decode");
  Expect(IsSame(record, again), "what was decoded and built again is something else");
}

void TryRecord(sto_ByteView bytes) {
  sto_Record record;
  record.Stored() = {};
  record.Stored().m_Shape = sto_Format::OwnShape;
  record.Stored().m_Bytes = Copy(bytes);
  std::string problem;
  if (record.Decode(Id, nullptr, problem)) TryAgain(record);
}

void TryOldRecord(sto_ByteView bytes) {
  sto_Record record;
  record.Stored().m_Shape = sto_StoredRecord::SelfDescribed;
  record.Stored().m_ClassId = 0x650001;
  record.Stored().m_Bytes = Copy(bytes);
  sto_Seal(static_cast<std::uint64_t>(Id), record.Stored().m_Bytes);
  std::string problem;
  if (record.Decode(Id, nullptr, problem)) TryAgain(record);
}

void TryShape(sto_ByteView bytes) {
  sto_ByteReader reader(bytes);
  sto_Shape shape;
  if (!shape.Decode(reader)) return;
  sto_Bytes encoded;
  shape.Encode(encoded);
  sto_ByteReader second(encoded);
  sto_Shape again;
  Expect(again.Decode(second) && again == shape, "an encoded shape decodes to another");
  sto_ShapeTable table;
  Expect(table.Take(7, encoded) && table.Find(7)->m_Shape == shape, "the table does not take a shape");
}

/// Puts a right checksum behind the header of a pack, wherever it ends.
void TryPack(sto_ByteView bytes) {
  constexpr std::int64_t Key = 31;
  constexpr std::size_t MaxHeaderBytes = 600;
  for (std::size_t header = 4; header <= std::min(bytes.size(), MaxHeaderBytes); ++header) {
    sto_Bytes data = Copy(bytes.first(header));
    sto_ByteWriter writer(data);
    writer.Number(sto_PackedChecksum(Key, bytes.first(header)));
    writer.Raw(bytes.data() + header, bytes.size() - header);
    sto_DecodedPack pack;
    if (!sto_DecodePack(Key, data, pack)) continue;
    for (sto_PackEntry const& entry : pack.m_Entries)
      Expect(std::size_t{entry.m_Offset} + entry.m_SizeBytes <= pack.m_Records.size(),
             "an entry of a pack is outside of it");
    sto_Bytes again;
    sto_EncodePack(Key, pack.m_Save, pack.m_Entries, pack.m_Records, again);
    sto_DecodedPack second;
    Expect(sto_DecodePack(Key, again, second) && second.m_Entries == pack.m_Entries &&
               std::ranges::equal(second.m_Records, pack.m_Records),
           "an encoded pack decodes to another");
  }
}

void TryIds(sto_ByteView bytes) {
  if (bytes.empty()) return;
  auto const count = std::to_integer<int>(bytes.front());
  std::vector<std::int64_t> ids;
  if (!sto_DecodeIds(bytes.subspan(1), count, Id, false, ids)) return;
  sto_Bytes encoded;
  sto_ByteWriter writer(encoded);
  sto_IdEncoder encoder(Id);
  for (std::int64_t const id : ids) encoder.Put(writer, id);
  std::vector<std::int64_t> again;
  // Distances wrap around, so one of them may lead to the number that says "no object".
  if (std::ranges::find(ids, 0) == ids.end())
    Expect(sto_DecodeIds(encoded, count, Id, false, again) && again == ids, "encoded ids decode to others");
}

void TryCompression(sto_ByteView bytes) {
  if (bytes.size() < 3) return;
  auto const codec = static_cast<sto_Compression>(std::to_integer<std::uint8_t>(bytes[0]) % 4);
  auto const width = std::to_integer<std::size_t>(bytes[1]) % 17;
  auto const size = std::to_integer<std::size_t>(bytes[2]) * 64;
  sto_Compressor compressor;
  sto_Bytes content(size);
  static_cast<void>(compressor.Decompress(codec, bytes.subspan(3), std::max<std::size_t>(width, 1), content));
  sto_Bytes stored;
  sto_ByteView const original = bytes.subspan(3);
  sto_Compression const chosen = compressor.Compress(original, std::max<std::size_t>(width, 1), stored);
  sto_Bytes again(original.size());
  Expect(compressor.Decompress(chosen, stored, std::max<std::size_t>(width, 1), again) &&
             std::ranges::equal(again, original),
         "compressed bytes do not come back");
}

/// Puts a right checksum behind the end of a block, whatever its codec says.
void TryBlock(sto_ByteView bytes) {
  if (bytes.empty()) return;
  constexpr std::int64_t Key = (Id << 20) + 3;
  constexpr std::uint64_t SeedStep = 0x9E3779B97F4A7C15;
  auto const codec = std::to_integer<std::uint8_t>(bytes.back());
  sto_Bytes stored = Copy(bytes);
  sto_ByteWriter(stored).Number(
      sto_Checksum(static_cast<std::uint64_t>(Key) + codec * SeedStep, bytes.first(bytes.size() - 1)));
  Expect(sto_BlockCodec::IsSound(Key, stored), "a right checksum does not fit");
  static_cast<void>(sto_BlockCodec::ContentHash(stored));
  sto_BlockCodec blocks;
  sto_Bytes room;
  std::optional<sto_ByteView> const content = blocks.Open(stored, room);
  if (!content) return;
  Expect(sto_BlockCodec::ContentBytes(stored) == content->size(), "a block has another size than it says");
  sto_Bytes again = Copy(*content);
  blocks.SealCompressed(Key, again, 8);
  sto_Bytes roomOfAgain;
  std::optional<sto_ByteView> const second = blocks.Open(again, roomOfAgain);
  Expect(second && std::ranges::equal(*content, *second), "the content of a block does not come back");
}

/// A row that was taken apart and put together has the same blocks.
void TryBlockRow(sto_ByteView bytes) {
  sto_BlockRow row(bytes);
  sto_BlockRow again;
  for (int slot = sto_BlockRow::Blocks - 1; slot >= 0; --slot) again.Put(slot, row.Find(slot));
  Expect(std::ranges::equal(row.Stored(), again.Stored()), "a row that is put together is another one");
  sto_BlockRow const second(again.Stored());
  for (int slot = 0; slot < sto_BlockRow::Blocks; ++slot)
    Expect(std::ranges::equal(row.Find(slot), second.Find(slot)), "a row has lost a block");
}

/// A directory in a record, or a page; and the entries of a chunk.
void TryChunks(sto_ByteView bytes) {
  if (bytes.size() < 3) return;
  sto_MapHeader map;
  map.m_KeyType = static_cast<std::uint8_t>(1 + std::to_integer<int>(bytes[0]) % 4);
  map.m_ElementType = std::to_integer<std::uint8_t>(bytes[1]) % 2 == 0 ? sto_Format::ElementObject
                                                                       : sto_Format::ElementDouble;
  map.m_InChunks = true;
  map.m_Count = std::to_integer<int>(bytes[2]);
  map.m_Entries = bytes.subspan(3);
  if (std::optional<sto_ChunkDirectory> directory = sto_DecodeDirectory(map)) {
    sto_ChunkNumbers numbers;
    if (directory->m_Pages.empty() && directory->IsWhole(map, numbers)) {
      sto_Bytes const encoded = directory->Encode(numbers, [](int, sto_Bytes&) {});
      sto_MapHeader same = map;
      same.m_Entries = encoded;
      std::optional<sto_ChunkDirectory> const again = sto_DecodeDirectory(same);
      Expect(again && (!again->m_Pages.empty() || again->m_Chunks.size() == directory->m_Chunks.size()),
             "an encoded directory decodes to another");
    }
  }
  sto_ChunkDirectory paged;
  static_cast<void>(paged.AddPage({}, map.m_Entries));
  map.m_InChunks = false;
  sto_MapWalk walk(map);
  int entries = 0;
  while (walk.Next()) ++entries;
  Expect(!walk.IsComplete() || entries == map.m_Count, "a chunk has another number of entries");
}

void TryChanges(sto_ByteView bytes) {
  sto_ChangeList changes;
  if (!sto_DecodeChanges(bytes, changes)) return;
  sto_Bytes encoded;
  sto_EncodeChanges(changes, encoded);
  sto_ChangeList again;
  Expect(sto_DecodeChanges(encoded, again) && again == changes, "encoded changes decode to others");
}

} // namespace

void fuzz_Try(std::span<std::uint8_t const> input) {
  if (input.empty()) return;
  sto_ByteView const bytes = std::as_bytes(input.subspan(1));
  switch (input.front() % 10) {
  case 0:
    return TryRecord(bytes);
  case 1:
    return TryOldRecord(bytes);
  case 2:
    return TryShape(bytes);
  case 3:
    return TryPack(bytes);
  case 4:
    return TryIds(bytes);
  case 5:
    return TryCompression(bytes);
  case 6:
    return TryBlock(bytes);
  case 7:
    return TryBlockRow(bytes);
  case 8:
    return TryChunks(bytes);
  default:
    return TryChanges(bytes);
  }
}
