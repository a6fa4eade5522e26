#pragma once

// Complex operations on row-major matrices for which no column-major one stands: to column-major eyes the matrix is
// transposed, and an adjoint or a Hermitian matrix would have to be conjugated. Conjugating the vectors does the same.
//
// What is only read is copied into work memory. Where that is refused, the operation goes through the matrix row by
// row.

#include <nuv/cblas.h>

#include "blas.hpp"
#include "frame/pool.hpp"
#include "interfaces/cblas/call.hpp"
#include "interfaces/cblas/matrix_rows.hpp"

namespace nuv::cblas::row_major {

/// Conjugates x where it stands. A change of sign, so that doing it twice changes nothing.
template <ComplexScalar T>
void conjugate(Int n, T* x, Int incx) {
  const Elements X(x, n, incx);
  for (Int i = 0; i < n; ++i) X[i].imag(-X[i].imag());
}

/// Writes conj(x) without gaps, and gives it as a vector.
template <ComplexScalar T>
Vector<const T> conjugated(Int n, const T* x, Int incx, T* copy) {
  const Elements X(x, n, incx);
  for (Int i = 0; i < n; ++i) copy[i] = nuv::conjugate(X[i]);
  return {copy, 1};
}

template <ComplexScalar T>
void scale(Int n, T beta, Elements<T> Y) {
  for (Int i = 0; i < n; ++i) Y[i] = beta == T(0) ? T(0) : beta * Y[i];
}

// ------------------------------------------------------------------------------------------------ products with
// vectors

/// y := alpha M x + beta y, worked out as conj(y) := conj(alpha) conj(M) conj(x) + conj(beta) conj(y).
///
/// multiply(alpha, x, beta, y)  makes alpha conj(M) x + beta y
/// add_rows(alpha, x, y)        adds alpha conj(M) conj(x) to y without memory
template <ComplexScalar T, class Multiply, class AddRows>
void product(Int length_x, Int length_y, T alpha, const T* x, Int incx, T beta, T* y, Int incy, Multiply multiply,
             AddRows add_rows) {
  if (length_x == 0 || length_y == 0 || (alpha == T(0) && beta == T(1))) return;
  const Elements Y(y, length_y, incy);
  if (alpha == T(0)) return scale(length_y, beta, Y);

  const T conj_alpha = nuv::conjugate(alpha), conj_beta = nuv::conjugate(beta);
  const Workspace<T> copy(length_x);
  conjugate(length_y, y, incy);
  if (copy.data() != nullptr) {
    multiply(conj_alpha, conjugated(length_x, x, incx, copy.data()), conj_beta, Vector{y, incy});
  } else {
    if (conj_beta != T(1)) scale(length_y, conj_beta, Y);
    add_rows(conj_alpha, Elements(x, length_x, incx), Y);
  }
  conjugate(length_y, y, incy);
}

/// y += alpha A^T conj(x) for an A of m rows.
template <ComplexScalar T, class RowOf>
void add_transposed_rows(RowOf row_of, Int m, T alpha, Elements<const T> X, Elements<T> Y) {
  for (Int i = 0; i < m; ++i) {
    const auto row = row_of(i);
    const T factor = alpha * nuv::conjugate(X[i]);
    for (Int j = 0; j < row.count; ++j) Y[row.first + j] += factor * row.elements[j];
  }
}

/// y := alpha A^H x + beta y
template <ComplexScalar T>
void gemv(Int m, Int n, const T* alpha, const T* a, Int lda, const T* x, Int incx, const T* beta, T* y, Int incy) {
  product(
      m, n, *alpha, x, incx, *beta, y, incy,
      [=](T factor, Vector<const T> X, T scale, Vector<T> Y) {
        blas::gemv('N', n, m, factor, Matrix{a, lda}, X, scale, Y);
      },
      [=](T factor, Elements<const T> X, Elements<T> Y) {
        add_transposed_rows(general_rows(n, a, lda), m, factor, X, Y);
      });
}

/// The same for a band matrix.
template <ComplexScalar T>
void gbmv(Int m, Int n, Int kl, Int ku, const T* alpha, const T* a, Int lda, const T* x, Int incx, const T* beta, T* y,
          Int incy) {
  product(
      m, n, *alpha, x, incx, *beta, y, incy,
      [=](T factor, Vector<const T> X, T scale, Vector<T> Y) {
        blas::gbmv('N', n, m, ku, kl, factor, Matrix{a, lda}, X, scale, Y);
      },
      [=](T factor, Elements<const T> X, Elements<T> Y) {
        add_transposed_rows(band_rows(n, kl, ku, a, lda), m, factor, X, Y);
      });
}

/// y += alpha conj(A) conj(x) for a Hermitian A of which rows of a triangle are stored.
template <ComplexScalar T, class RowOf>
void add_hermitian_rows(RowOf row_of, Int n, T alpha, Elements<const T> X, Elements<T> Y) {
  for (Int i = 0; i < n; ++i) {
    const auto row = row_of(i);
    const T factor = alpha * nuv::conjugate(X[i]);
    T sum = std::real(*row.diagonal) * X[i];
    for (Int j = 0; j < row.count; ++j) {
      Y[row.first + j] += factor * row.elements[j];
      sum += row.elements[j] * X[row.first + j];
    }
    Y[i] += alpha * nuv::conjugate(sum);
  }
}

/// y := alpha A x + beta y for a Hermitian A. multiply(uplo, alpha, x, beta, y) does that with the conjugate of A.
template <ComplexScalar T, class RowOf, class Multiply>
void hermitian_product(CBLAS_UPLO uplo, Int n, const T* alpha, RowOf row_of, const T* x, Int incx, const T* beta, T* y,
                       Int incy, Multiply multiply) {
  product(
      n, n, *alpha, x, incx, *beta, y, incy,
      [=](T factor, Vector<const T> X, T scale, Vector<T> Y) { multiply(*letter(other(uplo)), factor, X, scale, Y); },
      [=](T factor, Elements<const T> X, Elements<T> Y) { add_hermitian_rows(row_of, n, factor, X, Y); });
}

template <ComplexScalar T>
void hemv(CBLAS_UPLO uplo, Int n, const T* alpha, const T* a, Int lda, const T* x, Int incx, const T* beta, T* y,
          Int incy) {
  hermitian_product(uplo, n, alpha, triangle_rows(uplo, n, a, lda), x, incx, beta, y, incy,
                    [=](char triangle, T factor, Vector<const T> X, T scale, Vector<T> Y) {
                      blas::hemv(triangle, n, factor, Matrix{a, lda}, X, scale, Y);
                    });
}

template <ComplexScalar T>
void hbmv(CBLAS_UPLO uplo, Int n, Int k, const T* alpha, const T* a, Int lda, const T* x, Int incx, const T* beta, T* y,
          Int incy) {
  hermitian_product(uplo, n, alpha, band_triangle_rows(uplo, n, k, a, lda), x, incx, beta, y, incy,
                    [=](char triangle, T factor, Vector<const T> X, T scale, Vector<T> Y) {
                      blas::hbmv(triangle, n, k, factor, Matrix{a, lda}, X, scale, Y);
                    });
}

template <ComplexScalar T>
void hpmv(CBLAS_UPLO uplo, Int n, const T* alpha, const T* ap, const T* x, Int incx, const T* beta, T* y, Int incy) {
  hermitian_product(uplo, n, alpha, packed_rows(uplo, n, ap), x, incx, beta, y, incy,
                    [=](char triangle, T factor, Vector<const T> X, T scale, Vector<T> Y) {
                      blas::hpmv(triangle, n, factor, ap, X, scale, Y);
                    });
}

// --------------------------------------------------------------------------------------------------------------
// updates

/// A := A + alpha x y^H
template <ComplexScalar T>
void gerc(Int m, Int n, const T* alpha, const T* x, Int incx, const T* y, Int incy, T* a, Int lda) {
  if (m == 0 || n == 0 || *alpha == T(0)) return;
  const Workspace<T> copy(n);
  if (copy.data() != nullptr) {
    return blas::geru(n, m, *alpha, conjugated(n, y, incy, copy.data()), Vector{x, incx}, Matrix{a, lda});
  }
  const Elements X(x, m, incx), Y(y, n, incy);
  const auto row_of = general_rows(n, a, lda);
  for (Int i = 0; i < m; ++i) {
    const T factor = *alpha * X[i];
    const auto row = row_of(i);
    for (Int j = 0; j < n; ++j) row.elements[j] += factor * nuv::conjugate(Y[j]);
  }
}

/// A := A + alpha x x^H for a Hermitian A, whose diagonal counts as real and becomes so. update(uplo, x) makes
/// A + alpha x x^H of the conjugate of A.
template <ComplexScalar T, class RowOf, class Update>
void hermitian_update(CBLAS_UPLO uplo, Int n, Real<T> alpha, const T* x, Int incx, RowOf row_of, Update update) {
  if (n == 0 || alpha == 0) return;
  const Workspace<T> copy(n);
  if (copy.data() != nullptr) return update(*letter(other(uplo)), conjugated(n, x, incx, copy.data()));
  const Elements X(x, n, incx);
  for (Int i = 0; i < n; ++i) {
    const T factor = alpha * X[i];
    const auto row = row_of(i);
    *row.diagonal = std::real(*row.diagonal) + std::real(factor * nuv::conjugate(X[i]));
    for (Int j = 0; j < row.count; ++j) row.elements[j] += factor * nuv::conjugate(X[row.first + j]);
  }
}

template <ComplexScalar T>
void her(CBLAS_UPLO uplo, Int n, Real<T> alpha, const T* x, Int incx, T* a, Int lda) {
  hermitian_update(uplo, n, alpha, x, incx, triangle_rows(uplo, n, a, lda), [=](char triangle, Vector<const T> X) {
    blas::her(triangle, n, alpha, X, Matrix{a, lda});
  });
}

template <ComplexScalar T>
void hpr(CBLAS_UPLO uplo, Int n, Real<T> alpha, const T* x, Int incx, T* ap) {
  hermitian_update(uplo, n, alpha, x, incx, packed_rows(uplo, n, ap),
                   [=](char triangle, Vector<const T> X) { blas::hpr(triangle, n, alpha, X, ap); });
}

/// A := A + alpha x y^H + conj(alpha) y x^H for a Hermitian A. update(uplo, x, y) makes that of the conjugate of A;
/// there alpha goes with y x^H, so that x and y change places.
template <ComplexScalar T, class RowOf, class Update>
void hermitian_rank_two_update(CBLAS_UPLO uplo, Int n, T alpha, const T* x, Int incx, const T* y, Int incy,
                               RowOf row_of, Update update) {
  if (n == 0 || alpha == T(0)) return;
  const auto length = static_cast<std::size_t>(n);
  const Workspace<T> copies(2 * length);
  if (copies.data() != nullptr) {
    const Vector conj_x = conjugated(n, x, incx, copies.data());
    return update(*letter(other(uplo)), conjugated(n, y, incy, copies.data() + length), conj_x);
  }
  const Elements X(x, n, incx), Y(y, n, incy);
  for (Int i = 0; i < n; ++i) {
    const T with_y = alpha * X[i], with_x = nuv::conjugate(alpha) * Y[i];
    const auto row = row_of(i);
    *row.diagonal = std::real(*row.diagonal) + 2 * std::real(with_y * nuv::conjugate(Y[i]));
    for (Int j = 0; j < row.count; ++j) {
      row.elements[j] += with_y * nuv::conjugate(Y[row.first + j]) + with_x * nuv::conjugate(X[row.first + j]);
    }
  }
}

template <ComplexScalar T>
void her2(CBLAS_UPLO uplo, Int n, const T* alpha, const T* x, Int incx, const T* y, Int incy, T* a, Int lda) {
  hermitian_rank_two_update(uplo, n, *alpha, x, incx, y, incy, triangle_rows(uplo, n, a, lda),
                            [=](char triangle, Vector<const T> X, Vector<const T> Y) {
                              blas::her2(triangle, n, *alpha, X, Y, Matrix{a, lda});
                            });
}

template <ComplexScalar T>
void hpr2(CBLAS_UPLO uplo, Int n, const T* alpha, const T* x, Int incx, const T* y, Int incy, T* ap) {
  hermitian_rank_two_update(
      uplo, n, *alpha, x, incx, y, incy, packed_rows(uplo, n, ap),
      [=](char triangle, Vector<const T> X, Vector<const T> Y) { blas::hpr2(triangle, n, *alpha, X, Y, ap); });
}

}  // namespace nuv::cblas::row_major
