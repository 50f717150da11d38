#include "store/session/sto_NewIds.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <new>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "store/session/sto_Session.h"
#include "store/sqlite/sto_SqliteDriver.h"
#include "store/sto_LoadScope.h"
#include "tests/support/store/StoreRangesDriver.h"
#include "tests/support/store/StoreTest.h"
#include "wrappers/cls_xp1DArrayList.h"

namespace {

using IdRanges = std::vector<std::pair<std::int64_t, std::int64_t>>;

IdRanges Since(sto_NewIds const& ids, std::int64_t first) {
  IdRanges ranges;
  ids.ForEachSince(first, [&](std::int64_t from, std::int64_t end) { ranges.emplace_back(from, end); });
  return ranges;
}

void TakeAll(sto_NewIds& ids) {
  while (ids.HasMore()) static_cast<void>(ids.Take());
}

TEST(StoreNewIds, NothingIsNewBeforeARangeIsThere) {
  sto_NewIds ids;
  ids.Begin(50);
  EXPECT_FALSE(ids.HasMore() || ids.GoOn() || ids.HasAny() || ids.Has(0) || ids.Has(49) || ids.Has(50));
  EXPECT_EQ(ids.End(), 50);
  ids.GoBackTo(0);
  EXPECT_EQ(Since(ids, 0), IdRanges());
}

TEST(StoreNewIds, OnlyIdsOfTheRangesAreNew) {
  sto_NewIds ids;
  ids.Begin(300);
  ids.Add({64, 96});
  EXPECT_FALSE(ids.HasAny());
  TakeAll(ids);
  ids.Add({192, 256});
  for (int i = 0; i < 10; ++i) EXPECT_EQ(ids.Take(), 192 + i);
  EXPECT_TRUE(ids.HasAny() && ids.Has(64) && ids.Has(95) && ids.Has(192) && ids.Has(201));
  for (std::int64_t const other : {0, 63, 96, 150, 191, 202, 255, 299, 400})
    EXPECT_FALSE(ids.Has(other)) << other;
  EXPECT_EQ(ids.End(), 300); // others have used ids beyond these
  EXPECT_EQ(Since(ids, 0), (IdRanges{{64, 96}, {192, 202}}));
  EXPECT_EQ(Since(ids, 96), (IdRanges{{192, 202}}));
  EXPECT_EQ(Since(ids, 70), (IdRanges{{70, 96}, {192, 202}}));
  EXPECT_TRUE(ids.HasSince(70, 70) && ids.HasSince(70, 200));
  EXPECT_FALSE(ids.HasSince(70, 69) || ids.HasSince(70, 100));
}

TEST(StoreNewIds, RangesThatWereTakenBackAreUsedAgain) {
  sto_NewIds ids;
  ids.Begin(1);
  ids.Add({64, 96});
  for (int i = 0; i < 6; ++i) static_cast<void>(ids.Take());
  std::int64_t const mark = ids.Next();
  TakeAll(ids);
  ids.Add({128, 160});
  static_cast<void>(ids.Take());
  EXPECT_EQ(ids.End(), 129);
  ids.GoBackTo(mark);
  EXPECT_EQ(ids.Next(), 70);
  EXPECT_EQ(ids.End(), 70);
  EXPECT_FALSE(ids.Has(70) || ids.Has(128));
  TakeAll(ids);
  EXPECT_TRUE(ids.Has(95));
  EXPECT_TRUE(ids.GoOn());
  EXPECT_EQ(ids.Take(), 128);
  TakeAll(ids);
  EXPECT_FALSE(ids.GoOn());
  ids.GoBackTo(0);
  EXPECT_FALSE(ids.HasAny());
  EXPECT_EQ(ids.Take(), 64);
}

TEST(StoreNewIds, MarkAtTheEndOfARangeKeepsTheRange) {
  sto_NewIds ids;
  ids.Begin(1);
  ids.Add({64, 96});
  TakeAll(ids);
  std::int64_t const mark = ids.Next();
  ids.Add({128, 160});
  static_cast<void>(ids.Take());
  EXPECT_FALSE(ids.HasSince(mark, 95));
  EXPECT_TRUE(ids.HasSince(mark, 128));
  ids.GoBackTo(mark);
  EXPECT_TRUE(ids.Has(95) && ids.HasAny());
  EXPECT_FALSE(ids.HasMore());
  EXPECT_EQ(Since(ids, 0), (IdRanges{{64, 96}}));
}

/// Sessions on one store whose ids interleave.
class StoreIdRanges : public StoreFileTest {
 protected:
  struct Listed {
    static constexpr unsigned int TypeId() noexcept { return Scripted::TypeId(); }
    Listed() = default;
    explicit Listed(cls_ReadVisitor const& visitor)
        : m_List(cls_ReadVisitor(visitor, cls_FieldHandle("m_List"_cow)), nullptr), m_Uid(visitor.GetUid()) {}
    void DBWrite(cls_WriteVisitor const& visitor) const {
      if (!visitor.StartWrite(TypeId(), m_Uid)) return;
      m_List.DBWrite(cls_WriteVisitor(visitor, cls_FieldHandle("m_List"_cow), nullptr, &m_List));
    }
    cls_xp1DArrayListInt m_List;
    cls_Uid m_Uid;
  };
  struct Program {
    sto_Session* m_Session = nullptr;
    std::unique_ptr<sto_Store> m_Store;
  };

