#pragma once

// Symmetric (Hermitian) positive definite systems in packed storage by Cholesky factorisation: A = U^H U or A = L L^H.
//
// uplo    'U' or 'L': the triangle that holds the matrix and then its factor
// ap      order n, n (n + 1) / 2 elements; imaginary parts on the diagonal of a matrix count as zero
// info    0; -k: argument k was bad (reported); where a routine factors, k: the leading minor of order k is not
//         positive definite, and what ap holds then is neither the matrix nor a factor and not to be used

#include "base/types.hpp"

namespace nuv {

/// Factors a matrix; the serial body behind the layer stub `pptrf`.
template <Scalar T>
void xpptrf(char uplo, Int n, T* ap, Int& info);

/// Solves A X = B from the factor of A, which has to be one: its diagonal is not looked at. The serial body behind the
/// layer stub `pptrs`.
///
/// b       n by nrhs, ldb >= max(1, n); right-hand sides in, solutions out
template <Scalar T>
void xpptrs(char uplo, Int n, Int nrhs, const T* ap, T* b, Int ldb, Int& info);

/// Solves A X = B for a positive definite A.
///
/// ap      the matrix in, its factor out
/// b       n by nrhs, ldb >= max(1, n); right-hand sides in, solutions out; untouched if info is not zero
template <Scalar T>
void ppsv(char uplo, Int n, Int nrhs, T* ap, T* b, Int ldb, Int& info);

/// Inverts A from its factor, in place: one triangle of the inverse.
///
/// info    k: element (k, k) of the factor is exactly zero, ap is untouched and no inverse
template <Scalar T>
void pptri(char uplo, Int n, T* ap, Int& info);

}  // namespace nuv
