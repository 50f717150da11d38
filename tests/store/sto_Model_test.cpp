#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <stdexcept>

#include "tests/support/Seeds.h"
#include "tests/support/store/StoreTest.h"
#include "wrappers/cls_xp1DArrayList.h"

namespace {

constexpr std::size_t LinkCount = 3;

/// The expected content of a stored object. Labels are the test's numbers; none is reused.
struct Plain {
  int m_Number = 0;
  std::optional<std::string> m_Text;
  std::vector<int> m_List;
  std::array<int, LinkCount> m_Links{}; // labels; 0 where there is no link
  friend bool operator==(Plain const&, Plain const&) = default;
};

/// The object under test. It owns nothing, so that cycles are possible; the test keeps a list that does.
class Thing {
 public:
  static constexpr unsigned int TypeId() noexcept { return Scripted::TypeId(); }

  explicit Thing(int label) : m_Label(label), m_ListLabel(label) {}

  explicit Thing(cls_ReadVisitor const& visitor)
      : m_Label(visitor.Read(cls_FieldHandle(0, "m_Label"_cow), 0)),
        m_ListLabel(visitor.Read(cls_FieldHandle(1, "m_ListLabel"_cow), 0)),
        m_Number(visitor.Read(cls_FieldHandle(2, "m_Number"_cow), 0)),
        m_Text(visitor.Read(cls_FieldHandle(3, "m_Text"_cow), "absent"_cow)),
        m_List(cls_ReadVisitor(visitor, cls_FieldHandle(4, "m_List"_cow)), nullptr), m_Uid(visitor.GetUid()) {
    for (std::size_t i = 0; i < LinkCount; ++i) {
      std::shared_ptr<Thing> const thing = sto_ReadShared<Thing>(visitor, LinkField(i));
      if (thing != nullptr) s_Arena.push_back(thing);
      m_Links[i] = thing;
    }
  }

  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    visitor.Write(cls_FieldHandle(0, "m_Label"_cow), m_Label);
    visitor.Write(cls_FieldHandle(1, "m_ListLabel"_cow), m_ListLabel);
    visitor.Write(cls_FieldHandle(2, "m_Number"_cow), m_Number);
    visitor.Write(cls_FieldHandle(3, "m_Text"_cow), m_Text);
    m_List.DBWrite(cls_WriteVisitor(visitor, cls_FieldHandle(4, "m_List"_cow), nullptr, &m_List));
    for (std::size_t i = 0; i < LinkCount; ++i)
      if (std::shared_ptr<Thing> const thing = m_Links[i].lock())
        thing->DBWrite(cls_WriteVisitor(visitor, LinkField(i), nullptr, thing.get()));
    if (m_Label == s_FailingLabel) throw std::runtime_error("failing");
  }

  [[nodiscard]] Plain AsPlain() const {
    Plain plain;
    plain.m_Number = m_Number;
    if (m_Text.HasText()) plain.m_Text = std::string(m_Text.View());
    for (int i = 0; i < m_List.Count(); ++i) plain.m_List.push_back(m_List.ConstGet(i));
    for (std::size_t i = 0; i < LinkCount; ++i)
      if (std::shared_ptr<Thing> const thing = m_Links[i].lock()) plain.m_Links[i] = thing->m_Label;
    return plain;
  }

  int m_Label;
  int m_ListLabel;
  int m_Number = 0;
  cow_String m_Text;
  cls_xp1DArrayListInt m_List;
  std::array<std::weak_ptr<Thing>, LinkCount> m_Links;
  cls_Uid m_Uid;

  static inline std::vector<std::shared_ptr<Thing>> s_Arena; ///< owns what a load creates
  static inline int s_FailingLabel = 0;

 private:
  static cls_FieldHandle LinkField(std::size_t i) {
    return cls_FieldHandle(5 + static_cast<int>(i), cow_String("m_Link" + std::to_string(i)));
  }
};

/// The expected content of the store.
struct Model {
  std::map<int, Plain> m_Things;
  std::set<int> m_Lists;
  std::map<std::string, int> m_Roots;
};

class StoreModel : public StoreTest, public testing::WithParamInterface<unsigned int> {
 protected:
  void SetUp() override { m_Store = std::make_unique<sto_Store>(Create()); }
  void TearDown() override {
    Thing::s_Arena.clear();
    Thing::s_FailingLabel = 0;
  }

