#include "solvers/mixed_precision.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "environment/machine_constants.hpp"
#include "environment/matrix_utilities.hpp"
#include "environment/norms_general.hpp"
#include "frame/error_report.hpp"
#include "layer.hpp"
#include "solvers/general_lu.hpp"

namespace nuv {

void dlag2s(Int m, Int n, const double* a, Int lda, float* sa, Int ldsa, Int& info) {
  if (n < 1) return;
  info = 0;
  constexpr double rmax = Machine<float>::overflow;
  const auto is_too_large = [](double x) { return x < -rmax || x > rmax; };
  const Matrix A{a, lda};
  const Matrix SA{sa, ldsa};
  for (Int j = 1; j <= n; ++j) {
    const double* const column = A.at(1, j);
    float* const rounded = SA.at(1, j);
    bool fits = true;
    for (Int i = 0; i < m; ++i) fits &= !is_too_large(column[i]);
    if (!fits) {
      const std::int64_t row = std::find_if(column, column + m, is_too_large) - column;
      info = static_cast<Int>(std::min<std::int64_t>(row * lda + j, std::numeric_limits<Int>::max()));
      return;
    }
    for (Int i = 0; i < m; ++i) rounded[i] = static_cast<float>(column[i]);
  }
}

void slag2d(Int m, Int n, const float* sa, Int ldsa, double* a, Int lda, Int& info) {
  info = 0;
  const Matrix SA{sa, ldsa};
  const Matrix A{a, lda};
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 0; i < m; ++i) A.at(1, j)[i] = SA.at(1, j)[i];
  }
}

namespace {

constexpr Int most_steps = 30;
constexpr double largest_backward_error = 1;  ///< in units of ||A|| sqrt(n) eps

constexpr Int too_large_for_single = -2, singular_in_single = -3, not_converged = -1 - most_steps;

/// The solution of A X = B by refinement. A step costs two solves in single precision and a product.
class MixedSolution {
 public:
  MixedSolution(Int n, Int nrhs, Matrix<const double> A, Matrix<const double> B, Matrix<double> X, double* work,
                float* swork, Int* ipiv)
      : n_(n),
        nrhs_(nrhs),
        A_(A),
        B_(B),
        X_(X),
        R_(work, n),
        SA_(swork, n),
        SX_(swork + std::ptrdiff_t{n} * n, n),
        ipiv_(ipiv) {}

  /// Gives what ?gesv returns as iter.
  Int solve() {
    // The norm takes the work of one right-hand side; without any there is none to take, and nothing to compare.
    if (nrhs_ > 0) {
      const double norm = lange('I', n_, n_, A_.data, A_.ld, R_.data);
      tolerance_ = norm * Machine<double>::eps * std::sqrt(static_cast<double>(n_)) * largest_backward_error;
    }
    if (!round_to_single(nrhs_, B_, SX_) || !round_to_single(n_, A_, SA_)) return too_large_for_single;
    Int info = 0;
    layer::getrf(n_, n_, SA_, ipiv_, info);
    if (info != 0) return singular_in_single;

    solve_in_single(X_);
    compute_residual();
    for (Int step = 0; !has_converged(); ++step) {
      if (step == most_steps) return not_converged;
      if (!round_to_single(nrhs_, R_, SX_)) return too_large_for_single;
      solve_in_single(R_);
      for (Int j = 1; j <= nrhs_; ++j) blas::axpy(n_, 1.0, column(R_, 1, j), column(X_, 1, j));
      compute_residual();
      steps_ = step + 1;
    }
    return steps_;
  }

 private:
  bool round_to_single(Int columns, Matrix<const double> from, Matrix<float> to) const {
    Int info = 0;
    dlag2s(n_, columns, from.data, from.ld, to.data, to.ld, info);
    return info == 0;
  }

  /// The solutions for the right-hand sides that stand in SX.
  void solve_in_single(Matrix<double> to) const {
    Int info;
    getrs('N', n_, nrhs_, SA_.data, SA_.ld, ipiv_, SX_.data, SX_.ld, info);
    slag2d(n_, nrhs_, SX_.data, SX_.ld, to.data, to.ld, info);
  }

  void compute_residual() const {
    lacpy('A', n_, nrhs_, B_.data, B_.ld, R_.data, R_.ld);
    blas::gemm('N', 'N', n_, nrhs_, n_, -1.0, A_, X_, 1.0, R_);
  }

  bool has_converged() const {
    for (Int j = 1; j <= nrhs_; ++j) {
      if (!(largest(R_, j) <= largest(X_, j) * tolerance_)) return false;
    }
    return true;
  }

  double largest(Matrix<const double> M, Int j) const {
    const Vector x = column(M, 1, j);
    return std::abs(x.data[blas::iamax(n_, x) - 1]);
  }

  Int n_, nrhs_;
  Matrix<const double> A_, B_;
  Matrix<double> X_, R_;  ///< solutions; residuals, and the steps
  Matrix<float> SA_, SX_;
  Int* ipiv_;
  double tolerance_ = 0;
  Int steps_ = 0;
};

}  // namespace

void dsgesv(Int n, Int nrhs, double* a, Int lda, Int* ipiv, const double* b, Int ldb, double* x, Int ldx, double* work,
            float* swork, Int& iter, Int& info) {
  info = 0;
  iter = 0;
  if (n < 0) info = -1;
  else if (nrhs < 0) info = -2;
  else if (lda < std::max(1, n)) info = -4;
  else if (ldb < std::max(1, n)) info = -7;
  else if (ldx < std::max(1, n)) info = -9;
  if (info != 0) return report_bad_argument("DSGESV", info);
  if (n == 0) return;

  iter = MixedSolution(n, nrhs, {a, lda}, {b, ldb}, {x, ldx}, work, swork, ipiv).solve();
  if (iter >= 0) return;
  layer::getrf(n, n, Matrix{a, lda}, ipiv, info);
  lacpy('A', n, nrhs, b, ldb, x, ldx);
  if (info == 0) getrs('N', n, nrhs, a, lda, ipiv, x, ldx, info);
}

}  // namespace nuv

#include "solvers/mixed_precision.entries.inc"
