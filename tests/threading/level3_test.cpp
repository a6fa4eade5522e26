// The products and solves of level 3: ?gemm, ?trmm and ?trsm.

#include <nuv/nuv_services.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "blas.hpp"
#include "support/argument_checks.hpp"
#include "support/kernel_cases.hpp"
#include "support/random.hpp"
#include "support/wide.hpp"
#include "threading/several_blocks.hpp"

namespace nuv::test {
namespace {

template <class T>
class Level3 : public ReportingTest {
 protected:
  Random random{14};
};
TYPED_TEST_SUITE(Level3, Precisions, PrecisionLetter);

// -------------------------------------------------------------------------------------------------------------- gemm

/// One product, with guards wherever a zero factor makes what is there irrelevant.
template <Scalar T>
void expect_product(Random& random, char transa, char transb, Int m, Int n, Int k, T alpha, T beta) {
  SCOPED_TRACE(testing::Message() << transa << transb << ", " << m << " by " << n << " by " << k << ", alpha " << alpha
                                  << ", beta " << beta);
  const auto stored = [](char trans, Int rows, Int columns) {
    return is_transposed(trans) ? std::pair(columns, rows) : std::pair(rows, columns);
  };
  const auto [am, an] = stored(transa, m, k);
  const auto [bm, bn] = stored(transb, k, n);
  GuardedMatrix<T> A(am, an, am + 2), B(bm, bn, bm + 1), C(m, n, m + 3);
  Sum<T> expected(m, n);
  if (beta != T(0)) {
    C = random_matrix<T>(random, m, n, m + 3);
    expected.add(beta, wide(C));
  }
  if (alpha != T(0)) {
    A = random_matrix<T>(random, am, an, am + 2);
    B = random_matrix<T>(random, bm, bn, bm + 1);
    expected.add(alpha, op<T>(transa, wide(A)), op<T>(transb, wide(B)));
  }
  blas::gemm(transa, transb, m, n, k, alpha, A, B, beta, C);
  EXPECT_TRUE(A.unchanged());
  EXPECT_TRUE(B.unchanged());
  EXPECT_TRUE(C.guards_unchanged());
  EXPECT_LT(expected.error_of(wide(C)), kernel_threshold);
}

TYPED_TEST(Level3, MultipliesTwoMatrices) {
  using T = TypeParam;
  const std::vector<Int> sizes = kernel_sizes();
  for (const Int m : sizes) {
    for (const Int n : sizes) {
      for (const Int k : sizes) {
        // All nine pairs of forms over three neighbours.
        for (const Int form : {0, 1, 2}) {
          const char transa = transes[form], transb = transes[(form + m + n + k) % 3];
          expect_product<T>(this->random, this->random.in_some_case(transa), this->random.in_some_case(transb), m, n, k,
                            this->random.pick(alphas<T>()), this->random.pick(betas<T>()));
        }
      }
    }
  }
}

/// Rows, columns and steps of products that are cut into blocks: in each direction, with and without packed operands.
/// Complex operands are always packed, in smaller blocks.
template <Scalar T>
constexpr Int shapes_of_several_blocks[][3] = {
    {800, columns_of_several_blocks<T>, 3}, {390, 132, 260}, {800, 24, 60}, {70, 20, 900}};
template <ComplexScalar T>
constexpr Int shapes_of_several_blocks<T>[][3] = {
    {800, columns_of_several_blocks<T>, 3}, {200, 40, 260}, {800, 24, 60}, {70, 20, 900}};

TYPED_TEST(Level3, MultipliesTwoMatricesOfSeveralBlocks) {
  using T = TypeParam;
  // Each operand in both forms; which of them go together differs from shape to shape and with the precision.
  const char forms[] = {'N', ComplexScalar<T> ? 'C' : 'T'};
  int differ = sizeof(Real<T>) == 4 ? 0 : 1;
  for (const auto& [m, n, k] : shapes_of_several_blocks<T>) {
    for (const int form : {0, 1}) {
      expect_product<T>(this->random, forms[form], forms[form ^ differ], m, n, k, factor_of<T>(0.75, -0.5),
                        factor_of<T>(-0.5, 1.25));
    }
    differ ^= 1;
  }
}

/// Inner products of columns: narrow, flat and small products over so many steps that nothing is packed.
TYPED_TEST(Level3, MultipliesColumnsByColumns) {
  using T = TypeParam;
  const Int least_steps = 2048 / sizeof(T);
  const auto expect = [&](Int m, Int n, Int k) {
    const char transa = "TC"[this->random.integer(0, 1)];
    expect_product<T>(this->random, this->random.in_some_case(transa), 'N', m, n, k, factor_of<T>(0.75, -0.5),
                      this->random.pick(betas<T>()));
  };
  for (Int m = 1; m <= 11; ++m) {
    for (Int n = 1; n <= 11; ++n) expect(m, n, least_steps + (3 * m + n) % 17);
  }
  // Blocks of several hundred steps, and the last shapes before the packed product takes over.
  for (const auto& [m, n] : {std::pair{63, 62}, {64, 63}, {90, 32}, {90, 33}, {32, 90}, {33, 90}, {4, 200}}) {
    expect(m, n, least_steps + 1);
    expect(m, n, 3 * least_steps + 5);
  }
}

TYPED_TEST(Level3, AddsAProductToInfiniteNumbers) {
  using T = TypeParam;
  using R = Real<T>;
  const R infinity = std::numeric_limits<R>::infinity();
  for (const auto& [m, n, k] : {std::array{5, 3, 4}, {30, 20, 40}, {5, 3, Int{2048 / sizeof(T)}}}) {
    SCOPED_TRACE(testing::Message() << m << " by " << n << " by " << k);
    const GuardedMatrix<T> A = random_matrix<T>(this->random, k, m, k), B = random_matrix<T>(this->random, k, n, k);
    GuardedMatrix<T> C = random_matrix<T>(this->random, m, n, m);
    C(m, n) = infinity;
    blas::gemm('T', 'N', m, n, k, T(-1), A, B, T(1), C);
    EXPECT_EQ(std::real(C(m, n)), infinity);
    EXPECT_TRUE(std::isfinite(std::imag(C(m, n))));
  }
}

template <Scalar T>
struct GemmCall {
  char transa = 'N', transb = 'N';
  Int m = 4, n = 3, k = 2, lda = 4, ldb = 3, ldc = 5;
  Random random{1};
  GuardedMatrix<T> a = random_matrix<T>(random, 4, 4, 4), b = random_matrix<T>(random, 3, 3, 3);
  GuardedMatrix<T> c = random_matrix<T>(random, 4, 3, 5);

