#include <cmath>
#include <filesystem>
#include <limits>
#include <map>
#include <random>
#include <set>

#include "tests/support/store/StoreInspected.h"
#include "tests/support/store/StoreRows.h"
#include "tools/kvlstore/report/kvs_ReportClasses.h"
#include "tools/kvlstore/report/kvs_ReportPage.h"

namespace report_test {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

constexpr std::string_view Hostile =
    "</script><script>alert(1)</script><!-- \x1b]0;x\x07 \xE2\x80\xA8 \xE2\x80\xAE \xFF \"'&";

class Report : public InspectedStoreTest {
 protected:
  Report() : InspectedStoreTest(&DeclareAll) {}

  /// The report about what was saved.
  ReportPage Page(kvs_ReportOptions const& options = {}) {
    m_Store.reset();
    m_Plain.reset();
    m_Plain.emplace(sto_Store::Open(Path(), sto_Mode::ReadOnly, m_None));
    return ReportPage(*m_Plain, options);
  }
  static std::shared_ptr<Box> BoxOf(int bolts) {
    auto box = std::make_shared<Box>();
    for (int i = 0; i < bolts; ++i)
      box->m_Bolts.push_back(std::make_shared<Bolt>("bolt " + std::to_string(i)));
    return box;
  }
  static bool HasProblem(ReportPage const& page, std::string_view part) {
    return Contains(page.Summary()["problems"].dump(), part);
  }
};

TEST_F(Report, ShowsFieldsWithUnitsAndNamesOfValues) {
  m_Store->Save("bolt", Bolt("M8"));
  ReportPage const page = Page();
  std::int64_t const bolt = page.RootId("bolt");
  EXPECT_EQ(page.Field(bolt, "m_Name")["value"], "M8");
  EXPECT_EQ(page.Field(bolt, "m_Length"), (json{{"value", 12.5}, {"kind", "double"}, {"unit", "mm"}}));
  EXPECT_EQ(page.Field(bolt, "m_Head")["value"], (json{7, "round"}));
  EXPECT_EQ(page.Field(bolt, "m_Serial")["value"], "9007199254740993"); // a page would round the number
  EXPECT_TRUE(Contains(page.Text(), "<h1>test.kvs</h1>"));
  EXPECT_EQ(page.Summary()["facts"]["format"], 4);
  EXPECT_EQ(page.Summary()["problems"], json::array());
}

TEST_F(Report, ShowsClassesAndSaves) {
  m_Store->Save("bolt", Bolt("M8"));
  {
    sto_Transaction transaction(*m_Store);
    transaction.SetNote("the second");
    m_Store->Save("other", Bolt("M6"));
    transaction.Commit();
  }
  ReportPage const page = Page();
  json const& classes = page.Summary()["classes"];
  auto const bolt =
      std::find_if(classes.begin(), classes.end(), [](json const& each) { return each["n"] == "Bolt"; });
  ASSERT_NE(bolt, classes.end());
  EXPECT_EQ((*bolt)["objects"], 2);
  EXPECT_EQ((*bolt)["notes"], json::array({json{"source", "catalogue of 2026"}}));
  EXPECT_EQ((*bolt)["f"][2]["n"], "m_Name");
  EXPECT_EQ((*bolt)["f"][2]["k"], "string");
  json const& saves = page.Summary()["saves"];
  ASSERT_EQ(saves.size(), 3U);
  EXPECT_EQ(saves[2]["note"], "the second");
  EXPECT_EQ(saves[2]["roots"], json{"other"});
  kvs_ReportOptions options;
  options.m_MaxSaves = 1;
  EXPECT_EQ(Page(options).Summary()["saves"].size(), 1U);
}

TEST_F(Report, ASharedObjectIsThereOnce) {
  auto const box = BoxOf(0);
  box->m_First = box->m_Second = std::make_shared<Bolt>("shared");
  m_Store->Save("box", *box);
  ReportPage const page = Page();
  std::int64_t const root = page.RootId("box");
  EXPECT_EQ(page.IdIn(root, "m_First"), page.IdIn(root, "m_Second"));
  std::set<std::int64_t> ids;
  for (json const& row : page.Rows()) EXPECT_TRUE(ids.insert(row[0].get<std::int64_t>()).second) << row;
  EXPECT_EQ(static_cast<std::int64_t>(ids.size()), m_Plain->ObjectCount());
}

TEST_F(Report, ShowsListsMapsAndBytes) {
  Box box;
  box.m_Texts = {"one", ""};
  box.m_Counts = {{"left", 1}, {"right", -2}};
  box.m_Bytes = {0, 255, 16};
  m_Store->Save("box", box);
  ReportPage const page = Page();
  std::int64_t const root = page.RootId("box");
  EXPECT_EQ(page.Content(page.IdIn(root, "m_Texts"))["v"], (json{"one", ""}));
  EXPECT_EQ(page.Content(page.IdIn(root, "m_Counts"))["m"],
            json::array({json{"left", 1}, json{"right", -2}}));
  EXPECT_EQ(page.Content(page.IdIn(root, "m_Bytes"))["b"], (json{{"x", "00 ff 10"}, {"n", 3}}));
}

TEST_F(Report, PlotsKeepPeaksAndCountWhatIsNoNumber) {
  Box box;
  box.m_Curve.assign(100000, 1.0);
  box.m_Curve[54321] = 77;
  box.m_Curve[5] = std::numeric_limits<double>::quiet_NaN();
  box.m_Curve[6] = -std::numeric_limits<double>::infinity();
  m_Store->Save("box", box);
  kvs_ReportOptions options;
  options.m_MaxPoints = 50;
  ReportPage const page = Page(options);
  json const curve = page.Content(page.IdIn(page.RootId("box"), "m_Curve"));
  EXPECT_EQ(curve["n"], 100000);
  EXPECT_EQ(curve["nan"], 1);
  EXPECT_EQ(curve["inf"], 1);
  EXPECT_EQ(curve["min"], 1);
  EXPECT_EQ(curve["max"], 77);
  EXPECT_EQ(curve["at"][1], 54321);
  EXPECT_NEAR(curve["mean"].get<double>(), 1 + 76.0 / 99998, 1e-12);
  EXPECT_EQ(curve["v"][5], "NaN");
  EXPECT_EQ(curve["v"][6], "-Infinity");
  json const& points = curve["curves"][0];
  ASSERT_EQ(points["hi"].size(), 50U);
  EXPECT_EQ(points["hi"][54321 / 2000], 77);
  EXPECT_EQ(points["lo"][54321 / 2000], 1);
  EXPECT_LE(curve["v"].size(), 64U);
}

TEST_F(Report, ArraysWithRowsHaveACurveForEachColumnOrABand) {
  Table table;
  for (int i = 0; i < 4; ++i) {
    table.m_Places.push_back({1.0 * i, -1.0 * i});
    table.m_Wide.push_back({0, 1, 2, 3, 4.0 * i});
  }
  m_Store->Save("table", table);
  kvs_ReportOptions options;
  options.m_MaxPoints = 2;
  ReportPage const page = Page(options);
  json const places = page.Content(page.IdIn(page.RootId("table"), "m_Places"));
  EXPECT_EQ(places["row"], json{2});
  EXPECT_EQ(places["step"], 2);
  ASSERT_EQ(places["curves"].size(), 2U);
  EXPECT_EQ(places["curves"][0]["hi"], (json{1, 3}));
  EXPECT_EQ(places["curves"][1]["lo"], (json{-1, -3}));
  json const wide = page.Content(page.IdIn(page.RootId("table"), "m_Wide"));
  ASSERT_EQ(wide["curves"].size(), 1U);
  EXPECT_EQ(wide["curves"][0]["lo"], (json{0, 0}));
  EXPECT_EQ(wide["curves"][0]["hi"], (json{4, 12}));
  EXPECT_EQ(wide["curves"][0]["mid"], (json{1.6, 3.2}));
}

TEST_F(Report, ManyPlotsLeaveRoomForOtherObjects) {
  for (int i = 0; i < 60; ++i) {
    Box box;
    for (int k = 0; k < 2000; ++k) box.m_Curve.push_back(std::sin(i + k * 0.1));
    m_Store->Save("box " + std::to_string(i), box);
  }
  kvs_ReportOptions options;
  options.m_MaxBytes = 300000;
  ReportPage const page = Page(options);
  EXPECT_EQ(page.Summary()["shown"]["cut"], false);
  EXPECT_EQ(static_cast<std::int64_t>(page.Rows().size()), m_Plain->ObjectCount());
}

TEST_F(Report, EscapesWhatComesFromTheStore) {
  Box box;
  box.m_Name = Hostile;
  box.m_Texts = {std::string(Hostile)};
  box.m_Counts = {{std::string(Hostile), 1}};
  {
    sto_Transaction transaction(*m_Store);
    transaction.SetNote(std::string(Hostile));
    m_Store->Save(std::string("root ") + std::string(Hostile), box);
    transaction.Commit();
  }
  kvs_ReportOptions options;
  options.m_Name = Hostile;
  ReportPage const page = Page(options);
  EXPECT_EQ(page.Count("<script"), 5U); // four with data and the page's own
  EXPECT_EQ(page.Count("</script>"), 5U);
  EXPECT_EQ(page.Count("<!--"), 0U);
  for (char const* const bad : {"\x1b", "\x07", "\xE2\x80\xA8", "\xE2\x80\xAE", "\xFF", "alert(1)<"})
    EXPECT_EQ(page.Count(bad), 0U) << bad;
  json const name = page.Field(page.Rows()[0][0], "m_Name")["value"];
  EXPECT_EQ(
      name,
      "</script><script>alert(1)</script><!-- \u241B]0;x\u2407 \u27E8U+2028\u27E9 \u27E8U+202E\u27E9 \uFFFD \"'&");
  EXPECT_TRUE(Contains(page.Text(), "<title>&lt;/script&gt;"));
}

TEST_F(Report, LeavesOutWhatIsBeyondTheLimitsAndSaysSo) {
  m_Store->Save("box", *BoxOf(3000));
  kvs_ReportOptions options;
  options.m_MaxObjects = 500;
  ReportPage const page = Page(options);
  EXPECT_EQ(page.Rows().size(), 500U);
  EXPECT_EQ(page.Summary()["shown"]["rows"], 500);
  EXPECT_EQ(page.Summary()["shown"]["cut"], true);
  EXPECT_EQ(page.Summary()["facts"]["objects"], m_Plain->ObjectCount());
  options.m_MaxBytes = 20000;
  ReportPage const smaller = Page(options);
  EXPECT_LT(smaller.Rows().size(), 500U);
  EXPECT_EQ(smaller.Summary()["shown"]["cut"], true);
  EXPECT_LT(smaller.Data("objects").dump().size(), 25000U);
}

TEST_F(Report, NamesDoNotFillIt) {
  for (int i = 0; i < 200; ++i) m_Store->Save("root " + std::to_string(i) + std::string(5000, 'r'), Bolt());
  kvs_ReportOptions options;
  options.m_MaxBytes = 50000;
  options.m_MaxSaves = 0;
  ReportPage const page = Page(options);
  EXPECT_EQ(page.Summary()["rootCount"], 200);
  EXPECT_LT(page.Summary()["roots"].size(), 60U);
  EXPECT_LT(page.Text().size(), 250000U);
}

TEST_F(Report, ALongListLeavesRoomForOthers) {
  m_Store->Save("a", *BoxOf(3000));
  m_Store->Save("b", *BoxOf(3000));
  kvs_ReportOptions options;
  options.m_MaxObjects = 2500;
  ReportPage const page = Page(options);
  std::map<std::int64_t, std::size_t> shown; // elements of each list
  for (json const& row : page.Data("objects")) {
    if (row.is_object()) shown[row["l"]] += row["e"].size();
    if (row.is_array() && row.back().contains("o")) shown[row[0]] += row.back()["o"].size();
  }
  ASSERT_EQ(shown.size(), 2U);
  for (auto const& [list, count] : shown) EXPECT_GE(count, 900U) << list;
}

TEST_F(Report, ShowsAllOfAListThatFits) {
  m_Store->Save("box", *BoxOf(3000));
  ReportPage const page = Page();
  std::int64_t const list = page.IdIn(page.RootId("box"), "m_Bolts");
  json ids = page.Content(list)["o"];
  for (json const& row : page.Data("objects"))
    if (row.is_object() && row["l"] == list) ids.insert(ids.end(), row["e"].begin(), row["e"].end());
  EXPECT_EQ(ids.size(), 3000U);
  EXPECT_EQ(std::set<std::int64_t>(ids.begin(), ids.end()).size(), 3000U);
  EXPECT_EQ(page.Summary()["shown"]["cut"], false);
  EXPECT_EQ(page.Summary()["shown"]["rows"], m_Plain->ObjectCount());
}

TEST_F(Report, ShowsObjectsThatNoRootLeadsTo) {
  m_Store->Save("bolt", Bolt("kept"));
  m_Store->Save("lost", Bolt("lost"));
  m_Store->RemoveRoot("lost");
  ReportPage const page = Page();
  EXPECT_EQ(page.Summary()["shown"]["ofNoRoot"], 1);
  EXPECT_EQ(page.Rows()[1][2], -2);
  EXPECT_EQ(page.Rows()[1][3], "lost");
}

TEST_F(Report, LongTextsAreCutAtACharacter) {
  Bolt bolt;
  for (int i = 0; i < 400; ++i) bolt.m_Name += "\u00E4";
  m_Store->Save("bolt", bolt);
  kvs_ReportOptions options;
  options.m_MaxText = 101;
  ReportPage const page = Page(options);
  json const name = page.Field(page.RootId("bolt"), "m_Name")["value"];
  EXPECT_EQ(name["n"], 800);
  EXPECT_EQ(name["s"].get<std::string>(), bolt.m_Name.substr(0, 100));
}

TEST_F(Report, DrawsWhatNotesSay) {
  m_Store->Save("heat", Heat());
  ReportPage const page = Page();
  json const pictures = page.Data("pictures");
  ASSERT_EQ(pictures.size(), 1U); // not the mesh alone, too
  json const& picture = pictures[0];
  EXPECT_EQ(picture["title"], "m_Values");
  EXPECT_EQ(picture["u"], "K");
  EXPECT_EQ(picture["points"], 4);
  EXPECT_EQ(picture["cells"], 2);
  EXPECT_EQ(picture["c"], (json{0, 1, 2, 0, 2, 3}));
  EXPECT_EQ(picture["v"], (json{280, 300, 310, 290}));
  EXPECT_EQ(picture["high"], (json{2, 1, 0}));
  EXPECT_EQ(picture["p"], (json{0, 0, 0, 65535, 0, 0, 65535, 65535, 0, 0, 65535, 0}));
  EXPECT_EQ(picture["max"], 310);
  EXPECT_EQ(picture["maxAt"], (json{2, 1, 0}));
}

TEST_F(Report, DrawsLinesBetweenPointsInColumns) {
  m_Store->Save("truss", Truss());
  json const pictures = Page().Data("pictures");
  ASSERT_EQ(pictures.size(), 1U);
  EXPECT_EQ(pictures[0]["k"], 2);
  EXPECT_EQ(pictures[0]["per"], "cell");
  EXPECT_EQ(pictures[0]["c"], (json{0, 1, 1, 2, 2, 0}));
  EXPECT_EQ(pictures[0]["high"], (json{4, 3, 0}));
  EXPECT_EQ(pictures[0]["v"], (json{1, -2, 0.5}));
}

TEST_F(Report, SaysWhyAPictureCannotBeDrawn) {
  Heat tooFew;
  tooFew.m_Values.pop_back();
  m_Store->Save("a", tooFew);
  Heat wrongPoint;
  wrongPoint.m_Plate->m_Cells[5] = 4;
  m_Store->Save("b", wrongPoint);
  Heat noMesh;
  noMesh.m_Plate = nullptr;
  m_Store->Save("c", noMesh);
  ReportPage const page = Page();
  json const pictures = page.Data("pictures");
  ASSERT_EQ(pictures.size(), 3U);
  for (json const& picture : pictures) EXPECT_TRUE(picture.contains("problem")) << picture;
  EXPECT_TRUE(HasProblem(page, "m_Cells names point 4, which does not exist."));
}

TEST_F(Report, IsTheSameEachTime) {
  m_Store->Save("box", *BoxOf(300));
  m_Store->Save("heat", Heat());
  std::string const first = Page().Text();
  EXPECT_EQ(first, Page().Text());
}

TEST_F(Report, AnEmptyStoreHasOne) {
  ReportPage const page = Page();
  EXPECT_EQ(page.Rows(), json::array());
  EXPECT_EQ(page.Summary()["problems"], json::array());
}

TEST_F(Report, GoldenStoresHaveNoProblems) {
  int stores = 0;
  for (fs::directory_entry const& entry : fs::directory_iterator(KVL_GOLDEN_DIR)) {
    if (entry.path().extension() != ".kvs") continue;
    SCOPED_TRACE(entry.path().filename().string());
    fs::copy_file(entry.path(), Path("golden.kvs"), fs::copy_options::overwrite_existing);
    m_Plain.reset();
    m_Plain.emplace(sto_Store::Open(Path("golden.kvs"), sto_Mode::ReadOnly, m_None));
    ReportPage const page(*m_Plain);
    EXPECT_EQ(page.Summary()["problems"], json::array());
    std::int64_t const missing = page.Summary()["shown"]["missing"];
    EXPECT_EQ(static_cast<std::int64_t>(page.Rows().size()) - missing, m_Plain->ObjectCount());
    ++stores;
  }
  EXPECT_GE(stores, 10);
}

TEST_F(Report, ADamagedObjectIsAProblemAndTheOthersAreShown) {
  m_Store->Save("box", *BoxOf(20));
  m_Store.reset();
  std::int64_t damaged = 0;
  {
    SqlFile file(Path());
    file.Unpack();
    damaged = file.Integer("SELECT max(id) FROM object");
    file.Run("UPDATE object SET record = x'00112233445566778899' WHERE id = " + std::to_string(damaged));
  }
  ReportPage const page = Page();
  EXPECT_TRUE(HasProblem(page, "object " + std::to_string(damaged)));
  EXPECT_EQ(page.Count(Path()), 0U); // where the report was made is nobody's business
  EXPECT_EQ(static_cast<std::int64_t>(page.Rows().size()), m_Plain->ObjectCount());
  EXPECT_EQ(page.Field(damaged, "m_Name"), json());
  for (json const& row : page.Rows()) EXPECT_EQ(row[1] == -1, row[0] == damaged) << row;
}

TEST_F(Report, DamageAnywhereStillGivesAReport) {
  m_Store->Save("box", *BoxOf(20));
  m_Store->Save("heat", Heat());
  m_Store.reset();
  int reports = 0;
  for (std::string const sql :
       {"UPDATE class SET checksum = checksum + 1", "DELETE FROM attribute",
        "UPDATE name SET checksum = checksum + 1", "UPDATE shape SET checksum = checksum + 1",
        "UPDATE root SET checksum = checksum + 1", "UPDATE save SET checksum = checksum + 1",
        "UPDATE note SET text = 'other'", "DELETE FROM class", "DELETE FROM pack"}) {
    SCOPED_TRACE(sql);
    m_Plain.reset();
    fs::copy_file(Path(), Path("damaged.kvs"), fs::copy_options::overwrite_existing);
    SqlFile(Path("damaged.kvs")).Run(sql);
    try {
      m_Plain.emplace(sto_Store::Open(Path("damaged.kvs"), sto_Mode::ReadOnly, m_None));
    } catch (sto_Exception const& failure) {
      EXPECT_EQ(failure.Kind(), sto_ErrorKind::Damaged) << failure.what();
      continue; // a store that cannot be opened has no report
    }
    ReportPage const page(*m_Plain);
    EXPECT_FALSE(page.Summary()["problems"].empty());
    EXPECT_TRUE(Contains(page.Text(), "</html>"));
    ++reports;
  }
  EXPECT_GE(reports, 5);
}

TEST_F(Report, FlippedBytesStillGiveAReport) {
  std::mt19937 random(20261124);
  int reports = 0;
  for (fs::directory_entry const& entry : fs::directory_iterator(KVL_GOLDEN_DIR)) {
    if (entry.path().extension() != ".kvs") continue;
    StoreBytes const sound = FileBytes(entry.path().string());
    for (int i = 0; i < 12; ++i) {
      StoreBytes bytes = sound;
      // Behind the page that SQLite begins a file with.
      std::uniform_int_distribution<std::size_t> place(4096, bytes.size() - 1);
      for (int flips = 0; flips < 20; ++flips) bytes[place(random)] ^= std::byte{0x10};
      WriteFile(Path("flipped.kvs"), {reinterpret_cast<char const*>(bytes.data()), bytes.size()});
      SCOPED_TRACE(entry.path().filename().string() + ", variant " + std::to_string(i));
      m_Plain.reset();
      try {
        m_Plain.emplace(sto_Store::Open(Path("flipped.kvs"), sto_Mode::ReadOnly, m_None));
      } catch (sto_Exception const& failure) {
        EXPECT_EQ(failure.Kind(), sto_ErrorKind::Damaged) << failure.what();
        continue;
      }
      ReportPage const page(*m_Plain);
      EXPECT_TRUE(page.Summary().contains("problems"));
      for (char const* const name : {"objects", "shapes", "pictures"}) static_cast<void>(page.Data(name));
      ++reports;
    }
  }
  EXPECT_GE(reports, 50);
}

TEST_F(Report, ADamagedBlockLeavesTheRestOfTheArray) {
  Box box;
  box.m_Curve.assign(20000, 3);
  m_Store->Save("box", box);
  m_Store.reset();
  SqlFile(Path()).Run("UPDATE block SET data = x'0011' WHERE key = (SELECT max(key) FROM block)");
  ReportPage const page = Page();
  json const curve = page.Content(page.IdIn(page.RootId("box"), "m_Curve"));
  EXPECT_TRUE(curve.contains("problem")) << curve;
  EXPECT_EQ(curve["n"], 20000);
  EXPECT_FALSE(page.Summary()["problems"].empty());
}

TEST_F(Report, CanBeCancelled) {
  m_Store->Save("box", *BoxOf(2000));
  Look();
  m_Inspection.reset();
  std::ostringstream out;
  std::vector<std::int64_t> done;
  kvs_WriteReport(*m_Plain, out, {}, [&](sto_ProgressStep const& step) {
    done.push_back(step.m_Done);
    EXPECT_GE(step.m_Total, step.m_Done);
    return true;
  });
  EXPECT_EQ(done.front(), 0);
  EXPECT_GE(done.size(), 7U);
  ExpectError(sto_ErrorKind::Cancelled, "cancelled", [&] {
    kvs_WriteReport(*m_Plain, out, {}, [](sto_ProgressStep const& step) { return step.m_Done < 500; });
  });
  EXPECT_GT(m_Plain->ObjectCount(), 0); // the store is usable
}

TEST_F(Report, WritesNothingToAStreamThatHasFailed) {
  m_Store->Save("bolt", Bolt("M8"));
  Look();
  m_Inspection.reset();
  std::ostringstream out;
  out.setstate(std::ios::failbit);
  kvs_WriteReport(*m_Plain, out);
  EXPECT_EQ(out.str(), "");
}

} // namespace
} // namespace report_test
