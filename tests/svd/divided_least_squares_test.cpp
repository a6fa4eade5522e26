// Least squares with bidiagonal matrices by divide and conquer: ?lalsd.

#include <cmath>
#include <limits>

#include "routines.hpp"
#include "support/argument_checks.hpp"
#include "support/options.hpp"
#include "support/random.hpp"
#include "svd/bidiagonal_problem.hpp"

namespace nuv::test {
namespace {

template <class T>
class DividedLeastSquares : public ReportingTest {
 protected:
  Random random{17};
};
TYPED_TEST_SUITE(DividedLeastSquares, Precisions, PrecisionLetter);

template <RealScalar R>
struct BidiagonalMatrix {
  std::vector<R> d, e;

  Int n() const { return Int(d.size()); }
};

/// Elements beside the diagonal have magnitudes below half of those on it, so that the condition is small.
template <RealScalar R>
BidiagonalMatrix<R> dominant_matrix(Random& random, Int n) {
  BidiagonalMatrix<R> matrix;
  for (Int i = 0; i < n; ++i) matrix.d.push_back(random.divisor<R>());
  for (Int i = 1; i < n; ++i) matrix.e.push_back(random.scalar<R>() * R(0.45));
  return matrix;
}

/// Orders of the parts that a tree of leaves of smlsiz makes lie around these.
std::vector<Int> orders_around(Int smlsiz) {
  return {1, 2, 3, smlsiz, smlsiz + 1, smlsiz + 2, 2 * smlsiz + 1, 2 * smlsiz + 2, 4 * smlsiz + 3, 4 * smlsiz + 4};
}

/// A call, which judges itself.
template <Scalar T>
struct Lalsd {
  using R = Real<T>;

  char uplo;
  Int smlsiz, n, nrhs, rank = 99, info = 99;
  R rcond = -1;
  BidiagonalMatrix<R> matrix;
  GuardedVector<R> d, e;
  GuardedMatrix<T> B, right_hand_sides;
  GuardedVector<T> work;
  GuardedVector<R> rwork;
  GuardedVector<Int> iwork;

  Lalsd(Random& random, char uplo_, Int smlsiz_, const BidiagonalMatrix<R>& given, Int nrhs_)
      : uplo(uplo_),
        smlsiz(smlsiz_),
        n(given.n()),
        nrhs(nrhs_),
        matrix(given),
        d(guarded(given.d)),
        e(guarded(given.e)),
        B(random_matrix<T>(random, n, nrhs, n + 1)),
        right_hand_sides(B),
        work(ComplexScalar<T> ? n * nrhs : reals() + n * nrhs),
        rwork(ComplexScalar<T> ? reals() + 3 * smlsiz * nrhs : 0),
        iwork(n * (3 * levels() + 11)) {}

  Int levels() const {
    Int count = 0;
    while ((smlsiz + 1) * (Int{1} << count) <= n) ++count;
    return count;
  }
  Int reals() const { return n * (9 + 2 * smlsiz + 8 * levels()) + (smlsiz + 1) * (smlsiz + 1); }

  Lalsd& solve() {
    if constexpr (ComplexScalar<T>) {
      routine_call::lalsd(uplo, smlsiz, n, nrhs, d.data(), e.data(), Matrix<T>(B), rcond, rank, work.data(),
                          rwork.data(), iwork.data(), info);
    } else {
      routine_call::lalsd(uplo, smlsiz, n, nrhs, d.data(), e.data(), Matrix<T>(B), rcond, rank, work.data(),
                          iwork.data(), info);
    }
    EXPECT_TRUE(d.guards_unchanged() && e.guards_unchanged() && work.guards_unchanged() && rwork.guards_unchanged() &&
                iwork.guards_unchanged());
    EXPECT_TRUE(B.guards_unchanged());
    return *this;
  }

  WideMatrix<T> wide_matrix() const {
    return wide_bidiagonal(matrix.d, matrix.e, is_upper(uplo)).template cast<Wide<T>>();
  }

  void expect_values() const {
    EXPECT_TRUE(std::is_sorted(d.data(), d.data() + n, std::greater<>()));
    EXPECT_LT(singular_value_error<T>(d, exact_values(matrix.d, matrix.e).template cast<WideReal<T>>()), svd_threshold);
  }

  /// X and R = B - A X of a problem of rank `expected`: ||A^H R|| / ((||A|| ||X|| + ||B||) ||A|| n eps).
  void expect_fit(Int expected) const {
    EXPECT_EQ(info, 0);
    EXPECT_EQ(rank, expected);
    const WideMatrix<T> A = wide_matrix(), X = wide(B), Y = wide(right_hand_sides);
    const WideMatrix<T> left = product<T>(A.adjoint(), Y - product<T>(A, X));
    const double norm = one_norm<T>(A);
    EXPECT_LT(one_norm<T>(left) / ((norm * one_norm<T>(X) + one_norm<T>(Y)) * norm * n * double(epsilon<T>)),
              svd_threshold);
  }

