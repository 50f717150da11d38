#include "wrappers/cls_xpMap.h"

#include <gtest/gtest.h>

#include "tests/support/backend/RecordingBackEnd.h"

// What the maps do beyond what they share with the tree (cls_xpKeyed_test.cpp).

TEST(XpMapTest, WritesFloatsInKeyOrder) {
  Recorder recorder;
  cls_xpMapString2Float map;
  map.Insert("mass"_cow, 2.5F);
  map.Insert("area"_cow, 4.0F);
  recorder.Name(map.Uid(), "U");
  {
    cls_WriteVisitor const parent(recorder.NewWriter());
    map.DBWrite(cls_WriteVisitor(parent, cls_FieldHandle(0, "m_Properties"_cow), nullptr, nullptr));
    recorder.Keep("write1");
  }
  EXPECT_EQ(
      recorder.TakeLines(),
      Lines({R"(write1.MakeFieldWriteObj(field 0 "m_Properties", uint 0x230002, uid U, null) = write2)",
             R"(write1.CheckCollectionType(type 63, string "m_Properties"))",
             "write2.MakeWriteMapString2Prim(tag float 0) = mapWriter1",
             R"(mapWriter1.Insert(string "area", float 4))", R"(mapWriter1.Insert(string "mass", float 2.5))",
             "mapWriter1.NeedsDeletion() = bool true", "~mapWriter1", "write2.NeedsDeletion() = bool true",
             "~write2", "write1.NeedsDeletion() = bool false"}));
}

TEST(XpMapTest, WritesTextsWithATagOfNoText) {
  Recorder recorder;
  cls_xpMapString2String map;
  map.Insert("title"_cow, "100%"_cow);
  cls_WriteVisitor const visitor(recorder.NewWriter());
  map.DBWrite(visitor);
  EXPECT_EQ(recorder.TakeLines(), Lines({"write1.MakeWriteMapString2Prim(tag string no text) = mapWriter1",
                                         R"(mapWriter1.Insert(string "title", string "100%"))",
                                         "mapWriter1.NeedsDeletion() = bool true", "~mapWriter1"}));
}

TEST(XpMapTest, OfTwoStoredEntriesUnderOneKeyTheLastIsKept) {
  Recorder recorder;
  recorder.StoreMap<cow_String, float>({{"k"_cow, 1.0F}, {"k"_cow, 2.0F}});
  cls_xpMapString2Float const map(cls_ReadVisitor(recorder.NewReader()));
  EXPECT_EQ(map.Count(), 1);
  EXPECT_EQ(map.ConstGet("k"_cow), 2.0F);
}

TEST(XpMapTest, HasTheOperationsOfTheContainer) {
  cls_xpMapString2Float map;
  cls_Uid const uid = map.Uid();
  EXPECT_TRUE(map.IsEmpty());
  EXPECT_TRUE(map.Insert("a"_cow, 1.0F));
  EXPECT_FALSE(map.Insert("a"_cow, 2.0F));
  map.Get("a"_cow) += 1.0F;
  EXPECT_EQ(map.ConstGet("a"_cow), 3.0F);
  EXPECT_TRUE(map.IsMember("a"_cow));
  cow_ConstMapIterator<cow_String, float> entry(map);
  ASSERT_FALSE(entry.IsDone());
  EXPECT_EQ(entry.Key(), "a"_cow);
  entry.Next();
  EXPECT_TRUE(entry.IsDone());
  EXPECT_TRUE(map.Remove("a"_cow));
  EXPECT_TRUE(map.IsEmpty());
  EXPECT_EQ(map.Uid().Entry(), uid.Entry());
}
