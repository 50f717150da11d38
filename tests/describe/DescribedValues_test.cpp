// Members that are values of values come back, and take a number of objects that depends on their type only.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <complex>
#include <cstdint>
#include <deque>
#include <limits>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <variant>
#include <vector>

#include "describe/dsc_Variant.h"
#include "tests/describe/DescribedTest.h"

namespace {

struct Point {
  KVL_VALUE(Point)
  static constexpr void Describe(auto& field) {
    field(KVL_F(x));
    field(KVL_F(y));
    field(KVL_F(cache), kvl::Transient());
  }
  double x = 0;
  double y = 0;
  int cache = 0;
  friend bool operator==(Point const& a, Point const& b) { return a.x == b.x && a.y == b.y; }
};
static_assert(std::is_aggregate_v<Point>);

struct Shape {
  KVL_VALUE(Shape)
  static constexpr void Describe(auto& field) {
    field(KVL_F(name));
    field(KVL_F(center));
    field(KVL_F(corners));
    field(KVL_F(colour));
    field(KVL_F(id));
  }
  std::string name;
  Point center;
  std::vector<Point> corners;
  std::optional<int> colour;
  std::uint64_t id = 0;
  friend bool operator==(Shape const&, Shape const&) = default;
};

template <class T> class Values {
 public:
  KVL_PERSISTED(Values, 0x770001, "Values", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Value)); }
  Values() = default;
  explicit Values(T value) : m_Value(std::move(value)) {}
  T m_Value{};
};

/// Its second version, in which the member has another name.
template <class T> class RenamedValues {
 public:
  KVL_PERSISTED(RenamedValues, 0x770001, "Values", 2)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Renamed), kvl::Was<"m_Value">()); }
  RenamedValues() = default;
  T m_Renamed{};
};

class DescribedValues : public DescribedTest {
 protected:
  /// Saves all values, loads them, saves them again: each is equal, and takes the same number of objects.
  template <class T> void Check(std::vector<T> const& values) {
    cls_ClassRegistrar registrar;
    Values<T>::Declare(registrar);
    std::string const name = std::to_string(m_Files++) + ".kvs";
    {
      sto_Store store = sto_Store::Open(Path(name), sto_Mode::Create, registrar, StrictOptions());
      for (std::size_t i = 0; i < values.size(); ++i) store.Save(std::to_string(i), Values<T>(values[i]));
      store.Close();
    }
    std::size_t const count = ObjectCount(name);
    {
      sto_Store store = sto_Store::Open(Path(name), sto_Mode::ReadWrite, registrar, StrictOptions());
      for (std::size_t i = 0; i < values.size(); ++i) {
        std::unique_ptr<Values<T>> const loaded = store.Load<Values<T>>(std::to_string(i));
        EXPECT_TRUE(loaded->m_Value == values[i]) << i;
        store.Save(std::to_string(i), *loaded);
      }
      store.Close();
    }
    EXPECT_EQ(ObjectCount(name), count);
    CheckNextVersion(name, values);
    m_ObjectsEach = count / values.size();
    EXPECT_EQ(m_ObjectsEach * values.size(), count) << "the number of objects depends on the values";
  }

  template <class T> void CheckNextVersion(std::string const& name, std::vector<T> const& values) {
    cls_ClassRegistrar registrar;
    RenamedValues<T>::Declare(registrar);
    sto_Store store = sto_Store::Open(Path(name), sto_Mode::ReadOnly, registrar, StrictOptions());
    for (std::size_t i = 0; i < values.size(); ++i)
      EXPECT_TRUE(store.Load<RenamedValues<T>>(std::to_string(i))->m_Renamed == values[i]) << i;
  }

  /// The same for all values of each type, as the parts of tuples.
  template <class... T> void CheckAll(std::vector<T> const&... values) {
    std::vector<std::tuple<T...>> all;
    for (std::size_t i = 0; i < std::max({values.size()...}); ++i)
      all.push_back(std::tuple<T...>(values[std::min(i, values.size() - 1)]...));
    Check(all);
  }
  template <class T> using Cases = std::vector<T>;

  std::size_t m_ObjectsEach = 0; // of the last Check
  int m_Files = 0;
};

TEST_F(DescribedValues, Structs) {
  Check<Point>({{}, {1, -2}});
  EXPECT_EQ(m_ObjectsEach, 1U);
  Check<Shape>({{"a", {1, 2}, {{3, 4}, {5, 6}}, 7, ~0ULL}, {"b", {1, 2}, {}, std::nullopt, 0}});
  EXPECT_EQ(m_ObjectsEach, 3U);
}

