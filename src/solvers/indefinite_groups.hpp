#pragma once

// Solves with neighbouring pivot blocks at once.
//
// The factors are kept as P1 L1 P2 L2 ..., each L with the exchanges before it but without those behind it. For a group
// of blocks that is P L, all exchanges first, where in the columns of L the rows are exchanged as the later blocks of
// the group ask for. That concerns the rows of the group itself, and as many others at most:
//
//     L11 |           rows and columns of the group: kept here with their exchanges, unit triangular, D left out
//     L21 | A22       the rows beyond: from the factor as it is, but for those that were exchanged, which are kept here

#include <algorithm>
#include <utility>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "solvers/diagonal_pivoting.hpp"

namespace nuv {

template <Scalar T>
class PivotGroup {
 public:
  static constexpr Int most_columns = 32;
  /// Right-hand sides for which the exchanged rows fit into what is kept on the stack.
  static constexpr Int most_columns_of_b = 256 / static_cast<Int>(sizeof(T));

  /// The blocks from that with first column k on.
  static PivotGroup from(const EliminationOrder& order, Matrix<const T> A, const Int* ipiv, Int k) {
    PivotGroup group(order, A);
    while (order.includes(k) && group.add(block_from(order, ipiv, k)))
      k = order.next(group.blocks_[group.count_ - 1].last);
    group.gather();
    return group;
  }

  /// The blocks up to that with last column k.
  static PivotGroup up_to(const EliminationOrder& order, Matrix<const T> A, const Int* ipiv, Int k) {
    PivotGroup group(order, A);
    while (order.includes(k) && group.add(block_up_to(order, ipiv, k)))
      k = order.previous(group.blocks_[group.count_ - 1].first);
    std::reverse(group.blocks_, group.blocks_ + group.count_);
    group.gather();
    return group;
  }

  Int first() const { return blocks_[0].first; }
  Int last() const { return blocks_[count_ - 1].last; }

  template <class Visit>
  void for_each(Visit visit) const {
    for (Int b = 0; b < count_; ++b) visit(blocks_[b]);
  }

  /// B := P^T B
  void exchange_rows(Int nrhs, Matrix<T> B) const {
    for (Int j = 1; j <= nrhs; ++j) {
      for (Int b = 0; b < count_; ++b) std::swap(B(blocks_[b].last, j), B(blocks_[b].row, j));
    }
  }

  /// B := P B
  void exchange_rows_back(Int nrhs, Matrix<T> B) const {
    for (Int j = 1; j <= nrhs; ++j) {
      for (Int b = count_ - 1; b >= 0; --b) std::swap(B(blocks_[b].last, j), B(blocks_[b].row, j));
    }
  }

  /// B := L^-1 B. The product takes the exchanged rows for others, so they are put aside and have their own.
  void solve_forward(Int nrhs, Matrix<T> B) const {
    const Matrix<T> B1 = block(B, own_.first, 1);
    blas::trsm('L', order_.uplo(), 'N', 'U', columns(), nrhs, T(1), own(), B1);
    if (rest().count() <= 0) return;
    T kept[most_columns * most_columns_of_b];
    const Matrix<T> S{kept, most_columns};
    for_each_exchanged(nrhs, [&](Int i, Int row, Int j) { S(i, j) = B(row, j); });
    blas::gemm('N', 'N', rest().count(), nrhs, columns(), T(-1), below(), B1, T(1), block(B, rest().first, 1));
    blas::gemm('N', 'N', exchanged_count_, nrhs, columns(), T(-1), exchanged(), B1, T(1), S);
    for_each_exchanged(nrhs, [&](Int i, Int row, Int j) { B(row, j) = S(i, j); });
  }

