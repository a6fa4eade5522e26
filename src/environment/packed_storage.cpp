#include "environment/packed_storage.hpp"

#include <algorithm>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"

namespace nuv {
namespace {

/// Runs copy(count, address in the triangle, row and column in the block) for each column that has a part in both.
template <class T, class Copy>
void for_each_run(const PackedTriangle<T>& A, Int i, Int j, Int rows, Int cols, Copy copy) {
  for (Int column = 1; column <= cols; ++column) {
    const Int k = j + column - 1;
    const Int first = A.upper ? i : std::max(i, k);
    const Int count = A.upper ? std::min(rows, k - i + 1) : std::min(rows, rows + i - k);
    if (count > 0) copy(count, A.at(first, k), first - i + 1, column);
  }
}

}  // namespace

template <Scalar T>
void pppack(char uplo, T* ap, Int n, Int i, Int j, Int rows, Int cols, const T* a, Int lda) {
  const Matrix block{a, lda};
  for_each_run(PackedTriangle<T>{same_letter(uplo, 'U'), n, ap}, i, j, rows, cols,
               [&](Int count, T* packed, Int row, Int column) {
                 blas::copy(count, {block.at(row, column), 1}, Vector{packed, 1});
               });
}

template <Scalar T>
void ppunpack(char uplo, const T* ap, Int n, Int i, Int j, Int rows, Int cols, T* a, Int lda) {
  const Matrix block{a, lda};
  for_each_run(PackedTriangle<const T>{same_letter(uplo, 'U'), n, ap}, i, j, rows, cols,
               [&](Int count, const T* packed, Int row, Int column) {
                 blas::copy(count, {packed, 1}, Vector{block.at(row, column), 1});
               });
}

namespace {

/// 0, or minus the position of the first bad argument of a copy between packed and full storage.
Int check_triangle(char uplo, Int n, Int lda, Int position_of_lda) {
  if (!is_one_of(uplo, 'U', 'L')) return -1;
  if (n < 0) return -2;
  return lda < std::max(1, n) ? -position_of_lda : 0;
}

}  // namespace

template <Scalar T>
void trttp(char uplo, Int n, const T* a, Int lda, T* ap, Int& info) {
  info = check_triangle(uplo, n, lda, 4);
  if (info != 0) return report_bad_argument<T>("TRTTP", info);
  pppack(uplo, ap, n, 1, 1, n, n, a, lda);
}

template <Scalar T>
void tpttr(char uplo, Int n, const T* ap, T* a, Int lda, Int& info) {
  info = check_triangle(uplo, n, lda, 5);
  if (info != 0) return report_bad_argument<T>("TPTTR", info);
  ppunpack(uplo, ap, n, 1, 1, n, n, a, lda);
}

}  // namespace nuv

#include "environment/packed_storage.entries.inc"
