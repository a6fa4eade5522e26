// Balancing of pencils, and the way back for their vectors.

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "generalised/pencil_checks.hpp"
#include "routines.hpp"
#include "support/argument_checks.hpp"
#include "support/deadline.hpp"

namespace nuv::test {
namespace {

template <Scalar T>
struct BalancedPencil {
  using R = Real<T>;

  char job;
  Int n, lda, ldb, ilo = -7, ihi = -7, info = 99;
  GuardedMatrix<T> A, B;
  GuardedVector<R> lscale, rscale, work;

  BalancedPencil(char letter, const Pencil<T>& pencil)
      : job(letter),
        n(pencil.A.rows()),
        lda(pencil.A.ld()),
        ldb(pencil.B.ld()),
        A(pencil.A),
        B(pencil.B),
        lscale(n),
        rscale(n),
        work(letter == 'S' || letter == 's' || letter == 'B' || letter == 'b' ? 6 * n : 1) {}

  BalancedPencil& run() {
    routine_call::ggbal(job, n, Matrix<T>(A.data(), lda), Matrix<T>(B.data(), ldb), ilo, ihi, lscale.data(),
                        rscale.data(), work.data(), info);
    return *this;
  }

  GuardedMatrix<T> back(char side, const GuardedMatrix<T>& V) const {
    GuardedMatrix<T> v = V;
    Int result = 99;
    routine_call::ggbak(job, side, n, ilo, ihi, lscale.data(), rscale.data(), V.columns(), Matrix<T>(v), result);
    EXPECT_EQ(result, 0);
    EXPECT_TRUE(v.guards_unchanged());
    return v;
  }

  Int exponent_of_row(Int i) const { return Int(std::lround(std::log10(lscale(i)))); }
  Int exponent_of_column(Int j) const { return Int(std::lround(std::log10(rscale(j)))); }
};

/// That both balanced matrices are L^H A R, where L and R are what ggbak makes of the identity, that rows and columns
/// outside ilo ... ihi are triangular, and that the scales inside are powers of ten.
template <Scalar T>
void expect_balanced(const Pencil<T>& pencil, const BalancedPencil<T>& balanced) {
  ASSERT_EQ(balanced.info, 0);
  EXPECT_TRUE(balanced.A.guards_unchanged() && balanced.B.guards_unchanged() && balanced.work.guards_unchanged());
  EXPECT_TRUE(balanced.lscale.guards_unchanged() && balanced.rscale.guards_unchanged());
  const Int n = balanced.n;
  const GuardedMatrix<T> I = identity_matrix<T>(n, n + 1);
  const WideMatrix<T> left = op<T>('C', wide(balanced.back('l', I))), right = wide(balanced.back('R', I));
  const auto expect_equivalent = [&](const GuardedMatrix<T>& M, const GuardedMatrix<T>& made) {
    const WideMatrix<T> expected = product<T>(left, product<T>(wide(M), right));
    for (Int j = 1; j <= n; ++j) {
      for (Int i = 1; i <= n; ++i) {
        // Two roundings, of the scaling by the row and by the column.
        EXPECT_LE(std::abs(expected(i - 1, j - 1) - wide(made(i, j))),
                  2 * epsilon<T> * std::abs(expected(i - 1, j - 1)))
            << i << ", " << j;
        if (i > j && (j < balanced.ilo || i > balanced.ihi)) {
          EXPECT_EQ(made(i, j), T(0)) << i << ", " << j;
        }
      }
    }
  };
  expect_equivalent(pencil.A, balanced.A);
  expect_equivalent(pencil.B, balanced.B);
  for (Int i = balanced.ilo; i <= balanced.ihi; ++i) {
    EXPECT_NEAR(balanced.lscale(i), std::pow(10.0, balanced.exponent_of_row(i)), 100 * epsilon<T> * balanced.lscale(i));
    EXPECT_NEAR(balanced.rscale(i), std::pow(10.0, balanced.exponent_of_column(i)),
                100 * epsilon<T> * balanced.rscale(i));
  }
}

/// Rows and columns of both matrices multiplied by 10^r(i) and 10^c(j).
template <Scalar T>
void scale_rows_and_columns(Pencil<T>& pencil, const std::vector<int>& r, const std::vector<int>& c) {
  for (GuardedMatrix<T>* M : {&pencil.A, &pencil.B}) {
    for (Int j = 1; j <= M->columns(); ++j) {
      for (Int i = 1; i <= M->rows(); ++i) {
        (*M)(i, j) *= Real<T>(std::pow(10.0, r[std::size_t(i - 1)] + c[std::size_t(j - 1)]));
      }
    }
    M->seal();
  }
}

/// The sum over all nonzero elements of both matrices of the squares of their logarithms.
template <Scalar T>
double spread(const GuardedMatrix<T>& A, const GuardedMatrix<T>& B, Int from, Int to) {
  double sum = 0;
  for (const GuardedMatrix<T>* M : {&A, &B}) {
    for (Int j = from; j <= to; ++j) {
      for (Int i = from; i <= to; ++i) {
        if ((*M)(i, j) != T(0)) sum += std::pow(std::log10(std::abs(std::complex<double>((*M)(i, j)))), 2);
      }
    }
  }
  return sum;
}

template <class T>
class PencilBalancing : public ReportingTest {
 protected:
  Pencil<T> badly_scaled(Int n, int range) {
    // Of magnitude 1 to 2.8.
    Pencil<T> pencil = random_pencil<T>(random, n, n + 1);
    for (GuardedMatrix<T>* M : {&pencil.A, &pencil.B}) {
      for (Int j = 1; j <= n; ++j) {
        for (Int i = 1; i <= n; ++i) (*M)(i, j) = random.divisor<T>();
      }
    }
    std::vector<int> r, c;
    for (Int i = 0; i < n; ++i) {
      r.push_back(random.integer(-range, range));
      c.push_back(random.integer(-range, range));
    }
    scale_rows_and_columns(pencil, r, c);
    rows = r;
    columns = c;
    return pencil;
  }

