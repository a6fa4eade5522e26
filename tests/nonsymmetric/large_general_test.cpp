// Schur forms of matrices that are large enough for all that the QR iteration has: windows within windows, many shifts,
// sweeps by products of matrices.

#include <cmath>

#include "nonsymmetric/general_calls.hpp"
#include "nonsymmetric/hessenberg_call.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = schur_threshold;

/// ||(A Z - Z S) X|| / (||A|| n eps) and ||(Z^H Z - I) X|| / (n^(3/2) eps) for a few columns X of random signs, which
/// take no products of large matrices. Errors that are random, too, show the root of n times as much in the second.
template <Scalar T>
void expect_schur_form_by_probes(const GuardedMatrix<T>& A, const GuardedMatrix<T>& Z, const GuardedMatrix<T>& S) {
  EXPECT_TRUE(is_schur_form(S));
  const Int n = A.rows();
  Random random(19);
  WideMatrix<T> X(n, 3);
  for (Eigen::Index j = 0; j < X.cols(); ++j) {
    for (Eigen::Index i = 0; i < n; ++i) X(i, j) = WideReal<T>(random.integer(0, 1) == 0 ? -1 : 1);
  }
  const WideMatrix<T> wide_a = wide(A), wide_z = wide(Z), ZX = product<T>(wide_z, X), SX = product<T>(wide(S), X);
  const WideMatrix<T> residual = product<T>(wide_a, ZX) - product<T>(wide_z, SX);
  const WideMatrix<T> departure = wide_z.adjoint() * ZX - X;
  EXPECT_LT(one_norm<T>(residual) / (one_norm<T>(wide_a) * n * epsilon<T>), threshold);
  EXPECT_LT(one_norm<T>(departure) / (n * std::sqrt(double(n)) * epsilon<T>), threshold);
}

TEST(LargeGeneralMatrix, IsBroughtToSchurForm) {
  Random random(1500);
  const Int n = 1500;
  const GuardedMatrix<double> A = random_matrix<double>(random, n, n, n);
  const SchurCall<double> call = solve<Gees<double>>(SchurCall<double>('V', A));
  ASSERT_EQ(call.info, 0);
  expect_schur_form_by_probes(A, call.VS, call.A);
  EXPECT_TRUE(are_pairs(call));
  std::complex<double> trace = 0;
  for (Int i = 1; i <= n; ++i) {
    EXPECT_EQ(call.wr(i), call.A(i, i)) << i;
    trace += call.value(i) - A(i, i);
  }
  EXPECT_LT(std::abs(trace), threshold * n * epsilon<double> * std::sqrt(double(n)));
}

/// Windows of laqr0 take laqr4 from order 590 on.
template <Scalar T, class Solve>
void expect_hessenberg_solved(Int n, Solve solve) {
  Random random(59);
  const GuardedMatrix<T> H = random_hessenberg<T>(random, n, n + 1);
  HessenbergCall<T> call(H);
  solve(call);
  ASSERT_EQ(call.info, 0);
  EXPECT_TRUE(call.guards_unchanged());
  expect_schur_form_by_probes(H, call.Z, call.H);
}

TEST(LargeHessenbergMatrix, IsBroughtToSchurForm) {
  expect_hessenberg_solved<std::complex<double>>(600, [](auto& call) { call.hseqr(); });
}

TEST(LargeHessenbergMatrix, IsBroughtToSchurFormByTheIterationItself) {
  for (const Int n : {589, 590}) {
    SCOPED_TRACE(n);
    expect_hessenberg_solved<double>(n, [](auto& call) { call.laqr0(); });
  }
}

}  // namespace
}  // namespace nuv::test
