#include "solvers/condition.hpp"

#include <algorithm>
#include <utility>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "environment/hermitian.hpp"
#include "environment/machine_constants.hpp"
#include "environment/norms_triangular.hpp"
#include "frame/error_report.hpp"
#include "solvers/absolute_products.hpp"
#include "solvers/condition_steps.hpp"
#include "solvers/scaled_triangular.hpp"
#include "solvers/tridiagonal_inverse.hpp"

namespace nuv {
namespace {

// ---------------------------------------------------------------------------- triangular matrices and Cholesky factors

/// Scaled solves with a triangular matrix, in each storage.
template <Scalar T>
struct FullSolves {
  Int n;
  const T* a;
  Int lda;

  void solve(char uplo, char trans, char diag, char normin, T* x, Real<T>& scale, Real<T>* cnorm) const {
    Int info;
    latrs(uplo, trans, diag, normin, n, a, lda, x, scale, cnorm, info);
  }
};

template <Scalar T>
struct PackedSolves {
  Int n;
  const T* ap;

  void solve(char uplo, char trans, char diag, char normin, T* x, Real<T>& scale, Real<T>* cnorm) const {
    Int info;
    latps(uplo, trans, diag, normin, n, ap, x, scale, cnorm, info);
  }
};

template <Scalar T>
struct BandSolves {
  Int n;
  Int kd;
  const T* ab;
  Int ldab;