  /// Row j has nothing in both matrices but its diagonal element.
  static void isolate_row(Pencil<T>& pencil, Int j) {
    for (Int k = 1; k <= pencil.A.rows(); ++k) {
      if (k != j) pencil.A(j, k) = pencil.B(j, k) = T(0);
    }
    pencil.A.seal();
    pencil.B.seal();
  }

  std::vector<int> rows, columns;
  Random random{47};
};
TYPED_TEST_SUITE(PencilBalancing, Precisions, PrecisionLetter);

/// Without zeros, the factors that were put there come off: up to a power of ten, which rounding may move by one, rows
/// and columns may share.
TYPED_TEST(PencilBalancing, FindsTheFactorsOfRowsAndColumns) {
  using T = TypeParam;
  for (const Int n : {2, 3, 7, 20}) {
    for (const char job : {'S', 'b'}) {
      SCOPED_TRACE(testing::Message() << n << job);
      const Pencil<T> pencil = this->badly_scaled(n, 4);
      const BalancedPencil<T> balanced = BalancedPencil<T>(job, pencil).run();
      expect_balanced(pencil, balanced);
      EXPECT_EQ(balanced.ilo, 1);
      EXPECT_EQ(balanced.ihi, n);
      const auto expect_opposite = [&](auto exponent, const std::vector<int>& given) {
        int least = 1000, greatest = -1000;
        for (Int i = 1; i <= n; ++i) {
          const int sum = exponent(i) + given[std::size_t(i - 1)];
          least = std::min(least, sum);
          greatest = std::max(greatest, sum);
        }
        EXPECT_LE(greatest - least, 1);
      };
      expect_opposite([&](Int i) { return balanced.exponent_of_row(i); }, this->rows);
      expect_opposite([&](Int i) { return balanced.exponent_of_column(i); }, this->columns);
    }
  }
}

/// With zeros no direct formula has them: the iteration brings the sum of squares down to where no power of ten of a
/// single row or column makes it much smaller.
TYPED_TEST(PencilBalancing, BringsElementsTogetherWhereThereAreZeros) {
  using T = TypeParam;
  for (const Int n : {3, 8, 25}) {
    for (int round = 0; round < 5; ++round) {
      Pencil<T> pencil = this->badly_scaled(n, 4);
      for (Int k = 0; k < n * n / 2; ++k) {
        auto& M = k % 2 == 0 ? pencil.A : pencil.B;
        const Int i = this->random.integer(1, n), j = this->random.integer(1, n);
        if (i != j) M(i, j) = T(0);
      }
      pencil.A.seal();
      pencil.B.seal();
      const BalancedPencil<T> balanced = BalancedPencil<T>('S', pencil).run();
      expect_balanced(pencil, balanced);
      const double before = spread(pencil.A, pencil.B, 1, n), after = spread(balanced.A, balanced.B, 1, n);
      EXPECT_LT(after, before);
      for (Int i = 1; i <= n; ++i) {
        for (const Real<T> factor : {Real<T>(0.1), Real<T>(10)}) {
          for (const bool is_row : {true, false}) {
            GuardedMatrix<T> A = balanced.A, B = balanced.B;
            for (Int k = 1; k <= n; ++k) {
              (is_row ? A(i, k) : A(k, i)) *= factor;
              (is_row ? B(i, k) : B(k, i)) *= factor;
            }
            EXPECT_GT(spread(A, B, 1, n), after - 2.0 * n);
          }
        }
      }
    }
  }
}

/// Where few elements tie rows and columns together, it takes directions that are conjugate to find the factors in as
/// many steps as there are allowed.
TYPED_TEST(PencilBalancing, FindsTheFactorsOfBands) {
  using T = TypeParam;
  for (const Int n : {6, 15, 30}) {
    Pencil<T> pencil = this->badly_scaled(n, 4);
    for (GuardedMatrix<T>* M : {&pencil.A, &pencil.B}) {
      for (Int j = 1; j <= n; ++j) {
        for (Int i = 1; i <= n; ++i) {
          if (std::abs(i - j) > 1) (*M)(i, j) = T(0);
        }
      }
      M->seal();
    }
    const BalancedPencil<T> balanced = BalancedPencil<T>('S', pencil).run();
    expect_balanced(pencil, balanced);
    for (const GuardedMatrix<T>* M : {&balanced.A, &balanced.B}) {
      for (Int j = 1; j <= n; ++j) {
        for (Int i = std::max(1, j - 1); i <= std::min(n, j + 1); ++i) {
          EXPECT_LT(std::abs(std::log10(std::abs(std::complex<double>((*M)(i, j))))), 2) << i << ' ' << j;
        }
      }
    }
  }
}

TYPED_TEST(PencilBalancing, DoesWhatTheJobSays) {
  using T = TypeParam;
  Pencil<T> pencil = this->badly_scaled(6, 3);
  this->isolate_row(pencil, 4);
  const BalancedPencil<T> nothing = BalancedPencil<T>('n', pencil).run(),
                          permuted = BalancedPencil<T>('p', pencil).run(),
                          scaled = BalancedPencil<T>('s', pencil).run(), both = BalancedPencil<T>('B', pencil).run();
  for (const BalancedPencil<T>* one : {&nothing, &permuted, &scaled, &both}) expect_balanced(pencil, *one);
  EXPECT_TRUE(nothing.A.unchanged() && nothing.B.unchanged());
  EXPECT_EQ(nothing.ilo, 1);
  EXPECT_EQ(nothing.ihi, 6);
  for (Int j = 1; j <= 6; ++j) {
    EXPECT_EQ(nothing.lscale(j), 1);
    EXPECT_EQ(nothing.rscale(j), 1);
  }
  EXPECT_EQ(scaled.ilo, 1);
  EXPECT_EQ(scaled.ihi, 6);
  EXPECT_FALSE(scaled.A.unchanged());
  EXPECT_EQ(permuted.ilo, 1);
  EXPECT_EQ(permuted.ihi, 5);
  EXPECT_EQ(permuted.lscale(6), 4);
  EXPECT_EQ(permuted.rscale(6), 4);
  // Inside, the scales are left at one.
  for (Int j = 1; j <= 5; ++j) {
    EXPECT_EQ(permuted.lscale(j), 1);
    EXPECT_EQ(permuted.rscale(j), 1);
  }
  EXPECT_EQ(both.ihi, 5);
  EXPECT_EQ(both.lscale(6), 4);
  EXPECT_FALSE(both.A.same_as(permuted.A));
  EXPECT_TRUE(nothing.work.unchanged() && permuted.work.unchanged());
}

/// A full block in a triangle, rows and columns of which are permuted each for itself.
TYPED_TEST(PencilBalancing, IsolatesEigenvaluesAtBothEnds) {
  using T = TypeParam;
  for (const auto& [n, first, last] : {std::array{9, 3, 7}, {9, 1, 5}, {9, 4, 9}, {12, 5, 6}}) {
    for (int round = 0; round < 4; ++round) {
      SCOPED_TRACE(testing::Message() << n << ", " << first << " to " << last);
      Pencil<T> pencil = random_pencil<T>(this->random, n, n + 1);
      for (Int j = 1; j <= n; ++j) {
        for (Int i = j + 1; i <= n; ++i) {
          if (j < first || i > last) pencil.A(i, j) = pencil.B(i, j) = T(0);
        }
      }
      for (int swaps = 0; swaps < 20; ++swaps) {
        const Int i = this->random.integer(1, n), j = this->random.integer(1, n), k = this->random.integer(1, n),
                  l = this->random.integer(1, n);
        for (GuardedMatrix<T>* M : {&pencil.A, &pencil.B}) {
          for (Int m = 1; m <= n; ++m) std::swap((*M)(m, i), (*M)(m, j));
          for (Int m = 1; m <= n; ++m) std::swap((*M)(k, m), (*M)(l, m));
        }
      }
      pencil.A.seal();
      pencil.B.seal();
      const BalancedPencil<T> permuted = BalancedPencil<T>('P', pencil).run(),
                              both = BalancedPencil<T>('B', pencil).run();
      for (const BalancedPencil<T>* one : {&permuted, &both}) {
        expect_balanced(pencil, *one);
        EXPECT_EQ(one->ilo, first);
        EXPECT_EQ(one->ihi, last);
      }
      for (Int j = first; j <= last; ++j) {
        EXPECT_EQ(permuted.lscale(j), 1);
        EXPECT_EQ(permuted.rscale(j), 1);
      }
    }
  }
}

/// An element of either matrix counts, and rows are searched from the end, columns from the front.
TYPED_TEST(PencilBalancing, LooksAtBothMatrices) {
  using T = TypeParam;
  for (const bool in_a : {true, false}) {
    Pencil<T> pencil = random_pencil<T>(this->random, 5, 5);
    this->isolate_row(pencil, 2);
    this->isolate_row(pencil, 4);
    (in_a ? pencil.A : pencil.B)(2, 3) = T(1);
    pencil.A.seal();
    pencil.B.seal();
    const BalancedPencil<T> one = BalancedPencil<T>('P', pencil).run();
    expect_balanced(pencil, one);
    EXPECT_EQ(one.ihi, 4);
    EXPECT_EQ(one.lscale(5), 4);
  }
  Pencil<T> rows = random_pencil<T>(this->random, 5, 5);
  this->isolate_row(rows, 2);
  this->isolate_row(rows, 4);
  const BalancedPencil<T> two = BalancedPencil<T>('P', rows).run();
  EXPECT_EQ(two.ihi, 3);
  EXPECT_EQ(two.lscale(5), 4);
  EXPECT_EQ(two.lscale(4), 2);

  Pencil<T> columns = random_pencil<T>(this->random, 5, 5);
  for (const Int j : {2, 4}) {
    for (Int i = 1; i <= 5; ++i) {
      if (i != j) columns.A(i, j) = columns.B(i, j) = T(0);
    }
  }
  columns.A.seal();
  columns.B.seal();
  const BalancedPencil<T> front = BalancedPencil<T>('P', columns).run();
  EXPECT_EQ(front.ilo, 3);
  EXPECT_EQ(front.ihi, 5);
  EXPECT_EQ(front.rscale(1), 2);
  EXPECT_EQ(front.rscale(2), 4);
}

/// A row or a column of zeros is isolated like others; a pencil of zeros as a whole.
TYPED_TEST(PencilBalancing, IsolatesAllOfATriangle) {
  using T = TypeParam;
  Pencil<T> triangle = random_pencil<T>(this->random, 6, 7);
  for (Int j = 1; j <= 6; ++j) {
    for (Int i = j + 1; i <= 6; ++i) triangle.A(i, j) = triangle.B(i, j) = T(0);
  }
  Pencil<T> zero = triangle;
  for (Int j = 1; j <= 6; ++j) {
    for (Int i = 1; i <= 6; ++i) zero.A(i, j) = zero.B(i, j) = T(0);
  }
  for (Pencil<T>* pencil : {&triangle, &zero}) {
    pencil->A.seal();
    pencil->B.seal();
    const BalancedPencil<T> balanced = BalancedPencil<T>('B', *pencil).run();
    EXPECT_EQ(balanced.ilo, 1);
    EXPECT_EQ(balanced.ihi, 1);
    EXPECT_TRUE(balanced.A.unchanged() && balanced.B.unchanged());
    for (Int j = 1; j <= 6; ++j) {
      EXPECT_EQ(balanced.lscale(j), j);
      EXPECT_EQ(balanced.rscale(j), j);
    }
    // There is nothing to scale in zeros.
    const BalancedPencil<T> scaled = BalancedPencil<T>('S', *pencil).run();
    expect_balanced(*pencil, scaled);
    if (pencil == &zero) {
      for (Int j = 1; j <= 6; ++j) EXPECT_EQ(scaled.lscale(j), 1);
    }
  }
}

TYPED_TEST(PencilBalancing, HandlesOrdersZeroAndOne) {
  using T = TypeParam;
  for (const char job : {'N', 'P', 'S', 'B'}) {
    const BalancedPencil<T> none = BalancedPencil<T>(job, random_pencil<T>(this->random, 0, 1)).run();
    EXPECT_EQ(none.info, 0);
    EXPECT_EQ(none.ilo, 1);
    EXPECT_EQ(none.ihi, 0);
    const BalancedPencil<T> one = BalancedPencil<T>(job, random_pencil<T>(this->random, 1, 1)).run();
    EXPECT_EQ(one.info, 0);
    EXPECT_EQ(one.ilo, 1);
    EXPECT_EQ(one.ihi, 1);
    EXPECT_TRUE(one.A.unchanged() && one.B.unchanged());
    EXPECT_EQ(one.lscale(1), 1);
    EXPECT_EQ(one.rscale(1), 1);
  }
}

/// Powers of ten are in range, and so are what they scale.
TYPED_TEST(PencilBalancing, KeepsAwayFromTheLimitsOfNumbers) {
  using T = TypeParam;
  using R = Real<T>;
  const R tiny = std::numeric_limits<R>::min(), huge = std::numeric_limits<R>::max() / 4;
  for (int round = 0; round < 200; ++round) {
    const Int n = this->random.integer(2, 5);
    Pencil<T> pencil = random_pencil<T>(this->random, n, n);
    for (GuardedMatrix<T>* M : {&pencil.A, &pencil.B}) {
      for (Int j = 1; j <= n; ++j) {
        for (Int i = 1; i <= n; ++i) {
          const int kind = this->random.integer(0, 4);
          (*M)(i, j) = kind == 0   ? T(tiny)
                       : kind == 1 ? T(huge)
                       : kind == 2 ? T(0)
                                   : this->random.template divisor<T>();
        }
      }
      M->seal();
    }
    const BalancedPencil<T> balanced = BalancedPencil<T>('S', pencil).run();
    EXPECT_EQ(balanced.info, 0);
    for (Int i = 1; i <= n; ++i) {
      for (const R scale : {balanced.lscale(i), balanced.rscale(i)}) {
        EXPECT_TRUE(std::isfinite(scale));
        EXPECT_GT(scale, 0);
      }
    }
  }
  // One huge row among others: no more than brings its largest element to the limit.
  Pencil<T> pencil{identity_matrix<T>(2, 2), identity_matrix<T>(2, 2)};
  pencil.A(1, 1) = T(huge);
  pencil.A(1, 2) = pencil.B(1, 1) = T(tiny);
  pencil.A.seal();
  pencil.B.seal();
  const BalancedPencil<T> balanced = BalancedPencil<T>('S', pencil).run();
  EXPECT_TRUE(is_finite(balanced.A) && is_finite(balanced.B));
}

/// A NaN is an element like others for the permutation, and nothing is scaled by what it makes of a sum.
TYPED_TEST(PencilBalancing, EndsWhateverTheNumbers) {
  using T = TypeParam;
  using R = Real<T>;
  for (const R odd : {std::numeric_limits<R>::quiet_NaN(), std::numeric_limits<R>::infinity()}) {
    for (Int i = 1; i <= 4; ++i) {
      for (Int j = 1; j <= 4; ++j) {
        for (const bool in_a : {true, false}) {
          Pencil<T> pencil = this->badly_scaled(4, 2);
          GuardedMatrix<T>& M = in_a ? pencil.A : pencil.B;
          M(i, j) = T(odd);
          M.seal();
          const Deadline deadline(20, "ggbal with an odd number");
          const BalancedPencil<T> balanced = BalancedPencil<T>('B', pencil).run();
          EXPECT_EQ(balanced.info, 0);
          EXPECT_EQ(balanced.ihi, 4);
          EXPECT_FALSE(std::isfinite(std::real((in_a ? balanced.A : balanced.B)(i, j))));
          for (Int k = 1; k <= 4; ++k) {
            EXPECT_EQ(balanced.lscale(k), 1);
            EXPECT_EQ(balanced.rscale(k), 1);
          }
        }
      }
    }
  }
}

/// Complex elements are as long as they are: their logarithms are those of magnitudes.
TYPED_TEST(PencilBalancing, MeasuresComplexNumbersByTheirMagnitudes) {
  using T = TypeParam;
  using R = Real<T>;
  if constexpr (ComplexScalar<T>) {
    // Rows and columns share a logarithm of 0.9, half of which is rounded down to zero. That of the sum of parts, 1.05,
    // would not be.
    const R part = R(std::pow(10.0, 0.9) / std::sqrt(2.0));
    Pencil<T> pencil{identity_matrix<T>(2, 2), identity_matrix<T>(2, 2)};
    for (GuardedMatrix<T>* M : {&pencil.A, &pencil.B}) {
      for (Int j = 1; j <= 2; ++j) {
        for (Int i = 1; i <= 2; ++i) (*M)(i, j) = T(part, part);
      }
      M->seal();
    }
    const BalancedPencil<T> balanced = BalancedPencil<T>('S', pencil).run();
    for (Int k = 1; k <= 2; ++k) {
      EXPECT_EQ(balanced.lscale(k), 1);
      EXPECT_EQ(balanced.rscale(k), 1);
    }
  }
}

TYPED_TEST(PencilBalancing, GivesVectorsBack) {
  using T = TypeParam;
  Pencil<T> pencil = this->badly_scaled(7, 3);
  this->isolate_row(pencil, 3);
  const GuardedMatrix<T> V = random_matrix<T>(this->random, 7, 3, 9);
  const BalancedPencil<T> none = BalancedPencil<T>('N', pencil).run();
  BalancedPencil<T> both = BalancedPencil<T>('B', pencil).run();
  EXPECT_TRUE(none.back('R', V).same_as(V));
  // By hand: factors, then exchanges.
  for (const char side : {'R', 'l'}) {
    const auto& scale = side == 'R' ? both.rscale : both.lscale;
    GuardedMatrix<T> expected = V;
    for (Int j = 1; j <= 3; ++j) {
      for (Int i = both.ilo; i <= both.ihi; ++i) expected(i, j) *= scale(i);
      for (Int i = both.ilo - 1; i >= 1; --i) std::swap(expected(i, j), expected(Int(scale(i)), j));
      for (Int i = both.ihi + 1; i <= 7; ++i) std::swap(expected(i, j), expected(Int(scale(i)), j));
    }
    EXPECT_TRUE(both.back(side, V).same_as(expected));
  }
  const GuardedMatrix<T> empty(7, 0, 9);
  EXPECT_TRUE(both.back('L', empty).same_as(empty));
  // Of one row alone the scale is not looked at.
  both.ihi = both.ilo = 2;
  both.job = 'S';
  EXPECT_TRUE(both.back('R', V).same_as(V));
}

/// Exchanges in front are taken back from the last to the first, before those at the end.
TYPED_TEST(PencilBalancing, TakesExchangesBackInTheirOrder) {
  using T = TypeParam;
  using R = Real<T>;
  GuardedMatrix<T> V(6, 1, 6);
  for (Int i = 1; i <= 6; ++i) V(i, 1) = T(R(i));
  V.seal();
  GuardedVector<R> scale(6), other(6);
  for (Int i = 1; i <= 6; ++i) {
    scale(i) = R(std::array{2, 5, 1, 1, 3, 5}[std::size_t(i - 1)]);
    other(i) = 1;
  }
  for (const char side : {'R', 'L'}) {
    GuardedMatrix<T> v = V;
    Int info = 99;
    routine_call::ggbak('P', side, 6, 3, 4, side == 'L' ? scale.data() : other.data(),
                        side == 'R' ? scale.data() : other.data(), 1, Matrix<T>(v), info);
    // Rows 2 and 5, 1 and 2, then 5 and 3, 6 and 5.
    const R expected[] = {5, 1, 2, 4, 6, 3};
    for (Int i = 1; i <= 6; ++i) EXPECT_EQ(v(i, 1), T(expected[i - 1])) << i;
  }
}

// ---------------------------------------------------------------------------------------------------------- arguments

template <Scalar T>
struct ValidBalance : BalancedPencil<T> {
  static Pencil<T> pencil() {
    Random random(3);
    return random_pencil<T>(random, 4, 4);
  }
  ValidBalance() : BalancedPencil<T>('B', pencil()) {}
  Int run() {
    BalancedPencil<T>::run();
    return this->info;
  }
  bool unchanged() const {
    return this->A.unchanged() && this->B.unchanged() && this->lscale.unchanged() && this->rscale.unchanged() &&
           this->work.unchanged() && this->ilo == -7 && this->ihi == -7;
  }
};

template <Scalar T>
struct ValidBack {
  char job = 'B', side = 'R';
  Int n = 4, ilo = 2, ihi = 3, m = 4, ldv = 4, info = 99;
  GuardedMatrix<T> V = ValidBalance<T>::pencil().A;
  GuardedVector<Real<T>> scale{4};

