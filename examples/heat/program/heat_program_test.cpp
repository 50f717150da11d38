// Runs the program as a user would: each call is a separate process.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <regex>
#include <string>

#include "metadata/cls_ClassRegistrar.h"
#include "store/sto_Store.h"
#include "tests/support/HeatProgramTest.h"
#include "tests/support/store/StoreFile.h"

namespace {

namespace fs = std::filesystem;

class HeatProgram : public HeatProgramTest {};

} // namespace

TEST_F(HeatProgram, AnalysesTheBracketAndReportsItInASecondProcess) {
  Outcome const analyse = Analyse(Data("bracket.msh"), "bracket.kvs");
  ASSERT_EQ(analyse.status, 0) << analyse.err;
  EXPECT_EQ(analyse.err, ""); // no progress line in a file
  Outcome const report =
      Run("report " + Path("bracket.kvs").string() + " --plot " + Path("bracket.svg").string());
  ASSERT_EQ(report.status, 0) << report.err;
  EXPECT_EQ(report.err, "");
  EXPECT_TRUE(std::regex_search(report.out, std::regex("elements +1449\n"))) << report.out;
  EXPECT_TRUE(std::regex_search(report.out, std::regex("maximum temperature +120.00")));
  EXPECT_TRUE(std::regex_search(report.out, std::regex("largest difference +0.0e\\+00 K"))) << report.out;
  EXPECT_NE(Contents(Path("bracket.svg")).find("</svg>"), std::string::npos);
}

TEST_F(HeatProgram, AnalysesTheSurfaceOfTheBlock) {
  ASSERT_EQ(Analyse(Data("block.msh"), "block.kvs").status, 0);
  Outcome const report = Run("report " + Path("block.kvs").string());
  ASSERT_EQ(report.status, 0) << report.err;
  EXPECT_TRUE(std::regex_search(report.out, std::regex("nodes +1274\n")));
  EXPECT_TRUE(std::regex_search(report.out, std::regex("elements +2544\n")));
}

TEST_F(HeatProgram, SaysWhatIsLeftOutOfAMesh) {
  std::string const text =
      "mixed.msh: left out: 2 lines, 1 tetrahedron, 1 point, 1 node that no triangle uses\n";
  EXPECT_TRUE(Analyse(Data("mixed.msh"), "steady.kvs").out.starts_with(text));
  EXPECT_TRUE(Run("transient " + Data("mixed.msh") + " --steps 2 --dt 60 --store " + Path("run.kvs").string())
                  .out.starts_with(text + "checkpoint at step 2 of 2"));
}

TEST_F(HeatProgram, SaysNothingOfAMeshThatIsUsedAsAWhole) {
  std::ofstream(Path("whole.msh"))
      << "$MeshFormat\n4.1 0 8\n$EndMeshFormat\n$Nodes\n1 3 1 3\n2 1 0 3\n1\n2\n3\n"
         "0 0 0\n1 0 0\n0 1 0\n$EndNodes\n$Elements\n1 1 1 1\n2 1 2 1\n1 1 2 3\n"
         "$EndElements\n";
  Outcome const analyse = Analyse(Path("whole.msh").string(), "whole.kvs");
  EXPECT_EQ(analyse.status, 0) << analyse.err;
  EXPECT_TRUE(analyse.out.starts_with("whole.msh: solved in ")) << analyse.out;
}

TEST_F(HeatProgram, WritesEachSharedObjectOnce) {
  ASSERT_EQ(Analyse(Data("bracket.msh"), "bracket.kvs").status, 0);
  SqlFile file(Path("bracket.kvs").string());
  for (char const* const name : {"heat_MeshModel", "heat_AnalysisModel"})
    EXPECT_EQ(file.CountOf(static_cast<unsigned int>(
                  file.Integer("SELECT class_id FROM class WHERE name = '" + std::string(name) + "'"))),
              1)
        << name;
  EXPECT_EQ(IntegrityOf(Path("bracket.kvs").string()), "ok");
}

TEST_F(HeatProgram, BacksUpAStoreThatIsSound) {
  ASSERT_EQ(Analyse(Data("bracket.msh"), "bracket.kvs").status, 0);
  std::string const arguments = "backup " + Path("bracket.kvs").string() + " " + Path("copy.kvs").string();
  Outcome const backup = Run(arguments);
  EXPECT_EQ(backup.status, 0) << backup.err;
  EXPECT_EQ(backup.err, ""); // no bar in a file
  EXPECT_TRUE(
      std::regex_search(backup.out, std::regex("bracket.kvs: sound, \\d+ objects; 0 unused ones deleted")))
      << backup.out;
  EXPECT_EQ(Run("report " + Path("copy.kvs").string()).status, 0);
  std::string const before = Contents(Path("copy.kvs"));
  ExpectOneLine(Run(arguments), 2, "copy.kvs");
  EXPECT_EQ(Contents(Path("copy.kvs")), before);
}

