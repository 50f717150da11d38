#include "persist/visitors/cls_BlobReader.h"

#include <gtest/gtest.h>

// Includes no other header of the library: the reader's own header must suffice to use what it returns.

namespace {

long long ReadAll(cls_ReadVisitor const& visitor, cls_Uid& uid, char* destination) {
  cls_BlobReader const reader(visitor, cls_FieldHandle(0, "m_Image"_cow), uid);
  return reader.Agent().Read(0, reader.Agent().Size(), destination);
}

} // namespace

TEST(BlobReaderHeader, IsEnoughToReadABlob) {
  EXPECT_NE(&ReadAll, nullptr);
  static_assert(sizeof(cls_AgentBlob) > 0, "the agent's type is complete");
}
