#pragma once

// Condition numbers of single eigenvalues and eigenvectors of a generalised Schur form (B. Kagstrom and P. Poromaa,
// "Computing eigenspaces with specified eigenvalues of a regular matrix pair (A, B) and condition estimation: theory,
// algorithms and software", Numer. Algorithms 12, 1996).

#include "base/types.hpp"

namespace nuv {

/// Reciprocal condition numbers, of a pair of a real form the same for both.
///
/// job     'E': of eigenvalues, 'V': of eigenvectors, 'B': both
/// howmny  'A': of all, 'S': of the selected ones
/// select  n flags; a pair is selected if either of its flags is set. Not looked at for 'A'
/// n       order of A and B
/// a       generalised Schur form, upper quasi-triangular (real) or triangular (complex), lda >= max(1, n)
/// b       the triangle that belongs to it, ldb >= max(1, n)
/// vl      the left eigenvectors that belong to s, as tgevc gives them, n by m; ldvl >= 1 and for 'E' and 'B' >= n. Not
///         looked at for 'V'
/// vr      the right ones, likewise; ldvr as ldvl
/// s       mm elements; |(u^H A v, u^H B v)| / (|u| |v|) for the left and right vectors u and v: an eigenvalue moves by
///         a change of (A, B) divided by it, in the metric of chords. -1 where both products vanish, as in a singular
///         pencil. Not touched for 'V'
/// dif     mm elements; estimates of the separation of each eigenvalue from all others: how much (A, B) has to change
///         so that they meet, about. Zero where the eigenvalue could not be moved to the top. Not touched for 'E'
/// mm      room for as many, at least m
/// m       out; number of condition numbers of a kind
/// work    lwork elements; work(1) returns the least lwork: for 'E' max(1, n); for 'V' and 'B' 2 n (n + 2) + 16 (real)
///         or 2 n^2 (complex), and 1 for n = 0
/// lwork   as much; -1 asks for that and does nothing else
/// iwork   n + 6 integers (real), n + 2 (complex); not touched for 'E'
/// info    0, or -k: argument k was bad (reported)
template <Scalar T>
void tgsna(char job, char howmny, const Logical* select, Int n, const T* a, Int lda, const T* b, Int ldb, const T* vl,
           Int ldvl, const T* vr, Int ldvr, Real<T>* s, Real<T>* dif, Int mm, Int& m, T* work, Int lwork, Int* iwork,
           Int& info);

}  // namespace nuv
