#include <gtest/gtest.h>

#include <memory>

#include "persist/visitors/cls_WriteVisitor.h"
#include "tests/support/backend/RecordingBackEnd.h"

// When cls_WriteVisitor asks the back end to check a collection type, and how a class hierarchy is written.

namespace {

class CheckCollectionType : public ::testing::Test {
 protected:
  Recorder m_Recorder;
  cls_FieldHandle m_Field{3, "m_Values"_cow};
};

} // namespace

TEST_F(CheckCollectionType, AsksTheParentsMementoWithTheFieldName) {
  cls_WriteVisitor const parent(m_Recorder.NewWriter());
  cls_WriteVisitor const visitor(parent, m_Field, nullptr, nullptr);
  visitor.CheckCollectionType(COLLECTION_LIST_UINT);
  EXPECT_EQ(m_Recorder.TakeLines(), Lines({R"(write1.CheckCollectionType(type 57, string "m_Values"))"}));
}

TEST_F(CheckCollectionType, AsksTheParentsMementoOfAStartedVisitor) {
  cls_WriteVisitor const parent(m_Recorder.NewWriter());
  cls_WriteVisitor const visitor(parent, m_Field, nullptr, nullptr);
  visitor.StartWrite(0x230001, cls_Uid());
  m_Recorder.TakeLines();
  visitor.CheckCollectionType(COLLECTION_NONE);
  EXPECT_EQ(m_Recorder.TakeLines(), Lines({R"(write1.CheckCollectionType(type 0, string "m_Values"))"}));
}

TEST_F(CheckCollectionType, AsksForANameWithoutANumber) {
  cls_WriteVisitor const parent(m_Recorder.NewWriter());
  cls_WriteVisitor const visitor(parent, cls_FieldHandle("m_Values"_cow), nullptr, nullptr);
  visitor.CheckCollectionType(COLLECTION_LIST_INT);
  EXPECT_EQ(m_Recorder.TakeLines(), Lines({R"(write1.CheckCollectionType(type 54, string "m_Values"))"}));
}

TEST_F(CheckCollectionType, CallsNothingForAVisitorOfAMemento) {
  cls_WriteVisitor const visitor(m_Recorder.NewWriter());
  visitor.CheckCollectionType(COLLECTION_LIST_INT);
  EXPECT_EQ(m_Recorder.Lines(), Lines());
}

TEST_F(CheckCollectionType, CallsNothingForAnElement) {
  RecordingListObjWriter list(m_Recorder);
  cls_WriteRequestListObj const request(&list);
  cls_WriteVisitor const visitor(request, nullptr);
  visitor.CheckCollectionType(COLLECTION_LIST_INT);
  EXPECT_EQ(m_Recorder.Lines(), Lines());
}

TEST_F(CheckCollectionType, CallsNothingWhileTheParentIsUnstarted) {
  cls_WriteVisitor const root(m_Recorder.NewWriter());
  cls_WriteVisitor const parent(root, m_Field, nullptr, nullptr);
  cls_WriteVisitor const visitor(parent, m_Field, nullptr, nullptr);
  visitor.CheckCollectionType(COLLECTION_LIST_INT);
  EXPECT_EQ(m_Recorder.Lines(), Lines());
}

TEST_F(CheckCollectionType, CallsNothingForAnEmptyName) {
  cls_WriteVisitor const parent(m_Recorder.NewWriter());
  cls_WriteVisitor const noText(parent, cls_FieldHandle(3, cow_String()), nullptr, nullptr);
  cls_WriteVisitor const emptyText(parent, cls_FieldHandle(3, ""_cow), nullptr, nullptr);
  cls_WriteVisitor const basePart(parent, 0x1F0001U);
  for (cls_WriteVisitor const* visitor : {&noText, &emptyText, &basePart})
    visitor->CheckCollectionType(COLLECTION_LIST_INT);
  EXPECT_EQ(m_Recorder.Lines(), Lines());
}

