#pragma once

// The tree of divide and conquer for a bidiagonal matrix, with singular vectors as factors or without them.

#include "base/types.hpp"

namespace nuv {

/// Finds the singular values of an upper bidiagonal matrix with n rows and m = n + sqre columns, and the factors of its
/// vectors: it is cut row by row until the parts have at most smlsiz rows (svd/division_tree.hpp), which go to lasdq,
/// and merged again (svd/compact_merges.hpp).
///
/// icompq  0: values alone; all arrays of factors but difl, difr and z, of m elements each, are not used
///         1: the factors as well
/// smlsiz  at least 3; sqre  0 or 1
/// d       n elements; the diagonal in; the values out, in no order where there was a merge
/// e       n - 1 + sqre elements beside it; destroyed
///
/// Where n <= smlsiz, u and vt return n left vectors, and m right ones in rows, and nothing else is used. Else, with
/// nodes counted as lasdt does and the top being level 1 of lvl, those of a part or a node stand in the rows that it
/// has in the matrix, ldu >= m:
///
/// u       smlsiz columns: the left vectors of each leaf;  vt  smlsiz + 1 columns: its right vectors, in rows
/// difl, z        lvl columns, one for each level
/// difr, poles, givnum   2 lvl columns, two for each level
/// perm    ldgcol >= n, lvl columns;  givcol  ldgcol, 2 lvl columns
/// k, givptr, c, s   one element for each node, n are always enough
///
/// work    6 m + (smlsiz + 1)^2 elements;  iwork  7 n places
/// info    0; -i: argument i was bad (reported); above 0: as the part or the merge that failed says
template <RealScalar T>
void lasda(Int icompq, Int smlsiz, Int n, Int sqre, T* d, T* e, T* u, Int ldu, T* vt, Int* k, T* difl, T* difr, T* z,
           T* poles, Int* givptr, Int* givcol, Int ldgcol, Int* perm, T* givnum, T* c, T* s, T* work, Int* iwork,
           Int& info);

}  // namespace nuv
