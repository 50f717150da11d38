#include "store/recover/sto_Recover.h"

#include <cmath>
#include <complex>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "describe/dsc_Described.h"
#include "tests/support/store/StoreChild.h"
#include "tests/support/store/StoreRecover.h"
#include "tests/support/store/StoreRows.h"

namespace recover_test {
namespace {

namespace fs = std::filesystem;

class Bolt : public kvl::Polymorphic {
 public:
  KVL_PERSISTED(Bolt, kvl::Polymorphic, 0x760101, "Bolt", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Id), kvl::Indexed{});
    field(KVL_F(m_Length), kvl::Unit("mm"));
  }
  Bolt() = default;
  explicit Bolt(int id) : m_Id(id), m_Length(id * 0.5) {}
  int m_Id = 0;
  double m_Length = 0;
};

class Plate {
 public:
  KVL_PERSISTED(Plate, 0x760102, "Plate", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Name));
    field(KVL_F(m_Loads));
    field(KVL_F(m_Waves));
    field(KVL_F(m_Counts));
    field(KVL_F(m_Texts));
    field(KVL_F(m_Places));
    field(KVL_F(m_First));
    field(KVL_F(m_Bolts));
  }
  Plate() = default;
  std::string m_Name = "P1";
  std::vector<double> m_Loads = std::vector<double>(5000, 2.25);
  std::vector<std::complex<double>> m_Waves = std::vector<std::complex<double>>(3000, {1, 2});
  std::vector<int> m_Counts = std::vector<int>(5000, 7);
  std::vector<std::string> m_Texts = std::vector<std::string>(2500, "text");
  std::map<int, double> m_Places;
  std::shared_ptr<Bolt> m_First;
  std::vector<std::shared_ptr<Bolt>> m_Bolts;
};

class StoreRecover : public StoreRecoverTest {
 protected:
  static cls_ClassRegistrar const& Classes() {
    static cls_ClassRegistrar const& registrar = []() -> cls_ClassRegistrar const& {
      static cls_ClassRegistrar classes;
      Bolt::Declare(classes);
      Plate::Declare(classes);
      return classes;
    }();
    return registrar;
  }
  static sto_Store OpenPlates(std::string const& path, sto_Mode mode) {
    return sto_Store::Open(path, mode, Classes());
  }
  void MakePlate() const {
    Plate plate;
    plate.m_First = std::make_shared<Bolt>(1);
    for (int i = 2; i < 6; ++i) plate.m_Bolts.push_back(std::make_shared<Bolt>(i));
    for (int i = 0; i < 3000; ++i) plate.m_Places[i] = i;
    sto_Store store = OpenPlates(Path(), sto_Mode::Create);
    store.Save("plate", plate);
    store.Save("bolt", Bolt(100));
  }
  [[nodiscard]] std::unique_ptr<Plate> LoadPlate() const {
    sto_Store store = OpenPlates(Recovered(), sto_Mode::ReadWrite);
    EXPECT_TRUE(store.Check(sto_CheckDepth::Full).IsSound());
    std::unique_ptr<Plate> plate = store.Load<Plate>("plate");
    store.Save("plate", *plate); // the recovered store is written to as any other
    EXPECT_TRUE(store.Check(sto_CheckDepth::Full).IsSound());
    return plate;
  }
  void Damage(std::string const& sql) const { SqlFile(Path()).Run(sql); }
  /// Deletes an object from its pack, as if its bytes were lost.
  void DropObject(std::int64_t id) const {
    SqlFile file(Path());
    file.Unpack();
    file.Run("DELETE FROM object WHERE id = " + std::to_string(id));
  }
  [[nodiscard]] std::int64_t IdOf(std::string const& attribute) const {
    StoreSnapshot const snapshot(Path());
    return std::stoll(snapshot.m_Objects.at(snapshot.m_Roots.at("plate")).m_Fields.at(attribute).substr(1));
  }
};

