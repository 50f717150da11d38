#include <sys/resource.h>

#include <algorithm>
#include <limits>

#include "persist/backend/cls_ReadObjects.h"
#include "store/format/sto_BlockCodec.h"
#include "store/format/sto_BlockKey.h"
#include "store/format/sto_Checksum.h"
#include "store/format/sto_ElementCodec.h"
#include "store/format/sto_IdCodec.h"
#include "store/format/sto_PackCodec.h"
#include "store/format/sto_RecordBuilder.h"
#include "store/sqlite/sto_SqliteDriver.h"
#include "tests/support/AllocationProbe.h"
#include "tests/support/store/StoreChild.h"
#include "tests/support/store/StoreNewFault.h"
#include "tests/support/store/StoreRows.h"
#include "tests/support/store/StoreTest.h"
#include "wrappers/cls_xp1DArrayList.h"

namespace {

/// Malicious stores with valid checksums.
class StoreHostile : public StoreTest {
 protected:
  static constexpr std::int64_t Id = 1;
  static constexpr unsigned int ListClass = 0x230001;

  void SetUp() override {
    Create();
    m_File = std::make_unique<SqlFile>(Path());
    RunSealed(*m_File, "INSERT INTO root VALUES('root', 1, 5, 0); UPDATE save SET next_object_id = 100;"
                       "INSERT INTO class VALUES(2293761, 800, 'cls_InternalList', 1, 0),"
                       "(7340033, 1, 'Scripted', 1, 0), (7340034, 1, 'Node', 1, 0)");
  }
  /// Gives object 1 a record that begins with its shape.
  void PutRecord(sto_Bytes const& record) { m_File->PutRow(Id, {0, sto_Format::OwnShape, record}); }
  void PutList(std::uint8_t type, int count, bool inBlocks, sto_Bytes elements = {}) {
    sto_RecordBuilder builder;
    builder.AddPart(ListClass, 800, Id);
    sto_ListHeader header;
    header.m_ElementType = type;
    header.m_Count = count;
    header.m_InBlocks = inBlocks;
    builder.SetList(header, std::move(elements));
    PutRecord(builder.ValuesWithShape());
  }
  void PutBlock(int index, sto_Bytes data) {
    std::int64_t const key = sto_BlockKey(Id, index);
    sto_BlockCodec::Seal(key, data);
    m_File->Run("REPLACE INTO stored_block VALUES(" + std::to_string(key) + ", ?)", data);
  }
  /// A part without the fields that it claims to have.
  static void PutPart(sto_ByteWriter& writer, std::size_t fieldCount) {
    writer.Varint(Scripted::TypeId());
    writer.ZigZag(1);
    writer.Varint(fieldCount);
  }
  /// Loading must be refused before allocating more than a multiple of the store's size.
  template <class List> void ExpectRefused() {
    AllocationProbe const probe;
    sto_Store store = Open(sto_Mode::ReadOnly);
    MessageOf(sto_ErrorKind::Damaged, [&] { static_cast<void>(store.Load<List>("root")); });
    EXPECT_LT(probe.Bytes(), 16U * 1024 * 1024);
  }