  int Below(int limit) { return static_cast<int>(m_Random() % static_cast<unsigned int>(limit)); }
  std::string AnyRootName() { return "root " + std::to_string(Below(12)); }
  Thing* AnyThing() {
    return m_Things.empty()
               ? nullptr
               : m_Things[static_cast<std::size_t>(Below(static_cast<int>(m_Things.size())))].get();
  }

  void Make() {
    if (m_Things.size() > 40) return Drop();
    m_Things.push_back(std::make_shared<Thing>(++m_LastLabel));
    Change(*m_Things.back());
  }

  void Change(Thing& thing) {
    thing.m_Number = static_cast<int>(m_Random());
    switch (Below(6)) {
    case 0:
      thing.m_Text = cow_String();
      break;
    case 1:
      thing.m_Text = cow_String(std::string(static_cast<std::size_t>(Below(300)), 'a'));
      break;
    case 2: { // a new list with a new identity
      cow_1DArrayList<int> list;
      int const count = Below(8) == 0 ? Below(6000) : Below(50);
      for (int i = 0; i < count; ++i) list.Append(static_cast<int>(m_Random()));
      thing.m_List = list;
      thing.m_ListLabel = ++m_LastLabel;
      break;
    }
    case 3: // the same list with other elements
      if (Below(3) == 0) thing.m_List.Truncate(Below(thing.m_List.Count() + 1));
      for (int i = Below(Below(5) == 0 ? 3000 : 20); i > 0; --i) thing.m_List.Append(i);
      break;
    default:
      for (std::weak_ptr<Thing>& link : thing.m_Links) {
        link.reset();
        if (Below(3) != 0)
          link = m_Things[static_cast<std::size_t>(Below(static_cast<int>(m_Things.size())))];
      }
    }
  }

  void Drop() {
    if (!m_Things.empty()) m_Things.erase(m_Things.begin() + Below(static_cast<int>(m_Things.size())));
  }

  /// Updates a model with everything that saving `thing` reaches.
  static void Note(Thing const& thing, std::set<int>& reached, Model& model) {
    if (!reached.insert(thing.m_Label).second) return;
    model.m_Things[thing.m_Label] = thing.AsPlain();
    model.m_Lists.insert(thing.m_ListLabel);
    for (std::weak_ptr<Thing> const& link : thing.m_Links)
      if (std::shared_ptr<Thing> const next = link.lock()) Note(*next, reached, model);
  }

  void Save() {
    Thing const* const thing = AnyThing();
    if (thing == nullptr) return;
    std::string const root = AnyRootName();
    Model after = m_Model;
    std::set<int> reached;
    Note(*thing, reached, after);
    ++m_SaveCount;
    try {
      m_Store->Save(root, *thing);
    } catch (sto_Exception const& refused) {
      ASSERT_EQ(refused.Kind(), sto_ErrorKind::Conflict);
      ASSERT_TRUE(MayConflict(root, thing->m_Label, reached, after));
      ++m_ConflictCount;
      return;
    }
    m_Model = std::move(after);
    m_Model.m_Roots[root] = thing->m_Label;
  }

  /// Whether a save may be refused: it would change what another root shows, or what another object in memory
  /// has saved in the same transaction.
  [[nodiscard]] bool MayConflict(std::string const& root, int label, std::set<int> const& reached,
                                 Model const& after) const {
    bool const changes = std::ranges::any_of(reached, [&](int each) {
      auto const before = m_Model.m_Things.find(each);
      return before != m_Model.m_Things.end() && !(before->second == after.m_Things.at(each));
    });
    bool const hasOtherName = std::ranges::any_of(
        m_Model.m_Roots, [&](auto const& other) { return other.second == label && other.first != root; });
    return changes && (hasOtherName || m_Transaction != nullptr);
  }

  void SaveThatFails() {
    Thing const* const thing = AnyThing();
    if (thing == nullptr) return;
    Thing::s_FailingLabel = thing->m_Label;
    EXPECT_THROW(m_Store->Save(AnyRootName(), *thing), std::runtime_error);
    Thing::s_FailingLabel = 0;
  }

  void RemoveRoot() {
    std::string const root = AnyRootName();
    EXPECT_EQ(m_Store->RemoveRoot(root), m_Model.m_Roots.erase(root) == 1);
  }

