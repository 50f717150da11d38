#include <gtest/gtest.h>

#include "persist/backend/cls_MementoRead.h"
#include "persist/backend/cls_MementoWrite.h"
#include "tests/slots/SlotList.h"

// Back ends are compiled on their own: a slot that moves makes them answer the wrong call.

namespace {

using Field = cls_FieldHandle const&;
using Uid = cls_Uid const&;
using Cow = cow_COW<int, cow_Direct<int>> const*;
using String = cow_String;
using uint = unsigned int;

} // namespace

TEST(MementoSlots, WriteMementoHasItsSlotsInOrder) {
  using M = cls_MementoWrite;
  SlotList<M> list;
  list.Is<bool() const>(1, &M::NeedsDeletion);
  list.Is<int(Field) const>(2, &M::FieldIsPresent);
  list.Is<M*(Field, uint, Uid, void const*)>(3, &M::MakeFieldWriteObj);
  list.Is<M*(Field, uint, Uid, Cow)>(4, &M::MakeFieldWriteObjCow);
  list.Is<M*(uint, Uid)>(5, &M::MakeBaseWriteObj);
  list.Is<void(Field, bool const&)>(6, &M::Write);
  list.Is<void(Field, String const&)>(7, &M::Write);
  list.Is<void(Field, float const&)>(8, &M::Write);
  list.Is<void(Field, double const&)>(9, &M::Write);
  list.Is<void(Field, uint const&)>(10, &M::Write);
  list.Is<void(Field, int const&)>(11, &M::Write);
  list.Is<void(Field, signed char const&)>(12, &M::Write);
  list.Is<void(Field, short const&)>(13, &M::Write);
  list.Is<void(Field, unsigned short const&)>(14, &M::Write);
  list.Is<void(Field, long long const&)>(15, &M::Write);
  list.Is<void(Field, unsigned long long const&)>(16, &M::Write);
  list.Is<void(Field, int const&)>(17, &M::WriteEnum);
  list.Is<void(Field, Uid)>(18, &M::WriteReference);
  list.Is<void(Field, void const*, int)>(19, &M::WriteBytes);
  list.Is<cls_WriteMapInt2Obj*()>(20, &M::MakeWriteMapInt2Obj);
  list.Is<cls_WriteMapString2Obj*()>(21, &M::MakeWriteMapString2Obj);
  list.Is<cls_WriteListPrim<bool>*(bool const*, int)>(22, &M::MakeWriteListPrim);
  list.Is<cls_WriteListPrim<String>*(String const*, int)>(23, &M::MakeWriteListPrim);
  list.Is<cls_WriteListPrim<float>*(float const*, int)>(24, &M::MakeWriteListPrim);
  list.Is<cls_WriteListPrim<double>*(double const*, int)>(25, &M::MakeWriteListPrim);
  list.Is<cls_WriteListPrim<uint>*(uint const*, int)>(26, &M::MakeWriteListPrim);
  list.Is<cls_WriteListPrim<int>*(int const*, int)>(27, &M::MakeWriteListPrim);
  list.Is<cls_WriteMapInt2Prim<String>*(String const*)>(28, &M::MakeWriteMapInt2Prim);
  list.Is<cls_WriteMapInt2Prim<float>*(float const*)>(29, &M::MakeWriteMapInt2Prim);
  list.Is<cls_WriteMapInt2Prim<double>*(double const*)>(30, &M::MakeWriteMapInt2Prim);
  list.Is<cls_WriteMapInt2Prim<uint>*(uint const*)>(31, &M::MakeWriteMapInt2Prim);
  list.Is<cls_WriteMapInt2Prim<int>*(int const*)>(32, &M::MakeWriteMapInt2Prim);
  list.Is<cls_WriteListObj*()>(33, &M::MakeWriteListObj);
  list.Is<cls_WriteIntTableInt*()>(34, &M::MakeWriteIntTableInt);
  list.Is<cls_WriteListObj*(Field, Uid)>(35, &M::MakeFieldWriteListObj);
  list.Is<cls_WriteMapInt2Obj*(Field, Uid)>(36, &M::MakeFieldWriteMapInt2Obj);
  list.Is<cls_WriteMapString2Obj*(Field, Uid)>(37, &M::MakeFieldWriteMapString2Obj);
  list.Is<cls_WriteIntTableInt*(Field, Uid)>(38, &M::MakeFieldWriteIntTableInt);
  list.Is<cls_WriteMapString2Prim<uint>*(uint const*)>(39, &M::MakeWriteMapString2Prim);
  list.Is<cls_WriteMapString2Prim<String>*(String const*)>(40, &M::MakeWriteMapString2Prim);
  list.Is<cls_WriteMapString2Prim<int>*(int const*)>(41, &M::MakeWriteMapString2Prim);
  list.Is<cls_WriteMapString2Prim<float>*(float const*)>(42, &M::MakeWriteMapString2Prim);
  list.Is<cls_WriteMapString2Prim<double>*(double const*)>(43, &M::MakeWriteMapString2Prim);
  list.Is<cls_AgentListObj*(int)>(44, &M::MakeAgentListObj);
  list.Is<cls_AgentMapKey2Obj<int>*(int const*, int)>(45, &M::MakeAgentMapKey2Obj);
  list.Is<cls_AgentMapKey2Obj<String>*(String const*, int)>(46, &M::MakeAgentMapKey2Obj);
  list.Is<cls_AgentListPrim<bool>*(bool const*, int)>(47, &M::MakeAgentListPrim);
  list.Is<cls_AgentListPrim<double>*(double const*, int)>(48, &M::MakeAgentListPrim);
  list.Is<cls_AgentListPrim<float>*(float const*, int)>(49, &M::MakeAgentListPrim);
  list.Is<cls_AgentListPrim<int>*(int const*, int)>(50, &M::MakeAgentListPrim);
  list.Is<cls_AgentListPrim<String>*(String const*, int)>(51, &M::MakeAgentListPrim);
  list.Is<cls_AgentListPrim<uint>*(uint const*, int)>(52, &M::MakeAgentListPrim);
  list.Is<cls_AgentBlob*()>(53, &M::MakeAgentBlob);
  list.Is<void(cls_CollectionType, String const&)>(54, &M::CheckCollectionType);
  list.Is<bool(cls_AgentProxy*, Field)>(55, &M::CopyBranch);
  list.Is<void()>(56, &M::StartSharedPtrOutput);
  list.Is<void()>(57, &M::EndSharedPtrOutput);
  list.ExpectComplete(58);
}

