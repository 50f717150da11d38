#include <array>
#include <list>
#include <map>
#include <optional>

#include "describe/dsc_Variant.h"
#include "store/sto_LoadScope.h"
#include "tests/describe/DescribedTest.h"

// Pointers inside values, containers and objects by value: chains of any length, and rings through them.

namespace {

class RingNode;

/// A value that leads to an object.
struct RingEdge {
  KVL_VALUE(RingEdge)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Weight));
    field(KVL_F(m_To));
  }
  double m_Weight = 0;
  std::shared_ptr<RingNode> m_To;
};

/// An object by value that leads to one, and may lead back to what has it.
class RingLeaf {
 public:
  KVL_PERSISTED(RingLeaf, 0x720A01, "RingLeaf", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_To));
    field(KVL_F(m_Parent));
    field(KVL_F(m_Calls), kvl::Transient());
  }
  RingLeaf();
  RingLeaf(RingLeaf const&) = delete;
  RingLeaf(RingLeaf&&) noexcept;
  RingLeaf& operator=(RingLeaf const&) = delete;
  RingLeaf& operator=(RingLeaf&&) noexcept;
  ~RingLeaf();
  std::shared_ptr<RingNode> m_To;
  std::weak_ptr<RingNode> m_Parent;
  int m_Calls = 0;

 private:
  void AfterRead(int) { ++m_Calls; }
};

/// Leads to others in many ways.
class RingNode : public kvl::Polymorphic {
 public:
  KVL_PERSISTED(RingNode, kvl::Polymorphic, 0x720A02, "RingNode", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Number));
    field(KVL_F(m_Edges));
    field(KVL_F(m_List));
    field(KVL_F(m_Array));
    field(KVL_F(m_Map));
    field(KVL_F(m_Numbered));
    field(KVL_F(m_Optional));
    field(KVL_F(m_Choice));
    field(KVL_F(m_Leaf));
    field(KVL_F(m_Leaves));
    field(KVL_F(m_After));
  }
  RingNode() = default;
  explicit RingNode(int number) : m_Number(number), m_After(-number) {}

  int m_Number = 0;
  std::vector<RingEdge> m_Edges;
  std::list<std::shared_ptr<RingNode>> m_List;
  std::array<std::shared_ptr<RingNode>, 2> m_Array;
  std::map<std::string, std::shared_ptr<RingNode>> m_Map;
  std::map<double, std::vector<std::shared_ptr<RingNode>>> m_Numbered;
  std::optional<std::shared_ptr<RingNode>> m_Optional;
  std::variant<int, std::shared_ptr<RingNode>> m_Choice;
  RingLeaf m_Leaf;
  std::vector<RingLeaf> m_Leaves;
  int m_After = 0; // a field after all of these
};

RingLeaf::RingLeaf() = default;
RingLeaf::RingLeaf(RingLeaf&&) noexcept = default;
RingLeaf& RingLeaf::operator=(RingLeaf&&) noexcept = default;
RingLeaf::~RingLeaf() = default;

class RingHub : public RingNode {
 public:
  KVL_PERSISTED(RingHub, RingNode, 0x720A03, "RingHub", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Spokes)); }
  explicit RingHub(int number) : RingNode(number) {}
  std::list<RingEdge> m_Spokes;
};

/// A way from one node to another.
struct RingWay {
  char const* m_Name;
  void (*m_Set)(RingNode& from, std::shared_ptr<RingNode> const& to);
  std::shared_ptr<RingNode>& (*m_Get)(RingNode& from);
  bool m_IsLimited = false; ///< it is written inside its holder, so a long chain is refused when it is saved
};

std::ostream& operator<<(std::ostream& out, RingWay const& way) {
  return out << way.m_Name;
}

using RingPtr = std::shared_ptr<RingNode>;

