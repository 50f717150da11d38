#include <algorithm>
#include <cctype>
#include <fstream>
#include <numeric>
#include <random>
#include <sstream>
#include <stdexcept>

#include "tests/support/store/StorePages.h"
#include "wrappers/cls_xp1DArrayList.h"

namespace {

TEST_F(StorePacks, RecordOfUpTo1024BytesIsInAPackAndALongerOneInARow) {
  std::vector<std::int64_t> packed; // sizes of pack rows with one record
  std::vector<std::int64_t> rows;   // sizes of records in separate rows
  for (std::size_t length = 900; length < 1024; ++length) {
    std::filesystem::remove(Path());
    Create().Save("page", Page(length));
    SqlFile file(Path());
    ASSERT_EQ(Rows() + Packs(), 1) << length;
    if (Rows() == 0)
      packed.push_back(file.Integer("SELECT length(data) FROM pack"));
    else
      rows.push_back(file.Integer("SELECT length(record) FROM object"));
  }
  ASSERT_FALSE(packed.empty() || rows.empty());
  EXPECT_EQ(packed.back(), 8 + 4 + 2 + 1024); // bitmap of present objects, class ID, size
  EXPECT_EQ(rows.front(), 1025);
  EXPECT_TRUE(std::is_sorted(packed.begin(), packed.end()));
}

TEST_F(StorePacks, ObjectsWith64NeighbouringIdsShareARow) {
  SaveAll(std::vector<Page>(200, Page(Short))); // all copies of one object, so it is stored once
  EXPECT_EQ(m_Store->ObjectCount(), 1);
  std::vector<Page> pages(200);
  SaveAll(pages);
  EXPECT_EQ(SqlFile(Path()).Texts("SELECT key FROM pack ORDER BY key"),
            (std::vector<std::string>{"0", "1", "2", "3"}));
  ExpectWhole(201);
}

TEST_F(StorePacks, ObjectThatGrowsLeavesItsPackAndReturnsWhenItShrinks) {
  for (bool const inOneTransaction : {false, true}) {
    for (bool const reopened : {false, true}) {
      SCOPED_TRACE(std::to_string(inOneTransaction) + std::to_string(reopened));
      std::vector<Page> pages(3);
      SaveAll(pages);
      if (reopened) Reopen();
      if (reopened)
        for (std::size_t i = 0; i < 3; ++i) pages[i] = *m_Store->Load<Page>(NameOf(i));
      std::unique_ptr<sto_Transaction> transaction;
      if (inOneTransaction) transaction = std::make_unique<sto_Transaction>(*m_Store);
      for (std::size_t const length : {Long, Short, Short + 1, Long, Long + 1, std::size_t{0}, Long, Short}) {
        pages[1].m_Text.assign(length, 'x');
        m_Store->Save(NameOf(1), pages[1]);
        ASSERT_EQ(TextUnder(NameOf(1)), pages[1].m_Text);
        if (inOneTransaction) continue;
        ASSERT_EQ(Rows(), length == Short || length <= Short + 1 ? 0 : 1) << length;
      }
      if (transaction) transaction->Commit();
      EXPECT_EQ(Rows(), 0);
      ExpectAll(pages);
      EXPECT_EQ(CountedByHand(), m_Store->ObjectCount());
    }
  }
}

TEST_F(StorePacks, PackWhoseLastObjectGrowsGoes) {
  Page page(Short);
  m_Store->Save("page", page);
  EXPECT_EQ(Packs(), 1);
  page.m_Text.assign(Long, 'x');
  m_Store->Save("page", page);
  EXPECT_EQ(Packs(), 0);
  ExpectWhole(1);
  m_Store->Save("next", Page(Short)); // ids continue
  EXPECT_EQ(Query("SELECT object_id FROM root WHERE name = 'next'"), 2);
  ExpectWhole(2);
}

TEST_F(StorePacks, ThousandsOfObjectsInShuffledOrderAreWhatWasSaved) {
  std::mt19937 random(20240611);
  std::vector<Page> pages(3000);
  SaveAll(pages);
  std::vector<std::size_t> order(pages.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  for (int round = 0; round < 4; ++round) {
    SCOPED_TRACE(round);
    std::shuffle(order.begin(), order.end(), random);
    {
      sto_Transaction transaction(*m_Store);
      for (std::size_t const i : order) {
        pages[i].m_Text.assign(random() % 10 == 0 ? 1000 + random() % 500 : random() % 200, 'a' + round);
        m_Store->Save(NameOf(i), pages[i]);
        std::size_t const other = random() % pages.size();
        ASSERT_EQ(TextUnder(NameOf(other)), pages[other].m_Text);
      }
      transaction.Commit();
    }
    ExpectWhole(pages.size());
    ExpectAll(pages);
    sto_Store other = Open(sto_Mode::ReadOnly);
    Compare(other, pages);
  }
}

TEST_F(StorePacks, ChildrenWrittenBeforeTheirParentsAreInTheirPacks) {
  std::function<std::shared_ptr<Node>(int)> const tree = [&](int value) -> std::shared_ptr<Node> {
    if (value >= 4096) return nullptr;
    auto node = std::make_shared<Node>(value);
    node->m_Left = tree(2 * value);
    node->m_Right = tree(2 * value + 1);
    return node;
  };
  m_Store->Save("tree", *tree(1)); // ids are assigned from the root down, records written from the leaves up
  EXPECT_EQ(Packs(), 64);
  ExpectWhole(4095);
  Reopen();
  std::function<int(Node const&, int)> const check = [&](Node const& node, int value) {
    EXPECT_EQ(node.m_Value, value);
    return 1 + (node.m_Left ? check(*node.m_Left, 2 * value) : 0) +
           (node.m_Right ? check(*node.m_Right, 2 * value + 1) : 0);
  };
  EXPECT_EQ(check(*m_Store->LoadShared<Node>("tree"), 1), 4095);
}

TEST_F(StorePacks, ReplacedRecordsOfALongTransactionLeaveNothingBehind) {
  std::vector<Page> pages(3);
  SaveAll(pages);
  {
    sto_Transaction transaction(*m_Store);
    for (int i = 0; i < 2000; ++i) {
      Page& page = pages[static_cast<std::size_t>(i % 3)];
      page.m_Text.assign(static_cast<std::size_t>(i % 900), 'x');
      m_Store->Save(NameOf(static_cast<std::size_t>(i % 3)), page);
      if (i % 50 == 0) Compare(*m_Store, pages);
    }
    transaction.Commit();
  }
  ExpectAll(pages);
  ExpectWhole(3);
  EXPECT_LT(Query("SELECT length(data) FROM pack"), 3 * 1000);
}

TEST_F(StorePacks, RolledBackTransactionLeavesThePacksAsTheyWere) {
  std::vector<Page> pages(1000);
  for (std::size_t i = 0; i < pages.size(); i += 7) pages[i].m_Text.assign(Long, 'l');
  SaveAll(pages);
  std::vector<std::string> const before = PackBytes();
  {
    sto_Transaction const transaction(*m_Store);
    std::vector<Page> more(500);
    for (std::size_t i = 0; i < more.size(); ++i) m_Store->Save("more " + std::to_string(i), more[i]);
    for (std::size_t i = 0; i < pages.size(); i += 3) {
      Page changed = pages[i];
      changed.m_Text.assign(i % 2 == 0 ? Long : Short, 'c');
      m_Store->Save(NameOf(i), changed);
    }
    EXPECT_EQ(m_Store->ObjectCount(), 1500);
  }
  EXPECT_EQ(PackBytes(), before);
  ExpectAll(pages);
  SaveAll(pages);
  EXPECT_EQ(PackBytes(), before);
  ExpectWhole(1000);
}

TEST_F(StorePacks, FailedSaveTakesBackItsOwnRecordsOnly) {
  std::vector<Page> pages(1500);
  SaveAll(pages);
  auto const set = [&](std::size_t first, char letter, std::size_t length) {
    for (std::size_t i = first; i < pages.size(); i += 5) {
      pages[i].m_Text.assign(length, letter);
      m_Store->Save(NameOf(i), pages[i]);
    }
  };
  for (std::size_t const length : {Short, Long}) {
    sto_Transaction transaction(*m_Store);
    set(0, 'b', length); // before the mark, in all packs
    FailingBook book;
    std::vector<Page> const undone = pages;
    for (std::size_t i = 0; i < 290; ++i) book.m_Pages.push_back(&pages[i * 5 + i % 2]);
    for (std::size_t i = 0; i < 290; ++i) pages[i * 5 + i % 2].m_Text.assign(i % 3 == 0 ? Long : Short, 'u');
    EXPECT_THROW(m_Store->Save("book", book), std::runtime_error);
    for (std::size_t i = 0; i < pages.size(); ++i) pages[i].m_Text = undone[i].m_Text;
    Compare(*m_Store, pages);
    set(2, 'a', length); // after it
    transaction.Commit();
    ExpectAll(pages);
    ExpectWhole(pages.size());
  }
  Reopen();
  ExpectAll(pages);
}

TEST_F(StorePacks, ObjectCountCountsBothTablesAndWhatIsNotWrittenYet) {
  std::vector<Page> pages(130);
  pages[5].m_Text.assign(Long, 'l');
  sto_Transaction transaction(*m_Store);
  for (std::size_t i = 0; i < pages.size(); ++i) {
    m_Store->Save(NameOf(i), pages[i]);
    ASSERT_EQ(m_Store->ObjectCount(), static_cast<std::int64_t>(i + 1));
  }
  pages[5].m_Text.clear();
  m_Store->Save(NameOf(5), pages[5]);
  EXPECT_EQ(m_Store->ObjectCount(), 130);
  transaction.Commit();
  EXPECT_EQ(m_Store->ObjectCount(), 130);
  EXPECT_EQ(Open(sto_Mode::ReadOnly).ObjectCount(), 130);
}

TEST_F(StorePacks, NextObjectIdInUseByAPackedObjectIsNoticedBeforeItIsGivenOut) {
  std::vector<Page> pages(100);
  SaveAll(pages);
  SqlFile file(Path());
  for (int const next : {1, 64, 65, 99, 100}) {
    file.Run("UPDATE meta SET value = " + std::to_string(next) + " WHERE key = 'next_object_id'");
    std::string const message = MessageOf(sto_ErrorKind::Damaged, [&] { m_Store->Save("new", Page()); });
    EXPECT_TRUE(Contains(message, "100")) << message;
  }
  file.Run("UPDATE meta SET value = 101 WHERE key = 'next_object_id'");
  m_Store->Save("new", Page());
  ExpectWhole(101);
}

/// A store with rows in table object as in format 2.
class StoreOldRows : public StorePacks {
 protected:
  void SetUp() override {
    StorePacks::SetUp();
    m_Pages.resize(150);
    m_Pages[3].m_Text.assign(Long, 'l');
    SaveAll(m_Pages);
    SqlFile(Path()).Unpack();
  }
  void MakeFormat2() {
    SqlFile(Path()).Run("DROP TABLE pack; DROP TABLE moved_block; DROP TABLE block_place;"
                        "PRAGMA user_version = 2");
    m_Store.reset();
    m_Store = std::make_unique<sto_Store>(Open());
  }
  std::vector<Page> m_Pages;
};

TEST_F(StoreOldRows, AreReadBesidePacks) {
  ExpectAll(m_Pages);
  m_Store->Save("new", Page(Short));
  EXPECT_EQ(Packs(), 1);
  ExpectAll(m_Pages);
  ExpectWhole(151);
}

TEST_F(StoreOldRows, ReturnToPacksWhenTheyAreSavedAgainAndTheirRowsGo) {
  for (std::size_t i = 0; i < m_Pages.size(); i += 2) {
    m_Pages[i].m_Text += "again";
    m_Store->Save(NameOf(i), m_Pages[i]);
    ASSERT_EQ(Rows(), static_cast<std::int64_t>(150 - i / 2 - 1));
  }
  ExpectAll(m_Pages);
  ExpectWhole(150);
  SaveAll(m_Pages);
  EXPECT_EQ(Rows(), 1); // the long one
  ExpectAll(m_Pages);
  ExpectWhole(150);
}

TEST_F(StoreOldRows, ComeBackWhenTheSaveOrTheTransactionIsUndone) {
  {
    sto_Transaction const transaction(*m_Store);
    for (std::size_t i = 0; i < 150; ++i) m_Store->Save(NameOf(i), m_Pages[i]);
    EXPECT_EQ(m_Store->ObjectCount(), 150);
  }
  EXPECT_EQ(Rows(), 150);
  FailingBook book;
  for (Page const& page : m_Pages) book.m_Pages.push_back(&page);
  EXPECT_THROW(m_Store->Save("book", book), std::runtime_error);
  EXPECT_EQ(Rows(), 150);
  EXPECT_EQ(Packs(), 0);
  ExpectAll(m_Pages);
}

TEST_F(StoreOldRows, StoreOfFormat2IsReadUnchangedAndUpgradedByTheFirstWrite) {
  MakeFormat2();
  StoreBytes const before = FileBytes(Path());
  ExpectAll(m_Pages);
  EXPECT_EQ(m_Store->ObjectCount(), 150);
  EXPECT_TRUE(FileBytes(Path()) == before);
  sto_Store reader = Open(sto_Mode::ReadOnly);
  Compare(reader, m_Pages);
  {
    sto_Transaction const transaction(*m_Store); // rolled back, together with the upgrade
    m_Store->Save("new", Page(Short));
    EXPECT_EQ(TextUnder("new").size(), Short);
  }
  EXPECT_EQ(Query("PRAGMA user_version"), 2);
  EXPECT_EQ(Query("SELECT count(*) FROM sqlite_schema WHERE name = 'pack'"), 0);
  ExpectAll(m_Pages);
  std::unique_ptr<Page> const page = m_Store->Load<Page>(NameOf(7));
  m_Store->Save(NameOf(7), *page);
  EXPECT_EQ(Query("PRAGMA user_version"), 3);
  EXPECT_EQ(Rows(), 149);
  EXPECT_EQ(Packs(), 1);
  ExpectAll(m_Pages);
  Compare(reader, m_Pages);
  EXPECT_EQ(reader.ObjectCount(), 150);
  ExpectWhole(150);
}

/// A beam of program version 1 in examples/evolution, with a store of format 2.
struct Beam {
  static constexpr unsigned int TypeId() noexcept { return 0x650001; }
  explicit Beam(cls_ReadVisitor const& visitor)
      : m_Name(cls_ReadVisitor(visitor).Read(cls_FieldHandle(0, "m_Name"_cow), cow_String())),
        m_Length(visitor.Read(cls_FieldHandle(0, "m_Length"_cow), 0.0)),
        m_Stations(cls_ReadVisitor(visitor, cls_FieldHandle(2, "m_Stations"_cow)), nullptr) {}
  cow_String m_Name;
  double m_Length;
  cls_xp1DArrayListDouble m_Stations;
};

class StoreGoldenFormat2 : public StoreTest {};

TEST_F(StoreGoldenFormat2, IsReadUnchangedAndUpgradedByTheFirstWrite) {
  cls_ClassRegistrar classes;
  DeclareNode(classes);
  classes.CreateClassMD("Part"_cow, 0x650002, 1, nullptr, 1)
      .AddAttribute(cls_FieldHandle(0, "m_Name"_cow), ATTR_STRING, 1, COLLECTION_NONE);
  classes.CreateClassMD("Beam"_cow, Beam::TypeId(), 1, nullptr, 0x650002)
      .AddAttribute(cls_FieldHandle(0, "m_Length"_cow), ATTR_DOUBLE, 1, COLLECTION_NONE)
      .AddAttribute(cls_FieldHandle(1, "m_Load"_cow), ATTR_DOUBLE, 1, COLLECTION_NONE)
      .AddAttribute(cls_FieldHandle(2, "m_Stations"_cow), ATTR_DOUBLE, 1, COLLECTION_LIST_DOUBLE);
  std::filesystem::copy_file(KVL_GOLDEN_DIR "/evolution-1.kvs", Path());
  std::filesystem::permissions(Path(), std::filesystem::perms::owner_write,
                               std::filesystem::perm_options::add);
  auto const expectBeam = [](sto_Store& store) {
    std::unique_ptr<Beam> const beam = store.Load<Beam>("beam");
    EXPECT_EQ(beam->m_Name.View(), "purlin");
    EXPECT_EQ(beam->m_Length, 4000);
    ASSERT_EQ(beam->m_Stations.Count(), 4);
    EXPECT_EQ(beam->m_Stations.ConstGet(2), 2500);
  };
  SqlFile file(Path());
  std::int64_t const rows = file.Integer("SELECT count(*) FROM object");
  EXPECT_EQ(file.Integer("PRAGMA user_version"), 2);
  sto_Store store = sto_Store::Open(Path(), sto_Mode::ReadWrite, classes);
  expectBeam(store);
  EXPECT_EQ(store.ObjectCount(), rows);
  EXPECT_EQ(file.Integer("PRAGMA user_version"), 2);
  store.Save("node", Node(5));
  EXPECT_EQ(file.Integer("PRAGMA user_version"), 3);
  EXPECT_EQ(file.Integer("SELECT count(*) FROM object"), rows);
  EXPECT_EQ(file.Integer("SELECT count(*) FROM pack"), 1);
  expectBeam(store);
  EXPECT_EQ(store.Load<Node>("node")->m_Value, 5);
  EXPECT_EQ(store.ObjectCount(), rows + 1);
  EXPECT_EQ(IntegrityOf(Path()), "ok");
}

/// The classes of the worked example.
struct Part {
  static constexpr unsigned int TypeId() noexcept { return 0x640001; }
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (visitor.StartWrite(TypeId(), m_PartUid)) visitor.Write(cls_FieldHandle(0, "m_Name"_cow), "M8"_cow);
  }
  cls_Uid m_PartUid;
};
struct Bolt : Part {
  static constexpr unsigned int TypeId() noexcept { return 0x640002; }
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    Part::DBWrite(cls_WriteVisitor(visitor, Part::TypeId()));
    visitor.Write(cls_FieldHandle(0, "m_Length"_cow), 0.05);
    m_Holes.DBWrite(cls_WriteVisitor(visitor, cls_FieldHandle(1, "m_Holes"_cow), nullptr, &m_Holes));
  }
  cls_xp1DArrayListInt m_Holes;
  cls_Uid m_Uid;
};