TEST_F(DescribedValues, ListsOfStructs) {
  Check<std::vector<Point>>({{}, {{1, 2}}, std::vector<Point>(5000, {3, 4})});
  EXPECT_EQ(m_ObjectsEach, 3U);
  Shape const shape{"a", {1, 2}, {{3, 4}, {5, 6}}, 7, 1ULL << 63};
  Shape const other{"", {}, {}, std::nullopt, 5};
  CheckAll(Cases<std::vector<Shape>>{{}, {shape, other, shape}, {other}},
           Cases<std::deque<Point>>{{}, {{1, 2}}}, Cases<std::list<Point>>{{}, {{1, 2}}});
}

TEST_F(DescribedValues, ListsOfLists) {
  Check<std::vector<std::vector<double>>>({{}, {{}}, {{1, 2}, {}, {3}}});
  EXPECT_EQ(m_ObjectsEach, 3U);
  CheckAll(
      Cases<std::vector<std::vector<std::vector<std::string>>>>{{}, {{}}, {{{"a"}, {}}, {}, {{"b", "c"}}}},
      Cases<std::vector<std::vector<bool>>>{{}, {{true, false}, {}, {true}}},
      Cases<std::vector<std::vector<Point>>>{{}, {{{1, 2}}, {}}});
}

TEST_F(DescribedValues, WideIntegers) {
  constexpr long long Least = std::numeric_limits<long long>::min();
  CheckAll(Cases<std::vector<long long>>{{}, {Least, -1, 0, 1, std::numeric_limits<long long>::max()}},
           Cases<std::vector<std::uint64_t>>{{}, {0, ~0ULL, 1ULL << 32}},
           Cases<std::set<long>>{{}, {Least, 3}});
}

TEST_F(DescribedValues, ComplexNumbersAndArrays) {
  using Complex = std::complex<double>;
  CheckAll(Cases<Complex>{{}, {1, -2}}, Cases<std::complex<float>>{{}, {1, -2}},
           Cases<std::vector<Complex>>{{}, {{1, -2}, {3, 4}}}, Cases<std::array<int, 3>>{{1, 2, 3}, {}},
           Cases<std::array<Point, 2>>{{Point{1, 2}, Point{3, 4}}});
  Check<std::vector<std::array<double, 3>>>({{}, {{1, 2, 3}, {4, 5, 6}}});
  EXPECT_EQ(m_ObjectsEach, 2U);
  Check<std::array<std::vector<int>, 2>>({{std::vector<int>{1}, std::vector<int>{}}});
}

TEST_F(DescribedValues, PairsTuplesAndOptionalValues) {
  CheckAll(Cases<std::pair<int, std::string>>{{}, {1, "a"}},
           Cases<std::tuple<int, Point, std::string>>{{}, {1, {2, 3}, "a"}},
           Cases<std::vector<std::pair<int, Point>>>{{}, {{1, {2, 3}}}},
           Cases<std::optional<Point>>{std::nullopt, Point{1, 2}},
           Cases<std::vector<std::optional<double>>>{{}, {1.0, std::nullopt, 2.0}},
           Cases<std::vector<std::tuple<bool, long, float>>>{{}, {{true, -5L, 0.5F}}});
}

TEST_F(DescribedValues, OtherMaps) {
  CheckAll(Cases<std::map<std::string, Point>>{{}, {{"a", {1, 2}}, {"b", {3, 4}}}},
           Cases<std::map<std::string, bool>>{{}, {{"a", true}}},
           Cases<std::map<long, double>>{{}, {{1L << 40, 2}}},
           Cases<std::map<int, std::uint64_t>>{{}, {{-1, ~0ULL}}},
           Cases<std::map<std::string, std::vector<double>>>{{}, {{"a", {1, 2}}, {"b", {}}}},
           Cases<std::map<std::pair<int, int>, std::string>>{{}, {{{1, 2}, "a"}}},
           Cases<std::unordered_map<long, bool>>{{}, {{5, true}, {-5, false}}},
           Cases<std::vector<std::map<std::string, int>>>{{}, {{}, {{"a", 1}, {"b", 2}}}},
           Cases<std::vector<std::set<int>>>{{}, {{}, {3, 1, 2}}});
}

TEST_F(DescribedValues, Variants) {
  using Load = std::variant<std::monostate, double, std::string, Point, std::vector<int>>;
  Load const point = Point{1, 2};
  for (Load const& load : {Load(), Load(2.5), Load("text"), point, Load(std::vector<int>{1, 2})}) {
    SaveNew(Values<Load>(load), std::to_string(m_Files) + ".kvs");
    EXPECT_TRUE(this->Load<Values<Load>>(std::to_string(m_Files++) + ".kvs")->m_Value == load);
  }
  Check<std::vector<Load>>(
      {{}, {Load(), Load(2.5), point, Load(3.5), Load("x"), Load(std::vector<int>{7}), point}});
}

