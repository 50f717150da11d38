#include <optional>

#include "persist/backend/cls_AgentListObj.h"
#include "persist/backend/cls_AgentMapKey2Obj.h"
#include "persist/backend/cls_ReadObjects.h"
#include "persist/backend/cls_WriteObjects.h"
#include "persist/pointers/cls_LaterPointers.h"
#include "persist/pointers/cls_ReadCow.h"
#include "tests/contract/ContractTest.h"
#include "tests/support/backend/PassingMemento.h"

// Objects behind pointers: cls_ReadOwned, cls_ReadShared and cls_ReadCow, with the mementos of the back end and
// with ones that pass on to them.

namespace {

using Node = PointerNode;
using Cow = cow_COW<Node, cow_Direct<Node>>;

cls_FieldHandle First() {
  return FieldOf("Object");
}
cls_FieldHandle Second() {
  return FieldOf("Second");
}
Cow ReadCowOf(cls_ReadVisitor const& visitor, cls_FieldHandle const& field) {
  return cls_ReadCow<Node, cow_Direct<Node>>(visitor, field);
}

class ContractPointers : public ContractTest {
 protected:
  ~ContractPointers() override { Node::s_FailsAt = Node::FailsNowhere; }

  /// Writes two objects behind pointers into the fields First and Second; a null pointer writes nothing.
  template <class T, class U = T> void WriteTwo(T const* first, U const* second = nullptr) {
    Write([=](cls_WriteVisitor const& visitor) {
      WritePointer(visitor, First(), first);
      WritePointer(visitor, Second(), second);
    });
  }
  /// Loads the root three times: through the mementos of the back end, and through ones that pass on to them,
  /// once and twice.
  void ReadEachWay(ReadFields const& read) {
    for (int const passes : {0, 1, 2}) {
      SCOPED_TRACE("passed on " + std::to_string(passes) + " times");
      Read([&](cls_ReadVisitor const& visitor) {
        if (passes == 0) return read(visitor);
        auto* const once = new PassingMemento(&MementoOf(visitor), false);
        read(cls_ReadVisitor(passes == 1 ? once : new PassingMemento(once)));
      });
    }
  }
};
CONTRACT_FIXTURE(ContractPointers);

int CornersOf(std::shared_ptr<PointerFigure> const& figure) {
  return figure == nullptr ? -1 : figure->Corners();
}

/// The table of the objects of a load, which outlives it.
std::shared_ptr<cls_LoadedObjects> TableOf(cls_ReadVisitor const& visitor) {
  cls_StoredObject* const object = cls_StoredObject::Of(&MementoOf(visitor));
  if (object == nullptr || object->StoredAt().m_Source == nullptr)
    throw std::runtime_error("the memento does not say where its object is stored");
  return object->StoredAt().m_Source->SharedLoaded();
}

/// The place of an object, of which the back end must say something.
cls_StoredObject::Place PlaceOf(cls_MementoRead* memento) {
  auto const received = Receive(memento);
  cls_StoredObject* const object = cls_StoredObject::Of(received.get());
  if (object == nullptr) throw std::runtime_error("the memento does not derive from cls_StoredObject");
  return object->StoredAt();
}
bool operator==(cls_StoredObject::Place const& one, cls_StoredObject::Place const& other) {
  return one.m_Source == other.m_Source && one.m_Id == other.m_Id;
}

// --- What comes back.

TEST_P(ContractPointers, OwnedObjectsComeBackToAnyDepth) {
  COVERS(cls_MementoRead, 5, 7, 22, 23);
  CONTRACT_NEEDS(m_OffersStoredObjects);
  {
    Node node(1);
    node.m_Own = std::make_unique<Node>(2);
    node.m_Own->m_Own = std::make_unique<Node>(3);
    WriteTwo(&node);
  }
  ReadEachWay([](cls_ReadVisitor const& visitor) {
    std::unique_ptr<Node> const node = cls_ReadOwned<Node>(visitor, First());
    ASSERT_TRUE(node != nullptr && node->m_Own != nullptr && node->m_Own->m_Own != nullptr);
    EXPECT_EQ(node->m_Value, 1);
    EXPECT_EQ(node->m_Own->m_Value, 2);
    EXPECT_EQ(node->m_Own->m_Own->m_Value, 3);
    EXPECT_EQ(node->m_Own->m_Own->m_Own, nullptr);
  });
}

TEST_P(ContractPointers, AbsentAndMissingObjectsAreNull) {
  COVERS(cls_MementoRead, 5);
  CONTRACT_NEEDS(m_OffersStoredObjects);
  Write([](cls_WriteVisitor const& visitor) {
    visitor.Memento()->WriteReference(FieldOf("Reference"), cls_Uid()); // to an object that is not stored
  });
  ReadEachWay([](cls_ReadVisitor const& visitor) {
    for (cls_FieldHandle const& field : {First(), FieldOf("Reference")}) {
      EXPECT_EQ(cls_ReadOwned<Node>(visitor, field), nullptr);
      EXPECT_EQ(cls_ReadShared<Node>(visitor, field), nullptr);
      EXPECT_TRUE(ReadCowOf(visitor, field).IsNull());
      EXPECT_EQ(cls_ReadOwned<PointerFigure>(visitor, field), nullptr);
      EXPECT_EQ(cls_ReadShared<PointerFigure>(visitor, field), nullptr);
    }
  });
}

TEST_P(ContractPointers, PointersLeftForLaterAreFilledWhenTheLoadReturns) {
  COVERS(cls_MementoRead, 5, 7);
  CONTRACT_NEEDS(m_OffersStoredObjects);
  Write([](cls_WriteVisitor const& visitor) {
    auto const shared = std::make_shared<Node>(4);
    shared->m_Left = std::make_shared<Node>(5);
    cls_WriteLater(visitor, First(), shared);
    cls_WriteLater(visitor, Second(), shared);
  });
  for (int const passes : {0, 1}) {
    std::shared_ptr<Node> first, second, none; // they outlive the load
    Read([&](cls_ReadVisitor const& visitor) {
      std::optional<cls_ReadVisitor> passing;
      if (passes == 1) passing.emplace(new PassingMemento(&MementoOf(visitor), false));
      cls_ReadVisitor const& used = passing ? *passing : visitor;
      cls_ReadLater(used, First(), first);
      cls_ReadLater(used, Second(), second);
      cls_ReadLater(used, FieldOf("Absent"), none);
    });
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first, second);
    EXPECT_EQ(first->m_Value, 4);
    EXPECT_EQ(first->m_Left->m_Value, 5);
    EXPECT_EQ(none, nullptr);
  }
}

