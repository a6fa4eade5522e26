#pragma once

// Least squares under linear equality constraints.

#include <string_view>

#include "base/types.hpp"
#include "dense_matrix.hpp"

namespace nuv::tools {

inline constexpr std::string_view constrained_driver = "gglse";  ///< without its precision letter

/// The ranks on which it depends whether one X alone is right.
struct ConstrainedRanks {
  Int constraints;  ///< as many as there are, for constraints that can all hold
  Int together;     ///< of matrix and constraints, as many as there are unknowns
};

/// Both matrices count by the same measure, whatever their units are.
template <Scalar T>
ConstrainedRanks constrained_ranks(const DenseMatrix<T>& a, const DenseMatrix<T>& c, double tolerance);

/// The X that comes nearest to A X = B, by columns in the Euclidean norm, of those with C X = D. The ranks must have
/// been seen to be full.
template <Scalar T>
DenseMatrix<T> constrained_least_squares(const DenseMatrix<T>& a, const DenseMatrix<T>& b, const DenseMatrix<T>& c,
                                         const DenseMatrix<T>& d);

}  // namespace nuv::tools
