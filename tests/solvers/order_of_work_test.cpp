// The order of work inside the solvers: which blocks they take, and which kernels they hand them to. Seen by the calls
// that reach the thread layer and, where the same calls can be made from outside, by equal bits.

#include <algorithm>
#include <limits>

#include "blas.hpp"
#include "layer.hpp"
#include "routines.hpp"
#include "solvers/factored.hpp"
#include "solvers/recording_layer.hpp"
#include "support/options.hpp"
#include "support/reported_errors.hpp"
#include "support/sanitized.hpp"
#include "x_variants.hpp"

namespace nuv::test {
namespace {

using Calls = std::vector<std::string>;

std::string call(const std::string& routine_and_options, std::initializer_list<Int> sizes) {
  std::string text = routine_and_options;
  for (const Int size : sizes) text += ' ' + std::to_string(size);
  return text;
}

template <class T>
class OrderOfWork : public ReportingTest {
 protected:
  GuardedMatrix<T> matrix(Int m, Int n) { return random_matrix<T>(random, m, n, padded(m)); }
  GuardedMatrix<T> triangle(bool upper, Int n) { return random_triangle<T>(random, upper, false, n, n + 1); }

  Random random{15};
};
TYPED_TEST_SUITE(OrderOfWork, Precisions, PrecisionLetter);

// ----------------------------------------------------------------------------------------------------- factorisation

/// One level of the right-looking form, with the usual exchanges to the left after every panel.
template <Scalar T>
void right_looking(Int nb, Int m, Int n, Matrix<T> A, Int* ipiv, Int& info) {
  const Int k = std::min(m, n);
  for (Int j = 1; j <= k; j += nb) {
    const Int jb = std::min(nb, k - j + 1), behind = j + jb;
    Int panel_info = 0;
    x_variant::getrf(m - j + 1, jb, block(A, j, j), ipiv + j - 1, panel_info);
    if (info == 0 && panel_info > 0) info = j - 1 + panel_info;
    for (Int i = j; i < behind; ++i) ipiv[i - 1] += j - 1;
    routine_call::laswp(j - 1, A, j, behind - 1, ipiv, 1);
    const Int r = n - behind + 1;
    routine_call::laswp(r, block(A, 1, behind), j, behind - 1, ipiv, 1);
    blas::trsm('L', 'L', 'N', 'U', jb, r, T(1), block(A, j, j), block(A, j, behind));
    blas::gemm('N', 'N', m - behind + 1, r, jb, T(-1), block(A, behind, j), block(A, j, behind), T(1),
               block(A, behind, behind));
  }
}

/// One level of the left-looking form; j columns are done.
template <Scalar T>
void left_looking(Int nb, Int m, Int n, Matrix<T> A, Int* ipiv, Int& info) {
  const Int k = std::min(m, n);
  for (Int j = 0; j < k; j += nb) {
    const Int jb = std::min(nb, k - j), r = n - j - jb;
    const Matrix<T> beside = block(A, j + 1, j + jb + 1);
    blas::gemm('N', 'N', m - j, jb, j, T(-1), block(A, j + 1, 1), block(A, 1, j + 1), T(1), block(A, j + 1, j + 1));
    Int panel_info = 0;
    x_variant::getrf(m - j, jb, block(A, j + 1, j + 1), ipiv + j, panel_info);
    if (info == 0 && panel_info > 0) info = j + panel_info;
    for (Int i = j; i < j + jb; ++i) ipiv[i] += j;
    routine_call::laswp(j, A, j + 1, j + jb, ipiv, 1);
    routine_call::laswp(r, block(A, 1, j + jb + 1), j + 1, j + jb, ipiv, 1);
    blas::gemm('N', 'N', jb, r, j, T(-1), block(A, j + 1, 1), block(A, 1, j + jb + 1), T(1), beside);
    blas::trsm('L', 'L', 'N', 'U', jb, r, T(1), block(A, j + 1, j + 1), beside);
  }
}

/// A number of columns and the width of the first level's blocks; 0 or 1 for a matrix that goes to the unblocked code
/// whole.
struct Width {
  Int columns, width;
};

const Width right_looking_widths[] = {{1, 1},     {8, 1},     {9, 8},     {32, 8},    {33, 32},    {128, 32},
                                      {129, 128}, {256, 128}, {257, 256}, {512, 256}, {1025, 1024}};
const Width left_looking_widths[] = {{1, 0},       {16, 0},      {17, 16},     {32, 16},    {33, 32},     {64, 32},
                                     {65, 64},     {128, 64},    {129, 128},   {1024, 128}, {1025, 1024}, {2048, 1024},
                                     {2049, 2048}, {4096, 2048}, {4097, 4096}, {8193, 8192}};

template <Scalar T>
std::vector<Width> first_level_widths() {
  if constexpr (std::same_as<T, double>) {
    return {std::begin(right_looking_widths), std::end(right_looking_widths)};
  } else {
    return {std::begin(left_looking_widths), std::end(left_looking_widths)};
  }
}

TYPED_TEST(OrderOfWork, FactorsByBlocksOfTheMembersOwnWidth) {
  using T = TypeParam;
  constexpr bool is_right_looking = std::same_as<T, double>;
  for (const auto& [n, nb] : first_level_widths<T>()) {
    for (const Int m : {5, 20, 40, 150, std::clamp(nb, 1, 256), n <= 300 ? n + 10 : 200}) {
      if ((n > 1100 && m != 150) || (is_sanitized && n > 300)) continue;
      SCOPED_TRACE(to_string(Shape{m, n}));
      const GuardedMatrix<T> A = this->matrix(m, n);
      const bool in_one_piece = nb <= 1 || (is_right_looking && nb >= std::min(m, n));
      take_recorded_calls();
      const Factored<T> expected = factor(A, [&](auto&&... arguments) {
        if (in_one_piece) {
          routine_call::getf2(arguments...);
        } else if (is_right_looking) {
          right_looking<T>(nb, arguments...);
        } else {
          left_looking<T>(nb, arguments...);
        }
      });
      const Calls expected_calls = take_recorded_calls();
      const Factored<T> lu = factor(A, [](auto&&... arguments) { x_variant::getrf(arguments...); });
      EXPECT_EQ(take_recorded_calls(), expected_calls);
      EXPECT_TRUE(lu.factors.same_as(expected.factors));
      EXPECT_TRUE(lu.ipiv.same_as(expected.ipiv));
    }
  }
}

TYPED_TEST(OrderOfWork, FactorsAPanelWithoutTheThreadLayer) {
  using T = TypeParam;
  // What is no wider than this goes to the unblocked code whole, which calls no kernel of level 3.
  const Int widest = std::same_as<T, double> ? 8 : 16;
  take_recorded_calls();
  factor(this->matrix(100, widest), [](auto&&... arguments) { x_variant::getrf(arguments...); });
  EXPECT_EQ(take_recorded_calls(), Calls());
  factor(this->matrix(100, widest + 1), [](auto&&... arguments) { x_variant::getrf(arguments...); });
  const Calls expected =
      std::same_as<T, double> ? Calls{"trsm LLNU 8 1", "gemm NN 92 1 8"} : Calls{"trsm LLNU 16 1", "gemm NN 84 1 16"};
  EXPECT_EQ(take_recorded_calls(), expected);
}

// ------------------------------------------------------------------------------------------------------------ solves

/// Solves with the factors by the kernel of level 3, or, for one right-hand side, by the vector kernel.
template <Scalar T>
void solve(char trans, bool by_vector_kernel, const Factored<T>& lu, GuardedMatrix<T>& B) {
  const Int n = lu.factors.rows(), nrhs = B.columns();
  const auto solve_with = [&](char uplo, char diag) {
    if (by_vector_kernel) {
      blas::trsv(uplo, trans, diag, n, lu.factors, {B.data(), 1});
    } else {
      blas::trsm('L', uplo, trans, diag, n, nrhs, T(1), lu.factors, B);
    }
  };
  if (trans == 'N') {
    routine_call::laswp(nrhs, B, 1, n, lu.ipiv.data(), 1);
    solve_with('L', 'U');
    solve_with('U', 'N');
  } else {
    solve_with('U', 'N');
    solve_with('L', 'U');
    routine_call::laswp(nrhs, B, 1, n, lu.ipiv.data(), -1);
  }
}

TYPED_TEST(OrderOfWork, TakesTheVectorKernelForOneRightHandSideInDoubleAlone) {
  using T = TypeParam;
  for (const Int n : {1, 2, 9, 33, 65, 129}) {
    const Factored<T> lu = factor(this->matrix(n, n));
    for (const char trans : transes) {
      for (const Int nrhs : {1, 2, 3}) {
        SCOPED_TRACE("order " + std::to_string(n) + ", trans " + trans + ", right-hand sides " + std::to_string(nrhs));
        const GuardedMatrix<T> B = this->matrix(n, nrhs);
        GuardedMatrix<T> X = B, expected = B, by_trsm = B;
        take_recorded_calls();
        solve(trans, std::same_as<T, double> && nrhs == 1, lu, expected);
        const Calls expected_calls = take_recorded_calls();
        Int info = 99;
        routine_call::getrs(trans, n, nrhs, lu.factors, lu.ipiv.data(), X, info);
        EXPECT_EQ(info, 0);
        EXPECT_EQ(take_recorded_calls(), expected_calls);
        EXPECT_TRUE(X.same_as(expected));
        // Either way is as good.
        solve(trans, false, lu, by_trsm);
        const WideMatrix<T> A = op<T>(trans, lu.A);
        EXPECT_LT(solution_residual<T>(A, wide(by_trsm), wide(B)), 10);
        EXPECT_LT(solution_residual<T>(A, wide(X), wide(B)), 10);
      }
    }
  }
}

TYPED_TEST(OrderOfWork, FactorsForTheDriverThroughTheLayer) {
  using T = TypeParam;
  GuardedMatrix<T> A = this->matrix(8, 8), B = this->matrix(8, 2);
  GuardedVector<Int> ipiv(8);
  Int info = 99;
  take_recorded_calls();
  routine_call::gesv(8, 2, A, ipiv.data(), B, info);
  EXPECT_EQ(take_recorded_calls(), (Calls{"getrf 8 8", "trsm LLNU 8 2", "trsm LUNN 8 2"}));

  A = this->matrix(8, 8);
  for (Int i = 1; i <= 8; ++i) A(i, 3) = T(0);
  routine_call::gesv(8, 2, A, ipiv.data(), B, info);
  EXPECT_EQ(info, 3);
  EXPECT_EQ(take_recorded_calls(), Calls{"getrf 8 8"});
}

TYPED_TEST(OrderOfWork, SolvesWithATriangleInOneCall) {
  using T = TypeParam;
  for (const char trans : transes) {
    const GuardedMatrix<T> A = this->triangle(true, 70);
    GuardedMatrix<T> B = this->matrix(70, 1);
    Int info = 99;
    take_recorded_calls();
    routine_call::trtrs('U', trans, 'N', 70, 1, A, B, info);
    EXPECT_EQ(take_recorded_calls(), Calls{std::string("trsm LU") + trans + "N 70 1"});
  }
}

// ---------------------------------------------------------------------------------------------------------- inverses

constexpr Int inverse_block = 64;

/// The first column of each block of a matrix of order n.
std::vector<Int> block_starts(Int n, Int nb) {
  std::vector<Int> starts;
  for (Int j = 1; j <= n; j += nb) starts.push_back(j);
  return starts;
}

TYPED_TEST(OrderOfWork, InvertsAnUpperTriangleFromTheFirstBlock) {
  using T = TypeParam;
  constexpr Int nb = inverse_block;
  for (const Int n : {1, 63, 64, 65, 128, 130, 200}) {
    GuardedMatrix<T> A = this->triangle(true, n), expected = A;
    const Matrix<T> X = expected;
    Int info = 99;
    take_recorded_calls();
    for (const Int j : block_starts(n, nb)) {
      const Int jb = std::min(nb, n - j + 1);
      blas::trmm('L', 'U', 'N', 'N', j - 1, jb, T(1), X, block(X, 1, j));
      blas::trsm('R', 'U', 'N', 'N', j - 1, jb, T(-1), block(X, j, j), block(X, 1, j));
      routine_call::trti2('U', 'N', jb, block(X, j, j), info);
    }
    const Calls expected_calls = take_recorded_calls();
    routine_call::trtri('U', 'N', n, A, info);
    EXPECT_EQ(take_recorded_calls(), expected_calls);
    EXPECT_TRUE(A.same_as(expected)) << "order " << n;
  }
}

TYPED_TEST(OrderOfWork, InvertsALowerTriangleFromTheLastBlock) {
  using T = TypeParam;
  constexpr Int nb = inverse_block;
  for (const Int n : {1, 63, 64, 65, 128, 130, 200}) {
    GuardedMatrix<T> A = this->triangle(false, n), expected = A;
    const Matrix<T> X = expected;
    Int info = 99;
    take_recorded_calls();
    std::vector<Int> starts = block_starts(n, nb);
    std::reverse(starts.begin(), starts.end());
    for (const Int j : starts) {
      const Int jb = std::min(nb, n - j + 1), behind = j + jb, below = n - behind + 1;
      blas::trmm('L', 'L', 'N', 'N', below, jb, T(1), block(X, behind, behind), block(X, behind, j));
      blas::trsm('R', 'L', 'N', 'N', below, jb, T(-1), block(X, j, j), block(X, behind, j));
      routine_call::trti2('L', 'N', jb, block(X, j, j), info);
    }
    const Calls expected_calls = take_recorded_calls();
    routine_call::trtri('L', 'N', n, A, info);
    EXPECT_EQ(take_recorded_calls(), expected_calls);
    EXPECT_TRUE(A.same_as(expected)) << "order " << n;
  }
}

/// What getri asks of level 3 after the inverse of U when it works by blocks of that width; nothing for a width
/// below 2.
Calls calls_of_getri(Int n, Int nb) {
  Calls calls;
  if (nb < 2 || nb >= n) return calls;
  std::vector<Int> starts = block_starts(n, nb);
  std::reverse(starts.begin(), starts.end());
  for (const Int j : starts) {
    const Int jb = std::min(nb, n - j + 1), behind = n - j - jb + 1;
    if (behind > 0) calls.push_back(call("gemm NN", {n, jb, behind}));
    calls.push_back(call("trsm RLNU", {n, jb}));
  }
  return calls;
}

TYPED_TEST(OrderOfWork, InvertsByBlocksThatTheWorkspaceHolds) {
  using T = TypeParam;
  for (const Int n : {1, 2, 64, 65, 128, 131}) {
    const Factored<T> lu = factor(this->matrix(n, n));
    const struct {
      Int lwork, width;
    } cases[] = {{n, 1},
                 {2 * n - 1, 1},
                 {2 * n, 2},
                 {3 * n + n - 1, 3},
                 {inverse_block * n - 1, inverse_block - 1},
                 {inverse_block * n, inverse_block},
                 {inverse_block * n + 1, inverse_block}};
    for (const auto& [lwork, width] : cases) {
      SCOPED_TRACE("order " + std::to_string(n) + ", lwork " + std::to_string(lwork));
      GuardedMatrix<T> A = lu.factors, U = lu.factors;
      GuardedVector<T> work(lwork);
      Int info = 99;
      take_recorded_calls();
      routine_call::trtri('U', 'N', n, U, info);
      Calls expected = take_recorded_calls();
      // A matrix no wider than the best block is inverted in one piece, whatever the workspace.
      const Calls after = calls_of_getri(n, n > inverse_block ? width : n);
      expected.insert(expected.end(), after.begin(), after.end());
      routine_call::getri(n, A, lu.ipiv.data(), work.data(), lwork, info);
      EXPECT_EQ(info, 0);
      EXPECT_EQ(take_recorded_calls(), expected);
    }
  }
}

}  // namespace
}  // namespace nuv::test
