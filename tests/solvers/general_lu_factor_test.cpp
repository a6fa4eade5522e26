// The LU factorisation: ?getrf, its serial body x?getrf, and ?getf2.

#include <algorithm>

#include "layer.hpp"
#include "routines.hpp"
#include "solvers/factored.hpp"
#include "support/argument_checks.hpp"
#include "support/described_matrices.hpp"
#include "x_variants.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = 10;

template <Scalar T>
struct Member {
  const char* name;
  void (*factor)(Int m, Int n, Matrix<T> A, Int* ipiv, Int& info);
};

/// All that factor a matrix; called with info zero they agree up to rounding.
template <Scalar T>
const Member<T> layered = {"getrf", layer::getrf};
template <Scalar T>
const Member<T> serial = {"xgetrf", x_variant::getrf};
template <Scalar T>
const Member<T> unblocked = {"getf2", routine_call::getf2};
template <Scalar T>
const Member<T> members[] = {layered<T>, serial<T>, unblocked<T>};

/// The largest magnitude that partial pivoting leaves in L: the pivot is chosen by |re| + |im|.
template <Scalar T>
double multiplier_bound() {
  return (ComplexScalar<T> ? std::sqrt(2.0) : 1.0) * (1 + 16 * epsilon<T>);
}

template <Scalar T>
double largest_multiplier(const GuardedMatrix<T>& factors) {
  double largest = 0;
  for (Int j = 1; j <= factors.columns(); ++j) {
    for (Int i = j + 1; i <= factors.rows(); ++i) {
      const double magnitude = double(std::abs(wide(factors(i, j))));
      if (!(magnitude <= largest)) largest = magnitude;
    }
  }
  return largest;
}

/// Expects the factors of P A with the exchanges in ipiv.
template <Scalar T>
void expect_factors(const Factored<T>& lu) {
  const Int k = lu.ipiv.size();
  for (Int i = 1; i <= k; ++i) {
    ASSERT_GE(lu.ipiv(i), i);
    ASSERT_LE(lu.ipiv(i), lu.factors.rows());
  }
  EXPECT_LT(factor_residual<T>(lu.A, lu.factors, lu.ipiv), threshold);
  EXPECT_LE(largest_multiplier(lu.factors), multiplier_bound<T>());
}

template <class T>
class Factorisation : public ReportingTest {
 protected:
  Random random{3};
};
TYPED_TEST_SUITE(Factorisation, Precisions, PrecisionLetter);

TYPED_TEST(Factorisation, HasASmallResidualAndBoundedMultipliers) {
  using T = TypeParam;
  for (const Shape& shape : shapes()) {
    const GuardedMatrix<T> A = random_matrix<T>(this->random, shape.m, shape.n, padded(shape.m));
    for (const auto& [name, routine] : {layered<T>, unblocked<T>}) {
      SCOPED_TRACE(name + (" of " + to_string(shape)));
      const Factored<T> lu = factor(A, routine);
      EXPECT_EQ(lu.info, 0);
      expect_factors(lu);
    }
  }
}

TYPED_TEST(Factorisation, IsTheSameThroughTheLayerAndBesideIt) {
  using T = TypeParam;
  for (const Shape& shape : shapes()) {
    SCOPED_TRACE(to_string(shape));
    const GuardedMatrix<T> A = random_matrix<T>(this->random, shape.m, shape.n, padded(shape.m));
    const Factored<T> through = factor(A, layered<T>.factor), beside = factor(A, serial<T>.factor);
    EXPECT_TRUE(beside.factors.same_as(through.factors));
    EXPECT_TRUE(beside.ipiv.same_as(through.ipiv));
    EXPECT_EQ(beside.info, through.info);
  }
}

// ------------------------------------------------------------------------------------------------------------ pivots

/// A well-conditioned matrix in which each pivot is at least twice as large as the other candidates, so that no
/// rounding changes the choice.
template <Scalar T>
GuardedMatrix<T> decisive_matrix(Random& random, Int m, Int n) {
  const Int k = std::min(m, n);
  const double share = std::min(0.25, 1 / std::sqrt(std::max(1, k)));
  WideMatrix<T> L = WideMatrix<T>::Identity(m, k), U = WideMatrix<T>::Zero(k, n);
  for (Int j = 0; j < k; ++j) {
    for (Int i = j + 1; i < m; ++i) L(i, j) = WideReal<T>(share) * wide(random.scalar<T>());
  }
  for (Int i = 0; i < k; ++i) {
    U(i, i) = wide(random.divisor<T>());
    for (Int j = i + 1; j < n; ++j) U(i, j) = WideReal<T>(share) * wide(random.scalar<T>());
  }
  WideMatrix<T> A = product<T>(L, U);
  for (Int i = 0; i < m; ++i) A.row(i).swap(A.row(random.integer(i, m - 1)));

  GuardedMatrix<T> rounded(m, n, padded(m));
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= m; ++i) rounded(i, j) = T(A(i - 1, j - 1));
  }
  return rounded;
}