TEST_P(ContractPointers, AnObjectSharedByTwoOwnersIsOneObject) {
  COVERS(cls_MementoRead, 3, 7);
  CONTRACT_NEEDS(m_OffersStoredObjects);
  {
    auto const shared = std::make_shared<Node>(4);
    Node one(1);
    Node two(2);
    one.m_Left = one.m_Right = two.m_Right = shared;
    shared->m_Left = std::make_shared<Node>(5);
    WriteTwo(&one, &two);
  }
  ReadEachWay([](cls_ReadVisitor const& visitor) {
    std::unique_ptr<Node> const one = cls_ReadOwned<Node>(visitor, First());
    std::unique_ptr<Node> const two = cls_ReadOwned<Node>(visitor, Second());
    ASSERT_TRUE(one != nullptr && two != nullptr && one->m_Left != nullptr);
    EXPECT_EQ(one->m_Left->m_Value, 4);
    EXPECT_EQ(one->m_Left, one->m_Right);
    EXPECT_EQ(one->m_Left, two->m_Right);
    EXPECT_EQ(two->m_Left, nullptr);
    EXPECT_EQ(one->m_Left->m_Left->m_Value, 5);
  });
}

TEST_P(ContractPointers, ALoadLetsGoOfItsObjectsAndTheNextBuildsOthers) {
  COVERS(cls_MementoRead, 3, 7);
  CONTRACT_NEEDS(m_OffersStoredObjects);
  {
    auto const shared = std::make_shared<Node>(4);
    WriteTwo(shared.get(), shared.get());
  }
  auto const read = [](cls_ReadVisitor const& visitor) { return cls_ReadShared<Node>(visitor, First()); };
  std::shared_ptr<Node> const one = Take(read);
  std::shared_ptr<Node> const other = Take(read);
  ASSERT_TRUE(one != nullptr && other != nullptr);
  EXPECT_EQ(one.use_count(), 1);
  EXPECT_NE(one, other);
  EXPECT_EQ(one->m_Uid.Entry(), other->m_Uid.Entry());
}

