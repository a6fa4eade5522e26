// Systems in double precision by single-precision factors: dsgesv, zcgesv, and the conversions between precisions.

#include <limits>
#include <type_traits>
#include <vector>

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

template <Scalar T>
using Single = std::conditional_t<ComplexScalar<T>, std::complex<float>, float>;

/// ?gesv, with room for the norm where it is wanted.
void solve(Int n, Int nrhs, Matrix<double> A, Int* ipiv, Matrix<const double> B, Matrix<double> X, double* work,
           float* swork, double*, Int& iter, Int& info) {
  routine_call::dsgesv(n, nrhs, A, ipiv, B, X, work, swork, iter, info);
}

void solve(Int n, Int nrhs, Matrix<std::complex<double>> A, Int* ipiv, Matrix<const std::complex<double>> B,
           Matrix<std::complex<double>> X, std::complex<double>* work, std::complex<float>* swork, double* rwork,
           Int& iter, Int& info) {
  routine_call::zcgesv(n, nrhs, A, ipiv, B, X, work, swork, rwork, iter, info);
}

void round_to_single(Int m, Int n, Matrix<const double> A, Matrix<float> SA, Int& info) {
  routine_call::dlag2s(m, n, A, SA, info);
}

void round_to_single(Int m, Int n, Matrix<const std::complex<double>> A, Matrix<std::complex<float>> SA, Int& info) {
  routine_call::zlag2c(m, n, A, SA, info);
}

void widen(Int m, Int n, Matrix<const float> SA, Matrix<double> A, Int& info) {
  routine_call::slag2d(m, n, SA, A, info);
}

void widen(Int m, Int n, Matrix<const std::complex<float>> SA, Matrix<std::complex<double>> A, Int& info) {
  routine_call::clag2z(m, n, SA, A, info);
}

template <class T>
class MixedPrecision : public ReportingTest {
 protected:
  Random random{5};
};
using InDouble = testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(MixedPrecision, InDouble, PrecisionLetter);

template <Scalar T>
bool is_nan(T x) {
  return std::isnan(std::real(x)) || std::isnan(std::imag(x));
}

/// Numbers of which one part is this.
template <Scalar T>
std::vector<T> with_part(double part) {
  if constexpr (ComplexScalar<T>) {
    return {{part, 1}, {1, part}};
  } else {
    return {part};
  }
}

/// A call with its matrices; A near twice the identity.
template <Scalar T>
struct MixedCall {
  Int n, nrhs;
  GuardedMatrix<T> A, B, X;
  GuardedVector<T> work;
  GuardedVector<Single<T>> swork;
  GuardedVector<double> rwork;
  GuardedVector<Int> ipiv;
  Int iter = 99, info = 99;

  MixedCall(Random& random, Int n_, Int nrhs_)
      : n(n_),
        nrhs(nrhs_),
        A(random_matrix<T>(random, n, n, n + 3)),
        B(random_matrix<T>(random, n, nrhs, n + 1)),
        X(n, nrhs, n + 2),
        work(n * nrhs),
        swork(n * (n + nrhs)),
        rwork(nrhs > 0 ? n : 0),
        ipiv(n) {
    for (Int j = 1; j <= n; ++j) {
      for (Int i = 1; i <= n; ++i) A(i, j) = A(i, j) / double(n + 1) + T(i == j ? 2 : 0);
    }
    A.seal();
  }

  void run() {
    solve(n, nrhs, A, ipiv.data(), B, X, work.data(), swork.data(), rwork.data(), iter, info);
    EXPECT_TRUE(A.guards_unchanged());
    EXPECT_TRUE(B.unchanged());
    EXPECT_TRUE(X.guards_unchanged());
    EXPECT_TRUE(work.guards_unchanged());
    EXPECT_TRUE(swork.guards_unchanged());
    EXPECT_TRUE(rwork.guards_unchanged());
    EXPECT_TRUE(ipiv.guards_unchanged());
  }
};

