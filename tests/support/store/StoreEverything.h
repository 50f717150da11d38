#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/store/StoreGarbage.h"

// A store with everything that a store can hold: for the golden store of a format, and for tests of upgrades.
// The content never changes, because tests/golden/format-3.kvs has it.

/// An object with a field of each type.
struct EveryType {
  static constexpr unsigned int TypeId() noexcept { return 0x770001; }
  static cls_FieldHandle At(int number) { return {number, cow_String("m_" + std::to_string(number))}; }
  EveryType() = default;
  explicit EveryType(cls_ReadVisitor const& visitor) {
    m_Text = "none"_cow;
    EXPECT_FALSE(visitor.Read(At(0), "default"_cow).HasText());
    EXPECT_TRUE(visitor.Read(At(1), cow_String()).HasText());
    m_Text = visitor.Read(At(2), ""_cow);
    EXPECT_TRUE(visitor.Read(At(3), false));
    EXPECT_EQ(visitor.Read(At(4), static_cast<signed char>(0)), -2);
    EXPECT_EQ(visitor.Read(At(5), static_cast<short>(0)), -3);
    EXPECT_EQ(visitor.Read(At(6), static_cast<unsigned short>(0)), 0xFFFE);
    EXPECT_EQ(visitor.Read(At(7), 0), -5);
    EXPECT_EQ(visitor.Read(At(8), 0U), 6U);
    EXPECT_EQ(visitor.Read(At(9), 0LL), -7LL);
    EXPECT_EQ(visitor.Read(At(10), 0ULL), 8ULL);
    EXPECT_EQ(visitor.Read(At(11), 0.0F), 0.5F);
    EXPECT_EQ(visitor.Read(At(12), 0.0), 0.25);
    char bytes[4] = {};
    EXPECT_EQ(visitor.Memento()->ReadBytes(At(13), bytes, sizeof bytes), 2);
    EXPECT_EQ(std::string(bytes, 2), "\x01\x02");
    EXPECT_EQ(visitor.Memento()->DataIsPresent(At(14)), 1); // the object is there
    m_Reference = visitor.Memento()->ReadReference(At(14));
    m_Uid = visitor.GetUid();
  }
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    visitor.Write(At(0), cow_String());
    visitor.Write(At(1), ""_cow);
    visitor.Write(At(2), m_Text);
    visitor.Write(At(3), true);
    visitor.Write(At(4), static_cast<signed char>(-2));
    visitor.Write(At(5), static_cast<short>(-3));
    visitor.Write(At(6), static_cast<unsigned short>(0xFFFE));
    visitor.Write(At(7), -5);
    visitor.Write(At(8), 6U);
    visitor.Write(At(9), -7LL);
    visitor.Write(At(10), 8ULL);
    visitor.Write(At(11), 0.5F);
    visitor.Write(At(12), 0.25);
    visitor.Memento()->WriteBytes(At(13), "\x01\x02", 2);
    visitor.Memento()->WriteReference(At(14), m_Reference);
  }
  static void Declare(cls_ClassRegistrar& registrar) {
    cls_ClassMetadata& metadata = registrar.CreateClassMD("EveryType"_cow, TypeId(), 2, nullptr, 1);
    for (int number = 0; number < 15; ++number)
      metadata.AddAttribute(At(number), AnyType, 1, COLLECTION_NONE);
  }
  cow_String m_Text = "text"_cow;
  cls_Uid m_Reference;
  cls_Uid m_Uid;
};

class StoreEverything {
 public:
  /// Nodes that are shared, and one that names another back.
  static void SaveNodes(sto_Store& store) {
    Node loop(1);
    loop.m_Left = std::make_shared<Node>(2);
    loop.m_Left->m_Right = std::make_shared<Node>(3);
    loop.m_Right = loop.m_Left->m_Right;
    loop.m_Left->m_Back = loop.m_Right;
    store.Save("nodes", loop);
  }
  static cls_ClassRegistrar const& Classes() {
    static cls_ClassRegistrar const& registrar = [&]() -> cls_ClassRegistrar const& {
      static cls_ClassRegistrar classes;
      DeclareCollections(classes);
      DeclareLevels(classes, 4, 7, 2);
      EveryType::Declare(classes);
      return classes;
    }();
    return registrar;
  }

