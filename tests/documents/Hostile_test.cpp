// The contract suite itself: whatever a back end does, tests of it fail, and the program goes on to its end.

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/ProgramRun.h"

namespace {

class HostileBackEnds : public ::testing::Test {
 protected:
  HostileBackEnds() {
    std::string name = (std::filesystem::temp_directory_path() / "kvl-hostile-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("mkdtemp");
    m_Folder = name;
    m_Healthy = Run("none:none");
  }
  ~HostileBackEnds() override {
    std::error_code ignored;
    std::filesystem::remove_all(m_Folder, ignored);
  }

  /// Runs the suite over the back end with a fault, without the tests that take long.
  [[nodiscard]] Outcome Run(std::string const& fault, std::string const& filter = "") const {
    std::string const tests =
        filter.empty() ? "*-*TenThousand*:*ContractExtremes*:*ContractOverwrite*" : filter;
    // It runs all of its tests, whichever shard this one is in.
    return RunToItsEnd("env -u GTEST_TOTAL_SHARDS -u GTEST_SHARD_INDEX KVL_CONTRACT_SECONDS=2 "
                       "KVL_CONTRACT_FAULT=" +
                           fault + " " CONTRACT_HOSTILE " --gtest_brief=1 --gtest_filter='" + tests + "'",
                       m_Folder);
  }
  /// How many tests a run of the suite has begun; it says so first in its summary.
  static int TestsRun(Outcome const& outcome) {
    constexpr std::string_view Summary = "contract: ";
    std::size_t const at = outcome.out.find(Summary);
    return at == std::string::npos ? -1 : std::atoi(outcome.out.c_str() + at + Summary.size());
  }
  void ExpectFailures(std::string const& fault) const {
    SCOPED_TRACE(fault);
    Outcome const outcome = Run(fault);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.out.find("contract: FAILED BackEnds/"), std::string::npos);
    EXPECT_EQ(TestsRun(outcome), TestsRun(m_Healthy));
  }

  std::filesystem::path m_Folder;
  Outcome m_Healthy;
};

TEST_F(HostileBackEnds, WithoutAFaultEveryTestPasses) {
  EXPECT_EQ(m_Healthy.status, 0) << m_Healthy.out;
  EXPECT_EQ(m_Healthy.out.find("FAILED"), std::string::npos);
  EXPECT_GT(TestsRun(m_Healthy), 150);
}

/// Operations without which something is not saved or not loaded.
constexpr char const* Needed[] = {"session.Open",
                                  "session.Save",
                                  "session.Load",
                                  "write.FieldIsPresent",
                                  "write.MakeFieldWriteObj",
                                  "write.MakeFieldWriteObjCow",
                                  "write.MakeBaseWriteObj",
                                  "write.Write",
                                  "write.WriteEnum",
                                  "write.WriteReference",
                                  "write.WriteBytes",
                                  "write.MakeWriteListPrim",
                                  "write.MakeWriteMapInt2Prim",
                                  "write.MakeWriteMapString2Prim",
                                  "write.MakeWriteListObj",
                                  "write.MakeWriteMapInt2Obj",
                                  "write.MakeWriteMapString2Obj",
                                  "write.MakeWriteIntTableInt",
                                  "write.MakeFieldWriteListObj",
                                  "write.MakeFieldWriteMapInt2Obj",
                                  "write.MakeFieldWriteMapString2Obj",
                                  "write.MakeFieldWriteIntTableInt",
                                  "write.MakeAgentListPrim",
                                  "write.MakeAgentListObj",
                                  "write.MakeAgentMapKey2Obj",
                                  "write.MakeAgentBlob",
                                  "read.DbId",
                                  "read.GetUid",
                                  "read.FieldIsPresent",
                                  "read.DataIsPresent",
                                  "read.MakeFieldReadObj",
                                  "read.Clone",
                                  "read.Read",
                                  "read.ReadEnum",
                                  "read.ReadReference",
                                  "read.ReadBytes",
                                  "read.ClassId",
                                  "read.ClassVersion",
                                  "read.MakeReadListPrim",
                                  "read.MakeReadMapInt2Prim",
                                  "read.MakeReadMapString2Prim",
                                  "read.MakeReadListObj",
                                  "read.MakeReadMapInt2Obj",
                                  "read.MakeReadMapString2Obj",
                                  "read.MakeReadIntTableInt",
                                  "read.MakeFieldReadListObj",
                                  "read.MakeFieldReadMapInt2Obj",
                                  "read.MakeFieldReadMapString2Obj",
                                  "read.MakeFieldReadIntTableInt",
                                  "read.MakeAgentListPrim",
                                  "read.MakeAgentListObj",
                                  "read.MakeAgentMapKey2Obj",
                                  "read.MakeAgentBlob",
                                  "read.CheckCollectionType",
                                  "cursor.Count",
                                  "cursor.More",
                                  "cursor.NextRun",
                                  "cursor.Next",
                                  "table.More",
                                  "agent.Count",
                                  "agent.SizeHint",
                                  "agent.WriteRun",
                                  "agent.ReadRun",
                                  "agent.AddReference",
                                  "agent.DropReference",
                                  "agent.StillReferenced",
                                  "agent.RegisterHolder"};
/// Operations that may do nothing: an answer of false, zero or nothing is one that a back end may give.
constexpr char const* MayDoNothing[] = {"write.NeedsDeletion",
                                        "write.CheckCollectionType",
                                        "write.CopyBranch",
                                        "write.StartSharedPtrOutput",
                                        "write.EndSharedPtrOutput",
                                        "read.NeedsDeletion",
                                        "agent.Changed",
                                        "agent.EndFlush",
                                        "agent.ReadOnly"};

TEST_F(HostileBackEnds, EveryOperationThatRaisesFailsTests) {
  for (char const* const operation : Needed) ExpectFailures(std::string(operation) + ":raise");
  for (char const* const operation : MayDoNothing) ExpectFailures(std::string(operation) + ":raise");
}

TEST_F(HostileBackEnds, EveryOperationThatReturnsNothingFailsTests) {
  for (char const* const operation : Needed) ExpectFailures(std::string(operation) + ":nothing");
}

TEST_F(HostileBackEnds, EveryOperationThatAnswersWronglyFailsTests) {
  for (char const* const operation :
       {"write.FieldIsPresent", "write.CopyBranch",    "read.GetUid",           "read.FieldIsPresent",
        "read.DataIsPresent",   "read.Read",           "read.ReadEnum",         "read.ReadReference",
        "read.ReadBytes",       "read.ClassId",        "read.ClassVersion",     "cursor.Count",
        "cursor.More",          "cursor.NextRun",      "cursor.Next",           "table.More",
        "agent.Count",          "agent.SizeHint",      "agent.Changed",         "agent.ReadRun",
        "agent.AddReference",   "agent.DropReference", "agent.StillReferenced", "agent.ReadOnly"})
    ExpectFailures(std::string(operation) + ":wrong");
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

} // namespace
