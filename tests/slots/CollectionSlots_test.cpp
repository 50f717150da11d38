#include <gtest/gtest.h>

#include "persist/backend/cls_ReadListPrim.h"
#include "persist/backend/cls_ReadMapPrim.h"
#include "persist/backend/cls_ReadObjects.h"
#include "persist/backend/cls_WriteListPrim.h"
#include "persist/backend/cls_WriteMapPrim.h"
#include "persist/backend/cls_WriteObjects.h"
#include "tests/slots/SlotList.h"

namespace {

using Uid = cls_Uid const&;
using ListElements = ::testing::Types<bool, cow_String, float, double, unsigned int, int>;
using MapValues = ::testing::Types<cow_String, float, double, unsigned int, int>;

template <class T> class ListPrimSlots : public ::testing::Test {};
TYPED_TEST_SUITE(ListPrimSlots, ListElements);

template <class T> class MapPrimSlots : public ::testing::Test {};
TYPED_TEST_SUITE(MapPrimSlots, MapValues);

template <class Map, class Key, class T> void ExpectMapReaderSlots() {
  SlotList<Map> list;
  list.template Is<bool() const>(1, &Map::NeedsDeletion);
  list.template Is<int()>(2, &Map::Count);
  list.template Is<int()>(3, &Map::More);
  list.template Is<T()>(4, &Map::Next);
  list.template Is<void(Key&)>(5, &Map::Key);
  list.ExpectComplete(6);
}

template <class Map, class Key, class T> void ExpectMapWriterSlots() {
  SlotList<Map> list;
  list.template Is<bool() const>(1, &Map::NeedsDeletion);
  list.template Is<void(Key const&, T const&)>(2, &Map::Insert);
  list.ExpectComplete(3);
}

template <class Map, class Key> void ExpectMapObjWriterSlots() {
  SlotList<Map> list;
  list.template Is<bool() const>(1, &Map::NeedsDeletion);
  list.template Is<cls_MementoWrite*(Key const&, unsigned int, Uid)>(2, &Map::MakeWriteObj);
  list.template Is<cls_MementoWrite*(Key const&, unsigned int, Uid, void const*)>(3,
                                                                                  &Map::MakeWriteObjWithPtr);
  list.template Is<int() const>(4, &Map::Count);
  list.ExpectComplete(5);
}

} // namespace

TYPED_TEST(ListPrimSlots, ReaderHasItsSlotsInOrder) {
  using T = TypeParam;
  using Reader = cls_ReadListPrim<T>;
  SlotList<Reader> list;
  list.template Is<bool() const>(1, &Reader::NeedsDeletion);
  list.template Is<int()>(2, &Reader::Count);
  list.template Is<int()>(3, &Reader::RowWidth);
  list.template Is<int()>(4, &Reader::More);
  list.template Is<int(int, T*)>(5, &Reader::NextRun);
  list.template Is<T()>(6, &Reader::Next);
  list.ExpectComplete(7);
}

TYPED_TEST(ListPrimSlots, WriterHasItsSlotsInOrder) {
  using T = TypeParam;
  using Writer = cls_WriteListPrim<T>;
  SlotList<Writer> list;
  list.template Is<bool() const>(1, &Writer::NeedsDeletion);
  list.template Is<void(int, T const*)>(2, &Writer::AppendRun);
  list.template Is<void(T const&)>(3, &Writer::Append);
  list.ExpectComplete(4);
}

TYPED_TEST(MapPrimSlots, ReadersHaveTheirSlotsInOrder) {
  ExpectMapReaderSlots<cls_ReadMapInt2Prim<TypeParam>, int, TypeParam>();
  ExpectMapReaderSlots<cls_ReadMapString2Prim<TypeParam>, cow_String, TypeParam>();
}

TYPED_TEST(MapPrimSlots, WritersHaveTheirSlotsInOrder) {
  ExpectMapWriterSlots<cls_WriteMapInt2Prim<TypeParam>, int, TypeParam>();
  ExpectMapWriterSlots<cls_WriteMapString2Prim<TypeParam>, cow_String, TypeParam>();
}

