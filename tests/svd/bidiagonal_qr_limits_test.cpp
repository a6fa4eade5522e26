// The limits of ?bdsqr: the least numbers, the steps that it is allowed, and what is no number.

#include <complex>

#include "support/random.hpp"
#include "svd/bidiagonal_iteration.hpp"

namespace nuv::test {
namespace {

template <class T>
class BidiagonalQrLimits : public testing::Test {
 protected:
  using R = Real<T>;

  static void SetUpTestSuite() {
    for (const Answer answer : answers) Iteration<T>::of_all('U', Bidiagonal<R>{{1, 2, 3}, {1, 1}}).run(answer);
  }

  Bidiagonal<R> random_bidiagonal(Int n) {
    Bidiagonal<R> matrix{std::vector<R>(std::size_t(n)), std::vector<R>(std::size_t(n) - 1)};
    for (std::vector<R>* numbers : {&matrix.d, &matrix.e}) {
      for (R& x : *numbers) x = random.scalar<R>();
    }
    return matrix;
  }

  /// One row for U and one column each for VT and C, that of C the same as the row.
  Iteration<T> with_lines(const Bidiagonal<R>& matrix) {
    const Int n = matrix.order();
    const GuardedMatrix<T> x = random_matrix<T>(random, 1, n, 1);
    GuardedMatrix<T> c(n, 1, n);
    std::copy_n(x.data(), n, c.data());
    c.seal();
    return {'U', matrix, random_matrix<T>(random, n, 1, n), x, c};
  }

