#include <map>

#include "persist/backend/cls_AgentBlob.h"
#include "persist/backend/cls_AgentListPrim.h"
#include "persist/backend/cls_ReadListPrim.h"
#include "persist/backend/cls_ReadMapPrim.h"
#include "persist/backend/cls_ReadObjects.h"
#include "persist/backend/cls_WriteListPrim.h"
#include "persist/backend/cls_WriteMapPrim.h"
#include "persist/backend/cls_WriteObjects.h"
#include "persist/visitors/cls_BlobReader.h"
#include "persist/visitors/cls_BlobWriter.h"
#include "tests/contract/ContractTest.h"

// Replacing stored content: by smaller, larger and empty content; and removing roots.

namespace {

CONTRACT_SUITE(ContractOverwrite);

TEST_P(ContractOverwrite, AnObjectIsReplacedByASmallerAndALargerOne) {
  COVERS(cls_MementoWrite, 7, 11);
  COVERS(cls_MementoRead, 4, 9, 13);
  auto const sized = [](int size) {
    return [size](cls_WriteVisitor const& visitor) {
      visitor.Write(FieldFor<cow_String>(), cow_String(std::string(static_cast<std::size_t>(size), 'a')));
      if (size % 2 == 0) visitor.Write(FieldFor<int>(), size);
    };
  };
  Write(sized(10));
  for (int const size : {500'000, 3, 20'000, 0, 40'001}) {
    Rewrite(sized(size));
    Read([=](cls_ReadVisitor const& visitor) {
      EXPECT_EQ(visitor.Read(FieldFor<cow_String>(), "x"_cow).Length(), size);
      EXPECT_EQ(visitor.Read(FieldFor<int>(), -1), size % 2 == 0 ? size : -1);
    });
    ExpectObjects(1);
  }
}

/// The identity for rewriting a stored object's collection.
cls_Uid StoredUid(cls_ReadVisitor const& visitor, cls_FieldHandle const& field) {
  cls_ReadVisitor const child = ObjectIn(visitor, field);
  return child.GetUid();
}

TEST_P(ContractOverwrite, AListOfManyBlocksShrinksToFewAndToNone) {
  COVERS(cls_MementoWrite, 22, 23, 24, 25, 26, 27);
  COVERS(cls_MementoRead, 3, 26, 27, 28, 29, 30, 31);
  for (int const count : {20'000, 5000, 2048, 3, 9000, 0, 1}) {
    std::vector<cls_Uid> lists(6);
    if (HasWritten())
      Read([&](cls_ReadVisitor const& visitor) {
        std::size_t i = 0;
        ForListTypes(
            [&]<class T>(std::type_identity<T>) { lists[i++] = StoredUid(visitor, FieldFor<T>("List")); });
      });
    WriteOrRewrite([&](cls_WriteVisitor const& visitor) {
      std::size_t i = 0;
      ForListTypes([&]<class T>(std::type_identity<T>) {
        WriteCollectionOf<T>(
            visitor, ListKind,
            [=](cls_MementoWrite& memento) {
              T const tag{};
              auto const builder = Receive(memento.MakeWriteListPrim(&tag, 1));
              for (int j = 0; j < count; ++j) builder->Append(SampleOf<T>(j + count));
            },
            lists[i++]);
      });
    });
    ExpectObjects(7);
    Read([=](cls_ReadVisitor const& visitor) {
      ForListTypes([&]<class T>(std::type_identity<T>) {
        cls_ReadVisitor const child = ObjectIn(visitor, FieldFor<T>("List"));
        T tag{};
        auto const cursor = Receive(child.Memento()->MakeReadListPrim(&tag));
        ASSERT_EQ(cursor->Count(), count);
        for (int j = 0; j < count; ++j) ASSERT_TRUE(IsSameValue(cursor->Next(), SampleOf<T>(j + count))) << j;
        EXPECT_EQ(cursor->More(), 0);
      });
    });
  }
}

TEST_P(ContractOverwrite, AMapIsReplacedByASmallerOne) {
  COVERS(cls_MementoWrite, 32, 41);
  COVERS(cls_MementoRead, 36, 45);
  for (int const count : {5000, 10, 0, 3}) {
    cls_Uid intMap;
    cls_Uid stringMap;
    if (HasWritten())
      Read([&](cls_ReadVisitor const& visitor) {
        intMap = StoredUid(visitor, FieldFor<int>(MapIntKind.m_Name));
        stringMap = StoredUid(visitor, FieldFor<int>(MapStringKind.m_Name));
      });
    WriteOrRewrite([&](cls_WriteVisitor const& visitor) {
      int const tag = 0;
      WriteCollectionOf<int>(
          visitor, MapIntKind,
          [&](cls_MementoWrite& memento) {
            auto const builder = Receive(memento.MakeWriteMapInt2Prim(&tag));
            for (int i = 0; i < count; ++i) builder->Insert(i, i + count);
          },
          intMap);
      WriteCollectionOf<int>(
          visitor, MapStringKind,
          [&](cls_MementoWrite& memento) {
            auto const builder = Receive(memento.MakeWriteMapString2Prim(&tag));
            for (int i = 0; i < count; ++i) builder->Insert(cow_String(std::to_string(i)), i - count);
          },
          stringMap);
    });
    ExpectObjects(3);
    Read([=](cls_ReadVisitor const& visitor) {
      int tag = 0;
      cls_ReadVisitor const ints = ObjectIn(visitor, FieldFor<int>(MapIntKind.m_Name));
      auto const byInt = Receive(ints.Memento()->MakeReadMapInt2Prim(&tag));
      cls_ReadVisitor const strings = ObjectIn(visitor, FieldFor<int>(MapStringKind.m_Name));
      auto const byString = Receive(strings.Memento()->MakeReadMapString2Prim(&tag));
      ASSERT_EQ(byInt->Count(), count);
      ASSERT_EQ(byString->Count(), count);
      for (int i = 0; i < count; ++i) {
        ASSERT_EQ(byInt->Next(), i + count);
        ASSERT_EQ(byString->Next(), i - count);
      }
    });
  }
}

TEST_P(ContractOverwrite, AListOfObjectsIsReplacedByAShorterOne) {
  COVERS(cls_MementoWrite, 35);
  COVERS(cls_MementoRead, 39);
  for (int const count : {300, 2, 0, 4}) {
    cls_Uid list;
    if (HasWritten())
      Read([&](cls_ReadVisitor const& visitor) { list = StoredUid(visitor, FieldOf(ListObjKind.m_Name)); });
    WriteOrRewrite([&](cls_WriteVisitor const& visitor) {
      auto const builder =
          Receive(visitor.Memento()->MakeFieldWriteListObj(FieldOf(ListObjKind.m_Name), list));
      for (int i = 0; i < count; ++i)
        WriteNumber(builder->MakeWriteObj(Scripted::TypeId(), cls_Uid()), i + count);
    });
    Read([=](cls_ReadVisitor const& visitor) {
      auto const cursor = Receive(visitor.Memento()->MakeFieldReadListObj(FieldOf(ListObjKind.m_Name)));
      ASSERT_EQ(cursor->Count(), count);
      for (int i = 0; i < count; ++i) ASSERT_EQ(NumberOf(cursor->Next()), i + count);
    });
  }
}

TEST_P(ContractOverwrite, AFieldChangesBetweenAnObjectAndNone) {
  COVERS(cls_MementoWrite, 3);
  COVERS(cls_MementoRead, 5, 7);
  auto const with = [](int number) {
    return [number](cls_WriteVisitor const& visitor) {
      if (number >= 0)
        WriteNumber(
            visitor.Memento()->MakeFieldWriteObj(FieldOf("Object"), Scripted::TypeId(), cls_Uid(), nullptr),
            number);
    };
  };
  Write(with(-1));
  for (int const number : {3, -1, 4, 5}) {
    Rewrite(with(number));
    Read([=](cls_ReadVisitor const& visitor) {
      EXPECT_EQ(visitor.DataIsPresent(FieldOf("Object")) != 0, number >= 0);
      EXPECT_EQ(NumberOf(visitor.Memento()->MakeFieldReadObj(FieldOf("Object"))), number);
    });
  }
}

TEST_P(ContractOverwrite, ABlobIsReplacedByASmallerOneUnderItsIdentity) {
  COVERS(cls_MementoWrite, 53);
  COVERS(cls_MementoRead, 57);
  COVERS(cls_AgentBlob, 1, 2, 3, 4);
  for (int const size : {200'000, 10, 0, 70'000}) {
    cls_Uid blob;
    if (HasWritten())
      Read([&](cls_ReadVisitor const& visitor) { blob = StoredUid(visitor, FieldOf("Blob")); });
    WriteOrRewrite([&](cls_WriteVisitor const& visitor) {
      cls_BlobWriter const writer(visitor, FieldOf("Blob"), blob);
      std::vector<char> const bytes(static_cast<std::size_t>(size), static_cast<char>(size % 100));
      writer.Agent().Truncate(0);
      writer.Agent().Write(0, size, bytes.data());
      writer.Agent().EndFlush();
    });
    ExpectObjects(2);
    Read([=](cls_ReadVisitor const& visitor) {
      cls_Uid uid;
      cls_BlobReader const reader(visitor, FieldOf("Blob"), uid);
      ASSERT_EQ(reader.Agent().Size(), size);
      std::vector<char> bytes(static_cast<std::size_t>(size) + 1);
      EXPECT_EQ(reader.Agent().Read(0, size + 1, bytes.data()), size);
      for (int i = 0; i < size; ++i) ASSERT_EQ(bytes[static_cast<std::size_t>(i)], size % 100);
    });
  }
}

TEST_P(ContractOverwrite, ARootIsReplacedByAnotherObject) {
  COVERS(cls_MementoWrite, 11);
  COVERS(cls_MementoRead, 13);
  for (int const number : {1, 2}) {
    Write([=](cls_WriteVisitor const& visitor) { visitor.Write(FieldFor<int>(), number); });
    Read([=](cls_ReadVisitor const& visitor) { EXPECT_EQ(visitor.Read(FieldFor<int>(), -1), number); });
    ExpectObjects(number, "the previous object stays, without a name");
  }
}

TEST_P(ContractOverwrite, ARemovedRootIsGoneAndItsNameIsFree) {
  COVERS(cls_MementoRead, 13);
  CONTRACT_NEEDS(m_NamesRoots);
  for (char const* const name : {"a", "b", "c"})
    Write([](cls_WriteVisitor const& visitor) { visitor.Write(FieldFor<int>(), 1); }, name);
  EXPECT_EQ(Session().Roots(), (std::vector<std::string>{"a", "b", "c"}));
  EXPECT_TRUE(Session().HasRoot("b"));
  EXPECT_TRUE(Session().RemoveRoot("b"));
  Step();
  EXPECT_FALSE(Session().RemoveRoot("b"));
  EXPECT_EQ(Session().Roots(), (std::vector<std::string>{"a", "c"}));
  ExpectNoRoot("b");
  Write([](cls_WriteVisitor const& visitor) { visitor.Write(FieldFor<int>(), 2); }, "b");
  Read([](cls_ReadVisitor const& visitor) { EXPECT_EQ(visitor.Read(FieldFor<int>(), -1), 2); }, "b");
}

TEST_P(ContractOverwrite, ASaveThatFailsLeavesWhatWasThere) {
  COVERS(cls_MementoWrite, 11, 27);
  COVERS(cls_MementoRead, 13, 31);
  auto const write = [](int first) {
    return [first](cls_WriteVisitor const& visitor) {
      visitor.Write(FieldFor<int>(), first);
      WriteCollectionOf<int>(visitor, ListKind, [=](cls_MementoWrite& memento) {
        int const tag = 0;
        auto const builder = Receive(memento.MakeWriteListPrim(&tag, 1));
        for (int i = 0; i < 5000; ++i) builder->Append(first + i);
      });
      if (first != 0) throw std::runtime_error("in the middle");
    };
  };
  Write(write(0));
  EXPECT_THROW(Rewrite(write(100)), std::runtime_error);
  Step();
  Read([](cls_ReadVisitor const& visitor) {
    EXPECT_EQ(visitor.Read(FieldFor<int>(), -1), 0);
    cls_ReadVisitor const child = ObjectIn(visitor, FieldFor<int>("List"));
    int tag = 0;
    auto const cursor = Receive(child.Memento()->MakeReadListPrim(&tag));
    ASSERT_EQ(cursor->Count(), 5000);
    for (int i = 0; i < 5000; ++i) ASSERT_EQ(cursor->Next(), i);
  });
  ExpectObjects(2);
}

/// The collections of an object by name; they keep their identities when rewritten.
class KeptCollections {
 public:
  [[nodiscard]] cls_Uid const& operator[](std::string const& name) { return m_Uids[name]; }
  void Take(cls_ReadVisitor const& visitor) {
    for (auto& [name, uid] : m_Uids) uid = StoredUid(visitor, FieldOf(name));
  }

 private:
  std::map<std::string, cls_Uid> m_Uids;
};

void WriteMapsOfAllTypes(cls_WriteVisitor const& visitor, KeptCollections& kept, int count) {
  ForMapTypes([&]<class T>(std::type_identity<T>) {
    T const tag{};
    std::string const name = ContractTypeName<T>;
    WriteCollectionOf<T>(
        visitor, MapIntKind,
        [&](cls_MementoWrite& memento) {
          auto const builder = Receive(memento.MakeWriteMapInt2Prim(&tag));
          for (int i = 0; i < count; ++i) builder->Insert(i, SampleOf<T>(i + count));
        },
        kept[MapIntKind.m_Name + name]);
    WriteCollectionOf<T>(
        visitor, MapStringKind,
        [&](cls_MementoWrite& memento) {
          auto const builder = Receive(memento.MakeWriteMapString2Prim(&tag));
          for (int i = 0; i < count; ++i)
            builder->Insert(cow_String(std::to_string(i)), SampleOf<T>(i + count));
        },
        kept[MapStringKind.m_Name + name]);
  });
  auto const table = Receive(
      visitor.Memento()->MakeFieldWriteIntTableInt(FieldOf(IntTableKind.m_Name), kept[IntTableKind.m_Name]));
  for (int i = 0; i < count; ++i) table->Insert(i, i + count);
}

void ExpectMapsOfAllTypes(cls_ReadVisitor const& visitor, int count) {
  ForMapTypes([&]<class T>(std::type_identity<T>) {
    SCOPED_TRACE(ContractTypeName<T>);
    T tag{};
    cls_ReadVisitor const ints = ObjectIn(visitor, FieldFor<T>(MapIntKind.m_Name));
    cls_ReadVisitor const strings = ObjectIn(visitor, FieldFor<T>(MapStringKind.m_Name));
    auto const byInt = Receive(ints.Memento()->MakeReadMapInt2Prim(&tag));
    auto const byString = Receive(strings.Memento()->MakeReadMapString2Prim(&tag));
    ASSERT_EQ(byInt->Count(), count);
    ASSERT_EQ(byString->Count(), count);
    for (int i = 0; i < count; ++i) {
      ASSERT_TRUE(IsSameValue(byInt->Next(), SampleOf<T>(i + count)));
      ASSERT_TRUE(IsSameValue(byString->Next(), SampleOf<T>(i + count)));
    }
  });
  auto const table = Receive(visitor.Memento()->MakeFieldReadIntTableInt(FieldOf(IntTableKind.m_Name)));
  ASSERT_EQ(table->Count(), count);
  for (int i = 0; table->More() != 0; ++i) {
    ASSERT_LT(i, count);
    int const value = table->Next();
    int key = -1;
    table->Key(key);
    ASSERT_EQ(value, key + count);
  }
}

TEST_P(ContractOverwrite, MapsOfAllTypesAndIntTablesShrinkAndGrow) {
  COVERS(cls_MementoWrite, 28, 29, 30, 31, 32, 38, 39, 40, 41, 42, 43);
  COVERS(cls_MementoRead, 32, 33, 34, 35, 36, 42, 43, 44, 45, 46, 47);
  KeptCollections kept;
  for (int const count : {2000, 10, 0, 3, 500}) {
    auto const write = [&](cls_WriteVisitor const& visitor) { WriteMapsOfAllTypes(visitor, kept, count); };
    WriteOrRewrite(write);
    ExpectObjects(1 + 11, "the same collections");
    Read([&](cls_ReadVisitor const& visitor) {
      ExpectMapsOfAllTypes(visitor, count);
      kept.Take(visitor);
    });
  }
  EXPECT_TRUE(!Can().m_CollectsGarbage || Session().CollectGarbage() == 0);
}

TEST_P(ContractOverwrite, CollectionsOfObjectsShrinkAndReleaseTheirElements) {
  COVERS(cls_MementoWrite, 35, 36, 37);
  COVERS(cls_MementoRead, 39, 40, 41);
  KeptCollections kept;
  int before = 0;
  for (int const count : {3000, 2, 0, 40}) {
    auto const write = [&](cls_WriteVisitor const& visitor) {
      cls_MementoWrite& memento = *visitor.Memento();
      unsigned int const id = Scripted::TypeId();
      auto const list = Receive(memento.MakeFieldWriteListObj(FieldOf("ListObj"), kept["ListObj"]));
      auto const ints = Receive(memento.MakeFieldWriteMapInt2Obj(FieldOf("MapIntObj"), kept["MapIntObj"]));
      auto const strings =
          Receive(memento.MakeFieldWriteMapString2Obj(FieldOf("MapStringObj"), kept["MapStringObj"]));
      for (int i = 0; i < count; ++i) {
        WriteNumber(list->MakeWriteObj(id, cls_Uid()), i + count);
        WriteNumber(ints->MakeWriteObj(i, id, cls_Uid()), i + count);
        WriteNumber(strings->MakeWriteObj(cow_String(std::to_string(i)), id, cls_Uid()), i + count);
      }
    };
    WriteOrRewrite(write);
    if (Can().m_CollectsGarbage) {
      EXPECT_EQ(Session().CollectGarbage(), 3 * before) << "exactly the previous elements";
      Step();
      ExpectObjects(1 + 3 + 3 * count);
    }
    before = count;
    Read([&](cls_ReadVisitor const& visitor) {
      cls_MementoRead& memento = *visitor.Memento();
      auto const list = Receive(memento.MakeFieldReadListObj(FieldOf("ListObj")));
      auto const ints = Receive(memento.MakeFieldReadMapInt2Obj(FieldOf("MapIntObj")));
      auto const strings = Receive(memento.MakeFieldReadMapString2Obj(FieldOf("MapStringObj")));
      ASSERT_EQ(list->Count(), count);
      ASSERT_EQ(ints->Count(), count);
      ASSERT_EQ(strings->Count(), count);
      for (int i = 0; i < count; ++i) {
        int number = -1;
        cow_String text;
        ints->Next();
        strings->Next();
        ASSERT_EQ(NumberOf(list->Next()), i + count);
        ASSERT_EQ(NumberOf(ints->Fetch(number)), i + count);
        ASSERT_EQ(NumberOf(strings->Fetch(text)), i + count);
        ASSERT_EQ(number, i);
      }
      kept.Take(visitor);
    });
  }
}

TEST_P(ContractOverwrite, ACollectionIsReplacedByOneOfAnotherWidth) {
  COVERS(cls_MementoWrite, 25);
  COVERS(cls_MementoRead, 29);
  KeptCollections kept;
  for (int const width : {4, 1, 3000, 7}) {
    auto const write = [&](cls_WriteVisitor const& visitor) {
      WriteCollection(visitor, FieldOf("TableDouble"), ListKind, COLLECTION_TABLE_DOUBLE, kept["TableDouble"],
                      [=](cls_MementoWrite& memento) {
                        double const tag = 0;
                        auto const builder = Receive(memento.MakeWriteListPrim(&tag, width));
                        for (int i = 0; i < 2 * width; ++i) builder->Append(SampleOf<double>(i + width));
                      });
    };
    WriteOrRewrite(write);
    Read([&](cls_ReadVisitor const& visitor) {
      cls_ReadVisitor const child = ObjectIn(visitor, FieldOf("TableDouble"));
      double tag = 0;
      auto const cursor = Receive(child.Memento()->MakeReadListPrim(&tag));
      EXPECT_EQ(cursor->RowWidth(), width);
      ASSERT_EQ(cursor->Count(), 2 * width);
      for (int i = 0; i < 2 * width; ++i) ASSERT_EQ(cursor->Next(), SampleOf<double>(i + width));
      kept.Take(visitor);
    });
    ExpectObjects(2);
  }
}

/// A collection that takes several blocks, under its identity.
struct Shrinking {
  char const* m_Name;
  char const* m_Field;
  std::function<void(cls_WriteVisitor const&, cls_Uid const&, int count)> m_Write;
};

template <class T> Shrinking ShrinkingList() {
  static std::string const field = std::string(ListKind.m_Name) + ContractTypeName<T>;
  return {ContractTypeName<T>, field.c_str(),
          [](cls_WriteVisitor const& visitor, cls_Uid const& uid, int count) {
            WriteCollectionOf<T>(
                visitor, ListKind,
                [=](cls_MementoWrite& memento) {
                  T const tag{};
                  auto const builder = Receive(memento.MakeWriteListPrim(&tag, 1));
                  for (int i = 0; i < count; ++i) builder->Append(SampleOf<T>(i));
                },
                uid);
          }};
}

std::vector<Shrinking> EveryShrinking() {
  std::vector<Shrinking> all;
  // One element type of fixed length, and the one of variable length.
  all.push_back(ShrinkingList<double>());
  all.push_back(ShrinkingList<cow_String>());
  all.push_back({"blob", "Blob", [](cls_WriteVisitor const& visitor, cls_Uid const& uid, int count) {
                   cls_BlobWriter const writer(visitor, FieldOf("Blob"), uid);
                   std::vector<char> const bytes(static_cast<std::size_t>(count) * 8, 'b');
                   writer.Agent().Truncate(0);
                   writer.Agent().Write(0, count * 8LL, bytes.data());
                 }});
  all.push_back({"map", "MapIntDouble", [](cls_WriteVisitor const& visitor, cls_Uid const& uid, int count) {
                   WriteCollectionOf<double>(
                       visitor, MapIntKind,
                       [=](cls_MementoWrite& memento) {
                         double const tag = 0;
                         auto const builder = Receive(memento.MakeWriteMapInt2Prim(&tag));
                         for (int i = 0; i < count; ++i) builder->Insert(i, SampleOf<double>(i));
                       },
                       uid);
                 }});
  return all;
}

TEST_P(ContractOverwrite, RoomFreedByAShrunkCollectionIsReused) {
  COVERS(cls_MementoWrite, 23, 25, 30, 53);
  COVERS(cls_MementoRead, 3);
  CONTRACT_NEEDS(m_ReusesRoom);
  constexpr int Count = 150'000;
  for (Shrinking const& shrinking : EveryShrinking()) {
    SCOPED_TRACE(shrinking.m_Name);
    cls_Uid uid;
    auto const sized = [&](int count) {
      return [&, count](cls_WriteVisitor const& visitor) { shrinking.m_Write(visitor, uid, count); };
    };
    Write(sized(Count));
    std::int64_t const size = Session().SizeBytes();
    Read([&](cls_ReadVisitor const& visitor) { uid = StoredUid(visitor, FieldOf(shrinking.m_Field)); });
    Rewrite(sized(1));
    uid = cls_Uid();
    Write(sized(Count), "other");
    EXPECT_LE(Session().SizeBytes(), size + size / 4);
    for (char const* const root : {"root", "other"}) Session().RemoveRoot(root);
    EXPECT_EQ(Session().CollectGarbage(), 4);
    Step();
  }
}

} // namespace
