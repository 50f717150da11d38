#include "metadata/cls_MetadataRegistrar.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "platform/mem/mem_Memory.h"
#include "tests/support/AllocationProbe.h"

namespace {

using Instances = omi_Singleton<cls_MetadataRegistrar>;
using DeclareCalls = std::vector<std::pair<char, cls_ClassRegistrar*>>;

/// The calls of the functions below, in order.
DeclareCalls s_DeclareCalls;

template <char Name> void Declare(cls_ClassRegistrar& registrar) {
  s_DeclareCalls.emplace_back(Name, &registrar);
}

void DeclareBolt(cls_ClassRegistrar& registrar) {
  s_DeclareCalls.emplace_back('B', &registrar);
  registrar.CreateClassMD("Bolt"_cow, 100, 1, nullptr, 1);
}

void Fail(cls_ClassRegistrar& registrar) {
  s_DeclareCalls.emplace_back('!', &registrar);
  throw std::runtime_error("refused");
}

/// Declares another function while it runs.
template <unsigned int Mask> void DeclareMore(cls_ClassRegistrar& registrar) {
  s_DeclareCalls.emplace_back('+', &registrar);
  if (s_DeclareCalls.size() < 100) Instances::Instance().initClassMetadata(&Declare<'m'>, Mask);
}

/// Logs its number when it is deleted.
class LoggedMetadata : public cls_ClassMetadata {
 public:
  explicit LoggedMetadata(int number)
      : cls_ClassMetadata("Logged"_cow, 100, 1, nullptr, 1), m_Number(number) {}
  ~LoggedMetadata() override { s_Deleted.push_back(m_Number); }

  static inline std::vector<int> s_Deleted;

 private:
  int m_Number;
};

class MetadataRegistrar : public ::testing::Test {
 protected:
  MetadataRegistrar() {
    delete Instances::InstanceIfAny();
    s_DeclareCalls.clear();
    LoggedMetadata::s_Deleted.clear();
  }
  ~MetadataRegistrar() override { delete Instances::InstanceIfAny(); }

  static cls_MetadataRegistrar& Instance() { return Instances::Instance(); }

  static DeclareCalls TakeCalls() { return std::exchange(s_DeclareCalls, {}); }

  /// The calls that a replay into another registrar makes; '?' is a call on any other.
  static std::string Replay(unsigned int mask) {
    cls_ClassRegistrar registrar;
    s_DeclareCalls.clear();
    Instance().initMetadata(&registrar, mask);
    std::string names;
    for (auto const& [name, on] : TakeCalls()) names += on == &registrar ? name : '?';
    return names;
  }
};

class MetadataRegistrarMask : public MetadataRegistrar, public ::testing::WithParamInterface<unsigned int> {
 protected:
  [[nodiscard]] static bool Has(unsigned int bit) { return (GetParam() & bit) != 0; }
};

/// The instance at each allocation of the library.
std::vector<cls_MetadataRegistrar*> s_Seen;

bool SeeInstance(std::size_t) {
  s_Seen.push_back(Instances::InstanceIfAny());
  return true;
}

} // namespace

// --- The instance.

TEST_F(MetadataRegistrar, InstanceIsMadeAtTheFirstCall) {
  EXPECT_EQ(Instances::InstanceIfAny(), nullptr);
  cls_MetadataRegistrar& instance = Instance();
  EXPECT_EQ(Instances::InstanceIfAny(), &instance);
  EXPECT_EQ(&Instance(), &instance);
}

TEST_F(MetadataRegistrar, InstanceIsSetBeforeAnythingElseIsConstructed) {
  s_Seen.clear();
  mem_AllocationHook const before = mem_SetAllocationHook(&SeeInstance);
  cls_MetadataRegistrar* const instance = &Instance();
  mem_SetAllocationHook(before);
  ASSERT_FALSE(s_Seen.empty()); // constructing the registrars allocates
  EXPECT_EQ(s_Seen, std::vector<cls_MetadataRegistrar*>(s_Seen.size(), instance));
}

TEST_F(MetadataRegistrar, FailedConstructionLeavesNoInstance) {
  int failures = 0;
  for (; failures < 100; ++failures) {
    AllocationProbe probe;
    probe.FailAt(failures + 1);
    try {
      static_cast<void>(Instance());
      break;
    } catch (std::bad_alloc const&) {
      EXPECT_EQ(Instances::InstanceIfAny(), nullptr);
    }
  }
  EXPECT_GT(failures, 0);
  EXPECT_LT(failures, 100);
  EXPECT_NE(Instances::InstanceIfAny(), nullptr);
}

