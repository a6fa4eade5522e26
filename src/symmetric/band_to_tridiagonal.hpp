#pragma once

// Reduction of a symmetric (Hermitian) band matrix to tridiagonal form by reflectors as long as the band is wide, each
// of which makes a bulge that the next one of its chase takes up (B. Lang, "A parallel algorithm for reducing symmetric
// banded matrices to tridiagonal form", SIAM J. Sci. Comput. 14, 1993).
//
// The complex members are exported as ?hbrdb.

#include "base/types.hpp"

namespace nuv {

/// Reduces A to a tridiagonal T = Q^H A Q.
///
/// vect    'N': T alone, 'V': Q is returned in q, 'U': q is multiplied by Q from the right
/// uplo    'L': there is lower storage alone
/// kd      diagonals below the main one, >= 0
/// ab      element (i, j) of A, i >= j, in ab(1 + i - j, j); ldab >= 2 kd, the rows behind kd + 1 are room for bulges;
///         nothing of use out
/// d, e    n and n - 1 elements: the diagonal of T and what stands beside it; e is left alone where kd = 0
/// q       vect 'V', 'U': n by n, ldq >= max(1, n); else not used
/// work    lwork elements; work(1) returns the best lwork, (kd + 2) n where Q is wanted and kd else
/// lwork   at least max(1, n) where Q is wanted, max(1, kd) else; below the best one each reflector updates Q by
///         itself; -1 asks for the best and does nothing else
/// info    0, or -k: argument k was bad (reported)
template <Scalar T>
void sbrdb(char vect, char uplo, Int n, Int kd, T* ab, Int ldab, Real<T>* d, Real<T>* e, T* q, Int ldq, T* work,
           Int lwork, Int& info);

}  // namespace nuv
