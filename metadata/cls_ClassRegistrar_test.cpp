#include "metadata/cls_ClassRegistrar.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <limits>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "persist/visitors/cls_FieldHandle.h"
#include "persist/visitors/cls_ReadVisitor.h"
#include "platform/omni/omi_BtreeIterator.h"
#include "tests/support/AllocationProbe.h"
#include "tests/support/HeapCount.h"

namespace {

using CowData = cow_COW<int, cow_Direct<int>>;
using Pairs = std::vector<std::pair<unsigned int, int>>;

constexpr int LowestVersion = std::numeric_limits<int>::min();
constexpr int GreatestVersion = std::numeric_limits<int>::max();

/// Metadata that counts its live objects.
class CountedMetadata : public cls_ClassMetadata {
 public:
  CountedMetadata(cow_String const& name, unsigned int classId, int version, unsigned int baseClassId = 1)
      : cls_ClassMetadata(name, classId, version, nullptr, baseClassId) {
    ++s_Alive;
  }
  ~CountedMetadata() override { --s_Alive; }

  static inline int s_Alive = 0;
};

/// Overrides the operation that the registrar must call virtually.
class OwnDeletion : public cls_ClassMetadata {
 public:
  explicit OwnDeletion(unsigned int classId) : cls_ClassMetadata("Own"_cow, classId, 1, nullptr, 1) {}
  void DeleteCow(CowData* data) const override { s_Deleted = data; }

  static inline CowData* s_Deleted = nullptr;
};

std::vector<std::pair<int, CowData*>> s_Deleted; // which deletion function received what
template <int Number> void DeleteData(CowData* data) {
  s_Deleted.emplace_back(Number, data);
}

void* Build(cls_ReadVisitor&) {
  return &s_Deleted;
}

class ClassRegistrar : public ::testing::Test {
 protected:
  ClassRegistrar() {
    if (char const* const site = std::getenv("KORVEL_SITE")) m_Site = site;
    unsetenv("KORVEL_SITE");
    s_Deleted.clear();
    m_AliveBefore = CountedMetadata::s_Alive;
  }
  ~ClassRegistrar() override {
    if (m_Site)
      setenv("KORVEL_SITE", m_Site->c_str(), 1);
    else
      unsetenv("KORVEL_SITE");
  }

  cls_ClassMetadata& Register(unsigned int classId, int version, unsigned int baseClassId = 1) {
    return m_Registrar->CreateClassMD("Class"_cow, classId, version, nullptr, baseClassId);
  }
  cls_ClassMetadata& Register(char const* name, unsigned int classId, int version) {
    return m_Registrar->CreateClassMD(cow_String(name), classId, version, nullptr, 1);
  }

  [[nodiscard]] int Alive() const { return CountedMetadata::s_Alive - m_AliveBefore; }

  static Pairs PairsOf(cow_1DArray<cls_ClassMetadataHld> const& list) {
    Pairs pairs;
    for (int i = 0; i < list.Length(); ++i)
      pairs.emplace_back(list.ConstGet(i).Ptr()->ClassId(), list.ConstGet(i).Ptr()->Version());
    return pairs;
  }

  /// What two registrations of one class and version, the second under another name, print.
  std::string WrittenByDuplicates(bool add) {
    Register("First", 100, 2);
    ::testing::internal::CaptureStderr();
    if (add)
      m_Registrar->AddClassMD(new cls_ClassMetadata("Second"_cow, 100, 2, nullptr, 1));
    else
      m_Registrar->CreateClassMD("Second"_cow, 100, 2, nullptr, 1);
    return ::testing::internal::GetCapturedStderr();
  }

  std::unique_ptr<cls_ClassRegistrar> m_Registrar = std::make_unique<cls_ClassRegistrar>();
  CowData m_Data;

 private:
  std::optional<std::string> m_Site;
  int m_AliveBefore = 0;
};

using ClassRegistrarDeathTest = ClassRegistrar;

char const* const SecondWarning =
    "WARNING: Metadata for class Second version 2 has been initialized more than once.\n";

} // namespace

// --- Look-ups.

TEST_F(ClassRegistrar, StartsEmpty) {
  EXPECT_FALSE(m_Registrar->ClassIsPresent(0));
  EXPECT_FALSE(m_Registrar->ClassIsPresent(1));
  EXPECT_FALSE(m_Registrar->ClassVersionIsPresent(1, -1));
  EXPECT_FALSE(m_Registrar->ClassNameIsPresent("Bolt"_cow));
  EXPECT_FALSE(m_Registrar->ClassNameIsPresent(cow_String()));
  EXPECT_EQ(m_Registrar->GetMDList().Length(), 0);
  EXPECT_EQ(m_Registrar->GetHistoryMDList().Length(), 0);
}

TEST_F(ClassRegistrar, CreateClassMDPassesEachArgument) {
  cow_String const name("Bolt");
  cls_ClassMetadata const& metadata = m_Registrar->CreateClassMD(name, 100, 2, &Build, 7);
  EXPECT_TRUE(metadata.Name().SharesBufferWith(name));
  EXPECT_EQ(metadata.ClassId(), 100U);
  EXPECT_EQ(metadata.Version(), 2);
  EXPECT_EQ(metadata.Ctor(cls_ReadVisitor(nullptr)), &s_Deleted);
  EXPECT_EQ(metadata.BaseClassId(), 7U);
}

