// Systems in double precision by single-precision factors: dsgesv, dlag2s, slag2d.

#include <limits>

#include "layer.hpp"
#include "routines.hpp"
#include "support/argument_checks.hpp"
#include "support/described_matrices.hpp"
#include "support/random.hpp"
#include "support/wide.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = 10;
constexpr double largest_single = std::numeric_limits<float>::max();

class MixedPrecision : public ReportingTest {
 protected:
  Random random{5};
};

/// A call with its matrices; A near twice the identity.
struct MixedCall {
  Int n, nrhs;
  GuardedMatrix<double> A, B, X;
  GuardedVector<double> work;
  GuardedVector<float> swork;
  GuardedVector<Int> ipiv;
  Int iter = 99, info = 99;

  MixedCall(Random& random, Int n_, Int nrhs_)
      : n(n_),
        nrhs(nrhs_),
        A(random_matrix<double>(random, n, n, n + 3)),
        B(random_matrix<double>(random, n, nrhs, n + 1)),
        X(n, nrhs, n + 2),
        work(n * nrhs),
        swork(n * (n + nrhs)),
        ipiv(n) {
    for (Int j = 1; j <= n; ++j) {
      for (Int i = 1; i <= n; ++i) A(i, j) = A(i, j) / (n + 1) + (i == j ? 2 : 0);
    }
    A.seal();
  }

  void run() {
    routine_call::dsgesv(n, nrhs, A, ipiv.data(), B, X, work.data(), swork.data(), iter, info);
    EXPECT_TRUE(A.guards_unchanged());
    EXPECT_TRUE(B.unchanged());
    EXPECT_TRUE(X.guards_unchanged());
    EXPECT_TRUE(work.guards_unchanged());
    EXPECT_TRUE(swork.guards_unchanged());
    EXPECT_TRUE(ipiv.guards_unchanged());
  }
};

TEST_F(MixedPrecision, SolvesAsWellAsDoublePrecision) {
  for (const Int n : {1, 2, 17, 60}) {
    for (const Int nrhs : {1, 3}) {
      MixedCall call(random, n, nrhs);
      const WideMatrix<double> A = wide(call.A);
      call.run();
      EXPECT_EQ(call.info, 0);
      EXPECT_GE(call.iter, n == 1 ? 0 : 1);
      EXPECT_LE(call.iter, 4);
      EXPECT_TRUE(call.A.unchanged());
      EXPECT_LT(solution_residual<double>(A, wide(call.X), wide(call.B)), threshold);
    }
  }
}

TEST_F(MixedPrecision, TakesNoStepWhereSinglePrecisionIsExact) {
  MixedCall call(random, 5, 2);
  for (Int j = 1; j <= 5; ++j) {
    for (Int i = 1; i <= 5; ++i) call.A(i, j) = i == j ? 4 : 0;
    for (Int k = 1; k <= 2; ++k) call.B(j, k) = j * k;
  }
  call.A.seal();
  call.B.seal();
  call.run();
  EXPECT_EQ(call.iter, 0);
  for (Int j = 1; j <= 5; ++j) EXPECT_EQ(call.X(j, 2), j * 2 / 4.0);
  EXPECT_TRUE(call.A.unchanged());
}

/// Expects that a call did all in double precision, as dgesv does.
void expect_double_precision(MixedCall& call, Int iter) {
  GuardedMatrix<double> factors = call.A, X = call.B;
  GuardedVector<Int> ipiv(call.n);
  Int info = 99;
  layer::getrf(call.n, call.n, factors, ipiv.data(), info);
  if (info == 0) {
    Int solved = 99;
    routine_call::getrs('N', call.n, call.nrhs, factors, ipiv.data(), X, solved);
  }
  call.run();
  EXPECT_EQ(call.iter, iter);
  EXPECT_EQ(call.info, info);
  for (Int j = 1; j <= call.n; ++j) {
    for (Int i = 1; i <= call.n; ++i) EXPECT_TRUE(same_bits(call.A(i, j), factors(i, j)));
    EXPECT_EQ(call.ipiv(j), ipiv(j));
  }
  for (Int j = 1; j <= call.nrhs; ++j) {
    for (Int i = 1; i <= call.n; ++i) EXPECT_TRUE(same_bits(call.X(i, j), X(i, j)));
  }
}

