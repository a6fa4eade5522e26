#pragma once

// Sweeps of plane rotations: A := P A or A P for P the product of one rotation in each of a sequence of planes.
//
// A rotation (c, s) takes rows x above y to c x + s y and c y - s x, or columns x left of y to the same.

#include "base/types.hpp"

namespace nuv {

/// Applies one sweep to an m by n matrix, from the left (side 'L', m - 1 rotations) or from the right ('R', n - 1).
///
/// pivot   plane of rotation k: 'V' (k, k + 1), 'T' (1, k + 1), 'B' (k, last)
/// direct  'F': rotation 1 comes first, 'B': it comes last
/// c, s    cosines and sines; real for complex matrices, too
/// a       lda >= max(1, m)
///
/// A bad argument is reported, and A left alone.
template <Scalar T>
void lasr(char side, char pivot, char direct, Int m, Int n, const Real<T>* c, const Real<T>* s, T* a, Int lda);

/// Applies to 2 k columns of m rows what k sweeps have in common with a band of k planes: of sweep q = 1 ... k the
/// planes k - q + 1 ... 2 k - q in rising order (direct 'F'), or q ... q + k - 1 in falling order ('B'). Plane p turns
/// columns p and p + 1. Any other side than 'R', any other pivot than 'V', and small letters, leave A alone.
/// Nothing is checked.
///
/// k         >= 0; two sweeps and two planes are taken at a time
/// cs        row p, columns 2 q - 1 and 2 q: cosine and sine of sweep q in plane p; ldcs >= max(1, 2 k - 1)
/// reserved  not looked at
/// a         m by 2 k, lda >= max(1, m)
template <RealScalar T>
void lasr1(char side, char pivot, char direct, Int m, Int reserved, Int k, const T* cs, Int ldcs, T* a, Int lda);

}  // namespace nuv
