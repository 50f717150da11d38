#include "store/session/sto_ReadAhead.h"

#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "store/session/sto_Session.h"
#include "store/sqlite/sto_SqliteDriver.h"
#include "store/sto_LoadScope.h"
#include "store/sto_Proxy.h"
#include "tests/support/store/StoreCollections.h"
#include "tests/support/store/StoreCountingDriver.h"
#include "wrappers/cls_xp1DArrayList.h"

namespace {

/// How many round trips to a storage behind a network the operations of a session take.
class StoreReadAhead : public StoreCollectionTest {
 protected:
  void SetUp() override { Connect(sto_SqliteDriver::Create(Path(), {})); }

  void Connect(std::unique_ptr<sto_Driver> driver) {
    auto session = std::make_unique<sto_Session>(
        Path(), std::make_unique<StoreCountingDriver>(std::move(driver), m_Counts), CollectionClasses());
    m_Session = session.get();
    m_Store = std::make_unique<sto_Store>(std::move(session));
  }
  /// A new session, in which the catalogue is known already.
  void Reopen(std::size_t window = sto_Driver::NetworkRecords) {
    m_Store.reset();
    m_Counts.m_Window = window;
    Connect(sto_SqliteDriver::Open(Path(), false));
    sto_ReadTransaction const transaction(*m_Store);
    m_Session->Catalogue().Load(m_Session->Driver());
    m_Counts.Clear();
  }
  [[nodiscard]] int GreatestReads() const {
    int greatest = 0;
    for (auto const& [id, count] : m_Counts.m_Reads) greatest = std::max(greatest, count);
    return greatest;
  }

  /// A tree in which each node holds two others. `levels`: at least 1.
  static std::shared_ptr<Node> Tree(int levels) {
    auto node = std::make_shared<Node>(levels);
    if (levels == 1) return node;
    node->m_Left = Tree(levels - 1);
    node->m_Right = Tree(levels - 1);
    return node;
  }
  static int CountOf(Node const& node) {
    return 1 + (node.m_Left ? CountOf(*node.m_Left) : 0) + (node.m_Right ? CountOf(*node.m_Right) : 0);
  }
  /// Saves an object with a list of nodes, each of which holds another one.
  void SaveList(int count) {
    SaveFields(*m_Store, [&](cls_WriteVisitor const& visitor) {
      auto const list = Own(visitor.Memento()->MakeFieldWriteListObj(Field("m_Objects"), cls_Uid()));
      for (int i = 0; i < count; ++i) {
        Node node(i);
        node.m_Left = std::make_shared<Node>(count + i);
        AppendNode(*list, node);
      }
    });
  }
  void ExpectList(int count) {
    static_cast<void>(LoadFields(*m_Store, [&](cls_ReadVisitor const& visitor) {
      auto const list = Own(visitor.Memento()->MakeFieldReadListObj(Field("m_Objects")));
      ASSERT_EQ(list->Count(), count);
      for (int i = 0; i < count; ++i) {
        std::unique_ptr<cls_MementoRead> const node(list->Next());
        ASSERT_EQ(node->Read(cls_FieldHandle(0, "m_Value"_cow), -1), i);
        ASSERT_EQ(NodeValue(node->MakeFieldReadObj(cls_FieldHandle(1, "m_Left"_cow))), count + i);
      }
    }));
  }
  void SaveMap(int count) {
    SaveFields(*m_Store, [&](cls_WriteVisitor const& visitor) {
      auto const map = Own(visitor.Memento()->MakeFieldWriteMapInt2Obj(Field("m_ByInt"), cls_Uid()));
      for (int i = 0; i < count; ++i) InsertNode(*map, i, Node(i));
    });
  }
  void ExpectMap(int count) {
    static_cast<void>(LoadFields(*m_Store, [&](cls_ReadVisitor const& visitor) {
      auto const map = Own(visitor.Memento()->MakeFieldReadMapInt2Obj(Field("m_ByInt")));
      ASSERT_EQ(map->Count(), count);
      int key = 0;
      for (int i = 0; i < count; ++i) {
        map->Next();
        ASSERT_EQ(NodeValue(map->Fetch(key)), i);
      }
    }));
  }
  /// What loading raises, with and without reading ahead.
  std::vector<std::string> MessagesOfLoads(sto_ErrorKind kind, std::string_view root) {
    std::vector<std::string> messages;
    for (std::size_t const window : {std::size_t{0}, sto_Driver::NetworkRecords}) {
      Reopen(window);
      messages.push_back(MessageOf(kind, [&] { static_cast<void>(m_Store->Load<Node>(root)); }));
    }
    return messages;
  }

