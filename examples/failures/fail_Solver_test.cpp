#include "examples/failures/fail_Solver.h"

#include "errors/nex_AssertException.h"
#include "errors/nex_BadCastException.h"
#include "errors/nex_ExitException.h"
#include "errors/nex_InvalidObjException.h"
#include "errors/nex_OutOfMemoryException.h"
#include "errors/nex_SystemErrorException.h"
#include "errors/nex_TextException.h"
#include "examples/failures/fail_Fixture.h"

#include <cerrno>
#include <cmath>
#include <regex>

namespace {

// The truss of fail_Cases::TwoBarTruss.
constexpr double HalfSpan = 10;
constexpr double Rise = 1;
constexpr double Stiffness = 2.1e8;
constexpr double ReferenceLoad = 1e5;
constexpr std::size_t ApexY = 3; // index in the displacements

double CubeOfLength() {
  return std::pow(HalfSpan * HalfSpan + Rise * Rise, 1.5);
}

// The load that keeps the apex at a height, in closed form: EA (h^2 - z^2) z / L^3.
double LoadAtHeight(double height) {
  return Stiffness * (Rise * Rise - height * height) * height / CubeOfLength();
}

// Its maximum, at the height h / sqrt(3).
double LimitLoad() {
  return LoadAtHeight(Rise / std::sqrt(3.0));
}

class Solver : public fail_Fixture {
 protected:
  // Runs an analysis and keeps its results.
  void Run(fail_Analysis const& analysis) {
    fail_Solver solver(analysis.truss, analysis.control);
    m_Failure = FailureOf([&] { solver.Run(); });
    m_Steps = solver.Steps();
  }

  void ExpectCompleted(std::size_t stepCount) const {
    EXPECT_EQ(m_Failure, nullptr) << m_Failure->DeveloperReport().View();
    EXPECT_EQ(m_Steps.size(), stepCount);
  }

  int IterationCount() const {
    int count = 0;
    for (fail_Step const& step : m_Steps) count += step.iterations;
    return count;
  }

  std::unique_ptr<nex_Exception> m_Failure;
  std::vector<fail_Step> m_Steps;
};

} // namespace

TEST_F(Solver, FollowsTheClosedFormOfTheTwoBarTrussBelowTheLimit) {
  Run(Analysis("below-the-limit"));
  ExpectCompleted(7);
  for (fail_Step const& step : m_Steps) {
    double const height = Rise + step.displacements[ApexY];
    EXPECT_GT(height, Rise / std::sqrt(3.0)); // still on the branch that starts unloaded
    EXPECT_NEAR(LoadAtHeight(height), step.loadFactor * ReferenceLoad, 1e-3);
  }
}

TEST_F(Solver, KeepsTheSymmetryOfTheTwoBarTrussAndItsSupports) {
  Run(Analysis("below-the-limit"));
  for (std::size_t const held : {0U, 1U, 4U, 5U}) EXPECT_EQ(m_Steps.back().displacements[held], 0);
  EXPECT_NEAR(m_Steps.back().displacements[2], 0, 1e-12);
}

TEST_F(Solver, ReachesTheLimitLoadOfTheClosedForm) {
  fail_Analysis analysis = Analysis("beyond-the-limit");
  analysis.control.loadFactors.clear();
  for (int i = 800; i <= 1100; ++i)
    analysis.control.loadFactors.push_back(i / 1000.0 * LimitLoad() / ReferenceLoad);
  analysis.control.iterationBudget = 100000;
  Run(analysis);
  As<nex_TextException>(m_Failure);
  EXPECT_GT(m_Steps.back().loadFactor * ReferenceLoad, 0.998 * LimitLoad());
  EXPECT_LT(m_Steps.back().loadFactor * ReferenceLoad, 1.0001 * LimitLoad());
}

TEST_F(Solver, AgreesWithTheForceMethodForASmallGirder) {
  fail_Analysis analysis{"girder", fail_Cases::Girder(2), {}};
  analysis.control.loadFactors = {1};
  Run(analysis);
  ExpectCompleted(1);
  // Bar forces P times 1/2, -1/sqrt 2, 1/2, -1/2, 1/sqrt 2, -1/2; the sum of N^2 L is P^2 (1 + sqrt 2).
  double const deflection = 1e3 * (1 + std::sqrt(2.0)) / Stiffness;
  EXPECT_NEAR(m_Steps[0].displacements[5], -deflection, 1e-4 * deflection); // y of node 3
}

TEST_F(Solver, StaysAtRestWithoutLoad) {
  fail_Analysis analysis = Analysis("below-the-limit");
  analysis.control.loadFactors = {0};
  Run(analysis);
  ExpectCompleted(1);
  EXPECT_EQ(m_Steps[0].iterations, 0);
}

TEST_F(Solver, TakesTheLoadFactorsFromATable) {
  Write("gusts.loads", "0.3\n0.1\n");
  Run(Analysis("load-table"));
  ExpectCompleted(2);
  EXPECT_EQ(m_Steps[0].loadFactor, 0.3);
  EXPECT_EQ(m_Steps[1].loadFactor, 0.1);
}