TEST_F(ClassRegistrar, FindsRegisteredClasses) {
  cls_ClassMetadata const& metadata = Register("Bolt", 100, 2);
  EXPECT_TRUE(m_Registrar->ClassIsPresent(100));
  EXPECT_TRUE(m_Registrar->ClassVersionIsPresent(100, 2));
  EXPECT_TRUE(m_Registrar->ClassNameIsPresent("Bolt"_cow));
  EXPECT_EQ(&m_Registrar->ConstGet(100), &metadata);
  EXPECT_EQ(&m_Registrar->GetClassMetadata(100, 2), &metadata);
  EXPECT_EQ(m_Registrar->GetClassID(cow_String("Bolt")), 100U);
  EXPECT_EQ(m_Registrar->GetLastClassVersionNumber(100), 2);
}

TEST_F(ClassRegistrar, DoesNotFindOthers) {
  Register("Bolt", 100, 2);
  EXPECT_FALSE(m_Registrar->ClassIsPresent(99));
  EXPECT_FALSE(m_Registrar->ClassIsPresent(101));
  EXPECT_FALSE(m_Registrar->ClassVersionIsPresent(100, 1));
  EXPECT_FALSE(m_Registrar->ClassVersionIsPresent(100, 3));
  EXPECT_FALSE(m_Registrar->ClassVersionIsPresent(2, 100));
  EXPECT_FALSE(m_Registrar->ClassNameIsPresent("bolt"_cow));
  EXPECT_FALSE(m_Registrar->ClassNameIsPresent("Bol"_cow));
}

TEST_F(ClassRegistrar, AddClassMDKeepsTheObjectItself) {
  auto* const metadata = new CountedMetadata("Bolt"_cow, 100, 2, 7);
  EXPECT_EQ(&m_Registrar->AddClassMD(metadata), metadata);
  EXPECT_EQ(&m_Registrar->ConstGet(100), metadata);
  EXPECT_EQ(m_Registrar->GetClassID("Bolt"_cow), 100U);
  EXPECT_EQ(Alive(), 1);
}

TEST_F(ClassRegistrar, RegistrarsAreIndependent) {
  cls_ClassRegistrar other;
  Register("Bolt", 100, 2);
  EXPECT_FALSE(other.ClassIsPresent(100));
  EXPECT_FALSE(other.ClassNameIsPresent("Bolt"_cow));
}

TEST_F(ClassRegistrar, DestructorDeletesTheMetadata) {
  for (int version = 0; version < 5; ++version)
    m_Registrar->AddClassMD(new CountedMetadata("Bolt"_cow, 100, version));
  m_Registrar->AddClassMD(new CountedMetadata("Nut"_cow, 200, 1));
  EXPECT_EQ(Alive(), 6);
  m_Registrar.reset();
  EXPECT_EQ(Alive(), 0);
}

TEST_F(ClassRegistrar, SettersChainOnTheReturnedMetadata) {
  m_Registrar->CreateClassMD("Bolt"_cow, 100, 1, nullptr, 1)
      .AddDtor(&DeleteData<1>)
      .AddTableExtentQuantum(8)
      .AddAttribute(cls_FieldHandle(0, "m_A"_cow), ATTR_INT, 1, COLLECTION_NONE);
  m_Registrar->AddClassMD(new CountedMetadata("Nut"_cow, 200, 1))
      .AddAttribute(cls_FieldHandle(4, "m_B"_cow), ATTR_UINT, 1, COLLECTION_NONE);
  cls_ClassMetadata const& bolt = m_Registrar->ConstGet(100);
  EXPECT_TRUE(bolt.HasDtor());
  EXPECT_EQ(bolt.TableExtentQuantum(), 8);
  EXPECT_NE(bolt.FindAttribute("m_A"_cow), nullptr);
  EXPECT_EQ(m_Registrar->GetClassMetadata(200, 1).MaxFieldID(), 4);
}

TEST_F(ClassRegistrar, LookUpsAllocateNothing) {
  for (unsigned int id = 2; id < 200; ++id) Register(id, 1, id - 1).AddDtor(nullptr);
  Register("Nut", 300, 1).AddAttribute(cls_FieldHandle(0, "m_A"_cow), ATTR_INT, 1, COLLECTION_NONE);
  cow_String const name("Nut");
  cow_String const attribute("m_A");
  long long const before = HeapCount();
  AllocationProbe const probe;
  unsigned int found = 0;
  for (unsigned int id = 2; id < 200; ++id) {
    found += m_Registrar->ClassIsPresent(id) && m_Registrar->ClassVersionIsPresent(id, 1);
    found += m_Registrar->ConstGet(id).ClassId() == m_Registrar->GetClassMetadata(id, 1).ClassId();
  }
  found += m_Registrar->GetClassID(name) == 300 && m_Registrar->ClassNameIsPresent(name);
  found += m_Registrar->ConstGet(300).FindAttribute(attribute) != nullptr;
  found += m_Registrar->InheritanceCheck(199, 1);
  found += !m_Registrar->DeleteCow(199, nullptr);
  EXPECT_EQ(HeapCount(), before);
  EXPECT_EQ(probe.Count(), 0);
  EXPECT_EQ(found, 2 * 198U + 4);
}

// --- Versions.

TEST_F(ClassRegistrar, OlderVersionKeepsTheNewest) {
  cls_ClassMetadata const& newer = Register(100, 2);
  cls_ClassMetadata const& older = Register(100, 1);
  EXPECT_NE(&newer, &older);
  EXPECT_EQ(m_Registrar->GetLastClassVersionNumber(100), 2);
  EXPECT_EQ(&m_Registrar->ConstGet(100), &newer);
  EXPECT_EQ(&m_Registrar->GetClassMetadata(100, 1), &older);
  EXPECT_EQ(&m_Registrar->GetClassMetadata(100, 2), &newer);
}