  StoreCountingDriver::Counts m_Counts;
  sto_Session* m_Session = nullptr;
  std::unique_ptr<sto_Store> m_Store;
};

TEST_F(StoreReadAhead, OneObjectTakesTwoRoundTrips) {
  m_Store->Save("node", Node(7));
  Reopen();
  EXPECT_EQ(m_Store->Load<Node>("node")->m_Value, 7);
  EXPECT_EQ(m_Counts.m_RoundTrips, 2);
  EXPECT_EQ(m_Counts.m_Calls, (std::map<std::string, int>{{"Begin", 1}, {"ReadObjects", 1}}));
  MessageOf(sto_ErrorKind::NotFound, [&] { static_cast<void>(m_Store->Load<Node>("other")); });
  EXPECT_EQ(m_Counts.m_RoundTrips, 3);
  EXPECT_TRUE(m_Store->HasRoot("node"));
  EXPECT_EQ(m_Counts.m_RoundTrips, 4);
}

TEST_F(StoreReadAhead, GraphTakesOneRoundTripForEachOfItsLevels) {
  for (int const levels : {1, 2, 5, 9}) {
    std::string const root = std::to_string(levels);
    m_Store->Save(root, *Tree(levels));
    m_Store->Save("chain " + root, *Node::Chain(levels));
  }
  for (int const levels : {1, 2, 5, 9})
    for (std::string const kind : {"", "chain "}) {
      Reopen();
      std::unique_ptr<Node> const loaded = m_Store->Load<Node>(kind + std::to_string(levels));
      EXPECT_EQ(CountOf(*loaded), kind.empty() ? (1 << levels) - 1 : levels);
      EXPECT_EQ(m_Counts.m_RoundTrips, 1 + levels);
      EXPECT_EQ(GreatestReads(), 1);
    }
}

TEST_F(StoreReadAhead, WithoutAWindowEachRecordIsARoundTrip) {
  m_Store->Save("tree", *Tree(5));
  Reopen(0);
  EXPECT_EQ(CountOf(*m_Store->Load<Node>("tree")), 31);
  EXPECT_EQ(m_Counts.m_RoundTrips, 1 + 31);
  EXPECT_TRUE(m_Counts.m_Windows.empty());
}

TEST_F(StoreReadAhead, LocalFileIsNotReadAhead) {
  EXPECT_EQ(sto_SqliteDriver::Open(Path(), false)->RecordsAhead(), 0U);
}

TEST_F(StoreReadAhead, CycleEndsAndSharedObjectsAreReadOnce) {
  auto const root = std::make_shared<Node>(1);
  root->m_Left = std::make_shared<Node>(2);
  root->m_Left->m_Left = std::make_shared<Node>(3);
  root->m_Left->m_Left->m_Back = root; // a cycle
  root->m_Right = root->m_Left->m_Left;
  m_Store->Save("cycle", *root);
  Reopen();
  std::shared_ptr<Node> const loaded = m_Store->LoadShared<Node>("cycle");
  EXPECT_EQ(loaded->m_Left->m_Left->m_Back.lock(), loaded);
  EXPECT_EQ(loaded->m_Right, loaded->m_Left->m_Left);
  EXPECT_EQ(m_Counts.m_RoundTrips, 3); // the root holds 2 and 3
  EXPECT_EQ(GreatestReads(), 1);
}

TEST_F(StoreReadAhead, ObjectsOfTheLoadScopeAreNotFollowed) {
  auto const shared = Tree(6);
  Node first(1);
  first.m_Left = shared;
  Node second(2);
  second.m_Left = shared;
  m_Store->Save("first", first);
  m_Store->Save("second", second);
  Reopen();
  sto_LoadScope const scope(*m_Store);
  std::shared_ptr<Node> const one = m_Store->LoadShared<Node>("first");
  m_Counts.Clear();
  EXPECT_EQ(m_Store->LoadShared<Node>("second")->m_Left, one->m_Left);
  EXPECT_EQ(m_Counts.m_RoundTrips, 3); // begin, the object, and the one that it shares
  EXPECT_EQ(m_Counts.m_Reads.size(), 2U);
}

TEST_F(StoreReadAhead, ElementsInTheRecordAreALevel) {
  SaveList(500);
  Reopen();
  ExpectList(500);
  EXPECT_EQ(m_Counts.m_RoundTrips, 1 + 4); // the object, its list, the elements, what these hold
  EXPECT_EQ(GreatestReads(), 1);
  SaveMap(20);
  Reopen();
  ExpectMap(20);
  EXPECT_EQ(m_Counts.m_RoundTrips, 1 + 3);
}

TEST_F(StoreReadAhead, ElementsOfBlocksAreReadInWindowsByTheirCursor) {
  SaveList(5000);
  Reopen();
  ExpectList(5000);
  // Each of three blocks is named, and then read in windows with what its elements hold.
  EXPECT_LE(m_Counts.m_Calls["ReadObjects"], 2 + 4 + 4 + 2);
  EXPECT_EQ(GreatestReads(), 1);
  SaveMap(3000);
  Reopen();
  ExpectMap(3000);
  EXPECT_LE(m_Counts.m_Calls["ReadObjects"] + m_Counts.m_Calls["ReadObject"], 30);
}

TEST_F(StoreReadAhead, LargeLevelIsReadInWindows) {
  SaveList(600);
  Reopen(100);
  ExpectList(600);
  for (std::size_t const window : m_Counts.m_Windows) EXPECT_LE(window, 100U);
  EXPECT_EQ(GreatestReads(), 1);
  EXPECT_EQ(m_Counts.m_Calls["ReadObjects"], 2 + 6 * 2);
}

TEST_F(StoreReadAhead, MoreThanFitsInMemoryIsReadInTurn) {
  // Records of a quarter of a megabyte, so that the bound is reached: 200 of them are 50 MiB.
  SaveFields(*m_Store, [&](cls_WriteVisitor const& visitor) {
    auto const list = Own(visitor.Memento()->MakeFieldWriteListObj(Field("m_Objects"), cls_Uid()));
    cow_String const text(std::string(std::size_t{1} << 18, 'x'));
    for (int i = 0; i < 200; ++i) {
      Scripted const element([&](cls_WriteVisitor const& object) { object.Write(Field("m_Text"), text); });
      cls_WriteRequestListObj const request(list.get());
      element.DBWrite(cls_WriteVisitor(request, &element));
    }
  });
  Reopen(20);
  static_cast<void>(LoadFields(*m_Store, [&](cls_ReadVisitor const& visitor) {
    auto const list = Own(visitor.Memento()->MakeFieldReadListObj(Field("m_Objects")));
    EXPECT_EQ(m_Counts.m_Calls["ReadObjects"], 2 + 4); // 80 records of the list
    for (int i = 0; i < 200; ++i) {
      std::unique_ptr<cls_MementoRead> const element(list->Next());
      ASSERT_EQ(element->Read(Field("m_Text"), ""_cow).View().size(), std::size_t{1} << 18);
    }
  }));
  EXPECT_EQ(GreatestReads(), 1);
  EXPECT_LE(m_Counts.m_Calls["ReadObjects"], 2 + 10 + 2);
}

TEST_F(StoreReadAhead, MissingAndDamagedRecordsAreRaisedAsWithoutReadingAhead) {
  m_Store->Save("tree", *Tree(4));
  m_Store.reset();
  std::int64_t last = 0;
  {
    SqlFile file(Path());
    file.Unpack();
    last = file.Integer("SELECT max(id) FROM object");
    file.Run("UPDATE object SET record = substr(record, 1, 10) || x'00' || substr(record, 12) WHERE id = " +
             std::to_string(last));
  }
  Connect(sto_SqliteDriver::Open(Path(), false));
  std::vector<std::string> messages = MessagesOfLoads(sto_ErrorKind::Damaged, "tree");
  EXPECT_EQ(messages[0], messages[1]);
  EXPECT_TRUE(Contains(messages[1], "Object " + std::to_string(last))) << messages[1];
  m_Store.reset();
  SqlFile(Path()).Run("DELETE FROM object WHERE id = " + std::to_string(last));
  Connect(sto_SqliteDriver::Open(Path(), false));
  messages = MessagesOfLoads(sto_ErrorKind::Damaged, "tree");
  EXPECT_EQ(messages[0], messages[1]);
  EXPECT_TRUE(Contains(messages[1], "is missing")) << messages[1];
}

TEST_F(StoreReadAhead, DamageThatIsNotTouchedIsNotRaised) {
  SaveList(100);
  m_Store.reset();
  {
    SqlFile file(Path());
    file.Unpack();
    file.Run("DELETE FROM object WHERE id = (SELECT max(id) FROM object)");
  }
  Connect(sto_SqliteDriver::Open(Path(), false));
  static_cast<void>(LoadFields(*m_Store, [&](cls_ReadVisitor const& visitor) {
    auto const list = Own(visitor.Memento()->MakeFieldReadListObj(Field("m_Objects")));
    EXPECT_EQ(NodeValue(list->Next()), 0);
  }));
}

TEST_F(StoreReadAhead, RequestThatFailsIsLeftToThoseWhoAskForItsRecords) {
  m_Store->Save("tree", *Tree(4));
  Reopen();
  m_Counts.m_ReadObjectsFails = true;
  EXPECT_EQ(CountOf(*m_Store->Load<Node>("tree")), 15);
  EXPECT_EQ(m_Counts.m_Calls["ReadObject"], 15);
}

TEST_F(StoreReadAhead, LoadInAWriteTransactionSeesWhatItHasWritten) {
  Node root(1);
  root.m_Left = std::make_shared<Node>(2);
  m_Store->Save("root", root);
  sto_Transaction transaction(*m_Store);
  EXPECT_EQ(m_Store->Load<Node>("root")->m_Left->m_Value, 2);
  root.m_Left->m_Value = 3;
  m_Store->Save("root", root);
  EXPECT_EQ(m_Store->Load<Node>("root")->m_Left->m_Value, 3);
  transaction.Commit();
  EXPECT_EQ(m_Store->Load<Node>("root")->m_Left->m_Value, 3);
}

TEST_F(StoreReadAhead, RecordThatIsWrittenDuringALoadIsReadAgain) {
  Node other(1);
  SaveFields(*m_Store, [&](cls_WriteVisitor const& visitor) {
    other.DBWrite(cls_WriteVisitor(visitor, Field("m_Object"), nullptr, &other));
  });
  sto_Transaction transaction(*m_Store);
  static_cast<void>(LoadFields(*m_Store, [&](cls_ReadVisitor const& visitor) {
    other.m_Value = 2; // its record has been read ahead
    m_Store->Save("other", other);
    EXPECT_EQ(NodeValue(visitor.Memento()->MakeFieldReadObj(Field("m_Object"))), 2);
  }));
}

TEST_F(StoreReadAhead, SaveOfNewObjectsAsksForNothingButIds) {
  m_Store->Save("first", *Tree(2)); // describes the class
  Reopen();
  m_Store->Save("tree", *Tree(6));
  EXPECT_EQ(m_Counts.m_Calls, (std::map<std::string, int>{{"Begin", 1}, {"TakeIds", 1}, {"Commit", 1}}));
}

TEST_F(StoreReadAhead, GarbageIsFoundLevelByLevel) {
  m_Store->Save("tree", *Tree(8));
  SaveList(3000);
  m_Store->Save("gone", Node(1));
  m_Store->RemoveRoot("gone");
  Reopen();
  EXPECT_EQ(m_Store->CountGarbage(), 1);
  EXPECT_EQ(m_Counts.m_Calls.contains("ReadObject"), false);
  EXPECT_LE(m_Counts.m_Calls["ReadObjects"], 20 + 8);
  EXPECT_EQ(GreatestReads(), 1);
  EXPECT_EQ(m_Store->CollectGarbage(), 1);
  EXPECT_EQ(CountOf(*m_Store->Load<Node>("tree")), 255);
  ExpectList(3000);
}

TEST_F(StoreReadAhead, BranchIsCopiedLevelByLevel) {
  m_Store->Save("tree", *Tree(8));
  SaveList(300);
  Reopen();
  sto_Store target = Create("copy.kvs");
  sto_CopyRoot(*m_Store, "tree", target, "tree");
  sto_CopyRoot(*m_Store, "root", target, "root");
  EXPECT_LE(m_Counts.m_RoundTrips, 40) << m_Counts.m_Calls["HasObject"];
  EXPECT_EQ(CountOf(*target.Load<Node>("tree")), 255);
  EXPECT_EQ(target.ObjectCount(), m_Store->ObjectCount());
}

} // namespace
