#pragma once

// Test pencils A - lambda B for condition numbers of eigenvalues and eigenvectors.

#include "base/types.hpp"

namespace nuv {

/// The pencil Y^H (A - lambda B) X = D - lambda I, of which everything is known (B. Kagstrom and P. Poromaa, "Computing
/// eigenspaces with specified eigenvalues of a regular matrix pair (A, B) and condition estimation: theory, algorithms
/// and software", Numer. Algorithms 12, 1996). D, X and Y are unit matrices but for
///
///     X = [ I  X2 ],  X2 = wx [ -1 -1  1 ],    Y^H = [ I  Y2 ],  Y2 = wy [ -1  1 -1 ]
///         [    I  ]           [  1 -1 -1 ]           [    I  ]           [ -1  1 -1 ]
///
/// and the diagonal of D. Nothing is checked.
///
/// type    1: the k-th eigenvalue is k + alpha; 2: the first five are 1 + i, 1 - i, 1, 1 + alpha + i (1 + beta) and
///         1 + alpha - i (1 + beta), of alpha and beta the real parts. Real members have blocks of order two for the
///         pairs, [ 1 -1; 1 1 ] and [ 1 + alpha  1 + beta; -1 - beta  1 + alpha ]
/// n       5 or more: from the sixth on, eigenvalues are k + alpha and stand apart from the others. Below 5 nothing is
///         done
/// a, b    n by n, lda >= n for both
/// x       X, n by n, ldx >= n: right eigenvectors; of a pair in real members, a basis of their subspace
/// y       Y, n by n, ldy >= n: left eigenvectors, in the same way
/// alpha, beta   parameters of D
/// wx, wy  parameters of X and Y: the larger, the worse the eigenvectors' conditions
/// s       n reciprocal condition numbers of the eigenvalues, (|y^H A x|^2 + |y^H B x|^2)^1/2 / (|x| |y|)
/// dif     n elements, of which the first and the fifth are set: reciprocal condition numbers of the eigenvectors, or
///         of the subspace of a pair in real members: the smallest singular value of the generalised Sylvester operator
///         that parts the eigenvalue from the others
template <Scalar T>
void latm6(Int type, Int n, T* a, Int lda, T* b, T* x, Int ldx, T* y, Int ldy, T alpha, T beta, T wx, T wy, Real<T>* s,
           Real<T>* dif);

}  // namespace nuv
