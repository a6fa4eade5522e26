#pragma once

// Hessenberg matrices by description, for the QR iteration.

#include <complex>
#include <vector>

#include "support/guarded.hpp"
#include "support/random.hpp"

namespace nuv::test {

struct HessenbergDescription {
  const char* name;
  /// Element (i, j) of a matrix of order n; real matrices take real parts. Asked for i <= j + 1 alone.
  std::complex<double> (*element)(Random& random, Int i, Int j, Int n);
};

const std::vector<HessenbergDescription>& described_hessenberg_matrices();

/// One of them, by its name.
const HessenbergDescription& hessenberg_matrix(const std::string& name);

/// Zeros stand below the first subdiagonal.
template <Scalar T>
GuardedMatrix<T> make_hessenberg(const HessenbergDescription& description, Random& random, Int n, Int ld);

/// Zeros stand below the diagonal in columns before ilo and from ihi on as well.
template <Scalar T>
GuardedMatrix<T> partly_triangular(const GuardedMatrix<T>& H, Int ilo, Int ihi);

/// A unitary one, which is normal: its eigenvalues are as well conditioned as any.
template <Scalar T>
GuardedMatrix<T> unitary_hessenberg(Random& random, Int n, Int ld);

}  // namespace nuv::test