  void expect_solution() const {
    EXPECT_EQ(info, 0);
    EXPECT_EQ(rank, n);
    EXPECT_LT(solution_residual<T>(wide_matrix(), wide(B), wide(right_hand_sides)), svd_threshold);
  }
};

TYPED_TEST(DividedLeastSquares, SolveSystemsOfFullRank) {
  using T = TypeParam;
  for (const Int smlsiz : {3, 25}) {
    for (const Int n : orders_around(smlsiz)) {
      const auto matrix = dominant_matrix<Real<T>>(this->random, n);
      for (const char uplo : {'U', 'L', 'u', 'l'}) {
        for (const Int nrhs : {1, 2, n > 30 ? 3 : 70}) {
          SCOPED_TRACE(testing::Message() << uplo << ", order " << n << ", leaves of " << smlsiz << ", " << nrhs);
          Lalsd<T> call(this->random, uplo, smlsiz, matrix, nrhs);
          call.solve().expect_solution();
          call.expect_values();
        }
      }
    }
  }
}

TYPED_TEST(DividedLeastSquares, SolveByManyColumnsTogether) {
  using T = TypeParam;
  const auto matrix = dominant_matrix<Real<T>>(this->random, 110);
  Lalsd<T>(this->random, 'L', 25, matrix, 70).solve().expect_solution();
}

/// A zero on the diagonal leaves one direction free, along which no solution goes.
TYPED_TEST(DividedLeastSquares, FindTheShortestSolutionWithAZeroOnTheDiagonal) {
  using T = TypeParam;
  using R = Real<T>;
  for (const Int n : {2, 5, 25, 26, 60}) {
    for (const Int at : {Int{0}, n / 2, n - 1}) {
      for (const char uplo : uplos) {
        SCOPED_TRACE(testing::Message() << uplo << ", order " << n << ", zero " << at);
        auto matrix = dominant_matrix<R>(this->random, n);
        matrix.d[std::size_t(at)] = 0;
        Lalsd<T> call(this->random, uplo, 25, matrix, 2);
        call.rcond = 64 * epsilon<T>;
        call.solve().expect_fit(n - 1);
        call.expect_values();
        // A z = 0: upwards from the zero, or downwards in a lower matrix.
        WideMatrix<T> z = WideMatrix<T>::Zero(n, 1);
        z(at, 0) = 1;
        if (is_upper(uplo)) {
          for (Int i = at - 1; i >= 0; --i) {
            z(i, 0) = -WideReal<T>(matrix.e[std::size_t(i)]) * z(i + 1, 0) / WideReal<T>(matrix.d[std::size_t(i)]);
          }
        } else {
          for (Int i = at + 1; i < n; ++i) {
            z(i, 0) = -WideReal<T>(matrix.e[std::size_t(i - 1)]) * z(i - 1, 0) / WideReal<T>(matrix.d[std::size_t(i)]);
          }
        }
        z /= z.norm();
        const WideMatrix<T> X = wide(call.B);
        EXPECT_LT(one_norm<T>(product<T>(z.adjoint(), X)) / (one_norm<T>(X) * n * double(epsilon<T>)), svd_threshold);
      }
    }
  }
}

/// Parts of one row, of a leaf and of a tree, whose signs and values are their own.
TYPED_TEST(DividedLeastSquares, SolvePartsOnTheirOwn) {
  using T = TypeParam;
  using R = Real<T>;
  constexpr R eps = std::numeric_limits<R>::epsilon() / 2;
  for (const R beside : {R(0), R(0.9) * eps}) {
    for (const char uplo : uplos) {
      auto matrix = dominant_matrix<R>(this->random, 70);
      // Rows 1; 2; 3 to 12; 13 to 68; 69; 70, and a norm of one.
      for (R& x : matrix.d) x /= 2;
      matrix.d[20] = 1;
      for (const std::size_t cut : {0, 1, 11, 67, 68}) matrix.e[cut] = beside;
      matrix.d[0] = R(-0.75);
      matrix.d[69] = R(-0.5);
      Lalsd<T> call(this->random, uplo, 25, matrix, 3);
      call.solve().expect_solution();
      call.expect_values();
    }
  }
}

/// Two parts of different size: with an rcond between them, the small one counts as zero.
TYPED_TEST(DividedLeastSquares, CountValuesFromRcondOn) {
  using T = TypeParam;
  using R = Real<T>;
  for (const Int small_part : {Int{1}, Int{7}, Int{30}}) {
    const Int n = small_part + 40;
    auto matrix = dominant_matrix<R>(this->random, n);
    const auto cut = std::size_t(small_part);
    for (std::size_t i = 0; i < cut; ++i) matrix.d[i] *= R(1e-3);
    for (std::size_t i = 0; i + 1 < cut; ++i) matrix.e[i] *= R(1e-3);
    matrix.e[cut - 1] = 0;
    for (const R rcond : {R(0.05), R(1e-5)}) {
      SCOPED_TRACE(testing::Message() << small_part << " small rows, rcond " << rcond);
      Lalsd<T> call(this->random, 'U', 25, matrix, 2);
      call.rcond = rcond;
      call.solve();
      if (rcond < R(1e-3)) {
        call.expect_solution();
        continue;
      }
      EXPECT_EQ(call.rank, 40);
      WideMatrix<T> X = wide(call.B);
      EXPECT_EQ(one_norm<T>(WideMatrix<T>(X.topRows(small_part))), 0);
      const WideMatrix<T> A = call.wide_matrix().bottomRightCorner(40, 40);
      EXPECT_LT(solution_residual<T>(A, X.bottomRows(40), wide(call.right_hand_sides).bottomRows(40)), svd_threshold);
    }
  }
}

/// The values of a diagonal matrix are exact: what is rcond times the largest is the last that counts as zero, and
/// rcond out of its range is the unit of rounding.
TYPED_TEST(DividedLeastSquares, CountAsZeroWhatIsNoMoreThanRcond) {
  using T = TypeParam;
  using R = Real<T>;
  constexpr R unit = std::numeric_limits<R>::epsilon() / 2;
  constexpr R nan = std::numeric_limits<R>::quiet_NaN();
  const std::pair<R, R> rconds[] = {{R(0.25), R(0.25)}, {R(-1), unit},    {R(0), unit}, {R(1), unit},
                                    {R(2), unit},       {R(0.5), R(0.5)}, {nan, unit}};
  for (const Int n : {2, 25, 40}) {
    for (const auto& [rcond, threshold] : rconds) {
      for (const bool above : {false, true}) {
        SCOPED_TRACE(testing::Message() << "order " << n << ", rcond " << rcond << (above ? ", above" : ""));
        BidiagonalMatrix<R> matrix{std::vector<R>(std::size_t(n), R(1)), std::vector<R>(std::size_t(n - 1), R(0))};
        matrix.d[1] = above ? std::nextafter(threshold, R(1)) : threshold;
        Lalsd<T> call(this->random, 'U', 25, matrix, 1);
        call.rcond = rcond;
        call.solve();
        EXPECT_EQ(call.info, 0);
        EXPECT_EQ(call.rank, above ? n : n - 1);
        EXPECT_EQ(call.d(n), matrix.d[1]);
        EXPECT_EQ(call.B(2, 1) == T(0), !above);
      }
    }
  }
}

/// Nothing is divided by a value of zero.
TYPED_TEST(DividedLeastSquares, LeaveOutZerosWhateverRcondIs) {
  using T = TypeParam;
  using R = Real<T>;
  for (const Int n : {2, 25, 40}) {
    for (const R rcond : {R(-1), R(0.5), R(1), std::numeric_limits<R>::quiet_NaN()}) {
      BidiagonalMatrix<R> matrix{std::vector<R>(std::size_t(n), R(1)), std::vector<R>(std::size_t(n - 1), R(0))};
      matrix.d[1] = 0;
      Lalsd<T> call(this->random, 'U', 25, matrix, 2);
      call.rcond = rcond;
      call.solve().expect_fit(n - 1);
      EXPECT_EQ(call.B(2, 1), T(0));
      EXPECT_EQ(call.B(2, 2), T(0));
    }
  }
}

TYPED_TEST(DividedLeastSquares, SolveOneEquation) {
  using T = TypeParam;
  using R = Real<T>;
  for (const R d : {R(4), R(-4), R(0)}) {
    Lalsd<T> call(this->random, 'U', 25, {{d}, {}}, 3);
    call.solve();
    EXPECT_EQ(call.info, 0);
    EXPECT_EQ(call.rank, d == 0 ? 0 : 1);
    EXPECT_EQ(call.d(1), std::abs(d));
    for (Int j = 1; j <= 3; ++j) EXPECT_EQ(call.B(1, j), d == 0 ? T(0) : call.right_hand_sides(1, j) / d);
  }
}

TYPED_TEST(DividedLeastSquares, OfAZeroMatrixAreZero) {
  using T = TypeParam;
  using R = Real<T>;
  for (const Int n : {2, 25, 26, 60}) {
    Lalsd<T> call(this->random, 'U', 25,
                  {std::vector<R>(std::size_t(n), R(0)), std::vector<R>(std::size_t(n - 1), R(0))}, 2);
    call.solve();
    EXPECT_EQ(call.info, 0);
    EXPECT_EQ(call.rank, 0);
    for (Int i = 1; i <= n; ++i) {
      EXPECT_EQ(call.d(i), 0);
      for (Int j = 1; j <= 2; ++j) EXPECT_EQ(call.B(i, j), T(0)) << i << ' ' << j;
    }
  }
}

TYPED_TEST(DividedLeastSquares, AreIndependentOfScale) {
  using T = TypeParam;
  using R = Real<T>;
  const bool is_single = std::same_as<R, float>;
  for (const R scale : {is_single ? R(1e-33) : R(1e-290), is_single ? R(1e36) : R(1e300)}) {
    for (const Int n : {5, 26, 60}) {
      auto matrix = dominant_matrix<R>(this->random, n);
      for (R& x : matrix.d) x *= scale;
      for (R& x : matrix.e) x *= scale;
      Lalsd<T>(this->random, 'L', 25, matrix, 2).solve().expect_solution();
    }
  }
}

TYPED_TEST(DividedLeastSquares, OfOrderZeroDoNothing) {
  using T = TypeParam;
  GuardedMatrix<T> B(1, 1, 1);
  GuardedVector<Real<T>> d(1), rwork(1);
  GuardedVector<T> work(1);
  GuardedVector<Int> iwork(1);
  Int rank = 99, info = 99;
  if constexpr (ComplexScalar<T>) {
    routine_call::lalsd('U', 25, 0, 1, d.data(), d.data(), Matrix<T>(B), Real<T>(-1), rank, work.data(), rwork.data(),
                        iwork.data(), info);
  } else {
    routine_call::lalsd('U', 25, 0, 1, d.data(), d.data(), Matrix<T>(B), T(-1), rank, work.data(), iwork.data(), info);
  }
  EXPECT_EQ(info, 0);
  EXPECT_EQ(rank, 0);
  EXPECT_TRUE(B.unchanged() && d.unchanged() && work.unchanged() && rwork.unchanged() && iwork.unchanged());
}

/// Where a NaN stands the values can't be found, or show it.
TYPED_TEST(DividedLeastSquares, EndWithANumberThatIsNone) {
  using T = TypeParam;
  using R = Real<T>;
  for (const Int n : {2, 25, 26, 60}) {
    for (const R bad : {std::numeric_limits<R>::quiet_NaN(), std::numeric_limits<R>::infinity()}) {
      for (const bool on_diagonal : {true, false}) {
        auto matrix = dominant_matrix<R>(this->random, n);
        (on_diagonal ? matrix.d : matrix.e)[std::size_t(n / 2 - 1)] = bad;
        Lalsd<T> call(this->random, 'L', 25, matrix, 2);
        call.solve();
        EXPECT_GE(call.info, 0);
        if (call.info > 0) {
          EXPECT_EQ(call.rank, 0);
          continue;
        }
        bool shows = false;
        for (Int i = 1; i <= n; ++i) shows = shows || !std::isfinite(std::abs(call.B(i, 1)));
        EXPECT_TRUE(shows) << n << ' ' << bad << ' ' << on_diagonal;
      }
    }
  }
}

template <Scalar T>
struct LalsdArguments {
  using R = Real<T>;

