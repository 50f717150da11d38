// The contract suite itself: whatever a back end does, tests of it fail, and the program goes on to its end.

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>

#include "tests/support/ProgramRun.h"

namespace {

class HostileBackEnds : public ::testing::Test {
 protected:
  HostileBackEnds() {
    std::string name = (std::filesystem::temp_directory_path() / "kvl-hostile-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("mkdtemp");
    m_Folder = name;
  }
  ~HostileBackEnds() override {
    std::error_code ignored;
    std::filesystem::remove_all(m_Folder, ignored);
  }

  /// All tests but those that take long.
  static constexpr char const* MostTests = "*-*TenThousand*:*ContractExtremes*:*ContractOverwrite*";

  [[nodiscard]] Outcome Call(std::string const& environment, std::string const& arguments) const {
    // It runs all of its tests, whichever shard this one is in.
    return RunToItsEnd("env -u GTEST_TOTAL_SHARDS -u GTEST_SHARD_INDEX " + environment +
                           " " CONTRACT_HOSTILE " " + arguments,
                       m_Folder);
  }
  /// Runs the suite over the back end with a fault.
  [[nodiscard]] Outcome Run(std::string const& fault, std::string const& filter = MostTests) const {
    return Call("KVL_CONTRACT_SECONDS=2 KVL_CONTRACT_FAULT=" + fault,
                "--gtest_brief=1 --gtest_filter='" + filter + "'");
  }
  /// The run without a fault.
  [[nodiscard]] Outcome const& Healthy() const {
    static Outcome const healthy = Run("none.none:none");
    return healthy;
  }
  /// How many tests a run of the suite has begun; it says so first in its summary.
  static int TestsRun(Outcome const& outcome) {
    constexpr std::string_view Summary = "contract: ";
    std::size_t const at = outcome.out.find(Summary);
    return at == std::string::npos ? -1 : std::atoi(outcome.out.c_str() + at + Summary.size());
  }
  /// Expects that tests of the filter fail, and that the program has run all `count` of them.
  void ExpectFailures(std::string const& fault, std::string const& filter, int count) const {
    SCOPED_TRACE(fault);
    Outcome const outcome = Run(fault, filter);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.out.find("contract: FAILED BackEnds/"), std::string::npos);
    EXPECT_EQ(TestsRun(outcome), count);
  }
  void ExpectFailures(std::string const& fault) const {
    ExpectFailures(fault, MostTests, TestsRun(Healthy()));
  }

  std::filesystem::path m_Folder;
};

TEST_F(HostileBackEnds, WithoutAFaultEveryTestPasses) {
  EXPECT_EQ(Healthy().status, 0) << Healthy().out;
  EXPECT_EQ(Healthy().out.find("FAILED"), std::string::npos);
  EXPECT_GT(TestsRun(Healthy()), 150);
}
TEST_F(HostileBackEnds, AnyFaultLeavesTheWholeSuiteRunning) {
  for (char const* const operation :
       {"session.Open", "session.Save", "session.Load", "cls_MementoWrite.Write", "cls_MementoRead.GetUid",
        "cls_MementoRead.MakeFieldReadObj"})
    for (char const* const kind : {":raise", ":nothing"}) ExpectFailures(std::string(operation) + kind);
}

TEST_F(HostileBackEnds, ABackEndThatEndsTheProcessFailsTheTestThatItDoesSoIn) {
  for (char const* const how : {"end.abort", "end.crash", "end.exit"}) {
    SCOPED_TRACE(how);
    Outcome const outcome = Run(std::string(how) + ":now", "*ContractBlobs*");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(
        outcome.out.find("[   DIED   ] BackEnds/ContractBlobs.AGapReadsAsZeros/Hostile: ended the program"),
        std::string::npos)
        << outcome.out;
  }
}

TEST_F(HostileBackEnds, ABackEndThatHangsFailsTheTestThatItDoesSoIn) {
  Outcome const outcome = Run("end.hang:now", "*ContractBlobs.A*Gap*:*ContractBlobs.BlobsOf*");
  EXPECT_EQ(outcome.status, 1);
  EXPECT_NE(outcome.out.find("AGapReadsAsZeros/Hostile: did not end within 2 seconds"), std::string::npos);
  EXPECT_NE(outcome.out.find("BlobsOfManySizesComeBack/Hostile: did not end within 2 seconds"),
            std::string::npos);
}

// --- Every slot.

/// The interfaces that a back end implements.
constexpr char const* Interfaces[] = {
    "cls_MementoWrite",       "cls_MementoRead",     "cls_ReadListPrim",       "cls_ReadMapInt2Prim",
    "cls_ReadMapString2Prim", "cls_ReadListObj",     "cls_ReadMapInt2Obj",     "cls_ReadMapString2Obj",
    "cls_ReadIntTableInt",    "cls_WriteListPrim",   "cls_WriteMapInt2Prim",   "cls_WriteMapString2Prim",
    "cls_WriteListObj",       "cls_WriteMapInt2Obj", "cls_WriteMapString2Obj", "cls_WriteIntTableInt",
    "cls_AgentListPrim",      "cls_AgentListObj",    "cls_AgentMapKey2Obj",    "cls_AgentBlob"};

/// Faults that no test can notice over this back end.
constexpr std::string_view Harmless[] = {
    // A back end may keep these.
    "cls_MementoWrite.NeedsDeletion:nothing", "cls_MementoWrite.NeedsDeletion:wrong",
    "cls_MementoRead.NeedsDeletion:nothing", "cls_MementoRead.NeedsDeletion:wrong",
    "cls_AgentBlob.NeedsDeletion:nothing", "cls_AgentBlob.NeedsDeletion:wrong",
    // It may do nothing.
    "cls_MementoWrite.CheckCollectionType:nothing", "cls_MementoWrite.CopyBranch:nothing",
    "cls_MementoWrite.StartSharedPtrOutput:nothing", "cls_MementoWrite.EndSharedPtrOutput:nothing",
    // Twice is as good as once.
    "CheckCollectionType:wrong", "SharedPtrOutput:wrong", ".EndFlush:wrong", ".RegisterHolder:wrong",
    ".Clear:wrong",
    "cls_MementoRead.DbId:wrong", // any text will do
    ".Changed:nothing",           // no other session changes a collection
    ".EndFlush:nothing"};         // what is written is stored at once

/// Runs the faults of a slot, with the tests that state that they cover it.
class HostileSlots : public HostileBackEnds {
 protected:
  using Tests = std::set<std::string>; ///< "Suite.Name"

