#pragma once

// The panel of a reduction to tridiagonal form, for the library and for the thread layers, which multiply in ways of
// their own.
//
// The functions are static: they are compiled for several instruction sets, whose code must not meet in the linker.

#include "base/matrix.hpp"
#include "blas.hpp"
#include "frame/option_matching.hpp"

namespace nuv {
namespace panel_of_reduction {

/// Where a panel stands before one of its columns. Rows beyond the diagonal belong to the rest of the matrix.
///
///     lower   .  | .  | .      upper   A22 | c | V       c: the column, d its diagonal element
///             V' | d  | .              .   | d | V'      V: the columns before it; V': their row beside the diagonal
///             V  | c  | A22            .   | . | .
struct Place {
  bool upper;
  Int column;    ///< of A
  Int work;      ///< the column of W that goes with it
  Int done;      ///< columns before it
  Int rest;      ///< order of the rest
  Int before;    ///< the first of the columns before it. W is free in as many rows from that number on
  Int before_w;  ///< the same in W

  Place(bool upper_, Int n, Int nb, Int done_)
      : upper(upper_),
        column(upper_ ? n - done_ : done_ + 1),
        work(upper_ ? nb - done_ : done_ + 1),
        done(done_),
        rest(n - done_ - 1),
        before(upper_ ? column + 1 : 1),
        before_w(upper_ ? work + 1 : 1) {}

  Int first_of_rest() const { return upper ? 1 : column + 1; }
  Int first_with_diagonal() const { return upper ? 1 : column; }
  Int beside_diagonal() const { return upper ? column - 1 : column + 1; }
  /// The place of its elements in e and tau.
  Int reflector() const { return upper ? column - 1 : column; }
};

template <Scalar T>
static void make_real(T& x) {
  if constexpr (ComplexScalar<T>) x = T(x.real());
}

template <Scalar T>
static void conjugate_row(Int n, Vector<T> x) {
  if constexpr (ComplexScalar<T>) {
    for (Int i = 0; i < n; ++i) x.data[std::ptrdiff_t{i} * x.inc] = conjugate(x.data[std::ptrdiff_t{i} * x.inc]);
  }
}

template <Scalar T>
static T inner_product(Int n, Vector<const T> x, Vector<const T> y) {
  if constexpr (ComplexScalar<T>) {
    return blas::dotc(n, x, y);
  } else {
    return blas::dot(n, x, y);
  }
}

/// y := y - B conj(x), B m by n
template <Scalar T>
static void subtract_product(Int m, Int n, Matrix<const T> B, Vector<T> x, Vector<T> y) {
  conjugate_row(n, x);
  blas::gemv('N', m, n, T(-1), B, x, T(1), y);
  conjugate_row(n, x);
}

/// Brings the column up to date: it loses what the columns before it take from the matrix.
template <Scalar T>
static void update_column(const Place& at, Matrix<T> A, Matrix<T> W) {
  const Int i = at.column, first = at.first_with_diagonal();
  make_real(A(i, i));
  if (at.done == 0) return;
  const Vector<T> c = column(A, first, i);
  subtract_product<T>(at.rest + 1, at.done, block(A, first, at.before), row(W, i, at.before_w), c);
  subtract_product<T>(at.rest + 1, at.done, block(W, first, at.before_w), row(A, i, at.before), c);
  make_real(A(i, i));
}

/// Makes the column of W from y = A v, A as it was before the panel: y loses what the columns before take from A v.
template <Scalar T>
static void finish_product(const Place& at, T tau, Matrix<T> A, Matrix<T> W) {
  constexpr char adjoint = ComplexScalar<T> ? 'C' : 'T';
  const Int rest = at.rest, done = at.done, first = at.first_of_rest();
  const Vector<T> v = column(A, first, at.column), y = column(W, first, at.work);
  if (done > 0) {
    const Matrix<T> V = block(A, first, at.before), U = block(W, first, at.before_w);
    const Vector<T> coefficients = column(W, at.before, at.work);
    blas::gemv(adjoint, rest, done, T(1), U, v, T(0), coefficients);
    blas::gemv('N', rest, done, T(-1), V, coefficients, T(1), y);
    blas::gemv(adjoint, rest, done, T(1), V, v, T(0), coefficients);
    blas::gemv('N', rest, done, T(-1), U, coefficients, T(1), y);
  }
  blas::scal(rest, tau, y);
  const T alpha = Real<T>(0.5) * tau * negated(inner_product<T>(rest, y, v));
  blas::axpy(rest, alpha, v, y);
}

}  // namespace panel_of_reduction

/// The panel of `latrd` by two means of the caller:
///
/// means.reflect(n, alpha, x, tau)         as larfg
/// means.multiply(uplo, n, A, x, y)        y := A x for the symmetric or Hermitian A of which a triangle is stored
template <Scalar T, class Means>
static void reduce_panel(char uplo, Int n, Int nb, T* a, Int lda, Real<T>* e, T* tau, T* w, Int ldw,
                         const Means& means) {
  using namespace panel_of_reduction;
  if (n < 1) return;
  const Matrix A{a, lda}, W{w, ldw};
  const bool upper = same_letter(uplo, 'U');
  for (Int done = 0; done < nb; ++done) {
    const Place at(upper, n, nb, done);
    update_column(at, A, W);
    if (at.rest == 0) return;
    const Int i = at.column, first = at.first_of_rest();
    T& beside = A(at.beside_diagonal(), i);
    T& factor = tau[at.reflector() - 1];
    means.reflect(at.rest, beside, A.at(upper ? 1 : std::min(i + 2, n), i), factor);
    e[at.reflector() - 1] = std::real(beside);
    beside = T(1);
    means.multiply(uplo, at.rest, Matrix<const T>(block(A, first, first)), Vector<const T>(column(A, first, i)),
                   column(W, first, at.work));
    finish_product(at, factor, A, W);
  }
}

}  // namespace nuv
