#include <array>
#include <utility>

#include "persist/backend/cls_ReadObjects.h"
#include "persist/backend/cls_WriteObjects.h"
#include "tests/contract/ContractTest.h"

// Nested objects: as deep as a store allows, and one level deeper.

namespace {

CONTRACT_SUITE(ContractNesting);

constexpr int Deepest = 1000; ///< greatest nesting of objects

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
  int const rest = LengthOfChain(cls_ReadVisitor(visitor, FieldOf("Object")), expected - 1);
  return rest < 0 ? rest : rest + 1;
}

TEST_P(ContractNesting, ADeepChainComesBack) {
  COVERS(cls_MementoWrite, 3);
  COVERS(cls_MementoRead, 7);
  for (int const depth : {1, 2, 500, Deepest}) {
    Write([=](cls_WriteVisitor const& visitor) { WriteChain(visitor, depth); });
    Read([=](cls_ReadVisitor const& visitor) { EXPECT_EQ(LengthOfChain(visitor, depth), depth); });
  }
}

TEST_P(ContractNesting, AChainBeyondTheLimitIsRefusedAndLeavesNothing) {
  COVERS(cls_MementoWrite, 3);
  for (int const depth : {Deepest + 1, Deepest + 500}) {
    std::string const message = MessageOf(sto_ErrorKind::Full, [&] {
      Write([=](cls_WriteVisitor const& visitor) { WriteChain(visitor, depth); });
    });
    EXPECT_TRUE(Contains(message, "1000")) << message;
    EXPECT_FALSE(Store().HasRoot("root"));
    EXPECT_EQ(Store().ObjectCount(), 0);
  }
  Write([](cls_WriteVisitor const& visitor) { WriteChain(visitor, 3); });
  Read([](cls_ReadVisitor const& visitor) { EXPECT_EQ(LengthOfChain(visitor, 3), 3); });
}

