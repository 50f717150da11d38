// Runs the three versions of the program as a user would: each call is a separate process, and some are killed.

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

#include "examples/truss/trs_Bar.h"
#include "store/sto_Store.h"
#include "tests/support/InitialisedModule.h"
#include "tests/support/ProgramRun.h"
#include "tests/support/store/StoreFile.h"

namespace {

class TrussProgram : public StoreFileTest {
 protected:
  TrussProgram() {
    trs_Declare(m_Classes);
    trs_Bar::Declare(m_Classes);
  }

  Outcome Run(int version, std::string const& arguments) const {
    char const* const programs[] = {TRS_PROGRAM_1, TRS_PROGRAM_2, TRS_PROGRAM_3};
    return RunToItsEnd("cd " + Folder().string() + " && " + programs[version - 1] + " " + arguments,
                       Folder());
  }
  // What a version of the program prints. It must not fail.
  std::string Output(int version, std::string const& arguments) const {
    Outcome const outcome = Run(version, arguments);
    EXPECT_EQ(outcome.status, 0) << arguments;
    EXPECT_EQ(outcome.err, "") << arguments;
    return outcome.out;
  }
  void ExpectFailure(int version, std::string const& arguments, int status,
                     std::string const& message) const {
    Outcome const outcome = Run(version, arguments);
    EXPECT_EQ(outcome.status, status) << arguments;
    EXPECT_EQ(outcome.out, "") << arguments;
    EXPECT_EQ(outcome.err, "truss_v" + std::to_string(version) + ": " + message + "\n");
  }

  // Starts a run of the train that would take minutes, and kills it after some commits.
  void RunAndKill(std::string const& store, int commits) const {
    int ends[2];
    if (pipe(ends) != 0) std::abort();
    pid_t const child = fork();
    if (child == 0) {
      dup2(ends[1], STDOUT_FILENO);
      close(ends[0]);
      close(ends[1]);
      execl(TRS_PROGRAM_3, "truss_v3", "run", Path(store).c_str(), "train", "30000", nullptr);
      _exit(127);
    }
    close(ends[1]);
    std::FILE* const lines = fdopen(ends[0], "r");
    char line[200];
    int seen = 0;
    while (seen < commits && std::fgets(line, sizeof line, lines) != nullptr)
      seen += std::string(line).starts_with("step ") ? 1 : 0;
    kill(child, SIGKILL);
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    std::fclose(lines);
    EXPECT_EQ(seen, commits);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
  }

  sto_Store OpenToRead(std::string const& store) const {
    return sto_Store::Open(Path(store), sto_Mode::ReadOnly, m_Classes);
  }
  std::vector<double> History(std::string const& name) const {
    sto_Store store = OpenToRead(name);
    auto const run = store.Load<trs_Run>(trs_Run::Root);
    std::vector<double> values(static_cast<std::size_t>(run->m_History.Size()));
    run->m_History.Read(0, values);
    return values;
  }
  // The time that a run has reached [s].
  double Time(std::string const& name) const {
    sto_Store store = OpenToRead(name);
    auto const run = store.Load<trs_Run>(trs_Run::Root);
    return run->LastStep() * run->m_Step;
  }

  InitialisedModule m_Module;
  cls_ClassRegistrar m_Classes;
};

} // namespace

TEST_F(TrussProgram, MakesSolvesAndPrintsABridge) {
  EXPECT_EQ(Output(3, "make b.kvs 3"), "b.kvs: 7 joints, 11 members\n");
  std::string const sinking = "train (variable, factor 1.45): L1 sinks by 2.76 mm\n"
                              "weight (permanent): L1 sinks by 0.92 mm\n";
  EXPECT_EQ(Output(3, "solve b.kvs"), sinking);
  EXPECT_EQ(Output(3, "print b.kvs"), "member      length     train    weight\n"
                                      "L0-L1       5.00 m   94.9 kN   37.9 kN  bar, steel, galvanised\n"
                                      "L0-U1       6.40 m -123.8 kN  -49.9 kN  bar, steel, galvanised\n"
                                      "L1-U1       4.00 m   77.3 kN   24.8 kN  bar, steel, galvanised\n"
                                      "L1-L2       5.00 m   46.5 kN   34.8 kN  bar, steel, galvanised\n"
                                      "U1-U2       5.00 m  -96.7 kN  -42.1 kN  bar, steel, galvanised\n"
                                      "L1-U2       6.40 m   61.9 kN    4.0 kN  cable, rope, counter U1-L2\n"
                                      "U1-L2       6.40 m    0.0 kN    4.0 kN  cable, rope, counter L1-U2\n"
                                      "L2-U2       4.00 m    0.0 kN   24.8 kN  bar, steel, galvanised\n"
                                      "L2-L3       5.00 m   46.5 kN   37.9 kN  bar, steel, galvanised\n"
                                      "U2-L3       6.40 m  -61.9 kN  -49.9 kN  bar, steel, galvanised\n"
                                      "L3-A        5.00 m   -1.8 kN   -1.1 kN  spring\n" +
                                          sinking);
}