TEST_P(ContractPointers, ACycleComesBackAsACycle) {
  COVERS(cls_MementoRead, 7);
  CONTRACT_NEEDS(m_OffersStoredObjects);
  {
    auto const top = std::make_shared<Node>(1);
    top->m_Left = std::make_shared<Node>(2);
    top->m_Left->m_Left = std::make_shared<Node>(3);
    top->m_Back = top;
    top->m_Left->m_Back = top->m_Left->m_Left->m_Back = top;
    WriteTwo(top.get());
  }
  ReadEachWay([](cls_ReadVisitor const& visitor) {
    std::shared_ptr<Node> const top = cls_ReadShared<Node>(visitor, First());
    ASSERT_TRUE(top != nullptr && top->m_Left != nullptr && top->m_Left->m_Left != nullptr);
    EXPECT_EQ(top->m_Back.lock(), top);
    EXPECT_EQ(top->m_Left->m_Back.lock(), top);
    EXPECT_EQ(top->m_Left->m_Left->m_Back.lock(), top);
  });
}

TEST_P(ContractPointers, TheStoredClassIsBuiltWhereItsBaseIsAskedFor) {
  COVERS(cls_MementoRead, 7, 8, 22, 23);
  CONTRACT_NEEDS(m_OffersStoredObjects);
  {
    auto const triangle = std::make_shared<PointerTriangle>(33, 0.5);
    PointerSquare square(44, 2.5);
    square.m_Inner = std::make_unique<PointerTriangle>(35, 1.5);
    square.m_Next = triangle;
    WriteTwo(&square, triangle.get());
  }
  ReadEachWay([](cls_ReadVisitor const& visitor) {
    std::shared_ptr<PointerFigure> const next = cls_ReadShared<PointerFigure>(visitor, Second());
    std::unique_ptr<PointerFigure> const figure = cls_ReadOwned<PointerFigure>(visitor, First());
    auto const* const square = dynamic_cast<PointerSquare const*>(figure.get());
    auto const* const triangle = dynamic_cast<PointerTriangle const*>(next.get());
    ASSERT_TRUE(square != nullptr && triangle != nullptr && square->m_Inner != nullptr);
    EXPECT_EQ(square->m_Value, 44);
    EXPECT_EQ(square->m_Area, 2.5) << "of the base-class part";
    EXPECT_EQ(square->m_Inner->Corners(), 3);
    EXPECT_EQ(square->m_Inner->m_Area, 1.5);
    EXPECT_EQ(square->m_Next.lock(), next);
    EXPECT_EQ(triangle->m_Value, 33);
  });
}

TEST_P(ContractPointers, ACopyOnWritePayloadIsSharedByItsHolders) {
  COVERS(cls_MementoRead, 5, 7);
  CONTRACT_NEEDS(m_OffersStoredObjects);
  {
    Node const payload(6);
    WriteTwo(&payload, &payload);
  }
  ReadEachWay([](cls_ReadVisitor const& visitor) {
    Cow const one = ReadCowOf(visitor, First());
    Cow const two = ReadCowOf(visitor, Second());
    ASSERT_FALSE(one.IsNull() || two.IsNull());
    EXPECT_EQ(one.ConstGet().m_Value, 6);
    EXPECT_EQ(&one.ConstGet(), &two.ConstGet());
  });
}

