#pragma once

// The generalised singular value decomposition of an m by n matrix A and a p by n matrix B (C. F. Van Loan,
// "Generalizing the singular value decomposition", SIAM J. Numer. Anal. 13, 1976; C. C. Paige and M. A. Saunders,
// "Towards a generalized singular value decomposition", SIAM J. Numer. Anal. 18, 1981): a reduction to a pair of
// triangles (pair_triangular_form.hpp), and Kogbetliantz's method on these (kogbetliantz.hpp).

#include "base/types.hpp"

namespace nuv {

/// The generalised singular value decomposition of A and B:
///
///     U^H A Q = D1 (0 R),  V^H B Q = D2 (0 R),
///
/// U, V and Q unitary, R upper triangular and regular of order k + l, the rank of both below each other, and l that of
/// B. With C and S diagonal, of alpha and beta k + 1 ... min(k + l, m), C^2 + S^2 = I, for m >= k + l and for m < k + l
///
///                 k  l                 k  l                  k m-k k+l-m                k m-k k+l-m
///     D1 =     k [ I  0 ]   D2 =   l [ 0  S ]     D1 =   k [ I  0    0  ]   D2 =  m-k [ 0  S    0  ]
///              l [ 0  C ]        p-l [ 0  0 ]          m-k [ 0  C    0  ]       k+l-m [ 0  0    I  ]
///          m-k-l [ 0  0 ]                                                         p-l [ 0  0    0  ].
///
/// The generalised singular values are alpha(i) / beta(i), i = 1 ... k + l, of which the first k are infinite: roots of
/// the eigenvalues of the pair A^H A, B^H B. A pair of zeros belongs to a direction that both take to zero.
///
/// jobu, jobv, jobq  'U', 'V' and 'Q': that matrix is wanted, 'N': it is not
/// m       rows of A;  n  columns of both;  p  rows of B; each >= 0
/// k, l    ranks as above, by the tolerances max(m, n) ||A|| eps and max(p, n) ||B|| eps in the one-norm, eps the
///         distance from 1 to the next number, out
/// a       m by n, lda >= max(1, m); out R in columns n - k - l + 1 ... n of its first min(k + l, m) rows
/// b       p by n, ldb >= max(1, p); out, for m < k + l, the last k + l - m rows of R in rows m - k + 1 ... l and
///         columns n + m - k - l + 1 ... n
/// alpha, beta  n elements each, the diagonals of D1 and D2: the first k are 1 and 0, the next l are pairs as above,
///         with alpha = 0 and beta = 1 for those behind row m, and the rest is 0 and 0; not set for info = 1
/// u       'U': m by m, out, ldu >= 1, and >= m for 'U'; 'N': not touched
/// v       'V': p by p, out, ldv >= 1, and >= p for 'V'; 'N': not touched
/// q       'Q': n by n, out, ldq >= 1, and >= n for 'Q'; 'N': not touched
/// work    max(3 n, m, p) + n elements; the first n return alpha, sorted, for info = 0
/// iwork   n elements: how alpha is sorted. To exchange alpha(i) for alpha(iwork(i)), for i from k + 1 to min(k + l, m)
///         one after the other, brings these into decreasing order; alpha itself is in the order of U, V and R
/// info    0; -i: argument i was bad (reported); 1: forty cycles of tgsja were not enough
template <RealScalar T>
void ggsvd(char jobu, char jobv, char jobq, Int m, Int n, Int p, Int& k, Int& l, T* a, Int lda, T* b, Int ldb, T* alpha,
           T* beta, T* u, Int ldu, T* v, Int ldv, T* q, Int ldq, T* work, Int* iwork, Int& info);

/// rwork   2 n elements; the first n return alpha, sorted, for info = 0, instead of work
template <ComplexScalar T>
void ggsvd(char jobu, char jobv, char jobq, Int m, Int n, Int p, Int& k, Int& l, T* a, Int lda, T* b, Int ldb,
           Real<T>* alpha, Real<T>* beta, T* u, Int ldu, T* v, Int ldv, T* q, Int ldq, T* work, Real<T>* rwork,
           Int* iwork, Int& info);

/// The same with workspace whose length is told.
///
/// work    lwork elements; work(1) returns the best lwork, which is the least
/// lwork   at least max(1, 3 n, m, p) + n; -1 asks for the best and does nothing else
template <RealScalar T>
void ggsvd3(char jobu, char jobv, char jobq, Int m, Int n, Int p, Int& k, Int& l, T* a, Int lda, T* b, Int ldb,
            T* alpha, T* beta, T* u, Int ldu, T* v, Int ldv, T* q, Int ldq, T* work, Int lwork, Int* iwork, Int& info);

/// rwork   2 n elements
template <ComplexScalar T>
void ggsvd3(char jobu, char jobv, char jobq, Int m, Int n, Int p, Int& k, Int& l, T* a, Int lda, T* b, Int ldb,
            Real<T>* alpha, Real<T>* beta, T* u, Int ldu, T* v, Int ldv, T* q, Int ldq, T* work, Int lwork,
            Real<T>* rwork, Int* iwork, Int& info);

}  // namespace nuv