  void solve(char uplo, char trans, char diag, char normin, T* x, Real<T>& scale, Real<T>* cnorm) const {
    Int info;
    latbs(uplo, trans, diag, normin, n, kd, ab, ldab, x, scale, cnorm, info);
  }
};

/// Where the column sums of a triangular matrix are kept from solve to solve.
template <Scalar T>
Real<T>* column_sums(Int n, T* work, SecondWork<T>* second) {
  if constexpr (RealScalar<T>) {
    return work + 2 * std::ptrdiff_t{n};
  } else {
    return second;
  }
}

template <Scalar T, class Triangle>
Real<T> definite_condition(char uplo, Int n, const Triangle& factor, Real<T> anorm, T* work, SecondWork<T>* second) {
  const bool upper = same_letter(uplo, 'U');
  Real<T>* const cnorm = column_sums(n, work, second);
  char normin = 'N';
  return reciprocal_condition('O', n, anorm, work, second, [&](char, T* x) {
    Real<T> first, last;
    factor.solve(uplo, upper ? adjoint<T> : 'N', 'N', normin, x, first, cnorm);
    normin = 'Y';
    factor.solve(uplo, upper ? 'N' : adjoint<T>, 'N', normin, x, last, cnorm);
    return undo_scale(n, first * last, Machine<Real<T>>::safe_min, x);
  });
}

template <Scalar T, class Triangle>
Real<T> triangular_condition(char norm, char uplo, char diag, Int n, const Triangle& A, Real<T> anorm, T* work,
                             SecondWork<T>* second) {
  if (anorm == 0) return 0;
  Real<T>* const cnorm = column_sums(n, work, second);
  const Real<T> smlnum = Machine<Real<T>>::safe_min * static_cast<Real<T>>(std::max(1, n));
  char normin = 'N';
  return reciprocal_condition(norm, n, anorm, work, second, [&](char trans, T* x) {
    Real<T> scale;
    A.solve(uplo, trans, diag, normin, x, scale, cnorm);
    normin = 'Y';
    return undo_scale(n, scale, smlnum, x);
  });
}

Int check_triangle(char norm, char uplo, char diag, Int n) {
  if (!is_norm(norm)) return -1;
  if (!is_one_of(uplo, 'U', 'L')) return -2;
  if (!is_one_of(diag, 'N', 'U')) return -3;
  if (n < 0) return -4;
  return 0;
}

}  // namespace

template <Scalar T>
void pocon(char uplo, Int n, const T* a, Int lda, Real<T> anorm, Real<T>& rcond, T* work, SecondWork<T>* second,
           Int& info) {
  info = 0;
  if (!is_one_of(uplo, 'U', 'L')) info = -1;
  else if (n < 0) info = -2;
  else if (lda < std::max(1, n)) info = -4;
  else if (anorm < 0) info = -5;
  if (info != 0) return report_bad_argument<T>("POCON", info);
  if (is_trivial(n, anorm, rcond)) return;
  rcond = definite_condition(uplo, n, FullSolves<T>{n, a, lda}, anorm, work, second);
}

template <Scalar T>
void ppcon(char uplo, Int n, const T* ap, Real<T> anorm, Real<T>& rcond, T* work, SecondWork<T>* second, Int& info) {
  info = 0;
  if (!is_one_of(uplo, 'U', 'L')) info = -1;
  else if (n < 0) info = -2;
  else if (anorm < 0) info = -4;
  if (info != 0) return report_bad_argument<T>("PPCON", info);
  if (is_trivial(n, anorm, rcond)) return;
  rcond = definite_condition(uplo, n, PackedSolves<T>{n, ap}, anorm, work, second);
}

template <Scalar T>
void pbcon(char uplo, Int n, Int kd, const T* ab, Int ldab, Real<T> anorm, Real<T>& rcond, T* work,
           SecondWork<T>* second, Int& info) {
  info = 0;
  if (!is_one_of(uplo, 'U', 'L')) info = -1;
  else if (n < 0) info = -2;
  else if (kd < 0) info = -3;
  else if (ldab - 1 < kd) info = -5;
  else if (anorm < 0) info = -6;
  if (info != 0) return report_bad_argument<T>("PBCON", info);
  if (is_trivial(n, anorm, rcond)) return;
  rcond = definite_condition(uplo, n, BandSolves<T>{n, kd, ab, ldab}, anorm, work, second);
}

template <Scalar T>
void trcon(char norm, char uplo, char diag, Int n, const T* a, Int lda, Real<T>& rcond, T* work, SecondWork<T>* second,
           Int& info) {
  info = check_triangle(norm, uplo, diag, n);
  if (info == 0 && lda < std::max(1, n)) info = -6;
  if (info != 0) return report_bad_argument<T>("TRCON", info);
  rcond = 1;
  if (n == 0) return;
  const Real<T> anorm = lantr(norm, uplo, diag, n, n, a, lda, real_work(work, second));
  rcond = triangular_condition(norm, uplo, diag, n, FullSolves<T>{n, a, lda}, anorm, work, second);
}

template <Scalar T>
void tpcon(char norm, char uplo, char diag, Int n, const T* ap, Real<T>& rcond, T* work, SecondWork<T>* second,
           Int& info) {
  info = check_triangle(norm, uplo, diag, n);
  if (info != 0) return report_bad_argument<T>("TPCON", info);
  rcond = 1;
  if (n == 0) return;
  const Real<T> anorm = lantp(norm, uplo, diag, n, ap, real_work(work, second));
  rcond = triangular_condition(norm, uplo, diag, n, PackedSolves<T>{n, ap}, anorm, work, second);
}

template <Scalar T>
void tbcon(char norm, char uplo, char diag, Int n, Int kd, const T* ab, Int ldab, Real<T>& rcond, T* work,
           SecondWork<T>* second, Int& info) {
  info = check_triangle(norm, uplo, diag, n);
  if (info == 0) info = kd < 0 ? -5 : ldab - 1 < kd ? -7 : 0;
  if (info != 0) return report_bad_argument<T>("TBCON", info);
  rcond = 1;
  if (n == 0) return;
  const Real<T> anorm = lantb(norm, uplo, diag, n, kd, ab, ldab, real_work(work, second));
  rcond = triangular_condition(norm, uplo, diag, n, BandSolves<T>{n, kd, ab, ldab}, anorm, work, second);
}

// --------------------------------------------------------------------------------------------------- general matrices

template <Scalar T>
void gecon(char norm, Int n, const T* a, Int lda, Real<T> anorm, Real<T>& rcond, T* work, SecondWork<T>* second,
           Int& info) {
  info = 0;
  if (!is_norm(norm)) info = -1;
  else if (n < 0) info = -2;
  else if (lda < std::max(1, n)) info = -4;
  else if (anorm < 0) info = -5;
  if (info != 0) return report_bad_argument<T>("GECON", info);
  if (is_trivial(n, anorm, rcond)) return;

  // The sums that the scaled solves go by, in one pass over both factors.
  const Matrix A{a, lda};
  Real<T>* const sums_of_l = column_sums(n, work, second);
  Real<T>* const sums_of_u = sums_of_l + n;
  for (Int j = 1; j <= n; ++j) {
    sums_of_u[j - 1] = blas::asum(j - 1, column(A, 1, j));
    sums_of_l[j - 1] = blas::asum(n - j, column(A, j + 1, j));
  }
  rcond = reciprocal_condition(norm, n, anorm, work, second, [&](char trans, T* x) {
    Real<T> sl = 1, su = 1;
    const bool is_transposed = trans != 'N';
    if (is_transposed) latrs('U', trans, 'N', 'Y', n, a, lda, x, su, sums_of_u, info);
    latrs('L', trans, 'U', 'Y', n, a, lda, x, sl, sums_of_l, info);
    if (!is_transposed) latrs('U', trans, 'N', 'Y', n, a, lda, x, su, sums_of_u, info);
    return undo_scale(n, sl * su, Machine<Real<T>>::safe_min, x);
  });
}

namespace {

/// The unit lower factor of a band matrix, held as the multipliers and the exchanges of each step.
template <Scalar T>
struct BandMultipliers {
  Int n;
  Int kl;
  Int diagonal_row;
  Matrix<const T> AB;
  const Int* ipiv;