  /// The tests of each operation, by "interface.operation", which all its overloads share. Not of destructors: one
  /// that raises ends the process, which another test checks.
  [[nodiscard]] std::map<std::string, Tests> const& Covering() const {
    static std::map<std::string, Tests> const covering = ReadCovering();
    return covering;
  }
  void ExpectFailuresOf(std::string const& operation, Tests const& tests) const {
    ASSERT_FALSE(tests.empty()) << operation;
    std::string filter;
    for (std::string const& test : tests)
      filter += (filter.empty() ? "BackEnds/" : ":BackEnds/") + test + "/*";
    for (char const* const kind : {":raise", ":nothing", ":wrong"}) {
      std::string const fault = operation + kind;
      bool const isHarmless =
          std::ranges::any_of(Harmless, [&](std::string_view end) { return fault.ends_with(end); });
      if (isHarmless)
        EXPECT_EQ(Run(fault, filter).status, 0) << fault << " is noticed: it is not harmless";
      else
        ExpectFailures(fault, filter, static_cast<int>(tests.size()));
    }
  }

 private:
  /// The tests that MostTests selects, from the framework's list: suites, and their tests below them.
  [[nodiscard]] Tests ReadSelected() const {
    std::istringstream lines(
        Call("", std::string("--gtest_list_tests --gtest_filter='") + MostTests + "'").out);
    Tests tests;
    std::string suite;
    for (std::string line; std::getline(lines, line);)
      if (line.starts_with("  "))
        tests.insert(suite + line.substr(2, line.find('/') - 2));
      else
        suite = line.substr(line.find('/') + 1);
    return tests;
  }
  [[nodiscard]] std::map<std::string, Tests> ReadCovering() const {
    Tests const selected = ReadSelected();
    std::istringstream lines(Call("", "--print-covering").out);
    std::map<std::string, Tests> covering;
    Tests* tests = nullptr;
    for (std::string line; std::getline(lines, line);) {
      if (line.starts_with("  ")) {
        if (tests != nullptr && selected.contains(line.substr(2))) tests->insert(line.substr(2));
        continue;
      }
      std::istringstream words(line);
      std::string interface, operation;
      int slot = 0;
      words >> interface >> slot >> operation;
      tests = slot == 0 ? nullptr : &covering[interface + "." + operation.substr(0, operation.find('('))];
    }
    return covering;
  }
};

class HostileInterfaces : public HostileSlots, public ::testing::WithParamInterface<char const*> {};

TEST_P(HostileInterfaces, EveryFaultOfASlotFailsATestThatCoversIt) {
  std::string const interface = std::string(GetParam()) + ".";
  int slots = 0;
  for (auto const& [operation, tests] : Covering()) {
    if (!operation.starts_with(interface)) continue;
    ++slots;
    ExpectFailuresOf(operation, tests);
  }
  EXPECT_GT(slots, 0);
}

INSTANTIATE_TEST_SUITE_P(Of, HostileInterfaces, ::testing::ValuesIn(Interfaces),
                         [](auto const& interface) { return std::string(interface.param); });

TEST_F(HostileSlots, EveryInterfaceIsListed) {
  for (auto const& [operation, tests] : Covering()) {
    std::string const interface = operation.substr(0, operation.find('.'));
    // These are not made by this back end: requests by the library, proxies by back ends that copy.
    if (interface.find("Request") != std::string::npos || interface == "cls_AgentProxy") continue;
    EXPECT_NE(std::ranges::find(Interfaces, interface), std::end(Interfaces)) << interface;
  }
}

} // namespace
