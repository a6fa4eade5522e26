#pragma once

// Scaling of rows and columns that brings the entries of a badly scaled matrix to about the same size.
//
// A complex entry counts as |re| + |im|. Scale factors lie within the safe range, from the least safe number to its
// reciprocal.
//
// ?equ finds factors:
// r, c    m and n factors of the rows and columns: the largest entry of each row, then of each column, becomes 1
// s       n factors of rows and columns alike: the diagonal of a positive definite matrix becomes ones
// rowcnd, colcnd, scond   the least of those factors over the largest: above 0.1 scaling is not worth while
// amax    the largest entry
// info    0; -k: argument k was bad (reported); k: row k is zero, or, k > m, column k - m (general); element k of the
//         diagonal is not positive (definite). Of r, c and s only the last to be computed are then not to be used.
//
// ?laq applies them to A if that is worth while, and says what it did; it checks nothing:
// equed   'N': nothing; general: 'R': diag(r) A, 'C': A diag(c), 'B': diag(r) A diag(c); symmetric: 'Y':
//         diag(s) A diag(s)

#include "base/types.hpp"

namespace nuv {

/// General m by n matrix, lda >= max(1, m).
template <Scalar T>
void geequ(Int m, Int n, const T* a, Int lda, Real<T>* r, Real<T>* c, Real<T>& rowcnd, Real<T>& colcnd, Real<T>& amax,
           Int& info);

/// General m by n band matrix, ldab >= kl + ku + 1, its main diagonal in row ku + 1.
template <Scalar T>
void gbequ(Int m, Int n, Int kl, Int ku, const T* ab, Int ldab, Real<T>* r, Real<T>* c, Real<T>& rowcnd,
           Real<T>& colcnd, Real<T>& amax, Int& info);

/// Positive definite matrix of order n, of which only the diagonal is looked at; lda >= max(1, n).
template <Scalar T>
void poequ(Int n, const T* a, Int lda, Real<T>* s, Real<T>& scond, Real<T>& amax, Int& info);

/// The same in packed storage.
template <Scalar T>
void ppequ(char uplo, Int n, const T* ap, Real<T>* s, Real<T>& scond, Real<T>& amax, Int& info);

/// The same for a band matrix, ldab >= kd + 1.
template <Scalar T>
void pbequ(char uplo, Int n, Int kd, const T* ab, Int ldab, Real<T>* s, Real<T>& scond, Real<T>& amax, Int& info);

/// General m by n matrix, lda >= max(1, m).
template <Scalar T>
void laqge(Int m, Int n, T* a, Int lda, const Real<T>* r, const Real<T>* c, Real<T> rowcnd, Real<T> colcnd,
           Real<T> amax, char& equed);

/// General m by n band matrix, ldab >= kl + ku + 1.
template <Scalar T>
void laqgb(Int m, Int n, Int kl, Int ku, T* ab, Int ldab, const Real<T>* r, const Real<T>* c, Real<T> rowcnd,
           Real<T> colcnd, Real<T> amax, char& equed);

/// One triangle of a symmetric matrix.
template <Scalar T>
void laqsy(char uplo, Int n, T* a, Int lda, const Real<T>* s, Real<T> scond, Real<T> amax, char& equed);

/// The same in packed storage.
template <Scalar T>
void laqsp(char uplo, Int n, T* ap, const Real<T>* s, Real<T> scond, Real<T> amax, char& equed);

/// The same for a band matrix.
template <Scalar T>
void laqsb(char uplo, Int n, Int kd, T* ab, Int ldab, const Real<T>* s, Real<T> scond, Real<T> amax, char& equed);

/// One triangle of a Hermitian matrix; its diagonal becomes real.
template <ComplexScalar T>
void laqhe(char uplo, Int n, T* a, Int lda, const Real<T>* s, Real<T> scond, Real<T> amax, char& equed);

/// The same in packed storage.
template <ComplexScalar T>
void laqhp(char uplo, Int n, T* ap, const Real<T>* s, Real<T> scond, Real<T> amax, char& equed);

/// The same for a band matrix.
template <ComplexScalar T>
void laqhb(char uplo, Int n, Int kd, T* ab, Int ldab, const Real<T>* s, Real<T> scond, Real<T> amax, char& equed);

}  // namespace nuv
