#include "wrappers/cls_xoMap.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/support/backend/RecordingBackEnd.h"

namespace {

using ObjectMap = cls_xoMap<cow_String, cls_xp1DArrayListFloat>;
using Iterator = cow_ConstMapIterator<cow_String, cls_xp1DArrayListFloat>;

cls_xp1DArrayListFloat Values(std::vector<float> const& values) {
  cow_1DArrayList<float> list;
  for (float const value : values) list.Append(value);
  return cls_xp1DArrayListFloatFromCow(list);
}
std::vector<float> Elements(cls_xp1DArrayListFloat const& list) {
  return {list.ConstData(), list.ConstData() + list.Count()};
}
bool ShareElements(cls_xp1DArrayListFloat const& a, cls_xp1DArrayListFloat const& b) {
  return a.Storage().SharesStorageWith(b.Storage());
}

/// A map of "a" with 1 and 2, and "b" without elements.
class XoMapTest : public testing::Test {
 protected:
  XoMapTest() {
    m_Map.Insert("b"_cow, Values({}));
    m_Map.Insert("a"_cow, Values({1, 2}));
    m_Recorder.Name(m_Map.Uid(), "M");
    m_Recorder.Name(m_Recorder.m_Uid, "stored");
    for (char const* const key : {"a", "b"}) {
      cls_xp1DArrayListFloat const& value = m_Map.ConstGet(cow_String(key));
      m_Recorder.Name(value.Uid(), std::string("uid-") + key);
      m_Recorder.Name(&value, std::string("value-") + key);
    }
  }

  /// The lines that mapObjWriter1 logs for the two entries, through mementos numbered from `first`.
  static Lines EntryLines(int first) {
    std::string const a = "write" + std::to_string(first);
    std::string const b = "write" + std::to_string(first + 1);
    return {R"(mapObjWriter1.MakeWriteObjWithPtr(string "a", uint 0x230001, uid uid-a, value-a) = )" + a,
            a + ".MakeWriteListPrim(tag float 0, int 1) = listWriter1",
            "listWriter1.Append(float 1)",
            "listWriter1.Append(float 2)",
            "listWriter1.NeedsDeletion() = bool true",
            "~listWriter1",
            a + ".NeedsDeletion() = bool true",
            "~" + a,
            R"(mapObjWriter1.MakeWriteObjWithPtr(string "b", uint 0x230001, uid uid-b, value-b) = )" + b,
            b + ".MakeWriteListPrim(tag float 0, int 1) = listWriter2",
            "listWriter2.NeedsDeletion() = bool true",
            "~listWriter2",
            b + ".NeedsDeletion() = bool true",
            "~" + b};
  }

