#include "persist/pointers/cls_Pointers.h"

#include <gtest/gtest.h>

#include <map>
#include <stdexcept>
#include <string>

#include "persist/pointers/cls_ReadCow.h"
#include "tests/support/backend/PointerBackEnd.h"

// Objects behind pointers, over a back end that is no store: directly, through mementos that pass on, and
// through mementos that say nothing.

namespace {

/// A node of a graph.
class GraphNode {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x750001; }
  explicit GraphNode(cls_ReadVisitor const& visitor)
      : m_Value(visitor.Read(cls_FieldHandle("m_Value"_cow), -1)),
        m_Left(cls_ReadShared<GraphNode>(visitor, cls_FieldHandle("m_Left"_cow))),
        m_Right(cls_ReadShared<GraphNode>(visitor, cls_FieldHandle("m_Right"_cow))),
        m_Back(cls_ReadShared<GraphNode>(visitor, cls_FieldHandle("m_Back"_cow))),
        m_Own(cls_ReadOwned<GraphNode>(visitor, cls_FieldHandle("m_Own"_cow))), m_Uid(visitor.GetUid()) {
    if (m_Value == s_FailsAt) throw std::runtime_error("the constructor fails");
  }
  void DBWrite(cls_WriteVisitor const&) const {}

  int m_Value;
  std::shared_ptr<GraphNode> m_Left;
  std::shared_ptr<GraphNode> m_Right;
  std::weak_ptr<GraphNode> m_Back;
  std::unique_ptr<GraphNode> m_Own;
  cls_Uid m_Uid;
  static inline int s_FailsAt = -99;
};

class Figure {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x750002; }
  explicit Figure(cls_ReadVisitor const& visitor)
      : m_Value(visitor.Read(cls_FieldHandle("m_Value"_cow), -1)) {}
  virtual ~Figure() = default;
  virtual void DBWrite(cls_WriteVisitor const&) const {}
  [[nodiscard]] virtual int Corners() const = 0;
  int m_Value;
};

template <int CornerCount, unsigned int Id> class FigureOf : public Figure {
 public:
  static constexpr unsigned int TypeId() noexcept { return Id; }
  explicit FigureOf(cls_ReadVisitor const& visitor)
      : Figure(visitor), m_Next(cls_ReadShared<Figure>(visitor, cls_FieldHandle("m_Next"_cow))),
        m_Inner(cls_ReadOwned<Figure>(visitor, cls_FieldHandle("m_Inner"_cow))) {}
  int Corners() const override { return CornerCount; }
  std::weak_ptr<Figure> m_Next;
  std::unique_ptr<Figure> m_Inner;
};
using Triangle = FigureOf<3, 0x750003>;
using Square = FigureOf<4, 0x750004>;

/// Reads the same class as GraphNode, as another C++ class without a class ID.
struct AnyNode {
  explicit AnyNode(cls_ReadVisitor const& visitor) : m_Value(visitor.Read(cls_FieldHandle(), -1)) {}
  int m_Value;
};
/// Claims the class of GraphNode, which is registered for GraphNode.
struct FalseNode {
  static constexpr unsigned int TypeId() noexcept { return GraphNode::TypeId(); }
  explicit FalseNode(cls_ReadVisitor const&) {}
  void DBWrite(cls_WriteVisitor const&) const {}
};
/// Base of Square as it seems, without a virtual destructor.
struct FlatFigure {
  static constexpr unsigned int TypeId() noexcept { return Figure::TypeId(); }
  explicit FlatFigure(cls_ReadVisitor const&) {}
  void DBWrite(cls_WriteVisitor const&) const {}
};

enum class Way { Direct, Passed, PassedTwice, Declared, PassedAndDeclared };

std::string NameOf(testing::TestParamInfo<Way> const& info) {
  return std::array{"Direct", "Passed", "PassedTwice", "Declared",
                    "PassedAndDeclared"}[static_cast<std::size_t>(info.param)];
}

