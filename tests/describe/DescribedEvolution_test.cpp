// Objects of earlier versions of a class become objects of today's.

#include <gtest/gtest.h>

#include <charconv>
#include <string>
#include <vector>

#include "tests/describe/DescribedTest.h"

namespace {

enum class Kind { Steel, Wood, Glass };

struct Inches {
  double m_Inches = 0;
};
constexpr double ToMillimetres(Inches const& length) {
  return length.m_Inches * 25.4;
}
constexpr Inches FromMillimetres(double length) {
  return {length / 25.4};
}

namespace first {
class Beam {
 public:
  KVL_PERSISTED(Beam, 0x750001, "Beam", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Len));
    field(KVL_F(m_Colour));
    field(KVL_F(m_Kind));
    field(KVL_F(m_Stations));
    field(KVL_F(m_Count));
  }
  Beam() = default;
  double m_Len = 254;
  std::string m_Colour = "red";
  Kind m_Kind = Kind::Wood;
  std::vector<double> m_Stations{1, 2};
  int m_Count = 5;
};
} // namespace first

namespace third {
class Beam {
 public:
  KVL_PERSISTED(Beam, 0x750001, "Beam", 3)
  static constexpr void Describe(auto& field) {
    using namespace kvl;
    field(KVL_F(m_Length), Was<"m_LengthMm", "m_Len">(), As<double>(ToMillimetres, FromMillimetres));
    field("m_Colour"_field, Dropped(&Beam::TakeColour));
    field(KVL_F(m_Kind), Among(Kind::Steel, Kind::Wood));
    field(KVL_F(m_Positions), Was<"m_Stations">());
    field(KVL_F(m_Count));
    field(KVL_F(m_Density), Since(2, 7850), Unit("kg/m3"));
    field(KVL_F(m_Note), Since(3, "none"));
    field(KVL_F(m_Initial), Since(3));
    field(KVL_F(m_Paint), Transient());
    field(KVL_F(m_StoredVersion), Transient());
  }
  Beam() = default;
  void AfterRead(int storedVersion) { m_StoredVersion = storedVersion; }

  Inches m_Length;
  Kind m_Kind = Kind::Steel;
  std::vector<double> m_Positions;
  int m_Count = 0;
  double m_Density = 1;
  std::string m_Note = "?";
  int m_Initial = 77;
  std::string m_Paint;
  int m_StoredVersion = 0;

 private:
  void TakeColour(std::string const& colour) { m_Paint = "painted " + colour; }
};
} // namespace third

using DescribedEvolution = DescribedTest;

TEST_F(DescribedEvolution, RenamedConvertedAddedAndDropped) {
  SaveNew(first::Beam());
  std::unique_ptr<third::Beam> const beam = Load<third::Beam>();
  EXPECT_DOUBLE_EQ(beam->m_Length.m_Inches, 10);
  EXPECT_EQ(beam->m_Paint, "painted red");
  EXPECT_EQ(beam->m_Kind, Kind::Wood);
  EXPECT_EQ(beam->m_Positions, (std::vector<double>{1, 2}));
  EXPECT_EQ(beam->m_Count, 5);
  EXPECT_EQ(beam->m_Density, 7850);
  EXPECT_EQ(beam->m_Note, "none");
  EXPECT_EQ(beam->m_Initial, 77);
  EXPECT_EQ(beam->m_StoredVersion, 1);
}

TEST_F(DescribedEvolution, SavingAgainWritesTodaysVersionAndLeavesNothingBehind) {
  SaveNew(first::Beam());
  std::size_t const count = ObjectCount();
  SaveAgain<third::Beam>();
  EXPECT_EQ(ObjectCount(), count);
  std::unique_ptr<third::Beam> const beam = Load<third::Beam>();
  EXPECT_EQ(beam->m_StoredVersion, 3);
  EXPECT_DOUBLE_EQ(beam->m_Length.m_Inches, 10);
  EXPECT_EQ(beam->m_Positions, (std::vector<double>{1, 2}));
  EXPECT_EQ(beam->m_Note, "none");
  EXPECT_EQ(beam->m_Paint, "");
}

template <int MaxKind> class Checked {
 public:
  KVL_PERSISTED(Checked, 0x750002, "Checked", 1)
  static constexpr void Describe(auto& field) {
    if constexpr (MaxKind == 0)
      field(KVL_F(m_Kind), kvl::Among(Kind::Steel));
    else if constexpr (MaxKind == 1)
      field(KVL_F(m_Kind), kvl::Among(Kind::Steel).Else(Kind::Wood));
    else
      field(KVL_F(m_Kind));
  }
  Checked() = default;
  Kind m_Kind = Kind::Glass;
};

TEST_F(DescribedEvolution, ValuesThatNoOneExpects) {
  SaveNew(Checked<2>());
  EXPECT_EQ(Load<Checked<2>>()->m_Kind, Kind::Glass);
  EXPECT_EQ(Load<Checked<1>>()->m_Kind, Kind::Wood);
  try {
    static_cast<void>(Load<Checked<0>>());
    ADD_FAILURE() << "not refused";
  } catch (nex_Exception const& failure) {
    EXPECT_EQ(std::string(failure.UserReport().CharsOrEmpty()),
              "Class Checked, field m_Kind: the stored value 2 is none that it may have.");
  }
}

/// The hook of a base class runs once, for the part of that class.
class Base : public kvl::Polymorphic {
 public:
  KVL_PERSISTED(Base, kvl::Polymorphic, 0x750003, "Base", 7)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Versions), kvl::Transient()); }
  Base() = default;
  void AfterRead(int storedVersion) { m_Versions.push_back(storedVersion); }
  std::vector<int> m_Versions;
};
class Derived : public Base {
 public:
  KVL_PERSISTED(Derived, Base, 0x750004, "Derived", 1)
  static constexpr void Describe(auto&) {}
  Derived() = default;
};

TEST_F(DescribedEvolution, HookOfTheBaseClassRunsOnce) {
  SaveNew(Derived());
  EXPECT_EQ(Load<Derived>()->m_Versions, std::vector<int>{7});
}

/// A private hook that throws nothing, in a class whose base class has one, too.
class Quiet : public Base {
 public:
  KVL_PERSISTED(Quiet, Base, 0x750005, "Quiet", 2)
  static constexpr void Describe(auto&) {}
  Quiet() = default;

 private:
  void AfterRead(int storedVersion) noexcept { m_Versions.push_back(storedVersion); }
};

TEST_F(DescribedEvolution, HookMayBePrivateAndNoexcept) {
  SaveNew(Quiet());
  EXPECT_EQ(Load<Quiet>()->m_Versions, (std::vector<int>{7, 2}));
}

} // namespace
