// Runs the program on stores that it wrote when materials and conditions were chains. The golden stores never
// change; every test works on a copy.

#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>
#include <regex>
#include <string>
#include <vector>

#include "tests/support/HeatProgramTest.h"
#include "tests/support/store/StoreFile.h"

namespace {

using Texts = std::vector<std::string>;

class HeatOldStores : public HeatProgramTest {
 protected:
  // The path of a fresh copy of a golden store.
  std::string Golden(std::string const& kind, std::string const& name) const {
    std::filesystem::copy_file(std::string(HEAT_GOLDEN_DIR) + "/heat-1-" + kind + ".kvs", Path(name));
    return Path(name).string();
  }

  std::string Done(std::string const& arguments) const {
    Outcome const outcome = Run(arguments);
    EXPECT_EQ(outcome.status, 0) << arguments;
    EXPECT_EQ(outcome.err, "") << arguments;
    return outcome.out;
  }

  // The table of a history, which starts after an empty line.
  std::string Table(std::string const& store) const {
    std::string const history = Done("history " + store);
    std::size_t const start = history.find("\n\n");
    return start == std::string::npos ? history : history.substr(start);
  }

  // The attributes of a version of a class in a store: number, name, collection type.
  static Texts Attributes(std::string const& store, std::string const& className, int version) {
    return SqlFile(store).Texts(
        "SELECT field_id || ' ' || a.name || ' ' || collection_type FROM attribute AS a "
        "JOIN class AS c USING(class_id, version) WHERE c.name = '" +
        className + "' AND version = " + std::to_string(version) + " ORDER BY field_id");
  }
};

Texts const ChainedPart = {"0 m_Name 0", "1 m_Next 0"};
Texts const ChainedAnalysis = {"0 m_Mesh 0",     "1 m_MaterialOf 54", "2 m_Notes 55",
                               "3 m_Solution 0", "4 m_Materials 0",   "5 m_Conditions 0"};
Texts const ListedAnalysis = {"0 m_Mesh 0",     "1 m_MaterialOf 54",   "2 m_Notes 55",
                              "3 m_Solution 0", "6 m_MaterialList 50", "7 m_ConditionList 50"};

} // namespace

TEST_F(HeatOldStores, GoldenStoresHaveChains) {
  for (char const* const kind : {"steady", "transient"}) {
    std::string const store = Golden(kind, kind);
    EXPECT_EQ(Attributes(store, "heat_ModelPart", 1), ChainedPart);
    EXPECT_EQ(Attributes(store, "heat_AnalysisModel", 1), ChainedAnalysis);
    EXPECT_EQ(Attributes(store, "heat_AnalysisModel", 2), Texts());
  }
}

TEST_F(HeatOldStores, NewStoresHaveLists) {
  ASSERT_EQ(Analyse(Data("mixed.msh"), "new.kvs").status, 0);
  std::string const store = Path("new.kvs").string();
  EXPECT_EQ(Attributes(store, "heat_ModelPart", 2), Texts{"0 m_Name 0"});
  EXPECT_EQ(Attributes(store, "heat_AnalysisModel", 2), ListedAnalysis);
}

// With a condition or a material missing, the stored temperatures would not solve the problem.
TEST_F(HeatOldStores, ReportsASteadyAnalysis) {
  std::string const store = Golden("steady", "old.kvs");
  StoreBytes const before = FileBytes(store);
  std::string const report = Done("report " + store);
  EXPECT_TRUE(std::regex_search(report, std::regex("elements +8\n"))) << report;
  EXPECT_TRUE(std::regex_search(report, std::regex("minimum temperature +100.70 °C\n"))) << report;
  EXPECT_TRUE(std::regex_search(report, std::regex("maximum temperature +120.00 °C\n"))) << report;
  EXPECT_EQ(FileBytes(store), before);
}

TEST_F(HeatOldStores, ShowsTheHistoryOfARun) {
  std::string const store = Golden("transient", "old.kvs");
  StoreBytes const before = FileBytes(store);
  std::string const table = Table(store);
  EXPECT_TRUE(std::regex_search(table, std::regex(" 0 s +120.00 °C +20.00 °C +20.00 °C\n"))) << table;
  EXPECT_TRUE(std::regex_search(table, std::regex(" 120 s +120.00 °C +93.23 °C +81.41 °C\n$"))) << table;
  EXPECT_EQ(FileBytes(store), before);
}

TEST_F(HeatOldStores, ResumesARunToTheTemperaturesOfANewOne) {
  std::string const store = Golden("transient", "old.kvs");
  EXPECT_NE(Done("resume " + store).find("continues from step 2 of 6\ncheckpoint at step 4 of 6, 240 s\n"),
            std::string::npos);
  Done("transient " + Data("mixed.msh") + " --store " + Path("new.kvs").string() +
       " --steps 6 --dt 60 --checkpoint 2");
  EXPECT_EQ(Table(store), Table(Path("new.kvs").string()));
  EXPECT_EQ(IntegrityOf(store), "ok");
}

TEST_F(HeatOldStores, ResumedRunHasPartsOfBothVersions) {
  std::string const store = Golden("transient", "old.kvs");
  Done("resume " + store);
  EXPECT_EQ(Attributes(store, "heat_ModelPart", 1), ChainedPart);
  EXPECT_EQ(Attributes(store, "heat_ModelPart", 2), Texts{"0 m_Name 0"}); // of the checkpoint
  EXPECT_NE(Done("history " + store).find("6 of 6\n"), std::string::npos);
}

TEST_F(HeatOldStores, ComparesRuns) {
  std::string const whole = Golden("transient", "whole.kvs");
  std::string const parts = Golden("transient", "parts.kvs");
  Done("resume " + whole);
  Done("resume " + parts + " --steps 3");
  Done("resume " + parts + " --steps 6");
  EXPECT_EQ(Done("compare " + whole + " " + parts), "63 elements, equal in every bit\n");
  Outcome const shorter = Run("compare " + Golden("transient", "old.kvs") + " " + whole);
  EXPECT_EQ(shorter.status, 1);
  EXPECT_NE(shorter.out.find("no difference in the first 27 elements, which both have\n"), std::string::npos)
      << shorter.out;
}
