#pragma once

// Reduction of a symmetric (Hermitian) matrix in packed storage to real tridiagonal form, A = Q T Q^H.
//
// Q is a product of reflectors H(i) = I - tau(i) v v^H: H(n-1) ... H(1) for an upper triangle, H(1) ... H(n-1) for a
// lower one. v(i+1:n) = 0 and v(i) = 1 (upper), or v(1:i) = 0 and v(i+1) = 1 (lower), and the rest of v is left above
// the element (i, i+1), or below the element (i+1, i), of T. What forms and applies Q stands in packed_q.hpp.
//
// uplo    'U' or 'L': the triangle that is stored
// ap      order n, n (n + 1) / 2 elements: A in, T and the vectors v out; imaginary parts on the diagonal of A count as
//         zero
// d       n elements, the diagonal of T;  e  n - 1 elements, what is beside it;  tau  n - 1 factors
// info    0, or -k: argument k was bad (reported)

#include "base/types.hpp"

namespace nuv {

/// By panels of columns, behind which the rest of the matrix is updated block by block in full storage; one column
/// after the other where there is no memory for that, or few columns. The serial body behind the layer stubs `sptrd`
/// and, for complex numbers, `hptrd`.
template <Scalar T>
void xsptrd(char uplo, Int n, T* ap, Real<T>* d, Real<T>* e, T* tau, Int& info);

/// Reduces the last (upper) or first (lower) nb columns of a matrix of order n >= nb, in which v is left whole, with
/// its unit element. The rest, A, is left to the caller, who has to make it A - V W^H - W V^H. Checks nothing.
///
/// e, tau  written where those columns have their elements
/// w       ldw >= max(1, n): nb columns for W, and nb more for V, the panel in full storage
template <Scalar T>
void latdp(char uplo, Int n, Int nb, T* ap, Real<T>* e, T* tau, T* w, Int ldw);

/// The same as xsptrd in one piece; what it has to say about its arguments it says in the name of ?sptrd. Exported for
/// real numbers.
template <Scalar T>
void sptd2(char uplo, Int n, T* ap, Real<T>* d, Real<T>* e, T* tau, Int& info);

}  // namespace nuv
