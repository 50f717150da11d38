// Physics, against formulas and trusses solved by hand; and models that are saved and loaded.

#include <gtest/gtest.h>

#include <cmath>
#include <typeinfo>

#include "examples/truss/trs_Bar.h"
#include "examples/truss/trs_Bridge.h"
#include "examples/truss/trs_System.h"
#include "store/sto_Store.h"
#include "tests/support/InitialisedModule.h"
#include "tests/support/store/StoreFile.h"

namespace {

using Axis = trs_Support::Axis;

class Truss : public StoreFileTest {
 protected:
  Truss() {
    trs_Declare(m_Classes);
    trs_Bar::Declare(m_Classes);
  }

  std::shared_ptr<trs_Bar> AddBar(int start, int end, double area = 1e-3) {
    auto bar = std::make_shared<trs_Bar>(m_Truss.Between(start, end), m_Steel, area);
    m_Truss.m_Members.push_back(bar);
    return bar;
  }
  void Fix(int joint) { m_Truss.m_Supports.insert({{joint, Axis::X}, {joint, Axis::Y}}); }
  void Load(int joint, trs_Vector force) { m_Truss.m_Cases["test"].m_Forces[joint] = force; }
  double Force(int member) const { return trs_Solve(m_Truss)->m_Forces.ConstGet(member, 0); }

  // A mass of 100 kg on a bar along x, whose own mass is a part of it. Its rate is 2.1e8 N/m.
  void MakeOscillator() {
    m_Truss.Add("wall", {0, 0});
    m_Truss.Add("mass", {1, 0}, 100 - 7.85 / 2);
    AddBar(0, 1);
    Fix(0);
    m_Truss.m_Supports.insert({1, Axis::Y});
    Load(1, {2.1e5, 0}); // 1 mm in rest
  }
  // The mass's displacements when the load acts suddenly.
  std::vector<double> Oscillate(double step, double damping, int stepCount) const {
    trs_System const system(m_Truss);
    trs_Run run("test", step, damping, system.Size());
    trs_Stepper stepper(system, system.Loads(m_Truss.m_Cases.at("test")), run);
    std::vector<double> displacements = {run.At(0, 2)};
    for (int i = 1; i <= stepCount; ++i) {
      stepper.Step(run);
      displacements.push_back(run.At(i, 2));
    }
    return displacements;
  }

  std::unique_ptr<trs_Truss> SavedAndLoaded(trs_Truss const& truss) {
    sto_Store::Open(Path(), sto_Mode::Create, m_Classes).Save(trs_Truss::Root, truss);
    return sto_Store::Open(Path(), sto_Mode::ReadOnly, m_Classes).Load<trs_Truss>(trs_Truss::Root);
  }

  InitialisedModule m_Module;
  cls_ClassRegistrar m_Classes;
  std::shared_ptr<trs_Material> m_Steel = std::make_shared<trs_Material>("steel", 210e9, 7850);
  trs_Truss m_Truss;
};

constexpr double Frequency = 1449.1376746189439; // sqrt(2.1e8 / 100) [1/s]

template <class Member> Member const& As(std::shared_ptr<trs_Member> const& member) {
  return dynamic_cast<Member const&>(*member);
}

} // namespace

// A triangle with sides of 3, 4 and 5 m. The joint at the load: the bar of 5 m has 5/4 of the load, in compression;
// the horizontal one 3/4 of it.
TEST_F(Truss, DeterminateTrussHasTheForcesOfItsEquilibrium) {
  m_Truss.Add("wall above", {0, 4});
  m_Truss.Add("wall below", {0, 0});
  m_Truss.Add("tip", {3, 4});
  AddBar(0, 2);
  AddBar(1, 2, 3e-3);
  Fix(0);
  Fix(1);
  Load(2, {0, -8000});
  EXPECT_NEAR(Force(0), 6000, 1e-6);
  EXPECT_NEAR(Force(1), -10000, 1e-6);
  m_Truss.m_Cases["test"].m_Factor = 1.5;
  EXPECT_NEAR(Force(1), -15000, 1e-6);
}

