#include <chrono>
#include <thread>

#include "tests/support/store/StoreTest.h"

namespace {

class StoreSessions : public StoreTest {};

TEST_F(StoreSessions, SecondSessionSeesACommitOfTheFirst) {
  sto_Store one = Create();
  sto_Store two = Open();
  EXPECT_TRUE(two.Roots().empty());
  one.Save("node", Node(1));
  EXPECT_EQ(two.Roots(), std::vector<std::string>{"node"});
  EXPECT_EQ(two.Load<Node>("node")->m_Value, 1);
}

TEST_F(StoreSessions, SecondSessionSeesNothingOfAnOpenTransaction) {
  sto_Store one = Create();
  sto_Store two = Open();
  sto_Transaction transaction(one);
  one.Save("node", Node(1));
  EXPECT_FALSE(two.HasRoot("node"));
  MessageOf(sto_ErrorKind::NotFound, [&] { static_cast<void>(two.Load<Node>("node")); });
  transaction.Commit();
  EXPECT_EQ(two.Load<Node>("node")->m_Value, 1);
}

TEST_F(StoreSessions, NamesAndClassesThatTheOtherSessionAddedAreKnown) {
  sto_Store one = Create();
  sto_Store two = Open();
  one.Save("node", Node(1));
  two.Save("top", Top()); // has read the names of Node
  SaveFields(one, [](cls_WriteVisitor const& visitor) {
    visitor.Write(cls_FieldHandle("m_New"_cow), 1);
    visitor.Write(cls_FieldHandle("m_Newer"_cow), 2);
  });
  static_cast<void>(LoadFields(two, [](cls_ReadVisitor const& visitor) {
    EXPECT_EQ(visitor.Read(cls_FieldHandle("m_New"_cow), 0), 1);
    EXPECT_EQ(visitor.Read(cls_FieldHandle("m_Newer"_cow), 0), 2);
  }));
  SaveFields(
      two,
      [](cls_WriteVisitor const& visitor) {
        visitor.Write(cls_FieldHandle("m_Newer"_cow), 3);
        visitor.Write(cls_FieldHandle("m_Newest"_cow), 4);
      },
      "second");
  static_cast<void>(LoadFields(
      one,
      [](cls_ReadVisitor const& visitor) {
        EXPECT_EQ(visitor.Read(cls_FieldHandle("m_Newer"_cow), 0), 3);
        EXPECT_EQ(visitor.Read(cls_FieldHandle("m_Newest"_cow), 0), 4);
      },
      "second"));
  EXPECT_EQ(Query("SELECT count(*) FROM name WHERE text LIKE 'm_New%'"), 3);
}

TEST_F(StoreSessions, ObjectIdsOfTwoSessionsNeverMeet) {
  sto_Store one = Create();
  sto_Store two = Open();
  std::vector<Node> nodes(10);
  for (int i = 0; i < 10; ++i) {
    nodes[static_cast<std::size_t>(i)].m_Value = i;
    (i % 2 == 0 ? one : two).Save(std::to_string(i), nodes[static_cast<std::size_t>(i)]);
  }
  EXPECT_EQ(one.ObjectCount(), 10);
  for (int i = 0; i < 10; ++i) EXPECT_EQ(one.Load<Node>(std::to_string(i))->m_Value, i);
}

TEST_F(StoreSessions, ObjectThatTheOtherSessionReplacedIsReadAnew) {
  sto_Store one = Create();
  Node node(1);
  one.Save("node", node);
  sto_Store two = Open();
  std::unique_ptr<Node> const held = two.Load<Node>("node");
  node.m_Value = 2;
  one.Save("node", node);
  EXPECT_EQ(two.Load<Node>("node")->m_Value, 2);
  EXPECT_EQ(two.Load<Node>("node")->m_Uid.Entry(), held->m_Uid.Entry());
}

TEST_F(StoreSessions, SecondWriterIsBusyAndGoesOnWhenTheFirstIsDone) {
  sto_Store one = Create();
  sto_Store two = Open();
  {
    sto_Transaction transaction(one);
    one.Save("one", Node(1));
    std::string const message = MessageOf(sto_ErrorKind::Busy, [&] { two.Save("two", Node(2)); });
    EXPECT_TRUE(Contains(message, Path())) << message;
    transaction.Commit();
  }
  two.Save("two", Node(2));
  EXPECT_EQ(one.Roots(), (std::vector<std::string>{"one", "two"}));
}

TEST_F(StoreSessions, OpeningWaitsForASessionThatHoldsTheFile) {
  { Create().Save("node", Node(1)); }
  for (sto_Mode const mode : {sto_Mode::ReadWrite, sto_Mode::ReadOnly}) {
    SqlFile other(Path());
    other.Run("BEGIN EXCLUSIVE");
    std::thread release([&other] {
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
      other.Run("COMMIT");
    });
    std::string failure;
    try {
      EXPECT_EQ(Open(mode).Load<Node>("node")->m_Value, 1);
    } catch (sto_Exception const& exception) {
      failure = exception.AsString().View();
    }
    release.join();
    EXPECT_EQ(failure, "");
  }
}

TEST_F(StoreSessions, ReadOnlySessionSeesTheCommitsOfAWriter) {
  sto_Store writer = Create();
  sto_Store reader = Open(sto_Mode::ReadOnly);
  Node node(1);
  for (int i = 0; i < 5; ++i) {
    node.m_Value = i;
    writer.Save("node", node);
    EXPECT_EQ(reader.Load<Node>("node")->m_Value, i);
  }
}

} // namespace