  std::unique_ptr<SqlFile> m_File;
};

TEST_F(StoreHostile, ListThatClaimsMoreElementsThanTheStoreHasBytesIsRefused) {
  constexpr int Count = std::numeric_limits<int>::max();
  int const last = (Count - 1) / sto_Format::BlockElementCount;
  PutList(sto_Format::ElementDouble, Count, true);
  PutBlock(0, sto_Bytes(8 * 2048));
  PutBlock(last, sto_Bytes(8 * (Count % 2048)));
  ExpectRefused<cls_xp1DArrayListDouble>();
  PutList(sto_Format::ElementString, Count, true);
  PutBlock(0, sto_Bytes(2048));
  PutBlock(last, sto_Bytes(Count % 2048));
  ExpectRefused<cls_xp1DArrayListString>();
}

TEST_F(StoreHostile, BlocksWithTooFewOrTooManyElementsAreRefused) {
  PutList(sto_Format::ElementInt, 3000, true);
  for (std::size_t const bytes : {0U, 4U, 4U * 2048 - 1, 4U * 2048 + 1, 4U * 2049}) {
    PutBlock(0, sto_Bytes(bytes));
    PutBlock(1, sto_Bytes(4 * (3000 - 2048)));
    ExpectRefused<cls_xp1DArrayListInt>();
  }
  PutBlock(0, sto_Bytes(4 * 2048));
  EXPECT_EQ(Open().Load<cls_xp1DArrayListInt>("root")->Count(), 3000);
}

TEST_F(StoreHostile, InlineListsWithTooFewOrTooManyBytesAreRefused) {
  for (std::size_t const bytes : {0U, 1U, 7U, 9U, 12U}) {
    PutList(sto_Format::ElementInt, 2, false, sto_Bytes(bytes));
    ExpectRefused<cls_xp1DArrayListInt>();
  }
  PutList(sto_Format::ElementInt, 0, false, sto_Bytes(1));
  ExpectRefused<cls_xp1DArrayListInt>();
}

TEST_F(StoreHostile, StringElementsWithAbsurdLengthsAreRefused) {
  for (std::uint64_t const length : {std::uint64_t{9}, std::uint64_t{1} << 32, std::uint64_t{1} << 63,
                                     std::numeric_limits<std::uint64_t>::max()}) {
    sto_Bytes elements;
    sto_ByteWriter(elements).Varint(length);
    PutList(sto_Format::ElementString, 1, false, elements);
    ExpectRefused<cls_xp1DArrayListString>();
  }
  PutList(sto_Format::ElementString, 1, false, sto_Bytes(20, std::byte{0xFF})); // endless varint as length
  ExpectRefused<cls_xp1DArrayListString>();
}

TEST_F(StoreHostile, IdsThatTheStoreHasNotGivenOutAreRefused) {
  // An identity tied to such an id would later meet the object that gets it.
  for (std::int64_t const id :
       {std::int64_t{99}, std::int64_t{100}, std::int64_t{5000}, sto_Format::MaxObjectId}) {
    sto_RecordBuilder builder;
    builder.AddPart(Scripted::TypeId(), 1, Id);
    builder.AddObject(0, {0, 0}, sto_Format::Reference, id);
    PutRecord(builder.ValuesWithShape());
    sto_Store store = Open();
    if (id < 100) {
      EXPECT_NE(store.Load<Scripted>("root"), nullptr);
      continue;
    }
    std::string const message =
        MessageOf(sto_ErrorKind::Damaged, [&] { static_cast<void>(store.Load<Scripted>("root")); });
    EXPECT_TRUE(Contains(message, std::to_string(id))) << message;
  }
}

TEST_F(StoreHostile, ObjectsThatHoldEachOtherForEverEndAtTheLimit) {
  sto_RecordBuilder builder;
  builder.AddPart(Node::TypeId(), 1, Id);
  RunSealed(*m_File, "INSERT INTO name VALUES(1, 'm_Held', 0)");
  builder.AddObject(0, {1, 0}, sto_Format::Object, Id);
  PutRecord(builder.ValuesWithShape());
  struct Owner {
    explicit Owner(cls_ReadVisitor const& visitor) {
      Owner const held(cls_ReadVisitor(visitor, cls_FieldHandle("m_Held"_cow)));
    }
  };
  sto_Store store = Open();
  MessageOf(sto_ErrorKind::Full, [&] { static_cast<void>(store.Load<Owner>("root")); });
}

TEST_F(StoreHostile, ShapeWithMorePartsOrFieldsThanTheLimitIsRefusedBeforeThereIsRoomForThem) {
  auto const header = [](sto_Bytes& bytes, std::size_t partCount, std::size_t fieldCount) {
    sto_ByteWriter writer(bytes);
    writer.U8(1); // the ids of the parts follow
    writer.Varint(partCount);
    PutPart(writer, fieldCount);
  };
  auto const load = [&](sto_Bytes bytes) {
    bytes.push_back(std::byte{sto_Format::ContentNone});
    for (bool const isOwn : {true, false}) {
      SCOPED_TRACE(isOwn);
      m_File->Run("DELETE FROM shape");
      if (isOwn) {
        PutRecord(bytes);
      } else {
        m_File->PutShape(1, bytes);
        m_File->PutRow(Id, {0, 1, {}});
      }
      sto_Store store = Open(sto_Mode::ReadOnly);
      long long const before = StoreNewFault::AskedBytes();
      MessageOf(sto_ErrorKind::Damaged, [&] { static_cast<void>(store.Load<Scripted>("root")); });
      EXPECT_LT(StoreNewFault::AskedBytes() - before, static_cast<long long>(4 * bytes.size() + 1'000'000));
    }
  };
  constexpr std::size_t Count = 2'100'000;
  sto_Bytes fields;
  header(fields, 1, Count);
  fields.resize(fields.size() + 2 * Count, std::byte{2}); // name 2, text
  load(fields);
  sto_Bytes parts;
  header(parts, Count / 7, 0);
  for (std::size_t i = 1; i < Count / 7; ++i) {
    sto_ByteWriter writer(parts);
    PutPart(writer, 0);
  }
  load(parts);
}

TEST_F(StoreHostile, ShapeThatClaimsTheMostPartsAndFieldsWithoutThemIsRefused) {
  for (std::size_t const partCount : {std::size_t{1}, sto_Format::MaxParts}) {
    sto_Bytes bytes;
    sto_ByteWriter writer(bytes);
    writer.U8(1);
    writer.Varint(partCount);
    PutPart(writer, sto_Format::MaxFields);
    bytes.resize(3 * sto_Format::MaxFields, std::byte{0xFF});
    sto_Record record;
    record.Stored() = {sto_Format::OwnShape, 0, true, std::move(bytes)};
    std::string problem;
    long long const before = StoreNewFault::AskedBytes();
    EXPECT_FALSE(record.Decode(Id, nullptr, problem));
    EXPECT_LT(StoreNewFault::AskedBytes() - before, 200'000);
  }
}

TEST_F(StoreHostile, RecordOfAnOlderFormatThatClaimsTheMostPartsAndFieldsIsRefused) {
  for (std::size_t const partCount : {std::size_t{1}, sto_Format::MaxParts}) {
    sto_Bytes bytes;
    sto_ByteWriter writer(bytes);
    writer.U8(sto_Format::RecordForm);
    writer.Varint(partCount);
    writer.Varint(Scripted::TypeId());
    writer.ZigZag(1);
    writer.Varint(Id);
    writer.Varint(sto_Format::MaxFields);
    bytes.resize(3 * sto_Format::MaxFields, std::byte{0xFF});
    sto_Seal(Id, bytes);
    sto_Record record;
    record.Stored() = {sto_StoredRecord::SelfDescribed, Scripted::TypeId(), true, std::move(bytes)};
    std::string problem;
    long long const before = StoreNewFault::AskedBytes();
    EXPECT_FALSE(record.Decode(Id, nullptr, problem));
    EXPECT_LT(StoreNewFault::AskedBytes() - before, 200'000);
  }
}

TEST_F(StoreHostile, ShapesWithNumbersFarApartTakeLittleMemoryOrAreRefused) {
  sto_RecordBuilder builder;
  builder.AddPart(Node::TypeId(), 1, Id);
  sto_Bytes shape;
  builder.Shape().Encode(shape);
  for (std::int64_t const number : {std::int64_t{1'000'000}, std::int64_t{1} << 40, sto_Format::MaxObjectId,
                                    std::numeric_limits<std::int64_t>::max()}) {
    SCOPED_TRACE(number);
    m_File->Run("DELETE FROM shape");
    m_File->PutShape(number, shape);
    m_File->PutRow(Id, {0, number, builder.Values()});
    AllocationProbe const probe;
    sto_Store store = Open(sto_Mode::ReadOnly);
    auto const load = [&] { static_cast<void>(store.Load<Node>("root")); };
    if (number <= 1'000'000)
      load();
    else
      MessageOf(sto_ErrorKind::Damaged, load);
    EXPECT_LT(probe.Bytes(), 100U * 1024 * 1024);
  }
}

TEST_F(StoreHostile, PackWhoseRecordsHaveShapesThatAreNotThereIsRefused) {
  sto_PackEntries entries{};
  sto_Bytes records;
  sto_ByteWriter(records).Number(sto_PackedChecksum(Id, {}));
  for (std::uint32_t const shape : {7U, 0U, 0xFFFFFFFFU}) {
    SCOPED_TRACE(shape);
    entries[Id] = {0, static_cast<std::uint32_t>(records.size()), shape};
    sto_Bytes pack;
    sto_EncodePack(0, 0, entries, records, pack);
    m_File->Run("REPLACE INTO pack VALUES(0, ?)", pack);
    sto_Store store = Open(sto_Mode::ReadOnly);
    std::string const message =
        MessageOf(sto_ErrorKind::Damaged, [&] { static_cast<void>(store.Load<Node>("root")); });
    EXPECT_TRUE(Contains(message, "Object 1 ")) << message;
    EXPECT_TRUE(shape == 0 || Contains(message, "shape " + std::to_string(shape))) << message;
  }
}

TEST_F(StoreHostile, ListWithABlockMissingInTheMiddleIsRefusedBeforeThereIsRoomForItsElements) {
  constexpr int Blocks = 1000;
  PutList(sto_Format::ElementString, Blocks * 2048, true);
  m_File->Run("BEGIN");
  for (int block = 0; block < Blocks; ++block)
    if (block != 500) PutBlock(block, sto_Bytes(2048));
  m_File->Run("COMMIT");
  AllocationProbe const probe;
  sto_Store store = Open(sto_Mode::ReadOnly);
  MessageOf(sto_ErrorKind::Damaged, [&] { static_cast<void>(store.Load<cls_xp1DArrayListString>("root")); });
  EXPECT_LT(probe.Bytes(), 1'000'000U);
  PutBlock(500, sto_Bytes(2048));
  EXPECT_EQ(Open().Load<cls_xp1DArrayListString>("root")->Count(), Blocks * 2048);
}

TEST_F(StoreHostile, WritingMorePartsOrFieldsThanTheLimitIsRefusedNamingTheObject) {
  sto_RecordBuilder builder;
  for (std::size_t i = 0; i < sto_Format::MaxParts; ++i) builder.AddPart(Scripted::TypeId(), 1, 7);
  std::string message = MessageOf(sto_ErrorKind::Full, [&] { builder.AddPart(1, 1, 8); });
  EXPECT_TRUE(Contains(message, "Object 7 ") && Contains(message, "1000")) << message;
  sto_Record record;
  std::string problem;
  auto const isDecoded = [&] {
    record.Stored() = {sto_Format::OwnShape, 0, true, builder.ValuesWithShape()};
    return record.Decode(7, nullptr, problem);
  };
  EXPECT_TRUE(isDecoded()) << problem;

  constexpr int InPart = 100;
  builder.Reset();
  auto const fill = [&](std::size_t part, int count) {
    for (int i = 0; i < count; ++i) builder.AddText(part, {0, i}, std::nullopt);
  };
  for (std::size_t part = 0; part < sto_Format::MaxFields / InPart; ++part) {
    builder.AddPart(Scripted::TypeId(), 1, 7);
    fill(part, InPart);
  }
  fill(0, InPart); // replaces the existing ones
  message = MessageOf(sto_ErrorKind::Full, [&] { builder.StartField(0, {0, InPart}, sto_Format::Bool); });
  EXPECT_TRUE(Contains(message, "Object 7 ") && Contains(message, "100000")) << message;
  EXPECT_TRUE(isDecoded()) << problem;
}

TEST_F(StoreHostile, ExhaustedIdsAreReportedAndNothingIsSaved) {
  SetNextObjectId(*m_File, std::to_string(sto_Format::MaxObjectId));
  sto_Store store = Open();
  store.Save("last", Node(1)); // takes the last id
  std::string const message = MessageOf(sto_ErrorKind::Full, [&] { store.Save("one more", Node(2)); });
  EXPECT_TRUE(Contains(message, "no object ids")) << message;
  EXPECT_EQ(store.Load<Node>("last")->m_Value, 1);
  EXPECT_FALSE(store.HasRoot("one more"));
}

TEST_F(StoreHostile, ListOfObjectsWithIdsThatTheStoreHasNotGivenOutIsRefused) {
  auto const load = [&] {
    sto_Store store = Open(sto_Mode::ReadOnly);
    struct Reader {
      explicit Reader(cls_ReadVisitor const& visitor) {
        std::unique_ptr<cls_ReadListObj> const list(visitor.Memento()->MakeReadListObj());
        list->Skip(list->Count() - 1);
        std::unique_ptr<cls_MementoRead> const element(list->Next());
      }
    };
    static_cast<void>(store.Load<Reader>("root"));
  };
  auto const ids = [](int count, std::int64_t last) {
    sto_Bytes bytes;
    sto_ByteWriter writer(bytes);
    sto_IdEncoder encoder(Id);
    for (int i = 1; i < count; ++i) encoder.Put(writer, 0);
    encoder.Put(writer, last);
    return bytes;
  };
  PutList(sto_Format::ElementObject, 3, false, ids(3, 0));
  load();
  for (std::int64_t const id : {std::int64_t{100}, std::int64_t{-1}, sto_Format::MaxObjectId + 1}) {
    PutList(sto_Format::ElementObject, 3, false, ids(3, id));
    MessageOf(sto_ErrorKind::Damaged, load);
    PutList(sto_Format::ElementObject, 2048, true);
    PutBlock(0, ids(2048, id));
    MessageOf(sto_ErrorKind::Damaged, load);
  }
  PutBlock(0, ids(2048, 0));
  load();
  PutBlock(0, ids(2047, 0));
  MessageOf(sto_ErrorKind::Damaged, load);
  PutList(sto_Format::ElementObject, std::numeric_limits<int>::max(), true);
  MessageOf(sto_ErrorKind::Damaged, load);
}

/// Appends a number as SQLite does: seven bits a byte, the highest first.
void PutVarint(sto_Bytes& bytes, std::uint64_t value) {
  int shift = 0;
  while (value >> (shift + 7) != 0) shift += 7;
  for (; shift >= 0; shift -= 7)
    bytes.push_back(static_cast<std::byte>((value >> shift & 0x7F) | (shift > 0 ? 0x80 : 0)));
}

/// Limits the memory that this process can map; not under sanitizers, because they map terabytes of their
/// own.
bool LimitMemory([[maybe_unused]] rlim_t bytes) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  return true;
#else
  rlimit const limit{bytes, bytes};
  return setrlimit(RLIMIT_AS, &limit) == 0;
#endif
}

TEST_F(StoreHostile, RowThatClaimsMoreBytesThanTheStoreHasIsRefusedBeforeMemoryIsTakenForIt) {
  constexpr std::size_t PageBytes = 512;
  constexpr std::uint64_t Payload = 600'000'000;
  m_File.reset();
  std::filesystem::remove(Path());
  sto_Options options;
  options.m_PageBytes = PageBytes;
  sto_SqliteDriver::Create(Path(), options);
  auto const root =
      static_cast<std::size_t>(Query("SELECT rootpage FROM sqlite_schema WHERE name = 'block'"));
  // A row with key 1 that claims to have most of its bytes in a chain of pages starting at page 2.
  constexpr std::int64_t Key = sto_Format::BlocksInRow;
  sto_Bytes cell;
  PutVarint(cell, Payload);
  PutVarint(cell, Key);
  constexpr std::size_t HeaderBytes = 7;
  std::size_t const start = cell.size();
  for (std::uint64_t const number :
       {std::uint64_t{HeaderBytes}, std::uint64_t{0}, 12 + 2 * (Payload - HeaderBytes)})
    PutVarint(cell, number);
  ASSERT_EQ(cell.size() - start, HeaderBytes);
  constexpr std::size_t Least = (PageBytes - 12) * 32 / 255 - 23;
  constexpr std::size_t Here = Least + (Payload - Least) % (PageBytes - 4);
  cell.resize(start + (Here <= PageBytes - 35 ? Here : Least));
  for (int const byte : {0, 0, 0, 2}) cell.push_back(static_cast<std::byte>(byte));
  std::size_t const at = PageBytes - cell.size();
  sto_Bytes page(PageBytes);
  page[0] = std::byte{13};
  page[4] = std::byte{1};
  page[5] = page[8] = static_cast<std::byte>(at >> 8);
  page[6] = page[9] = static_cast<std::byte>(at & 0xFF);
  std::ranges::copy(cell, page.begin() + static_cast<std::ptrdiff_t>(at));
  StoreBytes file = FileBytes(Path());
  std::ranges::copy(page, file.begin() + static_cast<std::ptrdiff_t>((root - 1) * PageBytes));
  WriteFile(Path(), {reinterpret_cast<char const*>(file.data()), file.size()});
  EXPECT_EQ(RunStoreChild([&] {
              if (!LimitMemory(500'000'000)) return 1; // less than the row claims
              std::unique_ptr<sto_Driver> const driver = sto_SqliteDriver::Open(Path(), true);
              driver->Begin({});
              sto_Bytes data;
              std::string const message =
                  MessageOf(sto_ErrorKind::Damaged, [&] { static_cast<void>(driver->ReadBlock(Key, data)); });
              return Contains(message, "600000000") || Contains(message, "599999993") ? 0 : 2;
            }),
            0);
}

} // namespace
