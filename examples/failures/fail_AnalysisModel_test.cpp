#include "examples/failures/fail_AnalysisModel.h"

#include "errors/nex_ExitException.h"
#include "examples/failures/fail_Fixture.h"
#include "store/sto_Store.h"

namespace {

class AnalysisModel : public fail_Fixture {
 protected:
  AnalysisModel() { fail_AnalysisModel::Declare(m_Classes); }

  std::unique_ptr<fail_AnalysisModel> StoredAndRead(fail_AnalysisModel const& model) const {
    sto_Store::Open(Path("s.kvs"), sto_Mode::Create, m_Classes).Save("analysis", model);
    return sto_Store::Open(Path("s.kvs"), sto_Mode::ReadOnly, m_Classes).Load<fail_AnalysisModel>("analysis");
  }

 private:
  cls_ClassRegistrar m_Classes;
};

std::vector<fail_Step> const Steps{{0.1, 3, {0, -0.5}}, {0.2, 4, {0.25, 1.0 / 3}}};

} // namespace

TEST_F(AnalysisModel, KeepsTheDisplacementsOfAllSteps) {
  auto const read = StoredAndRead({"bridge", Steps, nullptr});
  EXPECT_EQ(read->Name(), "bridge");
  EXPECT_EQ(read->Status(), fail_Status::Completed);
  EXPECT_EQ(read->StepCount(), 2);
  EXPECT_EQ(read->LastLoadFactor(), 0.2);
  ASSERT_EQ(read->Displacements().Count(), 4);
  double const expected[] = {0, -0.5, 0.25, 1.0 / 3};
  for (int i = 0; i < 4; ++i) EXPECT_EQ(read->Displacements().ConstGet(i), expected[i]) << i;
  EXPECT_EQ(read->Failure(), nullptr);
}

TEST_F(AnalysisModel, LooksForTheLargestDisplacementInTheLastStep) {
  EXPECT_EQ(fail_AnalysisModel("bridge", Steps, nullptr).LargestDisplacement(), 1.0 / 3);
  EXPECT_EQ(fail_AnalysisModel("bridge", {}, nullptr).LargestDisplacement(), 0);
}

TEST_F(AnalysisModel, KeepsTheClassOfAFailure) {
  auto thrown = FailureOf([] { nex_ExitException({atr_String("enough"), 9}).Throw("bridge", 12); });
  std::string const report(thrown->DeveloperReport().View());
  auto const read = StoredAndRead({"bridge", {}, std::move(thrown)});
  EXPECT_EQ(read->Status(), fail_Status::Failed);
  auto const* const failure = dynamic_cast<nex_ExitException const*>(read->Failure());
  ASSERT_NE(failure, nullptr);
  EXPECT_EQ(failure->DeveloperReport(), report);
  EXPECT_EQ(failure->Value().m_Err, 9);
  EXPECT_NE(failure->Uid().Entry(), failure->RootUid().Entry());
}