/// Writes an object into a field, a list and a map by a builder, and a list and a map by agents.
void WriteEverywhere(cls_WriteVisitor const& visitor, Node const& node) {
  WritePointer(visitor, First(), &node);
  visitor.Memento()->WriteReference(FieldOf("Reference"), node.m_Uid);
  Receive(visitor.Memento()->MakeFieldWriteListObj(FieldOf(ListObjKind.m_Name), cls_Uid()))
      ->MakeWriteObj(Node::TypeId(), node.m_Uid);
  Receive(visitor.Memento()->MakeFieldWriteMapInt2Obj(FieldOf(MapIntObjKind.m_Name), cls_Uid()))
      ->MakeWriteObj(7, Node::TypeId(), node.m_Uid);
  Receive(visitor.Memento()->MakeFieldWriteMapString2Obj(FieldOf(MapStringObjKind.m_Name), cls_Uid()))
      ->MakeWriteObj("seven"_cow, Node::TypeId(), node.m_Uid);
}
/// Calls `act` with a new memento of the object by each way that leads to it.
template <class Act> void ForEveryWay(cls_ReadVisitor const& visitor, Act act) {
  cls_MementoRead& memento = MementoOf(visitor);
  act("field", memento.MakeFieldReadObj(First()));
  act("reference", memento.MakeFieldReadObj(FieldOf("Reference")));
  auto const list = Receive(memento.MakeFieldReadListObj(FieldOf(ListObjKind.m_Name)));
  act("list", list->At(0));
  act("next of list", list->Next());
  int number = 0;
  auto const ints = Receive(memento.MakeFieldReadMapInt2Obj(FieldOf(MapIntObjKind.m_Name)));
  ints->Next();
  act("map from int", ints->Fetch(number));
  cow_String text;
  auto const strings = Receive(memento.MakeFieldReadMapString2Obj(FieldOf(MapStringObjKind.m_Name)));
  strings->Next();
  act("map from string", strings->Fetch(text));
  AgentHolder<cls_AgentListObj> const listAgent(
      ObjectIn(visitor, FieldOf(ListObjKind.m_Name)).Memento()->MakeAgentListObj());
  act("agent of a list", listAgent->MakeReadObj(0));
  AgentHolder<cls_AgentMapKey2Obj<int>> const intAgent(
      ObjectIn(visitor, FieldOf(MapIntObjKind.m_Name)).Memento()->MakeAgentMapKey2Obj(&number));
  act("agent of a map from int", intAgent->MakeReadObj(7));
  AgentHolder<cls_AgentMapKey2Obj<cow_String>> const stringAgent(
      ObjectIn(visitor, FieldOf(MapStringObjKind.m_Name)).Memento()->MakeAgentMapKey2Obj(&text));
  act("agent of a map from string", stringAgent->MakeReadObj("seven"_cow));
}

TEST_P(ContractPointers, EveryWayToAnObjectLeadsToTheSameOne) {
  COVERS(cls_MementoRead, 7, 48, 49, 50);
  COVERS(cls_ReadListObj, 6, 7);
  COVERS(cls_ReadMapInt2Obj, 5);
  COVERS(cls_ReadMapString2Obj, 5);
  COVERS(cls_AgentListObj, 6);
  COVERS(cls_AgentMapKey2Obj, 6);
  CONTRACT_NEEDS(m_OffersStoredObjects);
  Node const node(9);
  Write([&](cls_WriteVisitor const& visitor) { WriteEverywhere(visitor, node); });
  Read([](cls_ReadVisitor const& visitor) {
    std::shared_ptr<Node> const first = cls_ReadShared<Node>(visitor, First());
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->m_Value, 9);
    ForEveryWay(visitor, [&](char const* way, cls_MementoRead* memento) {
      cls_ReadVisitor const element(Receive(memento).release());
      EXPECT_EQ(cls_ConstructShared<Node>(element), first) << way;
    });
  });
}

// --- What mementos say.

TEST_P(ContractPointers, MementosSayWhichObjectTheyRead) {
  COVERS(cls_MementoRead, 7, 8);
  COVERS(cls_ReadListObj, 6, 7);
  COVERS(cls_ReadMapInt2Obj, 5);
  COVERS(cls_ReadMapString2Obj, 5);
  COVERS(cls_AgentListObj, 6);
  COVERS(cls_AgentMapKey2Obj, 6);
  CONTRACT_NEEDS(m_OffersStoredObjects);
  Node const node(9);
  PointerSquare const square(4);
  Write([&](cls_WriteVisitor const& visitor) {
    WriteEverywhere(visitor, node);
    WritePointer(visitor, Second(), &square);
  });
  ReadEachWay([](cls_ReadVisitor const& visitor) {
    cls_MementoRead& memento = MementoOf(visitor);
    cls_StoredObject::Place const place = PlaceOf(memento.MakeFieldReadObj(First()));
    EXPECT_NE(place.m_Source, nullptr);
    EXPECT_GT(place.m_Id, 0);
    ForEveryWay(visitor, [&](char const* way, cls_MementoRead* other) {
      EXPECT_TRUE(PlaceOf(other) == place) << way;
    });
    auto const whole = Receive(memento.MakeFieldReadObj(Second()));
    cls_StoredObject::Place const second = PlaceOf(memento.MakeFieldReadObj(Second()));
    EXPECT_NE(second.m_Id, place.m_Id);
    EXPECT_TRUE(PlaceOf(whole->Clone()) == second) << "the base-class part";
    EXPECT_EQ(PlaceOf(memento.MakeFieldReadObj(FieldOf("Absent"))).m_Id, 0);
  });
}

