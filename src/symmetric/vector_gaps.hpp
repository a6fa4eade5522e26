#pragma once

// How far eigenvectors of a Hermitian matrix, or singular vectors, may be off: a backward error of norm E turns vector
// i by an angle of about E / sep(i) (J. W. Demmel, "Applied Numerical Linear Algebra", SIAM 1997).

#include "base/types.hpp"

namespace nuv {

/// The distance of each eigenvalue or singular value to the next one, as reciprocal condition number of its vector.
///
/// job     'E': eigenvectors of a matrix of order m; 'L', 'R': left or right singular vectors of an m by n matrix
/// m, n    >= 0; n is not used for 'E'
/// d       m or min(m, n) values, in ascending or descending order, singular values not negative
/// sep     as many distances, at least eps max |d| and the smallest normal number; of a single value the largest
///         number. Vectors for which there are more rows or columns than values have a value of zero beside them
/// info    0; -k: argument k was bad (reported), d if it is not in order
template <RealScalar T>
void disna(char job, Int m, Int n, const T* d, T* sep, Int& info);

}  // namespace nuv
