#include <filesystem>
#include <functional>
#include <iterator>
#include <stdexcept>

#include "tests/support/store/StoreArrays.h"
#include "tests/support/store/StoreFaultVfs.h"
#include "tests/support/store/StoreGarbage.h"

namespace {

namespace fs = std::filesystem;

/// What a progress function was called with.
struct Calls {
  std::vector<sto_ProgressStep> m_Steps;

  /// Records, and cancels at a call, counted from 0.
  sto_Progress CancelAt(std::size_t last) {
    return [this, last](sto_ProgressStep const& step) {
      m_Steps.push_back(step);
      return m_Steps.size() <= last;
    };
  }
  sto_Progress Record() { return CancelAt(SIZE_MAX); }

  void Expect(bool isTotalKnown) const {
    ASSERT_GE(m_Steps.size(), 3U) << "too few to see anything";
    EXPECT_EQ(m_Steps.front().m_Done, 0);
    EXPECT_EQ(m_Steps.back().m_Done, m_Steps.back().m_Total);
    for (std::size_t i = 0; i < m_Steps.size(); ++i) {
      sto_ProgressStep const& step = m_Steps[i];
      EXPECT_EQ(step.m_IsTotalKnown, isTotalKnown);
      EXPECT_GE(step.m_Done, 0);
      EXPECT_LE(step.m_Done, step.m_Total);
      if (i == 0) continue;
      EXPECT_GE(step.m_Done, m_Steps[i - 1].m_Done);
      if (isTotalKnown)
        EXPECT_EQ(step.m_Total, m_Steps[i - 1].m_Total);
      else
        EXPECT_GE(step.m_Total, m_Steps[i - 1].m_Total);
    }
  }
};

/// Long operations with a progress function.
class StoreProgress : public StoreGarbageTest {
 protected:
  using Operation = std::function<void(sto_Store&, sto_Progress const&)>;
  static constexpr int Nodes = 1500;
  static constexpr int Ints = 60'000;

  StoreFaultVfs const m_Vfs{true}; // nothing waits for the disk

