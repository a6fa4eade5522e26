#include "solvers/complex_symmetric_products.hpp"

#include <algorithm>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"

namespace nuv {
namespace {

/// Elements first ... last, from one on, of a vector as the Fortran convention passes it.
template <class T>
Vector<T> part_of(T* x, Int n, Int inc, Int first, Int last) {
  const Int lowest = inc > 0 ? first - 1 : n - last;
  return {x + std::ptrdiff_t{lowest} * std::abs(inc), inc};
}

/// Runs visit(j, column, diagonal, first, last) for each column j: its elements off the diagonal are those of rows
/// first to last and stand at `column`, the one on it stands at `diagonal`.
template <class T, class Visit>
void for_each_column(bool upper, Int n, Matrix<T> A, Visit visit) {
  for (Int j = 1; j <= n; ++j) {
    if (upper) {
      visit(j, A.at(1, j), A.at(j, j), Int{1}, j - 1);
    } else {
      visit(j, A.at(j + 1, j), A.at(j, j), j + 1, n);
    }
  }
}
template <class T, class Visit>
void for_each_column(bool upper, Int n, T* ap, Visit visit) {
  for (Int j = 1; j <= n; ++j) {
    if (upper) {
      visit(j, ap, ap + (j - 1), Int{1}, j - 1);
      ap += j;
    } else {
      visit(j, ap + 1, ap, j + 1, n);
      ap += n - j + 1;
    }
  }
}

template <Scalar T>
void scale_by(T beta, Int n, T* y, Int incy) {
  const Vector<T> all(y, std::abs(incy));
  if (beta == T(0)) {
    for (std::ptrdiff_t i = 0; i < n; ++i) all.data[i * all.inc] = T(0);
  } else if (beta != T(1)) {
    blas::scal(n, beta, all);
  }
}

/// y := y + factor x for n elements. Unlike axpy it makes the products with a factor of zero too, as the kernels of the
/// real precisions do: with an infinity they are NaN.
template <Scalar T>
void add_multiple(Int n, T factor, Vector<const T> x, Vector<T> y) {
  if (factor != T(0)) return blas::axpy(n, factor, x, y);
  for (Int i = 1; i <= n; ++i) *part_of(y.data, n, y.inc, i, i).data += factor * *part_of(x.data, n, x.inc, i, i).data;
}

/// Each column is read once: for what it gives to y as a column, and as a row.
template <Scalar T, class Triangle>
void multiply(char uplo, Int n, T alpha, Triangle A, const T* x, Int incx, T beta, T* y, Int incy) {
  scale_by(beta, n, y, incy);
  if (alpha == T(0)) return;
  for_each_column(same_letter(uplo, 'U'), n, A, [&](Int j, const T* column, const T* diagonal, Int first, Int last) {
    const T xj = alpha * *part_of(x, n, incx, j, j).data;
    T& yj = *part_of(y, n, incy, j, j).data;
    const Int count = last - first + 1;
    if (count > 0) {
      add_multiple<T>(count, xj, {column, 1}, part_of(y, n, incy, first, last));
      yj += alpha * blas::dotu(count, Vector<const T>(column, 1), part_of(x, n, incx, first, last));
    }
    yj += xj * *diagonal;
  });
}

template <Scalar T, class Triangle>
void add_outer_square(char uplo, Int n, T alpha, const T* x, Int incx, Triangle A) {
  for_each_column(same_letter(uplo, 'U'), n, A, [&](Int j, T* column, T* diagonal, Int first, Int last) {
    const T xj = *part_of(x, n, incx, j, j).data;
    if (first <= last) {
      add_multiple<T>(last - first + 1, alpha * xj, part_of(x, n, incx, first, last), {column, 1});
    }
    *diagonal += alpha * xj * xj;
  });
}

}  // namespace

template <ComplexScalar T>
void symv(char uplo, Int n, T alpha, const T* a, Int lda, const T* x, Int incx, T beta, T* y, Int incy) {
  Int info = 0;
  if (!is_one_of(uplo, 'U', 'L')) info = -1;
  else if (n < 0) info = -2;
  else if (lda < std::max(1, n)) info = -5;
  else if (incx == 0) info = -7;
  else if (incy == 0) info = -10;
  if (info != 0) return report_bad_argument<T>("SYMV", info);
  multiply(uplo, n, alpha, Matrix{a, lda}, x, incx, beta, y, incy);
}

template <ComplexScalar T>
void spmv(char uplo, Int n, T alpha, const T* ap, const T* x, Int incx, T beta, T* y, Int incy) {
  Int info = 0;
  if (!is_one_of(uplo, 'U', 'L')) info = -1;
  else if (n < 0) info = -2;
  else if (incx == 0) info = -6;
  else if (incy == 0) info = -9;
  if (info != 0) return report_bad_argument<T>("SPMV", info);
  multiply(uplo, n, alpha, ap, x, incx, beta, y, incy);
}

template <ComplexScalar T>
void syr(char uplo, Int n, T alpha, const T* x, Int incx, T* a, Int lda) {
  Int info = 0;
  if (!is_one_of(uplo, 'U', 'L')) info = -1;
  else if (n < 0) info = -2;
  else if (incx == 0) info = -5;
  else if (lda < std::max(1, n)) info = -7;
  if (info != 0) return report_bad_argument<T>("SYR", info);
  if (alpha != T(0)) add_outer_square(uplo, n, alpha, x, incx, Matrix{a, lda});
}

template <ComplexScalar T>
void spr(char uplo, Int n, T alpha, const T* x, Int incx, T* ap) {
  Int info = 0;
  if (!is_one_of(uplo, 'U', 'L')) info = -1;
  else if (n < 0) info = -2;
  else if (incx == 0) info = -5;
  if (info != 0) return report_bad_argument<T>("SPR", info);
  if (alpha != T(0)) add_outer_square(uplo, n, alpha, x, incx, ap);
}

}  // namespace nuv

#include "solvers/complex_symmetric_products.entries.inc"
