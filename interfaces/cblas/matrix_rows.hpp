#pragma once

// Row-major matrices in their storages, a row at a time, and vectors by their elements; all counted from zero.

#include <nuv/cblas.h>

#include <algorithm>

#include "base/types.hpp"

namespace nuv::cblas::row_major {

/// A vector by its elements, the far end first where the increment is negative.
template <class T>
class Elements {
 public:
  Elements(T* x, Int n, Int incx) : first_(incx > 0 || n == 0 ? x : x - (std::ptrdiff_t{n} - 1) * incx), inc_(incx) {}
  T& operator[](Int i) const { return first_[i * inc_]; }

 private:
  T* first_;
  std::ptrdiff_t inc_;
};

/// What is stored of a row: `count` elements from column `first` on. Below a band that ends before the last row there
/// are none, and the count may be negative.
template <class T>
struct Row {
  T* elements;
  Int first, count;
};

/// Rows of n columns.
template <class T>
auto general_rows(Int n, T* a, Int lda) {
  return [=](std::ptrdiff_t i) { return Row<T>{a + i * lda, 0, n}; };
}

/// Rows of a band in n columns: kl elements, that of the diagonal, and ku.
template <class T>
auto band_rows(std::int64_t n, std::int64_t kl, std::int64_t ku, T* a, Int lda) {
  return [=](std::int64_t i) {
    const auto first = std::max(std::int64_t{0}, i - kl), end = std::min(n, i + ku + 1);
    return Row<T>{a + i * lda + kl + first - i, static_cast<Int>(first), static_cast<Int>(end - first)};
  };
}

/// What is stored of a row of a triangle. The diagonal stands apart from the `count` others.
template <class T>
struct TriangleRow {
  T* diagonal;
  T* elements;
  Int first, count;
};
template <class T>
TriangleRow(T*, T*, Int, Int) -> TriangleRow<T>;

/// Rows of a triangle of order n with no more than k elements beside the diagonal, which diagonal_of(i) finds.
template <class T, class DiagonalOf>
auto rows_by_diagonal(CBLAS_UPLO uplo, Int n, Int k, DiagonalOf diagonal_of) {
  return [=](Int i) {
    T* const diagonal = diagonal_of(i);
    const Int count = std::min(uplo == CblasUpper ? n - 1 - i : i, k);
    const Int first = uplo == CblasUpper ? i + 1 : i - count;
    return TriangleRow<T>{diagonal, diagonal + (first - i), first, count};
  };
}

template <class T>
auto triangle_rows(CBLAS_UPLO uplo, Int n, T* a, Int lda) {
  return rows_by_diagonal<T>(uplo, n, n, [=](std::ptrdiff_t i) { return a + i * lda + i; });
}

template <class T>
auto band_triangle_rows(CBLAS_UPLO uplo, Int n, Int k, T* a, Int lda) {
  T* const first = uplo == CblasUpper ? a : a + k;
  return rows_by_diagonal<T>(uplo, n, k, [=](std::ptrdiff_t i) { return first + i * lda; });
}

template <class T>
auto packed_rows(CBLAS_UPLO uplo, Int n, T* ap) {
  const bool upper = uplo == CblasUpper;
  return rows_by_diagonal<T>(uplo, n, n, [=](std::ptrdiff_t i) {
    return ap + (upper ? i * (2 * std::ptrdiff_t{n} - i + 1) : i * (i + 3)) / 2;
  });
}

}  // namespace nuv::cblas::row_major
