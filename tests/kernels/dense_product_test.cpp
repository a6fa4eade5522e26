// Products of a matrix and a vector: ?gemv, ?symv, ?hemv and their forms for the reductions, ?symv_nb and ?hemv_nb.

#include <limits>

#include "blas.hpp"
#include "kernels/dense_cases.hpp"

namespace nuv::test {
namespace {

// -------------------------------------------------------------------------------------------------------------- gemv

template <Scalar T>
void expect_product(Random& random, char trans, Int m, Int n, Int incx, Int incy) {
  const T alpha = random_alpha<T>(random), beta = random_beta<T>(random);
  SCOPED_TRACE(testing::Message() << trans << ", " << m << " by " << n << ", alpha " << alpha << ", beta " << beta
                                  << ", increments " << incx << ", " << incy);
  const Int lda = random_ld(random, m), length_x = is_transposed(trans) ? m : n,
            length_y = is_transposed(trans) ? n : m;

  // What a zero factor makes irrelevant holds guards.
  GuardedMatrix<T> A(m, n, lda);
  Operand<T> x = unset_operand<T>(random, length_x, incx), y = unset_operand<T>(random, length_y, incy);
  Sum<T> expected(length_y, 1);
  if (beta != T(0) || m == 0 || n == 0) {
    y = random_operand<T>(random, length_y, incy);
    expected.add(beta, wide(y));
  }
  if (alpha != T(0)) {
    A = random_matrix<T>(random, m, n, lda);
    x = random_operand<T>(random, length_x, incx);
    expected.add(alpha, op<T>(trans, wide(A)), wide(x));
  }
  blas::gemv(trans, m, n, alpha, A, x, beta, y);
  EXPECT_TRUE(A.unchanged());
  EXPECT_TRUE(x.unchanged());
  EXPECT_TRUE(y.guards_unchanged());
  if (m == 0 || n == 0 || (alpha == T(0) && beta == T(1))) {
    EXPECT_TRUE(y.unchanged());
  } else {
    EXPECT_LT(expected.error_of(wide(y)), dense_threshold);
  }
}

TYPED_TEST(DenseKernels, MultipliesByAMatrix) {
  using T = TypeParam;
  for (const auto& [m, n] : dense_shapes()) {
    for (const char trans : transes) {
      expect_product<T>(this->random, this->random.in_some_case(trans), m, n, random_increment(this->random),
                        random_increment(this->random));
    }
  }
}

TYPED_TEST(DenseKernels, MultipliesByATallOrAWideMatrix) {
  using T = TypeParam;
  for (const char trans : transes) {
    for (const Int few : {1, 19}) {
      expect_product<T>(this->random, trans, length_of_several_pieces<T>, few, 1, 1);
      expect_product<T>(this->random, trans, few, 3000, 1, 1);
    }
    expect_product<T>(this->random, trans, length_of_several_pieces<T>, 9, -2, 2);
  }
}

template <Scalar T>
struct GemvCall {
  char trans = 'N';
  Int m = 3, n = 2, lda = 4, incx = 1, incy = 1;
  Random random{1};
  GuardedMatrix<T> a = random_matrix<T>(random, 3, 2, 4);
  GuardedVector<T> x = random_vector<T>(random, 3, 1), y = random_vector<T>(random, 3, 1);

