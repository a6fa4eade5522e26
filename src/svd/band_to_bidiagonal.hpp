#pragma once

// Reduction of a general band matrix to real upper bidiagonal form by plane rotations, A = Q B P^H: the elements of a
// column below the diagonal and of a row beyond its neighbour go one by one, and what each rotation brings into being
// outside of the band is chased off its end (H. R. Schwarz, "Tridiagonalization of a symmetric band matrix", Numer.
// Math. 12, 1968, from both sides), many of them at once (L. Kaufman, "Banded eigenvalue solvers on vector machines",
// ACM Trans. Math. Softw. 10, 1984).
//
// vect    'N': neither Q nor P^H is wanted; 'Q': Q; 'P': P^H; 'B': both
// ncc     columns of C, ncc >= 0
// kl, ku  diagonals below and above the main one, none negative; there may be more of them than the matrix has
// ab      kl + ku + 1 by n, ldab >= kl + ku + 1: the m by n matrix in, element (i, j) in row ku + 1 + i - j; lost on
//         the way
// d, e    min(m, n) elements, the diagonal of B, and min(m, n) - 1, what is right of it; in c and z none is negative
// q       m by m out, if wanted; ldq >= max(1, m) then, else ldq >= 1
// pt      P^H, n by n out, if wanted; ldpt >= max(1, n) then, else ldpt >= 1
// c       m by ncc, replaced by Q^H C; ldc >= max(1, m) if ncc > 0, else ldc >= 1
// info    0, or -k: argument k was bad (reported)

#include "base/types.hpp"

namespace nuv {

/// work    2 max(m, n) elements
template <RealScalar T>
void gbbrd(char vect, Int m, Int n, Int ncc, Int kl, Int ku, T* ab, Int ldab, T* d, T* e, T* q, Int ldq, T* pt,
           Int ldpt, T* c, Int ldc, T* work, Int& info);

/// work, rwork  max(m, n) elements each
template <ComplexScalar T>
void gbbrd(char vect, Int m, Int n, Int ncc, Int kl, Int ku, T* ab, Int ldab, Real<T>* d, Real<T>* e, T* q, Int ldq,
           T* pt, Int ldpt, T* c, Int ldc, T* work, Real<T>* rwork, Int& info);

}  // namespace nuv