TEST_F(ClassRegistrar, VersionQueriesOfTwoVersions) {
  Register(100, 2);
  Register(100, 1);
  EXPECT_EQ(m_Registrar->GetFirstClassVersionNumberGREQ(100, 0), 1);
  EXPECT_EQ(m_Registrar->GetFirstClassVersionNumberGREQ(100, 1), 1);
  EXPECT_EQ(m_Registrar->GetFirstClassVersionNumberGREQ(100, 2), 2);
  EXPECT_EQ(m_Registrar->GetFirstClassVersionNumberGREQ(100, 3), -1);
  EXPECT_EQ(m_Registrar->GetPreviousClassVersionNumber(100, 3), 2);
  EXPECT_EQ(m_Registrar->GetPreviousClassVersionNumber(100, 2), 1);
  EXPECT_EQ(m_Registrar->GetPreviousClassVersionNumber(100, 1), -1);
}

TEST_F(ClassRegistrar, EveryOrderOfThreeVersionsGivesTheSameResult) {
  std::array<int, 3> versions = {1, 2, 3};
  do {
    SCOPED_TRACE(::testing::PrintToString(versions));
    m_Registrar = std::make_unique<cls_ClassRegistrar>();
    std::array<cls_ClassMetadata*, 4> made{};
    for (int const version : versions) {
      auto* const metadata = new CountedMetadata("Bolt"_cow, 100, version);
      EXPECT_EQ(&m_Registrar->AddClassMD(metadata), metadata);
      made.at(static_cast<std::size_t>(version)) = metadata;
    }
    EXPECT_EQ(Alive(), 3);
    EXPECT_EQ(&m_Registrar->ConstGet(100), made[3]);
    EXPECT_EQ(m_Registrar->GetLastClassVersionNumber(100), 3);
    for (int version = 1; version <= 3; ++version)
      EXPECT_EQ(&m_Registrar->GetClassMetadata(100, version), made.at(static_cast<std::size_t>(version)));
    EXPECT_EQ(PairsOf(m_Registrar->GetMDList()), Pairs({{100, 3}}));
    EXPECT_EQ(PairsOf(m_Registrar->GetHistoryMDList()), Pairs({{100, 3}, {100, 2}, {100, 1}}));
  } while (std::next_permutation(versions.begin(), versions.end()));
}

TEST_F(ClassRegistrar, ReplacedNewestVersionIsStillFoundByVersion) {
  auto* const first = new CountedMetadata("Bolt"_cow, 100, 1);
  m_Registrar->AddClassMD(first);
  m_Registrar->AddClassMD(new CountedMetadata("Bolt"_cow, 100, 2));
  EXPECT_EQ(Alive(), 2);
  EXPECT_EQ(&m_Registrar->GetClassMetadata(100, 1), first);
  EXPECT_EQ(m_Registrar->GetMDList().Length(), 1);
}

TEST_F(ClassRegistrar, VersionsCompareSigned) {
  Register(100, 0);
  Register(100, LowestVersion);
  Register(100, GreatestVersion);
  Register(100, -7);
  EXPECT_EQ(m_Registrar->GetLastClassVersionNumber(100), GreatestVersion);
  EXPECT_EQ(m_Registrar->GetFirstClassVersionNumberGREQ(100, LowestVersion), LowestVersion);
  EXPECT_EQ(m_Registrar->GetFirstClassVersionNumberGREQ(100, LowestVersion + 1), -7);
  EXPECT_EQ(m_Registrar->GetFirstClassVersionNumberGREQ(100, 1), GreatestVersion);
  EXPECT_EQ(m_Registrar->GetFirstClassVersionNumberGREQ(100, GreatestVersion), GreatestVersion);
  EXPECT_EQ(m_Registrar->GetPreviousClassVersionNumber(100, GreatestVersion), 0);
  EXPECT_EQ(m_Registrar->GetPreviousClassVersionNumber(100, 0), -7);
  EXPECT_EQ(m_Registrar->GetPreviousClassVersionNumber(100, -7), LowestVersion);
  EXPECT_EQ(m_Registrar->GetPreviousClassVersionNumber(100, LowestVersion), -1);
}

TEST_F(ClassRegistrar, NegativeVersionCanBeTheNewest) {
  Register(100, -9);
  EXPECT_EQ(m_Registrar->GetLastClassVersionNumber(100), -9);
  Register(100, -3);
  EXPECT_EQ(m_Registrar->GetLastClassVersionNumber(100), -3);
}

TEST_F(ClassRegistrar, VersionMinusOneIsFoundButNoQueryReturnsIt) {
  cls_ClassMetadata const& metadata = Register(100, -1);
  EXPECT_EQ(&m_Registrar->GetClassMetadata(100, -1), &metadata);
  EXPECT_EQ(m_Registrar->GetLastClassVersionNumber(100), -1);
  EXPECT_EQ(m_Registrar->GetFirstClassVersionNumberGREQ(100, -1), -1); // as for an unknown class
  EXPECT_EQ(m_Registrar->GetPreviousClassVersionNumber(100, 0), -1);
}

// At -1 the result so far is forgotten, so an older version can be returned after it.
TEST_F(ClassRegistrar, PreviousVersionSkipsVersionMinusOne) {
  for (int const version : {-1, -3, -5, 2}) Register(100, version);
  EXPECT_EQ(m_Registrar->GetPreviousClassVersionNumber(100, 0), -3);
  EXPECT_EQ(m_Registrar->GetPreviousClassVersionNumber(100, 2), -3);
  EXPECT_EQ(m_Registrar->GetPreviousClassVersionNumber(100, 3), 2);
  EXPECT_EQ(m_Registrar->GetPreviousClassVersionNumber(100, -1), -3);
}

