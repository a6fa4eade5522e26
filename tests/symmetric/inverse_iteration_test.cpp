// Eigenvectors of tridiagonal matrices by inverse iteration: ?stein, and ?lagtf and ?lagts on which it stands.

#include <algorithm>
#include <cmath>
#include <limits>
#include <string_view>

#include "routines.hpp"
#include "support/argument_checks.hpp"
#include "support/random.hpp"
#include "support/real_precisions.hpp"
#include "symmetric/eigen_checks.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = 10;

/// Of residuals, and of what iteration makes orthogonal.
constexpr double iteration_threshold = 30;

/// A general tridiagonal matrix minus lambda, factored.
template <RealScalar R>
struct Shifted {
  explicit Shifted(const std::vector<R>& above_, const std::vector<R>& on_, const std::vector<R>& below_, R lambda_,
                   R tol = 0)
      : n(Int(on_.size())),
        above(above_),
        on(on_),
        below(below_),
        lambda(lambda_),
        a(n),
        b(std::max(n - 1, 0)),
        c(std::max(n - 1, 0)),
        d(std::max(n - 2, 0)),
        in(n) {
    std::copy_n(on.begin(), n, a.data());
    std::copy(above.begin(), above.end(), b.data());
    std::copy(below.begin(), below.end(), c.data());
    Int info = 99;
    routine_call::lagtf(n, a.data(), lambda, b.data(), c.data(), tol, d.data(), in.data(), info);
    EXPECT_EQ(info, 0);
    for (const GuardedVector<R>* part : {&a, &b, &c, &d}) EXPECT_TRUE(part->guards_unchanged());
  }

  /// Solves in place; gives info.
  Int solve(Int job, GuardedVector<R>& y, R& tol) const {
    Int info = 99;
    routine_call::lagts(job, n, a.data(), b.data(), c.data(), d.data(), in.data(), y.data(), tol, info);
    EXPECT_TRUE(y.guards_unchanged());
    return info;
  }

  /// T - lambda I
  WideMatrix<R> wide() const {
    WideMatrix<R> T = WideMatrix<R>::Zero(n, n);
    for (Eigen::Index i = 0; i < n; ++i) {
      T(i, i) = WideReal<R>(on[std::size_t(i)]) - WideReal<R>(lambda);
      if (i + 1 == n) break;
      T(i, i + 1) = above[std::size_t(i)];
      T(i + 1, i) = below[std::size_t(i)];
    }
    return T;
  }

  Int n;
  std::vector<R> above, on, below;
  R lambda;
  GuardedVector<R> a, b, c, d;
  GuardedVector<Int> in;
};

template <RealScalar R>
GuardedVector<R> random_vector(Int n, Random& random) {
  GuardedVector<R> x(n);
  for (Int i = 1; i <= n; ++i) x(i) = random.scalar<R>();
  return x;
}

template <class R>
class ShiftedSolve : public ReportingTest {
 protected:
  std::vector<R> numbers(Int n) {
    std::vector<R> x;
    for (Int i = 0; i < n; ++i) x.push_back(this->random.template scalar<R>());
    return x;
  }

  Shifted<R> random_matrix(Int n, R lambda) {
    const Int beside = std::max(n - 1, 0);
    return Shifted<R>(numbers(beside), numbers(n), numbers(beside), lambda);
  }

  Random random{11};
};
TYPED_TEST_SUITE(ShiftedSolve, RealPrecisions, PrecisionLetter);

TYPED_TEST(ShiftedSolve, SolvesBothSystems) {
  using R = TypeParam;
  for (const Int n : {1, 2, 3, 4, 10, 60}) {
    for (const R lambda : {R(0), R(0.75)}) {
      const Shifted<R> matrix = this->random_matrix(n, lambda);
      for (const Int job : {1, 2, -1, -2}) {
        const GuardedVector<R> y = random_vector<R>(n, this->random);
        GuardedVector<R> x = y;
        R tol = 0;
        EXPECT_EQ(matrix.solve(job, x, tol), 0);
        const WideMatrix<R> T = std::abs(job) == 1 ? matrix.wide() : WideMatrix<R>(matrix.wide().transpose());
        EXPECT_LT(solution_residual<R>(T, wide(x), wide(y)), threshold) << "job " << job << ", order " << n;
      }
    }
  }
}

