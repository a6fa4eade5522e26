#include "generators/random_eigenvalue_matrix.hpp"

#include <algorithm>

#include "base/matrix.hpp"
#include "environment/matrix_utilities.hpp"
#include "frame/error_report.hpp"
#include "generators/driver_steps.hpp"
#include "generators/random_numbers.hpp"
#include "generators/random_orthogonal.hpp"
#include "orthogonal/householder.hpp"

namespace nuv {
namespace {

/// Whether letters stand for eigenvalues one by one, each imaginary part behind a real one.
bool are_parts(Int n, const char* ei) {
  for (Int j = 0; j < n; ++j) {
    const bool ends_pair = j > 0 && same_letter(ei[j], 'I') && same_letter(ei[j - 1], 'R');
    if (!ends_pair && !same_letter(ei[j], 'R')) return false;
  }
  return true;
}

/// Makes the elements j - 1 and j of the diagonal the real and imaginary part of a pair of eigenvalues.
template <RealScalar T>
void join_pair(Int j, Matrix<T> A) {
  const T imaginary_part = A(j, j);
  A(j - 1, j) = imaginary_part;
  A(j, j - 1) = negated(imaginary_part);
  A(j, j) = A(j - 1, j - 1);
}

template <RealScalar T>
void join_pairs(Int n, Int mode, const char* ei, Int* iseed, Matrix<T> A) {
  if (ei != nullptr) {
    for (Int j = 2; j <= n; ++j) {
      if (same_letter(ei[j - 1], 'I')) join_pair(j, A);
    }
  } else if (mode == 5 || mode == -5) {
    for (Int j = 2; j <= n; j += 2) {
      if (laran<T>(iseed) > T(0.5)) join_pair(j, A);
    }
  }
}

/// Draws what lies above the diagonal, or above the blocks that stand on it.
template <Scalar T>
void fill_upper(Int n, Int idist, Int* iseed, Matrix<T> A) {
  for (Int j = 2; j <= n; ++j) larnv(idist, iseed, A(j - 1, j) != T(0) ? j - 2 : j - 1, A.at(1, j));
}

/// A := X A X^-1 for a random X with the singular values ds. Gives the info of the driver.
template <Scalar T>
Int transform(Int n, const Real<T>* ds, Int* iseed, Matrix<T> A, T* work) {
  Int info = 0;
  large(n, A.data, A.ld, iseed, work, info);
  if (info != 0) return 4;
  for (Int j = 1; j <= n; ++j) {
    const Real<T> s = ds[j - 1];
    if (s == 0) return 5;
    blas::scal(n, s, row(A, j, 1));
    blas::scal(n, Real<T>(1) / s, column(A, 1, j));
  }
  large(n, A.data, A.ld, iseed, work, info);
  return info != 0 ? 4 : 0;
}

/// Makes a vector in v the reflector H of which H^H takes it to (beta, 0).
template <Scalar T>
T make_reflector(Int order, T* v, T& tau) {
  T beta = v[0];
  larfg(order, beta, v + 1, 1, tau);
  v[0] = 1;
  return beta;
}

// A reflector leaves a real number at the edge of the band. For complex matrices a similarity by a random phase makes
// it a number as random as the others.

/// Similarities that make A(first, first - kl) the last element of its column.
///
///     * * * *     * * * *
///     * * * *     * * * *      kl = 1, first = 2
///     * * * *     . * * *
///     * * * *     . * * *
template <Scalar T>
void reduce_columns(Int n, Int kl, Int* iseed, Matrix<T> A, T* work) {
  for (Int first = kl + 1; first < n; ++first) {
    const Int j = first - kl, order = n - first + 1;
    T* const v = work;
    T tau;
    blas::copy(order, column(A, first, j), Vector<T>(v, 1));
    const T beta = make_reflector(order, v, tau);
    larf('L', order, n - j, v, 1, conjugate(tau), A.at(first, j + 1), A.ld, work + order);
    larf('R', n, order, v, 1, tau, A.at(1, first), A.ld, work + order);
    A(first, j) = beta;
    std::fill_n(A.at(first + 1, j), order - 1, T(0));
    if constexpr (ComplexScalar<T>) {
      const T phase = larnd<T>(5, iseed);
      blas::scal(n - j + 1, phase, row(A, first, j));
      blas::scal(n, conjugate(phase), column(A, 1, first));
    }
  }
}

/// The same for A(first - ku, first) and its row.
template <Scalar T>
void reduce_rows(Int n, Int ku, Int* iseed, Matrix<T> A, T* work) {
  for (Int first = ku + 1; first < n; ++first) {
    const Int i = first - ku, order = n - first + 1;
    T* const v = work;
    T tau;
    for (Int k = 0; k < order; ++k) v[k] = conjugate(A(i, first + k));
    const T beta = make_reflector(order, v, tau);
    larf('R', n - i, order, v, 1, tau, A.at(i + 1, first), A.ld, work + order);
    larf('L', order, n, v, 1, conjugate(tau), A.at(first, 1), A.ld, work + order);
    A(i, first) = beta;
    for (Int k = 1; k < order; ++k) A(i, first + k) = 0;
    if constexpr (ComplexScalar<T>) {
      const T phase = larnd<T>(5, iseed);
      blas::scal(n - i + 1, phase, column(A, i, first));
      blas::scal(n, conjugate(phase), row(A, first, 1));
    }
  }
}

}  // namespace

template <Scalar T>
void latme(Int n, char dist, Int* iseed, T* d, Int mode, Real<T> cond, T dmax, const char* ei, char rsign, char upper,
           char sim, Real<T>* ds, Int modes, Real<T> conds, Int kl, Int ku, Real<T> anorm, T* a, Int lda, T* work,
           Int& info) {
  info = 0;
  if (n == 0) return;

  const Int idist = distribution(dist), irsign = truth(rsign), fills = truth(upper), transforms = truth(sim);
  if (ComplexScalar<T> || mode != 0 || same_letter(ei[0], ' ')) ei = nullptr;
  const auto ds_has_zero = [&] { return std::find(ds, ds + n, Real<T>(0)) != ds + n; };

  if (n < 0) info = -1;
  else if (idist == 0) info = -2;
  else if (!is_mode(mode, 6)) info = -5;
  else if (!is_condition(mode, cond)) info = -6;
  else if (ei != nullptr && !are_parts(n, ei)) info = -8;
  else if (irsign < 0) info = -9;
  else if (fills < 0) info = -10;
  else if (transforms < 0) info = -11;
  else if (transforms == 1 && modes == 0 && ds_has_zero()) info = -12;
  else if (transforms == 1 && !is_mode(modes, 5)) info = -13;
  else if (transforms == 1 && !is_condition(modes, conds)) info = -14;
  else if (kl < 1) info = -15;
  else if (ku < 1 || (ku < n - 1 && kl < n - 1)) info = -16;
  else if (lda < n) info = -19;
  if (info != 0) return report_bad_argument<T>("LATME", info);

  normalise_seed(iseed);
  info = fill_diagonal(mode, cond, dmax, irsign, idist, iseed, d, n);
  if (info != 0) return;
  const Matrix<T> A{a, lda};
  laset('F', n, n, T(0), T(0), a, lda);
  for (Int j = 1; j <= n; ++j) A(j, j) = d[j - 1];
  if constexpr (RealScalar<T>) join_pairs(n, mode, ei, iseed, A);
  if (fills == 1) fill_upper(n, idist, iseed, A);

  if (transforms == 1) {
    latm1(modes, conds, 0, 0, iseed, ds, n, info);
    info = info != 0 ? 3 : transform<T>(n, ds, iseed, A, work);
    if (info != 0) return;
  }

  if (kl < n - 1) reduce_columns(n, kl, iseed, A, work);
  else if (ku < n - 1) reduce_rows(n, ku, iseed, A, work);

  if (!(anorm >= 0)) return;
  const Real<T> largest = lange<T>('M', n, n, a, lda, nullptr);
  if (!(largest > 0)) return;
  for (Int j = 1; j <= n; ++j) blas::scal(n, anorm / largest, column(A, 1, j));
}

}  // namespace nuv

#include "generators/random_eigenvalue_matrix.entries.inc"
