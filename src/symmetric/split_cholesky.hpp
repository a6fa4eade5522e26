#pragma once

// The split Cholesky factorisation of a positive definite band matrix (J. H. Wilkinson, "Some recent advances in
// numerical linear algebra", in "The State of the Art in Numerical Analysis", 1977): B = S^H S with
//
//     S = [ U  .  ]   U upper triangular of order m, L lower triangular of order n - m, M between them as wide as the
//         [ M  L  ]   band of B. Each half of S is a transformation that works its way off one end of a band.

#include <algorithm>

#include "base/types.hpp"

namespace nuv {

/// Diagonals beside the main one that a matrix of order n has place for.
constexpr Int diagonals_in_place(Int n, Int kd) {
  return std::min(kd, std::max(n - 1, 0));
}

/// The order m of U for a matrix of order n with kd diagonals beside the main one, kd < n.
constexpr Int upper_part_of_split(Int n, Int kd) {
  return static_cast<Int>((std::int64_t{n} + kd) / 2);
}

/// Factors a band matrix of order n.
///
/// uplo    'U' or 'L': the triangle that is stored
/// kd      diagonals beside the main one; there may be more of them than the matrix has
/// ab      kd + 1 by n, ldab >= kd + 1, the main diagonal in row kd + 1 (upper) or 1 (lower): B in, S out. S has one
///         element for each pair (i, j) and (j, i): it is in the place of b(i, j), or its conjugate in that of
///         b(j, i). Imaginary parts on the diagonal count as zero
/// info    0; -k: argument k was bad (reported); k: the k-th pivot met is not positive, as B is not positive definite,
///         and the triangle is neither the matrix nor a factor
template <Scalar T>
void pbstf(char uplo, Int n, Int kd, T* ab, Int ldab, Int& info);

}  // namespace nuv