TYPED_TEST(ShiftedSolve, ExchangesRowsByTheSizesOfPivotsInTheirRows) {
  using R = TypeParam;
  // Relative to their rows, 1 of (1, 1) is as large as 2 of (2, 1, 1), and smaller than 2 of (2, 1, 0).
  EXPECT_EQ((Shifted<R>({1, 1}, {1, 1, 1}, {2, 1}, 0).in(1)), 0);
  EXPECT_EQ((Shifted<R>({1, 0}, {1, 1, 1}, {2, 1}, 0).in(1)), 1);
  EXPECT_EQ((Shifted<R>({1, 1}, {1, 1, 1}, {0, 1}, 0).in(1)), 0);
  EXPECT_EQ((Shifted<R>({1, 1}, {0, 1, 1}, {1, 1}, 0).in(1)), 1);
  // A row that is moved down is judged by its own size: 10 of (1, 10) is less than 1 of (1, 0.05).
  const Shifted<R> moved({10, 0}, {1, 0, R(0.05)}, {1, 1}, 0);
  EXPECT_EQ(moved.in(1), 1);
  EXPECT_EQ(moved.in(2), 1);
}

TYPED_TEST(ShiftedSolve, NamesTheFirstPivotThatIsNegligible) {
  using R = TypeParam;
  const std::vector<R> ones{1, 1, 1};
  EXPECT_EQ((Shifted<R>({0, 0, 0}, {2, 3, 2, 4}, {0, 0, 0}, 2).in(4)), 1);
  EXPECT_EQ((Shifted<R>({0, 0, 0}, {2, 3, 2, 4}, {0, 0, 0}, 3).in(4)), 2);
  EXPECT_EQ((Shifted<R>({0, 0, 0}, {2, 3, 2, 4}, {0, 0, 0}, 4).in(4)), 4);
  EXPECT_EQ((Shifted<R>({0, 0, 0}, {2, 3, 2, 4}, {0, 0, 0}, 5).in(4)), 0);
  EXPECT_EQ((Shifted<R>(ones, {4, 4, 4, 4}, ones, 0).in(4)), 0);
  EXPECT_EQ((Shifted<R>(ones, {4, 4, 4, 4}, ones, 0, R(0.9)).in(4)), 1);
  EXPECT_EQ((Shifted<R>({}, {2}, {}, 2).in(1)), 1);
  EXPECT_EQ((Shifted<R>({}, {2}, {}, 1).in(1)), 0);
  // A singular matrix shows at the last row.
  EXPECT_EQ((Shifted<R>({1, 0}, {1, 1, 5}, {1, 0}, 0).in(3)), 2);
}

TYPED_TEST(ShiftedSolve, PerturbsPivotsThatWouldOverflow) {
  using R = TypeParam;
  const R eps = epsilon<R> / 2;
  const Shifted<R> singular({1, 2}, {1, 1, 5}, {1, 0}, 0), zero({0, 0}, {0, 0, 0}, {0, 0}, 0);
  for (const Int job : {1, 2}) {
    GuardedVector<R> y(3);
    for (Int i = 1; i <= 3; ++i) y(i) = R(i);
    R tol = 0;
    GuardedVector<R> stopped = y;
    EXPECT_EQ(singular.solve(job, stopped, tol), 2);
    EXPECT_EQ(tol, 0);
    GuardedVector<R> solved = y;
    EXPECT_EQ(singular.solve(-job, solved, tol), 0);
    EXPECT_EQ(tol, 5 * eps);
    for (Int i = 1; i <= 3; ++i) EXPECT_TRUE(std::isfinite(solved(i)));
    // What was solved is the system with that pivot.
    const R pivot = job == 1 ? (y(2) - y(1) - 2 * solved(3)) / solved(2) : (y(2) - y(1)) / solved(2);
    EXPECT_NEAR(double(pivot / tol), 1, job == 1 ? 1e-3 : 1);
    tol = 0;
    GuardedVector<R> by_eps = y;
    EXPECT_EQ(zero.solve(-job, by_eps, tol), 0);
    EXPECT_EQ(tol, eps);
    for (Int i = 1; i <= 3; ++i) EXPECT_EQ(by_eps(i), R(i) / eps);
    tol = R(0.25);
    EXPECT_EQ(zero.solve(-job, y, tol), 0);
    EXPECT_EQ(tol, R(0.25));
    for (Int i = 1; i <= 3; ++i) EXPECT_EQ(y(i), R(4 * i));
  }
}