TEST_F(MetadataRegistrar, StartsWithThreeEmptyRegistrars) {
  EXPECT_EQ(Instance().Registrar1().GetHistoryMDList().Length(), 0);
  EXPECT_EQ(Instance().Registrar2().GetHistoryMDList().Length(), 0);
  EXPECT_EQ(Instance().Registrar4().GetHistoryMDList().Length(), 0);
  EXPECT_NE(&Instance().Registrar1(), &Instance().Registrar2());
  EXPECT_NE(&Instance().Registrar1(), &Instance().Registrar4());
  EXPECT_NE(&Instance().Registrar2(), &Instance().Registrar4());
}

TEST_F(MetadataRegistrar, StartsWithNothingToReplay) {
  EXPECT_EQ(Replay(7), "");
}

TEST_F(MetadataRegistrar, DeletingTheInstanceForgetsEverything) {
  Instance().initClassMetadata(&DeclareBolt, 7);
  delete &Instance();
  EXPECT_EQ(Instances::InstanceIfAny(), nullptr);
  EXPECT_FALSE(Instance().Registrar1().ClassIsPresent(100));
  EXPECT_FALSE(Instance().Registrar2().ClassIsPresent(100));
  EXPECT_FALSE(Instance().Registrar4().ClassIsPresent(100));
  EXPECT_EQ(Replay(7), "");
}

TEST_F(MetadataRegistrar, RegistrarsAreDestroyedInTheOrderTwoFourOne) {
  Instance().Registrar1().AddClassMD(new LoggedMetadata(1));
  Instance().Registrar2().AddClassMD(new LoggedMetadata(2));
  Instance().Registrar4().AddClassMD(new LoggedMetadata(4));
  delete &Instance();
  EXPECT_EQ(LoggedMetadata::s_Deleted, std::vector<int>({2, 4, 1}));
}

TEST_F(MetadataRegistrar, RegistrarsAreMembersInTheOrderOneFourTwo) {
  EXPECT_LT(&Instance().Registrar1(), &Instance().Registrar4());
  EXPECT_LT(&Instance().Registrar4(), &Instance().Registrar2());
}

// --- Declaring.

TEST_P(MetadataRegistrarMask, FillsTheRegistrarsOfItsBitsInOrder) {
  Instance().initClassMetadata(&Declare<'f'>, GetParam());
  DeclareCalls expected;
  if (Has(1)) expected.emplace_back('f', &Instance().Registrar1());
  if (Has(2)) expected.emplace_back('f', &Instance().Registrar2());
  if (Has(4)) expected.emplace_back('f', &Instance().Registrar4());
  EXPECT_EQ(TakeCalls(), expected);
}

TEST_P(MetadataRegistrarMask, DeclaresTheClassesOfTheFunction) {
  Instance().initClassMetadata(&DeclareBolt, GetParam());
  EXPECT_EQ(Instance().Registrar1().ClassIsPresent(100), Has(1));
  EXPECT_EQ(Instance().Registrar2().ClassIsPresent(100), Has(2));
  EXPECT_EQ(Instance().Registrar4().ClassIsPresent(100), Has(4));
}

TEST_P(MetadataRegistrarMask, IsKeptForReplayUnderTheBitsOneAndFour) {
  Instance().initClassMetadata(&Declare<'f'>, GetParam());
  for (unsigned int mask = 0; mask < 8; ++mask) {
    std::string const expected((GetParam() & mask & 1U) + (GetParam() & mask & 4U) / 4, 'f');
    EXPECT_EQ(Replay(mask), expected) << "replayed under " << mask;
  }
}

INSTANTIATE_TEST_SUITE_P(EachMask, MetadataRegistrarMask, ::testing::Range(0U, 8U));

TEST_F(MetadataRegistrar, OtherBitsMeanNothing) {
  Instance().initClassMetadata(&Declare<'f'>, 0xFFFFFFF8U);
  EXPECT_EQ(TakeCalls(), DeclareCalls());
  Instance().initClassMetadata(&Declare<'g'>, 0xFFFFFFFDU);
  EXPECT_EQ(TakeCalls(), DeclareCalls({{'g', &Instance().Registrar1()}, {'g', &Instance().Registrar4()}}));
  EXPECT_EQ(Replay(0xFFFFFFF8U), "");
  EXPECT_EQ(Replay(0xFFFFFFFFU), "gg");
}