TEST_F(StoreRecover, SoundStoreIsRecoveredWhole) {
  MakeEverything();
  StoreSnapshot const before(Path());
  sto_RecoverReport const report = ExpectRecovery(before);
  EXPECT_TRUE(report.IsComplete());
  EXPECT_EQ(report.m_FormatVersion, 4);
  EXPECT_EQ(report.m_Objects.m_Read, static_cast<std::int64_t>(before.m_Objects.size()));
  EXPECT_EQ(report.m_Roots.m_Read, static_cast<std::int64_t>(before.m_Roots.size()));
  EXPECT_EQ(report.m_Objects.m_Lost, 0);
  EXPECT_GT(report.m_Blocks.m_Read, 40);
  sto_Store store = sto_Store::Open(Recovered(), sto_Mode::ReadWrite, StoreEverything::Classes());
  StoreEverything::Expect(store);
  StoreSnapshot const after(Recovered());
  ASSERT_EQ(after.m_Saves.size(), before.m_Saves.size() + 1);
  EXPECT_TRUE(std::equal(before.m_Saves.begin(), before.m_Saves.end(), after.m_Saves.begin()));
  EXPECT_EQ(after.m_Saves.back(), "|Recovered from a damaged store.");
}

TEST_F(StoreRecover, StoresOfAllFormatsAreBroughtToThePresentOne) {
  int stores = 0;
  for (fs::directory_entry const& entry : fs::directory_iterator(KVL_GOLDEN_DIR)) {
    if (entry.path().extension() != ".kvs") continue;
    SCOPED_TRACE(entry.path().filename().string());
    fs::copy_file(entry.path(), Path(), fs::copy_options::overwrite_existing);
    EXPECT_TRUE(ExpectRecovery(StoreSnapshot(Path())).IsComplete());
    EXPECT_EQ(SqlFile(Recovered()).Integer("PRAGMA user_version"), 4);
    ++stores;
  }
  EXPECT_GT(stores, 5);
}

TEST_F(StoreRecover, DamagedStoreOfAnOldFormat) {
  fs::copy_file(std::string(KVL_GOLDEN_DIR) + "/format-3.kvs", Path());
  StoreSnapshot const before(Path());
  StoreBytes const whole = FileBytes(Path());
  auto const pageBytes = static_cast<std::size_t>(SqlFile(Path()).Integer("PRAGMA page_size"));
  for (std::size_t page = 1; page * pageBytes < whole.size(); page += 8) {
    SCOPED_TRACE(page);
    StoreBytes damaged = whole;
    std::fill_n(damaged.begin() + static_cast<std::ptrdiff_t>(page * pageBytes), pageBytes, std::byte{0});
    Write(damaged);
    ExpectRecovery(before);
  }
}

TEST_F(StoreRecover, IndexesAreKeptIfNothingIsLost) {
  MakePlate();
  EXPECT_TRUE(ExpectRecovery(StoreSnapshot(Path())).IsComplete());
  EXPECT_EQ(SqlFile(Recovered()).Integer("SELECT count(*) FROM index_entry"), 6);
}

TEST_F(StoreRecover, IndexesAreMadeAnewAfterALoss) {
  MakePlate();
  DropObject(IdOf("m_First"));
  sto_RecoverReport const report = Recover();
  EXPECT_TRUE(Has(report, sto_LostKind::Index));
  static_cast<void>(LoadPlate());
  EXPECT_EQ(SqlFile(Recovered()).Integer("SELECT count(*) FROM index_entry"), 5);
}

