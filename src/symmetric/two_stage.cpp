#include "symmetric/two_stage.hpp"

#include <algorithm>

#include "base/range.hpp"
#include "environment/hermitian.hpp"
#include "environment/matrix_utilities.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "orthogonal/form_q.hpp"
#include "orthogonal/householder.hpp"
#include "symmetric/band_to_tridiagonal.hpp"
#include "symmetric/hermitian_products.hpp"

namespace nuv {
namespace {

/// The panel of syrb2. The reflectors come one by one, from the first column to the last (lower) or from the last to
/// the first (upper).
template <Scalar T>
struct Panel {
  bool upper;
  Int m, nb;
  Matrix<T> A, V, Y;

  /// The elements of the reflector of column k; where there are fewer than two, there is none.
  Range reach(Int k) const { return upper ? Range{1, m - nb + k} : Range{k, m - k + 1}; }
  Int unit(Int k) const { return upper ? reach(k).last() : k; }

  /// What the reflectors of some columns reach.
  Range reach(Range columns) const { return reach(upper ? columns.last() : columns.first); }

  /// Those of the columns in `own` whose reflectors come before that of column k. Columns that have none would add
  /// nothing.
  Range earlier(Range own, Int k) const {
    const Int count = std::min(upper ? own.last() - k : k - own.first, m - 1);
    return {upper ? own.last() - count + 1 : own.first, count};
  }

  /// Some rows outside of the reach of the reflectors after the first `count`: room for numbers where V and Y are to be
  /// zero.
  Int room(Int count) const { return upper ? m - count + 1 : 1; }

  /// `columns` := (H1 H2 ...)^H `columns` for the reflectors of the columns `before`.
  void apply(Range before, Range columns) const {
    const Matrix<T> C = block(A, 1, columns.first), W = block(Y, room(before.count), columns.first);
    multiply(adjoint<T>, m, before.count, columns.count, T(1), block(Y, 1, before.first), C, T(0), W);
    multiply('N', m, before.count, columns.count, T(-1), block(V, 1, before.first), W, T(1), C);
  }

  /// Columns of Y take the reflectors of the columns `before` from the left.
  void apply_to_y(Range before, Range columns) const {
    const Range own = reach(columns);
    const Matrix<T> W = block(V, room(before.count), columns.first);
    multiply(adjoint<T>, own.count, before.count, columns.count, T(1), block(V, own.first, before.first),
             block(Y, own.first, columns.first), T(0), W);
    multiply('N', m, before.count, columns.count, T(-1), block(Y, 1, before.first), W, T(1),
             block(Y, 1, columns.first));
    laset('A', before.count, columns.count, T(0), T(0), W.data, W.ld);
  }

  /// C := alpha op(M) B + beta C for an M of `rows` by `count`.
  static void multiply(char op, Int rows, Int count, Int columns, T alpha, Matrix<const T> M, Matrix<const T> B, T beta,
                       Matrix<T> C) {
    if (count == 0) return;
    if (columns == 1) return blas::gemv(op, rows, count, alpha, M, column(B, 1, 1), beta, column(C, 1, 1));
    if (op == 'N') return blas::gemm(op, 'N', rows, columns, count, alpha, M, B, beta, C);
    blas::gemm(op, 'N', count, columns, rows, alpha, M, B, beta, C);
  }

  /// The reflector of column k as columns of V and Y.
  void set_reflector(Int k, T tau) const {
    const Range own = reach(k);
    for (const Matrix<T>& M : {V, Y}) {
      if (own.count < 2) {
        std::fill_n(M.at(1, k), m, T(0));
        continue;
      }
      std::fill_n(M.at(1, k), own.first - 1, T(0));
      blas::copy(own.count, column(A, own.first, k), column(M, own.first, k));
      M(unit(k), k) = T(1);
      std::fill_n(M.at(own.last() + 1, k), m - own.last(), T(0));
    }
    if (own.count >= 2) blas::scal(own.count, tau, column(Y, own.first, k));
  }

