#include <cstring>
#include <regex>

#include "tests/support/store/StoreVerbs.h"

namespace kvlstore_test {
namespace {

constexpr int Count = 12;

/// A file of NumPy.
struct Npy {
  std::string m_Type;
  std::string m_Shape;
  std::string m_Data;

  explicit Npy(std::string const& file) {
    if (file.size() < 10 || file.substr(0, 8) != std::string("\x93NUMPY\x01\0", 8)) {
      ADD_FAILURE() << "no NPY file";
      return;
    }
    std::size_t const header =
        static_cast<unsigned char>(file[8]) + 256U * static_cast<unsigned char>(file[9]);
    EXPECT_EQ((10 + header) % 64, 0U);
    EXPECT_EQ(file[10 + header - 1], '\n');
    std::string const text = file.substr(10, header - 1);
    std::smatch match;
    std::regex const form("\\{'descr': '([^']*)', 'fortran_order': False, 'shape': (\\([^)]*\\)), \\} *");
    EXPECT_TRUE(std::regex_match(text, match, form)) << text;
    if (match.size() == 3) m_Type = match[1], m_Shape = match[2];
    m_Data = file.substr(10 + header);
  }
  template <class T> [[nodiscard]] std::vector<T> As() const {
    EXPECT_EQ(m_Data.size() % sizeof(T), 0U);
    std::vector<T> values(m_Data.size() / sizeof(T));
    std::memcpy(values.data(), m_Data.data(), values.size() * sizeof(T));
    return values;
  }
};

class KvsDump : public VerbTest {
 protected:
  void SetUp() override { m_Store->Save("lists", m_Lists); }

  template <class T>
  void ExpectNpy(std::string const& name, char const* type, std::vector<T> const& values) const {
    SCOPED_TRACE(name);
    Npy const npy(Dump("lists." + name, kvs_DumpFormat::Npy).m_Text);
    EXPECT_EQ(npy.m_Type, type);
    EXPECT_EQ(npy.m_Shape, "(12,)");
    EXPECT_TRUE(npy.As<T>() == values);
    Npy const some(Dump("lists." + name, kvs_DumpFormat::Npy, "-3:-1").m_Text);
    EXPECT_EQ(some.m_Shape, "(2,)");
    EXPECT_TRUE(some.As<T>() == std::vector<T>(values.end() - 3, values.end() - 1));
    EXPECT_EQ(Npy(Dump("lists." + name, kvs_DumpFormat::Npy, "5:2").m_Text).m_Shape, "(0,)");
  }
  [[nodiscard]] std::string Csv(std::string const& name, std::string const& slice = ":") const {
    return Dump("lists." + name, kvs_DumpFormat::Csv, slice).m_Text;
  }

