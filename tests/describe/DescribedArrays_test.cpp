// Arrays of the language are stored as the std::array of their elements.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/describe/DescribedContent.h"
#include "tests/describe/DescribedRoundTrip.h"

namespace {

struct Corner {
  KVL_VALUE(Corner)
  static constexpr void Describe(auto& field) {
    field(KVL_F(x));
    field(KVL_F(y));
  }
  double x = 0;
  double y = 0;
};

class Knot {
 public:
  KVL_PERSISTED(Knot, 0x780030, "Knot", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Number)); }
  explicit Knot(int number) : m_Number(number) {}
  int m_Number = 0;
};

/// A patch with arrays of the language, and one with those of the library.
struct OfLanguage {
  double m_Matrix[3][3] = {};
  Corner m_Corners[4];
  std::string m_Names[2];
  bool m_Flags[3] = {};
  long long m_Wide[2] = {};
  std::optional<int> m_Maybe[2];
  std::vector<int> m_Lists[2];
  std::shared_ptr<Knot> m_Knots[2];
};
struct OfLibrary {
  std::array<std::array<double, 3>, 3> m_Matrix{};
  std::array<Corner, 4> m_Corners;
  std::array<std::string, 2> m_Names;
  std::array<bool, 3> m_Flags{};
  std::array<long long, 2> m_Wide{};
  std::array<std::optional<int>, 2> m_Maybe;
  std::array<std::vector<int>, 2> m_Lists;
  std::array<std::shared_ptr<Knot>, 2> m_Knots;
};

template <class Members> class Patch {
 public:
  KVL_PERSISTED(Patch, 0x780031, "Patch", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Matrix), kvl::Unit("mm"));
    field(KVL_F(m_Corners));
    field(KVL_F(m_Names));
    field(KVL_F(m_Flags));
    field(KVL_F(m_Wide));
    field(KVL_F(m_Maybe));
    field(KVL_F(m_Lists));
    field(KVL_F(m_Knots));
  }
  Patch() = default;
  decltype(Members::m_Matrix) m_Matrix{};
  decltype(Members::m_Corners) m_Corners{};
  decltype(Members::m_Names) m_Names{};
  decltype(Members::m_Flags) m_Flags{};
  decltype(Members::m_Wide) m_Wide{};
  decltype(Members::m_Maybe) m_Maybe{};
  decltype(Members::m_Lists) m_Lists{};
  decltype(Members::m_Knots) m_Knots{};
};

template <class Members> Patch<Members> MakePatch() {
  Patch<Members> patch;
  for (std::size_t row = 0; row < 3; ++row)
    for (std::size_t column = 0; column < 3; ++column)
      patch.m_Matrix[row][column] = static_cast<double>(10 * row + column);
  patch.m_Matrix[2][2] = std::numeric_limits<double>::lowest();
  patch.m_Corners[0].x = 1;
  patch.m_Corners[3].y = -7;
  patch.m_Names[1] = "second";
  patch.m_Flags[1] = true;
  patch.m_Wide[0] = std::numeric_limits<long long>::min();
  patch.m_Wide[1] = std::numeric_limits<long long>::max();
  patch.m_Maybe[1] = 5;
  patch.m_Lists[0] = {1, 2, 3};
  patch.m_Knots[1] = std::make_shared<Knot>(8);
  return patch;
}

template <class Members> void ExpectPatch(Patch<Members> const& patch) {
  EXPECT_EQ(patch.m_Matrix[1][2], 12);
  EXPECT_EQ(patch.m_Matrix[2][2], std::numeric_limits<double>::lowest());
  EXPECT_EQ(patch.m_Corners[0].x, 1);
  EXPECT_EQ(patch.m_Corners[3].y, -7);
  EXPECT_EQ(patch.m_Names[0], "");
  EXPECT_EQ(patch.m_Names[1], "second");
  EXPECT_TRUE(!patch.m_Flags[0] && patch.m_Flags[1] && !patch.m_Flags[2]);
  EXPECT_EQ(patch.m_Wide[0], std::numeric_limits<long long>::min());
  EXPECT_EQ(patch.m_Wide[1], std::numeric_limits<long long>::max());
  EXPECT_EQ(patch.m_Maybe[0], std::nullopt);
  EXPECT_EQ(patch.m_Maybe[1], 5);
  EXPECT_EQ(patch.m_Lists[0], (std::vector<int>{1, 2, 3}));
  EXPECT_TRUE(patch.m_Lists[1].empty());
  EXPECT_EQ(patch.m_Knots[0], nullptr);
  ASSERT_NE(patch.m_Knots[1], nullptr);
  EXPECT_EQ(patch.m_Knots[1]->m_Number, 8);
}

class DescribedArrays : public DescribedRoundTrip {};

TEST_F(DescribedArrays, ComeBackAndAreStoredOnce) {
  SaveNew(MakePatch<OfLanguage>());
  std::size_t const count = ObjectCount();
  ExpectPatch(*Load<Patch<OfLanguage>>());
  SaveAgain<Patch<OfLanguage>>();
  EXPECT_EQ(ObjectCount(), count);
  ExpectPatch(*Load<Patch<OfLanguage>>());
}

TEST_F(DescribedArrays, BytesAreThoseOfTheLibrarysArrays) {
  SaveNew(MakePatch<OfLanguage>(), "language.kvs");
  SaveNew(MakePatch<OfLibrary>(), "library.kvs");
  EXPECT_EQ(DescribedContent(Path("language.kvs")), DescribedContent(Path("library.kvs")));
  ExpectPatch(*Load<Patch<OfLanguage>>("library.kvs"));
  ExpectPatch(*Load<Patch<OfLibrary>>("language.kvs"));
}

