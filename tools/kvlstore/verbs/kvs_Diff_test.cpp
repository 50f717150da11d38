#include "tests/support/store/StoreVerbs.h"

namespace kvlstore_test {
namespace {

constexpr double Inf = std::numeric_limits<double>::infinity();
constexpr double Nan = std::numeric_limits<double>::quiet_NaN();

class KvsDiff : public VerbTest {
 protected:
  KvsDiff() : m_Other(sto_Store::Open(Path("second.kvs"), sto_Mode::Create, m_Registrar)) {}

  template <class T> void Save(char const* root, T const& first, T const& second) {
    m_Store->Save(root, first);
    m_Other.Save(root, second);
  }
  /// What differs when two objects are saved under the root "r".
  template <class T>
  [[nodiscard]] std::string Of(T const& first, T const& second, kvs_DiffOptions const& options = {}) {
    Save("r", first, second);
    Done const done = Diff(options);
    EXPECT_EQ(done.m_Error, "");
    EXPECT_EQ(done.m_Status == kvs_Status::Same, done.m_Text.empty()) << done.m_Text;
    m_Store->RemoveRoot("r");
    m_Other.RemoveRoot("r");
    return done.m_Text;
  }
  [[nodiscard]] std::string OfDoubles(double first, double second, kvs_DiffOptions const& options = {}) {
    Values one, other;
    one.m_Double = first;
    other.m_Double = second;
    std::string const text = Of(one, other, options);
    Lists list, otherList;
    list.m_Doubles = {1, first};
    otherList.m_Doubles = {1, second};
    EXPECT_EQ(Of(list, otherList, options).empty(), text.empty()); // elements are compared alike
    return text;
  }