  Random random{89};
};
TYPED_TEST_SUITE(BidiagonalQrLimits, Precisions, PrecisionLetter);

// ---------------------------------------------------------------------------------------------------- the least values

/// Values from `largest` to `least`, which are hidden among elements of the size of the values around them.
template <RealScalar R>
Bidiagonal<R> graded(Int n, double largest, double least, bool downwards) {
  Random random(5);
  Bidiagonal<R> matrix;
  const auto size = [&](double i) {
    const double part = (downwards ? i : n - 1 - i) / (n - 1);
    return largest * std::pow(least / largest, part) * (random.integer(0, 1) == 0 ? -1 : 1);
  };
  for (Int i = 0; i < n; ++i) matrix.d.push_back(R(size(i)));
  for (Int i = 0; i < n - 1; ++i) matrix.e.push_back(R(0.6 * size(i + 0.5)));
  return matrix;
}

/// Values from the largest to the least in matrices up to an order. Elements of 6 n^2 of the least number are nothing
/// to the iteration; larger matrices have elements like that beside values that are close to each other.
struct Range {
  double largest, least;
  Int most;
};

template <RealScalar R>
std::vector<Range> ranges() {
  if constexpr (std::same_as<R, float>) {
    return {{1, 1e-32, 40}, {1e3, 1e-30, 40}, {1e-20, 1e-32, 10}, {1e38, 1e10, 40}};
  } else {
    return {{1, 1e-300, 40}, {1e8, 1e-280, 40}, {1e-250, 1e-300, 10}, {1e308, 1e100, 40}};
  }
}

/// The error of the values in eps of each.
template <Scalar T>
double error_of_values(const Iteration<T>& iteration, const Bidiagonal<Real<T>>& matrix) {
  EXPECT_EQ(iteration.info, 0);
  return relative_error(iteration.d.data(), singular_values(matrix), 0);
}

TYPED_TEST(BidiagonalQrLimits, KeepsTheDigitsOfTheLeastValues) {
  using T = TypeParam;
  using R = Real<T>;
  for (const auto& [largest, least, most] : ranges<R>()) {
    for (const Int n : {3, 10, 40}) {
      if (n > most) continue;
      for (const bool downwards : {true, false}) {
        const auto matrix = graded<R>(n, largest, least, downwards);
        for (const char uplo : {'U', 'L'}) {
          for (const Answer answer : answers) {
            SCOPED_TRACE(testing::Message()
                         << largest << " to " << least << ", order " << n << ' ' << downwards << uplo << int(answer));
            EXPECT_LT(error_of_values(Iteration<T>::of_all(uplo, matrix).run(answer), matrix), 4 + n / 2.0);
          }
        }
      }
    }
  }
}

/// Values alone are found by their squares, which are in range if the least value is not below the largest by more than
/// the range of numbers itself.
TYPED_TEST(BidiagonalQrLimits, KeepsTheDigitsOfTheLeastValuesAlone) {
  using T = TypeParam;
  using R = Real<T>;
  for (const auto& [largest, least, most] : ranges<R>()) {
    for (const Int n : {3, 10, 40}) {
      for (const bool downwards : {true, false}) {
        const double floor = largest * (std::same_as<R, float> ? 1e-33 : 1e-292);
        const auto matrix = graded<R>(n, largest, std::max(least, floor), downwards);
        SCOPED_TRACE(testing::Message() << largest << " to " << least << ", order " << n << ' ' << downwards);
        EXPECT_LT(error_of_values(Iteration<T>::of_values('U', matrix).run(), matrix), 4 + n / 2.0);
      }
    }
  }
}

// ----------------------------------------------------------------------------------------------------------- its steps

/// Takes the lines with it: what the matrix does to them is the same before and behind all steps.
template <Scalar T>
void expect_equivalence(const Iteration<T>& iteration) {
  const auto form = [n = iteration.n](const auto* d, const auto* e, const T* x, const T* y) {
    Wide<T> sum = 0;
    for (Int i = 0; i < n; ++i) {
      sum += wide(x[i]) * Wide<T>(d[i]) * wide(y[i]);
      if (i + 1 < n) sum += wide(x[i]) * Wide<T>(e[i]) * wide(y[i + 1]);
    }
    return sum;
  };
  const auto& [d, e, U, VT] = std::tie(iteration.d, iteration.e, iteration.U, iteration.VT);
  const Wide<T> before = form(&d.sealed(1), &e.sealed(1), &U.sealed(1, 1), &VT.sealed(1, 1));
  const Wide<T> behind = form(d.data(), e.data(), U.data(), VT.data());
  const auto length = [n = iteration.n](const T* x) {
    WideReal<T> sum = 0;
    for (Int i = 0; i < n; ++i) sum += std::norm(wide(x[i]));
    return std::sqrt(sum);
  };
  EXPECT_LT(ratio(std::abs(behind - before), length(U.data()) * length(VT.data()) * epsilon<T>), 100);
  for (Int i = 1; i <= iteration.n; ++i) {
    ASSERT_LT(double(std::abs(iteration.C(i, 1) - U(1, i)) / epsilon<T>), 10 * std::sqrt(iteration.n)) << i;
  }
}

Int count_of_nonzeros(const auto& x) {
  return Int(std::count_if(x.data(), x.data() + x.size(), [](auto number) { return number != 0; }));
}

/// The limit of 6 n^2 is formed in 32 bits. The largest order for which they hold it is 18918.
TYPED_TEST(BidiagonalQrLimits, SolvesTheLargestOrderWhoseLimitIsInRange) {
  using T = TypeParam;
  using R = Real<T>;
  if constexpr (!std::same_as<T, double>) return;
  Bidiagonal<R> matrix{std::vector<R>(18918, R(1)), std::vector<R>(18917)};
  matrix.d[3] = -2;
  Iteration<T> iteration = this->with_lines(matrix).run();
  EXPECT_EQ(iteration.info, 0);
  EXPECT_EQ(iteration.d(1), R(2));
}

/// Behind that order it is below zero, and nothing is done.
TYPED_TEST(BidiagonalQrLimits, DoesNothingWhereItsLimitIsBelowZero) {
  using T = TypeParam;
  using R = Real<T>;
  for (const Int n : {18919, 26754}) {
    for (const Answer answer : answers) {
      SCOPED_TRACE(testing::Message() << n << ' ' << int(answer));
      Bidiagonal<R> matrix = this->random_bidiagonal(n);
      matrix.e[7] = 0;
      const Iteration<T> iteration = this->with_lines(matrix).run(answer);
      EXPECT_EQ(iteration.info, n - 2);
      EXPECT_EQ(iteration.kept, 0);
      EXPECT_TRUE(iteration.d.unchanged() && iteration.e.unchanged());
      EXPECT_TRUE(iteration.VT.unchanged() && iteration.U.unchanged() && iteration.C.unchanged());
    }
  }
}

/// Once the product is beyond all 32 bits, there are steps again, but few: for n = 26755 those of one sweep, for 26756
/// those of 13, which wait to be applied when the steps are used up, and for 65536 none, which allows the first sweep.
TYPED_TEST(BidiagonalQrLimits, HandsBackWhereItIsWhenItsStepsAreUsedUp) {
  using T = TypeParam;
  for (const Int n : {26755, 26756, 65536}) {
    for (const Answer answer : answers) {
      SCOPED_TRACE(testing::Message() << n << ' ' << int(answer));
      const Iteration<T> iteration = this->with_lines(this->random_bidiagonal(n)).run(answer);
      EXPECT_GT(iteration.info, 0);
      EXPECT_EQ(iteration.info, count_of_nonzeros(iteration.e));
      EXPECT_EQ(iteration.kept, 0);
      EXPECT_FALSE(iteration.d.unchanged());
      EXPECT_FALSE(std::is_sorted(iteration.d.data(), iteration.d.data() + n, std::greater<>()));
      iteration.expect_guards();
      expect_equivalence(iteration);
    }
  }
}

/// A block of three rows, and the sweep that is to come first, with or without shift.
template <RealScalar R>
struct FirstSweep {
  R d[3], e[2];
  bool downwards, has_shift;
};

/// Where the limit of steps is zero, what the first sweep makes of a block is what comes back.
TYPED_TEST(BidiagonalQrLimits, SweepsFromTheLargeEndAndWithoutShiftWhereThatWouldCostDigits) {
  using T = TypeParam;
  using R = Real<T>;
  if constexpr (ComplexScalar<T>) return;  // the numbers are the same
  constexpr bool is_single = std::same_as<R, float>;
  const Int n = 65536, first = n - 2;
  const FirstSweep<R> sweeps[] = {
      {{3, 2, 1}, {0.5, 0.25}, true, true},
      {{1, 2, 3}, {0.5, 0.25}, false, true},
      {{-2, 1, 2}, {0.5, 0.25}, true, true},
      {{1, R(0.5), R(1e-8)}, {0.5, 0.25}, true, false},  // beside the largest there is too small a value
      {{R(1e-8), R(0.5), 1}, {0.5, 0.25}, false, false},
      {{1, R(0.5), R(1e-4)}, {0.5, 0.25}, true, !is_single},  // the shift is next to nothing where the sweep begins
      {{R(1e-4), R(0.5), 1}, {0.5, 0.25}, false, !is_single},
      {{1, R(0.5), R(1e-3)}, {0.5, 0.25}, true, true}};
  for (const auto& [block_d, block_e, downwards, has_shift] : sweeps) {
    SCOPED_TRACE(testing::Message() << block_d[0] << ", " << block_d[2]);
    Bidiagonal<R> matrix{std::vector<R>(std::size_t(n), R(1)), std::vector<R>(std::size_t(n) - 1)};
    std::copy_n(block_d, 3, &matrix.d[std::size_t(first) - 1]);
    std::copy_n(block_e, 2, &matrix.e[std::size_t(first) - 1]);
    const Iteration<T> iteration = this->with_lines(matrix).run();
    EXPECT_EQ(iteration.info, 2);
    expect_equivalence(iteration);

    R d[3], e[2], rotations[8], shift = 0, larger;
    std::copy_n(block_d, 3, d);
    std::copy_n(block_e, 2, e);
    const Int pair = downwards ? 1 : 0;  // of the rows at the end
    routine_call::las2(d[pair], e[pair], d[pair + 1], shift, larger);
    if (has_shift) {
      downwards ? routine_call::laq1(2, d, e, shift, rotations, 2, 1)
                : routine_call::laq2(3, d, e, shift, rotations, 2, 1);
    } else {
      downwards ? routine_call::laq3(2, d, e, rotations, 2, 1) : routine_call::laq4(3, d, e, rotations, 2, 1);
    }
    for (Int i = 0; i < 3; ++i) EXPECT_EQ(iteration.d(first + i), d[i]) << i;
    for (Int i = 0; i < 2; ++i) EXPECT_EQ(iteration.e(first + i), e[i]) << i;
  }
}

// -------------------------------------------------------------------------------------------------------- not a number

/// The block with a NaN uses up all steps. Square matrices come back as they are stored, and what the other block had
/// to do with them is complete.
TYPED_TEST(BidiagonalQrLimits, GivesUpWhereSweepsDoNotHelp) {
  using T = TypeParam;
  using R = Real<T>;
  const Int n = 9, first = 6, size = 4;
  for (const Answer answer : answers) {
    for (const Int length : {n, n + 2}) {  // square matrices and others
      Bidiagonal<R> matrix = this->random_bidiagonal(n);
      matrix.e[first - 2] = 0;  // blocks of rows 1 to 5 and 6 to 9
      matrix.d[2] = std::numeric_limits<R>::quiet_NaN();
      Iteration<T> iteration('U', matrix, random_matrix<T>(this->random, n, length, n + 1),
                             random_matrix<T>(this->random, 2, n, 2), random_matrix<T>(this->random, n, length, n));
      const WideMatrix<T> VT = wide(iteration.VT), U = wide(iteration.U), C = wide(iteration.C);
      iteration.run(answer);
      EXPECT_GT(iteration.info, 0);
      EXPECT_LT(iteration.info, n - 1);
      EXPECT_EQ(iteration.info, count_of_nonzeros(iteration.e));
      EXPECT_EQ(iteration.kept, 0);
      iteration.expect_guards();
      for (Int i = first; i < n; ++i) EXPECT_EQ(iteration.e(i), R(0)) << i;

      WideMatrix<T> B = dense<T>('U', n, &iteration.d.sealed(1), &iteration.e.sealed(1)).bottomRightCorner(size, size);
      WideMatrix<T> S = WideMatrix<T>::Zero(size, size);
      for (Int i = 0; i < size; ++i) S(i, i) = Wide<T>(iteration.d(first + i));
      const auto expect_same = [&](const WideMatrix<T>& before, const WideMatrix<T>& M, const WideMatrix<T>& behind) {
        const WideMatrix<T> rest = behind.transpose() * S * S * behind - before.transpose() * M * before;
        EXPECT_LT(double(rest.cwiseAbs().maxCoeff() / epsilon<T>), 100 * n);
      };
      expect_same(VT.bottomRows(size), B.transpose() * B, wide(iteration.VT).bottomRows(size));
      expect_same(C.bottomRows(size), B * B.transpose(), wide(iteration.C).bottomRows(size));
      expect_same(U.rightCols(size).transpose(), B * B.transpose(), wide(iteration.U).rightCols(size).transpose());
    }
  }
}

/// With a first number that is none there is no bound of the least value; blocks are found all the same, and zeros.
TYPED_TEST(BidiagonalQrLimits, EndsWithAnyNumbersThatAreNotFinite) {
  using T = TypeParam;
  using R = Real<T>;
  const Int n = 7;
  const R nan = std::numeric_limits<R>::quiet_NaN(), infinity = std::numeric_limits<R>::infinity();
  for (const R bad : {nan, infinity, negated(infinity)}) {
    for (Int at = 0; at < 2 * n - 1; ++at) {
      for (Int zero = -1; zero < n - 1; ++zero) {
        for (const char uplo : {'U', 'L'}) {
          SCOPED_TRACE(testing::Message() << bad << " at " << at << ", zero above at " << zero << ' ' << uplo);
          Bidiagonal<R> matrix = this->random_bidiagonal(n);
          (at < n ? matrix.d[std::size_t(at)] : matrix.e[std::size_t(at - n)]) = bad;
          if (zero >= 0 && zero != at - n) matrix.e[std::size_t(zero)] = 0;
          for (const bool has_vectors : {true, false}) {
            Iteration<T> iteration =
                has_vectors ? Iteration<T>::of_all(uplo, matrix) : Iteration<T>::of_values(uplo, matrix);
            iteration.run();
            iteration.expect_guards();
            EXPECT_EQ(iteration.kept, 0);
            const auto is_finite = [](R x) { return std::isfinite(x); };
            EXPECT_TRUE(iteration.info > 0 || !std::all_of(iteration.d.data(), iteration.d.data() + n, is_finite))
                << has_vectors;
          }
        }
      }
    }
  }
}

}  // namespace
}  // namespace nuv::test