TYPED_TEST(ShiftedSolve, MeetsTheLimitsOfTheRange) {
  using R = TypeParam;
  constexpr R least = std::numeric_limits<R>::min(), most = std::numeric_limits<R>::max();
  const auto solve = [](R divisor, R dividend, Int job, Int& info) {
    GuardedVector<R> y(1);
    y(1) = dividend;
    R tol = least;
    info = Shifted<R>({}, {divisor}, {}, 0).solve(job, y, tol);
    return y(1);
  };
  Int info;
  EXPECT_EQ(solve(least / 4, least / 8, 1, info), R(0.5));
  EXPECT_EQ(info, 0);
  EXPECT_EQ(solve(least / 4, R(0.125), 1, info), R(0.5) / least);
  EXPECT_EQ(info, 0);
  solve(least / 4, R(0.5), 1, info);
  EXPECT_EQ(info, 1);
  solve(R(0.25), most, 1, info);
  EXPECT_EQ(info, 1);
  EXPECT_EQ(solve(R(2), most, 1, info), most / 2);
  EXPECT_EQ(info, 0);
  // A perturbation has the sign of the pivot, and doubles until it does.
  EXPECT_LT(solve(R(-0.25), most, -1, info), 0);
  EXPECT_EQ(info, 0);
  EXPECT_GT(solve(R(0.25), most, -1, info), 0);
  EXPECT_EQ(info, 0);
}

TYPED_TEST(ShiftedSolve, EndsWithNumbersThatAreNotFinite) {
  using R = TypeParam;
  for (const R bad : {std::numeric_limits<R>::quiet_NaN(), std::numeric_limits<R>::infinity()}) {
    for (Int place = 0; place < 3; ++place) {
      std::vector<R> on{1, 2, 3};
      on[std::size_t(place)] = bad;
      const Shifted<R> matrix({1, 1}, on, {1, 1}, 1);
      for (const Int job : {-2, -1, 1, 2}) {
        GuardedVector<R> y(3);
        for (Int i = 1; i <= 3; ++i) y(i) = 1;
        R tol = 0;
        EXPECT_GE(matrix.solve(job, y, tol), 0);
      }
    }
  }
}

TYPED_TEST(ShiftedSolve, ChecksItsArguments) {
  using R = TypeParam;
  struct Factor {
    Int n = 1;
    GuardedVector<R> a{1};
    Int run() {
      Int in[1], info = 99;
      R none[1];
      if (n == 1) a(1) = 2;
      routine_call::lagtf(n, a.data(), R(1), none, none, R(0), none, in, info);
      return info;
    }
    testing::AssertionResult unchanged() const { return a.unchanged(); }
  };
  expect_argument_checks<Factor>(reported_name<R>("LAGTF"), {{1, [](auto& c) { c.n = -1; }}});
  struct Solve {
    Int job = -2, n = 1;
    GuardedVector<R> y{1};
    Int run() {
      const R a[] = {1};
      const Int in[] = {0};
      Int info = 99;
      R tol = 0;
      routine_call::lagts(job, n, a, a, a, a, in, y.data(), tol, info);
      return info;
    }
    testing::AssertionResult unchanged() const { return y.unchanged(); }
  };
  expect_argument_checks<Solve>(reported_name<R>("LAGTS"), {{1, [](auto& c) { c.job = 0; }},
                                                            {1, [](auto& c) { c.job = 3; }},
                                                            {1, [](auto& c) { c.job = -3; }},
                                                            {2, [](auto& c) { c.n = -1; }}});
}