TEST_F(TrussProgram, PlotsTheBridge) {
  Output(3, "make b.kvs 4");
  ExpectFailure(3, "plot b.kvs b.svg", 2, "b.kvs: it is not solved yet");
  Output(3, "solve b.kvs");
  EXPECT_EQ(Output(3, "plot b.kvs b.svg"), "");
  std::string const plot = Contents(Path("b.svg"));
  EXPECT_TRUE(plot.starts_with("<svg "));
  EXPECT_TRUE(plot.ends_with("</svg>\n"));
  EXPECT_NE(plot.find("<path stroke='#c00'"), std::string::npos);
  ExpectFailure(3, "plot b.kvs none/b.svg", 1, "none/b.svg: cannot be written");
}

TEST_F(TrussProgram, WeighsTheMembersWithoutLoadingTheTruss) {
  Output(3, "make b.kvs 3");
  EXPECT_EQ(Output(3, "weigh b.kvs"), "bar          1755.6 kg\n"
                                      "cable         150.8 kg\n"
                                      "spring          0.0 kg\n");
}

TEST_F(TrussProgram, RenamesAJoint) {
  Output(3, "make b.kvs 3");
  Output(3, "solve b.kvs");
  EXPECT_EQ(Output(3, "rename b.kvs L1 middle"), "");
  std::string const printed = Output(3, "print b.kvs");
  EXPECT_NE(printed.find("L0-middle "), std::string::npos);
  EXPECT_NE(printed.find("middle sinks by 2.76 mm"), std::string::npos);
  ExpectFailure(3, "rename b.kvs L1 left", 2, "b.kvs: there is no joint L1");
  ExpectFailure(3, "rename b.kvs middle L2", 2, "b.kvs: there is a joint L2");
  EXPECT_EQ(Output(3, "print b.kvs"), printed);
}

TEST_F(TrussProgram, LaterProgramsReadTheRodsOfVersion1) {
  Output(1, "make 1.kvs 4");
  Output(3, "make 3.kvs 4");
  EXPECT_EQ(Output(2, "print 1.kvs"), Output(1, "print 1.kvs"));
  std::string expected = Output(3, "print 3.kvs");
  for (std::size_t at; (at = expected.find("galvanised")) != std::string::npos;)
    expected.replace(at, 10, "painted");
  EXPECT_EQ(Output(3, "print 1.kvs"), expected);

  sto_Store store = OpenToRead("1.kvs");
  auto const truss = store.Load<trs_Truss>(trs_Truss::Root);
  auto const& bar = dynamic_cast<trs_Bar const&>(*truss->m_Members[0]);
  EXPECT_DOUBLE_EQ(bar.m_Area, 5e-3); // it was stored as 5000 mm2, under the name m_A
  EXPECT_EQ(bar.m_Prestress, 0);
  EXPECT_EQ(bar.m_Coating, trs_Coating::Paint);
}

TEST_F(TrussProgram, Program3ReadsThatRodsOfVersion2AreNotPainted) {
  Output(2, "make 2.kvs 2");
  EXPECT_NE(Output(3, "print 2.kvs").find("bar, steel\n"),
            std::string::npos); // rods of version 2 are not painted
}

TEST_F(TrussProgram, AllVersionsComputeTheSame) {
  for (int const version : {1, 2, 3}) Output(version, "make " + std::to_string(version) + ".kvs 5");
  std::string const solved = Output(3, "solve 3.kvs");
  for (int const version : {1, 2, 3}) EXPECT_EQ(Output(version, "solve 1.kvs"), solved);
  EXPECT_EQ(Output(3, "solve 2.kvs"), solved);
}