class PointersTest : public ::testing::Test {
 protected:
  PointersTest() {
    m_Classes.AddClassMD(new cls_TypeAdapter<GraphNode>("GraphNode"_cow, 1, 1));
    m_Classes.AddClassMD(new cls_AbsTypeAdapter<Figure>("Figure"_cow, 1, 1));
    m_Classes.AddClassMD(new cls_TypeAdapter<Triangle>("Triangle"_cow, 1, Figure::TypeId()));
    m_Classes.AddClassMD(new cls_TypeAdapter<Square>("Square"_cow, 2, Figure::TypeId()));
    m_Classes.CreateClassMD("Bare"_cow, 0x750005, 3, nullptr, Figure::TypeId());
  }
  ~PointersTest() override { GraphNode::s_FailsAt = -99; }

  using Held = std::map<std::string, std::int64_t>;
  void AddNode(std::int64_t id, Held held = {}) {
    m_BackEnd.m_Objects[id] = {GraphNode::TypeId(), 1, static_cast<int>(id), std::move(held)};
  }
  template <class T> void AddFigure(std::int64_t id, Held held = {}) {
    m_BackEnd.m_Objects[id] = {T::TypeId(), 1, static_cast<int>(id), std::move(held)};
  }

  /// Expects a failure, with the text of the back end.
  template <class Act> static void ExpectFault(cls_BuildFault fault, std::string const& text, Act act) {
    try {
      static_cast<void>(act());
      ADD_FAILURE() << "nothing was raised; expected: " << text;
    } catch (NotBuilt const& failure) {
      EXPECT_EQ(failure.m_Failure.m_Fault, fault);
      EXPECT_STREQ(failure.what(), ("graph: " + text).c_str());
    }
  }

  cls_ClassRegistrar m_Classes;
  PointerBackEnd m_BackEnd{m_Classes};
};

class Pointers : public PointersTest, public ::testing::WithParamInterface<Way> {
 protected:
  Pointers() {
    bool const isTwice = GetParam() == Way::PassedTwice;
    if (isTwice || GetParam() == Way::Passed || GetParam() == Way::PassedAndDeclared)
      m_BackEnd.m_Wrap = [isTwice](cls_MementoRead* memento) {
        auto* const passing = new PassingMemento(memento);
        return isTwice ? new PassingMemento(passing) : passing;
      };
    if (GetParam() != Way::Declared && GetParam() != Way::PassedAndDeclared) return;
    m_Declared = std::make_unique<cls_StoredMementoType<PointerMemento>>();
    m_PassingDeclared = std::make_unique<cls_StoredMementoType<PassingMemento>>();
  }

 private:
  std::unique_ptr<cls_StoredMementoType<PointerMemento>> m_Declared;
  std::unique_ptr<cls_StoredMementoType<PassingMemento>> m_PassingDeclared;
};

} // namespace

TEST_P(Pointers, OwnedObjectComesBack) {
  AddNode(1, {{"m_Own", 2}});
  AddNode(2, {{"m_Own", 3}});
  AddNode(3);
  std::unique_ptr<GraphNode> const node = m_BackEnd.Load<GraphNode>(1);
  EXPECT_EQ(node->m_Value, 1);
  EXPECT_EQ(node->m_Own->m_Own->m_Value, 3);
  EXPECT_EQ(node->m_Own->m_Own->m_Own, nullptr);
  EXPECT_EQ(m_BackEnd.m_BuiltByMetadata, 3);
}

TEST_P(Pointers, AbsentObjectIsNull) {
  AddNode(1, {{"m_Left", 0}, {"m_Own", 0}});
  std::unique_ptr<GraphNode> const node = m_BackEnd.Load<GraphNode>(1);
  EXPECT_EQ(node->m_Left, nullptr);
  EXPECT_EQ(node->m_Right, nullptr);
  EXPECT_EQ(node->m_Own, nullptr);
}

TEST_P(Pointers, SharedObjectIsOneObject) {
  AddNode(1, {{"m_Left", 2}, {"m_Right", 3}});
  AddNode(2, {{"m_Left", 4}});
  AddNode(3, {{"m_Right", 4}});
  AddNode(4);
  std::unique_ptr<GraphNode> const node = m_BackEnd.Load<GraphNode>(1);
  EXPECT_EQ(node->m_Left->m_Left->m_Value, 4);
  EXPECT_EQ(node->m_Left->m_Left, node->m_Right->m_Right);
  EXPECT_EQ(node->m_Left->m_Left.use_count(), 2) << "the load has let go of its objects";
  EXPECT_NE(m_BackEnd.Load<GraphNode>(1)->m_Left, node->m_Left) << "another load, other objects";
}

