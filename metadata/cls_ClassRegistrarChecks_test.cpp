#include <gtest/gtest.h>

#include <csignal>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "metadata/cls_ClassRegistrar.h"

namespace {

using CowData = cow_COW<int, cow_Direct<int>>;
using Calls = std::vector<std::string>;

std::vector<std::string> s_Calls;                // the checks that ran, with their arguments
cls_ClassRegistrar const* s_Registrar = nullptr; // what they received
cls_ClassRegistrar* s_Fill = nullptr;            // what FillConstGet fills

struct Refused : std::runtime_error {
  using std::runtime_error::runtime_error;
};

void Note(cls_ClassRegistrar const& registrar, std::string call) {
  s_Registrar = &registrar;
  s_Calls.push_back(std::move(call));
}
void NoteConstGet(cls_ClassRegistrar const& registrar, unsigned int const& classId) {
  Note(registrar, "ConstGet " + std::to_string(classId));
}
void NoteGetClassMetadata(cls_ClassRegistrar const& registrar, unsigned int const& classId, int version) {
  Note(registrar, "GetClassMetadata " + std::to_string(classId) + " " + std::to_string(version));
}
void NoteGetClassID(cls_ClassRegistrar const& registrar, cow_String const& name) {
  Note(registrar, "GetClassID " + std::string(name.View()));
}

void RefuseConstGet(cls_ClassRegistrar const& registrar, unsigned int const& classId) {
  if (!registrar.ClassIsPresent(classId)) throw Refused("class");
}
void RefuseGetClassMetadata(cls_ClassRegistrar const& registrar, unsigned int const& classId, int version) {
  if (!registrar.ClassVersionIsPresent(classId, version)) throw Refused("version");
}
void RefuseGetClassID(cls_ClassRegistrar const& registrar, cow_String const& name) {
  if (!registrar.ClassNameIsPresent(name)) throw Refused("name");
}

/// These checks register what is looked up, so that only a look-up after the check can find it.
void FillConstGet(cls_ClassRegistrar const&, unsigned int const& classId) {
  s_Fill->CreateClassMD("Late"_cow, classId, 4, nullptr, 1);
}
void FillGetClassMetadata(cls_ClassRegistrar const&, unsigned int const& classId, int version) {
  s_Fill->CreateClassMD("Late"_cow, classId, version, nullptr, 1);
}
void FillGetClassID(cls_ClassRegistrar const&, cow_String const& name) {
  s_Fill->DeleteClass(name, 900);
}

class ClassRegistrarChecks : public ::testing::Test {
 protected:
  ClassRegistrarChecks() {
    s_Calls.clear();
    s_Registrar = nullptr;
    s_Fill = &m_Registrar;
    m_Registrar.CreateClassMD("A"_cow, 100, 2, nullptr, 1);
    m_Registrar.CreateClassMD("B"_cow, 200, 3, nullptr, 100);
    m_Registrar.CreateClassMD("C"_cow, 300, 1, nullptr, 200);
  }
  ~ClassRegistrarChecks() override { Uninstall(); }

  static void Uninstall() {
    cls_ClassRegistrar::SetConstGetCheck(nullptr);
    cls_ClassRegistrar::SetGetClassMetadataCheck(nullptr);
    cls_ClassRegistrar::SetGetClassIDCheck(nullptr);
  }
  static void InstallNotes() {
    cls_ClassRegistrar::SetConstGetCheck(&NoteConstGet);
    cls_ClassRegistrar::SetGetClassMetadataCheck(&NoteGetClassMetadata);
    cls_ClassRegistrar::SetGetClassIDCheck(&NoteGetClassID);
  }
  static void InstallRefusals() {
    cls_ClassRegistrar::SetConstGetCheck(&RefuseConstGet);
    cls_ClassRegistrar::SetGetClassMetadataCheck(&RefuseGetClassMetadata);
    cls_ClassRegistrar::SetGetClassIDCheck(&RefuseGetClassID);
  }

