#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "errors/nex_OutOfMemoryException.h"
#include "errors/nex_TypeTable.h"
#include "metadata/cls_MetadataRegistrar.h"
#include "module/cls_initialize.h"
#include "module/nex_initialize.h"
#include "persist/identity/cls_Static.h"
#include "platform/atr/atr_initialize.h"
#include "platform/cow/cow_Layout.h"
#include "platform/cow/cow_initialize.h"
#include "platform/mem/mem_Memory.h"
#include "platform/mem/mem_initialize.h"
#include "platform/omni/omni_initialize.h"
#include "platform/thr/thr_initialize.h"
#include "platform/typ/typ_ArchCompTable.h"
#include "platform/typ/typ_initialize.h"
#include "tests/support/TracedHistory.h"

// The order of start-up and shut-down. This program defines the steps itself, under the names by which the
// libraries call them; each definition logs a line and calls the library's own. This works because a call of
// an exported function of a shared ELF library finds the program's definition first.

namespace {

using Log = std::vector<std::string>;

Log s_Log;

Log TakeLog() {
  return std::exchange(s_Log, {});
}

/// The library's function of a symbol that the program defines too.
template <class Function> Function* Next(std::string const& symbol) {
  void* const found = dlsym(RTLD_NEXT, symbol.c_str());
  if (found == nullptr) throw std::runtime_error("no library defines " + symbol);
  return reinterpret_cast<Function*>(found);
}

/// Logs a module's start or stop with the caller's counter at its beginning.
void PassModule(std::string const& name, int& count) {
  s_Log.push_back(name + " " + std::to_string(count));
  Next<void(int&)>("_Z" + std::to_string(name.size()) + name + "Ri")(count);
}

/// The block of identities that was allocated last; null once it is freed.
void* s_Identities = nullptr;

/// Whether the calling thread has neither constants nor identities.
bool ThreadIsClear() {
  return thr_ThreadSingletonBase<cls_Static>::Instance() == nullptr &&
         thr_ThreadSingletonBase<cls_UidCatalog>::Instance() == nullptr;
}

/// The detailed out-of-memory message, recognised by the length of its text; null if there is none.
atr_String const* s_Detailed = nullptr;
constexpr int DetailedLength = 1066;

/// Whether a string is one of the two process-wide messages.
bool Is(cow_String const* string, atr_String const* message) {
  return message != nullptr && string == &message->AsCow();
}

} // namespace

// --- The modules.

void mem_initialize(int& count) {
  PassModule("mem_initialize", count);
}
void mem_finalize(int& count) {
  PassModule("mem_finalize", count);
}
void typ_initialize(int& count) {
  PassModule("typ_initialize", count);
}
void typ_finalize(int& count) {
  PassModule("typ_finalize", count);
}
void thr_initialize(int& count) {
  PassModule("thr_initialize", count);
}
void thr_finalize(int& count) {
  PassModule("thr_finalize", count);
}
void omni_initialize(int& count) {
  PassModule("omni_initialize", count);
}
void omni_finalize(int& count) {
  PassModule("omni_finalize", count);
}
void atr_initialize(int& count) {
  PassModule("atr_initialize", count);
}
void atr_finalize(int& count) {
  PassModule("atr_finalize", count);
}
void cow_initialize(int& count) {
  PassModule("cow_initialize", count);
}
void cow_finalize(int& count) {
  PassModule("cow_finalize", count);
}
void cls_initialize(int& count) {
  PassModule("cls_initialize", count);
}
void cls_finalize(int& count) {
  PassModule("cls_finalize", count);
}

// --- What they do.

void typ_ArchCompTable::InsertEntry(unsigned int component, typ_ArchCompEntry const* entries,
                                    unsigned int count) {
  s_Log.push_back("InsertEntry " + std::to_string(component));
  Next<void(unsigned int, typ_ArchCompEntry const*, unsigned int)>(
      "_ZN17typ_ArchCompTable11InsertEntryEjPK17typ_ArchCompEntryj")(component, entries, count);
}

void nex_TypeTable::InsertEntries() {
  s_Log.emplace_back("InsertEntries");
  Next<void()>("_ZN13nex_TypeTable13InsertEntriesEv")();
}

void cls_ClassRegistrar::SetConstGetCheck(ConstGetCheck check) noexcept {
  s_Log.emplace_back(check == nullptr ? "SetConstGetCheck null" : "SetConstGetCheck");
  Next<void(ConstGetCheck)>("_ZN18cls_ClassRegistrar16SetConstGetCheckEPFvRKS_RKjE")(check);
}

