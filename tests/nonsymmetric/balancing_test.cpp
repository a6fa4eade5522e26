// Balancing of general matrices, and the way back for their eigenvectors.

#include <algorithm>
#include <array>
#include <cmath>
#include <initializer_list>
#include <limits>

#include "routines.hpp"
#include "support/argument_checks.hpp"
#include "support/options.hpp"
#include "support/random.hpp"
#include "support/wide.hpp"

namespace nuv::test {
namespace {

template <Scalar T>
struct Balanced {
  using R = Real<T>;

  char job;
  Int n, lda, ilo = -7, ihi = -7, info = 99;
  GuardedMatrix<T> A;
  GuardedVector<R> scale;

  Balanced(char letter, const GuardedMatrix<T>& matrix)
      : job(letter), n(matrix.rows()), lda(matrix.ld()), A(matrix), scale(n) {}

  Balanced& run() {
    routine_call::gebal(job, n, Matrix<T>(A.data(), lda), ilo, ihi, scale.data(), info);
    return *this;
  }

  GuardedMatrix<T> back(char side, const GuardedMatrix<T>& V) const {
    GuardedMatrix<T> v = V;
    Int result = 99;
    routine_call::gebak(job, side, n, ilo, ihi, scale.data(), V.columns(), Matrix<T>(v), result);
    EXPECT_EQ(result, 0);
    EXPECT_TRUE(v.guards_unchanged());
    return v;
  }
};

template <Scalar T>
GuardedMatrix<T> identity(Int n) {
  GuardedMatrix<T> I(n, n, std::max(1, n) + 1);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= n; ++i) I(i, j) = T(Real<T>(i == j));
  }
  I.seal();
  return I;
}

/// That the balanced matrix is X^-1 A X to the last bit, X and X^-H being what gebak makes of the identity, that rows
/// and columns outside ilo ... ihi are triangular, and that scale is one of powers of two.
template <Scalar T>
void expect_similar(const GuardedMatrix<T>& A, const Balanced<T>& balanced) {
  ASSERT_EQ(balanced.info, 0);
  EXPECT_TRUE(balanced.A.guards_unchanged() && balanced.scale.guards_unchanged());
  const Int n = balanced.n;
  const GuardedMatrix<T> I = identity<T>(n), right = balanced.back('R', I), left = balanced.back('l', I);
  const WideMatrix<T> product_of_sides = product<T>(wide(left).adjoint(), wide(right));
  EXPECT_EQ(one_norm<T>(WideMatrix<T>(product_of_sides - wide(I))), 0);
  const WideMatrix<T> similar = product<T>(wide(left).adjoint(), product<T>(wide(A), wide(right)));
  EXPECT_EQ(one_norm<T>(WideMatrix<T>(similar - wide(balanced.A))), 0);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = j + 1; i <= n; ++i) {
      if (j < balanced.ilo || i > balanced.ihi) {
        EXPECT_EQ(balanced.A(i, j), T(0)) << i << ", " << j;
      }
    }
  }
  for (Int j = balanced.ilo; j <= balanced.ihi; ++j) {
    int exponent = 0;
    EXPECT_EQ(std::frexp(balanced.scale(j), &exponent), Real<T>(0.5)) << j;
  }
}

/// Sums of the magnitudes in row and column i beside the diagonal.
template <Scalar T>
std::array<double, 2> sums_beside(const Balanced<T>& b, Int i) {
  double row = 0, column = 0;
  for (Int j = b.ilo; j <= b.ihi; ++j) {
    if (j == i) continue;
    row += std::abs(std::complex<double>(b.A(i, j)));
    column += std::abs(std::complex<double>(b.A(j, i)));
  }
  return {row, column};
}

template <class T>
class Balancing : public ReportingTest {
 protected:
  GuardedMatrix<T> badly_scaled(Int n) {
    GuardedMatrix<T> A = random_matrix<T>(random, n, n, n + 1);
    for (Int i = 1; i <= n; ++i) {
      const Real<T> size = std::exp2(Real<T>(random.integer(-9, 9)));
      for (Int j = 1; j <= n; ++j) {
        A(i, j) *= size;
        A(j, i) /= size;
      }
    }
    A.seal();
    return A;
  }

  Random random{43};
};
TYPED_TEST_SUITE(Balancing, Precisions, PrecisionLetter);

