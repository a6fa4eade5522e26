#pragma once

// Generalised singular values and vectors of two matrices by the library's driver.

#include <string_view>
#include <vector>

#include "base/types.hpp"
#include "dense_matrix.hpp"

namespace nuv::tools {

/// A = U C X^H and B = V S X^H with diagonal C and S of which the squares add up to I: for A m by n and B p by n, C m
/// by r and S p by r, r the rank of both below each other. The diagonal of C begins in its first element, that of S in
/// the column in which B's part begins.
template <Scalar T>
struct PairDecomposition {
  static constexpr std::string_view driver = "ggsvd";  ///< that found it, without its precision letter

  std::vector<Real<T>> cosines, sines;  ///< r pairs, of which the quotients descend from infinity to zero
  Int rank_of_b = 0;                    ///< the last so many pairs, whose columns are those of V in front

  // With vectors alone.
  DenseMatrix<T> left_of_a{0, 0};  ///< U, of order m
  DenseMatrix<T> left_of_b{0, 0};  ///< V, of order p
  DenseMatrix<T> right{0, 0};      ///< X, n by r

  Int info = 0;  ///< as the driver gave it

  Int rank() const { return static_cast<Int>(cosines.size()); }
};

template <Scalar T>
PairDecomposition<T> decomposed(DenseMatrix<T> a, DenseMatrix<T> b, bool with_vectors);

}  // namespace nuv::tools