TEST_F(MetadataRegistrar, FunctionPassedTwiceIsRunAndKeptTwice) {
  ::testing::internal::CaptureStderr();
  Instance().initClassMetadata(&DeclareBolt, 1);
  Instance().initClassMetadata(&DeclareBolt, 1);
  EXPECT_EQ(TakeCalls().size(), 2U);
  EXPECT_EQ(Instance().Registrar1().GetHistoryMDList().Length(), 1);
  EXPECT_EQ(Replay(1), "BB");
  static_cast<void>(::testing::internal::GetCapturedStderr());
}

TEST_F(MetadataRegistrar, FailureOfAFunctionPassesThroughAndEndsTheDeclaration) {
  EXPECT_THROW(Instance().initClassMetadata(&Fail, 7), std::runtime_error);
  EXPECT_EQ(TakeCalls(), DeclareCalls({{'!', &Instance().Registrar1()}}));
}

// The function is kept before it runs.
TEST_F(MetadataRegistrar, FunctionThatFailedIsReplayed) {
  EXPECT_THROW(Instance().initClassMetadata(&Fail, 1), std::runtime_error);
  Instance().initClassMetadata(&Declare<'f'>, 1);
  cls_ClassRegistrar registrar;
  s_DeclareCalls.clear();
  EXPECT_THROW(Instance().initMetadata(&registrar, 1), std::runtime_error);
  EXPECT_EQ(TakeCalls(), DeclareCalls({{'!', &registrar}}));
}

TEST_F(MetadataRegistrar, FunctionMayDeclareOthersWhileItRuns) {
  Instance().initClassMetadata(&DeclareMore<1>, 1);
  EXPECT_EQ(TakeCalls(), DeclareCalls({{'+', &Instance().Registrar1()}, {'m', &Instance().Registrar1()}}));
}

// --- Replay.

TEST_F(MetadataRegistrar, ReplayKeepsTheOrderOfDeclaration) {
  Instance().initClassMetadata(&Declare<'f'>, 1);
  Instance().initClassMetadata(&Declare<'g'>, 1);
  Instance().initClassMetadata(&Declare<'h'>, 1);
  EXPECT_EQ(Replay(1), "fgh");
}

TEST_F(MetadataRegistrar, ReplayKeepsTheOrderOfManyDeclarations) {
  std::string expected;
  for (int i = 0; i < 50; ++i) {
    Instance().initClassMetadata(i % 3 == 0 ? &Declare<'x'> : &Declare<'y'>, 4);
    expected += i % 3 == 0 ? 'x' : 'y';
  }
  EXPECT_EQ(Replay(4), expected);
  EXPECT_EQ(Replay(1), "");
}

TEST_F(MetadataRegistrar, ReplayOfBothBitsRunsAllOfBitOneFirst) {
  Instance().initClassMetadata(&Declare<'f'>, 4);
  Instance().initClassMetadata(&Declare<'g'>, 5);
  Instance().initClassMetadata(&Declare<'h'>, 1);
  EXPECT_EQ(Replay(5), "ghfg");
}

TEST_F(MetadataRegistrar, FunctionOfBothBitsIsReplayedTwice) {
  Instance().initClassMetadata(&Declare<'f'>, 5);
  EXPECT_EQ(TakeCalls(), DeclareCalls({{'f', &Instance().Registrar1()}, {'f', &Instance().Registrar4()}}));
  EXPECT_EQ(Replay(1), "f");
  EXPECT_EQ(Replay(5), "ff");
}

TEST_F(MetadataRegistrar, BitTwoIsNeverReplayed) {
  Instance().initClassMetadata(&Declare<'f'>, 2);
  EXPECT_EQ(TakeCalls(), DeclareCalls({{'f', &Instance().Registrar2()}}));
  EXPECT_EQ(Replay(2), "");
  EXPECT_EQ(Replay(7), "");
}

TEST_F(MetadataRegistrar, ReplayFillsTheGivenRegistrar) {
  Instance().initClassMetadata(&DeclareBolt, 1);
  cls_ClassRegistrar registrar;
  Instance().initMetadata(&registrar, 1);
  EXPECT_EQ(registrar.GetClassID("Bolt"_cow), 100U);
  EXPECT_NE(&registrar.ConstGet(100), &Instance().Registrar1().ConstGet(100));
}

