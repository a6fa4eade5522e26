// Products with a symmetric or Hermitian matrix, updates of one, and the complex product by three real ones.

#include <functional>

#include "blas.hpp"
#include "support/argument_checks.hpp"
#include "support/kernel_cases.hpp"
#include "support/memory_requests.hpp"
#include "support/random.hpp"
#include "support/sanitized.hpp"
#include "support/wide.hpp"
#include "threading/several_blocks.hpp"

namespace nuv::test {
namespace {

template <class T>
class SymmetricProducts : public ReportingTest {
 protected:
  Random random{15};
};
TYPED_TEST_SUITE(SymmetricProducts, Precisions, PrecisionLetter);

/// Sizes about the widths of tiles and small blocks; few, since options multiply.
std::vector<Int> some_sizes() {
  return is_sanitized ? std::vector<Int>{0, 1, 5, 26} : std::vector<Int>{0, 1, 3, 8, 25, 49, 70};
}

/// Random entries in a triangle of a matrix of order n; guards elsewhere.
template <Scalar T>
GuardedMatrix<T> random_part(Random& random, char uplo, Int n, Int ld) {
  const GuardedMatrix<T> all = random_matrix<T>(random, n, n, ld);
  GuardedMatrix<T> part(n, n, ld);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= n; ++i) {
      if (is_in_triangle(uplo, i, j)) part(i, j) = all(i, j);
    }
  }
  part.seal();
  return part;
}

/// The whole matrix that a triangle stands for. The diagonal of a Hermitian one counts as real.
template <Scalar T>
WideMatrix<T> whole(bool hermitian, char uplo, const GuardedMatrix<T>& A) {
  const Int n = A.rows();
  WideMatrix<T> full(n, n);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= n; ++i) {
      T x = is_in_triangle(uplo, i, j) ? A(i, j) : hermitian ? conjugate(A(j, i)) : A(j, i);
      if (hermitian && i == j) x = T(std::real(x));
      full(i - 1, j - 1) = wide(x);
    }
  }
  return full;
}

/// All options, each with one of the factors.
template <Scalar T>
void check_product_with_symmetric(Random& random, bool hermitian, Int m, Int n, const std::vector<T>& factors) {
  for (const char side_ : sides) {
    for (const char uplo_ : uplos) {
      const char side = random.in_some_case(side_), uplo = random.in_some_case(uplo_);
      const Int order = is_left(side) ? m : n;
      const T alpha = random.pick(factors), beta = random.pick(betas<T>());
      SCOPED_TRACE(testing::Message() << side << uplo << ", " << m << " by " << n << ", " << alpha << ", " << beta);
      GuardedMatrix<T> A(order, order, order + 2), B(m, n, m + 1), C(m, n, m + 3);
      Sum<T> expected(m, n);
      if (beta != T(0)) {
        C = random_matrix<T>(random, m, n, m + 3);
        expected.add(beta, wide(C));
      }
      if (alpha != T(0)) {
        A = random_part<T>(random, uplo, order, order + 2);
        B = random_matrix<T>(random, m, n, m + 1);
        const WideMatrix<T> full = whole(hermitian, uplo, A);
        is_left(side) ? expected.add(alpha, full, wide(B)) : expected.add(alpha, wide(B), full);
      }
      if constexpr (ComplexScalar<T>) {
        if (hermitian) blas::hemm(side, uplo, m, n, alpha, A, B, beta, C);
      }
      if (!hermitian) blas::symm(side, uplo, m, n, alpha, A, B, beta, C);
      EXPECT_TRUE(A.unchanged());
      EXPECT_TRUE(B.unchanged());
      EXPECT_TRUE(C.guards_unchanged());
      EXPECT_LT(expected.error_of(wide(C)), kernel_threshold);
    }
  }
}

/// Small sizes, and matrices of several blocks on either side.
template <Scalar T>
void check_product_with_symmetric(Random& random, bool hermitian) {
  for (const Int m : some_sizes()) {
    for (const Int n : some_sizes()) check_product_with_symmetric<T>(random, hermitian, m, n, alphas<T>());
  }
  check_product_with_symmetric<T>(random, hermitian, 420, 9, {factor_of<T>(0.75, -0.5)});
  check_product_with_symmetric<T>(random, hermitian, 9, 420, {factor_of<T>(0.75, -0.5)});
  // Few columns, taken in strips of rows.
  check_product_with_symmetric<T>(random, hermitian, 512, 1, {factor_of<T>(0.75, -0.5)});
  check_product_with_symmetric<T>(random, hermitian, 577, 11, {factor_of<T>(0.75, -0.5)});
}

