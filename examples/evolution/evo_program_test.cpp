// Runs the six versions of the program as a user would: each call is a separate process. The golden stores never
// change, and every test works on a copy.

#include <gtest/gtest.h>

#include "tests/support/ProgramRun.h"
#include "tests/support/store/StoreFile.h"

namespace {

constexpr int LastVersion = 6;

// The beam that each version of the program writes.
struct Content {
  char const* m_Name;
  char const* m_Length;
  char const* m_Span;
  char const* m_Load;
  char const* m_Stations;
  char const* m_Case;
  char const* m_LineLoad;
  char const* m_Density;
};
constexpr Content Written[] = {
    {"purlin", "4000", "4", "12.5", "0 1000 2500 4000", "permanent", "12500", "7850"},
    {"rafter", "5200", "5.2", "8.25", "0 2600 5200", "permanent", "8250", "2700"},
    {"lintel", "1800", "1.8", "", "", "permanent", "30500", "2400"},
    {"joist", "3600", "3.6", "", "", "permanent", "2200", "450"},
    {"girder", "12000", "12", "", "", "snow", "18000", "2500"},
    {"column", "", "3.5", "", "", "wind", "900", "7850"}};

std::string Line(char const* label, std::string const& value, char const* unit) {
  std::string text(label);
  text.resize(11, ' ');
  return text.append(value).append(unit).append("\n");
}

// What a program prints of the beam that an earlier one wrote, or it itself.
std::string Printed(int program, int writer, bool isUpgraded = false) {
  Content const& beam = Written[writer - 1];
  std::string text = Line("name", beam.m_Name, "");
  text += program < 6 ? Line("length", beam.m_Length, " mm") : Line("span", beam.m_Span, " m");
  if (program < 3) text += Line("load", beam.m_Load, " N/mm") + Line("stations", beam.m_Stations, " mm");
  if (program >= 5) text += Line("load case", beam.m_Case, "");
  if (program >= 3) text += Line("line load", beam.m_LineLoad, " N/m");
  bool const isAssumed = writer == 1 && !isUpgraded;
  if (program >= 2) text += Line("density", beam.m_Density, isAssumed ? " kg/m3, assumed" : " kg/m3");
  return text;
}

using Texts = std::vector<std::string>;

// The attributes of version 3, 4 and 5 had other numbers when the class was written by hand: those of dropped
// attributes were not used again.
Texts const AttributesByHand[] = {
    {"0 m_Length 103 0", "1 m_Load 103 0", "2 m_Stations 103 52"},
    {"0 m_Length 103 0", "1 m_Load 103 0", "2 m_Stations 103 52", "3 m_Density 103 0"},
    {"0 m_Length 103 0", "3 m_Density 103 0", "4 m_LineLoad 103 0"},
    {"0 m_Length 103 0", "4 m_LineLoad 103 0"},
    {"0 m_Length 103 0", "5 m_LoadObject 120 0"}};
Texts const Attributes[] = {AttributesByHand[0],
                            AttributesByHand[1],
                            {"0 m_Length 103 0", "1 m_Density 103 0", "2 m_LineLoad 103 0"},
                            {"0 m_Length 103 0", "1 m_LineLoad 103 0"},
                            {"0 m_Length 103 0", "1 m_LoadObject 120 0"},
                            {"0 m_Span 103 0", "1 m_LoadObject 120 0"}};

// What a store says of the classes Beam and Member when these versions of the program wrote to it.
Texts ClassesOf(std::vector<int> const& versions) {
  Texts classes;
  classes.reserve(versions.size() + 1);
  for (int const version : versions)
    classes.push_back((version < 6 ? "Beam " : "Bar ") + std::to_string(version) +
                      (version < 4 ? ", base Part" : ", base Member"));
  if (versions.back() >= 4) classes.emplace_back("Member 1, base Part");
  return classes;
}

// Who wrote a store: programs with classes by hand, in the formats 2 and 3, or in format 4; or those of today.
enum class By { HandInOldFormats, Hand, Today };
constexpr By All[] = {By::HandInOldFormats, By::Hand, By::Today};

int LastOf(By by) {
  return by == By::Today ? LastVersion : 5;
}

// Whether a program has the class version in the store with other numbers of its attributes.
bool IsRenumbered(By by, int program, int writer) {
  return by != By::Today && program == writer && program >= 3;
}

class Evolution : public StoreFileTest {
 protected:
  static std::string Program(int version) { return EVO_PROGRAMS + std::to_string(version); }
  static std::string Name(int version) { return "evolution_v" + std::to_string(version); }