// Such pages fit their checksums: a disk said that it had written them, and had not.
TEST_F(StoreRecover, PagesOfAnEarlierSaveAreNoticed) {
  MakePlate();
  StoreBytes const earlier = FileBytes(Path());
  {
    sto_Store store = OpenPlates(Path(), sto_Mode::ReadWrite);
    auto const bolt = store.Load<Bolt>("bolt");
    bolt->m_Id = 200;
    store.Save("bolt", *bolt);
    auto const plate = store.Load<Plate>("plate");
    plate->m_First->m_Id = 77;
    store.Save("plate", *plate);
  }
  StoreBytes const newest = FileBytes(Path());
  StoreSnapshot const before(Path());
  auto const pageBytes = static_cast<std::size_t>(SqlFile(Path()).Integer("PRAGMA page_size"));
  int stale = 0, noIndex = 0;
  for (std::size_t at = pageBytes; at < std::min(earlier.size(), newest.size()); at += pageBytes) {
    auto const from = static_cast<std::ptrdiff_t>(at), to = from + static_cast<std::ptrdiff_t>(pageBytes);
    if (std::equal(earlier.begin() + from, earlier.begin() + to, newest.begin() + from)) continue;
    SCOPED_TRACE("page " + std::to_string(at / pageBytes + 1));
    StoreBytes damaged = newest;
    std::copy(earlier.begin() + from, earlier.begin() + to, damaged.begin() + from);
    Write(damaged);
    sto_RecoverReport const report = Recover();
    ExpectSound();
    if (report.IsComplete()) before.ExpectIn(StoreSnapshot(Recovered()), report);
    stale += Has(report, sto_LostKind::Stale) ? 1 : 0;
    noIndex += Has(report, sto_LostKind::Index) ? 1 : 0;
  }
  EXPECT_GT(stale, 0);
  EXPECT_GT(noIndex, stale); // a page of an index, too
}

TEST_F(StoreRecover, LostObjectLeavesNullPointer) {
  MakePlate();
  std::int64_t const id = IdOf("m_First");
  DropObject(id);
  sto_RecoverReport const report = Recover();
  sto_LostItem const* const item = Find(report, sto_LostKind::Field);
  ASSERT_NE(item, nullptr);
  EXPECT_EQ(item->m_ObjectId, id);
  EXPECT_EQ(item->m_Holder, "Plate");
  EXPECT_EQ(item->m_Attribute, "m_First");
  EXPECT_EQ(item->m_Text, "Object " + std::to_string(item->m_HolderId) +
                              " (Plate) is without attribute m_First, which held the lost object " +
                              std::to_string(id) + ".");
  EXPECT_EQ(report.m_Objects.m_Lost, 1);
  std::unique_ptr<Plate> const plate = LoadPlate();
  EXPECT_EQ(plate->m_First, nullptr);
  EXPECT_EQ(plate->m_Bolts.size(), 4U);
  EXPECT_EQ(plate->m_Name, "P1");
}

TEST_F(StoreRecover, LostElementOfAListOfObjectsIsNull) {
  MakePlate();
  StoreSnapshot const before(Path());
  std::string const element = before.m_Objects.at(IdOf("m_Bolts")).m_Items.at(2);
  DropObject(std::stoll(element.substr(1)));
  sto_RecoverReport const report = Recover();
  sto_LostItem const* const item = Find(report, sto_LostKind::Elements);
  ASSERT_NE(item, nullptr);
  EXPECT_EQ(item->m_Attribute, "m_Bolts");
  EXPECT_EQ(item->m_Holder, "Plate");
  EXPECT_EQ(item->m_Root, "plate");
  EXPECT_EQ(item->m_First, 2);
  EXPECT_EQ(item->m_Count, 1);
  std::unique_ptr<Plate> const plate = LoadPlate();
  ASSERT_EQ(plate->m_Bolts.size(), 4U);
  EXPECT_EQ(plate->m_Bolts[2], nullptr);
  EXPECT_EQ(plate->m_Bolts[3]->m_Id, 5);
}

TEST_F(StoreRecover, LostCollectionIsEmpty) {
  MakePlate();
  DropObject(IdOf("m_Loads"));
  sto_RecoverReport const report = Recover();
  EXPECT_EQ(Find(report, sto_LostKind::Field)->m_Attribute, "m_Loads");
  std::unique_ptr<Plate> const plate = LoadPlate();
  EXPECT_EQ(plate->m_Counts.size(), 5000U);
}