TYPED_TEST(SymmetricProducts, MultipliesBySymmetric) {
  check_product_with_symmetric<TypeParam>(this->random, false);
}

TYPED_TEST(SymmetricProducts, MultipliesByHermitian) {
  if constexpr (ComplexScalar<TypeParam>) check_product_with_symmetric<TypeParam>(this->random, true);
}

/// One update of a triangle: with two operands for the rank-2k form, with the same one twice for rank k.
template <Scalar T>
void check_update(Random& random, bool hermitian, bool rank_2k, char uplo, char trans, Int n, Int k, T factor) {
  const T alpha = hermitian && !rank_2k ? T(std::real(factor)) : factor;
  const T beta = hermitian ? T(random.pick(std::vector<Real<T>>{0, 1, Real<T>(-0.5)})) : random.pick(betas<T>());
  SCOPED_TRACE(testing::Message() << uplo << trans << ", n " << n << ", k " << k << ", " << alpha << ", " << beta);
  const Int rows = is_transposed(trans) ? k : n, columns = is_transposed(trans) ? n : k;
  GuardedMatrix<T> A = random_matrix<T>(random, rows, columns, rows + 2);
  GuardedMatrix<T> B = random_matrix<T>(random, rows, columns, rows + 1);
  GuardedMatrix<T> C = random_part<T>(random, uplo, n, n + 3);

  const bool untouched = (alpha == T(0) || k == 0) && beta == T(1);
  if constexpr (ComplexScalar<T>) {
    for (Int j = 1; hermitian && !untouched && j <= n; ++j) C(j, j).imag(guard<Real<T>>());
    C.seal();
  }
  Sum<T> expected(n, n);
  expected.add(beta, whole(hermitian && !untouched, uplo, C));
  const auto op_of = [&](const GuardedMatrix<T>& X) { return is_transposed(trans) ? op<T>(trans, wide(X)) : wide(X); };
  const auto op_primed = [&](const GuardedMatrix<T>& X) -> WideMatrix<T> {
    if (is_transposed(trans)) return wide(X);
    return op<T>(hermitian ? 'C' : 'T', wide(X));
  };
  if (alpha != T(0) && k > 0) {
    expected.add(alpha, op_of(A), op_primed(rank_2k ? B : A));
    if (rank_2k) expected.add(hermitian ? conjugate(alpha) : alpha, op_of(B), op_primed(A));
  }
  if constexpr (ComplexScalar<T>) {
    if (hermitian && rank_2k) blas::her2k(uplo, trans, n, k, alpha, A, B, std::real(beta), C);
    if (hermitian && !rank_2k) blas::herk(uplo, trans, n, k, std::real(alpha), A, std::real(beta), C);
  }
  if (!hermitian && rank_2k) blas::syr2k(uplo, trans, n, k, alpha, A, B, beta, C);
  if (!hermitian && !rank_2k) blas::syrk(uplo, trans, n, k, alpha, A, beta, C);

  EXPECT_TRUE(A.unchanged());
  EXPECT_TRUE(B.unchanged());
  EXPECT_TRUE(C.unchanged_except([&](Int i, Int j) { return is_in_triangle(uplo, i, j); }));
  for (Int j = 1; hermitian && !untouched && j <= n; ++j) EXPECT_EQ(std::imag(C(j, j)), 0);
  EXPECT_LT(expected.error_of(whole(hermitian && !untouched, uplo, C)), kernel_threshold);
}

template <Scalar T>
void check_updates(Random& random, bool hermitian, bool rank_2k) {
  const std::vector<char> options = hermitian          ? std::vector<char>{'N', 'C'}
                                    : ComplexScalar<T> ? std::vector<char>{'N', 'T'}
                                                       : std::vector<char>{'N', 'T', 'C'};
  const auto check_options = [&](Int n, Int k, const std::vector<char>& forms, const std::vector<T>& factors) {
    for (const char uplo : uplos) {
      for (const char trans : forms) {
        check_update<T>(random, hermitian, rank_2k, random.in_some_case(uplo), random.in_some_case(trans), n, k,
                        random.pick(factors));
      }
    }
  };
  for (const Int n : some_sizes()) {
    for (const Int k : some_sizes()) check_options(n, k, options, alphas<T>());
  }
  // Blocks in the direction of n, and of k.
  check_options(columns_of_several_blocks<T>, 3, {random.pick(options)}, {factor_of<T>(0.75, -0.5)});
  check_options(30, 400, options, {factor_of<T>(0.75, -0.5)});
  // Few steps, up to as many as the two products of an update do in one, with factors that let them and others.
  for (const Int k : {20, 48, 49}) {
    check_options(150, k, options, {T(-1)});
    check_options(150, k, options, {factor_of<T>(0.75, -0.5)});
  }
}

