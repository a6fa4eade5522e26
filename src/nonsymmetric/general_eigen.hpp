#pragma once

// Eigenvalues and eigenvectors of general matrices: A v = lambda v for a right eigenvector v, u^H A = lambda u^H for a
// left one u. The matrix is balanced, reduced to Hessenberg form and that to Schur form by QR iteration, from which
// vectors come by back substitution (J. H. Wilkinson and C. Reinsch, "Handbook for Automatic Computation, Volume II:
// Linear Algebra", Springer, 1971, contributions II/11 to II/15).
//
// jobvl, jobvr   'V': left, right eigenvectors are wanted; 'N': they are not
// a       order n, lda >= max(1, n); destroyed
// wr, wi  real members: n real and imaginary parts of eigenvalues; of a pair of conjugates, which stand side by side,
//         that with positive imaginary part comes first
// w       complex members: n eigenvalues
// vl, vr  n by n, the left and the right eigenvectors, of euclidean norm 1 and with a real component of largest
//         magnitude. Those of a pair of real members stand in two columns: u and v for u + i v, which belongs to the
//         first, and its conjugate u - i v. ldvl, ldvr >= 1 and, where vectors are wanted, n
// work    lwork elements; work(1) returns the best lwork, also when it is asked for with an lwork of -1, which does
//         nothing else, or when lwork is too small
// info    0; -k: argument k was bad (reported); k > 0: QR iteration failed: eigenvalues k + 1 to n, and those that
//         balancing had isolated in front, are there, and no vectors
//
// Matrices whose elements are so large or so small that their squares leave the exponent range are scaled, and their
// eigenvalues scaled back.

#include "base/types.hpp"

namespace nuv {

/// All eigenvalues and, if wanted, eigenvectors.
///
/// lwork   at least max(1, 3 n), with vectors 4 n
template <RealScalar T>
void geev(char jobvl, char jobvr, Int n, T* a, Int lda, T* wr, T* wi, T* vl, Int ldvl, T* vr, Int ldvr, T* work,
          Int lwork, Int& info);

/// lwork   at least max(1, 2 n)
/// rwork   2 n elements
template <ComplexScalar T>
void geev(char jobvl, char jobvr, Int n, T* a, Int lda, T* w, T* vl, Int ldvl, T* vr, Int ldvr, T* work, Int lwork,
          Real<T>* rwork, Int& info);

/// The same with a choice of how to balance, and with condition numbers.
///
/// balanc    'N': no balancing, 'P': permutation, 'S': scaling, 'B': both
/// sense     'N': no condition numbers, 'E': those of eigenvalues, for which both jobvl and jobvr must be 'V',
///           'V': those of right eigenvectors, 'B': both
/// a         destroyed; if any vectors or condition numbers are wanted the Schur form of the matrix as it
///           was scaled and balanced
/// ilo, ihi, scale   what balancing has done, as gebal leaves it
/// abnrm     one-norm of the balanced matrix
/// rconde    n reciprocal condition numbers |u^H v| of eigenvalues, for left and right eigenvectors of norm 1
/// rcondv    n reciprocal condition numbers of right eigenvectors: estimates of the distance between an eigenvalue and
///           the others in the sense of Sylvester's equation (sep)
/// lwork     at least max(1, 2 n), with vectors 3 n, and with sense 'V' or 'B' n^2 + 6 n
/// iwork     2 n - 2 elements, looked at with sense 'V' or 'B' alone
template <RealScalar T>
void geevx(char balanc, char jobvl, char jobvr, char sense, Int n, T* a, Int lda, T* wr, T* wi, T* vl, Int ldvl, T* vr,
           Int ldvr, Int& ilo, Int& ihi, T* scale, T& abnrm, T* rconde, T* rcondv, T* work, Int lwork, Int* iwork,
           Int& info);

/// lwork     at least max(1, 2 n), with sense 'V' or 'B' n^2 + 2 n
/// rwork     2 n elements
template <ComplexScalar T>
void geevx(char balanc, char jobvl, char jobvr, char sense, Int n, T* a, Int lda, T* w, T* vl, Int ldvl, T* vr,
           Int ldvr, Int& ilo, Int& ihi, Real<T>* scale, Real<T>& abnrm, Real<T>* rconde, Real<T>* rcondv, T* work,
           Int lwork, Real<T>* rwork, Int& info);

}  // namespace nuv
