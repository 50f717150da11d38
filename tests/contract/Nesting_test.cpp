#include <array>
#include <utility>

#include "persist/backend/cls_ReadObjects.h"
#include "persist/backend/cls_WriteObjects.h"
#include "tests/contract/ContractGraph.h"

// Nested objects: as deep as a back end allows, and one level deeper.

namespace {

class ContractNesting : public ContractTest {
 protected:
  /// The depth that the back end must be able to keep, and for one with a limit the greatest.
  [[nodiscard]] int Deepest() const { return Can().m_NestingLimit == 0 ? 1000 : Can().m_NestingLimit; }
  /// How many collections with elements nest that deep: each level is two objects.
  [[nodiscard]] int MostLevels() const { return (Deepest() - 1) / 2; }
  /// Expects what goes beyond the limit to be refused, with the limit in the message.
  void ExpectFull(HeldFunction<> const& act) const {
    std::string const message = MessageOf(ContractError::Full, act);
    EXPECT_TRUE(Contains(message, std::to_string(Can().m_NestingLimit))) << message;
  }
};
CONTRACT_FIXTURE(ContractNesting);

/// Makes a chain of `depth` objects, starting with the one of `visitor`.
void WriteChain(cls_WriteVisitor const& visitor, int depth) {
  visitor.Write(FieldFor<int>(), depth);
  if (depth == 1) return;
  cls_WriteVisitor const child(visitor, FieldOf("Object"), nullptr, nullptr);
  ASSERT_EQ(child.StartWrite(Scripted::TypeId(), cls_Uid()), 1);
  WriteChain(child, depth - 1);
}

/// The length of the chain; -1 if its numbers do not count down.
int LengthOfChain(cls_ReadVisitor const& visitor, int expected) {
  if (visitor.Read(FieldFor<int>(), -1) != expected) return -1;
  if (visitor.DataIsPresent(FieldOf("Object")) == 0) return 1;
  int const rest = LengthOfChain(ObjectIn(visitor, FieldOf("Object")), expected - 1);
  return rest < 0 ? rest : rest + 1;
}

TEST_P(ContractNesting, ADeepChainComesBack) {
  COVERS(cls_MementoWrite, 3);
  COVERS(cls_MementoRead, 7);
  for (int const depth : {1, 2, Deepest() / 2, Deepest()}) {
    Write([=](cls_WriteVisitor const& visitor) { WriteChain(visitor, depth); });
    Read([=](cls_ReadVisitor const& visitor) { EXPECT_EQ(LengthOfChain(visitor, depth), depth); });
  }
}

TEST_P(ContractNesting, AChainBeyondTheLimitIsRefusedAndLeavesNothing) {
  COVERS(cls_MementoWrite, 3);
  CONTRACT_NEEDS(m_NestingLimit);
  for (int const depth : {Deepest() + 1, Deepest() + 500}) {
    ExpectFull([&] { Write([=](cls_WriteVisitor const& visitor) { WriteChain(visitor, depth); }); });
    ExpectNoRoot();
    ExpectObjects(0);
  }
  Write([](cls_WriteVisitor const& visitor) { WriteChain(visitor, 3); });
  Read([](cls_ReadVisitor const& visitor) { EXPECT_EQ(LengthOfChain(visitor, 3), 3); });
}

TEST_P(ContractNesting, ADeepGraphLoadsThroughItsPointers) {
  COVERS(cls_MementoRead, 5, 7);
  int const most = Deepest() - 1; // the root holds the first
  {
    auto const first = std::make_shared<GraphNode>(most);
    GraphNode* last = first.get();
    for (int i = most - 1; i > 0; --i) {
      last->m_Right = std::make_shared<GraphNode>(i);
      last = last->m_Right.get();
    }
    Write(HoldingNode(first));
  }
  Read([&](cls_ReadVisitor const& visitor) {
    std::shared_ptr<GraphNode> const first = LoadedGraph().Node(visitor, FieldOf("Object"));
    int length = 0;
    for (GraphNode const* node = first.get(); node != nullptr; node = node->m_Right.get())
      ASSERT_EQ(node->m_Value, most - length++);
    EXPECT_EQ(length, most);
  });
}

/// Writes an object that holds a collection whose element holds a collection, `levels` times.
using WriteNested = void (*)(cls_MementoWrite& memento, int levels);
using ReadNested = cls_MementoRead* (*)(cls_MementoRead& memento);

void WriteLists(cls_MementoWrite& memento, int levels) {
  memento.Write(FieldFor<int>(), levels);
  if (levels == 0) return;
  auto const list = Receive(memento.MakeFieldWriteListObj(FieldOf(ListObjKind.m_Name), cls_Uid()));
  WriteLists(*Receive(list->MakeWriteObj(Scripted::TypeId(), cls_Uid())), levels - 1);
}
cls_MementoRead* ReadList(cls_MementoRead& memento) {
  return Receive(memento.MakeFieldReadListObj(FieldOf(ListObjKind.m_Name)))->Next();
}

void WriteIntMaps(cls_MementoWrite& memento, int levels) {
  memento.Write(FieldFor<int>(), levels);
  if (levels == 0) return;
  auto const map = Receive(memento.MakeFieldWriteMapInt2Obj(FieldOf(MapIntObjKind.m_Name), cls_Uid()));
  WriteIntMaps(*Receive(map->MakeWriteObj(levels, Scripted::TypeId(), cls_Uid())), levels - 1);
}
cls_MementoRead* ReadIntMap(cls_MementoRead& memento) {
  auto const cursor = Receive(memento.MakeFieldReadMapInt2Obj(FieldOf(MapIntObjKind.m_Name)));
  cursor->Next();
  int key = 0;
  return cursor->Fetch(key);
}

void WriteStringMaps(cls_MementoWrite& memento, int levels) {
  memento.Write(FieldFor<int>(), levels);
  if (levels == 0) return;
  auto const map = Receive(memento.MakeFieldWriteMapString2Obj(FieldOf(MapStringObjKind.m_Name), cls_Uid()));
  WriteStringMaps(*Receive(map->MakeWriteObj("key"_cow, Scripted::TypeId(), cls_Uid())), levels - 1);
}
cls_MementoRead* ReadStringMap(cls_MementoRead& memento) {
  auto const cursor = Receive(memento.MakeFieldReadMapString2Obj(FieldOf(MapStringObjKind.m_Name)));
  cursor->Next();
  cow_String key;
  return cursor->Fetch(key);
}

constexpr std::array<std::pair<WriteNested, ReadNested>, 3> Nestings{
    {{WriteLists, ReadList}, {WriteIntMaps, ReadIntMap}, {WriteStringMaps, ReadStringMap}}};

TEST_P(ContractNesting, DeepCollectionsOfObjectsComeBack) {
  COVERS(cls_MementoWrite, 35, 36, 37);
  COVERS(cls_WriteListObj, 2);
  COVERS(cls_WriteMapInt2Obj, 2);
  COVERS(cls_WriteMapString2Obj, 2);
  COVERS(cls_ReadListObj, 6);
  COVERS(cls_ReadMapInt2Obj, 5);
  COVERS(cls_ReadMapString2Obj, 5);
  for (auto const& [write, read] : Nestings) {
    int const most = MostLevels();
    Write([=, write = write](cls_WriteVisitor const& visitor) { write(*visitor.Memento(), most); });
    Read([=, read = read](cls_ReadVisitor const& visitor) {
      auto memento = Receive(read(*visitor.Memento()));
      for (int level = most - 1; level > 0; --level) {
        ASSERT_EQ(memento->Read(FieldFor<int>(), -1), level);
        memento = Receive(read(*memento));
      }
      EXPECT_EQ(memento->Read(FieldFor<int>(), -1), 0);
    });
  }
}

TEST_P(ContractNesting, CollectionsBeyondTheLimitAreRefusedAndLeaveNothing) {
  COVERS(cls_MementoWrite, 35, 36, 37);
  CONTRACT_NEEDS(m_NestingLimit);
  for (auto const& [write, read] : Nestings) {
    ExpectFull([&, write = write] {
      Write([=, levels = MostLevels() + 1](cls_WriteVisitor const& visitor) {
        write(*visitor.Memento(), levels);
      });
    });
    ExpectNoRoot();
    ExpectObjects(0);
  }
}

TEST_P(ContractNesting, FollowingReferencesBeyondTheLimitIsRefusedAndHarmsNothing) {
  COVERS(cls_MementoWrite, 18);
  COVERS(cls_MementoRead, 7);
  CONTRACT_NEEDS(m_NestingLimit);
  // Each is saved separately, so that the chain can be longer than the nesting limit.
  InTransaction(Session(), [&] {
    cls_Uid last;
    for (int i = 0; i < Deepest() + 100; ++i) {
      Scripted const object([&](cls_WriteVisitor const& visitor) {
        visitor.Write(FieldFor<int>(), i);
        if (i > 0) visitor.Memento()->WriteReference(FieldOf("Reference"), last);
      });
      Save(Session(), object);
      last = object.m_Uid;
    }
  });
  Step();
  Read([this](cls_ReadVisitor const& visitor) {
    auto memento = Receive(visitor.Memento()->MakeFieldReadObj(FieldOf("Reference")));
    for (int depth = 2; depth < Deepest(); ++depth) {
      ASSERT_EQ(memento->Read(FieldFor<int>(), -1), Deepest() + 100 - depth);
      memento = Receive(memento->MakeFieldReadObj(FieldOf("Reference")));
    }
    ExpectFull([&] { Receive(memento->MakeFieldReadObj(FieldOf("Reference"))).reset(); });
    EXPECT_EQ(memento->Read(FieldFor<int>(), -1), 100);
  });
  Read([this](cls_ReadVisitor const& visitor) {
    EXPECT_EQ(visitor.Read(FieldFor<int>(), -1), Deepest() + 99);
  });
}

TEST_P(ContractNesting, ALoadThatGoesBeyondTheLimitIsRefused) {
  COVERS(cls_MementoRead, 7);
  CONTRACT_NEEDS(m_NestingLimit);
  Scripted object;
  object.m_Write = [&](cls_WriteVisitor const& visitor) {
    EXPECT_EQ(
        visitor.Memento()->MakeFieldWriteObj(FieldOf("Object"), Scripted::TypeId(), object.m_Uid, nullptr),
        nullptr);
  };
  Save(Session(), object);
  Step();
  std::function<void(cls_ReadVisitor const&, int)> const readOn = [&](cls_ReadVisitor const& visitor,
                                                                      int depth) {
    if (depth <= Deepest() + 10) readOn(ObjectIn(visitor, FieldOf("Object")), depth + 1);
  };
  ExpectFull([&] { Load(Session(), [&](cls_ReadVisitor const& visitor) { readOn(visitor, 1); }); });
  Read([](cls_ReadVisitor const& visitor) { EXPECT_NE(visitor.DataIsPresent(FieldOf("Object")), 0); });
}

TEST_P(ContractNesting, AnElementThatLeadsToItsCollectionIsFollowedToTheLimit) {
  COVERS(cls_MementoRead, 39, 40, 41);
  COVERS(cls_ReadListObj, 6, 7);
  COVERS(cls_ReadMapInt2Obj, 5);
  COVERS(cls_ReadMapString2Obj, 5);
  CONTRACT_NEEDS(m_NestingLimit);
  Scripted object;
  object.m_Write = [&](cls_WriteVisitor const& visitor) {
    cls_MementoWrite& memento = *visitor.Memento();
    unsigned int const id = Scripted::TypeId();
    auto const list = Receive(memento.MakeFieldWriteListObj(FieldOf(ListObjKind.m_Name), cls_Uid()));
    auto const ints = Receive(memento.MakeFieldWriteMapInt2Obj(FieldOf(MapIntObjKind.m_Name), cls_Uid()));
    auto const strings =
        Receive(memento.MakeFieldWriteMapString2Obj(FieldOf(MapStringObjKind.m_Name), cls_Uid()));
    EXPECT_EQ(list->MakeWriteObj(id, object.m_Uid), nullptr);
    EXPECT_EQ(ints->MakeWriteObj(1, id, object.m_Uid), nullptr);
    EXPECT_EQ(strings->MakeWriteObj("key"_cow, id, object.m_Uid), nullptr);
  };
  Save(Session(), object);
  Step();
  for (auto const& [write, read] : Nestings)
    Read([this, read = read](cls_ReadVisitor const& visitor) {
      auto memento = Receive(read(*visitor.Memento()));
      for (int level = 1; level < MostLevels(); ++level) memento = Receive(read(*memento));
      ExpectFull([&] { Receive(read(*memento)).reset(); });
      EXPECT_EQ(memento->ClassId(), Scripted::TypeId());
    });
}

} // namespace
