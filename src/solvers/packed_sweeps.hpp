#pragma once

// Solves with a packed triangle for several right-hand sides, in one sweep over its columns or in two: what the packed
// triangular and Cholesky solves have in common.

#include <algorithm>
#include <initializer_list>

#include "base/quotient.hpp"
#include "blas.hpp"
#include "environment/block_plan.hpp"
#include "environment/hermitian.hpp"
#include "environment/packed_storage.hpp"
#include "frame/option_matching.hpp"
#include "frame/pool.hpp"

namespace nuv {

/// B := op(A)^-1 B for a packed triangle A of order n.
template <Scalar T>
class PackedSweep {
 public:
  PackedSweep(char uplo, char trans, char diag, Int n, const T* ap)
      : A_{same_letter(uplo, 'U'), n, ap},
        n_(n),
        uplo_(uplo),
        trans_(trans),
        diag_(diag),
        transposed_(!same_letter(trans, 'N')) {}

  /// For one right-hand side, on the packed triangle.
  void solve(Vector<T> b) const { blas::tpsv(uplo_, trans_, diag_, n_, A_.ap, b); }

  /// By blocks of nb columns, each copied to a buffer of n by nb.
  void solve_by_blocks(Int nb, T* buffer, Int nrhs, Matrix<T> B) const {
    for_each_block(nb, [&](Int j, Int jb) { solve_block(j, jb, buffer, nrhs, B); });
  }

  /// Where there is no buffer: column by column on the packed triangle, blocks of nb columns at a time for each
  /// right-hand side, so that all find them in cache.
  void solve_by_columns(Int nb, Int nrhs, Matrix<T> B) const {
    for_each_block(nb, [&](Int j, Int jb) {
      for (Int k = 1; k <= nrhs; ++k) {
        for (Int step = 0; step < jb; ++step) solve_column(is_forward() ? j + step : j + jb - 1 - step, B.at(1, k));
      }
    });
  }

 private:
  /// The order in which substitution finds the unknowns.
  bool is_forward() const { return A_.upper == transposed_; }

  template <class Visit>
  void for_each_block(Int nb, Visit visit) const {
    const Int blocks = (n_ + nb - 1) / nb;
    for (Int step = 0; step < blocks; ++step) {
      const Int done = (is_forward() ? step : blocks - 1 - step) * nb;
      visit(done + 1, std::min(nb, n_ - done));
    }
  }

  //  upper   A01 | rows before the block     lower   A11
  //          A11                                     A21 | rows behind it
  void solve_block(Int j, Int jb, T* buffer, Int nrhs, Matrix<T> B) const {
    const bool upper = A_.upper;
    const Int first = upper ? 1 : j, other = upper ? 1 : j + jb, others = upper ? j - 1 : n_ - j - jb + 1;
    const Matrix<T> column{buffer, n_};
    ppunpack(uplo_, A_.ap, n_, first, j, others + jb, jb, column.data, column.ld);
    const Matrix<T> A11 = upper ? block(column, j, 1) : column, A_other = upper ? column : block(column, jb + 1, 1);
    const Matrix<T> B1 = block(B, j, 1), B_other = block(B, other, 1);
    if (transposed_) blas::gemm(trans_, 'N', jb, nrhs, others, T(-1), A_other, B_other, T(1), B1);
    blas::trsm('L', uplo_, trans_, diag_, jb, nrhs, T(1), A11, B1);
    if (!transposed_) blas::gemm('N', 'N', others, nrhs, jb, T(-1), A_other, B1, T(1), B_other);
  }

  void solve_column(Int j, T* b) const {
    const Int other = A_.upper ? 1 : j + 1, others = A_.upper ? j - 1 : n_ - j;
    const Vector<const T> a{A_.at(other, j), 1};
    const Vector<T> x{b + (other - 1), 1};
    T& bj = b[j - 1];
    if (transposed_) bj -= inner_product<T>(is_conjugated(), others, a, x);
    if (!same_letter(diag_, 'U')) bj = quotient(bj, is_conjugated() ? conjugate(A_(j, j)) : A_(j, j));
    if (!transposed_) blas::axpy(others, negated(bj), a, x);
  }

  bool is_conjugated() const { return same_letter(trans_, 'C'); }

  PackedTriangle<const T> A_;
  Int n_;
  char uplo_, trans_, diag_;
  bool transposed_;
};

/// Some sweeps one after the other, each over the n by nrhs matrix that the one before has left in B, as the tables say
/// for the routine of that name: one right-hand side after the other where they are few, else by blocks.
template <Scalar T>
void solve_in_sweeps(RoutineName<T> name, Int n, Int nrhs, std::initializer_list<PackedSweep<T>> sweeps, Matrix<T> B) {
  if (n <= Tuning<T>{name, "  ", n, nrhs}.crossover()) {
    for (Int k = 1; k <= nrhs; ++k) {
      for (const PackedSweep<T>& sweep : sweeps) sweep.solve(column(B, 1, k));
    }
    return;
  }
  const Int nb = Tuning<T>{name, "Memory", n, nrhs}.block_size();
  const Workspace<T> buffer(static_cast<std::size_t>(n) * static_cast<std::size_t>(nb));
  if (buffer.data() != nullptr) {
    for (const PackedSweep<T>& sweep : sweeps) sweep.solve_by_blocks(nb, buffer.data(), nrhs, B);
  } else {
    const Int columns = Tuning<T>{name, "No Memory", n, nrhs}.block_size();
    for (const PackedSweep<T>& sweep : sweeps) sweep.solve_by_columns(columns, nrhs, B);
  }
}

}  // namespace nuv
