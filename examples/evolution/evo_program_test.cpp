// Runs the five versions of the program as a user would: each call is a separate process. These programs
// wrote the golden stores once; the stores never change, and every test works on a copy.

#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/support/ProgramRun.h"
#include "tests/support/store/StoreFile.h"

namespace {

constexpr int LastVersion = 5;

class Evolution : public StoreFileTest {
 protected:
  // The path of a fresh copy of the golden store written by a version of the program.
  std::string Golden(int version) {
    std::string const name = "evolution-" + std::to_string(version) + ".kvs";
    std::filesystem::copy_file(std::string(EVO_GOLDEN_DIR) + "/" + name, Path(name),
                               std::filesystem::copy_options::overwrite_existing);
    return Path(name);
  }

  // The path of a version of the program.
  static std::string Program(int version) {
    char const* const programs[] = {EVO_PROGRAM_1, EVO_PROGRAM_2, EVO_PROGRAM_3, EVO_PROGRAM_4,
                                    EVO_PROGRAM_5};
    return programs[version - 1];
  }

  Outcome Run(int version, std::string const& arguments) {
    return RunToItsEnd(Program(version) + " " + arguments, Folder());
  }

  // What a version of the program prints for a store that it must be able to read.
  std::string Read(int version, std::string const& store) {
    Outcome const outcome = Run(version, "read " + store);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    return outcome.out;
  }

  void Upgrade(int version, std::string const& store) {
    Outcome const outcome = Run(version, "upgrade " + store);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out + outcome.err, "");
  }

  // The versions of class Beam that a version of the program declares.
  static std::string KnownTo(int version) {
    char const* const known[] = {"version 1", "version 2", "versions 2 and 3", "versions 1, 2, 3 and 4",
                                 "versions 1, 2, 3, 4 and 5"};
    return known[version - 1];
  }

  // A version of the program must refuse the beam of a later version with an error, and leave the store
  // unchanged.
  void ExpectRefusal(int version, char const* command, std::string const& store, int storedVersion) {
    StoreBytes const before = FileBytes(store);
    Outcome const outcome = Run(version, command + (" " + store));
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "evolution_v" + std::to_string(version) + ": " + store +
                               ": Object 1 was written by version " + std::to_string(storedVersion) +
                               " of class Beam; this program knows " + KnownTo(version) + ".\n");
    EXPECT_EQ(FileBytes(store), before);
    EXPECT_FALSE(std::filesystem::exists(store + "-journal"));
  }

  // The versions of class Beam in a store, each with its base class.
  static std::vector<std::string> BeamVersions(std::string const& store) {
    return SqlFile(store).Texts(
        "SELECT beam.name || ' ' || beam.version || ', base ' || base.name FROM class beam "
        "JOIN class base ON base.class_id = beam.base_class_id WHERE beam.name = 'Beam' "
        "ORDER BY beam.version");
  }

  static std::vector<std::string> BaseOfMember(std::string const& store) {
    return SqlFile(store).Texts(
        "SELECT member.name || ' ' || member.version || ', base ' || base.name FROM class member "
        "JOIN class base ON base.class_id = member.base_class_id WHERE member.name = 'Member'");
  }

  // How many objects of class Load are in a copy of the store.
  int LoadCount(std::string const& store) {
    std::string const copy = Path("counted.kvs");
    std::filesystem::copy_file(store, copy, std::filesystem::copy_options::overwrite_existing);
    return SqlFile(copy).CountOf(0x650004);
  }

  // The attributes of a version of class Beam in a store: number, name, type, collection type.
  static std::vector<std::string> BeamAttributes(std::string const& store, int version) {
    return SqlFile(store).Texts("SELECT field_id || ' ' || name || ' ' || type || ' ' || collection_type "
                                "FROM attribute WHERE class_id = 0x650001 AND version = " +
                                std::to_string(version) + " ORDER BY field_id");
  }
};

constexpr char const* Purlin = "name       purlin\n"
                               "length     4000 mm\n"
                               "load       12.5 N/mm\n"
                               "stations   0 1000 2500 4000 mm\n";
constexpr char const* Rafter = "name       rafter\n"
                               "length     5200 mm\n"
                               "load       8.25 N/mm\n"
                               "stations   0 2600 5200 mm\n"
                               "density    2700 kg/m3\n";
constexpr char const* Lintel = "name       lintel\n"
                               "length     1800 mm\n"
                               "line load  30500 N/m\n"
                               "density    2400 kg/m3\n";

constexpr char const* Joist = "name       joist\n"
                              "length     3600 mm\n"
                              "line load  2200 N/m\n"
                              "density    450 kg/m3\n";
constexpr char const* Girder = "name       girder\n"
                               "length     12000 mm\n"
                               "load case  snow\n"
                               "line load  18000 N/m\n"
                               "density    2500 kg/m3\n";

