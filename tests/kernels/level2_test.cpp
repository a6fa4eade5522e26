// The matrix-vector kernels ?gemv, ?trmv and ?trsv.

#include "blas.hpp"
#include "support/argument_checks.hpp"
#include "support/kernel_cases.hpp"
#include "support/random.hpp"
#include "support/wide.hpp"

namespace nuv::test {
namespace {

template <class T>
class Level2 : public ReportingTest {
 protected:
  Random random{13};
};
TYPED_TEST_SUITE(Level2, Precisions, PrecisionLetter);

// -------------------------------------------------------------------------------------------------------------- gemv

TYPED_TEST(Level2, MultipliesByAMatrix) {
  using T = TypeParam;
  for (const Int m : kernel_sizes()) {
    for (const Int n : kernel_sizes()) {
      for (int repetition = 0; repetition < 8; ++repetition) {
        const char trans = this->random.in_some_case(this->random.pick(transes));
        const Int incx = this->random.pick(increments), incy = this->random.pick(increments);
        const T alpha = this->random.pick(alphas<T>()), beta = this->random.pick(betas<T>());
        SCOPED_TRACE(testing::Message() << trans << ", " << m << " by " << n << ", alpha " << alpha << ", beta " << beta
                                        << ", increments " << incx << ", " << incy);
        const Int length_x = is_transposed(trans) ? m : n, length_y = is_transposed(trans) ? n : m;

        // What a zero factor makes irrelevant holds guards.
        GuardedMatrix<T> A(m, n, m + 3);
        GuardedVector<T> x(length_x, incx), y(length_y, incy);
        Sum<T> expected(length_y, 1);
        if (beta != T(0) || m == 0 || n == 0) {
          y = random_vector<T>(this->random, length_y, incy);
          expected.add(beta, wide(y));
        }
        if (alpha != T(0)) {
          A = random_matrix<T>(this->random, m, n, m + 3);
          x = random_vector<T>(this->random, length_x, incx);
          expected.add(alpha, op<T>(trans, wide(A)), wide(x));
        }
        blas::gemv(trans, m, n, alpha, A, x, beta, y);
        EXPECT_TRUE(A.unchanged());
        EXPECT_TRUE(x.unchanged());
        EXPECT_TRUE(y.guards_unchanged());
        if (m == 0 || n == 0) {
          EXPECT_TRUE(y.unchanged());
        } else {
          EXPECT_LT(expected.error_of(wide(y)), kernel_threshold);
        }
      }
    }
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

TYPED_TEST(Level2, ChecksTheArgumentsOfGemv) {
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

// ------------------------------------------------------------------------------------------------------ trmv and trsv

/// Calls visit(uplo, trans, diag, A, x, op(A)) for all options and sizes, and expects that A and what lies around x
/// stays.
template <Scalar T, class Visit>
void for_each_triangle(Random& random, Visit visit) {
  for (const Int n : kernel_sizes()) {
    for (const char upper_or_lower : uplos) {
      for (const char form : transes) {
        for (const char unit_or_not : diags) {
          for (const Int inc : increments) {
            const char uplo = random.in_some_case(upper_or_lower), trans = random.in_some_case(form),
                       diag = random.in_some_case(unit_or_not);
            SCOPED_TRACE(testing::Message() << uplo << trans << diag << ", order " << n << ", increment " << inc);
            const GuardedMatrix<T> A = random_triangle<T>(random, is_upper(uplo), is_unit(diag), n, n + 2);
            GuardedVector<T> x = random_vector<T>(random, n, inc);
            visit(uplo, trans, diag, A, x, op<T>(trans, wide_triangle(A, is_upper(uplo), is_unit(diag))));
            EXPECT_TRUE(A.unchanged());
            EXPECT_TRUE(x.guards_unchanged());
          }
        }
      }
    }
  }
}

TYPED_TEST(Level2, MultipliesByATriangle) {
  using T = TypeParam;
  for_each_triangle<T>(this->random, [](char uplo, char trans, char diag, const GuardedMatrix<T>& A,
                                        GuardedVector<T>& x, const WideMatrix<T>& opA) {
    const Sum<T> expected = Sum<T>(x.size(), 1).add(T(1), opA, wide(x));
    blas::trmv(uplo, trans, diag, x.size(), A, x);
    EXPECT_LT(expected.error_of(wide(x)), kernel_threshold);
  });
}

TYPED_TEST(Level2, SolvesWithATriangle) {
  using T = TypeParam;
  for_each_triangle<T>(this->random, [](char uplo, char trans, char diag, const GuardedMatrix<T>& A,
                                        GuardedVector<T>& x, const WideMatrix<T>& opA) {
    Sum<T> rest = Sum<T>(x.size(), 1).add(T(-1), wide(x));
    blas::trsv(uplo, trans, diag, x.size(), A, x);
    EXPECT_LT(rest.add(T(1), opA, wide(x)).distance_from_zero(), kernel_threshold);
  });
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

TYPED_TEST(Level2, ChecksTheArgumentsOfTriangularKernels) {
  using T = TypeParam;
  expect_triangular_vector_checks<TrmvCall<T>>(reported_name<T>("TRMV"));
  expect_triangular_vector_checks<TrsvCall<T>>(reported_name<T>("TRSV"));
}

}  // namespace
}  // namespace nuv::test