TEST_P(Pointers, CycleComesBackAsACycle) {
  AddNode(1, {{"m_Left", 2}});
  AddNode(2, {{"m_Left", 3}, {"m_Back", 1}});
  AddNode(3, {{"m_Back", 1}});
  std::shared_ptr<GraphNode> node = m_BackEnd.LoadShared<GraphNode>(1);
  EXPECT_EQ(node->m_Left->m_Back.lock(), node);
  EXPECT_EQ(node->m_Left->m_Left->m_Back.lock(), node);
  std::weak_ptr<GraphNode> const inner = node->m_Left;
  node.reset();
  EXPECT_TRUE(inner.expired());
}

TEST_P(Pointers, ObjectThatHoldsItselfComesBack) {
  AddNode(1, {{"m_Back", 1}});
  std::shared_ptr<GraphNode> const node = m_BackEnd.LoadShared<GraphNode>(1);
  EXPECT_EQ(node->m_Back.lock(), node);
}

TEST_P(Pointers, CycleThroughAnObjectWithOneOwnerIsRefused) {
  AddNode(1, {{"m_Left", 2}});
  AddNode(2, {{"m_Back", 1}});
  ExpectFault(cls_BuildFault::HasOneOwner,
              "Object 1 is loaded for one owner, and its own graph leads back to it: load it shared.",
              [&] { return m_BackEnd.Load<GraphNode>(1); });
  EXPECT_EQ(m_BackEnd.LoadShared<GraphNode>(1)->m_Left->m_Value, 2) << "the failed load left nothing behind";
}

TEST_P(Pointers, StoredClassIsBuiltWhereItsBaseIsAskedFor) {
  AddFigure<Square>(1, {{"m_Next", 2}, {"m_Inner", 3}});
  AddFigure<Triangle>(2);
  AddFigure<Triangle>(3);
  std::shared_ptr<Figure> const next = m_BackEnd.LoadShared<Figure>(2);
  EXPECT_EQ(next->Corners(), 3);
  std::unique_ptr<Figure> const figure =
      m_BackEnd.Load<Figure>(1); // by metadata of version 2, the next above
  auto& square = dynamic_cast<Square&>(*figure);
  EXPECT_EQ(square.m_Inner->Corners(), 3);
  EXPECT_EQ(square.m_Inner->m_Value, 3);
  EXPECT_TRUE(square.m_Next.expired()) << "nothing else holds it";
}

TEST_P(Pointers, ClassThatDoesNotDeriveFromTheOneAskedForIsRefused) {
  AddFigure<Square>(7);
  AddNode(8);
  for (auto const& load :
       {std::function<void()>([&] { static_cast<void>(m_BackEnd.Load<Triangle>(7)); }),
        std::function<void()>([&] { static_cast<void>(m_BackEnd.LoadShared<Triangle>(7)); })})
    ExpectFault(cls_BuildFault::OtherClass, "Object 7 is of class Square, not Triangle.", [&] {
      load();
      return 0;
    });
  ExpectFault(cls_BuildFault::OtherClass, "Object 8 is of class GraphNode, not Figure.",
              [&] { return m_BackEnd.Load<Figure>(8); });
}

TEST_P(Pointers, ClassThatIsNotDeclaredIsRefused) {
  m_BackEnd.m_Objects[5] = {GraphNode::TypeId(), 9, 0, {}}; // above all registered versions
  ExpectFault(cls_BuildFault::NotDeclared,
              "Object 5 is of class GraphNode, which is not declared in the class registrar.",
              [&] { return m_BackEnd.Load<GraphNode>(5); });
  m_BackEnd.m_Objects[6] = {0x7500FF, 1, 0, {}};
  ExpectFault(
      cls_BuildFault::OtherClass,
      "Object 6 is of class 0x7500FF, not GraphNode. Class 0x7500FF is not declared in the class registrar: "
      "declare it, if it derives from GraphNode.",
      [&] { return m_BackEnd.LoadShared<GraphNode>(6); });
}