TEST(MementoSlots, ReadMementoHasItsSlotsInOrder) {
  using M = cls_MementoRead;
  SlotList<M> list;
  list.Is<bool() const>(1, &M::NeedsDeletion);
  list.Is<String()>(2, &M::DbId);
  list.Is<Uid()>(3, &M::GetUid);
  list.Is<int(Field) const>(4, &M::FieldIsPresent);
  list.Is<int(Field) const>(5, &M::DataIsPresent);
  list.Is<bool(Field, bool const&)>(6, &M::Read);
  list.Is<M*(Field)>(7, &M::MakeFieldReadObj);
  list.Is<M*()>(8, &M::Clone);
  list.Is<String(Field, String const&)>(9, &M::Read);
  list.Is<float(Field, float const&)>(10, &M::Read);
  list.Is<double(Field, double const&)>(11, &M::Read);
  list.Is<uint(Field, uint const&)>(12, &M::Read);
  list.Is<int(Field, int const&)>(13, &M::Read);
  list.Is<signed char(Field, signed char const&)>(14, &M::Read);
  list.Is<short(Field, short const&)>(15, &M::Read);
  list.Is<unsigned short(Field, unsigned short const&)>(16, &M::Read);
  list.Is<long long(Field, long long const&)>(17, &M::Read);
  list.Is<unsigned long long(Field, unsigned long long const&)>(18, &M::Read);
  list.Is<int(Field)>(19, &M::ReadEnum);
  list.Is<cls_Uid(Field)>(20, &M::ReadReference);
  list.Is<int(Field, void*, int)>(21, &M::ReadBytes);
  list.Is<uint() const>(22, &M::ClassId);
  list.Is<int() const>(23, &M::ClassVersion);
  list.Is<cls_ReadMapInt2Obj*()>(24, &M::MakeReadMapInt2Obj);
  list.Is<cls_ReadMapString2Obj*()>(25, &M::MakeReadMapString2Obj);
  list.Is<cls_ReadListPrim<bool>*(bool*)>(26, &M::MakeReadListPrim);
  list.Is<cls_ReadListPrim<String>*(String*)>(27, &M::MakeReadListPrim);
  list.Is<cls_ReadListPrim<float>*(float*)>(28, &M::MakeReadListPrim);
  list.Is<cls_ReadListPrim<double>*(double*)>(29, &M::MakeReadListPrim);
  list.Is<cls_ReadListPrim<uint>*(uint*)>(30, &M::MakeReadListPrim);
  list.Is<cls_ReadListPrim<int>*(int*)>(31, &M::MakeReadListPrim);
  list.Is<cls_ReadMapInt2Prim<String>*(String*)>(32, &M::MakeReadMapInt2Prim);
  list.Is<cls_ReadMapInt2Prim<float>*(float*)>(33, &M::MakeReadMapInt2Prim);
  list.Is<cls_ReadMapInt2Prim<double>*(double*)>(34, &M::MakeReadMapInt2Prim);
  list.Is<cls_ReadMapInt2Prim<uint>*(uint*)>(35, &M::MakeReadMapInt2Prim);
  list.Is<cls_ReadMapInt2Prim<int>*(int*)>(36, &M::MakeReadMapInt2Prim);
  list.Is<cls_ReadListObj*()>(37, &M::MakeReadListObj);
  list.Is<cls_ReadIntTableInt*()>(38, &M::MakeReadIntTableInt);
  list.Is<cls_ReadListObj*(Field)>(39, &M::MakeFieldReadListObj);
  list.Is<cls_ReadMapInt2Obj*(Field)>(40, &M::MakeFieldReadMapInt2Obj);
  list.Is<cls_ReadMapString2Obj*(Field)>(41, &M::MakeFieldReadMapString2Obj);
  list.Is<cls_ReadIntTableInt*(Field)>(42, &M::MakeFieldReadIntTableInt);
  list.Is<cls_ReadMapString2Prim<uint>*(uint*)>(43, &M::MakeReadMapString2Prim);
  list.Is<cls_ReadMapString2Prim<String>*(String*)>(44, &M::MakeReadMapString2Prim);
  list.Is<cls_ReadMapString2Prim<int>*(int*)>(45, &M::MakeReadMapString2Prim);
  list.Is<cls_ReadMapString2Prim<float>*(float*)>(46, &M::MakeReadMapString2Prim);
  list.Is<cls_ReadMapString2Prim<double>*(double*)>(47, &M::MakeReadMapString2Prim);
  list.Is<cls_AgentListObj*()>(48, &M::MakeAgentListObj);
  list.Is<cls_AgentMapKey2Obj<int>*(int*)>(49, &M::MakeAgentMapKey2Obj);
  list.Is<cls_AgentMapKey2Obj<String>*(String*)>(50, &M::MakeAgentMapKey2Obj);
  list.Is<cls_AgentListPrim<bool>*(bool*)>(51, &M::MakeAgentListPrim);
  list.Is<cls_AgentListPrim<double>*(double*)>(52, &M::MakeAgentListPrim);
  list.Is<cls_AgentListPrim<float>*(float*)>(53, &M::MakeAgentListPrim);
  list.Is<cls_AgentListPrim<int>*(int*)>(54, &M::MakeAgentListPrim);
  list.Is<cls_AgentListPrim<String>*(String*)>(55, &M::MakeAgentListPrim);
  list.Is<cls_AgentListPrim<uint>*(uint*)>(56, &M::MakeAgentListPrim);
  list.Is<cls_AgentBlob*()>(57, &M::MakeAgentBlob);
  list.Is<void(cls_CollectionType, String const&)>(58, &M::CheckCollectionType);
  list.ExpectComplete(59);
}

