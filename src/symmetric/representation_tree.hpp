#pragma once

// All eigenvectors of a tridiagonal matrix from the root representations of its blocks: eigenvalues whose relative gaps
// are large get their vectors from the representation at hand, clusters a representation of their own (I. S. Dhillon,
// B. N. Parlett and C. Voemel, The design and implementation of the MRRR algorithm, ACM Trans. Math. Softw. 32, 2006).

#include "base/types.hpp"

namespace nuv {

/// Computes eigenvectors dol ... dou of the m whose eigenvalues larre found; all of its results come as it left them.
///
/// vl, vu  bounds of the wanted eigenvalues; vu is not looked at, since the last gap of a block goes up to it
/// d, l    n numbers each: D and L of the block's roots, and their shifts behind L; scratch on return
/// pivmin  the least pivot of Sturm sequences;  isplit  the last row of each block
/// werr, wgap, iblock, indexw, gers   bounds of errors, distances to the next value, blocks, indices in them, and the
///         Gerschgorin intervals, as larre gave them
/// minrgp  eigenvalues with a smaller gap, relative to their size, are a cluster
/// rtol1, rtol2   how well larrb is to find eigenvalues before a representation is judged or a vector computed
/// w       eigenvalues less the shift of their block in, eigenvalues of T out
/// z       n by m, ldz >= max(1, n): orthonormal eigenvectors in columns dol ... dou, zeros in the others
/// isuppz  2 m places: the first and the last row that is not zero, for each vector computed
/// work    12 n numbers;  iwork  7 n
/// info    0; -1, -3: larrb failed, for a vector, a cluster; -2: larrf failed; 5: a vector is not finite
template <Scalar T>
void larrv(Int n, Real<T> vl, Real<T> vu, Real<T>* d, Real<T>* l, Real<T> pivmin, const Int* isplit, Int m, Int dol,
           Int dou, Real<T> minrgp, Real<T> rtol1, Real<T> rtol2, Real<T>* w, Real<T>* werr, Real<T>* wgap,
           const Int* iblock, const Int* indexw, const Real<T>* gers, T* z, Int ldz, Int* isuppz, Real<T>* work,
           Int* iwork, Int& info);

}  // namespace nuv
