// The kernels ?syr2k_nb and ?her2k_nb.

#include <vector>

#include "blas.hpp"
#include "support/argument_checks.hpp"
#include "support/kernel_cases.hpp"
#include "support/random.hpp"
#include "support/sanitized.hpp"
#include "support/wide.hpp"

namespace nuv::test {
namespace {

template <class T>
class Syr2kNb : public ReportingTest {
 protected:
  Random random{26};
};
TYPED_TEST_SUITE(Syr2kNb, Precisions, PrecisionLetter);

/// beta of the precision: real for a Hermitian update.
template <Scalar T>
void run_kernel(char uplo, char trans, Int n, Int k, T alpha, Matrix<const T> A, Matrix<const T> B, Real<T> beta,
                Matrix<T> C, Int nb) {
  if constexpr (ComplexScalar<T>) {
    blas::her2k_nb(uplo, trans, n, k, alpha, A, B, beta, C, nb);
  } else {
    blas::syr2k_nb(uplo, trans, n, k, alpha, A, B, beta, C, nb);
  }
}

template <Scalar T>
std::vector<char> transes_of() {
  if constexpr (ComplexScalar<T>) {
    return {'N', 'C'};
  } else {
    return {'N', 'T', 'C'};
  }
}

bool is_in_triangle(char uplo, Int i, Int j) {
  return is_upper(uplo) ? i <= j : i >= j;
}

/// A random triangle; guards elsewhere, and as the imaginary parts of a Hermitian diagonal.
template <Scalar T>
GuardedMatrix<T> random_part(Random& random, char uplo, Int n, Int ld) {
  GuardedMatrix<T> C(n, n, ld);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= n; ++i) {
      if (is_in_triangle(uplo, i, j)) C(i, j) = random.scalar<T>();
    }
    if constexpr (ComplexScalar<T>) C(j, j) = {std::real(C(j, j)), guard<Real<T>>()};
  }
  C.seal();
  return C;
}

TYPED_TEST(Syr2kNb, UpdatesATriangle) {
  using T = TypeParam;
  std::vector<std::pair<Int, Int>> shapes = {{70, 63}, {64, 64}, {33, 130}, {129, 65}, {200, 5}};
  if (is_sanitized) shapes.resize(3);
  for (const Int n : {0, 1, 2, 3, 5, 8, 9, 16, 17, 31, 49}) {
    for (const Int k : {0, 1, 2, 7, 33}) shapes.emplace_back(n, k);
  }
  for (const auto& [n, k] : shapes) {
    for (const char upper_or_lower : uplos) {
      for (const char form : transes_of<T>()) {
        for (int repetition = 0; repetition < 2; ++repetition) {
          const char uplo = this->random.in_some_case(upper_or_lower), trans = this->random.in_some_case(form);
          const T alpha = repetition == 0 ? factor_of<T>(0.75, -0.5) : this->random.pick(alphas<T>());
          const Real<T> beta = this->random.pick(std::vector<Real<T>>{0, 1, Real<T>(-0.5)});
          SCOPED_TRACE(testing::Message() << uplo << trans << ", order " << n << ", rank " << k << ", alpha " << alpha
                                          << ", beta " << beta);
          const bool plain = !is_transposed(trans);
          const Int rows = plain ? n : k, columns = plain ? k : n;

          // What a zero factor makes irrelevant holds guards.
          GuardedMatrix<T> A(rows, columns, rows + 1), B(rows, columns, rows + 3), C(n, n, n + 2);
          Sum<T> expected(n, n);
          if (beta != Real<T>(0)) {
            C = random_part<T>(this->random, uplo, n, n + 2);
            expected.add(T(beta), wide_hermitian(C, is_upper(uplo)));
          }
          if (alpha != T(0)) {
            A = random_matrix<T>(this->random, rows, columns, rows + 1);
            B = random_matrix<T>(this->random, rows, columns, rows + 3);
            const WideMatrix<T> a = wide(A), b = wide(B), a_adjoint = op<T>('C', a), b_adjoint = op<T>('C', b);
            expected.add(alpha, plain ? a : a_adjoint, plain ? b_adjoint : b);
            expected.add(conjugate(alpha), plain ? b : b_adjoint, plain ? a_adjoint : a);
          }
          run_kernel<T>(uplo, trans, n, k, alpha, A, B, beta, C, this->random.integer(-1, 100));

          EXPECT_TRUE(A.unchanged());
          EXPECT_TRUE(B.unchanged());
          EXPECT_TRUE(C.unchanged_except([&](Int i, Int j) { return is_in_triangle(uplo, i, j); }));
          const bool is_nothing = (alpha == T(0) || k == 0) && beta == Real<T>(1);
          if (is_nothing) {
            EXPECT_TRUE(C.unchanged());
          } else {
            for (Int j = 1; j <= n; ++j) EXPECT_EQ(std::imag(C(j, j)), 0);
            EXPECT_LT(expected.error_of(wide_hermitian(C, is_upper(uplo))), kernel_threshold);
          }
        }
      }
    }
  }
}

template <Scalar T>
struct Call {
  char uplo = 'U', trans = 'N';
  Int n = 3, k = 2, lda = 4, ldb = 4, ldc = 4;
  Random random{1};
  GuardedMatrix<T> a = random_matrix<T>(random, 3, 2, 4), b = random_matrix<T>(random, 3, 2, 4),
                   c = random_matrix<T>(random, 3, 3, 4);

  void run() {
    run_kernel<T>(uplo, trans, n, k, T(2), {a.data(), lda}, {b.data(), ldb}, Real<T>(3), {c.data(), ldc}, 8);
  }
  bool unchanged() const { return a.unchanged() && b.unchanged() && c.unchanged(); }
};

TYPED_TEST(Syr2kNb, ChecksItsArguments) {
  using T = TypeParam;
  const std::string name = reported_name<T>(ComplexScalar<T> ? "HER2K" : "SYR2K");
  expect_argument_checks<Call<T>>(name, {{1, [](auto& c) { c.uplo = 'N'; }},
                                         {2, [](auto& c) { c.trans = ComplexScalar<T> ? 'T' : 'U'; }},
                                         {3, [](auto& c) { c.n = -1; }},
                                         {4, [](auto& c) { c.k = -1; }},
                                         {7, [](auto& c) { c.lda = 2; }},
                                         {7, [](auto& c) { c.lda = 0; }},
                                         {9, [](auto& c) { c.ldb = 2; }},
                                         {12, [](auto& c) { c.ldc = 2; }}});
  Call<T> transposed;
  transposed.trans = 'C';
  transposed.lda = 1;
  expect_report(transposed, name, 7);
}

}  // namespace
}  // namespace nuv::test