// Three equal bars, the outer ones at an angle a: the middle one has P / (1 + 2 cos^3 a), the others cos^2 a of that
// (Timoshenko, Strength of Materials I, section 8). It sinks by its force times L / EA.
TEST_F(Truss, ThreeBarsShareALoadByTheirStiffness) {
  double const angle = 0.6;
  for (double const x : {-std::tan(angle), 0.0, std::tan(angle)}) {
    Fix(m_Truss.Add("top", {x, 1}));
  }
  int const low = m_Truss.Add("low", {0, 0});
  for (int const top : {0, 1, 2}) AddBar(top, low);
  Load(low, {0, -1e5});
  double const middle = 1e5 / (1 + 2 * std::pow(std::cos(angle), 3));
  EXPECT_NEAR(Force(1), middle, 1e-6);
  EXPECT_NEAR(Force(0), middle * std::pow(std::cos(angle), 2), 1e-6);
  EXPECT_NEAR(Force(2), Force(0), 1e-6);
  EXPECT_NEAR(trs_Solve(m_Truss)->m_Displacements.ConstGet(7, 0), -middle / 2.1e8, 1e-12);
}

// Sums the forces of the stored table at each joint, without the equations that made it.
TEST_F(Truss, EveryJointOfTheBridgeIsInEquilibrium) {
  trs_Truss const bridge = trs_MakeBridge(9, &trs_MakeBarOf<trs_Bar>);
  auto const solution = trs_Solve(bridge);
  ASSERT_EQ(solution->m_Cases, (std::vector<std::string>{"train", "weight"}));
  for (int column = 0; column < 2; ++column) {
    trs_LoadCase const& loadCase = bridge.m_Cases.at(solution->m_Cases[static_cast<std::size_t>(column)]);
    for (int joint = 0; auto const& place : bridge.m_Joints) {
      trs_Vector sum;
      if (auto const load = loadCase.m_Forces.find(joint); load != loadCase.m_Forces.end())
        sum.y = load->second.y * loadCase.m_Factor.value_or(1);
      for (int row = 0; auto const& member : bridge.m_Members) {
        double const perLength = solution->m_Forces.ConstGet(row++, column) / member->Length();
        for (std::size_t const end : {0, 1}) {
          if (member->m_Ends[end] != place) continue;
          sum.x += perLength * (member->m_Ends[1 - end]->m_At.x - place->m_At.x);
          sum.y += perLength * (member->m_Ends[1 - end]->m_At.y - place->m_At.y);
        }
      }
      if (!bridge.m_Supports.contains({joint, Axis::X})) {
        EXPECT_NEAR(sum.x, 0, 1e-3) << place->m_Name;
      }
      if (!bridge.m_Supports.contains({joint, Axis::Y})) {
        EXPECT_NEAR(sum.y, 0, 1e-3) << place->m_Name;
      }
      ++joint;
    }
  }
}

TEST_F(Truss, CableGoesSlackAndItsCounterTakesAll) {
  m_Truss.Add("left", {-1, 0});
  m_Truss.Add("ring", {0, 0});
  m_Truss.Add("right", {1, 0});
  for (int const end : {0, 2})
    m_Truss.m_Members.push_back(std::make_shared<trs_Cable>(m_Truss.Between(end, 1), m_Steel, 1e-4));
  Fix(0);
  Fix(2);
  m_Truss.m_Supports.insert({1, Axis::Y});
  Load(1, {5000, 0});
  EXPECT_NEAR(Force(0), 5000, 1e-6);
  EXPECT_EQ(Force(1), 0);
}

// Two bars in a row between walls, the first with a rate of 2 k and a prestress P: both get P / 3.
TEST_F(Truss, PrestressSpreadsBetweenBars) {
  m_Truss.Add("left", {-1, 0});
  m_Truss.Add("middle", {0, 0});
  m_Truss.Add("right", {1, 0});
  AddBar(0, 1, 2e-3)->m_Prestress = 9000;
  AddBar(1, 2, 1e-3);
  Fix(0);
  Fix(2);
  m_Truss.m_Supports.insert({1, Axis::Y});
  Load(1, {});
  EXPECT_NEAR(Force(0), 3000, 1e-6);
  EXPECT_NEAR(Force(1), 3000, 1e-6);
  EXPECT_EQ(trs_Solve(*SavedAndLoaded(m_Truss))->m_Forces.ConstGet(0, 0), Force(0));
}

