// Condition numbers of matrices whose factors are no triangles: the estimator takes their own solves, which stay in
// range or overflow.

#include <algorithm>

#include "environment/norms_columns.hpp"
#include "frame/error_report.hpp"
#include "solvers/condition.hpp"
#include "solvers/condition_steps.hpp"
#include "solvers/indefinite_mirror.hpp"

namespace nuv {
namespace {

/// Whether a pivot of order one is exactly zero. A pivot of order two is never singular.
template <Scalar T, class Columns>
bool has_zero_pivot(char uplo, Int n, const Columns& columns, const Int* ipiv) {
  for (Int i = 1; i <= n; ++i) {
    if (ipiv[i - 1] > 0 && diagonal_entry(columns(i), same_letter(uplo, 'U')) == T(0)) return true;
  }
  return false;
}

template <Mirror mirror, Scalar T>
void full_condition(const char (&name)[6], char uplo, Int n, const T* a, Int lda, const Int* ipiv, Real<T> anorm,
                    Real<T>& rcond, T* work, SecondWork<T>* second, Int& info) {
  info = 0;
  if (!is_one_of(uplo, 'U', 'L')) info = -1;
  else if (n < 0) info = -2;
  else if (lda < std::max(1, n)) info = -4;
  else if (anorm < 0) info = -6;
  if (info != 0) return report_bad_argument<T>(name, info);
  if (is_trivial(n, anorm, rcond)) return;
  const Matrix A{a, lda};
  if (has_zero_pivot<T>(uplo, n, TrapezoidColumns<T>{same_letter(uplo, 'U'), n, A}, ipiv)) return;
  rcond = reciprocal_condition('O', n, anorm, work, second, [&](char, T* x) {
    solve_indefinite<mirror, T>(uplo, n, 1, A, ipiv, {x, n});
    return true;
  });
}

}  // namespace

template <RealScalar T>
void sycon(char uplo, Int n, const T* a, Int lda, const Int* ipiv, T anorm, T& rcond, T* work, Int* iwork, Int& info) {
  full_condition<Mirror::plain>("SYCON", uplo, n, a, lda, ipiv, anorm, rcond, work, iwork, info);
}

template <ComplexScalar T>
void sycon(char uplo, Int n, const T* a, Int lda, const Int* ipiv, Real<T> anorm, Real<T>& rcond, T* work, Int& info) {
  full_condition<Mirror::plain, T>("SYCON", uplo, n, a, lda, ipiv, anorm, rcond, work, nullptr, info);
}

template <ComplexScalar T>
void hecon(char uplo, Int n, const T* a, Int lda, const Int* ipiv, Real<T> anorm, Real<T>& rcond, T* work, Int& info) {
  full_condition<Mirror::conjugate, T>("HECON", uplo, n, a, lda, ipiv, anorm, rcond, work, nullptr, info);
}

// ----------------------------------------------------------------------------------------------- tridiagonal matrices

namespace {

template <Scalar T>
void tridiagonal_condition(char norm, Int n, const T* dl, const T* d, const T* du, const T* du2, const Int* ipiv,
                           Real<T> anorm, Real<T>& rcond, T* work, SecondWork<T>* second, Int& info) {
  info = 0;
  if (!is_norm(norm)) info = -1;
  else if (n < 0) info = -2;
  else if (anorm < 0) info = -8;
  if (info != 0) return report_bad_argument<T>("GTCON", info);
  if (is_trivial(n, anorm, rcond)) return;
  if (std::find(d, d + n, T(0)) != d + n) return;
  rcond = reciprocal_condition(norm, n, anorm, work, second, [&](char trans, T* x) {
    layer::gttrs(trans, n, 1, dl, d, du, du2, ipiv, Matrix{x, n}, info);
    return true;
  });
}

}  // namespace

template <RealScalar T>
void gtcon(char norm, Int n, const T* dl, const T* d, const T* du, const T* du2, const Int* ipiv, T anorm, T& rcond,
           T* work, Int* iwork, Int& info) {
  tridiagonal_condition(norm, n, dl, d, du, du2, ipiv, anorm, rcond, work, iwork, info);
}

template <ComplexScalar T>
void gtcon(char norm, Int n, const T* dl, const T* d, const T* du, const T* du2, const Int* ipiv, Real<T> anorm,
           Real<T>& rcond, T* work, Int& info) {
  tridiagonal_condition<T>(norm, n, dl, d, du, du2, ipiv, anorm, rcond, work, nullptr, info);
}

}  // namespace nuv

#include "solvers/condition_by_solves.entries.inc"
