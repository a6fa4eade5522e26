#pragma once

// Systems of order one and two with a shifted matrix, the steps of substitution with a quasi-triangular one.

#include "base/types.hpp"

namespace nuv {

/// Solves (ca op(A) - w D) X = scale B for a real or a complex w by elimination with complete pivoting, without
/// overflow. Nothing is checked.
///
/// ltrans  op(A) is A^T if true, else A
/// na, nw  order of A, 1 or 2; 1: w and X are real, 2: they are complex, in two columns, real and imaginary parts
/// smin    size that is as good as zero: a smaller pivot is replaced by it, or by the least number that has a
///         reciprocal to compute with if that is larger. Of a matrix that has no larger element, all of them are
/// ca      factor of A
/// a       na by na, lda >= na
/// d1, d2  diagonal of D; the second is for na = 2
/// b       na by nw, ldb >= na
/// wr, wi  real and imaginary part of w; the second is for nw = 2
/// x       na by nw, ldx >= na
/// scale   at most 1: by how much B is made smaller, so that neither X nor a product of A with it overflows
/// xnorm   infinity norm of X, complex elements measured by |re| + |im|
/// info    0, or 1: a pivot was replaced
template <RealScalar T>
void laln2(Logical ltrans, Int na, Int nw, T smin, T ca, const T* a, Int lda, T d1, T d2, const T* b, Int ldb, T wr,
           T wi, T* x, Int ldx, T& scale, T& xnorm, Int& info);

}  // namespace nuv
