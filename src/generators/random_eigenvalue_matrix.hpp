#pragma once

// Random matrices with given eigenvalues.

#include "base/types.hpp"

namespace nuv {

/// A random nonsymmetric matrix of order n (J. Demmel, A. McKenney, A test matrix generation suite, Argonne National
/// Laboratory, MCS-P69-0389, 1989): the eigenvalues on the diagonal of a triangular matrix, a random similarity, and
/// orthogonal similarities that leave a band.
///
/// dist     'U': uniform on (0, 1); 'S': uniform on (-1, 1); 'N': normal
/// iseed    state of the random numbers; words that can't be one are made to be
/// d        n eigenvalues, by mode, cond and rsign as in latm1; in modes 1 to 5 scaled so that the largest becomes
///          dmax, up to its sign
/// ei       n letters, read in mode 0 unless the first is blank: 'R' for a real eigenvalue or the real part of a pair,
///          'I' behind it for the imaginary part. In modes 5 and -5 elements 2k - 1 and 2k are parts of a pair with
///          probability 1/2. Complex eigenvalues stand one by one: the letters are not read there.
/// rsign    'T' or 'F', in modes 1 to 5 alone
/// upper    'T': random numbers above the diagonal, or above the blocks of pairs; 'F': zeros
/// sim      'T': A := X A X^-1 with singular values ds of X; 'F': not
/// ds       n numbers, by modes (-5 ... 5) and conds as in latm1
/// kl, ku   bandwidths, at least 1; one of them at least n - 1
/// anorm    the largest magnitude is made to be this, and the eigenvalues are no longer d; negative: not
/// a        n by n, lda >= max(1, n)
/// work     3n numbers
/// info     0, or -k: argument k was bad (reported); 1: d could not be made; 2: it is zero and can't be scaled to dmax;
///          3: ds could not be made; 4: no random orthogonal matrix was made; 5: ds has a zero
template <Scalar T>
void latme(Int n, char dist, Int* iseed, T* d, Int mode, Real<T> cond, T dmax, const char* ei, char rsign, char upper,
           char sim, Real<T>* ds, Int modes, Real<T> conds, Int kl, Int ku, Real<T> anorm, T* a, Int lda, T* work,
           Int& info);

}  // namespace nuv
