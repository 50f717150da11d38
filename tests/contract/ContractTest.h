#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "persist/backend/cls_DeleteWhenNeeded.h"
#include "persist/backend/cls_PC.h"
#include "tests/contract/ContractBackEnd.h"
#include "tests/contract/ContractClasses.h"
#include "tests/contract/Coverage.h"
#include "tests/support/HeldFunction.h"

/// The settings that take the huge cases.
std::vector<ContractSetting> HugeContractSettings();

/// Fixture for a back end, using only the interfaces. A test is a chain of steps: each writes or reads, and
/// between two steps the session may end.
class ContractTest : public testing::TestWithParam<ContractSetting> {
 protected:
  using WriteFields = Scripted::WriteFields;
  using ReadFields = Scripted::ReadFields;

  ContractTest();
  ~ContractTest() override;

  [[nodiscard]] ContractAbilities const& Can() const { return m_Abilities; }

  /// A folder for this test. The back end has it too.
  [[nodiscard]] std::filesystem::path const& Folder() const { return m_Folder; }

  /// The open session; at first with a new storage.
  ContractSession& Session();
  /// Ends the session, in the settings that reopen.
  void Step();
  /// Ends the session in every setting. What the test uses next opens the storage in the given mode.
  /// REQUIRES: m_Reopens.
  void Reopen(ContractMode mode = ContractMode::ReadWrite);
  /// The same with other classes, in all sessions from now on. They must outlive the test.
  void ReopenWith(cls_ClassRegistrar const& registrar);
  /// The same if the back end can, so that a read sees what is stored.
  void ReopenIfPossible();
  /// Ends the session; the test uses no other.
  void EndSession();

  /// Another session with the same storage. REQUIRES: m_SharesChanges.
  [[nodiscard]] std::unique_ptr<ContractSession> SecondSession();
  /// A session with the storage `name` of the same back end.
  [[nodiscard]] std::unique_ptr<ContractSession> OtherStorage(std::string const& name = "other",
                                                              ContractMode mode = ContractMode::Create);

  /// Saves an object; its DBWrite must be called.
  static void Save(ContractSession& session, Scripted const& object, std::string_view root = "root");
  /// Loads an object; `read` must be called.
  static void Load(ContractSession& session, ReadFields const& read, std::string_view root = "root");

  /// Saves an object whose fields are written by `write`; then starts the next step.
  void Write(WriteFields write, std::string_view root = "root");
  /// Saves the stored object again, under its identity; these fields replace all it had.
  void Rewrite(WriteFields write, std::string_view root = "root");
  /// Writes the object if the test has not written it yet, and rewrites it otherwise.
  void WriteOrRewrite(WriteFields write, std::string_view root = "root");
  /// Whether the test has written the object.
  [[nodiscard]] bool HasWritten(std::string_view root = "root") const { return m_Written.contains(root); }
  /// Loads the object; `read` acts as its reading constructor.
  void Read(ReadFields const& read, std::string_view root = "root");

  /// Returns what `get` takes out of the stored object, such as an agent, for use after the load.
  template <class Get> auto Take(Get get, std::string_view root = "root") {
    decltype(get(std::declval<cls_ReadVisitor const&>())) result{};
    Read([&](cls_ReadVisitor const& visitor) { result = get(visitor); }, root);
    return result;
  }

  /// Runs `act` in a transaction of the session, or just so if the back end has none.
  template <class Act> void InTransaction(ContractSession& session, Act act) {
    if (!Can().m_HasTransactions) return act();
    session.Begin();
    try {
      act();
    } catch (...) {
      session.Rollback();
      throw;
    }
    session.Commit();
  }

  /// Expects so many objects, of a back end that counts them.
  void ExpectObjects(std::int64_t count, char const* why = "");
  void ExpectObjects(ContractSession& session, std::int64_t count, char const* why = "");
  /// Expects that nothing is stored under the name.
  void ExpectNoRoot(std::string_view root = "root");
  void ExpectNoRoot(ContractSession& session, std::string_view root);

  /// Agents of the save in progress. Write releases them afterwards.
  std::vector<std::unique_ptr<cls_PC>> m_Kept;

