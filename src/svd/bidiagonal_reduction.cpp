#include "svd/bidiagonal_reduction.hpp"

#include <algorithm>

#include "environment/block_plan.hpp"
#include "environment/conjugated.hpp"
#include "environment/hermitian.hpp"
#include "orthogonal/factor_by_reflectors.hpp"

namespace nuv {
namespace {

/// y := y - A x, A m by n
template <Scalar T>
void subtract_product(Int m, Int n, Matrix<const T> A, Vector<const T> x, Vector<T> y) {
  blas::gemv('N', m, n, T(-1), A, x, T(1), y);
}

/// y := y - A^H x, A m by n
template <Scalar T>
void subtract_adjoint_product(Int m, Int n, Matrix<const T> A, Vector<const T> x, Vector<T> y) {
  blas::gemv(adjoint<T>, m, n, T(-1), A, x, T(1), y);
}

/// A panel of the reduction. A itself is that before the panel: row and column i lose what the reflectors before them
/// take from it when their turn comes.
template <Scalar T>
struct Panel {
  using R = Real<T>;

  Int m, n;
  Matrix<T> A, X, Y;

  /// Makes reflector i of a column, from row `first` on, and column i of Y = A^H V - Y V^H V - U X^H V.
  ///
  /// rows    reflectors of rows so far
  void reduce_column(Int i, Int first, Int rows, R& element, T& tau) const {
    const Int length = m - first + 1, before = i - 1, rest = n - i;
    const Vector<T> v = column(A, first, i);
    {
      const Conjugated<T> y(before, row(Y, i, 1));
      subtract_product<T>(length, before, block(A, first, 1), row(Y, i, 1), v);
    }
    subtract_product<T>(length, rows, block(X, first, 1), column(A, 1, i), v);
    larfg(length, A(first, i), A.at(std::min(first + 1, m), i), 1, tau);
    element = std::real(A(first, i));
    if (rest == 0) return;

    A(first, i) = T(1);
    const Vector<T> y = column(Y, i + 1, i), coefficients = column(Y, 1, i);
    blas::gemv(adjoint<T>, length, rest, T(1), block(A, first, i + 1), v, T(0), y);
    blas::gemv(adjoint<T>, length, before, T(1), block(A, first, 1), v, T(0), coefficients);
    subtract_product<T>(rest, before, block(Y, i + 1, 1), coefficients, y);
    blas::gemv(adjoint<T>, length, rows, T(1), block(X, first, 1), v, T(0), coefficients);
    subtract_adjoint_product<T>(rows, rest, block(A, 1, i + 1), coefficients, y);
    blas::scal(rest, tau, y);
  }

