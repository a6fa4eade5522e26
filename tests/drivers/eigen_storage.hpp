#pragma once

// Matrices of a call for eigenproblems in packed and in band storage, and workspaces for them.

#include <algorithm>

#include "drivers/call.hpp"
#include "support/packed.hpp"

namespace nuv::test {

template <Scalar T>
std::vector<T> packed_copy(char uplo, Int n, Matrix<T> A) {
  std::vector<T> ap(std::size_t(packed_size(n)));
  for_each_packed(uplo == 'U', n, [&](Int i, Int j, Int k) { ap[std::size_t(k - 1)] = A(i, j); });
  return ap;
}

/// The band of kd diagonals beside the main one, with a leading dimension of kd + 1.
template <Scalar T>
std::vector<T> band_copy(char uplo, Int n, Int kd, Matrix<T> A) {
  std::vector<T> ab(std::size_t(kd + 1) * std::size_t(n));
  for (Int j = 1; j <= n; ++j) {
    for (Int i = std::max(1, j - kd); i <= std::min(n, j + kd); ++i) {
      if (uplo == 'U' ? i <= j : i >= j) {
        ab[std::size_t((uplo == 'U' ? kd + i - j : i - j) + (j - 1) * (kd + 1))] = A(i, j);
      }
    }
  }
  return ab;
}

/// Workspaces that are enough for every driver, and a place for eigenvectors.
template <Scalar T>
struct Room {
  std::vector<T> z, q, work;
  std::vector<Real<T>> rwork;
  std::vector<Int> iwork, ifail;

  explicit Room(Int n)
      : z(square(n)),
        q(square(n)),
        work(reals(n)),
        rwork(reals(n)),
        iwork(std::size_t(5 * n + 3)),
        ifail(std::size_t(n)) {}

  static std::size_t square(Int n) { return std::size_t(n) * std::size_t(n); }
  static std::size_t reals(Int n) { return 2 * square(n) + std::size_t(20 * n + 1); }
  Int lwork() const { return Int(work.size()); }
  Int liwork() const { return Int(iwork.size()); }
};

}  // namespace nuv::test