  ValidBack() {
    for (Int i = 1; i <= 4; ++i) scale(i) = Real<T>(i);
    scale.seal();
  }
  Int run() {
    routine_call::ggbak(job, side, n, ilo, ihi, scale.data(), scale.data(), m, Matrix<T>(V.data(), ldv), info);
    return info;
  }
  bool unchanged() const { return V.unchanged() && scale.unchanged(); }
};

TYPED_TEST(PencilBalancing, ChecksItsArguments) {
  using T = TypeParam;
  using Call = ValidBalance<T>;
  expect_argument_checks<Call>(reported_name<T>("GGBAL"), {{1, [](Call& c) { c.job = 'R'; }},
                                                           {2, [](Call& c) { c.n = -1; }},
                                                           {4, [](Call& c) { c.lda = 3; }},
                                                           {6, [](Call& c) { c.ldb = 3; }}});
  using Back = ValidBack<T>;
  const std::string name = reported_name<T>("GGBAK");
  expect_argument_checks<Back>(name, {{1, [](Back& c) { c.job = 'R'; }},
                                      {2, [](Back& c) { c.side = 'B'; }},
                                      {3, [](Back& c) { c.n = -1; }},
                                      {4, [](Back& c) { c.ilo = 0; }},
                                      {5, [](Back& c) { c.ihi = 5; }},
                                      {8, [](Back& c) { c.m = -1; }},
                                      {10, [](Back& c) { c.ldv = 3; }}});
  Back early_end, empty, late_start, late_end, none;
  early_end.ihi = 1;
  expect_report(early_end, name, 5);
  late_start.ilo = 5;
  expect_report(late_start, name, 5);
  empty.n = empty.ihi = 0;
  empty.ilo = 1;
  expect_report(empty, name, 0);
  late_end.n = 0;
  late_end.ilo = late_end.ihi = 1;
  expect_report(late_end, name, 5);
  none.n = none.ihi = 0;
  expect_report(none, name, 4);
}

}  // namespace
}  // namespace nuv::test
