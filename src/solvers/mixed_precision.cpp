#include "solvers/mixed_precision.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <type_traits>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "environment/abs1.hpp"
#include "environment/machine_constants.hpp"
#include "environment/matrix_utilities.hpp"
#include "environment/norms_general.hpp"
#include "frame/error_report.hpp"
#include "layer.hpp"
#include "solvers/general_lu.hpp"

namespace nuv {

namespace {

/// The type of numbers in single precision for those in double precision.
template <Scalar T>
using Single = std::conditional_t<ComplexScalar<T>, std::complex<float>, float>;

template <Scalar T>
bool is_too_large(T x) {
  constexpr double rmax = Machine<float>::overflow;
  const auto part_is = [](double part) { return part < -rmax || part > rmax; };
  return part_is(std::real(x)) || part_is(std::imag(x));
}

/// info as for dlag2s.
template <Scalar T>
void round_to_single(Int m, Int n, Matrix<const T> A, Matrix<Single<T>> SA, Int& info) {
  if (n < 1) return;
  info = 0;
  for (Int j = 1; j <= n; ++j) {
    const T* const column = A.at(1, j);
    Single<T>* const rounded = SA.at(1, j);
    bool fits = true;
    for (Int i = 0; i < m; ++i) fits &= !is_too_large(column[i]);
    if (!fits) {
      const std::int64_t row = std::find_if(column, column + m, is_too_large<T>) - column;
      info = static_cast<Int>(std::min<std::int64_t>(row * A.ld + j, std::numeric_limits<Int>::max()));
      return;
    }
    for (Int i = 0; i < m; ++i) rounded[i] = static_cast<Single<T>>(column[i]);
  }
}

template <Scalar T>
void widen(Int m, Int n, Matrix<const Single<T>> SA, Matrix<T> A) {
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 0; i < m; ++i) A.at(1, j)[i] = SA.at(1, j)[i];
  }
}

constexpr Int most_steps = 30;
constexpr double largest_backward_error = 1;  ///< in units of ||A|| sqrt(n) eps

constexpr Int too_large_for_single = -2, singular_in_single = -3, not_converged = -1 - most_steps;

/// The solution of A X = B by refinement. A step costs two solves in single precision and a product.
template <Scalar T>
class MixedSolution {
 public:
  MixedSolution(Int n, Int nrhs, Matrix<const T> A, Matrix<const T> B, Matrix<T> X, T* work, Single<T>* swork,
                Int* ipiv)
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
  ///
  /// norm_work   n elements, if there is a right-hand side
  Int solve(double* norm_work) {
    if (nrhs_ > 0) {
      const double norm = lange('I', n_, n_, A_.data, A_.ld, norm_work);
      tolerance_ = norm * Machine<double>::eps * std::sqrt(static_cast<double>(n_)) * largest_backward_error;
    }
    if (!round(nrhs_, B_, SX_) || !round(n_, A_, SA_)) return too_large_for_single;
    Int info = 0;
    layer::getrf(n_, n_, SA_, ipiv_, info);
    if (info != 0) return singular_in_single;

    solve_in_single(X_);
    compute_residual();
    for (Int step = 0; !has_converged(); ++step) {
      if (step == most_steps) return not_converged;
      if (!round(nrhs_, R_, SX_)) return too_large_for_single;
      solve_in_single(R_);
      for (Int j = 1; j <= nrhs_; ++j) blas::axpy(n_, T(1), column(R_, 1, j), column(X_, 1, j));
      compute_residual();
      steps_ = step + 1;
    }
    return steps_;
  }

 private:
  bool round(Int columns, Matrix<const T> from, Matrix<Single<T>> to) const {
    Int info = 0;
    round_to_single<T>(n_, columns, from, to, info);
    return info == 0;
  }

  /// The solutions for the right-hand sides that stand in SX.
  void solve_in_single(Matrix<T> to) const {
    Int info;
    getrs('N', n_, nrhs_, SA_.data, SA_.ld, ipiv_, SX_.data, SX_.ld, info);
    widen<T>(n_, nrhs_, SX_, to);
  }

