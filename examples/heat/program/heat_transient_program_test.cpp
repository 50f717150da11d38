// Runs the program's transient commands as a user would: each call is a separate process, and some are
// killed.

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <regex>
#include <string>
#include <vector>

#include "tests/support/ProgramRun.h"

namespace {

namespace fs = std::filesystem;

// The number in a pattern's first group; -1 if it is not found.
long NumberIn(std::string const& text, std::string const& pattern) {
  std::smatch match;
  return std::regex_search(text, match, std::regex(pattern)) ? std::stol(match[1]) : -1;
}

class HeatTransientProgram : public testing::Test {
 protected:
  HeatTransientProgram() {
    std::string folder = (fs::temp_directory_path() / "heat-transient-XXXXXX").string();
    if (mkdtemp(folder.data()) == nullptr) std::abort();
    m_Folder = folder;
  }
  ~HeatTransientProgram() override { fs::remove_all(m_Folder); }

  std::string Path(std::string const& name) const { return (m_Folder / name).string(); }
  static std::string Mesh() { return std::string(HEAT_DATA_DIR) + "/bracket.msh"; }

  Outcome Run(std::string const& arguments, std::string const& environment = "") const {
    return RunToItsEnd(environment + " " + HEAT_PROGRAM + " " + arguments, m_Folder);
  }

  std::string Options(std::string const& store, int steps, int interval, double timeStep = 1) const {
    return "transient " + Mesh() + " --store " + Path(store) + " --steps " + std::to_string(steps) +
           " --dt " + std::to_string(timeStep) + " --checkpoint " + std::to_string(interval);
  }
  Outcome Transient(std::string const& store, int steps, int interval, double timeStep = 1) const {
    return Run(Options(store, steps, interval, timeStep));
  }
  void MakeRun(std::string const& store, int steps, int interval, double timeStep = 1) const {
    Outcome const outcome = Transient(store, steps, interval, timeStep);
    ASSERT_EQ(outcome.status, 0) << outcome.err;
  }
  Outcome Compare(std::string const& first, std::string const& second) const {
    return Run("compare " + Path(first) + " " + Path(second));
  }

  // Starts a program and kills it after it has reported the given number of checkpoints. Returns whether it
  // was still running then.
  static bool RunAndKill(std::vector<std::string> const& arguments, int checkpoints) {
    int ends[2];
    if (pipe(ends) != 0) std::abort();
    pid_t const child = fork();
    if (child == 0) {
      dup2(ends[1], STDOUT_FILENO);
      close(ends[0]);
      close(ends[1]);
      std::vector<char*> words;
      for (std::string const& argument : arguments) words.push_back(const_cast<char*>(argument.c_str()));
      words.push_back(nullptr);
      execv(HEAT_PROGRAM, words.data());
      _exit(127);
    }
    close(ends[1]);
    std::FILE* const lines = fdopen(ends[0], "r");
    char line[200];
    int seen = 0;
    while (seen < checkpoints && std::fgets(line, sizeof line, lines) != nullptr)
      seen += std::string(line).starts_with("checkpoint at step ") ? 1 : 0;
    kill(child, SIGKILL);
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    std::fclose(lines);
    return seen == checkpoints && WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
  }
  bool RunAndKill(std::string const& store, int steps, int interval, int checkpoints) const {
    return RunAndKill({"heat", "transient", Mesh(), "--store", Path(store), "--steps", std::to_string(steps),
                       "--dt", "1", "--checkpoint", std::to_string(interval)},
                      checkpoints);
  }

  // Expects one line from this program, containing this text, and nothing on standard output.
  static void ExpectOneLine(Outcome const& outcome, int status, std::string const& text) {
    EXPECT_EQ(outcome.status, status) << outcome.err;
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
    EXPECT_EQ(outcome.err.substr(0, 6), "heat: ");
    EXPECT_NE(outcome.err.find(text), std::string::npos) << outcome.err;
  }

  // The peak memory of a run, as it prints it.
  long PeakKilobytes(std::string const& arguments) const {
    // The address sanitizer keeps freed memory, which would count; let it keep little.
    Outcome const outcome = Run(arguments + " --memory", "ASAN_OPTIONS=$ASAN_OPTIONS:quarantine_size_mb=1");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return NumberIn(outcome.out, "peak memory +([0-9]+) kB");
  }

