#include "module/nex_initialize.h"

#include <gtest/gtest.h>

#include <string>
#include <typeinfo>
#include <vector>

#include "collections/cls_ExtQuant.h"
#include "collections/cls_PTrieHeap.h"
#include "errors/nex_OutOfMemoryException.h"
#include "errors/nex_TextException.h"
#include "metadata/cls_MetadataRegistrar.h"
#include "module/cls_initialize.h"
#include "persist/adapters/cls_TypeAdapter.h"
#include "persist/identity/cls_Static.h"
#include "platform/mem/mem_initialize.h"
#include "platform/typ/typ_ArchCompTable.h"
#include "platform/typ/typ_initialize.h"
#include "tests/support/TracedHistory.h"
#include "wrappers/cls_xpString.h"
#include "wrappers/cls_xpTrString.h"

namespace {

using ClassNames = std::vector<std::string>;

/// The newest versions of the classes of a registrar, ascending by class ID, as "name version".
ClassNames ClassesOf(cls_ClassRegistrar& registrar) {
  ClassNames names;
  cow_1DArray<cls_ClassMetadataHld> const list = registrar.GetMDList();
  for (int i = 0; i < list.Length(); ++i) {
    cls_ClassMetadata const& metadata = *list.ConstGet(i).Ptr();
    names.push_back(std::string(metadata.Name().View()) + " " + std::to_string(metadata.Version()));
  }
  return names;
}

ClassNames const StringClasses{"cow_String 800", "atr_String 800"};

ClassNames const AllClasses{"cow_String 800",
                            "atr_String 800",
                            "nex_Exception 800",
                            "nex_TextException 800",
                            "nex_CommandException 800",
                            "nex_AssertException 800",
                            "nex_BadCastException 800",
                            "nex_ExitException 800",
                            "nex_InvalidObjException 800",
                            "nex_SystemErrorException 800",
                            "nex_OutOfMemoryException 871"};

cls_MetadataRegistrar& Registrar() {
  return omi_Singleton<cls_MetadataRegistrar>::Instance();
}

/// The declaration of a host.
void DeclareNode(cls_ClassRegistrar& registrar) {
  registrar.CreateClassMD("mesh_Node"_cow, 0x7B0001, 1, nullptr, cls_ClassMetadata::RootClassId);
}

/// The detailed out-of-memory message; empty while the module is not initialised.
atr_String Detailed() {
  return nex_OutOfMemoryException(NEX_OUTOFMEMORY_LIMIT).JournalMessage();
}

bool IsInitialised() {
  return nex_OutOfMemoryException::GetOutOfMemoryMsgGeneric() != nullptr && Detailed().Length() != 0 &&
         typ_ArchCompTable::GetName(0x1F0001) == "nex_Exception";
}

bool IsDown() {
  return nex_OutOfMemoryException::GetOutOfMemoryMsgGeneric() == nullptr &&
         typ_ArchCompTable::GetName(0x1F0001) == "0x001F0001" &&
         thr_ThreadSingletonBase<cls_Static>::Instance() == nullptr &&
         thr_ThreadSingletonBase<cls_UidCatalog>::Instance() == nullptr &&
         omi_Singleton<cls_MetadataRegistrar>::InstanceIfAny() == nullptr;
}

} // namespace

TEST(nex_initialize, FirstStartRaisesTheCallersCounterOncePerModule) {
  int callers = 0;
  nex_initialize(callers);
  EXPECT_EQ(callers, 8);
  EXPECT_TRUE(IsInitialised());
  nex_finalize(callers);
  EXPECT_EQ(callers, 0);
  EXPECT_TRUE(IsDown());
}

TEST(nex_initialize, NestedStartsOnlyCount) {
  int first = 0;
  int second = 0;
  nex_initialize(first);
  nex_initialize(second);
  nex_initialize(first);
  EXPECT_EQ(first, 8);
  EXPECT_EQ(second, 0);
  nex_finalize(second);
  nex_finalize(second);
  EXPECT_EQ(second, 0);
  nex_finalize(first);
  EXPECT_EQ(first, 0);
}

