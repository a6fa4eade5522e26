#pragma once

// The generalised Schur form of a pencil A - lambda B of general matrices, A = VSL S VSR^H and B = VSL T VSR^H, with
// the eigenvalues that a function of the caller selects first on the diagonals if that is wanted: the first columns of
// VSL and VSR span their pair of deflating subspaces then (C. B. Moler and G. W. Stewart, "An algorithm for generalized
// matrix eigenvalue problems", SIAM J. Numer. Anal. 10, 1973; B. Kagstrom, "A direct method for reordering eigenvalues
// in the generalized real Schur form of a regular matrix pair (A, B)", in "Linear Algebra for Large Scale and Real-Time
// Applications", Kluwer, 1993).
//
// An eigenvalue is a pair of numbers (alpha, beta) that stands for alpha / beta. The quotient may overflow where
// neither part does; it is infinite where beta alone is zero, and where both are zero the pencil is singular, det(A -
// lambda B) = 0 for every lambda, and other eigenvalues mean nothing either.
//
// jobvsl  'V': VSL, the left Schur vectors, is wanted; 'N': it is not
// jobvsr  'V': VSR, the right Schur vectors, is wanted; 'N': it is not
// sort    'S': the eigenvalues that are selected come first; 'N': they come as they come, and selctg is not called
// selctg  the function, which returns 1 for an eigenvalue that is wanted in front and 0 for another; of other numbers
//         the lowest bit counts. It is given the real and the imaginary part of alpha and beta or, by complex members,
//         alpha and beta. Of a pair of conjugates both come in front if either is selected
// a       order n, lda >= max(1, n); out S, upper triangular, in real members with blocks of order two for pairs of
//         conjugates
// b       order n, ldb >= max(1, n); out T, upper triangular with a diagonal that is real and not negative. Where S has
//         a block of order two, that of T is diagonal
// sdim    number of the eigenvalues for which selctg is true when it is asked again at the end, both of a pair of
//         conjugates if it is for either; zero without sort. They stand in front of all others unless info is n + 2 or
//         n + 3
// alphar, alphai, beta   real members: n elements each; eigenvalue k is (alphar(k) + i alphai(k)) / beta(k), in the
//         order of S and T, with beta(k) not negative; of a pair of conjugates, that with positive imaginary part comes
//         first.
// alpha, beta   complex members: n elements each; eigenvalue k is alpha(k) / beta(k), with beta(k) real and not
//         negative. They are the diagonals of S and T
// vsl     VSL, n by n, ldvsl >= 1 and, where it is wanted, n
// vsr     VSR, n by n, ldvsr >= 1 and, where it is wanted, n
// bwork   n words, for sort 'S' alone: what selctg said before eigenvalues were moved
// info    0; -k: argument k was bad (reported); 1 to n: QZ iteration failed, eigenvalues info + 1 to n are there;
//         n + 1: QZ iteration found no shift; n + 2: rounding has changed what selctg says of an eigenvalue while it
//         was moved; n + 3: some eigenvalues are too close to one another to be moved, S and T are a Schur form with
//         others moved
//
// A and B are scaled into range, each by a factor of its own, if their elements are so large or so small that their
// squares leave the exponent range, and S, T and eigenvalues scaled back: selctg sees eigenvalues of the pencil that
// was given.

#include <type_traits>

#include "base/types.hpp"

namespace nuv {

/// The type of selctg: a function of the three parts of an eigenvalue, in complex precisions of alpha and beta.
template <Scalar T>
using SelectGeneralised = std::conditional_t<ComplexScalar<T>, Logical (*)(const T* alpha, const T* beta),
                                             Logical (*)(const T* alphar, const T* alphai, const T* beta)>;

/// The generalised Schur form and, if wanted, Schur vectors.
///
/// work    lwork elements; work(1) returns the best lwork, also when it is asked for with an lwork of -1, which does
///         nothing else, or when lwork is too small
/// lwork   at least max(8 n, 6 n + 16), and 1 for n = 0
template <RealScalar T>
void gges(char jobvsl, char jobvsr, char sort, SelectGeneralised<T> selctg, Int n, T* a, Int lda, T* b, Int ldb,
          Int& sdim, T* alphar, T* alphai, T* beta, T* vsl, Int ldvsl, T* vsr, Int ldvsr, T* work, Int lwork,
          Logical* bwork, Int& info);

/// work    as above
/// lwork   at least max(1, 2 n)
/// rwork   8 n elements
template <ComplexScalar T>
void gges(char jobvsl, char jobvsr, char sort, SelectGeneralised<T> selctg, Int n, T* a, Int lda, T* b, Int ldb,
          Int& sdim, T* alpha, T* beta, T* vsl, Int ldvsl, T* vsr, Int ldvsr, T* work, Int lwork, Real<T>* rwork,
          Logical* bwork, Int& info);

/// The same with condition numbers of what is selected. Where A or B had to be scaled into range, both are brought to
/// norms of about one while eigenvalues are moved, and rconde and rcondv belong to that pencil, unlike S and T.
///
/// sense   'N': none, 'E': of the mean of the selected eigenvalues, 'V': of their deflating subspaces, 'B': both; for
///         all but 'N' sort must be 'S'
/// rconde  2 reciprocal condition numbers of the mean, at most 1: lower bounds of the reciprocal norms of the
///         projectors onto the left and the right deflating subspace. Zero with info n + 3
/// rcondv  2 reciprocal condition numbers of the left and the right subspace, estimates of the distance to the other
///         eigenvalues (Difu and Difl), or the Frobenius norm of the pencil where none or all are selected. Zero with
///         info n + 3
/// work    lwork elements; work(1) and iwork(1) return enough for any number of selected eigenvalues, also when they
///         are asked for with an lwork or a liwork of -1, which does nothing else, or when one of them is too small
/// lwork   at least max(8 n, 6 n + 16), 1 for n = 0, and 2 n + 2 sdim (n - sdim) with a sense: if it is less than that
///         alone, S and T are left in their first order, and sdim tells how many eigenvalues are selected
/// iwork   liwork integers
/// liwork  at least 1, and for n > 0 n + 6 with a sense
template <RealScalar T>
void ggesx(char jobvsl, char jobvsr, char sort, SelectGeneralised<T> selctg, char sense, Int n, T* a, Int lda, T* b,
           Int ldb, Int& sdim, T* alphar, T* alphai, T* beta, T* vsl, Int ldvsl, T* vsr, Int ldvsr, Real<T>* rconde,
           Real<T>* rcondv, T* work, Int lwork, Int* iwork, Int liwork, Logical* bwork, Int& info);

/// work    lwork elements, and iwork liwork integers, as above
/// lwork   at least max(1, 2 n), and 2 sdim (n - sdim) with a sense
/// rwork   8 n elements
/// liwork  at least 1, and for n > 0 n + 2 with a sense
template <ComplexScalar T>
void ggesx(char jobvsl, char jobvsr, char sort, SelectGeneralised<T> selctg, char sense, Int n, T* a, Int lda, T* b,
           Int ldb, Int& sdim, T* alpha, T* beta, T* vsl, Int ldvsl, T* vsr, Int ldvsr, Real<T>* rconde,
           Real<T>* rcondv, T* work, Int lwork, Real<T>* rwork, Int* iwork, Int liwork, Logical* bwork, Int& info);

}  // namespace nuv