  static void ExecuteSql(std::string const& path, char const* sql) {
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &database), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(database, sql, nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(database);
  }

 private:
  fs::path m_Folder;
};

} // namespace

TEST_F(HeatTransientProgram, ReportsEachCheckpointAndTheRun) {
  Outcome const run = Transient("run.kvs", 250, 100, 0.5);
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.err, "");
  EXPECT_TRUE(
      run.out.starts_with("bracket.msh: left out: 159 lines, 25 points, 5 nodes that no triangle uses\n"
                          "checkpoint at step 100 of 250, 50 s\n"
                          "checkpoint at step 200 of 250, 100 s\n"
                          "checkpoint at step 250 of 250, 125 s\n"))
      << run.out;
  EXPECT_NE(run.out.find("run.kvs: 250 steps of 0.5 s on 782 nodes in "), std::string::npos) << run.out;
}

TEST_F(HeatTransientProgram, ShowsHowTheBracketWarmsUp) {
  MakeRun("run.kvs", 100, 30, 50);
  Outcome const history = Run("history " + Path("run.kvs") + " --plot " + Path("run.svg"));
  ASSERT_EQ(history.status, 0) << history.err;
  EXPECT_EQ(NumberIn(history.out, "steps +([0-9]+) of 100\n"), 100);
  EXPECT_EQ(NumberIn(history.out, "nodes +([0-9]+)\n"), 782);
  // The hottest node is fixed; the others start at the temperature of the air and are warm at the end.
  EXPECT_TRUE(std::regex_search(history.out, std::regex(" 0 s +120.00 °C +20.00 °C +20.00 °C\n")))
      << history.out;
  EXPECT_TRUE(std::regex_search(history.out, std::regex(" 5000 s +120.00 °C +94.\\d+ °C +68.\\d+ °C\n")))
      << history.out;
  std::string const plot = Contents(Path("run.svg"));
  EXPECT_NE(plot.find("Temperature (°C)"), std::string::npos);
  EXPECT_NE(plot.find("</svg>"), std::string::npos);
}

TEST_F(HeatTransientProgram, EndsAtTheTemperaturesOfTheSteadyAnalysis) {
  MakeRun("run.kvs", 300, 100, 1000);
  Outcome const history = Run("history " + Path("run.kvs"));
  ASSERT_EQ(Run("analyse " + Mesh() + " --store " + Path("steady.kvs")).status, 0);
  Outcome const report = Run("report " + Path("steady.kvs"));
  std::smatch lowest;
  ASSERT_TRUE(std::regex_search(report.out, lowest, std::regex("minimum temperature +([0-9.]+)")));
  EXPECT_NE(history.out.rfind(" " + lowest[1].str() + " °C\n"), std::string::npos) << history.out;
}

TEST_F(HeatTransientProgram, ShowsTheNodesThatAreNamed) {
  MakeRun("run.kvs", 10, 10);
  Outcome const history = Run("history " + Path("run.kvs") + " --nodes 300,1,299");
  ASSERT_EQ(history.status, 0) << history.err;
  EXPECT_TRUE(std::regex_search(history.out, std::regex("time +node 300 +node 1 +node 299\n")));
  ExpectOneLine(Run("history " + Path("run.kvs") + " --nodes 1,9999999"), 2, "there is no node 9999999");
  ExpectOneLine(Run("history " + Path("run.kvs") + " --nodes 1,2,3,4,5,6,7"), 2, "7 nodes are too many");
}

TEST_F(HeatTransientProgram, ResumedRunHasTheSameBitsAsAnUninterruptedOne) {
  MakeRun("whole.kvs", 4000, 100);
  ASSERT_TRUE(RunAndKill("killed.kvs", 4000, 100, 3));
  Outcome const resumed = Run("resume " + Path("killed.kvs"));
  ASSERT_EQ(resumed.status, 0) << resumed.err;
  long const from = NumberIn(resumed.out, "continues from step ([0-9]+) of 4000\n");
  EXPECT_GE(from, 300);
  EXPECT_LT(from, 4000);
  EXPECT_EQ(from % 100, 0);
  Outcome const compared = Compare("whole.kvs", "killed.kvs");
  EXPECT_EQ(compared.status, 0) << compared.out;
  EXPECT_EQ(compared.out, std::to_string(4001 * 782) + " elements, equal in every bit\n");
}