  void run() { blas::gemm(transa, transb, m, n, k, T(1), {a.data(), lda}, {b.data(), ldb}, T(2), {c.data(), ldc}); }
  bool unchanged() const { return a.unchanged() && b.unchanged() && c.unchanged(); }
};

TYPED_TEST(Level3, ChecksTheArgumentsOfGemm) {
  using T = TypeParam;
  const std::string name = reported_name<T>("GEMM");
  expect_argument_checks<GemmCall<T>>(name, {{1, [](auto& c) { c.transa = 'X'; }},
                                             {1, [](auto& c) { c.transa = char('N' + 128); }},
                                             {2, [](auto& c) { c.transb = 'L'; }},
                                             {3, [](auto& c) { c.m = -1; }},
                                             {4, [](auto& c) { c.n = -1; }},
                                             {5, [](auto& c) { c.k = -1; }},
                                             {8, [](auto& c) { c.lda = 1; }},
                                             {8, [](auto& c) { c.lda = 0; }},
                                             {10, [](auto& c) { c.ldb = 1; }},
                                             {10, [](auto& c) { c.ldb = 0; }},
                                             {13, [](auto& c) { c.ldc = 3; }},
                                             {13, [](auto& c) { c.ldc = 0; }}});
  // The least leading dimension is the number of rows of the array: A is m by k or k by m, B k by n or n by k.
  for (const char trans : {'N', 'n', 'T', 't', 'C', 'c'}) {
    GemmCall<T> a, b;
    a.transa = b.transb = trans;
    a.lda = is_transposed(trans) ? a.k : a.m;
    b.ldb = is_transposed(trans) ? b.n : b.k;
    expect_report(a, name, 0);
    expect_report(b, name, 0);
    a = b = GemmCall<T>();
    a.transa = b.transb = trans;
    a.lda = (is_transposed(trans) ? a.k : a.m) - 1;
    b.ldb = (is_transposed(trans) ? b.n : b.k) - 1;
    expect_report(a, name, 8);
    expect_report(b, name, 10);
  }
}

// ------------------------------------------------------------------------------------------------------ trmm and trsm

/// The operands of a triangular product or solve and its exact counterpart.
template <Scalar T>
struct TriangularCase {
  char side, uplo, trans, diag;
  Int m, n;
  T alpha;
  GuardedMatrix<T> A, B;
  WideMatrix<T> opA, before;