std::vector<Int> as_vector(const GuardedVector<Int>& ipiv) {
  return {ipiv.data(), ipiv.data() + ipiv.size()};
}

TYPED_TEST(Factorisation, ChoosesThePivotsOfPlainElimination) {
  using T = TypeParam;
  for (const Int n : orders()) {
    if (n == 0 || n > 257) continue;
    for (const Shape& shape : shapes_around(n)) {
      if (n > 129 && shape.m != shape.n) continue;
      const GuardedMatrix<T> A = decisive_matrix<T>(this->random, shape.m, shape.n);
      const std::vector<Int> expected = wide_pivots<T>(wide(A));
      for (const auto& [name, routine] : members<T>) {
        SCOPED_TRACE(name + (" of " + to_string(shape)));
        EXPECT_EQ(as_vector(factor(A, routine).ipiv), expected);
      }
    }
  }
}

/// The same matrix in the wider precision.
template <Scalar To, Scalar From>
GuardedMatrix<To> widened(const GuardedMatrix<From>& A) {
  GuardedMatrix<To> copy(A.rows(), A.columns(), A.ld());
  for (Int j = 1; j <= A.columns(); ++j) {
    for (Int i = 1; i <= A.rows(); ++i) copy(i, j) = To(A(i, j));
  }
  return copy;
}

template <Scalar Narrow, Scalar Broad>
void expect_equal_pivots() {
  Random random(5);
  for (const Int n : orders()) {
    const GuardedMatrix<Narrow> A = decisive_matrix<Narrow>(random, n + 2, n);
    EXPECT_EQ(as_vector(factor(A).ipiv), as_vector(factor(widened<Broad>(A)).ipiv)) << "order " << n;
  }
}

TEST(FactorisationPivots, DoNotDependOnThePrecision) {
  expect_equal_pivots<float, double>();
  expect_equal_pivots<std::complex<float>, std::complex<double>>();
}

TYPED_TEST(Factorisation, TakesTheFirstOfEqualCandidatesByTheSumOfParts) {
  using T = TypeParam;
  using R = Real<T>;
  GuardedMatrix<T> A(5, 1, 5);
  const R values[] = {1, -3, 3, -3, 2};
  for (Int i = 1; i <= 5; ++i) A(i, 1) = values[i - 1];
  // |4 + 3i| is 5 and the sum of its parts 7, so that it comes before 6.
  if constexpr (ComplexScalar<T>) A(3, 1) = T(2, 1.5), A(4, 1) = T(-1.5, 2);
  const Factored<T> lu = factor(A);
  EXPECT_EQ(lu.ipiv(1), ComplexScalar<T> ? 3 : 2);
}

TYPED_TEST(Factorisation, ScalesByTheReciprocalOfThePivot) {
  using T = TypeParam;
  using R = Real<T>;
  bool differs_from_a_division = false;
  for (int p = 1; p <= 100; ++p) {
    GuardedMatrix<T> A(p + 1, 1, p + 1);
    A(1, 1) = R(p);
    for (int i = 1; i <= p; ++i) A(i + 1, 1) = R(i);
    const Factored<T> lu = factor(A, unblocked<T>.factor);
    for (int i = 1; i <= p; ++i) {
      const volatile R reciprocal = R(1) / R(p);
      const volatile R expected = R(i) * reciprocal;
      ASSERT_EQ(lu.factors(i + 1, 1), T(expected)) << i << " / " << p;
      differs_from_a_division |= expected != R(i) / R(p);
    }
  }
  EXPECT_TRUE(differs_from_a_division);
}

TYPED_TEST(Factorisation, TakesTheReciprocalOfTheSmallestPivotToo) {
  using T = TypeParam;
  using R = Real<T>;
  GuardedMatrix<T> A(2, 1, 2);
  A(1, 1) = 2 * std::numeric_limits<R>::denorm_min();
  A(2, 1) = std::numeric_limits<R>::denorm_min();
  const Factored<T> lu = factor(A);
  EXPECT_EQ(lu.info, 0);
  EXPECT_EQ(std::real(lu.factors(2, 1)), std::numeric_limits<R>::infinity());
}

