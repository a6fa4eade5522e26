// Setting, copying, permuting and conjugating, and the last of what is not zero: ?laset, ?lacpy, ?lapmt, ?lapmr,
// ?lacgv, ila?lc, ila?lr.

#include <algorithm>
#include <complex>
#include <limits>
#include <numeric>
#include <utility>

#include "routines.hpp"
#include "support/options.hpp"
#include "support/precisions.hpp"
#include "support/random.hpp"

namespace nuv::test {
namespace {

template <class T>
class MatrixUtilities : public testing::Test {
 protected:
  Random random{26};
};
TYPED_TEST_SUITE(MatrixUtilities, Precisions, PrecisionLetter);

constexpr char parts[] = {'U', 'u', 'L', 'l', 'A', 'F', ' ', '\0'};

struct Shape {
  Int m, n;
};
constexpr Shape shapes[] = {{0, 0}, {0, 3}, {3, 0}, {1, 1}, {1, 4}, {4, 1}, {2, 3}, {5, 5}, {9, 4}, {4, 9}, {33, 30}};

/// A shape larger than any matrix that is left in the caches. With odd leading dimensions its columns have every
/// alignment.
template <Scalar T>
Shape large_shape(Int m) {
  return {m, Int((34 << 20) / sizeof(T)) / m};
}

struct Part {
  char uplo;
  Int rows;
};
constexpr Part large_parts[] = {{'A', 3001}, {'A', 7}, {'U', 1501}, {'L', 1501}};

template <Scalar T>
void expect_set(Random& random, char uplo, Shape shape, Int ld) {
  const auto [m, n] = shape;
  const T alpha = random.scalar<T>(), beta = random.scalar<T>();
  GuardedMatrix<T> A(m, n, ld);
  routine_call::laset(uplo, m, n, alpha, beta, A);
  const auto is_written = [&](Int i, Int j) {
    return i == j || (same_letter(uplo, 'U') ? i < j : same_letter(uplo, 'L') ? i > j : true);
  };
  EXPECT_TRUE(A.unchanged_except(is_written)) << uplo;
  Int wrong = 0;
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= m; ++i) wrong += is_written(i, j) && A(i, j) != (i == j ? beta : alpha);
  }
  EXPECT_EQ(wrong, 0) << uplo << " " << m << " by " << n;
}

TYPED_TEST(MatrixUtilities, SetsTheDiagonalAndThePartNamed) {
  for (const char uplo : parts) {
    for (const Shape shape : shapes) expect_set<TypeParam>(this->random, uplo, shape, shape.m + 3);
  }
}

TYPED_TEST(MatrixUtilities, SetsLargeMatrices) {
  for (const auto& [uplo, rows] : large_parts) {
    expect_set<TypeParam>(this->random, uplo, large_shape<TypeParam>(rows), rows + 2);
  }
}

template <Scalar T>
void expect_copied(char uplo, Shape shape, Int ld) {
  const auto [m, n] = shape;
  GuardedMatrix<T> A(m, n, m + 1), B(m, n, ld);
  const auto is_part = [&](Int i, Int j) {
    return same_letter(uplo, 'U') ? i <= j : same_letter(uplo, 'L') ? i >= j : true;
  };
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= m; ++i) {
      if (is_part(i, j)) A(i, j) = T(Real<T>(1 + (i * 31 + j) % 4093));
    }
  }
  A.seal();
  routine_call::lacpy(uplo, m, n, A, B);
  EXPECT_TRUE(A.unchanged());
  EXPECT_TRUE(B.unchanged_except(is_part)) << uplo;
  Int wrong = 0;
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= m; ++i) wrong += is_part(i, j) && !same_bits(A(i, j), B(i, j));
  }
  EXPECT_EQ(wrong, 0) << uplo << " " << m << " by " << n;
}

TYPED_TEST(MatrixUtilities, CopiesThePartNamed) {
  for (const char uplo : parts) {
    for (const Shape shape : shapes) expect_copied<TypeParam>(uplo, shape, shape.m + 4);
  }
}

TYPED_TEST(MatrixUtilities, CopiesLargeMatrices) {
  for (const auto& [uplo, rows] : large_parts) expect_copied<TypeParam>(uplo, large_shape<TypeParam>(rows), rows + 2);
}

// ------------------------------------------------------------------------------------------------------ permutations

std::vector<Int> random_permutation(Random& random, Int n) {
  std::vector<Int> k(static_cast<std::size_t>(n));
  std::iota(k.begin(), k.end(), 1);
  for (Int i = n; i > 1; --i) std::swap(k[std::size_t(i - 1)], k[std::size_t(random.integer(0, i - 1))]);
  return k;
}

/// lapmt or lapmr, and which element of the matrix that is given comes to place (i, j).
struct Columns {
  static Int places(Int, Int n) { return n; }
  static void permute(Logical forward, Int m, Int n, auto X, Int* k) { routine_call::lapmt(forward, m, n, X, k); }
  static std::pair<Int, Int> source(Int i, Int j, const GuardedVector<Int>& k) { return {i, k(j)}; }
};
struct Rows {
  static Int places(Int m, Int) { return m; }
  static void permute(Logical forward, Int m, Int n, auto X, Int* k) { routine_call::lapmr(forward, m, n, X, k); }
  static std::pair<Int, Int> source(Int i, Int j, const GuardedVector<Int>& k) { return {k(i), j}; }
};

