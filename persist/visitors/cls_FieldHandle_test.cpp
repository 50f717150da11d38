#include "persist/visitors/cls_FieldHandle.h"

#include <gtest/gtest.h>

TEST(FieldHandle, DefaultHandleIsNoField) {
  cls_FieldHandle const handle;
  EXPECT_EQ(handle.FieldId(), -1);
  EXPECT_TRUE(handle.Name().IsEmpty());
}

TEST(FieldHandle, NameOnlyHandleHasNumberMinusOne) {
  cls_FieldHandle const handle("STRING"_cow);
  EXPECT_EQ(handle.FieldId(), -1);
  EXPECT_EQ(handle.Name(), "STRING");
}

TEST(FieldHandle, KeepsNumberAndName) {
  cls_FieldHandle const handle(7, "m_Value.m_NativeErrorCode"_cow);
  EXPECT_EQ(handle.FieldId(), 7);
  EXPECT_EQ(handle.Name(), "m_Value.m_NativeErrorCode");
}

TEST(FieldHandle, KeepsANumberWithAnEmptyName) {
  cls_FieldHandle const handle(2, cow_String());
  EXPECT_EQ(handle.FieldId(), 2);
  EXPECT_TRUE(handle.Name().IsEmpty());
}

TEST(FieldHandle, KeyIsTheNameOrTheNumber) {
  EXPECT_EQ(cls_FieldHandle(7, "m_Length"_cow).Key(), "m_Length");
  EXPECT_EQ(cls_FieldHandle(7, cow_String()).Key(), "#7");
  EXPECT_EQ(cls_FieldHandle(7, ""_cow).Key(), "#7");
}

TEST(FieldHandle, CopySharesTheName) {
  cls_FieldHandle const handle(1, cow_String("m_FromLine"));
  cls_FieldHandle const copy(handle); // NOLINT(performance-unnecessary-copy-initialization)
  EXPECT_EQ(copy.FieldId(), 1);
  EXPECT_TRUE(copy.Name().SharesBufferWith(handle.Name()));
}
