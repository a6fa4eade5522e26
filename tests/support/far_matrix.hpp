#pragma once

// Matrices of which some elements lie more than 2^31 elements from the first, although their sizes are small. Needs
// 64-bit addresses.

#include <algorithm>

#include "support/guarded.hpp"
#include "support/sparse_array.hpp"

namespace nuv::test {

static_assert(sizeof(void*) == 8);

inline constexpr std::ptrdiff_t far = std::ptrdiff_t{1} << 31;

/// A copy of a matrix whose last column starts behind 2^31 elements.
template <Scalar T>
class FarMatrix {
 public:
  explicit FarMatrix(const GuardedMatrix<T>& A)
      : m_(A.rows()), n_(A.columns()), ld_(Int(far / (n_ - 1) + 1)), store_(std::size_t(n_ - 1) * ld_ + m_) {
    for (Int j = 1; j <= n_; ++j) std::copy_n(&A(1, j), m_, Matrix<T>(*this).at(1, j));
  }

  operator Matrix<T>() { return {store_.data(), ld_}; }
  operator Matrix<const T>() { return {store_.data(), ld_}; }

  /// Expects the elements of A.
  void expect_same_as(const GuardedMatrix<T>& A) {
    const Matrix<T> self(*this);
    for (Int j = 1; j <= n_; ++j) {
      for (Int i = 1; i <= m_; ++i) ASSERT_TRUE(same_bits(self(i, j), A(i, j))) << i << ", " << j;
    }
  }

 private:
  Int m_, n_, ld_;
  SparseArray<T> store_;
};

}  // namespace nuv::test
