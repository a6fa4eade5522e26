#pragma once

// All singular values of a bidiagonal matrix, or eigenvalues of the tridiagonal matrix that a qd array stands for, to
// high relative accuracy, by the differential quotient-difference algorithm with shifts: K. V. Fernando, B. N. Parlett,
// "Accurate singular values and differential qd algorithms", Numer. Math. 67, 1994; B. N. Parlett, O. A. Marques, "An
// implementation of the dqds algorithm (positive case)", Linear Algebra Appl. 309, 2000.
//
// info    0; 1: a block was split off at a positive element; 2: a block did not come to its end in the steps allowed,
//         30 times its order; 3: more blocks than rows; there is no reason why one of these should be seen

#include "base/types.hpp"

namespace nuv {

/// Singular values of an upper bidiagonal matrix of order n.
///
/// d       n elements of the diagonal in, the values in decreasing order out; if info is positive, the magnitudes of
///         the diagonal
/// e       n - 1 elements above the diagonal
/// work    4 n elements
/// info    -2: n is negative (reported as argument 2, its place in an earlier list of arguments)
template <RealScalar R>
void lasq1(Int n, R* d, R* e, R* work, Int& info);

/// Eigenvalues of L U for the qd array of order n
///
///         [ 1          ]         [ q1  1        ]
///     L = [ e1  1      ],    U = [     q2  1    ]
///         [     e2  1  ]         [         q3   ]
///
/// which are the squares of the singular values of the bidiagonal matrix with elements sqrt(q), sqrt(e).
///
/// z       4 n elements, for n = 1 and n = 2 at least 6: q1, e1, q2, e2, ..., qn in, none of them negative; out, the
///         values in decreasing order, and for n > 2, unless all e are zero, z(2n+1): sum of all q and e, z(2n+2): sum
///         of the values, z(2n+3): number of transforms, z(2n+4): number of divisions over n^2, z(2n+5): percentage of
///         transforms with a shift that was too large
/// info    -1: n is negative (reported); -(200 + k): z(k) is negative (reported as argument 2), for n = 2 and k > 1: -2
template <RealScalar R>
void lasq2(Int n, R* z, Int& info);

}  // namespace nuv
