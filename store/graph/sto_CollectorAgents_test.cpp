#include "persist/backend/cls_AgentRequest.h"
#include "persist/backend/cls_PC.h"
#include "tests/support/store/StoreGarbage.h"
#include "tests/support/store/StoreStream.h"

namespace {

/// Collecting while collections are open, and after agents have overwritten them.
class StoreCollectorAgents : public StoreGarbageTest {};

/// A container of objects like an application's.
class AgentHolder : public cls_PC {
 public:
  explicit AgentHolder(cls_AgentListObj* agent) : m_Agent(agent) {
    m_Agent->AddReference();
    m_Agent->RegisterHolder(this);
  }
  ~AgentHolder() override { LetGo(); }
  void Flush() const override {}
  void Detach() override {
    Unlink();
    LetGo();
  }
  cls_AgentListObj* operator->() const { return m_Agent; }
  void Put(int index, int value) const {
    Node const node(value);
    cls_AgentRequestListObj const request(m_Agent, index);
    node.DBWrite(cls_WriteVisitor(request, &node));
  }

 private:
  void LetGo() {
    if (m_Agent == nullptr) return;
    cls_AgentListObj* const agent = std::exchange(m_Agent, nullptr);
    agent->DropReference();
    if (agent->StillReferenced()) return;
    agent->EndFlush();
    delete agent;
  }
  cls_AgentListObj* m_Agent;
};

std::unique_ptr<AgentHolder> OpenList(sto_Store& store) {
  std::unique_ptr<AgentHolder> holder;
  static_cast<void>(LoadFields(store, [&](cls_ReadVisitor const& visitor) {
    holder = std::make_unique<AgentHolder>(ReadIn(visitor, "m_Objects")->MakeAgentListObj());
  }));
  return holder;
}

TEST_F(StoreCollectorAgents, OpenBulkArrayStaysUntilItIsClosed) {
  sto_Store store = Create();
  {
    Bulk bulk;
    bulk.Fill(5000);
    store.Save("bulk", bulk);
    bulk.m_Array.Get(10) = -1; // not written yet
    store.RemoveRoot("bulk");
    ExpectCollected(store, 1); // the object that held it
    bulk.m_Array.Get(10) = 10;
    bulk.Fill(9000);
    store.Save("again", bulk);
    ExpectCollected(store, 0);
    Open(sto_Mode::ReadOnly).Load<Bulk>("again")->ExpectFilled(9000);
    bulk.ExpectFilled(9000);
    store.RemoveRoot("again");
  }
  ExpectAllCollected(store, 2);
}

TEST_F(StoreCollectorAgents, BulkArrayMadeInTheTransactionStays) {
  sto_Store store = Create();
  Bulk bulk;
  bulk.Fill(3000);
  {
    sto_Transaction transaction(store);
    store.Save("bulk", bulk);
    bulk.Fill(6000);
    store.RemoveRoot("bulk");
    EXPECT_EQ(store.CollectGarbage(), 1);
    bulk.Fill(9000);
    store.Save("bulk", bulk);
    transaction.Commit();
  }
  Open(sto_Mode::ReadOnly).Load<Bulk>("bulk")->ExpectFilled(9000);
}

TEST_F(StoreCollectorAgents, OpenListOfObjectsStaysWithItsElements) {
  sto_Store store = Create();
  SaveFields(store, [](cls_WriteVisitor const& visitor) {
    auto const list = Own(visitor.Memento()->MakeFieldWriteListObj(Field("m_Objects"), cls_Uid()));
    for (int i = 0; i < 3; ++i) AppendNode(*list, Node(i));
  });
  std::unique_ptr<AgentHolder> holder = OpenList(store);
  store.RemoveRoot("root");
  ExpectCollected(store, 1);
  {
    sto_Transaction transaction(store);
    holder->Put(3, 3); // the list's present elements count, not the stored ones
    (*holder)->Remove(0);
    EXPECT_EQ(store.CollectGarbage(), 1);
    transaction.Commit();
  }
  ASSERT_EQ((*holder)->Count(), 3);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(NodeValue((*holder)->MakeReadObj(i)), i + 1);
  holder.reset();
  ExpectAllCollected(store, 4);
}

TEST_F(StoreCollectorAgents, RemovedElementsAreCollected) {
  sto_Store store = Create();
  SaveFields(store, [](cls_WriteVisitor const& visitor) {
    auto const list = Own(visitor.Memento()->MakeFieldWriteListObj(Field("m_Objects"), cls_Uid()));
    for (int i = 0; i < 3000; ++i) AppendNode(*list, Node(i));
  });
  {
    std::unique_ptr<AgentHolder> const holder = OpenList(store);
    (*holder)->SetCount(2500);
    (*holder)->Remove(0);
  }
  ExpectCollected(store, 501);
  std::unique_ptr<AgentHolder> const holder = OpenList(store);
  ASSERT_EQ((*holder)->Count(), 2499);
  EXPECT_EQ(NodeValue((*holder)->MakeReadObj(0)), 1);
  EXPECT_EQ(NodeValue((*holder)->MakeReadObj(2498)), 2499);
}

TEST_F(StoreCollectorAgents, OpenElementIsALoadInProgress) {
  sto_Store store = Create();
  SaveFields(store, [](cls_WriteVisitor const& visitor) {
    AppendNode(*Own(visitor.Memento()->MakeFieldWriteListObj(Field("m_Objects"), cls_Uid())), Node(1));
  });
  std::unique_ptr<AgentHolder> const holder = OpenList(store);
  {
    auto const element = Own((*holder)->MakeReadObj(0));
    MessageOf(sto_ErrorKind::Misuse, [&] { store.CollectGarbage(); });
  }
  {
    sto_Transaction const transaction(store);
    auto const element = Own((*holder)->MakeReadObj(0));
    MessageOf(sto_ErrorKind::Misuse, [&] { store.CollectGarbage(); });
  }
  ExpectCollected(store, 0);
}

TEST_F(StoreCollectorAgents, OpenBlobStaysUntilItIsClosed) {
  sto_Store store = Create();
  store.Save("picture", Picture(50'000));
  std::unique_ptr<Picture> one = store.Load<Picture>("picture");
  std::unique_ptr<Picture> two = store.Load<Picture>("picture");
  store.RemoveRoot("picture");
  ExpectCollected(store, 1);
  one.reset(); // the other one remains
  ExpectCollected(store, 0);
  two->m_Reader->Agent().Write(50'000, 3, "end");
  EXPECT_EQ(two->Bytes(), std::string(50'000, 'b').append("end"));
  two.reset();
  ExpectAllCollected(store, 1);
}

TEST_F(StoreCollectorAgents, AgentsThatOutliveTheirSessionDoNoHarm) {
  std::unique_ptr<Picture> picture;
  {
    sto_Store store = Create();
    store.Save("picture", Picture(100));
    picture = store.Load<Picture>("picture");
  }
  sto_Store store = Open();
  store.RemoveRoot("picture");
  ExpectAllCollected(store, 2);
  MessageOf(sto_ErrorKind::Unavailable, [&] { static_cast<void>(picture->Bytes()); });
}

TEST_F(StoreCollectorAgents, ListOpenInAnotherSessionIsGoneThereAndCannotBeSaved) {
  sto_Store store = Create();
  Bulk bulk;
  bulk.Fill(5000);
  store.Save("bulk", bulk);
  SaveFields(store, [](cls_WriteVisitor const& visitor) {
    AppendNode(*Own(visitor.Memento()->MakeFieldWriteListObj(Field("m_Objects"), cls_Uid())), Node(1));
  });
  std::unique_ptr<AgentHolder> const holder = OpenList(store);
  {
    sto_Store other = Open();
    other.RemoveRoot("bulk");
    other.RemoveRoot("root");
    ExpectAllCollected(other, 5);
  }
  std::string const message = MessageOf(sto_ErrorKind::NotFound, [&] { store.Save("bulk", bulk); });
  EXPECT_TRUE(Contains(message, "is not in the store any more")) << message;
  MessageOf(sto_ErrorKind::NotFound, [&] { static_cast<void>((*holder)->Count()); });
  EXPECT_EQ(store.Roots().size(), 0U);
  ExpectCollected(store, 0);
}

// --- Moved blocks

class StoreCollectorMoved : public StoreStreamTest {};

TEST_F(StoreCollectorMoved, MovedBlocksAreCollectedWithTheirList) {
  Make(Blocks * BlockSize);
  sto_Store store = Open();
  auto const overwrite = [&](int value) {
    std::unique_ptr<Stream> const stream = store.Load<Stream>("stream");
    sto_Transaction transaction(store);
    for (int block = 0; block < Blocks; ++block)
      stream->Write(block * BlockSize, std::vector<int>(BlockSize, value + block));
    transaction.Commit();
  };
  overwrite(1000);
  ASSERT_GT(Moved(), 50);
  EXPECT_EQ(store.CollectGarbage(), 0);
  ExpectTables();
  EXPECT_EQ(store.Load<Stream>("stream")->ReadAll(BlockSize)[5 * BlockSize], 1005);
  overwrite(2000); // from moved places to others
  store.RemoveRoot("stream");
  EXPECT_EQ(store.CollectGarbage(), 2);
  ExpectTables();
  EXPECT_EQ(Moved(), 0);
  EXPECT_EQ(Query("SELECT count(*) FROM moved_block"), 0);
  EXPECT_EQ(Query("SELECT count(*) FROM stored_block"), 3); // of the other list
  EXPECT_EQ(store.Load<Listed>("other")->m_List.Count(), 3 * BlockSize);
  store.RemoveRoot("other");
  EXPECT_EQ(store.CollectGarbage(), 2);
  EXPECT_EQ(Query("SELECT (SELECT count(*) FROM object) + (SELECT count(*) FROM pack) + "
                  "(SELECT count(*) FROM stored_block)"),
            0);
}

TEST_F(StoreCollectorMoved, ListOverwrittenAndCollectedInOneTransactionLeavesNothing) {
  Make(Blocks * BlockSize);
  sto_Store store = Open();
  {
    sto_Transaction transaction(store);
    {
      std::unique_ptr<Stream> const stream = store.Load<Stream>("stream");
      for (int block = 0; block < Blocks; ++block)
        stream->Write(block * BlockSize, std::vector<int>(BlockSize, block));
    }
    store.RemoveRoot("stream");
    EXPECT_EQ(store.CollectGarbage(), 2);
    transaction.Commit();
  }
  ExpectTables();
  EXPECT_EQ(Moved(), 0);
  EXPECT_EQ(Query("SELECT count(*) FROM stored_block"), 3);
}

TEST_F(StoreCollectorMoved, RolledBackCollectionRestoresMovedBlocks) {
  Make(Blocks * BlockSize);
  sto_Store store = Open();
  std::unique_ptr<Stream> stream = store.Load<Stream>("stream");
  {
    sto_Transaction transaction(store);
    for (int block = 0; block < Blocks; ++block)
      stream->Write(block * BlockSize, std::vector<int>(BlockSize, block));
    transaction.Commit();
  }
  stream.reset();
  std::vector<std::string> const before = AllRows();
  {
    sto_Transaction const transaction(store);
    store.RemoveRoot("stream");
    EXPECT_EQ(store.CollectGarbage(), 2);
  }
  EXPECT_TRUE(AllRows() == before);
  EXPECT_EQ(store.Load<Stream>("stream")->ReadAll(BlockSize)[99 * BlockSize], 99);
}

} // namespace
