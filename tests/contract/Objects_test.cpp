#include "tests/contract/ContractGraph.h"

// Objects in fields, and base-class parts.

namespace {

CONTRACT_SUITE(ContractObjects);

int IntOf(cls_ReadVisitor const& visitor) {
  return visitor.Read(FieldFor<int>(), -1);
}

TEST_P(ContractObjects, AnObjectInAFieldComesBackWithItsOwnFields) {
  COVERS(cls_MementoWrite, 0, 1, 3, 11);
  COVERS(cls_MementoRead, 0, 1, 7, 13);
  Write([](cls_WriteVisitor const& visitor) {
    int const object = 0;
    visitor.Memento()->Write(FieldFor<int>(), 1);
    WriteNumber(
        visitor.Memento()->MakeFieldWriteObj(FieldOf("Object"), Scripted::TypeId(), cls_Uid(), &object), 2);
    WriteNumber(
        visitor.Memento()->MakeFieldWriteObj(FieldOf("Second"), Scripted::TypeId(), cls_Uid(), nullptr), 3);
  });
  Read([](cls_ReadVisitor const& visitor) {
    EXPECT_EQ(IntOf(visitor), 1);
    EXPECT_EQ(NumberOf(visitor.Memento()->MakeFieldReadObj(FieldOf("Object"))), 2);
    EXPECT_EQ(NumberOf(visitor.Memento()->MakeFieldReadObj(FieldOf("Second"))), 3);
    EXPECT_EQ(NumberOf(visitor.Memento()->MakeFieldReadObj(FieldOf("Object"))), 2);
  });
}

TEST_P(ContractObjects, AnObjectHeldCopyOnWriteComesBackTheSame) {
  COVERS(cls_MementoWrite, 4);
  COVERS(cls_MementoRead, 7, 22);
  cow_COW<int, cow_Direct<int>> const cow(new int(5));
  Write([&](cls_WriteVisitor const& visitor) {
    cls_MementoWrite& memento = *visitor.Memento();
    WriteNumber(memento.MakeFieldWriteObjCow(FieldOf("Object"), Scripted::TypeId(), cls_Uid(), &cow), 2);
    WriteNumber(memento.MakeFieldWriteObjCow(FieldOf("Second"), Scripted::TypeId(), cls_Uid(), nullptr), 3);
  });
  EXPECT_EQ(cow.ConstGet(), 5);
  Read([](cls_ReadVisitor const& visitor) {
    for (auto const& [name, number] : {std::pair{"Object", 2}, {"Second", 3}}) {
      auto const child = Receive(visitor.Memento()->MakeFieldReadObj(FieldOf(name)));
      EXPECT_EQ(child->Read(FieldFor<int>(), -1), number);
      EXPECT_EQ(child->ClassId(), Scripted::TypeId());
    }
  });
}

TEST_P(ContractObjects, TheMementosOfTwoChildrenMayBeOpenTogether) {
  COVERS(cls_MementoWrite, 0, 3);
  COVERS(cls_MementoRead, 0, 7);
  Write([](cls_WriteVisitor const& visitor) {
    cls_MementoWrite& memento = *visitor.Memento();
    auto first =
        Receive(memento.MakeFieldWriteObj(FieldOf("Object"), Scripted::TypeId(), cls_Uid(), nullptr));
    auto second =
        Receive(memento.MakeFieldWriteObj(FieldOf("Second"), Scripted::TypeId(), cls_Uid(), nullptr));
    first->Write(FieldFor<int>(), 1);
    second->Write(FieldFor<int>(), 2);
    first->Write(FieldFor<cow_String>(), "late"_cow);
    memento.Write(FieldFor<int>(), 3);
    first.reset();
    second->Write(FieldFor<double>(), 0.5);
  });
  Read([](cls_ReadVisitor const& visitor) {
    auto const first = Receive(visitor.Memento()->MakeFieldReadObj(FieldOf("Object")));
    auto const second = Receive(visitor.Memento()->MakeFieldReadObj(FieldOf("Second")));
    EXPECT_EQ(IntOf(visitor), 3);
    EXPECT_EQ(second->Read(FieldFor<int>(), -1), 2);
    EXPECT_EQ(first->Read(FieldFor<int>(), -1), 1);
    EXPECT_EQ(second->Read(FieldFor<double>(), -1.0), 0.5);
    EXPECT_EQ(first->Read(FieldFor<cow_String>(), cow_String()), "late"_cow);
  });
}

TEST_P(ContractObjects, AnObjectThatIsWrittenAlreadyIsNotWrittenAgain) {
  COVERS(cls_MementoWrite, 3, 4);
  COVERS(cls_MementoRead, 3, 7);
  Write([](cls_WriteVisitor const& visitor) {
    cls_MementoWrite& memento = *visitor.Memento();
    cls_Uid const uid;
    WriteNumber(memento.MakeFieldWriteObj(FieldOf("Object"), Scripted::TypeId(), uid, nullptr), 9);
    EXPECT_EQ(memento.MakeFieldWriteObj(FieldOf("Second"), Scripted::TypeId(), uid, nullptr), nullptr);
    EXPECT_EQ(memento.MakeFieldWriteObjCow(FieldOf("Blob"), Scripted::TypeId(), uid, nullptr), nullptr);
  });
  Read([](cls_ReadVisitor const& visitor) {
    cls_ReadVisitor const first = ObjectIn(visitor, FieldOf("Object"));
    for (char const* const name : {"Second", "Blob"}) {
      cls_ReadVisitor const other = ObjectIn(visitor, FieldOf(name));
      EXPECT_EQ(IntOf(other), 9) << name;
      EXPECT_EQ(other.GetUid().Entry(), first.GetUid().Entry()) << name;
    }
  });
  ExpectObjects(2);
}

TEST_P(ContractObjects, AFieldWithAnObjectIsPresentOnBothSides) {
  COVERS(cls_MementoWrite, 2, 3);
  COVERS(cls_MementoRead, 4, 5);
  Write([](cls_WriteVisitor const& visitor) {
    cls_MementoWrite& memento = *visitor.Memento();
    EXPECT_EQ(memento.FieldIsPresent(FieldOf("Object")), 0);
    WriteNumber(memento.MakeFieldWriteObj(FieldOf("Object"), Scripted::TypeId(), cls_Uid(), nullptr), 9);
    EXPECT_NE(memento.FieldIsPresent(FieldOf("Object")), 0);
    EXPECT_EQ(memento.FieldIsPresent(FieldOf("Second")), 0);
  });
  Read([](cls_ReadVisitor const& visitor) {
    EXPECT_NE(visitor.Memento()->FieldIsPresent(FieldOf("Object")), 0);
    EXPECT_NE(visitor.Memento()->DataIsPresent(FieldOf("Object")), 0);
    EXPECT_EQ(visitor.Memento()->FieldIsPresent(FieldOf("Second")), 0);
    EXPECT_EQ(visitor.Memento()->DataIsPresent(FieldOf("Second")), 0);
  });
}

TEST_P(ContractObjects, AnIdentityThatLivesIsTheSameAfterLoading) {
  COVERS(cls_MementoRead, 3);
  cls_Uid const child;
  Scripted const object([&](cls_WriteVisitor const& visitor) {
    cls_WriteVisitor const writer(visitor, FieldOf("Object"), nullptr, nullptr);
    ASSERT_EQ(writer.StartWrite(Scripted::TypeId(), child), 1);
  });
  Save(Session(), object);
  Read([&](cls_ReadVisitor const& visitor) {
    EXPECT_EQ(visitor.Memento()->GetUid().Entry(), object.m_Uid.Entry());
    cls_ReadVisitor const reader = ObjectIn(visitor, FieldOf("Object"));
    EXPECT_EQ(reader.Memento()->GetUid().Entry(), child.Entry());
  });
}

TEST_P(ContractObjects, AnObjectHasOneIdentityInASessionHoweverOftenItIsLoaded) {
  COVERS(cls_MementoRead, 3);
  Write([](cls_WriteVisitor const&) {});
  Write([](cls_WriteVisitor const&) {}, "other");
  cls_Uid first;
  Read([&](cls_ReadVisitor const& visitor) { first = visitor.Memento()->GetUid(); });
  Read(
      [&](cls_ReadVisitor const& visitor) { EXPECT_EQ(visitor.Memento()->GetUid().Entry(), first.Entry()); });
  Read([&](cls_ReadVisitor const& visitor) { EXPECT_NE(visitor.Memento()->GetUid().Entry(), first.Entry()); },
       "other");
}

TEST_P(ContractObjects, FieldsOfOneNameInThePartsOfAnObjectDoNotSeeEachOther) {
  COVERS(cls_MementoWrite, 5);
  COVERS(cls_MementoRead, 8);
  {
    Top top;
    top.m_BottomValue = 1;
    top.m_MiddleValue = "two"_cow;
    top.m_TopValue = 3.5;
    Write(Holding(top));
  }
  Read([](cls_ReadVisitor const& visitor) {
    Top const top(ObjectIn(visitor, FieldOf("Object")));
    EXPECT_EQ(top.m_BottomValue, 1);
    EXPECT_EQ(top.m_MiddleValue, "two"_cow);
    EXPECT_EQ(top.m_TopValue, 3.5);
  });
}

TEST_P(ContractObjects, EachPartOfAnObjectHasItsIdentityAndItsClass) {
  COVERS(cls_MementoWrite, 5);
  COVERS(cls_MementoRead, 3, 8, 22, 23);
  Write(Holding(Top()));
  Read([](cls_ReadVisitor const& visitor) {
    auto const top = Receive(visitor.Memento()->MakeFieldReadObj(FieldOf("Object")));
    auto const middle = Receive(top->Clone());
    auto const bottom = Receive(middle->Clone());
    EXPECT_EQ(top->ClassId(), Top::TypeId());
    EXPECT_EQ(top->ClassVersion(), 2);
    EXPECT_EQ(middle->ClassId(), Middle::TypeId());
    EXPECT_EQ(middle->ClassVersion(), 7);
    EXPECT_EQ(bottom->ClassId(), Bottom::TypeId());
    EXPECT_EQ(bottom->ClassVersion(), 4);
    EXPECT_NE(top->GetUid().Entry(), middle->GetUid().Entry());
    EXPECT_NE(middle->GetUid().Entry(), bottom->GetUid().Entry());
  });
}

TEST_P(ContractObjects, ABasePartHoldsListsAndObjectsOfItsOwn) {
  COVERS(cls_MementoWrite, 3, 5);
  COVERS(cls_MementoRead, 7, 8);
  struct WithNode : Middle {
    void DBWrite(cls_WriteVisitor const& visitor) const {
      if (!visitor.StartWrite(Middle::TypeId(), m_MiddleUid)) return;
      Bottom::DBWrite(cls_WriteVisitor(visitor, Bottom::TypeId()));
      GraphNode::WriteIn(visitor, FieldOf("Node"), &m_Node);
    }
    GraphNode m_Node{77};
  };
  struct Derived : Top {
    void DBWrite(cls_WriteVisitor const& visitor) const {
      if (!visitor.StartWrite(Top::TypeId(), m_TopUid)) return;
      m_Base.DBWrite(cls_WriteVisitor(visitor, Middle::TypeId()));
    }
    WithNode m_Base;
  };
  Write(Holding(Derived()));
  Read([](cls_ReadVisitor const& visitor) {
    cls_ReadVisitor const top = ObjectIn(visitor, FieldOf("Object"));
    EXPECT_EQ(top.DataIsPresent(FieldOf("Node")), 0);
    cls_ReadVisitor const middle = BaseOf(top);
    EXPECT_EQ(GraphNode::ValueOf(ObjectIn(middle, FieldOf("Node"))), 77);
  });
}

TEST_P(ContractObjects, AVisitorStartsThroughTheSlotOfItsKind) {
  COVERS(cls_MementoWrite, 3, 4);
  COVERS(cls_MementoRead, 7);
  cow_COW<int, cow_Direct<int>> const cow(new int(1));
  Write([&](cls_WriteVisitor const& visitor) {
    cls_WriteVisitor const plain(visitor, FieldOf("Object"), nullptr, &visitor);
    cls_WriteVisitor const held(visitor, FieldOf("Second"), &cow, nullptr);
    ASSERT_EQ(plain.StartWrite(Scripted::TypeId(), cls_Uid()), 1);
    ASSERT_EQ(held.StartWrite(Scripted::TypeId(), cls_Uid()), 1);
    plain.Write(FieldFor<int>(), 1);
    held.Write(FieldFor<int>(), 2);
    held.Write(FieldOf("TrString"), atr_String("100%"));
  });
  Read([](cls_ReadVisitor const& visitor) {
    EXPECT_EQ(IntOf(ObjectIn(visitor, FieldOf("Object"))), 1);
    cls_ReadVisitor const held = ObjectIn(visitor, FieldOf("Second"));
    EXPECT_EQ(IntOf(held), 2);
    EXPECT_STREQ(held.Read(FieldOf("TrString"), atr_String()).Chars(), "100%");
  });
}

} // namespace