  void run() { blas::gemv(trans, m, n, T(1), {a.data(), lda}, {x.data(), incx}, T(2), {y.data(), incy}); }
  bool unchanged() const { return a.unchanged() && x.unchanged() && y.unchanged(); }
};

TYPED_TEST(DenseKernels, ChecksTheArgumentsOfGemv) {
  using T = TypeParam;
  const std::string name = reported_name<T>("GEMV");
  expect_argument_checks<GemvCall<T>>(name, {{1, [](auto& c) { c.trans = 'X'; }},
                                             {1, [](auto& c) { c.trans = char('t' + 128); }},
                                             {2, [](auto& c) { c.m = -1; }},
                                             {3, [](auto& c) { c.n = -1; }},
                                             {6, [](auto& c) { c.lda = 2; }},
                                             {6, [](auto& c) { c.lda = 0; }},
                                             {8, [](auto& c) { c.incx = 0; }},
                                             {11, [](auto& c) { c.incy = 0; }}});
  GemvCall<T> transposed, empty;
  transposed.trans = 'T';
  transposed.lda = 2;
  expect_report(transposed, name, 6);
  empty.m = empty.lda = 0;
  expect_report(empty, name, 6);
}

// ---------------------------------------------------------------------------------------------------- symv and hemv

struct Published {
  template <Scalar T>
  static void run(char uplo, Int n, T alpha, Matrix<const T> A, Vector<const T> x, T beta, Vector<T> y) {
    if constexpr (ComplexScalar<T>) {
      blas::hemv(uplo, n, alpha, A, x, beta, y);
    } else {
      blas::symv(uplo, n, alpha, A, x, beta, y);
    }
  }
};

/// The form with a second order.
struct ForReductions {
  Int second;

  template <Scalar T>
  void run(char uplo, Int n, T alpha, Matrix<const T> A, Vector<const T> x, T beta, Vector<T> y) const {
    if constexpr (ComplexScalar<T>) {
      blas::hemv_nb(uplo, n, second, alpha, A, x, beta, y);
    } else {
      blas::symv_nb(uplo, n, second, alpha, A, x, beta, y);
    }
  }
};

template <Scalar T, class Kernel>
void expect_symmetric_product(Random& random, const Kernel& kernel, char uplo, Int n, Int incx, Int incy) {
  const T alpha = random_alpha<T>(random), beta = random_beta<T>(random);
  SCOPED_TRACE(testing::Message() << uplo << ", order " << n << ", alpha " << alpha << ", beta " << beta
                                  << ", increments " << incx << ", " << incy);
  const Int lda = random_ld(random, n);
  GuardedMatrix<T> A(n, n, lda);
  Operand<T> x = unset_operand<T>(random, n, incx), y = unset_operand<T>(random, n, incy);
  Sum<T> expected(n, 1);
  if (beta != T(0)) {
    y = random_operand<T>(random, n, incy);
    expected.add(beta, wide(y));
  }
  if (alpha != T(0)) {
    A = random_stored_triangle<T>(random, uplo, n, lda);
    x = random_operand<T>(random, n, incx);
    expected.add(alpha, wide_symmetric(A, uplo), wide(x));
  }
  kernel.template run<T>(uplo, n, alpha, A, x, beta, y);
  EXPECT_TRUE(A.unchanged());
  EXPECT_TRUE(x.unchanged());
  EXPECT_TRUE(y.guards_unchanged());
  if (alpha == T(0) && beta == T(1)) {
    EXPECT_TRUE(y.unchanged());
  } else {
    EXPECT_LT(expected.error_of(wide(y)), dense_threshold);
  }
}

/// Columns at the same place in a line each, in all places that there are.
TYPED_TEST(DenseKernels, MultipliesByAShortTriangleInLines) {
  using T = TypeParam;
  for (Int n = 1; n <= 66; n += n < 20 ? 1 : 3) {
    for (Int above = 0; above < 16; ++above) {
      SCOPED_TRACE(testing::Message() << "order " << n << " below row " << above);
      const T alpha = random_alpha<T>(this->random);
      const GuardedMatrix<T> B = random_stored_triangle<T>(this->random, 'L', n, n);
      const Operand<T> x = random_operand<T>(this->random, n, 1);
      GuardedMatrix<T> A(n + above, n, 96);
      for (Int j = 1; j <= n; ++j) {
        for (Int i = j; i <= n; ++i) A(above + i, j) = B(i, j);
      }
      A.seal();
      Operand<T> y = unset_operand<T>(this->random, n, 1);
      Sum<T> expected(n, 1);
      expected.add(alpha, wide_symmetric(B, 'L'), wide(x));
      Published::run<T>('L', n, alpha, block(Matrix<const T>(A), above + 1, 1), x, T(0), y);
      EXPECT_TRUE(A.unchanged());
      EXPECT_TRUE(y.guards_unchanged());
      EXPECT_LT(expected.error_of(wide(y)), dense_threshold);
    }
  }
}

TYPED_TEST(DenseKernels, MultipliesByASymmetricMatrix) {
  using T = TypeParam;
  for (const char uplo : uplos) {
    for (const Int n : dense_orders()) {
      for (int repetition = 0; repetition < 6; ++repetition) {
        const Int incx = random_increment(this->random), incy = random_increment(this->random);
        expect_symmetric_product<T>(this->random, Published{}, this->random.in_some_case(uplo), n, incx, incy);
      }
    }
  }
}

TYPED_TEST(DenseKernels, MultipliesByALargeSymmetricMatrix) {
  using T = TypeParam;
  const LargeMatrix<T> A(this->random);
  for (const char uplo : uplos) {
    LargeVectors<T> vectors(this->random);
    for (auto* const pair : {&vectors.contiguous, &vectors.with_gaps}) {
      Published::run<T>(uplo, order_of_several_pieces<T>, T(1), A, pair->x, T(-1), pair->y);
    }
    EXPECT_LT(vectors.difference(), order_of_work<T>) << uplo;
  }
}

TYPED_TEST(DenseKernels, MultipliesByASymmetricMatrixForReductions) {
  using T = TypeParam;
  for (const char uplo : uplos) {
    for (const Int n : dense_orders()) {
      for (const ForReductions kernel : {ForReductions{n}, ForReductions{n}, ForReductions{n / 2}, ForReductions{0}}) {
        const Int incx = random_increment(this->random), incy = random_increment(this->random);
        expect_symmetric_product<T>(this->random, kernel, this->random.in_some_case(uplo), n, incx, incy);
      }
    }
  }
}

template <Scalar T>
struct SymvCall {
  char uplo = 'U';
  Int n = 3, lda = 4, incx = 1, incy = 1;
  Random random{1};
  GuardedMatrix<T> a = random_matrix<T>(random, 3, 3, 4);
  GuardedVector<T> x = random_vector<T>(random, 3, 1), y = random_vector<T>(random, 3, 1);

