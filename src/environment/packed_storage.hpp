#pragma once

// Triangles in packed storage, column by column, and the bridge between them and full storage, on which products of
// matrices work.

#include "base/types.hpp"

namespace nuv {

/// View of a packed triangle of order n, counted from one: the entries on and above the diagonal, or on and below it.
template <class T>
struct PackedTriangle {
  bool upper;
  Int n;
  T* ap;

  /// Address of an element of the triangle.
  T* at(Int i, Int j) const {
    const std::ptrdiff_t before = j - 1;
    return ap + (i - 1) + before * (upper ? before + 1 : 2 * std::ptrdiff_t{n} - j) / 2;
  }

  T& operator()(Int i, Int j) const { return *at(i, j); }
};

/// Copies what a block of a full matrix has in a triangle to its place there. The elements of the block that lie
/// outside the triangle are not looked at, and a block wholly outside moves nothing.
///
/// uplo        'U': the upper triangle, any other letter: the lower one
/// ap, n       the packed triangle and its order
/// i, j        place of the first row and column of the block in the triangle's matrix
/// rows, cols  of the block, which may not reach beyond row and column n
/// a           rows by cols, lda >= max(1, rows)
template <Scalar T>
void pppack(char uplo, T* ap, Int n, Int i, Int j, Int rows, Int cols, const T* a, Int lda);

/// The same in the other direction: copies from the triangle into the block, the rest of which is not written.
template <Scalar T>
void ppunpack(char uplo, const T* ap, Int n, Int i, Int j, Int rows, Int cols, T* a, Int lda);

/// Copies a triangle of a full matrix into packed storage.
///
/// uplo    'U': the upper triangle, 'L': the lower one
/// n       order, >= 0
/// a       n by n, lda >= max(1, n); the other triangle is not looked at
/// ap      n (n + 1) / 2 elements out
/// info    0, or -k: argument k was bad (reported)
template <Scalar T>
void trttp(char uplo, Int n, const T* a, Int lda, T* ap, Int& info);

/// Copies a packed triangle into a full matrix.
///
/// uplo    'U': the upper triangle, 'L': the lower one
/// n       order, >= 0
/// ap      n (n + 1) / 2 elements
/// a       n by n, lda >= max(1, n); the triangle out, the other one is not touched
/// info    0, or -k: argument k was bad (reported)
template <Scalar T>
void tpttr(char uplo, Int n, const T* ap, T* a, Int lda, Int& info);

}  // namespace nuv
