#include "tools/kvlstore/emit/kvs_EmitPlan.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "metadata/cls_CollectionType.h"
#include "tools/kvlstore/emit/kvs_EmitText.h"

namespace {

constexpr kvs_Language Language{kvs_IsTakenInCpp, false};

kvs_Attribute Attribute(std::string name, int number, int type = ATTR_DOUBLE,
                        int collection = COLLECTION_NONE) {
  kvs_Attribute attribute;
  attribute.m_Name = std::move(name);
  attribute.m_Number = number;
  attribute.m_Type = type;
  attribute.m_Collection = collection;
  return attribute;
}

kvs_ClassVersion Version(int version, std::string name, unsigned int base,
                         std::vector<kvs_Attribute> attributes = {}) {
  kvs_ClassVersion made;
  made.m_Version = version;
  made.m_Name = std::move(name);
  made.m_BaseId = base;
  made.m_Attributes = std::move(attributes);
  return made;
}

kvs_EmitModel Model(std::vector<kvs_EmitClass> classes) {
  return {"test.kvs", std::move(classes), {}};
}

std::vector<unsigned int> Ids(kvs_EmitPlan const& plan) {
  std::vector<unsigned int> ids;
  for (kvs_PlannedClass const& planned : plan.m_Classes) ids.push_back(planned.m_Class->m_Id);
  return ids;
}

TEST(EmitPlan, BaseClassesComeFirst) {
  kvs_EmitModel const model = Model({{0x640001, {Version(1, "Top", 0x640002)}},
                                     {0x640002, {Version(1, "Middle", 0x640003)}},
                                     {0x640003, {Version(1, "Bottom", 1)}}});
  kvs_EmitPlan const plan = kvs_MakePlan(model, Language);
  EXPECT_EQ(Ids(plan), (std::vector<unsigned int>{0x640003, 0x640002, 0x640001}));
  EXPECT_TRUE(plan.m_Classes[0].m_IsBase);
  EXPECT_FALSE(plan.m_Classes[2].m_IsBase);
}

TEST(EmitPlan, BaseClassesInARingEnd) {
  kvs_EmitModel const model = Model({{0x640001, {Version(1, "A", 0x640002)}},
                                     {0x640002, {Version(1, "B", 0x640001)}},
                                     {0x640003, {Version(1, "C", 0x640003)}}});
  kvs_EmitPlan const plan = kvs_MakePlan(model, Language);
  ASSERT_EQ(plan.m_Classes.size(), 3U);
  EXPECT_EQ(plan.Find(0x640001)->m_BaseId, 0x640002U);
  EXPECT_EQ(plan.Find(0x640002)->m_BaseId, 0U);
  EXPECT_FALSE(plan.Find(0x640003)->m_WhyRaised.empty());
}

TEST(EmitPlan, ClassesOfOneNameGetIdentifiersAndNamesOfTheirOwn) {
  kvs_EmitModel const model = Model({{0x640001, {Version(1, "class", 1)}},
                                     {0x640002, {Version(1, "class", 1)}},
                                     {0x640003, {Version(1, "a b", 1)}},
                                     {0x640004, {Version(1, "a_b", 1)}}});
  kvs_EmitPlan const plan = kvs_MakePlan(model, Language);
  EXPECT_EQ(plan.m_Classes[0].m_Identifier, "class_");
  EXPECT_EQ(plan.m_Classes[1].m_Identifier, "class_3");
  EXPECT_EQ(plan.m_Classes[2].m_Identifier, "a_b");
  EXPECT_EQ(plan.m_Classes[3].m_Identifier, "a_b_");
  EXPECT_EQ(plan.m_Classes[0].m_StoredName, "class");
  EXPECT_NE(plan.m_Classes[1].m_StoredName, "class");
  EXPECT_EQ(plan.m_Classes[1].m_EarlierNames, std::vector<std::string>{"class"});
  EXPECT_EQ(plan.m_Classes[1].m_Version, 2);
}

TEST(EmitPlan, MembersDoNotHaveTheNamesOfClasses) {
  kvs_EmitModel const model = Model({{0x640001,
                                      {Version(1, "Part", 1,
                                               {Attribute("Part", 0), Attribute("TypeId", 1),
                                                Attribute("x.y", 2), Attribute("x_y", 3)})}}});
  kvs_EmitPlan const plan = kvs_MakePlan(model, Language);
  std::vector<std::string> names;
  for (kvs_Member const& member : plan.m_Classes[0].m_Members) names.push_back(member.m_Identifier);
  EXPECT_EQ(names, (std::vector<std::string>{"Part_", "TypeId_", "x_y", "x_y_"}));
  EXPECT_EQ(plan.m_Classes[0].m_Version, 1);
}

TEST(EmitPlan, VersionsSayWhatWasAddedAndDropped) {
  kvs_EmitModel const model = Model(
      {{0x640001,
        {Version(1, "Rod", 0x640002, {Attribute("old", 0)}), Version(3, "Bar", 1, {Attribute("new", 0)})}},
       {0x640002, {Version(1, "Base", 1)}}});
  kvs_PlannedClass const bar = *kvs_MakePlan(model, Language).Find(0x640001);
  EXPECT_EQ(bar.m_Version, 3);
  EXPECT_EQ(bar.m_EarlierNames, std::vector<std::string>{"Rod"});
  EXPECT_EQ(bar.m_EarlierBases, std::vector<unsigned int>{0x640002});
  ASSERT_EQ(bar.m_Members.size(), 2U);
  EXPECT_EQ(bar.m_Members[0].m_Since, 3);
  EXPECT_TRUE(bar.m_Members[1].m_IsDropped);
  EXPECT_EQ(bar.m_Members[1].m_Versions, "version 1");
}

TEST(EmitPlan, AnAttributeThatWasAwayMayBeMissing) {
  kvs_EmitModel const model =
      Model({{0x640001,
              {Version(1, "A", 1, {Attribute("a", 0)}), Version(2, "A", 1, {Attribute("b", 0)}),
               Version(3, "A", 1, {Attribute("a", 0)})}}});
  kvs_EmitPlan const plan = kvs_MakePlan(model, Language);
  EXPECT_TRUE(plan.m_Classes[0].m_Members[0].m_MayBeMissing);
  EXPECT_EQ(plan.m_Classes[0].m_Members[0].m_Since, 0);
}

TEST(EmitPlan, WhatNoMemberReadsIsLeftOutAndRaisesTheVersion) {
  kvs_EmitModel const model =
      Model({{0x640001, {Version(1, "A", 1, {Attribute("a", 0, ATTR_BYTES), Attribute("b", 1)})}}});
  kvs_EmitPlan const plan = kvs_MakePlan(model, Language);
  ASSERT_EQ(plan.m_Classes[0].m_LeftOut.size(), 1U);
  EXPECT_EQ(plan.m_Classes[0].m_LeftOut[0].m_Name, "a");
  EXPECT_EQ(plan.m_Classes[0].m_Version, 2);
}

TEST(EmitPlan, OtherUnitsAreSaid) {
  kvs_EmitModel model =
      Model({{0x640001, {Version(1, "A", 1, {Attribute("a", 0)}), Version(2, "A", 1, {Attribute("a", 0)})}}});
  model.m_Classes[0].m_Versions[0].m_Attributes[0].m_Unit = "m";
  model.m_Classes[0].m_Versions[1].m_Attributes[0].m_Unit = "mm";
  EXPECT_EQ(kvs_MakePlan(model, Language).m_Classes[0].m_Members[0].m_OtherUnits,
            "m in version 1; mm in version 2");
}

TEST(EmitPlan, ReferencesLeadToTheNearestCommonBaseClass) {
  kvs_EmitModel const model = Model({{0x640001, {Version(1, "Base", 1)}},
                                     {0x640002, {Version(1, "A", 0x640001)}},
                                     {0x640003, {Version(1, "B", 0x640001)}},
                                     {0x640004, {Version(1, "Other", 1)}}});
  EXPECT_EQ(kvs_CommonBase(model, {0x640002, 0x640003}), 0x640001U);
  EXPECT_EQ(kvs_CommonBase(model, {0x640002}), 0x640002U);
  EXPECT_EQ(kvs_CommonBase(model, {0x640002, 0x640004}), 0U);
  EXPECT_EQ(kvs_CommonBase(model, {0x1F0002, 0x1F0008}), kvs_ExceptionClassId);
}

TEST(EmitPlan, NamesThatBeginAsMacrosDoGetAnotherBeginning) {
  for (char const* const name : {"Take_x", "SIGMA_XX", "EPSILON", "ELEMENT", "TIME_STEP", "M_MASS", "L_2"}) {
    kvs_NameScope scope({&kvs_IsTakenInCpp, true});
    EXPECT_EQ(scope.Take(name), std::string("x_") + name);
    EXPECT_EQ(scope.Take(name), std::string("x_") + name + "_");
    EXPECT_EQ(scope.Take(name), std::string("x_") + name + "_3");
  }
}

TEST(EmitPlan, NamesThatAreThereGetAnotherEnd) {
  kvs_NameScope scope({&kvs_IsTakenInCpp, true});
  EXPECT_EQ(scope.Take("class"), "class_");
  EXPECT_EQ(scope.Take("E"), "E");
  EXPECT_EQ(scope.Take("E"), "E_");
  EXPECT_EQ(scope.Take("E"), "x_E_3");
  EXPECT_EQ(scope.Take("a_"), "a_");
  EXPECT_EQ(scope.Take("a_"), "a_2"); // not "a__", which is reserved
}

TEST(EmitPlan, RowsAndLongListsHaveTypesOfTheirOwn) {
  kvs_EmitModel const model = Model({});
  kvs_Attribute list = Attribute("a", 0, ATTR_DOUBLE, COLLECTION_LIST_DOUBLE);
  EXPECT_EQ(kvs_ShapeOf(model, list, false).m_Form, kvs_Form::List);
  EXPECT_EQ(kvs_ShapeOf(model, list, true).m_Form, kvs_Form::Array);
  list.m_Seen.m_RowSizes = {3};
  EXPECT_EQ(kvs_ShapeOf(model, list, false).m_Form, kvs_Form::Rows);
  EXPECT_EQ(kvs_ShapeOf(model, list, false).m_RowSize, 3);
  list.m_Seen.m_RowSizes = {3, 4};
  EXPECT_EQ(kvs_ShapeOf(model, list, false).m_Form, kvs_Form::Array);
}

TEST(EmitPlan, WhatTheStoreDoesNotDescribeIsKnownBySight) {
  kvs_EmitModel const model = Model({});
  kvs_Attribute unknown = Attribute("a", 0, 0);
  EXPECT_EQ(kvs_ShapeOf(model, unknown, false).m_Form, kvs_Form::None);
  unknown.m_Seen.m_Kinds = {"map from string to unsigned int"};
  EXPECT_EQ(kvs_ShapeOf(model, unknown, false).m_Collection, COLLECTION_MAP_STRING_UINT);
  unknown.m_Seen.m_Kinds = {"double", "bool"};
  EXPECT_EQ(kvs_ShapeOf(model, unknown, false).m_Form, kvs_Form::None);
}

} // namespace
