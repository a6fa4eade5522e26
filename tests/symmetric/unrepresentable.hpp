#pragma once

// A matrix on which relatively robust representations fail, so that the drivers have to find another way.

#include <gtest/gtest.h>

#include <cmath>

#include "routines.hpp"
#include "symmetric/tridiagonal_matrices.hpp"

namespace nuv::test {

/// The identity but for rounding: all that makes its eigenvalues differ is lost in any shift.
template <RealScalar R>
Tridiagonal<R> unrepresentable(Int n) {
  const auto order = std::size_t(n);
  return {std::vector<R>(order, R(1)), std::vector<R>(order - 1, R(std::ldexp(1.0, -70)))};
}

/// The tests that use it show nothing once it is not what it is said to be.
template <RealScalar R>
void expect_unrepresentable(Tridiagonal<R> matrix) {
  const Int n = matrix.order();
  matrix.e.push_back(0);
  const auto order = std::size_t(n);
  std::vector<R> w(order), z(order * order), work(18 * order);
  std::vector<Int> isuppz(2 * order), iwork(10 * order);
  Int m = 0, info = 0;
  routine_call::stegr('V', 'A', n, matrix.d.data(), matrix.e.data(), R(0), R(0), 0, 0, R(0), m, w.data(),
                      Matrix<R>{z.data(), n}, isuppz.data(), work.data(), Int(work.size()), iwork.data(),
                      Int(iwork.size()), info);
  EXPECT_GT(info, 0) << "another matrix is needed";
}

}  // namespace nuv::test
