#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "collections/cls_2dArrayPrim.h"
#include "collections/cls_ArrayPrim.h"
#include "collections/cls_SimpleArrayPrim.h"
#include "tests/support/Seeds.h"
#include "tests/support/store/StoreTest.h"
#include "wrappers/cls_xp1DArrayList.h"

namespace {

// Bulk arrays in a real store.

cls_FieldHandle HistoryField() {
  return {0, "m_History"_cow};
}

/// An object with a bulk array.
template <class T> struct Result {
  static constexpr unsigned int TypeId() noexcept { return 0x740001; }
  Result() = default;
  explicit Result(cls_ReadVisitor const& visitor)
      : m_History(cls_ReadVisitor(visitor, HistoryField())), m_Uid(visitor.GetUid()) {}
  ~Result() {
    m_History.Release();
    m_History.DropBlocks();
  }
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    m_History.DBWrite(cls_WriteVisitor(visitor, HistoryField(), nullptr, &m_History));
  }
  cls_ArrayPrim<T> m_History;
  cls_Uid m_Uid;
};

template <class T> constexpr cls_CollectionType CodeOf() {
  if constexpr (std::is_same_v<T, bool>) return COLLECTION_LIST_BOOL;
  if constexpr (std::is_same_v<T, double>) return COLLECTION_LIST_DOUBLE;
  if constexpr (std::is_same_v<T, float>) return COLLECTION_LIST_FLOAT;
  if constexpr (std::is_same_v<T, int>) return COLLECTION_LIST_INT;
  if constexpr (std::is_same_v<T, cow_String>) return COLLECTION_LIST_STRING;
}

template <class T> cls_ClassRegistrar const& ResultClasses() {
  static cls_ClassRegistrar const& registrar = [&]() -> cls_ClassRegistrar const& {
    static cls_ClassRegistrar classes;
    classes.CreateClassMD("Result"_cow, Result<T>::TypeId(), 1, nullptr, 1)
        .AddAttribute(HistoryField(), ATTR_DOUBLE, 1, CodeOf<T>());
    return classes;
  }();
  return registrar;
}

template <class T> T ValueAt(int index) {
  if constexpr (std::is_same_v<T, cow_String>)
    return index % 7 == 0 ? cow_String() : cow_String("text " + std::to_string(index));
  else if constexpr (std::is_same_v<T, bool>)
    return index % 3 == 0;
  else
    return static_cast<T>(index) / 2;
}

template <class T> class BulkArray : public StoreFileTest {
 protected:
  sto_Store Open(sto_Mode mode = sto_Mode::ReadWrite) {
    return sto_Store::Open(this->Path(), mode, ResultClasses<T>());
  }
  void Fill(Result<T>& result, int count) {
    for (int i = result.m_History.Size(); i < count; ++i) result.m_History.Append(ValueAt<T>(i));
  }
  void ExpectFilled(cls_ArrayPrim<T> const& array, int count) {
    ASSERT_EQ(array.Size(), count);
    for (int i = 0; i < count; ++i) ASSERT_EQ(array.ConstGet(i), ValueAt<T>(i)) << i;
  }
  /// A store with one result that has `count` elements.
  void Make(int count) {
    sto_Store store = Open(sto_Mode::Create);
    Result<T> result;
    Fill(result, count);
    store.Save("result", result);
  }
};

// One of each encoding: numbers, bits, texts. The contract suite sweeps all types.
using ArrayElementTypes = testing::Types<double, bool, cow_String>;
TYPED_TEST_SUITE(BulkArray, ArrayElementTypes);