  void compute_residual() const {
    lacpy('A', n_, nrhs_, B_.data, B_.ld, R_.data, R_.ld);
    blas::gemm('N', 'N', n_, nrhs_, n_, T(-1), A_, X_, T(1), R_);
  }

  bool has_converged() const {
    for (Int j = 1; j <= nrhs_; ++j) {
      if (!(largest(R_, j) <= largest(X_, j) * tolerance_)) return false;
    }
    return true;
  }

  double largest(Matrix<const T> M, Int j) const {
    const Vector x = column(M, 1, j);
    return abs1(x.data[blas::iamax(n_, x) - 1]);
  }

  Int n_, nrhs_;
  Matrix<const T> A_, B_;
  Matrix<T> X_, R_;  ///< solutions; residuals, and the steps
  Matrix<Single<T>> SA_, SX_;
  Int* ipiv_;
  double tolerance_ = 0;
  Int steps_ = 0;
};

template <Scalar T>
void solve_by_single(Text name, Int n, Int nrhs, Matrix<T> A, Int* ipiv, Matrix<const T> B, Matrix<T> X, T* work,
                     Single<T>* swork, double* norm_work, Int& iter, Int& info) {
  info = 0;
  iter = 0;
  if (n < 0) info = -1;
  else if (nrhs < 0) info = -2;
  else if (A.ld < std::max(1, n)) info = -4;
  else if (B.ld < std::max(1, n)) info = -7;
  else if (X.ld < std::max(1, n)) info = -9;
  if (info != 0) return report_bad_argument(name, info);
  if (n == 0) return;

  iter = MixedSolution<T>(n, nrhs, A, B, X, work, swork, ipiv).solve(norm_work);
  if (iter >= 0) return;
  layer::getrf(n, n, A, ipiv, info);
  lacpy('A', n, nrhs, B.data, B.ld, X.data, X.ld);
  if (info == 0) getrs('N', n, nrhs, A.data, A.ld, ipiv, X.data, X.ld, info);
}

}  // namespace

void dsgesv(Int n, Int nrhs, double* a, Int lda, Int* ipiv, const double* b, Int ldb, double* x, Int ldx, double* work,
            float* swork, Int& iter, Int& info) {
  // The norm takes the work of one right-hand side; without any there is none to take, and nothing to compare.
  solve_by_single<double>("DSGESV", n, nrhs, {a, lda}, ipiv, {b, ldb}, {x, ldx}, work, swork, work, iter, info);
}

void zcgesv(Int n, Int nrhs, std::complex<double>* a, Int lda, Int* ipiv, const std::complex<double>* b, Int ldb,
            std::complex<double>* x, Int ldx, std::complex<double>* work, std::complex<float>* swork, double* rwork,
            Int& iter, Int& info) {
  solve_by_single<std::complex<double>>("ZCGESV", n, nrhs, {a, lda}, ipiv, {b, ldb}, {x, ldx}, work, swork, rwork, iter,
                                        info);
}

void dlag2s(Int m, Int n, const double* a, Int lda, float* sa, Int ldsa, Int& info) {
  round_to_single<double>(m, n, {a, lda}, {sa, ldsa}, info);
}

void zlag2c(Int m, Int n, const std::complex<double>* a, Int lda, std::complex<float>* sa, Int ldsa, Int& info) {
  round_to_single<std::complex<double>>(m, n, {a, lda}, {sa, ldsa}, info);
}

void slag2d(Int m, Int n, const float* sa, Int ldsa, double* a, Int lda, Int& info) {
  info = 0;
  widen<double>(m, n, {sa, ldsa}, {a, lda});
}

void clag2z(Int m, Int n, const std::complex<float>* sa, Int ldsa, std::complex<double>* a, Int lda, Int& info) {
  info = 0;
  widen<std::complex<double>>(m, n, {sa, ldsa}, {a, lda});
}

}  // namespace nuv

#include "solvers/mixed_precision.entries.inc"
