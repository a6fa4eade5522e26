#pragma once

// Estimates of the one-norm of a square matrix that is known by its products alone, by reverse communication (N. J.
// Higham, "FORTRAN codes for estimating the one-norm of a real or complex matrix, with applications to condition
// estimation", ACM Trans. Math. Softw. 14, 1988).
//
// A conversation begins with kase = 0. As long as a call returns kase 1 or 2, the caller puts A x (1) or A^T x, for
// complex matrices A^H x (2), in the place of x, and calls again with everything else as it is. When kase comes back as
// 0, est is the estimate, a lower bound of the norm, and v = A w with est = norm(v) / norm(w).
//
// n       order, at least 1
// v, x    n elements each
// isgn    n integers; real members alone
//
// Three entries to one algorithm differ in where they keep what survives between calls: the step to resume, the index
// of the unit vector, and the count of rounds.

#include "base/types.hpp"

namespace nuv {

/// State in jump, j and iter, integers of the caller, so that conversations can run side by side. All routines of the
/// library use this one.
template <RealScalar T>
void lacon_internal(Int n, T* v, T* x, Int* isgn, T& est, Int& kase, Int& jump, Int& j, Int& iter);
template <ComplexScalar T>
void lacon_internal(Int n, T* v, T* x, Real<T>& est, Int& kase, Int& jump, Int& j, Int& iter);

/// State in isave(1) ... isave(3).
template <RealScalar T>
void lacn2(Int n, T* v, T* x, Int* isgn, T& est, Int& kase, Int* isave);
template <ComplexScalar T>
void lacn2(Int n, T* v, T* x, Real<T>& est, Int& kase, Int* isave);

/// State in integers of the library: one conversation at a time in the whole process.
template <RealScalar T>
void lacon(Int n, T* v, T* x, Int* isgn, T& est, Int& kase);
template <ComplexScalar T>
void lacon(Int n, T* v, T* x, Real<T>& est, Int& kase);

}  // namespace nuv