// --- What is checked.

TEST_P(ContractPointers, AnObjectOfAnotherClassIsRefused) {
  COVERS(cls_MementoRead, 22);
  CONTRACT_NEEDS(m_OffersStoredObjects);
  {
    PointerSquare const square(4);
    Node const node(5);
    WriteTwo(&square, &node);
  }
  ReadEachWay([](cls_ReadVisitor const& visitor) {
    for (auto const& read :
         {std::function<void()>([&] { static_cast<void>(cls_ReadOwned<PointerTriangle>(visitor, First())); }),
          std::function<void()>(
              [&] { static_cast<void>(cls_ReadShared<PointerTriangle>(visitor, First())); })}) {
      std::string const message = MessageOf(ContractError::WrongClass, read);
      EXPECT_TRUE(Contains(message, "PointerSquare") && Contains(message, "PointerTriangle")) << message;
    }
    std::string const message = MessageOf(ContractError::WrongClass, [&] { ReadCowOf(visitor, First()); });
    EXPECT_TRUE(Contains(message, "PointerSquare") && Contains(message, "PointerNode")) << message;
    MessageOf(ContractError::WrongClass,
              [&] { static_cast<void>(cls_ReadShared<PointerFigure>(visitor, Second())); });
    EXPECT_EQ(CornersOf(cls_ReadShared<PointerFigure>(visitor, First())), 4) << "after the failures";
  });
}

TEST_P(ContractPointers, AnObjectOfAClassThatTheRegistrarLacksIsRefused) {
  COVERS(cls_MementoRead, 22, 23);
  CONTRACT_NEEDS(m_OffersStoredObjects);
  CONTRACT_NEEDS(m_Reopens);
  {
    PointerTriangle const triangle(3);
    PointerSquare const square(4);
    WriteTwo(&triangle, &square);
  }
  static cls_ClassRegistrar const& few = [&]() -> cls_ClassRegistrar const& {
    static cls_ClassRegistrar classes;
    DeclareContractClasses(classes, {.m_HasTriangle = false});
    return classes;
  }();
  ReopenWith(few);
  ReadEachWay([](cls_ReadVisitor const& visitor) {
    MessageOf(ContractError::Misuse,
              [&] { static_cast<void>(cls_ReadOwned<PointerTriangle>(visitor, First())); });
    MessageOf(ContractError::Misuse,
              [&] { static_cast<void>(cls_ReadShared<PointerTriangle>(visitor, First())); });
    EXPECT_EQ(CornersOf(cls_ReadShared<PointerFigure>(visitor, Second())), 4);
  });
}

TEST_P(ContractPointers, AnOlderVersionIsBuiltByTheNextOneThatIsDeclared) {
  COVERS(cls_MementoRead, 23);
  CONTRACT_NEEDS(m_OffersStoredObjects);
  CONTRACT_NEEDS(m_Reopens);
  {
    PointerSquare const square(4, 0.5);
    WriteTwo(&square);
  }
  static cls_ClassRegistrar const& newer = [&]() -> cls_ClassRegistrar const& {
    static cls_ClassRegistrar classes;
    DeclareContractClasses(classes, {.m_Square = 3});
    return classes;
  }();
  ReopenWith(newer);
  ReadEachWay([](cls_ReadVisitor const& visitor) {
    std::unique_ptr<PointerFigure> const figure = cls_ReadOwned<PointerFigure>(visitor, First());
    ASSERT_NE(figure, nullptr);
    EXPECT_EQ(figure->Corners(), 4);
    EXPECT_EQ(figure->m_Area, 0.5);
  });
}

