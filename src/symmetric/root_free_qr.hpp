#pragma once

#include "base/types.hpp"

namespace nuv {

/// Finds all eigenvalues of a symmetric tridiagonal matrix by the square-root-free QL and QR iteration of Pal, Walker
/// and Kahan (B. N. Parlett, The Symmetric Eigenvalue Problem, 1980, section 8.15).
///
/// d       n elements; the diagonal in, the eigenvalues in increasing order out
/// e       n - 1 elements; the diagonal beside it; destroyed
/// info    0; -1: n was bad (reported); k: after 30 n sweeps k off-diagonals are not zero yet, and d is no result
template <RealScalar T>
void sterf(Int n, T* d, T* e, Int& info);

}  // namespace nuv
