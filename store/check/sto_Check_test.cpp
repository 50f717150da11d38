#include <algorithm>
#include <filesystem>
#include <functional>

#include "tests/support/store/StoreEverything.h"
#include "tests/support/store/StoreFaultVfs.h"
#include "tests/support/store/StoreOldFormat.h"
#include "tests/support/store/StorePages.h"
#include "tests/support/store/StoreRows.h"

namespace {

using Kind = sto_CheckKind;

/// A sound block that is not compressed.
StoreBytes BlockOf(std::int64_t key, StoreBytes const& content) {
  StoreBytes block = WithChecksum(key, content);
  block.insert(block.end() - 8, std::byte{0});
  return block;
}

std::string TextOf(sto_CheckReport const& report) {
  std::string text;
  for (sto_CheckFinding const& finding : report.m_Findings)
    text += std::string(sto_CheckKindName(finding.m_Kind)) + ": " + finding.m_Text + "\n";
  return text + std::to_string(report.m_FurtherFindings) + " more\n";
}

/// A store with every kind of object and row.
class StoreCheck : public StoreFileTest {
 protected:
  StoreFaultVfs const m_Vfs; // nothing waits for the disk

  void SetUp() override {
    static StoreBytes const bytes = [this] { // made once: that takes long
      sto_Options options;
      options.m_PageBytes = 1024;
      sto_Store store = sto_Store::Open(Path(), sto_Mode::Create, StoreEverything::Classes(), options);
      StoreEverything::Save(store);
      store.Close();
      return FileBytes(Path());
    }();
    WriteFile(Path(), std::string_view(reinterpret_cast<char const*>(bytes.data()), bytes.size()));
  }
  sto_Store Open(sto_Mode mode = sto_Mode::ReadOnly, std::string_view name = "test.kvs") const {
    return sto_Store::Open(Path(name), mode, StoreEverything::Classes());
  }
  sto_CheckReport Check(sto_CheckDepth depth = sto_CheckDepth::Full) const { return Open().Check(depth); }
  void Run(std::string const& sql) const { SqlFile(Path()).Run(sql); }
  [[nodiscard]] std::int64_t Number(std::string const& sql) const { return SqlFile(Path()).Integer(sql); }