  /// Makes every checked look-up, of registered classes.
  void LookUpAll() const {
    EXPECT_EQ(m_Registrar.ConstGet(100).ClassId(), 100U);
    EXPECT_EQ(m_Registrar.GetLastClassVersionNumber(200), 3);
    EXPECT_EQ(m_Registrar.GetClassMetadata(300, 1).ClassId(), 300U);
    EXPECT_EQ(m_Registrar.GetClassID("B"_cow), 200U);
  }

  cls_ClassRegistrar m_Registrar;
  CowData m_Data;
};

using ClassRegistrarChecksDeathTest = ClassRegistrarChecks;

} // namespace

TEST_F(ClassRegistrarChecks, EachCheckedLookUpRunsItsCheckOnce) {
  InstallNotes();
  LookUpAll();
  EXPECT_EQ(s_Calls, Calls({"ConstGet 100", "ConstGet 200", "GetClassMetadata 300 1", "GetClassID B"}));
}

TEST_F(ClassRegistrarChecks, ChecksReceiveTheRegistrarAndTheArguments) {
  cls_ClassRegistrar other;
  other.CreateClassMD("Extreme"_cow, 0xFFFFFFFFU, -5, nullptr, 1);
  InstallNotes();
  EXPECT_EQ(other.GetClassMetadata(0xFFFFFFFFU, -5).Version(), -5);
  EXPECT_EQ(s_Registrar, &other);
  EXPECT_EQ(m_Registrar.GetClassID("A"_cow), 100U);
  EXPECT_EQ(s_Registrar, &m_Registrar);
  EXPECT_EQ(other.ConstGet(0xFFFFFFFFU).Version(), -5);
  EXPECT_EQ(s_Registrar, &other);
  EXPECT_EQ(s_Calls, Calls({"GetClassMetadata 4294967295 -5", "GetClassID A", "ConstGet 4294967295"}));
}

TEST_F(ClassRegistrarChecks, ChecksRunForUnknownClassesToo) {
  InstallNotes();
  EXPECT_EQ(m_Registrar.GetClassID("Z"_cow), 0U);
  EXPECT_EQ(s_Calls, Calls({"GetClassID Z"}));
}

TEST_F(ClassRegistrarChecks, NothingElseRunsACheck) {
  InstallNotes();
  m_Registrar.CreateClassMD("D"_cow, 400, 1, nullptr, 1).AddDtor(nullptr);
  m_Registrar.CreateClassMD("D"_cow, 400, 2, nullptr, 1);
  m_Registrar.CreateClassMD("D"_cow, 400, 2, nullptr, 1);
  m_Registrar.AddClassMD(new cls_ClassMetadata("E"_cow, 500, 1, nullptr, 1));
  EXPECT_TRUE(m_Registrar.ClassIsPresent(100));
  EXPECT_FALSE(m_Registrar.ClassIsPresent(101));
  EXPECT_FALSE(m_Registrar.ClassVersionIsPresent(100, 1));
  EXPECT_FALSE(m_Registrar.ClassNameIsPresent("Z"_cow));
  EXPECT_EQ(m_Registrar.GetFirstClassVersionNumberGREQ(100, 0), 2);
  EXPECT_EQ(m_Registrar.GetFirstClassVersionNumberGREQ(101, 0), -1);
  EXPECT_EQ(m_Registrar.GetPreviousClassVersionNumber(100, 9), 2);
  EXPECT_EQ(m_Registrar.GetPreviousClassVersionNumber(101, 9), -1);
  m_Registrar.DeleteClass("Z"_cow, 7);
  EXPECT_EQ(m_Registrar.GetMDList().Length(), 5);
  EXPECT_EQ(m_Registrar.GetHistoryMDList().Length(), 6);
  EXPECT_TRUE(m_Registrar.InheritanceCheck(300, 300));
  EXPECT_FALSE(m_Registrar.InheritanceCheck(77, 100));
  EXPECT_FALSE(m_Registrar.DeleteCow(1, &m_Data));
  EXPECT_EQ(s_Calls, Calls());
}

