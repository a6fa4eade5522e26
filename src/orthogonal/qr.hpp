#pragma once

// QR factorisation A = Q R by Householder reflectors: Q = H1 H2 ... Hk, k = min(m, n). R is left in the upper triangle
// of the matrix, and below it the vectors of the reflectors, their unit elements implied; their factors are in tau.

#include "base/types.hpp"

namespace nuv {

/// Factors an m by n matrix by panels; the serial body behind the layer stub `geqrf`, which checks the arguments for
/// it.
///
/// a       m by n, lda >= max(1, m);  tau  min(m, n), out
/// work    lwork elements; work(1) returns the best lwork
/// lwork   at least max(1, n), best n times the block size; less than that makes the panels narrower; -1 asks for the
///         best and does nothing else
/// info    0
template <Scalar T>
void xgeqrf(Int m, Int n, T* a, Int lda, T* tau, T* work, Int lwork, Int& info);

/// Factors a panel, recursively by blocks of columns, and forms the factor T of its min(m, n) reflectors on the way (E.
/// Elmroth and F. G. Gustavson, "Applying recursion to serial and parallel QR factorization", IBM J. Res. Dev. 44,
/// 2000). Checks nothing.
///
/// a       m by n, lda >= max(1, m);  tau  min(m, n), out
/// t       n by min(m, n), ldt >= n: the upper triangle returns T; what lies below is scratch and not to be used
template <Scalar T>
void laqrf(Int m, Int n, T* a, Int lda, T* tau, T* t, Int ldt);

/// Factors an m by n matrix one reflector after another.
///
/// a       m by n, lda >= max(1, m);  tau  min(m, n), out;  work  n elements
/// info    0, or -k: argument k was bad (reported)
template <Scalar T>
void geqr2(Int m, Int n, T* a, Int lda, T* tau, T* work, Int& info);

}  // namespace nuv
