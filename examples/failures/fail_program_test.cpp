// Runs the program as a user would: each call is a separate process.

#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>

#include "tests/support/ProgramRun.h"
#include "tests/support/store/StoreFile.h"

namespace {

namespace fs = std::filesystem;

// A failure that the program must report: its analysis, its class, and the source file that throws it.
struct Expected {
  char const* analysis;
  char const* className;
  char const* file;
  char const* value; // a value of the exception, or part of it
};

constexpr Expected Failures[] = {
    {"beyond-the-limit", "nex_TextException", "fail_Solver",
     "Load step 8 of 10, load factor 0.8: no equilibrium after 25 iterations, residual "},
    {"bar-without-length", "nex_AssertException", "fail_Solver", "length > 0"},
    {"spring-among-bars", "nex_BadCastException", "fail_Solver",
     "Bad Cast: From `fail_Spring' To 'fail_Bar'."},
    {"tight-budget", "nex_ExitException", "fail_Solver",
     "The budget of 12 iterations is used up in load step 5 of 7."},
    {"missing-node", "nex_InvalidObjException", "fail_Solver",
     "Element 3 names node 17, which the truss does not have."},
    {"load-table", "nex_SystemErrorException", "fail_LoadTable",
     "No such file or directory (system error 2); No such file or directory (errno 2)"},
    {"long-girder", "nex_OutOfMemoryException", "fail_Equations",
     "The stiffness matrix of 1601 equations takes 20505608 bytes; the limit of the run is 16777216."},
};

// What the program prints for each analysis: from the line with its root to the next such line.
std::map<std::string, std::string> ByAnalysis(std::string const& text) {
  std::map<std::string, std::string> parts;
  std::istringstream lines(text);
  std::string line, name;
  while (std::getline(lines, line)) {
    if (line.starts_with("analysis/")) name = line.substr(9, line.find(':') - 9);
    parts[name] += line + "\n";
  }
  return parts;
}

std::string FirstLine(std::string const& text) {
  return text.substr(0, text.find('\n'));
}

// The line number after "in file F at line ".
std::string LineNumber(std::string const& text, std::string const& file) {
  std::smatch found;
  return std::regex_search(text, found, std::regex("in file " + file + " at line (\\d+)")) ? found[1].str()
                                                                                           : std::string();
}

std::string SourceLine(std::string const& file, std::string const& number) {
  std::ifstream source(std::string(FAIL_SOURCE_DIR) + "/" + file + ".cpp");
  std::string line;
  for (int i = std::stoi(number); i > 0; --i) std::getline(source, line);
  return line;
}

class FailuresProgram : public testing::Test {
 protected:
  FailuresProgram() {
    std::string folder = (fs::temp_directory_path() / "failures-program-XXXXXX").string();
    if (mkdtemp(folder.data()) == nullptr) std::abort();
    m_Folder = folder;
  }
  ~FailuresProgram() override { fs::remove_all(m_Folder); }

  fs::path Path(std::string const& name) const { return m_Folder / name; }

  Outcome Call(std::string const& arguments) const {
    return RunToItsEnd(std::string(FAIL_PROGRAM) + " " + arguments, m_Folder);
  }

  // Runs the program on a store in the test's folder; it must succeed without printing errors.
  std::map<std::string, std::string> Do(std::string const& command) const {
    Outcome const outcome = Call(command + " " + Path("s.kvs").string());
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    return ByAnalysis(outcome.out);
  }

  // Expects one line from this program, containing this text, and nothing on standard output.
  static void ExpectOneLine(Outcome const& outcome, int status, std::string const& text) {
    EXPECT_EQ(outcome.status, status);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
    EXPECT_EQ(outcome.err.substr(0, 10), "failures: ");
    EXPECT_NE(outcome.err.find(text), std::string::npos) << outcome.err;
  }

 private:
  fs::path m_Folder;
};

} // namespace

TEST_F(FailuresProgram, PrintsOneLineForEachAnalysis) {
  auto const run = Do("run");
  EXPECT_EQ(run.size(), 8U);
  for (auto const& [name, text] : run) EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1) << text;
}

TEST_F(FailuresProgram, ListsEachFailureInASecondProcessAsItWasRaised) {
  auto run = Do("run");
  auto list = Do("list");
  EXPECT_EQ(list.size(), 8U);
  std::set<std::string> places;
  for (Expected const& expected : Failures) {
    std::string const& text = list[expected.analysis];
    EXPECT_EQ(FirstLine(text), FirstLine(run[expected.analysis]));
    EXPECT_TRUE(text.starts_with(std::string("analysis/") + expected.analysis + ": " + expected.className +
                                 " in file " + expected.file + " at line "))
        << text;
    EXPECT_NE(text.find("  | Exception: "), std::string::npos) << text;
    std::string const line = LineNumber(run[expected.analysis], expected.file);
    EXPECT_NE(text.find(expected.value), std::string::npos) << text;
    EXPECT_NE(text.find(std::string(" in file ") + expected.file + " at line " + line + "\n"),
              std::string::npos)
        << text;
    places.insert(expected.file + line);
  }
  EXPECT_EQ(places.size(), std::size(Failures)); // each from a different line
}

TEST_F(FailuresProgram, NamesTheLineOfTheSourceThatRaises) {
  Do("run");
  auto list = Do("list");
  for (Expected const& expected : Failures) {
    std::string const line = LineNumber(list[expected.analysis], expected.file);
    ASSERT_NE(line, "") << expected.analysis;
    std::string const source = SourceLine(expected.file, line);
    EXPECT_TRUE(source.find("__LINE__") != std::string::npos ||
                source.find("FAIL_ASSERT(") != std::string::npos)
        << expected.file << ":" << line << ": " << source;
  }
}