// The two sides keep a fixed distance: 2 for the scalars, 4 for the builders and agents.

TEST(MementoSlots, ScalarReadsStandTwoSlotsAfterTheWrites) {
  using R = cls_MementoRead;
  using W = cls_MementoWrite;
  auto const distance = [](int read, int write) { return read - write; };
  EXPECT_EQ(2, distance(SlotOf(static_cast<String (R::*)(Field, String const&)>(&R::Read)),
                        SlotOf(static_cast<void (W::*)(Field, String const&)>(&W::Write))));
  EXPECT_EQ(
      2, distance(SlotOf(static_cast<unsigned long long (R::*)(Field, unsigned long long const&)>(&R::Read)),
                  SlotOf(static_cast<void (W::*)(Field, unsigned long long const&)>(&W::Write))));
  EXPECT_EQ(2, distance(SlotOf(&R::ReadEnum), SlotOf(&W::WriteEnum)));
  EXPECT_EQ(2, distance(SlotOf(&R::ReadBytes), SlotOf(&W::WriteBytes)));
}

TEST(MementoSlots, CollectionReadsStandFourSlotsAfterTheWrites) {
  using R = cls_MementoRead;
  using W = cls_MementoWrite;
  EXPECT_EQ(4, SlotOf(&R::MakeReadMapInt2Obj) - SlotOf(&W::MakeWriteMapInt2Obj));
  EXPECT_EQ(4, SlotOf(&R::MakeReadListObj) - SlotOf(&W::MakeWriteListObj));
  EXPECT_EQ(4, SlotOf(&R::MakeFieldReadIntTableInt) - SlotOf(&W::MakeFieldWriteIntTableInt));
  EXPECT_EQ(4, SlotOf(&R::MakeAgentListObj) - SlotOf(&W::MakeAgentListObj));
  EXPECT_EQ(4, SlotOf(&R::MakeAgentBlob) - SlotOf(&W::MakeAgentBlob));
  EXPECT_EQ(4, SlotOf(&R::CheckCollectionType) - SlotOf(&W::CheckCollectionType));
}
