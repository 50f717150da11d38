#include "store/sqlite/sto_SqliteUpgrade.h"

#include <algorithm>
#include <new>

#include "store/sqlite/sto_SqliteDriver.h"
#include "tests/support/Seeds.h"
#include "tests/support/store/StoreChild.h"
#include "tests/support/store/StoreEverything.h"
#include "tests/support/store/StoreFaultVfs.h"
#include "tests/support/store/StoreNewFault.h"
#include "tests/support/store/StoreOldFormat.h"
#include "tests/support/store/StoreSqliteMemoryFault.h"

namespace {

namespace fs = std::filesystem;

constexpr int LastOldFormat = 3;

/// Stores of older formats: read as they are, and upgraded if the options say so.
class StoreUpgrade : public StoreFileTest {
 protected:
  void TearDown() override {
    StoreNewFault::FailAt(0);
    StoreSqliteMemoryFault::Disarm();
  }
  static sto_Options Upgrading() {
    sto_Options options;
    options.m_Upgrade = true;
    return options;
  }
  sto_Store Open(sto_Mode mode = sto_Mode::ReadWrite, sto_Options const& options = {}) const {
    return sto_Store::Open(Path(), mode, StoreEverything::Classes(), options);
  }
  void Upgrade() const { static_cast<void>(Open(sto_Mode::ReadWrite, Upgrading())); }
  /// Makes a store of a format that holds everything.
  void Make(int format, sto_Options const& options = {}) const {
    for (char const* const suffix : {"", "-wal", "-shm", "-journal"}) fs::remove(Path() + suffix);
    {
      sto_Store store = sto_Store::Open(Path(), sto_Mode::Create, StoreEverything::Classes(), options);
      StoreEverything::Save(store);
    }
    MakeStoreOfOldFormat(Path(), format);
  }
  void CopyGolden(std::string const& name) const {
    fs::copy_file(fs::path(KVL_GOLDEN_DIR) / name, Path(), fs::copy_options::overwrite_existing);
    fs::permissions(Path(), fs::perms::owner_write, fs::perm_options::add);
  }
  [[nodiscard]] std::int64_t Query(std::string const& sql) const { return SqlFile(Path()).Integer(sql); }
  [[nodiscard]] std::int64_t Format() const { return Query("PRAGMA user_version"); }
  /// What an upgrade does not touch.
  [[nodiscard]] std::vector<std::string> OtherRows() const {
    SqlFile file(Path());
    std::vector<std::string> rows = file.Objects();
    bool const hasLog = file.Integer("SELECT count(*) FROM sqlite_schema WHERE name = 'save'") != 0;
    for (char const* const sql :
         {hasLog ? "SELECT next_object_id || '' FROM save ORDER BY no DESC LIMIT 1"
                 : "SELECT value || '' FROM meta WHERE key = 'next_object_id'",
          "SELECT class_id || version || name || base_class_id FROM class",
          "SELECT id || ' ' || text FROM name ORDER BY id", "SELECT name || ' ' || object_id FROM root",
          hasLog ? "SELECT key || ' ' || hex(substr(data, 1, length(data) - 9)) || hex(substr(data, -8)) "
                   "FROM stored_block" // without the codec
                 : "SELECT key || ' ' || hex(data) FROM block",
          Format() == 3 ? "SELECT key || ' ' || hex(data) FROM block_place JOIN moved_block USING(place)"
                        : "SELECT key FROM block WHERE key < 0"})
      for (std::string const& row : file.Texts(sql)) rows.push_back(row);
    std::ranges::sort(rows); // blocks that have moved come among the others
    return rows;
  }
  /// Expects the store to be refused for writing, with the file as it was.
  void ExpectReadOnly(int format) const {
    StoreBytes const before = FileBytes(Path());
    std::string const message = MessageOf(sto_ErrorKind::ReadOnly, [&] { static_cast<void>(Open()); });
    for (std::string const& part : {Path(), "format " + std::to_string(format), std::string("format 4"),
                                    std::string("sto_Options::m_Upgrade"), std::string("CopyTo")})
      EXPECT_TRUE(Contains(message, part)) << message;
    EXPECT_TRUE(FileBytes(Path()) == before);
  }
};

TEST_F(StoreUpgrade, StoreOfEachFormatIsReadAndLeftBitByBit) {
  for (int format = 1; format <= LastOldFormat; ++format) {
    SCOPED_TRACE(format);
    Make(format);
    StoreBytes const before = FileBytes(Path());
    {
      sto_Store store = Open(sto_Mode::ReadOnly);
      StoreEverything::Expect(store);
      MessageOf(sto_ErrorKind::ReadOnly, [&] { store.Save("new", Node(1)); });
    }
    EXPECT_TRUE(FileBytes(Path()) == before);
    EXPECT_EQ(Format(), format);
  }
}

TEST_F(StoreUpgrade, OpeningForWritingWithoutTheOptionIsRefusedAndLeavesTheFile) {
  for (int format = 1; format <= LastOldFormat; ++format) {
    SCOPED_TRACE(format);
    Make(format);
    ExpectReadOnly(format);
    EXPECT_EQ(Format(), format);
  }
}

TEST_F(StoreUpgrade, EverythingIsThereAfterwardsWithTheSameIds) {
  for (int format = 1; format <= LastOldFormat; ++format) {
    SCOPED_TRACE(format);
    Make(format);
    std::vector<std::string> const before = OtherRows();
    Upgrade();
    EXPECT_EQ(Format(), 4);
    EXPECT_EQ(OtherRows(), before);
    EXPECT_EQ(IntegrityOf(Path()), "ok");
    EXPECT_EQ(Query("SELECT count(*) FROM sqlite_schema WHERE name LIKE 'old%'"), 0);
    sto_Store store = Open();
    StoreEverything::Expect(store);
  }
}

TEST_F(StoreUpgrade, UpgradedStoreIsWrittenLikeAnyOther) {
  for (int format = 1; format <= LastOldFormat; ++format) {
    SCOPED_TRACE(format);
    Make(format);
    sto_Store store = Open(sto_Mode::ReadWrite, Upgrading());
    std::int64_t const count = store.ObjectCount();
    std::unique_ptr<EveryType> types = store.Load<EveryType>("types");
    types->m_Text = "changed"_cow;
    store.Save("types", *types);
    EXPECT_EQ(store.Load<EveryType>("types")->m_Text.View(), "changed");
    EXPECT_EQ(store.ObjectCount(), count);
    store.Save("new", Node(5));
    store.RemoveRoot("nodes");
    EXPECT_EQ(store.CollectGarbage(), 3);
    EXPECT_EQ(store.ObjectCount(), count + 1 - 3);
    std::unique_ptr<Bulk> const bulk = store.Load<Bulk>("bulk 3");
    bulk->m_Array.Append(7);
    bulk->Close();
    EXPECT_EQ(store.Load<Bulk>("bulk 3")->m_Array.Size(), 11);
    EXPECT_GT(Query("SELECT count(*) FROM attribute"), 0);
    EXPECT_EQ(IntegrityOf(Path()), "ok");
  }
}

TEST_F(StoreUpgrade, ListOfObjectsInBlocksIsWrittenAgainAfterAnUpgrade) {
  Make(3);
  sto_Store store = Open(sto_Mode::ReadWrite, Upgrading());
  struct Elements {
    explicit Elements(cls_ReadVisitor const& visitor)
        : m_Agent(ReadIn(visitor, "m_Objects")->MakeAgentListObj()) {}
    std::unique_ptr<cls_AgentListObj> m_Agent;
  };
  {
    std::unique_ptr<Elements> const elements = store.Load<Elements>("collections");
    EXPECT_EQ(elements->m_Agent->Count(), 3000);
    elements->m_Agent->Remove(0);
    EXPECT_EQ(elements->m_Agent->Count(), 2999);
  }
  static_cast<void>(LoadFields(
      store,
      [](cls_ReadVisitor const& visitor) {
        auto const list = Own(ReadIn(visitor, "m_Objects")->MakeReadListObj());
        ASSERT_EQ(list->Count(), 2999);
        for (int i = 0; i < 2999; ++i) ASSERT_EQ(NodeValue(list->Next()), 1 + (i + 1) % 2);
      },
      "collections"));
  EXPECT_EQ(store.CountGarbage(), 0);
}

TEST_F(StoreUpgrade, GoldenStoreOfFormat3IsReadAndUpgraded) {
  CopyGolden("format-3.kvs");
  ASSERT_EQ(Format(), 3);
  ASSERT_GT(Query("SELECT count(*) FROM object"), 90); // most as format 2 had them
  ASSERT_GT(Query("SELECT count(*) FROM pack"), 0);
  ASSERT_GT(Query("SELECT count(*) FROM moved_block"), 0);
  StoreBytes const bytes = FileBytes(Path());
  {
    sto_Store store = Open(sto_Mode::ReadOnly);
    StoreEverything::Expect(store);
  }
  EXPECT_TRUE(FileBytes(Path()) == bytes);
  ExpectReadOnly(3);
  std::vector<std::string> const before = OtherRows();
  Upgrade();
  EXPECT_EQ(OtherRows(), before);
  sto_Store store = Open();
  StoreEverything::Expect(store);
  store.Save("new", Node(1));
  EXPECT_EQ(IntegrityOf(Path()), "ok");
}

TEST_F(StoreUpgrade, StoreOfThePresentFormatIsLeft) {
  { sto_Store::Open(Path(), sto_Mode::Create, StoreEverything::Classes()).Save("node", Node(1)); }
  StoreBytes const before = FileBytes(Path());
  Upgrade();
  EXPECT_TRUE(FileBytes(Path()) == before);
}

TEST_F(StoreUpgrade, OptionHasNoEffectWhenReading) {
  Make(3);
  StoreBytes const before = FileBytes(Path());
  {
    sto_Store store = Open(sto_Mode::ReadOnly, Upgrading());
    StoreEverything::Expect(store);
  }
  EXPECT_TRUE(FileBytes(Path()) == before);
}

TEST_F(StoreUpgrade, SessionThatReadsGoesOnBeforeAndAfter) {
  for (bool const hasLog : {false, true}) {
    SCOPED_TRACE(hasLog);
    sto_Options options;
    options.m_ReadersBesideWriter = hasLog;
    Make(3, options);
    sto_Store reader = Open(sto_Mode::ReadOnly);
    StoreEverything::Expect(reader);
    Upgrade();
    StoreEverything::Expect(reader);
    Open().Save("new", Node(9));
    EXPECT_EQ(reader.Load<Node>("new")->m_Value, 9);
    StoreEverything::Expect(reader);
  }
}

TEST_F(StoreUpgrade, ReaderInATransactionKeepsWhatItSees) {
  sto_Options options;
  options.m_ReadersBesideWriter = true;
  Make(3, options);
  sto_Store reader = Open(sto_Mode::ReadOnly);
  {
    sto_ReadTransaction const reading(reader);
    EXPECT_TRUE(reader.HasRoot("types"));
    Upgrade();
    StoreEverything::Expect(reader);
  }
  StoreEverything::Expect(reader);
}

TEST_F(StoreUpgrade, SecondProgramThatWantsToUpgradeFindsItDone) {
  Make(2);
  Upgrade();
  std::vector<std::string> const before = OtherRows();
  Upgrade();
  EXPECT_EQ(OtherRows(), before);
}

TEST_F(StoreUpgrade, DamagedObjectIsRefusedByNameAndNothingIsChanged) {
  for (int format = 1; format <= LastOldFormat; ++format) {
    SCOPED_TRACE(format);
    Make(format);
    std::int64_t const id = Query("SELECT object_id FROM root WHERE name = 'long'");
    SqlFile(Path()).Run("UPDATE object SET record = zeroblob(length(record)) WHERE id = " +
                        std::to_string(id));
    StoreBytes const before = FileBytes(Path());
    std::string const message = MessageOf(sto_ErrorKind::Damaged, [&] { Upgrade(); });
    EXPECT_TRUE(Contains(message, Path()) && Contains(message, "bject " + std::to_string(id) + " "))
        << message;
    EXPECT_TRUE(FileBytes(Path()) == before);
    sto_Store store = Open(sto_Mode::ReadOnly); // the others can be read as before
    EXPECT_EQ(store.Load<Picture>("picture")->Bytes().size(), 40'000U);
  }
}

TEST_F(StoreUpgrade, DamagedPackIsRefusedByNameAndNothingIsChanged) {
  Make(3);
  SqlFile(Path()).Run("UPDATE pack SET data = zeroblob(length(data)) WHERE key = 0");
  StoreBytes const before = FileBytes(Path());
  MessageOf(sto_ErrorKind::Damaged, [&] { static_cast<void>(Open(sto_Mode::ReadOnly).Load<Node>("nodes")); });
  SqlFile(Path()).Run("UPDATE pack SET data = x'FFFF' WHERE key = 0");
  StoreBytes const cut = FileBytes(Path());
  std::string const message = MessageOf(sto_ErrorKind::Damaged, [&] { Upgrade(); });
  EXPECT_TRUE(Contains(message, "Pack 0") || Contains(message, "next object id")) << message;
  EXPECT_TRUE(FileBytes(Path()) == cut);
}

TEST_F(StoreUpgrade, RowsThatBelongToNoObjectAreRefusedAndKept) {
  Make(3);
  fs::copy_file(Path(), Path("old"));
  for (std::string const& key :
       {std::string("-1"), std::string("9223372036854775807"), std::to_string(sto_Format::MaxObjectId + 1)})
    for (char const* const table : {"object", "pack"}) {
      SCOPED_TRACE(table + key);
      fs::copy_file(Path("old"), Path(), fs::copy_options::overwrite_existing);
      std::string const name(table);
      SqlFile(Path()).Run(
          "INSERT INTO " + name + " SELECT " + key +
          (name == "pack" ? ", data FROM pack LIMIT 1" : ", class_id, record FROM object LIMIT 1"));
      StoreBytes const before = FileBytes(Path());
      std::string const message = MessageOf(sto_ErrorKind::Damaged, [&] { Upgrade(); });
      EXPECT_TRUE(Contains(message, Path()) && Contains(message, "table " + name)) << message;
      EXPECT_TRUE(FileBytes(Path()) == before);
    }
}

TEST_F(StoreUpgrade, FailureOfTheSystemLeavesTheOldStore) {
  using Fault = StoreFaultVfs::Fault;
  Make(3);
  fs::copy_file(Path(), Path("old"));
  for (Fault const fault : {Fault::IoError, Fault::Full}) {
    int failures = 0;
    for (int step = 1;; step += step < 20 ? 1 : 7 * SweepStride) {
      SCOPED_TRACE(step);
      fs::copy_file(Path("old"), Path(), fs::copy_options::overwrite_existing);
      bool hasFailed = false;
      {
        StoreFaultVfs const vfs;
        StoreFaultVfs::StrikeAt(step, fault);
        try {
          Upgrade();
        } catch (sto_Exception const&) {
          hasFailed = true;
        }
        bool const struck = StoreFaultVfs::HasStruck();
        StoreFaultVfs::Disarm();
        if (!struck) break;
      }
      failures += hasFailed ? 1 : 0;
      // If undoing failed too, whoever opens the store for writing rolls back first.
      if (fs::exists(Path() + "-journal"))
        MessageOf(sto_ErrorKind::ReadOnly, [&] { static_cast<void>(Open()); });
      sto_Store store = Open(sto_Mode::ReadOnly);
      ASSERT_EQ(Format(), hasFailed ? 3 : 4);
      StoreEverything::Expect(store);
    }
    EXPECT_GT(failures, 10);
    ASSERT_EQ(Format(), 4);
  }
}

TEST_F(StoreUpgrade, KillLeavesTheOldStoreOrTheNewOne) {
  Make(3);
  fs::copy_file(Path(), Path("old"));
  int kills = 0;
  for (int step = 1;; step += step < 20 ? 1 : 11 * SweepStride) {
    SCOPED_TRACE(step);
    fs::copy_file(Path("old"), Path(), fs::copy_options::overwrite_existing);
    int const result = RunStoreChild([&] {
      StoreFaultVfs const vfs;
      StoreFaultVfs::StrikeAt(step, StoreFaultVfs::Fault::Kill);
      Upgrade();
      StoreFaultVfs::Disarm();
      return 0;
    });
    ASSERT_TRUE(result == 0 || result == -SIGKILL) << result;
    if (result == 0) break;
    ++kills;
    // Whoever opens the store for writing rolls back first; an old one is refused after that.
    bool isOld = false;
    try {
      static_cast<void>(Open());
    } catch (sto_Exception const& exception) {
      ASSERT_EQ(exception.Kind(), sto_ErrorKind::ReadOnly) << exception.AsString().View();
      isOld = true;
    }
    sto_Store store = Open(sto_Mode::ReadOnly);
    ASSERT_EQ(Format(), isOld ? 3 : 4);
    StoreEverything::Expect(store);
    EXPECT_EQ(IntegrityOf(Path()), "ok");
  }
  EXPECT_GT(kills, 10);
  EXPECT_EQ(Format(), 4);
}

TEST_F(StoreUpgrade, FailedAllocationLeavesTheOldStoreOrTheNewOne) {
  // There are thousands, and most are of the same few places.
  int const stride = TestsAllSeeds() ? 1 : 11 * SweepStride;
  CopyGolden("format-1.kvs");
  for (bool const inSqlite : {false, true}) {
    int failures = 0;
    for (long long step = 1;; step += stride) {
      SCOPED_TRACE(std::to_string(inSqlite) + ' ' + std::to_string(step));
      CopyGolden("format-1.kvs");
      inSqlite ? StoreSqliteMemoryFault::FailAt(step) : StoreNewFault::FailAt(step);
      bool isRaised = false;
      try {
        Upgrade();
      } catch (sto_Exception const&) {
        isRaised = true;
      } catch (std::bad_alloc const&) {
        isRaised = true;
      }
      bool const hasFailed = inSqlite ? StoreSqliteMemoryFault::HasFailed() : StoreNewFault::HasFailed();
      StoreNewFault::FailAt(0);
      StoreSqliteMemoryFault::Disarm();
      if (!hasFailed) break;
      failures += isRaised ? 1 : 0;
      ASSERT_TRUE(isRaised ? Format() == 1 || Format() == 4 : Format() == 4);
      ASSERT_EQ(Open(sto_Mode::ReadOnly).ObjectCount(), 2);
    }
    EXPECT_GT(failures, 30 / SweepStride);
    EXPECT_EQ(Format(), 4);
  }
}

/// Objects of one class with many different sets of attributes.
class StoreManyShapes : public StoreFileTest {
 protected:
  static constexpr int Sets = 200;

  static cls_ClassRegistrar const& Classes() { return StoreEverything::Classes(); }
  static void SaveAll(sto_Store& store, int first = 0) {
    for (int set = first; set < Sets; ++set)
      SaveFields(
          store,
          [set](cls_WriteVisitor const& visitor) {
            for (int bit = 0; bit < 8; ++bit)
              if ((set >> bit & 1) != 0) visitor.Write(Field(Names[bit]), cow_String(std::to_string(set)));
          },
          std::to_string(set));
  }
  static void ExpectAll(sto_Store& store) {
    for (int set = 0; set < Sets; ++set)
      static_cast<void>(LoadFields(
          store,
          [set](cls_ReadVisitor const& visitor) {
            for (int bit = 0; bit < 8; ++bit)
              EXPECT_EQ(visitor.Read(Field(Names[bit]), "absent"_cow).View(),
                        (set >> bit & 1) != 0 ? std::to_string(set) : "absent");
          },
          std::to_string(set)));
  }
  static constexpr char const* Names[] = {"m_One",  "m_Two",   "m_Text",  "m_Name",
                                          "m_Left", "m_Label", "m_Other", "m_Right"};
  [[nodiscard]] std::int64_t Shapes() const { return SqlFile(Path()).Integer("SELECT count(*) FROM shape"); }
};

TEST_F(StoreManyShapes, RecordsBeyondTheLimitBeginWithTheirShape) {
  sto_Store store = sto_Store::Open(Path(), sto_Mode::Create, TestClasses());
  SaveAll(store);
  EXPECT_EQ(Shapes(), 64);
  ExpectAll(store);
  SqlFile file(Path());
  EXPECT_EQ(file.Objects().size(), static_cast<std::size_t>(Sets));
  SaveAll(store); // again, with new identities
  EXPECT_EQ(store.CollectGarbage(), Sets);
  EXPECT_EQ(Shapes(), 64);
  sto_Store other = sto_Store::Open(Path(), sto_Mode::ReadOnly, TestClasses());
  ExpectAll(other);
}

TEST_F(StoreManyShapes, UpgradeGivesTheFirstOnesANumber) {
  {
    sto_Store store = sto_Store::Open(Path(), sto_Mode::Create, TestClasses());
    SaveAll(store);
  }
  MakeStoreOfOldFormat(Path(), 3);
  sto_Options options;
  options.m_Upgrade = true;
  sto_Store store = sto_Store::Open(Path(), sto_Mode::ReadWrite, TestClasses(), options);
  EXPECT_EQ(Shapes(), 64);
  ExpectAll(store);
}

TEST_F(StoreManyShapes, ShapesOfAnUndoneTransactionAreGivenAgainWithTheRightContent) {
  sto_Store store = sto_Store::Open(Path(), sto_Mode::Create, TestClasses());
  auto const save = [&](char const* name) {
    SaveFields(
        store, [&](cls_WriteVisitor const& visitor) { visitor.Write(Field(name), 5); }, name);
  };
  save("m_One");
  {
    sto_Transaction const transaction(store);
    save("m_Two");
    save("m_Text");
  }
  EXPECT_EQ(Shapes(), 1);
  EXPECT_THROW(SaveFields(store,
                          [&](cls_WriteVisitor const& visitor) {
                            visitor.Write(Field("m_Name"), 5);
                            Node(1).DBWrite(cls_WriteVisitor(visitor, Field("m_Held"), nullptr, nullptr));
                            throw std::runtime_error("the object fails");
                          }),
               std::runtime_error);
  EXPECT_EQ(Shapes(), 1);
  save("m_Text"); // gets the number that m_Two had
  save("m_Two");
  EXPECT_EQ(Shapes(), 3);
  sto_Store other = sto_Store::Open(Path(), sto_Mode::ReadOnly, TestClasses());
  for (char const* const name : {"m_One", "m_Two", "m_Text"})
    static_cast<void>(LoadFields(
        other,
        [&](cls_ReadVisitor const& visitor) {
          for (char const* const each : {"m_One", "m_Two", "m_Text"})
            EXPECT_EQ(visitor.Read(Field(each), -1), std::string(each) == name ? 5 : -1);
        },
        name));
  SqlFile file(Path());
  // The ninth byte is the number of the field's name.
  EXPECT_EQ(
      file.Text("SELECT text FROM name WHERE id = " + std::to_string(std::to_integer<int>(file.Shape(2)[8]))),
      "m_Text");
  EXPECT_EQ(file.Texts("SELECT CAST(id AS TEXT) FROM shape"), (std::vector<std::string>{"1", "2", "3"}));
}

TEST_F(StoreManyShapes, TwoSessionsAddShapesInTurn) {
  sto_Store first = sto_Store::Open(Path(), sto_Mode::Create, TestClasses());
  sto_Store second = sto_Store::Open(Path(), sto_Mode::ReadWrite, TestClasses());
  for (int i = 0; i < 8; ++i)
    for (sto_Store* const store : {&first, &second}) {
      std::string const root = std::to_string(i) + (store == &first ? "first" : "second");
      SaveFields(
          *store,
          [&](cls_WriteVisitor const& visitor) {
            visitor.Write(Field(Names[i]), i);
            if (store == &second) visitor.Write(Field("m_Newest"), cow_String(root));
          },
          root);
    }
  EXPECT_EQ(Shapes(), 16);
  for (sto_Store* const store : {&first, &second})
    for (int i = 0; i < 8; ++i)
      for (char const* const who : {"first", "second"})
        static_cast<void>(LoadFields(
            *store, [&](cls_ReadVisitor const& visitor) { EXPECT_EQ(visitor.Read(Field(Names[i]), -1), i); },
            std::to_string(i) + who));
}

TEST_F(StoreManyShapes, ObjectThatRefersToItselfAndToEarlierAndLaterOnesComesBack) {
  sto_Store store = sto_Store::Open(Path(), sto_Mode::Create, TestClasses());
  Node const earlier(1);
  store.Save("earlier", earlier);
  Node const later(3);
  Scripted object;
  object.m_Write = [&](cls_WriteVisitor const& visitor) {
    visitor.Memento()->WriteReference(Field("m_One"), object.m_Uid);
    visitor.Memento()->WriteReference(Field("m_Two"), earlier.m_Uid);
    visitor.Memento()->WriteReference(Field("m_Left"), later.m_Uid);
  };
  store.Save("root", object);
  store.Save("later", later);
  for (sto_Mode const mode : {sto_Mode::ReadOnly, sto_Mode::ReadWrite}) {
    sto_Store other = sto_Store::Open(Path(), mode, TestClasses());
    static_cast<void>(LoadFields(other, [&](cls_ReadVisitor const& visitor) {
      for (char const* const name : {"m_One", "m_Two", "m_Left"})
        EXPECT_EQ(visitor.Memento()->DataIsPresent(Field(name)), 1) << name;
      EXPECT_EQ(Node(cls_ReadVisitor(visitor, Field("m_Two"))).m_Value, 1);
      EXPECT_EQ(Node(cls_ReadVisitor(visitor, Field("m_Left"))).m_Value, 3);
    }));
  }
}

} // namespace
