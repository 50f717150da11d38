#include "tests/support/store/StoreArrays.h"

namespace {

// Bulk arrays saved from one store into another.

class StoreOtherStores : public StoreArrayTest {};

TEST_F(StoreOtherStores, ArrayOfAnOpenStoreIsCopiedAndStaysWithIt) {
  for (int const count : {0, 1, 2048, 9000}) {
    SCOPED_TRACE(count);
    std::string const from = "from" + std::to_string(count);
    std::string const to = "to" + std::to_string(count);
    Make(count, from);
    sto_Store source = Open(sto_Mode::ReadWrite, from);
    sto_Store target = Create(to);
    auto const holder = source.Load<DoubleHolder>("array");
    target.Save("array", *holder);
    EXPECT_EQ(Stored(to), Numbers(count));
    EXPECT_EQ(Elements(holder->m_Array), Numbers(count));
    Fill(holder->m_Array, count + 10);
    source.Save("array", *holder);
    EXPECT_EQ(Stored(from), Numbers(count + 10)); // still belongs to this store
    EXPECT_EQ(Stored(to), Numbers(count));
    target.Save("array", *holder); // copies it again
    EXPECT_EQ(Stored(to), Numbers(count + 10));
    EXPECT_EQ(IntegrityOf(Path(to)), "ok");
  }
}

TEST_F(StoreOtherStores, CopyHasWhatIsInMemoryAndNotWritten) {
  Make(9000, "from");
  sto_Store source = Open(sto_Mode::ReadOnly, "from");
  sto_Store target = Create("to");
  auto const holder = source.Load<DoubleHolder>("array");
  holder->m_Array.Get(8999) = -1; // a read-only store takes no changes
  target.Save("array", *holder);
  std::vector<double> expected = Numbers(9000);
  expected[8999] = -1;
  EXPECT_EQ(Stored("to"), expected);
}

TEST_F(StoreOtherStores, ArrayIsCopiedInsideTransactionsOfBoth) {
  Make(5000, "from");
  sto_Store source = Open(sto_Mode::ReadWrite, "from");
  sto_Store target = Create("to");
  auto const holder = source.Load<DoubleHolder>("array");
  sto_Transaction sourceTransaction(source);
  Fill(holder->m_Array, 7000);
  sto_Transaction transaction(target);
  target.Save("array", *holder);
  transaction.Commit();
  sourceTransaction.Rollback();
  EXPECT_EQ(Stored("to"), Numbers(7000));
  EXPECT_EQ(Elements(holder->m_Array), Numbers(5000));
}

TEST_F(StoreOtherStores, ArrayInMemoryBelongsToTheFirstStoreThatSavesIt) {
  sto_Store one = Create("one");
  sto_Store two = Create("two");
  DoubleHolder holder;
  Fill(holder.m_Array, 5000);
  one.Save("array", holder);
  two.Save("array", holder);
  EXPECT_EQ(Stored("one"), Numbers(5000));
  EXPECT_EQ(Stored("two"), Numbers(5000));
  {
    auto const copy = two.Load<DoubleHolder>("array"); // the same identity, but another list
    Fill(copy->m_Array, 6000);
    two.Save("array", *copy);
    EXPECT_EQ(Stored("two"), Numbers(6000));
    copy->m_Array.Get(0) = -1;
    // The address tells which of the two is saved. The open one would overwrite the copy.
    MessageOf(sto_ErrorKind::Conflict, [&] { two.Save("array", holder); });
    EXPECT_EQ(copy->m_Array.ConstGet(0), -1);
    EXPECT_EQ(Stored("two"), Numbers(6000));
  }
  two.Save("array", holder);
  EXPECT_EQ(Stored("two"), Numbers(5000));
}

TEST_F(StoreOtherStores, DetachedArrayWhoseElementsAreNotInMemoryIsRefused) {
  Make(9000, "from");
  sto_Store target = Create("to");
  DoubleHolder holder;
  {
    sto_Store source = Open(sto_Mode::ReadWrite, "from");
    holder.m_Array = source.Load<DoubleHolder>("array")->m_Array;
    static_cast<void>(holder.m_Array.ConstGet(8500));
  } // detached: one block of five is in memory
  std::string const message = MessageOf(sto_ErrorKind::Misuse, [&] { target.Save("array", holder); });
  EXPECT_TRUE(Contains(message, "elements are not in memory") && Contains(message, "object 2")) << message;
  EXPECT_EQ(target.ObjectCount(), 0);
  EXPECT_EQ(holder.m_Array.Size(), 9000);
  EXPECT_EQ(holder.m_Array.ConstGet(8999), 8999 / 2.0);
}

TEST_F(StoreOtherStores, DetachedArrayWithoutABlockIsRefused) {
  Make(9000, "from");
  sto_Store target = Create("to");
  for (bool const first : {false, true}) {
    sto_Store source = Open(sto_Mode::ReadWrite, "from");
    auto const holder = source.Load<DoubleHolder>("array");
    if (first) static_cast<void>(holder->m_Array.ConstGet(0));
    holder->m_Array.Detach();
    MessageOf(sto_ErrorKind::Misuse, [&] { target.Save("array", *holder); });
  }
  EXPECT_EQ(target.ObjectCount(), 0);
}

TEST_F(StoreOtherStores, DetachedArrayThatIsWhollyInMemoryIsStored) {
  Make(2000, "from");
  sto_Store target = Create("to");
  DoubleHolder holder;
  {
    sto_Store source = Open(sto_Mode::ReadWrite, "from");
    holder.m_Array = source.Load<DoubleHolder>("array")->m_Array;
    static_cast<void>(holder.m_Array.ConstGet(5)); // changes nothing, so nothing is marked for writing
  }
  target.Save("array", holder);
  EXPECT_EQ(Stored("to"), Numbers(2000));
}

TEST_F(StoreOtherStores, ArrayThatIsPartlyInMemoryIsNotMergedIntoAnOlderCopy) {
  Make(9000, "from");
  sto_Store target = Create("to");
  DoubleHolder holder;
  {
    sto_Store source = Open(sto_Mode::ReadWrite, "from");
    holder.m_Array = source.Load<DoubleHolder>("array")->m_Array;
    target.Save("array", holder); // copies it
    for (int i = 0; i < 9000; ++i) holder.m_Array.Get(i) = -i;
  } // one block of five is in memory
  MessageOf(sto_ErrorKind::Misuse, [&] { target.Save("array", holder); });
  EXPECT_EQ(Stored("to"), Numbers(9000));
}

TEST_F(StoreOtherStores, ArrayLoadedFromACopyThatIsUndoneSaysSo) {
  Make(5000, "from");
  sto_Store source = Open(sto_Mode::ReadWrite, "from");
  sto_Store target = Create("to");
  auto const holder = source.Load<DoubleHolder>("array");
  std::unique_ptr<DoubleHolder> loaded;
  {
    sto_Transaction transaction(target);
    target.Save("array", *holder);
    loaded = target.Load<DoubleHolder>("array");
  }
  target.Save("array", *holder); // reuses the ids
  MessageOf(sto_ErrorKind::Unavailable, [&] { static_cast<void>(loaded->m_Array.ConstGet(0)); });
  EXPECT_EQ(Stored("to"), Numbers(5000));
}

TEST_F(StoreOtherStores, GapsAreZerosOnlyInAListThatIsStored) {
  sto_Store store = Create();
  DoubleHolder holder;
  holder.m_Array.Append(1);
  holder.m_Array.SetLength(4096);
  holder.m_Array.Append(2);
  MessageOf(sto_ErrorKind::Misuse, [&] { store.Save("array", holder); });
  EXPECT_EQ(holder.m_Array.Size(), 4097);
}

TEST_F(StoreOtherStores, OpenListsAndMapsOfObjectsAreRefused) {
  cls_ClassRegistrar classes;
  struct Open {
    static constexpr unsigned int TypeId() noexcept { return 0x740021; }
    static cls_FieldHandle Field(bool isMap) { return {isMap, isMap ? "m_Map"_cow : "m_List"_cow}; }
    void DBWrite(cls_WriteVisitor const& visitor) const {
      if (!visitor.StartWrite(TypeId(), m_Uid)) return;
      cls_WriteVisitor const field(visitor, Field(m_IsMap), nullptr, nullptr);
      field.StartWrite(m_IsMap ? cls_InternalMapTypeId : cls_InternalListTypeId, m_FieldUid);
      int const tag = 0;
      if (m_List != nullptr || m_Map != nullptr) return;
      if (m_IsMap)
        m_Map.reset(field.Memento()->MakeAgentMapKey2Obj(&tag, 1));
      else
        m_List.reset(field.Memento()->MakeAgentListObj(1));
    }
    bool m_IsMap = false;
    cls_Uid m_FieldUid;
    cls_Uid m_Uid;
    mutable std::unique_ptr<cls_AgentListObj> m_List;
    mutable std::unique_ptr<cls_AgentMapKey2Obj<int>> m_Map;
  };
  classes.CreateClassMD("Open"_cow, Open::TypeId(), 1, nullptr, 1)
      .AddAttribute(Open::Field(false), ATTR_OBJECT, 1, COLLECTION_OBJ)
      .AddAttribute(Open::Field(true), ATTR_OBJECT, 1, COLLECTION_MAP_INT_OBJ);
  sto_Store one = sto_Store::Open(Path("one"), sto_Mode::Create, classes);
  sto_Store two = sto_Store::Open(Path("two"), sto_Mode::Create, classes);
  for (bool const isMap : {false, true}) {
    Open object;
    object.m_IsMap = isMap;
    one.Save("open", object);
    std::string const message = MessageOf(sto_ErrorKind::Misuse, [&] { two.Save("open", object); });
    EXPECT_TRUE(Contains(message, isMap ? "map from int to objects" : "list of objects") &&
                Contains(message, Path("one")))
        << message;
  }
  EXPECT_EQ(two.ObjectCount(), 0);
}

} // namespace
