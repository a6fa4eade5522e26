#pragma once

// The singular value decomposition A = U S V^H of a general m by n matrix by divide and conquer (svd/
// bidiagonal_division.hpp): the matrix is reduced to bidiagonal form, after a QR or LQ factorisation if it is much
// taller or wider than square.

#include "base/types.hpp"

namespace nuv {

/// With k = min(m, n) and l = max(m, n):
///
/// jobz    'A': all vectors; 'S': the first k left and right ones; 'O': the same, the long ones, which are the left
///         ones if m >= n, in the place of A; 'N': values alone
/// a       m by n, lda >= max(1, m); destroyed, or the long vectors out
/// s       k values in decreasing order
/// u       'A': m by m, 'S': m by k, 'O' and m < n: m by m; otherwise not used; ldu >= 1, and >= m where used
/// vt      'A': n by n, 'S': k by n, 'O' and m >= n: n by n; otherwise not used; ldvt >= 1, and at least these rows
///         where used
/// work    lwork elements; work(1): the best lwork
/// lwork   -1 asks for the best and does nothing else; else at least, where A is factored first (l >= int(11 k / 6)),
///         'N' 8 k, 'O' 5 k^2 + 7 k, 'S' 4 k^2 + 7 k, 'A' 4 k^2 + 7 k and k^2 + k + l; otherwise
///         'N' 3 k + max(l, 7 k), 'O' 3 k + max(l, 4 k^2 + 4 k), 'S', 'A' 3 k + max(l, 3 k^2 + 4 k)
/// iwork   8 k places
/// info    0; -i: argument i was bad (reported); above 0: as bdsdc says
template <RealScalar T>
void gesdd(char jobz, Int m, Int n, T* a, Int lda, T* s, T* u, Int ldu, T* vt, Int ldvt, T* work, Int lwork, Int* iwork,
           Int& info);

/// The same for complex matrices.
///
/// lwork   where A is factored first, 'N' 3 k, 'O' 2 k^2 + 3 k, 'S' k^2 + 3 k, 'A' k^2 + 3 k and k^2 + k + l; otherwise
///         'N', 'S', 'A' 2 k + l, 'O' 2 k + max(l, k^2 + k)
/// rwork   'N' 5 k elements, otherwise 5 k^2 + 5 k
template <ComplexScalar T>
void gesdd(char jobz, Int m, Int n, T* a, Int lda, Real<T>* s, T* u, Int ldu, T* vt, Int ldvt, T* work, Int lwork,
           Real<T>* rwork, Int* iwork, Int& info);

}  // namespace nuv
