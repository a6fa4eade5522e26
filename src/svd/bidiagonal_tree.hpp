#pragma once

// The tree of divide and conquer for a bidiagonal matrix, with all singular vectors.

#include "base/types.hpp"

namespace nuv {

/// Finds the singular values and vectors of an upper bidiagonal matrix B = U S V^T with n rows and n + sqre columns: it
/// is cut row by row until the parts have about smlsiz rows (svd/division_tree.hpp), which go to lasdq, and merged
/// again (svd/bidiagonal_merges.hpp).
///
/// sqre    0 or 1
/// d       n elements; the diagonal in; the values out, in no order where there was a merge
/// e       n - 1 + sqre elements beside it; destroyed
/// u       n by n, ldu >= n; the identity in, U out
/// vt      m by m, m = n + sqre, ldvt >= m; the identity in, V^T out
/// smlsiz  at least 3
/// iwork   8 n places;  work  3 m^2 + 2 m elements, and at least 4 n
/// info    0; -i: argument i was bad (reported); above 0: as the part or the merge that failed says
template <RealScalar T>
void lasd0(Int n, Int sqre, T* d, T* e, T* u, Int ldu, T* vt, Int ldvt, Int smlsiz, Int* iwork, T* work, Int& info);

}  // namespace nuv
