// Graphs of described objects: of any depth, with ways back, and what is called when they are whole.

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <stdexcept>
#include <vector>

#include "tests/describe/DescribedTest.h"
#include "tests/support/Seeds.h"

namespace {

class GraphPart : public kvl::Polymorphic {
 public:
  KVL_PERSISTED(GraphPart, kvl::Polymorphic, 0x720501, "GraphPart", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Number));
    field(KVL_F(m_Next));
    field(KVL_F(m_Back));
    field(KVL_F(m_Parts));
    field(KVL_F(m_Owned));
    field(KVL_F(m_Seen));
    field(KVL_F(m_Calls), kvl::Transient());
    field(KVL_F(m_NextWasThere), kvl::Transient());
  }
  explicit GraphPart(int number) : m_Number(number) {}

  /// Takes the pointers away one by one, so that destructors do not nest.
  static void Free(std::shared_ptr<GraphPart> first) {
    while (first != nullptr) first = std::exchange(first->m_Next, nullptr);
  }
  static std::shared_ptr<GraphPart> Chain(int length) {
    std::shared_ptr<GraphPart> first;
    for (; length > 0; --length) {
      auto part = std::make_shared<GraphPart>(length);
      part->m_Next = std::exchange(first, part);
    }
    return first;
  }

  /// Takes the pointers of a ring away, so that it is freed.
  void Cut() {
    m_Next = nullptr;
    m_Parts.clear();
    m_Seen = nullptr;
  }

  int m_Number = 0;
  std::shared_ptr<GraphPart> m_Next;
  std::weak_ptr<GraphPart> m_Back;
  std::vector<std::shared_ptr<GraphPart>> m_Parts;
  std::vector<std::unique_ptr<GraphPart>> m_Owned;
  std::shared_ptr<GraphPart const> m_Seen;
  int m_Calls = 0;
  bool m_NextWasThere = false;

 private:
  void AfterRead(int) {
    ++m_Calls;
    m_NextWasThere = m_Next != nullptr;
  }
};

class GraphWheel : public GraphPart {
 public:
  KVL_PERSISTED(GraphWheel, GraphPart, 0x720502, "GraphWheel", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Radius)); }
  explicit GraphWheel(double radius) : GraphPart(100), m_Radius(radius) {}
  double m_Radius = 0;
};

class DescribedGraphs : public DescribedTest {
 protected:
  DescribedGraphs() { GraphWheel::Declare(m_Registrar); }
  sto_Store Open() { return sto_Store::Open(Path(), sto_Mode::ReadWrite, m_Registrar, StrictOptions()); }
  void Save(GraphPart const& part) {
    sto_Store store = sto_Store::Open(Path(), sto_Mode::Create, m_Registrar, StrictOptions());
    store.Save("root", part);
  }
  cls_ClassRegistrar m_Registrar;
};

TEST_F(DescribedGraphs, ChainOfAnyLengthIsSavedAndLoaded) {
  int const length = TestsAllSeeds() ? 1'000'000 : 50'000;
  std::shared_ptr<GraphPart> chain = GraphPart::Chain(length);
  Save(*chain);
  GraphPart::Free(std::move(chain));
  sto_Store store = Open();
  std::shared_ptr<GraphPart> loaded = store.LoadShared<GraphPart>("root");
  int number = 0;
  for (GraphPart const* part = loaded.get(); part != nullptr; part = part->m_Next.get()) {
    ASSERT_EQ(part->m_Number, ++number);
    ASSERT_EQ(part->m_Calls, 1);
    ASSERT_EQ(part->m_NextWasThere, number < length);
  }
  EXPECT_EQ(number, length);
  GraphPart::Free(std::move(loaded));
}

TEST_F(DescribedGraphs, DeepTreeOfOwnedPartsIsSavedAndLoaded) {
  GraphPart root(0);
  GraphPart* last = &root;
  for (int i = 1; i <= 3000; ++i) {
    last->m_Owned.push_back(nullptr);
    last->m_Owned.push_back(std::make_unique<GraphPart>(i));
    last = last->m_Owned.back().get();
  }
  Save(root);
  sto_Store store = Open();
  std::unique_ptr<GraphPart> const loaded = store.Load<GraphPart>("root");
  int depth = 0;
  for (GraphPart const* part = loaded.get(); !part->m_Owned.empty(); part = part->m_Owned[1].get()) {
    ASSERT_EQ(part->m_Owned[0], nullptr);
    ASSERT_EQ(part->m_Owned[1]->m_Number, ++depth);
  }
  EXPECT_EQ(depth, 3000);
}