TEST(nex_initialize, OneStopAfterTwoStartsLeavesTheModuleInitialised) {
  int callers = 0;
  nex_initialize(callers);
  nex_OutOfMemoryException(atr_String("A"), NEX_OUTOFMEMORY_LIMIT).AsString();
  atr_String const* const generic = nex_OutOfMemoryException::GetOutOfMemoryMsgGeneric();
  nex_initialize(callers);
  EXPECT_EQ(Detailed().Length(), 1067); // not rebuilt
  nex_finalize(callers);
  EXPECT_TRUE(IsInitialised());
  EXPECT_EQ(nex_OutOfMemoryException::GetOutOfMemoryMsgGeneric(), generic);
  EXPECT_EQ(Detailed().Length(), 1067);
  EXPECT_EQ(generic->Length(), 426);
  nex_finalize(callers);
  EXPECT_TRUE(IsDown());
}

TEST(nex_initialize, StopWithoutStartDoesNothing) {
  int callers = 4;
  nex_finalize(callers);
  EXPECT_EQ(callers, 4);
  nex_initialize(callers);
  EXPECT_EQ(callers, 12);
  nex_finalize(callers);
  EXPECT_EQ(callers, 4);
}

TEST(nex_initialize, RunningModulesOnlyCount) {
  int others = 0;
  int callers = 0;
  mem_initialize(others);
  typ_initialize(others);
  cls_initialize(others);
  EXPECT_EQ(others, 3);
  nex_initialize(callers);
  EXPECT_EQ(callers, 5);
  nex_finalize(callers);
  EXPECT_EQ(callers, 0);
  EXPECT_EQ(typ_ArchCompTable::GetName(0x230001), "cls_InternalList"); // the other modules keep it
  cls_finalize(others);
  typ_finalize(others);
  mem_finalize(others);
  EXPECT_EQ(others, 0);
}

TEST(nex_initialize, HundredCyclesAreLikeTheFirst) {
  int callers = 0;
  for (int cycle = 0; cycle < 100; ++cycle) {
    nex_initialize(callers);
    ASSERT_EQ(callers, 8);
    ASSERT_TRUE(IsInitialised());
    ASSERT_EQ(Detailed().Length(), 1066);
    ASSERT_EQ(nex_OutOfMemoryException::GetOutOfMemoryMsgGeneric()->Length(), 425);
    ASSERT_EQ(ClassesOf(Registrar().Registrar1()), ClassNames());
    ASSERT_EQ(ClassesOf(Registrar().Registrar2()), AllClasses);
    ASSERT_EQ(ClassesOf(Registrar().Registrar4()), ClassNames());
    Registrar().initClassMetadata(&DeclareNode, 7);
    nex_OutOfMemoryException(atr_String("A"), NEX_OUTOFMEMORY_LIMIT).AsString();
    thr_ThreadSingleton<cls_Static>::Instance();
    nex_finalize(callers);
    ASSERT_EQ(callers, 0);
    ASSERT_TRUE(IsDown());
  }
}

TEST(nex_initialize, DeclaresElevenProcessWideClasses) {
  int callers = 0;
  nex_initialize(callers);
  EXPECT_EQ(ClassesOf(Registrar().Registrar2()), AllClasses);
  EXPECT_EQ(Registrar().Registrar2().GetHistoryMDList().Length(), 11); // one version of each
  nex_finalize(callers);
}

TEST(nex_initialize, DeclaresNoStoreClasses) {
  int callers = 0;
  nex_initialize(callers);
  EXPECT_EQ(ClassesOf(Registrar().Registrar1()), ClassNames());
  EXPECT_EQ(ClassesOf(Registrar().Registrar4()), ClassNames());
  nex_finalize(callers);
}

TEST(nex_initialize, ReplaysNoneOfItsClasses) {
  int callers = 0;
  nex_initialize(callers);
  cls_ClassRegistrar registrar;
  Registrar().initMetadata(&registrar, 7);
  EXPECT_EQ(ClassesOf(registrar), ClassNames());
  nex_finalize(callers);
}

TEST(nex_initialize, DeclaredNamesHaveTheIdsOfTheTypeTable) {
  int callers = 0;
  nex_initialize(callers);
  cls_ClassRegistrar const& registrar = Registrar().Registrar2();
  for (unsigned int classId = 0x1F0001; classId <= 0x1F0009; ++classId)
    EXPECT_EQ(registrar.GetClassID(typ_ArchCompTable::GetName(classId)), classId);
  EXPECT_EQ(registrar.GetClassID("cow_String"_cow), 0x1A0001U);
  EXPECT_EQ(registrar.GetClassID("atr_String"_cow), 0x1A0007U);
  nex_finalize(callers);
}

