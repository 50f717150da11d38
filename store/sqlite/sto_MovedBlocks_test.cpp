#include <algorithm>
#include <numeric>
#include <stdexcept>

#include "persist/backend/cls_AgentBlob.h"
#include "persist/visitors/cls_BlobReader.h"
#include "persist/visitors/cls_BlobWriter.h"
#include "tests/support/store/StoreOldFormat.h"
#include "tests/support/store/StoreStream.h"

namespace {

constexpr int InPlace = 32; // blocks overwritten in place by a transaction before it moves more

/// Many blocks overwritten in one transaction, which moves them in the file.
class StoreMovedBlocks : public StoreStreamTest {
 protected:
  void SetUp() override {
    Make(Blocks * BlockSize);
    m_Model.resize(static_cast<std::size_t>(Blocks * BlockSize));
    std::iota(m_Model.begin(), m_Model.end(), 0);
    Reopen();
  }
  void Reopen() {
    m_Stream.reset();
    m_Store.reset();
    m_Store = std::make_unique<sto_Store>(Open());
    m_Stream = m_Store->Load<Stream>("stream");
  }
  void Write(int first, std::vector<int> const& run) {
    m_Stream->Write(first, run);
    auto const size = static_cast<std::size_t>(first) + run.size();
    if (m_Model.size() < size) m_Model.resize(size);
    std::copy(run.begin(), run.end(), m_Model.begin() + first);
  }
  /// Writes all elements of some blocks again.
  void Overwrite(int firstBlock, int count, int value) {
    for (int block = firstBlock; block < firstBlock + count; ++block)
      Write(block * BlockSize, std::vector<int>(BlockSize, value + block));
  }
  void OverwriteInATransaction(int firstBlock, int count, int value) {
    sto_Transaction transaction(*m_Store);
    Overwrite(firstBlock, count, value);
    transaction.Commit();
  }
  /// Expects the list to equal the model, read in one run and in runs of other lengths.
  void ExpectModel() {
    for (int const run : {static_cast<int>(m_Model.size()) + 1, 1000, BlockSize, 3 * BlockSize + 7}) {
      SCOPED_TRACE("in runs of " + std::to_string(run));
      ASSERT_TRUE(m_Stream->ReadAll(run) == m_Model);
    }
  }
  /// In this session, in a new one, and with SQLite's integrity check.
  void ExpectModelEverywhere() {
    ExpectModel();
    ExpectTables();
    sto_Store other = Open(sto_Mode::ReadOnly);
    ASSERT_TRUE(other.Load<Stream>("stream")->ReadAll(5000) == m_Model);
    std::unique_ptr<Listed> const listed = other.Load<Listed>("other");
    ASSERT_EQ(listed->m_List.Count(), 3 * BlockSize);
  }