TEST_F(ClassRegistrar, FirstVersionStopsAtVersionMinusOne) {
  for (int const version : {-1, 4}) Register(100, version);
  EXPECT_EQ(m_Registrar->GetFirstClassVersionNumberGREQ(100, -2), -1);
  EXPECT_EQ(m_Registrar->GetFirstClassVersionNumberGREQ(100, -1), -1);
  EXPECT_EQ(m_Registrar->GetFirstClassVersionNumberGREQ(100, 0), 4);
  Register(100, -6);
  EXPECT_EQ(m_Registrar->GetFirstClassVersionNumberGREQ(100, -8), -6);
}

TEST_F(ClassRegistrar, VersionQueriesOfAnUnknownClassAreMinusOne) {
  Register(100, 2);
  for (unsigned int const id : {0U, 1U, 99U, 101U, 0xFFFFFFFFU}) {
    EXPECT_EQ(m_Registrar->GetFirstClassVersionNumberGREQ(id, LowestVersion), -1);
    EXPECT_EQ(m_Registrar->GetPreviousClassVersionNumber(id, GreatestVersion), -1);
  }
}

TEST_F(ClassRegistrar, VersionQueriesUseOnlyTheirClass) {
  Register(100, 5);
  Register(99, 3);
  Register(101, 4);
  EXPECT_EQ(m_Registrar->GetFirstClassVersionNumberGREQ(100, 0), 5);
  EXPECT_EQ(m_Registrar->GetPreviousClassVersionNumber(100, 5), -1);
  EXPECT_EQ(m_Registrar->GetPreviousClassVersionNumber(100, 9), 5);
}

// --- Class IDs.

TEST_F(ClassRegistrar, ExtremeClassIdsAreFound) {
  constexpr std::array Ids = {0xFFFFFFFFU, 0U, 0xFFFFFFFEU, 2U};
  for (unsigned int const id : Ids) Register(id, 1);
  for (unsigned int const id : Ids) {
    EXPECT_TRUE(m_Registrar->ClassIsPresent(id));
    EXPECT_EQ(m_Registrar->ConstGet(id).ClassId(), id);
    EXPECT_EQ(m_Registrar->GetClassMetadata(id, 1).ClassId(), id);
    EXPECT_EQ(m_Registrar->GetFirstClassVersionNumberGREQ(id, 0), 1);
  }
  EXPECT_FALSE(m_Registrar->ClassIsPresent(0xFFFFFFFDU));
}

TEST_F(ClassRegistrar, HistoryComparesClassIdsUnsigned) {
  for (unsigned int const id : {0x80000000U, 0U, 0xFFFFFFFFU, 0x7FFFFFFFU}) Register(id, 1);
  EXPECT_EQ(PairsOf(m_Registrar->GetHistoryMDList()),
            Pairs({{0xFFFFFFFFU, 1}, {0x80000000U, 1}, {0x7FFFFFFFU, 1}, {0U, 1}}));
}

TEST_F(ClassRegistrar, ListOfClassesAscendsAcrossTheSignBit) {
  for (unsigned int const id : {0x80000001U, 0x7FFFFFFEU, 0x80000000U, 0x7FFFFFFFU}) Register(id, 1);
  EXPECT_EQ(PairsOf(m_Registrar->GetMDList()),
            Pairs({{0x7FFFFFFEU, 1}, {0x7FFFFFFFU, 1}, {0x80000000U, 1}, {0x80000001U, 1}}));
}

// --- Names.

TEST_F(ClassRegistrar, ClassIsKnownOnlyByItsFirstName) {
  Register("A", 100, 1);
  Register("B", 100, 2);
  EXPECT_EQ(m_Registrar->GetClassID("A"_cow), 100U);
  EXPECT_FALSE(m_Registrar->ClassNameIsPresent("B"_cow));
  EXPECT_EQ(m_Registrar->ConstGet(100).Name(), "B");
}

TEST_F(ClassRegistrar, FirstNameIsKeptWhenAnOlderVersionFollows) {
  Register("B", 100, 2);
  Register("A", 100, 1);
  EXPECT_EQ(m_Registrar->GetClassID("B"_cow), 100U);
  EXPECT_FALSE(m_Registrar->ClassNameIsPresent("A"_cow));
}

TEST_F(ClassRegistrar, NameKeepsItsFirstClass) {
  Register("A", 100, 1);
  Register("A", 200, 1);
  EXPECT_EQ(m_Registrar->GetClassID("A"_cow), 100U);
  EXPECT_TRUE(m_Registrar->ClassIsPresent(200));
}

TEST_F(ClassRegistrar, LaterVersionDoesNotTakeOverAUsedName) {
  Register("A", 100, 1);
  Register("A", 200, 1);
  Register("B", 200, 2);
  EXPECT_FALSE(m_Registrar->ClassNameIsPresent("B"_cow));
}

TEST_F(ClassRegistrar, DuplicateAddsNoName) {
  Register("A", 100, 1);
  Register("B", 100, 1);
  EXPECT_FALSE(m_Registrar->ClassNameIsPresent("B"_cow));
}

TEST_F(ClassRegistrar, ClassWithoutNameIsKnownByTheEmptyName) {
  m_Registrar->CreateClassMD(cow_String(), 100, 1, nullptr, 1);
  EXPECT_EQ(m_Registrar->GetClassID(cow_String()), 100U);
  EXPECT_EQ(m_Registrar->GetClassID(""_cow), 100U);
}

TEST_F(ClassRegistrar, DeleteClassMakesAnUnknownNameKnown) {
  m_Registrar->DeleteClass("A"_cow, 7);
  EXPECT_TRUE(m_Registrar->ClassNameIsPresent("A"_cow));
  EXPECT_EQ(m_Registrar->GetClassID("A"_cow), 7U);
  EXPECT_FALSE(m_Registrar->ClassIsPresent(7));
  EXPECT_EQ(m_Registrar->GetMDList().Length(), 0);
}