// What later programs make of the purlin of version 1.
constexpr char const* ConvertedPurlin = "name       purlin\n"
                                        "length     4000 mm\n"
                                        "line load  12500 N/m\n"
                                        "density    7850 kg/m3";
constexpr char const* SplitPurlin = "name       purlin\n"
                                    "length     4000 mm\n"
                                    "load case  permanent\n"
                                    "line load  12500 N/m\n"
                                    "density    7850 kg/m3";

std::vector<std::string> const AttributesOfVersion1 = {"0 m_Length 103 0", "1 m_Load 103 0",
                                                       "2 m_Stations 103 52"};
std::vector<std::string> const AttributesOfVersion2 = {"0 m_Length 103 0", "1 m_Load 103 0",
                                                       "2 m_Stations 103 52", "3 m_Density 103 0"};
std::vector<std::string> const AttributesOfVersion3 = {"0 m_Length 103 0", "3 m_Density 103 0",
                                                       "4 m_LineLoad 103 0"};
std::vector<std::string> const AttributesOfVersion4 = {"0 m_Length 103 0", "4 m_LineLoad 103 0"};
std::vector<std::string> const AttributesOfVersion5 = {"0 m_Length 103 0", "5 m_LoadObject 120 0"};

} // namespace

TEST_F(Evolution, Program1ReadsTheStoreOfVersion1) {
  EXPECT_EQ(Read(1, Golden(1)), Purlin);
}

TEST_F(Evolution, Program2ReadsABeamOfVersion1AsOneOfSteel) {
  EXPECT_EQ(Read(2, Golden(1)), std::string(Purlin) + "density    7850 kg/m3, assumed\n");
}

TEST_F(Evolution, Program2ReadsTheStoreOfVersion2) {
  EXPECT_EQ(Read(2, Golden(2)), Rafter);
}

// Program 3 has no metadata for version 1, so that of version 2 builds the beam.
TEST_F(Evolution, Program3ReadsABeamOfVersion1WithTheMetadataOfVersion2) {
  EXPECT_EQ(Read(3, Golden(1)), "name       purlin\n"
                                "length     4000 mm\n"
                                "line load  12500 N/m\n"
                                "density    7850 kg/m3, assumed\n");
}

TEST_F(Evolution, Program3ConvertsTheLoadOfABeamOfVersion2) {
  EXPECT_EQ(Read(3, Golden(2)), "name       rafter\n"
                                "length     5200 mm\n"
                                "line load  8250 N/m\n"
                                "density    2700 kg/m3\n");
}

TEST_F(Evolution, Program3ReadsTheStoreOfVersion3) {
  EXPECT_EQ(Read(3, Golden(3)), Lintel);
}

// The base class has changed: the record has no Member part, and the beam gets a new one.
TEST_F(Evolution, Program4BuildsTheNewBaseClassOfABeamOfVersion1) {
  EXPECT_EQ(Read(4, Golden(1)), std::string(ConvertedPurlin) + ", assumed\n");
}

TEST_F(Evolution, Program4BuildsTheNewBaseClassOfABeamOfVersion2) {
  EXPECT_EQ(Read(4, Golden(2)), "name       rafter\n"
                                "length     5200 mm\n"
                                "line load  8250 N/m\n"
                                "density    2700 kg/m3\n");
}

TEST_F(Evolution, Program4BuildsTheNewBaseClassOfABeamOfVersion3) {
  EXPECT_EQ(Read(4, Golden(3)), Lintel);
}

TEST_F(Evolution, Program4ReadsTheStoreOfVersion4) {
  EXPECT_EQ(Read(4, Golden(4)), Joist);
}

TEST_F(Evolution, Program5SplitsTheLoadOffABeamOfVersion1) {
  EXPECT_EQ(Read(5, Golden(1)), std::string(SplitPurlin) + ", assumed\n");
}

TEST_F(Evolution, Program5SplitsTheLoadOffABeamOfVersion2) {
  EXPECT_EQ(Read(5, Golden(2)), "name       rafter\n"
                                "length     5200 mm\n"
                                "load case  permanent\n"
                                "line load  8250 N/m\n"
                                "density    2700 kg/m3\n");
}

TEST_F(Evolution, Program5SplitsTheLoadOffABeamOfVersion3) {
  EXPECT_EQ(Read(5, Golden(3)), "name       lintel\n"
                                "length     1800 mm\n"
                                "load case  permanent\n"
                                "line load  30500 N/m\n"
                                "density    2400 kg/m3\n");
}

TEST_F(Evolution, Program5SplitsTheLoadOffABeamOfVersion4) {
  EXPECT_EQ(Read(5, Golden(4)), "name       joist\n"
                                "length     3600 mm\n"
                                "load case  permanent\n"
                                "line load  2200 N/m\n"
                                "density    450 kg/m3\n");
}