void cls_ClassRegistrar::SetGetClassMetadataCheck(GetClassMetadataCheck check) noexcept {
  s_Log.emplace_back(check == nullptr ? "SetGetClassMetadataCheck null" : "SetGetClassMetadataCheck");
  Next<void(GetClassMetadataCheck)>("_ZN18cls_ClassRegistrar24SetGetClassMetadataCheckEPFvRKS_RKjiE")(check);
}

void cls_ClassRegistrar::SetGetClassIDCheck(GetClassIDCheck check) noexcept {
  s_Log.emplace_back(check == nullptr ? "SetGetClassIDCheck null" : "SetGetClassIDCheck");
  Next<void(GetClassIDCheck)>("_ZN18cls_ClassRegistrar18SetGetClassIDCheckEPFvRKS_RK10cow_StringE")(check);
}

void cls_MetadataRegistrar::initClassMetadata(InitFn fn, unsigned int mask) {
  s_Log.push_back("initClassMetadata " + std::to_string(mask));
  Next<void(cls_MetadataRegistrar*, InitFn, unsigned int)>(
      "_ZN21cls_MetadataRegistrar17initClassMetadataEPFvR18cls_ClassRegistrarEj")(this, fn, mask);
}

cls_ClassMetadata& cls_ClassRegistrar::AddClassMD(cls_ClassMetadata* metadata) {
  s_Log.push_back("AddClassMD " + std::string(metadata->Name().View()));
  return Next<cls_ClassMetadata&(cls_ClassRegistrar*, cls_ClassMetadata*)>(
      "_ZN18cls_ClassRegistrar10AddClassMDEP17cls_ClassMetadata")(this, metadata);
}

/// The stamp of a library of strings with one more member; null to give the library's own.
kvl_Layout const* s_OtherLayout = nullptr;

kvl_Layout const& cow_Layout() noexcept {
  static auto* const next = Next<kvl_Layout const&()>("_Z10cow_Layoutv");
  return s_OtherLayout == nullptr ? next() : *s_OtherLayout;
}

// The messages are built by appending their texts; their destruction releases their characters.

void atr_String::Append(atr_StringBase const& text) {
  s_Log.push_back("Append " + std::to_string(text.Length()));
  if (text.Length() == DetailedLength) s_Detailed = this;
  Next<void(atr_String*, atr_StringBase const&)>("_ZN10atr_String6AppendERK14atr_StringBase")(this, text);
}

/// cow_String::Release, which is private.
KVL_EXPORT void ReleaseString(cow_String* string) noexcept __asm__("_ZN10cow_String7ReleaseEv");
void ReleaseString(cow_String* string) noexcept {
  static auto* const next = Next<void(cow_String*)>("_ZN10cow_String7ReleaseEv");
  if (Is(string, nex_OutOfMemoryException::GetOutOfMemoryMsgGeneric()))
    s_Log.emplace_back("generic message ends");
  if (Is(string, s_Detailed)) {
    s_Log.emplace_back("detailed message ends");
    s_Detailed = nullptr;
  }
  next(string);
}

// A thread's identities end when their block is freed.

void* mem_Malloc(std::size_t size) {
  static auto* const next = Next<void*(std::size_t)>("_Z10mem_Mallocm");
  void* const block = next(size);
  if (size == sizeof(cls_UidCatalogBlock)) s_Identities = block;
  return block;
}

void mem_Free(void* block) noexcept {
  static auto* const next = Next<void(void*)>("_Z8mem_FreePv");
  if (block != nullptr && block == s_Identities) {
    s_Identities = nullptr;
    s_Log.emplace_back("identities end");
  }
  next(block);
}

namespace {

/// Class metadata that logs its destruction.
class WatchedMetadata : public cls_ClassMetadata {
 public:
  WatchedMetadata(char const* where, unsigned int classId)
      : cls_ClassMetadata(cow_String(where), classId, 1, nullptr, RootClassId) {}
  ~WatchedMetadata() override {
    s_Log.push_back(std::string(Name().View()) + (ThreadIsClear() ? " ends" : " ends too early"));
  }
};

class StartupOrder : public ::testing::Test {
 protected:
  void SetUp() override { s_Log.clear(); }
  void TearDown() override {
    EXPECT_EQ(m_Callers, 0);
    EXPECT_EQ(omi_Singleton<cls_MetadataRegistrar>::InstanceIfAny(), nullptr);
  }

