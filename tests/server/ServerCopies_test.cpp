// Copies between files and servers.
#include "tests/server/ServerTest.h"
#include "tests/support/store/StoreEverything.h"

namespace ServerCopies {

class ServerCopiesTest : public ServerTest {
 protected:
  static sto_Store OpenAll(std::string const& location, sto_Mode mode) {
    return sto_Store::Open(location, mode, StoreEverything::Classes());
  }
  static std::string SumAt(std::string const& location) {
    return OpenAll(location, sto_Mode::ReadOnly).Info().m_Sum;
  }
  static void ExpectSound(std::string const& location) {
    sto_CheckReport const report = OpenAll(location, sto_Mode::ReadOnly).Check(sto_CheckDepth::Full);
    EXPECT_TRUE(report.IsSound()) << location << ": "
                                  << (report.m_Findings.empty() ? "" : report.m_Findings.front().m_Text);
  }
  static std::string Failure(sto_ErrorKind kind, std::function<void()> const& act) {
    try {
      act();
    } catch (sto_Exception const& failure) {
      EXPECT_EQ(failure.Kind(), kind) << failure.what();
      return failure.what();
    }
    ADD_FAILURE() << "nothing was raised";
    return "";
  }
};

TEST_F(ServerCopiesTest, AStoreWithEverythingGoesToAServerAndBackWithItsSum) {
  {
    sto_Store store = OpenAll(Path("all.kvs"), sto_Mode::Create);
    StoreEverything::Save(store);
    store.CopyTo(Place("all"));
  }
  OpenAll(Place("all"), sto_Mode::ReadOnly).CopyTo(Place("again"));
  OpenAll(Place("again"), sto_Mode::ReadOnly).CopyTo(Path("back.kvs"));
  std::string const sum = SumAt(Path("all.kvs"));
  for (std::string const& location : {Place("all"), Place("again"), Path("back.kvs")}) {
    EXPECT_EQ(SumAt(location), sum) << location;
    ExpectSound(location);
  }
}

TEST_F(ServerCopiesTest, ACopyIsAStoreToWrite) {
  sto_Store store = Create("test.kvs");
  store.Save("a", Node(1));
  store.CopyTo(Place("copy"));
  sto_Store copy = Reopen("copy");
  copy.Save("b", Node(2));
  store.Save("b", Node(2));
  EXPECT_EQ(copy.Load<Node>("a")->m_Value, 1);
  EXPECT_EQ(copy.Info().m_Sum, store.Info().m_Sum);
}

TEST_F(ServerCopiesTest, NothingIsReplaced) {
  sto_Store store = Create("test.kvs"), other = Make("other");
  store.Save("a", Node(1));
  other.Save("b", Node(2));
  std::string const before = other.Info().m_Sum;
  EXPECT_NE(Failure(sto_ErrorKind::Conflict, [&] { store.CopyTo(Place("other")); })
                .find("There is a store of this name"),
            std::string::npos);
  EXPECT_EQ(other.Info().m_Sum, before);
  Failure(sto_ErrorKind::Conflict, [&] { other.CopyTo(Path("test.kvs")); });
  EXPECT_EQ(store.Load<Node>("a")->m_Value, 1);
}

TEST_F(ServerCopiesTest, AnInterruptedCopyGoesOnWhereItWas) {
  OpenAll(Path("test.kvs"), sto_Mode::Create).Save("picture", Picture(80 << 20));
  std::string const sum = SumAt(Path("test.kvs"));
  std::string from = Path("test.kvs");
  for (std::string const& to : {Place("copy"), Path("copy.kvs")}) {
    sto_Store source = OpenAll(from, sto_Mode::ReadOnly);
    int calls = 0; // one for 256 blocks: two portions are copied when it is cancelled
    Failure(sto_ErrorKind::Cancelled,
            [&] { source.CopyTo(to, [&](sto_ProgressStep const&) { return ++calls < 18; }); });
    EXPECT_EQ(OpenAll(to + ".partial", sto_Mode::ReadOnly).Saves().size(), 4U)
        << "its creation, the catalogue with the objects, and two portions of blocks";
    Failure(sto_ErrorKind::NotFound, [&] { static_cast<void>(SumAt(to)); });
    int rest = 0;
    source.CopyTo(to, [&](sto_ProgressStep const&) { return ++rest > 0; });
    EXPECT_LT(rest, 9) << "it began again";
    EXPECT_EQ(SumAt(to), sum);
    Failure(sto_ErrorKind::NotFound, [&] { static_cast<void>(SumAt(to + ".partial")); });
    from = to;
  }
}

TEST_F(ServerCopiesTest, AnInterruptedCopyOfAnotherStateBeginsAgain) {
  for (bool const isToServer : {true, false}) {
    std::string const to = isToServer ? Place("copy") : Path("copy.kvs");
    sto_Store store = OpenAll(isToServer ? Path("test.kvs") : Place("test"), sto_Mode::Create);
    store.Save("picture", Picture(40 << 20));
    Failure(sto_ErrorKind::Cancelled,
            [&] { store.CopyTo(to, [](sto_ProgressStep const& step) { return step.m_Done < 2300; }); });
    EXPECT_EQ(OpenAll(to + ".partial", sto_Mode::ReadOnly).Saves().size(), 3U);
    store.Save("root", Picture(7));
    store.CopyTo(to);
    EXPECT_EQ(SumAt(to), store.Info().m_Sum);
    ExpectSound(to);
  }
}

} // namespace ServerCopies