  /// Notes that a test has nothing to test on this back end, which may leave out what ContractAbilities says; a failure
  /// would hide those that count. The program prints how many tests that were, for each ability. The store has all.
  static void SkipForLackOf(char const* ability) {
    std::string const reason = std::string("the back end under test says that it lacks ") + ability;
    GTEST_SKIP() << reason; // a back end may leave out what ContractAbilities says
  }

  /// Prints the last exception of the back end if the test failed, because the framework cannot print it.
  void TearDown() override;

 private:
  template <class Act> void Noting(Act act);
  std::unique_ptr<ContractSession> Open(std::string const& storage, ContractMode mode);

  std::filesystem::path m_Folder;
  std::unique_ptr<ContractBackEnd> m_BackEnd;
  ContractAbilities m_Abilities;
  std::unique_ptr<ContractSession> m_Session;
  std::set<std::string, std::less<>> m_Written;
  cls_ClassRegistrar const* m_Classes = &ContractClasses();
  ContractMode m_NextMode = ContractMode::Create;
  std::string m_LastRaised;
};

/// Ends a test when the back end under test lacks an ability: CONTRACT_NEEDS(m_NamesRoots);
#define CONTRACT_NEEDS(ability)                                                                              \
  if (!Can().ability) return SkipForLackOf(#ability)

/// Expects `act` to raise an exception of the nex_ family, of the given kind if the back end under test tells
/// it apart; returns its text. Anything else fails the test.
std::string MessageOf(ContractError kind, HeldFunction<> const& act);

inline bool Contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

/// Runs the tests of a fixture in every setting.
#define CONTRACT_FIXTURE(Suite)                                                                              \
  INSTANTIATE_TEST_SUITE_P(BackEnds, Suite, testing::ValuesIn(ContractSettings()),                           \
                           [](auto const& setting) { return setting.param.m_Name; })

/// A suite of tests that run in every setting.
#define CONTRACT_SUITE(Suite)                                                                                \
  class Suite : public ContractTest {};                                                                      \
  CONTRACT_FIXTURE(Suite)

/// A suite of tests that take seconds, run in the settings that allow it.
#define CONTRACT_HUGE_SUITE(Suite)                                                                           \
  class Suite : public ContractTest {};                                                                      \
  GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(Suite);                                                      \
  INSTANTIATE_TEST_SUITE_P(BackEnds, Suite, testing::ValuesIn(HugeContractSettings()),                       \
                           [](auto const& setting) { return setting.param.m_Name; })

/// Runs `act` where an exception cannot go on, such as in a destructor, and fails the test if there is one.
template <class Act> void Containing(char const* where, Act act) noexcept {
  try {
    act();
  } catch (...) {
    ADD_FAILURE() << "the back end raised something while " << where;
  }
}

/// Deletes what a back end returned, as its interface says.
struct ContractDelete {
  template <class T> void operator()(T* object) const noexcept {
    Containing("what it returned was deleted", [=] { cls_DeleteWhenNeeded()(object); });
  }
};

template <class T> using Received = std::unique_ptr<T, ContractDelete>;
/// What a back end returned, which it must.
template <class T> Received<T> Receive(T* object) {
  if (object == nullptr) throw std::runtime_error("the back end returned a null pointer");
  return Received<T>(object);
}

/// Expects that a builder or a cursor says that its receiver deletes it: the value wrappers do so unasked.
template <class T> void ExpectNotKept(T const& made) {
  EXPECT_TRUE(made.NeedsDeletion()) << "a back end does not keep builders and cursors";
}

/// The memento of a visitor.
inline cls_MementoRead& MementoOf(cls_ReadVisitor const& visitor) {
  if (visitor.Memento() == nullptr) throw std::runtime_error("the visitor has no memento");
  return *visitor.Memento();
}
/// The class of the elements of collections of objects.
inline constexpr unsigned int ElementId = Scripted::TypeId();

/// A cursor over the elements of a list.
template <class T> Received<cls_ReadListPrim<T>> ListCursor(cls_MementoRead& memento) {
  T tag{};
  return Receive(memento.MakeReadListPrim(&tag));
}
/// The visitor of the object that a field holds. It has a memento.
inline cls_ReadVisitor ObjectIn(cls_ReadVisitor const& parent, cls_FieldHandle const& field) {
  return cls_ReadVisitor(Receive(MementoOf(parent).MakeFieldReadObj(field)).release());
}

/// The visitor of the next base-class part.
inline cls_ReadVisitor BaseOf(cls_ReadVisitor const& visitor) {
  return cls_ReadVisitor(Receive(MementoOf(visitor).Clone()).release());
}

/// Writes fields that hold an object of any class.
template <class T> Scripted::WriteFields Holding(T const& object) {
  return [&object](cls_WriteVisitor const& visitor) {
    object.DBWrite(cls_WriteVisitor(visitor, FieldOf("Object"), nullptr, &object));
  };
}

/// Writes the collection in an object's field; `fill` gets the memento of the collection.
template <class Fill>
void WriteCollection(cls_WriteVisitor const& parent, cls_FieldHandle const& field, ContractKind const& kind,
                     cls_CollectionType code, cls_Uid const& uid, Fill fill) {
  cls_WriteVisitor const child(parent, field, nullptr, nullptr);
  ASSERT_EQ(child.StartWrite(kind.m_ClassId, uid), 1);
  child.CheckCollectionType(code);
  fill(*child.Memento());
}
/// Likewise for a collection with elements of type `T`.
template <class T, class Fill>
void WriteCollectionOf(cls_WriteVisitor const& parent, ContractKind const& kind, Fill fill,
                       cls_Uid const& uid = cls_Uid()) {
  WriteCollection(parent, FieldFor<T>(kind.m_Name), kind, CodeOf<T>(kind), uid, fill);
}
/// Likewise for a kind of collection without element types.
template <class Fill>
void WriteCollectionOf(cls_WriteVisitor const& parent, ContractKind const& kind, Fill fill,
                       cls_Uid const& uid = cls_Uid()) {
  WriteCollection(parent, FieldOf(kind.m_Name), kind, kind.m_Generic, uid, fill);
}

/// Writes an object that only has the int `m_Int`, through a memento made by the back end.
inline void WriteNumber(cls_MementoWrite* memento, int number) {
  auto const received = Receive(memento);
  received->Write(FieldFor<int>(), number);
}
/// The number of such an object.
inline int NumberOf(cls_MementoRead* memento) {
  return Receive(memento)->Read(FieldFor<int>(), -1);
}

/// Expects an agent that nobody holds to count its references.
template <class Agent> void ExpectCountsReferences(Agent& agent) {
  EXPECT_FALSE(agent.StillReferenced());
  agent.AddReference();
  agent.AddReference();
  EXPECT_TRUE(agent.StillReferenced());
  agent.DropReference();
  EXPECT_TRUE(agent.StillReferenced());
  agent.DropReference();
  EXPECT_FALSE(agent.StillReferenced());
}

/// A container that holds an agent as bulk arrays do: counted, registered, and flushed at the end.
template <class Agent> class AgentHolder : public cls_PC {
 public:
  explicit AgentHolder(Agent* agent) : m_Agent(agent) {
    if (agent == nullptr) throw std::runtime_error("the back end returned no agent");
    agent->AddReference();
    agent->RegisterHolder(this);
  }
  ~AgentHolder() override {
    Containing("an agent was let go", [this] { LetGo(); });
    Unlink();
  }
  void Flush() const override {
    ++m_Flushes;
    if (m_Agent != nullptr && !m_Agent->ReadOnly()) m_Agent->EndFlush();
  }
  void Detach() override {
    ++m_Detaches;
    LetGo();
    Unlink();
  }
  [[nodiscard]] bool IsAttached() const { return m_Agent != nullptr; }
  [[nodiscard]] Agent* Get() const { return m_Agent; }
  Agent* operator->() const { return m_Agent; }

  mutable int m_Flushes = 0; ///< by the back end
  int m_Detaches = 0;        ///< by the back end

 private:
  void LetGo() {
    Agent* const agent = std::exchange(m_Agent, nullptr);
    if (agent == nullptr) return;
    agent->DropReference();
    if (agent->StillReferenced()) return;
    if (!agent->ReadOnly()) agent->EndFlush();
    delete agent;
  }

  Agent* m_Agent;
};
