#pragma once

// `nuv eig` for matrices that are neither symmetric nor Hermitian.

#include "dense_matrix.hpp"
#include "eig.hpp"
#include "eigen_outputs.hpp"
#include "report.hpp"

namespace nuv::tools {

/// An option that general matrices alone have a use for, by its name; nothing where none is given.
const char* general_option(const EigenOptions& options);

/// An option that general matrices have no use for.
const char* symmetric_option(const EigenOptions& options);

/// Finds eigenvalues and what else is asked for of a general matrix, and writes it. The report has begun with the
/// matrix, and the stopwatch has told the time of reading.
template <Scalar T>
void find_general_eigenvalues(const DenseMatrix<T>& a, const EigenOptions& options, Report& report,
                              Stopwatch& stopwatch, EigenOutputs& outputs);

}  // namespace nuv::tools
