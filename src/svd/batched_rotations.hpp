#pragma once

#include "base/types.hpp"

namespace nuv {

/// Applies k sweeps of rotations of neighbouring rows or columns to an m by n matrix, in the order of the sweeps, up to
/// rounding as lasr does one after the other. Where A has rows (or columns) enough, the rotations are multiplied into
/// tiles of order 2 k, and the tiles go to A by products: A is met once for all sweeps. The serial body behind the
/// layer stub `lasr3`.
///
/// side     'L': A := P A, any other: A := A P
/// pivot    'V'; any other leaves A alone
/// direct   'F': rotations in a sweep come in rising order of planes; 'B': in falling order; any other leaves A alone
/// cs       the sweeps beside each other: row p, columns 2 q - 1 and 2 q hold cosine and sine of sweep q in the plane
///          (p, p + 1); m - 1 rows ('L') or n - 1, of leading dimension ldcs
/// a        lda >= max(1, m)
/// work     4 k^2 + k n elements ('L') or 4 k^2 + k m
/// lwork, info  neither read nor written
///
/// Option letters are compared as they are. Nothing is checked.
template <RealScalar T>
void xlasr3(char side, char pivot, char direct, Int m, Int n, Int k, const T* cs, Int ldcs, T* a, Int lda, T* work,
            Int lwork, Int& info);

}  // namespace nuv