TEST_F(Evolution, Program5ReadsTheStoreOfVersion5) {
  EXPECT_EQ(Read(5, Golden(5)), Girder);
}

TEST_F(Evolution, ReadingLeavesTheStoreAsItIs) {
  for (int version = 1; version <= LastVersion; ++version) {
    std::string const store = Golden(version);
    StoreBytes const before = FileBytes(store);
    static_cast<void>(Read(LastVersion, store));
    EXPECT_EQ(FileBytes(store), before);
  }
}

TEST_F(Evolution, Program1RefusesToReadABeamOfVersion2) {
  ExpectRefusal(1, "read", Golden(2), 2);
}

TEST_F(Evolution, Program1RefusesToReadABeamOfVersion3) {
  ExpectRefusal(1, "read", Golden(3), 3);
}

TEST_F(Evolution, Program2RefusesToReadABeamOfVersion3) {
  ExpectRefusal(2, "read", Golden(3), 3);
}

TEST_F(Evolution, EarlierProgramsRefuseToReadABeamOfVersion4) {
  for (int version = 1; version < 4; ++version) ExpectRefusal(version, "read", Golden(4), 4);
}

TEST_F(Evolution, EarlierProgramsRefuseToReadABeamOfVersion5) {
  for (int version = 1; version < 5; ++version) ExpectRefusal(version, "read", Golden(5), 5);
}

TEST_F(Evolution, ProgramDoesNotSaveTheBeamOfALaterVersionAsItsOwn) {
  for (int stored = 2; stored <= LastVersion; ++stored)
    for (int version = 1; version < stored; ++version)
      ExpectRefusal(version, "upgrade", Golden(stored), stored);
}

TEST_F(Evolution, RefusalNamesAllVersionsThatTheProgramKnows) {
  Outcome const outcome = Run(4, "read " + Golden(5));
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err,
            "evolution_v4: " + Path("evolution-5.kvs") +
                ": Object 1 was written by version 5 of class Beam; this program knows versions 1, "
                "2, 3 and 4.\n");
}

TEST_F(Evolution, Program2SavesABeamOfVersion1AsVersion2) {
  std::string const store = Golden(1);
  Upgrade(2, store);
  // The density is no longer assumed: the record has one now.
  EXPECT_EQ(Read(2, store), std::string(Purlin) + "density    7850 kg/m3\n");
}

TEST_F(Evolution, UpgradedStoreDescribesBothVersionsOfTheClass) {
  std::string const store = Golden(1);
  Upgrade(2, store);
  EXPECT_EQ(BeamVersions(store), (std::vector<std::string>{"Beam 1, base Part", "Beam 2, base Part"}));
  EXPECT_EQ(BeamAttributes(store, 1), AttributesOfVersion1);
  EXPECT_EQ(BeamAttributes(store, 2), AttributesOfVersion2);
  EXPECT_EQ(IntegrityOf(store), "ok");
}

TEST_F(Evolution, UpgradedBeamTakesThePlaceOfTheOldOne) {
  std::string const store = Golden(1);
  std::vector<std::string> const before = SqlFile(store).Objects();
  Upgrade(2, store);
  EXPECT_EQ(SqlFile(store).Objects(), before);
  EXPECT_EQ(SqlFile(store).Texts("SELECT name || ' ' || object_id FROM root"),
            std::vector<std::string>{"beam 1"});
}

TEST_F(Evolution, Program1RefusesItsOwnStoreOnceProgram2HasUpgradedIt) {
  std::string const store = Golden(1);
  Upgrade(2, store);
  ExpectRefusal(1, "read", store, 2);
}

TEST_F(Evolution, Program3SavesABeamOfVersion1AsVersion3) {
  std::string const store = Golden(1);
  Upgrade(3, store);
  EXPECT_EQ(Read(3, store), "name       purlin\n"
                            "length     4000 mm\n"
                            "line load  12500 N/m\n"
                            "density    7850 kg/m3\n");
  // The version in between has never written to this store.
  EXPECT_EQ(BeamVersions(store), (std::vector<std::string>{"Beam 1, base Part", "Beam 3, base Part"}));
  EXPECT_EQ(BeamAttributes(store, 3), AttributesOfVersion3);
}

TEST_F(Evolution, Program4SavesABeamOfEachEarlierVersionWithItsNewBaseClass) {
  for (int version = 1; version < 4; ++version) {
    std::string const store = Golden(version);
    std::string before = Read(4, store);
    if (version == 1) before.replace(before.find(", assumed"), 9, "");
    Upgrade(4, store);
    EXPECT_EQ(Read(4, store), before);
    EXPECT_EQ(
        BeamVersions(store),
        (std::vector<std::string>{"Beam " + std::to_string(version) + ", base Part", "Beam 4, base Member"}));
    EXPECT_EQ(BaseOfMember(store), std::vector<std::string>{"Member 1, base Part"});
    EXPECT_EQ(IntegrityOf(store), "ok");
    ExpectRefusal(3, "read", store, 4);
  }
}