  int m_Callers = 0;
};

Log Joined(std::initializer_list<Log> parts) {
  Log joined;
  for (Log const& part : parts) joined.insert(joined.end(), part.begin(), part.end());
  return joined;
}

Log const ModuleStarts{"mem_initialize 1", "typ_initialize 2", "thr_initialize 3", "omni_initialize 4",
                       "atr_initialize 5", "cow_initialize 6", "cls_initialize 7"};

Log const PersistStart{"InsertEntry 35", "initClassMetadata 2", "AddClassMD atr_String",
                       "initClassMetadata 2", "AddClassMD cow_String"};

Log const ErrorsStart{"InsertEntries",
                      "SetConstGetCheck",
                      "SetGetClassMetadataCheck",
                      "SetGetClassIDCheck",
                      "InsertEntry 31",
                      "initClassMetadata 2",
                      "AddClassMD nex_AssertException",
                      "initClassMetadata 2",
                      "AddClassMD nex_BadCastException",
                      "initClassMetadata 2",
                      "AddClassMD nex_CommandException",
                      "initClassMetadata 2",
                      "AddClassMD nex_Exception",
                      "initClassMetadata 2",
                      "AddClassMD nex_ExitException",
                      "initClassMetadata 2",
                      "AddClassMD nex_OutOfMemoryException",
                      "initClassMetadata 2",
                      "AddClassMD nex_InvalidObjException",
                      "initClassMetadata 2",
                      "AddClassMD nex_SystemErrorException",
                      "initClassMetadata 2",
                      "AddClassMD nex_TextException",
                      "Append 1066",
                      "Append 425"};

Log const MessagesEnd{"generic message ends", "detailed message ends"};

Log const PlatformStops{"cow_finalize 6", "atr_finalize 5", "omni_finalize 4",
                        "thr_finalize 3", "typ_finalize 2", "mem_finalize 1"};

Log const WholeStart = Joined({ModuleStarts, PersistStart, ErrorsStart});
Log const WholeStop = Joined({MessagesEnd, {"cls_finalize 7"}, PlatformStops});

} // namespace

TEST_F(StartupOrder, FirstStartStartsTheModulesThenTheErrors) {
  nex_initialize(m_Callers);
  EXPECT_EQ(TakeLog(), WholeStart);
  nex_finalize(m_Callers);
}

TEST_F(StartupOrder, FirstStartAppendsTheDetailedTextThenTheGenericOne) {
  nex_initialize(m_Callers); // the two lines of the log differ in the lengths
  EXPECT_EQ(nex_OutOfMemoryException(NEX_OUTOFMEMORY_LIMIT).JournalMessage().Length(), DetailedLength);
  EXPECT_EQ(nex_OutOfMemoryException::GetOutOfMemoryMsgGeneric()->Length(), 425);
  nex_finalize(m_Callers);
}

TEST_F(StartupOrder, NestedStartAndStopDoNothing) {
  int others = 0;
  nex_initialize(m_Callers);
  s_Log.clear();
  nex_initialize(m_Callers);
  nex_initialize(others);
  nex_finalize(others);
  nex_finalize(m_Callers);
  EXPECT_EQ(TakeLog(), Log());
  nex_finalize(m_Callers);
}

TEST_F(StartupOrder, LastStopReversesTheOrder) {
  nex_initialize(m_Callers);
  s_Log.clear();
  nex_finalize(m_Callers);
  EXPECT_EQ(TakeLog(), WholeStop);
}

TEST_F(StartupOrder, SecondCycleIsLikeTheFirst) {
  for (int cycle = 0; cycle < 2; ++cycle) {
    nex_initialize(m_Callers);
    EXPECT_EQ(TakeLog(), WholeStart) << cycle;
    nex_finalize(m_Callers);
    EXPECT_EQ(TakeLog(), WholeStop) << cycle;
  }
}

TEST_F(StartupOrder, StopWithoutStartDoesNothing) {
  nex_finalize(m_Callers);
  cls_finalize(m_Callers);
  EXPECT_EQ(TakeLog(), Log({"cls_finalize 0"}));
}

TEST_F(StartupOrder, LastStopDestroysConstantsIdentitiesAndMetadataBeforeThePlatform) {
  nex_initialize(m_Callers);
  cls_MetadataRegistrar& registrar = omi_Singleton<cls_MetadataRegistrar>::Instance();
  registrar.Registrar1().AddClassMD(new WatchedMetadata("registrar 1", 0x7B0001));
  registrar.Registrar2().AddClassMD(new WatchedMetadata("registrar 2", 0x7B0002));
  registrar.Registrar4().AddClassMD(new WatchedMetadata("registrar 4", 0x7B0004));
  (new TracedHistory(thr_ThreadSingleton<cls_Static>::Instance().ConstUid(), 0))->AtEnd([] {
    s_Log.emplace_back("constants end");
  });
  s_Log.clear();
  nex_finalize(m_Callers);
  EXPECT_EQ(TakeLog(), Joined({MessagesEnd,
                               {"cls_finalize 7", "constants end", "identities end", "registrar 2 ends",
                                "registrar 4 ends", "registrar 1 ends"},
                               PlatformStops}));
}

