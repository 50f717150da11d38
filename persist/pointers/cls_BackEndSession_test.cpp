#include "persist/pointers/cls_BackEndSession.h"

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/backend/RecordingBackEnd.h"

namespace {

/// A session that keeps nothing, and notes what it is asked for.
class Session final : public cls_BackEndSession<Session> {
 public:
  Session(cls_ClassRegistrar const& classes, std::vector<std::string>& calls)
      : cls_BackEndSession(classes), m_Calls(calls) {}
  ~Session() override { CloseQuietly(); }

  void SaveWith(std::string const& root, std::function<void(cls_AgentRequest const&)> const& write) {
    cls_RootRequest const request([](unsigned int, cls_Uid const&, void const*) { return nullptr; });
    Change(m_Value) = 2;
    m_IdsOfSave = WrittenIds()->m_Ids.size();
    write(request);
    m_Calls.push_back("save " + root + (request.IsStarted() ? "" : ", nothing written"));
  }
  cls_MementoRead* ReaderOf(std::string const& root) {
    m_Calls.push_back("read " + root);
    return nullptr;
  }
  void Commit() {
    m_Calls.emplace_back("commit");
    if (m_Fails) throw std::runtime_error("the disk is full");
  }
  [[noreturn]] void RaiseNotBuilt(cls_BuildFailure const& failure) const override {
    throw std::runtime_error(failure.m_Text);
  }

  void ReadIfReplaced() { ++m_Refreshes; }

  bool m_Fails = false;
  int m_Value = 1;
  int m_Refreshes = 0;
  std::size_t m_IdsOfSave = 0;

 private:
  std::vector<std::string>& m_Calls;
};

struct Empty {
  Empty() = default;
  explicit Empty(cls_ReadVisitor const&) {}
  void DBWrite(cls_WriteVisitor const& visitor) const { visitor.StartWrite(0x750031, m_Uid); }
  cls_Uid m_Uid;
};

/// A container that notes what happens to it.
struct Container : cls_PC {
  explicit Container(std::vector<std::string>& calls) : m_Calls(calls) {}
  void Flush() const override { m_Calls.emplace_back("flush"); }
  void Detach() override {
    m_Calls.emplace_back("detach");
    Unlink();
  }
  std::vector<std::string>& m_Calls;
};

struct HeldAgent : cls_AgentRegistry::Agent {
  [[nodiscard]] bool IsHeld() const override { return true; }
  void Grip(int references) noexcept override { m_Grips += references; }
  int m_Grips = 0;
};

class BackEndSession : public ::testing::Test {
 protected:
  using Calls = std::vector<std::string>;
  Calls m_Calls;
  cls_ClassRegistrar m_Classes;
  HeldAgent m_Agent;
  Container m_Container{m_Calls};
};

} // namespace

TEST_F(BackEndSession, SavesAndLoadsByName) {
  Session session(m_Classes, m_Calls);
  session.Save("one", Empty());
  EXPECT_NE(session.Load<Empty>("two"), nullptr);
  EXPECT_NE(session.LoadShared<Empty>("three"), nullptr);
  EXPECT_EQ(m_Calls, (Calls{"save one", "commit", "read two", "read three"}));
  EXPECT_FALSE(session.Loaded().InLoad());
}

TEST_F(BackEndSession, IdsLeadToTheirIdentitiesAndAreItsOwn) {
  Session session(m_Classes, m_Calls);
  Session other(m_Classes, m_Calls);
  cls_Uid const one;
  std::int64_t const id = session.IdOf(one);
  EXPECT_GE(id, 1 << 20);
  EXPECT_EQ(session.IdOf(one), id);
  EXPECT_EQ(session.IdOf(cls_Uid()), id + 1);
  EXPECT_EQ(session.IdentityOf(id).Entry(), one.Entry());
  EXPECT_TRUE(session.HasIdentity(id));
  EXPECT_FALSE(session.HasIdentity(id + 1)); // that identity has ended
  EXPECT_NE(other.IdOf(one), id);
  for (std::int64_t const noId :
       {std::int64_t{0}, std::int64_t{-1}, std::numeric_limits<std::int64_t>::min()}) {
    EXPECT_EQ(session.IdentityOf(noId).Entry()->m_RefCount, 1U);
    EXPECT_FALSE(session.HasIdentity(noId));
  }
}

TEST_F(BackEndSession, WrittenIdsLastUntilTheLastMementoIsDeleted) {
  Session session(m_Classes, m_Calls);
  EXPECT_FALSE(session.IsWriting());
  {
    Session::Written const first = session.WrittenIds();
    first->m_Ids.insert(7);
    Session::Written const second = session.WrittenIds();
    EXPECT_TRUE(second->m_Ids.contains(7));
    EXPECT_TRUE(session.IsWriting());
  }
  EXPECT_FALSE(session.IsWriting());
  EXPECT_TRUE(session.WrittenIds()->m_Ids.empty());
}