TEST_F(ClassRegistrarChecks, InheritanceCheckRunsTheConstGetCheckAtEachRegisteredStep) {
  InstallNotes();
  EXPECT_TRUE(m_Registrar.InheritanceCheck(300, 100));
  EXPECT_EQ(s_Calls, Calls({"ConstGet 300", "ConstGet 200"}));
  s_Calls.clear();
  EXPECT_FALSE(m_Registrar.InheritanceCheck(300, 77));
  EXPECT_EQ(s_Calls, Calls({"ConstGet 300", "ConstGet 200", "ConstGet 100"}));
}

TEST_F(ClassRegistrarChecks, DeleteCowRunsTheConstGetCheckAtEachStep) {
  InstallNotes();
  EXPECT_FALSE(m_Registrar.DeleteCow(300, &m_Data));
  EXPECT_EQ(s_Calls, Calls({"ConstGet 300", "ConstGet 200", "ConstGet 100"}));
  s_Calls.clear();
  m_Registrar.CreateClassMD("B"_cow, 200, 4, nullptr, 100).AddDtor([](CowData*) {});
  EXPECT_TRUE(m_Registrar.DeleteCow(300, &m_Data));
  EXPECT_EQ(s_Calls, Calls({"ConstGet 300", "ConstGet 200"}));
}

TEST_F(ClassRegistrarChecks, EachCheckIsInstalledSeparately) {
  cls_ClassRegistrar::SetConstGetCheck(&NoteConstGet);
  LookUpAll();
  EXPECT_EQ(s_Calls, Calls({"ConstGet 100", "ConstGet 200"}));
  Uninstall();
  s_Calls.clear();
  cls_ClassRegistrar::SetGetClassMetadataCheck(&NoteGetClassMetadata);
  LookUpAll();
  EXPECT_EQ(s_Calls, Calls({"GetClassMetadata 300 1"}));
  Uninstall();
  s_Calls.clear();
  cls_ClassRegistrar::SetGetClassIDCheck(&NoteGetClassID);
  LookUpAll();
  EXPECT_EQ(s_Calls, Calls({"GetClassID B"}));
}

TEST_F(ClassRegistrarChecks, LaterCheckReplacesTheEarlier) {
  InstallNotes();
  InstallRefusals();
  LookUpAll();
  EXPECT_EQ(s_Calls, Calls());
  EXPECT_THROW(static_cast<void>(m_Registrar.GetClassID("Z"_cow)), Refused);
}

TEST_F(ClassRegistrarChecks, NullUninstalls) {
  InstallNotes();
  Uninstall();
  LookUpAll();
  EXPECT_EQ(s_Calls, Calls());
}

TEST_F(ClassRegistrarChecks, ChecksRunForEveryRegistrar) {
  InstallNotes();
  {
    cls_ClassRegistrar early;
    EXPECT_EQ(early.GetClassID("A"_cow), 0U);
  }
  cls_ClassRegistrar const late;
  EXPECT_EQ(late.GetClassID("B"_cow), 0U);
  EXPECT_EQ(s_Calls, Calls({"GetClassID A", "GetClassID B"}));
  EXPECT_EQ(s_Registrar, &late);
}

TEST_F(ClassRegistrarChecks, ChecksRunBeforeTheLookUp) {
  cls_ClassRegistrar::SetConstGetCheck(&FillConstGet);
  cls_ClassRegistrar::SetGetClassMetadataCheck(&FillGetClassMetadata);
  cls_ClassRegistrar::SetGetClassIDCheck(&FillGetClassID);
  EXPECT_EQ(m_Registrar.ConstGet(400).ClassId(), 400U);
  EXPECT_EQ(m_Registrar.GetLastClassVersionNumber(500), 4);
  EXPECT_EQ(m_Registrar.GetClassMetadata(600, 9).Version(), 9);
  EXPECT_EQ(m_Registrar.GetClassID("Z"_cow), 900U);
}

