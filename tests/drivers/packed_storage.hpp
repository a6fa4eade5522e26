#pragma once

#include <vector>

#include "base/matrix.hpp"
#include "support/packed.hpp"

namespace nuv::test {

/// Runs routine(ap) on a triangle of A in packed storage, and puts back what it leaves there.
template <Scalar T, class Routine>
void in_packed_storage(char uplo, Int n, Matrix<T> A, Routine routine) {
  std::vector<T> ap(std::size_t(packed_size(n)));
  for_each_packed(uplo == 'U', n, [&](Int i, Int j, Int k) { ap[std::size_t(k - 1)] = A(i, j); });
  routine(ap.data());
  for_each_packed(uplo == 'U', n, [&](Int i, Int j, Int k) { A(i, j) = ap[std::size_t(k - 1)]; });
}

}  // namespace nuv::test
