#include "store/agents/sto_StoredMap.h"

#include <random>
#include <stdexcept>

#include "store/sto_Proxy.h"
#include "tests/support/Seeds.h"
#include "tests/support/store/StoreChunks.h"
#include "tests/support/store/StoreNewFault.h"

namespace {

using IntMap = ObjectIntMap;
using StringMap = ObjectStringMap;

/// Maps of objects in chunks that are used through their agents.
class StoreStoredMap : public StoreChunkTest {
 protected:
  void SetUp() override {
    StoreChunkTest::SetUp();
    SaveFields(*m_Store, [](cls_WriteVisitor const& visitor) {
      StringMap const map(WriteIn(visitor, "m_ByString", MapClass)
                              ->MakeAgentMapKey2Obj(static_cast<cow_String const*>(nullptr), 8));
    });
    m_Id = MapId();
    m_Map = OpenTexts(*m_Store);
  }
  void TearDown() override {
    StoreNewFault::FailAt(0);
    m_Map.reset();
  }

  /// Puts the long keys from `first` to before `end`, in one transaction.
  void Fill(int first, int end) {
    sto_Transaction transaction(*m_Store);
    for (int i = first; i < end; ++i) ::Put(*m_Map, LongKey(i), i);
    transaction.Commit();
  }
  void Remove(int first, int end) {
    sto_Transaction transaction(*m_Store);
    for (int i = first; i < end; ++i) EXPECT_TRUE((*m_Map)->Remove(LongKey(i)));
    transaction.Commit();
  }
  void OpenAgain() {
    m_Map.reset();
    Reopen();
    m_Map = OpenTexts(*m_Store);
    m_Notes.Clear();
  }
  void Expect(int first, int end) {
    std::map<cow_String, int> expected;
    for (int i = first; i < end; ++i) expected.emplace(LongKey(i), i);
    EXPECT_EQ(ValuesOf(*m_Map), expected);
  }

