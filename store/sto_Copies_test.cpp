#include <sys/stat.h>

#include <filesystem>
#include <set>

#include "tests/support/Seeds.h"
#include "tests/support/store/StoreArrays.h"
#include "tests/support/store/StoreChild.h"
#include "tests/support/store/StoreFaultVfs.h"

namespace {

namespace fs = std::filesystem;

/// Copies of whole stores, with and without a write-ahead log.
class StoreCopies : public StoreArrayTest, public testing::WithParamInterface<bool> {
 protected:
  [[nodiscard]] static sto_Options Options(int busyMilliseconds = 5000) {
    sto_Options options;
    options.m_ReadersBesideWriter = GetParam();
    options.m_PageBytes = 4096;
    options.m_BusyMilliseconds = busyMilliseconds;
    return options;
  }
  [[nodiscard]] sto_Store CreateStore() const { return Open(sto_Mode::Create, "test.kvs", Options()); }
  /// A store with a cyclic graph and an array in blocks.
  [[nodiscard]] sto_Store MakeStore(int count = 10'000) const {
    sto_Store store = CreateStore();
    auto const root = std::make_shared<Node>(1);
    root->m_Left = root->m_Right = std::make_shared<Node>(2);
    root->m_Left->m_Back = root;
    store.Save("graph", *root);
    DoubleHolder holder;
    Fill(holder.m_Array, count);
    store.Save("array", holder);
    return store;
  }
  void ExpectWhole(std::string_view name, int count = 10'000) const {
    EXPECT_EQ(IntegrityOf(Path(name)), "ok");
    sto_Store copy = Open(sto_Mode::ReadWrite, name);
    EXPECT_EQ(copy.Roots(), (std::vector<std::string>{"array", "graph"}));
    auto const graph = copy.LoadShared<Node>("graph");
    EXPECT_EQ(graph->m_Value, 1);
    ASSERT_NE(graph->m_Left, nullptr);
    EXPECT_EQ(graph->m_Left, graph->m_Right);
    EXPECT_EQ(graph->m_Left->m_Back.lock(), graph);
    EXPECT_EQ(Elements(copy.Load<DoubleHolder>("array")->m_Array), Numbers(count));
  }
  static int GraphValue(sto_Store& store) { return store.LoadShared<Node>("graph")->m_Value; }
  [[nodiscard]] std::set<std::string> Names() const {
    std::set<std::string> names;
    for (fs::directory_entry const& entry : fs::directory_iterator(Folder()))
      names.insert(entry.path().filename().string());
    return names;
  }
  /// The file names, without those that SQLite makes beside the open store.
  [[nodiscard]] std::set<std::string> Files() const {
    std::set<std::string> names = Names();
    for (char const* const beside : {"test.kvs-wal", "test.kvs-shm", "test.kvs-journal"}) names.erase(beside);
    return names;
  }
  /// Expects copying to fail; returns the message, which names both stores.
  std::string MessageOfCopy(sto_Store& store, sto_ErrorKind kind, std::string const& location) const {
    std::string const message = MessageOf(kind, [&] { store.CopyTo(location); });
    EXPECT_TRUE(message.starts_with(Path() + ": The store cannot be copied to " + location + ": "))
        << message;
    return message;
  }
};

TEST_P(StoreCopies, CopyHasEveryRootAndIsAStoreOfItsOwn) {
  sto_Store store = MakeStore();
  store.CopyTo(Path("copy.kvs"));
  EXPECT_EQ(Files(), (std::set<std::string>{"copy.kvs", "test.kvs"}));
  ExpectWhole("copy.kvs");
  Node node(7);
  store.Save("graph", node);
  {
    sto_Store copy = Open(sto_Mode::ReadWrite, "copy.kvs");
    EXPECT_EQ(copy.ObjectCount(), 4);
    copy.Save("other", node); // objects in memory do not belong to the copy
    EXPECT_EQ(copy.ObjectCount(), 5);
    EXPECT_EQ(GraphValue(copy), 1);
  }
  EXPECT_EQ(store.Roots().size(), 2U);
}

TEST_P(StoreCopies, CopyKeepsPageSizeLogFormatAndFreePages) {
  {
    sto_Store store = MakeStore();
    store.RemoveRoot("array");
    store.CollectGarbage();
    store.CopyTo(Path("copy.kvs"));
    EXPECT_EQ(fs::file_size(Path("copy.kvs")), static_cast<std::uintmax_t>(store.SizeBytes()));
  }
  SqlFile copy(Path("copy.kvs"));
  SqlFile source(Path());
  for (char const* const pragma :
       {"page_size", "page_count", "freelist_count", "application_id", "user_version", "auto_vacuum"})
    EXPECT_EQ(copy.Integer(std::string("PRAGMA ") + pragma), source.Integer(std::string("PRAGMA ") + pragma))
        << pragma;
  EXPECT_GT(copy.Integer("PRAGMA freelist_count"), 10);
  EXPECT_EQ(copy.Text("PRAGMA journal_mode"), GetParam() ? "wal" : "delete");
}

TEST_P(StoreCopies, CopyOfAStoreThatOnlyReadsIsOneToWrite) {
  { static_cast<void>(MakeStore()); }
  sto_Store store = Open(sto_Mode::ReadOnly);
  store.CopyTo(Path("copy.kvs"));
  ExpectWhole("copy.kvs");
  sto_Store copy = Open(sto_Mode::ReadWrite, "copy.kvs");
  copy.Save("graph", Node(9));
  EXPECT_EQ(GraphValue(copy), 9);
  EXPECT_EQ(GraphValue(store), 1);
}

TEST_P(StoreCopies, ExistingFileStaysAndIsAConflict) {
  sto_Store store = MakeStore(10);
  WriteFile(Path("text"), "text");
  WriteFile(Path("empty"), "");
  fs::create_directory(Path("folder"));
  fs::create_symlink(Path("nowhere"), Path("link"));
  for (std::string const name : {"text", "empty", "folder", "link", "test.kvs"}) {
    SCOPED_TRACE(name);
    std::string const message = MessageOfCopy(store, sto_ErrorKind::Conflict, Path(name));
    EXPECT_TRUE(Contains(message, "The file exists already")) << message;
  }
  EXPECT_EQ(Files(), (std::set<std::string>{"empty", "folder", "link", "test.kvs", "text"}));
  EXPECT_EQ(fs::file_size(Path("text")), 4U);
  EXPECT_EQ(store.Roots().size(), 2U);
}

TEST_P(StoreCopies, MissingFolderIsUnavailable) {
  sto_Store store = MakeStore(10);
  std::string const message = MessageOfCopy(store, sto_ErrorKind::Unavailable, Path("nowhere") + "/copy.kvs");
  EXPECT_TRUE(Contains(message, "unable to open database file")) << message;
  EXPECT_FALSE(Contains(message, ".copying-")) << message;
}

TEST_P(StoreCopies, LocationWithANulIsMisuse) {
  sto_Store store = MakeStore(10);
  std::string const message =
      MessageOf(sto_ErrorKind::Misuse, [&] { store.CopyTo(Path("copy") + std::string("\0.kvs", 5)); });
  EXPECT_TRUE(
      Contains(message, "cannot be copied to " + Path("copy") + ": The location continues after a NUL"))
      << message;
  EXPECT_EQ(Files(), std::set<std::string>{"test.kvs"});
}

TEST_P(StoreCopies, RelativeLocationIsInTheFolderOfTheProgram) {
  fs::path const before = fs::current_path();
  sto_Store store = MakeStore();
  fs::current_path(Folder());
  store.CopyTo("copy %41?.kvs");
  fs::current_path(before);
  ExpectWhole("copy %41?.kvs");
}

TEST_P(StoreCopies, WriteTransactionIsMisuseAndStaysAsItIs) {
  sto_Store store = MakeStore(10);
  sto_Transaction transaction(store);
  store.Save("new", Node(3));
  std::string const message = MessageOfCopy(store, sto_ErrorKind::Misuse, Path("copy.kvs"));
  EXPECT_TRUE(Contains(message, "A transaction that writes is open")) << message;
  EXPECT_EQ(Files(), std::set<std::string>{"test.kvs"});
  transaction.Commit();
  store.CopyTo(Path("copy.kvs"));
  EXPECT_EQ(Open(sto_Mode::ReadOnly, "copy.kvs").Load<Node>("new")->m_Value, 3);
}

TEST_P(StoreCopies, CopyingWhileAnObjectIsSavedOrLoadedIsMisuse) {
  sto_Store store = MakeStore(10);
  static std::function<void()> copy;
  copy = [&] { MessageOfCopy(store, sto_ErrorKind::Misuse, Path("copy.kvs")); };
  struct Copying : Node {
    Copying() = default;
    explicit Copying(cls_ReadVisitor const& visitor) : Node(visitor) { copy(); }
    void DBWrite(cls_WriteVisitor const& visitor) const {
      copy();
      Node::DBWrite(visitor);
      copy();
    }
  };
  store.Save("copying", Copying());
  EXPECT_NE(store.Load<Copying>("copying"), nullptr);
  EXPECT_EQ(Files(), std::set<std::string>{"test.kvs"});
}

TEST_P(StoreCopies, WhatAnArrayHasNotWrittenIsWrittenAndCopied) {
  sto_Store store = MakeStore(10);
  auto const holder = store.Load<DoubleHolder>("array");
  Fill(holder->m_Array, 30);
  store.CopyTo(Path("copy.kvs"));
  EXPECT_EQ(Stored("copy.kvs"), Numbers(30));
  EXPECT_EQ(Stored(), Numbers(30));
  Fill(holder->m_Array, 40); // still belongs to its store
  store.Save("array", *holder);
  EXPECT_EQ(Stored("copy.kvs"), Numbers(30));
  EXPECT_EQ(Stored(), Numbers(40));
}

TEST_P(StoreCopies, WhatAnArrayOfAStoreThatOnlyReadsHasChangedIsNotCopied) {
  { static_cast<void>(MakeStore(10)); }
  sto_Store store = Open(sto_Mode::ReadOnly);
  auto const holder = store.Load<DoubleHolder>("array");
  Fill(holder->m_Array, 30);
  store.CopyTo(Path("copy.kvs"));
  EXPECT_EQ(Stored("copy.kvs"), Numbers(10));
  EXPECT_EQ(holder->m_Array.Size(), 30);
}

TEST_P(StoreCopies, ReadTransactionIsCopiedAsItSeesTheStore) {
  sto_Store store = MakeStore(10);
  auto const holder = store.Load<DoubleHolder>("array");
  Fill(holder->m_Array, 30);
  {
    sto_ReadTransaction const transaction(store);
    EXPECT_EQ(GraphValue(store), 1);
    if (GetParam()) Open().Save("graph", Node(5)); // only with a log
    store.CopyTo(Path("copy.kvs"));
    EXPECT_EQ(GraphValue(store), 1);
  }
  ExpectWhole("copy.kvs", 10);
  EXPECT_EQ(GraphValue(store), GetParam() ? 5 : 1);
  EXPECT_EQ(holder->m_Array.Size(), 30);
}

TEST_P(StoreCopies, CopyBesideABusyWriterIsConsistent) {
  { CreateStore().Save("first", Node(0)); }
  { Open().Save("second", Node(0)); }
  pid_t const writer = StartStoreChild([&] {
    sto_Store store = Open(sto_Mode::ReadWrite, "test.kvs", Options());
    for (int i = 1; !fs::exists(Path("stop")); ++i) try {
        sto_Transaction transaction(store);
        store.Save("first", Node(i));
        DoubleHolder holder; // so that several pages change
        Fill(holder.m_Array, 5000 + i);
        store.Save("array", holder);
        store.Save("second", Node(i));
        transaction.Commit();
        usleep(3000); // let other sessions in
      } catch (sto_Exception const& exception) {
        if (exception.Kind() != sto_ErrorKind::Busy) throw;
      }
    return 0;
  });
  sto_Store store = Open(sto_Mode::ReadWrite, "test.kvs", Options());
  std::set<int> states;
  for (int i = 0; i < 30 || (states.size() < 5 && i < 1000); ++i) {
    std::string const name = "copy" + std::to_string(i);
    store.CopyTo(Path(name));
    sto_Store copy = Open(sto_Mode::ReadOnly, name);
    int const first = copy.Load<Node>("first")->m_Value;
    EXPECT_EQ(copy.Load<Node>("second")->m_Value, first);
    if (copy.HasRoot("array")) {
      EXPECT_EQ(copy.Load<DoubleHolder>("array")->m_Array.Size(), 5000 + first);
    }
    states.insert(first);
  }
  WriteFile(Path("stop"), "");
  EXPECT_EQ(WaitForStoreChild(writer), 0);
  EXPECT_GE(states.size(), 5U);
}

TEST_P(StoreCopies, StoreBeingWrittenIsBusyUnlessItHasALog) {
  { static_cast<void>(MakeStore(10)); }
  sto_Store store = Open(sto_Mode::ReadWrite, "test.kvs", Options(0));
  SqlFile other(Path());
  other.Run("BEGIN EXCLUSIVE");
  if (!GetParam()) MessageOfCopy(store, sto_ErrorKind::Busy, Path("copy.kvs"));
  if (!GetParam()) other.Run("ROLLBACK");
  store.CopyTo(Path("copy.kvs"));
  ExpectWhole("copy.kvs", 10);
}

TEST_P(StoreCopies, CopyHasTheReadPermissionsOfTheStore) {
  sto_Store store = MakeStore(10);
  ASSERT_EQ(chmod(Path().c_str(), 0600), 0);
  store.CopyTo(Path("private"));
  ASSERT_EQ(chmod(Path().c_str(), 0444), 0);
  store.CopyTo(Path("writable"));
  auto const mode = [&](char const* name) {
    return static_cast<unsigned>(fs::status(Path(name)).permissions());
  };
  EXPECT_EQ(mode("private"), 0600U);
  EXPECT_EQ(mode("writable") & 0600U, 0600U);
}

/// Exceeds SQLite's cache, so that the copy reaches the file before it is complete.
constexpr int Many = 400'000;

TEST_P(StoreCopies, FailureAtEachOperationLeavesNoCopy) {
  using Fault = StoreFaultVfs::Fault;
  { static_cast<void>(MakeStore(Many)); }
  StoreFaultVfs const vfs(true);
  sto_Store store = Open();
  static_cast<void>(store.Roots());
  for (Fault const fault : {Fault::IoError, Fault::Full, Fault::NoSpace, Fault::LateIoError}) {
    int failures = 0;
    for (int step = 1;; step += step < 8 ? 1 : 41 * SweepStride) {
      SCOPED_TRACE("step " + std::to_string(step));
      StoreFaultVfs::StrikeAt(step, fault);
      std::string message;
      sto_ErrorKind kind{};
      try {
        store.CopyTo(Path("copy.kvs"));
      } catch (sto_Exception const& exception) {
        message = exception.what();
        kind = exception.Kind();
      }
      bool const hasStruck = StoreFaultVfs::HasStruck();
      StoreFaultVfs::Disarm();
      EXPECT_EQ(fs::exists(Path("copy.kvs")), message.empty()) << message;
      EXPECT_EQ(Files(), message.empty() ? (std::set<std::string>{"copy.kvs", "test.kvs"})
                                         : std::set<std::string>{"test.kvs"});
      if (message.empty()) {
        ExpectWhole("copy.kvs", Many);
        fs::remove(Path("copy.kvs"));
      } else {
        ++failures;
        bool const wantsRoom = fault == Fault::Full || fault == Fault::NoSpace;
        EXPECT_EQ(kind, wantsRoom ? sto_ErrorKind::Full : sto_ErrorKind::Unavailable) << message;
        EXPECT_TRUE(Contains(message, Path()) && Contains(message, Path("copy.kvs"))) << message;
      }
      if (!hasStruck) break;
    }
    EXPECT_GT(failures, 10);
  }
  store.CopyTo(Path("copy.kvs"));
  ExpectWhole("copy.kvs", Many);
}

TEST_P(StoreCopies, KilledCopyLeavesNothingThatLooksLikeAStore) {
  { static_cast<void>(MakeStore(Many)); }
  int left = 0;
  for (int step = 1;; step += step < 8 ? 1 : 23 * SweepStride) {
    SCOPED_TRACE("step " + std::to_string(step));
    int const result = RunStoreChild([&] {
      StoreFaultVfs const vfs(true);
      sto_Store store = Open(sto_Mode::ReadOnly);
      static_cast<void>(store.Roots());
      StoreFaultVfs::StrikeAt(step, StoreFaultVfs::Fault::Kill);
      store.CopyTo(Path("copy.kvs"));
      StoreFaultVfs::Disarm();
      return 0;
    });
    ASSERT_TRUE(result == 0 || result == -SIGKILL) << result;
    EXPECT_EQ(fs::exists(Path("copy.kvs")), result == 0);
    for (std::string const& name : Files()) {
      if (!name.starts_with("copy.kvs.copying-") || name.ends_with("-journal")) continue;
      ++left;
      MessageOf(sto_ErrorKind::NotFound, [&] { static_cast<void>(Open(sto_Mode::ReadWrite, name)); });
    }
    for (std::string const& name : Files())
      if (name.starts_with("copy.kvs.")) fs::remove(Path(name));
    if (result == 0) break;
  }
  EXPECT_GT(left, 5);
  ExpectWhole("copy.kvs", Many);
  ExpectWhole("test.kvs", Many);
}

INSTANTIATE_TEST_SUITE_P(Journals, StoreCopies, testing::Bool(),
                         [](auto const& hasLog) { return hasLog.param ? "Log" : "Rollback"; });

class StoreOldCopies : public StoreArrayTest {};

TEST_F(StoreOldCopies, StoreOfAnOlderFormatIsCopiedUnchanged) {
  fs::copy_file(KVL_GOLDEN_DIR "/format-1.kvs", Path());
  sto_Store store = Open(sto_Mode::ReadOnly);
  store.CopyTo(Path("copy.kvs"));
  EXPECT_EQ(SqlFile(Path("copy.kvs")).Integer("PRAGMA user_version"), 1);
  EXPECT_EQ(Open(sto_Mode::ReadOnly, "copy.kvs").Roots(), store.Roots());
  EXPECT_FALSE(store.Roots().empty());
}

/// Renamed roots.
class StoreRootNames : public StoreArrayTest {};

TEST_F(StoreRootNames, RenamedRootKeepsItsObject) {
  sto_Store store = Create();
  Node const node(3);
  store.Save("old", node);
  EXPECT_TRUE(store.RenameRoot("old", "new"));
  EXPECT_EQ(store.Roots(), std::vector<std::string>{"new"});
  EXPECT_EQ(store.Load<Node>("new")->m_Uid.Entry(), node.m_Uid.Entry());
  EXPECT_EQ(store.ObjectCount(), 1);
  EXPECT_EQ(Open().Roots(), std::vector<std::string>{"new"});
}

TEST_F(StoreRootNames, RootThatIsNotThereIsNotRenamed) {
  sto_Store store = Create();
  store.Save("old", Node(3));
  EXPECT_FALSE(store.RenameRoot("nowhere", "new"));
  EXPECT_FALSE(store.RenameRoot("nowhere", "old"));
  EXPECT_FALSE(store.RenameRoot("nowhere", "nowhere"));
  EXPECT_TRUE(store.RenameRoot("old", "old"));
  EXPECT_EQ(store.Roots(), std::vector<std::string>{"old"});
}

TEST_F(StoreRootNames, NameThatIsTakenIsAConflictAndBothStay) {
  sto_Store store = Create();
  store.Save("old", Node(3));
  store.Save("taken", Node(4));
  std::string const message = MessageOf(sto_ErrorKind::Conflict, [&] { store.RenameRoot("old", "taken"); });
  EXPECT_TRUE(Contains(message, Path() +
                                    ": Root old cannot be renamed to taken: there is a root of that name. "
                                    "Remove or rename it first."))
      << message;
  EXPECT_EQ(store.Load<Node>("old")->m_Value, 3);
  EXPECT_EQ(store.Load<Node>("taken")->m_Value, 4);
}

TEST_F(StoreRootNames, RenamingBelongsToTheOpenTransaction) {
  sto_Store store = Create();
  store.Save("old", Node(3));
  {
    sto_Transaction const transaction(store);
    EXPECT_TRUE(store.RenameRoot("old", "new"));
    EXPECT_TRUE(store.HasRoot("new"));
  }
  EXPECT_EQ(store.Roots(), std::vector<std::string>{"old"});
  sto_Transaction transaction(store);
  MessageOf(sto_ErrorKind::Conflict, [&] {
    store.Save("taken", Node(4));
    store.RenameRoot("old", "taken");
  });
  EXPECT_TRUE(store.RenameRoot("old", "new")); // the transaction continues
  transaction.Commit();
  EXPECT_EQ(Open().Roots(), (std::vector<std::string>{"new", "taken"}));
}

TEST_F(StoreRootNames, RenamingWhereNothingCanBeWrittenIsRefused) {
  sto_Store store = Create();
  store.Save("old", Node(3));
  {
    sto_ReadTransaction const transaction(store);
    std::string const message = MessageOf(sto_ErrorKind::Misuse, [&] { store.RenameRoot("old", "new"); });
    EXPECT_TRUE(Contains(message, "Renaming a root in a transaction that only reads")) << message;
  }
  sto_Store reader = Open(sto_Mode::ReadOnly);
  MessageOf(sto_ErrorKind::ReadOnly, [&] { reader.RenameRoot("old", "new"); });
  EXPECT_EQ(store.Roots(), std::vector<std::string>{"old"});
}

} // namespace
