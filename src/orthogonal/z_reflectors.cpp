#include "orthogonal/z_reflectors.hpp"

#include <algorithm>

#include "environment/conjugated.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"

namespace nuv {
namespace {

/// Conjugates a matrix, or its lower triangle, while an instance lives; nothing to do for real ones.
template <Scalar T>
class ConjugatedMatrix {
 public:
  ConjugatedMatrix(Int m, Int n, Matrix<T> A, bool lower) : m_(m), n_(n), A_(A), lower_(lower) { turn(); }
  ConjugatedMatrix(const ConjugatedMatrix&) = delete;
  ConjugatedMatrix& operator=(const ConjugatedMatrix&) = delete;
  ~ConjugatedMatrix() { turn(); }

 private:
  void turn() const {
    if constexpr (ComplexScalar<T>) {
      for (Int j = 1; j <= n_; ++j) {
        const Int first = lower_ ? j : 1;
        conjugate_vector(m_ - first + 1, column(A_, first, j));
      }
    }
  }

  Int m_, n_;
  Matrix<T> A_;
  bool lower_;
};

/// C := C - tau (1, v) (C1 + v^H C2) for the first row C1 of C and the last l ones, C2.
template <Scalar T>
void reflect_rows(Int n, Int l, Vector<const T> v, T tau, Vector<T> C1, Matrix<T> C2, Vector<T> w) {
  // The product is formed by the adjoint of C2, which leaves it conjugated.
  blas::copy(n, C1, w);
  {
    const Conjugated<T> turned(n, w);
    blas::gemv(adjoint<T>, l, n, T(1), C2, v, T(1), w);
  }
  blas::axpy(n, negated(tau), w, C1);
  if constexpr (ComplexScalar<T>) {
    blas::geru(l, n, negated(tau), v, w, C2);
  } else {
    blas::ger(l, n, negated(tau), v, w, C2);
  }
}

/// C := C - tau (C1 + C2 v) (1, v)^H for the first column C1 of C and the last l ones, C2.
template <Scalar T>
void reflect_columns(Int m, Int l, Vector<const T> v, T tau, Vector<T> C1, Matrix<T> C2, Vector<T> w) {
  blas::copy(m, C1, w);
  blas::gemv('N', m, l, T(1), C2, v, T(1), w);
  blas::axpy(m, negated(tau), w, C1);
  add_outer_product<T>(m, l, negated(tau), w, v, C2);
}

/// B = I - U conj(T) U^H with U = (I, 0, V)^T. C1 are the rows (left) or columns of C that the unit elements meet, C2
/// those that V does.
template <Scalar T>
struct BlockOfReflectors {
  Int k, l;
  Matrix<T> V, t;

  /// W^T := U^H C, so that T^T stands for T, then C := C - U W^T
  void apply_from_left(bool adjoint_of_b, Int n, Matrix<T> C1, Matrix<T> C2, Matrix<T> W) const {
    for (Int j = 1; j <= k; ++j) blas::copy(n, row(C1, j, 1), column(W, 1, j));
    if (l > 0) blas::gemm('T', adjoint<T>, n, k, l, T(1), C2, V, T(1), W);
    blas::trmm('R', 'L', adjoint_of_b ? 'N' : adjoint<T>, 'N', n, k, T(1), t, W);
    for (Int i = 1; i <= n; ++i) {
      for (Int j = 1; j <= k; ++j) C1(j, i) -= W(i, j);
    }
    if (l > 0) blas::gemm('T', 'T', l, n, k, T(-1), V, W, T(1), C2);
  }

