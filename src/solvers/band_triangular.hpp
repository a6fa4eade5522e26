#pragma once

// Triangular band systems, and the solves that all band factorisations are made of.
//
// uplo, trans, diag   the triangle that A is ('U', 'L'); whether A, A^T or A^H ('N', 'T', 'C') is meant; whether the
//                     diagonal counts as ones and is not read ('U') or not ('N')
// ab                  (kd + 1) by n, ldab >= kd + 1: element (i, j) stands in ab(kd + 1 + i - j, j) of an upper
//                     triangle, in ab(1 + i - j, j) of a lower one
// b                   n by nrhs, ldb >= max(1, n)

#include "base/matrix.hpp"
#include "base/types.hpp"
#include "environment/block_plan.hpp"

namespace nuv {

/// Solves op(A) X = B for a triangular band matrix of order n; the serial body behind the layer stub `tbtrs`.
///
/// info    0; -k: argument k was bad (reported); k: element (k, k) is exactly zero, b is untouched
template <Scalar T>
void xtbtrs(char uplo, char trans, char diag, Int n, Int kd, Int nrhs, const T* ab, Int ldab, T* b, Int ldb, Int& info);

/// A triangular band matrix of order n.
template <Scalar T>
struct BandTriangle {
  char uplo, diag;
  Int n, kd;
  const T* ab;
  Int ldab;
};

/// How a solve with band factors goes about its right-hand sides.
struct BandSolvePlan {
  Int nb;  ///< rows of a block
  Int nx;  ///< diagonals beside the main one from which blocks pay

  /// name of the routine, its trans (or uplo), n, diagonals beside the main one and nrhs
  template <Scalar T>
  BandSolvePlan(RoutineName<T> name, char option, Int n, Int kd, Int nrhs) {
    const Tuning<T> tuning{name, {&option, 1}, n, kd, nrhs};
    nb = tuning.block_size();
    nx = tuning.crossover();
  }

  bool by_blocks(Int kd) const { return nb > 1 && kd >= nx; }

  /// Rows of a block for that many diagonals.
  Int width(Int kd) const { return std::min(nb, kd); }

  /// Elements of work memory that the solve by blocks below takes.
  std::size_t workspace(Int kd, Int nrhs) const { return std::size_t(width(kd)) * std::size_t(nrhs); }
};

/// B := op(A)^-1 B, each column of B by itself.
template <Scalar T>
void solve_by_columns(const BandTriangle<T>& A, char trans, Int nrhs, Matrix<T> B);

/// B := op(A)^-1 B in blocks of nb rows, 1 < nb <= kd; work has nb nrhs elements.
template <Scalar T>
void solve_by_blocks(const BandTriangle<T>& A, char trans, Int nb, Int nrhs, Matrix<T> B, T* work);

/// Calls work(lanes, j) for groups of columns j ... j + lanes - 1 of nrhs: fours, as a constant, and single ones.
template <class Work>
void for_each_few_columns(Int nrhs, Work work) {
  Int j = 1;
  for (; j + 3 <= nrhs; j += 4) work(std::integral_constant<int, 4>(), j);
  for (; j <= nrhs; ++j) work(std::integral_constant<int, 1>(), j);
}

}  // namespace nuv