TEST_F(ClassRegistrar, DeleteClassOfAKnownNameChangesNothing) {
  cls_ClassMetadata const& metadata = Register("A", 100, 1);
  m_Registrar->DeleteClass("A"_cow, 7);
  m_Registrar->DeleteClass("A"_cow, 100);
  EXPECT_EQ(m_Registrar->GetClassID("A"_cow), 100U);
  EXPECT_EQ(&m_Registrar->ConstGet(100), &metadata);
  EXPECT_EQ(&m_Registrar->GetClassMetadata(100, 1), &metadata);
}

TEST_F(ClassRegistrar, NameFromDeleteClassIsKeptWhenAClassOfThatNameFollows) {
  m_Registrar->DeleteClass("A"_cow, 7);
  m_Registrar->DeleteClass("A"_cow, 8);
  Register("A", 100, 1);
  EXPECT_EQ(m_Registrar->GetClassID("A"_cow), 7U);
  EXPECT_TRUE(m_Registrar->ClassIsPresent(100));
}

TEST_F(ClassRegistrar, UnknownNameIsClassIdZero) {
  EXPECT_EQ(m_Registrar->GetClassID("A"_cow), 0U);
  Register("A", 100, 1);
  EXPECT_EQ(m_Registrar->GetClassID("B"_cow), 0U);
}

// --- Duplicates.

TEST_F(ClassRegistrar, DuplicateIsDeletedAndTheFirstReturned) {
  auto* const first = new CountedMetadata("Bolt"_cow, 100, 2);
  EXPECT_EQ(&m_Registrar->AddClassMD(first), first);
  EXPECT_EQ(&m_Registrar->AddClassMD(new CountedMetadata("Bolt"_cow, 100, 2)), first);
  EXPECT_EQ(Alive(), 1);
  EXPECT_EQ(&m_Registrar->ConstGet(100), first);
  EXPECT_EQ(m_Registrar->GetHistoryMDList().Length(), 1);
}

TEST_F(ClassRegistrar, DuplicateByCreateClassMDReturnsTheFirst) {
  auto* const first = new CountedMetadata("Bolt"_cow, 100, 2);
  m_Registrar->AddClassMD(first);
  EXPECT_EQ(&m_Registrar->CreateClassMD("Other"_cow, 100, 2, nullptr, 50), first);
  EXPECT_EQ(first->Name(), "Bolt");
  EXPECT_EQ(first->BaseClassId(), 1U);
}

TEST_F(ClassRegistrar, DuplicateOfAnOlderVersionKeepsTheNewest) {
  cls_ClassMetadata const& older = Register(100, 1);
  cls_ClassMetadata const& newer = Register(100, 2);
  EXPECT_EQ(&Register(100, 1), &older);
  EXPECT_EQ(&m_Registrar->ConstGet(100), &newer);
}

TEST_F(ClassRegistrar, SettersChainedOnADuplicateReachTheFirst) {
  Register(100, 1).AddTableExtentQuantum(5);
  Register(100, 1).AddTableExtentQuantum(6).AddAttribute(cls_FieldHandle(0, "m_A"_cow), ATTR_INT, 1,
                                                         COLLECTION_NONE);
  EXPECT_EQ(m_Registrar->ConstGet(100).TableExtentQuantum(), 6);
  EXPECT_NE(m_Registrar->ConstGet(100).FindAttribute("m_A"_cow), nullptr);
}

TEST_F(ClassRegistrar, DuplicateIsNotReportedWithoutKorvelSite) {
  EXPECT_EQ(WrittenByDuplicates(false), "");
  EXPECT_EQ(WrittenByDuplicates(true), "");
}

TEST_F(ClassRegistrar, DuplicateIsReportedWithKorvelSite) {
  setenv("KORVEL_SITE", "somewhere", 1);
  EXPECT_EQ(WrittenByDuplicates(false), SecondWarning);
}

TEST_F(ClassRegistrar, DuplicateByAddClassMDIsReportedWithItsOwnName) {
  setenv("KORVEL_SITE", "somewhere", 1);
  EXPECT_EQ(WrittenByDuplicates(true), SecondWarning);
}

TEST_F(ClassRegistrar, DuplicateIsReportedWithAnEmptyKorvelSite) {
  setenv("KORVEL_SITE", "", 1);
  EXPECT_EQ(WrittenByDuplicates(false), SecondWarning);
}

TEST_F(ClassRegistrar, EachDuplicateIsReportedOnce) {
  setenv("KORVEL_SITE", "somewhere", 1);
  Register("A", 100, -3);
  ::testing::internal::CaptureStderr();
  Register("A", 100, -3);
  Register("100%d", 100, -3);
  Register("A", 100, 4);
  Register("A", 200, -3);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "WARNING: Metadata for class A version -3 has been initialized more than once.\n"
            "WARNING: Metadata for class 100%d version -3 has been initialized more than once.\n");
}

TEST_F(ClassRegistrar, KorvelSiteIsReadAtEachDuplicate) {
  setenv("KORVEL_SITE", "somewhere", 1);
  EXPECT_EQ(WrittenByDuplicates(true), std::string(SecondWarning));
  unsetenv("KORVEL_SITE");
  EXPECT_EQ(WrittenByDuplicates(true), "");
}

TEST_F(ClassRegistrar, MetadataIsDeletedIfItsHolderCannotBeMade) {
  auto* const metadata = new CountedMetadata("Bolt"_cow, 100, 2);
  {
    AllocationProbe probe;
    probe.FailAt(1);
    EXPECT_THROW(m_Registrar->AddClassMD(metadata), std::bad_alloc);
  }
  EXPECT_EQ(Alive(), 0);
  EXPECT_FALSE(m_Registrar->ClassIsPresent(100));
  EXPECT_FALSE(m_Registrar->ClassVersionIsPresent(100, 2));
}