TEST_F(FailuresProgram, ListsTheNumbersThatAFailureCarries) {
  Do("run");
  auto list = Do("list");
  EXPECT_NE(list["tight-budget"].find("  exit code: 3\n"), std::string::npos);
  EXPECT_NE(list["load-table"].find("  error numbers: system 2, errno 2\n"), std::string::npos);
  EXPECT_NE(list["long-girder"].find("  out of memory: limit of the run\n"), std::string::npos);
}

TEST_F(FailuresProgram, ListsTheProcessWideTextOfAnOutOfMemoryFailure) {
  Do("run");
  std::string const text = Do("list")["long-girder"];
  EXPECT_NE(text.find("  | Exception: *** Error: An out of memory error occurred, or the "),
            std::string::npos);
}

TEST_F(FailuresProgram, ListsTheIdentitiesOfBothPartsOfAFailure) {
  Do("run");
  auto list = Do("list");
  for (Expected const& expected : Failures)
    EXPECT_NE(list[expected.analysis].find(std::string("  identities: nex_Exception part and ") +
                                           expected.className + " part are distinct objects\n"),
              std::string::npos)
        << list[expected.analysis];
}

TEST_F(FailuresProgram, KeepsTheResultsUpToTheFailure) {
  Do("run");
  auto list = Do("list");
  EXPECT_EQ(list["below-the-limit"], "analysis/below-the-limit: completed, 7 load steps, load factor 0.7, "
                                     "largest displacement 0.2657 m\n");
  EXPECT_NE(list["beyond-the-limit"].find(", 7 load steps, load factor 0.7, largest displacement 0.2657 m\n"),
            std::string::npos);
  EXPECT_NE(list["tight-budget"].find(", 4 load steps, load factor 0.4, "), std::string::npos);
  EXPECT_NE(list["missing-node"].find(", 0 load steps, load factor 0, "), std::string::npos);
}

TEST_F(FailuresProgram, ReadsALoadTable) {
  std::ofstream(Path("gusts.loads")) << "# three gusts\n0.2\n0.5\n0.3\n";
  Do("run");
  EXPECT_TRUE(Do("list")["load-table"].starts_with("analysis/load-table: completed, 3 load steps, "));
}

TEST_F(FailuresProgram, SaysWhyALoadTableCannotBeRead) {
  fs::create_directory(Path("gusts.loads"));
  Do("run");
  EXPECT_NE(Do("list")["load-table"].find("  error numbers: system 21, errno 21\n"), std::string::npos);
}

TEST_F(FailuresProgram, StoresEachFailureAsOneObjectOfItsClass) {
  Do("run");
  SqlFile file(Path("s.kvs").string());
  auto const objectsOf = [&](std::string const& quotedName) {
    return file.CountOf(
        static_cast<unsigned int>(file.Integer("SELECT class_id FROM class WHERE name = " + quotedName)));
  };
  for (Expected const& expected : Failures) {
    std::string const className(expected.className), quoted = "'" + className + "'";
    EXPECT_EQ(objectsOf(quoted), 1) << quoted;
    EXPECT_EQ(file.Integer("SELECT count(*) FROM class AS c JOIN class AS b ON c.base_class_id = b.class_id "
                           "WHERE b.name = 'nex_Exception' AND c.name = " +
                           quoted),
              1)
        << quoted;
  }
  EXPECT_EQ(objectsOf("'fail_AnalysisModel'"), 8);
  EXPECT_EQ(file.Integer("SELECT count(*) FROM root WHERE name LIKE 'analysis/%'"), 8);
  EXPECT_EQ(IntegrityOf(Path("s.kvs").string()), "ok");
}

TEST_F(FailuresProgram, LeavesAnExistingStoreUnchanged) {
  Do("run");
  std::string const before = Contents(Path("s.kvs"));
  ExpectOneLine(Call("run " + Path("s.kvs").string()), 2, "s.kvs: The file exists already.");
  EXPECT_EQ(Contents(Path("s.kvs")), before);
}

TEST_F(FailuresProgram, ListsWithoutChangingTheStore) {
  Do("run");
  std::string const before = Contents(Path("s.kvs"));
  auto const first = Do("list");
  EXPECT_EQ(Do("list"), first);
  EXPECT_EQ(Contents(Path("s.kvs")), before);
}

TEST_F(FailuresProgram, FullStandardOutputIsAnError) {
  Do("run");
  for (std::string const& call : {"list " + Path("s.kvs").string(), "run " + Path("new.kvs").string()})
    ExpectOneLine(RunWithFullOutput(FAIL_PROGRAM + (" " + call), Path("")), 1,
                  "standard output cannot be written: No space left on device");
  EXPECT_EQ(ByAnalysis(Call("list " + Path("new.kvs").string()).out).size(), 8U); // saved nevertheless
}

TEST_F(FailuresProgram, NamesAMissingStore) {
  ExpectOneLine(Call("list " + Path("none.kvs").string()), 2, "none.kvs");
  EXPECT_FALSE(fs::exists(Path("none.kvs")));
}

TEST_F(FailuresProgram, RefusesAFileThatIsNotAStoreAndLeavesItUnchanged) {
  std::ofstream(Path("letter.txt")) << "Dear reader,\n";
  ExpectOneLine(Call("list " + Path("letter.txt").string()), 2, "letter.txt");
  EXPECT_EQ(Contents(Path("letter.txt")), "Dear reader,\n");
}

TEST_F(FailuresProgram, PrintsItsUsage) {
  for (char const* arguments : {"", "run", "list", "erase s.kvs", "run a b"})
    ExpectOneLine(Call(arguments), 2, "usage: run|list STORE");
}