TEST_F(StoreRecover, LostBlocksBecomeDefaultsOfTheirType) {
  MakePlate();
  StoreSnapshot const before(Path());
  Damage("UPDATE block SET data = zeroblob(length(data)) WHERE key >> 20 IN (" +
         std::to_string(IdOf("m_Loads")) + "," + std::to_string(IdOf("m_Waves")) + "," +
         std::to_string(IdOf("m_Counts")) + "," + std::to_string(IdOf("m_Texts")) + ")");
  sto_RecoverReport const report = ExpectRecovery(before);
  EXPECT_EQ(report.m_Objects.m_Lost, 0);
  EXPECT_EQ(report.m_Blocks.m_Lost, 3 + 2 + 3 + 2);
  sto_LostItem const* const item = Find(report, sto_LostKind::Elements);
  ASSERT_NE(item, nullptr);
  EXPECT_EQ(item->m_Attribute, "m_Loads");
  EXPECT_EQ(item->m_First, 0);
  EXPECT_EQ(item->m_Count, 5000);
  EXPECT_TRUE(Contains(item->m_Text, "has lost elements 0 to 4999. It is attribute m_Loads of object"))
      << item->m_Text;
  std::unique_ptr<Plate> const plate = LoadPlate();
  ASSERT_EQ(plate->m_Loads.size(), 5000U);
  EXPECT_TRUE(std::isnan(plate->m_Loads[4999]));
  EXPECT_TRUE(std::isnan(plate->m_Waves.at(2999).imag()));
  EXPECT_EQ(plate->m_Counts.at(0), 0);
  EXPECT_EQ(plate->m_Texts.at(2499), "");
}

TEST_F(StoreRecover, LostChunkOfAMapTakesItsEntries) {
  MakePlate();
  std::int64_t const id = IdOf("m_Places");
  Damage(
      "UPDATE block SET data = zeroblob(length(data)) WHERE key = (SELECT min(key) FROM block WHERE key >> 20 = " +
      std::to_string(id) + ")");
  sto_RecoverReport const report = Recover();
  sto_LostItem const* const item = Find(report, sto_LostKind::Entries);
  ASSERT_NE(item, nullptr);
  EXPECT_EQ(item->m_Attribute, "m_Places");
  std::unique_ptr<Plate> const plate = LoadPlate();
  EXPECT_EQ(plate->m_Places.size() + static_cast<std::size_t>(item->m_Count), 3000U);
  for (auto const& [key, value] : plate->m_Places) EXPECT_EQ(value, key);
}

