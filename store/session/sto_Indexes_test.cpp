#include "store/session/sto_Indexes.h"

#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "describe/dsc_Described.h"
#include "store/session/sto_ClassScan.h"
#include "store/session/sto_IndexSearch.h"
#include "store/session/sto_Session.h"
#include "store/sqlite/sto_SqliteDriver.h"
#include "store/sto_CheckClasses.h"
#include "tests/support/store/StoreIndexed.h"

namespace {

class StoreIndexes : public StoreIndexedTest {};

std::string WithoutSpace(std::string text) {
  std::erase_if(text, [](char each) { return std::isspace(static_cast<unsigned char>(each)) != 0; });
  return text;
}

TEST_F(StoreIndexes, TablesAndRowsAreAsDescribed) {
  std::ifstream file(KVL_DOCS_DIR "/store-format.md");
  std::string const document{std::istreambuf_iterator<char>(file), {}};
  std::size_t const start = document.find("CREATE TABLE index_name");
  ASSERT_NE(start, std::string::npos);
  Start<RenamedPart>();
  m_Store->Save("part", RenamedPart(17));
  SqlFile sql(Path());
  std::string made;
  for (std::string const& each :
       sql.Texts("SELECT sql FROM sqlite_schema WHERE name LIKE 'index%' ORDER BY rowid"))
    made += each + ";";
  EXPECT_EQ(WithoutSpace(made), WithoutSpace(document.substr(start, document.find("```", start) - start)));
  EXPECT_EQ(sql.Texts("SELECT no || ' ' || place || ' ' || class_id || ' ' || name FROM index_name"),
            (std::vector<std::string>{"1 0 7733249 m_Key", "1 1 7733249 m_Id"}));
  EXPECT_EQ(sql.Texts("SELECT no || ' ' || hex(key) || ' ' || id FROM index_entry"),
            (std::vector<std::string>{"1 01C031 1"}));
  // Computed without the module.
  EXPECT_EQ(sql.Integer("SELECT count(*) FROM index_name "
                        "WHERE checksum = row_checksum('index_name', no, place, class_id, name)"),
            2);
  EXPECT_EQ(
      sql.Integer("SELECT count(*) FROM index_entry "
                  "WHERE checksum & 4294967295 = row_checksum('index_entry', no, key, id) & 4294967295"),
      1);
}

TEST_F(StoreIndexes, ObjectsAreFoundByTheirValues) {
  Start<IndexedPart, IndexedBolt>();
  for (int i = 0; i < 40; ++i) m_Store->Save(std::to_string(i), IndexedPart(i % 10));
  EXPECT_EQ(ValuesFound(17, 17), Values{});
  EXPECT_EQ(ValuesFound(3, 3), (Values{3, 3, 3, 3}));
  EXPECT_EQ(ValuesFound(8, 100), (Values{8, 8, 8, 8, 9, 9, 9, 9}));
  EXPECT_EQ(ValuesFound({}, 0), (Values{0, 0, 0, 0}));
  EXPECT_EQ(ValuesFound({}, {}).size(), 40U);
  EXPECT_TRUE(m_UsedIndex);
}

TEST_F(StoreIndexes, ChangedAndDeletedObjectsAreFoundAsTheyAre) {
  Start<IndexedPart, IndexedBolt>();
  IndexedPart part(1);
  m_Store->Save("part", part);
  m_Store->Save("other", IndexedPart(1));
  part.m_Id = 2;
  m_Store->Save("part", part);
  EXPECT_EQ(ValuesFound({}, {}), (Values{1, 2}));
  m_Store->RemoveRoot("part");
  m_Store->CollectGarbage();
  EXPECT_EQ(ValuesFound({}, {}), (Values{1}));
  EXPECT_EQ(m_Store->RemoveRootAndContent("other"), 1);
  EXPECT_EQ(ValuesFound({}, {}), Values{});
  EXPECT_EQ(Entries(), 0);
}

TEST_F(StoreIndexes, ObjectsOfDerivedClassesAreFoundAndClassesAreToldApart) {
  Start<IndexedPart, IndexedBolt>();
  m_Store->Save("part", IndexedPart(5));
  m_Store->Save("bolt", IndexedBolt(5, 2.5));
  m_Store->Save("plain", IndexedBolt(6, 1.5));
  EXPECT_EQ(ValuesFound(5, 6), (Values{5, 5, 6}));
  EXPECT_EQ(ValuesFound(5, 6, IndexedBolt::TypeId()), (Values{5, 6}));
  EXPECT_TRUE(m_UsedIndex);
}

TEST_F(StoreIndexes, SavingAnObjectWhoseValueIsTheSameWritesNoEntry) {
  Start<IndexedPart, IndexedBolt>();
  IndexedPart part(1);
  m_Store->Save("part", part);
  part.m_Note = "another";
  m_Plan.m_Calls.clear();
  m_Store->Save("part", part);
  EXPECT_EQ(m_Plan.m_Calls["WriteObject"], 1);
  EXPECT_EQ(m_Plan.m_Calls["AddToIndex"] + m_Plan.m_Calls["RemoveFromIndex"], 0);
}

TEST_F(StoreIndexes, UncommittedWorkIsFoundAndUndoneWorkIsNot) {
  Start<IndexedPart, IndexedBolt>();
  m_Store->Save("kept", IndexedPart(1));
  {
    sto_Transaction transaction(*m_Store);
    m_Store->Save("new", IndexedPart(2));
    EXPECT_EQ(ValuesFound({}, {}), (Values{1, 2}));
    EXPECT_THROW(m_Store->Save("failing", IndexedPart(-1)), std::runtime_error);
    EXPECT_EQ(ValuesFound({}, {}), (Values{1, 2}));
    EXPECT_EQ(Scanned(IndexedPart::TypeId()), 2);
  }
  EXPECT_EQ(ValuesFound({}, {}), (Values{1}));
  EXPECT_EQ(Entries(), 1);
}

TEST_F(StoreIndexes, SaveOfMoreThanIsKeptInMemoryIsUndone) {
  Start<IndexedPart, IndexedBolt, IndexedBox>();
  m_Store->Save("kept", IndexedPart(7));
  sto_Transaction transaction(*m_Store);
  m_Store->Save("before", IndexedPart(8));
  IndexedBox box(40'000);
  box.m_Parts.back()->m_Id = -1; // fails after all others are written
  EXPECT_THROW(m_Store->Save("box", box), std::runtime_error);
  EXPECT_EQ(ValuesFound({}, {}), (Values{7, 8}));
  box.m_Parts.pop_back();
  m_Store->Save("box", box);
  transaction.Commit();
  EXPECT_EQ(ValuesFound(20'000, 20'002), (Values{20'000, 20'001, 20'002}));
  EXPECT_EQ(Entries(), 2 + 39'999);
}

TEST_F(StoreIndexes, IndexIsMadeOfWhatIsStoredWhenTheStoreIsOpened) {
  Start<PlainPart, PlainBolt>();
  for (int i = 0; i < 1000; ++i) m_Store->Save(std::to_string(i), PlainBolt(i, 0.5));
  EXPECT_EQ(ValuesFound(10, 12), (Values{10, 11, 12}));
  EXPECT_FALSE(m_UsedIndex);
  EXPECT_EQ(Features(), "");
  Reopen<IndexedPart, IndexedBolt>();
  EXPECT_EQ(ValuesFound(10, 12), (Values{10, 11, 12}));
  EXPECT_TRUE(m_UsedIndex);
  EXPECT_EQ(Entries(), 1000);
  EXPECT_EQ(Features(), "indexes");
  EXPECT_EQ(m_Store->Saves().back().m_Note, "made 1 index");
}

TEST_F(StoreIndexes, ReadOnlyStoreWithoutTheIndexIsScanned) {
  Start<PlainPart, PlainBolt>();
  for (int i = 0; i < 100; ++i) m_Store->Save(std::to_string(i), PlainBolt(99 - i, 0.5));
  Reopen<IndexedPart, IndexedBolt>(sto_Mode::ReadOnly);
  EXPECT_EQ(ValuesFound(10, 12), (Values{10, 11, 12}));
  EXPECT_FALSE(m_UsedIndex);
}

TEST_F(StoreIndexes, ProgramsThatDoNotDeclareTheIndexKeepIt) {
  Start<IndexedPart, IndexedBolt>();
  m_Store->Save("indexed", IndexedPart(1));
  Reopen<PlainPart, PlainBolt>();
  m_Store->Save("plain", PlainPart(2));
  auto const loaded = m_Store->Load<PlainPart>("indexed");
  loaded->m_Id = 3;
  m_Store->Save("indexed", *loaded);
  EXPECT_EQ(ValuesFound({}, {}), (Values{2, 3}));
  EXPECT_TRUE(m_UsedIndex);
}

TEST_F(StoreIndexes, CollectorKeepsTheIndexOfClassesThatTheProgramDoesNotKnow) {
  Start<IndexedPart, IndexedBolt>();
  m_Store->Save("part", IndexedPart(1));
  m_Store->Save("bolt", IndexedBolt(2, 1.0));
  Reopen<Unrelated>();
  m_Store->RemoveRoot("bolt");
  EXPECT_EQ(m_Store->CollectGarbage(), 1);
  Reopen<IndexedPart, IndexedBolt>();
  EXPECT_EQ(ValuesFound({}, {}), (Values{1}));
  EXPECT_EQ(Entries(), 1);
}

TEST_F(StoreIndexes, CopiesOfRootsAreFound) {
  Start<IndexedPart, IndexedBolt>();
  cls_ClassRegistrar const plain;
  sto_Store from = sto_Store::Open(Path("from.kvs"), sto_Mode::Create, *m_Registrar);
  from.Save("bolt", IndexedBolt(4, 1.0));
  sto_CopyRoot(from, "bolt", *m_Store, "copied");
  EXPECT_EQ(ValuesFound({}, {}), (Values{4}));
  m_Store->CopyTo(Path("copy.kvs"));
  Open(sto_Mode::ReadWrite, "copy.kvs");
  EXPECT_EQ(ValuesFound({}, {}), (Values{4}));
  EXPECT_TRUE(m_UsedIndex);
  m_Store->Compact();
  EXPECT_EQ(ValuesFound({}, {}), (Values{4}));
}

TEST_F(StoreIndexes, AnotherSessionThatWroteEarlierKeepsAnIndexThatWasMadeSince) {
  Start<PlainPart, PlainBolt>();
  std::unique_ptr<sto_Store> const earlier = std::move(m_Store);
  earlier->Save("first", PlainPart(1));
  Declare<IndexedPart, IndexedBolt>();
  Open(sto_Mode::ReadWrite);
  m_Store->Save("second", IndexedPart(2));
  earlier->Save("third", PlainPart(3));
  EXPECT_EQ(ValuesFound({}, {}), (Values{1, 2, 3}));
  EXPECT_TRUE(m_UsedIndex);
  m_Store->Save("fourth", IndexedPart(4));
  earlier->RemoveRootAndContent("fourth");
  EXPECT_EQ(ValuesFound({}, {}), (Values{1, 2, 3}));
}

TEST_F(StoreIndexes, EarlierNamesOfTheAttributeCount) {
  Start<PlainPart, PlainBolt>();
  m_Store->Save("old", PlainPart(1));
  Reopen<RenamedPart>();
  m_Store->Save("new", RenamedPart(2));
  EXPECT_EQ(ValuesFound({}, {}, RenamedPart::TypeId(), "m_Key"), (Values{1, 2}));
  EXPECT_TRUE(m_UsedIndex);
  auto const loaded = m_Store->Load<RenamedPart>("old");
  m_Store->Save("old", *loaded); // under the new name now, with the same value
  EXPECT_EQ(ValuesFound(1, 1, RenamedPart::TypeId(), "m_Key"), (Values{1}));
  EXPECT_EQ(Entries(), 2);
}

TEST_F(StoreIndexes, IndexKeepsTheEarlierNamesThatAnyProgramSays) {
  Start<RenamedPart>();
  m_Store->Save("part", RenamedPart(2));
  auto const names = [&] {
    return SqlFile(Path()).Texts(
        "SELECT name FROM index_name WHERE no = (SELECT max(no) FROM index_name) ORDER BY place");
  };
  auto const openSaying = [&](char const* earlierName) {
    m_Store.reset();
    Declare<RenamedPart>();
    m_Registrar->ChangesOf(RenamedPart::TypeId()).Was("m_Key", earlierName);
    Open(sto_Mode::ReadWrite);
    EXPECT_EQ(ValuesFound({}, {}, RenamedPart::TypeId(), "m_Key"), (Values{2}));
    EXPECT_TRUE(m_UsedIndex);
  };
  openSaying("m_Number");
  EXPECT_EQ(names(), (std::vector<std::string>{"m_Key", "m_Id", "m_Number"}));
  openSaying("m_No");
  std::vector<std::string> const all{"m_Key", "m_Id", "m_No", "m_Number"};
  EXPECT_EQ(names(), all);
  std::size_t const saves = m_Store->Saves().size();
  openSaying("m_Number");
  EXPECT_EQ(names(), all);
  EXPECT_EQ(m_Store->Saves().size(), saves); // it was not made again
}

TEST_F(StoreIndexes, IndexThatNobodyDeclaresCanBeDropped) {
  Start<IndexedPart, IndexedBolt>();
  m_Store->Save("part", IndexedPart(1));
  EXPECT_EQ(KindOf([&] { m_Store->DropIndex(IndexedPart::TypeId(), "m_Id"); }), sto_ErrorKind::Misuse);
  Reopen<PlainPart, PlainBolt>();
  EXPECT_FALSE(m_Store->DropIndex(IndexedPart::TypeId(), "m_Other"));
  EXPECT_TRUE(m_Store->DropIndex(IndexedPart::TypeId(), "m_Id"));
  EXPECT_EQ(ValuesFound({}, {}), (Values{1}));
  EXPECT_FALSE(m_UsedIndex);
  EXPECT_EQ(Features(), "");
  m_Store->Save("more", PlainPart(2));
  Reopen<IndexedPart, IndexedBolt>();
  EXPECT_EQ(ValuesFound({}, {}), (Values{1, 2}));
  EXPECT_EQ(Entries(), 2);
}

TEST_F(StoreIndexes, ObjectWhoseRecordIsDamagedLosesItsEntryWhenItIsReplaced) {
  Start<IndexedPart, IndexedBolt>();
  IndexedPart part(1);
  m_Store->Save("part", part);
  m_Store->Save("other", IndexedPart(2));
  {
    SqlFile file(Path());
    file.Unpack();
    file.Run("UPDATE object SET record = substr(record, 1, length(record) - 1) || x'00' WHERE id = 1");
  }
  part.m_Id = 9;
  m_Store->Save("part", part);
  EXPECT_EQ(ValuesFound({}, {}), (Values{2, 9}));
  EXPECT_EQ(Entries(), 2);
}

TEST_F(StoreIndexes, EachKindOfValueIsFoundInItsOrder) {
  Declare<IndexedValues>();
  m_Registrar->NotesOf(IndexedValues::TypeId(), 1).Index("m_Inner.m_Depth"); // of a struct in the object
  Create();
  std::vector<double> const reals{-std::numeric_limits<double>::infinity(),
                                  -1e300,
                                  -2.5,
                                  -0.0,
                                  1e-310,
                                  2.5,
                                  std::numeric_limits<double>::infinity(),
                                  std::numeric_limits<double>::quiet_NaN()};
  std::vector<std::uint64_t> const numbers{0,          1,         255,  (1ULL << 53) + 1, (1ULL << 63) - 1,
                                           1ULL << 63, ~0ULL - 1, ~0ULL};
  std::vector<std::string> const texts{"", "A", "AB", "B", "a", std::string("a\0b", 3), "\xC3\xA4", "\xFF"};
  for (std::size_t i = reals.size(); i-- > 0;)
    m_Store->Save(std::to_string(i), IndexedValues(static_cast<int>(i), reals[i], numbers[i], texts[i]));
  auto const order = [&](std::string_view attribute) {
    Values labels;
    for (std::int64_t const id : IdsFound(IndexedValues::TypeId(), attribute, {}))
      labels.push_back(LabelOf(id));
    EXPECT_TRUE(m_UsedIndex) << attribute;
    return labels;
  };
  Values const ascending{0, 1, 2, 3, 4, 5, 6, 7};
  EXPECT_EQ(order("m_Real"), ascending);
  EXPECT_EQ(order("m_Number"), ascending);
  EXPECT_EQ(order("m_Text"), ascending);
  EXPECT_EQ(order("m_Signed"), (Values{7, 6, 5, 4, 3, 2, 1, 0})); // -label
  EXPECT_EQ(IdsFound(IndexedValues::TypeId(), "m_Real", sto_IndexSearch::Equal(sto_IndexKey::Of(0.0))).size(),
            1U);
  EXPECT_EQ(
      IdsFound(IndexedValues::TypeId(), "m_Letter", sto_IndexSearch::Equal(sto_IndexKey::Of('c'))).size(),
      1U);
  EXPECT_EQ(
      IdsFound(IndexedValues::TypeId(), "m_IsOdd", sto_IndexSearch::Equal(sto_IndexKey::Of(true))).size(),
      4U);
  EXPECT_EQ(IdsFound(IndexedValues::TypeId(), "m_Kind",
                     sto_IndexSearch::Equal(sto_IndexKey::Of(IndexedValues::Kind::Second)))
                .size(),
            4U);
  EXPECT_EQ(IdsFound(IndexedValues::TypeId(), "m_Inner.m_Depth", sto_IndexSearch::Equal(sto_IndexKey::Of(3)))
                .size(),
            1U);
  EXPECT_TRUE(m_UsedIndex);
}

TEST_F(StoreIndexes, WhatCannotBeIndexedIsRefusedWithItsName) {
  for (char const* const attribute : {"m_Parts", "m_Missing"}) {
    cls_ClassRegistrar registrar;
    IndexedBox::Declare(registrar);
    registrar.NotesOf(IndexedBox::TypeId(), 1).Index(attribute);
    std::string const message = MessageOf(sto_ErrorKind::Misuse, [&] {
      static_cast<void>(sto_Store::Open(Path("refused.kvs"), sto_Mode::Create, registrar));
    });
    EXPECT_NE(message.find("IndexedBox"), std::string::npos) << message;
    EXPECT_NE(message.find(attribute), std::string::npos) << message;
  }
}

TEST_F(StoreIndexes, SearchByAnAttributeThatNobodyDeclaresIsMisuse) {
  Start<IndexedPart, IndexedBolt>();
  EXPECT_EQ(KindOf([&] { static_cast<void>(ValuesFound({}, {}, IndexedPart::TypeId(), "m_Missing")); }),
            sto_ErrorKind::Misuse);
}

TEST_F(StoreIndexes, DamagedEntriesAreFoundByTheSearchThatMeetsThem) {
  for (char const* const change : {"UPDATE index_entry SET key = x'01C01C' WHERE id = 3",
                                   "UPDATE index_entry SET checksum = checksum + 1 WHERE id = 3",
                                   "UPDATE index_entry SET id = 77 WHERE id = 3"}) {
    SCOPED_TRACE(change);
    Start<IndexedPart, IndexedBolt>();
    for (int i = 1; i <= 9; ++i) m_Store->Save(std::to_string(i), IndexedPart(i));
    m_Store.reset();
    SqlFile(Path()).Run(change);
    Open(sto_Mode::ReadWrite);
    EXPECT_EQ(KindOf([&] { static_cast<void>(ValuesFound({}, {})); }), sto_ErrorKind::Damaged);
    m_Store.reset();
    std::filesystem::remove(Path());
  }
}

TEST_F(StoreIndexes, CheckComparesTheEntriesWithTheObjects) {
  Start<IndexedPart, IndexedBolt>();
  for (int i = 1; i <= 9; ++i) m_Store->Save(std::to_string(i), IndexedPart(i));
  EXPECT_TRUE(m_Store->Check(sto_CheckDepth::Full).IsSound());
  struct Case {
    char const* m_Sql;
    std::vector<std::string> m_Texts;
  };
  std::string const seal = "UPDATE index_entry SET checksum = "
                           "(row_checksum('index_entry', no, key, id) << 32) >> 32 WHERE id IN (3, 77)";
  std::string const index = "Index 1, of attribute m_Id of class Part, ";
  for (auto const& [sql, texts] :
       {Case{"DELETE FROM index_entry WHERE id = 3", {index + "has no entry of object 3."}},
        Case{"UPDATE index_entry SET key = x'01C01C' WHERE id = 3",
             {index + "has an entry of object 3 for a value that the object does not have.",
              index + "has no entry of object 3."}},
        Case{"UPDATE index_entry SET id = 77 WHERE id = 3",
             {index + "has an entry of object 77, which is not stored.",
              index + "has no entry of object 3."}}}) {
    SCOPED_TRACE(sql);
    m_Store.reset();
    std::filesystem::copy_file(Path(), Path("damaged.kvs"),
                               std::filesystem::copy_options::overwrite_existing);
    {
      SqlFile file(Path("damaged.kvs"));
      file.Run(sql);
      file.Run(seal);
    }
    Open(sto_Mode::ReadOnly, "damaged.kvs");
    sto_CheckReport const report = m_Store->Check(sto_CheckDepth::Full);
    std::vector<std::string> found;
    for (sto_CheckFinding const& finding : report.m_Findings) {
      EXPECT_EQ(sto_CheckKindName(finding.m_Kind), std::string("Index"));
      found.push_back(finding.m_Text);
    }
    EXPECT_EQ(found, texts);
    EXPECT_EQ(report.m_IsSumRight, true);
    Open(sto_Mode::ReadOnly);
  }
  m_Store.reset();
  SqlFile(Path()).Run("UPDATE index_entry SET checksum = checksum + 1 WHERE id = 3");
  Open(sto_Mode::ReadOnly);
  sto_CheckReport const report = m_Store->Check(sto_CheckDepth::Full);
  ASSERT_EQ(report.m_Findings.size(), 1U);
  EXPECT_EQ(report.m_Findings.front().m_Text,
            "The entry of object 3 in index 1, in table index_entry, does not fit its checksum.");
}

TEST_F(StoreIndexes, DamagedNameOfAnIndexIsFound) {
  Start<IndexedPart, IndexedBolt>();
  m_Store.reset();
  SqlFile(Path()).Run("UPDATE index_name SET name = 'm_Ib'");
  EXPECT_EQ(KindOf([&] { Open(sto_Mode::ReadWrite); }), sto_ErrorKind::Damaged);
}

TEST_F(StoreIndexes, ScanVisitsTheObjectsOfAClassInOrder) {
  Start<IndexedPart, IndexedBolt, IndexedBox>();
  for (int i = 0; i < 300; ++i) {
    if (i % 3 == 0) m_Store->Save(std::to_string(i), IndexedPart(i));
    if (i % 3 == 1) m_Store->Save(std::to_string(i), IndexedBolt(i, 1.0));
    if (i % 3 == 2)
      m_Store->Save(std::to_string(i), IndexedPart(i, std::string(2000, 'x'))); // a row of its own
  }
  m_Store->Save("box", IndexedBox(10));
  m_Store->RemoveRootAndContent("0");
  EXPECT_EQ(Scanned(IndexedPart::TypeId()), 309);
  EXPECT_EQ(Scanned(IndexedBolt::TypeId()), 100);
  EXPECT_EQ(Scanned(IndexedBox::TypeId()), 1);
  EXPECT_EQ(Scanned(Unrelated::TypeId()), 0);
}

TEST_F(StoreIndexes, StoreOfAnOlderFormatIsScannedAndIndexedWhenItIsUpgraded) {
  Start<PlainPart, PlainBolt>();
  for (int i = 0; i < 100; ++i) m_Store->Save(std::to_string(i), PlainBolt(i, 0.5));
  m_Store.reset();
  MakeStoreOfOldFormat(Path(), 3);
  Declare<IndexedPart, IndexedBolt>();
  Open(sto_Mode::ReadOnly);
  EXPECT_EQ(ValuesFound(10, 12), (Values{10, 11, 12}));
  m_Store.reset();
  sto_Options options;
  options.m_Upgrade = true;
  Open(sto_Mode::ReadWrite, "test.kvs", options);
  EXPECT_EQ(ValuesFound(10, 12), (Values{10, 11, 12}));
  EXPECT_TRUE(m_UsedIndex);
}

TEST_F(StoreIndexes, ProgramThatDoesNotKnowAFeatureReadsAStoreWithItsTables) {
  Start<IndexedPart, IndexedBolt>();
  m_Store->Save("part", IndexedPart(1));
  m_Store.reset();
  {
    SqlFile file(Path());
    file.Run("CREATE TABLE lunar(phase INTEGER PRIMARY KEY, name TEXT UNIQUE)");
    file.Run("UPDATE meta SET value = 'indexes tidal' WHERE key = 'features_to_write'");
    SealHeader(file);
  }
  EXPECT_EQ(KindOf([&] { Open(sto_Mode::ReadWrite); }), sto_ErrorKind::ReadOnly);
  Open(sto_Mode::ReadOnly);
  EXPECT_EQ(m_Store->Load<IndexedPart>("part")->m_Id, 1);
  EXPECT_EQ(ValuesFound({}, {}), (Values{1}));
}

TEST_F(StoreIndexes, TablesWithoutTheFeatureAndTheFeatureWithoutTablesAreDamage) {
  Start<IndexedPart, IndexedBolt>();
  m_Store.reset();
  {
    SqlFile file(Path());
    file.Run("UPDATE meta SET value = '' WHERE key = 'features_to_write'");
    SealHeader(file);
  }
  EXPECT_EQ(KindOf([&] { Open(sto_Mode::ReadOnly); }), sto_ErrorKind::Damaged);
  {
    SqlFile file(Path());
    file.Run("UPDATE meta SET value = 'indexes' WHERE key = 'features_to_write'");
    SealHeader(file);
    file.Run("DROP TABLE index_entry");
  }
  EXPECT_EQ(KindOf([&] { Open(sto_Mode::ReadOnly); }), sto_ErrorKind::Damaged);
}

TEST_F(StoreIndexes, FailureOfEachCallWhileAnIndexIsMadeLeavesTheStoreWithoutIt) {
  Start<PlainPart, PlainBolt>();
  for (int i = 0; i < 50; ++i) m_Store->Save(std::to_string(i), PlainPart(i));
  m_Store.reset();
  Declare<IndexedPart, IndexedBolt>();
  for (int call = 1;; ++call) {
    m_Plan.m_CallsLeft = call;
    m_Plan.m_FailedCall.clear();
    try {
      Open(sto_Mode::ReadWrite);
    } catch (sto_Exception const&) {
    }
    m_Plan.m_CallsLeft = 0;
    if (m_Plan.m_FailedCall.empty()) break;
    m_Store.reset();
    EXPECT_EQ(Features(), m_Plan.m_FailedCall == "Commit" ? Features() : "") << m_Plan.m_FailedCall;
    EXPECT_EQ(IntegrityOf(Path()), "ok");
  }
  EXPECT_EQ(ValuesFound(10, 12), (Values{10, 11, 12}));
  EXPECT_TRUE(m_UsedIndex);
}

} // namespace