RingWay const Ways[] = {
    {"Edges",
     [](RingNode& from, RingPtr const& to) {
       from.m_Edges.assign(2, {1.5, to});
     },
     [](RingNode& from) -> RingPtr& { return from.m_Edges.at(1).m_To; }},
    {"List",
     [](RingNode& from, RingPtr const& to) {
       from.m_List = {nullptr, to};
     },
     [](RingNode& from) -> RingPtr& { return from.m_List.back(); }},
    {"Array", [](RingNode& from, RingPtr const& to) { from.m_Array[1] = to; },
     [](RingNode& from) -> RingPtr& { return from.m_Array[1]; }},
    {"Map", [](RingNode& from, RingPtr const& to) { from.m_Map["x"] = to; },
     [](RingNode& from) -> RingPtr& { return from.m_Map.at("x"); }, true},
    {"Numbered",
     [](RingNode& from, RingPtr const& to) {
       from.m_Numbered[2.5] = {nullptr, to};
     },
     [](RingNode& from) -> RingPtr& { return from.m_Numbered.at(2.5).at(1); }},
    {"Optional", [](RingNode& from, RingPtr const& to) { from.m_Optional = to; },
     [](RingNode& from) -> RingPtr& { return from.m_Optional.value(); }},
    {"Choice", [](RingNode& from, RingPtr const& to) { from.m_Choice = to; },
     [](RingNode& from) -> RingPtr& { return std::get<1>(from.m_Choice); }},
    {"Leaf", [](RingNode& from, RingPtr const& to) { from.m_Leaf.m_To = to; },
     [](RingNode& from) -> RingPtr& { return from.m_Leaf.m_To; }, true},
    {"Leaves",
     [](RingNode& from, RingPtr const& to) {
       from.m_Leaves.resize(3);
       from.m_Leaves[2].m_To = to;
     },
     [](RingNode& from) -> RingPtr& { return from.m_Leaves.at(2).m_To; }, true},
};

class DescribedRings : public DescribedTest, public testing::WithParamInterface<RingWay> {
 protected:
  DescribedRings() { RingHub::Declare(m_Registrar); }
  sto_Store Open(sto_Mode mode = sto_Mode::ReadWrite) {
    return sto_Store::Open(Path(), mode, m_Registrar, StrictOptions());
  }
  /// A chain of nodes, which a ring closes if `isRing`.
  static RingPtr Make(RingWay const& way, int length) {
    RingPtr first;
    for (int i = length; i > 0; --i) {
      RingPtr node = i % 2 == 0 ? std::make_shared<RingHub>(i) : std::make_shared<RingNode>(i);
      if (first != nullptr) way.m_Set(*node, first);
      first = std::move(node);
    }
    return first;
  }
  static RingPtr Next(RingWay const& way, RingNode& node, int length) {
    return node.m_Number == length ? nullptr : way.m_Get(node);
  }
  static void Free(RingWay const& way, RingPtr first, int length) {
    while (first != nullptr) {
      RingPtr next = Next(way, *first, length);
      if (next != nullptr) {
        way.m_Get(*first) = nullptr;
        if (way.m_Name == std::string("Edges")) first->m_Edges.clear();
      }
      first = std::move(next);
    }
  }

  cls_ClassRegistrar m_Registrar;
};

TEST_P(DescribedRings, ChainIsWhatItWas) {
  RingWay const way = GetParam();
  int const length = way.m_IsLimited ? 300 : 3000;
  {
    RingPtr chain = Make(way, length);
    sto_Store store = Open(sto_Mode::Create);
    store.Save("root", *chain);
    store.Close();
    Free(way, std::move(chain), length);
  }
  sto_Store store = Open();
  int const objects = static_cast<int>(store.ObjectCount());
  RingPtr loaded = store.LoadShared<RingNode>("root");
  store.Save("root", *loaded);
  EXPECT_EQ(store.ObjectCount(), objects) << "what was loaded is what is saved";
  EXPECT_EQ(store.CollectGarbage(), 0);
  int number = 0;
  for (RingPtr node = loaded; node != nullptr; node = Next(way, *node, length)) {
    ASSERT_EQ(node->m_Number, ++number);
    ASSERT_EQ(node->m_After, -number);
    ASSERT_EQ(dynamic_cast<RingHub*>(node.get()) != nullptr, number % 2 == 0);
  }
  EXPECT_EQ(number, length);
  Free(way, std::move(loaded), length);
}