/// Values of a tridiagonal matrix by blocks, for which vectors are wanted.
template <RealScalar R>
struct Values {
  explicit Values(const Tridiagonal<R>& matrix, Int il, Int iu)
      : w(matrix.order()), iblock(matrix.order()), isplit(matrix.order()) {
    const Int n = matrix.order();
    std::vector<R> work(std::size_t(4 * n));
    std::vector<Int> iwork(std::size_t(3 * n));
    Int nsplit, info;
    routine_call::stebz('I', 'B', n, R(0), R(0), il, iu, R(0), matrix.d.data(), matrix.e.data(), m, nsplit, w.data(),
                        iblock.data(), isplit.data(), work.data(), iwork.data(), info);
    EXPECT_EQ(info, 0);
  }

  /// All of a matrix in one block.
  Values(Int n, const std::vector<R>& values) : m(Int(values.size())), w(n), iblock(n), isplit(n) {
    for (Int j = 1; j <= m; ++j) {
      w(j) = values[std::size_t(j - 1)];
      iblock(j) = 1;
    }
    isplit(1) = n;
  }

  Int m;
  GuardedVector<R> w;
  GuardedVector<Int> iblock, isplit;
};

template <Scalar T>
struct Vectors {
  Vectors(const Tridiagonal<Real<T>>& matrix, const Values<Real<T>>& values)
      : Z(matrix.order(), matrix.order(), matrix.order() + 3), ifail(matrix.order()) {
    const Int n = matrix.order();
    GuardedVector<Real<T>> work(5 * n);
    GuardedVector<Int> iwork(n);
    routine_call::stein(n, matrix.d.data(), matrix.e.data(), values.m, values.w.data(), values.iblock.data(),
                        values.isplit.data(), Z, work.data(), iwork.data(), ifail.data(), info);
    EXPECT_TRUE(Z.unchanged_except([&](Int, Int j) { return j <= values.m; }));
    EXPECT_TRUE(ifail.unchanged_outside(1, values.m));
    EXPECT_TRUE(work.guards_unchanged());
    EXPECT_TRUE(iwork.guards_unchanged());
  }

  GuardedMatrix<T> Z;
  GuardedVector<Int> ifail;
  Int info = -99;
};

template <class T>
class InverseIteration : public ReportingTest {};
TYPED_TEST_SUITE(InverseIteration, Precisions, PrecisionLetter);

/// Zeros outside the block, real, the largest element positive; another one may have the same magnitude up to rounding.
template <Scalar T>
void expect_form(const Vectors<T>& vectors, const Values<Real<T>>& values) {
  for (Int j = 1; j <= values.m; ++j) {
    const Int block = values.iblock(j), last = values.isplit(block),
              first = block == 1 ? 1 : values.isplit(block - 1) + 1;
    Real<T> largest = 0, largest_positive = 0;
    for (Int i = 1; i <= vectors.Z.rows(); ++i) {
      const T element = vectors.Z(i, j);
      EXPECT_EQ(std::imag(element), 0);
      if (i < first || i > last) {
        EXPECT_EQ(element, T(0));
      }
      largest = std::max(largest, std::abs(element));
      largest_positive = std::max(largest_positive, std::real(element));
    }
    EXPECT_GE(largest_positive, largest * (1 - 8 * epsilon<T>));
  }
}

TYPED_TEST(InverseIteration, FindsOrthogonalVectorsOfAllValues) {
  using T = TypeParam;
  using R = Real<T>;
  for (const Int n : {1, 2, 3, 42, 100}) {
    for (const auto& [name, matrix] : described_tridiagonals<R>(n)) {
      if (std::string_view(name) == "of tiny norm" || std::string_view(name) == "of huge norm") continue;
      SCOPED_TRACE(std::string(name) + " of order " + std::to_string(n));
      const Values<R> values(matrix, 1, n);
      const Vectors<T> vectors(matrix, values);
      EXPECT_EQ(vectors.info, 0);
      for (Int j = 1; j <= n; ++j) EXPECT_EQ(vectors.ifail(j), 0);
      EXPECT_LT(eigen_residual(wide_dense<T>(matrix), vectors.Z, values.w, n), iteration_threshold);
      EXPECT_LT(orthogonality(vectors.Z, n), iteration_threshold);
      expect_form(vectors, values);
    }
  }
}

