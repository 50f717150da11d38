#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "tests/faults/ModelScript.h"
#include "tests/faults/ModelShrink.h"
#include "tests/support/store/StorePowerVfs.h"

namespace {

// Tests the tools of the fault campaign, because its reports depend on them.

using Operation = StorePowerVfs::Operation;
using Kind = Operation::Kind;

TEST(FaultsScript, TextOfAScriptIsTheScript) {
  ModelScript const script = ModelGenerate(7, 300);
  std::string const text = ModelText(script);
  EXPECT_EQ(ModelText(ModelParse(text)), text);
  EXPECT_EQ(ModelParse(text).m_ReadersBesideWriter, script.m_ReadersBesideWriter);
}

TEST(FaultsScript, SeedDecidesTheScript) {
  EXPECT_EQ(ModelText(ModelGenerate(3, 100)), ModelText(ModelGenerate(3, 100)));
  EXPECT_NE(ModelText(ModelGenerate(3, 100)), ModelText(ModelGenerate(5, 100)));
}

TEST(FaultsShrink, LeastScriptIsFound) {
  // Fails if a Save comes anywhere before a Rollback.
  auto const fails = [](ModelScript const& script) {
    auto const is = [](ModelOp op) { return [op](ModelStep const& step) { return step.m_Op == op; }; };
    auto const save = std::find_if(script.m_Steps.begin(), script.m_Steps.end(), is(ModelOp::Save));
    return std::find_if(save, script.m_Steps.end(), is(ModelOp::Rollback)) != script.m_Steps.end();
  };
  ModelScript const script = ModelGenerate(11, 500);
  ASSERT_TRUE(fails(script));
  ModelScript const least = ModelShrink(script, fails);
  ASSERT_EQ(least.m_Steps.size(), 2U);
  EXPECT_EQ(ModelText(least.m_Steps[0]).substr(0, 4), "Save");
  EXPECT_EQ(ModelText(least.m_Steps[1]).substr(0, 8), "Rollback");
  EXPECT_EQ(least.m_Steps[0].m_Args[1], 0);
}

class FaultsPower : public testing::Test {
 protected:
  void Apply(Kind kind, std::string path, std::int64_t offset = 0, std::string bytes = {}) {
    m_Cut.Apply({kind, std::move(path), offset, std::move(bytes)});
  }
  /// The contents of a file after many cuts; "-" if it is missing.
  std::set<std::string> Contents(std::string const& path) {
    std::set<std::string> contents;
    for (int i = 0; i < 400; ++i) {
      auto const files = m_Cut.Cut(m_Random, 4);
      auto const found = files.find(path);
      contents.insert(found == files.end() ? "-" : found->second);
    }
    return contents;
  }

  std::mt19937 m_Random{1};
  StorePowerCut m_Cut{{{"file", "AAAABBBB"}}};
};

TEST_F(FaultsPower, WriteThatIsNotSynchronisedIsKeptDroppedOrTorn) {
  Apply(Kind::Write, "file", 0, "ccccdddd");
  EXPECT_EQ(Contents("file"), (std::set<std::string>{"AAAABBBB", "ccccBBBB", "AAAAdddd", "ccccdddd"}));
}

TEST_F(FaultsPower, WriteThatIsSynchronisedIsKept) {
  Apply(Kind::Write, "file", 4, "dddd");
  Apply(Kind::Sync, "file");
  EXPECT_EQ(Contents("file"), (std::set<std::string>{"AAAAdddd"}));
}

TEST_F(FaultsPower, NameIsThereForSureWhenItsFolderIsSynchronised) {
  Apply(Kind::Create, "new");
  Apply(Kind::Write, "new", 0, "x");
  Apply(Kind::Sync, "new");
  EXPECT_EQ(Contents("new"), (std::set<std::string>{"-", "x"}));
  Apply(Kind::SyncFolder, "new");
  EXPECT_EQ(Contents("new"), (std::set<std::string>{"x"}));
}

TEST_F(FaultsPower, FileThatIsDeletedMayComeBackUntilItsFolderIsSynchronised) {
  Apply(Kind::Delete, "file");
  EXPECT_EQ(Contents("file"), (std::set<std::string>{"-", "AAAABBBB"}));
  Apply(Kind::SyncFolder, "file");
  EXPECT_EQ(Contents("file"), (std::set<std::string>{"-"}));
}

TEST_F(FaultsPower, FileThatIsCutMayKeepItsLength) {
  Apply(Kind::Truncate, "file", 4);
  EXPECT_EQ(Contents("file"), (std::set<std::string>{"AAAA", "AAAABBBB"}));
}

} // namespace
