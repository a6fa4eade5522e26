#pragma once

// Dense and banded random matrices with a given spectrum: a diagonal, multiplied from both sides by random orthogonal
// matrices, unitary for complex scalars, and brought to its band by reflections (J. Demmel, A. McKenney, A test matrix
// generation suite, Argonne National Laboratory, MCS-P69-0389, 1989). Without any diagonal beside the main one the
// matrix is the diagonal itself, and no number is drawn.
//
// iseed    state of the random numbers, see generators/random_numbers.hpp
// info     0, or -k: argument k was bad (reported)

#include "base/types.hpp"

namespace nuv {

/// A general matrix with the singular values |d|.
///
/// kl, ku   diagonals below and above the main one, in 0 ... m - 1 and 0 ... n - 1; beyond them A is zero
/// d        min(m, n) numbers
/// a        m by n out, lda >= max(1, m)
/// work     m + n numbers
template <Scalar T>
void lagge(Int m, Int n, Int kl, Int ku, const Real<T>* d, T* a, Int lda, Int* iseed, T* work, Int& info);

/// A symmetric matrix, complex ones too: a real one with the eigenvalues d, a complex one with the singular values |d|.
///
/// k        diagonals below the main one, and above it, in 0 ... n - 1
/// d        n numbers
/// a        n by n out, both triangles, lda >= max(1, n)
/// work     2n numbers
template <Scalar T>
void lagsy(Int n, Int k, const Real<T>* d, T* a, Int lda, Int* iseed, T* work, Int& info);

/// A Hermitian matrix with the eigenvalues d; else as lagsy.
template <ComplexScalar T>
void laghe(Int n, Int k, const Real<T>* d, T* a, Int lda, Int* iseed, T* work, Int& info);

}  // namespace nuv