TYPED_TEST(InverseIteration, FindsVectorsOfSomeValues) {
  using T = TypeParam;
  using R = Real<T>;
  const Int n = 63;
  for (const auto& matrix : {one_two_one<R>(n), glued_wilkinson<R>(n, epsilon<R> * 10), random_tridiagonal<R>(n)}) {
    for (const auto& [il, iu] : {std::pair{1, 1}, {n, n}, {20, 40}, {60, 63}}) {
      const Values<R> values(matrix, il, iu);
      const Vectors<T> vectors(matrix, values);
      EXPECT_EQ(vectors.info, 0);
      EXPECT_LT(eigen_residual(wide_dense<T>(matrix), vectors.Z, values.w, values.m), iteration_threshold);
      EXPECT_LT(orthogonality(vectors.Z, values.m), iteration_threshold);
    }
  }
}

/// Pairs of values at distances around the one up to which they belong to one cluster, 1e-3 ||T||.
TYPED_TEST(InverseIteration, KeepsVectorsOrthogonalWhereAClusterEnds) {
  using T = TypeParam;
  using R = Real<T>;
  Random random(5);
  for (const Int n : {2, 3, 4, 5, 8, 42}) {
    for (const double apart : {1e-3, 1.5e-3, 2e-3, 2.5e-3, 3e-3, 4e-3, 6e-3, 1e-2, 2e-2}) {
      for (Int trial = 0; trial < 8; ++trial) {
        std::vector<WideReal<R>> wanted;
        for (Int k = 0; k < n; ++k) wanted.push_back(k % 2 == 0 ? random.scalar<double>() : wanted.back() + apart);
        std::sort(wanted.begin(), wanted.end());
        const Tridiagonal<R> matrix = tridiagonal_with_values<R>(wanted);
        const Values<R> values(matrix, 1, n);
        const Vectors<T> vectors(matrix, values);
        EXPECT_EQ(vectors.info, 0);
        EXPECT_LT(eigen_residual(wide_dense<T>(matrix), vectors.Z, values.w, n), iteration_threshold);
        EXPECT_LT(orthogonality(vectors.Z, n), iteration_threshold) << n << ' ' << apart;
      }
    }
  }
}

/// Values that agree to all digits get vectors of their own.
TYPED_TEST(InverseIteration, KeepsEqualValuesApart) {
  using T = TypeParam;
  using R = Real<T>;
  const Int n = 42;
  const Tridiagonal<R> matrix = glued_wilkinson<R>(n, 10 * epsilon<R>);
  const R largest = R(wide_values(matrix).back());
  const Values<R> values(n, {largest, largest});
  const Vectors<T> vectors(matrix, values);
  EXPECT_EQ(vectors.info, 0);
  EXPECT_LT(orthogonality(vectors.Z, 2), iteration_threshold);
  EXPECT_LT(eigen_residual(wide_dense<T>(matrix), vectors.Z, values.w, 2), iteration_threshold);
}

