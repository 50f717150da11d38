#include "persist/backend/cls_AgentProxy.h"

#include <gtest/gtest.h>

#include "persist/visitors/cls_FieldHandle.h"
#include "tests/support/backend/RecordingBackEnd.h"

namespace {

struct CountedProxy : cls_AgentProxy {
  explicit CountedProxy(int& deleted) : m_Deleted(deleted) {}
  ~CountedProxy() override { ++m_Deleted; }
  int& m_Deleted;
};

using ProxyHolder = cow_CountedHld<cls_AgentProxy>;

} // namespace

TEST(AgentProxy, CannotTransferItselfByDefault) {
  Recorder recorder;
  RecordingMementoWrite writer(recorder);
  cls_AgentProxy proxy;
  EXPECT_FALSE(proxy.Transfer(cls_StorageTypeId(1), &writer, cls_FieldHandle(0, "m_Part"_cow)));
  EXPECT_EQ(recorder.Lines(), Lines());
}

TEST(AgentProxy, DeletingAHolderDeletesTheProxyAndNullsBothWords) {
  int deleted = 0;
  ProxyHolder holder(new CountedProxy(deleted));
  holder.Delete();
  EXPECT_EQ(deleted, 1);
  EXPECT_EQ(holder.Ptr(), nullptr);
  EXPECT_EQ(holder.UseCount(), 0);
}

TEST(AgentProxy, DeletingAHolderWithoutProxyFreesItsCount) {
  ProxyHolder holder;
  EXPECT_EQ(holder.UseCount(), 1);
  holder.Delete();
  EXPECT_EQ(holder.Ptr(), nullptr);
  EXPECT_EQ(holder.UseCount(), 0);
}

TEST(AgentProxy, DeletingAHolderTwiceDeletesTheProxyOnce) {
  int deleted = 0;
  ProxyHolder holder(new CountedProxy(deleted));
  holder.Delete();
  holder.Delete();
  EXPECT_EQ(deleted, 1);
}

TEST(AgentProxy, LastHolderDeletesTheProxyOnce) {
  int deleted = 0;
  {
    ProxyHolder const holder(new CountedProxy(deleted));
    {
      ProxyHolder const copy(holder); // NOLINT(performance-unnecessary-copy-initialization)
      EXPECT_EQ(holder.UseCount(), 2);
    }
    EXPECT_EQ(deleted, 0);
  }
  EXPECT_EQ(deleted, 1);
}

TEST(StorageTypeId, IdsAreConsecutiveFromOne) {
  EXPECT_EQ(cls_StorageTypeId::AllocateId(), 1);
  EXPECT_EQ(cls_StorageTypeId::AllocateId(), 2);
  EXPECT_EQ(cls_StorageTypeId::AllocateId(), 3);
}

TEST(StorageTypeId, IdentifiesTheKindOfItsId) {
  EXPECT_EQ(cls_StorageTypeId(4).Id(), 4);
  EXPECT_EQ(cls_StorageTypeId(4), cls_StorageTypeId(4));
  EXPECT_NE(cls_StorageTypeId(4), cls_StorageTypeId(5));
}