TEST_F(ClassRegistrarChecks, ExceptionOfACheckPassesThrough) {
  InstallRefusals();
  EXPECT_THROW(static_cast<void>(m_Registrar.ConstGet(77)), Refused);
  EXPECT_THROW(static_cast<void>(m_Registrar.GetLastClassVersionNumber(77)), Refused);
  EXPECT_THROW(static_cast<void>(m_Registrar.GetClassMetadata(100, 1)), Refused);
  EXPECT_THROW(static_cast<void>(m_Registrar.GetClassID("Z"_cow)), Refused);
  EXPECT_THROW(m_Registrar.DeleteCow(77, &m_Data), Refused);
}

TEST_F(ClassRegistrarChecks, RefusedLookUpChangesNothing) {
  InstallRefusals();
  EXPECT_THROW(static_cast<void>(m_Registrar.ConstGet(77)), Refused);
  EXPECT_THROW(static_cast<void>(m_Registrar.GetClassID("Z"_cow)), Refused);
  EXPECT_FALSE(m_Registrar.ClassIsPresent(77));
  EXPECT_FALSE(m_Registrar.ClassNameIsPresent("Z"_cow));
  LookUpAll();
}

TEST_F(ClassRegistrarChecks, DeleteCowThroughAnUnknownBaseIsRefused) {
  InstallRefusals();
  m_Registrar.CreateClassMD("D"_cow, 400, 1, nullptr, 77);
  EXPECT_THROW(m_Registrar.DeleteCow(400, &m_Data), Refused);
}

TEST_F(ClassRegistrarChecks, DeleteCowStopsAtTheFirstDeletionFunction) {
  InstallRefusals();
  m_Registrar.CreateClassMD("D"_cow, 400, 1, nullptr, 77).AddDtor([](CowData*) {});
  EXPECT_TRUE(m_Registrar.DeleteCow(400, &m_Data));
}

TEST_F(ClassRegistrarChecks, InheritanceCheckThroughAnUnknownBaseIsNotRefused) {
  InstallRefusals();
  m_Registrar.CreateClassMD("D"_cow, 400, 1, nullptr, 77);
  EXPECT_FALSE(m_Registrar.InheritanceCheck(400, 100));
  EXPECT_FALSE(m_Registrar.InheritanceCheck(77, 100));
}

TEST_F(ClassRegistrarChecks, LaterNameOfAClassIsRefused) {
  InstallRefusals();
  m_Registrar.CreateClassMD("Renamed"_cow, 100, 5, nullptr, 1);
  EXPECT_EQ(m_Registrar.GetClassID("A"_cow), 100U);
  EXPECT_THROW(static_cast<void>(m_Registrar.GetClassID("Renamed"_cow)), Refused);
}

TEST_F(ClassRegistrarChecks, UnknownNameWithoutCheckIsZero) {
  EXPECT_EQ(m_Registrar.GetClassID("Z"_cow), 0U);
}

TEST_F(ClassRegistrarChecksDeathTest, UnknownClassWithoutCheckEndsTheProcess) {
  EXPECT_EXIT(static_cast<void>(m_Registrar.ConstGet(77)), ::testing::KilledBySignal(SIGABRT), "");
  EXPECT_EXIT(static_cast<void>(m_Registrar.GetLastClassVersionNumber(77)),
              ::testing::KilledBySignal(SIGABRT), "");
  EXPECT_EXIT(m_Registrar.DeleteCow(77, &m_Data), ::testing::KilledBySignal(SIGABRT), "");
}

TEST_F(ClassRegistrarChecksDeathTest, UnknownVersionWithoutCheckEndsTheProcess) {
  EXPECT_EXIT(static_cast<void>(m_Registrar.GetClassMetadata(100, 1)), ::testing::KilledBySignal(SIGABRT),
              "");
  EXPECT_EXIT(static_cast<void>(m_Registrar.GetClassMetadata(77, 1)), ::testing::KilledBySignal(SIGABRT), "");
}

TEST_F(ClassRegistrarChecksDeathTest, UnknownClassThatACheckAcceptsEndsTheProcess) {
  InstallNotes();
  EXPECT_EXIT(static_cast<void>(m_Registrar.ConstGet(77)), ::testing::KilledBySignal(SIGABRT), "");
}