  void run() { Published::run<T>(uplo, n, T(1), {a.data(), lda}, {x.data(), incx}, T(2), {y.data(), incy}); }
  bool unchanged() const { return a.unchanged() && x.unchanged() && y.unchanged(); }
};

TYPED_TEST(DenseKernels, ChecksTheArgumentsOfSymv) {
  using T = TypeParam;
  const std::string name = reported_name<T>(ComplexScalar<T> ? "HEMV" : "SYMV");
  expect_argument_checks<SymvCall<T>>(name, {{1, [](auto& c) { c.uplo = 'N'; }},
                                             {1, [](auto& c) { c.uplo = char('L' + 128); }},
                                             {2, [](auto& c) { c.n = -1; }},
                                             {5, [](auto& c) { c.lda = 2; }},
                                             {5, [](auto& c) { c.lda = 0; }},
                                             {7, [](auto& c) { c.incx = 0; }},
                                             {10, [](auto& c) { c.incy = 0; }}});
  SymvCall<T> empty;
  empty.n = empty.lda = 0;
  expect_report(empty, name, 5);
}

// ------------------------------------------------------------------------------------------------ what is not a number

TYPED_TEST(DenseKernels, KeepsWhatIsNotANumberInItsRow) {
  using T = TypeParam;
  constexpr Int n = 37;
  const auto infinity = std::numeric_limits<Real<T>>::infinity();
  for (Int row = 1; row <= n; ++row) {
    GuardedMatrix<T> A = random_matrix<T>(this->random, n, n, n);
    GuardedVector<T> x = random_vector<T>(this->random, n, 1), y(n, 1);
    A(row, 5) = T(infinity);
    blas::gemv('N', n, n, T(1), A, x, T(0), y);
    for (Int i = 1; i <= n; ++i) ASSERT_EQ(std::isfinite(std::abs(y(i))), i != row) << i;
    blas::gemv('T', n, n, T(1), A, x, T(0), y);
    for (Int i = 1; i <= n; ++i) ASSERT_EQ(std::isfinite(std::abs(y(i))), i != 5) << i;
  }
}

}  // namespace
}  // namespace nuv::test