  /// The first finding of a kind. Fails the test if there is none, or a text is not one sentence.
  static sto_CheckFinding Find(sto_CheckReport const& report, Kind kind) {
    for (sto_CheckFinding const& finding : report.m_Findings)
      EXPECT_TRUE(finding.m_Text.ends_with('.')) << finding.m_Text;
    auto const found = std::ranges::find(report.m_Findings, kind, &sto_CheckFinding::m_Kind);
    if (found != report.m_Findings.end()) return *found;
    ADD_FAILURE() << "no " << sto_CheckKindName(kind) << " in\n" << TextOf(report);
    return {};
  }
  sto_CheckFinding FindAfter(Kind kind, std::string const& sql) const {
    Run(sql);
    return Find(Check(), kind);
  }
  static std::size_t CountOf(sto_CheckReport const& report, Kind kind) {
    return static_cast<std::size_t>(std::ranges::count(report.m_Findings, kind, &sto_CheckFinding::m_Kind));
  }
  /// The object under a root.
  [[nodiscard]] std::int64_t RootId(std::string const& root) const {
    return Number("SELECT object_id FROM root WHERE name = '" + root + "'");
  }
  /// The lists in blocks, by the number of their blocks.
  [[nodiscard]] std::int64_t ListWithBlocks(int count) const {
    return Number("SELECT key >> 20 FROM stored_block GROUP BY key >> 20 HAVING count(*) = " +
                  std::to_string(count));
  }
};

TEST_F(StoreCheck, SoundStoreHasNoFindings) {
  sto_CheckReport const report = Check();
  EXPECT_TRUE(report.IsSound()) << TextOf(report);
  EXPECT_TRUE(report.m_Notes.empty());
  EXPECT_EQ(report.m_IsSumRight, true);
  EXPECT_EQ(report.m_Unreachable, 0);
  EXPECT_EQ(report.m_Counts.m_Objects, Open().ObjectCount());
  EXPECT_EQ(report.m_Counts.m_Blocks,
            Number("SELECT (SELECT count(*) FROM stored_block) + count(*) FROM moved_block"));
  EXPECT_GT(Number("SELECT count(*) FROM moved_block"), 0);
  EXPECT_EQ(report.m_Counts.m_Roots, Number("SELECT count(*) FROM root"));
  EXPECT_EQ(report.m_Counts.m_Shapes, Number("SELECT count(*) FROM shape"));
  EXPECT_EQ(report.m_Counts.m_Classes, Number("SELECT count(*) FROM class"));
  EXPECT_EQ(report.m_Counts.m_Saves, Number("SELECT count(*) FROM save"));
  EXPECT_GT(report.m_Counts.m_BytesRead, 40'000 + 3000 * 8);
}

TEST_F(StoreCheck, QuickCheckOfSoundStoreHasNoFindings) {
  sto_CheckReport const report = Check(sto_CheckDepth::Quick);
  EXPECT_TRUE(report.IsSound()) << TextOf(report);
  EXPECT_EQ(report.m_IsSumRight, std::nullopt);
  EXPECT_EQ(report.m_Unreachable, std::nullopt);
  EXPECT_EQ(report.m_Counts.m_Objects, Open().ObjectCount());
  EXPECT_EQ(report.m_Counts.m_Blocks, 0);
}

TEST_F(StoreCheck, SoundStoresOfOldFormatsHaveNoFindings) {
  for (int const format : {1, 2, 3}) {
    SCOPED_TRACE(format);
    std::filesystem::copy_file(Path(), Path("old"), std::filesystem::copy_options::overwrite_existing);
    MakeStoreOfOldFormat(Path("old"), format);
    for (sto_CheckDepth const depth : {sto_CheckDepth::Quick, sto_CheckDepth::Full}) {
      sto_CheckReport const report = Open(sto_Mode::ReadOnly, "old").Check(depth);
      EXPECT_TRUE(report.IsSound()) << TextOf(report);
      EXPECT_EQ(report.m_IsSumRight, std::nullopt);
      EXPECT_EQ(report.m_Counts.m_Objects, Open().ObjectCount());
    }
  }
}

TEST_F(StoreCheck, OldFormatsAreCheckedForMissingObjectsAndBlocks) {
  std::int64_t const list = ListWithBlocks(2);
  MakeStoreOfOldFormat(Path(), 3);
  SqlFile(Path()).Unpack();
  sto_CheckFinding const finding =
      FindAfter(Kind::MissingBlock, "DELETE FROM block WHERE key = (" + std::to_string(list) + " << 20) + 1");
  EXPECT_EQ(finding.m_ObjectId, list);
  EXPECT_EQ(finding.m_Block, 1);
  EXPECT_EQ(FindAfter(Kind::DanglingRoot, "DELETE FROM object WHERE id = " + std::to_string(RootId("nodes")))
                .m_Root,
            "nodes");
  FindAfter(Kind::DamagedRow,
            "UPDATE object SET record = zeroblob(20) WHERE id = " + std::to_string(RootId("types")));
}

TEST_F(StoreCheck, WorksInTransactions) {
  sto_Store store = Open(sto_Mode::ReadWrite);
  {
    sto_ReadTransaction const reading(store);
    EXPECT_TRUE(store.Check(sto_CheckDepth::Full).IsSound());
  }
  sto_Transaction transaction(store);
  store.Save("more", Picture(40'000));
  store.Save("many", Node(3));
  for (int i = 0; i < 40; ++i) {
    std::unique_ptr<Bulk> const bulk = store.Load<Bulk>("bulk " + std::to_string(i));
    bulk->m_Array.Get(3) = 77;
    store.Save("bulk " + std::to_string(i), *bulk);
  }
  store.RemoveRoot("nodes");
  sto_CheckReport const report = store.Check(sto_CheckDepth::Full);
  EXPECT_TRUE(report.IsSound()) << TextOf(report);
  EXPECT_EQ(report.m_IsSumRight, true);
  EXPECT_EQ(report.m_Unreachable, 3);
  transaction.Commit();
  EXPECT_TRUE(store.Check(sto_CheckDepth::Full).IsSound());
  EXPECT_EQ(SumInLog(*std::make_unique<SqlFile>(Path())), SumOverRows(*std::make_unique<SqlFile>(Path())));
}

TEST_F(StoreCheck, CheckInRolledBackTransactionChangesNothing) {
  std::string before = SumInLog(*std::make_unique<SqlFile>(Path()));
  {
    sto_Store store = Open(sto_Mode::ReadWrite);
    sto_Transaction transaction(store);
    for (int i = 0; i < 40; ++i) store.Load<Bulk>("bulk " + std::to_string(i))->m_Array.Get(3) = 77;
    EXPECT_TRUE(store.Check(sto_CheckDepth::Full).IsSound());
    transaction.Rollback();
    StoreEverything::Expect(store);
  }
  SqlFile file(Path());
  EXPECT_EQ(SumInLog(file), before);
  EXPECT_EQ(SumOverRows(file), before);
}

TEST_F(StoreCheck, IsRefusedDuringASave) {
  sto_Store store = Open(sto_Mode::ReadWrite);
  SaveFields(store, [&](cls_WriteVisitor const&) {
    MessageOf(sto_ErrorKind::Misuse, [&] { static_cast<void>(store.Check(sto_CheckDepth::Quick)); });
    MessageOf(sto_ErrorKind::Misuse, [&] { static_cast<void>(store.Stat()); });
  });
}

TEST_F(StoreCheck, LimitCountsFurtherFindings) {
  Run("DELETE FROM block");
  std::size_t const all = Check().m_Findings.size();
  EXPECT_GT(all, 5U);
  sto_CheckReport const report = Open().Check(sto_CheckDepth::Full, 2);
  EXPECT_EQ(report.m_Findings.size(), 2U);
  EXPECT_EQ(report.m_FurtherFindings, static_cast<std::int64_t>(all) - 2);
  EXPECT_FALSE(Open().Check(sto_CheckDepth::Full, 0).IsSound());
}

TEST_F(StoreCheck, UnreachableObjectsAreCountedAndNoDamage) {
  Open(sto_Mode::ReadWrite).RemoveRoot("nodes");
  sto_CheckReport const report = Check();
  EXPECT_TRUE(report.IsSound()) << TextOf(report);
  EXPECT_EQ(report.m_Unreachable, 3);
}

TEST_F(StoreCheck, ReferenceToAnObjectThatWasNeverSavedIsANote) {
  Top const unsaved;
  {
    sto_Store store = Open(sto_Mode::ReadWrite);
    EveryType types;
    types.m_Reference = unsaved.m_TopUid;
    store.Save("types", types);
  }
  sto_CheckReport const report = Check();
  EXPECT_TRUE(report.IsSound()) << TextOf(report);
  ASSERT_EQ(report.m_Notes.size(), 1U);
  EXPECT_EQ(report.m_Notes[0].m_Kind, Kind::DanglingReference);
  EXPECT_EQ(report.m_Notes[0].m_ObjectId, RootId("types"));
}

TEST_F(StoreCheck, DamagedNewestSaveDoesNotHideTheRest) {
  Run("UPDATE save SET note = 'other' WHERE no = (SELECT max(no) FROM save)");
  Run("DELETE FROM object WHERE id = " + std::to_string(RootId("long")));
  sto_CheckReport const report = Check();
  EXPECT_EQ(Find(report, Kind::Log).m_Key, Number("SELECT max(no) FROM save"));
  EXPECT_EQ(Find(report, Kind::DanglingRoot).m_Root, "long");
  EXPECT_EQ(report.m_IsSumRight, std::nullopt);
  EXPECT_GT(report.m_Counts.m_Blocks, 0);
  EXPECT_TRUE(Contains(Find(Check(sto_CheckDepth::Quick), Kind::Log).m_Text, "checksum"));
}

TEST_F(StoreCheck, MissingSavesAreFound) {
  EXPECT_EQ(FindAfter(Kind::Log, "DELETE FROM save WHERE no = 3").m_Key, 4);
  EXPECT_TRUE(Contains(FindAfter(Kind::Log, "DELETE FROM save WHERE no BETWEEN 2 AND 5").m_Text, "2 to 5"));
  Find(Check(sto_CheckDepth::Quick), Kind::Log);
  FindAfter(Kind::Log, "DELETE FROM save");
}

TEST_F(StoreCheck, MissingNewestSaveIsFound) {
  Open(sto_Mode::ReadWrite).Save("another", Node(1));
  sto_CheckFinding const finding =
      FindAfter(Kind::Log, "DELETE FROM save WHERE no = (SELECT max(no) FROM save)");
  EXPECT_EQ(finding.m_Table, "pack");
}

TEST_F(StoreCheck, DamagedRowsOfTheCatalogueDoNotHideTheRest) {
  Run("UPDATE class SET name = 'Other' WHERE name = 'Node'; UPDATE name SET text = 'm_Other' WHERE id = 1;"
      "UPDATE shape SET data = zeroblob(9) WHERE id = (SELECT max(id) FROM shape)");
  Run("DELETE FROM stored_block WHERE key = (" + std::to_string(ListWithBlocks(2)) + " << 20) + 1");
  for (sto_CheckDepth const depth : {sto_CheckDepth::Quick, sto_CheckDepth::Full}) {
    sto_CheckReport const report = Check(depth);
    EXPECT_GE(CountOf(report, Kind::Catalogue), 3U) << TextOf(report);
    for (char const* const table : {"class", "name", "shape"})
      EXPECT_NE(std::ranges::find(report.m_Findings, table, &sto_CheckFinding::m_Table),
                report.m_Findings.end())
          << table;
  }
  EXPECT_EQ(Find(Check(), Kind::MissingBlock).m_Block, 1);
}

TEST_F(StoreCheck, AttributeWithoutClassIsFound) {
  EXPECT_EQ(FindAfter(Kind::Catalogue, "DELETE FROM class WHERE name = 'Node'").m_Table, "attribute");
}

TEST_F(StoreCheck, ShapeWithoutItsClassOrNameIsFound) {
  sto_CheckFinding const finding = FindAfter(Kind::Catalogue, "DELETE FROM name WHERE text = 'm_Left'");
  EXPECT_EQ(finding.m_Table, "shape");
  EXPECT_EQ(finding.m_Class, "Node");
}

TEST_F(StoreCheck, ObjectWithoutItsShapeIsFound) {
  std::int64_t const shape = Number("SELECT id FROM shape WHERE id = (SELECT max(id) FROM shape)");
  sto_CheckFinding const finding =
      FindAfter(Kind::DamagedObject, "DELETE FROM shape WHERE id = " + std::to_string(shape));
  EXPECT_TRUE(Contains(finding.m_Text, "has shape " + std::to_string(shape))) << finding.m_Text;
}

TEST_F(StoreCheck, DamagedRootIsFoundByName) {
  sto_CheckFinding const finding =
      FindAfter(Kind::DamagedRow, "UPDATE root SET object_id = 1 WHERE name = 'nodes'");
  EXPECT_EQ(finding.m_Table, "root");
  EXPECT_EQ(finding.m_Root, "nodes");
  EXPECT_FALSE(Check(sto_CheckDepth::Quick).IsSound());
}

TEST_F(StoreCheck, DamagedPackIsFound) {
  sto_CheckFinding const finding =
      FindAfter(Kind::DamagedRow, "UPDATE pack SET data = substr(data, 1, length(data) - 1) WHERE key = 1");
  EXPECT_EQ(finding.m_Table, "pack");
  EXPECT_EQ(finding.m_Key, 1);
  sto_CheckReport const report = Check();
  EXPECT_EQ(CountOf(report, Kind::MissingObject), 0U) << TextOf(report); // nobody knows what the pack has
  EXPECT_EQ(CountOf(report, Kind::OrphanBlock), 0U) << TextOf(report);
  EXPECT_FALSE(Check(sto_CheckDepth::Quick).IsSound());
}

TEST_F(StoreCheck, DamagedRecordIsFoundWithItsClass) {
  std::int64_t const id = RootId("long");
  sto_CheckFinding const finding =
      FindAfter(Kind::DamagedRow,
                "UPDATE object SET record = substr(record, 1, length(record) - 1) || x'00' WHERE id = " +
                    std::to_string(id));
  EXPECT_EQ(finding.m_ObjectId, id);
  EXPECT_EQ(finding.m_Class, "EveryType");
}

TEST_F(StoreCheck, SoundRecordThatIsNoRecordIsFound) {
  std::int64_t const id = RootId("nodes");
  {
    SqlFile file(Path());
    file.Unpack();
    StoreRow row = file.Row(id);
    row.m_Values.push_back(std::byte{0});
    file.PutRow(id, row);
  }
  EXPECT_EQ(Find(Check(), Kind::DamagedObject).m_ObjectId, id);
}

TEST_F(StoreCheck, MissingObjectIsFoundByHolderAndAttribute) {
  std::int64_t const id = RootId("nodes");
  std::int64_t left = 0;
  {
    SqlFile file(Path());
    file.Unpack();
    left = id + 1;
    file.Run("DELETE FROM object WHERE id = " + std::to_string(left));
  }
  sto_CheckFinding const finding = Find(Check(), Kind::MissingObject);
  EXPECT_EQ(finding.m_ObjectId, id);
  EXPECT_EQ(finding.m_Class, "Node");
  EXPECT_EQ(finding.m_Attribute, "m_Left");
  EXPECT_TRUE(Contains(finding.m_Text, "bject " + std::to_string(left))) << finding.m_Text;
}

TEST_F(StoreCheck, MissingElementOfAListOfObjectsIsFound) {
  {
    SqlFile file(Path());
    file.Unpack();
    file.Run("DELETE FROM object WHERE id IN (8, 9)"); // the two that the list has again and again
  }
  sto_CheckReport const report = Check();
  EXPECT_TRUE(std::ranges::any_of(report.m_Findings, [](sto_CheckFinding const& finding) {
    return finding.m_Kind == Kind::MissingObject && Contains(finding.m_Text, "among its elements");
  })) << TextOf(report);
}

TEST_F(StoreCheck, DanglingRootIsFoundByBothDepths) {
  std::int64_t const id = RootId("long");
  sto_CheckFinding const finding =
      FindAfter(Kind::DanglingRoot, "DELETE FROM object WHERE id = " + std::to_string(id));
  EXPECT_EQ(finding.m_Root, "long");
  EXPECT_EQ(finding.m_ObjectId, id);
  EXPECT_EQ(Find(Check(sto_CheckDepth::Quick), Kind::DanglingRoot).m_Root, "long");
}

TEST_F(StoreCheck, RootWhoseObjectHasAnotherClassIsANote) {
  {
    SqlFile file(Path());
    PutRoot(file, "long", std::to_string(RootId("long"))); // with class 5
  }
  sto_CheckReport const report = Check();
  ASSERT_EQ(report.m_Notes.size(), 1U) << TextOf(report);
  EXPECT_EQ(report.m_Notes[0].m_Kind, Kind::WrongClass);
  EXPECT_EQ(report.m_Notes[0].m_Root, "long");
  EXPECT_EQ(report.m_IsSumRight, false); // the row was not written by a save
}

TEST_F(StoreCheck, CollectionThatDoesNotFitItsAttributeIsFound) {
  // The attribute of the text map becomes one of floats.
  SqlFile file(Path());
  RunSealed(file, "UPDATE attribute SET type = 102, collection_type = 63 WHERE name = 'm_Strings'");
  sto_CheckFinding const finding = Find(Check(), Kind::WrongClass);
  EXPECT_EQ(finding.m_Attribute, "m_Strings");
  EXPECT_EQ(finding.m_ObjectId, RootId("collections"));
}

TEST_F(StoreCheck, MissingBlocksAreFoundAsRuns) {
  std::int64_t const blob =
      Number("SELECT key >> 20 FROM stored_block GROUP BY key >> 20 HAVING count(*) = 3");
  Run("DELETE FROM stored_block WHERE key >> 20 = " + std::to_string(blob) + " AND key & 1048575 > 0");
  sto_CheckFinding const finding = Find(Check(), Kind::MissingBlock);
  EXPECT_EQ(finding.m_ObjectId, blob);
  EXPECT_EQ(finding.m_Class, "cls_Blob");
  EXPECT_TRUE(Contains(finding.m_Text, "Blocks 1 to 2")) << finding.m_Text;
}

TEST_F(StoreCheck, DamagedBlockIsFound) {
  std::int64_t const list = ListWithBlocks(2);
  sto_CheckFinding const finding =
      FindAfter(Kind::DamagedRow, "UPDATE stored_block SET data = zeroblob(length(data)) WHERE key = " +
                                      std::to_string(list << 20));
  EXPECT_EQ(finding.m_Table, "block");
  EXPECT_EQ(finding.m_ObjectId, list);
  EXPECT_EQ(finding.m_Block, 0);
}

TEST_F(StoreCheck, SoundBlockOfWrongSizeIsFound) {
  std::int64_t const key = ListWithBlocks(3) << 20;
  SqlFile(Path()).Run("UPDATE stored_block SET data = ? WHERE key = " + std::to_string(key),
                      BlockOf(key, StoreBytes(100)));
  EXPECT_EQ(Find(Check(), Kind::WrongBlock).m_ObjectId, key >> 20);
}

TEST_F(StoreCheck, OrphanBlocksAreFound) {
  std::int64_t const id = RootId("nodes");
  std::int64_t const key = id << 20;
  SqlFile(Path()).Run("INSERT INTO stored_block VALUES(" + std::to_string(key) + ", ?)",
                      BlockOf(key, StoreBytes(100)));
  sto_CheckFinding const finding = Find(Check(), Kind::OrphanBlock);
  EXPECT_EQ(finding.m_ObjectId, id);
  EXPECT_EQ(finding.m_Class, "Node");
  std::int64_t const behind = (ListWithBlocks(3) << 20) + 3;
  SqlFile(Path()).Run("INSERT INTO stored_block VALUES(" + std::to_string(behind) + ", ?)",
                      BlockOf(behind, StoreBytes(100)));
  EXPECT_EQ(CountOf(Check(), Kind::OrphanBlock), 2U);
}

TEST_F(StoreCheck, MovedRowsThatNothingNamesAreFound) {
  EXPECT_EQ(FindAfter(Kind::OrphanRow, "INSERT INTO moved_block VALUES(4711, x'00')").m_Key, 4711);
}

TEST_F(StoreCheck, PlaceWithoutARowIsFound) {
  std::int64_t const place = Number("SELECT max(place) FROM moved_block");
  sto_CheckFinding const finding =
      FindAfter(Kind::OrphanRow, "DELETE FROM moved_block WHERE place = " + std::to_string(place));
  EXPECT_EQ(finding.m_Table, "block_place");
  Find(Check(), Kind::MissingBlock);
}

TEST_F(StoreCheck, BlockWhoseRowIsUnderAWrongKeyIsFound) {
  Run("UPDATE block SET key = key + 1 WHERE key = (SELECT max(key) FROM block)");
  sto_CheckReport const report = Check();
  EXPECT_TRUE(std::ranges::any_of(report.m_Findings, [](sto_CheckFinding const& finding) {
    return finding.m_Kind == Kind::DamagedRow && Contains(finding.m_Text, "under a wrong key");
  })) << TextOf(report);
  Find(report, Kind::MissingBlock);
}

TEST_F(StoreCheck, WrongDirectoryOfBlocksIsFound) {
  sto_CheckFinding const finding = FindAfter(
      Kind::DamagedRow, "UPDATE block SET data = data || x'00' WHERE key = (SELECT max(key) FROM block)");
  EXPECT_TRUE(Contains(finding.m_Text, "directory")) << finding.m_Text;
}

TEST_F(StoreCheck, MapsInChunksAreChecked) {
  {
    sto_Store store = Open(sto_Mode::ReadWrite);
    SaveFields(
        store,
        [](cls_WriteVisitor const& visitor) {
          auto const any = WriteIn(visitor, "m_Any", MapClass);
          auto const map = Own(any->MakeWriteMapInt2Prim(static_cast<double const*>(nullptr)));
          for (int i = 0; i < 60'000; ++i) map->Insert(i, i / 4.0); // so many that the directory is in pages
          auto const byInt = Own(visitor.Memento()->MakeFieldWriteMapInt2Obj(Field("m_ByInt"), cls_Uid()));
          Node const node(1);
          for (int i = 0; i < 6000; ++i) InsertNode(*byInt, i, node);
        },
        "maps");
  }
  sto_CheckReport const report = Check();
  EXPECT_TRUE(report.IsSound()) << TextOf(report);
  EXPECT_EQ(report.m_IsSumRight, true);
  std::int64_t const map = RootId("maps") + 1;
  auto const withBlock = [&](int number) { return std::to_string((map << 20) + number); };
  EXPECT_GT(Number("SELECT count(*) FROM stored_block WHERE key >> 20 = " + std::to_string(map)), 50);
  Run("DELETE FROM stored_block WHERE key = " + withBlock(3));
  sto_CheckFinding const missing = Find(Check(), Kind::MissingBlock);
  EXPECT_EQ(missing.m_ObjectId, map);
  EXPECT_EQ(missing.m_Block, 3);
  SqlFile(Path()).Run("INSERT INTO stored_block VALUES(" + withBlock(3) + ", ?)",
                      BlockOf((map << 20) + 3, StoreBytes(100)));
  EXPECT_EQ(Find(Check(), Kind::WrongBlock).m_Block, 3);
  SqlFile(Path()).Run("INSERT INTO stored_block VALUES(" + withBlock(5000) + ", ?)",
                      BlockOf((map << 20) + 5000, StoreBytes(100)));
  EXPECT_EQ(Find(Check(), Kind::OrphanBlock).m_Block, 5000);
}

TEST_F(StoreCheck, CompressedBlocksAreChecked) {
  sto_Options options;
  options.m_Compress = true;
  {
    sto_Store store = sto_Store::Open(Path(), sto_Mode::ReadWrite, StoreEverything::Classes(), options);
    store.Save("packed", Picture(50'000));
  }
  sto_CheckReport const report = Check();
  EXPECT_TRUE(report.IsSound()) << TextOf(report);
  std::int64_t const blob = RootId("packed") + 1;
  EXPECT_LT(Number("SELECT sum(length(data)) FROM stored_block WHERE key >> 20 = " + std::to_string(blob)),
            10'000);
  Run("UPDATE stored_block SET data = zeroblob(length(data)) WHERE key = " + std::to_string(blob << 20));
  EXPECT_EQ(Find(Check(), Kind::DamagedRow).m_ObjectId, blob);
}

TEST_F(StoreCheck, ObjectInBothTablesIsFound) {
  std::int64_t const id = RootId("nodes");
  Run("CREATE TABLE kept AS SELECT * FROM pack");
  {
    SqlFile file(Path());
    file.Unpack();
    file.Run("DELETE FROM object WHERE id <> " + std::to_string(id) +
             " AND length(record) < 1000;"
             "REPLACE INTO pack SELECT * FROM kept; DROP TABLE kept");
  }
  EXPECT_EQ(Find(Check(), Kind::OrphanRow).m_ObjectId, id);
  EXPECT_EQ(Find(Check(sto_CheckDepth::Quick), Kind::OrphanRow).m_ObjectId, id);
}

TEST_F(StoreCheck, ObjectIdThatWasNeverGivenOutIsFound) {
  {
    SqlFile file(Path());
    SetNextObjectId(file, std::to_string(RootId("nodes")));
  }
  EXPECT_GE(Find(Check(), Kind::OrphanRow).m_ObjectId, RootId("nodes"));
}

TEST_F(StoreCheck, ValueOfAnotherTypeIsFound) {
  sto_CheckFinding const finding =
      FindAfter(Kind::Structure, "UPDATE pack SET data = CAST(data AS TEXT) WHERE key = 1");
  EXPECT_EQ(finding.m_Table, "pack");
}

TEST_F(StoreCheck, DamagedPagesAreFound) {
  StoreBytes bytes = FileBytes(Path());
  for (std::int64_t const page : {Number("SELECT rootpage FROM sqlite_schema WHERE name = 'block'")})
    bytes[static_cast<std::size_t>(page - 1) * 1024] = std::byte{77};
  WriteFile(Path(), std::string_view(reinterpret_cast<char const*>(bytes.data()), bytes.size()));
  sto_CheckReport const report = Check();
  Find(report, Kind::Structure);
  EXPECT_GT(report.m_Counts.m_Objects, 0);
  EXPECT_EQ(report.m_IsSumRight, std::nullopt);
  Find(Check(sto_CheckDepth::Quick), Kind::Structure);
}

TEST_F(StoreCheck, HeaderThatIsDamagedWhileTheStoreIsOpenIsFound) {
  sto_Store store = Open();
  EXPECT_TRUE(store.Check(sto_CheckDepth::Quick).IsSound());
  Run("UPDATE meta SET value = 'x' WHERE key = 'features_to_write'");
  EXPECT_EQ(Find(store.Check(sto_CheckDepth::Full), Kind::Header).m_Table, "meta");
}

/// Every row of each table is found missing.
TEST_F(StoreCheck, EveryMissingRowIsFound) {
  std::filesystem::copy_file(Path(), Path("whole"));
  for (auto const& [table, key] : std::initializer_list<std::pair<char const*, char const*>>{
           {"pack", "key"},
           {"object", "id"},
           {"block", "key"},
           {"moved_block", "place"},
           {"block_place", "key"},
           {"root", "quote(name)"},
           {"name", "id"},
           {"shape", "id"},
           {"class", "class_id || '.' || version"},
           {"attribute", "class_id || '.' || version || quote(name)"},
           {"save", "no"}}) {
    std::vector<std::string> const keys =
        SqlFile(Path("whole")).Texts(std::string("SELECT CAST(") + key + " AS TEXT) FROM " + table);
    std::size_t const step = std::max<std::size_t>(1, keys.size() / 8); // some of a long table
    for (std::size_t i = 0; i < keys.size(); i += step) {
      std::filesystem::copy_file(Path("whole"), Path(), std::filesystem::copy_options::overwrite_existing);
      std::string literal;
      for (char const c : keys[i]) literal += c == '\'' ? "''" : std::string(1, c);
      Run("PRAGMA synchronous = OFF; DELETE FROM " + std::string(table) + " WHERE CAST(" + key +
          " AS TEXT) = '" + literal + "'");
      EXPECT_FALSE(Check().IsSound()) << table << " " << keys[i];
    }
  }
}

/// Rows as they were before a later save, without any damage in themselves.
TEST_F(StoreCheck, OlderRowsAreFoundByTheSum) {
  std::filesystem::copy_file(Path(), Path("before"));
  {
    sto_Store store = Open(sto_Mode::ReadWrite);
    std::unique_ptr<EveryType> const longer = store.Load<EveryType>("long");
    longer->m_Text = cow_String(std::string(3000, 'u'));
    store.Save("long", *longer);
    std::unique_ptr<Bulk> const bulk = store.Load<Bulk>("bulk 0");
    bulk->m_Array.Get(3) = 77;
    store.Save("bulk 0", *bulk);
    store.Save("types", EveryType());
  }
  ASSERT_TRUE(Check().IsSound()) << TextOf(Check());
  std::filesystem::copy_file(Path(), Path("whole"));
  for (std::vector<std::string> const& tables : std::initializer_list<std::vector<std::string>>{
           {"object"}, {"pack"}, {"block", "moved_block"}, {"root"}}) {
    std::filesystem::copy_file(Path("whole"), Path(), std::filesystem::copy_options::overwrite_existing);
    for (std::string const& table : tables)
      Run("ATTACH '" + Path("before") + "' AS before; REPLACE INTO main." + table + " SELECT * FROM before." +
          table);
    sto_CheckReport const report = Check();
    EXPECT_EQ(report.m_IsSumRight, false) << tables[0];
    Find(report, Kind::Sum);
  }
}

TEST_F(StoreCheck, SecondRowOfTheSameIsFoundByTheSum) {
  Run("INSERT INTO root SELECT 'again', object_id, class_id, row_checksum('root', 'again', object_id, class_id) "
      "FROM root WHERE name = 'nodes'");
  EXPECT_EQ(CountOf(Check(), Kind::Sum), 1U);
}

TEST(StoreCheckKinds, HaveNames) {
  EXPECT_STREQ(sto_CheckKindName(Kind::OrphanBlock), "OrphanBlock");
  EXPECT_STREQ(sto_CheckKindName(static_cast<Kind>(99)), "unknown");
}

} // namespace
