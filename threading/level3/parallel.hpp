#pragma once

// How products share their work among threads.

#include <cmath>

#include "kernels/packed/inner_products.hpp"
#include "kernels/packed/product.hpp"
#include "kernels/packed/triangular.hpp"
#include "threading/runtime.hpp"

namespace nuv::threading::inline NUV_ISA {

using namespace packed;

/// Columns or rows of C for which packing the other operand is a small part of the work.
inline constexpr Int wide_part = 128;

/// The multiply-adds of a product in real numbers: a complex one is four.
template <Scalar T>
double real_multiply_adds(Int m, Int n, Int k) {
  return double(m) * n * k * (ComplexScalar<T> ? 4 : 1);
}

/// The product of two operands without structure, on all threads: each takes some columns of C, or some rows if C is
/// taller than wide. Which of its forms is taken depends on the whole product, so that any number of threads gives the
/// same bits.
template <Scalar T>
void parallel_product(Int m, Int n, Int k, T alpha, const Operand<T>& A, const Operand<T>& B, T beta, Matrix<T> C) {
  const double multiply_adds = real_multiply_adds<T>(m, n, k);
  if (inner_products_pay(m, n, k, A, B)) {
    split(std::max(m, n), {InnerTile<T>::rows, wide_part / 4}, multiply_adds,
          [&](Int from, Int until) { inner_products(m, n, k, alpha, A, B, beta, C, from, until); });
  } else if (n >= m || n >= 64 * Tile<T>::columns) {
    // A left operand that a few columns read where it stands needs no packing.
    const Int wide = RealScalar<T> && A.along == 1 ? wide_part / 4 : wide_part;
    split(n, {Tile<T>::columns, wide}, multiply_adds, [&](Int from, Int until) {
      product(m, until - from, k, alpha, A, shifted(B, from), beta, block(C, 1, from + 1));
    });
  } else {
    split(m, {Tile<T>::rows, wide_part}, multiply_adds, [&](Int from, Int until) {
      product(until - from, n, k, alpha, shifted(A, from), B, beta, block(C, from + 1, 1));
    });
  }
}

/// Runs update(from, until) on column ranges of a triangle of order n that hold about the same number of elements each.
template <Scalar T, class Work>
void split_triangle(Region region, Int n, double multiply_adds, Work work) {
  // The square root of a uniform cut of the area; cutting stays at multiples of a tile.
  constexpr Int grain = Tile<T>::columns;
  constexpr Int cells = 1024;
  const auto column_at = [&](Int cell) {
    const double share = double(cell) / cells;
    const double x = region == Region::upper ? std::sqrt(share) : 1 - std::sqrt(1 - share);
    return cell == cells ? n : static_cast<Int>(x * n) / grain * grain;
  };
  // Where columns are longest, a part has half as many as it would have of a square: a tile at least.
  const Cuts cuts{1, std::max(1, cells / std::max(1, n / wide_part)), std::max(1, n / (2 * grain))};
  split(cells, cuts, multiply_adds, [&](Int from, Int until) {
    const Int first = column_at(from), last = column_at(until);
    if (first < last) work(first, last);
  });
}

/// Runs work(part) on all threads, each on some of the right-hand sides.
template <Scalar T, class Work>
void split_right_hand_sides(const TriangularProblem<T>& problem, Work work) {
  const Int grain = problem.left ? Tile<T>::columns : Tile<T>::rows;
  const double multiply_adds = real_multiply_adds<T>(problem.order, problem.order, problem.columns) / 2;
  split(problem.columns, {grain, wide_part}, multiply_adds,
        [&](Int from, Int until) { work(problem.restricted_to(from, until)); });
}

}  // namespace nuv::threading::inline NUV_ISA
