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

// The names of all slots of the back-end interfaces. A family of templates is one class here.

/// One slot.
struct ContractSlot {
  std::string m_Class;
  int m_Slot;
  std::string m_Operation;
  int m_Compiled;               ///< where the compiler has put the operation
  std::type_info const* m_Type; ///< the class, or an instance of the family
};

/// Adds the slots of one class to the list, the destructor first.
template <class Class> class ContractSlotNames {
 public:
  ContractSlotNames(std::vector<ContractSlot>& all, char const* className) : m_All(all), m_Class(className) {
    static_assert(std::has_virtual_destructor_v<Class>);
    m_All.push_back({m_Class, 0, "destructor", 0, &typeid(Class)});
  }

  template <class Signature> void Is(int slot, char const* name, Signature Class::*operation) {
    m_All.push_back({m_Class, slot, name, SlotOf(operation), &typeid(Class)});
  }

 private:
  std::vector<ContractSlot>& m_All;
  char const* m_Class;
};

inline void AddContractMementos(std::vector<ContractSlot>& all) {
  using Field = cls_FieldHandle const&;
  using Uid = cls_Uid const&;
  using Cow = cow_COW<int, cow_Direct<int>> const*;
  using String = cow_String;
  using UInt = unsigned int;
  {
    using C = cls_MementoWrite;
    ContractSlotNames<C> names(all, "cls_MementoWrite");
    names.Is<bool() const>(1, "NeedsDeletion", &C::NeedsDeletion);
    names.Is<int(Field) const>(2, "FieldIsPresent", &C::FieldIsPresent);
    names.Is<C*(Field, UInt, Uid, void const*)>(3, "MakeFieldWriteObj", &C::MakeFieldWriteObj);
    names.Is<C*(Field, UInt, Uid, Cow)>(4, "MakeFieldWriteObjCow", &C::MakeFieldWriteObjCow);
    names.Is<C*(UInt, Uid)>(5, "MakeBaseWriteObj", &C::MakeBaseWriteObj);
    names.Is<void(Field, bool const&)>(6, "Write(bool)", &C::Write);
    names.Is<void(Field, String const&)>(7, "Write(cow_String)", &C::Write);
    names.Is<void(Field, float const&)>(8, "Write(float)", &C::Write);
    names.Is<void(Field, double const&)>(9, "Write(double)", &C::Write);
    names.Is<void(Field, UInt const&)>(10, "Write(unsigned int)", &C::Write);
    names.Is<void(Field, int const&)>(11, "Write(int)", &C::Write);
    names.Is<void(Field, signed char const&)>(12, "Write(signed char)", &C::Write);
    names.Is<void(Field, short const&)>(13, "Write(short)", &C::Write);
    names.Is<void(Field, unsigned short const&)>(14, "Write(unsigned short)", &C::Write);
    names.Is<void(Field, long long const&)>(15, "Write(long long)", &C::Write);
    names.Is<void(Field, unsigned long long const&)>(16, "Write(unsigned long long)", &C::Write);
    names.Is<void(Field, int const&)>(17, "WriteEnum", &C::WriteEnum);
    names.Is<void(Field, Uid)>(18, "WriteReference", &C::WriteReference);
    names.Is<void(Field, void const*, int)>(19, "WriteBytes", &C::WriteBytes);
    names.Is<cls_WriteMapInt2Obj*()>(20, "MakeWriteMapInt2Obj", &C::MakeWriteMapInt2Obj);
    names.Is<cls_WriteMapString2Obj*()>(21, "MakeWriteMapString2Obj", &C::MakeWriteMapString2Obj);
    names.Is<cls_WriteListPrim<bool>*(bool const*, int)>(22, "MakeWriteListPrim(bool)",
                                                         &C::MakeWriteListPrim);
    names.Is<cls_WriteListPrim<String>*(String const*, int)>(23, "MakeWriteListPrim(cow_String)",
                                                             &C::MakeWriteListPrim);
    names.Is<cls_WriteListPrim<float>*(float const*, int)>(24, "MakeWriteListPrim(float)",
                                                           &C::MakeWriteListPrim);
    names.Is<cls_WriteListPrim<double>*(double const*, int)>(25, "MakeWriteListPrim(double)",
                                                             &C::MakeWriteListPrim);
    names.Is<cls_WriteListPrim<UInt>*(UInt const*, int)>(26, "MakeWriteListPrim(unsigned int)",
                                                         &C::MakeWriteListPrim);
    names.Is<cls_WriteListPrim<int>*(int const*, int)>(27, "MakeWriteListPrim(int)", &C::MakeWriteListPrim);
    names.Is<cls_WriteMapInt2Prim<String>*(String const*)>(28, "MakeWriteMapInt2Prim(cow_String)",
                                                           &C::MakeWriteMapInt2Prim);
    names.Is<cls_WriteMapInt2Prim<float>*(float const*)>(29, "MakeWriteMapInt2Prim(float)",
                                                         &C::MakeWriteMapInt2Prim);
    names.Is<cls_WriteMapInt2Prim<double>*(double const*)>(30, "MakeWriteMapInt2Prim(double)",
                                                           &C::MakeWriteMapInt2Prim);
    names.Is<cls_WriteMapInt2Prim<UInt>*(UInt const*)>(31, "MakeWriteMapInt2Prim(unsigned int)",
                                                       &C::MakeWriteMapInt2Prim);
    names.Is<cls_WriteMapInt2Prim<int>*(int const*)>(32, "MakeWriteMapInt2Prim(int)",
                                                     &C::MakeWriteMapInt2Prim);
    names.Is<cls_WriteListObj*()>(33, "MakeWriteListObj", &C::MakeWriteListObj);
    names.Is<cls_WriteIntTableInt*()>(34, "MakeWriteIntTableInt", &C::MakeWriteIntTableInt);
    names.Is<cls_WriteListObj*(Field, Uid)>(35, "MakeFieldWriteListObj", &C::MakeFieldWriteListObj);
    names.Is<cls_WriteMapInt2Obj*(Field, Uid)>(36, "MakeFieldWriteMapInt2Obj", &C::MakeFieldWriteMapInt2Obj);
    names.Is<cls_WriteMapString2Obj*(Field, Uid)>(37, "MakeFieldWriteMapString2Obj",
                                                  &C::MakeFieldWriteMapString2Obj);
    names.Is<cls_WriteIntTableInt*(Field, Uid)>(38, "MakeFieldWriteIntTableInt",
                                                &C::MakeFieldWriteIntTableInt);
    names.Is<cls_WriteMapString2Prim<UInt>*(UInt const*)>(39, "MakeWriteMapString2Prim(unsigned int)",
                                                          &C::MakeWriteMapString2Prim);
    names.Is<cls_WriteMapString2Prim<String>*(String const*)>(40, "MakeWriteMapString2Prim(cow_String)",
                                                              &C::MakeWriteMapString2Prim);
    names.Is<cls_WriteMapString2Prim<int>*(int const*)>(41, "MakeWriteMapString2Prim(int)",
                                                        &C::MakeWriteMapString2Prim);
    names.Is<cls_WriteMapString2Prim<float>*(float const*)>(42, "MakeWriteMapString2Prim(float)",
                                                            &C::MakeWriteMapString2Prim);
    names.Is<cls_WriteMapString2Prim<double>*(double const*)>(43, "MakeWriteMapString2Prim(double)",
                                                              &C::MakeWriteMapString2Prim);
    names.Is<cls_AgentListObj*(int)>(44, "MakeAgentListObj", &C::MakeAgentListObj);
    names.Is<cls_AgentMapKey2Obj<int>*(int const*, int)>(45, "MakeAgentMapKey2Obj(int)",
                                                         &C::MakeAgentMapKey2Obj);
    names.Is<cls_AgentMapKey2Obj<String>*(String const*, int)>(46, "MakeAgentMapKey2Obj(cow_String)",
                                                               &C::MakeAgentMapKey2Obj);
    names.Is<cls_AgentListPrim<bool>*(bool const*, int)>(47, "MakeAgentListPrim(bool)",
                                                         &C::MakeAgentListPrim);
    names.Is<cls_AgentListPrim<double>*(double const*, int)>(48, "MakeAgentListPrim(double)",
                                                             &C::MakeAgentListPrim);
    names.Is<cls_AgentListPrim<float>*(float const*, int)>(49, "MakeAgentListPrim(float)",
                                                           &C::MakeAgentListPrim);
    names.Is<cls_AgentListPrim<int>*(int const*, int)>(50, "MakeAgentListPrim(int)", &C::MakeAgentListPrim);
    names.Is<cls_AgentListPrim<String>*(String const*, int)>(51, "MakeAgentListPrim(cow_String)",
                                                             &C::MakeAgentListPrim);
    names.Is<cls_AgentListPrim<UInt>*(UInt const*, int)>(52, "MakeAgentListPrim(unsigned int)",
                                                         &C::MakeAgentListPrim);
    names.Is<cls_AgentBlob*()>(53, "MakeAgentBlob", &C::MakeAgentBlob);
    names.Is<void(cls_CollectionType, String const&)>(54, "CheckCollectionType", &C::CheckCollectionType);
    names.Is<bool(cls_AgentProxy*, Field)>(55, "CopyBranch", &C::CopyBranch);
    names.Is<void()>(56, "StartSharedPtrOutput", &C::StartSharedPtrOutput);
    names.Is<void()>(57, "EndSharedPtrOutput", &C::EndSharedPtrOutput);
  }
  {
    using C = cls_MementoRead;
    ContractSlotNames<C> names(all, "cls_MementoRead");
    names.Is<bool() const>(1, "NeedsDeletion", &C::NeedsDeletion);
    names.Is<String()>(2, "DbId", &C::DbId);
    names.Is<Uid()>(3, "GetUid", &C::GetUid);
    names.Is<int(Field) const>(4, "FieldIsPresent", &C::FieldIsPresent);
    names.Is<int(Field) const>(5, "DataIsPresent", &C::DataIsPresent);
    names.Is<bool(Field, bool const&)>(6, "Read(bool)", &C::Read);
    names.Is<C*(Field)>(7, "MakeFieldReadObj", &C::MakeFieldReadObj);
    names.Is<C*()>(8, "Clone", &C::Clone);
    names.Is<String(Field, String const&)>(9, "Read(cow_String)", &C::Read);
    names.Is<float(Field, float const&)>(10, "Read(float)", &C::Read);
    names.Is<double(Field, double const&)>(11, "Read(double)", &C::Read);
    names.Is<UInt(Field, UInt const&)>(12, "Read(unsigned int)", &C::Read);
    names.Is<int(Field, int const&)>(13, "Read(int)", &C::Read);
    names.Is<signed char(Field, signed char const&)>(14, "Read(signed char)", &C::Read);
    names.Is<short(Field, short const&)>(15, "Read(short)", &C::Read);
    names.Is<unsigned short(Field, unsigned short const&)>(16, "Read(unsigned short)", &C::Read);
    names.Is<long long(Field, long long const&)>(17, "Read(long long)", &C::Read);
    names.Is<unsigned long long(Field, unsigned long long const&)>(18, "Read(unsigned long long)", &C::Read);
    names.Is<int(Field)>(19, "ReadEnum", &C::ReadEnum);
    names.Is<cls_Uid(Field)>(20, "ReadReference", &C::ReadReference);
    names.Is<int(Field, void*, int)>(21, "ReadBytes", &C::ReadBytes);
    names.Is<UInt() const>(22, "ClassId", &C::ClassId);
    names.Is<int() const>(23, "ClassVersion", &C::ClassVersion);
    names.Is<cls_ReadMapInt2Obj*()>(24, "MakeReadMapInt2Obj", &C::MakeReadMapInt2Obj);
    names.Is<cls_ReadMapString2Obj*()>(25, "MakeReadMapString2Obj", &C::MakeReadMapString2Obj);
    names.Is<cls_ReadListPrim<bool>*(bool*)>(26, "MakeReadListPrim(bool)", &C::MakeReadListPrim);
    names.Is<cls_ReadListPrim<String>*(String*)>(27, "MakeReadListPrim(cow_String)", &C::MakeReadListPrim);
    names.Is<cls_ReadListPrim<float>*(float*)>(28, "MakeReadListPrim(float)", &C::MakeReadListPrim);
    names.Is<cls_ReadListPrim<double>*(double*)>(29, "MakeReadListPrim(double)", &C::MakeReadListPrim);
    names.Is<cls_ReadListPrim<UInt>*(UInt*)>(30, "MakeReadListPrim(unsigned int)", &C::MakeReadListPrim);
    names.Is<cls_ReadListPrim<int>*(int*)>(31, "MakeReadListPrim(int)", &C::MakeReadListPrim);
    names.Is<cls_ReadMapInt2Prim<String>*(String*)>(32, "MakeReadMapInt2Prim(cow_String)",
                                                    &C::MakeReadMapInt2Prim);
    names.Is<cls_ReadMapInt2Prim<float>*(float*)>(33, "MakeReadMapInt2Prim(float)", &C::MakeReadMapInt2Prim);
    names.Is<cls_ReadMapInt2Prim<double>*(double*)>(34, "MakeReadMapInt2Prim(double)",
                                                    &C::MakeReadMapInt2Prim);
    names.Is<cls_ReadMapInt2Prim<UInt>*(UInt*)>(35, "MakeReadMapInt2Prim(unsigned int)",
                                                &C::MakeReadMapInt2Prim);
    names.Is<cls_ReadMapInt2Prim<int>*(int*)>(36, "MakeReadMapInt2Prim(int)", &C::MakeReadMapInt2Prim);
    names.Is<cls_ReadListObj*()>(37, "MakeReadListObj", &C::MakeReadListObj);
    names.Is<cls_ReadIntTableInt*()>(38, "MakeReadIntTableInt", &C::MakeReadIntTableInt);
    names.Is<cls_ReadListObj*(Field)>(39, "MakeFieldReadListObj", &C::MakeFieldReadListObj);
    names.Is<cls_ReadMapInt2Obj*(Field)>(40, "MakeFieldReadMapInt2Obj", &C::MakeFieldReadMapInt2Obj);
    names.Is<cls_ReadMapString2Obj*(Field)>(41, "MakeFieldReadMapString2Obj", &C::MakeFieldReadMapString2Obj);
    names.Is<cls_ReadIntTableInt*(Field)>(42, "MakeFieldReadIntTableInt", &C::MakeFieldReadIntTableInt);
    names.Is<cls_ReadMapString2Prim<UInt>*(UInt*)>(43, "MakeReadMapString2Prim(unsigned int)",
                                                   &C::MakeReadMapString2Prim);
    names.Is<cls_ReadMapString2Prim<String>*(String*)>(44, "MakeReadMapString2Prim(cow_String)",
                                                       &C::MakeReadMapString2Prim);
    names.Is<cls_ReadMapString2Prim<int>*(int*)>(45, "MakeReadMapString2Prim(int)",
                                                 &C::MakeReadMapString2Prim);
    names.Is<cls_ReadMapString2Prim<float>*(float*)>(46, "MakeReadMapString2Prim(float)",
                                                     &C::MakeReadMapString2Prim);
    names.Is<cls_ReadMapString2Prim<double>*(double*)>(47, "MakeReadMapString2Prim(double)",
                                                       &C::MakeReadMapString2Prim);
    names.Is<cls_AgentListObj*()>(48, "MakeAgentListObj", &C::MakeAgentListObj);
    names.Is<cls_AgentMapKey2Obj<int>*(int*)>(49, "MakeAgentMapKey2Obj(int)", &C::MakeAgentMapKey2Obj);
    names.Is<cls_AgentMapKey2Obj<String>*(String*)>(50, "MakeAgentMapKey2Obj(cow_String)",
                                                    &C::MakeAgentMapKey2Obj);
    names.Is<cls_AgentListPrim<bool>*(bool*)>(51, "MakeAgentListPrim(bool)", &C::MakeAgentListPrim);
    names.Is<cls_AgentListPrim<double>*(double*)>(52, "MakeAgentListPrim(double)", &C::MakeAgentListPrim);
    names.Is<cls_AgentListPrim<float>*(float*)>(53, "MakeAgentListPrim(float)", &C::MakeAgentListPrim);
    names.Is<cls_AgentListPrim<int>*(int*)>(54, "MakeAgentListPrim(int)", &C::MakeAgentListPrim);
    names.Is<cls_AgentListPrim<String>*(String*)>(55, "MakeAgentListPrim(cow_String)", &C::MakeAgentListPrim);
    names.Is<cls_AgentListPrim<UInt>*(UInt*)>(56, "MakeAgentListPrim(unsigned int)", &C::MakeAgentListPrim);
    names.Is<cls_AgentBlob*()>(57, "MakeAgentBlob", &C::MakeAgentBlob);
    names.Is<void(cls_CollectionType, String const&)>(58, "CheckCollectionType", &C::CheckCollectionType);
  }
}