TEST_F(MixedPrecision, TakesDoublePrecisionForNumbersTooLargeForSingle) {
  for (const bool in_matrix : {true, false}) {
    MixedCall call(random, 6, 2);
    (in_matrix ? call.A(4, 3) : call.B(2, 2)) = -2 * largest_single;
    call.A.seal();
    call.B.seal();
    expect_double_precision(call, -2);
  }
}

TEST_F(MixedPrecision, TakesDoublePrecisionForNumbersTooSmallForSingle) {
  MixedCall small_matrix(random, 6, 2);
  for (Int j = 1; j <= 6; ++j) {
    for (Int i = 1; i <= 6; ++i) small_matrix.A(i, j) *= 0x1p-200;
  }
  small_matrix.A.seal();
  expect_double_precision(small_matrix, -3);

  MixedCall small_sides(random, 6, 2);
  for (Int i = 1; i <= 6; ++i) small_sides.B(i, 2) *= 0x1p-200;
  small_sides.B.seal();
  expect_double_precision(small_sides, -31);
}

TEST_F(MixedPrecision, GoesOnUntilAllRightHandSidesAreSolved) {
  for (const Int solved : {1, 2}) {
    MixedCall call(random, 6, 2);
    for (Int i = 1; i <= 6; ++i) call.B(i, solved) = 0;
    call.B.seal();
    const WideMatrix<double> A = wide(call.A);
    call.run();
    EXPECT_GE(call.iter, 1);
    EXPECT_LT(solution_residual<double>(A, wide(call.X), wide(call.B)), threshold);
  }
}

TEST_F(MixedPrecision, TakesDoublePrecisionForAMatrixSingularInSingle) {
  MixedCall call(random, 3, 1);
  for (Int j = 1; j <= 3; ++j) {
    for (Int i = 1; i <= 3; ++i) call.A(i, j) = 1 + (i == j ? j * 0x1p-40 : 0);
  }
  call.A.seal();
  expect_double_precision(call, -3);
  EXPECT_EQ(call.info, 0);
}

TEST_F(MixedPrecision, LeavesTheRightHandSidesOfASingularMatrixInTheSolutions) {
  MixedCall call(random, 4, 2);
  for (Int i = 1; i <= 4; ++i) call.A(i, 3) = 0;
  call.A.seal();
  expect_double_precision(call, -3);
  EXPECT_EQ(call.info, 3);
  for (Int j = 1; j <= 2; ++j) {
    for (Int i = 1; i <= 4; ++i) EXPECT_EQ(call.X(i, j), call.B(i, j));
  }
}

TEST_F(MixedPrecision, TakesDoublePrecisionWhereRefinementDoesNotConverge) {
  constexpr Int n = 20;
  MixedCall call(random, n, 1);
  call.A = DescribedMatrices(9).general<double>({.name = "ill-conditioned", .condition = 0.85}, n, n, n + 3);
  expect_double_precision(call, -31);
}

/// A step is as good as the factor: with one of relative error d the residual falls by about d.
TEST_F(MixedPrecision, CountsItsSteps) {
  constexpr Int n = 20;
  Int last = 0;
  for (const double condition : {0.0, 0.25, 0.4}) {
    MixedCall call(random, n, 1);
    call.A = DescribedMatrices(9).general<double>({.name = "known", .condition = condition}, n, n, n + 3);
    call.run();
    EXPECT_GE(call.iter, last);
    EXPECT_LE(call.iter, 30);
    EXPECT_LT(solution_residual<double>(wide(call.A), wide(call.X), wide(call.B)), threshold);
    last = call.iter;
  }
  EXPECT_GT(last, 2);
}

TEST_F(MixedPrecision, ShowsNaN) {
  for (const Int at : {1, 3}) {
    MixedCall call(random, 4, 2);
    call.A(at, 2) = std::numeric_limits<double>::quiet_NaN();
    call.A.seal();
    call.run();
    bool seen = call.info != 0;
    for (Int i = 1; i <= 4; ++i) seen |= std::isnan(call.X(i, 1));
    EXPECT_TRUE(seen);
    EXPECT_LT(call.iter, 0);
  }
}

TEST_F(MixedPrecision, HasNothingToDoWithoutEquations) {
  MixedCall none(random, 0, 2);
  none.run();
  EXPECT_EQ(none.info, 0);
  EXPECT_EQ(none.iter, 0);
  MixedCall no_right_hand_sides(random, 3, 0);
  no_right_hand_sides.run();
  EXPECT_EQ(no_right_hand_sides.info, 0);
  EXPECT_EQ(no_right_hand_sides.iter, 0);
}

