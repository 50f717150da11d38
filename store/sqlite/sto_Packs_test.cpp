#include <algorithm>
#include <cctype>
#include <fstream>
#include <numeric>
#include <random>
#include <sstream>
#include <stdexcept>

#include "tests/support/store/StoreOldFormat.h"
#include "tests/support/store/StorePages.h"
#include "tests/support/store/StoreRows.h"
#include "wrappers/cls_xp1DArrayList.h"

namespace {

TEST_F(StorePacks, RecordOfUpTo1000BytesIsInAPackAndALongerOneInARow) {
  std::vector<std::int64_t> packed; // sizes of pack rows with one record
  std::vector<std::int64_t> rows;   // sizes of records in separate rows
  for (std::size_t length = 900; length < 1000; ++length) {
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
  // Bitmap of present objects, save, one shape, its number, end of the record, checksum.
  EXPECT_EQ(packed.back(), 4 + 1 + 1 + 1 + 2 + 4 + 1000);
  EXPECT_EQ(rows.front(), 1 + 1 + 997 + 8); // save, shape, values, checksum
  EXPECT_TRUE(std::is_sorted(packed.begin(), packed.end()));
}

TEST_F(StorePacks, ObjectsWith32NeighbouringIdsShareARow) {
  SaveAll(std::vector<Page>(200, Page(Short))); // all copies of one object, so it is stored once
  EXPECT_EQ(m_Store->ObjectCount(), 1);
  std::vector<Page> pages(200);
  SaveAll(pages);
  EXPECT_EQ(SqlFile(Path()).Texts("SELECT CAST(key AS TEXT) FROM pack ORDER BY key"),
            (std::vector<std::string>{"0", "1", "2", "3", "4", "5", "6"}));
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
        pages[i].m_Text.assign(random() % 10 == 0 ? 970 + random() % 500 : random() % 200, 'a' + round);
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
  EXPECT_EQ(Packs(), 128);
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
  for (int const next : {1, 32, 33, 64, 96, 97, 99, 100}) {
    SetNextObjectId(file, std::to_string(next));
    std::string const message = MessageOf(sto_ErrorKind::Damaged, [&] { m_Store->Save("new", Page()); });
    EXPECT_TRUE(Contains(message, "100")) << message;
  }
  SetNextObjectId(file, "101");
  m_Store->Save("new", Page());
  ExpectWhole(101);
}

/// A store with short records in rows of table object.
class StoreShortRows : public StorePacks {
 protected:
  void SetUp() override {
    StorePacks::SetUp();
    m_Pages.resize(150);
    m_Pages[3].m_Text.assign(Long, 'l');
    SaveAll(m_Pages);
    SqlFile(Path()).Unpack();
  }
  std::vector<Page> m_Pages;
};

TEST_F(StoreShortRows, AreReadBesidePacks) {
  ExpectAll(m_Pages);
  m_Store->Save("new", Page(Short));
  EXPECT_EQ(Packs(), 1);
  ExpectAll(m_Pages);
  ExpectWhole(151);
}

TEST_F(StoreShortRows, ReturnToPacksWhenTheyAreSavedAgainAndTheirRowsGo) {
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

TEST_F(StoreShortRows, ComeBackWhenTheSaveOrTheTransactionIsUndone) {
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

/// The bytes at the start of each line of the document's worked example, in hexadecimal: of the pack and of
/// each shape.
std::vector<std::string> BytesOfTheDocument(std::string const& name) {
  std::ifstream document(KVL_DOCS_DIR "/" + name);
  std::string line;
  while (std::getline(document, line) && line != "## Worked example") {
  }
  std::vector<std::string> bytes;
  bool isInBlock = false;
  while (std::getline(document, line) && !line.starts_with("## ")) {
    if (line == "```") isInBlock = !isInBlock;
    if (!isInBlock) continue;
    if (line.starts_with("pack") || line.starts_with("shape")) bytes.emplace_back();
    std::istringstream words(line.substr(0, line.find("  ")));
    for (std::string word; words >> word;)
      if (word.size() == 2 && std::isxdigit(static_cast<unsigned char>(word[0])) != 0 &&
          std::isxdigit(static_cast<unsigned char>(word[1])) != 0)
        bytes.back() += word;
  }
  return bytes;
}

TEST_F(StorePacks, BytesOfAPackAndItsShapesAreThoseOfTheDocumentsWorkedExample) {
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
  std::vector<std::string> const stored =
      SqlFile(Path("bolt")).Texts("SELECT hex(data) FROM pack UNION ALL SELECT hex(data) FROM shape");
  ASSERT_EQ(stored.size(), 3U);
  EXPECT_EQ(stored, BytesOfTheDocument("store-format.md"));
  EXPECT_EQ(stored[0].size(), 2U * (4 + 1 + 3 + 2 + 4 + 4 + 16 + 14));
  EXPECT_EQ(stored[0].substr(0, 10), "0A00000002"); // objects 1 and 3, save 2
  MakeStoreOfOldFormat(Path("bolt"), 3);
  EXPECT_EQ(SqlFile(Path("bolt")).Texts("SELECT hex(data) FROM pack"),
            BytesOfTheDocument("store-format-3.md"));
}

} // namespace