template <Scalar T, class Lines>
void expect_permuted(Random& random, Int m, Int n) {
  const std::vector<Int> permutation = random_permutation(random, Lines::places(m, n));
  for (const Logical forward : {to_logical(true), to_logical(false), Logical{1}}) {
    GuardedMatrix<T> X = random_matrix<T>(random, m, n, m + 2);
    GuardedVector<Int> k(Lines::places(m, n));
    for (Int i = 1; i <= k.size(); ++i) k(i) = permutation[std::size_t(i - 1)];
    k.seal();
    Lines::permute(forward, m, n, Matrix<T>(X), k.data());
    EXPECT_TRUE(k.unchanged());
    EXPECT_TRUE(X.guards_unchanged());
    for (Int j = 1; j <= n; ++j) {
      for (Int i = 1; i <= m; ++i) {
        const auto [row, column] = Lines::source(i, j, k);
        if (forward != 0) {
          EXPECT_EQ(X(i, j), X.sealed(row, column));
        } else {
          EXPECT_EQ(X(row, column), X.sealed(i, j));
        }
      }
    }
    Lines::permute(forward != 0 ? 0 : 1, m, n, Matrix<T>(X), k.data());
    EXPECT_TRUE(k.unchanged());
    EXPECT_TRUE(X.unchanged());
  }
}

TYPED_TEST(MatrixUtilities, PermutesAndRestoresThePermutation) {
  for (const Int lines : {0, 1, 2, 3, 4, 10, 31}) {
    for (const Int across : {0, 1, 5}) {
      for (int repetition = 0; repetition < 4; ++repetition) {
        expect_permuted<TypeParam, Columns>(this->random, across, lines);
        expect_permuted<TypeParam, Rows>(this->random, lines, across);
      }
    }
  }
}

TYPED_TEST(MatrixUtilities, LeavesThePermutationOfOneLine) {
  using T = TypeParam;
  GuardedMatrix<T> X = random_matrix<T>(this->random, 3, 3, 3);
  for (const Logical forward : {to_logical(true), to_logical(false)}) {
    for (const Int lines : {-1, 0, 1}) {
      Int k = -7;
      routine_call::lapmt(forward, 3, lines, X, &k);
      routine_call::lapmr(forward, lines, 3, X, &k);
      EXPECT_EQ(k, -7);
      EXPECT_TRUE(X.unchanged());
    }
  }
}

// -------------------------------------------------------------------------------------------- the last of what is not
// zero

TYPED_TEST(MatrixUtilities, FindsTheLastRowAndColumnThatAreNotZero) {
  using T = TypeParam;
  using R = Real<T>;
  // A number without a real part, as well; signs of zeros do not count.
  T some(1);
  if constexpr (ComplexScalar<T>) some = T(0, 1);
  for (const auto& [m, n] : {Shape{1, 1}, {1, 4}, {5, 1}, {4, 6}, {6, 3}}) {
    for (const T value : {some, T(std::numeric_limits<R>::denorm_min()), T(std::numeric_limits<R>::quiet_NaN())}) {
      for (Int row = 1; row <= m; ++row) {
        for (Int column = 1; column <= n; ++column) {
          GuardedMatrix<T> A(m, n, m + 2);
          for (Int j = 1; j <= n; ++j) std::fill_n(&A(1, j), m, T(R(-0.0)));
          A(row, column) = value;
          EXPECT_EQ(routine_call::ilalc(m, n, A), column);
          EXPECT_EQ(routine_call::ilalr(m, n, A), row);
          A(m, 1) = some;  // the last of rows and of columns may be those of two elements
          EXPECT_EQ(routine_call::ilalc(m, n, A), column);
          EXPECT_EQ(routine_call::ilalr(m, n, A), m);
        }
      }
    }
  }
}

TYPED_TEST(MatrixUtilities, FindsNoLastRowOrColumnOfZeros) {
  using T = TypeParam;
  for (const Shape shape : shapes) {
    const auto [m, n] = shape;
    GuardedMatrix<T> A(m, n, m + 1);
    for (Int j = 1; j <= n; ++j) std::fill_n(A.data() + std::ptrdiff_t(j - 1) * A.ld(), m, T(0));
    EXPECT_EQ(routine_call::ilalc(m, n, A), 0);
    EXPECT_EQ(routine_call::ilalr(m, n, A), 0);
  }
}

// ------------------------------------------------------------------------------------------------------- conjugation

TYPED_TEST(MatrixUtilities, ConjugatesVectors) {
  using T = TypeParam;
  if constexpr (ComplexScalar<T>) {
    for (const Int n : {0, 1, 2, 9}) {
      for (const Int incx : {1, 2, -1, -3}) {
        GuardedVector<T> x = random_vector<T>(this->random, n, incx);
        routine_call::lacgv(n, x);
        EXPECT_TRUE(x.guards_unchanged());
        for (Int i = 1; i <= n; ++i) EXPECT_EQ(x(i), std::conj(x.sealed(i)));
      }
    }
    T real(1, 0);
    routine_call::lacgv(1, {&real, 1});
    EXPECT_FALSE(std::signbit(real.imag()));
  }
}

}  // namespace
}  // namespace nuv::test
