#pragma once

// Drivers for pencils A - lambda B of general matrices in the form that they had first: gges and ggev are those to use
// in new programs, which call these by their older names alone. Pencils and eigenvalues (alpha, beta) are as gges and
// ggev have them.
//
// a, b    order n, lda, ldb >= max(1, n)
// alphar, alphai, beta   real members: n elements each; eigenvalue k is (alphar(k) + i alphai(k)) / beta(k), with
//         beta(k) not negative; of a pair of conjugates, that with positive imaginary part comes first.
// alpha, beta   complex members: n elements each; eigenvalue k is alpha(k) / beta(k), with beta(k) real and not
//         negative
// work    lwork elements; work(1) returns the best lwork, also when it is asked for with an lwork of -1, which does
//         nothing else, or when lwork is too small
// info    0; -k: argument k was bad (reported); 1 to n: QZ iteration failed, eigenvalues info + 1 to n are there;
//         n + 1: QZ iteration found no shift; n + 2: vectors could not be found

#include "base/types.hpp"

namespace nuv {

/// Generalised Schur form, A = VSL S VSR^H and B = VSL T VSR^H, and, if wanted, the Schur vectors.
///
/// jobvsl  'V': VSL is wanted; 'N': it is not
/// jobvsr  'V': VSR is wanted; 'N': it is not
/// a, b    out S and T, as gges leaves them
/// vsl     VSL, n by n, ldvsl >= 1 and, where it is wanted, n
/// vsr     VSR, n by n, ldvsr >= 1 and, where it is wanted, n
/// lwork   at least max(1, 4 n)
template <RealScalar T>
void gegs(char jobvsl, char jobvsr, Int n, T* a, Int lda, T* b, Int ldb, T* alphar, T* alphai, T* beta, T* vsl,
          Int ldvsl, T* vsr, Int ldvsr, T* work, Int lwork, Int& info);

/// lwork   at least max(1, 2 n)
/// rwork   3 n elements
template <ComplexScalar T>
void gegs(char jobvsl, char jobvsr, Int n, T* a, Int lda, T* b, Int ldb, T* alpha, T* beta, T* vsl, Int ldvsl, T* vsr,
          Int ldvsr, T* work, Int lwork, Real<T>* rwork, Int& info);

/// Eigenvalues and, if wanted, eigenvectors. Each (alpha, beta) is scaled back by itself: where a part of it that
/// matters would underflow, all of its parts are larger by a common factor.
///
/// jobvl   'V': left eigenvectors are wanted; 'N': they are not
/// jobvr   'V': right eigenvectors are wanted; 'N': they are not
/// a, b    destroyed
/// vl      left eigenvectors, n by n, ldvl >= 1 and, where they are wanted, n
/// vr      right eigenvectors, n by n, ldvr >= 1 and, where they are wanted, n; both in the form and with the norm that
///         ggev gives them
/// lwork   at least max(1, 8 n)
template <RealScalar T>
void gegv(char jobvl, char jobvr, Int n, T* a, Int lda, T* b, Int ldb, T* alphar, T* alphai, T* beta, T* vl, Int ldvl,
          T* vr, Int ldvr, T* work, Int lwork, Int& info);

/// lwork   at least max(1, 2 n)
/// rwork   8 n elements
template <ComplexScalar T>
void gegv(char jobvl, char jobvr, Int n, T* a, Int lda, T* b, Int ldb, T* alpha, T* beta, T* vl, Int ldvl, T* vr,
          Int ldvr, T* work, Int lwork, Real<T>* rwork, Int& info);

}  // namespace nuv