  /// B := L^-T B or L^-H B. The product finds zeros for the exchanged rows.
  void solve_backward(char trans, Int nrhs, Matrix<T> B) const {
    const Matrix<T> B1 = block(B, own_.first, 1);
    if (rest().count() > 0) {
      T kept[most_columns * most_columns_of_b];
      const Matrix<T> S{kept, most_columns};
      for_each_exchanged(nrhs, [&](Int i, Int row, Int j) { S(i, j) = std::exchange(B(row, j), T(0)); });
      blas::gemm(trans, 'N', columns(), nrhs, rest().count(), T(-1), below(), block(B, rest().first, 1), T(1), B1);
      blas::gemm(trans, 'N', columns(), nrhs, exchanged_count_, T(-1), exchanged(), S, T(1), B1);
      for_each_exchanged(nrhs, [&](Int i, Int row, Int j) { B(row, j) = S(i, j); });
    }
    blas::trsm('L', order_.uplo(), trans, 'U', columns(), nrhs, T(1), own(), B1);
  }

 private:
  static constexpr Int ld = 2 * most_columns;

  PivotGroup(const EliminationOrder& order, Matrix<const T> A) : order_(order), A_(A) {}

  /// False if there is no room.
  bool add(const PivotBlock& block) {
    if (columns_ + block.order() > most_columns) return false;
    columns_ += block.order();
    blocks_[count_++] = block;
    return true;
  }

  Int columns() const { return columns_; }
  Rows rest() const { return order_.beyond(last()); }
  Matrix<const T> below() const { return block(A_, rest().first, own_.first); }
  Matrix<const T> own() const { return {rows_, ld}; }
  Matrix<const T> exchanged() const { return {rows_ + columns_, ld}; }

  template <class Visit>
  void for_each_exchanged(Int nrhs, Visit visit) const {
    for (Int j = 1; j <= nrhs; ++j) {
      for (Int i = 1; i <= exchanged_count_; ++i) visit(i, exchanged_[i - 1], j);
    }
  }

  bool is_own(Int row) const { return row >= own_.first && row <= own_.last; }

  /// The place among the rows kept here, from one on.
  Int place(Int row) const {
    if (is_own(row)) return row - own_.first + 1;
    return columns_ + 1 + Int(std::find(exchanged_, exchanged_ + exchanged_count_, row) - exchanged_);
  }

  void gather() {
    own_ = order_.upper() ? Rows{last(), first()} : Rows{first(), last()};
    for (Int b = 0; b < count_; ++b) {
      const Int row = blocks_[b].row;
      if (!is_own(row) && place(row) > columns_ + exchanged_count_) exchanged_[exchanged_count_++] = row;
    }
    const Matrix<T> R{rows_, ld};
    for (Int b = 0; b < count_; ++b) take_columns(blocks_[b], R);
    for (Int b = 1; b < count_; ++b) {
      const Int to = place(blocks_[b].last), from = place(blocks_[b].row);
      for (Int earlier = 0; earlier < b; ++earlier) {
        for (const Int k : {blocks_[earlier].first, blocks_[earlier].last}) {
          std::swap(R(to, place(k)), R(from, place(k)));
          if (k == blocks_[earlier].last) break;
        }
      }
    }
  }

  void take_columns(const PivotBlock& block, Matrix<T> R) const {
    for (Int k = block.first;; k = block.last) {
      for (Int i = order_.next(block.last); is_own(i); i = order_.next(i)) R(place(i), place(k)) = A_(i, k);
      for (Int i = 0; i < exchanged_count_; ++i) R(columns_ + 1 + i, place(k)) = A_(exchanged_[i], k);
      if (k == block.last) break;
    }
    if (block.is_pair()) R(place(block.last), place(block.first)) = T(0);
  }

  EliminationOrder order_;
  Matrix<const T> A_;
  Int columns_ = 0, count_ = 0, exchanged_count_ = 0;
  Rows own_ = {1, 0};
  PivotBlock blocks_[most_columns];
  Int exchanged_[most_columns];
  T rows_[ld * most_columns];
};

}  // namespace nuv