TEST_F(HeatTransientProgram, RunKilledRepeatedlyHasTheSameBits) {
  MakeRun("whole.kvs", 3000, 50);
  ASSERT_TRUE(RunAndKill("killed.kvs", 3000, 50, 2));
  for (int i = 0; i < 4; ++i) ASSERT_TRUE(RunAndKill({"heat", "resume", Path("killed.kvs")}, 1 + 2 * i));
  ASSERT_EQ(Run("resume " + Path("killed.kvs")).status, 0);
  Outcome const compared = Compare("whole.kvs", "killed.kvs");
  EXPECT_EQ(compared.status, 0) << compared.out;
}

TEST_F(HeatTransientProgram, KilledRunCanBeReadBeforeItIsResumed) {
  MakeRun("whole.kvs", 3000, 500);
  ASSERT_TRUE(RunAndKill("killed.kvs", 3000, 500, 3));
  Outcome const history = Run("history " + Path("killed.kvs") + " --plot " + Path("killed.svg"));
  ASSERT_EQ(history.status, 0) << history.err;
  long const step = NumberIn(history.out, "steps +([0-9]+) of 3000\n");
  EXPECT_GE(step, 1500);
  EXPECT_EQ(step % 500, 0);
  Outcome const compared = Compare("whole.kvs", "killed.kvs");
  EXPECT_EQ(compared.status, 1);
  EXPECT_NE(compared.out.find("no difference in the first " + std::to_string((step + 1) * 782) + " elements"),
            std::string::npos)
      << compared.out;
  EXPECT_EQ(NumberIn(Run("resume " + Path("killed.kvs")).out, "continues from step ([0-9]+) of"), step);
}

TEST_F(HeatTransientProgram, RunInStretchesHasTheSameBitsWhateverTheCheckpoints) {
  MakeRun("whole.kvs", 500, 500);
  MakeRun("parts.kvs", 120, 50);
  ASSERT_EQ(Run("resume " + Path("parts.kvs") + " --steps 333").status, 0);
  Outcome const last = Run("resume " + Path("parts.kvs") + " --steps 500");
  ASSERT_EQ(last.status, 0) << last.err;
  EXPECT_NE(last.out.find("continues from step 333 of 500\ncheckpoint at step 350 of 500"), std::string::npos)
      << last.out;
  EXPECT_EQ(Compare("whole.kvs", "parts.kvs").status, 0);
}

TEST_F(HeatTransientProgram, FinishedRunIsNotResumed) {
  MakeRun("run.kvs", 20, 10);
  std::string const before = Contents(Path("run.kvs"));
  ExpectOneLine(Run("resume " + Path("run.kvs")), 2, "the run is finished: all 20 steps are computed");
  ExpectOneLine(Run("resume " + Path("run.kvs") + " --steps 20"), 2, "the run is finished");
  ExpectOneLine(Run("resume " + Path("run.kvs") + " --steps 19"), 2, "already at step 20, past step 19");
  EXPECT_EQ(Contents(Path("run.kvs")), before);
}

TEST_F(HeatTransientProgram, ComparisonFindsTheFirstDifference) {
  MakeRun("one.kvs", 20, 10, 1);
  MakeRun("other.kvs", 20, 10, 1.000001);
  Outcome const compared = Compare("one.kvs", "other.kvs");
  EXPECT_EQ(compared.status, 1);
  EXPECT_EQ(compared.err, "");
  EXPECT_NE(compared.out.find("the histories differ: " + std::to_string(21 * 782) + " elements each\n"),
            std::string::npos);
  // The initial fields are equal.
  EXPECT_GE(NumberIn(compared.out, "first difference at element ([0-9]+)"), 782);
  EXPECT_EQ(NumberIn(compared.out, "\\(step ([0-9]+), node"), 1);
}