TYPED_TEST(SymmetricProducts, UpdatesByRankK) {
  check_updates<TypeParam>(this->random, false, false);
}
TYPED_TEST(SymmetricProducts, UpdatesByRank2K) {
  check_updates<TypeParam>(this->random, false, true);
}

TYPED_TEST(SymmetricProducts, UpdatesHermitianByRankK) {
  if constexpr (ComplexScalar<TypeParam>) check_updates<TypeParam>(this->random, true, false);
}
TYPED_TEST(SymmetricProducts, UpdatesHermitianByRank2K) {
  if constexpr (ComplexScalar<TypeParam>) check_updates<TypeParam>(this->random, true, true);
}

/// Both products of an update of few steps, whose operands are packed in blocks that memory makes as large as they are.
TYPED_TEST(SymmetricProducts, UpdatesByFewStepsAreTheSameWithoutMemory) {
  using T = TypeParam;
  const Int n = 300;
  for (const Int k : {24, 48}) {
    for (const char uplo : uplos) {
      for (const char trans : {'N', 'T'}) {
        const Int rows = trans == 'N' ? n : k, columns = n + k - rows;
        const GuardedMatrix<T> A = random_matrix<T>(this->random, rows, columns, rows);
        const GuardedMatrix<T> B = random_matrix<T>(this->random, rows, columns, rows);
        GuardedMatrix<T> granted = random_part<T>(this->random, uplo, n, n), refused = granted;
        blas::syr2k(uplo, trans, n, k, T(-1), A, B, T(1), granted);
        const MemoryRequests requests(MemoryRequests::all);
        blas::syr2k(uplo, trans, n, k, T(-1), A, B, T(1), refused);
        EXPECT_GT(requests.count(), 0);
        EXPECT_TRUE(refused.same_as(granted)) << uplo << trans << k;
      }
    }
  }
}

template <ComplexScalar T>
void check_three_real_products(Random& random, char transa, char transb, Int m, Int n, Int k) {
  const T alpha = random.pick(alphas<T>()), beta = random.pick(betas<T>());
  SCOPED_TRACE(testing::Message() << transa << transb << ", " << m << " by " << n << " by " << k << ", " << alpha
                                  << beta);
  const bool ta = is_transposed(transa), tb = is_transposed(transb);
  const GuardedMatrix<T> A = random_matrix<T>(random, ta ? k : m, ta ? m : k, (ta ? k : m) + 1);
  const GuardedMatrix<T> B = random_matrix<T>(random, tb ? n : k, tb ? k : n, (tb ? n : k) + 1);
  GuardedMatrix<T> C(m, n, m + 2);
  Sum<T> expected(m, n);
  if (beta != T(0)) {
    C = random_matrix<T>(random, m, n, m + 2);
    expected.add(beta, wide(C));
  }
  expected.add(alpha, op<T>(transa, wide(A)), op<T>(transb, wide(B)));
  blas::gemm3m(transa, transb, m, n, k, alpha, A, B, beta, C);
  EXPECT_TRUE(C.guards_unchanged());
  EXPECT_LT(expected.error_of(wide(C)), kernel_threshold);
}

TYPED_TEST(SymmetricProducts, MultipliesByThreeRealProducts) {
  using T = TypeParam;
  if constexpr (ComplexScalar<T>) {
    // Small sizes, and several blocks in two directions each: blocks are 512 by 256, and 256 deep.
    for (const char transa : transes) {
      for (const char transb : transes) {
        for (const Int n : some_sizes()) {
          check_three_real_products<T>(this->random, transa, transb, n + 3, n, n / 2 + 1);
        }
      }
    }
    for (const int form : {0, 1, 2}) {
      const char transa = transes[form], next = transes[(form + 1) % 3];
      check_three_real_products<T>(this->random, transa, next, 515, 259, 2);
      check_three_real_products<T>(this->random, transa, transa, 515, 3, 258);
      check_three_real_products<T>(this->random, next, transa, 3, 259, 258);
    }
  }
}