// ---------------------------------------------------------------------------------------------------------- singular

/// Columns at which a zero pivot may fall: the ends of panels of every width, and the middle of some.
std::vector<Int> interesting_columns(Int k) {
  std::vector<Int> columns;
  for (const Int j : {1, 2, 8, 9, 16, 17, 20, 33, 40, 64, 65, 100, 128, 129, 130}) {
    if (j <= k) columns.push_back(j);
  }
  return columns;
}

template <Scalar T>
void clear_column(GuardedMatrix<T>& A, Int j) {
  for (Int i = 1; i <= A.rows(); ++i) A(i, j) = T(0);
}

const Shape singular_shapes[] = {{1, 1},   {3, 1},   {2, 2},   {9, 9},   {17, 17},  {20, 17},
                                 {17, 21}, {40, 33}, {65, 65}, {40, 90}, {135, 130}};

TYPED_TEST(Factorisation, ReportsAZeroColumnAndGoesOnBehindIt) {
  using T = TypeParam;
  for (const Shape& shape : singular_shapes) {
    const GuardedMatrix<T> full = random_matrix<T>(this->random, shape.m, shape.n, padded(shape.m));
    for (const Int j : interesting_columns(std::min(shape.m, shape.n))) {
      GuardedMatrix<T> A = full;
      clear_column(A, j);
      for (const auto& [name, routine] : members<T>) {
        SCOPED_TRACE(name + (" of " + to_string(shape)) + ", zero column " + std::to_string(j));
        const Factored<T> lu = factor(A, routine);
        EXPECT_EQ(lu.info, j);
        for (Int i = 1; i <= shape.m; ++i) ASSERT_EQ(lu.factors(i, j), T(0)) << "row " << i;
        expect_factors(lu);
        for (Int i = 1; i <= lu.ipiv.size(); ++i) ASSERT_EQ(lu.factors(i, i) == T(0), i == j) << "pivot " << i;
      }
    }
  }
}

TYPED_TEST(Factorisation, ReportsTheFirstOfTwoZeroColumns) {
  using T = TypeParam;
  for (const Shape& shape : singular_shapes) {
    const std::vector<Int> columns = interesting_columns(std::min(shape.m, shape.n));
    const GuardedMatrix<T> full = random_matrix<T>(this->random, shape.m, shape.n, padded(shape.m));
    for (std::size_t one = 0; one + 1 < columns.size(); ++one) {
      const std::size_t other = one + 1 + one % (columns.size() - one - 1);
      GuardedMatrix<T> A = full;
      clear_column(A, columns[one]);
      clear_column(A, columns[other]);
      for (const auto& [name, routine] : members<T>) {
        SCOPED_TRACE(name + (" of " + to_string(shape)) + ", zero columns " + std::to_string(columns[one]) + " and " +
                     std::to_string(columns[other]));
        const Factored<T> lu = factor(A, routine);
        EXPECT_EQ(lu.info, columns[one]);
        expect_factors(lu);
      }
    }
  }
}

TYPED_TEST(Factorisation, FindsAPivotThatEliminationMakesZero) {
  using T = TypeParam;
  for (const Int before : {0, 1, 7, 8, 15, 16, 31, 32, 63, 64, 127, 128}) {
    // The identity and, behind it, ones: the second of them cancels, and all that follow.
    const Int n = before + 9;
    GuardedMatrix<T> A(n, n, n + 2);
    for (Int j = 1; j <= n; ++j) {
      for (Int i = 1; i <= n; ++i) A(i, j) = T(i == j || (i > before && j > before) ? 1 : 0);
    }
    for (const auto& [name, routine] : members<T>) {
      const Factored<T> lu = factor(A, routine);
      EXPECT_EQ(lu.info, before + 2) << name;
      expect_factors(lu);
    }
  }
}

TYPED_TEST(Factorisation, IgnoresAZeroColumnBehindTheLastPivot) {
  using T = TypeParam;
  for (const Int n : {1, 9, 17, 40}) {
    GuardedMatrix<T> A = random_matrix<T>(this->random, n, n + 3, n + 1);
    clear_column(A, n + 2);
    for (const auto& [name, routine] : members<T>) EXPECT_EQ(factor(A, routine).info, 0) << name;
  }
}