TYPED_TEST(Balancing, BringsNormsOfRowsAndColumnsTogether) {
  using T = TypeParam;
  for (const Int n : {2, 3, 7, 20}) {
    for (const char job : {'S', 'b'}) {
      const GuardedMatrix<T> A = this->badly_scaled(n);
      const Balanced<T> balanced = Balanced<T>(job, A).run();
      expect_similar(A, balanced);
      EXPECT_EQ(balanced.ilo, 1);
      EXPECT_EQ(balanced.ihi, n);
      EXPECT_FALSE(balanced.A.same_as(A)) << n;
      for (Int i = 1; i <= n; ++i) {
        // No power of two would make the sum less than 0.95 times what it is.
        const auto [row, column] = sums_beside(balanced, i);
        EXPECT_GE(row / 2 + column * 2, 0.95 * (row + column) * (1 - 1e-6)) << i;
        EXPECT_GE(row * 2 + column / 2, 0.95 * (row + column) * (1 - 1e-6)) << i;
      }
    }
  }
}

/// Of both jobs, and of none.
TYPED_TEST(Balancing, DoesWhatTheJobSays) {
  using T = TypeParam;
  GuardedMatrix<T> A = this->badly_scaled(6);
  for (const Int j : {1, 2, 3, 5, 6}) A(4, j) = T(0);
  A.seal();
  const Balanced<T> nothing = Balanced<T>('n', A).run(), permuted = Balanced<T>('p', A).run(),
                    scaled = Balanced<T>('s', A).run(), both = Balanced<T>('B', A).run();
  for (const Balanced<T>* one : {&nothing, &permuted, &scaled, &both}) expect_similar(A, *one);
  EXPECT_TRUE(nothing.A.same_as(A));
  EXPECT_EQ(nothing.ihi, 6);
  EXPECT_EQ(scaled.ihi, 6);
  EXPECT_EQ(scaled.ilo, 1);
  // The row has nothing but zeros beside the diagonal, with which no factor can deal.
  EXPECT_EQ(scaled.scale(4), Real<T>(1));
  EXPECT_EQ(permuted.ihi, 5);
  EXPECT_EQ(both.ihi, 5);
  EXPECT_EQ(permuted.scale(6), Real<T>(4));
  for (Int j = 1; j <= 5; ++j) EXPECT_EQ(permuted.scale(j), Real<T>(1));
  EXPECT_FALSE(both.A.same_as(permuted.A));
}

/// A permuted triangle around a full block, whose places the exchanges find.
TYPED_TEST(Balancing, IsolatesEigenvaluesAtBothEnds) {
  using T = TypeParam;
  for (const auto& [n, first, last] : {std::array{9, 3, 7}, {9, 1, 5}, {9, 4, 9}, {12, 5, 6}}) {
    for (int round = 0; round < 4; ++round) {
      SCOPED_TRACE(testing::Message() << n << ", " << first << " to " << last);
      GuardedMatrix<T> A = random_matrix<T>(this->random, n, n, n + 1);
      for (Int j = 1; j <= n; ++j) {
        for (Int i = j + 1; i <= n; ++i) {
          if (j < first || i > last) A(i, j) = T(0);
        }
      }
      for (int swaps = 0; swaps < 20; ++swaps) {
        const Int i = this->random.integer(1, n), j = this->random.integer(1, n);
        for (Int k = 1; k <= n; ++k) std::swap(A(k, i), A(k, j));
        for (Int k = 1; k <= n; ++k) std::swap(A(i, k), A(j, k));
      }
      A.seal();
      const Balanced<T> permuted = Balanced<T>('P', A).run(), both = Balanced<T>('B', A).run();
      for (const Balanced<T>* one : {&permuted, &both}) {
        expect_similar(A, *one);
        EXPECT_EQ(one->ilo, first);
        EXPECT_EQ(one->ihi, last);
      }
      // Permutations alone, and eigenvectors of both sides go back by the same exchanges.
      const GuardedMatrix<T> V = random_matrix<T>(this->random, n, 3, n);
      EXPECT_TRUE(permuted.back('R', V).same_as(permuted.back('L', V)));
      for (Int j = first; j <= last; ++j) EXPECT_EQ(permuted.scale(j), Real<T>(1));
    }
  }
}

