#pragma once

#include <initializer_list>

#include "tools/dense_matrix.hpp"

namespace nuv::tools {

/// A diagonal matrix of that shape, with zeros behind the elements given.
template <Scalar T>
DenseMatrix<T> diagonal(Int rows, Int columns, std::initializer_list<double> elements) {
  DenseMatrix<T> result(rows, columns);
  Int k = 0;
  for (const double x : elements) {
    ++k;
    result(k, k) = T(x);
  }
  return result;
}

}  // namespace nuv::tools