/// Writes a figure that the registrar has without a constructor function.
struct BareFigure : PointerFigure {
  using PointerFigure::PointerFigure;
  void DBWrite(cls_WriteVisitor const& visitor) const override {
    if (!visitor.StartWrite(PointerBareId, m_Uid)) return;
    PointerFigure::DBWrite(cls_WriteVisitor(visitor, PointerFigure::TypeId()));
  }
  [[nodiscard]] int Corners() const override { return 0; }
  cls_Uid m_Uid;
};
/// Claims the class of a node, whose metadata builds PointerNode.
struct FalseNode {
  static constexpr unsigned int TypeId() noexcept { return Node::TypeId(); }
  explicit FalseNode(cls_ReadVisitor const&) {}
  void DBWrite(cls_WriteVisitor const&) const {}
};
/// Claims to be the base of the figures, without a virtual destructor.
struct FlatFigure {
  static constexpr unsigned int TypeId() noexcept { return PointerFigure::TypeId(); }
  explicit FlatFigure(cls_ReadVisitor const&) {}
  void DBWrite(cls_WriteVisitor const&) const {}
};

TEST_P(ContractPointers, ClassesThatCannotBuildTheObjectAreRefused) {
  COVERS(cls_MementoRead, 22);
  CONTRACT_NEEDS(m_OffersStoredObjects);
  Write([](cls_WriteVisitor const& visitor) {
    Node const node(5);
    WritePointer(visitor, First(), &node);
    BareFigure const bare(0.5);
    WritePointer(visitor, Second(), &bare);
  });
  ReadEachWay([](cls_ReadVisitor const& visitor) {
    MessageOf(ContractError::Misuse, [&] { static_cast<void>(cls_ReadOwned<FalseNode>(visitor, First())); });
    MessageOf(ContractError::Misuse, [&] { static_cast<void>(cls_ReadShared<FalseNode>(visitor, First())); });
    MessageOf(ContractError::Misuse,
              [&] { static_cast<void>(cls_ReadOwned<PointerFigure>(visitor, Second())); });
    MessageOf(ContractError::Misuse,
              [&] { static_cast<void>(cls_ReadShared<PointerFigure>(visitor, Second())); });
    MessageOf(ContractError::Misuse,
              [&] { static_cast<void>(cls_ReadShared<FlatFigure>(visitor, Second())); });
  });
}

TEST_P(ContractPointers, AnObjectIsNotReadAsTwoTypes) {
  COVERS(cls_MementoRead, 7);
  CONTRACT_NEEDS(m_OffersStoredObjects);
  {
    Node const node(5);
    WriteTwo(&node);
  }
  struct AnyNode { // without a class ID
    explicit AnyNode(cls_ReadVisitor const&) {}
  };
  ReadEachWay([](cls_ReadVisitor const& visitor) {
    std::shared_ptr<Node> const node = cls_ReadShared<Node>(visitor, First());
    MessageOf(ContractError::Misuse, [&] { static_cast<void>(cls_ReadShared<AnyNode>(visitor, First())); });
    MessageOf(ContractError::Misuse, [&] { ReadCowOf(visitor, First()); });
    EXPECT_EQ(cls_ReadShared<Node>(visitor, First()), node);
  });
}

TEST_P(ContractPointers, ACycleThroughABaseClassIsRefused) {
  COVERS(cls_MementoRead, 7);
  CONTRACT_NEEDS(m_OffersStoredObjects);
  {
    auto const square = std::make_shared<PointerSquare>(4);
    auto const triangle = std::make_shared<PointerTriangle>(3);
    square->m_Next = triangle;
    triangle->m_Next = square;
    WriteTwo(square.get());
  }
  ReadEachWay([](cls_ReadVisitor const& visitor) {
    MessageOf(ContractError::Misuse,
              [&] { static_cast<void>(cls_ReadShared<PointerFigure>(visitor, First())); });
  });
  ReadEachWay([](cls_ReadVisitor const& visitor) {
    std::shared_ptr<PointerSquare> const square = cls_ReadShared<PointerSquare>(visitor, First());
    ASSERT_NE(square, nullptr);
    EXPECT_EQ(square->Corners(), 4) << "as its very class its address is known";
  });
}