TEST_F(HeatProgram, BacksUpAStoreWithoutWhatNothingUses) {
  ASSERT_EQ(Analyse(Data("bracket.msh"), "bracket.kvs").status, 0);
  auto const size = fs::file_size(Path("bracket.kvs"));
  {
    cls_ClassRegistrar const none;
    sto_Store store = sto_Store::Open(Path("bracket.kvs"), sto_Mode::ReadWrite, none);
    EXPECT_TRUE(store.RemoveRoot(store.Roots().front()));
  }
  Outcome const backup = Run("backup " + Path("bracket.kvs").string() + " " + Path("copy.kvs").string());
  EXPECT_EQ(backup.status, 0) << backup.err;
  EXPECT_TRUE(std::regex_search(backup.out, std::regex("sound, 0 objects; \\d\\d+ unused ones deleted")))
      << backup.out;
  EXPECT_LT(fs::file_size(Path("bracket.kvs")), size);
}

TEST_F(HeatProgram, BacksUpNoDamagedStore) {
  ASSERT_EQ(Analyse(Data("bracket.msh"), "bracket.kvs").status, 0);
  SqlFile(Path("bracket.kvs").string()).Run("UPDATE root SET checksum = checksum + 1");
  ExpectOneLine(Run("backup " + Path("bracket.kvs").string() + " " + Path("copy.kvs").string()), 1,
                "is damaged");
  EXPECT_FALSE(fs::exists(Path("copy.kvs")));
}

TEST_F(HeatProgram, NamesAMissingMesh) {
  ExpectOneLine(Analyse(Path("none.msh").string(), "new.kvs"), 2, "none.msh: there is no such file");
  EXPECT_FALSE(fs::exists(Path("new.kvs")));
}

TEST_F(HeatProgram, NamesFileAndLineOfAnInvalidMesh) {
  std::ofstream(Path("text.msh")) << "Once upon a time\n";
  ExpectOneLine(Analyse(Path("text.msh").string(), "new.kvs"), 1, "text.msh:1: ");
  EXPECT_FALSE(fs::exists(Path("new.kvs")));
}

TEST_F(HeatProgram, NamesFileAndLineOfATruncatedMesh) {
  std::string const whole = Contents(Data("bracket.msh"));
  std::string const half = whole.substr(0, whole.find('\n', whole.size() / 2) + 1);
  std::ofstream(Path("half.msh")) << half;
  auto const lines = std::to_string(std::count(half.begin(), half.end(), '\n'));
  ExpectOneLine(Analyse(Path("half.msh").string(), "new.kvs"), 1, "half.msh:");
  EXPECT_NE(Contents(Path("err")).find("half.msh:" + lines), std::string::npos) << Contents(Path("err"));
  EXPECT_FALSE(fs::exists(Path("new.kvs")));
}

TEST_F(HeatProgram, LeavesAnExistingStoreUnchanged) {
  ASSERT_EQ(Analyse(Data("bracket.msh"), "bracket.kvs").status, 0);
  std::string const before = Contents(Path("bracket.kvs"));
  ExpectOneLine(Analyse(Data("block.msh"), "bracket.kvs"), 2, "bracket.kvs: the file exists already");
  EXPECT_EQ(Contents(Path("bracket.kvs")), before);
}

TEST_F(HeatProgram, RefusesToMakeAStoreThatWouldNotBeARegularFile) {
  fs::create_symlink("/dev/null", Path("link"));
  fs::create_directory(Path("folder"));
  ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
  for (std::string const& store : {std::string("/dev/null"), std::string("/dev/full"), Path("link").string(),
                                   Path("folder").string(), Path("pipe").string()})
    for (std::string const& call : {"analyse " + Data("mixed.msh") + " --store " + store,
                                    "transient " + Data("mixed.msh") + " --steps 6 --dt 60 --store " + store})
      ExpectOneLine(Run(call), 2, "heat: " + store + ": cannot be written: it ");
  ExpectOneLine(Analyse(Data("mixed.msh"), "no/new.kvs"), 2, "new.kvs: cannot be written: No such file");
  EXPECT_TRUE(fs::is_character_file("/dev/null"));
  EXPECT_TRUE(fs::is_symlink(Path("link")));
}

TEST_F(HeatProgram, MakesTheStoreAtTheTargetOfALink) {
  fs::create_directory(Path("folder"));
  fs::create_symlink("folder/new.kvs", Path("link.kvs"));
  ASSERT_EQ(Analyse(Data("mixed.msh"), "link.kvs").status, 0);
  EXPECT_TRUE(fs::is_symlink(Path("link.kvs")));
  EXPECT_EQ(Run("report " + Path("folder/new.kvs").string()).status, 0);
  ExpectOneLine(Analyse(Data("mixed.msh"), "link.kvs"), 2, "link.kvs: the file exists already");
  EXPECT_TRUE(fs::is_symlink(Path("link.kvs")));
}