TEST_F(CheckCollectionType, PassesTheBackEndsFailureThrough) {
  m_Recorder.FailAt("CheckCollectionType");
  cls_WriteVisitor const parent(m_Recorder.NewWriter());
  cls_WriteVisitor const visitor(parent, m_Field, nullptr, nullptr);
  EXPECT_THROW(visitor.CheckCollectionType(COLLECTION_LIST_INT), BackEndFailure);
}

namespace {

struct Part {
  static constexpr unsigned int TypeId = 0x990001;
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (visitor.StartWrite(TypeId, m_PartUid) == 0) return;
    visitor.Write(cls_FieldHandle(0, "m_Mass"_cow), m_Mass);
  }
  double m_Mass = 2.5;
  cls_Uid m_PartUid;
};

struct Bolt : Part {
  static constexpr unsigned int TypeId = 0x990002;
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (visitor.StartWrite(TypeId, m_Uid) == 0) return;
    Part::DBWrite(cls_WriteVisitor(visitor, Part::TypeId));
    visitor.Write(cls_FieldHandle(0, "m_Length"_cow), m_Length);
  }
  int m_Length = 40;
  cls_Uid m_Uid;
};

} // namespace

TEST(WritePattern, DerivedClassWritesItsBasePartFirst) {
  Recorder recorder;
  Bolt const bolt;
  recorder.Name(bolt.m_Uid, "B");
  recorder.Name(bolt.m_PartUid, "P");
  recorder.Name(&bolt, "bolt");
  {
    cls_WriteVisitor const owner(recorder.NewWriter());
    bolt.DBWrite(cls_WriteVisitor(owner, cls_FieldHandle(0, "m_Bolt"_cow), nullptr, &bolt));
    EXPECT_EQ(recorder.TakeLines(),
              Lines({R"(write1.MakeFieldWriteObj(field 0 "m_Bolt", uint 0x990002, uid B, bolt) = write2)",
                     "write2.MakeBaseWriteObj(uint 0x990001, uid P) = write3",
                     R"(write3.Write(field 0 "m_Mass", double 2.5))", "write3.NeedsDeletion() = bool true",
                     "~write3", R"(write2.Write(field 0 "m_Length", int 40))",
                     "write2.NeedsDeletion() = bool true", "~write2"}));
  }
}

TEST(WritePattern, DeclinedObjectWritesNothing) {
  Recorder recorder;
  recorder.DeclineObjects();
  Bolt const bolt;
  cls_WriteVisitor const owner(recorder.NewWriter());
  bolt.DBWrite(cls_WriteVisitor(owner, cls_FieldHandle(0, "m_Bolt"_cow), nullptr, nullptr));
  EXPECT_EQ(recorder.Lines().size(), 1U);
}

TEST(WritePattern, ElementsOfAnObjectMapGoThroughItsBuilder) {
  Recorder recorder;
  Bolt const bolt;
  recorder.Name(bolt.m_Uid, "B");
  recorder.Name(&bolt, "bolt");
  cls_WriteVisitor const map(recorder.NewWriter());
  {
    std::unique_ptr<cls_WriteMapString2Obj> const builder(map.Memento()->MakeWriteMapString2Obj());
    cow_String const key("left");
    cls_WriteRequestMapString2Obj const request(builder.get(), key);
    cls_WriteVisitor const element(request, &bolt);
    ASSERT_EQ(element.StartWrite(Bolt::TypeId, bolt.m_Uid), 1);
    element.Write(cls_FieldHandle(0, "m_Length"_cow), bolt.m_Length);
  }
  EXPECT_EQ(recorder.TakeLines(),
            Lines({"write1.MakeWriteMapString2Obj() = mapObjWriter1",
                   R"(mapObjWriter1.MakeWriteObjWithPtr(string "left", uint 0x990002, uid B, bolt) = write2)",
                   R"(write2.Write(field 0 "m_Length", int 40))", "write2.NeedsDeletion() = bool true",
                   "~write2", "~mapObjWriter1"}));
}