TEST_P(DescribedRings, RingOfDerivedObjectsLeadsBack) {
  RingWay const way = GetParam();
  {
    RingPtr const first = std::make_shared<RingHub>(1);
    RingPtr const second = std::make_shared<RingHub>(2);
    way.m_Set(*first, second);
    way.m_Set(*second, first);
    Open(sto_Mode::Create).Save("root", *first);
    way.m_Get(*second) = nullptr;
    second->m_Edges.clear();
  }
  sto_Store store = Open();
  RingPtr const loaded = store.LoadShared<RingNode>("root");
  RingPtr const second = way.m_Get(*loaded);
  EXPECT_EQ(second->m_Number, 2);
  EXPECT_EQ(way.m_Get(*second), loaded);
  EXPECT_EQ(loaded->m_Leaf.m_Calls, 1);
  way.m_Get(*second) = nullptr;
  second->m_Edges.clear();
}

INSTANTIATE_TEST_SUITE_P(Ways, DescribedRings, testing::ValuesIn(Ways),
                         [](auto const& way) { return std::string(way.param.m_Name); });

TEST_F(DescribedRings, MapsOfAnyLengthOfChainAreRefusedWhenTheyAreSaved) {
  RingPtr chain = Make(Ways[3], 1500);
  {
    sto_Store store = Open(sto_Mode::Create);
    EXPECT_THROW(store.Save("root", *chain), sto_Exception);
    EXPECT_FALSE(store.HasRoot("root"));
  }
  Free(Ways[3], std::move(chain), 1500);
}

TEST_F(DescribedRings, ObjectsByValueLeadBackToWhatHasThem) {
  auto const parent = std::make_shared<RingHub>(1);
  parent->m_Leaves.resize(3);
  for (RingLeaf& leaf : parent->m_Leaves) leaf.m_Parent = parent;
  parent->m_Leaf.m_Parent = parent;
  Open(sto_Mode::Create).Save("root", *parent);
  sto_Store store = Open();
  auto const loaded = store.LoadShared<RingHub>("root");
  EXPECT_EQ(loaded->m_Leaf.m_Parent.lock(), loaded);
  ASSERT_EQ(loaded->m_Leaves.size(), 3U);
  for (RingLeaf const& leaf : loaded->m_Leaves) {
    EXPECT_EQ(leaf.m_Parent.lock(), loaded);
    EXPECT_EQ(leaf.m_Calls, 1);
  }
}

TEST_F(DescribedRings, FieldsOfADerivedClassAreReadToo) {
  auto const hub = std::make_shared<RingHub>(1);
  hub->m_Spokes = {{1, nullptr}, {2, std::make_shared<RingNode>(5)}};
  hub->m_Edges = {{3, std::make_shared<RingNode>(6)}};
  Open(sto_Mode::Create).Save("root", *hub);
  sto_Store store = Open();
  auto const loaded = store.LoadShared<RingHub>("root");
  EXPECT_EQ(loaded->m_Spokes.front().m_To, nullptr);
  EXPECT_EQ(loaded->m_Spokes.back().m_To->m_Number, 5);
  EXPECT_EQ(loaded->m_Edges.front().m_To->m_Number, 6);
}

// --- Copies that are made before such fields are read

/// Leads to others in a map only.
class RingBag {
 public:
  KVL_PERSISTED(RingBag, 0x720A04, "RingBag", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Map)); }
  RingBag() = default;
  std::map<std::string, std::shared_ptr<RingNode>> m_Map;
};

/// A class by hand, whose constructor copies and moves what it reads.
class RingKeeper {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x720A05; }
  RingKeeper() = default;
  explicit RingKeeper(cls_ReadVisitor const& visitor) : m_Uid(visitor.GetUid()) {
    RingBag read{cls_ReadVisitor(visitor, Field())};
    m_WasReadLater = read.m_Map.empty();
    m_Copy = read;
    m_Bag = std::move(read);
  }
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    m_Bag.DBWrite(cls_WriteVisitor(visitor, Field(), nullptr, &m_Bag));
  }
  static cls_FieldHandle Field() { return {0, "m_Bag"_cow}; }

  RingBag m_Bag, m_Copy;
  bool m_WasReadLater = false;
  cls_Uid m_Uid;
};