  /// Loads a root and compares everything reachable from it.
  void Load(std::string const& root, bool adopt) {
    auto const expected = m_Model.m_Roots.find(root);
    ASSERT_EQ(m_Store->HasRoot(root), expected != m_Model.m_Roots.end()) << root;
    if (expected == m_Model.m_Roots.end()) return;
    std::vector<std::shared_ptr<Thing>> all;
    {
      Thing::s_Arena.clear();
      std::shared_ptr<Thing> const thing = m_Store->LoadShared<Thing>(root);
      ASSERT_EQ(thing->m_Label, expected->second);
      Thing::s_Arena.push_back(thing);
      std::map<int, Thing*> byLabel;
      for (std::shared_ptr<Thing> const& each : Thing::s_Arena)
        if (byLabel.emplace(each->m_Label, each.get()).second)
          all.push_back(each);
        else
          ASSERT_EQ(byLabel[each->m_Label], each.get()) << "one object became two";
      Thing::s_Arena.clear();
    }
    std::map<int, Thing const*> live;
    for (std::shared_ptr<Thing> const& each : m_Things) live.emplace(each->m_Label, each.get());
    for (std::shared_ptr<Thing> const& each : all) {
      ASSERT_EQ(each->AsPlain(), m_Model.m_Things.at(each->m_Label)) << each->m_Label;
      auto const same = live.find(each->m_Label);
      if (same == live.end()) continue;
      ASSERT_EQ(each->m_Uid.Entry(), same->second->m_Uid.Entry()) << each->m_Label;
    }
    if (adopt) m_Things = all;
  }

  void VerifyAll() {
    std::vector<std::string> roots;
    for (auto const& [root, label] : m_Model.m_Roots) roots.push_back(root);
    ASSERT_EQ(m_Store->Roots(), roots);
    ASSERT_EQ(m_Store->ObjectCount(),
              static_cast<std::int64_t>(m_Model.m_Things.size() + m_Model.m_Lists.size()));
    for (std::string const& root : roots) Load(root, false);
  }

  void BeginOrEnd() {
    if (m_Transaction == nullptr) {
      m_Transaction = std::make_unique<sto_Transaction>(*m_Store);
      m_Before = m_Model;
    } else if (Below(2) == 0) {
      m_Transaction->Commit();
      m_Transaction.reset();
    } else {
      m_Transaction.reset();
      m_Model = m_Before;
    }
  }

  void Reopen() {
    if (m_Transaction != nullptr) m_Model = m_Before;
    m_Transaction.reset();
    m_Store.reset();
    ASSERT_EQ(IntegrityOf(Path()), "ok");
    m_Store = std::make_unique<sto_Store>(Open());
    if (Below(2) == 0) m_Things.clear();
    // The new session does not know the objects in memory: saved again, they are new objects.
    for (std::shared_ptr<Thing> const& thing : m_Things) {
      thing->m_Label = ++m_LastLabel;
      thing->m_ListLabel = ++m_LastLabel;
    }
  }

  void Step() {
    int const chance = Below(1000);
    if (chance < 180)
      Make();
    else if (chance < 430) {
      if (Thing* const thing = AnyThing()) Change(*thing);
    } else if (chance < 530)
      Drop();
    else if (chance < 760)
      Save();
    else if (chance < 790)
      SaveThatFails();
    else if (chance < 820)
      RemoveRoot();
    else if (chance < 900)
      Load(AnyRootName(), false);
    else if (chance < 920)
      Load(AnyRootName(), true);
    else if (chance < 985)
      BeginOrEnd();
    else
      Reopen();
  }

  std::mt19937 m_Random{GetParam()};
  std::unique_ptr<sto_Store> m_Store;
  std::unique_ptr<sto_Transaction> m_Transaction;
  std::vector<std::shared_ptr<Thing>> m_Things;
  Model m_Model;
  Model m_Before; // at the start of the open transaction
  int m_LastLabel = 0;
  int m_SaveCount = 0;
  int m_ConflictCount = 0;
};

TEST_P(StoreModel, StoreMatchesTheModelAfterEachStep) {
  for (int step = 0; step < 6000; ++step) {
    SCOPED_TRACE("seed " + std::to_string(GetParam()) + " step " + std::to_string(step));
    Step();
    if (step % 100 == 0) VerifyAll();
    if (HasFailure()) return;
  }
  VerifyAll();
  Reopen();
  VerifyAll();
  EXPECT_GT(m_ConflictCount, 0);
  EXPECT_LT(m_ConflictCount, m_SaveCount / 3);
}

INSTANTIATE_TEST_SUITE_P(Seeds, StoreModel, testing::ValuesIn(Seeds({1U, 2U, 3U, 20240611U})));

} // namespace