TEST_F(DescribedArrays, ClassesOfObjectsInThemAreDeclared) {
  cls_ClassRegistrar registrar;
  Patch<OfLanguage>::Declare(registrar);
  EXPECT_TRUE(registrar.ClassIsPresent(Knot::TypeId()));
}

TEST_F(DescribedArrays, ClassesOfObjectsInNestedListsAreDeclared) {
  cls_ClassRegistrar registrar;
  Kept<std::vector<std::vector<std::shared_ptr<Knot>>>>::Declare(registrar);
  EXPECT_TRUE(registrar.ClassIsPresent(Knot::TypeId()));
}

/// Maps of objects have no null values; a map in columns has.
TEST_F(DescribedArrays, MapsInColumnsHaveNullValues) {
  auto const knot = std::make_shared<Knot>(3);
  using Maybe = std::map<std::string, std::optional<std::shared_ptr<Knot>>>;
  SaveNew(Kept<Maybe>({{"a", knot}, {"b", std::nullopt}, {"c", knot}}), "maybe.kvs");
  Maybe const maybe = Load<Kept<Maybe>>("maybe.kvs")->m_Value;
  EXPECT_EQ(maybe.at("a").value()->m_Number, 3);
  EXPECT_EQ(maybe.at("a"), maybe.at("c"));
  EXPECT_EQ(maybe.at("b"), std::nullopt);
  using Wide = std::map<long, std::shared_ptr<Knot>>;
  SaveNew(Kept<Wide>({{1, nullptr}, {2, knot}}), "wide.kvs");
  Wide const wide = Load<Kept<Wide>>("wide.kvs")->m_Value;
  EXPECT_EQ(wide.at(1), nullptr);
  EXPECT_EQ(wide.at(2)->m_Number, 3);
}

/// A struct with arrays, alone and in a list.
struct Frame {
  KVL_VALUE(Frame)
  static constexpr void Describe(auto& field) {
    field(KVL_F(axes));
    field(KVL_F(ends));
  }
  double axes[2][3] = {};
  Corner ends[2];
  friend bool operator==(Frame const& a, Frame const& b) {
    return std::ranges::equal(a.axes[0], b.axes[0]) && std::ranges::equal(a.axes[1], b.axes[1]) &&
           a.ends[0].x == b.ends[0].x && a.ends[1].y == b.ends[1].y;
  }
};

TEST_F(DescribedArrays, InStructs) {
  Frame const frame{{{1, 2, 3}, {4, 5, 6}}, {{7, 8}, {9, 10}}};
  Check<Frame>({{}, frame});
  Check<std::vector<Frame>>({{}, {frame, {}, frame}});
  Check<std::optional<Frame>>({std::nullopt, frame});
}

class OldGrid {
 public:
  KVL_PERSISTED(OldGrid, 0x780032, "Grid", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Old));
    field(KVL_F(m_Gone));
  }
  OldGrid() = default;
  double m_Old[3] = {1, 2, 3};
  int m_Gone[2] = {20, 22};
};

class Grid {
 public:
  KVL_PERSISTED(Grid, 0x780032, "Grid", 2)
  static constexpr void Describe(auto& field) {
    using namespace kvl;
    field(KVL_F(m_Axis), Was<"m_Old">());
    field(KVL_F(m_Loads), Since(2, std::array<std::array<int, 2>, 2>{{{1, 2}, {3, 4}}}));
    field(KVL_F(m_Initial), Since(2));
    field(KVL_F(m_Half), Since(2), As<std::vector<double>>(Doubled, Halved));
    field("m_Gone"_field, Dropped(&Grid::TakeGone));
    field(KVL_F(m_Sum), Transient());
  }
  Grid() = default;
  double m_Axis[3] = {};
  int m_Loads[2][2] = {};
  short m_Initial[2] = {7, 8};
  float m_Half[2] = {1, 2};
  int m_Sum = 0;

 private:
  static std::vector<double> Doubled(float const (&values)[2]) { return {2.0 * values[0], 2.0 * values[1]}; }
  static std::array<float, 2> Halved(std::vector<double> const& values) {
    return {static_cast<float>(values.at(0) / 2), static_cast<float>(values.at(1) / 2)};
  }
  void TakeGone(std::array<int, 2> const& gone) { m_Sum = gone[0] + gone[1]; }
};

TEST_F(DescribedArrays, VersionThatHasOthers) {
  SaveNew(OldGrid());
  auto first = Load<Grid>();
  EXPECT_EQ(first->m_Axis[2], 3);
  EXPECT_EQ(first->m_Loads[0][1], 2);
  EXPECT_EQ(first->m_Loads[1][0], 3);
  EXPECT_EQ(first->m_Initial[1], 8);
  EXPECT_EQ(first->m_Half[1], 2);
  EXPECT_EQ(first->m_Sum, 42);
  SaveAgain<Grid>();
  first = Load<Grid>();
  EXPECT_EQ(first->m_Axis[2], 3);
  EXPECT_EQ(first->m_Loads[1][1], 4);
  EXPECT_EQ(first->m_Initial[0], 7);
  EXPECT_EQ(first->m_Half[0], 1);
  EXPECT_EQ(first->m_Sum, 0);
}

class Careless {
 public:
  KVL_PERSISTED(Careless, 0x780033, "Careless", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_First));
    field(KVL_F(m_Last));
  }
  double m_First[2] = {};
  float m_Forgotten[4] = {};
  double m_Last[2] = {};
};

TEST_F(DescribedArrays, ForgottenOneIsFound) {
  cls_ClassRegistrar registrar;
  std::string const text = RefusalOf([&] { Careless::Declare(registrar); });
  EXPECT_NE(text.find("16 bytes at offset 24 belong to no field"), std::string::npos) << text;
}

} // namespace