/// A vector grows by what its value is closer to an eigenvalue than the norm; these can't, in a matrix of small norm.
TYPED_TEST(InverseIteration, ListsVectorsThatDoNotConverge) {
  using T = TypeParam;
  using R = Real<T>;
  const Int n = 10;
  Tridiagonal<R> matrix = one_two_one<R>(n);
  const auto exact = wide_values(matrix);
  const auto value = [&](std::size_t k) { return R(exact[k - 1] * WideReal<R>(0x1p-20)); };
  for (std::vector<R>* part : {&matrix.d, &matrix.e}) {
    for (R& x : *part) x *= R(0x1p-20);
  }
  const Values<R> values(n, {value(1), (value(4) + value(5)) / 2, value(6), (value(7) + value(8)) / 2, value(9)});
  const Vectors<T> vectors(matrix, values);
  EXPECT_EQ(vectors.info, 2);
  const Int expected[] = {2, 4, 0, 0, 0};
  for (Int j = 1; j <= 5; ++j) EXPECT_EQ(vectors.ifail(j), expected[j - 1]) << j;
  for (Int j = 1; j <= 5; ++j) {
    Real<T> square = 0;
    for (Int i = 1; i <= n; ++i) square += std::norm(vectors.Z(i, j));
    EXPECT_NEAR(double(square), 1, 10 * double(epsilon<R>)) << j;
  }
}

TYPED_TEST(InverseIteration, DoesNotLookAtTheSignsOfBlocks) {
  using T = TypeParam;
  using R = Real<T>;
  const Tridiagonal<R> matrix{{1, 2, 3, 4}, {1, 0, 1}};
  Values<R> values(matrix, 1, 4);
  const Vectors<T> vectors(matrix, values);
  for (Int j = 1; j <= 4; ++j) values.iblock(j) = -values.iblock(j);
  const Vectors<T> again(matrix, values);
  EXPECT_EQ(again.info, 0);
  EXPECT_TRUE(again.Z.same_as(vectors.Z));
}

TYPED_TEST(InverseIteration, HasNothingToDoWithoutValues) {
  using T = TypeParam;
  using R = Real<T>;
  const Vectors<T> vectors(one_two_one<R>(3), Values<R>(3, {}));
  EXPECT_EQ(vectors.info, 0);
  EXPECT_TRUE(vectors.Z.unchanged());
  EXPECT_EQ(Vectors<T>({}, Values<R>(0, {})).info, 0);
}

TYPED_TEST(InverseIteration, ShowsNaN) {
  using T = TypeParam;
  using R = Real<T>;
  Tridiagonal<R> matrix = one_two_one<R>(5);
  matrix.d[2] = std::numeric_limits<R>::quiet_NaN();
  const Vectors<T> vectors(matrix, Values<R>(5, {R(0.5), R(1)}));
  for (Int j = 1; j <= 2; ++j) EXPECT_TRUE(std::isnan(std::real(vectors.Z(1, j))));
}

template <Scalar T>
struct SteinCall {
  Int n = 3, m = 3, ldz = 3;
  std::vector<Real<T>> w{0, 1, 1};
  std::vector<Int> iblock{1, 1, 2};
  GuardedMatrix<T> Z{3, 3, 3};
  GuardedVector<Int> ifail{3};

  Int run() {
    const Real<T> d[] = {1, 2, 3}, e[] = {1, 0};
    const Int isplit[] = {2, 3};
    Real<T> work[15];
    Int iwork[3], info = 99;
    routine_call::stein(n, d, e, m, w.data(), iblock.data(), isplit, Matrix<T>{Z.data(), ldz}, work, iwork,
                        ifail.data(), info);
    return info;
  }
  testing::AssertionResult unchanged() const { return ifail.unchanged() ? Z.unchanged() : ifail.unchanged(); }
};

TYPED_TEST(InverseIteration, ChecksItsArguments) {
  using T = TypeParam;
  using Call = SteinCall<T>;
  // Neither order is looked at where the other is wrong earlier, so these are tried one by one.
  const std::string name = reported_name<T>("STEIN");
  expect_argument_checks<Call>(name, {{1, [](auto& c) { c.n = -1; }},
                                      {4, [](auto& c) { c.m = -1; }},
                                      {4, [](auto& c) { c.m = 4; }},
                                      {5, [](auto& c) { c.w[1] = -1; }}});
  expect_argument_checks<Call>(name, {{6, [](auto& c) { c.iblock = {2, 1, 1}; }}});
  expect_argument_checks<Call>(name, {{9, [](auto& c) { c.ldz = 2; }}});
}

}  // namespace
}  // namespace nuv::test