TEST_F(Solver, NamesStepAndResidualIfItDoesNotConverge) {
  Run(Analysis("beyond-the-limit"));
  EXPECT_EQ(m_Steps.size(), 7U);
  EXPECT_LT(0.7 * ReferenceLoad, LimitLoad());
  EXPECT_GT(0.8 * ReferenceLoad, LimitLoad());
  std::string const text(As<nex_TextException>(m_Failure).Value().View());
  std::smatch parts;
  ASSERT_TRUE(std::regex_match(
      text, parts,
      std::regex(
          "Load step 8 of 10, load factor 0.8: no equilibrium after 25 iterations, residual (.+) N\\.")))
      << text;
  // At least the load in excess of the limit: no position can carry that much.
  EXPECT_GE(std::stod(parts[1]), 0.999 * (0.8 * ReferenceLoad - LimitLoad()));
  EXPECT_EQ(m_Failure->FromFile(), "fail_Solver");
}

TEST_F(Solver, DoesNotConvergeWithAnyNumberOfIterations) {
  fail_Analysis analysis = Analysis("beyond-the-limit");
  analysis.control.iterationsPerStep = 5000;
  analysis.control.iterationBudget = 10000;
  Run(analysis);
  EXPECT_EQ(m_Steps.size(), 7U);
  As<nex_TextException>(m_Failure);
}

TEST_F(Solver, AssertsThatBarsHaveALength) {
  fail_Analysis analysis = Analysis("bar-without-length");
  Run(analysis);
  EXPECT_EQ(As<nex_AssertException>(m_Failure).Value(), "length > 0");
  EXPECT_TRUE(m_Steps.empty());
}

TEST_F(Solver, AssertsThatNodeNumbersAreUnique) {
  fail_Analysis analysis = Analysis("below-the-limit");
  analysis.truss.nodes[2].number = 1;
  Run(analysis);
  EXPECT_EQ(As<nex_AssertException>(m_Failure).Value(), "m_NodeIndexes.size() == m_Truss.nodes.size()");
}

TEST_F(Solver, CannotCastASpringToABar) {
  fail_Analysis analysis = Analysis("spring-among-bars");
  Run(analysis);
  EXPECT_EQ(As<nex_BadCastException>(m_Failure).Value(), "Bad Cast: From `fail_Spring' To 'fail_Bar'.");
  analysis.truss.elements.pop_back(); // the spring
  Run(analysis);
  ExpectCompleted(7);
}

TEST_F(Solver, EndsWhenTheBudgetOfIterationsIsUsedUp) {
  Run(Analysis("tight-budget"));
  EXPECT_EQ(As<nex_ExitException>(m_Failure).Value().m_Msg,
            "The budget of 12 iterations is used up in load step 5 of 7.");
  EXPECT_EQ(As<nex_ExitException>(m_Failure).Value().m_Err, fail_Solver::BudgetExitCode);
  EXPECT_EQ(m_Steps.size(), 4U);
  EXPECT_LE(IterationCount(), 12);
}

TEST_F(Solver, CompletesWithABudgetThatIsJustEnough) {
  fail_Analysis analysis = Analysis("tight-budget");
  analysis.control.iterationBudget = 1000;
  Run(analysis);
  ExpectCompleted(7);
  int const needed = IterationCount();
  analysis.control.iterationBudget = needed;
  Run(analysis);
  ExpectCompleted(7);
  analysis.control.iterationBudget = needed - 1;
  Run(analysis);
  EXPECT_EQ(As<nex_ExitException>(m_Failure).Value().m_Err, fail_Solver::BudgetExitCode);
  EXPECT_EQ(m_Steps.size(), 6U);
}

TEST_F(Solver, NamesTheNodeThatTheTrussDoesNotHave) {
  fail_Analysis analysis = Analysis("missing-node");
  Run(analysis);
  EXPECT_EQ(As<nex_InvalidObjException>(m_Failure).Value(),
            "Element 3 names node 17, which the truss does not have.");
  analysis.truss.nodes.push_back({17, 0, 5, true, true, 0, 0});
  Run(analysis);
  ExpectCompleted(7);
}

TEST_F(Solver, PassesTheSystemsErrorNumbersForALoadTable) {
  Run(Analysis("load-table"));
  EXPECT_EQ(As<nex_SystemErrorException>(m_Failure).Value().m_NativeErrorCode, static_cast<unsigned>(ENOENT));
  EXPECT_EQ(As<nex_SystemErrorException>(m_Failure).Value().m_CRTErrorCode, ENOENT);
}

TEST_F(Solver, KeepsTheStiffnessMatrixWithinTheMemoryLimit) {
  Run(Analysis("long-girder"));
  auto const& failure = As<nex_OutOfMemoryException>(m_Failure);
  EXPECT_EQ(failure.Error(), NEX_OUTOFMEMORY_LIMIT);
  EXPECT_EQ(failure.Message(),
            "The stiffness matrix of 1601 equations takes 20505608 bytes; the limit of the run is 16777216.");
  EXPECT_EQ(failure.FromFile(), "fail_Equations");
}

TEST_F(Solver, MayUseTheMemoryLimitToTheLastByte) {
  fail_Analysis analysis{"girder", fail_Cases::Girder(10), {}};
  analysis.control.loadFactors = {1};
  analysis.control.memoryLimitBytes = fail_Equations::BytesFor(41);
  Run(analysis);
  ExpectCompleted(1);
  --analysis.control.memoryLimitBytes;
  Run(analysis);
  EXPECT_EQ(As<nex_OutOfMemoryException>(m_Failure).Error(), NEX_OUTOFMEMORY_LIMIT);
}

TEST_F(Solver, RefusesAMechanism) {
  fail_Analysis analysis{"girder", fail_Cases::Girder(2), {}};
  analysis.control.loadFactors = {1};
  analysis.truss.elements.pop_back(); // a post
  Run(analysis);
  EXPECT_EQ(As<nex_TextException>(m_Failure).Value(),
            "The stiffness matrix is singular: the truss is a mechanism.");
}
