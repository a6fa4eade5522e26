#include "symmetric/tridiagonal_reduction.hpp"

#include <algorithm>

#include "environment/block_plan.hpp"
#include "environment/hermitian.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "layer.hpp"
#include "orthogonal/householder.hpp"
#include "symmetric/hermitian_products.hpp"
#include "symmetric/tridiagonal_panel.hpp"

namespace nuv {
namespace {

/// y := alpha A x for the symmetric or Hermitian A of order n of which a triangle is stored.
template <Scalar T>
void multiply(char uplo, Int n, T alpha, Matrix<const T> A, Vector<const T> x, Vector<T> y) {
  if constexpr (ComplexScalar<T>) {
    blas::hemv_nb(uplo, n, n, alpha, A, x, T(0), y);
  } else {
    blas::symv_nb(uplo, n, n, alpha, A, x, T(0), y);
  }
}

/// A := A - x y^H - y x^H
template <Scalar T>
void subtract_products(char uplo, Int n, Vector<const T> x, Vector<const T> y, Matrix<T> A) {
  if constexpr (ComplexScalar<T>) {
    blas::her2_nb(uplo, n, n, T(-1), x, y, A);
  } else {
    blas::syr2_nb(uplo, n, n, T(-1), x, y, A);
  }
}

template <Scalar T>
struct SerialMeans {
  void reflect(Int n, T& alpha, T* x, T& tau) const { larfg(n, alpha, x, 1, tau); }
  void multiply(char uplo, Int n, Matrix<const T> A, Vector<const T> x, Vector<T> y) const {
    nuv::multiply(uplo, n, T(1), A, x, y);
  }
};

/// Puts the elements of T beside the diagonal back into columns j ... j + nb - 1, in place of the unit elements, and
/// takes those on it.
///
/// step    from the diagonal to the row of the other element
/// e       from that of column j on
template <Scalar T>
void take_tridiagonal(Int j, Int nb, Int step, Matrix<T> A, Real<T>* d, const Real<T>* e) {
  for (Int k = 0; k < nb; ++k) {
    const Int i = j + k;
    A(i + step, i) = T(e[k]);
    d[i - 1] = std::real(A(i, i));
  }
}

/// One column of the unblocked reduction.
///
/// c       the column in the rows of A22, of order n;  beside  its element beside the diagonal;  x  the others
/// room    n elements of tau, unset so far, for the product A22 c
template <Scalar T>
void reduce_column(char uplo, Int n, T& beside, T* x, Vector<T> c, Matrix<T> A22, Real<T>& e, Vector<T> room, T& tau) {
  T factor;
  larfg(n, beside, x, 1, factor);
  e = std::real(beside);
  if (factor != T(0)) {
    beside = T(1);
    multiply<T>(uplo, n, factor, A22, c, room);
    const T alpha = negated(Real<T>(0.5) * factor) * inner_product<T>(true, n, room, c);
    blas::axpy(n, alpha, c, room);
    subtract_products<T>(uplo, n, c, room, A22);
    beside = T(e);
  }
  tau = factor;
}

// In each step a panel of nb columns is reduced, and the rest A22 loses what its reflectors take from it; about nx
// columns are left to the unblocked code.
//
//     upper   A22 | V          lower   T |  .       A22 := A22 - V W^H - W V^H
//              .  | T                  V | A22

template <Scalar T>
void reduce_upper(char uplo, Int n, Int nb, Int nx, Matrix<T> A, Real<T>* d, Real<T>* e, T* tau, Matrix<T> W) {
  const Int left = n - (n - nx + nb - 1) / nb * nb;
  for (Int i = n - nb + 1; i > left; i -= nb) {
    layer::latrd(uplo, i + nb - 1, nb, A, e, tau, W);
    add_products_with_adjoints<T>(uplo, 'N', i - 1, nb, Real<T>(-1), block(A, 1, i), W, A);
    take_tridiagonal(i, nb, -1, A, d, e + (i - 2));
  }
  Int ignored = 0;
  sytd2(uplo, left, A.data, A.ld, d, e, tau, ignored);
}

template <Scalar T>
void reduce_lower(char uplo, Int n, Int nb, Int nx, Matrix<T> A, Real<T>* d, Real<T>* e, T* tau, Matrix<T> W) {
  Int i = 1;
  for (; i <= n - nx; i += nb) {
    const Int next = i + nb;
    layer::latrd(uplo, n - i + 1, nb, block(A, i, i), e + (i - 1), tau + (i - 1), W);
    add_products_with_adjoints<T>(uplo, 'N', n - next + 1, nb, Real<T>(-1), block(A, next, i), block(W, nb + 1, 1),
                                  block(A, next, next));
    take_tridiagonal(i, nb, 1, A, d, e + (i - 1));
  }
  Int ignored = 0;
  sytd2(uplo, n - i + 1, A.at(i, i), A.ld, d + (i - 1), e + (i - 1), tau + (i - 1), ignored);
}

}  // namespace

template <Scalar T>
void xsytrd(char uplo, Int n, T* a, Int lda, Real<T>* d, Real<T>* e, T* tau, T* work, Int lwork, Int& info) {
  const RoutineName<T> name = name_of<T>("SYTRD", "HETRD");
  info = 0;
  if (!is_one_of(uplo, 'U', 'L')) info = -1;
  else if (n < 0) info = -2;
  else if (lda < std::max(1, n)) info = -4;
  else if (lwork < 1 && lwork != -1) info = -9;
  if (info != 0) return report_bad_argument(name, info);

  const Tuning<T> tuning{name, {&uplo, 1}, n};
  const Int best_nb = tuning.block_size();
  const T best_lwork = as_work_size<T>(std::int64_t{n} * best_nb);
  work[0] = best_lwork;
  if (lwork == -1) return;
  if (n == 0) {
    work[0] = T(1);
    return;
  }
  const BlockPlan plan =
      plan_blocks(tuning, {.n = n, .nb = best_nb, .line = n, .lwork = lwork, .least_crossover = best_nb});
  if (!plan.by_blocks) {
    sytd2(uplo, n, a, lda, d, e, tau, info);
  } else if (same_letter(uplo, 'U')) {
    reduce_upper(uplo, n, plan.nb, plan.nx, Matrix{a, lda}, d, e, tau, Matrix{work, n});
  } else {
    reduce_lower(uplo, n, plan.nb, plan.nx, Matrix{a, lda}, d, e, tau, Matrix{work, n});
  }
  work[0] = best_lwork;
}

template <Scalar T>
void xlatrd(char uplo, Int n, Int nb, T* a, Int lda, Real<T>* e, T* tau, T* w, Int ldw) {
  reduce_panel(uplo, n, nb, a, lda, e, tau, w, ldw, SerialMeans<T>{});
}

template <Scalar T>
void sytd2(char uplo, Int n, T* a, Int lda, Real<T>* d, Real<T>* e, T* tau, Int& info) {
  info = 0;
  if (n <= 0) return;
  const Matrix A{a, lda};
  const bool upper = same_letter(uplo, 'U');
  if constexpr (ComplexScalar<T>) {
    for (Int k = 1; k <= n; ++k) A(k, k) = std::real(A(k, k));
  }
  if (upper) {
    for (Int i = n - 1; i >= 1; --i) {
      reduce_column<T>(uplo, i, A(i, i + 1), A.at(1, i + 1), column(A, 1, i + 1), A, e[i - 1], {tau, 1}, tau[i - 1]);
      d[i] = std::real(A(i + 1, i + 1));
    }
    d[0] = std::real(A(1, 1));
  } else {
    for (Int i = 1; i < n; ++i) {
      reduce_column<T>(uplo, n - i, A(i + 1, i), A.at(std::min(i + 2, n), i), column(A, i + 1, i),
                       block(A, i + 1, i + 1), e[i - 1], {tau + (i - 1), 1}, tau[i - 1]);
      d[i - 1] = std::real(A(i, i));
    }
    d[n - 1] = std::real(A(n, n));
  }
}

}  // namespace nuv

#include "symmetric/tridiagonal_reduction.entries.inc"
