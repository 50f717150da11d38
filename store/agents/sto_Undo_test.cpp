#include "tests/support/store/StoreArrays.h"
#include "tests/support/store/StoreFaultVfs.h"

namespace {

// Bulk arrays in memory when a save fails or a transaction is rolled back.

class StoreUndo : public StoreArrayTest {};

/// How a transaction ends without committing.
enum class End { Rollback, Destructor, FullDisk, IoError };

class StoreUndoBy : public StoreArrayTest, public testing::WithParamInterface<End> {
 protected:
  /// Runs `work` in a transaction that ends that way.
  void Undo(sto_Store& store, std::function<void()> const& work) {
    sto_Transaction transaction(store);
    work();
    switch (GetParam()) {
    case End::Rollback:
      transaction.Rollback();
      break;
    case End::Destructor:
      break;
    case End::FullDisk:
      StoreFaultVfs::StrikeAt(1, StoreFaultVfs::Fault::Full);
      EXPECT_THROW(transaction.Commit(), sto_Exception);
      break;
    case End::IoError:
      StoreFaultVfs::StrikeAt(1, StoreFaultVfs::Fault::IoError);
      EXPECT_THROW(transaction.Commit(), sto_Exception);
      break;
    }
    StoreFaultVfs::Disarm();
  }
  StoreFaultVfs m_Vfs;
};

INSTANTIATE_TEST_SUITE_P(Ends, StoreUndoBy,
                         testing::Values(End::Rollback, End::Destructor, End::FullDisk, End::IoError));

TEST_P(StoreUndoBy, ArrayThatWasFirstSavedInItIsInMemoryAgain) {
  for (int const count : {0, 1, 2047, 2048, 2049, 5000, 20'480}) {
    SCOPED_TRACE(count);
    std::string const name = std::to_string(count);
    sto_Store store = Create(name);
    DoubleHolder holder;
    Fill(holder.m_Array, count);
    cls_Uid const uid = holder.m_Array.Uid();
    Undo(store, [&] {
      store.Save("array", holder);
      EXPECT_TRUE(holder.m_Array.IsAssociated());
      if (count > 0) holder.m_Array.Get(count - 1) = -1;
      if (count > 0) holder.m_Array.Get(0) = -2;
      Fill(holder.m_Array, count + 3000);
    });
    EXPECT_FALSE(holder.m_Array.IsAssociated());
    EXPECT_EQ(holder.m_Array.Uid().Entry(), uid.Entry());
    EXPECT_EQ(Elements(holder.m_Array), Numbers(count));
    EXPECT_EQ(store.ObjectCount(), 0);
    store.Save("array", holder);
    EXPECT_EQ(Elements(holder.m_Array), Numbers(count));
    EXPECT_EQ(Stored(name), Numbers(count));
  }
}

TEST_P(StoreUndoBy, CommittedArrayIsAsItWasWhenTheTransactionBegan) {
  Make(9000);
  sto_Store store = Open();
  auto const holder = store.Load<DoubleHolder>("array");
  cls_ArrayPrim<double>& array = holder->m_Array;
  array.Get(100) = -1; // in memory, not written
  Undo(store, [&] {
    array.Get(101) = -2;
    array.Get(8000) = -3; // writes the first block
    Fill(array, 12'000);
    array.Get(0) = -4;
  });
  std::vector<double> expected = Numbers(9000);
  EXPECT_EQ(Stored(), expected);
  expected[100] = -1;
  EXPECT_EQ(Elements(array), expected);
  array.Flush();
  EXPECT_EQ(Stored(), expected);
}

TEST_P(StoreUndoBy, AppendedElementsOfBeforeTheTransactionStay) {
  Make(2040);
  sto_Store store = Open();
  auto const holder = store.Load<DoubleHolder>("array");
  Fill(holder->m_Array, 2047);
  Undo(store, [&] {
    Fill(holder->m_Array, 5000);
    store.Save("other", Node(1));
  });
  EXPECT_EQ(Elements(holder->m_Array), Numbers(2047));
  store.Save("array", *holder);
  EXPECT_EQ(Stored(), Numbers(2047));
}

TEST_P(StoreUndoBy, ArraysThatShareBlocksComeBackTogether) {
  sto_Store store = Create();
  DoubleHolder holder;
  Fill(holder.m_Array, 5000);
  cls_ArrayPrim<double> const copy(holder.m_Array); // in memory, not registered
  std::unique_ptr<cls_ArrayPrim<double>> late;
  Undo(store, [&] {
    store.Save("array", holder);
    late = std::make_unique<cls_ArrayPrim<double>>(holder.m_Array);
    late->Get(17) = -1;
  });
  for (cls_ArrayPrim<double> const* const array :
       {&copy, &std::as_const(*late), &std::as_const(holder.m_Array)}) {
    EXPECT_FALSE(array->IsAssociated());
    EXPECT_EQ(Elements(*array), Numbers(5000));
  }
  store.Save("array", holder);
  EXPECT_EQ(Stored(), Numbers(5000));
}

TEST_P(StoreUndoBy, ArrayGrownWhileAssociatedIsWhatTheSaveBegan) {
  sto_Store store = Create();
  DoubleHolder holder;
  Fill(holder.m_Array, 3);
  Undo(store, [&] {
    store.Save("array", holder);
    Fill(holder.m_Array, 100'000);
    store.Save("again", holder);
    EXPECT_EQ(holder.m_Array.Blocks().Ptr()->Count(), 1U);
  });
  EXPECT_EQ(Elements(holder.m_Array), Numbers(3));
}

TEST_P(StoreUndoBy, TwoDimensionalArraysAreArrays) {
  using Table = ArrayHolder<cls_2dArrayPrim<double>>;
  cls_ClassRegistrar classes;
  classes.CreateClassMD("Table"_cow, Table::TypeId(), 1, nullptr, 1)
      .AddAttribute(Table::Field(), ATTR_DOUBLE, 1, COLLECTION_TABLE_DOUBLE)
      .AddAttribute(cls_FieldHandle(1, "m_Number"_cow), ATTR_INT, 1, COLLECTION_NONE);
  sto_Store store = sto_Store::Open(Path(), sto_Mode::Create, classes);
  Table table;
  table.m_Array.SetColumns(3);
  Fill(table.m_Array, 6000);
  Undo(store, [&] {
    store.Save("table", table);
    table.m_Array.Get(1000, 2) = -1;
  });
  EXPECT_FALSE(table.m_Array.IsAssociated());
  EXPECT_EQ(table.m_Array.Columns(), 3);
  ASSERT_EQ(table.m_Array.Size(), 6000);
  for (int i = 0; i < 6000; ++i) ASSERT_EQ(table.m_Array.ConstGet(i / 3, i % 3), i / 2.0);
  store.Save("table", table);
  auto const again = store.Load<Table>("table");
  EXPECT_EQ(again->m_Array.Size(), 6000);
  EXPECT_EQ(again->m_Array.ConstGet(3002, 0), 1501);
}

TEST_F(StoreUndo, SaveThatRaisesLeavesTheArrayAndCanBeRepeated) {
  for (bool const inTransaction : {false, true})
    for (bool const before : {false, true})
      for (int const count : {1, 2048, 9000}) {
        SCOPED_TRACE(std::to_string(inTransaction) + std::to_string(before) + std::to_string(count));
        std::string const name =
            std::to_string(inTransaction) + std::to_string(before) + std::to_string(count);
        sto_Store store = Create(name);
        DoubleHolder holder;
        Fill(holder.m_Array, count);
        (before ? holder.m_Before : holder.m_After) = [] { throw std::runtime_error("no"); };
        std::unique_ptr<sto_Transaction> transaction;
        if (inTransaction) transaction = std::make_unique<sto_Transaction>(store);
        for (int i = 0; i < 2; ++i) EXPECT_THROW(store.Save("array", holder), std::runtime_error);
        EXPECT_FALSE(holder.m_Array.IsAssociated());
        EXPECT_EQ(Elements(holder.m_Array), Numbers(count));
        holder.m_Before = holder.m_After = nullptr;
        store.Save("array", holder);
        if (transaction) transaction->Commit();
        EXPECT_EQ(Elements(holder.m_Array), Numbers(count));
        EXPECT_EQ(Stored(name), Numbers(count));
      }
}

TEST_F(StoreUndo, FailedSaveInATransactionKeepsWhatTheTransactionDidBefore) {
  sto_Store store = Create();
  DoubleHolder holder;
  Fill(holder.m_Array, 3000);
  {
    sto_Transaction transaction(store);
    store.Save("array", holder);
    Fill(holder.m_Array, 8000);
    holder.m_Array.Get(5) = -1;
    holder.m_After = [&] {
      static_cast<void>(holder.m_Array.ConstGet(7000)); // writes the first block again
      throw std::runtime_error("no");
    };
    EXPECT_THROW(store.Save("again", holder), std::runtime_error);
    EXPECT_TRUE(holder.m_Array.IsAssociated());
    std::vector<double> expected = Numbers(8000);
    expected[5] = -1;
    EXPECT_EQ(Elements(holder.m_Array), expected);
    transaction.Commit();
    EXPECT_EQ(Stored(), expected);
  }
}

TEST_F(StoreUndo, ElementsThatAFailedSaveWroteBackAreUnwrittenAgain) {
  Make(9000);
  sto_Store store = Open();
  auto const holder = store.Load<DoubleHolder>("array");
  cls_ArrayPrim<double>& array = holder->m_Array;
  std::vector<double> expected = Numbers(9000);
  for (bool const inTransaction : {false, true}) {
    std::unique_ptr<sto_Transaction> transaction;
    if (inTransaction) transaction = std::make_unique<sto_Transaction>(store);
    array.Get(3) = -7 - inTransaction;
    expected[3] = -7 - inTransaction;
    DoubleHolder failing;
    Fill(failing.m_Array, 3000);
    failing.m_After = [&] {
      static_cast<void>(array.ConstGet(5000)); // writes the first block, which is undone
      throw std::runtime_error("no");
    };
    EXPECT_THROW(store.Save("failing", failing), std::runtime_error);
    EXPECT_EQ(Elements(failing.m_Array), Numbers(3000));
    EXPECT_EQ(Elements(array), expected);
    if (transaction) transaction->Commit();
    array.Flush();
    EXPECT_EQ(Stored(), expected);
  }
}

TEST_F(StoreUndo, WhatAnArrayHasNotWrittenIsNotUndoneByOthers) {
  Make(3000);
  sto_Store store = Open();
  auto const holder = store.Load<DoubleHolder>("array");
  double& element = holder->m_Array.Get(2999);
  element = -5;
  SaveThatFails(store);
  EXPECT_EQ(holder->m_Array.ConstGet(2999), -5);
  MessageOf(sto_ErrorKind::NotFound, [&] { static_cast<void>(store.Load<DoubleHolder>("none")); });
  EXPECT_FALSE(store.RemoveRoot("none"));
  element = -6; // the block is at its previous address
  EXPECT_EQ(holder->m_Array.ConstGet(2999), -6);
  store.Save("array", *holder);
  EXPECT_EQ(Stored()[2999], -6);
}

TEST_F(StoreUndo, SaveThatIsBusyLosesNothing) {
  sto_Options options;
  options.m_BusyMilliseconds = 50;
  sto_Store store = Open(sto_Mode::Create, "test.kvs", options);
  store.Save("node", Node(1));
  DoubleHolder holder;
  Fill(holder.m_Array, 5000);
  {
    SqlFile other(Path());
    other.Run("BEGIN; SELECT * FROM meta"); // a reader blocks the commit
    MessageOf(sto_ErrorKind::Busy, [&] { store.Save("array", holder); });
  }
  EXPECT_FALSE(holder.m_Array.IsAssociated());
  EXPECT_EQ(Elements(holder.m_Array), Numbers(5000));
  store.Save("array", holder);
  EXPECT_EQ(Stored(), Numbers(5000));
}

TEST_F(StoreUndo, SaveBeyondTheBoundSaysSoBeforeItEvictsAnything) {
  sto_Options options;
  options.m_MaxKeptBytes = 3 * 2048 * 8;
  sto_Store store = Open(sto_Mode::Create, "test.kvs", options);
  DoubleHolder small;
  DoubleHolder large;
  Fill(small.m_Array, 3 * 2048);
  Fill(large.m_Array, 3 * 2048 + 1);
  std::string const message = MessageOf(sto_ErrorKind::Full, [&] { store.Save("large", large); });
  EXPECT_TRUE(Contains(message, "The list of object 2") && Contains(message, "m_MaxKeptBytes")) << message;
  EXPECT_EQ(large.m_Array.Blocks().Ptr()->Count(), 4U);
  EXPECT_FALSE(large.m_Array.IsAssociated());
  store.Save("array", small);
  EXPECT_EQ(Stored(), Numbers(3 * 2048));
  { // the two are too large for one transaction, but not one after the other
    DoubleHolder second;
    DoubleHolder third;
    Fill(second.m_Array, 2 * 2048);
    Fill(third.m_Array, 2 * 2048);
    sto_Transaction transaction(store);
    store.Save("second", second);
    MessageOf(sto_ErrorKind::Full, [&] { store.Save("third", third); });
    EXPECT_EQ(Elements(third.m_Array), Numbers(2 * 2048));
    transaction.Commit();
    store.Save("third", third);
    EXPECT_EQ(Stored("test.kvs", "third"), Numbers(2 * 2048));
  }
}

TEST_F(StoreUndo, KeptBlocksAreFreedWithTheLastHolder) {
  sto_Options options;
  options.m_MaxKeptBytes = 3 * 2048 * 8;
  sto_Store store = Open(sto_Mode::Create, "test.kvs", options);
  sto_Transaction transaction(store);
  for (int i = 0; i < 5; ++i) {
    DoubleHolder holder;
    Fill(holder.m_Array, 3 * 2048);
    store.Save(std::to_string(i), holder);
  }
  transaction.Commit();
  EXPECT_EQ(store.Roots().size(), 5U);
}

TEST_F(StoreUndo, SimpleArrayOfUndoneWorkSaysSo) {
  struct Stream {
    static constexpr unsigned int TypeId() noexcept { return DoubleHolder::TypeId(); }
    void DBWrite(cls_WriteVisitor const& visitor) const {
      if (!visitor.StartWrite(TypeId(), m_Uid)) return;
      m_List.DBWrite(cls_WriteVisitor(visitor, DoubleHolder::Field(), nullptr, &m_List));
    }
    cls_SimpleArrayPrim<float> m_List{1};
    cls_Uid m_Uid;
  };
  cls_ClassRegistrar classes;
  classes.CreateClassMD("Stream"_cow, Stream::TypeId(), 1, nullptr, 1)
      .AddAttribute(DoubleHolder::Field(), ATTR_FLOAT, 1, COLLECTION_LIST_FLOAT);
  sto_Store store = sto_Store::Open(Path(), sto_Mode::Create, classes);
  Stream stream;
  float const values[] = {1, 2, 3};
  float read[3] = {};
  {
    sto_Transaction transaction(store);
    store.Save("stream", stream);
    stream.m_List.Write(values, 3);
  }
  for (std::function<void()> const& use : std::initializer_list<std::function<void()>>{
           [&] { static_cast<void>(stream.m_List.Size()); }, [&] { stream.m_List.Write(values, 1); },
           [&] { stream.m_List.Read(read, 1); }, [&] { static_cast<void>(stream.m_List.IsChanged()); },
           [&] { stream.m_List.Seek(0); }, [&] { store.Save("stream", stream); }})
    EXPECT_TRUE(
        Contains(MessageOf(sto_ErrorKind::Unavailable, use), "The list of object 2 was made in work"));
  EXPECT_EQ(store.ObjectCount(), 0);
}

TEST_F(StoreUndo, ArrayAssignedPastItsRegistrationSaysSo) {
  using Table = ArrayHolder<cls_2dArrayPrim<double>>;
  cls_ClassRegistrar classes;
  classes.CreateClassMD("Table"_cow, Table::TypeId(), 1, nullptr, 1)
      .AddAttribute(Table::Field(), ATTR_DOUBLE, 1, COLLECTION_TABLE_DOUBLE)
      .AddAttribute(cls_FieldHandle(1, "m_Number"_cow), ATTR_INT, 1, COLLECTION_NONE);
  sto_Store store = sto_Store::Open(Path(), sto_Mode::Create, classes);
  Table table;
  Fill(table.m_Array, 5000);
  Table assigned;
  {
    sto_Transaction transaction(store);
    store.Save("table", table);
    assigned.m_Array = table.m_Array; // assigning does not register it
  }
  std::string const message =
      MessageOf(sto_ErrorKind::Unavailable, [&] { static_cast<void>(assigned.m_Array.ConstGet(4000, 0)); });
  EXPECT_TRUE(Contains(message, "The list of object 2 was made in work that was undone")) << message;
  MessageOf(sto_ErrorKind::Unavailable, [&] { store.Save("assigned", assigned); });
  EXPECT_EQ(table.m_Array.ConstGet(4999, 0), 4999 / 2.0);
  store.Save("table", table);
  EXPECT_EQ(store.Load<Table>("table")->m_Array.ConstGet(4999, 0), 4999 / 2.0);
}

TEST_F(StoreUndo, ArrayLoadedFromUndoneWorkSaysSo) {
  sto_Store store = Create();
  std::unique_ptr<DoubleHolder> loaded;
  {
    sto_Transaction transaction(store);
    {
      DoubleHolder holder;
      Fill(holder.m_Array, 5000);
      store.Save("array", holder);
    }
    loaded = store.Load<DoubleHolder>("array");
    EXPECT_EQ(loaded->m_Array.ConstGet(4000), 2000);
  }
  MessageOf(sto_ErrorKind::Unavailable, [&] { static_cast<void>(loaded->m_Array.ConstGet(4000)); });
  MessageOf(sto_ErrorKind::Unavailable, [&] { store.Save("array", *loaded); });
  EXPECT_EQ(store.ObjectCount(), 0);
}

TEST_F(StoreUndo, ArrayLoadedInTheTransactionHasTheCommittedSizeAfterARollback) {
  Make(5000);
  sto_Store store = Open();
  std::unique_ptr<DoubleHolder> second;
  {
    sto_Transaction transaction(store);
    {
      auto const first = store.Load<DoubleHolder>("array");
      Fill(first->m_Array, 9000);
      first->m_Array.Get(0) = -1;
    } // for a moment the list has no holder
    second = store.Load<DoubleHolder>("array");
    EXPECT_EQ(second->m_Array.Size(), 9000);
  }
  EXPECT_EQ(Elements(second->m_Array), Numbers(5000));
  Fill(second->m_Array, 6000);
  store.Save("array", *second);
  EXPECT_EQ(Stored(), Numbers(6000));
}

TEST_F(StoreUndo, TransactionsOneAfterTheOther) {
  sto_Store store = Create();
  DoubleHolder holder;
  Fill(holder.m_Array, 3000);
  for (int i = 0; i < 3; ++i) {
    sto_Transaction transaction(store);
    store.Save("array", holder);
    Fill(holder.m_Array, 5000);
    SaveThatFails(store);
    EXPECT_EQ(Elements(holder.m_Array), Numbers(5000));
    transaction.Rollback();
    EXPECT_EQ(Elements(holder.m_Array), Numbers(3000));
  }
  {
    sto_Transaction transaction(store);
    store.Save("array", holder);
    Fill(holder.m_Array, 5000);
    transaction.Commit();
  }
  {
    sto_Transaction transaction(store);
    Fill(holder.m_Array, 7000);
  }
  EXPECT_EQ(Elements(holder.m_Array), Numbers(5000));
  EXPECT_EQ(Stored(), Numbers(5000));
}

TEST_F(StoreUndo, FailureInADestructorIsReportedByItsKind) {
  Make(100'000);
  StoreFaultVfs const vfs;
  sto_Store store = Open();
  sto_Transaction transaction(store);
  {
    auto const holder = store.Load<DoubleHolder>("array");
    holder->m_Array.Get(0) = -1;
    StoreFaultVfs::StrikeAt(1, StoreFaultVfs::Fault::Full);
    holder->m_Array.Detach(); // writes; a destructor must not throw
  }
  StoreFaultVfs::Disarm();
  MessageOf(sto_ErrorKind::Full, [&] { static_cast<void>(store.HasRoot("array")); });
  MessageOf(sto_ErrorKind::Unavailable, [&] { static_cast<void>(store.HasRoot("array")); });
}

TEST_F(StoreUndo, ClosingWritesWhatArraysHaveOrSaysWhyNot) {
  Make(5000);
  sto_Options options;
  options.m_BusyMilliseconds = 50;
  sto_Store store = Open(sto_Mode::ReadWrite, "test.kvs", options);
  auto const first = store.Load<DoubleHolder>("array");
  first->m_Array.Get(7) = -1;
  {
    sto_Transaction transaction(store);
    MessageOf(sto_ErrorKind::Misuse, [&] { store.Close(); });
  }
  {
    SqlFile other(Path());
    other.Run("BEGIN; SELECT * FROM meta"); // a reader blocks the commit
    MessageOf(sto_ErrorKind::Busy, [&] { store.Close(); });
    EXPECT_TRUE(first->m_Array.IsAssociated());
    EXPECT_EQ(first->m_Array.ConstGet(7), -1);
  }
  store.Close();
  EXPECT_EQ(Stored()[7], -1);
  EXPECT_FALSE(first->m_Array.IsAssociated());
  for (std::function<void()> const& use : std::initializer_list<std::function<void()>>{
           [&] { store.Close(); }, [&] { static_cast<void>(store.Roots()); },
           [&] { static_cast<void>(store.Location()); }, [&] { store.Save("array", *first); },
           [&] { sto_Transaction const transaction(store); },
           [&] { sto_ReadTransaction const transaction(store); }})
    EXPECT_TRUE(Contains(MessageOf(sto_ErrorKind::Misuse, use), "closed"));
}

TEST_F(StoreUndo, CopiesOfDifferentLengthAreWrittenWhole) {
  for (bool const isAssociated : {false, true}) {
    std::string const name = isAssociated ? "associated" : "memory";
    sto_Store store = Create(name);
    DoubleHolder shorter;
    Fill(shorter.m_Array, 10);
    if (isAssociated) store.Save("shorter", shorter);
    DoubleHolder longer;
    longer.m_Array = shorter.m_Array;
    Fill(longer.m_Array, 11);
    sto_Transaction transaction(store);
    if (!isAssociated) store.Save("shorter", shorter);
    store.Save("array", longer);
    transaction.Commit();
    EXPECT_EQ(Stored(name), Numbers(11));
  }
}

TEST_F(StoreUndo, FailureOfOneArrayDoesNotAffectTheNext) {
  Make(13);
  sto_Store store = Open();
  DoubleHolder second;
  Fill(second.m_Array, 13);
  store.Save("second", second);
  {
    auto const stale = store.Load<DoubleHolder>("array");
    stale->m_Array.Get(0) = -1;
    {
      sto_Store other = Open();
      auto const theirs = other.Load<DoubleHolder>("array");
      theirs->m_Array.Get(1) = -2;
    }
    second.m_Array.Get(0) = -3;
    stale->m_Array.Detach(); // raises Conflict, which the session keeps
  }
  second.m_Array.Detach(); // still writes
  EXPECT_EQ(Stored("test.kvs", "second")[0], -3);
  MessageOf(sto_ErrorKind::Conflict, [&] { store.Save("node", Node(1)); });
}

} // namespace
