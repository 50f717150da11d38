#include <gtest/gtest.h>

#include "tests/support/backend/RecordingBackEnd.h"

// The library's defaults for the operations that a back end need not implement. A call qualified with the
// class name reaches the library's default, whatever the recording object overrides.

namespace {

class BackEndDefaults : public ::testing::Test {
 protected:
  BackEndDefaults() {
    m_Recorder.KeepAll(); // so that the recording objects' own overrides would return false
    m_Recorder.Name(m_Uid, "U");
  }

  Recorder m_Recorder;
  cls_Uid m_Uid;
  int m_Object = 0;
  cls_FieldHandle m_Field{0, "m_Part"_cow};
};

template <class T> class ListDefaults : public BackEndDefaults {};
using ListElements = ::testing::Types<bool, cow_String, float, double, unsigned int, int>;
TYPED_TEST_SUITE(ListDefaults, ListElements);

template <class T> class MapDefaults : public BackEndDefaults {};
using MapValues = ::testing::Types<cow_String, float, double, unsigned int, int>;
TYPED_TEST_SUITE(MapDefaults, MapValues);

} // namespace

TEST_F(BackEndDefaults, MementosNeedDeletion) {
  RecordingMementoWrite const writer(m_Recorder);
  RecordingMementoRead const reader(m_Recorder);
  EXPECT_TRUE(writer.cls_MementoWrite::NeedsDeletion());
  EXPECT_TRUE(reader.cls_MementoRead::NeedsDeletion());
}

TEST_F(BackEndDefaults, ObjectCollectionsNeedDeletion) {
  RecordingListObjWriter const listWriter(m_Recorder);
  RecordingMapObjWriter<int, cls_WriteMapInt2Obj> const intWriter(m_Recorder);
  RecordingMapObjWriter<cow_String, cls_WriteMapString2Obj> const stringWriter(m_Recorder);
  RecordingListObjReader const listReader(m_Recorder);
  RecordingMapInt2ObjReader const intReader(m_Recorder);
  RecordingMapObjReader<cow_String, cls_ReadMapString2Obj> const stringReader(m_Recorder);
  EXPECT_TRUE(listWriter.cls_WriteListObj::NeedsDeletion());
  EXPECT_TRUE(intWriter.cls_WriteMapInt2Obj::NeedsDeletion());
  EXPECT_TRUE(stringWriter.cls_WriteMapString2Obj::NeedsDeletion());
  EXPECT_TRUE(listReader.cls_ReadListObj::NeedsDeletion());
  EXPECT_TRUE(intReader.cls_ReadMapInt2Obj::NeedsDeletion());
  EXPECT_TRUE(stringReader.cls_ReadMapString2Obj::NeedsDeletion());
}

TYPED_TEST(ListDefaults, ListsNeedDeletion) {
  RecordingListWriter<TypeParam> const writer(this->m_Recorder);
  RecordingListReader<TypeParam> const reader(this->m_Recorder);
  EXPECT_TRUE(writer.template cls_WriteListPrim<TypeParam>::NeedsDeletion());
  EXPECT_TRUE(reader.template cls_ReadListPrim<TypeParam>::NeedsDeletion());
}

TYPED_TEST(MapDefaults, MapsNeedDeletion) {
  using T = TypeParam;
  RecordingMapWriter<int, T, cls_WriteMapInt2Prim<T>> const intWriter(this->m_Recorder);
  RecordingMapWriter<cow_String, T, cls_WriteMapString2Prim<T>> const stringWriter(this->m_Recorder);
  RecordingMapReader<int, T, cls_ReadMapInt2Prim<T>> const intReader(this->m_Recorder);
  RecordingMapReader<cow_String, T, cls_ReadMapString2Prim<T>> const stringReader(this->m_Recorder);
  EXPECT_TRUE(intWriter.template cls_WriteMapInt2Prim<T>::NeedsDeletion());
  EXPECT_TRUE(stringWriter.template cls_WriteMapString2Prim<T>::NeedsDeletion());
  EXPECT_TRUE(intReader.template cls_ReadMapInt2Prim<T>::NeedsDeletion());
  EXPECT_TRUE(stringReader.template cls_ReadMapString2Prim<T>::NeedsDeletion());
}