  Int smlsiz = 25, n = 2, nrhs = 1, ldb = 2;
  Random random = Random(8);
  GuardedMatrix<T> B = random_matrix<T>(random, 2, 1, 2);
  GuardedVector<R> d = guarded<R>({1, 1}), e = guarded<R>({0}), rwork = GuardedVector<R>(900);
  GuardedVector<T> work = GuardedVector<T>(900);
  GuardedVector<Int> iwork = GuardedVector<Int>(22);

  Int run() {
    Int rank = 99, info = 99;
    const Matrix<T> b{B.data(), ldb};
    if constexpr (ComplexScalar<T>) {
      routine_call::lalsd('U', smlsiz, n, nrhs, d.data(), e.data(), b, R(-1), rank, work.data(), rwork.data(),
                          iwork.data(), info);
    } else {
      routine_call::lalsd('U', smlsiz, n, nrhs, d.data(), e.data(), b, R(-1), rank, work.data(), iwork.data(), info);
    }
    return info;
  }
  bool unchanged() const { return B.unchanged() && d.unchanged() && e.unchanged() && work.unchanged(); }
};

TYPED_TEST(DividedLeastSquares, ReportBadArguments) {
  using Call = LalsdArguments<TypeParam>;
  const std::string name = reported_name<TypeParam>("LALSD");
  expect_argument_checks<Call>(name, {{3, [](Call& call) { call.n = -1; }},
                                      {4, [](Call& call) { call.nrhs = 0; }},
                                      {8, [](Call& call) { call.ldb = 1; }}});
  Call empty;
  empty.n = empty.ldb = 0;
  expect_report(empty, name, 8);
}

}  // namespace
}  // namespace nuv::test
