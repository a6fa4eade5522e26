#pragma once

// Least squares with matrices of full rank.

#include "base/types.hpp"

namespace nuv {

/// Solves op(A) X = B for an m by n matrix A of full rank: where there are more equations than unknowns, each column of
/// X minimises the norm of its residual; where there are fewer, it is the solution of least norm.
///
/// trans   'N': A, 'T' (real) or 'C' (complex): A^H
/// a       m by n, lda >= max(1, m); the matrix in, R (m >= n) or L of its factorisation out, those of a scaled A where
///         that is very small or large. The vectors beside them are of no use: their factors are lost.
/// b       ldb >= max(1, m, n); right-hand sides in, as many elements each as op(A) has rows; solutions out, as many as
///         it has columns. Below a solution of more equations than unknowns stand numbers whose sum of squares is that
///         of its residual, the residual of a scaled B where B is very small or large.
/// work    lwork elements, at least one; work(1) returns the best lwork, also where an argument is bad; it is zero if
///         min(m, n) and nrhs are
/// lwork   at least max(1, mn + max(mn, nrhs)) with mn = min(m, n); -1 asks for the best and does nothing else
/// info    0, or -k: argument k was bad (reported). A matrix without full rank is not noticed: there is a zero on the
///         diagonal of R or L, or a number that stands for one, and what the solutions hold means nothing.
template <Scalar T>
void gels(char trans, Int m, Int n, Int nrhs, T* a, Int lda, T* b, Int ldb, T* work, Int lwork, Int& info);

}  // namespace nuv