TEST_F(DescribedGraphs, ObjectsOfDerivedClassesMayLeadBackToEachOther) {
  auto const wheel = std::make_shared<GraphWheel>(2.5);
  auto const part = std::make_shared<GraphPart>(1);
  part->m_Next = wheel;
  part->m_Parts = {wheel, part, nullptr, wheel};
  part->m_Seen = wheel;
  wheel->m_Next = part;
  wheel->m_Back = part;
  Save(*part);
  part->Cut();
  sto_Store store = Open();
  std::shared_ptr<GraphPart> const loaded = store.LoadShared<GraphPart>("root");
  auto const found = std::dynamic_pointer_cast<GraphWheel>(loaded->m_Next);
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(found->m_Radius, 2.5);
  EXPECT_EQ(found->m_Next, loaded);
  EXPECT_EQ(found->m_Back.lock(), loaded);
  EXPECT_EQ(loaded->m_Seen, found);
  EXPECT_EQ(loaded->m_Parts, (std::vector<std::shared_ptr<GraphPart>>{found, loaded, nullptr, found}));
  loaded->Cut();
}

TEST_F(DescribedGraphs, WeakPointerToWhatNothingHoldsIsEmpty) {
  auto const kept = std::make_shared<GraphPart>(2);
  GraphPart root(1);
  root.m_Back = kept;
  {
    sto_Store store = sto_Store::Open(Path(), sto_Mode::Create, m_Registrar, StrictOptions());
    store.Save("kept", *kept);
    store.Save("root", root);
  }
  sto_Store store = Open();
  EXPECT_TRUE(store.Load<GraphPart>("root")->m_Back.expired());
}

/// What a class by hand holds by value.
class GraphLeaf {
 public:
  KVL_PERSISTED(GraphLeaf, 0x720504, "GraphLeaf", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Next));
    field(KVL_F(m_Parts));
    field(KVL_F(m_Calls), kvl::Transient());
  }
  GraphLeaf() = default;
  [[nodiscard]] bool IsWhole() const {
    return m_Next != nullptr && m_Next->m_Number == 1 && m_Parts.size() == 2 && m_Parts[0] == nullptr &&
           m_Parts[1] == m_Next && m_Calls == 1;
  }
  std::shared_ptr<GraphPart> m_Next;
  std::vector<std::shared_ptr<GraphPart>> m_Parts;
  int m_Calls = 0;

 private:
  void AfterRead(int) { ++m_Calls; }
};

/// A class by hand, whose constructor copies and moves what it reads. The one inside all others is so deep that the
/// pointers of what it reads are filled later.
class GraphKeeper {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x720505; }
  GraphKeeper() : m_Moved(1) {}
  explicit GraphKeeper(cls_ReadVisitor const& visitor)
      : m_Inner(sto_ReadOwned<GraphKeeper>(visitor, InnerField())), m_Uid(visitor.GetUid()) {
    GraphLeaf read{cls_ReadVisitor(visitor, Field())};
    m_WasFilledLater = read.m_Next == nullptr;
    m_Copy = read;
    GraphLeaf const again(read);
    m_Copies.push_back(again);
    m_Moved.push_back(std::move(read));
    m_Moved.reserve(100); // moves it once more
    m_Assigned = GraphLeaf{cls_ReadVisitor(visitor, Field())};
    GraphLeaf const dropped{cls_ReadVisitor(visitor, Field())};
  }
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    GraphLeaf const& leaf = m_Moved.front();
    leaf.DBWrite(cls_WriteVisitor(visitor, Field(), nullptr, &leaf));
    if (m_Inner != nullptr) m_Inner->DBWrite(cls_WriteVisitor(visitor, InnerField(), nullptr, m_Inner.get()));
  }
  static cls_FieldHandle Field() { return {0, "m_Leaf"_cow}; }
  static cls_FieldHandle InnerField() { return {1, "m_Inner"_cow}; }

  GraphLeaf m_Copy, m_Assigned;
  std::vector<GraphLeaf> m_Moved, m_Copies;
  bool m_WasFilledLater = false;
  std::unique_ptr<GraphKeeper> m_Inner;
  cls_Uid m_Uid;
};