// --- Dropped declarations.

TEST_F(ClassRegistrar, RepeatedRegistrationWithAnotherNameOrBaseIsNoted) {
  cls_ClassMetadata const& bolt = m_Registrar->CreateClassMD("Bolt"_cow, 100, 2, nullptr, 50);
  m_Registrar->CreateClassMD("Nut"_cow, 100, 2, nullptr, 50);
  m_Registrar->AddClassMD(new CountedMetadata("Bolt"_cow, 100, 2, 60));
  m_Registrar->AddClassMD(new CountedMetadata("Screw"_cow, 100, 2, 1));
  EXPECT_EQ(bolt.DroppedClasses(), (std::vector<cls_ClassMetadata::DroppedClass>{
                                       {"Nut"_cow, 50}, {"Bolt"_cow, 60}, {"Screw"_cow, 1}}));
  EXPECT_EQ(bolt.Name(), "Bolt");
  EXPECT_EQ(bolt.BaseClassId(), 50U);
  EXPECT_EQ(Alive(), 0);
}

TEST_F(ClassRegistrar, FirstRegistrationIsKept) {
  cls_ClassMetadata const& nut = m_Registrar->CreateClassMD("Nut"_cow, 100, 2, nullptr, 60);
  m_Registrar->CreateClassMD("Bolt"_cow, 100, 2, nullptr, 50);
  EXPECT_EQ(nut.DroppedClasses(), (std::vector<cls_ClassMetadata::DroppedClass>{{"Bolt"_cow, 50}}));
}

TEST_F(ClassRegistrar, EqualRepeatsAreNotNoted) {
  for (int i = 0; i < 3; ++i) {
    m_Registrar->CreateClassMD("Bolt"_cow, 100, 2, i == 0 ? &Build : nullptr, 50)
        .AddAttribute(cls_FieldHandle(0, "m_Length"_cow), ATTR_DOUBLE, 1, COLLECTION_NONE);
    m_Registrar->AddClassMD(new cls_ClassMetadata(cow_String(std::string("Bolt")), 100, 2, nullptr, 50));
  }
  EXPECT_TRUE(m_Registrar->ConstGet(100).DroppedClasses().empty());
  EXPECT_TRUE(m_Registrar->ConstGet(100).DroppedAttributes().empty());
}

TEST_F(ClassRegistrar, AnotherVersionIsNotARepeat) {
  m_Registrar->CreateClassMD("Bolt"_cow, 100, 2, nullptr, 50);
  EXPECT_TRUE(m_Registrar->CreateClassMD("Nut"_cow, 100, 3, nullptr, 60).DroppedClasses().empty());
  EXPECT_TRUE(m_Registrar->GetClassMetadata(100, 2).DroppedClasses().empty());
}

TEST_F(ClassRegistrar, DroppedRegistrationIsNotedOnce) {
  Register("Bolt", 100, 2);
  for (int i = 0; i < 3; ++i) Register("Nut", 100, 2);
  EXPECT_EQ(m_Registrar->ConstGet(100).DroppedClasses().size(), 1U);
}

TEST_F(ClassRegistrar, DifferingAttributeOfARepeatedRegistrationIsNoted) {
  cls_FieldHandle const field(0, "m_Length"_cow);
  Register("Bolt", 100, 2).AddAttribute(field, ATTR_DOUBLE, 1, COLLECTION_NONE);
  Register("Bolt", 100, 2).AddAttribute(field, ATTR_FLOAT, 1, COLLECTION_NONE);
  ASSERT_EQ(m_Registrar->ConstGet(100).DroppedAttributes().size(), 1U);
  EXPECT_EQ(m_Registrar->ConstGet(100).DroppedAttributes()[0].m_Type, ATTR_FLOAT);
}

TEST_F(ClassRegistrar, AttributesOfDroppedMetadataAreNoted) {
  auto const add = [&](cls_AttributeType type, char const* more) {
    auto* const metadata = new cls_ClassMetadata("Bolt"_cow, 100, 2, nullptr, 1);
    metadata->AddAttribute(cls_FieldHandle(0, "m_Length"_cow), type, 1, COLLECTION_NONE)
        .AddAttribute(cls_FieldHandle(1, cow_String(more)), ATTR_INT, 1, COLLECTION_NONE);
    m_Registrar->AddClassMD(metadata);
  };
  add(ATTR_DOUBLE, "m_Count");
  add(ATTR_DOUBLE, "m_Count");
  EXPECT_TRUE(m_Registrar->ConstGet(100).DroppedAttributes().empty());
  add(ATTR_FLOAT, "m_Number");
  EXPECT_EQ(m_Registrar->ConstGet(100).DroppedAttributes(),
            (std::vector<cls_AttributeMetadata>{{0, "m_Length"_cow, ATTR_FLOAT, 1, COLLECTION_NONE},
                                                {1, "m_Number"_cow, ATTR_INT, 1, COLLECTION_NONE}}));
  EXPECT_EQ(m_Registrar->ConstGet(100).GetAttributes().Count(), 2U);
}

TEST_F(ClassRegistrar, NotesOfDroppedMetadataAreKept) {
  Register("Bolt", 100, 2);
  auto* const metadata = new cls_ClassMetadata("Bolt"_cow, 100, 2, nullptr, 1);
  for (cls_AttributeType const type : {ATTR_INT, ATTR_FLOAT})
    metadata->AddAttribute(cls_FieldHandle(0, "m_Length"_cow), type, 1, COLLECTION_NONE);
  EXPECT_EQ(m_Registrar->AddClassMD(metadata).DroppedAttributes().size(), 2U);
}

