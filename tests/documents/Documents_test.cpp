// Runs the programs made from the documents' C++ blocks, each in a separate folder.

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "tests/support/ProgramRun.h"
#include "tests/support/store/StoreFile.h"

namespace {

class Documents : public StoreFileTest {
 protected:
  // Runs a program in the folder of the test.
  Outcome Run(std::string const& program) {
    return RunToItsEnd("cd '" + Folder().string() + "' && " + program, Folder());
  }

  void ExpectOutput(std::string const& program, std::string const& expected) {
    Outcome const outcome = Run(program);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, expected);
    EXPECT_EQ(outcome.err, "");
  }
};

} // namespace

TEST_F(Documents, ReadmeProgramFindsInItsSecondRunWhatItsFirstHasSaved) {
  ExpectOutput(DOCUMENT_README, "Saved a bolt of 80 mm.\n");
  ExpectOutput(DOCUMENT_README, "Found a bolt of 80 mm.\n");
}

TEST_F(Documents, ReadmeProgramNamesAFileThatIsNoStore) {
  WriteFile(Path("bolts.kvs"), "80 mm\n");
  Outcome const outcome = Run(DOCUMENT_README);
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.out, "");
  EXPECT_TRUE(outcome.err.starts_with("bolts.kvs: ")) << outcome.err;
}

TEST_F(Documents, HistoryOfUsingStoresIsInTheStore) {
  ExpectOutput(DOCUMENT_HISTORY, "6000 temperatures, the last 2000\n"
                                 "analysis/step-1: Result version 1, save 3\nno backup\ncopied\n");
}

TEST_F(Documents, CopiesWithIdentitiesOfTheirOwnAreTwoObjects) {
  ExpectOutput(DOCUMENT_COPIES, "thick 3\nthin 2\n");
}

TEST_F(Documents, GuideEndsWithAPlot) {
  ExpectOutput(DOCUMENT_GUIDE, "stiffness 1.68e+07\ndiameter 0.0112838 m, 7.7 N/m, stiffness 8.4e+06\n");
  std::ifstream file(Path("swing.svg"));
  std::string const plot((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  EXPECT_TRUE(plot.starts_with("<svg ")) << plot;
  EXPECT_NE(plot.find("points='0,-100 0.6,-"), std::string::npos) << plot.substr(0, 300);
}

TEST_F(Documents, ArraysAreReadInParts) {
  ExpectOutput(DOCUMENT_ARRAYS, "1968\n1 8 6 MPa\n0\n"); // 293 + 125, and 50 + 250 + 25 * 50 elements
}

TEST_F(Documents, IndexesAreMadeAndDropped) {
  ExpectOutput(DOCUMENT_INDEXES, "3 saves, 23 bytes of indexes\n4 saves, 12 bytes of indexes\n1 found\n");
}

TEST_F(Documents, AStoreIsLookedAtWithoutItsClasses) {
  ExpectOutput(DOCUMENT_LOOKING_INSIDE,
               "model/plate: Plate\nm_Name (string)\nm_Thickness (double) = 12.5 mm\n"
               "m_Loads (list of double)\nm_Bolts (map from string to int)\n"
               "5000 elements, the last 2.25\nM10: 6\nM8: 4\n");
}

TEST_F(Documents, ADamagedStoreIsRecovered) {
  ExpectOutput(
      DOCUMENT_RECOVERING,
      "2 objects, 0 lost\nElements: Object 2 (cls_InternalList) has lost elements 0 to 2047. It is attribute "
      "m_Loads of object 1 (Plate).\n1 2.25\n");
}

TEST_F(Documents, ReferencesLeadToObjectsThatStay) {
  ExpectOutput(DOCUMENT_REFERENCES, "27 30\n15 15 light car 0\n15 4\n10 0 4\n");
}

TEST_F(Documents, DescribedObjectsComeBackAndOldOnesAreConverted) {
  ExpectOutput(DOCUMENT_DESCRIBED, "left 2.1e+06 3\nright 5.5 5\n100 70\n100 ms 0.5 4999\n7 0 2.5\n"
                                   "200 mm, 1 bar of water\n");
}

TEST_F(Documents, EachKindOfMemberOfDeclaringClassesComesBack) {
  ExpectOutput(DOCUMENT_DECLARING, "30 members and 5 classes came back\n");
}
