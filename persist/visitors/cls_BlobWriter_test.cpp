#include "persist/visitors/cls_BlobWriter.h"

#include <gtest/gtest.h>

// Includes no other header of the library: the writer's own header must suffice to use what it returns.

namespace {

void WriteAll(cls_WriteVisitor const& visitor, cls_Uid const& uid, char const* source, long long sizeBytes) {
  cls_BlobWriter const writer(visitor, cls_FieldHandle(0, "m_Image"_cow), uid);
  writer.Agent().Write(0, sizeBytes, source);
}

} // namespace

TEST(BlobWriterHeader, IsEnoughToWriteABlob) {
  EXPECT_NE(&WriteAll, nullptr);
  static_assert(sizeof(cls_AgentBlob) > 0, "the agent's type is complete");
}
