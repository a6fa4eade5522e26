#pragma once

// Inverses and solves of triangular matrices in packed storage.
//
// uplo    'U' or 'L': the triangle that is stored
// diag    'N', or 'U' for a diagonal of ones, which is not touched
// ap      order n, n (n + 1) / 2 elements
// info    0; -k: argument k was bad (reported); k: A(k, k) is exactly zero, and nothing was changed

#include "base/types.hpp"

namespace nuv {

/// Inverts a triangular matrix in place.
template <Scalar T>
void tptri(char uplo, char diag, Int n, T* ap, Int& info);

/// Solves op(A) X = B; the serial body behind the layer stub `tptrs`.
///
/// trans   'N': A, 'T': A^T, 'C': A^H
/// b       n by nrhs, ldb >= max(1, n); right-hand sides in, solutions out
template <Scalar T>
void xtptrs(char uplo, char trans, char diag, Int n, Int nrhs, const T* ap, T* b, Int ldb, Int& info);

}  // namespace nuv
