#pragma once

// Singular value decomposition of a general m by n matrix, A = U S V^H (G. H. Golub and C. Reinsch, "Singular value
// decomposition and least squares solutions", Numer. Math. 14, 1970), where one side is much longer than the other by
// the QR or LQ factorisation first (T. F. Chan, "An improved algorithm for computing the singular value decomposition",
// ACM TOMS 8, 1982).

#include "base/types.hpp"

namespace nuv {

/// Singular values and, if wanted, vectors, by QR iteration (svd/bidiagonal_qr.hpp). A matrix whose largest element is
/// so large or so small that squares of its elements would leave the exponent range is scaled, and its values are
/// scaled back.
///
/// jobu    left vectors: 'A': all m of them in u, 'S': the first min(m, n) in u, 'O': these in the place of A,
///         'N': none
/// jobvt   right vectors: 'A': all n of them, as the rows of V^H, in vt, 'S': the first min(m, n) in vt, 'O': these in
///         the place of A, 'N': none; not 'O' for both
/// a       m by n, lda >= max(1, m); destroyed
/// s       min(m, n) singular values in decreasing order
/// u       m by m ('A') or m by min(m, n) ('S'), ldu >= 1, and >= m for these; else not used
/// vt      n by n ('A') or min(m, n) by n ('S'), ldvt >= 1, and >= n or min(m, n) for these; else not used
/// work    lwork elements; work(1) returns the best lwork. With info > 0, work(2) ... work(min(m, n)) are what is left
///         beside the diagonal of an upper bidiagonal matrix with s on it and the same singular values; where vectors
///         were wanted, they are those of the product of the two with it
/// lwork   at least 1 for an empty matrix, else max(3 min(m, n) + max(m, n), 5 min(m, n)), or 5 min(m, n) for a matrix
///         with one side 1.6 times as long as the other or more, if no vectors on that side are wanted. With less than
///         the best, blocks are narrower, and vectors may be found in another way, up to rounding the same. -1 asks for
///         the best and does nothing else
/// info    0, or -k: argument k was bad (reported); k > 0: k elements beside the diagonal did not converge to zero
template <RealScalar T>
void gesvd(char jobu, char jobvt, Int m, Int n, T* a, Int lda, T* s, T* u, Int ldu, T* vt, Int ldvt, T* work, Int lwork,
           Int& info);

/// lwork   at least 1 for an empty matrix, else 2 min(m, n) + max(m, n), or 3 min(m, n) where the above has 5
/// rwork   5 min(m, n) elements; with info > 0 the first min(m, n) - 1 hold what work returns above
template <ComplexScalar T>
void gesvd(char jobu, char jobvt, Int m, Int n, T* a, Int lda, Real<T>* s, T* u, Int ldu, T* vt, Int ldvt, T* work,
           Int lwork, Real<T>* rwork, Int& info);

}  // namespace nuv