TEST_F(ClassRegistrar, VersionsAreWalkedInTheOrderOfTheHistory) {
  cls_ClassMetadata const& older = Register(5, 1);
  Register(9, 1);
  Register(5, 2);
  Pairs pairs;
  for (omi_BtreeIterator i(m_Registrar->GetVersions()); !i.IsDone(); i.Next())
    pairs.emplace_back(i.Key().m_ClassId, i.Value().Ptr()->Version());
  EXPECT_EQ(pairs, PairsOf(m_Registrar->GetHistoryMDList()));
  EXPECT_EQ(m_Registrar->GetVersions().ConstGet({5, 1}).Ptr(), &older);
}

// --- Lists.

TEST_F(ClassRegistrar, ListsAreOrdered) {
  Register(5, 1);
  Register(9, 1);
  Register(5, 2);
  EXPECT_EQ(PairsOf(m_Registrar->GetMDList()), Pairs({{5, 2}, {9, 1}}));
  EXPECT_EQ(PairsOf(m_Registrar->GetHistoryMDList()), Pairs({{9, 1}, {5, 2}, {5, 1}}));
}

TEST_F(ClassRegistrar, ListsOfManyClassesAreOrdered) {
  constexpr unsigned int Classes = 101;
  Pairs newest;
  Pairs history;
  for (unsigned int i = 0; i < Classes; ++i) { // steps of 37 visit every class once
    Register(1000 + i * 37 % Classes, 3);
    Register(1000 + i * 37 % Classes, -2);
  }
  for (unsigned int i = 0; i < Classes; ++i) {
    newest.emplace_back(1000 + i, 3);
    history.emplace_back(1000 + Classes - 1 - i, 3);
    history.emplace_back(1000 + Classes - 1 - i, -2);
  }
  EXPECT_EQ(PairsOf(m_Registrar->GetMDList()), newest);
  EXPECT_EQ(PairsOf(m_Registrar->GetHistoryMDList()), history);
}

TEST_F(ClassRegistrar, ListsShareTheMetadata) {
  cls_ClassMetadata const& older = Register(5, 1);
  cls_ClassMetadata const& newer = Register(5, 2);
  EXPECT_EQ(m_Registrar->GetMDList().ConstGet(0).Ptr(), &newer);
  cow_1DArray<cls_ClassMetadataHld> const history = m_Registrar->GetHistoryMDList();
  EXPECT_EQ(history.ConstGet(0).Ptr(), &newer);
  EXPECT_EQ(history.ConstGet(1).Ptr(), &older);
}

TEST_F(ClassRegistrar, ListDoesNotSeeLaterRegistrations) {
  Register(5, 1);
  cow_1DArray<cls_ClassMetadataHld> const newest = m_Registrar->GetMDList();
  cow_1DArray<cls_ClassMetadataHld> const history = m_Registrar->GetHistoryMDList();
  Register(5, 2);
  Register(6, 1);
  EXPECT_EQ(PairsOf(newest), Pairs({{5, 1}}));
  EXPECT_EQ(PairsOf(history), Pairs({{5, 1}}));
}

TEST_F(ClassRegistrar, ListsKeepTheirMetadataAfterTheRegistrarIsDestroyed) {
  m_Registrar->AddClassMD(new CountedMetadata("Bolt"_cow, 5, 1));
  m_Registrar->AddClassMD(new CountedMetadata("Bolt"_cow, 5, 2));
  {
    cow_1DArray<cls_ClassMetadataHld> newest = m_Registrar->GetMDList();
    {
      cow_1DArray<cls_ClassMetadataHld> const history = m_Registrar->GetHistoryMDList();
      m_Registrar.reset();
      EXPECT_EQ(Alive(), 2);
      EXPECT_EQ(PairsOf(history), Pairs({{5, 2}, {5, 1}}));
    }
    EXPECT_EQ(Alive(), 1);
    EXPECT_EQ(newest.ConstGet(0).Ptr()->Name(), "Bolt");
  }
  EXPECT_EQ(Alive(), 0);
}

TEST_F(ClassRegistrar, ChangingAListDoesNotChangeTheRegistrar) {
  m_Registrar->AddClassMD(new CountedMetadata("Bolt"_cow, 5, 1));
  cow_1DArray<cls_ClassMetadataHld> list = m_Registrar->GetMDList();
  list.Get(0) = cls_ClassMetadataHld();
  EXPECT_EQ(Alive(), 1);
  EXPECT_EQ(PairsOf(m_Registrar->GetMDList()), Pairs({{5, 1}}));
}

// --- Inheritance.

TEST_F(ClassRegistrar, EveryClassDerivesFromItself) {
  for (unsigned int const id : {0U, 1U, 77U, 0xFFFFFFFFU}) EXPECT_TRUE(m_Registrar->InheritanceCheck(id, id));
}

TEST_F(ClassRegistrar, InheritanceFollowsTheChainUpwards) {
  Register(100, 1);
  Register(200, 1, 100);
  Register(300, 1, 200);
  EXPECT_TRUE(m_Registrar->InheritanceCheck(300, 200));
  EXPECT_TRUE(m_Registrar->InheritanceCheck(300, 100));
  EXPECT_TRUE(m_Registrar->InheritanceCheck(300, 1));
  EXPECT_FALSE(m_Registrar->InheritanceCheck(100, 300));
  EXPECT_FALSE(m_Registrar->InheritanceCheck(200, 300));
  EXPECT_FALSE(m_Registrar->InheritanceCheck(300, 400));
}

TEST_F(ClassRegistrar, UnknownClassDerivesOnlyFromItself) {
  Register(100, 1);
  EXPECT_FALSE(m_Registrar->InheritanceCheck(77, 100));
  EXPECT_FALSE(m_Registrar->InheritanceCheck(77, 1));
}