TEST_F(StoreRecover, LostBytesOfABlobAreZero) {
  MakeEverything();
  StoreSnapshot const before(Path());
  {
    SqlFile file(Path());
    std::int64_t const blob = file.Integer("SELECT max(key >> 20) FROM block WHERE length(data) > 40000");
    file.Run("UPDATE block SET data = zeroblob(length(data)) WHERE key >> 20 = " + std::to_string(blob));
  }
  sto_RecoverReport const report = ExpectRecovery(before);
  sto_LostItem const* const item = Find(report, sto_LostKind::Bytes);
  ASSERT_NE(item, nullptr);
  EXPECT_EQ(item->m_Attribute, "m_Blob");
  EXPECT_EQ(item->m_Count, 40'000);
  sto_Store store = sto_Store::Open(Recovered(), sto_Mode::ReadOnly, StoreEverything::Classes());
  EXPECT_EQ(store.Load<Picture>("picture")->Bytes(), std::string(40'000, '\0'));
}

TEST_F(StoreRecover, LostRootTakesItsName) {
  MakePlate();
  DropObject(StoreSnapshot(Path()).m_Roots.at("bolt"));
  sto_RecoverReport const report = Recover();
  sto_LostItem const* const item = Find(report, sto_LostKind::Root);
  ASSERT_NE(item, nullptr);
  EXPECT_EQ(item->m_Root, "bolt");
  EXPECT_EQ(report.m_Roots.m_Lost, 1);
  EXPECT_FALSE(OpenPlates(Recovered(), sto_Mode::ReadOnly).HasRoot("bolt"));
}

TEST_F(StoreRecover, ObjectWhoseRootIsLostGetsAName) {
  MakePlate();
  std::int64_t const id = StoreSnapshot(Path()).m_Roots.at("bolt");
  Damage("UPDATE root SET checksum = 0 WHERE name = 'bolt'");
  std::string const name = "recovered/Bolt-" + std::to_string(id);
  EXPECT_EQ(Recover().m_NewRoots, (std::vector<std::string>{name}));
  EXPECT_EQ(OpenPlates(Recovered(), sto_Mode::ReadWrite).Load<Bolt>(name)->m_Id, 100);
  sto_RecoverOptions options;
  options.m_KeepUnreachable = false;
  EXPECT_TRUE(Recover(options).m_NewRoots.empty());
  EXPECT_EQ(OpenPlates(Recovered(), sto_Mode::ReadWrite).CountGarbage(), 1);
}

TEST_F(StoreRecover, LostClassIsDescribedAgainByTheNextSave) {
  MakePlate();
  StoreSnapshot const before(Path());
  Damage("DELETE FROM class; DELETE FROM attribute");
  sto_RecoverReport const report = ExpectRecovery(before);
  EXPECT_TRUE(Has(report, sto_LostKind::Class));
  EXPECT_EQ(LoadPlate()->m_Name, "P1");
  EXPECT_EQ(SqlFile(Recovered()).Integer("SELECT count(*) FROM class WHERE name = 'Plate'"), 1);
}

TEST_F(StoreRecover, LostNamesAreThoseOfTheAttributes) {
  MakePlate();
  StoreSnapshot const before(Path());
  Damage("UPDATE name SET checksum = 0");
  EXPECT_FALSE(Has(ExpectRecovery(before), sto_LostKind::Name));
  EXPECT_EQ(LoadPlate()->m_First->m_Id, 1);
}

TEST_F(StoreRecover, WrongBitInTheUuidIsFound) {
  MakePlate();
  Damage("UPDATE meta SET value = X'FF' || substr(value, 2) WHERE key = 'uuid'");
  StoreBytes const uuid = SqlFile(Path()).Blob("SELECT value FROM meta WHERE key = 'uuid'");
  sto_RecoverReport const report = Recover();
  EXPECT_EQ(SqlFile(Recovered()).Blob("SELECT value FROM meta WHERE key = 'uuid'").size(), uuid.size());
  EXPECT_EQ(LoadPlate()->m_First->m_Id, 1);
  EXPECT_EQ(report.m_Objects.m_Lost, 0);
}

TEST_F(StoreRecover, LogKeepsThePlaceOfLostEntries) {
  MakeEverything();
  Damage("DELETE FROM save WHERE no IN (3, 4)");
  sto_RecoverReport const report = Recover();
  sto_LostItem const* const item = Find(report, sto_LostKind::Save);
  ASSERT_NE(item, nullptr);
  EXPECT_EQ(item->m_Text, "2 entries of the log of saves cannot be read, the first of them that of save 3.");
  EXPECT_EQ(report.m_Saves.m_Lost, 2);
  ExpectSound();
  EXPECT_EQ(StoreSnapshot(Recovered()).m_Saves.at(2), "|This entry of the log was lost.");
}

TEST_F(StoreRecover, LostEndOfTheLogDoesNotGiveIdsOutAgain) {
  MakePlate();
  std::int64_t const next = SqlFile(Path()).Integer("SELECT max(next_object_id) FROM save");
  Damage("DELETE FROM save WHERE no > 1");
  static_cast<void>(Recover());
  ExpectSound();
  EXPECT_GE(SqlFile(Recovered()).Integer("SELECT max(next_object_id) FROM save"), next - 1);
}

TEST_F(StoreRecover, FieldsOfReportAreLimited) {
  MakeEverything();
  Damage("UPDATE block SET data = zeroblob(length(data))");
  sto_RecoverOptions options;
  options.m_MaxItems = 3;
  sto_RecoverReport const report = Recover(options);
  EXPECT_EQ(report.m_Lost.size(), 3U);
  EXPECT_GT(report.m_FurtherLost, 30);
  EXPECT_FALSE(report.IsComplete());
}

TEST_F(StoreRecover, ProgramIsInTheLog) {
  MakePlate();
  sto_RecoverOptions options;
  options.m_Program = "rescue 1.0";
  static_cast<void>(Recover(options));
  EXPECT_EQ(StoreSnapshot(Recovered()).m_Saves.back(), "rescue 1.0|Recovered from a damaged store.");
}

TEST_F(StoreRecover, KilledWriterIsUndoneInACopy) {
  MakePlate();
  StoreSnapshot const before(Path());
  int const code = RunStoreChild([&] {
    sto_Store store = OpenPlates(Path(), sto_Mode::ReadWrite);
    StoreFaultVfs::StrikeAt(8, StoreFaultVfs::Fault::Kill);
    for (int i = 0; i < 50; ++i) store.Save("more " + std::to_string(i), Bolt(i));
    return 0;
  });
  EXPECT_NE(code, 0);
  ASSERT_TRUE(fs::exists(Path() + "-journal"));
  StoreBytes const journal = FileBytes(Path() + "-journal");
  EXPECT_TRUE(ExpectRecovery(before).IsComplete());
  EXPECT_EQ(FileBytes(Path() + "-journal"), journal);
}

TEST_F(StoreRecover, LogBesideTheStoreIsApplied) {
  sto_Options options;
  options.m_ReadersBesideWriter = true;
  int const code = RunStoreChild([&] {
    sto_Store store = sto_Store::Open(Path(), sto_Mode::Create, Classes(), options);
    store.Save("bolt", Bolt(3));
    _exit(7); // nothing is closed
    return 0;
  });
  EXPECT_EQ(code, 7);
  ASSERT_TRUE(fs::exists(Path() + "-wal"));
  StoreBytes const file = FileBytes(Path()), log = FileBytes(Path() + "-wal"),
                   shared = FileBytes(Path() + "-shm");
  EXPECT_TRUE(Recover().IsComplete());
  EXPECT_EQ(FileBytes(Path()), file);
  EXPECT_EQ(FileBytes(Path() + "-wal"), log);
  EXPECT_EQ(FileBytes(Path() + "-shm"), shared);
  ExpectNothingElse();
  EXPECT_EQ(SqlFile(Recovered()).Text("PRAGMA journal_mode"), "wal");
  EXPECT_EQ(OpenPlates(Recovered(), sto_Mode::ReadWrite).Load<Bolt>("bolt")->m_Id, 3);
}

TEST_F(StoreRecover, RefusesWhatIsNoStore) {
  MessageOf(sto_ErrorKind::NotFound, [&] { Recover(); });
  WriteFile(Path(), "");
  MessageOf(sto_ErrorKind::NotFound, [&] { Recover(); });
  WriteFile(Path(), std::string(100'000, 'x'));
  MessageOf(sto_ErrorKind::NotFound, [&] { Recover(); });
  fs::remove(Path());
  SqlFile(Path()).Run("CREATE TABLE other(a, b); INSERT INTO other VALUES(1, 2)");
  MessageOf(sto_ErrorKind::NotFound, [&] { Recover(); });
  fs::remove(Path());
  fs::create_directory(Path());
  MessageOf(sto_ErrorKind::NotFound, [&] { Recover(); });
  EXPECT_FALSE(fs::exists(Recovered()));
  ExpectNothingElse();
}

TEST_F(StoreRecover, NewerFormatIsLeftToNewerPrograms) {
  MakePlate();
  Damage("PRAGMA user_version = 5; DROP TABLE shape; DROP TABLE pack; DROP TABLE object; DROP TABLE save;"
         "DROP TABLE note; DROP TABLE enumerator; DROP TABLE attribute; CREATE TABLE thing(a)");
  MessageOf(sto_ErrorKind::NewerFormat, [&] { Recover(); });
}

TEST_F(StoreRecover, NeverReplacesAFile) {
  MakePlate();
  StoreBytes const before = FileBytes(Path());
  MessageOf(sto_ErrorKind::Conflict, [&] { static_cast<void>(sto_Recover(Path(), Path())); });
  WriteFile(Recovered(), "mine");
  MessageOf(sto_ErrorKind::Conflict, [&] { static_cast<void>(sto_Recover(Path(), Recovered())); });
  EXPECT_EQ(FileBytes(Recovered()).size(), 4U);
  EXPECT_EQ(FileBytes(Path()), before);
  fs::remove(Recovered());
  ExpectNothingElse();
}

TEST_F(StoreRecover, ProgressGoesFromNothingToAll) {
  MakeEverything();
  std::vector<sto_ProgressStep> steps;
  sto_Recover(Path(), Recovered(), {}, [&](sto_ProgressStep const& step) {
    EXPECT_TRUE(steps.empty() || step.m_Done >= steps.back().m_Done);
    steps.push_back(step);
    return true;
  });
  ASSERT_GE(steps.size(), 2U);
  EXPECT_EQ(steps.front().m_Done, 0);
  EXPECT_EQ(steps.back().m_Done, steps.back().m_Total);
}

TEST_F(StoreRecover, CancelledAtAnyCallLeavesNothing) {
  MakeEverything();
  for (int last = 0;; ++last) {
    int calls = 0;
    bool isCancelled = false;
    try {
      sto_Recover(Path(), Recovered(), {}, [&](sto_ProgressStep const&) { return calls++ < last; });
    } catch (sto_Exception const& failure) {
      isCancelled = true;
      EXPECT_EQ(failure.Kind(), sto_ErrorKind::Cancelled);
    }
    EXPECT_EQ(fs::exists(Recovered()), !isCancelled);
    ExpectNothingElse();
    if (!isCancelled) break;
  }
}

TEST_F(StoreRecover, FailureAtAnyFileOperationLeavesNothing) {
  MakePlate();
  for (std::int64_t step = 1;; step += 1 + step / 3) {
    StoreFaultVfs::StrikeAt(step, StoreFaultVfs::Fault::Full);
    bool isDone = true;
    try {
      sto_Recover(Path(), Recovered());
    } catch (sto_Exception const& failure) {
      isDone = false;
      bool const isRight =
          failure.Kind() == sto_ErrorKind::Full || failure.Kind() == sto_ErrorKind::Unavailable;
      EXPECT_TRUE(isRight) << failure.what();
    }
    bool const hasStruck = StoreFaultVfs::HasStruck();
    StoreFaultVfs::Disarm();
    EXPECT_EQ(fs::exists(Recovered()), isDone) << step;
    ExpectNothingElse();
    fs::remove(Recovered());
    if (!hasStruck) break;
  }
}

TEST_F(StoreRecover, KilledAtAnyFileOperationLeavesNothingThatLooksLikeAStore) {
  MakePlate();
  int killed = 0;
  for (std::int64_t step = 1;; step += 1 + step / 2) {
    int const code = RunStoreChild([&] {
      StoreFaultVfs::StrikeAt(step, StoreFaultVfs::Fault::Kill);
      sto_Recover(Path(), Recovered());
      return StoreFaultVfs::HasStruck() ? 1 : 0;
    });
    if (code == 0) break;
    ++killed;
    EXPECT_FALSE(fs::exists(Recovered()));
    for (fs::directory_entry const& entry : fs::directory_iterator(Folder())) {
      std::string const name = entry.path().filename().string();
      if (!name.starts_with("recovered.kvs") || name.ends_with("-journal")) continue;
      try {
        static_cast<void>(OpenPlates(entry.path().string(), sto_Mode::ReadWrite));
        ADD_FAILURE() << name << " is a store, step " << step;
      } catch (sto_Exception const& failure) {
        EXPECT_EQ(failure.Kind(), sto_ErrorKind::NotFound) << failure.what();
      }
    }
    for (fs::directory_entry const& entry : fs::directory_iterator(Folder()))
      if (entry.path().filename().string().starts_with("recovered")) fs::remove(entry.path());
  }
  EXPECT_GT(killed, 5);
}

TEST_F(StoreRecover, KindsHaveNames) {
  EXPECT_STREQ(sto_LostKindName(sto_LostKind::Elements), "Elements");
  EXPECT_STREQ(sto_LostKindName(static_cast<sto_LostKind>(99)), "unknown");
}

} // namespace
} // namespace recover_test