TYPED_TEST(Factorisation, LeavesInfoToTheCallerInTheSerialBody) {
  using T = TypeParam;
  constexpr Int n = 70, before = 7;
  const GuardedMatrix<T> regular = random_matrix<T>(this->random, n, n, n);
  GuardedMatrix<T> singular = regular;
  clear_column(singular, 40);
  EXPECT_EQ(factor(regular, serial<T>.factor, before).info, before);
  EXPECT_EQ(factor(singular, serial<T>.factor, before).info, before);
  EXPECT_EQ(factor(regular, layered<T>.factor, before).info, 0);
  EXPECT_EQ(factor(singular, layered<T>.factor, before).info, 40);
  EXPECT_EQ(factor(regular, unblocked<T>.factor, before).info, 0);
}

TYPED_TEST(Factorisation, DoesNothingToAnEmptyMatrix) {
  using T = TypeParam;
  for (const Shape& shape : {Shape{0, 0}, Shape{0, 40}, Shape{40, 0}}) {
    for (const auto& [name, routine] : members<T>) {
      SCOPED_TRACE(name + (" of " + to_string(shape)));
      GuardedMatrix<T> A(shape.m, shape.n, std::max(1, shape.m));
      GuardedVector<Int> ipiv(3);
      Int info = 0;
      routine(shape.m, shape.n, A, ipiv.data(), info);
      EXPECT_EQ(info, 0);
      EXPECT_TRUE(A.unchanged());
      EXPECT_TRUE(ipiv.unchanged());
    }
  }
}

TYPED_TEST(Factorisation, ClearsInfoOfAnEmptyMatrix) {
  using T = TypeParam;
  GuardedVector<Int> ipiv(3);
  for (const Shape& shape : {Shape{0, 0}, Shape{0, 40}, Shape{40, 0}, Shape{-2, 3}, Shape{3, -2}}) {
    Int info = 99;
    routine_call::getf2(shape.m, shape.n, Matrix<T>(nullptr, 40), ipiv.data(), info);
    EXPECT_EQ(info, 0) << to_string(shape);
    if (shape.m < 0 || shape.n < 0) continue;
    info = 99;
    layer::getrf(shape.m, shape.n, Matrix<T>(nullptr, 40), ipiv.data(), info);
    EXPECT_EQ(info, 0) << to_string(shape);
  }
  EXPECT_TRUE(ipiv.unchanged());
}

// --------------------------------------------------------------------------------------------------------- arguments

template <Scalar T>
struct GetrfCall {
  Int m = 4, n = 3, lda = 4;
  GuardedMatrix<T> a = [] {
    Random random(1);
    return random_matrix<T>(random, 4, 3, 4);
  }();
  GuardedVector<Int> ipiv{3};

  Int run() {
    Int info = 99;
    layer::getrf(m, n, {a.data(), lda}, ipiv.data(), info);
    return info;
  }
  bool unchanged() const { return a.unchanged() && ipiv.unchanged(); }
};

TYPED_TEST(Factorisation, ChecksItsArguments) {
  using T = TypeParam;
  expect_argument_checks<GetrfCall<T>>(reported_name<T>("GETRF"), {{1, [](auto& c) { c.m = -1; }},
                                                                   {2, [](auto& c) { c.n = -1; }},
                                                                   {4, [](auto& c) { c.lda = 3; }},
                                                                   {4, [](auto& c) { c.lda = 0; }},
                                                                   {4, [](auto& c) { c.lda = -5; }}});
  GetrfCall<T> empty;
  empty.m = empty.lda = 0;
  expect_report(empty, reported_name<T>("GETRF"), 4);
}

TYPED_TEST(Factorisation, FactorsMatricesThatAreHardToSolveWith) {
  using T = TypeParam;
  DescribedMatrices matrices(1);
  const auto expect_factored = [&](const Description& description, const Shape& shape, bool is_regular) {
    const GuardedMatrix<T> A = matrices.general<T>(description, shape.m, shape.n, padded(shape.m));
    for (const auto& [name, routine] : members<T>) {
      SCOPED_TRACE(testing::Message() << name << " of " << to_string(shape) << ", " << description.name);
      const Factored<T> lu = factor(A, routine);
      if (is_regular) {
        EXPECT_EQ(lu.info, 0);
      }
      expect_factors(lu);
    }
  };
  for (const Shape& shape : {Shape{6, 6}, {40, 40}, {70, 33}, {33, 70}, {140, 140}}) {
    for (const Description& description : matrices_of_full_rank) expect_factored(description, shape, true);
    for (const Description& description : rank_deficient_matrices) expect_factored(description, shape, false);
  }
}

}  // namespace
}  // namespace nuv::test