class Weight {
 public:
  KVL_PERSISTED(Weight, 0x770002, "Weight", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Grams)); }
  explicit Weight(int grams) : m_Grams(grams) {}
  int m_Grams = 0;
};
struct Hook {
  KVL_VALUE(Hook)
  static constexpr void Describe(auto& field) {
    field(KVL_F(name));
    field(KVL_F(weight));
  }
  std::string name;
  std::shared_ptr<Weight> weight;
};

TEST_F(DescribedValues, ObjectsInListsOfStructs) {
  auto const weight = std::make_shared<Weight>(5);
  SaveNew(Values<std::vector<Hook>>({{"a", weight}, {"b", std::make_shared<Weight>(6)}, {"c", weight}}));
  std::vector<Hook> const hooks = Load<Values<std::vector<Hook>>>()->m_Value;
  ASSERT_EQ(hooks.size(), 3U);
  EXPECT_EQ(hooks[0].weight, hooks[2].weight);
  EXPECT_EQ(hooks[1].weight->m_Grams, 6);
  EXPECT_EQ(hooks[1].name, "b");
  SaveNew(Values<Hook>({"single", weight}), "single.kvs");
  EXPECT_EQ(Load<Values<Hook>>("single.kvs")->m_Value.weight->m_Grams, 5);
}

// --- A struct that gets another member in a later version of the class that holds it.

struct OldPlace {
  KVL_VALUE(OldPlace)
  static constexpr void Describe(auto& field) { field(KVL_F(x)); }
  double x = 0;
};
struct Place {
  KVL_VALUE(Place)
  static constexpr void Describe(auto& field) {
    field(KVL_F(x));
    field(KVL_F(z));
  }
  double x = 0;
  double z = 8;
};
template <class PlaceType, int Version> class Track {
 public:
  KVL_PERSISTED(Track, 0x770003, "Track", Version)
  static constexpr void Describe(auto& field) {
    if constexpr (Version == 1) {
      field(KVL_F(m_Start));
      field(KVL_F(m_Places));
    } else {
      field(KVL_F(m_Start), kvl::Since(2));
      field(KVL_F(m_Places), kvl::Since(2));
    }
  }
  Track() = default;
  PlaceType m_Start;
  std::vector<PlaceType> m_Places;
};

TEST_F(DescribedValues, MemberThatAStructGetsLater) {
  Track<OldPlace, 1> old;
  old.m_Start.x = 1;
  old.m_Places.resize(3);
  old.m_Places[2].x = 5;
  SaveNew(old);
  auto const track = Load<Track<Place, 2>>();
  EXPECT_EQ(track->m_Start.x, 1);
  EXPECT_EQ(track->m_Start.z, 8);
  ASSERT_EQ(track->m_Places.size(), 3U);
  EXPECT_EQ(track->m_Places[2].x, 5);
  EXPECT_EQ(track->m_Places[2].z, 8);
  SaveAgain<Track<Place, 2>>();
  EXPECT_EQ((Load<Track<Place, 2>>()->m_Places[2].z), 8);
}

/// A list of structs that was written by hand, with one list too short.
class Uneven {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x770001; }
  Uneven() = default;
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    WriteList(visitor, cls_FieldHandle(0, "m_Value.x"_cow), m_X, 3);
    WriteList(visitor, cls_FieldHandle(1, "m_Value.y"_cow), m_Y, 2);
  }
  static void Declare(cls_ClassRegistrar& registrar) {
    registrar.CreateClassMD("Values"_cow, TypeId(), 1, nullptr, 1)
        .AddAttribute(cls_FieldHandle(0, "m_Value.x"_cow), ATTR_DOUBLE, 1, COLLECTION_LIST_DOUBLE)
        .AddAttribute(cls_FieldHandle(1, "m_Value.y"_cow), ATTR_DOUBLE, 1, COLLECTION_LIST_DOUBLE);
  }

 private:
  static void WriteList(cls_WriteVisitor const& parent, cls_FieldHandle const& field, cls_Uid const& uid,
                        int count) {
    cls_WriteVisitor const visitor(parent, field, nullptr, nullptr);
    visitor.StartWrite(cls_InternalListTypeId, uid);
    double const number = 0;
    std::unique_ptr<cls_WriteListPrim<double>> const builder(
        visitor.Memento()->MakeWriteListPrim(&number, 1));
    for (int i = 0; i < count; ++i) builder->Append(number);
  }
  cls_Uid m_Uid;
  cls_Uid m_X;
  cls_Uid m_Y;
};

TEST_F(DescribedValues, ListsOfDifferentLengthsAreRefused) {
  SaveNew(Uneven());
  try {
    static_cast<void>(Load<Values<std::vector<Point>>>());
    ADD_FAILURE() << "not refused";
  } catch (nex_Exception const& failure) {
    EXPECT_EQ(std::string(failure.UserReport().CharsOrEmpty()),
              "Class Values, field m_Value.y: the stored list has another length than the lists beside it.");
  }
}

} // namespace