  sto_Store m_Other;
};

TEST_F(KvsDiff, StoresOfTheSameContentAreTheSame) {
  Values values;
  values.m_First = values.m_Second = std::make_shared<Beam>("shared");
  values.m_First->m_Next = values.m_First;
  m_Other.Save("gone", Part("other ids from now on"));
  m_Other.RemoveRoot("gone");
  Save("lists", Lists(40), Lists(40));
  Save("values", values, values);
  values.m_First->m_Next = nullptr; // so that it is freed
  m_Store->Save("b", Part("b"));
  m_Store->Save("a", Part("a"));
  m_Other.Save("a", Part("a")); // another order
  m_Other.Save("b", Part("b"));
  EXPECT_EQ(Diff().m_Text, "");
  EXPECT_EQ(Diff().m_Status, kvs_Status::Same);
  kvs_DiffOptions options;
  options.m_IsNanEqual = false;
  EXPECT_EQ(Diff(options).m_Status, kvs_Status::Same);
  options.m_Second = Path();
  EXPECT_EQ(Diff(options).m_Status, kvs_Status::Same);
}

TEST_F(KvsDiff, SaysWhatDiffers) {
  auto const changed = [](auto change) {
    Values values;
    change(values);
    return values;
  };
  Values const values;
  EXPECT_EQ(Of(values, changed([](Values& v) { v.m_Int = 4; })), "r.m_Int: 3 -> 4\n");
  EXPECT_EQ(Of(values, changed([](Values& v) { v.m_Text = "\x1b"; })), "r.m_Text: \"text\" -> \"\\x1b\"\n");
  EXPECT_EQ(Of(values, changed([](Values& v) { v.m_NoText = "none"_cow; })),
            "r.m_NoText: none -> \"none\"\n");
  EXPECT_EQ(Of(values, changed([](Values& v) { v.m_Point.y = 3; })), "r.m_Point.y: 2 -> 3\n");
  EXPECT_EQ(Of(values, changed([](Values& v) { std::get<1>(v.m_Tuple) = "x"; })),
            "r.m_Tuple.1: \"three\" -> \"x\"\n");
  EXPECT_TRUE(Contains(Of(values, changed([](Values& v) { v.m_Absent = 1; })), "r.m_Absent: "));
  EXPECT_EQ(Of(values, changed([](Values& v) { v.m_Variant = 1; })),
            "r.m_Variant.kind: 1 -> 0\nr.m_Variant.1: \"chosen\" -> no such attribute\n"
            "r.m_Variant.0: no such attribute -> 1\n");
  EXPECT_TRUE(Contains(Of(values, changed([](Values& v) { v.m_First = std::make_shared<Part>("x"); })),
                       "r.m_First: "));
  EXPECT_EQ(Of(values, changed([](Values& v) { v.m_Complex = {4, 5}; })), "r.m_Complex.im: -5 -> 5\n");
  EXPECT_EQ(Of(values, changed([](Values& v) { v.m_Samples[1].m_Points[0].y = 9; })),
            "r.m_Samples.m_Points.values.y[1]: 4 -> 9\n");
  EXPECT_TRUE(Contains(Of(values, changed([](Values& v) { v.m_Samples.pop_back(); })), "elements of int"));
  EXPECT_TRUE(Contains(Of(values, changed([](Values& v) { v.m_Material = Material::Wood; })),
                       "r.m_Material: 7 -> -1"));
}

TEST_F(KvsDiff, SaysWhatDiffersInListsAndMaps) {
  auto const changed = [](auto change) {
    Lists lists(12);
    change(lists);
    return lists;
  };
  Lists const lists(12);
  EXPECT_EQ(Of(lists, changed([](Lists& l) { l.m_Doubles[3] = 9; })), "r.m_Doubles[3]: 3.5 -> 9\n");
  EXPECT_EQ(Of(lists, changed([](Lists& l) { l.m_Bools[3] = false; })), "r.m_Bools[3]: true -> false\n");
  EXPECT_EQ(Of(lists, changed([](Lists& l) { l.m_Texts[0] = ""_cow; })), "r.m_Texts[0]: none -> \"\"\n");
  EXPECT_EQ(Of(lists, changed([](Lists& l) { l.m_ULongs[11] = 0; })),
            "r.m_ULongs[11]: 18446744073709551604 -> 0\n");
  EXPECT_EQ(Of(lists, changed([](Lists& l) { l.m_ComplexFloats[1] = 0; })),
            "r.m_ComplexFloats[1]: -0.5+1i -> 0+0i\n");
  EXPECT_EQ(Of(lists, changed([](Lists& l) { l.m_Ints.push_back(1); })),
            "r.m_Ints: 12 elements of int -> 13 elements of int\n");
  EXPECT_EQ(Of(lists, changed([](Lists& l) { l.m_Parts[1]->m_Name = "x"; })),
            "r.m_Parts[1].m_Name: \"1\" -> \"x\"\n");
  EXPECT_EQ(Of(lists, changed([](Lists& l) { l.m_Parts[1] = nullptr; })),
            "r.m_Parts[1]: an object -> none\n");
  EXPECT_EQ(Of(lists, changed([](Lists& l) { l.m_Parts[1] = std::make_shared<Beam>("1"); })),
            "r.m_Parts[1]: Part, object -> Beam, object\n");
  EXPECT_EQ(Of(lists, changed([](Lists& l) { l.m_ByName["key 2"] = 7; })), "r.m_ByName[\"key 2\"]: 1 -> 7\n");
  EXPECT_EQ(Of(lists, changed([](Lists& l) { l.m_ByName["more"] = 7; })),
            "r.m_ByName[\"more\"]: no such entry -> 7\n");
  EXPECT_EQ(Of(lists, changed([](Lists& l) { l.m_ByNumber.erase(-2); })),
            "r.m_ByNumber[-2]: \"0\" -> no such entry\n");
  EXPECT_TRUE(Contains(Of(lists, changed([](Lists& l) { l.m_Blob[3] = 9; })), "03 -> 09"));
  EXPECT_EQ(Of(lists, changed([](Lists& l) { l.m_Rows.Set(4, 8); })), "r.m_Rows[4]: 1.125 -> 8\n");
}

TEST_F(KvsDiff, LongKeysAreToldApart) {
  Lists one, other;
  std::string const key(300, 'k');
  one.m_ByName = {{key + "a", 1}, {key + "b", 2}};
  other.m_ByName = {{key + "a", 1}, {key + "b", 3}};
  EXPECT_EQ(Of(one, other), "r.m_ByName[\"" + key + "b\"]: 2 -> 3\n");
}

TEST_F(KvsDiff, Tolerances) {
  auto const within = [&](double absolute, double relative) {
    kvs_DiffOptions options;
    options.m_Absolute = absolute;
    options.m_Relative = relative;
    return options;
  };
  EXPECT_NE(OfDoubles(1, std::nextafter(1.0, 2.0)), "");
  EXPECT_EQ(OfDoubles(1, 1.5, within(0.5, 0)), "");
  EXPECT_NE(OfDoubles(1, 1.5, within(0.49, 0)), "");
  EXPECT_EQ(OfDoubles(-1, -1.5, within(0.5, 0)), "");
  EXPECT_EQ(OfDoubles(100, 101, within(0, 0.01)), ""); // of the larger one
  EXPECT_NE(OfDoubles(100, 101, within(0, 0.0099)), "");
  EXPECT_NE(OfDoubles(1, -1, within(0, 0.5)), "");
  EXPECT_EQ(OfDoubles(0.0, -0.0), "");
  EXPECT_NE(OfDoubles(0, 1e-300, within(0, 0.5)), "");
  EXPECT_EQ(OfDoubles(0, 1e-300, within(1e-300, 0)), "");
  for (auto const& [first, second] :
       std::initializer_list<std::pair<double, double>>{{Inf, 1}, {Inf, -Inf}, {Nan, 1}, {Nan, Inf}}) {
    EXPECT_NE(OfDoubles(first, second, within(1e308, 1e308)), "") << first << " " << second;
    EXPECT_NE(OfDoubles(second, first, within(1e308, 1e308)), "") << first << " " << second;
  }
  EXPECT_EQ(OfDoubles(Inf, Inf), "");
  EXPECT_EQ(OfDoubles(Nan, Nan), "");
  EXPECT_EQ(OfDoubles(Nan, -Nan), "");
  kvs_DiffOptions nanDiffers;
  nanDiffers.m_IsNanEqual = false;
  EXPECT_EQ(OfDoubles(Nan, Nan, nanDiffers), "r.m_Double: nan -> nan\n");
  EXPECT_EQ(OfDoubles(Inf, Inf, nanDiffers), "");
  Values one, other;
  other.m_Int = 4;
  EXPECT_NE(Of(one, other, within(10, 10)), ""); // integers count things
}

TEST_F(KvsDiff, ANanOfAStoreDiffersFromItselfIfAsked) {
  Values values;
  values.m_Double = Nan;
  m_Store->Save("r", values);
  kvs_DiffOptions options;
  options.m_Second = Path();
  EXPECT_EQ(Diff(options).m_Status, kvs_Status::Same);
  options.m_IsNanEqual = false;
  EXPECT_EQ(Diff(options).m_Text, "r.m_Double: nan -> nan\n");
}

TEST_F(KvsDiff, Exclusions) {
  Values one, other;
  other.m_Int = 4;
  other.m_Point.x = 9;
  Lists list(12), otherList(12);
  otherList.m_Doubles[3] = 9;
  otherList.m_Parts[1]->m_Name = "x";
  otherList.m_ByName["key 2"] = 7;
  Save("v", one, other);
  Save("l", list, otherList);
  m_Store->Save("only", Part("first"));
  auto const left = [&](std::vector<std::string> excluded) {
    kvs_DiffOptions options;
    options.m_Excluded = std::move(excluded);
    std::string const text = Diff(options).m_Text;
    return std::ranges::count(text, '\n');
  };
  EXPECT_EQ(left({}), 6);
  EXPECT_EQ(left({"*"}), 0);
  EXPECT_EQ(left({"v"}), 4);
  EXPECT_EQ(left({"only"}), 5);
  EXPECT_EQ(left({"*.m_Int"}), 5);
  EXPECT_EQ(left({"*.x", "v.m_Int"}), 4);
  EXPECT_EQ(left({"v.m_Point"}), 5);
  EXPECT_EQ(left({"l.m_Doubles"}), 5);
  EXPECT_EQ(left({"l.m_Doubles[3]"}), 5); // as it is printed
  EXPECT_EQ(left({"l.m_Parts[1]"}), 5);
  EXPECT_EQ(left({"l.m_Parts[1].m_Name"}), 5);
  EXPECT_EQ(left({"l.m_ByName[\"key 2\"]"}), 5);
  EXPECT_EQ(left({"nothing", "m_Int"}), 6);
}

TEST_F(KvsDiff, SharedObjectsAreNotTheSameAsEqualOnes) {
  Values shared, apart;
  shared.m_First = shared.m_Second = std::make_shared<Part>("p");
  apart.m_First = std::make_shared<Part>("p");
  apart.m_Second = std::make_shared<Part>("p");
  EXPECT_TRUE(Contains(Of(shared, apart), "r.m_Second: an object that is shared elsewhere"));
  EXPECT_TRUE(Contains(Of(apart, shared), "r.m_Second: "));
  EXPECT_EQ(Of(apart, apart), "");
  // A circle of one object, and one of two, which look alike from within.
  Values one, two;
  one.m_First = std::make_shared<Part>("p");
  one.m_First->m_Next = one.m_First;
  two.m_First = std::make_shared<Part>("p");
  two.m_First->m_Next = std::make_shared<Part>("p");
  two.m_First->m_Next->m_Next = two.m_First;
  EXPECT_NE(Of(one, two), "");
  one.m_First->m_Next = nullptr; // so that they are freed
  two.m_First->m_Next = nullptr;
}

TEST_F(KvsDiff, SingleObjectsOfOneStoreOrTwo) {
  Values values;
  values.m_Int = 8;
  Save("a", Values(), values);
  m_Store->Save("b", values);
  kvs_DiffOptions options;
  options.m_FirstObject = "a";
  EXPECT_EQ(Diff(options).m_Text, "a.m_Int: 3 -> 8\n");
  options.m_FirstObject = "a.m_Int";
  EXPECT_EQ(Diff(options).m_Text, "a.m_Int: 3 -> 8\n");
  options.m_FirstObject = "b";
  options.m_SecondObject = "a";
  EXPECT_EQ(Diff(options).m_Status, kvs_Status::Same);
  options.m_Second = Path();
  EXPECT_EQ(Diff(options).m_Text, "b.m_Int: 8 -> 3\n");
  options.m_SecondObject = "no such root";
  EXPECT_TRUE(Contains(Diff(options).m_Error, "no such root"));
}

TEST_F(KvsDiff, EqualSumsAreEqualUnlessEverythingIsRead) {
  Lists lists;
  lists.m_Doubles.assign(20'000, 3);
  m_Store->Save("lists", lists);
  m_Store.reset();
  std::filesystem::copy_file(Path(), Path("copy.kvs"));
  {
    SqlFile file(Path("copy.kvs"));
    file.Run("UPDATE block SET data = x'0011' WHERE key = (SELECT max(key) FROM block)");
  }
  kvs_DiffOptions options;
  options.m_Second = Path("copy.kvs"); // it has the sum of the other one
  EXPECT_EQ(Diff(options).m_Status, kvs_Status::Same);
  options.m_Full = true;
  for (bool const isNanEqual : {true, false}) {
    options.m_IsNanEqual = isNanEqual;
    Done const done = Diff(options);
    EXPECT_EQ(done.m_Status, kvs_Status::Failed);
    EXPECT_TRUE(Contains(done.m_Error, "copy.kvs")) << done.m_Error;
    EXPECT_TRUE(Contains(done.m_Error, "damaged")) << done.m_Error;
  }
}

TEST_F(KvsDiff, ListsAsManyAsAskedFor) {
  Lists one, other;
  one.m_Ints.assign(500, 1);
  other.m_Ints.assign(500, 2);
  Save("r", one, other);
  kvs_DiffOptions options;
  options.m_MaxListed = 3;
  EXPECT_EQ(Diff(options).m_Text,
            "r.m_Ints[0]: 1 -> 2\nr.m_Ints[1]: 1 -> 2\nr.m_Ints[2]: 1 -> 2\n... and 497 more\n");
  options.m_MaxListed = 0;
  EXPECT_EQ(Diff(options).m_Text, "... and 500 more\n");
  options.m_MaxListed = 2;
  options.m_Json = true;
  std::vector<json> const lines = Lines(Diff(options).m_Text);
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[1], json({{"where", "r.m_Ints[1]"}, {"first", "1"}, {"second", "2"}}));
}

} // namespace
} // namespace kvlstore_test
