#pragma once

#include <string>

#include "band_matrix.hpp"
#include "dense_matrix.hpp"

namespace nuv::tools {

/// How far a matrix is from its transpose, or its conjugate transpose, relative to the diagonal: element (i, j) differs
/// by so many times sqrt(|a(i, i) a(j, j)|), the bound of both elements where a matrix is definite.
struct Asymmetry {
  double largest = 0;       ///< of those within what rounding errors explain
  Int row = 0, column = 0;  ///< the first element beyond that, row >= column; 0 where there is none
  bool conjugated = false;

  bool is_rounding() const { return row == 0; }
};

/// Matrix is a DenseMatrix or a BandMatrix.
template <class Matrix>
Asymmetry asymmetry_of(const Matrix& a, bool conjugated);

/// Why a matrix isn't symmetric or Hermitian.
std::string words_of(const Asymmetry& asymmetry, bool is_complex);

}  // namespace nuv::tools
