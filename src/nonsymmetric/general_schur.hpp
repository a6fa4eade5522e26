#pragma once

// The Schur form of a general matrix, A = Z S Z^H, with the eigenvalues that a function of the caller selects first on
// the diagonal of S if that is wanted: the first columns of Z span their invariant subspace then (J. G. F. Francis,
// "The QR transformation", Computer J. 4, 1961; Z. Bai and J. W. Demmel, "On swapping diagonal blocks in real Schur
// form", Linear Algebra Appl. 186, 1993).
//
// jobvs   'V': Z, the Schur vectors, is wanted; 'N': it is not
// sort    'S': the eigenvalues that are selected come first; 'N': they come as they come, and select is not called
// select  the function, which returns 1 for an eigenvalue that is wanted in front and 0 for another; of other numbers
//         the lowest bit counts. It is given the real and the imaginary part or, by complex members, the complex
//         number. Of a pair of conjugates both come in front if either is selected
// a       order n, lda >= max(1, n); out S, upper triangular, in real members with blocks of order two for pairs of
//         conjugates, whose diagonal elements are equal and whose others have opposite signs
// sdim    number of the eigenvalues in front that select takes when it is asked again at the end; zero without sort
// wr, wi  real members: n real and imaginary parts of the eigenvalues in the order of S; of a pair, that with positive
//         imaginary part comes first
// w       complex members: n eigenvalues, the diagonal of S
// vs      Z, n by n, ldvs >= 1 and, where it is wanted, n
// bwork   n words, for sort 'S' alone: what select said before eigenvalues were moved
// info    0; -k: argument k was bad (reported); 1 to n: QR iteration failed: eigenvalues info + 1 to n, and those that
//         balancing had isolated in front, are there; n + 1: some eigenvalues are too close to one another to be
//         moved, S is a Schur form with others moved; n + 2: rounding has changed what select says of an eigenvalue
//         while it was moved
//
// Matrices whose elements are so large or so small that their squares leave the exponent range are scaled, and S and
// its eigenvalues scaled back: select sees eigenvalues of A.

#include <type_traits>

#include "base/types.hpp"

namespace nuv {

/// The type of select: a function of the two parts of an eigenvalue, in complex precisions of an eigenvalue.
template <Scalar T>
using Select = std::conditional_t<ComplexScalar<T>, Logical (*)(const T* w), Logical (*)(const T* wr, const T* wi)>;

/// The Schur form and, if wanted, Schur vectors.
///
/// work    lwork elements; work(1) returns the best lwork, also when it is asked for with an lwork of -1, which does
///         nothing else, or when lwork is too small
/// lwork   at least max(1, 3 n)
template <RealScalar T>
void gees(char jobvs, char sort, Select<T> select, Int n, T* a, Int lda, Int& sdim, T* wr, T* wi, T* vs, Int ldvs,
          T* work, Int lwork, Logical* bwork, Int& info);

/// work    as above
/// lwork   at least max(1, 2 n)
/// rwork   n elements
template <ComplexScalar T>
void gees(char jobvs, char sort, Select<T> select, Int n, T* a, Int lda, Int& sdim, T* w, T* vs, Int ldvs, T* work,
          Int lwork, Real<T>* rwork, Logical* bwork, Int& info);

/// The same with condition numbers of what is selected.
///
/// sense   'N': none, 'E': of the mean of the selected eigenvalues, 'V': of their invariant subspace, 'B': both; for
///         all but 'N' sort must be 'S'
/// rconde  reciprocal condition number of the mean, at most 1
/// rcondv  reciprocal condition number of the subspace, an estimate of the distance to the other eigenvalues (sep)
/// work    lwork elements; work(1) and iwork(1) return enough for any number of selected eigenvalues, also when they
///         are asked for with an lwork or a liwork of -1, which does nothing else, or when one of them is too small
/// lwork   at least max(1, 3 n), and n + 2 sdim (n - sdim) with a sense: if it is less, S is left in its first order
/// iwork   liwork integers, at least 1, and sdim (n - sdim) for sense 'V' or 'B'
template <RealScalar T>
void geesx(char jobvs, char sort, Select<T> select, char sense, Int n, T* a, Int lda, Int& sdim, T* wr, T* wi, T* vs,
           Int ldvs, T& rconde, T& rcondv, T* work, Int lwork, Int* iwork, Int liwork, Logical* bwork, Int& info);

/// work    lwork elements; work(1) returns enough, as above
/// lwork   at least max(1, 2 n), and 2 sdim (n - sdim) with a sense
/// rwork   n elements
template <ComplexScalar T>
void geesx(char jobvs, char sort, Select<T> select, char sense, Int n, T* a, Int lda, Int& sdim, T* w, T* vs, Int ldvs,
           Real<T>& rconde, Real<T>& rcondv, T* work, Int lwork, Real<T>* rwork, Logical* bwork, Int& info);

}  // namespace nuv