TEST_F(BackEndDefaults, BlobAgentsNeedDeletion) {
  RecordingBlobAgent const agent(m_Recorder);
  EXPECT_TRUE(agent.cls_AgentBlob::NeedsDeletion());
}

TEST_F(BackEndDefaults, CopyBranchCopiesNothing) {
  RecordingMementoWrite writer(m_Recorder);
  EXPECT_FALSE(writer.cls_MementoWrite::CopyBranch(nullptr, m_Field));
  EXPECT_EQ(m_Recorder.Lines(), Lines());
}

TEST_F(BackEndDefaults, SharedPtrBracketsCallNothing) {
  RecordingMementoWrite writer(m_Recorder);
  writer.cls_MementoWrite::StartSharedPtrOutput();
  writer.cls_MementoWrite::EndSharedPtrOutput();
  EXPECT_EQ(m_Recorder.Lines(), Lines());
}

TEST_F(BackEndDefaults, ListBuilderIgnoresTheObject) {
  RecordingListObjWriter writer(m_Recorder);
  cls_MementoWrite* const made = writer.cls_WriteListObj::MakeWriteObjWithPtr(0x990001, m_Uid, &m_Object);
  EXPECT_NE(made, nullptr);
  EXPECT_EQ(m_Recorder.TakeLines(), Lines({"listObjWriter1.MakeWriteObj(uint 0x990001, uid U) = write1"}));
}

TEST_F(BackEndDefaults, MapBuildersIgnoreTheObject) {
  RecordingMapObjWriter<int, cls_WriteMapInt2Obj> byInt(m_Recorder);
  RecordingMapObjWriter<cow_String, cls_WriteMapString2Obj> byString(m_Recorder);
  EXPECT_NE(byInt.cls_WriteMapInt2Obj::MakeWriteObjWithPtr(-7, 0x990001, m_Uid, &m_Object), nullptr);
  EXPECT_NE(byString.cls_WriteMapString2Obj::MakeWriteObjWithPtr("key"_cow, 0x990001, m_Uid, &m_Object),
            nullptr);
  EXPECT_EQ(m_Recorder.TakeLines(),
            Lines({"mapObjWriter1.MakeWriteObj(int -7, uint 0x990001, uid U) = write1",
                   R"(mapObjWriter2.MakeWriteObj(string "key", uint 0x990001, uid U) = write2)"}));
}

TEST_F(BackEndDefaults, AgentsIgnoreTheObject) {
  RecordingListObjAgent list(m_Recorder);
  RecordingMapAgent<int> byInt(m_Recorder);
  RecordingMapAgent<cow_String> byString(m_Recorder);
  EXPECT_NE(list.cls_AgentListObj::MakeWriteObjWithPtr(4, 0x990001, m_Uid, &m_Object), nullptr);
  EXPECT_NE(byInt.cls_AgentMapKey2Obj<int>::MakeWriteObjWithPtr(-7, 0x990001, m_Uid, &m_Object), nullptr);
  EXPECT_NE(
      byString.cls_AgentMapKey2Obj<cow_String>::MakeWriteObjWithPtr("k"_cow, 0x990001, m_Uid, &m_Object),
      nullptr);
  EXPECT_EQ(m_Recorder.TakeLines(),
            Lines({"listObjAgent1.MakeWriteObj(int 4, uint 0x990001, uid U) = write1",
                   "mapAgent1.MakeWriteObj(int -7, uint 0x990001, uid U) = write2",
                   R"(mapAgent2.MakeWriteObj(string "k", uint 0x990001, uid U) = write3)"}));
}

TEST_F(BackEndDefaults, WithPtrPassesADeclinedObjectOn) {
  m_Recorder.DeclineObjects();
  RecordingListObjWriter writer(m_Recorder);
  EXPECT_EQ(writer.cls_WriteListObj::MakeWriteObjWithPtr(0x990001, m_Uid, &m_Object), nullptr);
}