TEST_F(DescribedRings, CopyOfAnObjectThatIsNotWholeYetIsAnotherObject) {
  RingBag::Declare(m_Registrar);
  m_Registrar.AddClassMD(new cls_TypeAdapter<RingKeeper>("RingKeeper"_cow, 1, 1))
      .AddAttribute(RingKeeper::Field(), ATTR_OBJECT, 1, COLLECTION_NONE);
  {
    RingKeeper keeper;
    keeper.m_Bag.m_Map["a"] = std::make_shared<RingNode>(1);
    Open(sto_Mode::Create).Save("root", keeper);
  }
  sto_Store store = Open();
  std::unique_ptr<RingKeeper> const loaded = store.Load<RingKeeper>("root");
  EXPECT_TRUE(loaded->m_WasReadLater);
  EXPECT_EQ(loaded->m_Bag.m_Map.at("a")->m_Number, 1);
  EXPECT_EQ(loaded->m_Copy.m_Map, loaded->m_Bag.m_Map);
  auto const before = store.ObjectCount();
  store.Save("root", *loaded);
  EXPECT_EQ(store.ObjectCount(), before) << "the original is saved where it was";
  loaded->m_Copy.m_Map.clear();
  store.Save("copy", loaded->m_Copy);
  EXPECT_EQ(store.ObjectCount(), before + 2) << "the copy and its map are new";
  EXPECT_EQ(store.Load<RingKeeper>("root")->m_Bag.m_Map.size(), 1U);
}

// --- What was a pointer of an older version, and what is only written

class RingOld {
 public:
  KVL_PERSISTED(RingOld, 0x720A06, "RingLink", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Next)); }
  RingOld() = default;
  std::shared_ptr<RingOld> m_Next;
};
class RingNew {
 public:
  KVL_PERSISTED(RingNew, 0x720A06, "RingLink", 2)
  static constexpr void Describe(auto& field) {
    using namespace kvl;
    field("m_Next"_field, Dropped(&RingNew::Take));
    field(KVL_F(m_Nexts), Since(2));
  }
  RingNew() = default;
  std::vector<std::shared_ptr<RingNew>> m_Nexts;

 private:
  void Take(std::shared_ptr<RingNew> next) { m_Nexts.push_back(std::move(next)); }
};

TEST_F(DescribedRings, PointersOfALongChainAreDropped) {
  auto first = std::make_shared<RingOld>();
  for (int i = 1; i < 3000; ++i) {
    auto next = std::make_shared<RingOld>();
    next->m_Next = std::move(first);
    first = std::move(next);
  }
  SaveNew(*first);
  while (first != nullptr) first = std::exchange(first->m_Next, nullptr);
  std::shared_ptr<RingNew> loaded = Load<RingNew>();
  int count = 0;
  for (; loaded != nullptr; ++count) {
    auto next = loaded->m_Nexts.empty() ? nullptr : loaded->m_Nexts[0];
    loaded->m_Nexts.clear();
    loaded = std::move(next);
  }
  EXPECT_EQ(count, 3000);
}

/// Owns its parts.
class RingOwner {
 public:
  KVL_PERSISTED(RingOwner, 0x720A07, "RingOwner", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Part));
    field(KVL_F(m_Parts));
  }
  RingOwner() = default;
  explicit RingOwner(int number) : m_Part(std::make_unique<RingNode>(number)) {
    m_Parts.push_back(std::make_unique<RingNode>(number));
  }
  [[nodiscard]] int Number() const { return m_Parts.at(0)->m_Number + m_Part->m_Number; }

 private:
  std::unique_ptr<RingNode> m_Part;
  std::vector<std::unique_ptr<RingNode>> m_Parts;
};

