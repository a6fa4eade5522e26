#pragma once

// `nuv eig --with` for pairs of matrices other than a symmetric or Hermitian one with a positive definite partner.

#include "dense_matrix.hpp"
#include "eig.hpp"
#include "eigen_outputs.hpp"
#include "report.hpp"

namespace nuv::tools {

/// Finds the eigenvalues w of A v = w B v, infinite ones among them, and what else is asked for, and writes it. The
/// report has begun with the matrices, and the stopwatch has told the time of reading.
template <Scalar T>
void find_pencil_eigenvalues(const DenseMatrix<T>& a, const DenseMatrix<T>& b, const EigenOptions& options,
                             Report& report, Stopwatch& stopwatch, EigenOutputs& outputs);

}  // namespace nuv::tools