TYPED_TEST(MixedPrecision, SolvesAsWellAsDoublePrecision) {
  using T = TypeParam;
  for (const Int n : {1, 2, 17, 60}) {
    for (const Int nrhs : {1, 3}) {
      MixedCall<T> call(this->random, n, nrhs);
      const WideMatrix<T> A = wide(call.A);
      call.run();
      EXPECT_EQ(call.info, 0);
      EXPECT_GE(call.iter, n == 1 ? 0 : 1);
      EXPECT_LE(call.iter, 4);
      EXPECT_TRUE(call.A.unchanged());
      EXPECT_LT(solution_residual<T>(A, wide(call.X), wide(call.B)), threshold);
    }
  }
}

TYPED_TEST(MixedPrecision, TakesNoStepWhereSinglePrecisionIsExact) {
  using T = TypeParam;
  MixedCall<T> call(this->random, 5, 2);
  for (Int j = 1; j <= 5; ++j) {
    for (Int i = 1; i <= 5; ++i) call.A(i, j) = T(i == j ? 4 : 0);
    for (Int k = 1; k <= 2; ++k) call.B(j, k) = T(j * k);
  }
  call.A.seal();
  call.B.seal();
  call.run();
  EXPECT_EQ(call.iter, 0);
  for (Int j = 1; j <= 5; ++j) EXPECT_EQ(call.X(j, 2), T(j * 2 / 4.0));
  EXPECT_TRUE(call.A.unchanged());
}