  std::int64_t m_Id = 0;
  std::unique_ptr<StringMap> m_Map;
};

TEST_F(StoreStoredMap, ShortMapIsInTheRecordAndALongerOneInChunks) {
  Fill(0, 8);
  EXPECT_TRUE(Directory(m_Id).m_Chunks.empty()) << "8192 bytes or a few less";
  EXPECT_TRUE(StoredNumbers(m_Id).empty());
  Fill(8, 9);
  EXPECT_EQ(ChunkBytes(m_Id).size(), 1U);
  ExpectSound(m_Id);
  OpenAgain();
  Expect(0, 9);
  Remove(8, 9);
  EXPECT_TRUE(Directory(m_Id).m_Chunks.empty()) << "back in the record";
  EXPECT_TRUE(StoredNumbers(m_Id).empty());
  OpenAgain();
  Expect(0, 8);
}

TEST_F(StoreStoredMap, ChunkIsCutWhenItIsTwiceAsLongAndJoinedWhenItIsAQuarter) {
  Fill(0, 16);
  EXPECT_EQ(ChunkBytes(m_Id).size(), 1U);
  Fill(16, 17);
  EXPECT_EQ(ChunkBytes(m_Id).size(), 2U) << "of more than 16 KiB";
  ExpectSound(m_Id);
  Remove(1, 7); // the first chunk keeps more than a quarter
  EXPECT_EQ(ChunkBytes(m_Id).size(), 2U);
  Remove(7, 8);
  EXPECT_EQ(ChunkBytes(m_Id).size(), 1U);
  ExpectSound(m_Id);
  OpenAgain();
  EXPECT_EQ((*m_Map)->Count(), 10);
  std::map<cow_String, int> expected{{LongKey(0), 0}};
  for (int i = 8; i < 17; ++i) expected.emplace(LongKey(i), i);
  EXPECT_EQ(ValuesOf(*m_Map), expected);
}

TEST_F(StoreStoredMap, LastChunkThatShrinksIsJoinedWithTheOneBeforeIt) {
  Fill(0, 17);
  Remove(10, 17);
  EXPECT_EQ(ChunkBytes(m_Id).size(), 1U);
  ExpectSound(m_Id);
  Remove(0, 9);
  EXPECT_TRUE(Directory(m_Id).m_Chunks.empty());
  OpenAgain();
  Expect(9, 10);
}

TEST_F(StoreStoredMap, EntryThatIsLongerThanAChunkHasOneOfItsOwn) {
  Fill(0, 20);
  cow_String const huge(std::string(100'000, 'y'));
  ::Put(*m_Map, huge, 77);
  OpenAgain();
  EXPECT_EQ((*m_Map)->Count(), 21);
  EXPECT_EQ(NodeValue((*m_Map)->MakeReadObj(huge)), 77);
  EXPECT_TRUE((*m_Map)->Remove(huge));
  Expect(0, 20);
  ExpectSound(m_Id);
}

TEST_F(StoreStoredMap, FreedNumbersAreUsedAgain) {
  Fill(0, 100);
  std::vector<int> const before = StoredNumbers(m_Id);
  Remove(20, 60);
  EXPECT_LT(StoredNumbers(m_Id).size(), before.size());
  ExpectSound(m_Id);
  Fill(20, 60);
  ExpectSound(m_Id);
  EXPECT_LE(StoredNumbers(m_Id).back(), before.back() + 2);
  Expect(0, 100);
}

TEST_F(StoreStoredMap, ClearedMapHasNoBlocks) {
  Fill(0, 100);
  (*m_Map)->Clear();
  EXPECT_TRUE(StoredNumbers(m_Id).empty());
  OpenAgain();
  EXPECT_EQ((*m_Map)->Count(), 0);
  Fill(0, 100);
  {
    sto_Transaction transaction(*m_Store);
    (*m_Map)->Clear();
    for (int i = 200; i < 300; ++i) ::Put(*m_Map, LongKey(i), i);
    transaction.Commit();
  }
  ExpectSound(m_Id);
  OpenAgain();
  Expect(200, 300);
}

TEST_F(StoreStoredMap, WalkInBothDirectionsPassesChangesThatAreNotWritten) {
  Fill(0, 60);
  OpenAgain();
  sto_Transaction transaction(*m_Store);
  for (int i = 0; i < 60; i += 3) EXPECT_TRUE((*m_Map)->Remove(LongKey(i)));
  for (int i = 60; i < 63; ++i) ::Put(*m_Map, LongKey(i), i);
  std::vector<cow_String> expected;
  for (int i = 0; i < 63; ++i)
    if (i >= 60 || i % 3 != 0) expected.push_back(LongKey(i));
  std::vector<cow_String> forward;
  cow_String key;
  for (bool isThere = (*m_Map)->FirstKey(key); isThere; isThere = (*m_Map)->NextKey(key))
    forward.push_back(key);
  EXPECT_EQ(forward, expected);
  std::vector<cow_String> back;
  for (bool isThere = (*m_Map)->LastKey(key); isThere; isThere = (*m_Map)->PreviousKey(key))
    back.push_back(key);
  std::ranges::reverse(back);
  EXPECT_EQ(back, expected);
  while ((*m_Map)->FirstKey(key)) EXPECT_TRUE((*m_Map)->Remove(key));
  EXPECT_EQ((*m_Map)->Count(), 0);
  ::Put(*m_Map, LongKey(5), 5);
  ::Put(*m_Map, LongKey(3), 3);
  ASSERT_TRUE((*m_Map)->FirstKey(key));
  EXPECT_EQ(key, LongKey(3));
  ASSERT_TRUE((*m_Map)->LastKey(key));
  EXPECT_EQ(key, LongKey(5));
  transaction.Commit();
  EXPECT_TRUE(StoredNumbers(m_Id).empty());
}

TEST_F(StoreStoredMap, OpenMapIsSearchedWithoutReadingItWhole) {
  Fill(0, 300);
  std::size_t const all = StoredNumbers(m_Id).size();
  std::size_t const pages = Directory(m_Id).m_Pages.size();
  ASSERT_GT(pages, 1U) << "keys of 1000 bytes make a long directory";
  OpenAgain();
  EXPECT_EQ((*m_Map)->Count(), 300);
  EXPECT_LE(m_Notes.m_ReadBlocks.size(), pages);
  EXPECT_TRUE((*m_Map)->Contains(LongKey(100)));
  EXPECT_FALSE((*m_Map)->Contains(cow_String("000100")));
  EXPECT_EQ(NodeValue((*m_Map)->MakeReadObj(LongKey(100))), 100);
  cow_String key = LongKey(100);
  EXPECT_TRUE((*m_Map)->NextKey(key));
  EXPECT_EQ(key, LongKey(101));
  EXPECT_LE(m_Notes.m_ReadBlocks.size(), pages + 2);
  EXPECT_LT(m_Notes.m_ReadBlocks.size(), all / 4);
}

TEST_F(StoreStoredMap, SavesThatAreUndoneGoBackAlsoIfTheyHaveWrittenTheMap) {
  Fill(0, 50);
  sto_Transaction transaction(*m_Store);
  for (int i = 50; i < 60; ++i) ::Put(*m_Map, LongKey(i), i); // not written when the save begins
  EXPECT_TRUE((*m_Map)->Remove(LongKey(0)));
  EXPECT_THROW(SaveFields(
                   *m_Store,
                   [&](cls_WriteVisitor const&) {
                     for (int i = 10; i < 40; ++i) EXPECT_TRUE((*m_Map)->Remove(LongKey(i)));
                     EXPECT_GT(Directory(m_Id).m_Chunks.size(), 1U); // writes the map
                     ::Put(*m_Map, LongKey(70), 70);
                     (*m_Map)->Clear();
                     EXPECT_TRUE(Directory(m_Id).m_Chunks.empty());
                     ::Put(*m_Map, LongKey(71), 71);
                     throw std::runtime_error("the save fails");
                   },
                   "other"),
               std::runtime_error);
  Expect(1, 60);
  transaction.Commit();
  ExpectSound(m_Id);
  OpenAgain();
  Expect(1, 60);
}

TEST_F(StoreStoredMap, MapInAnotherOrderIsOpenedAndWrittenInOrder) {
  m_Map.reset();
  SaveFields(*m_Store, [](cls_WriteVisitor const& visitor) {
    auto const map = Own(visitor.Memento()->MakeFieldWriteMapString2Obj(Field("m_ByString"), cls_Uid()));
    for (int i = 99; i >= 0; --i) InsertNode(*map, LongKey(i), Node(i));
    InsertNode(*map, LongKey(50), Node(-50)); // the first one counts
  });
  m_Store->CollectGarbage();
  m_Id = MapId();
  ASSERT_FALSE(Directory(m_Id).HasKeys());
  OpenAgain();
  Expect(0, 100);
  ::Put(*m_Map, LongKey(100), 100);
  EXPECT_TRUE(Directory(m_Id).HasKeys());
  ExpectSound(m_Id);
  OpenAgain();
  Expect(0, 101);
}

TEST_F(StoreStoredMap, LongMapOfAnOlderFormatGetsChunksWithItsFirstChange) {
  Fill(0, 100);
  m_Map.reset();
  MoveIntoRecord(m_Id);
  OpenAgain();
  Expect(0, 100);
  ::Put(*m_Map, LongKey(100), 100);
  ExpectSound(m_Id);
  EXPECT_GT(StoredNumbers(m_Id).size(), 8U);
  OpenAgain();
  Expect(0, 101);
}

TEST_F(StoreStoredMap, FailureOfEachAllocationInASaveLeavesTheMapAsItWas) {
  Fill(0, 60);
  for (long long step = 1;; step += 1 + step / 20) {
    SCOPED_TRACE(step);
    auto transaction = std::make_unique<sto_Transaction>(*m_Store);
    ::Put(*m_Map, LongKey(60), 60); // not written when the save begins
    bool hasRaised = false;
    StoreNewFault::FailAt(step);
    try {
      SaveFields(
          *m_Store,
          [&](cls_WriteVisitor const&) {
            for (int i = 10; i < 30; ++i) static_cast<void>((*m_Map)->Remove(LongKey(i)));
            static_cast<void>(Directory(m_Id)); // writes the map
            ::Put(*m_Map, LongKey(61), 61);
          },
          "other");
    } catch (std::exception const&) {
      hasRaised = true;
    }
    bool const hasFailed = StoreNewFault::HasFailed();
    StoreNewFault::FailAt(0);
    if (!hasRaised) {
      EXPECT_EQ((*m_Map)->Count(), 42);
    } else if (m_Session->Driver().IsInTransaction()) {
      Expect(0, 61);
    }
    transaction.reset();
    Expect(0, 60);
    if (!hasFailed) {
      EXPECT_GT(step, 100);
      break;
    }
    if (HasFailure()) break;
  }
}

TEST_F(StoreStoredMap, KeysThatAnotherSessionDidNotTouchMayBeChanged) {
  Fill(0, 200);
  sto_Store theirs = Open();
  auto const their = OpenTexts(theirs);
  ::Put(*their, LongKey(150), -150);
  ::Put(*m_Map, LongKey(151), -151); // its chunk is in memory here
  MessageOf(sto_ErrorKind::Conflict, [&] { ::Put(*m_Map, LongKey(150), 1); });
  MessageOf(sto_ErrorKind::Conflict, [&] { (*m_Map)->Remove(LongKey(150)); });
  MessageOf(sto_ErrorKind::Conflict, [&] { (*m_Map)->Clear(); });
  EXPECT_EQ((*m_Map)->Count(), 200); // shows the map
  ::Put(*m_Map, LongKey(150), 1);
  EXPECT_EQ((*their)->Count(), 200);
  EXPECT_TRUE((*their)->Remove(LongKey(20)));
  ::Put(*their, cow_String("000030 new"), 3);
  MessageOf(sto_ErrorKind::Conflict, [&] { (*m_Map)->Remove(LongKey(20)); });
  MessageOf(sto_ErrorKind::Conflict, [&] { ::Put(*m_Map, cow_String("000030 new"), 4); });
  ::Put(*m_Map, LongKey(199), 5);
  EXPECT_EQ((*m_Map)->Count(), 200);
  EXPECT_EQ(NodeValue((*m_Map)->MakeReadObj(cow_String("000030 new"))), 3);
}

TEST_F(StoreStoredMap, OfAChunkThatWasNotInMemoryAnyChangeConflicts) {
  Fill(0, 200);
  OpenAgain();
  sto_Store theirs = Open();
  auto const their = OpenTexts(theirs);
  sto_ChunkDirectory const directory = Directory(m_Id);
  sto_ByteReader reader(directory.m_Chunks[10].m_FirstKey);
  int const first = std::stoi(std::string(sto_KeyCodec<cow_String>::Decode(reader).View().substr(0, 6)));
  ::Put(*their, LongKey(first), -1);
  MessageOf(sto_ErrorKind::Conflict, [&] { ::Put(*m_Map, LongKey(first + 1), 1); });
  ::Put(*m_Map, LongKey(first - 1), -20); // in another chunk
  EXPECT_EQ((*m_Map)->Count(), 200);
  ::Put(*m_Map, LongKey(first + 1), 1);
  EXPECT_EQ(NodeValue((*their)->MakeReadObj(LongKey(first + 1))), 1);
}

TEST_F(StoreStoredMap, DamagedAndMissingChunksAreReportedByNumber) {
  Fill(0, 100);
  sto_Chunk const chunk = Directory(m_Id).m_Chunks[3];
  std::string const name = std::to_string(chunk.m_Number) + " of object " + std::to_string(m_Id);
  auto const change = [&](auto act) {
    sto_OwnTransaction transaction(*m_Session, true);
    act();
    transaction.Commit();
  };
  sto_Bytes old;
  change([&] {
    sto_StoredBlocks blocks(*m_Session, m_Id);
    sto_ByteView const content = blocks.Read(chunk.m_Number);
    old.assign(content.begin(), content.end());
    sto_Bytes other = old;
    other.back() ^= std::byte{1}; // sound by itself, but not what the directory says
    blocks.Write(chunk.m_Number, other, true);
  });
  OpenAgain();
  EXPECT_TRUE((*m_Map)->Contains(LongKey(0)));
  std::string const damaged = MessageOf(sto_ErrorKind::Damaged, [&] { ValuesOf(*m_Map); });
  EXPECT_TRUE(Contains(damaged, "The map of object " + std::to_string(m_Id) + " is damaged in chunk " +
                                    std::to_string(chunk.m_Number) + "."))
      << damaged;
  MessageOf(sto_ErrorKind::Damaged, [&] { m_Store->CollectGarbage(); });
  change([&] { sto_StoredBlocks(*m_Session, m_Id).Delete(chunk.m_Number, chunk.m_Number); });
  OpenAgain();
  std::string const missing = MessageOf(sto_ErrorKind::Damaged, [&] { ValuesOf(*m_Map); });
  EXPECT_TRUE(Contains(missing, "Block " + name + " is missing or damaged.")) << missing;
  change([&] { sto_StoredBlocks(*m_Session, m_Id).Write(chunk.m_Number, old, false); });
  OpenAgain();
  Expect(0, 100);
}

TEST_F(StoreStoredMap, MissingPageOfTheDirectoryIsReportedWhenTheMapIsOpened) {
  Fill(0, 300);
  sto_ChunkDirectory const directory = Directory(m_Id);
  ASSERT_FALSE(directory.m_Pages.empty());
  m_Map.reset();
  {
    sto_OwnTransaction transaction(*m_Session, true);
    sto_StoredBlocks(*m_Session, m_Id).Delete(directory.m_Pages[1].m_Number, directory.m_Pages[1].m_Number);
    transaction.Commit();
  }
  Reopen();
  std::string const message = MessageOf(sto_ErrorKind::Damaged, [&] { m_Map = OpenTexts(*m_Store); });
  EXPECT_TRUE(Contains(message, "Block " + std::to_string(directory.m_Pages[1].m_Number) + " of object"))
      << message;
}

TEST_F(StoreStoredMap, CollectorKeepsElementsOfChunksAndDeletesTheBlocksOfAnUnusedMap) {
  Fill(0, 300);
  EXPECT_EQ(m_Store->CollectGarbage(), 0);
  Remove(100, 200);
  EXPECT_EQ(m_Store->CollectGarbage(), 100);
  m_Map.reset();
  m_Store->RemoveRoot("root");
  EXPECT_EQ(m_Store->CollectGarbage(), 202);
  EXPECT_TRUE(StoredNumbers(m_Id).empty());
}

TEST_F(StoreStoredMap, CopyOfABranchHasTheEntries) {
  Fill(0, 300);
  m_Map.reset();
  sto_Store other = Create("other.kvs");
  other.Save("shift", Node(1)); // so that the copies get other ids
  sto_CopyRoot(*m_Store, "root", other, "root");
  EXPECT_EQ(other.CollectGarbage(), 0);
  auto const copy = OpenTexts(other);
  m_Map = OpenTexts(*m_Store);
  EXPECT_EQ(ValuesOf(*copy), ValuesOf(*m_Map));
  ::Put(*copy, LongKey(7), -7);
  EXPECT_EQ(NodeValue((*copy)->MakeReadObj(LongKey(7))), -7);
}

TEST_F(StoreStoredMap, FailureOfEachCallLeavesTheMapAsItWas) {
  for (bool const undoes : {false, true}) {
    (*m_Map)->Clear();
    Fill(0, 60);
    for (int call = 1;; ++call) {
      SCOPED_TRACE(call);
      m_Notes.m_Plan = {call, undoes, false, {}};
      try {
        sto_Transaction transaction(*m_Store);
        for (int i = 20; i < 40; ++i) static_cast<void>((*m_Map)->Remove(LongKey(i)));
        ::Put(*m_Map, LongKey(100), 100);
        static_cast<void>(Directory(m_Id)); // writes the map
        ::Put(*m_Map, LongKey(101), 101);
        transaction.Commit();
      } catch (sto_Exception const&) {
      }
      bool const hasFailed = !m_Notes.m_Plan.m_FailedCall.empty();
      m_Notes.m_Plan = {};
      if (!hasFailed) break;
      Expect(0, 60);
      ASSERT_FALSE(HasFailure());
    }
    EXPECT_EQ((*m_Map)->Count(), 42);
    ExpectSound(m_Id);
  }
}

class StoreIntMap : public StoreChunkTest {};

TEST_F(StoreIntMap, ChangedEntryOfAHundredThousandWritesOneChunk) {
  constexpr int Count = 100'000;
  SaveFields(*m_Store, [](cls_WriteVisitor const& visitor) {
    auto const map = Own(visitor.Memento()->MakeFieldWriteMapInt2Obj(Field("m_ByInt"), cls_Uid()));
    for (int i = 0; i < Count; ++i) InsertNode(*map, 2 * i, Node(i));
  });
  std::int64_t const id = MapId();
  Reopen();
  auto const map = OpenMap(*m_Store);
  auto const expectOneChunk = [&](std::size_t chunks, auto change) {
    m_Notes.Clear();
    change();
    EXPECT_LE(m_Notes.m_WrittenBlocks.size(), chunks);
    EXPECT_GE(m_Notes.m_WrittenBlocks.size(), 1U);
    EXPECT_TRUE(m_Notes.m_WrittenObjects.contains(id));
    EXPECT_LE(m_Notes.WrittenBytes(), 65'536U);
  };
  expectOneChunk(1, [&] { Put(*map, 50'000, -1); });
  EXPECT_LE(m_Notes.m_ReadBlocks.size(), 2U);
  expectOneChunk(1, [&] { Put(*map, 50'001, -2); });
  expectOneChunk(1, [&] { EXPECT_TRUE((*map)->Remove(60'000)); });
  expectOneChunk(2, [&] { Put(*map, 2 * Count, -3); });
  expectOneChunk(1, [&] {
    sto_Transaction transaction(*m_Store);
    for (int i = 0; i < 50; ++i) Put(*map, 50'000 + i, i);
    EXPECT_TRUE(m_Notes.m_WrittenBlocks.empty()) << "written once, before the commit";
    transaction.Commit();
  });
  m_Notes.Clear();
  EXPECT_FALSE((*map)->Remove(60'000));
  EXPECT_EQ(m_Notes.WrittenBytes(), 0U);
  EXPECT_EQ((*map)->Count(), Count + 25);
  ExpectSound(id);
}

TEST_F(StoreIntMap, ChangedElementOfALongListWritesOneBlock) {
  SaveFields(*m_Store, [](cls_WriteVisitor const& visitor) {
    auto const list = Own(visitor.Memento()->MakeFieldWriteListObj(Field("m_Objects"), cls_Uid()));
    for (int i = 0; i < 20'000; ++i) AppendNode(*list, Node(i));
  });
  auto const list = OpenList(*m_Store);
  m_Notes.Clear();
  Put(*list, 5000, -1);
  EXPECT_EQ(m_Notes.m_WrittenBlocks.size(), 1U);
  m_Notes.Clear();
  {
    sto_Transaction transaction(*m_Store);
    for (int i = 0; i < 5; ++i) Put(*list, i, -2);
    Put(*list, 19'999, -3);
    transaction.Commit();
  }
  EXPECT_EQ(m_Notes.m_WrittenBlocks.size(), 2U) << "at both ends";
  EXPECT_EQ(StoredList()[5000], -1);
  EXPECT_EQ(StoredList()[19'999], -3);
}

/// A seeded random walk of a map in chunks beside a std::map: changes, saves that fail, transactions that are
/// rolled back, reopening, and another session that changes the same map.
class StoredMapModel : public StoreChunkTest, public testing::WithParamInterface<unsigned int> {
 protected:
  using Model = std::map<cow_String, int>;
  static constexpr int Keys = 800;

  int Below(int limit) { return static_cast<int>(m_Random() % static_cast<unsigned int>(limit)); }
  cow_String AnyKey() { return LongKey(Below(Keys), 400); }

  void Change(StringMap& map) {
    int const chance = Below(40);
    if (chance == 0 && Below(4) == 0) {
      map->Clear();
      m_Model.clear();
    } else if (chance < 3) { // many neighbours
      int const first = Below(Keys);
      bool const removes = Below(2) == 0;
      for (int i = first; i < std::min(first + 150, Keys); ++i)
        if (removes) {
          ASSERT_EQ(map->Remove(LongKey(i, 400)), m_Model.erase(LongKey(i, 400)) == 1);
        } else {
          ::Put(map, LongKey(i, 400), i);
          m_Model[LongKey(i, 400)] = i;
        }
    } else {
      ChangeOne(map);
    }
  }
  void ChangeOne(StringMap& map) {
    if (Below(3) == 0) {
      cow_String const key = AnyKey();
      ASSERT_EQ(map->Remove(key), m_Model.erase(key) == 1);
    } else {
      cow_String const key = AnyKey();
      int const value = Below(1000);
      ::Put(map, key, value);
      m_Model[key] = value;
    }
  }
  void Look(StringMap& map) {
    ASSERT_EQ(map->Count(), static_cast<int>(m_Model.size()));
    cow_String key = AnyKey();
    ASSERT_EQ(map->Contains(key), m_Model.contains(key));
    auto const next = m_Model.upper_bound(key);
    cow_String found = key;
    ASSERT_EQ(map->NextKey(found), next != m_Model.end());
    if (next != m_Model.end()) {
      ASSERT_EQ(found, next->first);
    }
    auto const previous = m_Model.lower_bound(key);
    found = key;
    ASSERT_EQ(map->PreviousKey(found), previous != m_Model.begin());
    if (previous != m_Model.begin()) {
      ASSERT_EQ(found, std::prev(previous)->first);
    }
    ASSERT_EQ(map->FirstKey(found), !m_Model.empty());
    if (!m_Model.empty()) {
      ASSERT_EQ(found, m_Model.begin()->first);
      ASSERT_TRUE(map->LastKey(found));
      ASSERT_EQ(found, m_Model.rbegin()->first);
    }
  }
  /// A save that changes the map while an object is written. It fails, or it does not.
  void Save() {
    Model const before = m_Model;
    bool const fails = Below(2) == 0;
    auto const write = [&](cls_WriteVisitor const&) {
      for (int i = Below(5); i >= 0; --i) Change(*m_Map);
      if (Below(3) == 0) static_cast<void>(Directory(m_Id)); // writes the map
      if (Below(2) == 0) Change(*m_Map);
      if (fails) throw std::runtime_error("the save fails");
    };
    if (!fails) return SaveFields(*m_Store, write, "acting");
    EXPECT_THROW(SaveFields(*m_Store, write, "acting"), std::runtime_error);
    m_Model = before;
  }
  void Transaction() {
    Model const before = m_Model;
    auto transaction = std::make_unique<sto_Transaction>(*m_Store);
    for (int i = Below(12); i >= 0 && !HasFatalFailure(); --i) switch (Below(8)) {
      case 0:
        Save();
        break;
      case 1:
        static_cast<void>(Directory(m_Id));
        break;
      case 2:
        Look(*m_Map);
        break;
      default:
        Change(*m_Map);
      }
    bool const commits = Below(3) != 0;
    if (commits) transaction->Commit();
    transaction.reset();
    if (!commits) m_Model = before;
  }
  /// Another session changes the map, which this one then looks at.
  void Other() {
    sto_Store other = Open();
    auto const map = OpenTexts(other);
    sto_Transaction transaction(other);
    for (int i = Below(4); i >= 0; --i) Change(*map);
    transaction.Commit();
    Look(*m_Map);
  }
  void OpenAgain() {
    m_Map.reset();
    Reopen();
    m_Map = OpenTexts(*m_Store);
  }

  std::mt19937 m_Random;
  std::int64_t m_Id = 0;
  std::unique_ptr<StringMap> m_Map;
  Model m_Model;
};

TEST_P(StoredMapModel, AgreesWithAMap) {
  m_Random.seed(GetParam());
  SaveFields(*m_Store, [](cls_WriteVisitor const& visitor) {
    StringMap const map(WriteIn(visitor, "m_ByString", MapClass)
                            ->MakeAgentMapKey2Obj(static_cast<cow_String const*>(nullptr), 8));
  });
  m_Id = MapId();
  m_Map = OpenTexts(*m_Store);
  bool hadPages = false;
  for (int i = 0; i < 120 && !HasFatalFailure(); ++i) {
    SCOPED_TRACE(i);
    int const chance = Below(10);
    if (chance < 5)
      Transaction();
    else if (chance < 7)
      Save();
    else if (chance < 8)
      Other();
    else
      ChangeOne(*m_Map);
    Look(*m_Map);
    if (Below(10) == 0) OpenAgain();
    if (Below(5) != 0) continue;
    ExpectSound(m_Id);
    hadPages = hadPages || !Directory(m_Id).m_Pages.empty();
    ASSERT_EQ(ValuesOf(*m_Map), m_Model);
    m_Store->CollectGarbage();
  }
  EXPECT_TRUE(hadPages);
  m_Map.reset();
}

INSTANTIATE_TEST_SUITE_P(Seeds, StoredMapModel, testing::ValuesIn(Seeds<unsigned int>({1, 2, 3, 4, 5, 6})));

} // namespace