  std::unique_ptr<sto_Store> m_Store;
  std::unique_ptr<Stream> m_Stream;
  std::vector<int> m_Model;
};

TEST_F(StoreMovedBlocks, UpTo32OverwrittenBlocksStayWhereTheyAre) {
  for (int const count : {1, 31, InPlace}) {
    OverwriteInATransaction(10, count, -count);
    EXPECT_EQ(Moved(), 0) << count;
    ExpectModelEverywhere();
  }
}

TEST_F(StoreMovedBlocks, EachFurtherOneMoves) {
  OverwriteInATransaction(0, InPlace + 1, -1000);
  EXPECT_EQ(Moved(), 1);
  EXPECT_EQ(Query("SELECT key FROM block_place"), FirstKey() + InPlace);
  ExpectModelEverywhere();
  OverwriteInATransaction(0, Blocks, -2000); // the moved block also counts as overwritten
  EXPECT_EQ(Moved(), Blocks - InPlace);
  ExpectModelEverywhere();
}

TEST_F(StoreMovedBlocks, NewBlocksDoNotCountAsOverwritten) {
  sto_Transaction transaction(*m_Store);
  for (int i = 0; i < 100; ++i) { // small appends, each of which overwrites the last block
    Write(static_cast<int>(m_Model.size()), std::vector<int>(700, i));
    ASSERT_TRUE(m_Stream->ReadAll(9000) == m_Model);
  }
  transaction.Commit();
  EXPECT_EQ(Moved(), 0);
  ExpectModelEverywhere();
}

TEST_F(StoreMovedBlocks, AreReadInTheirTransactionAndOverwrittenThere) {
  sto_Transaction transaction(*m_Store);
  for (int block = 0; block < Blocks; ++block) {
    Overwrite(block, 1, -1000);
    ASSERT_TRUE(m_Stream->ReadAll(4 * BlockSize + 1) == m_Model) << block;
  }
  ExpectModel();
  Overwrite(40, 60, -3000);
  Write(50 * BlockSize + 3, {1, 2, 3});
  ExpectModel();
  transaction.Commit();
  EXPECT_EQ(Moved(), Blocks - InPlace); // each has moved once
  ExpectModelEverywhere();
  Reopen();
  ExpectModelEverywhere();
}

TEST_F(StoreMovedBlocks, AreReadInRunsTogetherWithUnmovedOnes) {
  { // every third block moves
    sto_Transaction transaction(*m_Store);
    Overwrite(0, InPlace, -1000);
    for (int block = InPlace; block < Blocks; block += 3) Overwrite(block, 1, -2000);
    ExpectModel();
    transaction.Commit();
  }
  EXPECT_EQ(Moved(), (Blocks - InPlace + 2) / 3);
  ExpectModelEverywhere();
  std::unique_ptr<Listed> const listed = m_Store->Load<Listed>("other");
  EXPECT_EQ(listed->m_List.ConstGet(5), 5); // blocks of other lists are not included
}

TEST_F(StoreMovedBlocks, AreOverwrittenAgainAndTheFileDoesNotGrowWithoutBound) {
  OverwriteInATransaction(0, Blocks, -1'000'000);
  std::int64_t const after1 = m_Store->SizeBytes();
  std::int64_t after3 = 0;
  for (int round = 2; round <= 12; ++round) {
    OverwriteInATransaction(0, Blocks, -1'000'000 * round);
    EXPECT_GE(Moved(), Blocks - InPlace);
    if (round == 3) after3 = m_Store->SizeBytes();
    EXPECT_TRUE(round < 4 || m_Store->SizeBytes() <= after3 + after3 / 20) << round;
    ExpectTables();
  }
  EXPECT_LT(after3, 2 * after1);
  ExpectModelEverywhere();
}

TEST_F(StoreMovedBlocks, GrowAndAreAppendedTo) {
  Write(Blocks * BlockSize, {1, 2, 3}); // an incomplete last block
  OverwriteInATransaction(0, Blocks, -1000);
  {
    sto_Transaction transaction(*m_Store);
    Overwrite(0, Blocks, -2000);
    Write(Blocks * BlockSize, {4, 5, 6}); // the incomplete block moves
    Write(Blocks * BlockSize + 3, {7});   // and grows
    ExpectModel();
    Write(Blocks * BlockSize + 4, std::vector<int>(5 * BlockSize, 8));
    ExpectModel();
    transaction.Commit();
  }
  ExpectModelEverywhere();
  EXPECT_EQ(Query("SELECT (SELECT count(*) FROM stored_block) + (SELECT count(*) FROM moved_block)"),
            Blocks + 6 + 3);
}

TEST_F(StoreMovedBlocks, RolledBackTransactionLeavesThemWhereTheyWere) {
  OverwriteInATransaction(0, 60, -1000);
  std::int64_t const moved = Moved();
  std::vector<std::string> const before = AllRows();
  std::vector<int> const model = m_Model;
  {
    sto_Transaction const transaction(*m_Store);
    Overwrite(20, Blocks - 20, -2000);
    Write(Blocks * BlockSize, std::vector<int>(9000, 1));
    ExpectModel();
  }
  m_Model = model;
  EXPECT_EQ(Moved(), moved);
  EXPECT_TRUE(AllRows() == before);
  ExpectModelEverywhere();
  OverwriteInATransaction(0, Blocks, -3000);
  ExpectModelEverywhere();
}

TEST_F(StoreMovedBlocks, FailedSaveTakesBackItsOwnMovesOnly) {
  OverwriteInATransaction(70, 20 + InPlace / 2, -500); // some are in moved rows already
  for (int const before : {0, 5, 40}) {
    SCOPED_TRACE(before);
    sto_Transaction transaction(*m_Store);
    Overwrite(0, before, -1000 - before);
    std::vector<int> const kept = m_Model;
    EXPECT_THROW(m_Store->Save("acting", Acting([&] {
                                 Overwrite(20, 70, -2000 - before);
                                 Write(Blocks * BlockSize, std::vector<int>(9000, 1));
                                 ExpectModel();
                                 throw std::runtime_error("the save fails");
                               })),
                 std::runtime_error);
    m_Model = kept;
    ExpectModel();
    Overwrite(10, 60, -3000 - before);
    ExpectModel();
    transaction.Commit();
    ExpectModelEverywhere();
  }
}

TEST_F(StoreMovedBlocks, SaveThatOverwritesBlocksIsWhole) {
  for (int const count : {1, Blocks}) {
    m_Store->Save("acting", Acting([&] { Overwrite(0, count, -count * 1000); }));
    ExpectModelEverywhere();
    sto_Transaction transaction(*m_Store);
    m_Store->Save("acting", Acting([&] { Overwrite(0, count, -count * 2000); }));
    m_Store->Save("acting", Acting([&] { Overwrite(0, count, -count * 3000); }));
    ExpectModel();
    transaction.Commit();
    ExpectModelEverywhere();
  }
}

TEST_F(StoreMovedBlocks, ListThatIsSavedWholeLeavesUnchangedBlocksWhereTheyAre) {
  {
    sto_Transaction transaction(*m_Store);
    Overwrite(0, static_cast<int>(m_Model.size()) / BlockSize, 9);
    transaction.Commit();
  }
  auto const moved = Moved();
  ASSERT_GT(moved, 10);
  m_Stream.reset();
  std::unique_ptr<Listed> const listed = m_Store->Load<Listed>("stream");
  m_Store->Save("stream", *listed);
  EXPECT_EQ(Moved(), moved);
  listed->m_List.Get(40 * BlockSize + 1) += 1;
  m_Store->Save("stream", *listed);
  EXPECT_EQ(Moved(), moved - 1);
  m_Model[40 * BlockSize + 1] += 1;
  m_Stream = m_Store->Load<Stream>("stream");
  ExpectModelEverywhere();
}

TEST_F(StoreMovedBlocks, ListThatIsSavedWholeTakesItsBlocksBackAndLeavesNoRowBehind) {
  for (bool const inOneTransaction : {false, true}) {
    for (int const count : {Blocks * BlockSize + 5, 50 * BlockSize, 3000, 10}) {
      SCOPED_TRACE(std::to_string(count) + (inOneTransaction ? " in one" : ""));
      auto transaction = std::make_unique<sto_Transaction>(*m_Store);
      Overwrite(0, static_cast<int>(m_Model.size()) / BlockSize, -count);
      if (!inOneTransaction) {
        transaction->Commit();
        transaction.reset();
      }
      m_Stream.reset(); // an open list is not saved as a value
      std::unique_ptr<Listed> listed = m_Store->Load<Listed>("stream");
      ASSERT_EQ(listed->m_List.Count(), static_cast<int>(m_Model.size()));
      listed->m_List.Truncate(std::min(count, listed->m_List.Count()));
      while (listed->m_List.Count() < count) listed->m_List.Append(listed->m_List.Count());
      for (int i = 0; i < count; i += BlockSize)
        listed->m_List.Get(i) += 1; // what is unchanged stays where it is
      m_Store->Save("stream", *listed);
      m_Model.clear();
      for (int i = 0; i < count; ++i) m_Model.push_back(listed->m_List.ConstGet(i));
      ASSERT_TRUE(m_Store->Load<Stream>("stream")->ReadAll(7000) == m_Model);
      if (transaction) transaction->Commit();
      transaction.reset();
      m_Stream = m_Store->Load<Stream>("stream");
      EXPECT_EQ(Moved(), 0);
      EXPECT_EQ(Query("SELECT count(*) FROM stored_block"),
                (count > 10 ? (count + BlockSize - 1) / BlockSize : 0) + 3);
      ExpectModelEverywhere();
      Write(0, std::vector<int>(static_cast<std::size_t>(Blocks * BlockSize), 3)); // of the same length
    }
  }
}

/// A list that is saved whole and then fails.
struct FailingListed {
  static constexpr unsigned int TypeId() noexcept { return Listed::TypeId(); }
  void DBWrite(cls_WriteVisitor const& visitor) const {
    m_Listed.DBWrite(visitor);
    throw std::runtime_error("after the list");
  }
  Listed& m_Listed;
};

TEST_F(StoreMovedBlocks, FailedSaveOfTheWholeListLeavesItsBlocksWhereTheyHadMovedTo) {
  for (int const count : {70 * BlockSize, 10}) {
    sto_Transaction transaction(*m_Store);
    Overwrite(0, Blocks, -count);
    m_Stream.reset();
    std::unique_ptr<Listed> listed = m_Store->Load<Listed>("stream");
    listed->m_List.Truncate(count);
    EXPECT_THROW(m_Store->Save("stream", FailingListed{*listed}), std::runtime_error);
    m_Stream = m_Store->Load<Stream>("stream");
    ExpectModel();
    Overwrite(30, 60, -2 * count);
    transaction.Commit();
    ExpectModelEverywhere();
  }
}

TEST_F(StoreMovedBlocks, ChecksumsAreBoundToTheListAndToThePositionInIt) {
  OverwriteInATransaction(0, Blocks, -1000);
  SqlFile file(Path());
  auto const place = [&](int block) {
    return file.Text("SELECT place FROM block_place WHERE key = " + std::to_string(FirstKey() + block));
  };
  auto const set = [&](int block, std::string const& value) {
    file.Run("UPDATE block_place SET place = " + value +
             " WHERE key = " + std::to_string(FirstKey() + block));
  };
  auto const expectDamaged = [&](int block) {
    std::vector<int> run(10);
    m_Stream->m_List.Seek(block * BlockSize + 5);
    std::string const message =
        MessageOf(sto_ErrorKind::Damaged, [&] { m_Stream->m_List.Read(run.data(), 10); });
    EXPECT_TRUE(Contains(message, "Block " + std::to_string(block))) << message;
    MessageOf(sto_ErrorKind::Damaged, [&] { static_cast<void>(m_Stream->ReadAll(1'000'000)); });
  };
  std::string const one = place(50);
  std::string const two = place(60);
  set(50, two);
  expectDamaged(50);
  set(60, one);
  expectDamaged(50);
  expectDamaged(60);
  for (char const* const absurd : {"0", "-1", "9223372036854775807", "'text'"}) {
    set(60, absurd);
    expectDamaged(60);
  }
  set(50, one);
  set(60, two);
  ExpectModelEverywhere();
  file.Run("DELETE FROM block_place WHERE place = " + two);
  expectDamaged(60);
  file.Run("INSERT INTO block_place VALUES(" + std::to_string(FirstKey() + 60) + ", " + two + ")");
  file.Run("UPDATE moved_block SET data = zeroblob(length(data)) WHERE place = " + two);
  expectDamaged(60);
  file.Run("DELETE FROM moved_block WHERE place = " + two);
  expectDamaged(60);
  Overwrite(60, 1, 5); // a new row replaces the missing one
  ExpectModelEverywhere();
}

TEST_F(StoreMovedBlocks, LastPossiblePlaceIsNoticedAsDamage) {
  OverwriteInATransaction(0, Blocks, -1000);
  SqlFile(Path()).Run("INSERT INTO moved_block VALUES(9223372036854775807, x'00')");
  std::vector<int> const model = m_Model;
  MessageOf(sto_ErrorKind::Damaged, [&] { OverwriteInATransaction(0, Blocks, -2000); });
  m_Model = model;
  SqlFile(Path()).Run("DELETE FROM moved_block WHERE place = 9223372036854775807");
  OverwriteInATransaction(0, Blocks, -3000);
  ExpectModelEverywhere();
}

TEST_F(StoreMovedBlocks, ShareRowsAgainAfterAnUpgrade) {
  for (int const format : {3, 2}) {
    SCOPED_TRACE(format);
    OverwriteInATransaction(0, Blocks, -1000 * format);
    ASSERT_EQ(Moved(), Blocks - InPlace);
    m_Stream.reset();
    m_Store.reset();
    MakeStoreOfOldFormat(Path(), format);
    sto_Options options;
    options.m_Upgrade = true;
    static_cast<void>(sto_Store::Open(Path(), sto_Mode::ReadWrite, Classes(), options));
    EXPECT_EQ(Query("PRAGMA user_version"), 4);
    EXPECT_EQ(Moved(), 0); // all share rows again
    Reopen();
    ExpectModel();
    OverwriteInATransaction(0, Blocks, -2000 * format);
    ExpectModelEverywhere();
  }
}

TEST_F(StoreMovedBlocks, SecondSessionReadsThemWhereTheyHaveMovedTo) {
  sto_Store reader = Open(sto_Mode::ReadOnly);
  std::unique_ptr<Stream> const theirs = reader.Load<Stream>("stream");
  EXPECT_TRUE(theirs->ReadAll(3000) == m_Model);
  for (int round = 1; round <= 3; ++round) {
    OverwriteInATransaction(0, Blocks, -1000 * round);
    EXPECT_TRUE(theirs->ReadAll(3000) == m_Model) << round;
    EXPECT_TRUE(theirs->ReadAll(1'000'000) == m_Model) << round;
  }
}

/// A blob whose writing the test scripts.
struct Picture {
  static constexpr unsigned int TypeId() noexcept { return 0x740002; }
  static cls_FieldHandle Field() { return {0, "m_Image"_cow}; }
  explicit Picture(std::function<void(cls_AgentBlob&)> write) : m_Write(std::move(write)) {}
  explicit Picture(cls_ReadVisitor const& visitor)
      : m_Reader(std::make_unique<cls_BlobReader>(visitor, Field(), m_ImageUid)), m_Uid(visitor.GetUid()) {}
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    cls_BlobWriter const writer(visitor, Field(), m_ImageUid);
    m_Write(writer.Agent());
  }
  std::function<void(cls_AgentBlob&)> m_Write;
  cls_Uid m_ImageUid;
  std::unique_ptr<cls_BlobReader> m_Reader;
  cls_Uid m_Uid;
};