  static void WriteNodes(cls_WriteVisitor const& visitor) {
    auto const list = Own(visitor.Memento()->MakeFieldWriteListObj(Field("m_Objects"), cls_Uid()));
    for (int i = 0; i < Nodes; ++i) AppendNode(*list, Node(i));
  }
  static void ExpectNodes(cls_ReadVisitor const& visitor) {
    auto const list = Own(visitor.Memento()->MakeFieldReadListObj(Field("m_Objects")));
    ASSERT_EQ(list->Count(), Nodes);
    for (int i = 0; i < Nodes; ++i) ASSERT_EQ(NodeValue(list->Next()), i);
  }
  /// A store with many objects, garbage, arrays, a blob and moved blocks.
  sto_Store Make() const {
    sto_Options options;
    options.m_PageBytes = 1024;
    sto_Store store = sto_Store::Open(Path(), sto_Mode::Create, Classes(), options);
    SaveFields(store, &WriteNodes, "nodes");
    SaveFields(store, &WriteNodes, "garbage");
    store.RemoveRoot("garbage");
    store.Save("picture", Picture(200'000));
    Bulk bulk;
    bulk.Fill(Ints);
    store.Save("bulk", bulk);
    sto_Transaction transaction(store);
    for (int i = 0; i < Ints; i += 5000) bulk.m_Array.Get(i) = i;
    transaction.Commit();
    return store;
  }
  static void ExpectContent(sto_Store& store) {
    static_cast<void>(LoadFields(store, &ExpectNodes, "nodes"));
    EXPECT_EQ(store.Load<Picture>("picture")->Bytes(), std::string(200'000, 'b'));
    store.Load<Bulk>("bulk")->ExpectFilled(Ints);
  }
  /// All that can be seen of the store.
  static std::string Seen(sto_Store& store) {
    sto_CheckReport const report = store.Check(sto_CheckDepth::Full);
    EXPECT_TRUE(report.IsSound()) << (report.m_Findings.empty() ? "" : report.m_Findings.front().m_Text);
    std::string seen;
    for (std::string const& root : store.Roots()) seen += root + " ";
    for (std::int64_t const number :
         {report.m_Counts.m_Objects, report.m_Counts.m_Blocks, report.m_Counts.m_BytesRead,
          report.m_Counts.m_Classes, report.m_Counts.m_Shapes, report.m_Counts.m_Saves,
          report.m_Unreachable.value_or(-1), store.ObjectCount()})
      seen += std::to_string(number) + " ";
    return seen;
  }
  /// All rows of the file.
  [[nodiscard]] std::vector<std::string> Content() const {
    return SqlFile(Path()).Texts(
        "SELECT key || ' ' || hex(data) FROM pack UNION ALL SELECT id || ' ' || hex(record) FROM object "
        "UNION ALL SELECT key || ' ' || hex(data) FROM block UNION ALL SELECT place || ' ' || hex(data) FROM "
        "moved_block UNION ALL SELECT name || ' ' || object_id FROM root UNION ALL "
        "SELECT no || ' ' || at FROM save ORDER BY 1");
  }

  /// Which call to cancel next: all of the first and last ones, some of the others.
  static std::size_t After(std::size_t call, std::size_t count) {
    return call < 4 || call + 5 > count ? call + 1 : std::min(call + 1 + count / 16, count - 4);
  }
  /// How often the operation calls. Undone, if that is possible.
  std::size_t CountCalls(sto_Store& store, Operation const& act) const {
    Calls calls;
    act(store, calls.Record());
    return calls.m_Steps.size();
  }
  /// Cancels an operation at each call, by its answer or by an exception, and compares what is seen of the store.
  static void CancelEach(
      sto_Store& store, Operation const& act, std::size_t count,
      std::function<void()> const& compare = [] {}) {
    std::string const before = Seen(store);
    for (std::size_t call = 0; call < count; call = After(call, count)) {
      SCOPED_TRACE("call " + std::to_string(call) + " of " + std::to_string(count));
      Calls calls;
      if (call % 2 == 0) {
        MessageOf(sto_ErrorKind::Cancelled, [&] { act(store, calls.CancelAt(call)); });
        EXPECT_EQ(calls.m_Steps.size(), call + 1) << "it is not called again";
      } else {
        std::size_t left = call;
        EXPECT_THROW(act(store,
                         [&left](sto_ProgressStep const&) -> bool {
                           if (left-- == 0) throw std::runtime_error("stop");
                           return true;
                         }),
                     std::runtime_error);
      }
      ASSERT_EQ(Seen(store), before);
      compare();
    }
  }

  static void SaveNew(sto_Store& store, sto_Progress const& progress) {
    store.Save("new", Scripted(&WriteNodes), progress);
  }
  static void LoadNodes(sto_Store& store, sto_Progress const& progress) {
    Scripted::s_Read = &ExpectSome;
    struct Reset {
      ~Reset() { Scripted::s_Read = nullptr; }
    } const reset;
    static_cast<void>(store.Load<Scripted>("nodes", progress));
  }
  static void ExpectSome(cls_ReadVisitor const& visitor) {
    auto const list = Own(visitor.Memento()->MakeFieldReadListObj(Field("m_Objects")));
    for (int i = 0; i < list->Count(); ++i) static_cast<void>(NodeValue(list->Next()));
  }
  static void Collect(sto_Store& store, sto_Progress const& progress) { store.CollectGarbage(progress); }
  static void Count(sto_Store& store, sto_Progress const& progress) {
    static_cast<void>(store.CountGarbage(progress));
  }
  static void Remove(sto_Store& store, sto_Progress const& progress) {
    store.RemoveRootAndContent("nodes", progress);
  }
  void Copy(sto_Store& store, sto_Progress const& progress) const {
    try {
      store.CopyTo(Path("copy"), progress);
    } catch (...) {
      EXPECT_EQ(std::distance(fs::directory_iterator(Folder()), {}), 1) << "a file was left";
      throw;
    }
  }
  static void CheckAll(sto_Store& store, sto_Progress const& progress) {
    EXPECT_TRUE(store.Check(sto_CheckDepth::Full, 1000, progress).IsSound());
  }
  static void CheckQuickly(sto_Store& store, sto_Progress const& progress) {
    EXPECT_TRUE(store.Check(sto_CheckDepth::Quick, 1000, progress).IsSound());
  }
  static void Compact(sto_Store& store, sto_Progress const& progress) { store.Compact(progress); }
};

TEST_F(StoreProgress, GoesFromNothingToAllOfIt) {
  sto_Store store = Make();
  struct Row {
    char const* m_Name;
    Operation m_Act;
    bool m_IsTotalKnown;
  };
  for (Row const &row :
       {Row{"check", &CheckAll, true}, Row{"quick check", &CheckQuickly, true}, Row{"count", &Count, true},
        Row{"load", &LoadNodes, false}, Row{"save", &SaveNew, false}, Row{"compact", &Compact, true},
        Row{"remove", &Remove, true}, Row{"collect", &Collect, true},
        Row{"copy", [this](auto&each, auto&progress) { Copy(each, progress); }, true}}) {
    SCOPED_TRACE(row.m_Name);
    Calls calls;
    row.m_Act(store, calls.Record());
    calls.Expect(row.m_IsTotalKnown);
  }
  EXPECT_TRUE(fs::exists(Path("copy")));
}

TEST_F(StoreProgress, TotalsAreWhatTheHeaderSays) {
  sto_Store store = Make();
  auto const total = [&](Operation const& act) {
    Calls calls;
    act(store, calls.Record());
    return calls.m_Steps.back().m_Total;
  };
  EXPECT_EQ(total(&LoadNodes), Nodes + 2) << "the root, its list and the nodes";
  EXPECT_EQ(total(&SaveNew), Nodes + 2);
  EXPECT_EQ(total([](auto& each, auto& progress) {
              Bulk bulk;
              bulk.Fill(5 * 2048 + 1);
              each.Save("bulk", bulk, progress);
              bulk.Close();
            }),
            2 + 6)
      << "the object, its array and the blocks";
  std::int64_t const objects = store.ObjectCount();
  EXPECT_EQ(total(&Count), 2 * objects);
  EXPECT_EQ(total(&Remove), 3 * objects);
  EXPECT_EQ(total([this](auto& each, auto& progress) { Copy(each, progress); }),
            static_cast<std::int64_t>(fs::file_size(Path())) / 1024);
}

TEST_F(StoreProgress, CallsAreFew) {
  sto_Store store = Make();
  Calls calls;
  SaveNew(store, calls.Record());
  EXPECT_LE(calls.m_Steps.size(), 2 + Nodes / 128);
  Calls small;
  store.Save("small", Node(1), small.Record());
  EXPECT_EQ(small.m_Steps.size(), 2U) << "the first and the last";
}

TEST_F(StoreProgress, CancelledOperationsLeaveTheStoreAsItWas) {
  sto_Store store = Make();
  std::unique_ptr<Bulk> const bulk = store.Load<Bulk>("bulk");
  std::unique_ptr<Picture> const picture = store.Load<Picture>("picture");
  std::vector<std::string> const before = Content();
  auto const compare = [&] {
    ASSERT_EQ(Content(), before);
    bulk->ExpectFilled(Ints);
    ASSERT_EQ(picture->Bytes().size(), 200'000U);
  };
  for (Operation const &act :
       {Operation(&SaveNew), Operation(&LoadNodes), Operation(&Collect), Operation(&Count),
        Operation(&Remove), Operation(&CheckAll), Operation(&CheckQuickly),
        Operation([this](auto&each, auto&progress) { Copy(each, progress); })}) {
    Calls calls;
    {
      fs::remove(Path("probe"));
      store.CopyTo(Path("probe"));
      sto_Store probe = sto_Store::Open(Path("probe"), sto_Mode::ReadWrite, Classes());
      act(probe, calls.Record());
    }
    fs::remove(Path("probe"));
    fs::remove(Path("copy"));
    CancelEach(store, act, calls.m_Steps.size(), compare);
  }
  ExpectContent(store);
}

TEST_F(StoreProgress, CancelledOperationsLeaveTheTransactionAsItWas) {
  sto_Store store = Make();
  std::unique_ptr<Bulk> const bulk = store.Load<Bulk>("bulk");
  for (Operation const& act : {Operation(&SaveNew), Operation(&LoadNodes), Operation(&Collect),
                               Operation(&Count), Operation(&Remove), Operation(&CheckAll)}) {
    std::size_t count = 0;
    {
      sto_Transaction const undone(store);
      store.Save("extra", Node(1));
      count = CountCalls(store, act);
    }
    sto_Transaction transaction(store);
    store.Save("extra", Node(2));
    bulk->m_Array.Get(9) = 90;
    CancelEach(store, act, count);
    EXPECT_EQ(bulk->m_Array.ConstGet(9), 90);
    transaction.Commit();
    EXPECT_EQ(store.Load<Node>("extra")->m_Value, 2);
    EXPECT_EQ(store.Load<Bulk>("bulk")->m_Array.ConstGet(9), 90);
    bulk->m_Array.Get(9) = 9;
  }
  store.RemoveRoot("extra");
  sto_Transaction transaction(store);
  transaction.Commit(); // writes the array
  ExpectContent(store);
}

TEST_F(StoreProgress, CancelledSaveGivesArraysBack) {
  sto_Store store = Make();
  for (std::size_t call = 0; call < 6; ++call) {
    Bulk bulk;
    bulk.Fill(Ints);
    Calls calls;
    auto const save = [&](sto_Progress const& progress) {
      store.Save("array", Scripted([&](cls_WriteVisitor const& visitor) {
                   bulk.m_Array.DBWrite(cls_WriteVisitor(visitor, Bulk::Array(), nullptr, &bulk.m_Array));
                   WriteNodes(visitor);
                 }),
                 progress);
    };
    std::int64_t const before = store.ObjectCount();
    MessageOf(sto_ErrorKind::Cancelled, [&] { save(calls.CancelAt(call)); });
    EXPECT_FALSE(store.HasRoot("array"));
    EXPECT_EQ(store.ObjectCount(), before);
    bulk.ExpectFilled(Ints);
    Calls again;
    save(again.Record());
    again.Expect(false);
    bulk.ExpectFilled(Ints);
    EXPECT_EQ(store.RemoveRootAndContent("array"), Nodes + 2) << "the array is open";
    bulk.Close();
  }
}

TEST_F(StoreProgress, CancelledCompactKeepsTheContent) {
  sto_Store store = Make();
  fs::remove(Path("probe"));
  store.CopyTo(Path("probe"));
  Calls calls;
  sto_Store::Open(Path("probe"), sto_Mode::ReadWrite, Classes()).Compact(calls.Record());
  calls.Expect(true);
  std::string const before = Seen(store);
  std::size_t cancelled = 0;
  for (std::size_t call = 0; call < calls.m_Steps.size(); ++call) {
    Calls now;
    try {
      store.Compact(now.CancelAt(call));
    } catch (sto_Exception const& failure) {
      EXPECT_EQ(failure.Kind(), sto_ErrorKind::Cancelled);
      ++cancelled;
    }
    ASSERT_EQ(Seen(store), before);
    if (now.m_Steps.size() > call + 1) break; // too late to cancel it: it is done
  }
  EXPECT_GT(cancelled, calls.m_Steps.size() / 3);
  EXPECT_LT(cancelled, calls.m_Steps.size());
  EXPECT_EQ(IntegrityOf(Path()), "ok");
  ExpectContent(store);
}

TEST_F(StoreProgress, FirstAnswerKeepsTheFileUntouched) {
  sto_Store store = Make();
  StoreBytes const before = FileBytes(Path());
  for (Operation const& act :
       {Operation(&SaveNew), Operation(&Collect), Operation(&Remove), Operation(&Compact)})
    MessageOf(sto_ErrorKind::Cancelled, [&] { act(store, Calls().CancelAt(0)); });
  EXPECT_TRUE(FileBytes(Path()) == before);
}

TEST_F(StoreProgress, UnwrittenChangesSurviveACancel) {
  sto_Store store = Make();
  std::unique_ptr<Bulk> const bulk = store.Load<Bulk>("bulk");
  for (Operation const &act :
       {Operation(&SaveNew), Operation(&Collect), Operation(&Remove), Operation(&CheckAll),
        Operation(&Compact), Operation([this](auto&each, auto&progress) { Copy(each, progress); })}) {
    bulk->m_Array.Get(17) = -17;
    MessageOf(sto_ErrorKind::Cancelled, [&] { act(store, Calls().CancelAt(1)); });
    EXPECT_EQ(bulk->m_Array.ConstGet(17), -17);
  }
  store.Save("bulk", *bulk);
  bulk->Close();
  EXPECT_EQ(store.Load<Bulk>("bulk")->m_Array.ConstGet(17), -17);
}

TEST_F(StoreProgress, ArraysAreWrittenBeforeACopyBegins) {
  sto_Store store = Make();
  std::vector<std::unique_ptr<Bulk>> bulks;
  for (int i = 0; i < 400; ++i) {
    bulks.push_back(std::make_unique<Bulk>());
    bulks.back()->Fill(10);
    store.Save(std::to_string(i), *bulks.back());
  }
  for (Operation const &act :
       {Operation(&Compact), Operation([this](auto&each, auto&progress) { Copy(each, progress); })}) {
    for (std::unique_ptr<Bulk> const& bulk : bulks) bulk->m_Array.Get(9) += 1;
    Calls calls;
    act(store, calls.Record());
    calls.Expect(true);
  }
  for (std::unique_ptr<Bulk> const& bulk : bulks) bulk->Close();
  sto_Store copy = sto_Store::Open(Path("copy"), sto_Mode::ReadOnly, Classes());
  std::unique_ptr<Bulk> const bulk = copy.Load<Bulk>("399");
  EXPECT_EQ(bulk->m_Array.ConstGet(9), 11);
}

TEST_F(StoreProgress, ExceptionsPassThroughAsTheyAre) {
  sto_Store store = Make();
  for (Operation const &act : {Operation(&SaveNew), Operation(&LoadNodes), Operation(&Collect),
                               Operation(&Remove), Operation(&CheckAll), Operation(&Compact),
                               Operation([this](auto&each, auto&progress) { Copy(each, progress); })}) {
    for (int const last : {0, 1, 2}) {
      int left = last;
      EXPECT_THROW(act(store,
                       [&left](sto_ProgressStep const&) -> bool {
                         if (left-- == 0) throw 42;
                         return true;
                       }),
                   int);
      left = last;
      // One that looks like damage is not taken for a finding of a check.
      std::string const message = MessageOf(sto_ErrorKind::Damaged, [&] {
        act(store, [&left](sto_ProgressStep const&) -> bool {
          if (left-- == 0) sto_Raise(sto_ErrorKind::Damaged, "the program's own");
          return true;
        });
      });
      EXPECT_EQ(message, "the program's own");
    }
  }
  ExpectContent(store);
}

TEST_F(StoreProgress, MessageNamesTheStore) {
  sto_Store store = Make();
  std::string const message =
      MessageOf(sto_ErrorKind::Cancelled, [&] { store.CollectGarbage(Calls().CancelAt(1)); });
  EXPECT_TRUE(message.starts_with(Path() + ": ")) << message;
  std::string const copying = MessageOf(sto_ErrorKind::Cancelled, [&] { Copy(store, Calls().CancelAt(1)); });
  EXPECT_EQ(copying, message);
}

TEST_F(StoreProgress, SwallowedCancelStillCancels) {
  sto_Store store = Make();
  Calls calls;
  MessageOf(sto_ErrorKind::Cancelled, [&] {
    store.Save("new", Scripted([](cls_WriteVisitor const& visitor) {
                 try {
                   WriteNodes(visitor);
                 } catch (nex_Exception const&) {
                   SUCCEED();
                 }
               }),
               calls.CancelAt(2));
  });
  EXPECT_EQ(calls.m_Steps.size(), 3U);
  EXPECT_FALSE(store.HasRoot("new"));
  Scripted::s_Read = [](cls_ReadVisitor const& visitor) {
    try {
      ExpectSome(visitor);
    } catch (nex_Exception const&) {
      SUCCEED();
    }
  };
  MessageOf(sto_ErrorKind::Cancelled,
            [&] { static_cast<void>(store.Load<Scripted>("nodes", Calls().CancelAt(2))); });
  Scripted::s_Read = nullptr;
  ExpectContent(store);
}

TEST_F(StoreProgress, CancelledLoadLeavesNothingInItsScope) {
  sto_Store store = Make();
  store.Save("chain", *Node::Chain(900));
  sto_LoadScope const scope(store);
  Calls calls;
  auto const first = store.LoadShared<Node>("chain", calls.Record());
  calls.Expect(false);
  EXPECT_EQ(store.LoadShared<Node>("chain"), first);
  sto_Store other = sto_Store::Open(Path(), sto_Mode::ReadOnly, Classes());
  sto_LoadScope const otherScope(other);
  for (std::size_t call = 0; call < calls.m_Steps.size(); ++call)
    MessageOf(sto_ErrorKind::Cancelled,
              [&] { static_cast<void>(other.LoadShared<Node>("chain", Calls().CancelAt(call))); });
  std::shared_ptr<Node> const loaded = other.LoadShared<Node>("chain");
  EXPECT_EQ(loaded->m_Left->m_Value, 898);
}

TEST_F(StoreProgress, FunctionMustNotUseTheStore) {
  sto_Store store = Make();
  std::unique_ptr<Bulk> const bulk = store.Load<Bulk>("bulk");
  int refused = 0;
  auto const misuse = [&](auto act) {
    MessageOf(sto_ErrorKind::Misuse, [&] { act(); });
    ++refused;
  };
  auto const progress = [&](sto_ProgressStep const& step) {
    if (step.m_Done != 0 && step.m_Done != step.m_Total) return true; // twice is enough
    misuse([&] { static_cast<void>(store.ObjectCount()); });
    misuse([&] { static_cast<void>(store.Roots()); });
    misuse([&] { static_cast<void>(store.IsReadOnly()); });
    misuse([&] { store.Save("node", Node(1)); });
    misuse([&] { static_cast<void>(store.Load<Node>("node")); });
    misuse([&] { store.CollectGarbage(); });
    misuse([&] { store.Compact(); });
    misuse([&] { store.Close(); });
    misuse([&] { sto_Transaction const transaction(store); });
    misuse([&] { sto_ReadTransaction const transaction(store); });
    misuse([&] { sto_LoadScope const scope(store); });
    misuse([&] { static_cast<void>(bulk->m_Array.ConstGet(Ints - 1)); });
    return true;
  };
  for (Operation const &act : {Operation(&SaveNew), Operation(&LoadNodes), Operation(&Collect),
                               Operation(&Count), Operation(&CheckAll), Operation(&Compact),
                               Operation([this](auto&each, auto&function) { Copy(each, function); })}) {
    refused = 0;
    act(store, progress);
    EXPECT_GE(refused, 24);
  }
  ExpectContent(store);
}

TEST_F(StoreProgress, FunctionCannotEndTheTransaction) {
  sto_Store store = Make();
  std::string const before = Seen(store);
  for (Operation const& act :
       {Operation(&SaveNew), Operation(&LoadNodes), Operation(&Collect), Operation(&CheckAll)}) {
    sto_Transaction transaction(store);
    store.Save("extra", Node(2));
    MessageOf(sto_ErrorKind::Misuse, [&] {
      act(store, [&](sto_ProgressStep const&) {
        MessageOf(sto_ErrorKind::Misuse, [&] { transaction.Commit(); });
        transaction.Rollback();
        return true;
      });
    });
    MessageOf(sto_ErrorKind::Misuse, [&] { transaction.Commit(); });
    EXPECT_EQ(Seen(store), before) << "it was rolled back";
  }
  {
    std::optional<sto_ReadTransaction> reading(std::in_place, store);
    MessageOf(sto_ErrorKind::Misuse, [&] {
      Count(store, [&](sto_ProgressStep const&) {
        reading.reset();
        return true;
      });
    });
  }
  SaveNew(store, {});
  EXPECT_TRUE(store.HasRoot("new"));
}

TEST_F(StoreProgress, OtherStoresCanBeUsed) {
  sto_Store store = Make();
  sto_Store other = sto_Store::Open(Path("other"), sto_Mode::Create, Classes());
  store.CollectGarbage([&](sto_ProgressStep const& step) {
    other.Save("done", Node(static_cast<int>(step.m_Done)));
    return true;
  });
  EXPECT_EQ(other.Load<Node>("done")->m_Value, 2 * (store.ObjectCount() + Nodes + 2));
}

TEST_F(StoreProgress, EmptyStoreHasProgressToo) {
  sto_Store store = Create();
  for (Operation const& act :
       {Operation(&Collect), Operation(&Count), Operation(&CheckAll), Operation(&Compact)}) {
    Calls calls;
    act(store, calls.Record());
    ASSERT_GE(calls.m_Steps.size(), 2U);
    EXPECT_EQ(calls.m_Steps.front().m_Done, 0);
    EXPECT_GT(calls.m_Steps.front().m_Total, 0);
    EXPECT_EQ(calls.m_Steps.back().m_Done, calls.m_Steps.back().m_Total);
  }
}

TEST_F(StoreProgress, CheckOfADamagedStoreEndsAtItsTotal) {
  { Make(); }
  {
    SqlFile file(Path());
    file.Run("UPDATE pack SET data = zeroblob(8) WHERE key % 3 = 0");
    file.Run("DELETE FROM block WHERE key % 5 = 0");
    file.Run("UPDATE save SET checksum = 0");
  }
  sto_Store store = Open(sto_Mode::ReadOnly);
  Calls calls;
  EXPECT_FALSE(store.Check(sto_CheckDepth::Full, 10, calls.Record()).IsSound());
  calls.Expect(true);
  MessageOf(sto_ErrorKind::Cancelled,
            [&] { static_cast<void>(store.Check(sto_CheckDepth::Full, 10, Calls().CancelAt(1))); });
}

} // namespace
