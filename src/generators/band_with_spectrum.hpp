#pragma once

// Random matrices with a given spectrum, bandwidth and storage.

#include "base/types.hpp"

namespace nuv {

/// An m by n matrix A with the singular values |d|, or the eigenvalues d, zero beyond kl diagonals below the main one
/// and ku above it, made of diag(d) by random rotations or, for a full matrix in full storage, by random reflections.
///
/// dist    of random d: 'U' uniform on (0, 1), 'S' uniform on (-1, 1), 'N' normal
/// iseed   state of the random numbers, see generators/random_numbers.hpp; taken modulo 4096 and made odd
/// sym     'N': general, with singular values |d|
///         'S', 'H': symmetric, complex ones for 'H' Hermitian, with eigenvalues d, half of them with changed signs in
///                   modes 1 to 5; for 'S' complex symmetric with singular values |d|
///         'P': positive semidefinite: as 'H', but without changed signs, and in mode 6 with the magnitudes of random
///              numbers; that d in mode 0, and dmax, are not negative is for the caller to see to
/// d       min(m, n) numbers that mode, cond and dist make as ?latm1 does; out: the singular values or eigenvalues
/// dmax    in modes 1 to 5 d is scaled by a positive or negative number so that its largest magnitude is |dmax|
/// kl, ku  of matrices with symmetry equal; those larger than the matrix count as its largest
/// pack    'N': full, m by n
///         'U', 'L': full, of a symmetric matrix, with zeros for its strict lower or upper triangle
///         'C', 'R': one triangle, packed: the upper one by columns, the lower one by rows
///         'B', 'Q': one triangle of a band, the lower one with A(i, j) in row 1 + i - j of column j, the upper one
///                   with A(i, j) in row ku + 1 + i - j
///         'Z': a band as its LU factorisation takes it, with A(i, j) in row kl + ku + 1 + i - j of column j, below kl
///              rows of zeros
///         A triangle alone is of a symmetric matrix, or of a general one that has no other; these are square.
/// a       lda by n out; for 'C' and 'R' its first n (n + 1) / 2 numbers hold the triangle and the others zeros
/// lda     for 'B' >= kl + 1, for 'Q' >= ku + 1, for 'Z' >= 2 kl + ku + 1, else >= m
/// work    3 max(m, n) numbers
/// info    0, or -k: argument k was bad (reported); 1: ?latm1 failed; 2: d is zero and can't be scaled to dmax; 3: a
///         generator of full matrices failed. m = 0 or n = 0 is never bad.
template <Scalar T>
void latms(Int m, Int n, char dist, Int* iseed, char sym, Real<T>* d, Int mode, Real<T> cond, Real<T> dmax, Int kl,
           Int ku, char pack, T* a, Int lda, T* work, Int& info);

}  // namespace nuv