  void factor_by_columns(Range own, T* tau) const {
    for (Int step = 0; step < own.count; ++step) {
      const Int k = upper ? own.last() - step : own.first + step;
      const Range before = earlier(own, k);
      apply(before, {k, 1});
      const bool reflects = reach(k).count >= 2;
      if (reflects) larfg(reach(k).count, A(unit(k), k), A.at(upper ? 1 : k + 1, k), 1, tau[k - 1]);
      set_reflector(k, reflects ? tau[k - 1] : T(0));
      if (reflects) apply_to_y(before, {k, 1});
    }
  }

  /// By halves of its columns, so that most of the work is in products of matrices.
  void factor(Range own, T* tau) const {
    constexpr Int few_columns = 10;
    if (own.count <= few_columns || m <= nb) return factor_by_columns(own, tau);
    const Int half = own.count / 2;
    const Range front{own.first, half}, back{own.first + half, own.count - half};
    const Range &first = upper ? back : front, &second = upper ? front : back;
    factor(first, tau);
    apply(first, second);
    factor(second, tau);
    apply_to_y(first, second);
  }
};

/// The first stage, and what surrounds the second.
template <Scalar T>
struct TwoStages {
  bool upper;
  Int n, kd;
  Matrix<T> A;
  T *tau, *work;

  char uplo() const { return upper ? 'U' : 'L'; }

  /// Reduces A to a band by panels of kb columns. In each, with m rows of A still to reduce, and Q = I - Y V^H:
  ///
  ///     lower   .                 upper   C C B P      P the panel, whose zeros lie outside of the band,
  ///             . .                         C B P      B := Q^H B, columns between panel and C if kb < kd,
  ///             P B C                         . .      C := Q^H C Q = C - V X^H - X V^H
  ///             P B C C                         .
  ///
  /// Z, if there is one, takes Q from the right.
  void reduce_to_band(Int kb, const Matrix<T>* Z) const {
    const Int panels = (n - kd + kb - 2) / kb;
    for (Int p = 0; p < panels; ++p) {
      const Int done = p * kb, m = n - kd - done;
      const Int first = upper ? 1 : kd + done + 1;  // row and column of C
      const Int panel = upper ? n - kb - done + 1 : done + 1, between = upper ? m + 1 : panel + kb;
      const Matrix<T> V{work, n}, Y = block(V, 1, kb + 1), W = block(Y, 1, kb + 1), X = block(W, kb + 1, 1);
      const Matrix<T> C = block(A, first, first);
      syrb2(uplo(), m, kb, A.at(first, panel), A.ld, tau + (panel - 1), V.data, n, Y.data, n);
      if (kb < kd) {
        const Matrix<T> B = block(A, first, between);
        blas::gemm(adjoint<T>, 'N', kd - kb, kb, m, T(1), B, Y, T(0), X);
        blas::gemm('N', adjoint<T>, m, kd - kb, kb, T(-1), V, X, T(1), B);
      }
      hermitian_product<T>(uplo(), m, kb, C, Y, X);
      blas::gemm(adjoint<T>, 'N', kb, kb, m, T(1), Y, X, T(0), W);
      blas::gemm('N', 'N', m, kb, kb, T(Real<T>(-0.5)), V, W, T(1), X);
      add_products_with_adjoints<T>(uplo(), 'N', m, kb, Real<T>(-1), V, X, C);
      if (Z != nullptr) {
        const Matrix<T> reached = block(*Z, 1, first);
        blas::gemm('N', 'N', n, kb, m, T(1), reached, Y, T(0), W);
        blas::gemm('N', adjoint<T>, n, m, kb, T(-1), W, V, T(1), reached);
      }
    }
  }

  /// The lower triangle of the band in band storage. A leading dimension longer by one turns diagonals into rows.
  void copy_band(Matrix<T> band) const {
    if (upper) {
      for (Int j = 1; j <= n; ++j) {
        for (Int k = j; k <= std::min(j + kd, n); ++k) band(k - j + 1, j) = conjugate(A(j, k));
      }
    } else {
      lacpy<T>('A', kd + 1, n - kd, A.data, A.ld + 1, band.data, band.ld);
      lacpy<T>('L', kd, kd, A.at(n - kd + 1, n - kd + 1), A.ld, band.at(1, n - kd + 1), band.ld - 1);
    }
  }

