#pragma once

// Reduction of a symmetric (Hermitian) band matrix to real tridiagonal form by plane rotations, A = Q T Q^H (H. R.
// Schwarz, "Tridiagonalization of a symmetric band matrix", Numer. Math. 12, 1968), several of them at once (L.
// Kaufman, "Banded eigenvalue solvers on vector machines", ACM Trans. Math. Softw. 10, 1984).

#include "svd/vector_rotations.hpp"

namespace nuv {

/// vect    'N': T alone; 'V': Q too; 'U': a product with Q
/// uplo    'U' or 'L': the triangle that is stored
/// kd      diagonals beside the main one, kd >= 0; there may be more of them than the matrix has
/// ab      kd + 1 by n, ldab >= kd + 1, the main diagonal in row kd + 1 (upper) or 1 (lower): A in; out T, and what
///         was in the way; imaginary parts on the diagonal of A are not read
/// d       n elements, the diagonal of T;  e  n - 1 elements, what is beside it
/// q       'V': Q out, n by n; 'U': an n by n matrix X in, X Q out; 'N': not touched; ldq >= max(1, n) unless 'N'
/// work    n elements
/// info    0, or -k: argument k was bad (reported)
template <Scalar T>
void sbtrd(char vect, char uplo, Int n, Int kd, T* ab, Int ldab, Real<T>* d, Real<T>* e, T* q, Int ldq, T* work,
           Int& info);

}  // namespace nuv