struct CheckedCall {
  Int n = 2, nrhs = 1, lda = 2, ldb = 2, ldx = 2;
  GuardedMatrix<double> A{2, 2, 2}, B{2, 1, 2}, X{2, 1, 2};
  GuardedVector<double> work{2};
  GuardedVector<float> swork{6};
  GuardedVector<Int> ipiv{2};

  CheckedCall() {
    for (Int j = 1; j <= 2; ++j) {
      for (Int i = 1; i <= 2; ++i) A(i, j) = i == j;
      B(j, 1) = j;
    }
    A.seal();
    B.seal();
  }
  Int run() {
    Int iter = 99, info = 99;
    routine_call::dsgesv(n, nrhs, {A.data(), lda}, ipiv.data(), {B.data(), ldb}, {X.data(), ldx}, work.data(),
                         swork.data(), iter, info);
    EXPECT_EQ(iter, 0);
    return info;
  }
  bool unchanged() const { return A.unchanged() && B.unchanged() && X.unchanged() && ipiv.unchanged(); }
};

TEST_F(MixedPrecision, ChecksItsArguments) {
  expect_argument_checks<CheckedCall>("DSGESV", {{1, [](CheckedCall& c) { c.n = -1; }},
                                                 {2, [](CheckedCall& c) { c.nrhs = -1; }},
                                                 {4, [](CheckedCall& c) { c.lda = 1; }},
                                                 {7, [](CheckedCall& c) { c.ldb = 1; }},
                                                 {9, [](CheckedCall& c) { c.ldx = 1; }}});
}

// --------------------------------------------------------------------------------------------------------- conversions

TEST_F(MixedPrecision, RoundsToSingle) {
  GuardedMatrix<double> A = random_matrix<double>(random, 3, 4, 10);
  A(1, 1) = largest_single;
  A(3, 4) = -largest_single;
  A(2, 2) = std::numeric_limits<double>::quiet_NaN();
  GuardedMatrix<float> SA(3, 4, 5);
  Int info = 99;
  routine_call::dlag2s(3, 4, A, SA, info);
  EXPECT_EQ(info, 0);
  for (Int j = 1; j <= 4; ++j) {
    for (Int i = 1; i <= 3; ++i) EXPECT_TRUE(SA(i, j) == float(A(i, j)) || (i == 2 && j == 2 && std::isnan(SA(i, j))));
  }
  EXPECT_TRUE(SA.guards_unchanged());
}

TEST_F(MixedPrecision, TellsWhereANumberIsTooLarge) {
  for (const double value : {std::nextafter(largest_single, 1e300), -1e300, std::numeric_limits<double>::infinity()}) {
    GuardedMatrix<double> A = random_matrix<double>(random, 3, 4, 10);
    GuardedMatrix<float> SA(3, 4, 5);
    Int info = 99;
    A(2, 3) = A(1, 4) = value;
    routine_call::dlag2s(3, 4, A, SA, info);
    EXPECT_EQ(info, 13);
    EXPECT_TRUE(SA.guards_unchanged());
  }
}

TEST_F(MixedPrecision, SetsInfoUnlessThereIsNoColumn) {
  Int info = 99;
  routine_call::dlag2s(0, 3, Matrix<double>(nullptr, 1), Matrix<float>(nullptr, 1), info);
  EXPECT_EQ(info, 0);
  for (const Int n : {0, -1}) {
    info = 99;
    routine_call::dlag2s(3, n, Matrix<double>(nullptr, 3), Matrix<float>(nullptr, 3), info);
    EXPECT_EQ(info, 99);
    routine_call::slag2d(3, n, Matrix<float>(nullptr, 3), Matrix<double>(nullptr, 3), info);
    EXPECT_EQ(info, 0);
  }
}

TEST_F(MixedPrecision, WidensWithoutChecks) {
  GuardedMatrix<float> SA = random_matrix<float>(random, 3, 2, 4);
  SA(2, 1) = std::numeric_limits<float>::infinity();
  GuardedMatrix<double> A(3, 2, 5);
  Int info = 99;
  routine_call::slag2d(3, 2, SA, A, info);
  EXPECT_EQ(info, 0);
  for (Int j = 1; j <= 2; ++j) {
    for (Int i = 1; i <= 3; ++i) EXPECT_EQ(A(i, j), double(SA(i, j)));
  }
  EXPECT_TRUE(A.guards_unchanged());
}

}  // namespace
}  // namespace nuv::test
