#include "metadata/cls_ClassChanges.h"

#include <gtest/gtest.h>

#include "metadata/cls_ClassRegistrar.h"

namespace {

TEST(cls_ClassChanges, KnowsWhatWasSaid) {
  cls_ClassRegistrar registrar;
  EXPECT_EQ(registrar.FindChanges(0x640001), nullptr);
  registrar.ChangesOf(0x640001).Since("m_Head", 2).Was("m_Length", "m_Len").Was("m_Length", "m_L");
  registrar.ChangesOf(0x640001).Dropped("m_Colour").BaseWas(0x640002).ClassWas("Screw").DeclaredAt("a.h:1");
  cls_ClassChanges const& changes = *registrar.FindChanges(0x640001);
  EXPECT_EQ(changes.Find("m_Head")->m_Since, 2);
  EXPECT_EQ(changes.Find("m_Length")->m_Since, 0);
  EXPECT_EQ(changes.Find("m_Length")->m_EarlierNames, (std::vector<std::string>{"m_Len", "m_L"}));
  EXPECT_EQ(changes.Find("m_Len"), nullptr);
  EXPECT_TRUE(changes.Reads("m_L"));
  EXPECT_TRUE(changes.Reads("m_Colour"));
  EXPECT_FALSE(changes.Reads("m_Head"));
  EXPECT_FALSE(changes.FindDropped("m_Colour")->m_HasType);
  EXPECT_EQ(changes.FindDropped("m_L"), nullptr);
  EXPECT_TRUE(changes.HadBase(0x640002));
  EXPECT_FALSE(changes.HadBase(0x640003));
  EXPECT_TRUE(changes.HadName("Screw"));
  EXPECT_FALSE(changes.HadName("Bolt"));
  EXPECT_EQ(changes.Place(), "a.h:1");
  EXPECT_EQ(registrar.FindChanges(0x640002), nullptr);
}

TEST(cls_ClassChanges, KnowsTheTypeOfWhatIsDropped) {
  cls_ClassChanges changes;
  changes.Dropped("m_Marks", ATTR_INT, COLLECTION_LIST_INT);
  cls_ClassChanges::DroppedAttribute const& dropped = *changes.FindDropped("m_Marks");
  EXPECT_TRUE(dropped.m_HasType);
  EXPECT_EQ(dropped.m_Type, ATTR_INT);
  EXPECT_EQ(dropped.m_CollectionType, COLLECTION_LIST_INT);
  EXPECT_TRUE(changes.Reads("m_Marks"));
}

} // namespace
