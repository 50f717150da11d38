#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "persist/backend/cls_PC.h"
#include "store/sto_Store.h"
#include "tests/contract/ContractClasses.h"
#include "tests/contract/Coverage.h"
#include "tests/support/store/StoreFile.h"

/// A kind of store that the suite runs on.
struct ContractSetting {
  char const* m_Name;
  /// Opens the store of a test in `folder`, which only that test uses.
  sto_Store (*m_Open)(std::string const& folder, sto_Mode mode, cls_ClassRegistrar const& registrar);
  bool m_IsReopened; ///< each step of a test runs in a new session
  bool m_TakesHuge;  ///< the cases that take seconds run here as well

  friend std::ostream& operator<<(std::ostream& out, ContractSetting const& setting) {
    return out << setting.m_Name;
  }
};

/// All settings, and those that take the huge cases. To test another driver, add an entry.
std::vector<ContractSetting> ContractSettings();
std::vector<ContractSetting> HugeContractSettings();

/// Fixture for a store, using only the interfaces. A test is a chain of steps: each writes or reads, and
/// between two steps the session may end.
class ContractTest : public StoreFileTest, public testing::WithParamInterface<ContractSetting> {
 protected:
  using WriteFields = Scripted::WriteFields;
  using ReadFields = Scripted::ReadFields;

  /// The open store; at first a new one.
  sto_Store& Store();
  /// Ends the session, in the settings that reopen.
  void Step();
  /// Ends the session in every setting; the next use opens the store in the given mode.
  void Reopen(sto_Mode mode = sto_Mode::ReadWrite);

  /// Another session with the store.
  [[nodiscard]] sto_Store SecondSession() const;
  /// Another store, of any setting, in the subfolder `name`.
  [[nodiscard]] sto_Store OtherStore(ContractSetting const& setting, std::string const& name = "other",
                                     sto_Mode mode = sto_Mode::Create) const;

  /// Saves an object whose fields are written by `write`; then starts the next step.
  void Write(WriteFields write, std::string_view root = "root");
  /// Saves the stored object again, under its identity; these fields replace all it had.
  void Rewrite(WriteFields write, std::string_view root = "root");
  /// Loads the object; `read` acts as its reading constructor.
  void Read(ReadFields read, std::string_view root = "root");

  /// Returns what `get` takes out of the stored object, such as an agent, for use after the load.
  template <class Get> auto Take(Get get, std::string_view root = "root") {
    decltype(get(std::declval<cls_ReadVisitor const&>())) result{};
    Read([&](cls_ReadVisitor const& visitor) { result = get(visitor); }, root);
    return result;
  }

  /// Agents of the save in progress. Write releases them afterwards.
  std::vector<std::unique_ptr<cls_PC>> m_Kept;

  /// Prints the store's last exception if the test failed, because the framework cannot print it.
  void TearDown() override;

 private:
  template <class Act> void Noting(Act act);

  std::optional<sto_Store> m_Store;
  sto_Mode m_NextMode = sto_Mode::Create;
  std::string m_LastRaised;
};

/// Runs the tests of a fixture in every setting.
#define CONTRACT_FIXTURE(Suite)                                                                              \
  INSTANTIATE_TEST_SUITE_P(Stores, Suite, testing::ValuesIn(ContractSettings()),                             \
                           [](auto const& setting) { return std::string(setting.param.m_Name); })

/// A suite of tests that run in every setting.
#define CONTRACT_SUITE(Suite)                                                                                \
  class Suite : public ContractTest {};                                                                      \
  CONTRACT_FIXTURE(Suite)

/// A suite of tests that take seconds, run in the settings that allow it.
#define CONTRACT_HUGE_SUITE(Suite)                                                                           \
  class Suite : public ContractTest {};                                                                      \
  INSTANTIATE_TEST_SUITE_P(Stores, Suite, testing::ValuesIn(HugeContractSettings()),                         \
                           [](auto const& setting) { return std::string(setting.param.m_Name); })

/// Deletes what a store returned, when it says so; int tables are always deleted.
struct DeleteWhenNeeded {
  template <class T> void operator()(T* object) const {
    static_assert(sizeof(T) > 0, "of a class whose header is included");
    if constexpr (requires { object->NeedsDeletion(); })
      if (!object->NeedsDeletion()) return;
    delete object;
  }
};
template <class T> using Received = std::unique_ptr<T, DeleteWhenNeeded>;
/// What a store returned, which it must.
template <class T> Received<T> Receive(T* object) {
  if (object == nullptr) throw std::runtime_error("the store returned a null pointer");
  return Received<T>(object);
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

/// Writes an object that only has the int `m_Int`, through a memento made by the store.
inline void WriteNumber(cls_MementoWrite* memento, int number) {
  auto const received = Receive(memento);
  received->Write(FieldFor<int>(), number);
}
/// The number of such an object.
inline int NumberOf(cls_MementoRead* memento) {
  return Receive(memento)->Read(FieldFor<int>(), -1);
}

/// A container that holds an agent as bulk arrays do: counted, registered, and flushed at the end.
template <class Agent> class AgentHolder : public cls_PC {
 public:
  explicit AgentHolder(Agent* agent) : m_Agent(agent) {
    if (agent == nullptr) throw std::runtime_error("the store returned no agent");
    agent->AddReference();
    agent->RegisterHolder(this);
  }
  ~AgentHolder() override {
    LetGo();
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

  mutable int m_Flushes = 0; ///< by the store
  int m_Detaches = 0;        ///< by the store

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