TEST_F(TrussProgram, OlderProgramsRefuseWhatLaterOnesHaveSaved) {
  for (int const version : {2, 3}) Output(version, "make " + std::to_string(version) + ".kvs 2");
  ExpectFailure(1, "print 2.kvs", 1,
                "2.kvs: Object 9 was written by version 2 of class Rod; this program knows version 1.");
  ExpectFailure(1, "print 3.kvs", 1,
                "3.kvs: Object 9 was written by version 3 of class Rod; this program knows version 1.");
  ExpectFailure(2, "solve 3.kvs", 1,
                "3.kvs: Object 9 was written by version 3 of class Rod; this program knows version 2.");
  Output(1, "make 1.kvs 2");
  Output(2, "solve 1.kvs"); // saves its rods in version 2
  ExpectFailure(1, "print 1.kvs", 1,
                "1.kvs: Object 9 was written by version 2 of class Rod; this program knows version 1.");
}

TEST_F(TrussProgram, RunGoesOnWhereItEnded) {
  Output(3, "make whole.kvs 4");
  Output(3, "make parts.kvs 4");
  std::string const whole = Output(3, "run whole.kvs train 4");
  Output(3, "run parts.kvs train 1.5");
  std::string const rest = Output(3, "run parts.kvs train 4");
  EXPECT_TRUE(rest.starts_with("goes on from step ")) << rest;
  EXPECT_EQ(History("parts.kvs"), History("whole.kvs"));
  EXPECT_NE(Output(3, "print whole.kvs").find("run of train, 4.0"), std::string::npos);
}

TEST_F(TrussProgram, KilledRunGoesOnFromItsLastCommitWithTheSameBits) {
  Output(3, "make whole.kvs 4");
  std::filesystem::copy_file(Path("whole.kvs"), Path("killed.kvs"));
  RunAndKill("killed.kvs", 1);
  RunAndKill("killed.kvs", 2);
  EXPECT_NE(Output(3, "print killed.kvs").find("run of train, "), std::string::npos); // rolls back first
  double const reached = Time("killed.kvs");
  EXPECT_GT(reached, 3 * 2000 * 0.0005);
  std::string const end = std::to_string(reached + 2);
  EXPECT_TRUE(Output(3, "run killed.kvs train " + end).starts_with("goes on from step "));
  Output(3, "run whole.kvs train " + end);
  EXPECT_EQ(History("killed.kvs"), History("whole.kvs"));
  EXPECT_GT(Time("killed.kvs"), reached);
  EXPECT_EQ(IntegrityOf(Path("killed.kvs")), "ok");
}

TEST_F(TrussProgram, WrongCallsHaveStatus2AndALine) {
  Output(3, "make b.kvs 2");
  StoreBytes const before = FileBytes(Path("b.kvs"));
  std::string const usage =
      "usage: make STORE BAYS | solve STORE | run STORE CASE SECONDS | print STORE | plot STORE SVG | "
      "weigh STORE | rename STORE JOINT NAME";
  for (char const* const call : {"", "make b.kvs", "draw b.kvs", "print b.kvs b.kvs"})
    ExpectFailure(3, call, 2, usage);
  ExpectFailure(3, "make b.kvs 2", 2, "b.kvs: The file exists already.");
  ExpectFailure(3, "make c.kvs 1", 2, "'1' is not a number of bays from 2 to 200");
  ExpectFailure(3, "make c.kvs 5x", 2, "'5x' is not a number of bays from 2 to 200");
  ExpectFailure(3, "print none.kvs", 2, "none.kvs: There is no such file.");
  ExpectFailure(3, "run b.kvs snow 1", 2, "b.kvs: there is no load case snow");
  ExpectFailure(3, "run b.kvs train nan", 2, "'nan' is not a number of seconds from 0.001 to 1e+06");
  ExpectFailure(3, "run b.kvs train 1e6", 2, "a history of 1e6 s is too long");
  EXPECT_EQ(FileBytes(Path("b.kvs")), before);
  Output(3, "run b.kvs train 0.1");
  ExpectFailure(3, "run b.kvs weight 0.1", 2, "b.kvs: it has a run of load case train");
}

TEST_F(TrussProgram, FilesThatAreNoBridgesAreNamed) {
  WriteFile(Path("text.kvs"), "no store at all");
  ExpectFailure(3, "print text.kvs", 2,
                "text.kvs: This is not a store. Check the name; if it is right, restore a copy.");
  sto_Store::Open(Path("empty.kvs"), sto_Mode::Create, m_Classes).Close();
  ExpectFailure(3, "print empty.kvs", 2, "empty.kvs: There is no root truss.");
}

TEST_F(TrussProgram, FullStandardOutputIsAnError) {
  Output(3, "make b.kvs 2");
  Outcome const outcome = RunWithFullOutput(TRS_PROGRAM_3 " print " + Path("b.kvs"), Folder());
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, "truss_v3: standard output cannot be written: No space left on device\n");
}