inline void AddContractCollections(std::vector<ContractSlot>& all) {
  using Uid = cls_Uid const&;
  using String = cow_String;
  using UInt = unsigned int;
  {
    using C = cls_ReadListPrim<int>;
    ContractSlotNames<C> names(all, "cls_ReadListPrim");
    names.Is<bool() const>(1, "NeedsDeletion", &C::NeedsDeletion);
    names.Is<int()>(2, "Count", &C::Count);
    names.Is<int()>(3, "RowWidth", &C::RowWidth);
    names.Is<int()>(4, "More", &C::More);
    names.Is<int(int, int*)>(5, "NextRun", &C::NextRun);
    names.Is<int()>(6, "Next", &C::Next);
  }
  {
    using C = cls_ReadMapInt2Prim<int>;
    ContractSlotNames<C> names(all, "cls_ReadMapInt2Prim");
    names.Is<bool() const>(1, "NeedsDeletion", &C::NeedsDeletion);
    names.Is<int()>(2, "Count", &C::Count);
    names.Is<int()>(3, "More", &C::More);
    names.Is<int()>(4, "Next", &C::Next);
    names.Is<void(int&)>(5, "Key", &C::Key);
  }
  {
    using C = cls_ReadMapString2Prim<int>;
    ContractSlotNames<C> names(all, "cls_ReadMapString2Prim");
    names.Is<bool() const>(1, "NeedsDeletion", &C::NeedsDeletion);
    names.Is<int()>(2, "Count", &C::Count);
    names.Is<int()>(3, "More", &C::More);
    names.Is<int()>(4, "Next", &C::Next);
    names.Is<void(String&)>(5, "Key", &C::Key);
  }
  {
    using C = cls_ReadListObj;
    ContractSlotNames<C> names(all, "cls_ReadListObj");
    names.Is<bool() const>(1, "NeedsDeletion", &C::NeedsDeletion);
    names.Is<int()>(2, "Count", &C::Count);
    names.Is<int()>(3, "Position", &C::Position);
    names.Is<int()>(4, "More", &C::More);
    names.Is<void(int)>(5, "Skip", &C::Skip);
    names.Is<cls_MementoRead*()>(6, "Next", &C::Next);
    names.Is<cls_MementoRead*(int)>(7, "At", &C::At);
  }
  {
    using C = cls_ReadMapInt2Obj;
    ContractSlotNames<C> names(all, "cls_ReadMapInt2Obj");
    names.Is<bool() const>(1, "NeedsDeletion", &C::NeedsDeletion);
    names.Is<int()>(2, "More", &C::More);
    names.Is<void()>(3, "Next", &C::Next);
    names.Is<int()>(4, "Count", &C::Count);
    names.Is<cls_MementoRead*(int&)>(5, "Fetch", &C::Fetch);
    names.Is<bool(int const&)>(6, "Find", &C::Find);
  }
  {
    using C = cls_ReadMapString2Obj;
    ContractSlotNames<C> names(all, "cls_ReadMapString2Obj");
    names.Is<bool() const>(1, "NeedsDeletion", &C::NeedsDeletion);
    names.Is<int()>(2, "More", &C::More);
    names.Is<void()>(3, "Next", &C::Next);
    names.Is<int()>(4, "Count", &C::Count);
    names.Is<cls_MementoRead*(String&)>(5, "Fetch", &C::Fetch);
  }
  {
    using C = cls_ReadIntTableInt;
    ContractSlotNames<C> names(all, "cls_ReadIntTableInt");
    names.Is<int()>(1, "Count", &C::Count);
    names.Is<int()>(2, "More", &C::More);
    names.Is<int()>(3, "Next", &C::Next);
    names.Is<void(int&)>(4, "Key", &C::Key);
  }
  {
    using C = cls_WriteListPrim<int>;
    ContractSlotNames<C> names(all, "cls_WriteListPrim");
    names.Is<bool() const>(1, "NeedsDeletion", &C::NeedsDeletion);
    names.Is<void(int, int const*)>(2, "AppendRun", &C::AppendRun);
    names.Is<void(int const&)>(3, "Append", &C::Append);
  }
  {
    using C = cls_WriteMapInt2Prim<int>;
    ContractSlotNames<C> names(all, "cls_WriteMapInt2Prim");
    names.Is<bool() const>(1, "NeedsDeletion", &C::NeedsDeletion);
    names.Is<void(int const&, int const&)>(2, "Insert", &C::Insert);
  }
  {
    using C = cls_WriteMapString2Prim<int>;
    ContractSlotNames<C> names(all, "cls_WriteMapString2Prim");
    names.Is<bool() const>(1, "NeedsDeletion", &C::NeedsDeletion);
    names.Is<void(String const&, int const&)>(2, "Insert", &C::Insert);
  }
  {
    using C = cls_WriteListObj;
    ContractSlotNames<C> names(all, "cls_WriteListObj");
    names.Is<bool() const>(1, "NeedsDeletion", &C::NeedsDeletion);
    names.Is<cls_MementoWrite*(UInt, Uid)>(2, "MakeWriteObj", &C::MakeWriteObj);
    names.Is<cls_MementoWrite*(UInt, Uid, void const*)>(3, "MakeWriteObjWithPtr", &C::MakeWriteObjWithPtr);
    names.Is<int() const>(4, "Count", &C::Count);
  }
  {
    using C = cls_WriteMapInt2Obj;
    ContractSlotNames<C> names(all, "cls_WriteMapInt2Obj");
    names.Is<bool() const>(1, "NeedsDeletion", &C::NeedsDeletion);
    names.Is<cls_MementoWrite*(int const&, UInt, Uid)>(2, "MakeWriteObj", &C::MakeWriteObj);
    names.Is<cls_MementoWrite*(int const&, UInt, Uid, void const*)>(3, "MakeWriteObjWithPtr",
                                                                    &C::MakeWriteObjWithPtr);
    names.Is<int() const>(4, "Count", &C::Count);
  }
  {
    using C = cls_WriteMapString2Obj;
    ContractSlotNames<C> names(all, "cls_WriteMapString2Obj");
    names.Is<bool() const>(1, "NeedsDeletion", &C::NeedsDeletion);
    names.Is<cls_MementoWrite*(String const&, UInt, Uid)>(2, "MakeWriteObj", &C::MakeWriteObj);
    names.Is<cls_MementoWrite*(String const&, UInt, Uid, void const*)>(3, "MakeWriteObjWithPtr",
                                                                       &C::MakeWriteObjWithPtr);
    names.Is<int() const>(4, "Count", &C::Count);
  }
  {
    using C = cls_WriteIntTableInt;
    ContractSlotNames<C> names(all, "cls_WriteIntTableInt");
    names.Is<void(int, int)>(1, "Insert", &C::Insert);
  }
}