  TriangularCase(Random& random, char side_, char uplo_, char trans_, char diag_, Int m_, Int n_, T alpha_)
      : side(random.in_some_case(side_)),
        uplo(random.in_some_case(uplo_)),
        trans(random.in_some_case(trans_)),
        diag(random.in_some_case(diag_)),
        m(m_),
        n(n_),
        alpha(alpha_),
        A(random_triangle<T>(random, is_upper(uplo), is_unit(diag), order(), order() + 2)),
        B(random_matrix<T>(random, m, n, m + 3)),
        opA(op<T>(trans, wide_triangle(A, is_upper(uplo), is_unit(diag)))),
        before(wide(B)) {
    // A zero factor makes what the arrays hold irrelevant.
    if (alpha != T(0)) return;
    A = GuardedMatrix<T>(order(), order(), order() + 2);
    B = GuardedMatrix<T>(m, n, m + 3);
  }

  Int order() const { return is_left(side) ? m : n; }

  /// factor op(A) X or factor X op(A)
  Sum<T> product(T factor, const WideMatrix<T>& X) const {
    Sum<T> sum(m, n);
    return is_left(side) ? sum.add(factor, opA, X) : sum.add(factor, X, opA);
  }
};

/// Calls visit for both triangles on both sides in all forms, each with one of the factors and with a diagonal that
/// counts or not, and expects that the triangle and what lies around B stays.
template <class T, class Visit>
void for_each_triangular_case(Random& random, Int m, Int n, const std::vector<T>& factors, Visit visit) {
  for (const char side : sides) {
    for (const char uplo : uplos) {
      for (const char trans : transes) {
        TriangularCase<T> one(random, side, uplo, trans, random.pick(diags), m, n, random.pick(factors));
        SCOPED_TRACE(testing::Message() << one.side << one.uplo << one.trans << one.diag << ", " << m << " by " << n
                                        << ", alpha " << one.alpha);
        visit(one);
        EXPECT_TRUE(one.A.unchanged());
        EXPECT_TRUE(one.B.guards_unchanged());
      }
    }
  }
}

/// The same for all small sizes, and for triangles of several blocks on either side.
template <class T, class Visit>
void for_each_triangular_case(Random& random, Visit visit) {
  for (const Int m : kernel_sizes()) {
    for (const Int n : kernel_sizes()) for_each_triangular_case<T>(random, m, n, alphas<T>(), visit);
  }
  for_each_triangular_case<T>(random, 200, 9, {factor_of<T>(0.75, -0.5)}, visit);
  for_each_triangular_case<T>(random, 9, 200, {factor_of<T>(0.75, -0.5)}, visit);
}

TYPED_TEST(Level3, MultipliesByATriangle) {
  using T = TypeParam;
  for_each_triangular_case<T>(this->random, [](TriangularCase<T>& one) {
    blas::trmm(one.side, one.uplo, one.trans, one.diag, one.m, one.n, one.alpha, one.A, one.B);
    EXPECT_LT(one.product(one.alpha, one.before).error_of(wide(one.B)), kernel_threshold);
  });
}

TYPED_TEST(Level3, SolvesWithATriangle) {
  using T = TypeParam;
  for_each_triangular_case<T>(this->random, [](TriangularCase<T>& one) {
    blas::trsm(one.side, one.uplo, one.trans, one.diag, one.m, one.n, one.alpha, one.A, one.B);
    Sum<T> rest = one.product(T(1), wide(one.B)).add(negated(one.alpha), one.before);
    EXPECT_LT(rest.distance_from_zero(), kernel_threshold);
  });
}

template <Scalar T>
struct TriangularMatrixCall {
  char side = 'L', uplo = 'U', trans = 'N', diag = 'N';
  Int m = 4, n = 3, lda = 5, ldb = 6;
  Random random{1};
  GuardedMatrix<T> a = random_triangle<T>(random, true, false, 4, 5);
  GuardedMatrix<T> b = random_matrix<T>(random, 4, 3, 6);

