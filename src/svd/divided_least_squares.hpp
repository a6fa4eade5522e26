#pragma once

// Least squares with a bidiagonal matrix of any rank, by divide and conquer.

#include "base/types.hpp"

namespace nuv {

/// Finds the X of least norm that minimises ||B_k X - B||, where B_k is a real bidiagonal matrix of order n without
/// those of its singular values that are rcond times the largest or less. The matrix is cut where an element beside its
/// diagonal is negligible. A part of at most smlsiz rows goes to lasdq; the vectors of a larger one are kept as factors
/// (svd/compact_tree.hpp, M. Gu, S. C. Eisenstat, SIAM J. Matrix Anal. Appl. 16, 1995), and multiply the right-hand
/// sides as such (svd/compact_vectors.hpp).
///
/// uplo    'L': the matrix is lower bidiagonal; any other letter: it is upper bidiagonal
/// smlsiz  order of the largest leaves of the tree, at least 3
/// n       order of the matrix;  nrhs  right-hand sides, at least 1
/// d       n elements, the diagonal in, the singular values in decreasing order out
/// e       n - 1 elements beside it; destroyed
/// b       n by nrhs, ldb >= max(1, n); right-hand sides in, solutions out
/// rcond   what is zero or less, or one or more, stands for the unit of rounding
/// rank    number of singular values that count
/// work    with l = int(log2(n / (smlsiz + 1))) + 1, or zero for n <= smlsiz:
///         n (9 + 2 smlsiz + 8 l + nrhs) + (smlsiz + 1)^2 elements
/// iwork   n (3 l + 11) places
/// info    0, or -k: argument k was bad (reported); above 0: the singular values of a part were not found: its number
///         there, as lasdq or lasda tells it. d, e and b hold nothing of use then, and rank is zero
template <RealScalar T>
void lalsd(char uplo, Int smlsiz, Int n, Int nrhs, T* d, T* e, T* b, Int ldb, T rcond, Int& rank, T* work, Int* iwork,
           Int& info);

/// The same for complex right-hand sides.
///
/// work    n nrhs elements
/// rwork   n (9 + 2 smlsiz + 8 l) + 3 smlsiz nrhs + (smlsiz + 1)^2 elements
template <ComplexScalar T>
void lalsd(char uplo, Int smlsiz, Int n, Int nrhs, Real<T>* d, Real<T>* e, T* b, Int ldb, Real<T> rcond, Int& rank,
           T* work, Real<T>* rwork, Int* iwork, Int& info);

}  // namespace nuv
