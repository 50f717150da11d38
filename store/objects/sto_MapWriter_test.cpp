#include "store/objects/sto_MapWriter.h"

#include "store/format/sto_MapWalk.h"
#include "store/sto_Proxy.h"
#include "tests/support/store/StoreChunks.h"

namespace {

using Entries = std::vector<std::pair<cow_String, int>>;
using Pairs = std::vector<std::pair<int, int>>;

/// Maps and int tables in chunks that are written and read through visitors.
class StoreChunkedMap : public StoreChunkTest {
 protected:
  /// Saves a map under one identity.
  void Save(Entries const& entries) {
    m_Notes.Clear();
    m_Object.m_Write = [&](cls_WriteVisitor const& visitor) {
      auto const map = WriteIn(visitor, "m_Any", MapClass, m_Uid);
      auto const writer = Own(map->MakeWriteMapString2Prim(static_cast<int const*>(nullptr)));
      for (auto const& [key, value] : entries) writer->Insert(key, value);
    };
    m_Store->Save("root", m_Object);
  }
  void SaveTable(Pairs const& pairs) {
    m_Notes.Clear();
    m_Object.m_Write = [&](cls_WriteVisitor const& visitor) {
      auto const map = WriteIn(visitor, "m_Any", MapClass, m_Uid);
      auto const writer = Own(map->MakeWriteIntTableInt());
      for (auto const& [key, value] : pairs) writer->Insert(key, value);
    };
    m_Store->Save("root", m_Object);
  }
  static Entries Load(sto_Store& store) {
    Entries entries;
    static_cast<void>(LoadFields(store, [&](cls_ReadVisitor const& visitor) {
      auto const map = ReadIn(visitor, "m_Any");
      auto const reader = Own(map->MakeReadMapString2Prim(static_cast<int*>(nullptr)));
      int const count = reader->Count();
      while (reader->More() != 0) {
        int const value = reader->Next();
        cow_String key;
        reader->Key(key);
        entries.emplace_back(key, value);
      }
      EXPECT_EQ(static_cast<int>(entries.size()), count);
    }));
    return entries;
  }
  static Pairs LoadTable(sto_Store& store) {
    Pairs pairs;
    static_cast<void>(LoadFields(store, [&](cls_ReadVisitor const& visitor) {
      auto const table = Own(visitor.Memento()->MakeFieldReadIntTableInt(Field("m_Any")));
      while (table->More() != 0) {
        int const value = table->Next();
        int key = 0;
        table->Key(key);
        pairs.emplace_back(key, value);
      }
    }));
    return pairs;
  }
  void ExpectStored(Entries const& entries) {
    EXPECT_EQ(Load(*m_Store), entries);
    sto_Store other = Open(sto_Mode::ReadOnly);
    EXPECT_EQ(Load(other), entries);
    std::int64_t const id = MapId();
    std::vector<int> numbers;
    for (sto_Chunk const& chunk : Directory(id).m_Chunks) numbers.push_back(chunk.m_Number);
    for (sto_Chunk const& page : Directory(id).m_Pages) numbers.push_back(page.m_Number);
    std::ranges::sort(numbers);
    EXPECT_EQ(StoredNumbers(id), numbers);
  }
  static Entries Ascending(int count) {
    Entries entries;
    for (int i = 0; i < count; ++i) entries.emplace_back(LongKey(2 * i, 100), i);
    return entries;
  }