TEST_F(Truss, MechanismNamesTheJointThatIsFree) {
  m_Truss.Add("wall", {0, 0});
  m_Truss.Add("tip", {1, 0});
  AddBar(0, 1);
  Fix(0);
  Load(1, {0, -1});
  try {
    static_cast<void>(trs_Solve(m_Truss));
    FAIL();
  } catch (std::runtime_error const& failure) {
    EXPECT_STREQ(failure.what(), "joint tip is free to move");
  }
}

// The equation of central differences has a solution of its own: u = F / k (1 - cos(n a)), sin(a / 2) = w dt / 2.
TEST_F(Truss, OscillatorFollowsTheExactSolutionOfItsDifferences) {
  MakeOscillator();
  double const step = 1.2 / Frequency;
  auto const displacements = Oscillate(step, 0, 500);
  double const angle = 2 * std::asin(Frequency * step / 2);
  for (std::size_t i = 0; i < displacements.size(); ++i)
    EXPECT_NEAR(displacements[i], 1e-3 * (1 - std::cos(static_cast<double>(i) * angle)), 1e-13) << i;
}

TEST_F(Truss, OscillatorHasItsNaturalFrequency) {
  MakeOscillator();
  double const step = 0.01 / Frequency;
  auto const displacements = Oscillate(step, 0, 7000);
  std::vector<double>
      crossings; // of 1 mm, upwards: a quarter of a period after the start, and each period after it
  for (std::size_t i = 1; i < displacements.size(); ++i)
    if (displacements[i - 1] < 1e-3 && displacements[i] >= 1e-3)
      crossings.push_back((static_cast<double>(i) - 1 +
                           (1e-3 - displacements[i - 1]) / (displacements[i] - displacements[i - 1])) *
                          step);
  ASSERT_EQ(crossings.size(), 11);
  double const period = 2 * 3.14159265358979 / Frequency;
  EXPECT_NEAR((crossings[10] - crossings[0]) / 10, period, 1e-5 * period);
}

// The amplitude of a damped oscillation falls as exp(-c t / 2), c being the drag by mass.
TEST_F(Truss, DampedOscillatorComesToRest) {
  MakeOscillator();
  double const step = 0.01 / Frequency, damping = 60;
  auto const displacements = Oscillate(step, damping, 2000);
  std::vector<double> peaks;
  for (std::size_t i = 1; i + 1 < displacements.size(); ++i)
    if (displacements[i] > displacements[i - 1] && displacements[i] >= displacements[i + 1])
      peaks.push_back(displacements[i] - 1e-3);
  ASSERT_GE(peaks.size(), 3);
  double const angle = std::sqrt(Frequency * Frequency - damping * damping / 4);
  EXPECT_NEAR(peaks[1] / peaks[0], std::exp(-damping / 2 * 2 * 3.14159265358979 / angle), 1e-4);
}

// It is 2 / w. The program may only guess, but not too low.
TEST_F(Truss, StepIsBelowTheLimitOfStability) {
  MakeOscillator();
  double const step = trs_System(m_Truss).StableStep();
  EXPECT_LT(step, 2 / Frequency);
  EXPECT_GT(step, 1 / Frequency);
}