  ObjectMap m_Map;
  Recorder m_Recorder;
  cls_FieldHandle m_Field{3, "m_Histories"_cow};
};

// --- Writing.

TEST_F(XoMapTest, WritesAFieldAsOneMapWithOneObjectPerKeyInKeyOrder) {
  cls_WriteVisitor const parent(m_Recorder.NewWriter());
  m_Recorder.Name(&m_Map, "O");
  m_Map.DBWrite(cls_WriteVisitor(parent, m_Field, nullptr, &m_Map));
  Lines expected{R"(write1.MakeFieldWriteObj(field 3 "m_Histories", uint 0x230002, uid M, O) = write2)",
                 R"(write1.CheckCollectionType(type 2, string "m_Histories"))",
                 "write2.MakeWriteMapString2Obj() = mapObjWriter1"};
  for (std::string const& line : EntryLines(3)) expected.push_back(line);
  expected.insert(expected.end(), {"mapObjWriter1.NeedsDeletion() = bool true", "~mapObjWriter1",
                                   "write2.NeedsDeletion() = bool true", "~write2"});
  EXPECT_EQ(m_Recorder.TakeLines(), expected);
}

TEST_F(XoMapTest, WritesThroughAStartedVisitorWithoutStartingIt) {
  cls_WriteVisitor const visitor(m_Recorder.NewWriter());
  m_Map.DBWrite(visitor);
  Lines expected{"write1.MakeWriteMapString2Obj() = mapObjWriter1"};
  for (std::string const& line : EntryLines(2)) expected.push_back(line);
  expected.insert(expected.end(), {"mapObjWriter1.NeedsDeletion() = bool true", "~mapObjWriter1"});
  EXPECT_EQ(m_Recorder.TakeLines(), expected);
}

TEST_F(XoMapTest, WritesItsEntriesTwiceWhenWrittenTwiceInOnePass) {
  cls_WriteVisitor const visitor(m_Recorder.NewWriter());
  m_Map.DBWrite(visitor);
  std::size_t const lines = m_Recorder.TakeLines().size();
  m_Map.DBWrite(visitor);
  EXPECT_EQ(m_Recorder.TakeLines().size(), lines);
}

TEST_F(XoMapTest, WritesAnEmptyMapAsAMapWithoutEntries) {
  cls_WriteVisitor const visitor(m_Recorder.NewWriter());
  ObjectMap().DBWrite(visitor);
  EXPECT_EQ(m_Recorder.TakeLines(), Lines({"write1.MakeWriteMapString2Obj() = mapObjWriter1",
                                           "mapObjWriter1.NeedsDeletion() = bool true", "~mapObjWriter1"}));
}

TEST_F(XoMapTest, LeavesAMapWriterThatTheBackEndKeeps) {
  m_Recorder.Keep("mapObjWriter1");
  {
    cls_WriteVisitor const visitor(m_Recorder.NewWriter());
    m_Map.DBWrite(visitor);
    EXPECT_EQ(m_Recorder.Lines().back(), "mapObjWriter1.NeedsDeletion() = bool false");
  }
  EXPECT_EQ(m_Recorder.Live(), Lines({"mapObjWriter1"}));
}

TEST_F(XoMapTest, LeavesTheMementoOfAnEntryThatTheBackEndKeeps) {
  m_Recorder.Keep("write2");
  {
    cls_WriteVisitor const visitor(m_Recorder.NewWriter());
    m_Map.DBWrite(visitor);
  }
  EXPECT_EQ(m_Recorder.Live(), Lines({"write2"}));
}

TEST_F(XoMapTest, WritesNothingIfTheBackEndDeclinesTheObject) {
  m_Recorder.DeclineObjects();
  cls_WriteVisitor const parent(m_Recorder.NewWriter());
  m_Map.DBWrite(cls_WriteVisitor(parent, m_Field, nullptr, nullptr));
  EXPECT_EQ(m_Recorder.TakeLines().size(), 2U); // the start and the check of the collection type
}

TEST_F(XoMapTest, SkipsEntriesThatTheBackEndDeclines) {
  m_Recorder.DeclineObjects();
  cls_WriteVisitor const visitor(m_Recorder.NewWriter());
  m_Map.DBWrite(visitor);
  EXPECT_EQ(
      m_Recorder.TakeLines(),
      Lines({"write1.MakeWriteMapString2Obj() = mapObjWriter1",
             R"(mapObjWriter1.MakeWriteObjWithPtr(string "a", uint 0x230001, uid uid-a, value-a) = null)",
             R"(mapObjWriter1.MakeWriteObjWithPtr(string "b", uint 0x230001, uid uid-b, value-b) = null)",
             "mapObjWriter1.NeedsDeletion() = bool true", "~mapObjWriter1"}));
}

TEST_F(XoMapTest, FailingWriteStepPassesThroughAndLeaksNothing) {
  struct Step {
    char const* m_Operation;
    int m_Nth;
  };
  for (Step const step : {Step{"MakeFieldWriteObj", 1}, Step{"CheckCollectionType", 1},
                          Step{"MakeWriteMapString2Obj", 1}, Step{"MakeWriteObjWithPtr", 1},
                          Step{"MakeWriteObjWithPtr", 2}, Step{"MakeWriteListPrim", 2}, Step{"Append", 2}}) {
    Recorder recorder;
    recorder.FailAt(step.m_Operation, step.m_Nth);
    {
      cls_WriteVisitor const parent(recorder.NewWriter());
      EXPECT_THROW(m_Map.DBWrite(cls_WriteVisitor(parent, m_Field, nullptr, nullptr)), BackEndFailure)
          << step.m_Operation;
    }
    EXPECT_EQ(recorder.Live(), Lines()) << step.m_Operation;
  }
}

// --- Reading.

TEST_F(XoMapTest, ReadsTheIdentityFirstAndEachEntryThroughItsOwnMemento) {
  m_Recorder.StoreKeys<cow_String>({cow_String("z"), cow_String("y")});
  m_Recorder.StoreList<float>({0.5F});
  cls_ReadVisitor const visitor(m_Recorder.NewReader());
  ObjectMap const map(visitor);
  Lines expected{"read1.GetUid() = uid stored", "read1.MakeReadMapString2Obj() = mapObjReader1"};
  for (int i = 1; i <= 2; ++i) {
    std::string const read = "read" + std::to_string(i + 1);
    std::string const list = "listReader" + std::to_string(i);
    for (std::string const& line :
         {std::string("mapObjReader1.More() = int 1"), std::string("mapObjReader1.Next()"),
          "mapObjReader1.Fetch() = " + read, read + ".GetUid() = uid stored",
          read + ".MakeReadListPrim(tag float 0) = " + list, list + ".Count() = int 1",
          list + ".More() = int 1", list + ".Next() = float 0.5", list + ".More() = int 0", "~" + list,
          read + ".NeedsDeletion() = bool true", "~" + read})
      expected.push_back(line);
  }
  expected.insert(expected.end(), {"mapObjReader1.More() = int 0", "~mapObjReader1"});
  EXPECT_EQ(m_Recorder.TakeLines(), expected);
  EXPECT_EQ(map.Uid().Entry(), m_Recorder.m_Uid.Entry());
  ASSERT_EQ(map.Count(), 2);
  EXPECT_EQ(Elements(map.ConstGet("y"_cow)), std::vector<float>{0.5F});
  EXPECT_EQ(map.ConstGet("z"_cow).Uid().Entry(), m_Recorder.m_Uid.Entry());
  EXPECT_EQ(map.ConstGet("z"_cow).OwnerUid(), nullptr);
  EXPECT_EQ(Iterator(map).Key(), "y"_cow);
}

TEST_F(XoMapTest, ReadsAnEmptyMapAsAnEmptyWrapper) {
  cls_ReadVisitor const visitor(m_Recorder.NewReader());
  ObjectMap const map(visitor);
  EXPECT_EQ(m_Recorder.TakeLines(),
            Lines({"read1.GetUid() = uid stored", "read1.MakeReadMapString2Obj() = mapObjReader1",
                   "mapObjReader1.More() = int 0", "~mapObjReader1"}));
  EXPECT_TRUE(map.IsEmpty());
}

TEST_F(XoMapTest, DeletesTheReaderWithoutAskingAndLeavesKeptMementos) {
  m_Recorder.StoreKeys<cow_String>({cow_String("a")});
  m_Recorder.Keep("mapObjReader1");
  m_Recorder.Keep("read2");
  ObjectMap const map(cls_ReadVisitor(m_Recorder.NewReader()));
  EXPECT_EQ(m_Recorder.Live(), Lines({"read2"}));
}

TEST_F(XoMapTest, ReadsNothingWithoutAMemento) {
  cls_ReadVisitor const visitor(nullptr);
  ObjectMap const first(visitor);
  ObjectMap const second(visitor);
  EXPECT_TRUE(first.IsEmpty());
  EXPECT_NE(first.Uid().Entry(), second.Uid().Entry());
}

TEST_F(XoMapTest, FailingReadStepPassesThroughAndLeaksNothing) {
  struct Step {
    char const* m_Operation;
    int m_Nth;
  };
  for (Step const step : {Step{"GetUid", 1}, Step{"MakeReadMapString2Obj", 1}, Step{"More", 1},
                          Step{"Next", 1}, Step{"Fetch", 1}, Step{"Fetch", 2}, Step{"GetUid", 3},
                          Step{"MakeReadListPrim", 2}, Step{"Count", 1}, Step{"Next", 2}}) {
    Recorder recorder;
    recorder.StoreKeys<cow_String>({cow_String("a"), cow_String("b")});
    recorder.StoreList<float>({0.5F});
    recorder.FailAt(step.m_Operation, step.m_Nth);
    {
      cls_ReadVisitor const visitor(recorder.NewReader());
      EXPECT_THROW(ObjectMap{visitor}, BackEndFailure) << step.m_Operation << " " << step.m_Nth;
      EXPECT_EQ(recorder.Live(), Lines({"read1"})) << step.m_Operation << " " << step.m_Nth;
    }
  }
}

// --- A back end that stores one map, so that it can be read back.

struct StoredEntry {
  cow_String m_Key;
  cls_Uid m_Uid;
  std::vector<float> m_Elements;
};
using StoredMap = std::vector<StoredEntry>;

struct EntryElements : RecordingListWriter<float> {
  EntryElements(Recorder& recorder, StoredMap& map) : RecordingListWriter(recorder), m_Map(map) {}
  void Append(float const& element) override { m_Map.back().m_Elements.push_back(element); }
  StoredMap& m_Map;
};
struct EntryWriter : RecordingMementoWrite {
  using RecordingMementoWrite::MakeWriteListPrim;
  EntryWriter(Recorder& recorder, StoredMap& map) : RecordingMementoWrite(recorder), m_Map(map) {}
  cls_WriteListPrim<float>* MakeWriteListPrim(float const*, int) override {
    return new EntryElements(m_Recorder, m_Map);
  }
  StoredMap& m_Map;
};
struct MapWriter : RecordingMapObjWriter<cow_String, cls_WriteMapString2Obj> {
  MapWriter(Recorder& recorder, StoredMap& map) : RecordingMapObjWriter(recorder), m_Map(map) {}
  cls_MementoWrite* MakeWriteObjWithPtr(cow_String const& key, unsigned int, cls_Uid const& uid,
                                        void const*) override {
    m_Map.push_back({key, uid, {}});
    return new EntryWriter(m_Recorder, m_Map);
  }
  StoredMap& m_Map;
};
struct MapMementoWriter : RecordingMementoWrite {
  MapMementoWriter(Recorder& recorder, StoredMap& map) : RecordingMementoWrite(recorder), m_Map(map) {}
  cls_WriteMapString2Obj* MakeWriteMapString2Obj() override { return new MapWriter(m_Recorder, m_Map); }
  StoredMap& m_Map;
};

struct EntryReader : RecordingMementoRead {
  EntryReader(Recorder& recorder, StoredEntry const& entry)
      : RecordingMementoRead(recorder), m_Entry(entry) {}
  cls_Uid const& GetUid() override { return m_Entry.m_Uid; }
  using RecordingMementoRead::MakeReadListPrim;
  cls_ReadListPrim<float>* MakeReadListPrim(float*) override {
    m_Recorder.StoreList(m_Entry.m_Elements);
    return new RecordingListReader<float>(m_Recorder);
  }
  StoredEntry const& m_Entry;
};
struct MapReader : RecordedCollection<cls_ReadMapString2Obj> {
  MapReader(Recorder& recorder, StoredMap const& map) : RecordedCollection(recorder, "map"), m_Map(map) {}
  int More() override { return m_Next < m_Map.size() ? 1 : 0; }
  void Next() override { ++m_Next; }
  int Count() override { return static_cast<int>(m_Map.size()); }
  cls_MementoRead* Fetch(cow_String& key) override {
    key = m_Map[m_Next - 1].m_Key;
    return new EntryReader(m_Recorder, m_Map[m_Next - 1]);
  }
  StoredMap const& m_Map;
  std::size_t m_Next = 0;
};
struct MapMementoReader : RecordingMementoRead {
  MapMementoReader(Recorder& recorder, StoredMap const& map) : RecordingMementoRead(recorder), m_Map(map) {}
  cls_ReadMapString2Obj* MakeReadMapString2Obj() override { return new MapReader(m_Recorder, m_Map); }
  StoredMap const& m_Map;
};

TEST_F(XoMapTest, ReadsBackWhatItWroteWithTheIdentityOfEachValue) {
  m_Map.Insert("C"_cow, Values({-0.5F, 1e30F, 7}));
  StoredMap stored;
  {
    cls_WriteVisitor const visitor(new MapMementoWriter(m_Recorder, stored));
    m_Map.DBWrite(visitor);
  }
  ASSERT_EQ(stored.size(), 3U);
  ObjectMap const map(cls_ReadVisitor(new MapMementoReader(m_Recorder, stored)));
  ASSERT_EQ(map.Count(), 3);
  Iterator expected(m_Map);
  for (Iterator entry(map); !entry.IsDone(); entry.Next(), expected.Next()) {
    EXPECT_EQ(entry.Key(), expected.Key());
    EXPECT_EQ(Elements(entry.Value()), Elements(expected.Value()));
    EXPECT_EQ(entry.Value().Uid().Entry(), expected.Value().Uid().Entry());
  }
  EXPECT_TRUE(expected.IsDone());
}

TEST_F(XoMapTest, OfTwoStoredEntriesUnderOneKeyTheLastIsKept) {
  StoredMap const stored{{"k"_cow, cls_Uid(), {1}}, {"j"_cow, cls_Uid(), {5}}, {"k"_cow, cls_Uid(), {2, 3}}};
  ObjectMap const map(cls_ReadVisitor(new MapMementoReader(m_Recorder, stored)));
  EXPECT_EQ(map.Count(), 2);
  EXPECT_EQ(Elements(map.ConstGet("k"_cow)), (std::vector<float>{2, 3}));
  EXPECT_EQ(map.ConstGet("k"_cow).Uid().Entry(), stored[2].m_Uid.Entry());
}

// --- As a value. The tests hold the old identity while they compare: a free record is soon reused.

TEST_F(XoMapTest, CopyKeepsAllIdentitiesAndSharesTheEntries) {
  ObjectMap const copy(m_Map);
  EXPECT_EQ(copy.Uid().Entry(), m_Map.Uid().Entry());
  EXPECT_TRUE(copy.SharesStorageWith(m_Map));
  EXPECT_EQ(&copy.ConstGet("a"_cow), &m_Map.ConstGet("a"_cow));
}

TEST_F(XoMapTest, AssigningAContainerGivesOnlyTheMapANewIdentity) {
  cls_Uid const before = m_Map.Uid();
  cow_Map<cow_String, cls_xp1DArrayListFloat> source;
  source.Insert("x"_cow, Values({1}));
  EXPECT_EQ(&(m_Map = source), &m_Map);
  EXPECT_NE(m_Map.Uid().Entry(), before.Entry());
  EXPECT_TRUE(m_Map.SharesStorageWith(source));
}

TEST_F(XoMapTest, AssigningItsOwnContainerOrItselfChangesNothing) {
  ObjectMap const copy(m_Map);
  ObjectMap const& self = m_Map;
  m_Map = static_cast<cow_Map<cow_String, cls_xp1DArrayListFloat> const&>(self);
  EXPECT_EQ(m_Map.Uid().Entry(), copy.Uid().Entry());
  m_Map = self;
  EXPECT_EQ(m_Map.Uid().Entry(), copy.Uid().Entry());
  EXPECT_TRUE(m_Map.SharesStorageWith(copy));
}

TEST_F(XoMapTest, WrapperOfAContainerSharesItsEntriesUnderTheGivenIdentity) {
  cow_Map<cow_String, cls_xp1DArrayListFloat> source;
  source.Insert("x"_cow, Values({1}));
  cls_Uid const uid;
  ObjectMap const map(source, uid);
  EXPECT_EQ(map.Uid().Entry(), uid.Entry());
  EXPECT_TRUE(map.SharesStorageWith(source));
}

TEST_F(XoMapTest, InsertedValueSharesItsElementsAndKeepsItsIdentity) {
  cls_xp1DArrayListFloat const value = Values({4, 5});
  EXPECT_FALSE(m_Map.Insert("b"_cow, value));
  EXPECT_TRUE(ShareElements(m_Map.ConstGet("b"_cow), value));
  EXPECT_EQ(m_Map.ConstGet("b"_cow).Uid().Entry(), value.Uid().Entry());
}

TEST_F(XoMapTest, ChangingOneValueOfACopyKeepsTheOriginalAndSharesOtherElements) {
  ObjectMap copy(m_Map);
  copy.Get("b"_cow).Append(9);
  EXPECT_EQ(Elements(m_Map.ConstGet("b"_cow)), std::vector<float>());
  EXPECT_EQ(Elements(copy.ConstGet("b"_cow)), std::vector<float>{9});
  EXPECT_TRUE(ShareElements(copy.ConstGet("a"_cow), m_Map.ConstGet("a"_cow)));
  EXPECT_EQ(copy.ConstGet("b"_cow).Uid().Entry(), m_Map.ConstGet("b"_cow).Uid().Entry());
  EXPECT_EQ(copy.Uid().Entry(), m_Map.Uid().Entry());
}

TEST_F(XoMapTest, DestroyingAMapReleasesTheIdentitiesOfItsValues) {
  cls_Uid uid;
  {
    ObjectMap map;
    map.Insert("x"_cow, Values({1}));
    uid = map.ConstGet("x"_cow).Uid();
    EXPECT_EQ(uid.Entry()->m_RefCount, 2U);
  }
  EXPECT_EQ(uid.Entry()->m_RefCount, 1U);
}

} // namespace
