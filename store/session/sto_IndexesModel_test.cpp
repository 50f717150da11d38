#include <algorithm>
#include <map>
#include <random>
#include <set>

#include "tests/support/Seeds.h"
#include "tests/support/store/StoreIndexed.h"

namespace {

struct IndexedProgram {
  using Part = IndexedPart;
  using Bolt = IndexedBolt;
};
struct PlainProgram {
  using Part = PlainPart;
  using Bolt = PlainBolt;
};

/// Random work of programs with and without the index, some of which fails or is undone, compared with a map.
class StoreIndexesModel : public StoreIndexedTest, public testing::WithParamInterface<unsigned int> {
 protected:
  /// A stored object; one that no root has any more is stored until it is collected.
  struct Object {
    int m_Value = 0;
    bool m_IsBolt = false;
  };
  struct State {
    std::map<int, Object> m_Objects;    // by a number that the test gives them
    std::map<std::string, int> m_Roots; // the number of the object
  };

  int Random(int count) { return std::uniform_int_distribution(0, count - 1)(m_Random); }
  std::string RandomRoot() { return "root " + std::to_string(Random(25)); }

  template <class Object> void SaveNew(std::string const& root, int value) {
    Object object;
    object.m_Id = value;
    m_Store->Save(root, object);
    m_State.m_Roots[root] = ++m_Latest;
    m_State.m_Objects[m_Latest] = {value, !std::is_same_v<Object, IndexedPart> &&
                                              !std::is_same_v<Object, PlainPart>};
  }
  template <class Object> void Change(std::string const& root, int value) {
    auto const object = m_Store->Load<Object>(root);
    object->m_Id = value;
    m_Store->Save(root, *object);
    m_State.m_Objects[m_State.m_Roots[root]].m_Value = value;
  }
  void Collect() {
    m_Store->CollectGarbage();
    std::set<int> reached;
    for (auto const& [root, number] : m_State.m_Roots) reached.insert(number);
    std::erase_if(m_State.m_Objects, [&](auto const& object) { return !reached.contains(object.first); });
  }

  template <class Program> void Act() {
    using Part = typename Program::Part;
    using Bolt = typename Program::Bolt;
    std::string const root = RandomRoot();
    bool const isThere = m_State.m_Roots.contains(root);
    switch (int const value = Random(12); Random(9)) {
    case 0:
    case 1:
      return SaveNew<Part>(root, value);
    case 2:
      return SaveNew<Bolt>(root, value);
    case 3:
    case 4:
      if (!isThere) return;
      return m_State.m_Objects[m_State.m_Roots[root]].m_IsBolt ? Change<Bolt>(root, value)
                                                               : Change<Part>(root, value);
    case 5:
      m_Store->RemoveRoot(root);
      m_State.m_Roots.erase(root);
      return;
    case 6:
      return Collect();
    case 7:
      m_Store->RemoveRootAndContent(root);
      if (isThere) m_State.m_Objects.erase(m_State.m_Roots[root]);
      m_State.m_Roots.erase(root);
      return;
    default:
      EXPECT_THROW(SaveMany<Part>(root), std::exception);
    }
  }
  /// Saves objects, the last of which fails.
  template <class Part> void SaveMany(std::string const& root) {
    if (std::is_same_v<Part, PlainPart>) return m_Store->Save(root, PlainPart(-1));
    IndexedBox box(Random(50));
    box.m_Parts.push_back(std::make_shared<IndexedPart>(-1));
    m_Store->Save(root, box);
  }
  void ActAsProgram() { m_IsPlain ? Act<PlainProgram>() : Act<IndexedProgram>(); }

  /// Acts once, or several times in a transaction. What fails, or is rolled back, has changed nothing.
  void Step() {
    State const before = m_State;
    bool const isLong = Random(3) == 0;
    m_Plan.m_FailedCall.clear();
    m_Plan.m_CallsLeft = Random(3) == 0 ? 1 + Random(isLong ? 200 : 30) : 0;
    m_Plan.m_UndoesTransaction = Random(2) == 0;
    try {
      if (!isLong) {
        ActAsProgram();
      } else {
        sto_Transaction transaction(*m_Store);
        for (int i = Random(8); i >= 0; --i) {
          ActAsProgram();
          if (Random(4) == 0) ExpectFound();
        }
        if (Random(3) == 0)
          m_State = before; // the transaction rolls back
        else
          transaction.Commit();
      }
    } catch (std::exception const& failure) {
      ASSERT_FALSE(m_Plan.m_FailedCall.empty()) << failure.what();
      m_State = before;
    }
    m_Plan.m_CallsLeft = 0;
  }

  void ExpectFound() {
    int const calls = std::exchange(m_Plan.m_CallsLeft, 0);
    int const first = Random(12), last = Random(12);
    Values all, some, bolts;
    for (auto const& [number, object] : m_State.m_Objects) {
      all.push_back(object.m_Value);
      if (object.m_Value >= first && object.m_Value <= last) some.push_back(object.m_Value);
      if (object.m_IsBolt) bolts.push_back(object.m_Value);
    }
    for (Values* const values : {&all, &some, &bolts}) std::ranges::sort(*values);
    ASSERT_EQ(ValuesFound({}, {}), all);
    ASSERT_EQ(ValuesFound(first, last), some);
    ASSERT_TRUE(m_UsedIndex);
    ASSERT_EQ(ValuesFound({}, {}, IndexedBolt::TypeId()), bolts);
    ASSERT_EQ(Scanned(IndexedPart::TypeId()), static_cast<int>(all.size()));
    m_Plan.m_CallsLeft = calls;
  }

  void ReopenAsAnyProgram() {
    m_Store.reset();
    m_IsPlain = Random(2) == 0;
    if (m_IsPlain)
      Declare<PlainPart, PlainBolt>();
    else
      Declare<IndexedPart, IndexedBolt, IndexedBox>();
    Open(sto_Mode::ReadWrite);
  }

  std::mt19937 m_Random;
  State m_State;
  int m_Latest = 0;
  bool m_IsPlain = false;
};

TEST_P(StoreIndexesModel, FindsWhatAMapOfAllObjectsHas) {
  m_Random.seed(GetParam());
  Start<IndexedPart, IndexedBolt, IndexedBox>();
  for (int round = 0; round < 300; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    Step();
    if (HasFatalFailure()) return;
    ExpectFound();
    if (HasFatalFailure()) return;
    if (Random(20) == 0) ReopenAsAnyProgram();
  }
  sto_CheckReport const report = m_Store->Check(sto_CheckDepth::Full);
  EXPECT_TRUE(report.IsSound()) << report.m_Findings.front().m_Text;
  EXPECT_EQ(Entries(), static_cast<std::int64_t>(m_State.m_Objects.size()));
}

INSTANTIATE_TEST_SUITE_P(Seeds, StoreIndexesModel, testing::ValuesIn(Seeds({1U, 2U, 3U, 4U, 5U, 6U})));

} // namespace