TEST_F(HeatTransientProgram, NamesStoresWithoutARun) {
  ASSERT_EQ(Run("analyse " + Mesh() + " --store " + Path("steady.kvs")).status, 0);
  MakeRun("run.kvs", 5, 5);
  for (std::string const call : {"resume ", "history "})
    ExpectOneLine(Run(call + Path("steady.kvs")), 2, "steady.kvs: there is no transient run in this store");
  ExpectOneLine(Compare("run.kvs", "steady.kvs"), 2, "steady.kvs: there is no transient run");
  ExpectOneLine(Compare("none.kvs", "run.kvs"), 2, "none.kvs");
  EXPECT_FALSE(fs::exists(Path("none.kvs")));
}

TEST_F(HeatTransientProgram, LeavesAnExistingStoreUnchanged) {
  MakeRun("run.kvs", 5, 5);
  std::string const before = Contents(Path("run.kvs"));
  ExpectOneLine(Transient("run.kvs", 5, 5), 2, "run.kvs: the file exists already");
  EXPECT_EQ(Contents(Path("run.kvs")), before);
}

TEST_F(HeatTransientProgram, RefusesWrongOptionsWithoutAStore) {
  std::string const start = "transient " + Mesh() + " --store " + Path("run.kvs");
  for (char const* const wrong :
       {"", " --steps 10", " --dt 1", " --steps 0 --dt 1", " --steps -5 --dt 1", " --steps 10 --dt 0",
        " --steps 10 --dt -1", " --steps ten --dt 1", " --steps 10 --dt 1 --checkpoint 0",
        " --steps 10 --dt 1 --nonsense", " --steps 99999999999 --dt 1"}) {
    Outcome const outcome = Run(start + wrong);
    EXPECT_EQ(outcome.status, 2) << wrong;
    EXPECT_EQ(outcome.out, "") << wrong;
    EXPECT_NE(outcome.err, "") << wrong;
  }
  EXPECT_EQ(Run("resume").status, 2);
  EXPECT_EQ(Run("compare " + Path("run.kvs")).status, 2);
  EXPECT_FALSE(fs::exists(Path("run.kvs")));
}

TEST_F(HeatTransientProgram, RefusesMoreStepsThanAHistoryCanHold) {
  ExpectOneLine(Transient("run.kvs", 2147483647, 100), 1, "has room for 2746141 steps");
  EXPECT_FALSE(fs::exists(Path("run.kvs")));
  MakeRun("run.kvs", 5, 5);
  ExpectOneLine(Run("resume " + Path("run.kvs") + " --steps 2746142"), 1, "has room for 2746141 steps");
}

TEST_F(HeatTransientProgram, NoticesDamagedBlocksOfTheHistory) {
  MakeRun("run.kvs", 50, 50);
  ExecuteSql(Path("run.kvs"),
             "UPDATE block SET data = zeroblob(length(data)) WHERE key = (SELECT max(key) FROM block)");
  ExpectOneLine(Run("history " + Path("run.kvs")), 1, "damaged");
}

TEST_F(HeatTransientProgram, MemoryOfARunDoesNotGrowWithItsSteps) {
  long const few = PeakKilobytes(Options("few.kvs", 2500, 100));
  long const many = PeakKilobytes(Options("many.kvs", 10000, 100));
  EXPECT_GT(few, 1000);
  EXPECT_LT(static_cast<double>(many), 1.04 * static_cast<double>(few)) << few << " kB, then " << many;
}

TEST_F(HeatTransientProgram, PrintsTheSizeOfTheHistory) {
  Outcome const run = Run(Options("run.kvs", 30, 10) + " --memory");
  EXPECT_EQ(NumberIn(run.out, "history +([0-9]+) bytes\n"), 31 * 782 * 8);
  Outcome const resumed = Run("resume " + Path("run.kvs") + " --steps 40 --memory");
  EXPECT_EQ(NumberIn(resumed.out, "history +([0-9]+) bytes\n"), 41 * 782 * 8);
  Outcome const history = Run("history " + Path("run.kvs") + " --memory");
  EXPECT_EQ(NumberIn(history.out, "history +([0-9]+) bytes\n"), 41 * 782 * 8);
  Outcome const compared = Run("compare " + Path("run.kvs") + " " + Path("run.kvs") + " --memory");
  EXPECT_EQ(NumberIn(compared.out, "history +([0-9]+) bytes\n"), 2 * 41 * 782 * 8);
  for (Outcome const& outcome : {run, resumed, history, compared})
    EXPECT_GT(NumberIn(outcome.out, "peak memory +([0-9]+) kB\n"), 1000);
}
