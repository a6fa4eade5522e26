// Products and solutions with a triangular matrix: ?trmv and ?trsv.

#include "blas.hpp"
#include "kernels/dense_cases.hpp"

namespace nuv::test {
namespace {

/// Calls visit(uplo, trans, diag, A, x, op(A)) with random data, and expects that A and what lies around x stays.
template <Scalar T, class Visit>
void with_triangle(Random& random, char uplo, char trans, char diag, Int n, Int inc, Visit visit) {
  SCOPED_TRACE(testing::Message() << uplo << trans << diag << ", order " << n << ", increment " << inc);
  const GuardedMatrix<T> A = random_triangle<T>(random, is_upper(uplo), is_unit(diag), n, random_ld(random, n));
  Operand<T> x = random_operand<T>(random, n, inc);
  visit(uplo, trans, diag, A, x, op<T>(trans, wide_triangle(A, is_upper(uplo), is_unit(diag))));
  EXPECT_TRUE(A.unchanged());
  EXPECT_TRUE(x.guards_unchanged());
}

/// The same for all options and sizes.
template <Scalar T, class Visit>
void for_each_triangle(Random& random, Visit visit) {
  for (const char uplo : uplos) {
    for (const char trans : transes) {
      for (const Int n : dense_orders()) {
        for (const char diag : diags) {
          with_triangle<T>(random, random.in_some_case(uplo), random.in_some_case(trans), random.in_some_case(diag), n,
                           random_increment(random), visit);
        }
      }
    }
  }
}

/// Expects that work(uplo, trans, A, x) does the same to a vector with gaps that is too long to be copied at once as to
/// a contiguous one.
template <Scalar T, class Work>
void expect_same_with_gaps(Random& random, Work work) {
  const LargeMatrix<T> A(random);
  for (const char uplo : uplos) {
    for (const char trans : {'N', 'C'}) {
      LargeVectors<T> vectors(random);
      for (auto* const pair : {&vectors.contiguous, &vectors.with_gaps}) work(uplo, trans, A, pair->y);
      EXPECT_LT(vectors.difference(), order_of_work<T>) << uplo << trans;
    }
  }
}

TYPED_TEST(DenseKernels, MultipliesByATriangle) {
  using T = TypeParam;
  for_each_triangle<T>(this->random, [](char uplo, char trans, char diag, const GuardedMatrix<T>& A, Operand<T>& x,
                                        const WideMatrix<T>& opA) {
    const Sum<T> expected = Sum<T>(A.rows(), 1).add(T(1), opA, wide(x));
    blas::trmv(uplo, trans, diag, A.rows(), A, x);
    EXPECT_LT(expected.error_of(wide(x)), dense_threshold);
  });
}

TYPED_TEST(DenseKernels, SolvesWithATriangle) {
  using T = TypeParam;
  for_each_triangle<T>(this->random, [](char uplo, char trans, char diag, const GuardedMatrix<T>& A, Operand<T>& x,
                                        const WideMatrix<T>& opA) {
    Sum<T> rest = Sum<T>(A.rows(), 1).add(T(-1), wide(x));
    blas::trsv(uplo, trans, diag, A.rows(), A, x);
    EXPECT_LT(rest.add(T(1), opA, wide(x)).distance_from_zero(), dense_threshold);
  });
}

TYPED_TEST(DenseKernels, TakesTrianglesOfLargeOrders) {
  using T = TypeParam;
  const Int n = order_of_several_pieces<T>;
  expect_same_with_gaps<T>(this->random, [&](char uplo, char trans, Matrix<const T> A, Vector<T> x) {
    blas::trmv(uplo, trans, 'N', n, A, x);
    blas::trsv(uplo, trans, 'U', n, A, x);
  });
}

/// A zero on the diagonal gives what the division by it gives, and no report.
TYPED_TEST(DenseKernels, DividesByZeroOnTheDiagonal) {
  using T = TypeParam;
  for (const char uplo : uplos) {
    GuardedMatrix<T> A = random_triangle<T>(this->random, is_upper(uplo), false, 9, 9);
    GuardedVector<T> x = random_vector<T>(this->random, 9, 1);
    const Int last = is_upper(uplo) ? 1 : 9;
    A(last, last) = T(0);
    blas::trsv(uplo, 'N', 'N', 9, A, x);
    for (Int i = 1; i <= 9; ++i) EXPECT_EQ(std::isfinite(std::abs(x(i))), i != last) << uplo << i;
  }
}

template <Scalar T>
struct TriangularVectorCall {
  char uplo = 'U', trans = 'N', diag = 'N';
  Int n = 3, lda = 4, incx = 1;
  Random random{1};
  GuardedMatrix<T> a = random_triangle<T>(random, true, false, 3, 4);
  GuardedVector<T> x = random_vector<T>(random, 3, 1);

  bool unchanged() const { return a.unchanged() && x.unchanged(); }
};

template <Scalar T>
struct TrmvCall : TriangularVectorCall<T> {
  void run() {
    blas::trmv(this->uplo, this->trans, this->diag, this->n, {this->a.data(), this->lda}, {this->x.data(), this->incx});
  }
};

template <Scalar T>
struct TrsvCall : TriangularVectorCall<T> {
  void run() {
    blas::trsv(this->uplo, this->trans, this->diag, this->n, {this->a.data(), this->lda}, {this->x.data(), this->incx});
  }
};

template <class Call>
void expect_triangular_vector_checks(const std::string& name) {
  expect_argument_checks<Call>(name, {{1, [](auto& c) { c.uplo = 'N'; }},
                                      {1, [](auto& c) { c.uplo = char('U' + 128); }},
                                      {2, [](auto& c) { c.trans = 'U'; }},
                                      {3, [](auto& c) { c.diag = 'L'; }},
                                      {4, [](auto& c) { c.n = -1; }},
                                      {6, [](auto& c) { c.lda = 2; }},
                                      {6, [](auto& c) { c.lda = 0; }},
                                      {8, [](auto& c) { c.incx = 0; }}});
  Call empty;
  empty.n = empty.lda = 0;
  expect_report(empty, name, 6);
}

TYPED_TEST(DenseKernels, ChecksTheArgumentsOfTriangularKernels) {
  using T = TypeParam;
  expect_triangular_vector_checks<TrmvCall<T>>(reported_name<T>("TRMV"));
  expect_triangular_vector_checks<TrsvCall<T>>(reported_name<T>("TRSV"));
}

}  // namespace
}  // namespace nuv::test
