#include "wrappers/cls_xpBtree.h"

#include <gtest/gtest.h>

#include "tests/support/backend/RecordingBackEnd.h"

// What the tree does beyond what it shares with the maps (cls_xpKeyed_test.cpp).

TEST(XpBtreeTest, WritesNumbersInKeyOrder) {
  Recorder recorder;
  cls_xpBtreeString2Uint tree;
  tree.InsertUnlessMember("node"_cow, 4294967295U);
  tree.InsertUnlessMember("element"_cow, 12);
  recorder.Name(tree.Uid(), "U");
  {
    cls_WriteVisitor const parent(recorder.NewWriter());
    tree.DBWrite(cls_WriteVisitor(parent, cls_FieldHandle(2, "m_Counts"_cow), nullptr, nullptr));
    recorder.Keep("write1");
  }
  EXPECT_EQ(recorder.TakeLines(),
            Lines({R"(write1.MakeFieldWriteObj(field 2 "m_Counts", uint 0x230002, uid U, null) = write2)",
                   R"(write1.CheckCollectionType(type 66, string "m_Counts"))",
                   "write2.MakeWriteMapString2Prim(tag uint 0) = mapWriter1",
                   R"(mapWriter1.Insert(string "element", uint 12))",
                   R"(mapWriter1.Insert(string "node", uint 0xffffffff))",
                   "mapWriter1.NeedsDeletion() = bool true", "~mapWriter1",
                   "write2.NeedsDeletion() = bool true", "~write2", "write1.NeedsDeletion() = bool false"}));
}

TEST(XpBtreeTest, OfStoredEntriesUnderOneKeyTheFirstIsKept) {
  Recorder recorder;
  recorder.StoreMap<cow_String, unsigned int>({{"k"_cow, 1}, {"j"_cow, 5}, {"k"_cow, 2}, {"k"_cow, 3}});
  cls_xpBtreeString2Uint const tree(cls_ReadVisitor(recorder.NewReader()));
  EXPECT_EQ(tree.Count(), 2);
  EXPECT_EQ(tree.ConstFind("k"_cow)->second, 1U);
  EXPECT_EQ(tree.ConstFind("j"_cow)->second, 5U);
}

TEST(XpBtreeTest, HasTheOperationsOfTheContainer) {
  cls_xpBtreeString2Uint tree;
  cls_Uid const uid = tree.Uid();
  EXPECT_TRUE(tree.InsertUnlessMember("a"_cow, 1));
  EXPECT_FALSE(tree.InsertUnlessMember("a"_cow, 2));
  *tree.Find("a"_cow) += 2;
  cow_BtreeIterator<cow_String, unsigned int> entry(tree);
  ASSERT_FALSE(entry.IsDone());
  EXPECT_EQ(entry.Key(), "a"_cow);
  EXPECT_EQ(entry.Value(), 3U);
  entry.Next();
  EXPECT_TRUE(entry.IsDone());
  EXPECT_TRUE(tree.IsMember("a"_cow));
  EXPECT_TRUE(tree.Remove("a"_cow));
  EXPECT_EQ(tree.Count(), 0);
  EXPECT_EQ(tree.Uid().Entry(), uid.Entry());
}