TYPED_TEST(Balancing, SearchesRowsFromTheEndAndColumnsFromTheFront) {
  using T = TypeParam;
  // Rows 2 and 4 are isolated at once: the last is taken first.
  GuardedMatrix<T> A = random_matrix<T>(this->random, 5, 5, 5);
  for (const Int i : {2, 4}) {
    for (Int j = 1; j <= 5; ++j) A(i, j) = T(Real<T>(i == j ? i : 0));
  }
  A.seal();
  const Balanced<T> rows = Balanced<T>('P', A).run();
  EXPECT_EQ(rows.ilo, 1);
  EXPECT_EQ(rows.ihi, 3);
  EXPECT_EQ(rows.A(5, 5), T(Real<T>(4)));
  EXPECT_EQ(rows.A(4, 4), T(Real<T>(2)));
  EXPECT_EQ(rows.scale(5), Real<T>(4));
  EXPECT_EQ(rows.scale(4), Real<T>(2));

  GuardedMatrix<T> B = random_matrix<T>(this->random, 5, 5, 5);
  for (const Int j : {2, 4}) {
    for (Int i = 1; i <= 5; ++i) B(i, j) = T(Real<T>(i == j ? j : 0));
  }
  B.seal();
  const Balanced<T> columns = Balanced<T>('P', B).run();
  EXPECT_EQ(columns.ilo, 3);
  EXPECT_EQ(columns.ihi, 5);
  EXPECT_EQ(columns.A(1, 1), T(Real<T>(2)));
  EXPECT_EQ(columns.A(2, 2), T(Real<T>(4)));
  EXPECT_EQ(columns.scale(1), Real<T>(2));
  EXPECT_EQ(columns.scale(2), Real<T>(4));
}

TYPED_TEST(Balancing, IsolatesAllOfATriangle) {
  using T = TypeParam;
  GuardedMatrix<T> triangle = random_triangle<T>(this->random, true, false, 6, 7);
  for (Int j = 1; j <= 6; ++j) {
    for (Int i = j + 1; i <= 6; ++i) triangle(i, j) = T(0);
  }
  triangle.seal();
  for (const GuardedMatrix<T>& A : {identity<T>(5), triangle, identity<T>(1)}) {
    const Balanced<T> balanced = Balanced<T>('B', A).run();
    EXPECT_EQ(balanced.ilo, 1);
    EXPECT_EQ(balanced.ihi, 1);
    EXPECT_TRUE(balanced.A.same_as(A));
    for (Int j = 1; j <= balanced.n; ++j) EXPECT_EQ(balanced.scale(j), Real<T>(j));
  }
  const Balanced<T> nothing = Balanced<T>('B', identity<T>(0)).run();
  EXPECT_EQ(nothing.info, 0);
  EXPECT_EQ(nothing.ilo, 1);
  EXPECT_EQ(nothing.ihi, 0);
}

/// Factors between which what is scaled keeps away from over- and underflow.
template <RealScalar R>
constexpr R least_factor = std::numeric_limits<R>::min() / std::numeric_limits<R>::epsilon();

/// The factors stop before what they scale, or they themselves, over- or underflow.
TYPED_TEST(Balancing, KeepsAwayFromTheLimitsOfNumbers) {
  using T = TypeParam;
  using R = Real<T>;
  const R tiny = std::numeric_limits<R>::min(), huge = std::numeric_limits<R>::max() / 8;
  const auto balanced_pair = [](R one, R other) {
    GuardedMatrix<T> A = identity<T>(2);
    A(1, 2) = T(one);
    A(2, 1) = T(other);
    A.seal();
    return Balanced<T>('S', A).run();
  };
  for (const R other : {tiny, huge, tiny * 4, R(1)}) {
    for (const R one : {huge, huge / 64, R(1), tiny}) {
      const Balanced<T> balanced = balanced_pair(one, other);
      for (Int j = 1; j <= 2; ++j) {
        EXPECT_GE(balanced.scale(j), least_factor<R>);
        EXPECT_LE(balanced.scale(j), 1 / least_factor<R>);
      }
      for (const auto& [i, j] : {std::array{1, 2}, {2, 1}}) {
        EXPECT_TRUE(std::isfinite(std::real(balanced.A(i, j))) && balanced.A(i, j) != T(0));
      }
    }
  }
  // Both sums are so small, or so large, that none is to become smaller or larger.
  for (const auto& [one, other] : {std::array{tiny, tiny / 64}, {huge, huge / 64}}) {
    for (const Balanced<T>& balanced : {balanced_pair(one, other), balanced_pair(other, one)}) {
      EXPECT_EQ(balanced.scale(1), R(1));
      EXPECT_EQ(balanced.scale(2), R(1));
    }
  }
}

