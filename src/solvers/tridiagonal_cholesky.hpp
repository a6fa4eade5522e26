#pragma once

// Symmetric (Hermitian) positive definite tridiagonal systems by the factorisation A = L D L^H = U^H D U, with U the
// conjugate transpose of L.
//
// d       n elements of the diagonal; as factor, D
// e       n - 1 elements below the diagonal, or above it for the U of complex matrices; as factor, those of L or of U
// b       n by nrhs, ldb >= max(1, n); right-hand sides in, solutions out

#include "base/types.hpp"

namespace nuv {

/// Factors a matrix of order n.
///
/// info    0; -1: n was bad (reported); k: the leading minor of order k is not positive definite, and the factorisation
///         stops there (for k = n it is complete, but d(n) is not positive)
template <Scalar T>
void pttrf(Int n, Real<T>* d, T* e, Int& info);

/// Solves A X = B from the factors of A; the serial body behind the layer stub `pttrs`.
///
/// info    0, or -k: argument k was bad (reported)
template <RealScalar T>
void xpttrs(Int n, Int nrhs, const T* d, const T* e, T* b, Int ldb, Int& info);

/// The same for Hermitian matrices. uplo 'U': e holds elements above the diagonal, of U; 'L': below, of L.
template <ComplexScalar T>
void xpttrs(char uplo, Int n, Int nrhs, const Real<T>* d, const T* e, T* b, Int ldb, Int& info);

/// Solves A X = B for a positive definite tridiagonal matrix of order n, e below the diagonal.
///
/// d, e    the matrix in, its factors out
/// info    0; -k: argument k was bad (reported); k: as for pttrf, b is untouched and no solution
template <Scalar T>
void ptsv(Int n, Int nrhs, Real<T>* d, T* e, T* b, Int ldb, Int& info);

}  // namespace nuv