  /// Saves everything into an empty store.
  static void Save(sto_Store& store) {
    SaveFields(store, &WriteCollections, "collections");
    Top top;
    top.m_MiddleValue = "middle"_cow;
    store.Save("levels", top);
    store.Save("picture", Picture(40'000));
    EveryType types;
    types.m_Reference = top.m_TopUid;
    store.Save("types", types);
    EveryType more;
    more.m_Reference = top.m_TopUid;
    more.m_Text = cow_String(std::string(3000, 't')); // a record too long for a pack
    store.Save("long", more);
    SaveNodes(store);
    std::vector<std::unique_ptr<Bulk>> bulks;
    for (int i = 0; i < Bulks; ++i) {
      bulks.push_back(std::make_unique<Bulk>());
      bulks.back()->Fill(10);
      store.Save("bulk " + std::to_string(i), *bulks.back());
    }
    sto_Transaction transaction(store); // overwrites enough blocks to move them
    for (std::unique_ptr<Bulk> const& bulk : bulks) bulk->m_Array.Get(9) = 90;
    transaction.Commit();
    for (std::unique_ptr<Bulk> const& bulk : bulks) bulk->Close();
  }

  /// Reads everything and compares it.
  static void Expect(sto_Store& store) {
    static_cast<void>(LoadFields(store, &ExpectCollections, "collections"));
    std::unique_ptr<Top> const top = store.Load<Top>("levels");
    EXPECT_EQ(top->m_MiddleValue.View(), "middle");
    EXPECT_EQ(store.Load<Picture>("picture")->Bytes(), std::string(40'000, 'b'));
    EXPECT_EQ(store.Load<EveryType>("types")->m_Text.View(), "text");
    EXPECT_EQ(store.Load<EveryType>("long")->m_Text.View(), std::string(3000, 't'));
    std::shared_ptr<Node> const nodes = store.LoadShared<Node>("nodes");
    EXPECT_EQ(nodes->m_Left->m_Value, 2);
    EXPECT_EQ(nodes->m_Right, nodes->m_Left->m_Right);
    EXPECT_EQ(nodes->m_Left->m_Back.lock(), nodes->m_Right);
    for (int i = 0; i < Bulks; ++i) {
      std::unique_ptr<Bulk> const bulk = store.Load<Bulk>("bulk " + std::to_string(i));
      ASSERT_EQ(bulk->m_Array.Size(), 10);
      for (int k = 0; k < 10; ++k) EXPECT_EQ(bulk->m_Array.ConstGet(k), k == 9 ? 90 : k);
    }
    EXPECT_EQ(store.CountGarbage(), 0);
  }

 private:
  static constexpr int Bulks = 40;
  static constexpr int ManyElements = 3000;

  static void WriteCollections(cls_WriteVisitor const& visitor) {
    cls_MementoWrite& memento = *visitor.Memento();
    {
      auto const list = WriteIn(visitor, "m_List", ListClass);
      auto const texts = Own(list->MakeWriteListPrim(static_cast<cow_String const*>(nullptr), 1));
      for (cow_String const& text : {cow_String(), ""_cow, "a"_cow}) texts->Append(text);
    }
    {
      auto const table = WriteIn(visitor, "m_Table", ListClass);
      auto const rows = Own(table->MakeWriteListPrim(static_cast<double const*>(nullptr), 3));
      for (int i = 0; i < ManyElements; ++i) rows->Append(i / 2.0);
    }
    {
      auto const strings = WriteIn(visitor, "m_Strings", MapClass);
      auto const map = Own(strings->MakeWriteMapString2Prim(static_cast<cow_String const*>(nullptr)));
      map->Insert("key"_cow, "value"_cow);
      map->Insert(cow_String(), cow_String());
    }
    {
      auto const any = WriteIn(visitor, "m_Any", MapClass);
      auto const map = Own(any->MakeWriteMapInt2Prim(static_cast<double const*>(nullptr)));
      for (int i = -2; i < 3; ++i) map->Insert(i, i / 4.0);
    }
    {
      auto const pairs = Own(memento.MakeFieldWriteIntTableInt(Field("m_Pairs"), cls_Uid()));
      for (int i = -2; i < 3; ++i) pairs->Insert(i, 100 * i);
    }
    Node const first(1);
    Node const second(2);
    {
      auto const many = Own(memento.MakeFieldWriteListObj(Field("m_Objects"), cls_Uid()));
      for (int i = 0; i < ManyElements; ++i) AppendNode(*many, i % 2 == 0 ? first : second);
    }
    {
      auto const byInt = Own(memento.MakeFieldWriteMapInt2Obj(Field("m_ByInt"), cls_Uid()));
      for (int i = -1; i < 2; ++i) InsertNode(*byInt, i, first);
    }
    InsertNode(*Own(memento.MakeFieldWriteMapString2Obj(Field("m_ByString"), cls_Uid())), "n"_cow, second);
  }

  static void ExpectCollections(cls_ReadVisitor const& visitor) {
    auto const texts = Own(ReadIn(visitor, "m_List")->MakeReadListPrim(static_cast<cow_String*>(nullptr)));
    ASSERT_EQ(texts->Count(), 3);
    EXPECT_FALSE(texts->Next().HasText());
    EXPECT_TRUE(texts->Next().IsEmpty());
    EXPECT_EQ(texts->Next().View(), "a");
    auto const rows = Own(ReadIn(visitor, "m_Table")->MakeReadListPrim(static_cast<double*>(nullptr)));
    ASSERT_EQ(rows->Count(), ManyElements);
    for (int i = 0; i < ManyElements; ++i) ASSERT_EQ(rows->Next(), i / 2.0);
    auto const byText =
        Own(ReadIn(visitor, "m_Strings")->MakeReadMapString2Prim(static_cast<cow_String*>(nullptr)));
    EXPECT_EQ(byText->Count(), 2);
    auto const byNumber = Own(ReadIn(visitor, "m_Any")->MakeReadMapInt2Prim(static_cast<double*>(nullptr)));
    EXPECT_EQ(byNumber->Count(), 5);
    auto const pairs = Own(ReadIn(visitor, "m_Pairs")->MakeReadIntTableInt());
    EXPECT_EQ(pairs->Count(), 5);
    auto const many = Own(ReadIn(visitor, "m_Objects")->MakeReadListObj());
    ASSERT_EQ(many->Count(), ManyElements);
    for (int i = 0; i < ManyElements; ++i) ASSERT_EQ(NodeValue(many->Next()), 1 + i % 2);
    auto const byInt = Own(ReadIn(visitor, "m_ByInt")->MakeReadMapInt2Obj());
    EXPECT_EQ(byInt->Count(), 3);
    auto const byString = Own(ReadIn(visitor, "m_ByString")->MakeReadMapString2Obj());
    EXPECT_EQ(byString->Count(), 1);
  }
};