TEST_F(Truss, LoadedBridgeIsTheSameOne) {
  trs_Truss bridge = trs_MakeBridge(6, &trs_MakeBarOf<trs_Bar>);
  bridge.m_Solution = trs_Solve(bridge);
  auto const loaded = SavedAndLoaded(bridge);

  ASSERT_EQ(loaded->m_Joints.size(), bridge.m_Joints.size());
  ASSERT_EQ(loaded->m_Members.size(), bridge.m_Members.size());
  for (std::size_t i = 0; i < bridge.m_Members.size(); ++i) {
    trs_Member const& member = *bridge.m_Members[i];
    trs_Member const& read = *loaded->m_Members[i];
    EXPECT_EQ(typeid(read), typeid(member));
    EXPECT_EQ(read.Text(), member.Text());
  }
  EXPECT_TRUE(loaded->m_Supports.contains({0, Axis::Y}));
  EXPECT_EQ(loaded->m_Supports.size(), bridge.m_Supports.size());
  EXPECT_EQ(loaded->m_Cases.at("train").m_Nature, trs_Nature::Variable);
  EXPECT_EQ(loaded->m_Cases.at("train").m_Factor, 1.45);
  EXPECT_EQ(loaded->m_Cases.at("weight").m_Factor, std::nullopt);

  auto const again = trs_Solve(*loaded);
  for (int row = 0; row < again->m_Forces.Rows(); ++row)
    for (int column = 0; column < again->m_Forces.Cols(); ++column) {
      EXPECT_EQ(loaded->m_Solution->m_Forces.ConstGet(row, column),
                bridge.m_Solution->m_Forces.ConstGet(row, column));
      EXPECT_EQ(again->m_Forces.ConstGet(row, column), bridge.m_Solution->m_Forces.ConstGet(row, column));
    }
}

TEST_F(Truss, WhatMembersShareIsSharedAgain) {
  auto const loaded = SavedAndLoaded(trs_MakeBridge(3, &trs_MakeBarOf<trs_Bar>));
  auto const& members = loaded->m_Members; // bars, then two cables in the middle bay, the spring at last
  auto const& steel = As<trs_Bar>(members[0]).m_Material;
  int bars = 0, cables = 0;
  for (auto const& member : members) {
    if (auto const* const bar = dynamic_cast<trs_Bar const*>(member.get())) {
      EXPECT_EQ(bar->m_Material, steel);
      ++bars;
    } else if (auto const* const cable = dynamic_cast<trs_Cable const*>(member.get())) {
      auto const counter = cable->m_Counter.lock();
      ASSERT_NE(counter, nullptr);
      EXPECT_NE(counter.get(), cable);
      EXPECT_EQ(counter->m_Counter.lock().get(), cable);
      EXPECT_EQ(counter->m_Material, cable->m_Material);
      EXPECT_NE(cable->m_Material, steel);
      ++cables;
    }
    for (auto const& end : member->m_Ends)
      EXPECT_NE(std::find(loaded->m_Joints.begin(), loaded->m_Joints.end(), end), loaded->m_Joints.end());
  }
  EXPECT_EQ(steel.use_count(), bars);
  EXPECT_EQ(cables, 2);
  EXPECT_EQ(As<trs_Spring>(members.back()).m_Rate, 2e6);
}

// A slip that is easy to make: cables are only behind pointers to members.
TEST_F(Truss, ProgramThatForgetsToDeclareCablesIsToldSo) {
  static_cast<void>(SavedAndLoaded(trs_MakeBridge(3, &trs_MakeBarOf<trs_Bar>)));
  cls_ClassRegistrar classes;
  trs_Truss::Declare(classes);
  trs_Bar::Declare(classes);
  sto_Store store = sto_Store::Open(Path(), sto_Mode::ReadOnly, classes);
  std::string const message =
      MessageOf(sto_ErrorKind::WrongClass, [&] { static_cast<void>(store.Load<trs_Truss>("truss")); });
  EXPECT_TRUE(
      message.ends_with(" is of class Cable, not Member. Class Cable is not declared in the class registrar: "
                        "declare it, if it derives from Member."))
      << message;
}

TEST_F(Truss, LoadCaseOfAnUnknownNatureIsNotSaved) {
  m_Truss.m_Cases["test"].m_Nature = static_cast<trs_Nature>(7);
  try {
    static_cast<void>(SavedAndLoaded(m_Truss));
    FAIL();
  } catch (nex_Exception const& failure) {
    EXPECT_STREQ(failure.UserReport().CharsOrEmpty(),
                 "Class LoadCase, field m_Nature: the value 7 is none that it may have. It is not saved.");
  }
}