TEST_F(BackEndSession, TheEndOfAFlushCommitsChangesUnlessSomethingIsBeingWritten) {
  Session session(m_Classes, m_Calls);
  {
    Session::Written const written = session.WrittenIds();
    session.Change(session.m_Value) = 3;
    session.EndFlush();
    session.Refresh();
  }
  session.Refresh(); // it has changes of its own
  EXPECT_EQ(session.m_Refreshes, 0);
  EXPECT_EQ(m_Calls, Calls());
  session.m_Fails = true;
  EXPECT_THROW(session.EndFlush(), std::runtime_error);
  session.m_Fails = false;
  session.EndFlush();
  session.EndFlush();
  EXPECT_EQ(m_Calls, (Calls{"commit", "commit"}));
  session.Refresh();
  EXPECT_EQ(session.m_Refreshes, 1);
}

TEST_F(BackEndSession, ASaveThatFailsIsUndone) {
  Session session(m_Classes, m_Calls);
  int undone = 0;
  session.m_Fails = true;
  EXPECT_THROW(session.Save("one", Empty()), std::runtime_error);
  EXPECT_EQ(session.m_Value, 1);
  EXPECT_FALSE(session.HasChanges());
  EXPECT_FALSE(session.IsWriting());
  session.m_Fails = false;
  session.Save("one", Empty());
  EXPECT_EQ(session.m_Value, 2);
  session.OnUndo(&undone, [&] { ++undone; }); // nothing is being written
  EXPECT_EQ(undone, 0);
}

TEST_F(BackEndSession, ASaveInsideOfASaveIsRefusedAndOneBesideAnElementWritesAll) {
  Session session(m_Classes, m_Calls);
  struct Nested {
    explicit Nested(Session& session) : m_Session(session) {}
    void DBWrite(cls_WriteVisitor const&) const { m_Session.Save("two", Empty()); }
    Session& m_Session;
  };
  EXPECT_THROW(session.Save("one", Nested(session)), std::logic_error);
  Session::Written const element = session.WrittenIds();
  element->m_Ids.insert(7);
  session.Save("one", Empty());
  EXPECT_EQ(session.m_IdsOfSave, 0U);
  EXPECT_EQ(session.WrittenIds(), element);
}

TEST_F(BackEndSession, AnElementThatAnExceptionEndsIsUndone) {
  Session session(m_Classes, m_Calls);
  try {
    Session::Written const element = session.WrittenIds();
    session.Change(session.m_Value) = 3;
    throw std::runtime_error("half");
  } catch (std::runtime_error const&) {
  }
  EXPECT_EQ(session.m_Value, 1);
  {
    Session::Written const element = session.WrittenIds();
    session.Change(session.m_Value) = 3;
  }
  EXPECT_EQ(session.m_Value, 3);
}

TEST_F(BackEndSession, AKeptFailureIsRaisedOnceByTheNextSaveLoadOrClose) {
  Session session(m_Classes, m_Calls);
  auto const keep = [&] {
    try {
      throw std::runtime_error("kept");
    } catch (...) {
      session.KeepFailure();
    }
  };
  keep();
  EXPECT_THROW(session.Save("one", Empty()), std::runtime_error);
  session.Save("one", Empty());
  keep();
  EXPECT_THROW(session.MakeReader("one"), std::runtime_error);
  keep();
  EXPECT_THROW(session.Close(), std::runtime_error);
  session.Close();
}

TEST_F(BackEndSession, ClosingFlushesCommitsAndDetaches) {
  Session session(m_Classes, m_Calls);
  session.Agents().Hold(&m_Container, &m_Agent);
  session.Change(session.m_Value) = 3;
  session.Close();
  EXPECT_EQ(m_Calls, (Calls{"flush", "commit", "detach"}));
}

TEST_F(BackEndSession, ItsEndDetachesContainersWhateverFailsAndIsKnownToItsLink) {
  std::shared_ptr<Session*> link;
  {
    Session session(m_Classes, m_Calls);
    link = session.Link();
    EXPECT_EQ(*link, &session);
    session.Agents().Hold(&m_Container, &m_Agent);
    session.Change(session.m_Value) = 3;
    session.m_Fails = true;
  }
  EXPECT_EQ(m_Calls, (Calls{"flush", "commit", "detach"}));
  EXPECT_EQ(*link, nullptr);
}
