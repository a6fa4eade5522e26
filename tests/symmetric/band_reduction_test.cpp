// Reduction of band matrices to tridiagonal form: ?sbtrd, ?hbtrd.

#include <cctype>
#include <limits>

#include "routines.hpp"
#include "support/argument_checks.hpp"
#include "support/fenced_array.hpp"
#include "symmetric/eigen_checks.hpp"
#include "symmetric/symmetric_cases.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = 10;

struct Shape {
  Int n, kd;
};

/// No, one and two diagonals, as many as the matrix has and more, and orders at which few and many rotations go
/// together.
constexpr Shape shapes[] = {{1, 0},  {1, 1},  {1, 3},  {2, 0},   {2, 1},   {2, 2},   {2, 5},   {3, 0},
                            {3, 1},  {3, 2},  {3, 3},  {5, 1},   {5, 2},   {5, 3},   {5, 4},   {5, 5},
                            {9, 0},  {9, 1},  {9, 2},  {9, 4},   {9, 7},   {9, 8},   {9, 9},   {9, 12},
                            {30, 1}, {30, 2}, {30, 3}, {30, 13}, {30, 28}, {30, 29}, {30, 30}, {61, 2},
                            {61, 3}, {61, 4}, {61, 5}, {61, 7},  {100, 6}, {100, 40}};

/// What a reduction leaves.
template <Scalar T>
struct Reduced {
  GuardedMatrix<T> ab;
  GuardedVector<Real<T>> d, e;

  Tridiagonal<Real<T>> tridiagonal() const { return tridiagonal_of(d, e); }
};

template <Scalar T>
Reduced<T> reduce(char vect, char uplo, Int kd, const GuardedMatrix<T>& ab, GuardedMatrix<T>& Q) {
  const Int n = ab.columns();
  Reduced<T> reduced{ab, GuardedVector<Real<T>>(n), GuardedVector<Real<T>>(n - 1)};
  GuardedVector<T> work(n);
  Int info = 99;
  routine_call::sbtrd(vect, uplo, n, kd, reduced.ab, reduced.d.data(), reduced.e.data(), Q, work.data(), info);
  EXPECT_EQ(info, 0);
  EXPECT_TRUE(only_band_changed(uplo, kd, n, reduced.ab));
  EXPECT_TRUE(reduced.d.guards_unchanged());
  EXPECT_TRUE(reduced.e.guards_unchanged());
  EXPECT_TRUE(work.guards_unchanged());
  EXPECT_TRUE(Q.guards_unchanged());
  return reduced;
}

template <class T>
class BandReduction : public ReportingTest {
 protected:
  Random random{79};
};
TYPED_TEST_SUITE(BandReduction, Precisions, PrecisionLetter);

TYPED_TEST(BandReduction, IsASimilarityWithAnOrthogonalMatrix) {
  using T = TypeParam;
  for (const auto& [n, kd] : shapes) {
    for (const char uplo : {'U', 'l'}) {
      SCOPED_TRACE(testing::Message() << uplo << ", order " << n << ", " << kd << " diagonals");
      const GuardedMatrix<T> A = random_band<T>(this->random, uplo, n, kd);
      GuardedMatrix<T> Q(n, n, n + kd % 3);
      const Reduced<T> reduced = reduce('V', uplo, kd, band_of(uplo, kd, A, kd + 1 + n % 2), Q);
      EXPECT_LT(reduction_residual(wide_hermitian(A, is_upper(uplo)), Q, reduced.tridiagonal()), threshold);
      EXPECT_LT(orthogonality(Q, n), threshold);
    }
  }
}