  /// W := C U, then C := C - W U^H
  void apply_from_right(bool adjoint_of_b, Int m, Matrix<T> C1, Matrix<T> C2, Matrix<T> W) const {
    for (Int j = 1; j <= k; ++j) blas::copy(m, column(C1, 1, j), column(W, 1, j));
    if (l > 0) blas::gemm('N', 'T', m, k, l, T(1), C2, V, T(1), W);
    {
      const ConjugatedMatrix<T> conjugated(k, k, t, true);
      blas::trmm('R', 'L', adjoint_of_b ? adjoint<T> : 'N', 'N', m, k, T(1), t, W);
    }
    for (Int j = 1; j <= k; ++j) {
      for (Int i = 1; i <= m; ++i) C1(i, j) -= W(i, j);
    }
    if (l == 0) return;
    const ConjugatedMatrix<T> conjugated(k, l, V, false);
    blas::gemm('N', 'N', m, l, k, T(-1), W, V, T(1), C2);
  }
};

}  // namespace

template <Scalar T>
void larz(char side, Int m, Int n, Int l, const T* v, Int incv, T tau, T* c, Int ldc, T* work) {
  if (tau == T(0)) return;
  const Matrix C{c, ldc};
  if (same_letter(side, 'L')) {
    reflect_rows<T>(n, l, {v, incv}, tau, row(C, 1, 1), block(C, m - l + 1, 1), {work, 1});
  } else {
    reflect_columns<T>(m, l, {v, incv}, tau, column(C, 1, 1), block(C, 1, n - l + 1), {work, 1});
  }
}

template <Scalar T>
void latzm(char side, Int m, Int n, const T* v, Int incv, T tau, T* c1, T* c2, Int ldc, T* work) {
  if (std::min(m, n) <= 0 || tau == T(0)) return;
  if (same_letter(side, 'L')) {
    reflect_rows<T>(n, m - 1, {v, incv}, tau, {c1, ldc}, {c2, ldc}, {work, 1});
  } else if (same_letter(side, 'R')) {
    reflect_columns<T>(m, n - 1, {v, incv}, tau, {c1, 1}, {c2, ldc}, {work, 1});
  }
}

template <Scalar T>
void larzt(char direct, char storev, Int n, Int k, T* v, Int ldv, const T* tau, T* t, Int ldt) {
  Int info = 0;
  if (!same_letter(direct, 'B')) info = -1;
  else if (!same_letter(storev, 'R')) info = -2;
  if (info != 0) return report_bad_argument<T>("LARZT", info);

  const Matrix V{v, ldv}, F{t, ldt};
  for (Int i = k; i >= 1; --i) {
    const T factor = tau[i - 1];
    const Int done = k - i;
    const Vector<T> products = column(F, i + 1, i);
    if (factor == T(0) || n <= 0) {
      std::fill_n(products.data, done, T(0));
    } else if (done > 0) {
      const Conjugated<T> turned(n, row(V, i, 1));
      blas::gemv('N', done, n, negated(factor), block(V, i + 1, 1), row(V, i, 1), T(0), products);
      blas::trmv('L', 'N', 'N', done, block(F, i + 1, i + 1), products);
    }
    F(i, i) = factor;
  }
}

template <Scalar T>
void larzb(char side, char trans, char direct, char storev, Int m, Int n, Int k, Int l, T* v, Int ldv, T* t, Int ldt,
           T* c, Int ldc, T* work, Int ldwork) {
  if (m <= 0 || n <= 0) return;
  Int info = 0;
  if (!same_letter(direct, 'B')) info = -3;
  else if (!same_letter(storev, 'R')) info = -4;
  if (info != 0) return report_bad_argument<T>("LARZB", info);

  const BlockOfReflectors<T> B{k, l, {v, ldv}, {t, ldt}};
  const bool adjoint_of_b = !same_letter(trans, 'N');
  const Matrix<T> C{c, ldc}, W{work, ldwork};
  if (same_letter(side, 'L')) {
    B.apply_from_left(adjoint_of_b, n, C, block(C, m - l + 1, 1), W);
  } else if (same_letter(side, 'R')) {
    B.apply_from_right(adjoint_of_b, m, C, block(C, 1, n - l + 1), W);
  }
}

}  // namespace nuv

#include "orthogonal/z_reflectors.entries.inc"