TEST_P(ContractPointers, APointerThatLeadsBackToTheRootIsRefused) {
  COVERS(cls_MementoRead, 7);
  CONTRACT_NEEDS(m_OffersStoredObjects);
  Scripted root;
  root.m_Write = [&](cls_WriteVisitor const& visitor) {
    Node node(1);
    node.m_Root = std::shared_ptr<Scripted>(std::shared_ptr<void>(), &root);
    WritePointer(visitor, First(), &node);
  };
  Save(Session(), root);
  Step();
  ReadEachWay([](cls_ReadVisitor const& visitor) {
    MessageOf(ContractError::Misuse, [&] { static_cast<void>(cls_ReadShared<Node>(visitor, First())); });
  });
}

// --- Failures and scopes.

TEST_P(ContractPointers, AnObjectWhoseConstructorFailedIsForgotten) {
  COVERS(cls_MementoRead, 7);
  CONTRACT_NEEDS(m_OffersStoredObjects);
  {
    auto const top = std::make_shared<Node>(2);
    top->m_Left = std::make_shared<Node>(3);
    top->m_Left->m_Back = top;
    WriteTwo(top.get());
  }
  ReadEachWay([](cls_ReadVisitor const& visitor) {
    Node::s_FailsAt = 2;
    EXPECT_THROW(static_cast<void>(cls_ReadShared<Node>(visitor, First())), std::runtime_error);
    Node::s_FailsAt = Node::FailsNowhere;
    std::shared_ptr<Node> const top = cls_ReadShared<Node>(visitor, First());
    ASSERT_TRUE(top != nullptr && top->m_Left != nullptr);
    EXPECT_EQ(top->m_Left->m_Back.lock(), top) << "and not the one that failed";
  });
}

TEST_P(ContractPointers, ALoadThatFailsLeavesNothingBehind) {
  COVERS(cls_MementoRead, 7);
  CONTRACT_NEEDS(m_OffersStoredObjects);
  {
    Node const node(2);
    WriteTwo(&node);
  }
  std::shared_ptr<Node> before;
  EXPECT_THROW(Read([&](cls_ReadVisitor const& visitor) {
                 before = cls_ReadShared<Node>(visitor, First());
                 throw std::runtime_error("after it");
               }),
               std::runtime_error);
  ASSERT_NE(before, nullptr);
  EXPECT_EQ(before.use_count(), 1);
  Read([&](cls_ReadVisitor const& visitor) {
    std::shared_ptr<Node> const node = cls_ReadShared<Node>(visitor, First());
    ASSERT_NE(node, nullptr);
    EXPECT_NE(node, before);
    EXPECT_EQ(node->m_Value, 2);
  });
}

TEST_P(ContractPointers, AScopeKeepsTheObjectsFromLoadToLoad) {
  COVERS(cls_MementoRead, 7);
  CONTRACT_NEEDS(m_OffersStoredObjects);
  auto const shared = std::make_shared<Node>(3);
  InTransaction(Session(), [&] {
    for (char const* const root : {"one", "two", "three"})
      Save(Session(),
           Scripted([&](cls_WriteVisitor const& visitor) { WritePointer(visitor, First(), shared.get()); }),
           root);
  });
  Step();
  class Scope {
   public:
    explicit Scope(std::shared_ptr<cls_LoadedObjects> table) : m_Table(std::move(table)) {
      m_Table->EnterScope();
    }
    ~Scope() { m_Table->LeaveScope(); }
    Scope(Scope const&) = delete;
    Scope& operator=(Scope const&) = delete;

   private:
    std::shared_ptr<cls_LoadedObjects> m_Table;
  };
  auto const read = [](cls_ReadVisitor const& visitor) { return cls_ReadShared<Node>(visitor, First()); };
  std::shared_ptr<Node> one;
  {
    std::unique_ptr<Scope> scope;
    Read(
        [&](cls_ReadVisitor const& visitor) {
          scope = std::make_unique<Scope>(TableOf(visitor));
          one = read(visitor);
        },
        "one");
    ASSERT_NE(one, nullptr);
    EXPECT_EQ(Take(read, "two"), one);
  }
  EXPECT_EQ(one.use_count(), 1) << "the end of the scope lets go of it";
  EXPECT_NE(Take(read, "three"), one);
}

} // namespace