  /// x := L^-1 x
  void solve(T* x) const {
    for (Int j = 1; j < n && kl > 0; ++j) {
      std::swap(x[j - 1], x[ipiv[j - 1] - 1]);
      blas::axpy(below(j), negated(x[j - 1]), column(AB, diagonal_row + 1, j), Vector{x + j, 1});
    }
  }

  /// x := L^-H x
  void solve_adjoint(T* x) const {
    for (Int j = n - 1; j >= 1 && kl > 0; --j) {
      x[j - 1] -= inner_product<T>(true, below(j), column(AB, diagonal_row + 1, j), {x + j, 1});
      std::swap(x[j - 1], x[ipiv[j - 1] - 1]);
    }
  }

 private:
  Int below(Int j) const { return std::min(kl, n - j); }
};

}  // namespace

template <Scalar T>
void gbcon(char norm, Int n, Int kl, Int ku, const T* ab, Int ldab, const Int* ipiv, Real<T> anorm, Real<T>& rcond,
           T* work, SecondWork<T>* second, Int& info) {
  info = 0;
  if (!is_norm(norm)) info = -1;
  else if (n < 0) info = -2;
  else if (kl < 0) info = -3;
  else if (ku < 0) info = -4;
  else if (ldab - 1 < 2 * std::int64_t{kl} + ku) info = -6;
  else if (anorm < 0) info = -8;
  if (info != 0) return report_bad_argument<T>("GBCON", info);
  if (is_trivial(n, anorm, rcond)) return;

  Real<T>* const cnorm = column_sums(n, work, second);
  char normin = 'N';
  rcond = reciprocal_condition(norm, n, anorm, work, second, [&](char trans, T* x) {
    const BandMultipliers<T> L{n, kl, kl + ku + 1, {ab, ldab}, ipiv};
    Real<T> scale;
    if (trans == 'N') L.solve(x);
    latbs('U', trans, 'N', normin, n, kl + ku, ab, ldab, x, scale, cnorm, info);
    if (trans != 'N') L.solve_adjoint(x);
    normin = 'Y';
    return undo_scale(n, scale, Machine<Real<T>>::safe_min, x);
  });
}

// ----------------------------------------------------------------------------------------------- tridiagonal matrices

template <Scalar T>
void ptcon(Int n, const Real<T>* d, const T* e, Real<T> anorm, Real<T>& rcond, Real<T>* work, Int& info) {
  info = 0;
  if (n < 0) info = -1;
  else if (anorm < 0) info = -4;
  if (info != 0) return report_bad_argument<T>("PTCON", info);
  if (is_trivial(n, anorm, rcond)) return;
  if (std::any_of(d, d + n, [](Real<T> x) { return x <= 0; })) return;
  rcond = reciprocal_product(anorm, tridiagonal_inverse_norm(n, d, e, work));
}

}  // namespace nuv

#include "solvers/condition.entries.inc"
