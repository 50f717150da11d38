#include "store/format/sto_BlockKey.h"
#include "tests/support/store/StoreGarbage.h"
#include "tests/support/store/StoreRows.h"

namespace {

/// Collecting in a store with damage.
class StoreCollectorDamage : public StoreGarbageTest {
 protected:
  /// Expects collecting to be refused with `text` in the message, and every row to stay unchanged.
  void ExpectRefused(sto_Store& store, std::string const& text,
                     sto_ErrorKind kind = sto_ErrorKind::Damaged) const {
    std::vector<std::string> const before = AllRows();
    std::string const message = MessageOf(kind, [&] { store.CollectGarbage(); });
    EXPECT_TRUE(Contains(message, text)) << message;
    EXPECT_EQ(MessageOf(kind, [&] { static_cast<void>(store.CountGarbage()); }), message);
    EXPECT_TRUE(AllRows() == before);
    // The store remains usable, also in a longer transaction.
    sto_Transaction transaction(store);
    MessageOf(kind, [&] { store.CollectGarbage(); });
    store.Save("after", Node(8));
    transaction.Commit();
    EXPECT_EQ(store.Load<Node>("after")->m_Value, 8);
  }
  [[nodiscard]] std::vector<std::string> AllRows() const {
    return SqlFile(Path()).Texts("SELECT id || ' ' || hex(record) FROM object UNION ALL "
                                 "SELECT key || ' ' || hex(data) FROM pack UNION ALL "
                                 "SELECT id || ' ' || hex(data) FROM shape UNION ALL "
                                 "SELECT key || ' ' || hex(data) FROM stored_block");
  }
  void Run(std::string const& sql) const { SqlFile(Path()).Run(sql); }
  void Unpack() const { SqlFile(Path()).Unpack(); }
  [[nodiscard]] std::string IdUnder(std::string const& root) const {
    return SqlFile(Path()).Text("SELECT object_id FROM root WHERE name = '" + root + "'");
  }
  static constexpr char Flip[] = "UPDATE object SET record = zeroblob(length(record)) WHERE id = ";
};

TEST_F(StoreCollectorDamage, DamagedReachableObjectIsReportedAndNothingIsCollected) {
  sto_Store store = Create();
  SaveNodes(store, {1, 2, 3});
  store.RemoveRoot("1");
  Unpack();
  std::string const id = IdUnder("2");
  Run(Flip + id);
  ExpectRefused(store, "Object " + id);
}

TEST_F(StoreCollectorDamage, DamagedUnreachableObjectIsCollected) {
  sto_Store store = Create();
  SaveNodes(store, {1, 2});
  Unpack();
  Run(Flip + IdUnder("1"));
  store.RemoveRoot("1");
  ExpectCollected(store, 1);
  EXPECT_EQ(store.Load<Node>("2")->m_Value, 2);
}

TEST_F(StoreCollectorDamage, MissingHeldObjectIsReportedEvenIfAReferenceNamesItToo) {
  sto_Store store = Create();
  Node node(1);
  node.m_Left = std::make_shared<Node>(2);
  store.Save("node", node);
  SaveReference(store, node.m_Left->m_Uid, "a reference");
  SaveReference(store, node.m_Left->m_Uid, "z reference");
  store.Save("left", *node.m_Left);
  std::string const id = IdUnder("left");
  store.RemoveRoot("left");
  Unpack();
  Run("DELETE FROM object WHERE id = " + id);
  ExpectRefused(store, "Object " + id + ", which object " + IdUnder("node") + " holds, is missing");
  store.RemoveRoot("node");
  EXPECT_EQ(store.CollectGarbage(), 1); // a reference does not need its object
}

TEST_F(StoreCollectorDamage, MissingElementsOfCollectionsAreReported) {
  sto_Store store = Create();
  for (bool const isList : {true, false}) {
    SaveFields(
        store,
        [&](cls_WriteVisitor const& visitor) {
          if (isList)
            AppendNode(*Own(visitor.Memento()->MakeFieldWriteListObj(Field("m_Objects"), cls_Uid())),
                       Node(1));
          else
            InsertNode(*Own(visitor.Memento()->MakeFieldWriteMapInt2Obj(Field("m_ByInt"), cls_Uid())), 4,
                       Node(2));
        },
        "root");
    Unpack();
    Run("DELETE FROM object WHERE id = (SELECT max(id) FROM object)"); // the element was numbered last
    ExpectRefused(store, "holds, is missing");
    store.RemoveRoot("after");
  }
}

TEST_F(StoreCollectorDamage, RootWithoutObjectIsReported) {
  sto_Store store = Create();
  SaveNodes(store, {1, 2});
  std::string const id = IdUnder("2");
  Run("DELETE FROM pack");
  ExpectRefused(store, "is missing");
  for (char const* const root : {"1", "2"}) store.RemoveRoot(root);
  for (char const* const wrong : {"-5", "0", "4000000", "9223372036854775807"}) {
    {
      SqlFile file(Path());
      PutRoot(file, "wrong", wrong);
    }
    ExpectRefused(store, "Root wrong names object");
  }
}

TEST_F(StoreCollectorDamage, DamagedOrMissingBlockOfObjectsIsReported) {
  sto_Store store = Create();
  SaveFields(store, [](cls_WriteVisitor const& visitor) {
    auto const list = Own(visitor.Memento()->MakeFieldWriteListObj(Field("m_Objects"), cls_Uid()));
    for (int i = 0; i < 5000; ++i) AppendNode(*list, Node(i));
  });
  Run("UPDATE stored_block SET data = zeroblob(length(data)) WHERE key = (SELECT max(key) FROM stored_block)");
  ExpectRefused(store, "Block 2 of object");
  Run("DELETE FROM stored_block WHERE key = (SELECT max(key) FROM stored_block)");
  ExpectRefused(store, "Block 2 of object");
}

TEST_F(StoreCollectorDamage, DamagedPrimitiveElementsDoNotStopCollecting) {
  sto_Store store = Create();
  store.Save("picture", Picture(50'000));
  SaveNodes(store, {1});
  store.RemoveRoot("1");
  Run("UPDATE stored_block SET data = zeroblob(length(data))");
  ExpectCollected(store, 1);
}

TEST_F(StoreCollectorDamage, ObjectOfANewerVersionIsReportedAndNothingIsCollected) {
  { Create().Save("node", Node(1)); }
  {
    cls_ClassRegistrar newer;
    DeclareNode(newer, 9);
    sto_Store::Open(Path(), sto_Mode::ReadWrite, newer).Save("newer", Node(2));
  }
  sto_Store store = Open();
  store.RemoveRoot("node");
  ExpectRefused(store, "version 9", sto_ErrorKind::NewerFormat);
}

TEST_F(StoreCollectorDamage, FailedCollectionLeavesContainersTheirChanges) {
  sto_Store store = Create();
  Bulk bulk;
  bulk.Fill(5000);
  store.Save("bulk", bulk);
  SaveNodes(store, {1});
  Unpack();
  Run(Flip + IdUnder("1"));
  bulk.m_Array.Get(4999) = -7; // not written yet
  ExpectRefused(store, "is damaged");
  EXPECT_EQ(bulk.m_Array.ConstGet(4999), -7);
  bulk.Close();
  EXPECT_EQ(store.Load<Bulk>("bulk")->m_Array.ConstGet(4999), -7);
}

} // namespace