/// So they do for what stands beside the block that is scaled, in columns that end and rows that begin with it.
TYPED_TEST(Balancing, KeepsWhatIsIsolatedFromOverflow) {
  using T = TypeParam;
  using R = Real<T>;
  // Three times half of the limit for elements that are to be doubled.
  const R large = 1 / (least_factor<R> * 2) / 8;
  for (const bool in_column : {true, false}) {
    SCOPED_TRACE(in_column);
    GuardedMatrix<T> A = identity<T>(4);
    for (Int j = 2; j <= 4; ++j) A(1, j) = T(R(1));
    A(2, 4) = A(3, 4) = T(R(1));
    A(2, 3) = T(R(in_column ? 0x1p20 : 1));
    A(3, 2) = T(R(in_column ? 1 : 0x1p20));
    (in_column ? A(1, 2) : A(2, 4)) = T(large);
    A.seal();
    const Balanced<T> balanced = Balanced<T>('B', A).run();
    EXPECT_EQ(balanced.ilo, 2);
    EXPECT_EQ(balanced.ihi, 3);
    // 2^10 would bring row and column 2 together at once.
    EXPECT_EQ(balanced.scale(2), in_column ? R(8) : R(0.125));
    EXPECT_EQ(balanced.scale(3), in_column ? R(0x1p-7) : R(0x1p7));
    expect_similar(A, balanced);
  }
}

TYPED_TEST(Balancing, KeepsFactorsOfManyRoundsWithinTheirLimits) {
  using T = TypeParam;
  using R = Real<T>;
  const int range = std::numeric_limits<R>::max_exponent - 10;
  for (int round = 0; round < 300; ++round) {
    const Int n = this->random.integer(3, 6);
    GuardedMatrix<T> A = identity<T>(n);
    for (Int j = 1; j <= n; ++j) {
      for (Int i = 1; i <= n; ++i) A(i, j) = T(std::ldexp(R(1), this->random.integer(-range, range)));
    }
    A.seal();
    const Balanced<T> balanced = Balanced<T>('S', A).run();
    for (Int j = 1; j <= n; ++j) {
      EXPECT_GE(balanced.scale(j), least_factor<R>);
      EXPECT_LE(balanced.scale(j), 1 / least_factor<R>);
    }
  }
}

/// NaN is an element like others for the permutation, and nothing is scaled by what it makes of a sum.
TYPED_TEST(Balancing, EndsWhateverTheNumbers) {
  using T = TypeParam;
  using R = Real<T>;
  for (const R odd : {std::numeric_limits<R>::quiet_NaN(), std::numeric_limits<R>::infinity()}) {
    for (Int place = 1; place <= 4; ++place) {
      for (Int other = 1; other <= 4; ++other) {
        GuardedMatrix<T> A = this->badly_scaled(4);
        A(place, other) = T(odd);
        A.seal();
        const Balanced<T> balanced = Balanced<T>('B', A).run();
        EXPECT_EQ(balanced.info, 0);
        EXPECT_EQ(balanced.ihi, 4);
        EXPECT_FALSE(std::isfinite(std::real(balanced.A(place, other))));
        for (Int j = 1; j <= 4; ++j) EXPECT_TRUE(std::isnormal(balanced.scale(j)));
      }
    }
    GuardedMatrix<T> isolated = identity<T>(3);
    isolated(3, 1) = T(odd);
    isolated.seal();
    const Balanced<T> balanced = Balanced<T>('P', isolated).run();
    EXPECT_EQ(balanced.scale(3), R(2));
  }
}