/// Expects that a call did all in double precision, as dgesv does.
template <Scalar T>
void expect_double_precision(MixedCall<T>& call, Int iter) {
  GuardedMatrix<T> factors = call.A, X = call.B;
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

TYPED_TEST(MixedPrecision, TakesDoublePrecisionForNumbersTooLargeForSingle) {
  using T = TypeParam;
  for (const bool in_matrix : {true, false}) {
    MixedCall<T> call(this->random, 6, 2);
    (in_matrix ? call.A(4, 3) : call.B(2, 2)) = T(-2 * largest_single);
    call.A.seal();
    call.B.seal();
    expect_double_precision(call, -2);
  }
}

TYPED_TEST(MixedPrecision, TakesDoublePrecisionForNumbersTooSmallForSingle) {
  using T = TypeParam;
  MixedCall<T> small_matrix(this->random, 6, 2);
  for (Int j = 1; j <= 6; ++j) {
    for (Int i = 1; i <= 6; ++i) small_matrix.A(i, j) *= 0x1p-200;
  }
  small_matrix.A.seal();
  expect_double_precision(small_matrix, -3);

  MixedCall<T> small_sides(this->random, 6, 2);
  for (Int i = 1; i <= 6; ++i) small_sides.B(i, 2) *= 0x1p-200;
  small_sides.B.seal();
  expect_double_precision(small_sides, -31);
}

TYPED_TEST(MixedPrecision, GoesOnUntilAllRightHandSidesAreSolved) {
  using T = TypeParam;
  for (const Int solved : {1, 2}) {
    MixedCall<T> call(this->random, 6, 2);
    for (Int i = 1; i <= 6; ++i) call.B(i, solved) = 0;
    call.B.seal();
    const WideMatrix<T> A = wide(call.A);
    call.run();
    EXPECT_GE(call.iter, 1);
    EXPECT_LT(solution_residual<T>(A, wide(call.X), wide(call.B)), threshold);
  }
}

TYPED_TEST(MixedPrecision, TakesDoublePrecisionForAMatrixSingularInSingle) {
  using T = TypeParam;
  MixedCall<T> call(this->random, 3, 1);
  for (Int j = 1; j <= 3; ++j) {
    for (Int i = 1; i <= 3; ++i) call.A(i, j) = T(1 + (i == j ? j * 0x1p-40 : 0));
  }
  call.A.seal();
  expect_double_precision(call, -3);
  EXPECT_EQ(call.info, 0);
}

TYPED_TEST(MixedPrecision, LeavesTheRightHandSidesOfASingularMatrixInTheSolutions) {
  using T = TypeParam;
  MixedCall<T> call(this->random, 4, 2);
  for (Int i = 1; i <= 4; ++i) call.A(i, 3) = 0;
  call.A.seal();
  expect_double_precision(call, -3);
  EXPECT_EQ(call.info, 3);
  for (Int j = 1; j <= 2; ++j) {
    for (Int i = 1; i <= 4; ++i) EXPECT_EQ(call.X(i, j), call.B(i, j));
  }
}

TYPED_TEST(MixedPrecision, TakesDoublePrecisionWhereRefinementDoesNotConverge) {
  using T = TypeParam;
  constexpr Int n = 20;
  MixedCall<T> call(this->random, n, 1);
  call.A = DescribedMatrices(9).general<T>({.name = "ill-conditioned", .condition = 0.85}, n, n, n + 3);
  expect_double_precision(call, -31);
}

/// A step is as good as the factor: with one of relative error d the residual falls by about d.
TYPED_TEST(MixedPrecision, CountsItsSteps) {
  using T = TypeParam;
  constexpr Int n = 20;
  Int last = 0;
  for (const double condition : {0.0, 0.25, 0.4}) {
    MixedCall<T> call(this->random, n, 1);
    call.A = DescribedMatrices(9).general<T>({.name = "known", .condition = condition}, n, n, n + 3);
    call.run();
    EXPECT_GE(call.iter, last);
    EXPECT_LE(call.iter, 30);
    EXPECT_LT(solution_residual<T>(wide(call.A), wide(call.X), wide(call.B)), threshold);
    last = call.iter;
  }
  EXPECT_GT(last, 2);
}

TYPED_TEST(MixedPrecision, ShowsNaN) {
  using T = TypeParam;
  for (const Int at : {1, 3}) {
    MixedCall<T> call(this->random, 4, 2);
    call.A(at, 2) = std::numeric_limits<double>::quiet_NaN();
    call.A.seal();
    call.run();
    bool seen = call.info != 0;
    for (Int i = 1; i <= 4; ++i) seen |= is_nan(call.X(i, 1));
    EXPECT_TRUE(seen);
    EXPECT_LT(call.iter, 0);
  }
}

TYPED_TEST(MixedPrecision, HasNothingToDoWithoutEquations) {
  using T = TypeParam;
  MixedCall<T> none(this->random, 0, 2);
  none.run();
  EXPECT_EQ(none.info, 0);
  EXPECT_EQ(none.iter, 0);
  MixedCall<T> no_right_hand_sides(this->random, 3, 0);
  no_right_hand_sides.run();
  EXPECT_EQ(no_right_hand_sides.info, 0);
  EXPECT_EQ(no_right_hand_sides.iter, 0);
}

template <Scalar T>
struct CheckedCall {
  Int n = 2, nrhs = 1, lda = 2, ldb = 2, ldx = 2;
  GuardedMatrix<T> A{2, 2, 2}, B{2, 1, 2}, X{2, 1, 2};
  GuardedVector<T> work{2};
  GuardedVector<Single<T>> swork{6};
  GuardedVector<double> rwork{2};
  GuardedVector<Int> ipiv{2};

  CheckedCall() {
    for (Int j = 1; j <= 2; ++j) {
      for (Int i = 1; i <= 2; ++i) A(i, j) = T(i == j);
      B(j, 1) = T(j);
    }
    A.seal();
    B.seal();
  }
  Int run() {
    Int iter = 99, info = 99;
    solve(n, nrhs, {A.data(), lda}, ipiv.data(), {B.data(), ldb}, {X.data(), ldx}, work.data(), swork.data(),
          rwork.data(), iter, info);
    EXPECT_EQ(iter, 0);
    return info;
  }
  bool unchanged() const { return A.unchanged() && B.unchanged() && X.unchanged() && ipiv.unchanged(); }
};

TYPED_TEST(MixedPrecision, ChecksItsArguments) {
  using T = TypeParam;
  expect_argument_checks<CheckedCall<T>>(ComplexScalar<T> ? "ZCGESV" : "DSGESV",
                                         {{1, [](CheckedCall<T>& c) { c.n = -1; }},
                                          {2, [](CheckedCall<T>& c) { c.nrhs = -1; }},
                                          {4, [](CheckedCall<T>& c) { c.lda = 1; }},
                                          {7, [](CheckedCall<T>& c) { c.ldb = 1; }},
                                          {9, [](CheckedCall<T>& c) { c.ldx = 1; }}});
}

// --------------------------------------------------------------------------------------------------------- conversions

TYPED_TEST(MixedPrecision, RoundsToSingle) {
  using T = TypeParam;
  GuardedMatrix<T> A = random_matrix<T>(this->random, 3, 4, 10);
  A(1, 1) = largest_single;
  A(3, 4) = -largest_single;
  A(2, 2) = std::numeric_limits<double>::quiet_NaN();
  GuardedMatrix<Single<T>> SA(3, 4, 5);
  Int info = 99;
  round_to_single(3, 4, A, SA, info);
  EXPECT_EQ(info, 0);
  for (Int j = 1; j <= 4; ++j) {
    for (Int i = 1; i <= 3; ++i) {
      EXPECT_TRUE(SA(i, j) == static_cast<Single<T>>(A(i, j)) || (i == 2 && j == 2 && is_nan(SA(i, j))));
    }
  }
  EXPECT_TRUE(SA.guards_unchanged());
}

TYPED_TEST(MixedPrecision, TellsWhereANumberIsTooLarge) {
  using T = TypeParam;
  for (const double value : {std::nextafter(largest_single, 1e300), -1e300, std::numeric_limits<double>::infinity()}) {
    for (const T number : with_part<T>(value)) {
      GuardedMatrix<T> A = random_matrix<T>(this->random, 3, 4, 10);
      GuardedMatrix<Single<T>> SA(3, 4, 5);
      Int info = 99;
      A(2, 3) = A(1, 4) = number;
      round_to_single(3, 4, A, SA, info);
      EXPECT_EQ(info, 13);
      EXPECT_TRUE(SA.guards_unchanged());
    }
  }
}

TYPED_TEST(MixedPrecision, SetsInfoUnlessThereIsNoColumn) {
  using T = TypeParam;
  Int info = 99;
  round_to_single(0, 3, Matrix<T>(nullptr, 1), Matrix<Single<T>>(nullptr, 1), info);
  EXPECT_EQ(info, 0);
  for (const Int n : {0, -1}) {
    info = 99;
    round_to_single(3, n, Matrix<T>(nullptr, 3), Matrix<Single<T>>(nullptr, 3), info);
    EXPECT_EQ(info, 99);
    widen(3, n, Matrix<Single<T>>(nullptr, 3), Matrix<T>(nullptr, 3), info);
    EXPECT_EQ(info, 0);
  }
}

TYPED_TEST(MixedPrecision, WidensWithoutChecks) {
  using T = TypeParam;
  GuardedMatrix<Single<T>> SA = random_matrix<Single<T>>(this->random, 3, 2, 4);
  SA(2, 1) = std::numeric_limits<float>::infinity();
  GuardedMatrix<T> A(3, 2, 5);
  Int info = 99;
  widen(3, 2, SA, A, info);
  EXPECT_EQ(info, 0);
  for (Int j = 1; j <= 2; ++j) {
    for (Int i = 1; i <= 3; ++i) EXPECT_EQ(A(i, j), T(SA(i, j)));
  }
  EXPECT_TRUE(A.guards_unchanged());
}

}  // namespace
}  // namespace nuv::test
