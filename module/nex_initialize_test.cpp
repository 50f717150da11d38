#include "module/nex_initialize.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "errors/nex_OutOfMemoryException.h"
#include "errors/nex_TextException.h"
#include "metadata/cls_RegistrarHook.h"
#include "module/cls_initialize.h"
#include "persist/cls_Static.h"
#include "platform/mem/mem_initialize.h"
#include "platform/typ/typ_ArchCompTable.h"
#include "platform/typ/typ_initialize.h"
#include "tests/support/TracedHistory.h"

namespace {

/// Logs what the modules' start-up tells a class registry, and whether the type table was filled by then.
class RecordingRegistrar : public cls_RegistrarHook {
 public:
  RecordingRegistrar() : m_Before(Install(this)) {}
  ~RecordingRegistrar() override { Install(m_Before); }

  void InstallChecks(cls_RegistrarChecks const& checks) override {
    m_Checks = checks;
    m_Log.emplace_back("checks");
  }
  void Declare(cls_ClassDeclaration const& declaration, unsigned int mask) override {
    m_Log.push_back(declaration.m_Name + (" " + std::to_string(mask)));
    m_NamesKnown = typ_ArchCompTable::GetName(0x1F0002) == "nex_TextException";
  }

  std::vector<std::string> m_Log;
  cls_RegistrarChecks m_Checks{};
  bool m_NamesKnown = false;

 private:
  cls_RegistrarHook* m_Before;
};

std::vector<std::string> const StringClasses{"atr_String 2", "cow_String 2"};

bool IsInitialised() {
  return nex_OutOfMemoryException::GetOutOfMemoryMsgDetailed() != nullptr &&
         nex_OutOfMemoryException::GetOutOfMemoryMsgGeneric() != nullptr &&
         typ_ArchCompTable::GetName(0x1F0001) == "nex_Exception";
}

bool IsDown() {
  return nex_OutOfMemoryException::GetOutOfMemoryMsgDetailed() == nullptr &&
         nex_OutOfMemoryException::GetOutOfMemoryMsgGeneric() == nullptr &&
         typ_ArchCompTable::GetName(0x1F0001) == "0x001F0001" &&
         thr_ThreadSingletonBase<cls_Static>::Instance() == nullptr &&
         thr_ThreadSingletonBase<cls_UidCatalog>::Instance() == nullptr;
}

} // namespace

TEST(nex_initialize, FirstStartRaisesTheCallersCounterOnceForEachModule) {
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
  atr_String const* const detailed = nex_OutOfMemoryException::GetOutOfMemoryMsgDetailed();
  atr_String const* const generic = nex_OutOfMemoryException::GetOutOfMemoryMsgGeneric();
  nex_initialize(callers);
  EXPECT_EQ(detailed->Length(), 1067); // not built again
  nex_finalize(callers);
  EXPECT_TRUE(IsInitialised());
  EXPECT_EQ(nex_OutOfMemoryException::GetOutOfMemoryMsgDetailed(), detailed);
  EXPECT_EQ(nex_OutOfMemoryException::GetOutOfMemoryMsgGeneric(), generic);
  EXPECT_EQ(detailed->Length(), 1067);
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

TEST(nex_initialize, ModulesThatRunAlreadyOnlyCount) {
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
  EXPECT_EQ(typ_ArchCompTable::GetName(0x230001), "cls_InternalList"); // the others hold these open
  cls_finalize(others);
  typ_finalize(others);
  mem_finalize(others);
  EXPECT_EQ(others, 0);
}

TEST(nex_initialize, AHundredCyclesAreAsTheFirst) {
  int callers = 0;
  for (int cycle = 0; cycle < 100; ++cycle) {
    nex_initialize(callers);
    ASSERT_EQ(callers, 8);
    ASSERT_TRUE(IsInitialised());
    ASSERT_EQ(nex_OutOfMemoryException::GetOutOfMemoryMsgDetailed()->Length(), 1066);
    ASSERT_EQ(nex_OutOfMemoryException::GetOutOfMemoryMsgGeneric()->Length(), 425);
    nex_OutOfMemoryException(atr_String("A"), NEX_OUTOFMEMORY_LIMIT).AsString();
    thr_ThreadSingleton<cls_Static>::Instance();
    nex_finalize(callers);
    ASSERT_EQ(callers, 0);
    ASSERT_TRUE(IsDown());
  }
}

TEST(nex_initialize, InstallsTheChecksThenDeclaresNineClassesInOrder) {
  RecordingRegistrar registrar;
  int callers = 0;
  nex_initialize(callers);
  std::vector<std::string> expected = StringClasses;
  for (char const* entry :
       {"checks", "nex_AssertException 2", "nex_BadCastException 2", "nex_CommandException 2",
        "nex_Exception 2", "nex_ExitException 2", "nex_OutOfMemoryException 2", "nex_InvalidObjException 2",
        "nex_SystemErrorException 2", "nex_TextException 2"})
    expected.emplace_back(entry);
  EXPECT_EQ(registrar.m_Log, expected);
  EXPECT_TRUE(registrar.m_NamesKnown);
  nex_finalize(callers);
}

TEST(nex_initialize, NestedStartsDeclareNothing) {
  RecordingRegistrar registrar;
  int callers = 0;
  nex_initialize(callers);
  registrar.m_Log.clear();
  nex_initialize(callers);
  nex_finalize(callers);
  nex_finalize(callers);
  EXPECT_EQ(registrar.m_Log, std::vector<std::string>());
}

TEST(nex_initialize, InstalledChecksRaise) {
  RecordingRegistrar registrar;
  int callers = 0;
  nex_initialize(callers);
  EXPECT_THROW(registrar.m_Checks.m_ClassAbsent(0x1F0002), nex_TextException);
  EXPECT_THROW(registrar.m_Checks.m_VersionAbsent(0x1F0002, 1), nex_TextException);
  EXPECT_THROW(registrar.m_Checks.m_NameAbsent(cow_String("x")), nex_TextException);
  nex_finalize(callers);
}

TEST(nex_initialize, FormalitiesDoNothing) {
  nex_formalize();
  EXPECT_FALSE(nex_assertFormalize());
  EXPECT_TRUE(IsDown());
}

TEST(cls_initialize, CountsAsEveryModule) {
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
  RecordingRegistrar registrar;
  int callers = 0;
  cls_initialize(callers);
  EXPECT_EQ(registrar.m_Log, StringClasses);
  cls_initialize(callers);
  EXPECT_EQ(registrar.m_Log, StringClasses);
  cls_finalize(callers);
  cls_finalize(callers);
  cls_initialize(callers);
  EXPECT_EQ(registrar.m_Log.size(), 4U);
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