  /// Makes reflector i of a row, from column `first` on, and column i of X = A U - V Y^H U - X U^H U.
  ///
  /// columns  reflectors of columns so far
  void reduce_row(Int i, Int first, Int columns, R& element, T& tau) const {
    const Int length = n - first + 1, before = i - 1, rest = m - i;
    const Vector<T> u = row(A, i, first);
    const Conjugated<T> as_vector(length, u);
    {
      const Conjugated<T> v(columns, row(A, i, 1));
      subtract_product<T>(length, columns, block(Y, first, 1), row(A, i, 1), u);
    }
    {
      const Conjugated<T> x(before, row(X, i, 1));
      subtract_adjoint_product<T>(before, length, block(A, 1, first), row(X, i, 1), u);
    }
    larfg(length, A(i, first), A.at(i, std::min(first + 1, n)), A.ld, tau);
    element = std::real(A(i, first));
    if (rest == 0) return;

    A(i, first) = T(1);
    const Vector<T> x = column(X, i + 1, i), coefficients = column(X, 1, i);
    blas::gemv('N', rest, length, T(1), block(A, i + 1, first), u, T(0), x);
    blas::gemv(adjoint<T>, length, columns, T(1), block(Y, first, 1), u, T(0), coefficients);
    subtract_product<T>(rest, columns, block(A, i + 1, 1), coefficients, x);
    blas::gemv('N', before, length, T(1), block(A, 1, first), u, T(0), coefficients);
    subtract_product<T>(rest, before, block(X, i + 1, 1), coefficients, x);
    blas::scal(rest, tau, x);
  }
};

/// Makes a reflector of column i from row `first` on, and applies it to the columns behind.
template <Scalar T>
void reduce_column(Int m, Int n, Int i, Int first, Matrix<T> A, Real<T>& element, T& tau, T* work) {
  const Int length = m - first + 1;
  larfg(length, A(first, i), A.at(std::min(first + 1, m), i), 1, tau);
  element = std::real(A(first, i));
  if (i < n) {
    A(first, i) = T(1);
    larf('L', length, n - i, A.at(first, i), 1, conjugate(tau), A.at(first, i + 1), A.ld, work);
  }
  A(first, i) = T(element);
}

/// Makes a reflector of row i from column `first` on, and applies it to the rows below.
template <Scalar T>
void reduce_row(Int m, Int n, Int i, Int first, Matrix<T> A, Real<T>& element, T& tau, T* work) {
  const Int length = n - first + 1;
  {
    const Conjugated<T> as_vector(length, row(A, i, first));
    larfg(length, A(i, first), A.at(i, std::min(first + 1, n)), A.ld, tau);
    element = std::real(A(i, first));
    if (i < m) {
      A(i, first) = T(1);
      larf('R', m - i, length, A.at(i, first), A.ld, tau, A.at(i + 1, first), A.ld, work);
    }
  }
  A(i, first) = T(element);
}

template <Scalar T>
void reduce_unblocked(Int m, Int n, Matrix<T> A, Real<T>* d, Real<T>* e, T* tauq, T* taup, T* work) {
  const Int count = std::min(m, n);
  for (Int i = 1; i <= count; ++i) {
    const Int k = i - 1;
    if (m >= n) {
      reduce_column(m, n, i, i, A, d[k], tauq[k], work);
      if (i < count) reduce_row(m, n, i, i + 1, A, e[k], taup[k], work);
    } else {
      reduce_row(m, n, i, i, A, d[k], taup[k], work);
      if (i < count) reduce_column(m, n, i, i + 1, A, e[k], tauq[k], work);
    }
  }
  if (count > 0) (m >= n ? taup : tauq)[count - 1] = T(0);
}

template <Scalar T>
void reduce_blocked(Int m, Int n, const BlockPlan& plan, Matrix<T> A, Real<T>* d, Real<T>* e, T* tauq, T* taup,
                    T* work) {
  const Int nb = plan.nb, last = std::min(m, n) - plan.nx;
  const Matrix<T> X{work, m}, Y{work + std::ptrdiff_t{m} * nb, n};
  Int i = 1;
  for (; i <= last; i += nb) {
    const Int k = i - 1, next = i + nb, rows = m - next + 1, columns = n - next + 1;
    labrd(m - k, n - k, nb, A.at(i, i), A.ld, d + k, e + k, tauq + k, taup + k, X.data, X.ld, Y.data, Y.ld);
    const Matrix<T> rest = block(A, next, next);
    blas::gemm('N', adjoint<T>, rows, columns, nb, T(-1), block(A, next, i), block(Y, nb + 1, 1), T(1), rest);
    blas::gemm('N', 'N', rows, columns, nb, T(-1), block(X, nb + 1, 1), block(A, i, next), T(1), rest);
    for (Int j = i; j < next; ++j) {
      A(j, j) = T(d[j - 1]);
      (m >= n ? A(j, j + 1) : A(j + 1, j)) = T(e[j - 1]);
    }
  }
  const Int k = i - 1;
  reduce_unblocked(m - k, n - k, block(A, i, i), d + k, e + k, tauq + k, taup + k, work);
}

}  // namespace

template <Scalar T>
void gebrd(Int m, Int n, T* a, Int lda, Real<T>* d, Real<T>* e, T* tauq, T* taup, T* work, Int lwork, Int& info) {
  const Tuning<T> tuning{.name = RoutineName<T>("GEBRD"), .n1 = m, .n2 = n};
  const Int nb = std::max(1, tuning.block_size());
  work[0] = as_work_size<T>((std::int64_t{m} + n) * nb);
  info = check_matrix(m, n, lda);
  if (info == 0 && lwork < std::max({1, m, n}) && lwork != -1) info = -10;
  if (info != 0) return report_bad_argument<T>("GEBRD", info);
  if (lwork == -1) return;
  const Int count = std::min(m, n);
  if (count == 0) {
    work[0] = T(1);
    return;
  }

  const BlockPlan plan =
      plan_blocks(tuning, {.n = count, .nb = nb, .line = m + n, .lwork = lwork, .least_crossover = nb});
  const Matrix A{a, lda};
  if (plan.by_blocks) {
    reduce_blocked(m, n, plan, A, d, e, tauq, taup, work);
  } else {
    reduce_unblocked(m, n, A, d, e, tauq, taup, work);
  }
  const bool may_be_divided = are_divided(count, nb) && plan.nx < count;
  work[0] = as_work_size<T>(may_be_divided ? plan.workspace : std::max(m, n));
}

template <Scalar T>
void gebd2(Int m, Int n, T* a, Int lda, Real<T>* d, Real<T>* e, T* tauq, T* taup, T* work, Int& info) {
  info = check_matrix(m, n, lda);
  if (info != 0) return report_bad_argument<T>("GEBD2", info);
  reduce_unblocked<T>(m, n, {a, lda}, d, e, tauq, taup, work);
}

template <Scalar T>
void labrd(Int m, Int n, Int nb, T* a, Int lda, Real<T>* d, Real<T>* e, T* tauq, T* taup, T* x, Int ldx, T* y,
           Int ldy) {
  if (m <= 0 || n <= 0) return;
  const Panel<T> panel{m, n, {a, lda}, {x, ldx}, {y, ldy}};
  for (Int i = 1; i <= nb; ++i) {
    const Int k = i - 1;
    if (m >= n) {
      panel.reduce_column(i, i, k, d[k], tauq[k]);
      if (i < n) panel.reduce_row(i, i + 1, i, e[k], taup[k]);
    } else {
      panel.reduce_row(i, i, k, d[k], taup[k]);
      if (i < m) panel.reduce_column(i, i + 1, i, e[k], tauq[k]);
    }
  }
}

}  // namespace nuv

#include "svd/bidiagonal_reduction.entries.inc"