/// Complex elements are as long as they are, not as their parts are together.
TYPED_TEST(Balancing, MeasuresComplexNumbersByTheirMagnitudes) {
  using T = TypeParam;
  using R = Real<T>;
  if constexpr (ComplexScalar<T>) {
    // One sum is 3, the other 1.13: twice the smaller is more than half of the larger, and the first of both is scaled.
    // Were it taken for 1.6, none would be.
    for (const bool in_row : {true, false}) {
      GuardedMatrix<T> A = identity<T>(2);
      A(1, 2) = in_row ? T(R(3)) : T(R(0.8), R(0.8));
      A(2, 1) = in_row ? T(R(0.8), R(0.8)) : T(R(3));
      A.seal();
      const Balanced<T> balanced = Balanced<T>('S', A).run();
      EXPECT_EQ(balanced.scale(1), in_row ? R(2) : R(0.5));
      EXPECT_EQ(balanced.scale(2), R(1));
    }
  }
}

TYPED_TEST(Balancing, GivesNothingBackWhereNothingWasDone) {
  using T = TypeParam;
  const GuardedMatrix<T> A = this->badly_scaled(4), V = random_matrix<T>(this->random, 4, 2, 5);
  const Balanced<T> none = Balanced<T>('N', A).run();
  EXPECT_TRUE(none.back('R', V).same_as(V));
  Balanced<T> both = Balanced<T>('B', A).run();
  EXPECT_FALSE(both.back('R', V).same_as(V));
  // One row alone is not scaled, whatever stands there.
  both.ihi = both.ilo = 2;
  both.job = 'S';
  EXPECT_TRUE(both.back('R', V).same_as(V));
  const GuardedMatrix<T> empty(4, 0, 5);
  EXPECT_TRUE(both.back('L', empty).same_as(empty));
}

// ---------------------------------------------------------------------------------------------------------- arguments

template <Scalar T>
struct ValidBalance : Balanced<T> {
  static GuardedMatrix<T> matrix() {
    Random random(3);
    return random_matrix<T>(random, 4, 4, 4);
  }
  ValidBalance() : Balanced<T>('B', matrix()) {}
  Int run() {
    Balanced<T>::run();
    return this->info;
  }
  bool unchanged() const {
    return this->A.unchanged() && this->scale.unchanged() && this->ilo == -7 && this->ihi == -7;
  }
};

template <Scalar T>
struct ValidBack {
  char job = 'B', side = 'R';
  Int n = 4, ilo = 2, ihi = 3, m = 4, ldv = 4, info = 99;
  GuardedMatrix<T> V = ValidBalance<T>::matrix();
  GuardedVector<Real<T>> scale{4};

  ValidBack() {
    for (Int i = 1; i <= 4; ++i) scale(i) = Real<T>(i);
    scale.seal();
  }
  Int run() {
    routine_call::gebak(job, side, n, ilo, ihi, scale.data(), m, Matrix<T>(V.data(), ldv), info);
    return info;
  }
  bool unchanged() const { return V.unchanged() && scale.unchanged(); }
};

TYPED_TEST(Balancing, ChecksItsArguments) {
  using T = TypeParam;
  using Call = ValidBalance<T>;
  expect_argument_checks<Call>(
      reported_name<T>("GEBAL"),
      {{1, [](Call& c) { c.job = 'R'; }}, {2, [](Call& c) { c.n = -1; }}, {4, [](Call& c) { c.lda = 3; }}});
  using Back = ValidBack<T>;
  expect_argument_checks<Back>(reported_name<T>("GEBAK"), {{1, [](Back& c) { c.job = 'R'; }},
                                                           {2, [](Back& c) { c.side = 'B'; }},
                                                           {3, [](Back& c) { c.n = -1; }},
                                                           {4, [](Back& c) { c.ilo = 0; }},
                                                           {5, [](Back& c) { c.ihi = 5; }},
                                                           {7, [](Back& c) { c.m = -1; }},
                                                           {9, [](Back& c) { c.ldv = 3; }}});
  Back late_start, early_end, empty;
  late_start.ilo = 5;
  expect_report(late_start, reported_name<T>("GEBAK"), 4);
  early_end.ihi = 1;
  expect_report(early_end, reported_name<T>("GEBAK"), 5);
  empty.n = empty.ihi = 0;
  empty.ilo = 1;
  expect_report(empty, reported_name<T>("GEBAK"), 0);
  EXPECT_TRUE(empty.unchanged());
}

}  // namespace
}  // namespace nuv::test