TEST_F(MetadataRegistrar, ReplayedRegistrarOutlivesTheInstance) {
  Instance().initClassMetadata(&DeclareBolt, 1);
  cls_ClassRegistrar registrar;
  Instance().initMetadata(&registrar, 1);
  delete &Instance();
  EXPECT_EQ(registrar.ConstGet(100).Name(), "Bolt");
}

TEST_F(MetadataRegistrar, ReplayingTwiceDeclaresTwice) {
  Instance().initClassMetadata(&DeclareBolt, 1);
  cls_ClassRegistrar registrar;
  Instance().initMetadata(&registrar, 1);
  cls_ClassMetadata const& first = registrar.ConstGet(100);
  s_DeclareCalls.clear();
  ::testing::internal::CaptureStderr();
  Instance().initMetadata(&registrar, 1);
  static_cast<void>(::testing::internal::GetCapturedStderr());
  EXPECT_EQ(TakeCalls(), DeclareCalls({{'B', &registrar}}));
  EXPECT_EQ(&registrar.ConstGet(100), &first);
  EXPECT_EQ(registrar.GetHistoryMDList().Length(), 1);
}

TEST_F(MetadataRegistrar, ReplayDoesNotTouchTheInstancesOwnRegistrars) {
  Instance().initClassMetadata(&DeclareBolt, 5);
  EXPECT_EQ(Replay(5), "BB");
  EXPECT_EQ(Instance().Registrar1().GetHistoryMDList().Length(), 1);
  EXPECT_EQ(Instance().Registrar4().GetHistoryMDList().Length(), 1);
  EXPECT_EQ(Instance().Registrar2().GetHistoryMDList().Length(), 0);
}

TEST_F(MetadataRegistrar, ReplayIntoOneOfItsOwnRegistrarsWorks) {
  Instance().initClassMetadata(&DeclareBolt, 1);
  Instance().initMetadata(&Instance().Registrar2(), 1);
  EXPECT_TRUE(Instance().Registrar2().ClassIsPresent(100));
}

TEST_F(MetadataRegistrar, FunctionDeclaredDuringAReplayIsNotRunInIt) {
  Instance().initClassMetadata(&DeclareMore<1>, 1); // keeps itself and one more function
  Instance().initClassMetadata(&Declare<'z'>, 1);
  cls_ClassRegistrar registrar;
  s_DeclareCalls.clear();
  Instance().initMetadata(&registrar, 1);
  EXPECT_EQ(TakeCalls(), DeclareCalls({{'+', &registrar},
                                       {'m', &Instance().Registrar1()}, // when it is declared
                                       {'m', &registrar},               // the one from the first declaration
                                       {'z', &registrar}}));
}

TEST_F(MetadataRegistrar, FunctionDeclaredDuringAReplayIsRunInTheNext) {
  Instance().initClassMetadata(&Declare<'a'>, 4);
  Instance().initClassMetadata(&DeclareMore<4>, 4); // a + m
  EXPECT_EQ(Replay(4), "a+?m");                     // and another m; ? is its run when it is declared
  EXPECT_EQ(Replay(4), "a+?mm");
}

TEST_F(MetadataRegistrar, FunctionDeclaredForTheOtherBitDuringAReplayIsKept) {
  Instance().initClassMetadata(&DeclareMore<4>, 1);
  EXPECT_EQ(Replay(4), "m");
  EXPECT_EQ(Replay(1), "+?");
  EXPECT_EQ(Replay(4), "mm");
}

TEST_F(MetadataRegistrar, FailureDuringAReplayPassesThroughAndEndsIt) {
  Instance().initClassMetadata(&Declare<'f'>, 1);
  EXPECT_THROW(Instance().initClassMetadata(&Fail, 1), std::runtime_error);
  Instance().initClassMetadata(&Declare<'g'>, 5);
  cls_ClassRegistrar registrar;
  s_DeclareCalls.clear();
  EXPECT_THROW(Instance().initMetadata(&registrar, 5), std::runtime_error);
  EXPECT_EQ(TakeCalls(), DeclareCalls({{'f', &registrar}, {'!', &registrar}}));
}

TEST_F(MetadataRegistrar, ReplayOfNothingNeedsNoRegistrar) {
  Instance().initClassMetadata(&Declare<'f'>, 2);
  s_DeclareCalls.clear();
  Instance().initMetadata(nullptr, 2);
  Instance().initMetadata(nullptr, 0);
  EXPECT_EQ(TakeCalls(), DeclareCalls());
}
