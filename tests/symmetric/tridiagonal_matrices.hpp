#pragma once

// Symmetric tridiagonal matrices by description: those on which methods for their eigenvalues are known to be tried
// hard.

#include <vector>

#include "support/wide.hpp"

namespace nuv::test {

/// A real symmetric tridiagonal matrix: the diagonal, counted from zero, and what stands beside it, one element less.
template <RealScalar R>
struct Tridiagonal {
  std::vector<R> d, e;

  Int order() const { return Int(d.size()); }
};

template <RealScalar R>
struct DescribedTridiagonal {
  const char* name;
  Tridiagonal<R> matrix;
};

/// A matrix with these eigenvalues, up to rounding in R.
///
/// By W. B. Gragg and W. J. Harwood, "The numerically stable reconstruction of Jacobi matrices from spectral data",
/// Numer. Math. 44, 1984; the first components of the eigenvectors are random.
template <RealScalar R>
Tridiagonal<R> tridiagonal_with_values(const std::vector<WideReal<R>>& values);

/// The diagonal and what stands beside it uniform in [-1, 1).
template <RealScalar R>
Tridiagonal<R> random_tridiagonal(Int n);

/// Ones beside twos: the k-th eigenvalue is 4 sin^2(k pi / (2 n + 2)).
template <RealScalar R>
Tridiagonal<R> one_two_one(Int n);

/// Copies of J. H. Wilkinson's matrix of order 21, whose eigenvalues lie in close pairs, joined by small elements; the
/// last one may be cut. Clusters of as many values as there are copies.
template <RealScalar R>
Tridiagonal<R> glued_wilkinson(Int n, R glue);

/// One of each kind of order n >= 1, the list above with spectra arithmetic, geometric, in clusters, all equal, with
/// zeros; graded matrices; those of tiny and huge norm; 2 by 2 blocks.
template <RealScalar R>
std::vector<DescribedTridiagonal<R>> described_tridiagonals(Int n);

/// As a dense matrix.
template <Scalar T>
WideMatrix<T> wide_dense(const Tridiagonal<Real<T>>& matrix);

}  // namespace nuv::test