// ---------------------------------------------------------------------------------------------------------- arguments

template <Scalar T, int operation>
struct Call {
  char first = 'L', second = 'U';  // side and uplo, or uplo and trans
  Int m = 4, n = 3, lda = 4, ldb = 4, ldc = 4;
  Random random{1};
  GuardedMatrix<T> a = random_matrix<T>(random, 4, 4, 4), b = random_matrix<T>(random, 4, 4, 4);
  GuardedMatrix<T> c = random_matrix<T>(random, 4, 4, 4);

  Call() {
    if (operation != 0 && operation != 3) second = 'N';
  }
  void run() {
    const Matrix<const T> A{a.data(), lda}, B{b.data(), ldb};
    const Matrix<T> C{c.data(), ldc};
    if constexpr (operation == 0) blas::symm(first, second, m, n, T(1), A, B, T(2), C);
    if constexpr (operation == 1) blas::syrk(first, second, m, n, T(1), A, T(2), C);
    if constexpr (operation == 2) blas::syr2k(first, second, m, n, T(1), A, B, T(2), C);
    if constexpr (operation == 3) blas::hemm(first, second, m, n, T(1), A, B, T(2), C);
    if constexpr (operation == 4) blas::herk(first, second, m, n, Real<T>(1), A, Real<T>(2), C);
    if constexpr (operation == 5) blas::her2k(first, second, m, n, T(1), A, B, Real<T>(2), C);
  }
  bool unchanged() const { return a.unchanged() && b.unchanged() && c.unchanged(); }
};

template <Scalar T, int operation>
void check_arguments(const char* name, std::initializer_list<Spoiler<Call<T, operation>>> more) {
  using C = Call<T, operation>;
  constexpr bool is_hermitian = operation >= 3, is_product = operation % 3 == 0;
  std::vector<Spoiler<C>> all = {{1, [](C& c) { c.first = 'X'; }},
                                 {2, [](C& c) { c.second = 'X'; }},
                                 {3, [](C& c) { c.m = -1; }},
                                 {4, [](C& c) { c.n = -1; }},
                                 {7, [](C& c) { c.lda = 3; }}};
  all.insert(all.end(), more);
  const std::string reported = reported_name<T>(name);
  C good;
  expect_report(good, reported, 0);
  for (const auto& one : all) {
    C call;
    one.spoil(call);
    expect_report(call, reported, one.position);
  }
  // On the right, or transposed, the operands have n rows.
  const auto with_rows = [](Int rows_of_a, Int rows_of_b) {
    C call;
    if (is_product) call.first = 'R';
    else call.second = is_hermitian ? 'C' : 'T';
    call.lda = rows_of_a;
    if (!is_product) call.ldb = rows_of_b;
    return call;
  };
  C least = with_rows(3, 3), less_of_a = with_rows(2, 3), less_of_b = with_rows(3, 2);
  expect_report(least, reported, 0);
  expect_report(less_of_a, reported, 7);
  if (operation == 2 || operation == 5) expect_report(less_of_b, reported, 9);
}

TYPED_TEST(SymmetricProducts, CheckTheirArguments) {
  using T = TypeParam;
  check_arguments<T, 0>("SYMM", {{9, [](auto& c) { c.ldb = 3; }}, {12, [](auto& c) { c.ldc = 3; }}});
  check_arguments<T, 1>("SYRK", {{10, [](auto& c) { c.ldc = 3; }}});
  check_arguments<T, 2>("SYR2K", {{9, [](auto& c) { c.ldb = 3; }}, {12, [](auto& c) { c.ldc = 3; }}});
  if constexpr (ComplexScalar<T>) {
    check_arguments<T, 1>("SYRK", {{2, [](auto& c) { c.second = 'C'; }}});
    check_arguments<T, 2>("SYR2K", {{2, [](auto& c) { c.second = 'C'; }}});
    check_arguments<T, 3>("HEMM", {{9, [](auto& c) { c.ldb = 3; }}, {12, [](auto& c) { c.ldc = 3; }}});
    check_arguments<T, 4>("HERK", {{2, [](auto& c) { c.second = 'T'; }}, {10, [](auto& c) { c.ldc = 3; }}});
    check_arguments<T, 5>("HER2K", {{2, [](auto& c) { c.second = 'T'; }}, {12, [](auto& c) { c.ldc = 3; }}});
  }
}

}  // namespace
}  // namespace nuv::test