  Outcome Run(int version, std::string const& arguments) {
    return RunToItsEnd(Program(version) + " " + arguments, Folder());
  }
  // Runs a command that must succeed.
  std::string Done(int version, char const* command, std::string const& store) {
    Outcome const outcome = Run(version, command + (" " + store));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    return outcome.out;
  }
  std::string Read(int version, std::string const& store) { return Done(version, "read", store); }
  void Upgrade(int version, std::string const& store) { EXPECT_EQ(Done(version, "upgrade", store), ""); }

  std::string Copy(std::string const& golden) {
    std::filesystem::copy_file(golden, Path("copy.kvs"), std::filesystem::copy_options::overwrite_existing);
    return Path("copy.kvs");
  }
  // A fresh store of a version of the program.
  std::string Store(By by, int version) {
    if (by == By::HandInOldFormats)
      return Copy(EVO_OLD_GOLDEN_DIR "/evolution-" + std::to_string(version) + ".kvs");
    if (by == By::Hand) return Copy(EVO_GOLDEN_DIR "/hand-" + std::to_string(version) + ".kvs");
    std::filesystem::remove(Path("new.kvs"));
    EXPECT_EQ(Done(version, "write", Path("new.kvs")), "");
    return Path("new.kvs");
  }

  // A program must refuse the store with an error, and leave it unchanged.
  void ExpectRefusal(int version, char const* command, std::string const& store, int status,
                     std::string const& problem) {
    StoreBytes const before = FileBytes(store);
    Outcome const outcome = Run(version, command + (" " + store));
    EXPECT_EQ(outcome.status, status);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, Name(version) + ": " + store + ": " + problem + "\n");
    EXPECT_EQ(FileBytes(store), before);
    EXPECT_FALSE(std::filesystem::exists(store + "-journal"));
  }
  void ExpectTooNew(int version, char const* command, std::string const& store, int writer) {
    ExpectRefusal(version, command, store, 1,
                  "Object 1 was written by version " + std::to_string(writer) +
                      " of class Beam; this program knows version " + std::to_string(version) + ".");
  }

  static Texts ClassesIn(std::string const& store) {
    return SqlFile(store).Texts(
        "SELECT beam.name || ' ' || beam.version || ', base ' || base.name FROM class beam "
        "JOIN class base ON base.class_id = beam.base_class_id WHERE beam.class_id IN (0x650001, 0x650003) "
        "ORDER BY beam.class_id, beam.version");
  }
  static Texts AttributesIn(std::string const& store, int version) {
    return SqlFile(store).Texts("SELECT field_id || ' ' || name || ' ' || type || ' ' || collection_type "
                                "FROM attribute WHERE class_id = 0x650001 AND version = " +
                                std::to_string(version) + " ORDER BY field_id");
  }
};

} // namespace

TEST_F(Evolution, EachProgramReadsTheStoresOfAllEarlierOnes) {
  for (By const by : All)
    for (int writer = 1; writer <= LastOf(by); ++writer) {
      std::string const store = Store(by, writer);
      StoreBytes const before = FileBytes(store);
      for (int program = writer; program <= LastVersion; ++program)
        if (!IsRenumbered(by, program, writer)) {
          EXPECT_EQ(Read(program, store), Printed(program, writer));
        }
      EXPECT_EQ(FileBytes(store), before);
    }
}

TEST_F(Evolution, EachProgramRefusesTheStoresOfAllLaterOnes) {
  for (By const by : All)
    for (int writer = 2; writer <= LastOf(by); ++writer) {
      std::string const store = Store(by, writer);
      for (int program = 1; program < writer; ++program)
        for (char const* const command : {"read", "upgrade"}) ExpectTooNew(program, command, store, writer);
    }
}

// Described attributes are numbered without gaps. So a class that has some by hand gets a new version with its
// description.
TEST_F(Evolution, SameVersionWithOtherNumbersIsRefused) {
  char const* const renumbered[] = {"m_Density", "m_LineLoad", "m_LoadObject"};
  for (By const by : {By::HandInOldFormats, By::Hand})
    for (int version = 3; version <= 5; ++version)
      ExpectRefusal(version, "read", Store(by, version), 2,
                    "Class Beam version " + std::to_string(version) + " declares attribute " +
                        renumbered[version - 3] +
                        " differently than when the store was first given this version. Give the class a "
                        "new version.");
}