  void SetUp() override {
    static_cast<void>(sto_SqliteDriver::Create(Path(), {}));
    for (Program& program : m_Programs) {
      auto session = std::make_unique<sto_Session>(
          Path(), std::make_unique<StoreRangesDriver>(sto_SqliteDriver::Open(Path(), false), m_Sequence),
          TestClasses());
      program.m_Session = session.get();
      program.m_Store = std::make_unique<sto_Store>(std::move(session));
    }
  }
  static std::int64_t IdOf(Program& program, cls_Uid const& uid) {
    cls_IdentityMap::Tie const* const tie = program.m_Session->Identities().Find(uid);
    return tie == nullptr ? 0 : tie->Id();
  }
  /// A save that fails after it has written a node.
  static void SaveAndFail(Program& program, Node const& node) {
    EXPECT_THROW(SaveFields(*program.m_Store,
                            [&](cls_WriteVisitor const& visitor) {
                              node.DBWrite(
                                  cls_WriteVisitor(visitor, cls_FieldHandle("m_Node"_cow), nullptr, &node));
                              throw std::bad_alloc();
                            }),
                 std::bad_alloc);
  }
  static int LengthOf(Node const& chain) { return chain.m_Left ? 1 + LengthOf(*chain.m_Left) : 1; }

  StoreRangesDriver::Sequence m_Sequence;
  Program m_Programs[2];
  Program& m_First = m_Programs[0];
  Program& m_Second = m_Programs[1];
};

TEST_F(StoreIdRanges, EachSessionHasItsOwnIds) {
  Node const a(1);
  Node const b(2);
  Node const c(3);
  m_First.m_Store->Save("a", a);
  m_Second.m_Store->Save("b", b);
  m_First.m_Store->Save("c", c);
  EXPECT_EQ(IdOf(m_First, a.m_Uid), 64);
  EXPECT_EQ(IdOf(m_Second, b.m_Uid), 192);
  EXPECT_EQ(IdOf(m_First, c.m_Uid), 65); // what the transaction before has left
  for (Program& program : m_Programs)
    for (auto const& [root, value] : std::map<std::string, int>{{"a", 1}, {"b", 2}, {"c", 3}})
      EXPECT_EQ(program.m_Store->Load<Node>(root)->m_Value, value);
  EXPECT_TRUE(m_First.m_Store->Check(sto_CheckDepth::Full).IsSound());
}

TEST_F(StoreIdRanges, SaveOfManyObjectsTakesSeveralRanges) {
  m_Second.m_Store->Save("other", Node(7));
  std::shared_ptr<Node> const chain = Node::Chain(500);
  m_First.m_Store->Save("chain", *chain);
  EXPECT_EQ(LengthOf(*m_Second.m_Store->Load<Node>("chain")), 500);
  m_First.m_Store->Save("chain", *chain); // nothing is new: the same ids
  EXPECT_EQ(m_First.m_Store->ObjectCount(), 501);
  EXPECT_EQ(m_Second.m_Store->Load<Node>("other")->m_Value, 7);
}

TEST_F(StoreIdRanges, RollbackKeepsWhatAnotherSessionHasSavedBehindTheNewIds) {
  Node const first(0);
  m_First.m_Store->Save("first", first); // so that the first session has ids before those of the second
  Node other(1);
  other.m_Left = std::make_shared<Node>(2);
  m_Second.m_Store->Save("other", other);
  Node const made(3);
  std::unique_ptr<Node> loaded;
  {
    sto_LoadScope const scope(*m_First.m_Store);
    std::shared_ptr<Node> const shared = m_First.m_Store->LoadShared<Node>("other");
    sto_Transaction transaction(*m_First.m_Store);
    m_First.m_Store->Save("made", made);
    std::int64_t const id = IdOf(m_First, shared->m_Uid);
    EXPECT_GT(id, IdOf(m_First, made.m_Uid));
    EXPECT_TRUE(m_First.m_Session->IsNewInTransaction(IdOf(m_First, made.m_Uid)));
    EXPECT_FALSE(m_First.m_Session->IsNewInTransaction(id));
    transaction.Rollback();
    EXPECT_EQ(IdOf(m_First, made.m_Uid), 0);
    EXPECT_EQ(IdOf(m_First, shared->m_Uid), id); // the tie of the other session's object is there still
    EXPECT_EQ(m_First.m_Store->LoadShared<Node>("other"), shared);
    shared->m_Value = 10;
    m_First.m_Store->Save("other", *shared); // so it is the same object, and not a new one
  }
  EXPECT_EQ(m_Second.m_Store->ObjectCount(), 3);
  EXPECT_EQ(m_Second.m_Store->Load<Node>("other")->m_Value, 10);
}

TEST_F(StoreIdRanges, UndoneSaveKeepsWhatAnotherSessionHasSavedBehindTheNewIds) {
  m_First.m_Store->Save("first", Node(0));
  m_Second.m_Store->Save("other", Node(1));
  std::unique_ptr<Node> const other = m_First.m_Store->Load<Node>("other");
  std::int64_t const id = IdOf(m_First, other->m_Uid);
  ASSERT_GT(id, 0);
  sto_Transaction transaction(*m_First.m_Store);
  Node const kept(2);
  m_First.m_Store->Save("kept", kept);
  Node const part(3);
  SaveAndFail(m_First, part);
  EXPECT_EQ(IdOf(m_First, part.m_Uid), 0);
  EXPECT_EQ(IdOf(m_First, other->m_Uid), id);
  EXPECT_GT(IdOf(m_First, kept.m_Uid), 0);
  transaction.Commit();
  EXPECT_EQ(m_Second.m_Store->Load<Node>("kept")->m_Value, 2);
  EXPECT_EQ(m_Second.m_Store->ObjectCount(), 3);
}

TEST_F(StoreIdRanges, ListOfAnotherSessionBehindTheNewIdsIsNotTakenForNew) {
  m_First.m_Store->Save("first", Node(0));
  Listed list;
  for (int i = 0; i < 5000; ++i) list.m_List.Append(i);
  m_Second.m_Store->Save("list", list);
  EXPECT_GT(SqlFile(Path()).Integer("SELECT count(*) FROM stored_block"), 0);
  std::unique_ptr<Listed> const loaded = m_First.m_Store->Load<Listed>("list");
  loaded->m_List.Truncate(10);
  {
    sto_Transaction transaction(*m_First.m_Store);
    m_First.m_Store->Save("new", Node(1));
    m_First.m_Store->Save("list", *loaded);
    transaction.Commit();
  }
  EXPECT_EQ(SqlFile(Path()).Integer("SELECT count(*) FROM stored_block"),
            0); // of a new list none are deleted
  EXPECT_EQ(m_Second.m_Store->Load<Listed>("list")->m_List.Count(), 10);
  EXPECT_TRUE(m_Second.m_Store->Check(sto_CheckDepth::Full).IsSound());
}

TEST_F(StoreIdRanges, CommittedObjectsNeverShareAnId) {
  std::mt19937 random(1);
  auto const below = [&](int count) { return static_cast<int>(random() % static_cast<unsigned int>(count)); };
  std::map<std::string, int> lengths; // of the chains under the roots
  std::set<std::int64_t> ids;
  for (int step = 0; step < 60; ++step) {
    Program& program = m_Programs[below(2)];
    std::map<std::string, int> const before = lengths;
    std::vector<std::shared_ptr<Node>> chains;
    std::vector<std::int64_t> taken;
    sto_Transaction transaction(*program.m_Store);
    for (int save = below(4); save >= 0; --save) {
      std::string const root = std::to_string(step) + "." + std::to_string(save);
      chains.push_back(Node::Chain(1 + below(150)));
      if (below(4) == 0) { // a save that fails
        SaveAndFail(program, *chains.back());
        continue;
      }
      program.m_Store->Save(root, *chains.back());
      lengths[root] = LengthOf(*chains.back());
      for (Node const* node = chains.back().get(); node != nullptr; node = node->m_Left.get())
        taken.push_back(IdOf(program, node->m_Uid));
    }
    if (below(3) == 0) {
      transaction.Rollback();
      lengths = before;
      continue;
    }
    transaction.Commit();
    for (std::int64_t const id : taken) ASSERT_TRUE(ids.insert(id).second) << id;
  }
  for (Program& program : m_Programs) {
    ASSERT_EQ(program.m_Store->ObjectCount(), static_cast<std::int64_t>(ids.size()));
    for (auto const& [root, length] : lengths)
      ASSERT_EQ(LengthOf(*program.m_Store->Load<Node>(root)), length);
  }
  EXPECT_TRUE(m_First.m_Store->Check(sto_CheckDepth::Full).IsSound());
}

} // namespace