  /// Q of the first stage in the place of its reflectors.
  void form_q(T* room, Int lwork, Int& info) const {
    const Int order = n - kd;
    if (upper) {
      for (Int j = 1; j <= order; ++j) {
        std::copy_n(A.at(1, j + kd), j - 1, A.at(1, j));
        std::fill_n(A.at(order + 1, j), kd, T(0));
      }
      laset('A', order, kd, T(0), T(0), A.at(1, order + 1), A.ld);
      laset('A', kd, kd, T(0), T(1), A.at(order + 1, order + 1), A.ld);
      tau[kd] = T(0);
      orgql(order, order, order, A.data, A.ld, tau + kd, room, lwork, info);
    } else {
      for (Int j = n; j > kd; --j) {
        std::fill_n(A.at(1, j), kd, T(0));
        std::copy_n(A.at(j + 1, j - kd), n - j, A.at(j + 1, j));
      }
      laset('A', n, kd, T(0), T(1), A.data, A.ld);
      tau[order - 1] = T(0);
      orgqr(order, order, order, A.at(kd + 1, kd + 1), A.ld, tau, room, lwork, info);
    }
  }
};

/// Elements that the best workspace has, and the least: the band, and what its reduction asks for.
std::int64_t best_workspace(Int n, Int kd) {
  return (3 * std::int64_t{kd} + 3) * n;
}
std::int64_t least_workspace(bool with_q, Int n, Int kd) {
  return n <= 1 ? 1 : (2 * std::int64_t{kd} + 1) * n + (with_q ? n : kd);
}

}  // namespace

template <Scalar T>
void syrb2(char uplo, Int m, Int nb, T* a, Int lda, T* tau, T* v, Int ldv, T* y, Int ldy) {
  if (m < 1) return;
  const Panel<T> panel{!same_letter(uplo, 'L'), m, nb, {a, lda}, {v, ldv}, {y, ldy}};
  panel.factor({1, nb}, tau);
}

template <Scalar T>
void syrdb(char jobz, char uplo, Int n, Int kd, T* a, Int lda, Real<T>* d, Real<T>* e, T* tau, T* z, Int ldz, T* work,
           Int lwork, Int& info) {
  const bool query = lwork == -1, form_q = same_letter(jobz, 'V'), update_z = same_letter(jobz, 'U');
  const Int band = std::min(kd, n - 1);
  info = 0;
  if (!is_one_of(jobz, 'N', 'V', 'U')) info = -1;
  else if (!is_one_of(uplo, 'U', 'L')) info = -2;
  else if (n < 0) info = -3;
  else if (kd < 1) info = -4;
  else if (lda < std::max(1, n)) info = -6;
  else if (ldz < 1 || (update_z && ldz < n)) info = -9;
  else if (!query && lwork < least_workspace(form_q || update_z, n, band)) info = -11;
  if (info != 0) return report_bad_argument(name_of<T>("SYRDB", "HERDB"), info);

  const T best_lwork = as_work_size<T>(best_workspace(n, kd));
  work[0] = best_lwork;
  if (query) return;
  if (n <= 1) {
    if (n == 0) work[0] = T(1);
    else d[0] = std::real(a[0]);
    if (n == 1 && form_q) a[0] = T(1);
    return;
  }

  const TwoStages<T> stages{same_letter(uplo, 'U'), n, band, {a, lda}, tau, work};
  const Int kb = lwork < best_workspace(n, band) ? std::max(lwork / n / 3 - 1, 1) : band;
  const Matrix<T> Z{z, ldz};
  stages.reduce_to_band(kb, update_z ? &Z : nullptr);

  const Int ldab = 2 * band + 1, rest = lwork - n * ldab;
  T* const room = work + std::ptrdiff_t{n} * ldab;
  stages.copy_band({work, ldab});
  if (form_q) {
    stages.form_q(room, rest, info);
    sbrdb<T>('U', 'L', n, band, work, ldab, d, e, a, lda, room, rest, info);
  } else {
    sbrdb<T>(jobz, 'L', n, band, work, ldab, d, e, z, ldz, room, rest, info);
  }
  work[0] = best_lwork;
}

}  // namespace nuv

#include "symmetric/two_stage.entries.inc"