TEST(CollectionSlots, RootsHaveTheirSlotsInOrder) {
  SlotList<cls_ReadCollectionBase> reader;
  reader.Is<bool() const>(1, &cls_ReadCollectionBase::NeedsDeletion);
  reader.ExpectComplete(2);
  SlotList<cls_WriteCollectionBase> writer;
  writer.Is<bool() const>(1, &cls_WriteCollectionBase::NeedsDeletion);
  writer.ExpectComplete(2);
}

TEST(CollectionSlots, ObjectListReaderHasItsSlotsInOrder) {
  using Reader = cls_ReadListObj;
  SlotList<Reader> list;
  list.Is<bool() const>(1, &Reader::NeedsDeletion);
  list.Is<int()>(2, &Reader::Count);
  list.Is<int()>(3, &Reader::Position);
  list.Is<int()>(4, &Reader::More);
  list.Is<void(int)>(5, &Reader::Skip);
  list.Is<cls_MementoRead*()>(6, &Reader::Next);
  list.Is<cls_MementoRead*(int)>(7, &Reader::At);
  list.ExpectComplete(8);
}

TEST(CollectionSlots, IntKeyedObjectMapReaderHasItsSlotsInOrder) {
  using Reader = cls_ReadMapInt2Obj;
  SlotList<Reader> list;
  list.Is<bool() const>(1, &Reader::NeedsDeletion);
  list.Is<int()>(2, &Reader::More);
  list.Is<void()>(3, &Reader::Next);
  list.Is<int()>(4, &Reader::Count);
  list.Is<cls_MementoRead*(int&)>(5, &Reader::Fetch);
  list.Is<bool(int const&)>(6, &Reader::Find);
  list.ExpectComplete(7);
}

TEST(CollectionSlots, StringKeyedObjectMapReaderHasItsSlotsInOrder) {
  using Reader = cls_ReadMapString2Obj;
  SlotList<Reader> list;
  list.Is<bool() const>(1, &Reader::NeedsDeletion);
  list.Is<int()>(2, &Reader::More);
  list.Is<void()>(3, &Reader::Next);
  list.Is<int()>(4, &Reader::Count);
  list.Is<cls_MementoRead*(cow_String&)>(5, &Reader::Fetch);
  list.ExpectComplete(6);
}

TEST(CollectionSlots, ObjectListWriterHasItsSlotsInOrder) {
  using Writer = cls_WriteListObj;
  SlotList<Writer> list;
  list.Is<bool() const>(1, &Writer::NeedsDeletion);
  list.Is<cls_MementoWrite*(unsigned int, Uid)>(2, &Writer::MakeWriteObj);
  list.Is<cls_MementoWrite*(unsigned int, Uid, void const*)>(3, &Writer::MakeWriteObjWithPtr);
  list.Is<int() const>(4, &Writer::Count);
  list.ExpectComplete(5);
}

TEST(CollectionSlots, ObjectMapWritersHaveTheirSlotsInOrder) {
  ExpectMapObjWriterSlots<cls_WriteMapInt2Obj, int>();
  ExpectMapObjWriterSlots<cls_WriteMapString2Obj, cow_String>();
}

TEST(CollectionSlots, IntTablesHaveTheirSlotsInOrder) {
  SlotList<cls_ReadIntTableInt> reader;
  reader.Is<int()>(1, &cls_ReadIntTableInt::Count);
  reader.Is<int()>(2, &cls_ReadIntTableInt::More);
  reader.Is<int()>(3, &cls_ReadIntTableInt::Next);
  reader.Is<void(int&)>(4, &cls_ReadIntTableInt::Key);
  reader.ExpectComplete(5);
  SlotList<cls_WriteIntTableInt> writer;
  writer.Is<void(int, int)>(1, &cls_WriteIntTableInt::Insert);
  writer.ExpectComplete(2);
}