TEST_P(Pointers, MetadataThatCannotBuildIsRefused) {
  m_BackEnd.m_Objects[1] = {0x750005, 3, 0, {}};
  ExpectFault(cls_BuildFault::NoConstructor,
              "Object 1 cannot be built: class Bare version 3 is registered without a constructor function.",
              [&] { return m_BackEnd.LoadShared<Figure>(1); });
  AddNode(2);
  ExpectFault(cls_BuildFault::OtherCppClass,
              "Object 2: class GraphNode version 1 is registered for another C++ class than the one that is "
              "asked for.",
              [&] { return m_BackEnd.Load<FalseNode>(2); });
  AddFigure<Square>(3);
  ExpectFault(cls_BuildFault::NoVirtualDestructor,
              "Object 3 is of class Square, but Figure, which is asked for, has no virtual destructor.",
              [&] { return m_BackEnd.Load<FlatFigure>(3); });
}

TEST_P(Pointers, CycleThroughABaseClassIsRefused) {
  AddFigure<Square>(1, {{"m_Next", 2}});
  AddFigure<Triangle>(2, {{"m_Next", 1}});
  ExpectFault(cls_BuildFault::IsUnfinished,
              "Object 1 leads back to itself while it is built through its metadata: in a cycle an object is "
              "asked for as its very class, registered with a type adapter.",
              [&] { return m_BackEnd.LoadShared<Figure>(1); });
  EXPECT_EQ(m_BackEnd.LoadShared<Square>(1)->Corners(), 4) << "as its very class its address is known";
}

TEST_P(Pointers, OneObjectAsTwoTypesIsRefused) {
  AddNode(1, {{"m_Left", 2}});
  AddNode(2);
  ExpectFault(cls_BuildFault::TwoTypes, "Object 2 is loaded as two different types.", [&] {
    return m_BackEnd.Load(1, [](cls_ReadVisitor const& visitor) {
      cls_FieldHandle const field("m_Left"_cow);
      std::shared_ptr<GraphNode> const node = cls_ReadShared<GraphNode>(visitor, field);
      return cls_ReadShared<AnyNode>(visitor, field)->m_Value;
    });
  });
}

TEST_P(Pointers, ObjectWhoseConstructorFailedIsForgotten) {
  AddNode(1, {{"m_Left", 2}});
  AddNode(2, {{"m_Left", 3}});
  AddNode(3, {{"m_Back", 2}});
  GraphNode::s_FailsAt = 2;
  auto const read = [](cls_ReadVisitor const& visitor) {
    cls_FieldHandle const field("m_Left"_cow);
    EXPECT_THROW(static_cast<void>(cls_ReadShared<GraphNode>(visitor, field)), std::runtime_error);
    GraphNode::s_FailsAt = -99;
    return cls_ReadShared<GraphNode>(visitor, field);
  };
  std::shared_ptr<GraphNode> const node = m_BackEnd.Load(1, read);
  EXPECT_EQ(node->m_Left->m_Back.lock(), node) << "and not the one that failed";
}

TEST_P(Pointers, ScopeKeepsObjectsFromLoadToLoad) {
  AddNode(1, {{"m_Left", 3}});
  AddNode(2, {{"m_Left", 3}});
  AddNode(3);
  m_BackEnd.Loaded().EnterScope();
  std::shared_ptr<GraphNode> const one = m_BackEnd.LoadShared<GraphNode>(1);
  EXPECT_EQ(m_BackEnd.LoadShared<GraphNode>(2)->m_Left, one->m_Left);
  ExpectFault(cls_BuildFault::IsInScope,
              "Object 3 is in the scope already, and loading it for one owner would make a second object of "
              "it: load it shared.",
              [&] { return m_BackEnd.Load<GraphNode>(3); });
  m_BackEnd.Loaded().LeaveScope();
  EXPECT_EQ(one->m_Left.use_count(), 1);
}

TEST_P(Pointers, ObjectWithOneOwnerIsLoadedAgainInAScopeOnceItIsGone) {
  AddNode(4);
  m_BackEnd.Loaded().EnterScope();
  std::unique_ptr<GraphNode> owned = m_BackEnd.Load<GraphNode>(4);
  ExpectFault(
      cls_BuildFault::OwnedInScope,
      "Object 4 was loaded for one owner in this scope, and is there still: load it shared each time.",
      [&] { return m_BackEnd.LoadShared<GraphNode>(4); });
  owned.reset();
  EXPECT_EQ(m_BackEnd.LoadShared<GraphNode>(4)->m_Value, 4);
  m_BackEnd.Loaded().LeaveScope();
}

