#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/support/store/StoreFaultVfs.h"
#include "tests/support/store/StoreTest.h"

namespace {

namespace fs = std::filesystem;

class StoreFile : public StoreTest {
 protected:
  /// Expects opening to raise `kind` with the file's name, and the file to stay unchanged. Returns the
  /// message.
  std::string ExpectRefused(sto_ErrorKind kind, sto_Mode mode) {
    StoreBytes const before = FileBytes(Path());
    std::string message = MessageOf(kind, [&] { Open(mode); });
    EXPECT_TRUE(Contains(message, Path())) << message;
    EXPECT_TRUE(FileBytes(Path()) == before);
    EXPECT_EQ(std::distance(fs::directory_iterator(Folder()), {}), 1) << "a file was left beside it";
    return message;
  }
};

TEST_F(StoreFile, NewStoreIsEmptyAndSaysWhatItIs) {
  sto_Store store = Create();
  EXPECT_EQ(store.Location(), Path());
  EXPECT_FALSE(store.IsReadOnly());
  EXPECT_TRUE(store.Roots().empty());
  EXPECT_EQ(store.ObjectCount(), 0);
  EXPECT_EQ(store.SizeBytes(), static_cast<std::int64_t>(fs::file_size(Path())));
  EXPECT_EQ(IntegrityOf(Path()), "ok");
  EXPECT_EQ(Query("PRAGMA application_id"), 0x4B564C53);
  EXPECT_EQ(Query("PRAGMA user_version"), 4);
  EXPECT_EQ(Query("PRAGMA page_size"), 16384);
}

std::string WithoutSpace(std::string const& text) {
  std::string packed;
  for (char const c : text)
    if (std::isspace(static_cast<unsigned char>(c)) == 0) packed.push_back(c);
  return packed;
}

TEST_F(StoreFile, TablesAreThoseOfTheFormatDocument) {
  std::ifstream file(KVL_DOCS_DIR "/store-format.md");
  std::string const document{std::istreambuf_iterator<char>(file), {}};
  std::string const opening = "```sql\n";
  std::size_t const first = document.find(opening);
  ASSERT_NE(first, std::string::npos);
  std::size_t const start = first + opening.size();
  EXPECT_EQ(document.find(opening, start), std::string::npos) << "more than one block of SQL";
  std::string const expected = document.substr(start, document.find("```", start) - start);
  Create();
  std::string made;
  for (std::string const& sql :
       SqlFile(Path()).Texts("SELECT sql FROM sqlite_schema WHERE sql IS NOT NULL ORDER BY rowid"))
    made += sql + ";";
  EXPECT_EQ(WithoutSpace(made), WithoutSpace(expected));
}

TEST_F(StoreFile, CreateRefusesAnExistingFile) {
  { Create().Save("node", Node(1)); }
  EXPECT_TRUE(Contains(ExpectRefused(sto_ErrorKind::Conflict, sto_Mode::Create), "exists"));
  fs::remove(Path());
  WriteFile(Path(), "some text\n");
  ExpectRefused(sto_ErrorKind::Conflict, sto_Mode::Create);
  fs::remove(Path());
  SqlFile(Path()).Run("CREATE TABLE t(x)");
  ExpectRefused(sto_ErrorKind::Conflict, sto_Mode::Create);
}

TEST_F(StoreFile, CreateRefusesFoldersAndLinks) {
  fs::create_directory(Path());
  MessageOf(sto_ErrorKind::Conflict, [&] { Create(); });
  fs::create_symlink(Path("nowhere"), Path("link"));
  MessageOf(sto_ErrorKind::Conflict, [&] { Create("link"); });
  EXPECT_FALSE(fs::exists(Path("nowhere")));
}

TEST_F(StoreFile, CreateTakesAnEmptyFile) {
  WriteFile(Path(), "");
  { Create().Save("node", Node(1)); }
  EXPECT_EQ(Open().Load<Node>("node")->m_Value, 1);
}

TEST_F(StoreFile, CreateInAMissingFolderLeavesNothing) {
  std::string const message = MessageOf(sto_ErrorKind::Unavailable, [&] { Create("missing/test.kvs"); });
  EXPECT_TRUE(Contains(message, Path("missing/test.kvs"))) << message;
  EXPECT_FALSE(fs::exists(Path("missing")));
}

TEST_F(StoreFile, NameWithoutFileIsRefused) {
  MessageOf(sto_ErrorKind::Unavailable, [] { sto_Store::Open("", sto_Mode::Create, TestClasses()); });
  MessageOf(sto_ErrorKind::NotFound, [] { sto_Store::Open("", sto_Mode::ReadWrite, TestClasses()); });
}

TEST_F(StoreFile, NamesThatAreSpecialToSQLiteAreFiles) {
  fs::path const before = fs::current_path();
  fs::current_path(Folder());
  for (std::string const name : {":memory:", "file:test.kvs?mode=memory", "plain", "a b%20c#d?e"}) {
    { sto_Store::Open(name, sto_Mode::Create, TestClasses()).Save("node", Node(1)); }
    EXPECT_TRUE(fs::exists(Path(name))) << name;
    EXPECT_EQ(sto_Store::Open(name, sto_Mode::ReadOnly, TestClasses()).Load<Node>("node")->m_Value, 1);
  }
  fs::current_path(before);
}

TEST_F(StoreFile, OpenNamesAMissingFile) {
  for (sto_Mode const mode : {sto_Mode::ReadWrite, sto_Mode::ReadOnly}) {
    std::string const message = MessageOf(sto_ErrorKind::NotFound, [&] { Open(mode); });
    EXPECT_TRUE(Contains(message, Path())) << message;
    EXPECT_FALSE(fs::exists(Path()));
  }
}

TEST_F(StoreFile, OpenRefusesAFolder) {
  fs::create_directory(Path());
  for (sto_Mode const mode : {sto_Mode::ReadWrite, sto_Mode::ReadOnly})
    EXPECT_TRUE(Contains(MessageOf(sto_ErrorKind::NotFound, [&] { Open(mode); }), Path()));
}

TEST_F(StoreFile, OpenRefusesFilesThatAreNotStoresAndLeavesThemUnchanged) {
  std::string text(10000, 'x');
  for (std::string const& content : {std::string("some text\n"), std::string(), text}) {
    WriteFile(Path(), content);
    for (sto_Mode const mode : {sto_Mode::ReadWrite, sto_Mode::ReadOnly})
      ExpectRefused(sto_ErrorKind::NotFound, mode);
  }
}

TEST_F(StoreFile, OpenRefusesAnotherSQLiteDatabaseAndLeavesIt) {
  SqlFile(Path()).Run("CREATE TABLE object(id INTEGER PRIMARY KEY, record BLOB)");
  for (sto_Mode const mode : {sto_Mode::ReadWrite, sto_Mode::ReadOnly})
    ExpectRefused(sto_ErrorKind::NotFound, mode);
}

TEST_F(StoreFile, OpenRefusesAWriteAheadLogDatabaseOfAnotherProgramAndLeavesIt) {
  SqlFile(Path()).Run("PRAGMA journal_mode = WAL; CREATE TABLE t(x)");
  StoreBytes const before = FileBytes(Path());
  MessageOf(sto_ErrorKind::NotFound, [&] { Open(); });
  EXPECT_TRUE(FileBytes(Path()) == before);
}

TEST_F(StoreFile, OpenRefusesANewerFormatAndLeavesIt) {
  { Create().Save("node", Node(1)); }
  SqlFile(Path()).Run("PRAGMA user_version = 5");
  for (sto_Mode const mode : {sto_Mode::ReadWrite, sto_Mode::ReadOnly}) {
    std::string const message = ExpectRefused(sto_ErrorKind::NewerFormat, mode);
    EXPECT_TRUE(Contains(message, "version 5") && Contains(message, "version 4")) << message;
  }
}

TEST_F(StoreFile, OpenRefusesAStoreWithoutVersionOrTables) {
  { Create().Save("node", Node(1)); }
  for (int const version : {0, -1}) {
    SqlFile(Path()).Run("PRAGMA user_version = " + std::to_string(version));
    ExpectRefused(sto_ErrorKind::Damaged, sto_Mode::ReadWrite);
  }
  SqlFile(Path()).Run("PRAGMA user_version = 4; DROP TABLE block");
  for (sto_Mode const mode : {sto_Mode::ReadWrite, sto_Mode::ReadOnly})
    ExpectRefused(sto_ErrorKind::Damaged, mode);
}

TEST_F(StoreFile, ReadOnlyStoreRefusesEveryWriteAndLeavesTheFile) {
  { Create().Save("node", Node(1)); }
  StoreBytes const before = FileBytes(Path());
  {
    sto_Store store = Open(sto_Mode::ReadOnly);
    EXPECT_TRUE(store.IsReadOnly());
    std::unique_ptr<Node> const node = store.Load<Node>("node");
    for (std::function<void()> const& write : std::initializer_list<std::function<void()>>{
             [&] { store.Save("node", *node); }, [&] { store.Save("new", Node(2)); },
             [&] { store.RemoveRoot("node"); }, [&] { sto_Transaction const transaction(store); }}) {
      std::string const message = MessageOf(sto_ErrorKind::ReadOnly, write);
      EXPECT_TRUE(Contains(message, Path())) << message;
    }
    EXPECT_EQ(store.Roots(), std::vector<std::string>{"node"});
    EXPECT_EQ(store.Load<Node>("node")->m_Value, 1);
  }
  EXPECT_TRUE(FileBytes(Path()) == before);
}

TEST_F(StoreFile, FileThatMayNotBeWrittenOpensForReadingOnly) {
  { Create().Save("node", Node(1)); }
  StoreFaultVfs const vfs;
  StoreFaultVfs::MakeReadOnly();
  ExpectRefused(sto_ErrorKind::ReadOnly, sto_Mode::ReadWrite);
  EXPECT_EQ(Open(sto_Mode::ReadOnly).Load<Node>("node")->m_Value, 1);
}

TEST_F(StoreFile, RootsAreSortedByTheirBytes) {
  sto_Store store = Create();
  std::vector<std::string> const names{
      "",        std::string("\0", 1), std::string("\0a", 2), " ", "A", "B", "a", "a\nb", "aa", "\xC3\xA4",
      "\xFF\xFE"};
  for (auto name = names.rbegin(); name != names.rend(); ++name) store.Save(*name, Node(1));
  EXPECT_EQ(store.Roots(), names);
  for (std::string const& name : names) EXPECT_TRUE(store.HasRoot(name));
  EXPECT_FALSE(store.HasRoot("aaa"));
  EXPECT_FALSE(store.HasRoot(std::string("\0b", 2)));
  EXPECT_TRUE(store.RemoveRoot(std::string("\0", 1)));
  EXPECT_TRUE(store.HasRoot(""));
  EXPECT_EQ(store.Roots().size(), names.size() - 1);
}

TEST_F(StoreFile, SaveAgainReplacesTheObject) {
  sto_Store store = Create();
  Node node(1);
  node.m_Left = std::make_shared<Node>(2);
  store.Save("node", node);
  node.m_Value = 3;
  node.m_Left.reset();
  store.Save("node", node);
  std::unique_ptr<Node> const loaded = store.Load<Node>("node");
  EXPECT_EQ(loaded->m_Value, 3);
  EXPECT_EQ(loaded->m_Left, nullptr);
}

TEST_F(StoreFile, UnchangedObjectsThatAreSavedAgainWriteNothing) {
  StoreFaultVfs const vfs;
  sto_Store store = Create();
  Node node(1);
  node.m_Left = std::make_shared<Node>(2);
  store.Save("node", node);
  StoreBytes const before = FileBytes(Path());
  StoreFaultVfs::StrikeAt(1, StoreFaultVfs::Fault::IoError); // the first that is written, or synchronised
  store.Save("node", node);
  {
    sto_Transaction transaction(store);
    store.Save("node", node);
    transaction.Commit();
  }
  EXPECT_FALSE(StoreFaultVfs::HasStruck());
  StoreFaultVfs::Disarm();
  EXPECT_TRUE(FileBytes(Path()) == before);
}

TEST_F(StoreFile, RootIsReplacedAndItsOldObjectStays) {
  sto_Store store = Create();
  Node const first(1);
  store.Save("node", first);
  store.Save("node", Node(2));
  EXPECT_EQ(store.Load<Node>("node")->m_Value, 2);
  EXPECT_EQ(store.ObjectCount(), 2);
  store.Save("first again", first);
  EXPECT_EQ(store.ObjectCount(), 2);
}

TEST_F(StoreFile, RemovedRootIsGoneAndItsObjectStays) {
  sto_Store store = Create();
  store.Save("node", Node(1));
  EXPECT_TRUE(store.RemoveRoot("node"));
  EXPECT_FALSE(store.RemoveRoot("node"));
  EXPECT_FALSE(store.HasRoot("node"));
  EXPECT_EQ(store.ObjectCount(), 1);
}

TEST_F(StoreFile, UnknownRootIsNamed) {
  sto_Store store = Create();
  for (std::function<void()> const& load : std::initializer_list<std::function<void()>>{
           [&] { static_cast<void>(store.Load<Node>("missing")); },
           [&] { static_cast<void>(store.LoadShared<Node>("missing")); }}) {
    std::string const message = MessageOf(sto_ErrorKind::NotFound, load);
    EXPECT_TRUE(Contains(message, "missing") && Contains(message, Path())) << message;
  }
}

TEST_F(StoreFile, RecordOfANewerVersionIsRefusedNamingBothVersions) {
  cls_ClassRegistrar newer;
  DeclareNode(newer, 9);
  sto_Store::Open(Path(), sto_Mode::Create, newer).Save("node", Node(1));
  std::string const message =
      MessageOf(sto_ErrorKind::NewerFormat, [&] { static_cast<void>(Open().Load<Node>("node")); });
  EXPECT_TRUE(Contains(message, "version 9") && Contains(message, "version 1") && Contains(message, "Node"))
      << message;
}

TEST_F(StoreFile, BasePartOfANewerVersionIsRefusedNamingBothVersions) {
  cls_ClassRegistrar newer;
  DeclareLevels(newer, 5, 7, 2);
  sto_Store::Open(Path(), sto_Mode::Create, newer).Save("middle", Middle());
  std::string const message =
      MessageOf(sto_ErrorKind::NewerFormat, [&] { static_cast<void>(Open().Load<Middle>("middle")); });
  EXPECT_TRUE(Contains(message, "version 5") && Contains(message, "version 4") && Contains(message, "Bottom"))
      << message;
}

TEST_F(StoreFile, RecordOfAnOlderVersionIsReadAndRewrittenInTheNewOne) {
  cls_ClassRegistrar older;
  DeclareLevels(older, -3, 7, 1);
  sto_Store::Open(Path(), sto_Mode::Create, older).Save("top", Top());
  sto_Store store = Open();
  std::unique_ptr<Top> const top = store.Load<Top>("top");
  store.Save("top", *top);
  EXPECT_EQ(SqlFile(Path()).Texts("SELECT version FROM class WHERE name IN ('Top', 'Bottom') ORDER BY 1"),
            (std::vector<std::string>{"-3", "1", "2", "4"}));
}

TEST_F(StoreFile, ClassIdThatTheStoreKnowsUnderAnotherNameIsAConflict) {
  { Create().Save("node", Node(1)); }
  cls_ClassRegistrar other;
  other.AddClassMD(new cls_TypeAdapter<Node>("Other"_cow, 1, 1));
  sto_Store store = sto_Store::Open(Path(), sto_Mode::ReadWrite, other);
  std::string const message = MessageOf(sto_ErrorKind::Conflict, [&] { store.Save("other", Node(2)); });
  EXPECT_TRUE(Contains(message, "Other") && Contains(message, "Node")) << message;
  EXPECT_EQ(store.Roots(), std::vector<std::string>{"node"});
}

TEST_F(StoreFile, ClassWithTheIdOfALibraryClassIsRefused) {
  cls_ClassRegistrar mistaken;
  mistaken.CreateClassMD("Bracket"_cow, nex_Exception::TypeId(), 1, nullptr, 1);
  std::string const message =
      MessageOf(sto_ErrorKind::Misuse, [&] { sto_Store::Open(Path(), sto_Mode::Create, mistaken); });
  EXPECT_TRUE(Contains(message, "Bracket") && Contains(message, "nex_Exception")) << message;
}

TEST_F(StoreFile, GreatestDeclaredVersionIsWritten) {
  cls_ClassRegistrar versions;
  for (int const version : {3, 8, 5}) DeclareNode(versions, version);
  sto_Store::Open(Path(), sto_Mode::Create, versions).Save("node", Node(1));
  EXPECT_EQ(Query("SELECT version FROM class"), 8);
}

TEST_F(StoreFile, FileOfManySavesIsWhole) {
  sto_Store store = Create();
  for (int i = 0; i < 50; ++i) {
    Node node(i);
    node.m_Left = std::make_shared<Node>(-i);
    store.Save("root" + std::to_string(i % 7), node);
  }
  EXPECT_EQ(IntegrityOf(Path()), "ok");
  EXPECT_EQ(store.Roots().size(), 7U);
}

} // namespace
