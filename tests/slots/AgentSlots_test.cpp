#include <gtest/gtest.h>

#include "persist/backend/cls_AgentBlob.h"
#include "persist/backend/cls_AgentListObj.h"
#include "persist/backend/cls_AgentListPrim.h"
#include "persist/backend/cls_AgentMapKey2Obj.h"
#include "persist/backend/cls_AgentProxy.h"
#include "persist/backend/cls_AgentRequest.h"
#include "persist/identity/cls_HistoryEntry.h"
#include "persist/visitors/cls_FieldHandle.h"
#include "tests/slots/SlotList.h"

namespace {

using Uid = cls_Uid const&;
using ListElements = ::testing::Types<bool, cow_String, float, double, unsigned int, int>;
using Keys = ::testing::Types<int, cow_String>;
using Requests = ::testing::Types<cls_AgentRequest, cls_AgentRequestListObj, cls_AgentRequestMapKey2Obj<int>,
                                  cls_AgentRequestMapKey2Obj<cow_String>, cls_WriteRequestListObj,
                                  cls_WriteRequestMapInt2Obj, cls_WriteRequestMapString2Obj>;

template <class T> class AgentListPrimSlots : public ::testing::Test {};
TYPED_TEST_SUITE(AgentListPrimSlots, ListElements);

template <class K> class AgentMapSlots : public ::testing::Test {};
TYPED_TEST_SUITE(AgentMapSlots, Keys);

template <class Request> class RequestSlots : public ::testing::Test {};
TYPED_TEST_SUITE(RequestSlots, Requests);

} // namespace

TYPED_TEST(AgentListPrimSlots, StandInOrder) {
  using T = TypeParam;
  using Agent = cls_AgentListPrim<T>;
  SlotList<Agent> list;
  list.template Is<int()>(1, &Agent::Count);
  list.template Is<int()>(2, &Agent::SizeHint);
  list.template Is<bool()>(3, &Agent::Changed);
  list.template Is<void()>(4, &Agent::EndFlush);
  list.template Is<void(int, int, T const*)>(5, &Agent::WriteRun);
  list.template Is<int(int, int, T*)>(6, &Agent::ReadRun);
  list.template Is<void()>(7, &Agent::AddReference);
  list.template Is<void()>(8, &Agent::DropReference);
  list.template Is<bool()>(9, &Agent::StillReferenced);
  list.template Is<bool()>(10, &Agent::ReadOnly);
  list.template Is<void(cls_PC*)>(11, &Agent::RegisterHolder);
  list.ExpectComplete(12);
}

TYPED_TEST(AgentMapSlots, StandInOrder) {
  using K = TypeParam;
  using Agent = cls_AgentMapKey2Obj<K>;
  SlotList<Agent> list;
  list.template Is<int()>(1, &Agent::Count);
  list.template Is<int()>(2, &Agent::SizeHint);
  list.template Is<bool()>(3, &Agent::Changed);
  list.template Is<void()>(4, &Agent::EndFlush);
  list.template Is<bool(K const&)>(5, &Agent::Remove);
  list.template Is<cls_MementoRead*(K const&)>(6, &Agent::MakeReadObj);
  list.template Is<void()>(7, &Agent::AddReference);
  list.template Is<void()>(8, &Agent::DropReference);
  list.template Is<bool()>(9, &Agent::StillReferenced);
  list.template Is<bool()>(10, &Agent::ReadOnly);
  list.template Is<cls_MementoWrite*(K const&, unsigned int, Uid)>(11, &Agent::MakeWriteObj);
  list.template Is<cls_MementoWrite*(K const&, unsigned int, Uid, void const*)>(12,
                                                                                &Agent::MakeWriteObjWithPtr);
  list.template Is<void(cls_PC*)>(13, &Agent::RegisterHolder);
  list.template Is<bool(K const&)>(14, &Agent::Contains);
  list.template Is<bool(K&)>(15, &Agent::FirstKey);
  list.template Is<bool(K&)>(16, &Agent::NextKey);
  list.template Is<bool(K&)>(17, &Agent::LastKey);
  list.template Is<bool(K&)>(18, &Agent::PreviousKey);
  list.template Is<void()>(19, &Agent::Clear);
  list.ExpectComplete(20);
}

TYPED_TEST(RequestSlots, StandInOrder) {
  SlotList<TypeParam> list;
  list.template Is<cls_MementoWrite*(unsigned int, Uid) const>(1, &TypeParam::MakeWriteObj);
  list.template Is<cls_MementoWrite*(unsigned int, Uid, void const*) const>(2,
                                                                            &TypeParam::MakeWriteObjWithPtr);
  list.ExpectComplete(3);
}

TEST(AgentSlots, ObjectListAgentHasItsSlotsInOrder) {
  using Agent = cls_AgentListObj;
  SlotList<Agent> list;
  list.Is<int()>(1, &Agent::Count);
  list.Is<int()>(2, &Agent::SizeHint);
  list.Is<bool()>(3, &Agent::Changed);
  list.Is<void()>(4, &Agent::EndFlush);
  list.Is<void(int)>(5, &Agent::SetCount);
  list.Is<cls_MementoRead*(int)>(6, &Agent::MakeReadObj);
  list.Is<cls_MementoWrite*(int, unsigned int, Uid)>(7, &Agent::MakeWriteObj);
  list.Is<cls_MementoWrite*(int, unsigned int, Uid, void const*)>(8, &Agent::MakeWriteObjWithPtr);
  list.Is<void()>(9, &Agent::AddReference);
  list.Is<void()>(10, &Agent::DropReference);
  list.Is<bool()>(11, &Agent::StillReferenced);
  list.Is<bool()>(12, &Agent::ReadOnly);
  list.Is<void(cls_PC*)>(13, &Agent::RegisterHolder);
  list.Is<void(int)>(14, &Agent::Remove);
  list.ExpectComplete(15);
}

TEST(AgentSlots, BlobAgentHasItsSlotsInOrder) {
  using Agent = cls_AgentBlob;
  SlotList<Agent> list;
  list.Is<long long()>(1, &Agent::Size);
  list.Is<long long(long long, long long, void*)>(2, &Agent::Read);
  list.Is<void(long long, long long, void const*)>(3, &Agent::Write);
  list.Is<void(long long)>(4, &Agent::Truncate);
  list.Is<bool()>(5, &Agent::Changed);
  list.Is<void()>(6, &Agent::EndFlush);
  list.Is<void()>(7, &Agent::AddReference);
  list.Is<void()>(8, &Agent::DropReference);
  list.Is<bool()>(9, &Agent::StillReferenced);
  list.Is<bool()>(10, &Agent::ReadOnly);
  list.Is<bool() const>(11, &Agent::NeedsDeletion);
  list.ExpectComplete(12);
}

TEST(AgentSlots, ProxyHasItsSlotsInOrder) {
  SlotList<cls_AgentProxy> list;
  list.Is<bool(cls_StorageTypeId const&, cls_MementoWrite*, cls_FieldHandle const&)>(
      1, &cls_AgentProxy::Transfer);
  list.ExpectComplete(2);
}

TEST(AgentSlots, HistoryEntryHasItsDestructorOnly) {
  SlotList<cls_HistoryEntry>().ExpectComplete(1);
}

TEST(AgentSlots, AnOperationThatIsNotVirtualHasNoSlot) {
  EXPECT_EQ(SlotOf(&cls_HistoryEntry::Next), -1);
  EXPECT_EQ(SlotOf(&cls_FieldHandle::FieldId), -1);
}
