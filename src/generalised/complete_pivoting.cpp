#include "generalised/complete_pivoting.hpp"

#include <algorithm>

#include "base/quotient.hpp"
#include "blas.hpp"
#include "environment/hermitian.hpp"
#include "environment/magnitudes.hpp"
#include "generalised/pivoted_factors.hpp"

namespace nuv {
namespace {

template <RealScalar R>
struct Pivot {
  Int row, col;
  R size;
};

/// The largest element of rows and columns k ... n, the first one down the columns.
template <Scalar T>
Pivot<Real<T>> largest_element(Int k, Int n, Matrix<const T> A) {
  Pivot<Real<T>> pivot{k, k, 0};
  for (Int j = k; j <= n; ++j) {
    for (Int i = k; i <= n; ++i) {
      const Real<T> size = magnitude(A(i, j));
      if (size > pivot.size) pivot = {i, j, size};
    }
  }
  return pivot;
}

template <Scalar T>
void exchange_rows(Int n, Int i, Int k, Matrix<T> A) {
  if (i != k) blas::swap(n, row(A, i, 1), row(A, k, 1));
}

template <Scalar T>
void exchange_columns(Int n, Int j, Int k, Matrix<T> A) {
  if (j != k) blas::swap(n, column(A, 1, j), column(A, 1, k));
}

}  // namespace

template <Scalar T>
void getc2(Int n, T* a, Int lda, Int* ipiv, Int* jpiv, Int& info) {
  using R = Real<T>;
  const Matrix A{a, lda};
  R smin = 0;
  info = 0;
  for (Int k = 1; k <= n; ++k) {
    const Pivot<R> pivot = largest_element<T>(k, n, A);
    if (k == 1) smin = std::max(Machine<R>::precision * pivot.size, least_pivot<R>);
    exchange_rows(n, pivot.row, k, A);
    exchange_columns(n, pivot.col, k, A);
    ipiv[k - 1] = pivot.row;
    jpiv[k - 1] = pivot.col;
    if (magnitude(A(k, k)) < smin) {
      info = k;
      A(k, k) = T(smin);
    }
    if (k == n) return;
    for (Int i = k + 1; i <= n; ++i) A(i, k) = quotient(A(i, k), A(k, k));
    subtract_outer_product<T>(n - k, n - k, column(A, k + 1, k), row(A, k, k + 1), block(A, k + 1, k + 1));
  }
}

template <Scalar T>
void gesc2(Int n, const T* a, Int lda, T* rhs, const Int* ipiv, const Int* jpiv, Real<T>& scale) {
  using R = Real<T>;
  scale = 1;
  if (n < 1) return;
  const PivotedFactors<T> factors{n, {a, lda}, ipiv, jpiv};
  factors.exchange_rows(rhs);
  factors.substitute_forward(rhs);
  const R largest = magnitude(rhs[blas::iamax(n, Vector<const T>{rhs, 1}) - 1]);
  if (2 * least_pivot<R> * largest > magnitude(factors.LU(n, n))) {
    scale = R(0.5) / largest;
    blas::scal(n, scale, Vector{rhs, 1});
  }
  factors.substitute_back(rhs);
  factors.exchange_columns_back(rhs);
}

}  // namespace nuv

#include "generalised/complete_pivoting.entries.inc"
