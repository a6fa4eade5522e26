#pragma once

// Band matrices for the tests of their solvers, in their storage and as the matrices that they stand for.

#include <string>
#include <vector>

#include "support/options.hpp"
#include "support/random.hpp"
#include "support/wide.hpp"

namespace nuv::test {

/// Sizes of a band: diagonals below and above the main one.
struct Band {
  Int kl, ku;
};

/// An m by n band matrix: element (i, j) stands in ab(diagonal + i - j, j). What is not an element holds guards.
template <Scalar T>
struct BandMatrix {
  Int m, n;
  Band band;
  Int diagonal;
  GuardedMatrix<T> ab;

  /// extra_rows  above the band in its storage, for what row exchanges bring
  BandMatrix(Int m_, Int n_, Band band_, Int extra_rows, Int gap)
      : m(m_),
        n(n_),
        band(band_),
        diagonal(extra_rows + band.ku + 1),
        ab(diagonal + band.kl, n, diagonal + band.kl + gap) {}

  T& operator()(Int i, Int j) { return ab(diagonal + i - j, j); }
  const T& operator()(Int i, Int j) const { return ab(diagonal + i - j, j); }

  bool holds(Int i, Int j) const { return i <= j + band.kl && j <= i + band.ku; }

  /// Whether nothing was written but elements of the matrix, with so many diagonals above the main one.
  testing::AssertionResult stayed_in_matrix() const {
    return ab.unchanged_except([&](Int row, Int j) {
      const Int i = row - diagonal + j;
      return i >= 1 && i <= m;
    });
  }

  /// The matrix, with as many diagonals as are told.
  WideMatrix<T> wide(Band kept) const {
    WideMatrix<T> A = WideMatrix<T>::Zero(m, n);
    for (Int j = 1; j <= n; ++j) {
      for (Int i = std::max(1, j - kept.ku); i <= std::min(m, j + kept.kl); ++i) {
        A(i - 1, j - 1) = test::wide((*this)(i, j));
      }
    }
    return A;
  }
  WideMatrix<T> wide() const { return wide(band); }
};

inline std::string to_string(const Band& band) {
  return "kl " + std::to_string(band.kl) + ", ku " + std::to_string(band.ku);
}

/// Random elements, to which the diagonal adds `more`; for LU factors the storage has room for more diagonals of U.
template <Scalar T>
BandMatrix<T> random_band(Random& random, Int m, Int n, Band band, Int extra_rows, double more = 0) {
  BandMatrix<T> A(m, n, band, extra_rows, n % 3);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = std::max(1, j - band.ku); i <= std::min(m, j + band.kl); ++i) {
      A(i, j) = random.scalar<T>();
      if (i == j) A(i, j) += T(Real<T>(more));
    }
  }
  A.ab.seal();
  return A;
}

/// Right-hand sides, with a gap between the columns.
template <Scalar T>
GuardedMatrix<T> right_hand_sides(Random& random, Int n, Int nrhs) {
  return random_matrix<T>(random, n, nrhs, n + 1 + n % 2);
}

}  // namespace nuv::test
