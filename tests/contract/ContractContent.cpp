#include "tests/contract/ContractContent.h"

#include <algorithm>

#include "persist/backend/cls_AgentBlob.h"
#include "persist/backend/cls_ReadListPrim.h"
#include "persist/backend/cls_ReadMapPrim.h"
#include "persist/backend/cls_ReadObjects.h"
#include "persist/backend/cls_WriteListPrim.h"
#include "persist/backend/cls_WriteMapPrim.h"
#include "persist/backend/cls_WriteObjects.h"
#include "persist/visitors/cls_BlobReader.h"
#include "persist/visitors/cls_BlobWriter.h"
#include "tests/contract/ContractExtremes.h"

namespace {

constexpr int ManyElements = 2500; // more than one block holds
constexpr int FewElements = 12;
constexpr int Entries = 30;
constexpr int ElementObjects = 3;

/// The value number `i` of a type: first the extremes, then samples.
template <class T> T ContentValue(int i) {
  static std::deque<T> const extremes = Extremes<T>();
  auto const index = static_cast<std::size_t>(i);
  return index < extremes.size() ? extremes[index] : SampleOf<T>(i);
}

std::vector<unsigned char> BlobOf(int seed) {
  std::vector<unsigned char> bytes(40'000 + static_cast<std::size_t>(seed));
  for (std::size_t i = 0; i < bytes.size(); ++i)
    bytes[i] = static_cast<unsigned char>(i * 31 + i / 257 + static_cast<std::size_t>(seed));
  return bytes;
}

std::string BytesOf(int seed) {
  return std::string("bytes\0\n", 7) + std::to_string(seed);
}

int ContentIntKey(int i) {
  return i < 8 ? ContentValue<int>(i) : i * 1000; // start with the extreme keys
}
cow_String ContentStringKey(int i) {
  if (i == 0) return ""_cow;
  return cow_String("\xC3\xA4\n" + std::string(1, '\0') + std::to_string(i * 1000));
}

template <class T> void WriteList(cls_MementoWrite& memento, int count, int width, int seed) {
  T const tag{};
  auto const builder = Receive(memento.MakeWriteListPrim(&tag, width));
  for (int i = 0; i < count; ++i) builder->Append(ContentValue<T>(i + seed));
}

template <class T> void ExpectList(cls_MementoRead& memento, int count, int width, int seed) {
  T tag{};
  auto const cursor = Receive(memento.MakeReadListPrim(&tag));
  ASSERT_EQ(cursor->Count(), count);
  EXPECT_EQ(cursor->RowWidth(), width);
  for (int i = 0; i < count; ++i) ASSERT_TRUE(IsSameValue(cursor->Next(), ContentValue<T>(i + seed))) << i;
  EXPECT_EQ(cursor->More(), 0);
}

void WriteCollections(cls_WriteVisitor const& visitor, int seed) {
  ForListTypes([&]<class T>(std::type_identity<T>) {
    WriteCollectionOf<T>(visitor, ListKind, [&](cls_MementoWrite& memento) {
      WriteList<T>(memento, ManyElements + seed, 1, seed);
    });
  });
  WriteCollection(visitor, FieldOf("SecondListInt"), ListKind, COLLECTION_LIST_INT, cls_Uid(),
                  [&](cls_MementoWrite& memento) { WriteList<int>(memento, FewElements, 1, seed); });
  WriteCollection(visitor, FieldOf("TableDouble"), ListKind, COLLECTION_TABLE_DOUBLE, cls_Uid(),
                  [&](cls_MementoWrite& memento) { WriteList<double>(memento, FewElements, 4, seed); });
  ForMapTypes([&]<class T>(std::type_identity<T>) {
    T const tag{};
    WriteCollectionOf<T>(visitor, MapIntKind, [&](cls_MementoWrite& memento) {
      auto const builder = Receive(memento.MakeWriteMapInt2Prim(&tag));
      for (int i = 0; i < Entries; ++i) builder->Insert(ContentIntKey(i), ContentValue<T>(i + seed));
    });
    WriteCollectionOf<T>(visitor, MapStringKind, [&](cls_MementoWrite& memento) {
      auto const builder = Receive(memento.MakeWriteMapString2Prim(&tag));
      for (int i = 0; i < Entries; ++i) builder->Insert(ContentStringKey(i), ContentValue<T>(i + seed));
    });
  });
  std::unique_ptr<cls_WriteIntTableInt> const table(
      visitor.Memento()->MakeFieldWriteIntTableInt(FieldOf(IntTableKind.m_Name), cls_Uid()));
  for (int i = 0; i < Entries; ++i) table->Insert(ContentIntKey(i), ContentValue<int>(i + seed));
}

void ExpectCollections(cls_ReadVisitor const& visitor, int seed) {
  ForListTypes([&]<class T>(std::type_identity<T>) {
    SCOPED_TRACE(ContractTypeName<T>);
    cls_ReadVisitor const child = ObjectIn(visitor, FieldFor<T>("List"));
    ExpectList<T>(*child.Memento(), ManyElements + seed, 1, seed);
  });
  ExpectList<int>(*ObjectIn(visitor, FieldOf("SecondListInt")).Memento(), FewElements, 1, seed);
  ExpectList<double>(*ObjectIn(visitor, FieldOf("TableDouble")).Memento(), FewElements, 4, seed);
  ForMapTypes([&]<class T>(std::type_identity<T>) {
    SCOPED_TRACE(ContractTypeName<T>);
    T tag{};
    cls_ReadVisitor const ints = ObjectIn(visitor, FieldFor<T>(MapIntKind.m_Name));
    cls_ReadVisitor const strings = ObjectIn(visitor, FieldFor<T>(MapStringKind.m_Name));
    auto const byInt = Receive(ints.Memento()->MakeReadMapInt2Prim(&tag));
    auto const byString = Receive(strings.Memento()->MakeReadMapString2Prim(&tag));
    ASSERT_EQ(byInt->Count(), Entries);
    ASSERT_EQ(byString->Count(), Entries);
    for (int i = 0; i < Entries; ++i) {
      ASSERT_TRUE(IsSameValue(byInt->Next(), ContentValue<T>(i + seed))) << i;
      ASSERT_TRUE(IsSameValue(byString->Next(), ContentValue<T>(i + seed))) << i;
      int number = 0;
      cow_String text;
      byInt->Key(number);
      byString->Key(text);
      ASSERT_EQ(number, ContentIntKey(i));
      ASSERT_TRUE(IsSameValue(text, ContentStringKey(i))) << i;
    }
  });
  auto const table = Receive(visitor.Memento()->MakeFieldReadIntTableInt(FieldOf(IntTableKind.m_Name)));
  ASSERT_EQ(table->Count(), Entries);
  std::vector<int> keys;
  while (table->More() != 0) {
    int const value = table->Next();
    int key = 0;
    table->Key(key);
    keys.push_back(key);
    int i = 0;
    while (i < Entries && ContentIntKey(i) != key) ++i;
    ASSERT_LT(i, Entries) << key;
    ASSERT_EQ(value, ContentValue<int>(i + seed)) << key;
  }
  std::ranges::sort(keys);
  EXPECT_EQ(std::ranges::adjacent_find(keys), keys.end());
}

/// The first element of each collection is the shared object.
void WriteObjectCollections(cls_WriteVisitor const& visitor, cls_Uid const& shared, int seed) {
  cls_MementoWrite& memento = *visitor.Memento();
  auto const list = Receive(memento.MakeFieldWriteListObj(FieldOf(ListObjKind.m_Name), cls_Uid()));
  auto const ints = Receive(memento.MakeFieldWriteMapInt2Obj(FieldOf(MapIntObjKind.m_Name), cls_Uid()));
  auto const strings =
      Receive(memento.MakeFieldWriteMapString2Obj(FieldOf(MapStringObjKind.m_Name), cls_Uid()));
  EXPECT_EQ(list->MakeWriteObj(ElementId, shared), nullptr);
  EXPECT_EQ(ints->MakeWriteObj(ContentIntKey(0), ElementId, shared), nullptr);
  EXPECT_EQ(strings->MakeWriteObj(ContentStringKey(0), ElementId, shared), nullptr);
  for (int i = 1; i < ElementObjects; ++i) {
    WriteNumber(list->MakeWriteObj(ElementId, cls_Uid()), seed + i);
    WriteNumber(ints->MakeWriteObj(ContentIntKey(i), ElementId, cls_Uid()), seed + 10 * i);
    WriteNumber(strings->MakeWriteObj(ContentStringKey(i), ElementId, cls_Uid()), seed + 100 * i);
  }
}

void ExpectObjectCollections(cls_ReadVisitor const& visitor, cls_Uid const& shared, int seed) {
  cls_MementoRead& memento = *visitor.Memento();
  auto const list = Receive(memento.MakeFieldReadListObj(FieldOf(ListObjKind.m_Name)));
  auto const ints = Receive(memento.MakeFieldReadMapInt2Obj(FieldOf(MapIntObjKind.m_Name)));
  auto const strings = Receive(memento.MakeFieldReadMapString2Obj(FieldOf(MapStringObjKind.m_Name)));
  ASSERT_EQ(list->Count(), ElementObjects);
  ASSERT_EQ(ints->Count(), ElementObjects);
  ASSERT_EQ(strings->Count(), ElementObjects);
  for (int i = 0; i < ElementObjects; ++i) {
    int number = 5;
    cow_String text;
    ints->Next();
    strings->Next();
    auto const inList = Receive(list->Next());
    auto const byInt = Receive(ints->Fetch(number));
    auto const byString = Receive(strings->Fetch(text));
    EXPECT_EQ(number, ContentIntKey(i));
    EXPECT_TRUE(IsSameValue(text, ContentStringKey(i)));
    EXPECT_EQ(inList->Read(FieldFor<int>(), -1), seed + i);
    EXPECT_EQ(byInt->Read(FieldFor<int>(), -1), seed + 10 * i);
    EXPECT_EQ(byString->Read(FieldFor<int>(), -1), seed + 100 * i);
    for (cls_MementoRead* const element : {inList.get(), byInt.get(), byString.get()})
      EXPECT_EQ(element->GetUid().Entry() == shared.Entry(), i == 0);
  }
}

} // namespace

void WriteContent(cls_WriteVisitor const& visitor, int seed) {
  cls_MementoWrite& memento = *visitor.Memento();
  ForScalarTypes(
      [&]<class T>(std::type_identity<T>) { memento.Write(FieldFor<T>(), ContentValue<T>(seed)); });
  memento.WriteEnum(FieldOf("Enum"), -seed);
  visitor.Write(FieldOf("TrString"), atr_String("100% %s"));
  std::string const bytes = BytesOf(seed);
  memento.WriteBytes(FieldOf("Bytes"), bytes.data(), static_cast<int>(bytes.size()));
  cls_Uid const shared;
  memento.WriteReference(FieldOf("Reference"), shared);
  {
    auto const object = Receive(memento.MakeFieldWriteObj(FieldOf("Object"), ElementId, shared, nullptr));
    object->Write(FieldFor<int>(), seed);
    EXPECT_EQ(object->MakeFieldWriteObj(FieldOf("Second"), ElementId, shared, nullptr), nullptr);
  }
  {
    auto const second = Receive(memento.MakeFieldWriteObj(FieldOf("Second"), ElementId, cls_Uid(), nullptr));
    second->Write(FieldFor<cow_String>(), "second"_cow);
    EXPECT_EQ(second->MakeFieldWriteObj(FieldOf("Object"), ElementId, shared, nullptr), nullptr);
  }
  {
    cls_BlobWriter const writer(visitor, FieldOf("Blob"), cls_Uid());
    std::vector<unsigned char> const blob = BlobOf(seed);
    writer.Agent().Write(0, static_cast<long long>(blob.size()), blob.data());
    writer.Agent().EndFlush();
  }
  WriteCollections(visitor, seed);
  WriteObjectCollections(visitor, shared, seed);
}

void ExpectContent(cls_ReadVisitor const& visitor, int seed) {
  cls_MementoRead& memento = *visitor.Memento();
  EXPECT_EQ(memento.ClassId(), Scripted::TypeId());
  EXPECT_EQ(memento.ClassVersion(), ScriptedVersion);
  ForScalarTypes([&]<class T>(std::type_identity<T>) {
    EXPECT_TRUE(IsSameValue(memento.Read(FieldFor<T>(), SampleOf<T>(seed + 1000)), ContentValue<T>(seed)))
        << ContractTypeName<T>;
  });
  EXPECT_EQ(memento.FieldIsPresent(FieldOf("Absent")), 0);
  EXPECT_EQ(memento.ReadEnum(FieldOf("Enum")), -seed);
  EXPECT_STREQ(visitor.Read(FieldOf("TrString"), atr_String()).Chars(), "100% %s");
  std::string bytes(100, '.');
  bytes.resize(static_cast<std::size_t>(std::max(0, memento.ReadBytes(FieldOf("Bytes"), bytes.data(), 100))));
  EXPECT_EQ(bytes, BytesOf(seed));
  cls_Uid shared;
  {
    cls_ReadVisitor const object = ObjectIn(visitor, FieldOf("Object"));
    shared = object.GetUid();
    EXPECT_EQ(object.Read(FieldFor<int>(), -1), seed);
    EXPECT_EQ(ObjectIn(object, FieldOf("Second")).GetUid().Entry(), shared.Entry());
    cls_ReadVisitor const second = ObjectIn(visitor, FieldOf("Second"));
    EXPECT_EQ(second.Read(FieldFor<cow_String>(), cow_String()), "second"_cow);
    EXPECT_EQ(ObjectIn(second, FieldOf("Object")).GetUid().Entry(), shared.Entry());
  }
  EXPECT_EQ(memento.ReadReference(FieldOf("Reference")).Entry(), shared.Entry());
  EXPECT_NE(memento.DataIsPresent(FieldOf("Reference")), 0);
  {
    cls_Uid uid;
    cls_BlobReader const reader(visitor, FieldOf("Blob"), uid);
    std::vector<unsigned char> blob(static_cast<std::size_t>(reader.Agent().Size()));
    reader.Agent().Read(0, reader.Agent().Size(), blob.data());
    EXPECT_TRUE(blob == BlobOf(seed));
  }
  ExpectCollections(visitor, seed);
  ExpectObjectCollections(visitor, shared, seed);
}