TYPED_TEST(BandReduction, GivesTheSameWithoutQAndMultipliesWhatIsThere) {
  using T = TypeParam;
  for (const auto& [n, kd] : shapes) {
    for (const char uplo : {'u', 'L'}) {
      SCOPED_TRACE(testing::Message() << uplo << ", order " << n << ", " << kd << " diagonals");
      const GuardedMatrix<T> A = random_band<T>(this->random, uplo, n, kd), ab = band_of(uplo, kd, A, kd + 1);
      const GuardedMatrix<T> X = random_matrix<T>(this->random, n, n, n + 1);
      GuardedMatrix<T> Q(n, n, n), untouched(n, n, n), XQ = X;
      const Reduced<T> with = reduce('v', uplo, kd, ab, Q), without = reduce('n', uplo, kd, ab, untouched),
                       product_of_both = reduce('u', uplo, kd, ab, XQ);
      EXPECT_TRUE(untouched.unchanged());
      for (const Reduced<T>* other : {&without, &product_of_both}) {
        EXPECT_TRUE(other->d.same_as(with.d));
        EXPECT_TRUE(other->e.same_as(with.e));
        EXPECT_TRUE(other->ab.same_as(with.ab));
      }
      const WideMatrix<T> expected = product<T>(wide(X), wide(Q));
      EXPECT_LT(double((wide(XQ) - expected).norm() / (expected.norm() * epsilon<T>)), threshold);
    }
  }
}

TYPED_TEST(BandReduction, LeavesTheTridiagonalMatrixInTheBand) {
  using T = TypeParam;
  for (const auto& [n, kd] : shapes) {
    for (const char uplo : uplos) {
      GuardedMatrix<T> unused(0, 0, 1);
      const GuardedMatrix<T> A = random_band<T>(this->random, uplo, n, kd);
      const Reduced<T> reduced = reduce('N', uplo, kd, band_of(uplo, kd, A, kd + 1), unused);
      for (Int i = 1; i <= n; ++i) EXPECT_EQ(reduced.ab(band_row(uplo, kd, i, i), i), T(reduced.d(i)));
      for (Int i = 1; i < n; ++i) {
        if (kd == 0) {
          EXPECT_EQ(reduced.e(i), 0);
        } else {
          const Int row = is_upper(uplo) ? i : i + 1, column = is_upper(uplo) ? i + 1 : i;
          EXPECT_EQ(reduced.ab(band_row(uplo, kd, row, column), column), T(reduced.e(i)));
        }
      }
    }
  }
}

/// A complex matrix that is tridiagonal already has its phases taken into Q.
TYPED_TEST(BandReduction, HasElementsBesideTheDiagonalThatAreNotNegativeIfTheyWereComplex) {
  using T = TypeParam;
  for (const char uplo : uplos) {
    GuardedMatrix<T> A = random_band<T>(this->random, uplo, 6, 1), Q(6, 6, 6);
    (is_upper(uplo) ? A(3, 4) : A(4, 3)) = T(0);
    const Reduced<T> reduced = reduce('V', uplo, 1, band_of(uplo, 1, A, 2), Q);
    for (Int i = 1; i < 6; ++i) {
      const T element = is_upper(uplo) ? A(i, i + 1) : A(i + 1, i);
      if constexpr (ComplexScalar<T>) {
        EXPECT_NEAR(reduced.e(i), std::abs(element), 4 * epsilon<T>);
      } else {
        EXPECT_EQ(reduced.e(i), element);
      }
      EXPECT_EQ(reduced.d(i), std::real(A(i, i)));
    }
    EXPECT_LT(reduction_residual(wide_hermitian(A, is_upper(uplo)), Q, reduced.tridiagonal()), threshold);
  }
}

TYPED_TEST(BandReduction, KeepsToTheBand) {
  using T = TypeParam;
  for (const auto& [n, kd] : shapes) {
    for (const char uplo : uplos) {
      const GuardedMatrix<T> ab = band_of(uplo, kd, random_band<T>(this->random, uplo, n, kd), kd + 1);
      GuardedMatrix<T> unused(0, 0, 1);
      const Reduced<T> expected = reduce('N', uplo, kd, ab, unused);
      GuardedVector<T> flat((kd + 1) * n), work(n), expected_flat = flat;
      for (Int j = 1; j <= n; ++j) {
        for (Int i = 1; i <= kd + 1; ++i) {
          flat((j - 1) * (kd + 1) + i) = ab(i, j);
          expected_flat((j - 1) * (kd + 1) + i) = expected.ab(i, j);
        }
      }
      FencedArray<T> fenced(flat);
      GuardedVector<Real<T>> d(n), e(n - 1);
      Int info = 99;
      routine_call::sbtrd('N', uplo, n, kd, {fenced.data(), kd + 1}, d.data(), e.data(), {nullptr, 1}, work.data(),
                          info);
      EXPECT_TRUE(fenced.same_as(expected_flat)) << uplo << ", order " << n << ", " << kd << " diagonals";
    }
  }
}