inline void AddContractAgents(std::vector<ContractSlot>& all) {
  using Field = cls_FieldHandle const&;
  using Uid = cls_Uid const&;
  using UInt = unsigned int;
  {
    using C = cls_AgentListPrim<int>;
    ContractSlotNames<C> names(all, "cls_AgentListPrim");
    names.Is<int()>(1, "Count", &C::Count);
    names.Is<int()>(2, "SizeHint", &C::SizeHint);
    names.Is<bool()>(3, "Changed", &C::Changed);
    names.Is<void()>(4, "EndFlush", &C::EndFlush);
    names.Is<void(int, int, int const*)>(5, "WriteRun", &C::WriteRun);
    names.Is<int(int, int, int*)>(6, "ReadRun", &C::ReadRun);
    names.Is<void()>(7, "AddReference", &C::AddReference);
    names.Is<void()>(8, "DropReference", &C::DropReference);
    names.Is<bool()>(9, "StillReferenced", &C::StillReferenced);
    names.Is<bool()>(10, "ReadOnly", &C::ReadOnly);
    names.Is<void(cls_PC*)>(11, "RegisterHolder", &C::RegisterHolder);
  }
  {
    using C = cls_AgentMapKey2Obj<int>;
    ContractSlotNames<C> names(all, "cls_AgentMapKey2Obj");
    names.Is<int()>(1, "Count", &C::Count);
    names.Is<int()>(2, "SizeHint", &C::SizeHint);
    names.Is<bool()>(3, "Changed", &C::Changed);
    names.Is<void()>(4, "EndFlush", &C::EndFlush);
    names.Is<bool(int const&)>(5, "Remove", &C::Remove);
    names.Is<cls_MementoRead*(int const&)>(6, "MakeReadObj", &C::MakeReadObj);
    names.Is<void()>(7, "AddReference", &C::AddReference);
    names.Is<void()>(8, "DropReference", &C::DropReference);
    names.Is<bool()>(9, "StillReferenced", &C::StillReferenced);
    names.Is<bool()>(10, "ReadOnly", &C::ReadOnly);
    names.Is<cls_MementoWrite*(int const&, UInt, Uid)>(11, "MakeWriteObj", &C::MakeWriteObj);
    names.Is<cls_MementoWrite*(int const&, UInt, Uid, void const*)>(12, "MakeWriteObjWithPtr",
                                                                    &C::MakeWriteObjWithPtr);
    names.Is<void(cls_PC*)>(13, "RegisterHolder", &C::RegisterHolder);
    names.Is<bool(int const&)>(14, "Contains", &C::Contains);
    names.Is<bool(int&)>(15, "FirstKey", &C::FirstKey);
    names.Is<bool(int&)>(16, "NextKey", &C::NextKey);
    names.Is<bool(int&)>(17, "LastKey", &C::LastKey);
    names.Is<bool(int&)>(18, "PreviousKey", &C::PreviousKey);
    names.Is<void()>(19, "Clear", &C::Clear);
  }
  {
    using C = cls_AgentListObj;
    ContractSlotNames<C> names(all, "cls_AgentListObj");
    names.Is<int()>(1, "Count", &C::Count);
    names.Is<int()>(2, "SizeHint", &C::SizeHint);
    names.Is<bool()>(3, "Changed", &C::Changed);
    names.Is<void()>(4, "EndFlush", &C::EndFlush);
    names.Is<void(int)>(5, "SetCount", &C::SetCount);
    names.Is<cls_MementoRead*(int)>(6, "MakeReadObj", &C::MakeReadObj);
    names.Is<cls_MementoWrite*(int, UInt, Uid)>(7, "MakeWriteObj", &C::MakeWriteObj);
    names.Is<cls_MementoWrite*(int, UInt, Uid, void const*)>(8, "MakeWriteObjWithPtr",
                                                             &C::MakeWriteObjWithPtr);
    names.Is<void()>(9, "AddReference", &C::AddReference);
    names.Is<void()>(10, "DropReference", &C::DropReference);
    names.Is<bool()>(11, "StillReferenced", &C::StillReferenced);
    names.Is<bool()>(12, "ReadOnly", &C::ReadOnly);
    names.Is<void(cls_PC*)>(13, "RegisterHolder", &C::RegisterHolder);
    names.Is<void(int)>(14, "Remove", &C::Remove);
  }
  {
    using C = cls_AgentBlob;
    ContractSlotNames<C> names(all, "cls_AgentBlob");
    names.Is<long long()>(1, "Size", &C::Size);
    names.Is<long long(long long, long long, void*)>(2, "Read", &C::Read);
    names.Is<void(long long, long long, void const*)>(3, "Write", &C::Write);
    names.Is<void(long long)>(4, "Truncate", &C::Truncate);
    names.Is<bool()>(5, "Changed", &C::Changed);
    names.Is<void()>(6, "EndFlush", &C::EndFlush);
    names.Is<void()>(7, "AddReference", &C::AddReference);
    names.Is<void()>(8, "DropReference", &C::DropReference);
    names.Is<bool()>(9, "StillReferenced", &C::StillReferenced);
    names.Is<bool()>(10, "ReadOnly", &C::ReadOnly);
    names.Is<bool() const>(11, "NeedsDeletion", &C::NeedsDeletion);
  }
  {
    using C = cls_AgentProxy;
    ContractSlotNames<C> names(all, "cls_AgentProxy");
    names.Is<bool(cls_StorageTypeId const&, cls_MementoWrite*, Field)>(1, "Transfer", &C::Transfer);
  }
  {
    using C = cls_AgentRequestListObj;
    ContractSlotNames<C> names(all, "cls_AgentRequestListObj");
    names.Is<cls_MementoWrite*(UInt, Uid) const>(1, "MakeWriteObj", &C::MakeWriteObj);
    names.Is<cls_MementoWrite*(UInt, Uid, void const*) const>(2, "MakeWriteObjWithPtr",
                                                              &C::MakeWriteObjWithPtr);
  }
  {
    using C = cls_AgentRequestMapKey2Obj<int>;
    ContractSlotNames<C> names(all, "cls_AgentRequestMapKey2Obj");
    names.Is<cls_MementoWrite*(UInt, Uid) const>(1, "MakeWriteObj", &C::MakeWriteObj);
    names.Is<cls_MementoWrite*(UInt, Uid, void const*) const>(2, "MakeWriteObjWithPtr",
                                                              &C::MakeWriteObjWithPtr);
  }
  {
    using C = cls_WriteRequestListObj;
    ContractSlotNames<C> names(all, "cls_WriteRequestListObj");
    names.Is<cls_MementoWrite*(UInt, Uid) const>(1, "MakeWriteObj", &C::MakeWriteObj);
    names.Is<cls_MementoWrite*(UInt, Uid, void const*) const>(2, "MakeWriteObjWithPtr",
                                                              &C::MakeWriteObjWithPtr);
  }
  {
    using C = cls_WriteRequestMapInt2Obj;
    ContractSlotNames<C> names(all, "cls_WriteRequestMapInt2Obj");
    names.Is<cls_MementoWrite*(UInt, Uid) const>(1, "MakeWriteObj", &C::MakeWriteObj);
    names.Is<cls_MementoWrite*(UInt, Uid, void const*) const>(2, "MakeWriteObjWithPtr",
                                                              &C::MakeWriteObjWithPtr);
  }
  {
    using C = cls_WriteRequestMapString2Obj;
    ContractSlotNames<C> names(all, "cls_WriteRequestMapString2Obj");
    names.Is<cls_MementoWrite*(UInt, Uid) const>(1, "MakeWriteObj", &C::MakeWriteObj);
    names.Is<cls_MementoWrite*(UInt, Uid, void const*) const>(2, "MakeWriteObjWithPtr",
                                                              &C::MakeWriteObjWithPtr);
  }
}

/// All slots, class by class, ascending.
inline std::vector<ContractSlot> const& ContractSlots() {
  static std::vector<ContractSlot> const slots = [] {
    std::vector<ContractSlot> all;
    AddContractMementos(all);
    AddContractCollections(all);
    AddContractAgents(all);
    return all;
  }();
  return slots;
}
