#include "persist/backend/cls_RootRequest.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "persist/visitors/cls_WriteVisitor.h"

namespace {

/// What a request was asked for, and the memento that it gives.
struct Asked {
  unsigned int m_ClassId = 0;
  cls_UidCatalogEntry* m_Entry = nullptr;
  void const* m_Object = nullptr;
  int m_Times = 0;
};

auto RequestInto(Asked& asked, cls_MementoWrite* memento) {
  return cls_RootRequest([&asked, memento](unsigned int classId, cls_Uid const& uid, void const* object) {
    asked = {classId, uid.Entry(), object, asked.m_Times + 1};
    return memento;
  });
}

TEST(RootRequest, LearnsClassIdentityAndAddressWhenTheVisitorStarts) {
  Asked asked;
  auto const request = RequestInto(asked, nullptr);
  int const object = 0;
  cls_Uid const uid;
  {
    cls_WriteVisitor const visitor(request, &object);
    EXPECT_FALSE(request.IsStarted());
    EXPECT_EQ(visitor.StartWrite(0x400001, uid), 0); // a null memento: do not write
  }
  EXPECT_TRUE(request.IsStarted());
  EXPECT_EQ(asked.m_ClassId, 0x400001U);
  EXPECT_EQ(asked.m_Entry, uid.Entry());
  EXPECT_EQ(asked.m_Object, &object);
  EXPECT_EQ(asked.m_Times, 1);
}

TEST(RootRequest, IsNotStartedByAnObjectThatWritesNothing) {
  Asked asked;
  auto const request = RequestInto(asked, nullptr);
  { cls_WriteVisitor const visitor(request, nullptr); }
  EXPECT_FALSE(request.IsStarted());
}

TEST(RootRequest, WithoutAddressPassesNull) {
  Asked asked;
  auto const request = RequestInto(asked, nullptr);
  asked.m_Object = &asked;
  EXPECT_EQ(request.MakeWriteObj(7, cls_Uid()), nullptr);
  EXPECT_EQ(asked.m_Object, nullptr);
  EXPECT_EQ(asked.m_ClassId, 7U);
}

TEST(RootRequest, IsNotStartedWhenTheMementoCannotBeMade) {
  cls_RootRequest const request([](unsigned int, cls_Uid const&, void const*) -> cls_MementoWrite* {
    throw std::runtime_error("the disk is full");
  });
  cls_WriteVisitor const visitor(request, nullptr);
  EXPECT_THROW(static_cast<void>(visitor.StartWrite(7, cls_Uid())), std::runtime_error);
  EXPECT_FALSE(request.IsStarted());
}

} // namespace