TEST_P(Pointers, IdentityIsTheSameEachTimeUntilItIsUndone) {
  AddNode(3, {{"m_Left", 4}});
  AddNode(4);
  std::unique_ptr<GraphNode> const first = m_BackEnd.Load<GraphNode>(3);
  std::unique_ptr<GraphNode> const second = m_BackEnd.Load<GraphNode>(3);
  EXPECT_EQ(second->m_Uid.Entry(), first->m_Uid.Entry());
  EXPECT_EQ(second->m_Left->m_Uid.Entry(), first->m_Left->m_Uid.Entry());
  EXPECT_EQ(m_BackEnd.m_Identities.Find(first->m_Left->m_Uid)->Id(), 4);
  m_BackEnd.m_Identities.DropFrom(4); // its number was given out in work that is undone
  EXPECT_EQ(m_BackEnd.m_Identities.Find(first->m_Left->m_Uid), nullptr);
  std::unique_ptr<GraphNode> const third = m_BackEnd.Load<GraphNode>(3);
  EXPECT_EQ(third->m_Uid.Entry(), first->m_Uid.Entry());
  EXPECT_NE(third->m_Left->m_Uid.Entry(), first->m_Left->m_Uid.Entry());
}

TEST_P(Pointers, CopyOnWritePayloadIsSharedByItsHolders) {
  using Cow = cow_COW<GraphNode, cow_Direct<GraphNode>>;
  AddNode(1, {{"m_Left", 2}, {"m_Right", 2}});
  AddNode(2);
  m_BackEnd.Load(1, [](cls_ReadVisitor const& visitor) {
    auto const read = [&](char const* field) {
      return cls_ReadCow<GraphNode, cow_Direct<GraphNode>>(visitor, cls_FieldHandle(cow_String(field)));
    };
    Cow const left = read("m_Left");
    Cow const right = read("m_Right");
    EXPECT_EQ(left.ConstGet().m_Value, 2);
    EXPECT_EQ(&left.ConstGet(), &right.ConstGet());
    EXPECT_TRUE(read("m_Back").IsNull());
    ExpectFault(cls_BuildFault::TwoTypes, "Object 2 is loaded as two different types.",
                [&] { return cls_ReadShared<GraphNode>(visitor, cls_FieldHandle("m_Left"_cow)); });
    return 0;
  });
}

INSTANTIATE_TEST_SUITE_P(Ways, Pointers,
                         ::testing::Values(Way::Direct, Way::Passed, Way::PassedTwice, Way::Declared,
                                           Way::PassedAndDeclared),
                         NameOf);

using PointersOfASilentBackEnd = PointersTest;

TEST_F(PointersOfASilentBackEnd, AreReadUnsharedAndUnchecked) {
  m_BackEnd.m_Wrap = [](cls_MementoRead* memento) { return new SilentMemento(memento); };
  AddNode(1, {{"m_Left", 2}, {"m_Right", 2}, {"m_Own", 3}});
  AddNode(2);
  AddFigure<Square>(3); // another class, which nobody notices
  std::unique_ptr<GraphNode> const node = m_BackEnd.Load<GraphNode>(1);
  EXPECT_EQ(node->m_Left->m_Value, 2);
  EXPECT_EQ(node->m_Right->m_Value, 2);
  EXPECT_NE(node->m_Left, node->m_Right);
  EXPECT_EQ(node->m_Own->m_Value, 3);
  EXPECT_EQ(m_BackEnd.m_BuiltByMetadata, 0);
}

TEST_F(PointersOfASilentBackEnd, AreReadWithoutAMemento) {
  cls_ReadVisitor const nothing(nullptr);
  EXPECT_EQ(cls_ReadShared<GraphNode>(nothing, cls_FieldHandle("m_Left"_cow)), nullptr);
  EXPECT_EQ(cls_Construct<GraphNode>(nothing)->m_Value, -1);
  EXPECT_EQ(cls_ConstructShared<GraphNode>(nothing)->m_Value, -1);
}