  bool unchanged() const { return a.unchanged() && b.unchanged(); }
};

template <Scalar T>
struct TrmmCall : TriangularMatrixCall<T> {
  void run() {
    blas::trmm(this->side, this->uplo, this->trans, this->diag, this->m, this->n, T(2), {this->a.data(), this->lda},
               {this->b.data(), this->ldb});
  }
};

template <Scalar T>
struct TrsmCall : TriangularMatrixCall<T> {
  void run() {
    blas::trsm(this->side, this->uplo, this->trans, this->diag, this->m, this->n, T(2), {this->a.data(), this->lda},
               {this->b.data(), this->ldb});
  }
};

template <class Call>
void expect_triangular_matrix_checks(const std::string& name) {
  expect_argument_checks<Call>(name, {{1, [](auto& c) { c.side = 'U'; }},
                                      {1, [](auto& c) { c.side = char('l' + 128); }},
                                      {2, [](auto& c) { c.uplo = 'R'; }},
                                      {3, [](auto& c) { c.trans = 'U'; }},
                                      {4, [](auto& c) { c.diag = 'T'; }},
                                      {5, [](auto& c) { c.m = -1; }},
                                      {6, [](auto& c) { c.n = -1; }},
                                      {9, [](auto& c) { c.lda = 2; }},
                                      {9, [](auto& c) { c.lda = 0; }},
                                      {11, [](auto& c) { c.ldb = 3; }},
                                      {11, [](auto& c) { c.ldb = 0; }}});
  // The triangle is of order m on the left and of order n on the right.
  for (const char side : {'L', 'l', 'R', 'r'}) {
    Call least, less;
    least.side = less.side = side;
    less.lda = (is_left(side) ? less.m : less.n) - 1;
    expect_report(less, name, 9);
    if (is_left(side)) continue;
    least.lda = least.n;
    least.a = random_triangle<std::decay_t<decltype(least.a(1, 1))>>(least.random, true, false, 3, 3);
    expect_report(least, name, 0);
  }
  Call empty_a, empty_b;
  empty_a.m = empty_a.lda = empty_b.m = empty_b.ldb = 0;
  expect_report(empty_a, name, 9);
  expect_report(empty_b, name, 11);
}

TYPED_TEST(Level3, ChecksTheArgumentsOfTriangularRoutines) {
  using T = TypeParam;
  expect_triangular_matrix_checks<TrmmCall<T>>(reported_name<T>("TRMM"));
  expect_triangular_matrix_checks<TrsmCall<T>>(reported_name<T>("TRSM"));
}

TEST(Threads, AreOneInTheSequentialLayer) {
  EXPECT_EQ(nuv_serv_nuv_get_max_threads(), 1);
}

}  // namespace
}  // namespace nuv::test