  Scripted m_Object;
  cls_Uid const m_Uid;
};

TEST_F(StoreChunkedMap, UnchangedMapSavedAgainWritesNothing) {
  for (bool const ascends : {true, false}) {
    Entries entries = Ascending(3000);
    if (!ascends) std::ranges::reverse(entries);
    Save(entries);
    EXPECT_GT(m_Notes.m_WrittenBlocks.size(), 20U);
    ASSERT_EQ(Directory(MapId()).HasKeys(), ascends);
    Save(entries);
    EXPECT_EQ(m_Notes.WrittenBytes(), 0U) << ascends;
    ExpectStored(entries);
  }
}

TEST_F(StoreChunkedMap, OneChangedAddedOrRemovedEntryWritesOneChunk) {
  Entries entries = Ascending(10'000);
  Save(entries);
  ASSERT_GT(Directory(MapId()).m_Pages.size(), 1U);
  auto const expectOneChunk = [&](char const* what) {
    SCOPED_TRACE(what);
    Save(entries);
    EXPECT_LE(m_Notes.m_WrittenBlocks.size(), 2U) << "a chunk and a page of the directory";
    EXPECT_GE(m_Notes.m_WrittenBlocks.size(), 1U);
    EXPECT_LE(m_Notes.WrittenBytes(), 65'536U);
    ExpectStored(entries);
  };
  entries[5000].second = -1;
  expectOneChunk("changed");
  entries.insert(entries.begin() + 5000, {LongKey(9999, 100), 7});
  expectOneChunk("added");
  entries.erase(entries.begin() + 2000);
  expectOneChunk("removed");
  entries.erase(entries.begin());
  expectOneChunk("the first one removed");
  entries.insert(entries.begin(), {cow_String("0"), 1});
  expectOneChunk("a new first one");
  entries.emplace_back(cow_String("9"), 1);
  expectOneChunk("a new last one");
}

TEST_F(StoreChunkedMap, ChangedValueOfAMapInAnotherOrderWritesOneChunk) {
  Entries entries = Ascending(3000);
  std::ranges::reverse(entries);
  entries.push_back(entries[7]); // a key twice
  Save(entries);
  entries[1500].second = -1;
  Save(entries);
  EXPECT_EQ(m_Notes.m_WrittenBlocks.size(), 1U);
  ExpectStored(entries);
  entries.insert(entries.begin() + 100, {LongKey(1, 100), 5});
  Save(entries);
  ExpectStored(entries);
}

TEST_F(StoreChunkedMap, ChunksAreCutAndJoinedWhenManyEntriesChange) {
  Entries all = Ascending(6000);
  Entries entries;
  for (auto const& [first, count] :
       {std::pair{0, 1000}, std::pair{500, 3000}, std::pair{0, 6000}, std::pair{3000, 200}, std::pair{0, 50},
        std::pair{100, 5000}, std::pair{5999, 1}, std::pair{0, 0}, std::pair{0, 500}}) {
    SCOPED_TRACE(count);
    entries.assign(all.begin() + first, all.begin() + std::min(first + count, 6000));
    Save(entries);
    ExpectStored(entries);
    for (std::size_t const size : ChunkBytes(MapId())) EXPECT_LE(size, 2 * sto_Format::ChunkBytes);
    Save(entries);
    EXPECT_EQ(m_Notes.WrittenBytes(), 0U);
  }
  // Every second entry goes, then they come back.
  Save(all);
  for (std::size_t i = 0; i < all.size(); i += 2) entries.push_back(all[i]);
  entries.erase(entries.begin(), entries.begin() + 500);
  Save(entries);
  ExpectStored(entries);
  Save(all);
  ExpectStored(all);
}

TEST_F(StoreChunkedMap, OrderThatIsLostLateIsKept) {
  Entries entries = Ascending(3000);
  Save(entries);
  entries.emplace_back(LongKey(1, 100), 1);
  Save(entries);
  ExpectStored(entries);
  EXPECT_FALSE(Directory(MapId()).HasKeys());
  entries.pop_back();
  Save(entries);
  ExpectStored(entries);
  EXPECT_TRUE(Directory(MapId()).HasKeys());
}

TEST_F(StoreChunkedMap, ShortMapReplacingALongOneLeavesNoBlocks) {
  Save(Ascending(1000));
  EXPECT_FALSE(StoredNumbers(MapId()).empty());
  Save(Ascending(3));
  EXPECT_TRUE(StoredNumbers(MapId()).empty());
  ExpectStored(Ascending(3));
}

TEST_F(StoreChunkedMap, LastContentOfAnObjectLeavesNoBlocksOfAnEarlierOne) {
  m_Object.m_Write = [&](cls_WriteVisitor const& visitor) {
    auto const object = WriteIn(visitor, "m_Any", MapClass, m_Uid);
    auto const insert = [&](int count) {
      auto const writer = Own(object->MakeWriteMapInt2Prim(static_cast<int const*>(nullptr)));
      for (int i = 0; i < count; ++i) writer->Insert(i, i);
    };
    insert(5000);
    insert(5000);
  };
  m_Store->Save("root", m_Object);
  EXPECT_EQ(StoredNumbers(MapId()).size(), Directory(MapId()).m_Chunks.size());
}

TEST_F(StoreChunkedMap, IntTableComesBackAndWritesOneChunkForAChange) {
  Pairs pairs;
  for (int i = 0; i < 20'000; ++i) pairs.emplace_back(7 * i % 20'000, i);
  SaveTable(pairs);
  EXPECT_GT(Directory(MapId()).m_Chunks.size(), 5U);
  EXPECT_EQ(LoadTable(*m_Store), pairs);
  pairs[10'000].second += 1;
  SaveTable(pairs);
  EXPECT_EQ(m_Notes.m_WrittenBlocks.size(), 1U);
  Reopen();
  EXPECT_EQ(LoadTable(*m_Store), pairs);
}

TEST_F(StoreChunkedMap, MapWithADamagedDirectoryIsReplaced) {
  Save(Ascending(10'000));
  std::int64_t const id = MapId();
  int const page = Directory(id).m_Pages[0].m_Number;
  {
    sto_OwnTransaction transaction(*m_Session, true);
    sto_StoredBlocks(*m_Session, id).Delete(page, page);
    transaction.Commit();
  }
  MessageOf(sto_ErrorKind::Damaged, [&] { Load(*m_Store); });
  Entries const entries = Ascending(9000);
  Save(entries);
  ExpectStored(entries);
}

TEST_F(StoreChunkedMap, CopyOfABranchIsTheSameMap) {
  Save(Ascending(10'000));
  sto_Store other = Create("other.kvs");
  sto_CopyRoot(*m_Store, "root", other, "root");
  EXPECT_EQ(Load(other), Ascending(10'000));
}

TEST_F(StoreChunkedMap, OneObjectUnderTwoNamesIsComparedChunkByChunk) {
  Entries entries = Ascending(2000);
  m_Object.m_Write = [&](cls_WriteVisitor const& visitor) {
    auto const map = WriteIn(visitor, "m_Any", MapClass, m_Uid);
    auto const writer = Own(map->MakeWriteMapString2Prim(static_cast<int const*>(nullptr)));
    for (auto const& [key, value] : entries) writer->Insert(key, value);
  };
  m_Store->Save("root", m_Object);
  m_Store->Save("second", m_Object);
  ExpectStored(entries);
  MoveIntoRecord(MapId());
  m_Store->Save("third", m_Object);
  ExpectStored(entries);
}

TEST_F(StoreChunkedMap, LongMapOfAnOlderFormatIsReadAndGetsChunksWhenItIsSaved) {
  Save(Ascending(2000));
  MoveIntoRecord(MapId());
  ASSERT_TRUE(StoredNumbers(MapId()).empty());
  ExpectStored(Ascending(2000));
  Save(Ascending(2001));
  EXPECT_GT(StoredNumbers(MapId()).size(), 10U);
  ExpectStored(Ascending(2001));
}

TEST_F(StoreChunkedMap, CursorFindsAnObjectWithoutReadingTheMapWhole) {
  constexpr int Count = 20'000;
  SaveFields(*m_Store, [](cls_WriteVisitor const& visitor) {
    auto const map = Own(visitor.Memento()->MakeFieldWriteMapInt2Obj(Field("m_ByInt"), cls_Uid()));
    for (int i = 0; i < Count; ++i) InsertNode(*map, 2 * i, Node(i));
  });
  Reopen();
  static_cast<void>(LoadFields(*m_Store, [&](cls_ReadVisitor const& visitor) {
    auto const map = Own(visitor.Memento()->MakeFieldReadMapInt2Obj(Field("m_ByInt")));
    std::size_t const before = m_Notes.m_ReadBlocks.size();
    int key = 0;
    ASSERT_TRUE(map->Find(3000));
    EXPECT_EQ(NodeValue(map->Fetch(key)), 1500);
    EXPECT_EQ(key, 3000);
    EXPECT_EQ(m_Notes.m_ReadBlocks.size(), before + 1);
    EXPECT_FALSE(map->Find(3001));
    EXPECT_FALSE(map->Find(-1));
    EXPECT_FALSE(map->Find(2 * Count));
    EXPECT_EQ(NodeValue(map->Fetch(key)), 1500) << "a search that finds nothing does not move";
    map->Next();
    EXPECT_EQ(NodeValue(map->Fetch(key)), 1501);
    for (int i = 0; i < Count; ++i) { // soon by all keys at once
      ASSERT_TRUE(map->Find(2 * i));
      ASSERT_EQ(NodeValue(map->Fetch(key)), i);
      ASSERT_FALSE(map->Find(2 * i + 1));
    }
  }));
}

TEST_F(StoreChunkedMap, BytesAreAsDocumented) {
  // Three entries whose values are texts of 3000 letters.
  std::string const text(3000, 'a');
  SaveFields(*m_Store, [&](cls_WriteVisitor const& visitor) {
    auto const map = WriteIn(visitor, "m_Any", MapClass);
    auto const writer = Own(map->MakeWriteMapInt2Prim(static_cast<cow_String const*>(nullptr)));
    for (int const key : {-1, 5, 100}) writer->Insert(key, cow_String(std::string_view(text)));
  });
  auto const append = [](sto_Bytes& bytes, std::initializer_list<int> values) {
    for (int const value : values) bytes.push_back(static_cast<std::byte>(value));
  };
  sto_Bytes chunk;
  for (std::initializer_list<int> const key : {std::initializer_list<int>{1}, {10}, {0xC8, 1}}) {
    append(chunk, key);
    append(chunk, {0xB9, 0x17}); // 3001
    chunk.insert(chunk.end(), text.size(), static_cast<std::byte>('a'));
  }
  sto_Bytes directory;
  append(directory, {1, 1, 0, 3});
  for (int i = 0; i < 8; ++i) append(directory, {static_cast<int>(sto_ChunkChecksum(chunk) >> 8 * i & 0xFF)});
  append(directory, {1, 1});
  std::int64_t const id = MapId();
  sto_OwnTransaction const transaction(*m_Session, false);
  EXPECT_TRUE(std::ranges::equal(sto_StoredBlocks(*m_Session, id).Read(0), chunk));
  EXPECT_EQ(StoredNumbers(id).size(), 1U);
  sto_RecordRef const record = m_Session->Records().Read(id);
  sto_Bytes values{std::byte{3}};
  values.insert(values.end(), directory.begin(), directory.end());
  EXPECT_EQ(record->Stored().m_Bytes, values) << "the number of entries, and the directory";
  std::vector<sto_ShapeRow> const shapes = m_Session->Driver().Shapes();
  auto const isOfRecord = [&](sto_ShapeRow const& row) { return row.m_Id == record->Stored().m_Shape; };
  auto const shape = std::ranges::find_if(shapes, isOfRecord);
  ASSERT_NE(shape, shapes.end());
  sto_Bytes content;
  append(content, {8, 1, 2}); // a map in chunks, from int to string
  EXPECT_TRUE(std::ranges::equal(std::span(shape->m_Data).last(3), content));
}

} // namespace