TEST(nex_initialize, NestedStartsDeclareNothing) {
  int callers = 0;
  nex_initialize(callers);
  cls_ClassMetadata const* const text = &Registrar().Registrar2().ConstGet(0x1F0002);
  DeclareNode(Registrar().Registrar2());
  nex_initialize(callers);
  nex_finalize(callers);
  EXPECT_EQ(&Registrar().Registrar2().ConstGet(0x1F0002), text);
  EXPECT_EQ(Registrar().Registrar2().GetHistoryMDList().Length(), 12); // the host's class is still there
  nex_finalize(callers);
}

TEST(nex_initialize, InstalledChecksThrow) {
  int callers = 0;
  nex_initialize(callers);
  {
    cls_ClassRegistrar const& registrar = Registrar().Registrar2();
    EXPECT_THROW((void)registrar.ConstGet(0x1F000A), nex_TextException);
    EXPECT_THROW((void)registrar.GetClassMetadata(0x1F0002, 1), nex_TextException);
    EXPECT_THROW((void)registrar.GetClassID("x"_cow), nex_TextException);
    EXPECT_NO_THROW((void)registrar.ConstGet(0x1F0002));
    EXPECT_NO_THROW((void)registrar.GetClassMetadata(0x1F0002, 800));
    EXPECT_NO_THROW((void)registrar.GetClassID("nex_TextException"_cow));
    cls_ClassRegistrar const own;
    EXPECT_THROW((void)own.ConstGet(0x1F0002), nex_TextException); // also in a host's registrar
  }
  nex_finalize(callers);
}

TEST(nex_initialize, LastStopForgetsEveryDeclaration) {
  int callers = 0;
  nex_initialize(callers);
  nex_initialize(callers);
  Registrar().initClassMetadata(&DeclareNode, 5);
  nex_finalize(callers);
  EXPECT_EQ(ClassesOf(Registrar().Registrar1()), ClassNames({"mesh_Node 1"}));
  EXPECT_EQ(ClassesOf(Registrar().Registrar4()), ClassNames({"mesh_Node 1"}));
  nex_finalize(callers);
  nex_initialize(callers);
  EXPECT_EQ(ClassesOf(Registrar().Registrar1()), ClassNames());
  EXPECT_EQ(ClassesOf(Registrar().Registrar4()), ClassNames());
  cls_ClassRegistrar registrar;
  Registrar().initMetadata(&registrar, 5);
  EXPECT_EQ(ClassesOf(registrar), ClassNames());
  nex_finalize(callers);
}

TEST(nex_initialize, AfterTheLastStopTheInstanceIsNewAndEmpty) {
  int callers = 0;
  nex_initialize(callers);
  Registrar().initClassMetadata(&DeclareNode, 5);
  nex_finalize(callers);
  EXPECT_EQ(omi_Singleton<cls_MetadataRegistrar>::InstanceIfAny(), nullptr);
  cls_MetadataRegistrar& fresh = Registrar();
  EXPECT_EQ(ClassesOf(fresh.Registrar1()), ClassNames());
  EXPECT_EQ(ClassesOf(fresh.Registrar2()), ClassNames());
  EXPECT_EQ(ClassesOf(fresh.Registrar4()), ClassNames());
  cls_ClassRegistrar registrar;
  fresh.initMetadata(&registrar, 5);
  EXPECT_EQ(ClassesOf(registrar), ClassNames());
  delete &fresh;
  EXPECT_TRUE(IsDown());
}

TEST(nex_initialize, FormalitiesDoNothing) {
  nex_formalize();
  EXPECT_FALSE(nex_assertFormalize());
  EXPECT_FALSE(IsInitialised());
  EXPECT_EQ(omi_Singleton<cls_MetadataRegistrar>::InstanceIfAny(), nullptr);
}

TEST(cls_initialize, CountsLikeEveryModule) {
  int callers = 0;
  cls_initialize(callers);
  cls_initialize(callers);
  EXPECT_EQ(callers, 1);
  cls_finalize(callers);
  EXPECT_EQ(callers, 1);
  cls_finalize(callers);
  EXPECT_EQ(callers, 0);
  cls_finalize(callers);
  EXPECT_EQ(callers, 0);
}

