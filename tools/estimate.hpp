#pragma once

// How long a call of the library will take, for those who wait: from the number of its operations and from the speed of
// two short ones.

#include <optional>

#include "base/types.hpp"
#include "progress.hpp"
#include "report.hpp"

namespace nuv::tools {

/// Operations with two scalars each.
struct Work {
  double in_products = 0;  ///< of matrices, at the speed of the processor
  double in_passes = 0;    ///< through matrices, at the speed of memory
};

/// For matrices of order n, or m by n.
Work work_of_lu(double n);
Work work_of_cholesky(double n);
Work work_of_indefinite(double n);
Work work_of_band_lu(double n, double lower, double upper);
Work work_of_inverse(double n);
Work work_of_pivoted_qr(double m, double n);
Work work_of_eigenvalues(double n);
Work work_of_eigenvectors(double n);
Work work_of_general_eigenvalues(double n);
Work work_of_general_eigenvectors(double n);
Work work_of_pencil_eigenvalues(double n);
Work work_of_pencil_eigenvectors(double n);
Work work_of_singular_values(double m, double n);
Work work_of_singular_vectors(double m, double n);
/// Of two matrices of n columns, with so many rows together.
Work work_of_generalised_singular_values(double rows, double n, bool with_vectors);

/// The time that so much work in a precision will take; none where nobody would see it, and for little work.
template <Scalar T>
std::optional<Seconds> estimated_time(const Work& work);

/// Runs one call of the library under a progress display: "factoring A.mtx: about 40 %".
template <Scalar T, class Call>
auto with_estimate(std::string what, const Work& work, Call call) {
  const Progress progress(std::move(what), estimated_time<T>(work));
  return call();
}

}  // namespace nuv::tools