TEST_F(HeatProgram, RefusesAPlotThatWouldNotBeARegularFileBeforeItReads) {
  ASSERT_EQ(Analyse(Data("mixed.msh"), "steady.kvs").status, 0);
  fs::create_directory(Path("folder"));
  ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
  for (std::string const& plot : {std::string("/dev/null"), std::string("/dev/full"), Path("folder").string(),
                                  Path("pipe").string(), Path("no/plot.svg").string()}) {
    ExpectOneLine(Run("report " + Path("steady.kvs").string() + " --plot " + plot), 2,
                  "heat: " + plot + ": cannot be written: ");
    // Refused even before it looks for the store.
    ExpectOneLine(Run("history " + Path("none.kvs").string() + " --plot " + plot), 2,
                  "heat: " + plot + ": cannot be written: ");
  }
  EXPECT_TRUE(fs::is_character_file("/dev/null"));
}

TEST_F(HeatProgram, PlotsThroughALinkAndKeepsTheLink) {
  ASSERT_EQ(Analyse(Data("mixed.msh"), "steady.kvs").status, 0);
  std::ofstream(Path("plot.svg")) << "an older plot";
  fs::create_symlink("plot.svg", Path("link.svg"));
  ASSERT_EQ(Run("report " + Path("steady.kvs").string() + " --plot " + Path("link.svg").string()).status, 0);
  EXPECT_TRUE(fs::is_symlink(Path("link.svg")));
  EXPECT_NE(Contents(Path("plot.svg")).find("</svg>"), std::string::npos);
}

TEST_F(HeatProgram, DoesNotOverwriteItsStoreWithAPlot) {
  ASSERT_EQ(Analyse(Data("mixed.msh"), "steady.kvs").status, 0);
  std::string const before = Contents(Path("steady.kvs"));
  fs::create_symlink("steady.kvs", Path("link.svg"));
  for (char const* const plot : {"steady.kvs", "link.svg"})
    ExpectOneLine(Run("report " + Path("steady.kvs").string() + " --plot " + Path(plot).string()), 2,
                  std::string(plot) + ": the plot would overwrite the store");
  EXPECT_EQ(Contents(Path("steady.kvs")), before);
}

TEST_F(HeatProgram, ReportOfATransientRunPointsToItsHistory) {
  std::string const store = Path("run.kvs").string();
  ASSERT_EQ(Run("transient " + Data("mixed.msh") + " --steps 6 --dt 60 --store " + store).status, 0);
  ExpectOneLine(Run("report " + store), 2,
                store + ": this is a transient run; show it with heat history " + store);
}

TEST_F(HeatProgram, RefusesAFileThatIsNotAStoreAndLeavesItUnchanged) {
  std::ofstream(Path("letter.txt")) << "Dear reader,\n";
  ExpectOneLine(Run("report " + Path("letter.txt").string()), 2, "letter.txt: This is not a store.");
  EXPECT_EQ(Contents(Path("letter.txt")), "Dear reader,\n");
}

TEST_F(HeatProgram, RefusesAStoreOfANewerFormat) {
  ASSERT_EQ(Analyse(Data("bracket.msh"), "newer.kvs").status, 0);
  SqlFile(Path("newer.kvs").string()).Run("PRAGMA user_version = 7");
  std::string const before = Contents(Path("newer.kvs"));
  ExpectOneLine(Run("report " + Path("newer.kvs").string()), 1, "format version 7");
  EXPECT_EQ(Contents(Path("newer.kvs")), before);
}

TEST_F(HeatProgram, NoticesDamagedBytes) {
  ASSERT_EQ(Analyse(Data("bracket.msh"), "damaged.kvs").status, 0);
  SqlFile(Path("damaged.kvs").string())
      .Run("UPDATE block SET data = zeroblob(length(data)) WHERE key = (SELECT min(key) FROM block)");
  ExpectOneLine(Run("report " + Path("damaged.kvs").string()), 1, "damaged");
}

TEST_F(HeatProgram, FullStandardOutputIsAnErrorOfEachCommand) {
  std::string const steady = Path("steady.kvs").string();
  std::string const run = Path("run.kvs").string();
  std::string const plan = " --steps 6 --dt 60 --checkpoint 2";
  auto const refused = [&](std::string const& call) {
    ExpectOneLine(RunWithoutOutput(call), 1, "standard output cannot be written: No space left on device");
  };
  refused("analyse " + Data("mixed.msh") + " --store " + steady);
  refused("transient " + Data("mixed.msh") + " --store " + run + plan);
  refused("report " + steady);
  refused("report " + steady + " --plot " + Path("plot.svg").string());
  refused("history " + run);
  refused("compare " + run + " " + run);
  refused("resume " + run + " --steps 8");
  refused("--help");
  refused("report --help");
  // What was saved earlier stays saved.
  EXPECT_NE(Run("history " + run).out.find("8 of 8\n"), std::string::npos);
  EXPECT_EQ(Run("report " + steady).status, 0);
}

TEST_F(HeatProgram, PrintsItsUsage) {
  Outcome const help = Run("--help");
  EXPECT_EQ(help.status, 0);
  EXPECT_NE(help.out.find("analyse"), std::string::npos);
  EXPECT_NE(help.out.find("2 wrong call, also if --store names a file that exists"), std::string::npos)
      << help.out;
  EXPECT_EQ(Run("").status, 2);
  EXPECT_EQ(Run("analyse").status, 2);
  EXPECT_EQ(Run("report a b c --nonsense").status, 2);
}