TEST_F(DescribedGraphs, CopiedAndMovedObjectsGetTheirPointersToo) {
  GraphLeaf::Declare(m_Registrar);
  m_Registrar.AddClassMD(new cls_TypeAdapter<GraphKeeper>("GraphKeeper"_cow, 1, 1))
      .AddAttribute(GraphKeeper::Field(), ATTR_OBJECT, 1, COLLECTION_NONE)
      .AddAttribute(GraphKeeper::InnerField(), ATTR_OBJECT, 1, COLLECTION_NONE);
  {
    auto keeper = std::make_unique<GraphKeeper>();
    for (int i = 0; i <= cls_LaterReads::MaxNested; ++i) {
      keeper->m_Moved.front().m_Next = std::make_shared<GraphPart>(1);
      keeper->m_Moved.front().m_Parts = {nullptr, keeper->m_Moved.front().m_Next};
      auto outer = std::make_unique<GraphKeeper>();
      outer->m_Inner = std::exchange(keeper, nullptr);
      keeper = std::move(outer);
    }
    sto_Store store = sto_Store::Open(Path(), sto_Mode::Create, m_Registrar, StrictOptions());
    store.Save("root", *keeper->m_Inner);
  }
  sto_Store store = Open();
  std::unique_ptr<GraphKeeper> const loaded = store.Load<GraphKeeper>("root");
  EXPECT_FALSE(loaded->m_WasFilledLater);
  GraphKeeper const* keeper = loaded.get();
  for (;; keeper = keeper->m_Inner.get()) {
    EXPECT_TRUE(keeper->m_Copy.IsWhole());
    EXPECT_TRUE(keeper->m_Copies.front().IsWhole());
    EXPECT_TRUE(keeper->m_Moved.front().IsWhole());
    EXPECT_TRUE(keeper->m_Assigned.IsWhole());
    if (keeper->m_Inner == nullptr) break;
  }
  EXPECT_TRUE(keeper->m_WasFilledLater);
}

/// Objects by value, which are moved into their places.
class GraphBox {
 public:
  KVL_PERSISTED(GraphBox, 0x720506, "GraphBox", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Leaf));
    field(KVL_F(m_Leaves));
    field(KVL_F(m_ByName));
    field(KVL_F(m_PartsByName));
  }
  GraphBox() = default;
  GraphLeaf m_Leaf;
  std::vector<GraphLeaf> m_Leaves;
  std::map<std::string, GraphLeaf> m_ByName;
  std::map<std::string, std::shared_ptr<GraphPart>> m_PartsByName;
};

TEST_F(DescribedGraphs, ObjectsByValueHaveTheirPointers) {
  auto const part = std::make_shared<GraphPart>(1);
  GraphBox box;
  box.m_Leaf.m_Next = part;
  box.m_Leaf.m_Parts = {nullptr, part};
  box.m_Leaves.assign(20, box.m_Leaf);
  box.m_ByName["a"] = box.m_Leaf;
  box.m_PartsByName["a"] = part;
  SaveNew(box);
  std::unique_ptr<GraphBox> const loaded = Load<GraphBox>();
  EXPECT_TRUE(loaded->m_Leaf.IsWhole());
  ASSERT_EQ(loaded->m_Leaves.size(), 20U);
  for (GraphLeaf const& leaf : loaded->m_Leaves)
    EXPECT_TRUE(leaf.IsWhole() && leaf.m_Next == loaded->m_Leaf.m_Next);
  EXPECT_TRUE(loaded->m_ByName.at("a").IsWhole());
  EXPECT_EQ(loaded->m_PartsByName.at("a"), loaded->m_Leaf.m_Next);
}

} // namespace
