#include "generalised/constrained_least_squares.hpp"

#include <algorithm>

#include "environment/hermitian.hpp"
#include "frame/error_report.hpp"
#include "generalised/pair_factorisations.hpp"
#include "layer.hpp"
#include "orthogonal/least_squares_blocks.hpp"

namespace nuv {
namespace {

/// x := U^-1 x for an upper triangle of order n.
template <Scalar T>
void solve_upper(Int n, Matrix<T> U, T* x) {
  blas::trsv('U', 'N', 'N', n, U, {x, 1});
}

/// y := y - A x for an m by n matrix.
template <Scalar T>
void subtract_product(Int m, Int n, Matrix<T> A, const T* x, T* y) {
  if (m > 0 && n > 0) blas::gemv('N', m, n, T(-1), A, {x, 1}, T(1), {y, 1});
}

// -------------------------------------------------------------------------------------------- under constraints: gglse

Int check_constrained(Int m, Int n, Int p, Int lda, Int ldb, Int lwork) {
  if (m < 0) return -1;
  if (n < 0) return -2;
  if (p < 0 || p > n || p < n - m) return -3;
  if (lda < std::max(1, m)) return -5;
  if (ldb < std::max(1, p)) return -7;
  if (lwork < std::max<std::int64_t>(1, std::int64_t{m} + n + p) && lwork != -1) return -12;
  return 0;
}

/// min ||c - A x|| with B x = d after the factorisation, c standing for V^H c and x for Q x:
///
///     (0 T12) x = d    (R11 R12) x ~ c      x1, c1 of n - p elements
///                      ( 0  R22)
template <Scalar T>
struct ConstrainedFit {
  Int m, n, p;
  Matrix<T> R, B;
  T *c, *d, *x;

  /// How many unknowns the constraints leave to the fit.
  Int unconstrained() const { return n - p; }

  /// x2 from the constraints, then x1 from the rows in which it appears.
  void solve() const {
    const Int n1 = unconstrained();
    solve_upper(p, block(B, 1, n1 + 1), d);
    std::copy_n(d, p, x + n1);
    subtract_product(n1, p, block(R, 1, n1 + 1), d, c);
    solve_upper(n1, R, c);
    std::copy_n(c, n1, x);
  }

  /// c2 := c2 - R22 x2. Where A is wide, R22 is a triangle of fewer rows with columns behind it,
  ///
  ///     R R | r r
  ///       R | r r        whose elements of x2 are the last ones.
  void form_residual() const {
    const Int n1 = unconstrained(), rows = std::min(p, m - n1);
    if (rows <= 0) return;
    T* const c2 = c + n1;
    if (m < n) subtract_product(rows, n - m, block(R, n1 + 1, m + 1), d + rows, c2);
    blas::trmv('U', 'N', 'N', rows, block(R, n1 + 1, n1 + 1), {d, 1});
    blas::axpy(rows, T(-1), {d, 1}, {c2, 1});
  }
};

// ----------------------------------------------------------------------------------------- with weighted errors: ggglm

Int check_linear_model(Int n, Int m, Int p, Int lda, Int ldb, Int lwork) {
  if (n < 0) return -1;
  if (m < 0 || m > n) return -2;
  if (p < 0 || p < n - m) return -3;
  if (lda < std::max(1, n)) return -5;
  if (ldb < std::max(1, n)) return -7;
  if (lwork < std::max<std::int64_t>(1, std::int64_t{n} + m + p) && lwork != -1) return -12;
  return 0;
}

/// min ||y|| with d = A x + B y after the factorisation, d standing for V^H d and y for Z y:
///
///     d = (R11) x + (T11 T12) y      d1 of m elements, y2 of n - m
///         ( 0 )     ( 0  T22)
///
/// y2 is given by the last rows. With y1 = 0, x takes what is left of the first.
template <Scalar T>
void solve_linear_model(Int n, Int m, Int p, Matrix<T> R, Matrix<T> B, T* d, T* x, T* y) {
  const Int n2 = n - m, p1 = p - n2;
  T* const y2 = y + p1;
  solve_upper(n2, block(B, m + 1, p1 + 1), d + m);
  std::copy_n(d + m, n2, y2);
  std::fill_n(y, p1, T(0));
  subtract_product(m, n2, block(B, 1, p1 + 1), y2, d);
  solve_upper(m, R, d);
  std::copy_n(d, m, x);
}

}  // namespace

template <Scalar T>
void gglse(Int m, Int n, Int p, T* a, Int lda, T* b, Int ldb, T* c, T* d, T* x, T* work, Int lwork, Int& info) {
  const Int mn = std::min(m, n);
  const std::int64_t nb = best_block_size<T>(m, n, p);
  const T best = as_work_size<T>(std::max<std::int64_t>(1, std::int64_t{p} + mn + std::max(m, n) * nb));
  work[0] = best;
  info = check_constrained(m, n, p, lda, ldb, lwork);
  if (info != 0) return report_bad_argument<T>("GGLSE", info);
  if (lwork == -1 || n == 0) return;

  const Matrix A{a, lda}, B{b, ldb};
  T *const factors_of_q = work, *const factors_of_v = work + p, *const rest = factors_of_v + mn;
  const Int rest_size = lwork - p - mn;
  Int ignored = 0;
  ggrqf(p, m, n, b, ldb, factors_of_q, a, lda, factors_of_v, rest, rest_size, ignored);
  layer::ormqr('L', adjoint<T>, m, 1, mn, A, factors_of_v, {c, std::max(1, m)}, rest, rest_size, ignored);
  const ConstrainedFit<T> fit{m, n, p, A, B, c, d, x};
  fit.solve();
  fit.form_residual();
  layer::ormrq('L', adjoint<T>, n, 1, p, B, factors_of_q, {x, n}, rest, rest_size, ignored);
  work[0] = best;
}

template <Scalar T>
void ggglm(Int n, Int m, Int p, T* a, Int lda, T* b, Int ldb, T* d, T* x, T* y, T* work, Int lwork, Int& info) {
  const Int np = std::min(n, p);
  const std::int64_t nb = best_block_size<T>(n, m, p);
  const T best = as_work_size<T>(std::max<std::int64_t>(1, std::int64_t{m} + np + std::max(n, p) * nb));
  work[0] = best;
  info = check_linear_model(n, m, p, lda, ldb, lwork);
  if (info != 0) return report_bad_argument<T>("GGGLM", info);
  if (lwork == -1) return;
  if (n == 0) {
    std::fill_n(y, p, T(0));
    return;
  }

  const Matrix A{a, lda}, B{b, ldb};
  T *const factors_of_v = work, *const factors_of_z = work + m, *const rest = factors_of_z + np;
  const Int rest_size = lwork - m - np;
  Int ignored = 0;
  ggqrf(n, m, p, a, lda, factors_of_v, b, ldb, factors_of_z, rest, rest_size, ignored);
  layer::ormqr('L', adjoint<T>, n, 1, m, A, factors_of_v, {d, n}, rest, rest_size, ignored);
  solve_linear_model(n, m, p, A, B, d, x, y);
  // The reflectors of Z stand in the last rows of B.
  const Matrix<T> reflectors_of_z = block(B, std::max(1, n - p + 1), 1);
  layer::ormrq('L', adjoint<T>, p, 1, np, reflectors_of_z, factors_of_z, {y, std::max(1, p)}, rest, rest_size, ignored);
  work[0] = best;
}

}  // namespace nuv

#include "generalised/constrained_least_squares.entries.inc"