TEST_F(ClassRegistrar, UnknownBaseClassIsABaseAndEndsTheChain) {
  Register(300, 1, 200);
  EXPECT_TRUE(m_Registrar->InheritanceCheck(300, 200));
  EXPECT_FALSE(m_Registrar->InheritanceCheck(300, 100));
}

TEST_F(ClassRegistrar, InheritanceUsesTheNewestVersion) {
  Register(300, 2, 200);
  Register(300, 1, 100);
  EXPECT_TRUE(m_Registrar->InheritanceCheck(300, 200));
  EXPECT_FALSE(m_Registrar->InheritanceCheck(300, 100));
  Register(300, 3, 100);
  EXPECT_FALSE(m_Registrar->InheritanceCheck(300, 200));
  EXPECT_TRUE(m_Registrar->InheritanceCheck(300, 100));
}

TEST_F(ClassRegistrar, InheritanceMayGoThroughARegisteredRoot) {
  Register(1, 1, 50);
  Register(50, 1, 0);
  Register(100, 1);
  EXPECT_TRUE(m_Registrar->InheritanceCheck(100, 50));
  EXPECT_TRUE(m_Registrar->InheritanceCheck(100, 0));
}

// --- Deletion of copy-on-write data.

TEST_F(ClassRegistrar, DeleteCowCallsTheDeletionFunctionOfTheClass) {
  Register(100, 1).AddDtor(&DeleteData<100>);
  Register(200, 1, 100).AddDtor(&DeleteData<200>);
  EXPECT_TRUE(m_Registrar->DeleteCow(200, &m_Data));
  EXPECT_EQ(s_Deleted, (std::vector<std::pair<int, CowData*>>{{200, &m_Data}}));
}

TEST_F(ClassRegistrar, DeleteCowCallsTheNearestDeletionFunctionAbove) {
  Register(100, 1).AddDtor(&DeleteData<100>);
  Register(200, 1, 100).AddDtor(&DeleteData<200>);
  Register(300, 1, 200);
  Register(400, 1, 300);
  EXPECT_TRUE(m_Registrar->DeleteCow(400, &m_Data));
  EXPECT_EQ(s_Deleted, (std::vector<std::pair<int, CowData*>>{{200, &m_Data}}));
}

TEST_F(ClassRegistrar, DeleteCowWithoutAnyDeletionFunctionIsFalse) {
  Register(100, 1);
  Register(200, 1, 100);
  Register(300, 1, 200);
  EXPECT_FALSE(m_Registrar->DeleteCow(300, &m_Data));
  EXPECT_TRUE(s_Deleted.empty());
}

TEST_F(ClassRegistrar, DeleteCowOfTheRootIsFalse) {
  EXPECT_FALSE(m_Registrar->DeleteCow(1, &m_Data));
}

TEST_F(ClassRegistrar, DeleteCowNeverCallsARegisteredRoot) {
  Register(1, 1, 0).AddDtor(&DeleteData<1>);
  Register(100, 1);
  EXPECT_FALSE(m_Registrar->DeleteCow(1, &m_Data));
  EXPECT_FALSE(m_Registrar->DeleteCow(100, &m_Data));
  EXPECT_TRUE(s_Deleted.empty());
}

TEST_F(ClassRegistrar, DeleteCowUsesTheNewestVersion) {
  Register(100, 2).AddDtor(&DeleteData<2>);
  Register(100, 1).AddDtor(&DeleteData<1>);
  EXPECT_TRUE(m_Registrar->DeleteCow(100, nullptr));
  EXPECT_EQ(s_Deleted, (std::vector<std::pair<int, CowData*>>{{2, nullptr}}));
  Register(100, 3);
  EXPECT_FALSE(m_Registrar->DeleteCow(100, &m_Data));
}

TEST_F(ClassRegistrar, DeleteCowCallsAnOverriddenOperation) {
  m_Registrar->AddClassMD(new OwnDeletion(100)).AddDtor(&DeleteData<100>);
  EXPECT_TRUE(m_Registrar->DeleteCow(100, &m_Data));
  EXPECT_EQ(OwnDeletion::s_Deleted, &m_Data);
  EXPECT_TRUE(s_Deleted.empty());
}

// The operation is not called for a class without deletion function.
TEST_F(ClassRegistrar, DeleteCowSkipsMetadataWithoutDeletionFunction) {
  OwnDeletion::s_Deleted = nullptr;
  m_Registrar->AddClassMD(new OwnDeletion(100));
  EXPECT_FALSE(m_Registrar->DeleteCow(100, &m_Data));
  EXPECT_EQ(OwnDeletion::s_Deleted, nullptr);
}

// --- A class that is its own base.

TEST_F(ClassRegistrarDeathTest, CreateClassMDOfAClassThatIsItsOwnBaseEndsTheProcess) {
  EXPECT_EXIT(Register(100, 1, 100), ::testing::KilledBySignal(SIGABRT),
              ::testing::Eq("ODB metadat for class: Class\n"
                            "  Is incorrectly defined.  The base class ID is\n"
                            "  the same as the class ID.  Please correct this.\n"));
}

// The metadata is made before the registrar checks whether it already has it.
TEST_F(ClassRegistrarDeathTest, DuplicateThatIsItsOwnBaseEndsTheProcess) {
  Register(100, 1);
  EXPECT_EXIT(Register(100, 1, 100), ::testing::KilledBySignal(SIGABRT),
              ::testing::Eq("ODB metadat for class: Class\n"
                            "  Is incorrectly defined.  The base class ID is\n"
                            "  the same as the class ID.  Please correct this.\n"));
}