/// Stores numbers as objects that end when they are written, far down a chain.
class RingConverted {
 public:
  KVL_PERSISTED(RingConverted, 0x720A08, "RingConverted", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Alone), kvl::As<RingOwner>(&RingConverted::To, &RingConverted::From));
    field(KVL_F(m_Shared),
          kvl::As<std::shared_ptr<RingOwner>>(&RingConverted::ToShared, &RingConverted::FromShared));
    field(KVL_F(m_Next));
  }
  RingConverted() = default;
  int m_Alone = 7;
  int m_Shared = 8;
  std::unique_ptr<RingConverted> m_Next;

 private:
  static RingOwner To(int number) { return RingOwner(number); }
  static int From(RingOwner const& owner) { return owner.Number() / 2; }
  static std::shared_ptr<RingOwner> ToShared(int number) { return std::make_shared<RingOwner>(number); }
  static int FromShared(std::shared_ptr<RingOwner> const& owner) { return owner->Number() / 2; }
};

TEST_F(DescribedRings, WhatIsWrittenFromATemporaryObjectIsWrittenAtOnce) {
  RingConverted first;
  for (int i = 0; i < cls_LaterReads::MaxNested + 10; ++i) {
    auto next = std::make_unique<RingConverted>();
    next->m_Next = std::move(first.m_Next);
    first.m_Next = std::move(next);
  }
  RingNode::Declare(m_Registrar);
  SaveNew(first);
  std::unique_ptr<RingConverted> const loaded = Load<RingConverted>();
  int count = 0;
  for (RingConverted const* each = loaded.get(); each != nullptr; each = each->m_Next.get(), ++count) {
    ASSERT_EQ(each->m_Alone, 7);
    ASSERT_EQ(each->m_Shared, 8);
  }
  EXPECT_EQ(count, cls_LaterReads::MaxNested + 11);
}

// --- A load inside a load that fails

class RingFails {
 public:
  KVL_PERSISTED(RingFails, 0x720A09, "RingFails", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Part));
    field(KVL_F(m_Number), kvl::As<int>(&RingFails::To, &RingFails::From));
  }
  RingFails() = default;
  std::shared_ptr<RingNode> m_Part;
  int m_Number = 0;
  static inline bool s_Fails = false;

 private:
  static int To(int number) { return number; }
  static int From(int number) {
    if (s_Fails) throw std::runtime_error("no");
    return number;
  }
};
class RingTries {
 public:
  KVL_PERSISTED(RingTries, 0x720A0A, "RingTries", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Number), kvl::As<int>(&RingTries::To, &RingTries::From));
    field(KVL_F(m_Part));
  }
  RingTries() = default;
  int m_Number = 0;
  std::shared_ptr<RingNode> m_Part;
  static inline sto_Store* s_Store = nullptr;

 private:
  static int To(int number) { return number; }
  static int From(int number) {
    if (s_Store == nullptr) return number;
    EXPECT_THROW(static_cast<void>(s_Store->Load<RingFails>("fails")), std::runtime_error);
    return number;
  }
};

TEST_F(DescribedRings, LoadThatFailedInsideAnotherLeavesNoHalfObjects) {
  RingFails::Declare(m_Registrar);
  RingTries::Declare(m_Registrar);
  {
    RingFails fails;
    fails.m_Part = std::make_shared<RingNode>(1);
    fails.m_Part->m_Map["a"] = std::make_shared<RingNode>(2); // filled at the end of the load
    RingTries tries;
    tries.m_Part = fails.m_Part;
    sto_Store store = Open(sto_Mode::Create);
    store.Save("fails", fails);
    store.Save("tries", tries);
  }
  sto_Store store = Open();
  RingFails::s_Fails = true;
  RingTries::s_Store = &store;
  std::unique_ptr<RingTries> const loaded = store.Load<RingTries>("tries");
  RingTries::s_Store = nullptr;
  RingFails::s_Fails = false;
  EXPECT_EQ(loaded->m_Part->m_Map.at("a")->m_Number, 2);
}

} // namespace