TEST_P(ContractNesting, ADeepGraphLoadsThroughItsPointers) {
  COVERS(cls_MementoRead, 5, 7);
  {
    auto const first = std::make_shared<Node>(Deepest);
    Node* last = first.get();
    for (int i = Deepest - 1; i > 0; --i) {
      last->m_Right = std::make_shared<Node>(i);
      last = last->m_Right.get();
    }
    Store().Save("root", *first);
  }
  Step();
  std::shared_ptr<Node> const first = Store().LoadShared<Node>("root");
  int length = 0;
  for (Node const* node = first.get(); node != nullptr; node = node->m_Right.get())
    ASSERT_EQ(node->m_Value, Deepest - length++);
  EXPECT_EQ(length, Deepest);
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

/// Each level is two objects: the collection and its element.
constexpr int MostLevels = (Deepest - 1) / 2;

TEST_P(ContractNesting, DeepCollectionsOfObjectsComeBack) {
  COVERS(cls_MementoWrite, 35, 36, 37);
  COVERS(cls_WriteListObj, 2);
  COVERS(cls_WriteMapInt2Obj, 2);
  COVERS(cls_WriteMapString2Obj, 2);
  COVERS(cls_ReadListObj, 6);
  COVERS(cls_ReadMapInt2Obj, 5);
  COVERS(cls_ReadMapString2Obj, 5);
  for (auto const& [write, read] : Nestings) {
    Write([write = write](cls_WriteVisitor const& visitor) { write(*visitor.Memento(), MostLevels); });
    Read([read = read](cls_ReadVisitor const& visitor) {
      auto memento = Receive(read(*visitor.Memento()));
      for (int level = MostLevels - 1; level > 0; --level) {
        ASSERT_EQ(memento->Read(FieldFor<int>(), -1), level);
        memento = Receive(read(*memento));
      }
      EXPECT_EQ(memento->Read(FieldFor<int>(), -1), 0);
    });
  }
}

TEST_P(ContractNesting, CollectionsBeyondTheLimitAreRefusedAndLeaveNothing) {
  COVERS(cls_MementoWrite, 35, 36, 37);
  for (auto const& [write, read] : Nestings) {
    std::string const message = MessageOf(sto_ErrorKind::Full, [&, write = write] {
      Write([=](cls_WriteVisitor const& visitor) { write(*visitor.Memento(), MostLevels + 1); });
    });
    EXPECT_TRUE(Contains(message, "1000")) << message;
    EXPECT_FALSE(Store().HasRoot("root"));
    EXPECT_EQ(Store().ObjectCount(), 0);
  }
}

TEST_P(ContractNesting, FollowingReferencesBeyondTheLimitIsRefusedAndHarmsNothing) {
  COVERS(cls_MementoWrite, 18);
  COVERS(cls_MementoRead, 7);
  {
    // Each is saved separately, so that the chain can be longer than the nesting limit.
    sto_Transaction transaction(Store());
    cls_Uid last;
    for (int i = 0; i < Deepest + 100; ++i) {
      Scripted const object([&](cls_WriteVisitor const& visitor) {
        visitor.Write(FieldFor<int>(), i);
        if (i > 0) visitor.Memento()->WriteReference(FieldOf("Reference"), last);
      });
      Store().Save("root", object);
      last = object.m_Uid;
    }
    transaction.Commit();
  }
  Step();
  Read([](cls_ReadVisitor const& visitor) {
    auto memento = Receive(visitor.Memento()->MakeFieldReadObj(FieldOf("Reference")));
    for (int depth = 2; depth < Deepest; ++depth) {
      ASSERT_EQ(memento->Read(FieldFor<int>(), -1), Deepest + 100 - depth);
      memento = Receive(memento->MakeFieldReadObj(FieldOf("Reference")));
    }
    std::string const message = MessageOf(
        sto_ErrorKind::Full, [&] { Receive(memento->MakeFieldReadObj(FieldOf("Reference"))).reset(); });
    EXPECT_TRUE(Contains(message, "1000")) << message;
    EXPECT_EQ(memento->Read(FieldFor<int>(), -1), 100);
  });
  Read([](cls_ReadVisitor const& visitor) { EXPECT_EQ(visitor.Read(FieldFor<int>(), -1), Deepest + 99); });
}

TEST_P(ContractNesting, ALoadThatGoesBeyondTheLimitIsRefused) {
  COVERS(cls_MementoRead, 7);
  Scripted object;
  object.m_Write = [&](cls_WriteVisitor const& visitor) {
    EXPECT_EQ(
        visitor.Memento()->MakeFieldWriteObj(FieldOf("Object"), Scripted::TypeId(), object.m_Uid, nullptr),
        nullptr);
  };
  Store().Save("root", object);
  Step();
  struct ReadsOn {
    explicit ReadsOn(cls_ReadVisitor const& visitor) { ReadsOn(cls_ReadVisitor(visitor, FieldOf("Object"))); }
  };
  std::string const message =
      MessageOf(sto_ErrorKind::Full, [&] { static_cast<void>(Store().Load<ReadsOn>("root")); });
  EXPECT_TRUE(Contains(message, "1000")) << message;
  Read([](cls_ReadVisitor const& visitor) { EXPECT_NE(visitor.DataIsPresent(FieldOf("Object")), 0); });
}

TEST_P(ContractNesting, AnElementThatLeadsToItsCollectionIsFollowedToTheLimit) {
  COVERS(cls_MementoRead, 39, 40, 41);
  COVERS(cls_ReadListObj, 6, 7);
  COVERS(cls_ReadMapInt2Obj, 5);
  COVERS(cls_ReadMapString2Obj, 5);
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
  Store().Save("root", object);
  Step();
  for (auto const& [write, read] : Nestings)
    Read([read = read](cls_ReadVisitor const& visitor) {
      auto memento = Receive(read(*visitor.Memento()));
      for (int level = 1; level < MostLevels; ++level) memento = Receive(read(*memento));
      std::string const message = MessageOf(sto_ErrorKind::Full, [&] { Receive(read(*memento)).reset(); });
      EXPECT_TRUE(Contains(message, "1000")) << message;
      EXPECT_EQ(memento->ClassId(), Scripted::TypeId());
    });
}

} // namespace
