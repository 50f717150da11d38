#pragma once

#include <string>
#include <vector>

#include "persist/backend/cls_AgentBlob.h"
#include "persist/backend/cls_AgentListObj.h"
#include "persist/backend/cls_AgentListPrim.h"
#include "persist/backend/cls_AgentMapKey2Obj.h"
#include "persist/backend/cls_AgentProxy.h"
#include "persist/backend/cls_AgentRequest.h"
#include "persist/backend/cls_MementoRead.h"
#include "persist/backend/cls_MementoWrite.h"
#include "persist/backend/cls_ReadListPrim.h"
#include "persist/backend/cls_ReadMapPrim.h"
#include "persist/backend/cls_ReadObjects.h"
#include "persist/backend/cls_WriteListPrim.h"
#include "persist/backend/cls_WriteMapPrim.h"
#include "persist/backend/cls_WriteObjects.h"
#include "tests/slots/SlotList.h"

// The slots of the back-end interfaces, written down once. Their tests compare this list with the compiled
// tables and with the numbers in the headers' comments; the contract tests count what covers each slot.

namespace back_end_slots {

using Field = cls_FieldHandle const&;
using Uid = cls_Uid const&;
using Cow = cow_COW<int, cow_Direct<int>> const*;
using String = cow_String;
using UInt = unsigned int;

inline void ListSlots(SlotList<cls_MementoWrite>& list) {
  using C = cls_MementoWrite;
  list.Is<bool() const>(1, "NeedsDeletion", &C::NeedsDeletion);
  list.Is<int(Field) const>(2, "FieldIsPresent", &C::FieldIsPresent);
  list.Is<C*(Field, UInt, Uid, void const*)>(3, "MakeFieldWriteObj", &C::MakeFieldWriteObj);
  list.Is<C*(Field, UInt, Uid, Cow)>(4, "MakeFieldWriteObjCow", &C::MakeFieldWriteObjCow);
  list.Is<C*(UInt, Uid)>(5, "MakeBaseWriteObj", &C::MakeBaseWriteObj);
  list.Is<void(Field, bool const&)>(6, "Write(bool)", &C::Write);
  list.Is<void(Field, String const&)>(7, "Write(cow_String)", &C::Write);
  list.Is<void(Field, float const&)>(8, "Write(float)", &C::Write);
  list.Is<void(Field, double const&)>(9, "Write(double)", &C::Write);
  list.Is<void(Field, UInt const&)>(10, "Write(unsigned int)", &C::Write);
  list.Is<void(Field, int const&)>(11, "Write(int)", &C::Write);
  list.Is<void(Field, signed char const&)>(12, "Write(signed char)", &C::Write);
  list.Is<void(Field, short const&)>(13, "Write(short)", &C::Write);
  list.Is<void(Field, unsigned short const&)>(14, "Write(unsigned short)", &C::Write);
  list.Is<void(Field, long long const&)>(15, "Write(long long)", &C::Write);
  list.Is<void(Field, unsigned long long const&)>(16, "Write(unsigned long long)", &C::Write);
  list.Is<void(Field, int const&)>(17, "WriteEnum", &C::WriteEnum);
  list.Is<void(Field, Uid)>(18, "WriteReference", &C::WriteReference);
  list.Is<void(Field, void const*, int)>(19, "WriteBytes", &C::WriteBytes);
  list.Is<cls_WriteMapInt2Obj*()>(20, "MakeWriteMapInt2Obj", &C::MakeWriteMapInt2Obj);
  list.Is<cls_WriteMapString2Obj*()>(21, "MakeWriteMapString2Obj", &C::MakeWriteMapString2Obj);
  list.Is<cls_WriteListPrim<bool>*(bool const*, int)>(22, "MakeWriteListPrim(bool)", &C::MakeWriteListPrim);
  list.Is<cls_WriteListPrim<String>*(String const*, int)>(23, "MakeWriteListPrim(cow_String)",
                                                          &C::MakeWriteListPrim);
  list.Is<cls_WriteListPrim<float>*(float const*, int)>(24, "MakeWriteListPrim(float)",
                                                        &C::MakeWriteListPrim);
  list.Is<cls_WriteListPrim<double>*(double const*, int)>(25, "MakeWriteListPrim(double)",
                                                          &C::MakeWriteListPrim);
  list.Is<cls_WriteListPrim<UInt>*(UInt const*, int)>(26, "MakeWriteListPrim(unsigned int)",
                                                      &C::MakeWriteListPrim);
  list.Is<cls_WriteListPrim<int>*(int const*, int)>(27, "MakeWriteListPrim(int)", &C::MakeWriteListPrim);
  list.Is<cls_WriteMapInt2Prim<String>*(String const*)>(28, "MakeWriteMapInt2Prim(cow_String)",
                                                        &C::MakeWriteMapInt2Prim);
  list.Is<cls_WriteMapInt2Prim<float>*(float const*)>(29, "MakeWriteMapInt2Prim(float)",
                                                      &C::MakeWriteMapInt2Prim);
  list.Is<cls_WriteMapInt2Prim<double>*(double const*)>(30, "MakeWriteMapInt2Prim(double)",
                                                        &C::MakeWriteMapInt2Prim);
  list.Is<cls_WriteMapInt2Prim<UInt>*(UInt const*)>(31, "MakeWriteMapInt2Prim(unsigned int)",
                                                    &C::MakeWriteMapInt2Prim);
  list.Is<cls_WriteMapInt2Prim<int>*(int const*)>(32, "MakeWriteMapInt2Prim(int)", &C::MakeWriteMapInt2Prim);
  list.Is<cls_WriteListObj*()>(33, "MakeWriteListObj", &C::MakeWriteListObj);
  list.Is<cls_WriteIntTableInt*()>(34, "MakeWriteIntTableInt", &C::MakeWriteIntTableInt);
  list.Is<cls_WriteListObj*(Field, Uid)>(35, "MakeFieldWriteListObj", &C::MakeFieldWriteListObj);
  list.Is<cls_WriteMapInt2Obj*(Field, Uid)>(36, "MakeFieldWriteMapInt2Obj", &C::MakeFieldWriteMapInt2Obj);
  list.Is<cls_WriteMapString2Obj*(Field, Uid)>(37, "MakeFieldWriteMapString2Obj",
                                               &C::MakeFieldWriteMapString2Obj);
  list.Is<cls_WriteIntTableInt*(Field, Uid)>(38, "MakeFieldWriteIntTableInt", &C::MakeFieldWriteIntTableInt);
  list.Is<cls_WriteMapString2Prim<UInt>*(UInt const*)>(39, "MakeWriteMapString2Prim(unsigned int)",
                                                       &C::MakeWriteMapString2Prim);
  list.Is<cls_WriteMapString2Prim<String>*(String const*)>(40, "MakeWriteMapString2Prim(cow_String)",
                                                           &C::MakeWriteMapString2Prim);
  list.Is<cls_WriteMapString2Prim<int>*(int const*)>(41, "MakeWriteMapString2Prim(int)",
                                                     &C::MakeWriteMapString2Prim);
  list.Is<cls_WriteMapString2Prim<float>*(float const*)>(42, "MakeWriteMapString2Prim(float)",
                                                         &C::MakeWriteMapString2Prim);
  list.Is<cls_WriteMapString2Prim<double>*(double const*)>(43, "MakeWriteMapString2Prim(double)",
                                                           &C::MakeWriteMapString2Prim);
  list.Is<cls_AgentListObj*(int)>(44, "MakeAgentListObj", &C::MakeAgentListObj);
  list.Is<cls_AgentMapKey2Obj<int>*(int const*, int)>(45, "MakeAgentMapKey2Obj(int)",
                                                      &C::MakeAgentMapKey2Obj);
  list.Is<cls_AgentMapKey2Obj<String>*(String const*, int)>(46, "MakeAgentMapKey2Obj(cow_String)",
                                                            &C::MakeAgentMapKey2Obj);
  list.Is<cls_AgentListPrim<bool>*(bool const*, int)>(47, "MakeAgentListPrim(bool)", &C::MakeAgentListPrim);
  list.Is<cls_AgentListPrim<double>*(double const*, int)>(48, "MakeAgentListPrim(double)",
                                                          &C::MakeAgentListPrim);
  list.Is<cls_AgentListPrim<float>*(float const*, int)>(49, "MakeAgentListPrim(float)",
                                                        &C::MakeAgentListPrim);
  list.Is<cls_AgentListPrim<int>*(int const*, int)>(50, "MakeAgentListPrim(int)", &C::MakeAgentListPrim);
  list.Is<cls_AgentListPrim<String>*(String const*, int)>(51, "MakeAgentListPrim(cow_String)",
                                                          &C::MakeAgentListPrim);
  list.Is<cls_AgentListPrim<UInt>*(UInt const*, int)>(52, "MakeAgentListPrim(unsigned int)",
                                                      &C::MakeAgentListPrim);
  list.Is<cls_AgentBlob*()>(53, "MakeAgentBlob", &C::MakeAgentBlob);
  list.Is<void(cls_CollectionType, String const&)>(54, "CheckCollectionType", &C::CheckCollectionType);
  list.Is<bool(cls_AgentProxy*, Field)>(55, "CopyBranch", &C::CopyBranch);
  list.Is<void()>(56, "StartSharedPtrOutput", &C::StartSharedPtrOutput);
  list.Is<void()>(57, "EndSharedPtrOutput", &C::EndSharedPtrOutput);
}

inline void ListSlots(SlotList<cls_MementoRead>& list) {
  using C = cls_MementoRead;
  list.Is<bool() const>(1, "NeedsDeletion", &C::NeedsDeletion);
  list.Is<String()>(2, "DbId", &C::DbId);
  list.Is<Uid()>(3, "GetUid", &C::GetUid);
  list.Is<int(Field) const>(4, "FieldIsPresent", &C::FieldIsPresent);
  list.Is<int(Field) const>(5, "DataIsPresent", &C::DataIsPresent);
  list.Is<bool(Field, bool const&)>(6, "Read(bool)", &C::Read);
  list.Is<C*(Field)>(7, "MakeFieldReadObj", &C::MakeFieldReadObj);
  list.Is<C*()>(8, "Clone", &C::Clone);
  list.Is<String(Field, String const&)>(9, "Read(cow_String)", &C::Read);
  list.Is<float(Field, float const&)>(10, "Read(float)", &C::Read);
  list.Is<double(Field, double const&)>(11, "Read(double)", &C::Read);
  list.Is<UInt(Field, UInt const&)>(12, "Read(unsigned int)", &C::Read);
  list.Is<int(Field, int const&)>(13, "Read(int)", &C::Read);
  list.Is<signed char(Field, signed char const&)>(14, "Read(signed char)", &C::Read);
  list.Is<short(Field, short const&)>(15, "Read(short)", &C::Read);
  list.Is<unsigned short(Field, unsigned short const&)>(16, "Read(unsigned short)", &C::Read);
  list.Is<long long(Field, long long const&)>(17, "Read(long long)", &C::Read);
  list.Is<unsigned long long(Field, unsigned long long const&)>(18, "Read(unsigned long long)", &C::Read);
  list.Is<int(Field)>(19, "ReadEnum", &C::ReadEnum);
  list.Is<cls_Uid(Field)>(20, "ReadReference", &C::ReadReference);
  list.Is<int(Field, void*, int)>(21, "ReadBytes", &C::ReadBytes);
  list.Is<UInt() const>(22, "ClassId", &C::ClassId);
  list.Is<int() const>(23, "ClassVersion", &C::ClassVersion);
  list.Is<cls_ReadMapInt2Obj*()>(24, "MakeReadMapInt2Obj", &C::MakeReadMapInt2Obj);
  list.Is<cls_ReadMapString2Obj*()>(25, "MakeReadMapString2Obj", &C::MakeReadMapString2Obj);
  list.Is<cls_ReadListPrim<bool>*(bool*)>(26, "MakeReadListPrim(bool)", &C::MakeReadListPrim);
  list.Is<cls_ReadListPrim<String>*(String*)>(27, "MakeReadListPrim(cow_String)", &C::MakeReadListPrim);
  list.Is<cls_ReadListPrim<float>*(float*)>(28, "MakeReadListPrim(float)", &C::MakeReadListPrim);
  list.Is<cls_ReadListPrim<double>*(double*)>(29, "MakeReadListPrim(double)", &C::MakeReadListPrim);
  list.Is<cls_ReadListPrim<UInt>*(UInt*)>(30, "MakeReadListPrim(unsigned int)", &C::MakeReadListPrim);
  list.Is<cls_ReadListPrim<int>*(int*)>(31, "MakeReadListPrim(int)", &C::MakeReadListPrim);
  list.Is<cls_ReadMapInt2Prim<String>*(String*)>(32, "MakeReadMapInt2Prim(cow_String)",
                                                 &C::MakeReadMapInt2Prim);
  list.Is<cls_ReadMapInt2Prim<float>*(float*)>(33, "MakeReadMapInt2Prim(float)", &C::MakeReadMapInt2Prim);
  list.Is<cls_ReadMapInt2Prim<double>*(double*)>(34, "MakeReadMapInt2Prim(double)", &C::MakeReadMapInt2Prim);
  list.Is<cls_ReadMapInt2Prim<UInt>*(UInt*)>(35, "MakeReadMapInt2Prim(unsigned int)",
                                             &C::MakeReadMapInt2Prim);
  list.Is<cls_ReadMapInt2Prim<int>*(int*)>(36, "MakeReadMapInt2Prim(int)", &C::MakeReadMapInt2Prim);
  list.Is<cls_ReadListObj*()>(37, "MakeReadListObj", &C::MakeReadListObj);
  list.Is<cls_ReadIntTableInt*()>(38, "MakeReadIntTableInt", &C::MakeReadIntTableInt);
  list.Is<cls_ReadListObj*(Field)>(39, "MakeFieldReadListObj", &C::MakeFieldReadListObj);
  list.Is<cls_ReadMapInt2Obj*(Field)>(40, "MakeFieldReadMapInt2Obj", &C::MakeFieldReadMapInt2Obj);
  list.Is<cls_ReadMapString2Obj*(Field)>(41, "MakeFieldReadMapString2Obj", &C::MakeFieldReadMapString2Obj);
  list.Is<cls_ReadIntTableInt*(Field)>(42, "MakeFieldReadIntTableInt", &C::MakeFieldReadIntTableInt);
  list.Is<cls_ReadMapString2Prim<UInt>*(UInt*)>(43, "MakeReadMapString2Prim(unsigned int)",
                                                &C::MakeReadMapString2Prim);
  list.Is<cls_ReadMapString2Prim<String>*(String*)>(44, "MakeReadMapString2Prim(cow_String)",
                                                    &C::MakeReadMapString2Prim);
  list.Is<cls_ReadMapString2Prim<int>*(int*)>(45, "MakeReadMapString2Prim(int)", &C::MakeReadMapString2Prim);
  list.Is<cls_ReadMapString2Prim<float>*(float*)>(46, "MakeReadMapString2Prim(float)",
                                                  &C::MakeReadMapString2Prim);
  list.Is<cls_ReadMapString2Prim<double>*(double*)>(47, "MakeReadMapString2Prim(double)",
                                                    &C::MakeReadMapString2Prim);
  list.Is<cls_AgentListObj*()>(48, "MakeAgentListObj", &C::MakeAgentListObj);
  list.Is<cls_AgentMapKey2Obj<int>*(int*)>(49, "MakeAgentMapKey2Obj(int)", &C::MakeAgentMapKey2Obj);
  list.Is<cls_AgentMapKey2Obj<String>*(String*)>(50, "MakeAgentMapKey2Obj(cow_String)",
                                                 &C::MakeAgentMapKey2Obj);
  list.Is<cls_AgentListPrim<bool>*(bool*)>(51, "MakeAgentListPrim(bool)", &C::MakeAgentListPrim);
  list.Is<cls_AgentListPrim<double>*(double*)>(52, "MakeAgentListPrim(double)", &C::MakeAgentListPrim);
  list.Is<cls_AgentListPrim<float>*(float*)>(53, "MakeAgentListPrim(float)", &C::MakeAgentListPrim);
  list.Is<cls_AgentListPrim<int>*(int*)>(54, "MakeAgentListPrim(int)", &C::MakeAgentListPrim);
  list.Is<cls_AgentListPrim<String>*(String*)>(55, "MakeAgentListPrim(cow_String)", &C::MakeAgentListPrim);
  list.Is<cls_AgentListPrim<UInt>*(UInt*)>(56, "MakeAgentListPrim(unsigned int)", &C::MakeAgentListPrim);
  list.Is<cls_AgentBlob*()>(57, "MakeAgentBlob", &C::MakeAgentBlob);
  list.Is<void(cls_CollectionType, String const&)>(58, "CheckCollectionType", &C::CheckCollectionType);
}

template <class T> void ListSlots(SlotList<cls_ReadListPrim<T>>& list) {
  using C = cls_ReadListPrim<T>;
  list.template Is<bool() const>(1, "NeedsDeletion", &C::NeedsDeletion);
  list.template Is<int()>(2, "Count", &C::Count);
  list.template Is<int()>(3, "RowWidth", &C::RowWidth);
  list.template Is<int()>(4, "More", &C::More);
  list.template Is<int(int, T*)>(5, "NextRun", &C::NextRun);
  list.template Is<T()>(6, "Next", &C::Next);
}

template <class T> void ListSlots(SlotList<cls_ReadMapInt2Prim<T>>& list) {
  using C = cls_ReadMapInt2Prim<T>;
  list.template Is<bool() const>(1, "NeedsDeletion", &C::NeedsDeletion);
  list.template Is<int()>(2, "Count", &C::Count);
  list.template Is<int()>(3, "More", &C::More);
  list.template Is<T()>(4, "Next", &C::Next);
  list.template Is<void(int&)>(5, "Key", &C::Key);
}

template <class T> void ListSlots(SlotList<cls_ReadMapString2Prim<T>>& list) {
  using C = cls_ReadMapString2Prim<T>;
  list.template Is<bool() const>(1, "NeedsDeletion", &C::NeedsDeletion);
  list.template Is<int()>(2, "Count", &C::Count);
  list.template Is<int()>(3, "More", &C::More);
  list.template Is<T()>(4, "Next", &C::Next);
  list.template Is<void(String&)>(5, "Key", &C::Key);
}

inline void ListSlots(SlotList<cls_ReadListObj>& list) {
  using C = cls_ReadListObj;
  list.Is<bool() const>(1, "NeedsDeletion", &C::NeedsDeletion);
  list.Is<int()>(2, "Count", &C::Count);
  list.Is<int()>(3, "Position", &C::Position);
  list.Is<int()>(4, "More", &C::More);
  list.Is<void(int)>(5, "Skip", &C::Skip);
  list.Is<cls_MementoRead*()>(6, "Next", &C::Next);
  list.Is<cls_MementoRead*(int)>(7, "At", &C::At);
}

inline void ListSlots(SlotList<cls_ReadMapInt2Obj>& list) {
  using C = cls_ReadMapInt2Obj;
  list.Is<bool() const>(1, "NeedsDeletion", &C::NeedsDeletion);
  list.Is<int()>(2, "More", &C::More);
  list.Is<void()>(3, "Next", &C::Next);
  list.Is<int()>(4, "Count", &C::Count);
  list.Is<cls_MementoRead*(int&)>(5, "Fetch", &C::Fetch);
  list.Is<bool(int const&)>(6, "Find", &C::Find);
}

inline void ListSlots(SlotList<cls_ReadMapString2Obj>& list) {
  using C = cls_ReadMapString2Obj;
  list.Is<bool() const>(1, "NeedsDeletion", &C::NeedsDeletion);
  list.Is<int()>(2, "More", &C::More);
  list.Is<void()>(3, "Next", &C::Next);
  list.Is<int()>(4, "Count", &C::Count);
  list.Is<cls_MementoRead*(String&)>(5, "Fetch", &C::Fetch);
}

inline void ListSlots(SlotList<cls_ReadIntTableInt>& list) {
  using C = cls_ReadIntTableInt;
  list.Is<int()>(1, "Count", &C::Count);
  list.Is<int()>(2, "More", &C::More);
  list.Is<int()>(3, "Next", &C::Next);
  list.Is<void(int&)>(4, "Key", &C::Key);
}

template <class T> void ListSlots(SlotList<cls_WriteListPrim<T>>& list) {
  using C = cls_WriteListPrim<T>;
  list.template Is<bool() const>(1, "NeedsDeletion", &C::NeedsDeletion);
  list.template Is<void(int, T const*)>(2, "AppendRun", &C::AppendRun);
  list.template Is<void(T const&)>(3, "Append", &C::Append);
}

template <class T> void ListSlots(SlotList<cls_WriteMapInt2Prim<T>>& list) {
  using C = cls_WriteMapInt2Prim<T>;
  list.template Is<bool() const>(1, "NeedsDeletion", &C::NeedsDeletion);
  list.template Is<void(int const&, T const&)>(2, "Insert", &C::Insert);
}

template <class T> void ListSlots(SlotList<cls_WriteMapString2Prim<T>>& list) {
  using C = cls_WriteMapString2Prim<T>;
  list.template Is<bool() const>(1, "NeedsDeletion", &C::NeedsDeletion);
  list.template Is<void(String const&, T const&)>(2, "Insert", &C::Insert);
}

inline void ListSlots(SlotList<cls_WriteListObj>& list) {
  using C = cls_WriteListObj;
  list.Is<bool() const>(1, "NeedsDeletion", &C::NeedsDeletion);
  list.Is<cls_MementoWrite*(UInt, Uid)>(2, "MakeWriteObj", &C::MakeWriteObj);
  list.Is<cls_MementoWrite*(UInt, Uid, void const*)>(3, "MakeWriteObjWithPtr", &C::MakeWriteObjWithPtr);
  list.Is<int() const>(4, "Count", &C::Count);
}

inline void ListSlots(SlotList<cls_WriteMapInt2Obj>& list) {
  using C = cls_WriteMapInt2Obj;
  list.Is<bool() const>(1, "NeedsDeletion", &C::NeedsDeletion);
  list.Is<cls_MementoWrite*(int const&, UInt, Uid)>(2, "MakeWriteObj", &C::MakeWriteObj);
  list.Is<cls_MementoWrite*(int const&, UInt, Uid, void const*)>(3, "MakeWriteObjWithPtr",
                                                                 &C::MakeWriteObjWithPtr);
  list.Is<int() const>(4, "Count", &C::Count);
}

inline void ListSlots(SlotList<cls_WriteMapString2Obj>& list) {
  using C = cls_WriteMapString2Obj;
  list.Is<bool() const>(1, "NeedsDeletion", &C::NeedsDeletion);
  list.Is<cls_MementoWrite*(String const&, UInt, Uid)>(2, "MakeWriteObj", &C::MakeWriteObj);
  list.Is<cls_MementoWrite*(String const&, UInt, Uid, void const*)>(3, "MakeWriteObjWithPtr",
                                                                    &C::MakeWriteObjWithPtr);
  list.Is<int() const>(4, "Count", &C::Count);
}

inline void ListSlots(SlotList<cls_WriteIntTableInt>& list) {
  using C = cls_WriteIntTableInt;
  list.Is<void(int, int)>(1, "Insert", &C::Insert);
}

template <class T> void ListSlots(SlotList<cls_AgentListPrim<T>>& list) {
  using C = cls_AgentListPrim<T>;
  list.template Is<int()>(1, "Count", &C::Count);
  list.template Is<int()>(2, "SizeHint", &C::SizeHint);
  list.template Is<bool()>(3, "Changed", &C::Changed);
  list.template Is<void()>(4, "EndFlush", &C::EndFlush);
  list.template Is<void(int, int, T const*)>(5, "WriteRun", &C::WriteRun);
  list.template Is<int(int, int, T*)>(6, "ReadRun", &C::ReadRun);
  list.template Is<void()>(7, "AddReference", &C::AddReference);
  list.template Is<void()>(8, "DropReference", &C::DropReference);
  list.template Is<bool()>(9, "StillReferenced", &C::StillReferenced);
  list.template Is<bool()>(10, "ReadOnly", &C::ReadOnly);
  list.template Is<void(cls_PC*)>(11, "RegisterHolder", &C::RegisterHolder);
}

template <class K> void ListSlots(SlotList<cls_AgentMapKey2Obj<K>>& list) {
  using C = cls_AgentMapKey2Obj<K>;
  list.template Is<int()>(1, "Count", &C::Count);
  list.template Is<int()>(2, "SizeHint", &C::SizeHint);
  list.template Is<bool()>(3, "Changed", &C::Changed);
  list.template Is<void()>(4, "EndFlush", &C::EndFlush);
  list.template Is<bool(K const&)>(5, "Remove", &C::Remove);
  list.template Is<cls_MementoRead*(K const&)>(6, "MakeReadObj", &C::MakeReadObj);
  list.template Is<void()>(7, "AddReference", &C::AddReference);
  list.template Is<void()>(8, "DropReference", &C::DropReference);
  list.template Is<bool()>(9, "StillReferenced", &C::StillReferenced);
  list.template Is<bool()>(10, "ReadOnly", &C::ReadOnly);
  list.template Is<cls_MementoWrite*(K const&, UInt, Uid)>(11, "MakeWriteObj", &C::MakeWriteObj);
  list.template Is<cls_MementoWrite*(K const&, UInt, Uid, void const*)>(12, "MakeWriteObjWithPtr",
                                                                        &C::MakeWriteObjWithPtr);
  list.template Is<void(cls_PC*)>(13, "RegisterHolder", &C::RegisterHolder);
  list.template Is<bool(K const&)>(14, "Contains", &C::Contains);
  list.template Is<bool(K&)>(15, "FirstKey", &C::FirstKey);
  list.template Is<bool(K&)>(16, "NextKey", &C::NextKey);
  list.template Is<bool(K&)>(17, "LastKey", &C::LastKey);
  list.template Is<bool(K&)>(18, "PreviousKey", &C::PreviousKey);
  list.template Is<void()>(19, "Clear", &C::Clear);
}

inline void ListSlots(SlotList<cls_AgentListObj>& list) {
  using C = cls_AgentListObj;
  list.Is<int()>(1, "Count", &C::Count);
  list.Is<int()>(2, "SizeHint", &C::SizeHint);
  list.Is<bool()>(3, "Changed", &C::Changed);
  list.Is<void()>(4, "EndFlush", &C::EndFlush);
  list.Is<void(int)>(5, "SetCount", &C::SetCount);
  list.Is<cls_MementoRead*(int)>(6, "MakeReadObj", &C::MakeReadObj);
  list.Is<cls_MementoWrite*(int, UInt, Uid)>(7, "MakeWriteObj", &C::MakeWriteObj);
  list.Is<cls_MementoWrite*(int, UInt, Uid, void const*)>(8, "MakeWriteObjWithPtr", &C::MakeWriteObjWithPtr);
  list.Is<void()>(9, "AddReference", &C::AddReference);
  list.Is<void()>(10, "DropReference", &C::DropReference);
  list.Is<bool()>(11, "StillReferenced", &C::StillReferenced);
  list.Is<bool()>(12, "ReadOnly", &C::ReadOnly);
  list.Is<void(cls_PC*)>(13, "RegisterHolder", &C::RegisterHolder);
  list.Is<void(int)>(14, "Remove", &C::Remove);
}

inline void ListSlots(SlotList<cls_AgentBlob>& list) {
  using C = cls_AgentBlob;
  list.Is<long long()>(1, "Size", &C::Size);
  list.Is<long long(long long, long long, void*)>(2, "Read", &C::Read);
  list.Is<void(long long, long long, void const*)>(3, "Write", &C::Write);
  list.Is<void(long long)>(4, "Truncate", &C::Truncate);
  list.Is<bool()>(5, "Changed", &C::Changed);
  list.Is<void()>(6, "EndFlush", &C::EndFlush);
  list.Is<void()>(7, "AddReference", &C::AddReference);
  list.Is<void()>(8, "DropReference", &C::DropReference);
  list.Is<bool()>(9, "StillReferenced", &C::StillReferenced);
  list.Is<bool()>(10, "ReadOnly", &C::ReadOnly);
  list.Is<bool() const>(11, "NeedsDeletion", &C::NeedsDeletion);
}

inline void ListSlots(SlotList<cls_AgentProxy>& list) {
  using C = cls_AgentProxy;
  list.Is<bool(cls_StorageTypeId const&, cls_MementoWrite*, Field)>(1, "Transfer", &C::Transfer);
}

inline void ListSlots(SlotList<cls_ReadCollectionBase>& list) {
  list.Is<bool() const>(1, "NeedsDeletion", &cls_ReadCollectionBase::NeedsDeletion);
}
inline void ListSlots(SlotList<cls_WriteCollectionBase>& list) {
  list.Is<bool() const>(1, "NeedsDeletion", &cls_WriteCollectionBase::NeedsDeletion);
}

/// All requests have the slots of their base.
template <class C>
requires std::is_base_of_v<cls_AgentRequest, C>
void ListSlots(SlotList<C>& list) {
  list.template Is<cls_MementoWrite*(UInt, Uid) const>(1, "MakeWriteObj", &C::MakeWriteObj);
  list.template Is<cls_MementoWrite*(UInt, Uid, void const*) const>(2, "MakeWriteObjWithPtr",
                                                                    &C::MakeWriteObjWithPtr);
}

} // namespace back_end_slots

