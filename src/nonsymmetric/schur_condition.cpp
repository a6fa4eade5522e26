#include "nonsymmetric/schur_condition.hpp"

#include <cmath>

#include "environment/machine_constants.hpp"
#include "environment/magnitudes.hpp"
#include "environment/matrix_utilities.hpp"
#include "environment/sums_of_squares.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "nonsymmetric/quasi_triangular.hpp"
#include "nonsymmetric/schur_reordering.hpp"
#include "nonsymmetric/selected_eigenvalues.hpp"
#include "solvers/condition_steps.hpp"
#include "solvers/scaled_triangular.hpp"

namespace nuv {
namespace {

// ------------------------------------------------------------------------------------------------- angles of vectors

template <Scalar T>
Real<T> cosine_of_angle(Int n, Vector<const T> left, Vector<const T> right) {
  return magnitude(inner_product(true, n, right, left)) / (blas::nrm2(n, right) * blas::nrm2(n, left));
}

/// The same for complex vectors whose real and imaginary parts are columns.
template <RealScalar R>
R cosine_of_angle_of_pair(Int n, Matrix<const R> left, Matrix<const R> right) {
  const Vector<const R> u = column(left, 1, 1), v = column(left, 1, 2), x = column(right, 1, 1),
                        y = column(right, 1, 2);
  const R re = blas::dot(n, x, u) + blas::dot(n, y, v), im = blas::dot(n, u, y) - blas::dot(n, v, x);
  const R right_length = lapy2(blas::nrm2(n, x), blas::nrm2(n, y)),
          left_length = lapy2(blas::nrm2(n, u), blas::nrm2(n, v));
  return lapy2(re, im) / (right_length * left_length);
}

template <Scalar T>
Real<T> cosine_of_angle(Int n, DiagonalBlock block, Matrix<const T> left, Matrix<const T> right) {
  if constexpr (RealScalar<T>) {
    if (block.order() == 2) return cosine_of_angle_of_pair(n, left, right);
  }
  return cosine_of_angle(n, column(left, 1, 1), column(right, 1, 1));
}

// --------------------------------------------------------------------------------------------------------- separation

template <RealScalar R>
constexpr R smallest = Machine<R>::safe_min / Machine<R>::precision;

/// The separation of an eigenvalue from those of the rest of the form: with the eigenvalue in the first place,
///
///     lambda  .       sep = 1 / ||(T22 - lambda I)^-1||
///            T22
///
/// work    all n + 6 columns with their gaps: a copy of the form, and behind it what its kind needs
template <RealScalar R>
R separation(Int n, Matrix<const R> S, DiagonalBlock block, Matrix<R> work, Int* signs) {
  lacpy('F', n, n, S.data, S.ld, work.data, work.ld);
  R* const imaginary = work.at(1, n + 1);  // those of the first row of T22 - lambda I, if lambda is complex
  R unused;
  Int from = block.first, to = 1, failed;
  trexc('N', n, work.data, work.ld, &unused, 1, from, to, imaginary, failed);
  if (failed != 0) return 0;

  const bool is_single = work(2, 1) == 0;
  R mu = 0;
  if (is_single) {
    for (Int i = 2; i <= n; ++i) work(i, i) -= work(1, 1);
  } else {
    // A complex rotation of the pair takes lambda = a - i mu to the first place and its conjugate to the second.
    mu = std::sqrt(std::abs(work(1, 2))) * std::sqrt(std::abs(work(2, 1)));
    const R delta = lapy2(mu, work(2, 1));
    const R cs = mu / delta, sn = negated(work(2, 1)) / delta;
    for (Int j = 3; j <= n; ++j) {
      work(2, j) *= cs;
      work(j, j) -= work(1, 1);
    }
    work(2, 2) = 0;
    imaginary[0] = 2 * mu;
    for (Int j = 2; j < n; ++j) imaginary[j - 1] = sn * work(1, j + 1);
  }

  const Int order = n - 1, reals = is_single ? order : 2 * order;
  R scale = 0, estimate;
  R* const x = work.at(1, n + 4);
  estimate_norm(reals, x, work.at(1, n + 2), signs, estimate, [&](bool is_adjoint) {
    Int info;
    laqtr(to_logical(!is_adjoint), to_logical(is_single), order, work.at(2, 2), work.ld, imaginary, mu, scale, x,
          work.at(1, n + 6), info);
    return true;
  });
  return scale / std::max(estimate, smallest<R>);
}

template <ComplexScalar T>
Real<T> separation(Int n, Matrix<const T> S, DiagonalBlock block, Matrix<T> work, Real<T>* column_sums) {
  using R = Real<T>;
  lacpy('F', n, n, S.data, S.ld, work.data, work.ld);
  T unused;
  Int info;
  trexc('N', n, work.data, work.ld, &unused, 1, block.first, 1, info);
  for (Int i = 2; i <= n; ++i) work(i, i) -= work(1, 1);

  R estimate;
  T* const x = work.data;
  char normin = 'N';
  const bool estimated = estimate_norm(n - 1, x, work.at(1, n + 1), column_sums, estimate, [&](bool is_adjoint) {
    R scale;
    latrs('U', is_adjoint ? 'N' : 'C', 'N', normin, n - 1, work.at(2, 2), work.ld, x, scale, column_sums, info);
    normin = 'Y';
    return undo_scale(n - 1, scale, smallest<R>, x);
  });
  return estimated ? 1 / std::max(estimate, smallest<R>) : 0;
}

}  // namespace

template <Scalar T>
void trsna(char job, char howmny, const Logical* select, Int n, const T* t, Int ldt, const T* vl, Int ldvl, const T* vr,
           Int ldvr, Real<T>* s, Real<T>* sep, Int mm, Int& m, T* work, Int ldwork, SecondWork<T>* second, Int& info) {
  const bool wants_s = is_one_of(job, 'E', 'B'), wants_sep = is_one_of(job, 'V', 'B'), some = same_letter(howmny, 'S');
  const Matrix S{t, ldt};
  info = 0;
  if (!wants_s && !wants_sep) info = -1;
  else if (!some && !same_letter(howmny, 'A')) info = -2;
  else if (n < 0) info = -4;
  else if (ldt < std::max(1, n)) info = -6;
  else if (ldvl < 1 || (wants_s && ldvl < n)) info = -8;
  else if (ldvr < 1 || (wants_s && ldvr < n)) info = -10;
  else {
    m = some ? count_selected(select, S, n) : n;
    if (mm < m) info = -13;
    else if (ldwork < 1 || (wants_sep && ldwork < n)) info = -16;
  }
  if (info != 0) return report_bad_argument<T>("TRSNA", info);
  if (n == 0) return;
  if (n == 1) {
    if (m == 0) return;
    if (wants_s) s[0] = 1;
    if (wants_sep) sep[0] = magnitude(*t);
    return;
  }

  Int k = 1;
  for_each_diagonal_block(S, n, true, [&](DiagonalBlock block) {
    if (some && !is_selected(select, block)) return;
    if (wants_s) {
      const Real<T> cosine =
          cosine_of_angle(n, block, nuv::block(Matrix{vl, ldvl}, 1, k), nuv::block(Matrix{vr, ldvr}, 1, k));
      std::fill_n(s + (k - 1), block.order(), cosine);
    }
    if (wants_sep) std::fill_n(sep + (k - 1), block.order(), separation(n, S, block, {work, ldwork}, second));
    k += block.order();
  });
}

}  // namespace nuv

#include "nonsymmetric/schur_condition.entries.inc"