TEST_F(Evolution, EachProgramSavesEarlierBeamsInItsOwnVersion) {
  for (By const by : All)
    for (int writer = 1; writer <= LastOf(by); ++writer)
      for (int program = writer + 1; program <= LastVersion; ++program) {
        std::string const store = Store(by, writer);
        Upgrade(program, store);
        // The density is not assumed any more: the record has one now.
        EXPECT_EQ(Read(program, store), Printed(program, writer, true));
        EXPECT_EQ(ClassesIn(store), ClassesOf({writer, program}));
        EXPECT_EQ(AttributesIn(store, writer), (by == By::Today ? Attributes : AttributesByHand)[writer - 1]);
        EXPECT_EQ(AttributesIn(store, program), Attributes[program - 1]);
        EXPECT_EQ(IntegrityOf(store), "ok");
        if (!IsRenumbered(by, program - 1, writer)) ExpectTooNew(program - 1, "read", store, program);
      }
}

TEST_F(Evolution, UpgradedBeamTakesThePlaceOfTheOldOne) {
  for (int program = 2; program <= LastVersion; ++program) {
    std::string const store = Store(By::Hand, 1);
    for (int time = 0; time < 2; ++time) { // saved again, its load is the same object
      Upgrade(program, store);
      EXPECT_EQ(SqlFile(store).Texts("SELECT name || ' ' || object_id FROM root"), Texts{"beam 1"});
      EXPECT_EQ(SqlFile(store).CountOf(0x650001), 1);
      EXPECT_EQ(SqlFile(store).CountOf(0x650004), program < 5 ? 0 : 1);
    }
  }
}

TEST_F(Evolution, BeamGoesThroughAllVersionsOneAfterTheOther) {
  for (By const by : All) {
    std::string const store = Store(by, 1);
    for (int version = 2; version <= LastVersion; ++version) Upgrade(version, store);
    EXPECT_EQ(Read(LastVersion, store), Printed(LastVersion, 1, true));
    EXPECT_EQ(ClassesIn(store), ClassesOf({1, 2, 3, 4, 5, 6}));
  }
}

// Fails if someone changes what a version declares without giving it a new number.
TEST_F(Evolution, EachProgramStillDeclaresItsVersion) {
  for (int version = 1; version <= LastVersion; ++version) {
    std::string const store = Store(By::Today, version);
    EXPECT_EQ(ClassesIn(store), ClassesOf({version}));
    EXPECT_EQ(AttributesIn(store, version), Attributes[version - 1]);
  }
  std::string const store = Copy(EVO_GOLDEN_DIR "/described-6.kvs");
  EXPECT_EQ(Read(6, store), Printed(6, 6));
  Upgrade(6, store);
  EXPECT_EQ(Read(6, store), Printed(6, 6));
}

TEST_F(Evolution, WriteLeavesAnExistingStoreUnchanged) {
  ExpectRefusal(1, "write", Store(By::Hand, 1), 2, "The file exists already.");
}

TEST_F(Evolution, ReadNamesAMissingStore) {
  Outcome const outcome = Run(2, "read " + Path("none.kvs"));
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.err, "evolution_v2: " + Path("none.kvs") + ": There is no such file.\n");
  EXPECT_FALSE(std::filesystem::exists(Path("none.kvs")));
}

TEST_F(Evolution, FullStandardOutputIsAnError) {
  for (int version = 1; version <= LastVersion; ++version) {
    Outcome const outcome =
        RunWithFullOutput(Program(version) + " read " + Store(By::Today, version), Folder());
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, Name(version) + ": standard output cannot be written: No space left on device\n");
  }
}

TEST_F(Evolution, ProgramPrintsItsUsage) {
  for (char const* const arguments : {"", "read", "draw beam.kvs", "read a.kvs b.kvs"}) {
    Outcome const outcome = Run(3, arguments);
    EXPECT_EQ(outcome.status, 2) << arguments;
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "evolution_v3: usage: write|read|upgrade STORE\n");
  }
}