TEST_F(Evolution, Program5SavesTheLoadOfEachEarlierVersionAsAnObject) {
  for (int version = 1; version < 5; ++version) {
    std::string const store = Golden(version);
    std::string before = Read(5, store);
    if (version == 1) before.replace(before.find(", assumed"), 9, "");
    Upgrade(5, store);
    EXPECT_EQ(Read(5, store), before);
    EXPECT_EQ(LoadCount(store), 1);
    EXPECT_EQ(SqlFile(store).Texts("SELECT name || ' ' || object_id FROM root"),
              std::vector<std::string>{"beam 1"});
    // Saved again, it is the same object.
    Upgrade(5, store);
    EXPECT_EQ(Read(5, store), before);
    EXPECT_EQ(LoadCount(store), 1);
    ExpectRefusal(4, "read", store, 5);
  }
}

TEST_F(Evolution, BeamGoesThroughAllVersionsOneAfterTheOther) {
  std::string const store = Golden(1);
  for (int version = 2; version <= LastVersion; ++version) Upgrade(version, store);
  EXPECT_EQ(Read(LastVersion, store), std::string(SplitPurlin) + "\n");
  EXPECT_EQ(BeamVersions(store),
            (std::vector<std::string>{"Beam 1, base Part", "Beam 2, base Part", "Beam 3, base Part",
                                      "Beam 4, base Member", "Beam 5, base Member"}));
}

// Fails if someone changes what a version declares without giving it a new number.
TEST_F(Evolution, EachProgramStillDeclaresItsVersionAsInItsGoldenStore) {
  for (int version = 1; version <= LastVersion; ++version) {
    std::string const store = Golden(version);
    std::string const before = Read(version, store);
    Upgrade(version, store);
    EXPECT_EQ(Read(version, store), before);
  }
}

TEST_F(Evolution, GoldenStoresDescribeTheirVersionOfTheClass) {
  EXPECT_EQ(BeamVersions(Golden(1)), std::vector<std::string>{"Beam 1, base Part"});
  EXPECT_EQ(BeamVersions(Golden(2)), std::vector<std::string>{"Beam 2, base Part"});
  EXPECT_EQ(BeamVersions(Golden(3)), std::vector<std::string>{"Beam 3, base Part"});
  EXPECT_EQ(BeamVersions(Golden(4)), std::vector<std::string>{"Beam 4, base Member"});
  EXPECT_EQ(BeamVersions(Golden(5)), std::vector<std::string>{"Beam 5, base Member"});
  EXPECT_EQ(BeamAttributes(Golden(1), 1), AttributesOfVersion1);
  EXPECT_EQ(BeamAttributes(Golden(2), 2), AttributesOfVersion2);
  EXPECT_EQ(BeamAttributes(Golden(3), 3), AttributesOfVersion3);
  EXPECT_EQ(BeamAttributes(Golden(4), 4), AttributesOfVersion4);
  EXPECT_EQ(BeamAttributes(Golden(5), 5), AttributesOfVersion5);
}

TEST_F(Evolution, NewStoreOfEachProgramReadsAsItsGoldenOne) {
  for (int writer = 1; writer <= LastVersion; ++writer) {
    std::string const store = Path("new-" + std::to_string(writer) + ".kvs");
    Outcome const outcome = Run(writer, "write " + store);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out + outcome.err, "");
    for (int reader = writer; reader <= LastVersion; ++reader)
      EXPECT_EQ(Read(reader, store), Read(reader, Golden(writer)));
  }
}

TEST_F(Evolution, WriteLeavesAnExistingStoreUnchanged) {
  std::string const store = Golden(1);
  StoreBytes const before = FileBytes(store);
  Outcome const outcome = Run(1, "write " + store);
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.err, "evolution_v1: " + store + ": The file exists already.\n");
  EXPECT_EQ(FileBytes(store), before);
}

TEST_F(Evolution, ReadNamesAMissingStore) {
  Outcome const outcome = Run(2, "read " + Path("none.kvs"));
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.err, "evolution_v2: " + Path("none.kvs") + ": There is no such file.\n");
  EXPECT_FALSE(std::filesystem::exists(Path("none.kvs")));
}

TEST_F(Evolution, FullStandardOutputIsAnError) {
  for (int version = 1; version <= LastVersion; ++version) {
    Outcome const outcome = RunWithFullOutput(Program(version) + " read " + Golden(version), Folder());
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "evolution_v" + std::to_string(version) +
                               ": standard output cannot be written: No space left on device\n");
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