TEST(cls_initialize, DeclaresTheStringClassesAtTheFirstStart) {
  int callers = 0;
  cls_initialize(callers);
  EXPECT_EQ(ClassesOf(Registrar().Registrar2()), StringClasses);
  EXPECT_EQ(ClassesOf(Registrar().Registrar1()), ClassNames());
  EXPECT_EQ(ClassesOf(Registrar().Registrar4()), ClassNames());
  DeclareNode(Registrar().Registrar2());
  cls_initialize(callers);
  EXPECT_EQ(Registrar().Registrar2().GetHistoryMDList().Length(), 3); // nothing new
  cls_finalize(callers);
  cls_finalize(callers);
  cls_initialize(callers);
  EXPECT_EQ(ClassesOf(Registrar().Registrar2()), StringClasses);
  cls_finalize(callers);
}

TEST(cls_initialize, DeclaresTheStringClassesWithTheAdaptersOfTheirWrappers) {
  int callers = 0;
  cls_initialize(callers);
  cls_ClassMetadata const& plain = Registrar().Registrar2().ConstGet(cls_xpString::TypeId());
  cls_ClassMetadata const& translatable = Registrar().Registrar2().ConstGet(cls_xpTrString::TypeId());
  EXPECT_EQ(typeid(plain), typeid(cls_TypeAdapter<cls_xpString>));
  EXPECT_EQ(typeid(translatable), typeid(cls_TypeAdapter<cls_xpTrString>));
  for (cls_ClassMetadata const* const metadata : {&plain, &translatable}) {
    EXPECT_EQ(metadata->BaseClassId(), 1U);
    EXPECT_EQ(metadata->GetAttributes().Count(), 0U);
    EXPECT_FALSE(metadata->HasDtor());
    EXPECT_FALSE(Registrar().Registrar2().DeleteCow(metadata->ClassId(), nullptr));
  }
  cls_finalize(callers);
}

TEST(cls_initialize, RegistersComponent35) {
  int callers = 0;
  typ_initialize(callers);
  cls_initialize(callers);
  EXPECT_EQ(typ_ArchCompTable::GetName(0x230001), "cls_InternalList");
  EXPECT_EQ(typ_ArchCompTable::GetName(0x230002), "cls_InternalMap");
  cls_finalize(callers);
  typ_finalize(callers);
}

TEST(cls_initialize, LastStopFinalisesTheCallingThreadsConstantsAndIdentities) {
  int callers = 0;
  cls_initialize(callers);
  cls_initialize(callers);
  thr_ThreadSingleton<cls_Static>::Instance();
  cls_finalize(callers);
  EXPECT_NE(thr_ThreadSingletonBase<cls_Static>::Instance(), nullptr);
  EXPECT_NE(thr_ThreadSingletonBase<cls_UidCatalog>::Instance(), nullptr);
  cls_finalize(callers);
  EXPECT_EQ(thr_ThreadSingletonBase<cls_Static>::Instance(), nullptr);
  EXPECT_EQ(thr_ThreadSingletonBase<cls_UidCatalog>::Instance(), nullptr);
}

TEST(cls_initialize, LastStopFinalisesTheCallingThreadsBranchesAndQuanta) {
  int callers = 0;
  cls_initialize(callers);
  thr_ThreadSingleton<cls_PTrieHeap>::Instance();
  thr_ThreadSingleton<cls_ExtQuant>::Instance();
  cls_finalize(callers);
  EXPECT_EQ(thr_ThreadSingletonBase<cls_PTrieHeap>::Instance(), nullptr);
  EXPECT_EQ(thr_ThreadSingletonBase<cls_ExtQuant>::Instance(), nullptr);
}

TEST(cls_initialize, LastStopFinalisesTheConstantsBeforeTheCatalogue) {
  int callers = 0;
  bool catalogueLived = false;
  cls_initialize(callers);
  (new TracedHistory(thr_ThreadSingleton<cls_Static>::Instance().ConstUid(), 0))->AtEnd([&] {
    catalogueLived = thr_ThreadSingletonBase<cls_UidCatalog>::Instance() != nullptr;
  });
  cls_finalize(callers);
  EXPECT_TRUE(catalogueLived);
}
