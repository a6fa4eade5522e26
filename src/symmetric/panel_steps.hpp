#pragma once

// The steps of which a panel of a reduction to tridiagonal form is made (J. J. Dongarra, D. C. Sorensen and S. J.
// Hammarling, "Block reduction of matrices to condensed forms for eigenvalue computations", J. Comput. Appl. Math. 27,
// 1989).
//
// The reflectors of a panel, columns of V, are applied to what is behind it at once, A - V W^H - W V^H; within it each
// column is brought up to date when its turn comes. V stands in the place of the panel's own columns.

#include "environment/hermitian.hpp"
#include "orthogonal/householder.hpp"
#include "orthogonal/stored_reflectors.hpp"

namespace nuv {

/// Where a step works. Rows and columns are those of V and W.
struct PanelStep {
  Int column;
  Int diagonal;     ///< row of the diagonal element
  Range reflector;  ///< rows beside it, those of the reflector
  Range earlier;    ///< columns of the steps before
  Int spare;        ///< a row of W outside of those rows, as is each row for an earlier column from it on

  /// Step i from the last column on of the last nb columns of an upper triangle of order n.
  static PanelStep of_upper(Int n, Int nb, Int i) {
    const Int column = i - n + nb;
    return {column, i, {1, i - 1}, {column + 1, nb - column}, i + 1};
  }

  /// Step i from the first column on of a lower triangle of order n.
  static PanelStep of_lower(Int n, Int i) { return {i, i, {i + 1, n - i}, {1, i - 1}, 1}; }

  /// The rows of the reflector and the diagonal element.
  Range rows() const { return {std::min(diagonal, reflector.first), reflector.count + 1}; }

  /// The row of the reflector's unit element, next to the diagonal.
  Int unit() const { return reflector.first < diagonal ? diagonal - 1 : diagonal + 1; }

  /// The first row of its other elements.
  Int tail() const { return reflector.first < diagonal ? reflector.first : reflector.first + 1; }
};

/// y := y - X r^H for a row r of some columns.
template <Scalar T>
void subtract_product_with_row(Range rows, Range columns, Matrix<const T> X, Matrix<T> R, Int row_of_r, Vector<T> y) {
  const Vector<T> r = row(R, row_of_r, columns.first);
  conjugate_vector(columns.count, r);
  blas::gemv('N', rows.count, columns.count, T(-1), block(X, rows.first, columns.first), r, T(1), y);
  conjugate_vector(columns.count, r);
}

/// Brings a column of the panel up to date with the steps before.
template <Scalar T>
void update_panel_column(const PanelStep& step, Matrix<T> V, Matrix<T> W) {
  T& diagonal = V(step.diagonal, step.column);
  const Range rows = step.rows();
  const Vector<T> a = column(V, rows.first, step.column);
  diagonal = std::real(diagonal);
  if (step.earlier.count == 0) return;
  subtract_product_with_row<T>(rows, step.earlier, V, W, step.diagonal, a);
  subtract_product_with_row<T>(rows, step.earlier, W, V, step.diagonal, a);
  diagonal = std::real(diagonal);
}

/// Makes the reflector of a column, with its unit element in place; e gets the element beside the diagonal.
template <Scalar T>
void make_panel_reflector(const PanelStep& step, Matrix<T> V, Real<T>& e, T& tau) {
  T& unit = V(step.unit(), step.column);
  larfg(step.reflector.count, unit, V.at(step.tail(), step.column), 1, tau);
  e = std::real(unit);
  unit = T(1);
}

/// Makes the column of W that belongs to a reflector. multiply(v, w) makes w the product of v and the matrix behind the
/// panel, as it was before the panel's first step.
template <Scalar T, class Multiply>
void make_panel_product(const PanelStep& step, T tau, Matrix<T> V, Matrix<T> W, Multiply multiply) {
  const auto [first, n] = step.reflector;
  const Vector<T> v = column(V, first, step.column), w = column(W, first, step.column);
  multiply(v, w);
  if (const Int k = step.earlier.count; k > 0) {
    const Matrix<T> V0 = block(V, first, step.earlier.first), W0 = block(W, first, step.earlier.first);
    const Vector<T> x = column(W, step.spare, step.column);
    blas::gemv(adjoint<T>, n, k, T(1), W0, v, T(0), x);
    blas::gemv('N', n, k, T(-1), V0, x, T(1), w);
    blas::gemv(adjoint<T>, n, k, T(1), V0, v, T(0), x);
    blas::gemv('N', n, k, T(-1), W0, x, T(1), w);
  }
  blas::scal(n, tau, w);
  blas::axpy(n, Real<T>(-0.5) * tau * inner_product<T>(true, n, w, v), v, w);
}

}  // namespace nuv