TYPED_TEST(BandReduction, EndsAndShowsNumbersThatAreNotFinite) {
  using T = TypeParam;
  using R = Real<T>;
  const Int n = 13, kd = 3;
  for (const char uplo : uplos) {
    for (const R bad : {std::numeric_limits<R>::quiet_NaN(), std::numeric_limits<R>::infinity()}) {
      for (Int j = 1; j <= n; ++j) {
        for (Int row = 1; row <= kd + 1; ++row) {
          GuardedMatrix<T> ab = band_of(uplo, kd, random_band<T>(this->random, uplo, n, kd), kd + 1);
          const Int i = is_upper(uplo) ? row + j - kd - 1 : row + j - 1;
          if (i < 1 || i > n) continue;
          ab(row, j) = T(bad);
          ab.seal();
          GuardedMatrix<T> Q(n, n, n);
          const Reduced<T> reduced = reduce('V', uplo, kd, ab, Q);
          bool shows = false;
          for (Int k = 1; k <= n; ++k) shows = shows || !std::isfinite(reduced.d(k));
          for (Int k = 1; k < n; ++k) shows = shows || !std::isfinite(reduced.e(k));
          EXPECT_TRUE(shows) << bad << " in " << i << ", " << j;
        }
      }
    }
  }
}

TYPED_TEST(BandReduction, DoesNothingToAnEmptyMatrix) {
  using T = TypeParam;
  T* const none = nullptr;
  Real<T>* const reals = nullptr;
  Int info = 99;
  routine_call::sbtrd('V', 'U', 0, 2, {none, 3}, reals, reals, {none, 1}, none, info);
  EXPECT_EQ(info, 0);
}

template <Scalar T>
struct ReductionCall {
  char vect = 'V', uplo = 'L';
  Int n = 3, kd = 1, ldab = 2, ldq = 3;
  GuardedMatrix<T> ab{2, 3, 2}, Q{3, 3, 3};
  GuardedVector<Real<T>> d{3}, e{2};
  GuardedVector<T> work{3};

  ReductionCall() {
    for (Int j = 1; j <= 3; ++j) ab(1, j) = ab(2, j) = T(Real<T>(j));
    ab.seal();
  }
  Int run() {
    Int info = 99;
    routine_call::sbtrd(vect, uplo, n, kd, {ab.data(), ldab}, d.data(), e.data(), {Q.data(), ldq}, work.data(), info);
    return info;
  }
  bool unchanged() const {
    return ab.unchanged() && Q.unchanged() && d.unchanged() && e.unchanged() && work.unchanged();
  }
};

TYPED_TEST(BandReduction, ReportsABadArgument) {
  using T = TypeParam;
  using Call = ReductionCall<T>;
  expect_argument_checks<Call>(reported_name<T>(ComplexScalar<T> ? "HBTRD" : "SBTRD"),
                               {{1, [](Call& c) { c.vect = 'X'; }},
                                {2, [](Call& c) { c.uplo = 'X'; }},
                                {3, [](Call& c) { c.n = -1; }},
                                {4, [](Call& c) { c.kd = -1; }},
                                {6, [](Call& c) { c.ldab = 1; }},
                                {10, [](Call& c) { c.ldq = 2; }}});
  Call without;
  without.vect = 'N';
  without.ldq = 1;
  expect_report(without, "", 0);
}

}  // namespace
}  // namespace nuv::test
