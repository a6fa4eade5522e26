#pragma once

// Eigenvalues and eigenvectors of a pencil A - lambda B of general matrices: beta A v = alpha B v for a right
// eigenvector v, beta u^H A = alpha u^H B for a left one u. The pencil is balanced, reduced to Hessenberg-triangular
// form and that to generalised Schur form by QZ iteration, from which vectors come by back substitution (C. B. Moler
// and G. W. Stewart, "An algorithm for generalized matrix eigenvalue problems", SIAM J. Numer. Anal. 10, 1973; Z. Bai,
// J. Demmel, J. Dongarra, A. Ruhe, H. van der Vorst, "Templates for the Solution of Algebraic Eigenvalue Problems",
// SIAM, 2000).
//
// An eigenvalue is a pair of numbers (alpha, beta) that stands for alpha / beta. The quotient may overflow where
// neither part does; it is infinite where beta alone is zero, and where both are zero the pencil is singular, det(A -
// lambda B) = 0 for every lambda, and other eigenvalues mean nothing either.
//
// jobvl   'V': left eigenvectors are wanted; 'N': they are not
// jobvr   'V': right eigenvectors are wanted; 'N': they are not
// a, b    order n, lda, ldb >= max(1, n); destroyed
// alphar, alphai, beta   real members: n elements each; eigenvalue k is (alphar(k) + i alphai(k)) / beta(k), with
//         beta(k) not negative; of a pair of conjugates, which stand side by side, that with positive imaginary part
//         comes first.
// alpha, beta   complex members: n elements each; eigenvalue k is alpha(k) / beta(k), with beta(k) real and not
//         negative
// vl      n by n, the left eigenvectors, ldvl >= 1 and, where they are wanted, n
// vr      n by n, the right eigenvectors, ldvr >= 1 and, where they are wanted, n. In each vector, left or right, the
//         largest |re| + |im| of a component is one. Those of a pair of real members stand in two columns: x and y for
//         x + i y, which belongs to the first, and its conjugate x - i y
// work    lwork elements; work(1) returns the best lwork, also when it is asked for with an lwork of -1, which does
//         nothing else, or when lwork is too small
// info    0; -k: argument k was bad (reported); 1 to n: QZ iteration failed, eigenvalues info + 1 to n are there, and
//         no vectors; n + 1: QZ iteration found no shift; n + 2: vectors could not be found
//
// A and B are scaled into range, each by a factor of its own, if their elements are so large or so small that their
// squares leave the exponent range, and eigenvalues scaled back.

#include "base/types.hpp"

namespace nuv {

/// All eigenvalues and, if wanted, eigenvectors.
///
/// lwork   at least max(1, 8 n)
template <RealScalar T>
void ggev(char jobvl, char jobvr, Int n, T* a, Int lda, T* b, Int ldb, T* alphar, T* alphai, T* beta, T* vl, Int ldvl,
          T* vr, Int ldvr, T* work, Int lwork, Int& info);

/// lwork   at least max(1, 2 n)
/// rwork   8 n elements
template <ComplexScalar T>
void ggev(char jobvl, char jobvr, Int n, T* a, Int lda, T* b, Int ldb, T* alpha, T* beta, T* vl, Int ldvl, T* vr,
          Int ldvr, T* work, Int lwork, Real<T>* rwork, Int& info);

/// The same with a choice of how to balance, and with condition numbers.
///
/// balanc    'N': no balancing, 'P': permutation, 'S': scaling, 'B': both
/// sense     'N': no condition numbers, 'E': those of eigenvalues, 'V': those of eigenvectors, 'B': both. They are
///           those of the balanced pencil; where A or B had to be scaled into range, of the scaled one
/// a, b      destroyed; if vectors or condition numbers are wanted the generalised Schur form of the pencil as it was
///           scaled into range and balanced
/// ilo, ihi, lscale, rscale   what balancing has done, as ggbal leaves it; lscale and rscale have n elements
/// abnrm, bbnrm   one-norms of the balanced A and of the balanced B, from which the scaling into range is taken back:
///           that of rconde and rcondv is not
/// rconde    n reciprocal condition numbers of eigenvalues, (|u^H A v|^2 + |u^H B v|^2)^1/2 / (|u| |v|): a change of
///           the pencil of norm e moves (alpha, beta), as a direction, by about e / rconde. Both of a pair have the
///           same. -1 where both parts of an eigenvalue are zero, so that it may be any number, or both products are
/// rcondv    n reciprocal condition numbers of eigenvectors: estimates of the distance between an eigenvalue and the
///           others (Difl). Both of a pair have the same. Zero where the eigenvalue could not be moved to the top
/// lwork     at least max(1, 2 n), 6 n if balanc is 'S' or 'B' or any vectors are wanted, 10 n with sense 'E', and
///           2 n^2 + 8 n + 16 with sense 'V' or 'B'; 1 for n = 0
/// iwork     n + 6 elements, looked at with sense 'V' or 'B' alone
/// bwork     n words, not looked at with sense 'N'
template <RealScalar T>
void ggevx(char balanc, char jobvl, char jobvr, char sense, Int n, T* a, Int lda, T* b, Int ldb, T* alphar, T* alphai,
           T* beta, T* vl, Int ldvl, T* vr, Int ldvr, Int& ilo, Int& ihi, T* lscale, T* rscale, T& abnrm, T& bbnrm,
           T* rconde, T* rcondv, T* work, Int lwork, Int* iwork, Logical* bwork, Int& info);

/// lwork     at least max(1, 2 n), 4 n with sense 'E', and 2 n^2 + 2 n with sense 'V' or 'B'
/// rwork     6 n elements if balanc is 'S' or 'B', else 2 n
/// iwork     n + 2 elements, looked at with sense 'V' or 'B' alone
template <ComplexScalar T>
void ggevx(char balanc, char jobvl, char jobvr, char sense, Int n, T* a, Int lda, T* b, Int ldb, T* alpha, T* beta,
           T* vl, Int ldvl, T* vr, Int ldvr, Int& ilo, Int& ihi, Real<T>* lscale, Real<T>* rscale, Real<T>& abnrm,
           Real<T>& bbnrm, Real<T>* rconde, Real<T>* rcondv, T* work, Int lwork, Real<T>* rwork, Int* iwork,
           Logical* bwork, Int& info);

}  // namespace nuv
