#pragma once

// Random matrices with a given spectrum by blocks of reflectors. The library's generators apply one reflector after
// another, each time going through the whole matrix; a block of them is applied by products of matrices, in a tenth of
// the time.

#include <array>
#include <functional>
#include <vector>

#include "base/types.hpp"
#include "dense_matrix.hpp"

namespace nuv::tools {

/// What the orthogonal or unitary matrices on both sides of the diagonal one have to do with each other.
enum class Sides {
  Independent,  ///< U D V^H, as ?lagge makes it
  Adjoint,      ///< U D U^H, as ?laghe does, and ?lagsy for real matrices
  Transposed    ///< U D U^T, as ?lagsy does for complex matrices
};

/// Fills a matrix as ?lagge, ?lagsy or ?laghe would, with the same random numbers: it differs from theirs by rounding
/// errors alone. d are the numbers on the diagonal, as many as the smaller size; both sizes are the same unless the
/// sides are independent. `tell` hears from time to time which share of the work is done.
template <Scalar T>
void fill_with_spectrum(Sides sides, const std::vector<Real<T>>& d, std::array<Int, 4>& iseed, DenseMatrix<T>& a,
                        const std::function<void(double)>& tell);

}  // namespace nuv::tools