/// The slots of an interface.
template <class Class> SlotList<Class> SlotsOf() {
  SlotList<Class> list;
  back_end_slots::ListSlots(list);
  return list;
}

/// An interface with its slots, the destructor first; a family of templates is one interface here.
struct BackEndInterface {
  std::string m_Class;
  std::vector<Slot> m_Slots;
  bool m_IsRequest;    ///< inherits all of them
  bool m_IsCollection; ///< inherits the first two
};

template <class Class> BackEndInterface InterfaceOf(char const* name) {
  return {name, SlotsOf<Class>().Slots(), std::is_base_of_v<cls_AgentRequest, Class>,
          std::is_base_of_v<cls_ReadCollectionBase, Class> ||
              std::is_base_of_v<cls_WriteCollectionBase, Class>};
}

/// Every interface of a back end.
inline std::vector<BackEndInterface> const& BackEndInterfaces() {
  static std::vector<BackEndInterface> const interfaces{
      InterfaceOf<cls_MementoWrite>("cls_MementoWrite"),
      InterfaceOf<cls_MementoRead>("cls_MementoRead"),
      InterfaceOf<cls_ReadListPrim<int>>("cls_ReadListPrim"),
      InterfaceOf<cls_ReadMapInt2Prim<int>>("cls_ReadMapInt2Prim"),
      InterfaceOf<cls_ReadMapString2Prim<int>>("cls_ReadMapString2Prim"),
      InterfaceOf<cls_ReadListObj>("cls_ReadListObj"),
      InterfaceOf<cls_ReadMapInt2Obj>("cls_ReadMapInt2Obj"),
      InterfaceOf<cls_ReadMapString2Obj>("cls_ReadMapString2Obj"),
      InterfaceOf<cls_ReadIntTableInt>("cls_ReadIntTableInt"),
      InterfaceOf<cls_WriteListPrim<int>>("cls_WriteListPrim"),
      InterfaceOf<cls_WriteMapInt2Prim<int>>("cls_WriteMapInt2Prim"),
      InterfaceOf<cls_WriteMapString2Prim<int>>("cls_WriteMapString2Prim"),
      InterfaceOf<cls_WriteListObj>("cls_WriteListObj"),
      InterfaceOf<cls_WriteMapInt2Obj>("cls_WriteMapInt2Obj"),
      InterfaceOf<cls_WriteMapString2Obj>("cls_WriteMapString2Obj"),
      InterfaceOf<cls_WriteIntTableInt>("cls_WriteIntTableInt"),
      InterfaceOf<cls_AgentListPrim<int>>("cls_AgentListPrim"),
      InterfaceOf<cls_AgentMapKey2Obj<int>>("cls_AgentMapKey2Obj"),
      InterfaceOf<cls_AgentListObj>("cls_AgentListObj"),
      InterfaceOf<cls_AgentBlob>("cls_AgentBlob"),
      InterfaceOf<cls_AgentProxy>("cls_AgentProxy"),
      InterfaceOf<cls_AgentRequestListObj>("cls_AgentRequestListObj"),
      InterfaceOf<cls_AgentRequestMapKey2Obj<int>>("cls_AgentRequestMapKey2Obj"),
      InterfaceOf<cls_WriteRequestListObj>("cls_WriteRequestListObj"),
      InterfaceOf<cls_WriteRequestMapInt2Obj>("cls_WriteRequestMapInt2Obj"),
      InterfaceOf<cls_WriteRequestMapString2Obj>("cls_WriteRequestMapString2Obj"),
  };
  return interfaces;
}