/// The bytes at the start of each line of the document's worked example, in hexadecimal.
std::string BytesOfTheDocument() {
  std::ifstream document(KVL_DOCS_DIR "/store-format.md");
  std::string line;
  while (std::getline(document, line) && line != "## Worked example") {
  }
  while (std::getline(document, line) && line != "```") {
  }
  std::string bytes;
  while (std::getline(document, line) && line != "```") {
    std::istringstream words(line.substr(0, line.find("  ")));
    for (std::string word; words >> word;)
      if (word.size() == 2 && std::isxdigit(static_cast<unsigned char>(word[0])) != 0 &&
          std::isxdigit(static_cast<unsigned char>(word[1])) != 0)
        bytes += word;
  }
  return bytes;
}

TEST_F(StorePacks, BytesOfAPackAreThoseOfTheDocumentsWorkedExample) {
  cls_ClassRegistrar classes;
  classes.CreateClassMD("Part"_cow, Part::TypeId(), 1, nullptr, 1)
      .AddAttribute(cls_FieldHandle(0, "m_Name"_cow), ATTR_STRING, 1, COLLECTION_NONE);
  classes.CreateClassMD("Bolt"_cow, Bolt::TypeId(), 3, nullptr, Part::TypeId())
      .AddAttribute(cls_FieldHandle(0, "m_Length"_cow), ATTR_DOUBLE, 1, COLLECTION_NONE)
      .AddAttribute(cls_FieldHandle(1, "m_Holes"_cow), ATTR_INT, 1, COLLECTION_LIST_INT);
  Bolt bolt;
  bolt.m_Holes.Append(3);
  bolt.m_Holes.Append(-1);
  sto_Store::Open(Path("bolt"), sto_Mode::Create, classes).Save("bolt", bolt);
  std::string const stored = SqlFile(Path("bolt")).Text("SELECT hex(data) FROM pack WHERE key = 0");
  EXPECT_EQ(stored, BytesOfTheDocument());
  EXPECT_EQ(stored.substr(0, 36), "0A00000000000000" // objects 1 and 3
                                  "8280900333"       // class ID 0x640002, 51 bytes
                                  "81808C011E");     // class ID 0x230001, 30 bytes
  EXPECT_EQ(stored.size(), 2U * (8 + 5 + 5 + 51 + 30));
}

} // namespace