TEST_F(StartupOrder, PersistenceModuleStartsAndStopsAlone) {
  cls_initialize(m_Callers);
  EXPECT_EQ(TakeLog(), Joined({{"cls_initialize 0"}, PersistStart}));
  cls_initialize(m_Callers);
  EXPECT_EQ(TakeLog(), Log({"cls_initialize 1"}));
  omi_Singleton<cls_MetadataRegistrar>::Instance().Registrar1().AddClassMD(
      new WatchedMetadata("registrar 1", 0x7B0001));
  s_Log.clear();
  cls_finalize(m_Callers);
  EXPECT_EQ(TakeLog(), Log({"cls_finalize 1"}));
  cls_finalize(m_Callers);
  EXPECT_EQ(TakeLog(), Log({"cls_finalize 1", "registrar 1 ends"}));
  typ_ArchCompTable::Clear(); // what the type module's stop would do
}

TEST_F(StartupOrder, RunningPersistenceModuleOnlyCounts) {
  int others = 0;
  cls_initialize(others);
  omi_Singleton<cls_MetadataRegistrar>::Instance().Registrar1().AddClassMD(
      new WatchedMetadata("registrar 1", 0x7B0001));
  s_Log.clear();
  nex_initialize(m_Callers);
  EXPECT_EQ(TakeLog(), Joined({ModuleStarts, ErrorsStart}));
  nex_finalize(m_Callers);
  EXPECT_EQ(TakeLog(), Joined({MessagesEnd,
                               {"cls_finalize 6", "cow_finalize 6", "atr_finalize 5", "omni_finalize 4",
                                "thr_finalize 3", "typ_finalize 2", "mem_finalize 1"}}));
  cls_finalize(others);
  EXPECT_EQ(TakeLog(), Log({"cls_finalize 1", "registrar 1 ends"}));
}

namespace {

/// Exchanges the library of strings, for the check at the start, by one whose strings have another size.
class OtherStrings {
 public:
  OtherStrings() : m_Entries(cow_Layout().m_Entries, cow_Layout().m_Entries + cow_Layout().m_Count) {
    for (kvl_LayoutEntry& entry : m_Entries)
      if (std::string(entry.m_Name) == "cow_String") entry.m_Size += 8;
    m_Layout = {kvl_ContractVersion, static_cast<int>(m_Entries.size()), m_Entries.data()};
    s_OtherLayout = &m_Layout;
  }
  ~OtherStrings() { s_OtherLayout = nullptr; }
  OtherStrings(OtherStrings const&) = delete;
  OtherStrings& operator=(OtherStrings const&) = delete;

 private:
  std::vector<kvl_LayoutEntry> m_Entries;
  kvl_Layout m_Layout{};
};

/// The text with which a start is refused; empty if it is not.
std::string Refusal(void (*start)(int&), int& count) {
  try {
    start(count);
  } catch (std::runtime_error const& failure) {
    return failure.what();
  }
  return {};
}

std::string const OtherStringsRefusal =
    "KVLpersist cannot start with the platform libraries that are loaded: in KVLcow, cow_String has 16 bytes, "
    "but KVLpersist was compiled with 8 bytes. Build KVLpersist with the headers of these libraries "
    "(platform/README.md).";

} // namespace

TEST_F(StartupOrder, OtherLayoutOfAPlatformLibraryRefusesTheStartAndChangesNothing) {
  {
    OtherStrings const strings;
    EXPECT_EQ(Refusal(&nex_initialize, m_Callers), OtherStringsRefusal);
    EXPECT_EQ(Refusal(&cls_initialize, m_Callers), OtherStringsRefusal);
    EXPECT_EQ(m_Callers, 0);
    EXPECT_EQ(TakeLog(), Log({"cls_initialize 0"}));
    nex_finalize(m_Callers); // nothing was counted, so nothing stops
    EXPECT_EQ(TakeLog(), Log());
  }
  nex_initialize(m_Callers);
  EXPECT_EQ(TakeLog(), WholeStart);
  nex_finalize(m_Callers);
}

TEST_F(StartupOrder, NestedStartIsNotCheckedAgain) {
  nex_initialize(m_Callers);
  OtherStrings const strings;
  EXPECT_EQ(Refusal(&nex_initialize, m_Callers), "");
  EXPECT_EQ(Refusal(&cls_initialize, m_Callers), "");
  cls_finalize(m_Callers);
  nex_finalize(m_Callers);
  nex_finalize(m_Callers);
}