TYPED_TEST(BulkArray, ComesBackInAnotherSession) {
  for (int const count : {0, 1, 2047, 2048, 2049, 4096, 100'000}) {
    SCOPED_TRACE(count);
    std::string const path = this->Path(std::to_string(count));
    {
      sto_Store store = sto_Store::Open(path, sto_Mode::Create, ResultClasses<TypeParam>());
      Result<TypeParam> result;
      this->Fill(result, count);
      store.Save("result", result);
      this->ExpectFilled(result.m_History, count);
    }
    sto_Store store = sto_Store::Open(path, sto_Mode::ReadOnly, ResultClasses<TypeParam>());
    auto const result = store.Load<Result<TypeParam>>("result");
    this->ExpectFilled(result->m_History, count);
    for (int i = count - 1; i >= 0; i -= 997) ASSERT_EQ(result->m_History.ConstGet(i), ValueAt<TypeParam>(i));
  }
}

TYPED_TEST(BulkArray, CommitWritesWhatChanged) {
  this->Make(10'000);
  {
    sto_Store store = this->Open();
    auto const result = store.Load<Result<TypeParam>>("result");
    sto_Transaction transaction(store);
    result->m_History.Get(5000) = ValueAt<TypeParam>(1);
    this->Fill(*result, 20'000);
    transaction.Commit();
  }
  sto_Store store = this->Open();
  auto const result = store.Load<Result<TypeParam>>("result");
  ASSERT_EQ(result->m_History.Size(), 20'000);
  EXPECT_EQ(result->m_History.ConstGet(5000), ValueAt<TypeParam>(1));
  EXPECT_EQ(result->m_History.ConstGet(19'999), ValueAt<TypeParam>(19'999));
  EXPECT_EQ(IntegrityOf(this->Path()), "ok");
}

TYPED_TEST(BulkArray, RollbackDropsWhatWasNotCommitted) {
  this->Make(5000);
  sto_Store store = this->Open();
  auto const result = store.Load<Result<TypeParam>>("result");
  {
    sto_Transaction transaction(store);
    result->m_History.Get(10) = ValueAt<TypeParam>(1);
    this->Fill(*result, 9000); // evicts the first block, which writes it
    result->m_History.Get(4999) = ValueAt<TypeParam>(1);
  }
  this->ExpectFilled(result->m_History, 5000);
  store.Save("result", *result);
  this->ExpectFilled(store.Load<Result<TypeParam>>("result")->m_History, 5000);
}

class StoreBulk : public BulkArray<double> {};

TEST_F(StoreBulk, SavingAnAssociatedArrayAgainKeepsItsList) {
  Make(5000);
  sto_Store store = Open();
  auto const result = store.Load<Result<double>>("result");
  result->m_History.Get(7) = -1;
  store.Save("again", *result);
  EXPECT_EQ(store.ObjectCount(), 2);
  auto const again = store.Load<Result<double>>("again");
  EXPECT_EQ(again->m_History.ConstGet(7), -1);
  EXPECT_EQ(again->m_History.Size(), 5000);
}

TEST_F(StoreBulk, AgentOutlivesTheSaveAndWritesOutsideOfTransactions) {
  {
    sto_Store store = Open(sto_Mode::Create);
    Result<double> result;
    Fill(result, 3000);
    store.Save("result", result);
    result.m_History.Get(2) = 99;
    static_cast<void>(result.m_History.ConstGet(2500)); // evicts the first block
    EXPECT_EQ(store.Load<Result<double>>("result")->m_History.ConstGet(2), 99);
    Fill(result, 6000);
    result.m_History.Flush();
    EXPECT_EQ(Open(sto_Mode::ReadOnly).Load<Result<double>>("result")->m_History.Size(), 6000);
  }
  EXPECT_EQ(IntegrityOf(Path()), "ok");
}

TEST_F(StoreBulk, ClosingTheStoreFlushesAndDetaches) {
  Make(3000);
  Result<double> kept;
  {
    sto_Store store = Open();
    kept.m_History = store.Load<Result<double>>("result")->m_History;
    kept.m_History.Get(0) = 5;
    EXPECT_TRUE(kept.m_History.IsAssociated());
  }
  EXPECT_FALSE(kept.m_History.IsAssociated());
  EXPECT_EQ(kept.m_History.ConstGet(0), 5); // its block was in memory
  EXPECT_EQ(Open().Load<Result<double>>("result")->m_History.ConstGet(0), 5);
}

TEST_F(StoreBulk, AgentThatOutlivesItsSessionAnswersWithAnError) {
  Make(5000);
  cls_2dArrayPrim<double> kept; // assigning to it does not register it with the store
  {
    sto_Store store = Open();
    struct Table {
      explicit Table(cls_ReadVisitor const& visitor) : m_Table(cls_ReadVisitor(visitor, HistoryField())) {}
      cls_2dArrayPrim<double> m_Table;
    };
    auto const table = store.Load<Table>("result");
    kept = table->m_Table;
    table->m_Table.Release();
  }
  std::string const message =
      MessageOf(sto_ErrorKind::Unavailable, [&] { static_cast<void>(kept.ConstGet(4000, 0)); });
  EXPECT_TRUE(Contains(message, "closed") && Contains(message, Path())) << message;
}

TEST_F(StoreBulk, ReadOnlyStoreRefusesToWriteBackAndFlushesNothing) {
  Make(5000);
  StoreBytes const before = FileBytes(Path());
  {
    sto_Store store = Open(sto_Mode::ReadOnly);
    auto const result = store.Load<Result<double>>("result");
    result->m_History.Get(3) = 8;
    result->m_History.Flush();
    MessageOf(sto_ErrorKind::ReadOnly, [&] { static_cast<void>(result->m_History.ConstGet(4000)); });
    EXPECT_EQ(result->m_History.ConstGet(3), 8);
    MessageOf(sto_ErrorKind::ReadOnly, [&] { result->m_History.Release(); });
    result->m_History.Detach();
  }
  EXPECT_TRUE(FileBytes(Path()) == before);
}

TEST_F(StoreBulk, AnotherSessionsChangeIsNoticedAndRead) {
  Make(5000);
  sto_Store one = Open();
  sto_Store two = Open();
  auto const mine = one.Load<Result<double>>("result");
  auto const theirs = two.Load<Result<double>>("result");
  EXPECT_EQ(mine->m_History.ConstGet(100), 50);
  EXPECT_EQ(mine->m_History.Refresh(), 0);
  {
    sto_Transaction transaction(two);
    theirs->m_History.Get(100) = -4;
    Fill(*theirs, 7000);
    transaction.Commit();
  }
  EXPECT_EQ(mine->m_History.ConstGet(100), 50); // from memory until Refresh
  EXPECT_EQ(mine->m_History.Refresh(), 1);
  EXPECT_EQ(mine->m_History.Size(), 7000);
  EXPECT_EQ(mine->m_History.ConstGet(100), -4);
  EXPECT_EQ(mine->m_History.Refresh(), 0);
  EXPECT_EQ(theirs->m_History.Refresh(), 0); // not another session's change
  two.Save("other", Result<double>());
  EXPECT_EQ(mine->m_History.Refresh(), 0); // of another object
}

TEST_F(StoreBulk, BlocksReadAheadAreNotServedAfterAnotherSessionChangedThem) {
  Make(100'000);
  sto_Store one = Open();
  sto_Store two = Open();
  auto const mine = one.Load<Result<double>>("result");
  auto const theirs = two.Load<Result<double>>("result");
  for (int i = 0; i < 3 * 2048; ++i) ASSERT_EQ(mine->m_History.ConstGet(i), i / 2.0);
  {
    sto_Transaction transaction(two);
    theirs->m_History.Get(9000) = -1; // in a block that was read ahead
    transaction.Commit();
  }
  EXPECT_EQ(mine->m_History.ConstGet(9000), -1);
}

TEST_F(StoreBulk, OneChangedElementIsOneChangedBlock) {
  Make(1'000'000);
  auto const blocks = [&] {
    return SqlFile(Path()).Texts("SELECT hex(data) FROM stored_block ORDER BY key");
  };
  std::vector<std::string> const before = blocks();
  {
    sto_Store store = Open();
    auto const result = store.Load<Result<double>>("result");
    sto_Transaction transaction(store);
    result->m_History.Get(700'000) = -1;
    transaction.Commit();
  }
  std::vector<std::string> const after = blocks();
  ASSERT_EQ(after.size(), before.size());
  int changed = 0;
  for (std::size_t i = 0; i < after.size(); ++i) changed += after[i] != before[i] ? 1 : 0;
  EXPECT_EQ(changed, 1);
}

TEST_F(StoreBulk, AppendBlockWritesRunsOfAnyLength) {
  Make(100);
  std::vector<double> expected;
  for (int i = 0; i < 100; ++i) expected.push_back(i / 2.0);
  {
    sto_Store store = Open();
    auto const result = store.Load<Result<double>>("result");
    sto_Transaction transaction(store);
    for (int const count : {1, 3, 2048, 5000, 2047, 1, 10'000}) {
      std::vector<double> run;
      for (int i = 0; i < count; ++i) run.push_back(count + i / 8.0);
      result->m_History.AppendBlock(run.data(), count);
      expected.insert(expected.end(), run.begin(), run.end());
    }
    result->m_History.Release(); // the resident block does not know of the runs
    transaction.Commit();
  }
  sto_Store store = Open();
  auto const result = store.Load<Result<double>>("result");
  ASSERT_EQ(result->m_History.Size(), static_cast<int>(expected.size()));
  for (std::size_t i = 0; i < expected.size(); ++i)
    ASSERT_EQ(result->m_History.ConstGet(static_cast<int>(i)), expected[i]) << i;
}

TEST_F(StoreBulk, SizeSetBeyondTheEndFillsTheGapWithZeros) {
  Make(100);
  sto_Store store = Open();
  auto const result = store.Load<Result<double>>("result");
  sto_Transaction transaction(store);
  result->m_History.SetLength(8192);
  result->m_History.Append(3.5);
  transaction.Commit();
  result->m_History.Release();
  EXPECT_EQ(result->m_History.Size(), 8193);
  EXPECT_EQ(result->m_History.ConstGet(99), 49.5);
  EXPECT_EQ(result->m_History.ConstGet(100), 0);
  EXPECT_EQ(result->m_History.ConstGet(8191), 0);
  EXPECT_EQ(result->m_History.ConstGet(8192), 3.5);
}

TEST_F(StoreBulk, ListOfAValueWrapperOpensAsABulkArrayAndBack) {
  struct Wrapped {
    static constexpr unsigned int TypeId() noexcept { return Result<double>::TypeId(); }
    Wrapped() = default;
    explicit Wrapped(cls_ReadVisitor const& visitor)
        : m_List(cls_ReadVisitor(visitor, HistoryField()), nullptr), m_Uid(visitor.GetUid()) {}
    void DBWrite(cls_WriteVisitor const& visitor) const {
      if (!visitor.StartWrite(TypeId(), m_Uid)) return;
      m_List.DBWrite(cls_WriteVisitor(visitor, HistoryField(), nullptr, &m_List));
    }
    cls_xp1DArrayListDouble m_List;
    cls_Uid m_Uid;
  };
  for (int const count : {0, 3, 5000}) {
    std::string const path = Path(std::to_string(count));
    sto_Store store = sto_Store::Open(path, sto_Mode::Create, ResultClasses<double>());
    Wrapped wrapped;
    for (int i = 0; i < count; ++i) wrapped.m_List.Append(i / 2.0);
    store.Save("result", wrapped);
    auto const result = store.Load<Result<double>>("result");
    ExpectFilled(result->m_History, count);
    MessageOf(sto_ErrorKind::Conflict, [&] { store.Save("result", wrapped); }); // while the array is open
    {
      sto_Transaction transaction(store);
      Fill(*result, count + 2);
      transaction.Commit();
    }
    auto const again = store.Load<Wrapped>("result");
    ASSERT_EQ(again->m_List.Count(), count + 2);
    for (int i = 0; i < count + 2; ++i) ASSERT_EQ(again->m_List.ConstGet(i), i / 2.0);
  }
}

TEST_F(StoreBulk, ArrayOfAnotherElementTypeIsRefused) {
  Make(10);
  sto_Store store = Open();
  struct Other {
    explicit Other(cls_ReadVisitor const& visitor) : m_History(cls_ReadVisitor(visitor, HistoryField())) {}
    cls_ArrayPrim<int> m_History;
  };
  for (int i = 0; i < 2; ++i) {
    std::string const message =
        MessageOf(sto_ErrorKind::WrongClass, [&] { static_cast<void>(store.Load<Other>("result")); });
    EXPECT_TRUE(Contains(message, "double") && Contains(message, "int")) << message;
    if (i == 0) store.Load<Result<double>>("result")->m_History.Detach();
  }
}

TEST_F(StoreBulk, AbsentFieldIsAnEmptyReadOnlyArray) {
  sto_Store store = Open(sto_Mode::Create);
  struct Bare {
    static constexpr unsigned int TypeId() noexcept { return Result<double>::TypeId(); }
    void DBWrite(cls_WriteVisitor const& visitor) const { visitor.StartWrite(TypeId(), m_Uid); }
    cls_Uid m_Uid;
  };
  store.Save("bare", Bare());
  auto const result = store.Load<Result<double>>("bare");
  EXPECT_EQ(result->m_History.Size(), 0);
  result->m_History.Detach();
  Fill(*result, 10);
  store.Save("bare", *result);
  ExpectFilled(store.Load<Result<double>>("bare")->m_History, 10);
}

TEST_F(StoreBulk, DamagedOrMissingBlockIsAnErrorThatNamesIt) {
  Make(10'000);
  SqlFile(Path()).Run("UPDATE stored_block SET data = zeroblob(length(data)) WHERE key % 1048576 = 1");
  SqlFile(Path()).Run("DELETE FROM stored_block WHERE key % 1048576 = 3");
  sto_Store store = Open();
  auto const result = store.Load<Result<double>>("result");
  EXPECT_EQ(result->m_History.ConstGet(0), 0);
  for (int const block : {1, 3}) {
    std::string const message = MessageOf(
        sto_ErrorKind::Damaged, [&] { static_cast<void>(result->m_History.ConstGet(block * 2048)); });
    EXPECT_TRUE(Contains(message, "Block " + std::to_string(block))) << message;
  }
  EXPECT_EQ(result->m_History.ConstGet(2 * 2048), 2048);
}

TEST_F(StoreBulk, FailedSaveLeavesTheStoredListAndTheArrayWithWhatItsObjectPutIn) {
  Make(5000);
  sto_Store store = Open();
  auto const result = store.Load<Result<double>>("result");
  struct Failing {
    static constexpr unsigned int TypeId() noexcept { return Result<double>::TypeId(); }
    void DBWrite(cls_WriteVisitor const& visitor) const {
      if (!visitor.StartWrite(TypeId(), m_Uid)) return;
      m_Result->m_History.Get(1) = 77;
      static_cast<void>(m_Result->m_History.ConstGet(4000)); // writes the first block
      throw std::runtime_error("failing");
    }
    Result<double>* m_Result;
    cls_Uid m_Uid;
  };
  EXPECT_THROW(store.Save("failing", Failing{result.get(), {}}), std::runtime_error);
  EXPECT_EQ(result->m_History.ConstGet(1), 77); // unwritten again
  ExpectFilled(Open(sto_Mode::ReadOnly).Load<Result<double>>("result")->m_History, 5000);
  result->m_History.Flush();
  EXPECT_EQ(Open(sto_Mode::ReadOnly).Load<Result<double>>("result")->m_History.ConstGet(1), 77);
  result->m_History.Get(1) = 0.5;
  ExpectFilled(result->m_History, 5000);
}

TEST_F(StoreBulk, ReadTransactionReadsEverythingAndRefusesToWrite) {
  Make(20'000);
  sto_Store store = Open();
  {
    sto_ReadTransaction const reading(store);
    auto const result = store.Load<Result<double>>("result");
    ExpectFilled(result->m_History, 20'000);
    for (int i = 19'999; i >= 0; i -= 1999) ASSERT_EQ(result->m_History.ConstGet(i), i / 2.0);
    result->m_History.Get(0) = -1;
    for (std::function<void()> const& write : std::initializer_list<std::function<void()>>{
             [&] { static_cast<void>(result->m_History.ConstGet(5000)); },
             [&] { store.Save("other", Result<double>()); }, [&] { store.RemoveRoot("result"); },
             [&] { sto_Transaction const transaction(store); },
             [&] { sto_ReadTransaction const transaction(store); }})
      MessageOf(sto_ErrorKind::Misuse, write);
    EXPECT_EQ(result->m_History.ConstGet(0), -1);
    result->m_History.Get(0) = 0;
    MessageOf(sto_ErrorKind::Misuse, [&] { result->m_History.Flush(); });
    EXPECT_EQ(store.Roots().size(), 1U);
    EXPECT_EQ(result->m_History.ConstGet(0), 0);
    result->m_History.Detach(); // the session keeps the failure
  }
  MessageOf(sto_ErrorKind::Misuse, [&] { store.Save("other", Result<double>()); });
  store.Save("other", Result<double>());
  ExpectFilled(store.Load<Result<double>>("result")->m_History, 20'000);
}

TEST_F(StoreBulk, ObjectsAreSavedBetweenWritesOfBlocksInOneTransaction) {
  Make(10'000);
  sto_Store store = Open();
  auto const result = store.Load<Result<double>>("result");
  for (int round = 0; round < 3; ++round) {
    sto_Transaction transaction(store);
    for (int i = 0; i < 10'000; i += 500) result->m_History.Get(i) = -round; // overwrites blocks in place
    Fill(*result, result->m_History.Size() + 3000);
    store.Save("other " + std::to_string(round), Result<double>());
    result->m_History.Get(100) = round;
    store.Save("more " + std::to_string(round), Result<double>());
    transaction.Commit();
  }
  EXPECT_EQ(store.Roots().size(), 7U);
  auto const again = store.Load<Result<double>>("result");
  EXPECT_EQ(again->m_History.Size(), 19'000);
  EXPECT_EQ(again->m_History.ConstGet(100), 2);
  EXPECT_EQ(again->m_History.ConstGet(9500), -2);
}

TEST_F(StoreBulk, OverwritingWithTheSameElementsChangesNoBlock) {
  Make(10'000);
  auto const blocks = [&] {
    return SqlFile(Path()).Texts("SELECT hex(data) FROM stored_block ORDER BY key");
  };
  std::vector<std::string> const before = blocks();
  sto_Store store = Open();
  auto const result = store.Load<Result<double>>("result");
  sto_Transaction transaction(store);
  for (int i = 0; i < 10'000; ++i) result->m_History.Get(i) = i / 2.0;
  transaction.Commit();
  EXPECT_EQ(blocks(), before);
}

TEST_F(StoreBulk, SimpleArraysStreamRunsOfAnyLength) {
  struct Stream {
    static constexpr unsigned int TypeId() noexcept { return Result<int>::TypeId(); }
    explicit Stream(int sizeHint) : m_List(sizeHint) {}
    explicit Stream(cls_ReadVisitor const& visitor)
        : m_List(cls_ReadVisitor(visitor, HistoryField()), nullptr), m_Uid(visitor.GetUid()) {}
    void DBWrite(cls_WriteVisitor const& visitor) const {
      if (!visitor.StartWrite(TypeId(), m_Uid)) return;
      m_List.DBWrite(cls_WriteVisitor(visitor, HistoryField(), nullptr, &m_List));
    }
    cls_SimpleArrayPrim<int> m_List;
    cls_Uid m_Uid;
  };
  std::vector<int> expected;
  {
    sto_Store store = sto_Store::Open(Path(), sto_Mode::Create, ResultClasses<int>());
    Stream stream(12345);
    store.Save("stream", stream);
    sto_Transaction transaction(store);
    std::mt19937 random(7);
    while (expected.size() < 20'000) {
      std::vector<int> run(random() % 5000 + 1);
      for (int& value : run) value = static_cast<int>(random());
      stream.m_List.Write(run.data(), static_cast<int>(run.size()));
      expected.insert(expected.end(), run.begin(), run.end());
    }
    stream.m_List.Seek(3000);
    int const over[] = {1, 2, 3};
    stream.m_List.Write(over, 3);
    std::copy_n(over, 3, expected.begin() + 3000);
    transaction.Commit();
  }
  sto_Store store = sto_Store::Open(Path(), sto_Mode::ReadOnly, ResultClasses<int>());
  auto const stream = store.Load<Stream>("stream");
  EXPECT_EQ(stream->m_List.SizeHint(), 12345);
  ASSERT_EQ(stream->m_List.Size(), static_cast<int>(expected.size()));
  std::vector<int> read(expected.size() + 5);
  int total = 0;
  for (int part = 1; int const got = stream->m_List.Read(read.data() + total, part); part = part * 3 % 7001)
    total += got;
  read.resize(static_cast<std::size_t>(total));
  EXPECT_EQ(read, expected);
}

/// A seeded random walk of an associated array and a plain vector, with commits, rollbacks and reopened
/// stores.
class BulkModel : public BulkArray<double>, public testing::WithParamInterface<unsigned int> {};

TEST_P(BulkModel, StoredArrayMatchesAVector) {
  std::mt19937 random(GetParam());
  auto const below = [&](int count) { return static_cast<int>(random() % static_cast<unsigned int>(count)); };
  Make(3000);
  std::vector<double> committed;
  for (int i = 0; i < 3000; ++i) committed.push_back(i / 2.0);
  std::vector<double> model = committed;
  auto store = std::make_unique<sto_Store>(Open());
  auto result = store->Load<Result<double>>("result");
  auto transaction = std::make_unique<sto_Transaction>(*store);
  for (int step = 0; step < 60'000; ++step) {
    cls_ArrayPrim<double>& array = result->m_History;
    int const size = static_cast<int>(model.size());
    ASSERT_EQ(array.Size(), size) << "seed " << GetParam() << " step " << step;
    switch (int const choice = below(1000)) {
    case 0: // commit
    case 1: // rollback
    case 2: // reopen
      if (choice != 1) {
        transaction->Commit();
        committed = model;
      }
      transaction.reset();
      model = committed;
      if (choice == 2) {
        result.reset();
        store.reset();
        store = std::make_unique<sto_Store>(Open());
        result = store->Load<Result<double>>("result");
      }
      transaction = std::make_unique<sto_Transaction>(*store);
      break;
    case 3: {
      std::vector<double> run(static_cast<std::size_t>(below(5000) + 1), step);
      array.Release(); // AppendBlock does not update the block in memory
      array.AppendBlock(run.data(), static_cast<int>(run.size()));
      model.insert(model.end(), run.begin(), run.end());
      break;
    }
    case 4:
      array.Flush();
      break;
    case 5:
      array.Release();
      break;
    default:
      if (choice < 300) {
        array.Append(step);
        model.push_back(step);
      } else {
        int const index = choice < 900 ? std::max(0, size - 1 - below(3000)) : below(size);
        if (choice % 2 == 0) {
          array.Get(index) = -step;
          model[static_cast<std::size_t>(index)] = -step;
        } else {
          ASSERT_EQ(array.ConstGet(index), model[static_cast<std::size_t>(index)])
              << "seed " << GetParam() << " step " << step << " index " << index;
        }
      }
    }
  }
  for (std::size_t i = 0; i < model.size(); ++i)
    ASSERT_EQ(result->m_History.ConstGet(static_cast<int>(i)), model[i]) << "seed " << GetParam();
  transaction->Commit();
  EXPECT_EQ(IntegrityOf(Path()), "ok");
}

INSTANTIATE_TEST_SUITE_P(Seeds, BulkModel, testing::ValuesIn(Seeds({1U, 2U, 20240611U})));

} // namespace