  Lists m_Lists{Count};
};

TEST_F(KvsDump, NpyHasEachTypeOfNumbers) {
  ExpectNpy<double>("m_Doubles", "<f8", m_Lists.m_Doubles);
  ExpectNpy<float>("m_Floats", "<f4", m_Lists.m_Floats);
  ExpectNpy<signed char>("m_Bytes", "|i1", m_Lists.m_Bytes);
  ExpectNpy<short>("m_Shorts", "<i2", m_Lists.m_Shorts);
  ExpectNpy<unsigned short>("m_UShorts", "<u2", m_Lists.m_UShorts);
  ExpectNpy<int>("m_Ints", "<i4", m_Lists.m_Ints);
  ExpectNpy<unsigned int>("m_UInts", "<u4", m_Lists.m_UInts);
  ExpectNpy<long long>("m_Longs", "<i8", m_Lists.m_Longs);
  ExpectNpy<unsigned long long>("m_ULongs", "<u8", m_Lists.m_ULongs);
  ExpectNpy<std::complex<double>>("m_Complexes", "<c16", m_Lists.m_Complexes);
  ExpectNpy<std::complex<float>>("m_ComplexFloats", "<c8", m_Lists.m_ComplexFloats);
  ExpectNpy<char>("m_Bools", "|b1", {m_Lists.m_Bools.begin(), m_Lists.m_Bools.end()});
  for (char const* const name : {"m_Texts", "m_Parts"}) {
    Done const done = Dump(std::string("lists.") + name, kvs_DumpFormat::Npy);
    EXPECT_TRUE(Contains(done.m_Error, name)) << done.m_Error;
    EXPECT_TRUE(Contains(done.m_Error, "numbers only")) << done.m_Error;
  }
}

TEST_F(KvsDump, NpyHasRows) {
  for (auto const& [name, shape, width] :
       std::initializer_list<std::tuple<char const*, char const*, int>>{{"m_Array", "(12,)", 1},
                                                                        {"m_Rows", "(12, 3,)", 3},
                                                                        {"m_Planes", "(12, 2, 2,)", 4},
                                                                        {"m_Cubes", "(12, 2, 2, 2,)", 8}}) {
    Npy const npy(Dump(std::string("lists.") + name, kvs_DumpFormat::Npy).m_Text);
    EXPECT_EQ(npy.m_Shape, shape);
    std::vector<double> const values = npy.As<double>();
    ASSERT_EQ(static_cast<int>(values.size()), Count * width);
    EXPECT_EQ(values.back(), width == 1 ? Count - 0.5 : Count - 1 + (width - 1) / 8.0);
    Npy const last(Dump(std::string("lists.") + name, kvs_DumpFormat::Npy, "-1").m_Text);
    EXPECT_EQ(last.As<double>(), std::vector<double>(values.end() - width, values.end()));
  }
}

TEST_F(KvsDump, CsvHasARowInEachLine) {
  EXPECT_EQ(Csv("m_Doubles", "1:3"), "1.5\n2.5\n");
  EXPECT_EQ(Csv("m_Rows", "1:3"), "1,1.125,1.25\n2,2.125,2.25\n");
  EXPECT_EQ(Csv("m_Cubes", "0"), "0,0.125,0.25,0.375,0.5,0.625,0.75,0.875\n");
  EXPECT_EQ(Csv("m_Bytes", "10:"), "-10\n-11\n");
  EXPECT_EQ(Csv("m_ULongs", "0"), "18446744073709551615\n");
  EXPECT_EQ(Csv("m_Complexes", "3"), "3,-3\n");
  EXPECT_EQ(Csv("m_Bools", ":2"), "true\nfalse\n");
  EXPECT_EQ(Csv("m_Texts", ":2"), "\n\"t\"\"1,\n\"\n"); // RFC 4180: quotation marks are doubled
  EXPECT_EQ(Csv("m_Parts", "0"), "0\n");
  EXPECT_EQ(Csv("m_Doubles", "5:2"), "");
}

TEST_F(KvsDump, JsonCountsRowsToo) {
  json const rows = Lines(Dump("lists.m_Rows", kvs_DumpFormat::Json, "1:2").m_Text).at(0);
  EXPECT_EQ(rows["row"], json({3}));
  EXPECT_EQ(rows["elements"], json({1, 1.125, 1.25}));
  EXPECT_EQ(Lines(Dump("lists.m_Doubles", kvs_DumpFormat::Json, "-1").m_Text).at(0)["elements"],
            json({11.5}));
}

TEST_F(KvsDump, EachObjectIsALineOfJson) {
  Values values;
  values.m_First = values.m_Second = std::make_shared<Beam>("shared");
  values.m_First->m_Next = values.m_First; // a circle
  m_Store->Save("values", values);
  values.m_First->m_Next = nullptr; // so that it is freed
  m_Store->Save("\x1b[31m\xFF", Part("root \u202E"));
  Done const done = Dump("");
  ExpectPrintable(done.m_Text);
  std::map<std::int64_t, json> objects;
  for (json const& line : Lines(done.m_Text)) objects[line["id"]] = line;
  EXPECT_EQ(static_cast<std::int64_t>(objects.size()), m_Store->ObjectCount());
  json const lists = objects.begin()->second;
  EXPECT_EQ(lists["root"], "lists");
  EXPECT_EQ(lists["class"], "Lists");
  auto const content = [&](char const* name) { return objects[lists["fields"][name]["object"]]; };
  EXPECT_EQ(content("m_Doubles")["elements"].size(), 12U);
  EXPECT_EQ(content("m_ULongs")["elements"][0], ~0ULL);
  EXPECT_EQ(content("m_Texts")["elements"][0], nullptr);
  EXPECT_EQ(content("m_Texts")["elements"][1], "t\"1,\n");
  EXPECT_EQ(content("m_Complexes")["elements"][2], json({2, -2}));
  EXPECT_EQ(content("m_ByName")["entries"].size(), 12U);
  EXPECT_EQ(content("m_ByNumber")["entries"][0], json({-2, "0"}));
  EXPECT_EQ(objects[content("m_PartByName")["entries"][0][1]["object"]]["class"], "Beam");
  json found;
  for (auto const& [id, object] : objects)
    if (object.value("root", "") == "values") found = object;
  json const fields = found["fields"];
  EXPECT_EQ(fields["m_Point.y"], 2); // a struct's members are fields
  EXPECT_EQ(fields["m_Tuple.1"], "three");
  EXPECT_EQ(objects[fields["m_Samples.m_Points.values.y"]["object"]]["elements"], json({2, 4, 6}));
  EXPECT_EQ(fields["m_NoText"], nullptr);
  EXPECT_EQ(fields["m_Material"], 7);
  EXPECT_EQ(fields["m_First"], fields["m_Second"]);
  json const beam = objects[fields["m_First"]["object"]];
  EXPECT_EQ(beam["bases"][0]["class"], "Part");
  EXPECT_EQ(beam["bases"][0]["fields"]["m_Next"]["object"], beam["id"]);
}

TEST_F(KvsDump, BlobsAreHexadecimal) {
  std::string const blob = Lines(Dump("lists.m_Blob").m_Text).at(0).dump();
  EXPECT_TRUE(Contains(blob, "000102030405060708090a0b") || Contains(blob, "0,1,2,3,4,5")) << blob;
}

TEST_F(KvsDump, LongArraysComeInPieces) {
  Lists lists;
  for (int i = 0; i < 70'001; ++i) lists.m_Doubles.push_back(i);
  m_Store->Save("long", lists);
  EXPECT_EQ(Npy(Dump("long.m_Doubles", kvs_DumpFormat::Npy).m_Text).As<double>(), lists.m_Doubles);
  EXPECT_EQ(Lines(Dump("long.m_Doubles").m_Text).at(0)["elements"].get<std::vector<double>>(),
            lists.m_Doubles);
  std::string const csv = Dump("long.m_Doubles", kvs_DumpFormat::Csv, "32766:32770").m_Text;
  EXPECT_EQ(csv, "32766\n32767\n32768\n32769\n");
  EXPECT_EQ(std::ranges::count(Dump("long.m_Doubles", kvs_DumpFormat::Csv).m_Text, '\n'), 70'001);
}

TEST_F(KvsDump, SaysWhatCannotBeDumped) {
  EXPECT_TRUE(Contains(Dump("lists", kvs_DumpFormat::Csv).m_Error, "lists: It is no array or list"));
  EXPECT_TRUE(Contains(Dump("lists.m_ByName", kvs_DumpFormat::Npy).m_Error, "map from string to double"));
  EXPECT_TRUE(Contains(Dump("lists.m_Doubles[0]").m_Error, "lists.m_Doubles[0]: It is a value"));
  EXPECT_TRUE(Contains(Dump("", kvs_DumpFormat::Csv).m_Error, "name one"));
}

TEST_F(KvsDump, PlotsDrawColumns) {
  auto const plot = [&](std::string const& y, std::string const& x, std::int64_t column) {
    kvs_PlotOptions options;
    options.m_Store = Path();
    options.m_Y = y;
    options.m_X = x;
    options.m_Column = column;
    options.m_Json = true;
    return Run([&](kvs_Output& out) { return kvs_Plot(options, out); });
  };
  json const rows = Lines(plot("lists.m_Rows", "", 1).m_Text).at(0);
  EXPECT_EQ(rows["points"].size(), 12U);
  EXPECT_EQ(rows["points"][2], json({2, 2.125}));
  EXPECT_EQ(rows["y"], "lists.m_Rows, column 1");
  json const both = Lines(plot("lists.m_Cubes", "lists.m_Doubles", 7).m_Text).at(0);
  EXPECT_EQ(both["points"][1], json({1.5, 1.875}));
  EXPECT_EQ(both["x"], "lists.m_Doubles [MPa]");
  EXPECT_EQ(Lines(plot("lists.m_Bools", "", 0).m_Text).at(0)["points"][3], json({3, 1}));
  EXPECT_TRUE(Contains(plot("lists.m_Rows", "", 3).m_Error, "lists.m_Rows: It has no column 3"));
  EXPECT_TRUE(Contains(plot("lists.m_Doubles", "", 1).m_Error, "lists.m_Doubles: It has no column 1"));
  EXPECT_TRUE(Contains(plot("lists.m_Texts", "", 0).m_Error, "list of string cannot be drawn"));
  EXPECT_TRUE(Contains(plot("lists.m_Complexes", "", 0).m_Error, "cannot be drawn"));
  EXPECT_TRUE(Contains(plot("lists", "", 0).m_Error, "no array or list"));
  m_Store->Save("empty", Lists());
  EXPECT_TRUE(Contains(plot("empty.m_Doubles", "", 0).m_Error, "nothing to draw"));
  EXPECT_TRUE(Contains(plot("lists.m_Doubles", "empty.m_Doubles", 0).m_Error, "12 rows"));
}

} // namespace
} // namespace kvlstore_test