TEST_F(StoreMovedBlocks, BlobIsOverwrittenTruncatedAndExtended) {
  cls_ClassRegistrar classes;
  classes.CreateClassMD("Picture"_cow, Picture::TypeId(), 1, nullptr, 1)
      .AddAttribute(Picture::Field(), ATTR_OBJECT, 1, COLLECTION_NONE);
  std::filesystem::remove(Path());
  sto_Store store = sto_Store::Open(Path(), sto_Mode::Create, classes);
  std::string model(100 * 16384, 'a');
  store.Save("picture", Picture([&](cls_AgentBlob& blob) {
               blob.Write(0, static_cast<long long>(model.size()), model.data());
               blob.Write(5, 3, "xyz"); // in a block just written by the save
               model.replace(5, 3, "xyz");
             }));
  std::unique_ptr<Picture> const picture = store.Load<Picture>("picture");
  cls_AgentBlob& blob = picture->m_Reader->Agent();
  auto const expectModel = [&] {
    std::string all(static_cast<std::size_t>(blob.Size()), '\0');
    ASSERT_EQ(blob.Read(0, blob.Size(), all.data()), blob.Size());
    ASSERT_TRUE(all == model);
  };
  auto const overwrite = [&](char letter) {
    std::fill(model.begin(), model.end(), letter);
    blob.Write(0, static_cast<long long>(model.size()), model.data());
  };
  for (std::size_t const size : {60 * 16384, 60 * 16384 - 1, 90 * 16384 + 7, 40 * 16384, 1, 100 * 16384}) {
    SCOPED_TRACE(size);
    sto_Transaction transaction(store);
    overwrite('b');
    expectModel();
    blob.Truncate(static_cast<long long>(size));
    model.resize(std::min(size, model.size()));
    expectModel();
    std::string const more(size - model.size() + 1, 'c');
    blob.Write(static_cast<long long>(model.size()), static_cast<long long>(more.size()), more.data());
    model += more;
    expectModel();
    transaction.Commit();
    expectModel();
    ExpectTables();
    EXPECT_EQ(Query("SELECT (SELECT count(*) FROM stored_block) + (SELECT count(*) FROM moved_block)"),
              static_cast<std::int64_t>((model.size() + 16383) / 16384));
  }
}

} // namespace
